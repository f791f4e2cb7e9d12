// A libEGL with one device, of which that fails which a test names.
#define EGL_NO_X11
#define EGL_EGLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <dlfcn.h>

#include <string>

#pragma GCC visibility push(default)

std::string gFailing;

static EGLBoolean Does(const std::string& what) { return what != gFailing; }
static void* Object(const char* call) { return Does(call) ? &gFailing : nullptr; }

extern "C" {

EGLint eglGetError() { return EGL_BAD_ALLOC; }
const char* eglQueryString(EGLDisplay, EGLint) { return "EGL_EXT_platform_device EGL_EXT_device_base"; }
EGLBoolean eglInitialize(EGLDisplay, EGLint*, EGLint*) { return Does(__func__); }
EGLBoolean eglBindAPI(EGLenum) { return Does(__func__); }
EGLBoolean eglChooseConfig(EGLDisplay, const EGLint*, EGLConfig*, EGLint, EGLint* count) {
  *count = Does("a config") ? 1 : 0;
  return Does(__func__);
}
EGLContext eglCreateContext(EGLDisplay, EGLConfig, EGLContext, const EGLint*) { return Object(__func__); }
EGLSurface eglCreatePbufferSurface(EGLDisplay, EGLConfig, const EGLint*) { return Object(__func__); }
EGLBoolean eglMakeCurrent(EGLDisplay, EGLSurface, EGLSurface, EGLContext) { return Does(__func__); }
EGLBoolean eglDestroyContext(EGLDisplay, EGLContext) { return EGL_TRUE; }
EGLBoolean eglDestroySurface(EGLDisplay, EGLSurface) { return EGL_TRUE; }
EGLBoolean eglQueryDevicesEXT(EGLint, EGLDeviceEXT* devices, EGLint* count) {
  *count = Does("few devices") ? 1 : 4097;
  return Does(devices == nullptr ? __func__ : "a list of devices");
}
const char* eglQueryDeviceStringEXT(EGLDeviceEXT, EGLint) { return "EGL_MESA_device_software"; }
EGLDisplay eglGetPlatformDisplayEXT(EGLenum, void*, const EGLint*) { return Object(__func__); }
__eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* name) {
  void* const address = Does(std::string("address of ") + name) ? dlsym(RTLD_DEFAULT, name) : nullptr;
  return reinterpret_cast<__eglMustCastToProperFunctionPointerType>(address);
}
}
