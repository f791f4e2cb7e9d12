// Which card and driver stand behind a GPU, and what is said where none does.
#include <gtest/gtest.h>
#include <look/attribution.h>
#include <look/reasons.h>
#include <look/registrytext.h>
#include <look/variables.h>

#include <map>
#include <sstream>
#include <string>
#include <tuple>

namespace {

using gpuprowler::Answer;
using gpuprowler::Behaviour;
using gpuprowler::Driver;
using gpuprowler::GPU;
using gpuprowler::Interface;
using std::string;

gpuprowler::Adapter Card(std::uint32_t vendor, std::uint32_t device, const string& name) {
  gpuprowler::Adapter adapter;
  adapter.vendorID = vendor;
  adapter.deviceID = device;
  adapter.name = name;
  return adapter;
}

GPU OpenGLGPU(std::int64_t vendor, std::int64_t device, const string& name, const string& renderer) {
  GPU gpu;
  gpu.values = {{"glVendorID", "", vendor},
                {"glRendererID", "", device},
                {"glName", "", name},
                {"glRenderer", "", renderer}};
  return gpu;
}

GPU OpenCLGPU(std::int64_t vendor, const string& name) {
  GPU gpu;
  gpu.interface = Interface::kOpenCL;
  gpu.values = {{"clVendorID", "", vendor}, {"clName", "", name}};
  return gpu;
}

Driver MakeDriver(Interface interface, const string& path, Behaviour behaviour = Behaviour::kSound) {
  Driver driver;
  driver.interface = interface;
  driver.library = "/folder/libx.so";
  driver.path = path;
  driver.behaviour = behaviour;
  driver.question = "glgpu[0].GLVersion";
  return driver;
}

TEST(AttributionTest, ACardOnlyWhereExactlyOneFits) {
  const std::vector<gpuprowler::Adapter> cards = {
      Card(0x8086, 0x3ea0, "UHD Graphics 620"), Card(0x10de, 0x1db1, "Tesla V100"),
      Card(0x10de, 0x1db1, "Tesla V100"), Card(0x10de, 0x2206, "NVIDIA GeForce RTX 3080"),
      Card(0x1002, 0x73bf, "AMD Radeon RX 6800 XT")};
  const struct {
    GPU gpu;
    string behind;
  } rows[] = {
      {OpenGLGPU(0x8086, 0x3ea0, "UHD Graphics 620", "Mesa Intel(R) UHD 620"), "0"},
      {OpenGLGPU(0x10de, 0x1db1, "Tesla V100", "Tesla V100/PCIe"), "?"},
      {OpenGLGPU(0x10de, 0x2206, "", "RTX"), "3"},
      {OpenGLGPU(0, 0, "", "D3D12 (NVIDIA)"), "?"},
      {OpenGLGPU(0, 0, "", "llvmpipe (LLVM 15.0.6, 256 bits)"), "software"},
      {OpenGLGPU(0x1002, 0x73bf, "AMD Radeon RX 6800 XT", "zink Vulkan 1.3(llvmpipe (LLVM 15))"), "software"},
      {OpenCLGPU(0x8086, "Intel(R) Gen9"), "0"},
      {OpenCLGPU(0x10de, "NVIDIA GeForce RTX 3080"), "3"},
      {OpenCLGPU(0x10de, "Tesla V100"), "?"},
      {OpenCLGPU(0, "AMD Radeon RX 6800 XT (radeonsi, navi21)"), "4"},
      {OpenCLGPU(0x10004, "unknown"), "?"},
      {OpenCLGPU(0x8086, "pthread-skylake"), "software"},
      {OpenCLGPU(0, "softpipe"), "software"},
      {OpenCLGPU(0, "Mesa X11 swrast"), "software"},
      {OpenCLGPU(0, "Software Rasterizer"), "software"},
      {OpenCLGPU(0, "Mesa OffScreen"), "software"},
      {OpenCLGPU(0, "Google SwiftShader"), "software"},
      {OpenCLGPU(0, "GDI Generic"), "software"},
      {OpenCLGPU(0, "Microsoft Basic Render Driver"), "software"},
      {OpenCLGPU(0, "cpu-haswell"), "software"},
      {OpenCLGPU(0, "Oclgrind Simulator"), "software"},
  };
  for (const auto& row : rows) {
    Answer answer;
    answer.adapters = cards;
    answer.runs.resize(1);
    answer.gpus = {row.gpu};
    Attribute(answer);
    const GPU& gpu = answer.gpus[0];
    EXPECT_EQ(gpu.software  ? "software"
              : gpu.adapter ? std::to_string(*gpu.adapter)
                            : "?",
              row.behind)
        << "row " << &row - rows;
    answer.adapters.clear();
    Attribute(answer);
    EXPECT_TRUE(answer.gpus[0].software);
  }
}

TEST(AttributionTest, ADriverOnlyWhereItWasTheOnlyOne) {
  Answer answer;
  answer.drivers = {MakeDriver(Interface::kOpenGL, "a"), MakeDriver(Interface::kOpenCL, "b"),
                    MakeDriver(Interface::kOpenCL, "c"), MakeDriver(Interface::kOpenGL, "")};
  answer.runs.resize(2);
  answer.runs[0].drivers = {0, 1, 2, 3};
  answer.runs[1].drivers = {2};
  answer.gpus = {OpenGLGPU(0, 0, "", ""), OpenCLGPU(0, ""), OpenCLGPU(0, "")};
  answer.gpus[2].run = 1;
  Attribute(answer);
  EXPECT_EQ(answer.gpus[0].driver, 0u);
  EXPECT_FALSE(answer.gpus[1].driver);
  EXPECT_EQ(answer.gpus[2].driver, 2u);
}

TEST(AttributionTest, ReasonsOfDriversAndOfSoftware) {
  const GPU software = OpenGLGPU(0, 0, "", "llvmpipe"), hardware = OpenGLGPU(1, 2, "", "x");
  const auto gl = [](Behaviour behaviour) { return MakeDriver(Interface::kOpenGL, "x", behaviour); };
  const Driver badCL = MakeDriver(Interface::kOpenCL, "x", Behaviour::kHung);
  const struct {
    std::vector<gpuprowler::Adapter> adapters;
    std::vector<GPU> gpus;
    std::vector<Driver> drivers;
    std::vector<gpuprowler::Reason> before;
    string codes;
  } rows[] = {
      {{Card(1, 2, "Card")}, {software, hardware}, {gl(Behaviour::kSound), gl(Behaviour::kUnknown)}, {}, ""},
      {{Card(1, 2, "Card")}, {software}, {}, {}, " only-software"},
      {{Card(1, 2, "Card")}, {}, {}, {}, ""},
      {{Card(1, 2, "Card")},
       {software},
       {},
       {{"no-opencl-library", "", {}, {}}},
       " no-opencl-library only-software"},
      {{}, {OpenGLGPU(0, 0, "", "GDI Generic")}, {}, {{"no-opengl-driver", "", {}, {}}}, " no-opengl-driver"},
      {{},
       {software},
       {},
       {{"no-opengl-library", "", {}, {}}, {"no-opencl-driver", "", {}, {}}},
       " no-opencl-driver"},
      {{Card(1, 2, "Card")}, {software}, {}, {{"node-not-allowed", "", {}, {}}}, " node-not-allowed"},
      {{}, {software}, {}, {}, ""},
      {{Card(1, 2, "Card")}, {software}, {badCL}, {}, " driver-hung only-software"},
      {{Card(1, 2, "Card")}, {software}, {gl(Behaviour::kSetAside)}, {}, " driver-set-aside"},
      {{},
       {},
       {gl(Behaviour::kCrashed), gl(Behaviour::kFailed), gl(Behaviour::kEnded)},
       {},
       " driver-crashed driver-failed driver-ended"},
  };
  string sentences;
  for (const auto& row : rows) {
    Answer answer;
    answer.adapters = row.adapters;
    answer.gpus = row.gpus;
    answer.drivers = row.drivers;
    answer.reasons = row.before;
    answer.runs.resize(1);
    Attribute(answer);
    AddReasons(answer);
    string codes;
    for (const gpuprowler::Reason& reason : answer.reasons) {
      codes += " " + reason.code;
      if (!reason.text.empty()) sentences += reason.text + "\n";
    }
    EXPECT_EQ(codes, row.codes) << "row " << &row - rows;
  }
  EXPECT_EQ(sentences, R"(OpenGL is only rendered in software, not by Card.
OpenGL is only rendered in software, not by Card.
OpenCL driver libx.so hung, asked for glgpu[0].GLVersion.
OpenGL is only rendered in software, not by Card.
OpenGL driver libx.so is set aside, having misbehaved earlier, asked for glgpu[0].GLVersion.
OpenGL driver libx.so crashed, asked for glgpu[0].GLVersion.
OpenGL driver libx.so failed, asked for glgpu[0].GLVersion.
OpenGL driver libx.so ended the process, asked for glgpu[0].GLVersion.
)");
}

// One of each library that the drivers stand on, as its makers name it.
TEST(VariablesTest, AreThoseThatDriversObey) {
  std::istringstream names(
      "LD_LIBRARY_PATH __EGL_VENDOR_LIBRARY_DIRS __GLVND_DISALLOW_PATCHING OCL_ICD_VENDORS OPENCL_LAYERS "
      "EGL_PLATFORM MESA_DEBUG LIBGL_ALWAYS_SOFTWARE GALLIUM_DRIVER DRI_PRIME DRAW_USE_LLVM GBM_BACKEND "
      "LP_NUM_THREADS ST_DEBUG NIR_DEBUG TGSI_PRINT_SANITY VIRGL_DEBUG SVGA_NO_SWTNL ZINK_DEBUG D3D12_DEBUG "
      "AMD_DEBUG RADEON_THREAD R600_DEBUG RADV_DEBUG INTEL_DEBUG I915_DEBUG NOUVEAU_LIBDRM_DEBUG "
      "RUSTICL_ENABLE "
      "CLOVER_DEVICE_TYPE VK_ICD_FILENAMES __GL_SHADER_DISK_CACHE __NV_PRIME_RENDER_OFFLOAD "
      "CUDA_VISIBLE_DEVICES NVIDIA_VISIBLE_DEVICES GPU_MAX_ALLOC_PERCENT HSA_ENABLE_SDMA "
      "ROCR_VISIBLE_DEVICES "
      "NEOReadDebugKeys IGC_ShaderDumpEnable ZE_AFFINITY_MASK ONEAPI_DEVICE_SELECTOR POCL_DEVICES RIG_FAULT");
  for (string name; names >> name;) EXPECT_TRUE(gpuprowler::DriversObey(name)) << name;
  for (const char* const other : {"HOME", "PATH", "DISPLAY", "LD", "XMESA_", "mesa_debug", ""})
    EXPECT_FALSE(gpuprowler::DriversObey(other)) << other;
}

TEST(AttributionTest, TextsOfWindowsRegistry) {
  gpuprowler::Adapter adapter;
  SetIDs(adapter, "PCI\\VEN_10DE&DEV_2206&SUBSYS_38971462&REV_A1");
  EXPECT_EQ(std::tie(adapter.vendorID, adapter.deviceID, adapter.subsystemID, adapter.revision),
            std::make_tuple(0x10deu, 0x2206u, 0x38971462u, 0xa1u));
  SetIDs(adapter, "ROOT\\BasicDisplay");
  EXPECT_EQ(adapter.vendorID + adapter.deviceID, 0u);
  EXPECT_EQ(gpuprowler::ISODate("6-8-2023"), "2023-06-08");
  EXPECT_EQ(gpuprowler::ISODate("6-8") + gpuprowler::ISODate("x"), "");
  for (const auto& [library, file] : std::map<string, string>{{"nvoglv64.dll", "C:\\S\\nvoglv64.dll"},
                                                              {"atig6pxx", "C:\\S\\atig6pxx.dll"},
                                                              {"D:\\a.b\\x", "D:\\a.b\\x.dll"}})
    EXPECT_EQ(gpuprowler::LibraryFile(library, "C:\\S"), file);
}

}  // namespace
