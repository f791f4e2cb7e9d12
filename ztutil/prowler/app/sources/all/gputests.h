// The kinds of tests that a tester runs on its GPUs.
#ifndef GPUTESTS_H_
#define GPUTESTS_H_

#include "gpuprowlertester.h"

// A tester's own operation as a test. The operation is called through the vtable, so that an override takes
// effect. Throws std::bad_cast if the tester or the GPU is of another kind.
template <class Tester, class GPUType>
class TestFunc : public GPUTest {
 public:
  using Function = void (Tester::*)(const std::string& tag, const GPUType& gpu);

  explicit TestFunc(Function function) : fFunction(function) {}

  void operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const override {
    const std::string tag = taggedGPU.fTag;
    const auto& gpu = dynamic_cast<const GPUType&>(*taggedGPU.fGPU);
    (dynamic_cast<Tester&>(tester).*fFunction)(tag, gpu);
  }

 private:
  const Function fFunction;
};

// Tests of a GL symbol, with its name and number.

class GLStringTest : public GPUTest {
 public:
  explicit GLStringTest(const char* name = "GL_SHADING_LANGUAGE_VERSION", std::uint32_t code = 35724)
      : fName(name), fCode(code) {}
  void operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const override;

 private:
  const char* const fName;
  const std::uint32_t fCode;
};

class IntegervTest : public GPUTest {
 public:
  IntegervTest(const char* name, std::int32_t code, std::size_t count = 1)
      : fName(name), fCode(code), fCount(count) {}
  void operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const override;

 private:
  const char* const fName;
  const std::int32_t fCode;
  const std::size_t fCount;  // of values in the answer
};

class ProgramvTest : public GPUTest {
 public:
  explicit ProgramvTest(const char* name = "GL_MAX_PROGRAM_INSTRUCTIONS_ARB", std::int32_t code = 34977,
                        std::size_t count = 1)
      : fName(name), fCode(code), fCount(count) {}
  void operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const override;

 private:
  const char* const fName;
  const std::int32_t fCode;
  const std::size_t fCount;  // of values in the answer
};

class ExtensionTest : public GPUTest {
 public:
  // `code` is one of KGX::OGL::OpenGLExtension.
  ExtensionTest(const char* name, std::uint32_t code) : fName(name), fCode(code) {}
  void operator()(GPUProwlerTester& tester, const TaggedGPU& taggedGPU) const override;

 private:
  const char* const fName;
  const std::uint32_t fCode;
};

#endif  // GPUTESTS_H_
