// Machines that are trees of files: what is told of them, and what they lack.
#include "expected.h"
#include "libraryfinder.h"
#include "system.h"
#include "systemtree.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/stat.h>
#include <tell/words.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

namespace {

using gpuprowler::Machine;
using gpuprowler::System;
using std::string;
namespace fs = std::filesystem;

const string kFolder = "usr/lib/x86_64-linux-gnu/";
const string kLibrary = "\177ELF";
const string kNVIDIAInformation = "proc/driver/nvidia/gpus/0000:01:00.0/information";

// A library in which these texts stand, as a loader's do.
string Library(std::initializer_list<string> texts) {
  string bytes = kLibrary;
  for (const string& text : texts) bytes += '\0' + text + '\0';
  return bytes;
}
const string kOCLICD = Library({"/etc/OpenCL/vendors", "OCL_ICD_VENDORS", "OPENCL_VENDOR_PATH"});
const string kKhronos = Library({"/etc/OpenCL/vendors", "OCL_ICD_VENDORS", "OCL_ICD_FILENAMES"});

string Vendor(const string& library) {
  return R"({"file_format_version": "1.0.0", "ICD": {"library_path": ")" + library + "\"}}";
}

// A laptop on which all is well. NVIDIA's card has no DRM device.
class MadeMachine : public SystemTree {
 public:
  MadeMachine() {
    chmod(Folder().c_str(), 0755);
    system.roots = {Path("sys"), Path("proc"), Path("share"), Path("dev")};
    system.root = Folder();
    const string intel = AddDevice("0000:00:02.0", "8086:3ea0 030000", "i915", {{"boot_vga", "1"}});
    AddCard(intel, 1, 129, {{"eDP-1", "connected"}, {"DP-1", "disconnected"}});
    AddCard(AddDevice("0000:03:00.0", "1002:73bf 030000", "amdgpu",
                      {{"revision", "0xc1"},
                       {"subsystem_vendor", "0x1"},
                       {"subsystem_device", "0x2"},
                       {"mem_info_vram_total", "17163091968"}}),
            0, 128);
    AddDevice("0000:01:00.0", "10de:2206 030200", "nvidia", {{"power/runtime_status", "active"}});
    Write("sys/module/nvidia/version", "535.104.05\n");
    Write("proc/driver/nvidia/version",
          "NVRM version: NVIDIA UNIX x86_64 Kernel Module  535.104.05  Sat Aug 19 01:15:15 UTC 2023\n");
    Write(kNVIDIAInformation, "Model: \t\t NVIDIA GeForce RTX 3080\nDevice Minor: \t 0\n");
    for (const char* file : {"dev/dri/renderD128", "dev/dri/renderD129", "dev/nvidiactl", "dev/nvidia0"}) {
      Write(file, "");
      chmod(Path(file).c_str(), 0666);
    }
    Write("etc/group",
          "video:x:44:\nmany:x:42420:\nrender:x:4242:\nmine:x:" + std::to_string(getgid()) + ":\n");

    Write(kFolder + "libEGL.so.1",
          Library({"__EGL_VENDOR_LIBRARY_DIRS", "/etc/glvnd/egl_vendor.d:/usr/share/glvnd/egl_vendor.d",
                   "__EGL_VENDOR_LIBRARY_FILENAMES"}));
    Write("usr/share/glvnd/egl_vendor.d/50_mesa.json", Vendor("libEGL_mesa.so.0"));
    Write("usr/share/glvnd/egl_vendor.d/10_nvidia.json", Vendor("libEGL_nvidia.so.0"));
    Write(kFolder + "libOpenCL.so.1", kOCLICD);
    Write("etc/OpenCL/vendors/pocl.icd", "/opt/pocl/libpocl.so.2\n");
    for (const string& file : {kFolder + "libEGL_mesa.so.0", kFolder + "libEGL_nvidia.so.535.104.05",
                               string("opt/pocl/libpocl.so.2"), string("opt/other/libother.so")})
      Write(file, kLibrary);
    fs::create_symlink("libEGL_nvidia.so.535.104.05", Path(kFolder + "libEGL_nvidia.so.0"));
  }

  void Remove(const string& path) { fs::remove_all(Path(path)); }

