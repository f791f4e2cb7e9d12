// Drivers for faults and answers that no real one gives on demand.
#ifndef FAKEDRIVERS_H_
#define FAKEDRIVERS_H_

#include <kgx/context.h>
#include <kgx/exception.h>
#include <kgx/opencltable.h>
#include <kgx/openglinterceptor.h>

#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

// The message of what the function throws.
template <class Function>
std::string Message(Function function) {
  try {
    function();
  } catch (const KGX::ExceptionBase& exception) {
    return exception.message();
  }
  return "nothing thrown";
}

// Tells of each time that it is made current or released.
class FakeContext : public KGX::OGL::Context {
 public:
  FakeContext(std::string name, std::vector<std::string>& events) : fName(std::move(name)), fEvents(events) {}

 private:
  void DoMakeCurrent() override { fEvents.push_back("current " + fName); }
  void DoReleaseCurrent() override { fEvents.push_back("none"); }

  const std::string fName;
  std::vector<std::string>& fEvents;
};

// A GL driver with texts and numbers of one's own, in force as long as it lives. A text that it doesn't have
// is null, a number an error, which pends until glGetError.
class FakeGL : public KGX::OGL::OpenGLInterceptor {
 public:
  FakeGL() : fFormer(SetInstance(this)) {}
  ~FakeGL() override { SetInstance(fFormer); }

  KGX::OGL::GLenum glGetError(const char*, int) override { return std::exchange(fError, 0); }
  const KGX::OGL::GLubyte* glGetString(const char*, int, KGX::OGL::GLenum name) override {
    return reinterpret_cast<const KGX::OGL::GLubyte*>(texts[name]);
  }
  void glGetIntegerv(const char*, int, KGX::OGL::GLenum name, KGX::OGL::GLint* out) override {
    const auto value = integers.find(name);
    if (value != integers.end()) *out = value->second;
    if (value == integers.end()) fError = 0x0500;
  }

  std::map<KGX::OGL::GLenum, const char*> texts;
  std::map<KGX::OGL::GLenum, KGX::OGL::GLint> integers;

 private:
  OpenGLInterceptor* const fFormer;
  KGX::OGL::GLenum fError = 0;
};

// An OpenCL driver that knows properties of a platform and of a device, in force as long as it lives.
class FakeCL {
 public:
  FakeCL() : fFormer(Table()) {
    answers = {{CL_DEVICE_PLATFORM, std::string(sizeof(cl_platform_id), '\1')}};
    Table().clGetPlatformInfo = Answer<cl_platform_id>;
    Table().clGetDeviceInfo = Answer<cl_device_id>;
  }
  ~FakeCL() { Table() = fFormer; }

  static KGX::OCL::EntryPoints& Table() { return KGX::OCL::ExtensionManager::instance()->table(); }

  // Raw bytes by property; what isn't there is refused.
  static inline std::map<cl_uint, std::string> answers;

 private:
  template <class Object>
  static cl_int CL_API_CALL Answer(Object, cl_uint property, std::size_t size, void* out,
                                   std::size_t* sizeOut) {
    const auto answer = answers.find(property);
    if (answer == answers.end() || (out != nullptr && size < answer->second.size())) return CL_INVALID_VALUE;
    if (out != nullptr) std::memcpy(out, answer->second.data(), answer->second.size());
    if (sizeOut != nullptr) *sizeOut = answer->second.size();
    return CL_SUCCESS;
  }

  const KGX::OCL::EntryPoints fFormer;
};

#endif  // FAKEDRIVERS_H_
