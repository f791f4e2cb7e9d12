#include "openglplatform.h"

#include <kgx/exception.h>
#include <kgx/openglinterceptor.h>

#include <string>

namespace KGX::OGL {

namespace {

OpenGLInterceptor* gReplacement = nullptr;

// Calls the driver's function of that name. It is looked up each time, since on Windows an address is the
// current context's, and another GPU's driver may be another vendor's.
template <class Result, class... Arguments>
Result CallDriver(const char* name, const char* file, int line, Arguments... arguments) {
  void* const address = Platform::FunctionAddress(name);
  if (address == nullptr)
    throw InternalException((std::string("address of ") + name + " != NULL").c_str(), file, line);
  return reinterpret_cast<Result(KGX_GLAPI*)(Arguments...)>(address)(arguments...);
}

}  // namespace

OpenGLInterceptor* OpenGLInterceptor::Instance() {
  static OpenGLInterceptor interceptor;
  return gReplacement != nullptr ? gReplacement : &interceptor;
}

OpenGLInterceptor* OpenGLInterceptor::SetInstance(OpenGLInterceptor* interceptor) {
  OpenGLInterceptor* const former = Instance();
  gReplacement = interceptor;
  return former;
}

#define KGX_GL_DEFINE(result, name, parameters, ...) \
  result OpenGLInterceptor::name parameters { return CallDriver<result>(#name, __VA_ARGS__); }
KGX_GL_FUNCTIONS(KGX_GL_DEFINE)
#undef KGX_GL_DEFINE

}  // namespace KGX::OGL
