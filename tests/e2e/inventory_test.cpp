// Machines with several GPUs: their files are a tree that umockdev puts before the system's own, their EGL
// devices the rig's.
#include "calltable.h"
#include "expected.h"
#include "report.h"
#include "systemtree.h"

#include <dlfcn.h>

namespace {

using std::string;

constexpr char kPreload[] = "libumockdev-preload.so.0";

class InventoryTest : public testing::Test {
 protected:
  void SetUp() override {
    void* const library = dlopen(kPreload, RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) GTEST_SKIP() << "umockdev isn't installed";
    dlclose(library);
  }

  // The prober's environment on this machine with those EGL devices, and without OpenCL.
  Environment Machine(const string& devices, const string& fault = "") const {
    return Drivers({{"LD_PRELOAD", kPreload},
                    {"UMOCKDEV_DIR", fTree.Folder()},
                    {"RIG_EGL_DEVICES", devices},
                    {"RIG_FAULT", fault},
                    {"OCL_ICD_VENDORS", BuildFile("e2e/icd/none")}});
  }

  SystemTree fTree;
};

// A machine on which much fails: a context on a card that the system doesn't know, the GLSL program at each
// of its stages, the framebuffer in three ways, and then each GPU's testing.
TEST_F(InventoryTest, TableOfEachGPU) {
  fTree.AddCard(fTree.AddDevice("0000:00:02.0", "8086:fffe 030000", "i915",
                                {{"boot_vga", "1"}, {"mem_info_gtt_total", "104857600"}}),
                1, 129, {{"eDP-on-a-dock-that-has-a-long-name-1", "connected"}});
  fTree.AddCard(fTree.AddDevice("0000:03:00.0", "1002:fffd 030000", "amdgpu",
                                {{"product_name", "Radeon \"Pro\""}, {"mem_info_vram_total", "17163091968"}}),
                0, 128);
  fTree.AddDevice("0000:65:00.0", "10de:fffc 030200", "nvidia", {{"power/runtime_status", "suspended"}});
  fTree.Write("sys/module/nvidia/version", "535.104.05\n");
  fTree.Write("proc/driver/nvidia/gpus/0000:65:00.0/information",
              "Model: \t\t NVIDIA H200\nGPU UUID: \t GPU-00112233-4455-6677-8899-aabbccddeeff\n");
  // EGL's order isn't the inventory's. Of the last one, the driver's name is the only one there is.
  Environment machine = Machine(
      "software::,C:/dev/dri/card9:,A:/dev/dri/card0:/dev/dri/renderD128,B::/dev/dri/renderD129,NVIDIA::,"
      "Other::",
      "eglCreatePbufferSurface@5=ret:0;glCreateShader@2=ret:0;glCreateProgram@2=ret:0;glLinkProgram@1=ret:0;"
      "glClear@1=err:0x505;glDeleteTextures@3=err:0x501;glCheckFramebufferStatusEXT@3=ret:0x8cd6;"
      "glGetIntegerv@1=err:0x500;glGetProgramivARB@1=err:0x502;eglMakeCurrent@53=ret:0;"
      "eglQueryDeviceStringEXT@3=ret:0;eglQueryDeviceStringEXT@6=text:;clCreateProgramWithSource@2=fail:-6");
  machine["OCL_ICD_VENDORS"] = BuildFile("e2e/icd/pocl");
  machine["POCL_DEVICES"] = "pthread pthread";
  // An old driver, which has neither contexts without a configuration nor OpenGL's own framebuffers.
  for (const char* display : {"3", "4", "5", "6", "7", "8"})
    machine["RIG_FAULT"] += string(";eglQueryString@") + display + "=text:EGL_KHR_surfaceless_context";
  machine["MESA_GL_VERSION_OVERRIDE"] = "2.1";
  machine["MESA_EXTENSION_OVERRIDE"] = "-GL_ARB_framebuffer_object";
  EXPECT_TRUE(AsExpected("machine.txt", CallTable(machine, {"-verbose=1"})));
}

// They are one GPU, whose context and ids are those of the model that comes last.
TEST_F(InventoryTest, TwoModelsOfOneName) {
  for (const string card : {"0", "1"})
    fTree.AddCard(fTree.AddDevice("0000:0" + card + ":01.0", "1002:fff" + card + " 030000", "amdgpu",
                                  {{"product_name", "Radeon"}}),
                  std::stoi(card), 128 + std::stoi(card));
  const Outcome outcome = RunProber(Machine("B:/dev/dri/card1:,A:/dev/dri/card0:"), {"-verbose=1"});
  string context;
  for (const string& line : outcome.lines)
    if (line.find("kgxDevice[") != string::npos) context = line;
  EXPECT_NE(context.find("/dev/dri/card1"), string::npos) << context;
  EXPECT_EQ(ValueOf(outcome, "NumGLGPUs"), "1");
  EXPECT_EQ(ValueOf(outcome, "glgpu[0].GLRendererID"), "65521");
}

}  // namespace
