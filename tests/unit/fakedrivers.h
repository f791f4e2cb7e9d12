// Drivers for faults and answers that no real one gives on demand.
#ifndef FAKEDRIVERS_H_
#define FAKEDRIVERS_H_

#include <kgx/context.h>
#include <kgx/opencltable.h>
#include <kgx/openglinterceptor.h>

#include <deque>
#include <map>
#include <string>
#include <vector>

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

// A GL driver with texts of one's own, in force as long as it lives. Errors pend as in GL: the first of them
// is given to the next glGetError.
class FakeGL : public KGX::OGL::OpenGLInterceptor {
 public:
  FakeGL() : fFormer(SetInstance(this)) {}
  ~FakeGL() override { SetInstance(fFormer); }

  KGX::OGL::GLenum glGetError(KGX_GL_CALLER) override;
  const KGX::OGL::GLubyte* glGetString(KGX_GL_CALLER, KGX::OGL::GLenum name) override;
  void glGetIntegerv(KGX_GL_CALLER, KGX::OGL::GLenum name, KGX::OGL::GLint* out) override;

  std::map<KGX::OGL::GLenum, const char*> texts;
  std::map<KGX::OGL::GLenum, KGX::OGL::GLint> integers;
  std::deque<KGX::OGL::GLenum> errors;

 private:
  OpenGLInterceptor* const fFormer;
};

// Puts OpenCL's table back at its end.
class FakeCL {
 public:
  FakeCL() : fFormer(table()) {}
  ~FakeCL() { table() = fFormer; }

  KGX::OCL::EntryPoints& table() const { return KGX::OCL::ExtensionManager::instance()->table(); }

  // Answers of clGetPlatformInfo and clGetDeviceInfo by property, as raw bytes; what isn't there is refused.
  static std::map<cl_uint, std::string>& Answers();
  // Puts the two functions into the table.
  void UseAnswers();

 private:
  const KGX::OCL::EntryPoints fFormer;
};

#endif  // FAKEDRIVERS_H_
