#include "fakedrivers.h"

#include <kgx/exception.h>
#include <kgx/opencl.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace KGX::OCL;

cl_device_id FakeDevice(std::intptr_t number) { return reinterpret_cast<cl_device_id>(number); }

// The message of what the expression throws.
template <class Function>
std::string Message(Function function) {
  try {
    function();
  } catch (const KGX::ExceptionBase& exception) {
    return exception.message();
  }
  return "nothing thrown";
}

TEST(OpenCLDevice, TypedInfoChecksTheTypeAndStartsAtZero) {
  FakeCL cl;
  const Device device(FakeDevice(1));
  cl.table().clGetDeviceInfo = [](cl_device_id, cl_device_info, std::size_t, void*, std::size_t*) -> cl_int {
    return CL_SUCCESS;  // and nothing written
  };
  EXPECT_EQ(device.GetInfo<std::uint64_t>(CL_DEVICE_GLOBAL_MEM_SIZE), 0u);
  EXPECT_EQ(Message([&] { device.GetInfo<std::uint32_t>(CL_DEVICE_GLOBAL_MEM_SIZE); }),
            "property_typename == type_name (kgx/source/kgx/kgx_ocl/device:122)");
  EXPECT_THROW(device.GetInfo<std::uint32_t>(CL_DEVICE_MAX_CLOCK_FREQUENCY), KGX::InternalException);

  cl.table().clGetDeviceInfo = [](cl_device_id, cl_device_info, std::size_t, void*, std::size_t*) -> cl_int {
    return CL_INVALID_DEVICE;
  };
  EXPECT_EQ(Message([&] { device.GetInfo<std::uint32_t>(CL_DEVICE_VENDOR_ID); }),
            "clGetDeviceInfo failed: -33");
}

// The second of the two calls that an enumeration makes may tell another number than the first.
TEST(OpenCLPlatform, ListsWhatTheDriverGaveAndNoMore) {
  FakeCL cl;
  cl.table().clGetDeviceIDs = [](cl_platform_id, cl_device_type, cl_uint, cl_device_id* ids,
                                 cl_uint* count) -> cl_int {
    *count = ids == nullptr ? 3 : 1;
    if (ids != nullptr) *ids = FakeDevice(5);
    return CL_SUCCESS;
  };
  const Platform platform(nullptr);
  const std::vector<Device> devices = platform.devices(CL_DEVICE_TYPE_GPU);
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].id(), FakeDevice(5));
}

TEST(OpenCLPlatforms, NoDriverIsNoPlatformAndOtherFailuresThrow) {
  FakeCL cl;
  static cl_int status;
  cl.table().clGetPlatformIDs = [](cl_uint, cl_platform_id*, cl_uint*) -> cl_int { return status; };
  status = -1001;
  EXPECT_TRUE(platforms().empty());
  status = CL_SUCCESS;  // a count of 0
  EXPECT_TRUE(platforms().empty());
  status = CL_OUT_OF_HOST_MEMORY;
  EXPECT_EQ(Message([] { platforms(); }), "clGetPlatformIDs failed: -6");

  cl.table().clGetDeviceIDs = [](cl_platform_id, cl_device_type, cl_uint, cl_device_id*, cl_uint*) -> cl_int {
    return CL_DEVICE_NOT_FOUND;
  };
  EXPECT_TRUE(Platform(nullptr).devices(CL_DEVICE_TYPE_GPU).empty());
}

}  // namespace