  void Rebind(const string& slot, const string& driver) {
    Remove("sys/devices/pci0000:00/" + slot + "/driver");
    Remove("sys/devices/pci0000:00/" + slot + "/drm");
    if (!driver.empty()) Link("sys/devices/pci0000:00/" + slot + "/driver", "sys/bus/drivers/" + driver);
  }

  // What the environment says to the loaders, "OpenGL's drivers|OpenCL's".
  string Drivers(const std::map<string, string>& variables) {
    system.variables = variables;
    string names;
    bool isOpenCL = false;
    for (const gpuprowler::Driver& driver : LookAt(system).drivers) {
      if (!isOpenCL && driver.interface == gpuprowler::Interface::kOpenCL) names += "|", isOpenCL = true;
      names += " " + fs::path(driver.library).filename().string() + (driver.path.empty() ? "?" : "");
    }
    return names;
  }

  System system;
};

string Codes(const Machine& machine) {
  string codes;
  for (const gpuprowler::Reason& reason : machine.reasons) codes += (codes.empty() ? "" : " ") + reason.code;
  return codes;
}

using Change = std::function<void(MadeMachine&)>;

Change WithoutOpenGL(const Change& change) {
  return [=](MadeMachine& machine) { machine.Remove("usr/share/glvnd"), change(machine); };
}

TEST(MachineTest, EachMachineHasItsReason) {
  using Made = MadeMachine;
  const struct {
    const char* codes;
    Change change;
  } rows[] = {
      {"", [](Made&) {}},
      {"no-card", [](Made& m) { m.Remove("sys"), m.Write(".dockerenv", ""); }},
      {"", [](Made& m) { m.Remove("sys"), m.Write("sys/class/drm/renderD128/x", ""); }},
      {"no-kernel-driver", [](Made& m) { m.Rebind("0000:03:00.0", ""), m.Write(".dockerenv", ""); }},
      {"no-kernel-driver", [](Made& m) { m.AddDevice("0000:05:00.0", "1af4:1050 030000", "virtio2/"); }},
      {"held-for-guest", [](Made& m) { m.Rebind("0000:03:00.0", "vfio-pci"), m.Write(".dockerenv", ""); }},
      {"held-for-guest", [](Made& m) { m.Rebind("0000:01:00.0", "pci-stub"); }},
      {"no-device-node", [](Made& m) { m.Remove("dev/dri/renderD128"); }},
      {"no-device-node", [](Made& m) { m.Remove("dev/nvidia0"); }},
      {"no-device-node", [](Made& m) { m.AddDevice("0000:08:00.0", "1414:008e 030200", "dxgkrnl"); }},
      {"", [](Made& m) { m.Remove("dev/nvidia0"), m.Write("usr/bin/nvidia-modprobe", ""); }},
      {"no-device-node no-device-node no-device-node sandbox",
       [](Made& m) { m.Remove("dev"), m.Write(".dockerenv", ""); }},
      {"", [](Made& m) { m.Write(".dockerenv", ""); }},
      {"no-opengl-driver sandbox", WithoutOpenGL([](Made& m) { m.Write("run/.containerenv", ""); })},
      {"no-opengl-driver sandbox", WithoutOpenGL([](Made& m) { m.Write("run/systemd/container", ""); })},
      {"no-opengl-driver sandbox", WithoutOpenGL([](Made& m) {
         m.system.variables = {{"KUBERNETES_SERVICE_HOST", ""}};
       })},
      {"no-opengl-library", [](Made& m) { m.Remove(kFolder + "libEGL.so.1"); }},
      {"no-opengl-library", [](Made& m) { m.Write(kFolder + "libEGL.so.1", "text"); }},
      {"no-opencl-library sandbox",
       [](Made& m) { m.Remove(kFolder + "libOpenCL.so.1"), m.Write(".flatpak-info", ""); }},
      {"no-opengl-driver", [](Made& m) { m.Remove("usr/share/glvnd"); }},
      {"no-opencl-driver sandbox",
       [](Made& m) { m.Remove("etc/OpenCL"), m.Write("proc/self/attr/current", "snap.x.y (enforce)\n"); }},
      {"driver-library-missing", [](Made& m) { m.Remove("opt/pocl"); }},
      {"nvidia-version-mismatch sandbox",
       [](Made& m) {
         m.Write("proc/driver/nvidia/version", "NVRM version: NVIDIA UNIX Open x86_64  550.90.07  Release\n");
         m.Write(".dockerenv", "");
       }},
      {"no-kernel-driver driver-library-missing nvidia-version-mismatch",
       [](Made& m) {
         m.Remove(kFolder + "libEGL_nvidia.so.0"), m.Rebind("0000:01:00.0", "");
         m.Write("lib/libnvidia-opencl.so.1.2", "");
         fs::create_symlink("libnvidia-opencl.so.1.2", m.Path("lib/libnvidia-opencl.so.1"));
       }},
      {"nvidia-version-mismatch",
       [](Made& m) {
         m.Write("lib/libcuda.so.1.2.3", ""),
             fs::create_symlink("libcuda.so.1.2.3", m.Path("lib/libcuda.so.1"));
       }},
      {"",
       [](Made& m) {
         m.Write("compat/libcuda.so.1.2", ""), m.Write("lib/x", ""),
             fs::create_symlink("../compat/libcuda.so.1.2", m.Path("lib/libcuda.so.1"));
       }},
      // A server's screen, a second head, and a function for a guest.
      {"",
       [](Made& m) {
         for (const string vendor : {"1a03", "102b", "1013", "1234", "1b36", "1d0f"})
           m.AddDevice("0000:" + vendor.substr(2) + ":00.0", vendor + ":2000 030000", "");
         m.AddDevice("0000:03:00.1", "1002:73bf 038000", "");
         m.AddDevice("0000:03:02.1", "8086:56c0 038000", "vfio-pci");
       }},
      // A display that the firmware left, or that has no renderer, needs no device file.
      {"", [](Made& m) { m.AddCard(m.AddDevice("0000:07:00.0", "1a03:2000 030000", "ast"), 2, 0); }},
  };
  std::ostringstream sentences;
  for (const auto& row : rows) {
    MadeMachine made;
    row.change(made);
    const Machine machine = LookAt(made.system);
    EXPECT_EQ(Codes(machine), row.codes) << "row " << &row - rows;
    sentences << "\n";
    for (const auto& reason : machine.reasons) {
      sentences << reason.text;
      if (reason.adapter) sentences << " [" << machine.adapters.at(*reason.adapter).address << "]";
      if (reason.driver) sentences << " [" << machine.drivers.at(*reason.driver).library << "]";
      sentences << "\n";
    }
  }
  EXPECT_TRUE(AsExpected("reasons.txt", sentences.str()));
}

