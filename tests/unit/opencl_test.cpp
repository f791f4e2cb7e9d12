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
  EXPECT_EQ(Message([&] { device.GetInfo<std::uint32_t>(CL_DEVICE_GLOBAL_MEM_SIZE); }),
            "property_typename == type_name (kgx/source/kgx/kgx_ocl/device:122)");
  EXPECT_EQ(Message([&] { device.GetInfo<std::uint32_t>(CL_DEVICE_VENDOR_ID); }),
            "clGetDeviceInfo failed: -30");
}

// The second of the two calls that an enumeration makes may tell another number than the first.
TEST(OpenCLPlatform, ListsWhatTheDriverGaveAndNoMore) {
  const FakeCL cl;
  static cl_uint promised;
  FakeCL::Table().clGetDeviceIDs = [](cl_platform_id, cl_device_type, cl_uint, cl_device_id* ids,
                                      cl_uint* count) -> cl_int {
    *count = ids == nullptr ? promised : 1;
    return CL_SUCCESS;
  };
  const Platform platform(nullptr);
  promised = 4096;
  EXPECT_EQ(platform.devices(CL_DEVICE_TYPE_GPU).size(), 1u);
  promised = 4097;
  EXPECT_EQ(Message([&] { platform.devices(CL_DEVICE_TYPE_GPU); }), "clGetDeviceIDs gives a size of 4097");
}

}  // namespace
