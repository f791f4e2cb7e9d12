// What a Linux machine shows of its graphics from outside: sysfs, /proc, the loaders' files.
#include "look/machine.h"

#include "adaptertext.h"
#include "drivers.h"
#include "look/reasons.h"
#include "look/variables.h"
#include "sysfsadapters.h"
#include "system.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <utility>

namespace gpuprowler {

namespace {

using ztutil::SysfsAdapter;

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> texts) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// --- Device files ---

// Those that a driver must open for the adapter, by their names in /dev. The first is the same whether the
// adapter sleeps or not.
std::vector<std::string> DeviceFiles(const SysfsAdapter& adapter, const System& system) {
  if (adapter.driver == "dxgkrnl") return {"dxg"};  // Windows' card in its subsystem for Linux
  if (adapter.driver == "nvidia") {
    std::vector<std::string> files = {"nvidiactl"};
    const std::string& directory = adapter.place.directory;
    if (KGX::IsAsleep(directory)) return files;
    const std::string information = KGX::ReadSystemFile(system.roots.proc + "/driver/nvidia/gpus/" +
                                                        KGX::AdapterSlot(directory) + "/information");
    const std::string number(KGX::FieldValue(information, "Device Minor"));
    if (!number.empty()) files.push_back("nvidia" + number);
    return files;
  }
  if (adapter.place.renderNode.empty()) return {};
  return {"dri/" + adapter.place.renderNode};
}

// The name of the group, or its number where it has none here.
std::string GroupName(gid_t group, const System& system) {
  std::string number = std::to_string(group);
  const std::string groups = KGX::ReadSystemFile(system.At("/etc/group"));
  for (std::string_view rest = groups; !rest.empty();) {
    const std::string_view line = KGX::TakeLine(rest);  // "render:x:104:somebody"
    const std::size_t name = line.find(':');
    const std::size_t password = name == std::string::npos ? name : line.find(':', name + 1);
    if (password != std::string::npos && line.substr(password + 1, number.size() + 1) == number + ":")
      return std::string(line.substr(0, name));
  }
  return number;
}

// The group whose members may open the file; empty if that takes more than being one.
std::string GroupThatMay(const std::string& path, const System& system) {
  constexpr mode_t kReadAndWrite = S_IRGRP | S_IWGRP;
  struct stat status;
  if (stat(path.c_str(), &status) != 0 || (status.st_mode & kReadAndWrite) != kReadAndWrite) return {};
  return GroupName(status.st_gid, system);
}

// --- Adapters ---

// Whether one would expect the adapter to render for this system. Further functions of a card are its second
// head, or parts that are made for guests.
bool IsExpectedToRender(const SysfsAdapter& adapter) {
  // Of servers' management and virtual machines' screens: ASPEED, Matrox, Cirrus, Bochs, QXL, Amazon.
  constexpr std::uint32_t kScreensOnly[] = {0x1A03, 0x102B, 0x1013, 0x1234, 0x1B36, 0x1D0F};
  return std::count(std::begin(kScreensOnly), std::end(kScreensOnly), adapter.vendor) == 0 &&
         KGX::AdapterSlot(adapter.place.directory).back() == '0';
}

// A day as WMI writes it, "20260130000000.000000-000", as "2026-01-30".
std::string ISODay(const std::string& date) {
  if (date.size() < 8) return {};
  return date.substr(0, 4) + "-" + date.substr(4, 2) + "-" + date.substr(6, 2);
}

// A machine while it's being looked at.
class Survey {
 public:
  explicit Survey(const System& system) : fSystem(system) {}

  Machine Take() {
    for (const SysfsAdapter& adapter : ztutil::FindSysfsAdapters(fSystem.roots, false)) AddAdapter(adapter);
    if (fMachine.adapters.empty() && !HasOtherCards())
      AddReason("no-card", "The system knows of no graphics card.");
    AddDrivers();
    AddVersionMismatch();
    AddSandbox();
    fMachine.systemType = "linux";
    fMachine.system = KGX::ReadAttribute(fSystem.roots.proc + "/sys/kernel/osrelease");
    for (const auto& variable : fSystem.variables)
      if (DriversObey(variable.first)) fMachine.variables.push_back(variable);
    return std::move(fMachine);
  }

