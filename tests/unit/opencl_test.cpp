#include "fakedrivers.h"

#include <kgx/opencl.h>

#include <gtest/gtest.h>

namespace {

using namespace KGX::OCL;

TEST(OpenCLDevice, TypedInfoChecksTheTypeAndStartsAtZero) {
  const FakeCL cl;
  const Device device(nullptr);
  FakeCL::answers[CL_DEVICE_GLOBAL_MEM_SIZE] = "";  // agreed to, and nothing written
  EXPECT_EQ(device.GetInfo<std::uint64_t>(CL_DEVICE_GLOBAL_MEM_SIZE), 0u);
  for (const cl_device_info property : {CL_DEVICE_GLOBAL_MEM_SIZE, CL_DEVICE_NAME})
    EXPECT_EQ(Message([&] { device.GetInfo<std::uint32_t>(property); }),
              "property_typename == type_name (kgx/source/kgx/kgx_ocl/device:122)");
  EXPECT_EQ(Message([&] { device.GetInfo<std::uint32_t>(CL_DEVICE_VENDOR_ID); }),
            "clGetDeviceInfo failed: -30");
  for (const std::string text : {"x", ""}) {
    FakeCL::answers[CL_DEVICE_NAME] = text + std::string(2, '\0');
    FakeCL::answers[CL_DEVICE_VENDOR] = text;
    EXPECT_EQ(device.name() + device.vendor(), text + std::string(1, '\0') + text);
  }
}

// The second of the two calls that an enumeration makes may tell another number than the first.
TEST(OpenCL, ListsWhatTheDriverGaveAndNoMore) {
  const FakeCL cl;
  static cl_int status;
  static cl_uint promised;
  static constexpr auto answer = [](bool first, cl_uint* count) {
    *count = first ? promised : 1;
    return first ? status : CL_SUCCESS;
  };
  FakeCL::Table().clGetDeviceIDs = [](cl_platform_id, cl_device_type, cl_uint, cl_device_id* ids,
                                      cl_uint* count) { return answer(ids == nullptr, count); };
  FakeCL::Table().clGetPlatformIDs = [](cl_uint, cl_platform_id* ids, cl_uint* count) {
    return answer(ids == nullptr, count);
  };
  const auto told = [](auto list) {
    std::string text;
    const std::string failure = Message([&] { text = std::to_string(list().size()); });
    return text.empty() ? failure : text;
  };
  const struct {
    cl_int status;
    cl_uint promised;
    const char *devices, *platforms;
  } rows[] = {{0, 0, "0", "0"},
              {0, 4096, "1", "1"},
              {0, 4097, "clGetDeviceIDs gives a size of 4097", "clGetPlatformIDs gives a size of 4097"},
              {-1, 4097, "0", "clGetPlatformIDs failed: -1"},
              {-1001, 4097, "clGetDeviceIDs failed: -1001", "0"}};
  for (const auto& row : rows) {
    status = row.status;
    promised = row.promised;
    EXPECT_EQ(told([] { return Platform(nullptr).devices(CL_DEVICE_TYPE_GPU); }), row.devices);
    EXPECT_EQ(told([] { return platforms(); }), row.platforms);
  }
}

TEST(OpenCL, IsALibraryWithAllItsFunctions) {
  EXPECT_FALSE(Library::IsOpenCLAvailable("no such library"));
  EXPECT_FALSE(Library::IsOpenCLAvailable("libEGL.so.1"));
}

TEST(Exception, HasATextInAnyCase) {
  EXPECT_STREQ(KGX::LogicalException().what(), "KGX exception without a message");
  EXPECT_STREQ(KGX::LogicalException("x").what(), "x");
}

}  // namespace
