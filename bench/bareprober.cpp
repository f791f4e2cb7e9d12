// A yardstick for the prober: the driver calls that it makes, with the same arguments and in the same order,
// and nothing else. No report, no log, no classes.
//
// It holds for the machine on which the benchmark runs: one GL device with OpenGL 4.1 or newer that needs no
// surface, and at most one OpenCL device. benchprober compares the calls before it measures.
#include "gpu/probeprogram.h"

#include <kgx/opencltable.h>

#define EGL_NO_X11
#define MESA_EGL_NO_X11_HEADERS
#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// clang-format off
#define BARE_EGL_FUNCTIONS(F)                                                                             \
  F(eglGetProcAddress) F(eglGetError) F(eglQueryString) F(eglInitialize) F(eglBindAPI) F(eglChooseConfig) \
  F(eglCreatePbufferSurface) F(eglDestroySurface) F(eglCreateContext) F(eglDestroyContext) F(eglMakeCurrent)

#define BARE_GL_FUNCTIONS(F)                                                                              \
  F(glGetError) F(glGetString) F(glGetIntegerv) F(glGetProgramivARB) F(glClearColor) F(glClear)           \
  F(glGenTextures) F(glBindTexture) F(glTexParameteri) F(glTexImage2D) F(glDeleteTextures)                \
  F(glGenFramebuffers) F(glBindFramebuffer) F(glFramebufferTexture2D) F(glCheckFramebufferStatus)         \
  F(glDeleteFramebuffers) F(glCreateShader) F(glShaderSource) F(glCompileShader) F(glGetShaderiv)         \
  F(glDeleteShader) F(glCreateProgram) F(glAttachShader) F(glLinkProgram) F(glGetProgramiv)               \
  F(glDeleteProgram)
// clang-format on

#define BARE_FIELD(name) decltype(&::name) name = nullptr;
struct {
  BARE_EGL_FUNCTIONS(BARE_FIELD)
} egl;
struct {
  BARE_GL_FUNCTIONS(BARE_FIELD)
} gl;
struct {
  KGX_CL_FUNCTIONS(BARE_FIELD)
} cl;
#undef BARE_FIELD

// A GL function, looked up at its first call.
template <class Function>
Function Lazy(Function& function, const char* name) {
  if (function == nullptr) function = reinterpret_cast<Function>(egl.eglGetProcAddress(name));
  return function;
}
#define GL(name) Lazy(gl.name, #name)

EGLDisplay display = EGL_NO_DISPLAY;
EGLContext context = EGL_NO_CONTEXT;

void Enter() { egl.eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context); }
void Leave() { egl.eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); }

void AskString(GLenum name) {
  Enter();
  GL(glGetString)(name);
  GL(glGetError)();
  Leave();
}

void AskInteger(GLenum name) {
  GLint value = 0;
  Enter();
  GL(glGetIntegerv)(name, &value);
  GL(glGetError)();
  Leave();
}

void AskWithoutError(GLenum name) {
  Enter();
  GL(glGetString)(name);
  Leave();
}

EGLContext CreateContext() {
  egl.eglBindAPI(EGL_OPENGL_API);
  const char* const extensions = egl.eglQueryString(display, EGL_EXTENSIONS);
  if (std::strstr(extensions, "EGL_KHR_no_config_context") == nullptr) std::exit(1);
  if (std::strstr(extensions, "EGL_KHR_surfaceless_context") == nullptr) std::exit(1);
  const EGLContext created = egl.eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, nullptr);
  if (created == EGL_NO_CONTEXT) std::exit(1);
  return created;
}

void StartGL() {
  setenv("EGL_LOG_LEVEL", "fatal", 0);
  void* const library = dlopen("libEGL.so.1", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) std::exit(1);
#define BARE_RESOLVE(name) egl.name = reinterpret_cast<decltype(egl.name)>(dlsym(library, #name));
  BARE_EGL_FUNCTIONS(BARE_RESOLVE)
#undef BARE_RESOLVE
  egl.eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  const auto queryDevices =
      reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(egl.eglGetProcAddress("eglQueryDevicesEXT"));
  const auto queryDeviceString =
      reinterpret_cast<PFNEGLQUERYDEVICESTRINGEXTPROC>(egl.eglGetProcAddress("eglQueryDeviceStringEXT"));
  const auto getPlatformDisplay =
      reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(egl.eglGetProcAddress("eglGetPlatformDisplayEXT"));
  EGLint count = 0;
  queryDevices(0, nullptr, &count);
  EGLDeviceEXT device = nullptr;
  if (count != 1 || !queryDevices(count, &device, &count)) std::exit(1);
  queryDeviceString(device, EGL_EXTENSIONS);
  display = getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, device, nullptr);
  egl.eglInitialize(display, nullptr, nullptr);
  egl.eglDestroyContext(display, CreateContext());
  context = CreateContext();
}

