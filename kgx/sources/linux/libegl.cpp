#include "libegl.h"

#include "extensionlist.h"
#include "sharedlibrary.h"

#include <kgx/exception.h>

#include <cstdio>
#include <cstdlib>

namespace KGX::OGL {

namespace {

template <class Function>
void Resolve(Function& function, void* address, const char* name) {
  if (address == nullptr) throw LogicalException(std::string("libEGL has no ") + name);
  function = reinterpret_cast<Function>(address);
}

EGLFunctions Load() {
  // Mesa explains a failed driver on standard error, which belongs to the program.
  setenv("EGL_LOG_LEVEL", "fatal", 0);

  const SharedLibrary library("libEGL.so.1");
  if (!library.IsLoaded()) throw LogicalException("libEGL.so.1 can't be loaded");

  EGLFunctions egl;
#define KGX_EGL_RESOLVE(name, type) Resolve(egl.name, library.Find(#name), #name);
  KGX_EGL_FUNCTIONS(KGX_EGL_RESOLVE)
#undef KGX_EGL_RESOLVE

  const char* const extensions = egl.eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  if (!HasExtension(extensions, "EGL_EXT_platform_device") ||
      !(HasExtension(extensions, "EGL_EXT_device_base") ||
        HasExtension(extensions, "EGL_EXT_device_enumeration"))) {
    throw LogicalException("no EGL driver that lists devices");
  }
#define KGX_EGL_RESOLVE(name, type) \
  Resolve(egl.name, reinterpret_cast<void*>(egl.eglGetProcAddress(#name)), #name);
  KGX_EGL_EXTENSION_FUNCTIONS(KGX_EGL_RESOLVE)
#undef KGX_EGL_RESOLVE
  return egl;
}

}  // namespace

const EGLFunctions& EGL() {
  static const EGLFunctions egl = Load();
  return egl;
}

std::string EGLFailure(const char* call) {
  char text[96];
  std::snprintf(text, sizeof text, "%s failed: 0x%04x", call, static_cast<unsigned>(EGL().eglGetError()));
  return text;
}

}  // namespace KGX::OGL
