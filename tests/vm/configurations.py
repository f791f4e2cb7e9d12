"""The guests: a row for each, with the cards that it has and what the report must say of them."""

import collections

# devices     what QEMU shows
# gpus        what the report must list, as NAME by RENDERER; the software renderer has no name
# reasons     the answer's; `prowl look` has those that take no run to know
# commands    in the guest, from the functions of `first`
# arguments   the kernel's, on its command line
# created     whether the first card gives a context, or no card does and the software renderer has to
# end         how prowl's words begin, or the guest's end where that isn't the usual one
# may_hang    the kernel may wait for a card that went away, and the prober with it
# seconds     after which a guest is taken for hung, without those in which it had no processor
Configuration = collections.namedtuple(
    "Configuration", "name devices gpus reasons commands arguments kernel created end may_hang seconds",
    defaults=[["by llvmpipe"], ["only-software"], "report", "", "linux-image-amd64", "1", "The prober finished", False,
              300])

RADEON = "ati-vga,model=rv100,vgamem_mb=64"  # too old for Mesa, but with a render node
NEWER = "linux-image-6.12-amd64"
SOFT, PLAIN, DRAWS = ["by llvmpipe"], ["Virtio 1.0 GPU by llvmpipe"], ["Virtio 1.0 GPU by virgl"]
# The console on a second card is slow, and hangs now and then. Without it connectors aren't looked at.
QUIET = "drm_kms_helper.fbdev_emulation=0"
NO_OPENCL = ["no-opencl-driver", "only-software"]  # what is shown at random moments is OpenGL's alone
LATE = "virtio-9p-pci,fsdev=job,mount_tag=late,addr=0x1c"  # the share for what a suspend has shown
LONG = 1200

CONFIGURATIONS = [
    # One card, or none
    Configuration("none", "", SOFT, ["no-card"]),
    Configuration("bochs", "VGA"),
    Configuration("cirrus", "cirrus-vga"),
    Configuration("qxl", "qxl-vga"),
    Configuration("virtio", "virtio-vga", PLAIN),
    Configuration("virgl", "virtio-gpu-gl-pci", DRAWS),
    Configuration("radeon", RADEON, arguments=QUIET),
    # Several; QEMU has no second virtio card with 3D
    Configuration("twins", "virtio-vga virtio-gpu-pci", PLAIN, arguments=QUIET),
    Configuration("qxl-virtio", "qxl-vga virtio-gpu-pci", PLAIN, arguments=QUIET),
    Configuration("virtio-qxl", "virtio-vga qxl", PLAIN, arguments=QUIET),
    Configuration("bochs-virgl", "VGA virtio-gpu-gl-pci", DRAWS, arguments=QUIET),
    Configuration("virgl-radeon", f"virtio-vga-gl {RADEON}", DRAWS, arguments=QUIET),
    Configuration("radeon-virgl", f"{RADEON} virtio-gpu-gl-pci", DRAWS, arguments=QUIET, created="0"),
    # Not for use: no driver likes it, none may have it, another has it, it's off the bus, it's off, it's another user's
    # (the distribution's kernels have vgem and no vkms)
    Configuration("vmware", "vmware-svga", SOFT, ["no-kernel-driver"]),
    Configuration("nomodeset", "virtio-vga", SOFT, ["no-kernel-driver"], arguments="nomodeset"),
    Configuration("stub", "virtio-vga qxl", SOFT, ["held-for-guest"], "hold pci-stub; report", QUIET),
    Configuration("vfio", "intel-iommu virtio-vga", SOFT, ["held-for-guest"], "hold vfio-pci; report",
                  "intel_iommu=on"),
    Configuration("vgem", "", SOFT, [], "modprobe vgem; report"),
    Configuration("vgem-virtio", "virtio-vga", PLAIN, commands="modprobe vgem; report"),
    Configuration("off", "virtio-vga", PLAIN, arguments="video=Virtual-1:d"),
    Configuration("user", "virtio-vga", SOFT, ["node-not-allowed"], "as_user --clear-groups; report"),
    Configuration("member", "virtio-vga", PLAIN, commands="as_user --groups render; report"),
    # Goes away, or its driver hangs
    Configuration("unbind", "virtio-gpu-gl-pci", DRAWS, NO_OPENCL, "moments 20 unbind probe", seconds=LONG),
    Configuration("remove", "virtio-gpu-gl-pci", DRAWS, NO_OPENCL, "moments 20 remove rescan", seconds=LONG),
    Configuration("unplug", "pcie-root-port,id=root1 secondary-vga,bus=root1,id=card", SOFT, NO_OPENCL,
                  "moments 20 unplug plug", seconds=LONG),
    Configuration("lost", "pcie-root-port,id=root1 virtio-gpu-gl-pci,bus=root1", DRAWS, NO_OPENCL,
                  "moments 1 lose true", may_hang=True, seconds=LONG),
    Configuration("suspend", f"VGA {LATE}", SOFT, NO_OPENCL, "suspends 20", seconds=LONG),
    Configuration("suspend-virgl", f"virtio-gpu-gl-pci {LATE}", DRAWS, NO_OPENCL, "suspends 20", may_hang=True,
                  seconds=LONG),
    Configuration("hung", "ati-vga,model=rv100", commands="bound=5; prowl >/job/report.json", end="The prober hung"),
    # Other kernels, other programs
    Configuration("newer", "virtio-vga", PLAIN, kernel=NEWER),
    Configuration("newer-virgl", "qxl-vga virtio-gpu-gl-pci", DRAWS, arguments=QUIET, kernel=NEWER),
    Configuration("suite", "", commands="suite", seconds=LONG),
    # Do we notice?
    Configuration("panics", "", commands="echo c >/proc/sysrq-trigger", end="panicked"),
    Configuration("hangs", "", commands="sleep infinity", end="hung", seconds=40),
]