// Access is this user's, whoever the program's file belongs to.
TEST(MachineTest, NamesTheGroupThatMayOpenTheNode) {
  MadeMachine made;
  const string node = made.Path("dev/dri/renderD128");
  const bool isRoot = getuid() == 0;
  for (const auto& [mode, group, who] :
       std::vector<std::tuple<mode_t, string, string>>{{0060, isRoot ? "render" : "mine", ""},
                                                       {0040, "", "only its owner may."},
                                                       {0020, "", "only its owner may."}}) {
    ASSERT_EQ(chmod(node.c_str(), mode), 0);
    if (isRoot) {
      ASSERT_TRUE(chown(node.c_str(), 0, 4242) == 0 && setreuid(65534, 0) == 0);
    }
    const Machine machine = LookAt(made.system);
    if (isRoot) {
      ASSERT_EQ(setreuid(0, 0), 0);
    }
    EXPECT_EQ(Codes(machine), "node-not-allowed");
    EXPECT_EQ(machine.reasons.at(0).adapter, 1u);
    EXPECT_FALSE(machine.adapters.at(1).mayOpen);
    EXPECT_EQ(machine.adapters.at(1).group, group);
    EXPECT_EQ(machine.reasons[0].text,
              "This user may not open /dev/dri/renderD128, and so not use AMD Radeon RX 6800 XT: " +
                  (who.empty() ? "members of the group " + group + " may." : who));
  }
}

