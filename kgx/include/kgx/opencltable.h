// The OpenCL loader's entry points, and the library that they come from.
#ifndef KGX_OPENCLTABLE_H_
#define KGX_OPENCLTABLE_H_

#ifndef CL_TARGET_OPENCL_VERSION
#define CL_TARGET_OPENCL_VERSION 120
#endif
#define CL_USE_DEPRECATED_OPENCL_1_2_APIS
#include <CL/cl.h>

#include <string>

// The functions of OpenCL 1.1 that this layer and its users call, and so every loader has them.
#define KGX_CL_FUNCTIONS(F)    \
  F(clGetPlatformIDs)          \
  F(clGetPlatformInfo)         \
  F(clGetDeviceIDs)            \
  F(clGetDeviceInfo)           \
  F(clCreateContext)           \
  F(clReleaseContext)          \
  F(clCreateCommandQueue)      \
  F(clReleaseCommandQueue)     \
  F(clCreateBuffer)            \
  F(clReleaseMemObject)        \
  F(clEnqueueCopyBuffer)       \
  F(clFinish)                  \
  F(clGetEventProfilingInfo)   \
  F(clReleaseEvent)            \
  F(clCreateProgramWithSource) \
  F(clBuildProgram)            \
  F(clCreateKernel)            \
  F(clSetKernelArg)            \
  F(clEnqueueNDRangeKernel)    \
  F(clWaitForEvents)

namespace KGX::OCL {

class Library {
 public:
  // True if OpenCL can be initialised: the loader is there and has every entry point. No driver is touched.
  // `library` is the loader's file name; an empty one means the platform's own.
  static bool IsOpenCLAvailable(const std::string& library);

  // Makes the loader's entry points the table of the process. Throws LogicalException where IsOpenCLAvailable
  // is false. No driver is touched: the loader starts them at the first call through the table.
  static void Initialize();
};

// Pointers to OpenCL's functions under their own names; all null before Library::Initialize.
struct EntryPoints {
#define KGX_CL_FIELD(name) decltype(&::name) name = nullptr;
  KGX_CL_FUNCTIONS(KGX_CL_FIELD)
#undef KGX_CL_FIELD
};

class ExtensionManager {
 public:
  // Never null. Not the caller's to delete.
  static ExtensionManager* instance();

  // Can be written, so that something else can stand in for a function of the driver.
  EntryPoints& table() { return fTable; }

 private:
  EntryPoints fTable;
};

}  // namespace KGX::OCL

#endif  // KGX_OPENCLTABLE_H_
