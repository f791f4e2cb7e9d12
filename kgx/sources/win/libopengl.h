// opengl32.dll, loaded at run time, and the functions of it that this layer calls. It passes them on to the
// driver of the device that the context is on.
#ifndef KGX_LIBOPENGL_H_
#define KGX_LIBOPENGL_H_

#include <windows.h>

#include <string>

namespace KGX::OGL {

struct WGLFunctions {
  HGLRC(WINAPI* wglCreateContext)(HDC);
  BOOL(WINAPI* wglDeleteContext)(HGLRC);
  HGLRC(WINAPI* wglGetCurrentContext)();
  HDC(WINAPI* wglGetCurrentDC)();
  PROC(WINAPI* wglGetProcAddress)(LPCSTR);
  BOOL(WINAPI* wglMakeCurrent)(HDC, HGLRC);
};

// Loads the library at the first call; the functions are all there. Throws LogicalException where there is
// none; the next call tries again.
const WGLFunctions& WGL();

// A GL function that the library itself exports, which are those of OpenGL 1.1; null for another one.
void* ExportedFunction(const char* name);

// "SetPixelFormat failed: 2000", with the system's error of the last call.
std::string WGLFailure(const char* call);

}  // namespace KGX::OGL

#endif  // KGX_LIBOPENGL_H_