TEST(MachineTest, TellsAll) {
  MadeMachine made;
  made.system.variables = {{"EGL_PLATFORM", "a=b"}, {"HOME", "x"}};
  const timespec times[] = {{1, 1}, {1700000000, 5}};
  utimensat(AT_FDCWD, made.Path("opt/pocl/libpocl.so.2").c_str(), times, 0);
  std::ostringstream out;
  // What would wake a sleeping card isn't read.
  for (const char* const power : {"active\n", "suspended\n"}) {
    made.Write("sys/devices/pci0000:00/0000:01:00.0/power/runtime_status", power);
    const Machine machine = LookAt(made.system);
    out << machine.systemType << "|" << machine.system << "\n";
    for (const auto& [name, value] : machine.variables) out << name << "|" << value << "\n";
    for (const gpuprowler::Adapter& a : machine.adapters) {
      out << a.address << "|" << std::hex << a.vendorID << ":" << a.deviceID << " " << a.subsystemID << " "
          << a.revision << std::dec << "|" << a.name << "|" << a.driver << " " << a.driverVersion << " "
          << a.driverDate << "|" << a.memoryBytes << " " << a.memorySource << "|" << a.renderNode
          << (a.mayOpen ? "" : " no") << (a.asleep ? "|asleep" : "|");
      for (const string& output : a.outputs) out << " " << output;
      out << "\n";
    }
    for (const gpuprowler::Driver& d : machine.drivers)
      out << InWords(d.interface) << "|" << d.manifest << "|" << d.library << "|" << d.path << "|" << d.bytes
          << (d.modified < 1700000001000000000 ? " " + std::to_string(d.modified) : "") << "\n";
  }
  EXPECT_TRUE(AsExpected("looked.txt", out.str()));
}

TEST(MachineTest, FindsTheDriversThatLoadersFind) {
  MadeMachine made;
  made.Write("etc/glvnd/egl_vendor.d/90_other.json", Vendor("/opt/other/libother.so"));
  made.Write("etc/glvnd/egl_vendor.d/95_again.json", Vendor(fs::path("/" + kFolder + "libEGL_mesa.so.0")));
  made.Write("etc/glvnd/egl_vendor.d/96_broken.json", "{");
  made.Write("etc/glvnd/egl_vendor.d/97_later.json",
             R"({"file_format_version": "2.0", "ICD": {"library_path": "x"}})");
  made.Write("etc/glvnd/egl_vendor.d/97_minor.json",
             R"({"file_format_version": "1.1", "ICD": {"library_path": "x"}})");
  made.Write("etc/glvnd/egl_vendor.d/98_odd.json", R"({"file_format_version": "1.0", "ICD": []})");
  made.Write("etc/OpenCL/vendors/a.icd", "libother.so\nsecond line\n");
  made.Write("etc/OpenCL/vendors/empty.icd", "");
  for (const char* const file : {"mine/x.icd", "etc/OpenCL/vendors/mine/x.icd"})
    made.Write(file, "/opt/other/libother.so");
  const string gl = " libother.so libEGL_mesa.so.0 libEGL_nvidia.so.0|";
  const string path = "/mine/nothing.json::/usr/share/glvnd/egl_vendor.d/10_nvidia.json";
  const string other = "/opt/other/libother.so";
  const struct {
    const string loader;
    std::map<string, string> variables;
    string drivers;
  } rows[] = {
      {kOCLICD, {}, gl + " libother.so? libpocl.so.2"},
      {kOCLICD, {{"LD_LIBRARY_PATH", "/none;/opt/other"}}, gl + " libother.so libpocl.so.2"},
      {kOCLICD,
       {{"__EGL_VENDOR_LIBRARY_FILENAMES", path}, {"OCL_ICD_VENDORS", "pocl.icd"}},
       " libEGL_nvidia.so.0| libpocl.so.2"},
      {kOCLICD,
       {{"__EGL_VENDOR_LIBRARY_DIRS", "/none:/usr/share/glvnd/egl_vendor.d/"}, {"OCL_ICD_VENDORS", ""}},
       " libEGL_nvidia.so.0 libEGL_mesa.so.0| libother.so? libpocl.so.2"},
      {kOCLICD, {{"OCL_ICD_VENDORS", "/mine"}}, gl + " libother.so"},
      {kOCLICD, {{"OCL_ICD_VENDORS", "/mine/x.icd"}}, gl + " libother.so"},
      {kOCLICD, {{"OCL_ICD_VENDORS", "mine/x.icd"}}, gl.substr(0, gl.size() - 1)},
      {kOCLICD, {{"OCL_ICD_VENDORS", other}, {"OCL_ICD_FILENAMES", "unknown.so"}}, gl + " libother.so"},
      {kOCLICD, {{"OPENCL_VENDOR_PATH", "/mine"}}, gl + " libother.so"},
      {kOCLICD, {{"OPENCL_VENDOR_PATH", "/mine"}, {"OCL_ICD_VENDORS", "x.icd"}}, gl + " libother.so"},
      {kKhronos, {{"OPENCL_VENDOR_PATH", "/mine"}}, gl + " libother.so\nsecond line? libpocl.so.2"},
      {kKhronos,
       {{"OCL_ICD_VENDORS", "/mine"}, {"OCL_ICD_FILENAMES", "a.so:" + other}},
       gl + " a.so? libother.so libother.so"},
      {kKhronos, {{"OCL_ICD_VENDORS", ""}}, gl.substr(0, gl.size() - 1)},
      {kLibrary, {{"OCL_ICD_VENDORS", "/mine"}}, gl + " libOpenCL.so.1"},
      {kOCLICD + string(4194304, ' '), {}, gl + " libOpenCL.so.1"},  // too large for a loader
  };
  for (const auto& row : rows) {
    made.Write(kFolder + "libOpenCL.so.1", row.loader);
    EXPECT_EQ(made.Drivers(row.variables), row.drivers) << "row " << &row - rows;
  }
}

