// The functions that the faulty drivers wrap: those that the prober calls, and what else most applications
// do with a GPU. To wrap one more, add its name and its form here. Each list takes the name of a macro of two
// parameters and applies it to every function of the list.
//
// A form tells how a call is written down (see calltext.h): a word for each parameter, and behind ">" one for
// the result, if it is to be shown.
//
//   n f m e        a whole number, a floating-point one, bits, a constant by its name
//   p              whether it's null
//   text           a string
//   sources        as many strings as the parameter before says: their length and a checksum
//   attributes     EGL's list of pairs
//   properties     OpenCL's list of pairs
//   argument       of a kernel; the parameter before gives its size
//   another word   an object of that kind; "-" in front: the call lets go of it
//   & in front     a pointer to one of these, as it stands after the call; sizes are "&z"

#ifndef RIG_CALLS_H
#define RIG_CALLS_H

// What libglvnd asks the vendor for by name. Wrapped by rigegl, like two functions that it reaches in another
// way: eglGetPlatformDisplay, which stands in the vendor's table, and the vendor's start __egl_Main.
#define RIG_EGL_CALLS(X)                                             \
  X(eglBindAPI, "e")                                                 \
  X(eglChooseConfig, "display attributes p n &n")                    \
  X(eglCreateContext, "display config context attributes > context") \
  X(eglCreatePbufferSurface, "display config attributes > surface")  \
  X(eglCreateWindowSurface, "display config p attributes > surface") \
  X(eglDestroyContext, "display -context")                           \
  X(eglDestroySurface, "display -surface")                           \
  X(eglGetConfigs, "display p n &n")                                 \
  X(eglInitialize, "display p p")                                    \
  X(eglMakeCurrent, "display surface surface context")               \
  X(eglQueryDeviceStringEXT, "device e")                             \
  X(eglQueryDevicesEXT, "n p &n")                                    \
  X(eglQueryString, "display e")                                     \
  X(eglSwapBuffers, "display surface")                               \
  X(eglTerminate, "display")

// Wrapped by rigegl.
#define RIG_GL_CALLS(X)                           \
  X(glAttachShader, "program shader")             \
  X(glBindFramebuffer, "e framebuffer")           \
  X(glBindFramebufferEXT, "e framebuffer")        \
  X(glBindTexture, "e texture")                   \
  X(glBufferData, "e n p e")                      \
  X(glCheckFramebufferStatus, "e > e")            \
  X(glCheckFramebufferStatusEXT, "e > e")         \
  X(glClear, "m")                                 \
  X(glClearColor, "f f f f")                      \
  X(glCompileShader, "shader")                    \
  X(glCreateProgram, "> program")                 \
  X(glCreateShader, "e > shader")                 \
  X(glDeleteFramebuffers, "n &-framebuffer")      \
  X(glDeleteFramebuffersEXT, "n &-framebuffer")   \
  X(glDeleteProgram, "-program")                  \
  X(glDeleteShader, "-shader")                    \
  X(glDeleteTextures, "n &-texture")              \
  X(glDrawArrays, "e n n")                        \
  X(glDrawElements, "e n e p")                    \
  X(glFinish, "")                                 \
  X(glFlush, "")                                  \
  X(glFramebufferTexture2D, "e e e texture n")    \
  X(glFramebufferTexture2DEXT, "e e e texture n") \
  X(glGenFramebuffers, "n &framebuffer")          \
  X(glGenFramebuffersEXT, "n &framebuffer")       \
  X(glGenTextures, "n &texture")                  \
  X(glGetError, "> e")                            \
  X(glGetIntegerv, "e")                           \
  X(glGetProgramInfoLog, "program n p p")         \
  X(glGetProgramiv, "program e &n")               \
  X(glGetProgramivARB, "e e")                     \
  X(glGetShaderInfoLog, "shader n p p")           \
  X(glGetShaderiv, "shader e &n")                 \
  X(glGetString, "e")                             \
  X(glGetStringi, "e n")                          \
  X(glLinkProgram, "program")                     \
  X(glReadPixels, "n n n n e e p")                \
  X(glShaderSource, "shader n sources p")         \
  X(glTexImage2D, "e n e n n n e e p")            \
  X(glTexParameteri, "e e e")                     \
  X(glTexSubImage2D, "e n n n n n e e p")         \
  X(glUseProgram, "program")

// Wrapped by rigcl.
#define RIG_CL_CALLS(X)                                                \
  X(clBuildProgram, "program n p text p p")                            \
  X(clCreateBuffer, "context m n p &n > buffer")                       \
  X(clCreateCommandQueue, "context device m &n > queue")               \
  X(clCreateCommandQueueWithProperties, "context device p &n > queue") \
  X(clCreateContext, "properties n &device p p &n > context")          \
  X(clCreateContextFromType, "properties m p p &n > context")          \
  X(clCreateKernel, "program text &n > kernel")                        \
  X(clCreateProgramWithSource, "context n sources p &n > program")     \
  X(clEnqueueCopyBuffer, "queue buffer buffer n n n n p &event")       \
  X(clEnqueueMapBuffer, "queue buffer n m n n n p &event &n > p")      \
  X(clEnqueueNDRangeKernel, "queue kernel n p &z &z n p &event")       \
  X(clEnqueueReadBuffer, "queue buffer n n n p n p &event")            \
  X(clEnqueueUnmapMemObject, "queue buffer p n p &event")              \
  X(clEnqueueWriteBuffer, "queue buffer n n n p n p &event")           \
  X(clFinish, "queue")                                                 \
  X(clFlush, "queue")                                                  \
  X(clGetDeviceIDs, "platform m n p &n")                               \
  X(clGetDeviceInfo, "device e n")                                     \
  X(clGetEventProfilingInfo, "event e n")                              \
  X(clGetPlatformIDs, "n p &n")                                        \
  X(clGetPlatformInfo, "platform e n")                                 \
  X(clGetProgramBuildInfo, "program device e n")                       \
  X(clReleaseCommandQueue, "-queue")                                   \
  X(clReleaseContext, "-context")                                      \
  X(clReleaseEvent, "-event")                                          \
  X(clReleaseKernel, "-kernel")                                        \
  X(clReleaseMemObject, "-buffer")                                     \
  X(clReleaseProgram, "-program")                                      \
  X(clSetKernelArg, "kernel n n argument")                             \
  X(clWaitForEvents, "n &event")

#endif