 private:
  Reason& AddReason(const char* code, const std::string& text) {
    return fMachine.reasons.emplace_back(Reason{code, text, {}, {}});
  }

  void AddAdapterReason(const char* code, const std::string& text) {
    AddReason(code, text).adapter = fMachine.adapters.size() - 1;
  }

  // On another bus than PCI.
  bool HasOtherCards() const {
    const std::vector<std::string> entries = KGX::ListDirectory(fSystem.roots.sys + "/class/drm");
    return std::any_of(entries.begin(), entries.end(), [](const std::string& entry) {
      return KGX::NumberOfName(entry, "renderD").has_value();
    });
  }

  void AddAdapter(const SysfsAdapter& found) {
    Adapter& adapter = fMachine.adapters.emplace_back();
    adapter.address = KGX::AdapterSlot(found.place.directory);
    adapter.name = found.name;
    adapter.vendorID = found.vendor;
    adapter.deviceID = found.device;
    adapter.subsystemID = found.subsystem;
    adapter.revision = found.revision;
    adapter.driver = found.driver;
    adapter.driverVersion = found.driverVersion;
    adapter.driverDate = ISODay(found.driverDate);
    adapter.memoryBytes = found.dedicatedMemory;
    adapter.memorySource = found.memorySource;
    adapter.asleep = KGX::IsAsleep(found.place.directory);
    for (const std::string& display : found.displays)  // "card0-eDP-1", or what stands in for one
      if (const std::size_t dash = display.find('-'); dash != std::string::npos)
        adapter.outputs.push_back(display.substr(dash + 1));
    const bool isHeld = IsOneOf(found.driver, {"vfio-pci", "pci-stub"});
    if (!found.driver.empty() && !isHeld)
      AddAccess(adapter, DeviceFiles(found, fSystem));
    else if (IsExpectedToRender(found) && isHeld)
      AddAdapterReason("held-for-guest",
                       found.driver + " holds " + adapter.name + " back for a virtual machine.");
    else if (IsExpectedToRender(found))
      AddAdapterReason("no-kernel-driver", "The kernel has no driver for " + adapter.name + ".");
  }

  void AddAccess(Adapter& adapter, const std::vector<std::string>& files) {
    if (files.empty()) return;
    adapter.renderNode = "/dev/" + files.front();
    adapter.mayOpen = true;
    for (const std::string& file : files) {
      const std::string path = fSystem.roots.dev + "/" + file;
      if (access(path.c_str(), R_OK | W_OK) == 0) continue;
      adapter.mayOpen = false;
      if (Exists(path)) {
        adapter.group = GroupThatMay(path, fSystem);
        return AddAdapterReason(
            "node-not-allowed",
            "This user may not open /dev/" + file + ", and so not use " + adapter.name + ": " +
                (adapter.group.empty() ? "only its owner may."
                                       : "members of the group " + adapter.group + " may."));
      }
      // NVIDIA's are made when a driver first wants them, where its helper is installed.
      if (adapter.driver == "nvidia" && Exists(fSystem.At("/usr/bin/nvidia-modprobe"))) continue;
      return AddAdapterReason("no-device-node",
                              "There is " + adapter.name + ", but not its device file /dev/" + file + ".");
    }
  }

  // --- Drivers ---

  void AddDrivers() {
    Drivers openGL = FindOpenGLDrivers(fSystem, fFinder);
    Drivers openCL = FindOpenCLDrivers(fSystem, fFinder);
    fMachine.drivers = std::move(openGL.list);
    std::move(openCL.list.begin(), openCL.list.end(), std::back_inserter(fMachine.drivers));
    if (!openGL.hasLibrary)
      AddReason("no-opengl-library", "There is no OpenGL library for EGL, libEGL.so.1.");
    else
      AddMissingDrivers(Interface::kOpenGL, fMachine);
    if (!openCL.hasLibrary)
      AddReason("no-opencl-library", "There is no OpenCL library, libOpenCL.so.1.");
    else
      AddMissingDrivers(Interface::kOpenCL, fMachine);
  }