// In the linker's cache, between libraries for other machines, and then in its folders, the first in front.
TEST(MachineTest, FindsLibrariesAsTheLinkerDoes) {
  MadeMachine made;
  const auto find = [&] { return gpuprowler::LibraryFinder(made.system).Find("libx.so.1"); };
  for (const string folder :
       {"usr/lib/", "lib/", "usr/lib64/", "lib64/", "usr/lib/x86_64-linux-gnu/", "lib/x86_64-linux-gnu/"}) {
    made.Write(folder + "libx.so.1", "");
    EXPECT_EQ(find(), "/" + folder + "libx.so.1");
  }
  string cache = "glibc-ld.so.cache1.1", texts("libx.so.1\0", 10);
  const auto put = [&](std::uint32_t number) { cache.append(reinterpret_cast<const char*>(&number), 4); };
  for (int i = 0; i < 7; ++i) put(4);  // entries
  for (const auto& [kind, processor, name, path] :
       std::vector<std::tuple<unsigned, unsigned, unsigned, string>>{
           {3, 0, 0, "/32"},
           {0x303, 1, 0, "/new"},
           {0x303, 0, 1, "/ibx"},
           {0x303, 0, 0, "/opt/cached/libx.so.1"}}) {
    for (const unsigned number : {kind, 144 + name, 144 + unsigned(texts.size()), 0u, processor, 0u})
      put(number);
    texts += path + '\0';
  }
  made.Write("etc/ld.so.cache", "old" + cache + texts);
  made.Write("opt/cached/libx.so.1", "");
  EXPECT_EQ(find(), "/opt/cached/libx.so.1");
}

// A library that this process has loaded, found without asking the linker.
TEST(MachineTest, FindsWhatTheLinkerFinds) {
  void* const library = dlopen("libstdc++.so.6", RTLD_LAZY | RTLD_NOLOAD);
  link_map* map = nullptr;
  ASSERT_TRUE(library != nullptr && dlinfo(library, RTLD_DI_LINKMAP, &map) == 0);
  const System system;
  const string found = gpuprowler::LibraryFinder(system).Find("libstdc++.so.6");
  EXPECT_EQ(fs::canonical(found), fs::canonical(map->l_name));
  dlclose(library);

  const string cache = KGX::ReadSystemFile("/etc/ld.so.cache", 16777216);
  for (std::size_t size = 0; size < cache.size(); size += 1 + size / 64)
    gpuprowler::PathInCache(string(cache, 0, size), "libstdc++.so.6");
}

}  // namespace
