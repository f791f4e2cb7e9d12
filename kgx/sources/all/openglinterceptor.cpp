#include "openglinterceptor.h"

#include "exception.h"
#include "openglplatform.h"

#include <string>

namespace KGX::OGL {

namespace {

OpenGLInterceptor* gReplacement = nullptr;

// One function of the driver. It is looked up at its first call and not before, since on Windows an address
// can be had only while a context is current.
class Entry {
 public:
  explicit Entry(const char* name) : fName(name) {}

  template <class Result, class... Arguments>
  Result Call(const char* file, int line, Arguments... arguments) {
    if (fAddress == nullptr) fAddress = Platform::FunctionAddress(fName);
    if (fAddress == nullptr)
      throw InternalException((std::string("address of ") + fName + " != NULL").c_str(), file, line);
    return reinterpret_cast<Result(KGX_GLAPI*)(Arguments...)>(fAddress)(arguments...);
  }

 private:
  const char* fName;
  void* fAddress = nullptr;
};

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
  result OpenGLInterceptor::name parameters {        \
    static Entry entry(#name);                       \
    return entry.Call<result>(__VA_ARGS__);          \
  }
KGX_GL_FUNCTIONS(KGX_GL_DEFINE)
#undef KGX_GL_DEFINE

}  // namespace KGX::OGL
