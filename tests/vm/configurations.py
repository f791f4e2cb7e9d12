"""The guests: a row for each, with the cards that it has and what the report must say of them."""

import collections

# devices     what QEMU shows
# gpus        what the report must list, as NAME by RENDERER; the software renderer has no name
# commands    in the guest, from the functions of `first`
# arguments   the kernel's, on its command line
# created     whether the first card gives a context, or no card does and the software renderer has to
# end         how prowl's words begin, or the guest's end where that isn't the usual one
# may_hang    the kernel may wait for a card that went away, and the prober with it
# seconds     after which a guest is taken for hung
Configuration = collections.namedtuple(
    "Configuration", "name devices gpus commands arguments kernel created end may_hang seconds",
    defaults=[["by llvmpipe"], "report", "", "linux-image-amd64", "1", "The prober finished", False, 600])

RADEON = "ati-vga,model=rv100,vgamem_mb=64"  # too old for Mesa, but with a render node
NEWER = "linux-image-6.12-amd64"
PLAIN, DRAWS = ["Virtio 1.0 GPU by llvmpipe"], ["Virtio 1.0 GPU by virgl"]
# The console on a second card is slow, and hangs now and then. Without it connectors aren't looked at.
QUIET = "drm_kms_helper.fbdev_emulation=0"

CONFIGURATIONS = [
    # One card, or none
    Configuration("none", ""),
    Configuration("bochs", "VGA"),
    Configuration("cirrus", "cirrus-vga"),
    Configuration("qxl", "qxl-vga"),
    Configuration("virtio", "virtio-vga", PLAIN),
    Configuration("virgl", "virtio-gpu-gl-pci", DRAWS),
    Configuration("radeon", RADEON, arguments=QUIET),
    # Several
    Configuration("twins", "virtio-vga virtio-gpu-pci", PLAIN, arguments=QUIET),
    Configuration("qxl-virtio", "qxl-vga virtio-gpu-pci", PLAIN, arguments=QUIET),
    Configuration("virtio-qxl", "virtio-vga qxl", PLAIN, arguments=QUIET),
    Configuration("bochs-virgl", "VGA virtio-gpu-gl-pci", DRAWS, arguments=QUIET),
    Configuration("virgl-radeon", f"virtio-vga-gl {RADEON}", DRAWS, arguments=QUIET),
    Configuration("radeon-virgl", f"{RADEON} virtio-gpu-gl-pci", DRAWS, arguments=QUIET, created="0"),
    # Not for use: no driver may have it, another one has it, it's not on the bus, it's off, the user may not open it
    Configuration("nomodeset", "virtio-vga", arguments="nomodeset"),
    Configuration("stub", "virtio-vga qxl", commands="hold pci-stub; report", arguments=QUIET),
    Configuration("vfio", "intel-iommu virtio-vga", commands="hold vfio-pci; report", arguments="intel_iommu=on"),
    Configuration("vgem", "", commands="modprobe vgem; report"),
    Configuration("vgem-virtio", "virtio-vga", PLAIN, "modprobe vgem; report"),
    Configuration("off", "virtio-vga", PLAIN, arguments="video=Virtual-1:d"),
    Configuration("user", "virtio-vga", commands="as_user; report"),
    # Goes away, or its driver hangs
    Configuration("unbind", "virtio-gpu-gl-pci", DRAWS, "moments 20 unbind probe", seconds=2400),
    Configuration("remove", "virtio-gpu-gl-pci", DRAWS, "moments 20 remove rescan", seconds=2400),
    Configuration("lost", "pcie-root-port,id=root1 virtio-gpu-gl-pci,bus=root1", DRAWS, "bound=30; moments 1 lose true",
                  may_hang=True, seconds=2400),
    Configuration("hung", "ati-vga,model=rv100", [], "bound=5; prowl >/job/report.json",
                  end="The prober hung"),
    # Other kernels, other programs
    Configuration("newer", "virtio-vga", PLAIN, kernel=NEWER),
    Configuration("newer-virgl", "qxl-vga virtio-gpu-gl-pci", DRAWS, arguments=QUIET, kernel=NEWER),
    Configuration("suite", "", [], "suite", seconds=2400),
    # Do we notice?
    Configuration("panics", "", [], "echo c >/proc/sysrq-trigger", end="panicked"),
    Configuration("hangs", "", [], "sleep infinity", end="hung", seconds=40),
]
