// The functions that the faulty drivers wrap: those that the prober calls. To wrap one more, add its name
// here. Each list takes the name of a macro of one parameter and applies it to every function of the list.

#ifndef RIG_CALLS_H
#define RIG_CALLS_H

// What libglvnd asks the vendor for by name. Wrapped by rigegl, like two functions that it reaches in another
// way: eglGetPlatformDisplay, which stands in the vendor's table, and the vendor's start __egl_Main.
#define RIG_EGL_CALLS(X)     \
  X(eglBindAPI)              \
  X(eglCreateContext)        \
  X(eglDestroyContext)       \
  X(eglInitialize)           \
  X(eglMakeCurrent)          \
  X(eglQueryDeviceStringEXT) \
  X(eglQueryDevicesEXT)      \
  X(eglQueryString)

// Wrapped by rigegl.
#define RIG_GL_CALLS(X)       \
  X(glAttachShader)           \
  X(glBindFramebuffer)        \
  X(glBindTexture)            \
  X(glCheckFramebufferStatus) \
  X(glClear)                  \
  X(glClearColor)             \
  X(glCompileShader)          \
  X(glCreateProgram)          \
  X(glCreateShader)           \
  X(glDeleteFramebuffers)     \
  X(glDeleteProgram)          \
  X(glDeleteShader)           \
  X(glDeleteTextures)         \
  X(glFramebufferTexture2D)   \
  X(glGenFramebuffers)        \
  X(glGenTextures)            \
  X(glGetError)               \
  X(glGetIntegerv)            \
  X(glGetProgramiv)           \
  X(glGetProgramivARB)        \
  X(glGetShaderiv)            \
  X(glGetString)              \
  X(glLinkProgram)            \
  X(glShaderSource)           \
  X(glTexImage2D)             \
  X(glTexParameteri)

// Wrapped by rigcl.
#define RIG_CL_CALLS(X)        \
  X(clBuildProgram)            \
  X(clCreateBuffer)            \
  X(clCreateCommandQueue)      \
  X(clCreateContext)           \
  X(clCreateKernel)            \
  X(clCreateProgramWithSource) \
  X(clEnqueueCopyBuffer)       \
  X(clEnqueueNDRangeKernel)    \
  X(clFinish)                  \
  X(clGetDeviceIDs)            \
  X(clGetDeviceInfo)           \
  X(clGetEventProfilingInfo)   \
  X(clGetPlatformIDs)          \
  X(clGetPlatformInfo)         \
  X(clReleaseCommandQueue)     \
  X(clReleaseContext)          \
  X(clReleaseEvent)            \
  X(clReleaseMemObject)        \
  X(clSetKernelArg)            \
  X(clWaitForEvents)

#endif
