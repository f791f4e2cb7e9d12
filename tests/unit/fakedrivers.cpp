#include "fakedrivers.h"

#include <cstring>

KGX::OGL::GLenum FakeGL::glGetError(const char*, int) {
  if (errors.empty()) return 0;
  const KGX::OGL::GLenum error = errors.front();
  errors.pop_front();
  return error;
}

const KGX::OGL::GLubyte* FakeGL::glGetString(const char*, int, KGX::OGL::GLenum name) {
  const auto text = texts.find(name);
  return text != texts.end() ? reinterpret_cast<const KGX::OGL::GLubyte*>(text->second) : nullptr;
}

void FakeGL::glGetIntegerv(const char*, int, KGX::OGL::GLenum name, KGX::OGL::GLint* out) {
  const auto value = integers.find(name);
  if (value != integers.end()) {
    *out = value->second;
  } else {
    errors.push_back(0x0500);
  }
}

std::map<cl_uint, std::string>& FakeCL::Answers() {
  static std::map<cl_uint, std::string> answers;
  return answers;
}

namespace {

template <class Object>
cl_int CL_API_CALL Answer(Object, cl_uint property, std::size_t size, void* out, std::size_t* sizeOut) {
  const auto answer = FakeCL::Answers().find(property);
  if (answer == FakeCL::Answers().end()) return CL_INVALID_VALUE;
  const std::string& bytes = answer->second;
  if (out != nullptr && size < bytes.size()) return CL_INVALID_VALUE;
  if (out != nullptr) std::memcpy(out, bytes.data(), bytes.size());
  if (sizeOut != nullptr) *sizeOut = bytes.size();
  return CL_SUCCESS;
}

}  // namespace

void FakeCL::UseAnswers() {
  Answers().clear();
  Answers()[CL_DEVICE_PLATFORM] = std::string(sizeof(cl_platform_id), '\1');
  table().clGetPlatformInfo = Answer<cl_platform_id>;
  table().clGetDeviceInfo = Answer<cl_device_id>;
}