  // NVIDIA's driver refuses to work with a module of another version, as between an update and the restart.
  void AddVersionMismatch() {
    const std::string module = VersionOfModule();
    if (module.empty()) return;
    for (const char* const name : {"libEGL_nvidia.so.0", "libnvidia-opencl.so.1", "libcuda.so.1"}) {
      const std::string library = VersionOfLibrary(name);
      if (library.empty() || library == module) continue;
      const auto adapter =
          std::find_if(fMachine.adapters.begin(), fMachine.adapters.end(),
                       [](const Adapter& candidate) { return candidate.driver == "nvidia"; });
      Reason& reason =
          AddReason("nvidia-version-mismatch",
                    "NVIDIA's kernel module is version " + module + ", and its library " + name + " " +
                        library + ": they only work together in one version. A restart may help.");
      if (adapter != fMachine.adapters.end())
        reason.adapter = static_cast<std::size_t>(adapter - fMachine.adapters.begin());
      return;
    }
  }

  // "NVRM version: NVIDIA UNIX x86_64 Kernel Module  535.104.05  Sat Aug 19 ..."
  std::string VersionOfModule() const {
    const std::string line = KGX::ReadAttribute(fSystem.roots.proc + "/driver/nvidia/version");
    for (std::size_t begin = 0; begin < line.size();) {
      const std::size_t end = std::min(line.find(' ', begin), line.size());
      if (IsVersion(line.substr(begin, end - begin))) return line.substr(begin, end - begin);
      begin = end + 1;
    }
    return {};
  }

  // By its file's name, "libcuda.so.535.104.05". A library for newer applications on older modules stands in
  // a folder of its own.
  std::string VersionOfLibrary(const char* name) const {
    const std::string path = KGX::ResolvedPath(fSystem.At(fFinder.Find(name)));
    constexpr std::string_view kSuffix = ".so.";
    const std::size_t suffix = path.rfind(kSuffix);
    if (suffix == std::string::npos || path.find("/compat/") != std::string::npos) return {};
    const std::string version = path.substr(suffix + kSuffix.size());
    return IsVersion(version) ? version : "";
  }

  static bool IsVersion(const std::string& text) {
    return text.find('.') != std::string::npos && text.find_first_not_of("0123456789.") == std::string::npos;
  }

  // --- Sandboxes ---

  // Only where it's behind something: cards and their kernel drivers show through all of them.
  void AddSandbox() {
    const bool explains =
        std::any_of(fMachine.reasons.begin(), fMachine.reasons.end(), [](const Reason& reason) {
          return !IsOneOf(reason.code, {"no-card", "no-kernel-driver", "held-for-guest"});
        });
    const std::string sandbox = explains ? Sandbox() : "";
    if (!sandbox.empty())
      AddReason("sandbox",
                "This runs in " + sandbox + ", which has only those drivers and devices that it's given.");
  }

  std::string Sandbox() const {
    if (Exists(fSystem.At("/.flatpak-info"))) return "a Flatpak";
    if (KGX::ReadAttribute(fSystem.roots.proc + "/self/attr/current").rfind("snap.", 0) == 0) return "a snap";
    for (const char* const sign : {"/.dockerenv", "/run/.containerenv", "/run/systemd/container"})
      if (Exists(fSystem.At(sign))) return "a container";
    return fSystem.Variable("KUBERNETES_SERVICE_HOST") ? "a container" : "";
  }

  const System& fSystem;
  const LibraryFinder fFinder{fSystem};
  Machine fMachine;
};

}  // namespace

Machine LookAt(const System& system) { return Survey(system).Take(); }

Machine LookAtMachine() {
  System system;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view variable = *entry;
    const std::size_t equals = variable.find('=');
    if (equals != std::string::npos)
      system.variables.emplace(variable.substr(0, equals), variable.substr(equals + 1));
  }
  return LookAt(system);
}

}  // namespace gpuprowler
