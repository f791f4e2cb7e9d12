#include "libopengl.h"

#include "sharedlibrary.h"

#include <kgx/exception.h>

namespace KGX::OGL {

namespace {

const SharedLibrary& Library32() {
  static const SharedLibrary library("opengl32.dll");
  return library;
}

template <class Function>
void Resolve(Function& function, const char* name) {
  void* const address = ExportedFunction(name);
  if (address == nullptr) throw LogicalException(std::string("opengl32.dll has no ") + name);
  function = reinterpret_cast<Function>(address);
}

WGLFunctions Load() {
  if (!Library32().IsLoaded()) throw LogicalException("opengl32.dll can't be loaded");
  WGLFunctions wgl{};
  Resolve(wgl.wglCreateContext, "wglCreateContext");
  Resolve(wgl.wglDeleteContext, "wglDeleteContext");
  Resolve(wgl.wglGetCurrentContext, "wglGetCurrentContext");
  Resolve(wgl.wglGetCurrentDC, "wglGetCurrentDC");
  Resolve(wgl.wglGetProcAddress, "wglGetProcAddress");
  Resolve(wgl.wglMakeCurrent, "wglMakeCurrent");
  return wgl;
}

}  // namespace

const WGLFunctions& WGL() {
  static const WGLFunctions wgl = Load();
  return wgl;
}

void* ExportedFunction(const char* name) { return Library32().Find(name); }

std::string WGLFailure(const char* call) {
  const DWORD error = GetLastError();
  return std::string(call) + " failed: " + std::to_string(error);
}

}  // namespace KGX::OGL
