// libEGL.so.1, loaded at run time, and the functions of it that this layer calls.
#ifndef KGX_LIBEGL_H_
#define KGX_LIBEGL_H_

// EGL's headers bring Xlib's along otherwise.
#define EGL_NO_X11
#define MESA_EGL_NO_X11_HEADERS
#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <string>

// name, and the name of its type in EGL's headers
#define KGX_EGL_FUNCTIONS(F)                                 \
  F(eglGetProcAddress, PFNEGLGETPROCADDRESSPROC)             \
  F(eglGetError, PFNEGLGETERRORPROC)                         \
  F(eglQueryString, PFNEGLQUERYSTRINGPROC)                   \
  F(eglInitialize, PFNEGLINITIALIZEPROC)                     \
  F(eglBindAPI, PFNEGLBINDAPIPROC)                           \
  F(eglChooseConfig, PFNEGLCHOOSECONFIGPROC)                 \
  F(eglCreatePbufferSurface, PFNEGLCREATEPBUFFERSURFACEPROC) \
  F(eglDestroySurface, PFNEGLDESTROYSURFACEPROC)             \
  F(eglCreateContext, PFNEGLCREATECONTEXTPROC)               \
  F(eglDestroyContext, PFNEGLDESTROYCONTEXTPROC)             \
  F(eglMakeCurrent, PFNEGLMAKECURRENTPROC)

// Functions of client extensions, which only eglGetProcAddress finds.
#define KGX_EGL_EXTENSION_FUNCTIONS(F)                       \
  F(eglQueryDevicesEXT, PFNEGLQUERYDEVICESEXTPROC)           \
  F(eglQueryDeviceStringEXT, PFNEGLQUERYDEVICESTRINGEXTPROC) \
  F(eglGetPlatformDisplayEXT, PFNEGLGETPLATFORMDISPLAYEXTPROC)

namespace KGX::OGL {

struct EGLFunctions {
#define KGX_EGL_FIELD(name, type) type name = nullptr;
  KGX_EGL_FUNCTIONS(KGX_EGL_FIELD)
  KGX_EGL_EXTENSION_FUNCTIONS(KGX_EGL_FIELD)
#undef KGX_EGL_FIELD
};

// Loads the library at the first call; the functions are all there. Throws LogicalException where there is no
// library, or none of its vendors' drivers can list devices; the next call tries again.
const EGLFunctions& EGL();

// "eglInitialize failed: 0x3001", with EGL's error of the last call.
std::string EGLFailure(const char* call);

}  // namespace KGX::OGL

#endif  // KGX_LIBEGL_H_