GLuint LoadShader(GLuint program, GLenum type, GLsizei count, const char* const* strings) {
  GLint ok = 0;
  const GLuint shader = GL(glCreateShader)(type);
  GL(glShaderSource)(shader, count, strings, nullptr);
  GL(glCompileShader)(shader);
  GL(glGetShaderiv)(shader, GL_COMPILE_STATUS, &ok);
  GL(glAttachShader)(program, shader);
  return shader;
}

void CompileProgram() {
  Enter();
  GL(glGetString)(GL_VERSION);
  GLint ok = 0;
  const GLuint program = GL(glCreateProgram)();
  const GLuint vertex = LoadShader(program, GL_VERTEX_SHADER, 13, VertexProgramLines);
  const GLuint fragment = LoadShader(program, GL_FRAGMENT_SHADER, 76, FragmentProgramLines);
  GL(glLinkProgram)(program);
  GL(glGetProgramiv)(program, GL_LINK_STATUS, &ok);
  GL(glDeleteShader)(vertex);
  GL(glDeleteShader)(fragment);
  GL(glDeleteProgram)(program);
  Leave();
}

void ClearFramebuffer() {
  GLuint texture = 0;
  GLuint framebuffer = 0;
  Enter();
  GL(glGenTextures)(1, &texture);
  GL(glBindTexture)(GL_TEXTURE_2D, texture);
  GL(glTexParameteri)(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  GL(glTexImage2D)(GL_TEXTURE_2D, 0, GL_RGBA8, 32, 32, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  GL(glGetString)(GL_VERSION);
  GL(glGenFramebuffers)(1, &framebuffer);
  GL(glBindFramebuffer)(GL_FRAMEBUFFER, framebuffer);
  GL(glFramebufferTexture2D)(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  GL(glCheckFramebufferStatus)(GL_FRAMEBUFFER);
  GL(glClearColor)(255.0F, 255.0F, 255.0F, 255.0F);
  GL(glClear)(GL_COLOR_BUFFER_BIT);
  GL(glBindFramebuffer)(GL_FRAMEBUFFER, 0);
  GL(glGetError)();
  GL(glDeleteFramebuffers)(1, &framebuffer);
  GL(glDeleteTextures)(1, &texture);
  Leave();
}

void AskGL() {
  AskWithoutError(GL_VERSION);
  AskString(GL_VENDOR);
  AskInteger(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB);
  AskString(GL_RENDERER);
  AskWithoutError(GL_EXTENSIONS);
  CompileProgram();
  ClearFramebuffer();
  AskString(GL_SHADING_LANGUAGE_VERSION);

  GLint value = 0;
  Enter();
  GL(glGetProgramivARB)(GL_FRAGMENT_PROGRAM_ARB, GL_MAX_PROGRAM_INSTRUCTIONS_ARB, &value);
  GL(glGetError)();
  Leave();

  for (const GLenum name :
       {GL_MAX_TEXTURE_UNITS, GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS,
        GL_MAX_TEXTURE_IMAGE_UNITS, GL_MAX_DRAW_BUFFERS, GL_MAX_VERTEX_UNIFORM_COMPONENTS,
        GL_MAX_FRAGMENT_UNIFORM_COMPONENTS, GL_MAX_VARYING_FLOATS, GL_MAX_VERTEX_ATTRIBS}) {
    AskInteger(name);
  }
  for (int extension = 0; extension < 10; ++extension) AskWithoutError(GL_EXTENSIONS);
}

bool LoadCL() {
  void* const library = dlopen("libOpenCL.so.1", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return false;
  bool complete = true;
#define BARE_RESOLVE(name)                                              \
  cl.name = reinterpret_cast<decltype(cl.name)>(dlsym(library, #name)); \
  complete = complete && cl.name != nullptr;
  KGX_CL_FUNCTIONS(BARE_RESOLVE)
#undef BARE_RESOLVE
  return complete;
}

// The prober's only device, or null.
cl_device_id FindDevice() {
  cl_uint count = 0;
  if (cl.clGetPlatformIDs(0, nullptr, &count) != CL_SUCCESS || count == 0) return nullptr;
  std::vector<cl_platform_id> platforms(count);
  cl.clGetPlatformIDs(count, platforms.data(), &count);
  cl_device_id device = nullptr;
  for (cl_platform_id platform : platforms) {
    if (cl.clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 0, nullptr, &count) != CL_SUCCESS) continue;
    if (count != 1 || device != nullptr) std::exit(1);
    cl.clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, count, &device, &count);
  }
  return device;
}

cl_platform_id PlatformOf(cl_device_id device) {
  cl_platform_id platform = nullptr;
  cl.clGetDeviceInfo(device, CL_DEVICE_PLATFORM, sizeof platform, &platform, nullptr);
  return platform;
}

char text[4096];  // what AskPlatformVersion and AskText are told

void AskPlatformVersion(cl_device_id device) {
  const cl_platform_id platform = PlatformOf(device);
  std::size_t size = 0;
  cl.clGetPlatformInfo(platform, CL_PLATFORM_VERSION, 0, nullptr, &size);
  if (size > sizeof text) std::exit(1);
  cl.clGetPlatformInfo(platform, CL_PLATFORM_VERSION, size, text, nullptr);
}

void AskText(cl_device_id device, cl_device_info name) {
  std::size_t size = 0;
  cl.clGetDeviceInfo(device, name, 0, nullptr, &size);
  if (size > sizeof text) std::exit(1);
  cl.clGetDeviceInfo(device, name, size, text, nullptr);
}

double DeviceSeconds(cl_event event) {
  cl_ulong end = 0;
  cl_ulong start = 0;
  cl.clGetEventProfilingInfo(event, CL_PROFILING_COMMAND_END, sizeof end, &end, nullptr);
  cl.clGetEventProfilingInfo(event, CL_PROFILING_COMMAND_START, sizeof start, &start, nullptr);
  return static_cast<double>(end - start) * 1e-9;
}

struct Session {
  cl_context context;
  cl_command_queue queue;
};

Session Open(cl_device_id device) {
  const cl_context_properties properties[] = {CL_CONTEXT_PLATFORM,
                                              reinterpret_cast<cl_context_properties>(PlatformOf(device)), 0};
  cl_int status = CL_SUCCESS;
  const cl_context created = cl.clCreateContext(properties, 1, &device, nullptr, nullptr, &status);
  return {created, cl.clCreateCommandQueue(created, device, CL_QUEUE_PROFILING_ENABLE, &status)};
}

void Close(const Session& session) {
  cl.clReleaseCommandQueue(session.queue);
  cl.clReleaseContext(session.context);
}

void MeasureBandwidth(cl_device_id device) {
  const std::size_t size = 16777216;
  const Session session = Open(device);
  cl_int status = CL_SUCCESS;
  const cl_mem source = cl.clCreateBuffer(session.context, CL_MEM_READ_ONLY, size, nullptr, &status);
  const cl_mem target = cl.clCreateBuffer(session.context, CL_MEM_WRITE_ONLY, size, nullptr, &status);
  cl.clFinish(session.queue);
  cl_event events[10] = {};
  double seconds = 0.0;
  for (int batch = 0; seconds < 1.0 && batch < 10; ++batch) {
    for (cl_event& event : events) {
      cl.clEnqueueCopyBuffer(session.queue, source, target, 0, 0, size, 0, nullptr, &event);
    }
    cl.clFinish(session.queue);
    for (const cl_event event : events) seconds += DeviceSeconds(event);
  }
  cl.clFinish(session.queue);
  for (const cl_event event : events) cl.clReleaseEvent(event);
  cl.clReleaseMemObject(source);
  cl.clReleaseMemObject(target);
  Close(session);
}

void MeasureCompute(cl_device_id device) {
  const cl_uint count = 1048576;
  const Session session = Open(device);
  const std::unique_ptr<float[]> floats(new float[count]);
  for (cl_uint index = 0; index < count; ++index) floats[index] = static_cast<float>(std::rand());
  cl_int status = CL_SUCCESS;
  const char* source = kComputeKernelSource;
  const cl_program program = cl.clCreateProgramWithSource(session.context, 1, &source, nullptr, &status);
  cl.clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr);
  const cl_kernel kernel = cl.clCreateKernel(program, kComputeKernelName, &status);
  const cl_mem buffer = cl.clCreateBuffer(session.context, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                                          count * sizeof(float), floats.get(), &status);
  cl.clSetKernelArg(kernel, 0, sizeof buffer, &buffer);
  cl.clSetKernelArg(kernel, 1, sizeof count, &count);
  const std::size_t global = count;
  const std::size_t local = 64;
  cl_event event = nullptr;
  cl.clEnqueueNDRangeKernel(session.queue, kernel, 1, nullptr, &global, &local, 0, nullptr, &event);
  cl.clWaitForEvents(1, &event);
  DeviceSeconds(event);
  cl.clFinish(session.queue);
  cl.clReleaseMemObject(buffer);
  Close(session);
}

void AskCL(cl_device_id device) {
  cl_bool unified = 0;
  cl_ulong memory = 0;
  cl_uint vendor = 0;
  AskPlatformVersion(device);
  AskText(device, CL_DEVICE_VERSION);
  cl.clGetDeviceInfo(device, CL_DEVICE_HOST_UNIFIED_MEMORY, sizeof unified, &unified, nullptr);
  cl.clGetDeviceInfo(device, CL_DEVICE_GLOBAL_MEM_SIZE, sizeof memory, &memory, nullptr);
  AskText(device, CL_DEVICE_NAME);
  AskText(device, CL_DEVICE_VENDOR);
  cl.clGetDeviceInfo(device, CL_DEVICE_VENDOR_ID, sizeof vendor, &vendor, nullptr);
  AskText(device, CL_DRIVER_VERSION);
  AskPlatformVersion(device);
  AskPlatformVersion(device);
  MeasureBandwidth(device);
  MeasureCompute(device);
}

}  // namespace

int main() {
  StartGL();
  AskGL();
  // The prober looks first whether the library is complete, and then takes its functions.
  if (!LoadCL()) return 0;
  LoadCL();
  if (const cl_device_id device = FindDevice(); device != nullptr) AskCL(device);
  return 0;
}
