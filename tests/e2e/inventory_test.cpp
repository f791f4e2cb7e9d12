// Machines with several GPUs: their files are a tree that umockdev puts before the system's own, their EGL
// devices the rig's.
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

constexpr char kUnmetStatus[] = "Failed requirement: glStatus == GL_NO_ERROR\n";

TEST_F(InventoryTest, TheReportOfEachGPU) {
  fTree.AddCard(fTree.AddDevice("0000:00:02.0", "8086:fffe 030000", "i915",
                                {{"boot_vga", "1"}, {"mem_info_gtt_total", "104857600"}}),
                1, 129, {{"eDP-1", "connected"}});
  fTree.AddCard(fTree.AddDevice("0000:03:00.0", "1002:fffd 030000", "amdgpu",
                                {{"product_name", "Radeon \"Pro\""}, {"mem_info_vram_total", "17163091968"}}),
                0, 128);
  fTree.AddDevice("0000:65:00.0", "10de:fffc 030200", "nvidia");
  fTree.Write("sys/module/nvidia/version", "535.104.05\n");
  fTree.Write("proc/driver/nvidia/gpus/0000:65:00.0/information", "Model: \t\t NVIDIA H200\n");
  // EGL's order isn't the inventory's. No context can be made on the card that the system doesn't know; of
  // the last two, the driver's name is the only one there is.
  const string devices =
      "software::,C:/dev/dri/card9:,A:/dev/dri/card0:/dev/dri/renderD128,B::/dev/dri/renderD129,"
      "NVIDIA H200::,Other::";
  const Outcome outcome = RunProber(Machine(devices, "eglInitialize@3=fail:0x3001"));
  // AMD's card is asked for its free memory, which Mesa's renderer doesn't know.
  EXPECT_EQ(outcome.errors,
            string("ContextOffscreen exception caught and ignored.\n") + kUnmetStatus + kUnmetStatus);
  EXPECT_EQ(outcome.ending, "status 0");
  StepsOf(outcome.lines);
  EXPECT_EQ(ValueOf(outcome, "NumGLGPUs"), "3");
  for (const auto& [key, values] : Table<string, Texts>{
           {"GLName", {"\"PCI 8086:fffe\"", "\"Radeon Pro\"", "\"NVIDIA H200\""}},
           {"GLVendorID", {"32902", "4098", "4318"}},
           {"GLRendererID", {"65534", "65533", "65532"}},
           {"GLMemoryMB", {"100", "16368", "0"}},
           {"IsIntegratedGLGPU", {"1", "0", "0"}},
           {"GLDriver", {"\"i915\"", "\"amdgpu\"", "\"nvidia\""}},
           {"GLDriverVersion", {"\"6.1.0-test\"", "\"6.1.0-test\"", "\"535.104.05\""}},
           {"GLDriverDate", {"\"20230929000000.000000-000\"", "\"20230929000000.000000-000\"", "none"}}})
    for (std::size_t gpu = 0; gpu < values.size(); ++gpu)
      EXPECT_EQ(ValueOf(outcome, "glgpu[" + std::to_string(gpu) + "]." + key), values[gpu]) << key;
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

// The other GPU's lines go on, in turn with those that were left.
TEST_F(InventoryTest, OneOfTwoGPUsFails) {
  for (const string card : {"0", "1"})
    fTree.AddCard(fTree.AddDevice("0000:0" + card + ":01.0", "8086:fff" + card + " 030000", "i915"),
                  std::stoi(card), 128 + std::stoi(card));
  const string devices = "A:/dev/dri/card0:,B:/dev/dri/card1:";
  const std::vector<Step> steps = StepsOf(RunProber(Machine(devices)).lines);
  const string errors = string(kUnmetStatus) + "exception: " + kUnmetStatus;
  for (const auto& [call, key, keptLines] :
       Table<string, string, std::size_t>{{"1", "glgpu[0].GLVendor", 0},
                                          {"4", "glgpu[1].GLRectTextureSize", 0},
                                          {"9", "glgpu[0].glGetString[GL_SHADING_LANGUAGE_VERSION]", 1},
                                          {"14", "glgpu[1].glGetIntegerv[GL_MAX_TEXTURE_UNITS]", 0}})
    EXPECT_TRUE(Same(RunProber(Machine(devices, "glGetError@" + call + "=ret:0x505")),
                     Foretell(steps, FailureIn(key, {errors, keptLines}))))
        << call;
}

}  // namespace
