// Machines with several GPUs: their files are a tree that umockdev puts before the system's own, their EGL
// devices the rig's.
#include "report.h"
#include "systemtree.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>

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
  fTree.AddCard(fTree.AddDevice("0000:00:02.0", "8086:fffe 030000", "i915", {{"boot_vga", "1"}}), 1, 129,
                {{"eDP-1", "connected"}});
  fTree.AddCard(fTree.AddDevice("0000:03:00.0", "1002:fffd 030000", "amdgpu",
                                {{"product_name", "Radeon \"Pro\""}, {"mem_info_vram_total", "17163091968"}}),
                0, 128);
  fTree.AddDevice("0000:65:00.0", "10de:fffc 030200", "nvidia");
  fTree.Write("sys/module/nvidia/version", "535.104.05\n");
  fTree.Write("proc/driver/nvidia/gpus/0000:65:00.0/information", "Model: \t\t NVIDIA H200\n");
  // EGL's order isn't the inventory's. No context can be made on the card that the system doesn't know; of
  // the last two, the driver's name is the only one there is.
  const string devices =
      "A:/dev/dri/card0:/dev/dri/renderD128,B::/dev/dri/renderD129,C:/dev/dri/card9:,NVIDIA H200::,Other::";
  const Outcome outcome = RunProber(Machine(devices, "eglInitialize@3=fail:0x3001"));
  // AMD's card is asked for its free memory, which Mesa's renderer doesn't know.
  EXPECT_EQ(outcome.errors,
            string("ContextOffscreen exception caught and ignored.\n") + kUnmetStatus + kUnmetStatus);
  EXPECT_EQ(outcome.ending, "status 0");
  StepsOf(outcome.lines);
  EXPECT_EQ(ValueOf(outcome, "NumGLGPUs"), "3");
  const auto ramMB = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                     static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) / 1048576;
  const struct {
    const char* key;
    Texts values;
  } rows[] = {
      {"GLName", {"\"PCI 8086:fffe\"", "\"Radeon Pro\"", "\"NVIDIA H200\""}},
      {"GLVendorID", {"32902", "4098", "4318"}},
      {"GLRendererID", {"65534", "65533", "65532"}},
      {"GLMemoryMB", {std::to_string(std::min<std::uint64_t>(ramMB / 4, 2048)), "16368", "0"}},
      {"IsIntegratedGLGPU", {"1", "0", "0"}},
      {"GLDriver", {"\"i915\"", "\"amdgpu\"", "\"nvidia\""}},
      {"GLDriverVersion", {"\"6.1.0-test\"", "\"6.1.0-test\"", "\"535.104.05\""}},
      {"GLDriverDate", {"\"20230929000000.000000-000\"", "\"20230929000000.000000-000\"", "none"}},
  };
  for (const auto& row : rows) {
    for (std::size_t gpu = 0; gpu < row.values.size(); ++gpu)
      EXPECT_EQ(ValueOf(outcome, "glgpu[" + std::to_string(gpu) + "]." + row.key), row.values[gpu])
          << row.key;
  }
}

// The other GPU's lines go on, in turn with those that were left.
TEST_F(InventoryTest, OneOfTwoGPUsFailsAtEachStep) {
  for (const int card : {0, 1})
    fTree.AddCard(fTree.AddDevice("0000:0" + std::to_string(card) + ":01.0",
                                  "8086:fff" + std::to_string(card) + " 030000", "i915"),
                  card, 128 + card);
  const string devices = "A:/dev/dri/card0:,B:/dev/dri/card1:";
  const Outcome clean = RunProber(Machine(devices));
  const std::vector<Step> steps = StepsOf(clean.lines);
  ASSERT_EQ(ValueOf(clean, "NumGLGPUs"), "2");
  const Outcome marked = RunProber(Machine(devices, "glGetError=say:@"));
  const auto calls = std::count(marked.lines.begin(), marked.lines.end(), "@");

  const string errors = string(kUnmetStatus) + "exception: " + kUnmetStatus;
  Texts failed;
  for (int call = 1; call <= calls; ++call) {
    const Outcome outcome = RunProber(Machine(devices, "glGetError@" + std::to_string(call) + "=ret:0x505"));
    if (outcome.ending == "status 0") continue;  // the framebuffer's answer
    const auto step = std::find_if(steps.begin(), steps.end(), [&](const Step& one) {
      return !one.lines.empty() && ValueOf(outcome, one.key) == "none";
    });
    ASSERT_NE(step, steps.end()) << call;
    // What asks with a symbol has written that before.
    const std::size_t kept = step->key.find("glGetIntegerv") == string::npos ? step->lines.size() - 1 : 0;
    EXPECT_TRUE(Same(outcome, Foretell(steps, FailureIn(step->key, {errors, kept})))) << step->key;
    failed.push_back(step->key);
  }
  ASSERT_EQ(failed.size(), 28u);
  for (std::size_t i = 0; i < failed.size(); i += 2) {
    EXPECT_EQ(failed[i].substr(0, 9), "glgpu[0].");
    EXPECT_EQ(failed[i + 1], "glgpu[1]." + failed[i].substr(9));
  }
}

}  // namespace
