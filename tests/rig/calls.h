// The functions that the faulty drivers wrap; to wrap one more, add its name here. Each list takes the name
// of a macro of one parameter and applies it to every function of the list.

#ifndef RIG_CALLS_H
#define RIG_CALLS_H

// What libglvnd asks the vendor for by name. Wrapped by rigegl, like two functions that it reaches in another
// way: eglGetPlatformDisplay, which stands in the vendor's table, and the vendor's start __egl_Main.
#define RIG_EGL_CALLS(X)     \
  X(eglBindAPI)              \
  X(eglChooseConfig)         \
  X(eglCreateContext)        \
  X(eglCreatePbufferSurface) \
  X(eglDestroyContext)       \
  X(eglDestroySurface)       \
  X(eglGetError)             \
  X(eglInitialize)           \
  X(eglMakeCurrent)          \
  X(eglQueryDeviceStringEXT) \
  X(eglQueryDevicesEXT)      \
  X(eglQueryString)          \
  X(eglTerminate)

// Wrapped by rigegl.
#define RIG_GL_CALLS(X)          \
  X(glAttachShader)              \
  X(glBindFramebuffer)           \
  X(glBindFramebufferEXT)        \
  X(glBindTexture)               \
  X(glCheckFramebufferStatus)    \
  X(glCheckFramebufferStatusEXT) \
  X(glClear)                     \
  X(glClearColor)                \
  X(glCompileShader)             \
  X(glCreateProgram)             \
  X(glCreateShader)              \
  X(glDeleteFramebuffers)        \
  X(glDeleteFramebuffersEXT)     \
  X(glDeleteProgram)             \
  X(glDeleteShader)              \
  X(glDeleteTextures)            \
  X(glFinish)                    \
  X(glFramebufferTexture2D)      \
  X(glFramebufferTexture2DEXT)   \
  X(glGenFramebuffers)           \
  X(glGenFramebuffersEXT)        \
  X(glGenTextures)               \
  X(glGetError)                  \
  X(glGetIntegerv)               \
  X(glGetProgramInfoLog)         \
  X(glGetProgramiv)              \
  X(glGetProgramivARB)           \
  X(glGetShaderInfoLog)          \
  X(glGetShaderiv)               \
  X(glGetString)                 \
  X(glLinkProgram)               \
  X(glShaderSource)              \
  X(glTexImage2D)                \
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
  X(clReleaseKernel)           \
  X(clReleaseMemObject)        \
  X(clReleaseProgram)          \
  X(clSetKernelArg)            \
  X(clWaitForEvents)

#endif
