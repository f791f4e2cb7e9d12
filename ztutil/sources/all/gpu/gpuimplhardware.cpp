// The OpenGL side. The OpenCL side stands in gpuimplhardwarecl.cpp.
#include "gpu/probeprogram.h"

#include <kgx/context.h>
#include <kgx/extensionmanager.h>
#include <kgx/framebuffer.h>
#include <kgx/openglinterceptor.h>
#include <kgx/program.h>
#include <kgx/texture.h>
#include <ztutil/gpuimplhardware.h>
#include <ztutil/ztlogging.h>

#include <boost/make_shared.hpp>

#include <iterator>
#include <stdexcept>

namespace {

using KGX::OGL::ExtensionManager;
using KGX::OGL::OpenGLInterceptor;

ztutil::DebugFlag gGPUProwler{"GPUProwler"};

// Makes a GPU's context current, and puts back at its end the one that was current before.
class GLContextScope {
 public:
  explicit GLContextScope(const boost::shared_ptr<KGX::OGL::Context>& context)
      : fWrapper(boost::make_shared<KGX::OGL::ScopedContextWrapper>(true)), fContext(context.get()) {
    assert(fContext != nullptr);
    fContext->makeCurrent();
  }

 private:
  const boost::shared_ptr<KGX::OGL::ScopedContextWrapper> fWrapper;
  KGX::OGL::Context* const fContext;
};

// The same with the extension manager at hand.
class GLExtensionScope : public GLContextScope {
 public:
  explicit GLExtensionScope(const boost::shared_ptr<KGX::OGL::Context>& context)
      : GLContextScope(context), fManager(ExtensionManager::Instance()) {
    if (fManager == nullptr) FailRequirement("KGX::OGL::ExtensionManager::Instance() returned NULL");
  }

  bool IsSupported(std::uint32_t id) const {
    return fManager->isSupported(static_cast<KGX::OGL::OpenGLExtension>(id));
  }

 private:
  ExtensionManager* const fManager;
};

// The newest first. OPENGL_1_2_1 is left out on purpose.
constexpr struct {
  KGX::OGL::OpenGLExtension id;
  const char* text;
} kVersions[] = {
    {KGX::OGL::OPENGL_4_1, "4.1"}, {KGX::OGL::OPENGL_4_0, "4.0"}, {KGX::OGL::OPENGL_3_3, "3.3"},
    {KGX::OGL::OPENGL_3_2, "3.2"}, {KGX::OGL::OPENGL_3_1, "3.1"}, {KGX::OGL::OPENGL_3_0, "3.0"},
    {KGX::OGL::OPENGL_2_1, "2.1"}, {KGX::OGL::OPENGL_2_0, "2.0"}, {KGX::OGL::OPENGL_1_5, "1.5"},
    {KGX::OGL::OPENGL_1_4, "1.4"}, {KGX::OGL::OPENGL_1_3, "1.3"}, {KGX::OGL::OPENGL_1_2, "1.2"},
};

// Reads GL's error, which may be that of an earlier call. `describe` writes to the log what was asked.
template <class Describe>
void RequireNoGLError(Describe describe) {
  const KGX::OGL::GLenum glStatus = OpenGLInterceptor::Instance()->glGetError(KGX_HERE);
  if (glStatus == KGX::OGL::kGL_NO_ERROR) return;
  describe(glStatus);
  FailRequirement("Failed requirement: glStatus == GL_NO_ERROR");
}

// A reason that may be missing.
const char* TextOf(const KGX::ExceptionBase& exception) {
  return exception.message() != nullptr ? exception.message() : "<NULL>";
}

}  // namespace

GPUImplHardware::GPUImplHardware() : fCLDevice(nullptr) {}

GPUImplHardware::~GPUImplHardware() = default;

std::string GPUImplHardware::DoGetGLVersion() const {
  const GLExtensionScope scope(fGLContext);
  for (const auto& version : kVersions) {
    if (scope.IsSupported(version.id)) return version.text;
  }
  throw std::runtime_error("Cannot determine OGL version");
}

std::string GPUImplHardware::DoGetGLName() const { return DoGLGetString(KGX::OGL::kGL_RENDERER); }

std::string GPUImplHardware::DoGetGLVendor() const { return DoGLGetString(KGX::OGL::kGL_VENDOR); }

std::int32_t GPUImplHardware::DoGetGLRectTextureSize() const {
  std::int32_t size = 0;
  DoGLGetIntegerv(KGX::OGL::kGL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, &size);
  return size;
}

std::string GPUImplHardware::DoGetGLRenderer() const { return DoGLGetString(KGX::OGL::kGL_RENDERER); }

bool GPUImplHardware::DoHasGLNPOTSupport() const {
  return DoGLExtensionSupported(KGX::OGL::GL_ARB_TEXTURE_NON_POWER_OF_TWO);
}

std::string GPUImplHardware::DoGetGLDriver() const { return {}; }

std::string GPUImplHardware::DoGetGLDriverDate() const { return {}; }

std::string GPUImplHardware::DoGetGLCaption() const { return {}; }

bool GPUImplHardware::DoCompileProgramGLSL() const {
  try {
    const GLContextScope scope(fGLContext);
    KGX::OGL::Program program;
    program.loadVertexShader(std::size(VertexProgramLines), VertexProgramLines, nullptr);
    program.loadFragmentShader(std::size(FragmentProgramLines), FragmentProgramLines, nullptr);
    program.link(true);
    return true;
  } catch (const KGX::ExceptionBase& exception) {
    ZT_LOG(gGPUProwler, "DoCompileProgramGLSL: " << TextOf(exception));
    return false;
  }
}

bool GPUImplHardware::DoGLFramebufferOK() const {
  try {
    OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
    const GLContextScope scope(fGLContext);
    const KGX::OGL::Texture2D texture(KGX::OGL::Texture::kRGBA8, 32, 32, false, nullptr, -1);
    KGX::OGL::Framebuffer framebuffer;
    framebuffer.bind();
    framebuffer.attach(texture, 0, 0);
    gl->glClearColor(KGX_HERE, 255.0f, 255.0f, 255.0f, 255.0f);
    gl->glClear(KGX_HERE, KGX::OGL::kGL_COLOR_BUFFER_BIT);
    framebuffer.unbind();
    const KGX::OGL::GLenum status = gl->glGetError(KGX_HERE);
    if (status == KGX::OGL::kGL_NO_ERROR) return true;
    ZT_LOG(gGPUProwler, "DoGLFramebufferOK: glGetError() returns " << status);
    return false;
  } catch (const KGX::ExceptionBase& exception) {
    ZT_LOG(gGPUProwler, "DoGLFramebufferOK: " << TextOf(exception));
    return false;
  }
}

const char* GPUImplHardware::DoGLGetString(std::uint32_t name) const {
  const GLContextScope scope(fGLContext);
  const KGX::OGL::GLubyte* const text = OpenGLInterceptor::Instance()->glGetString(KGX_HERE, name);
  RequireNoGLError([name](auto status) {
    ZT_LOG(gGPUProwler, "GPUImplHardware::DoGLGetString(" << static_cast<std::int32_t>(name)
                                                          << "): glGetError() returns " << status);
  });
  // A driver may give nothing and call that no error; the text's users couldn't bear it.
  if (text == nullptr) FailRequirement("Failed requirement: text != NULL");
  return reinterpret_cast<const char*>(text);
}

void GPUImplHardware::DoGLGetIntegerv(std::int32_t name, std::int32_t* out) const {
  const GLContextScope scope(fGLContext);
  OpenGLInterceptor::Instance()->glGetIntegerv(KGX_HERE, static_cast<KGX::OGL::GLenum>(name), out);
  RequireNoGLError([name](auto status) {
    ZT_LOG(gGPUProwler, "GPUImplHardware::DoGLGetIntegerv(" << name << "): glGetError() returns " << status);
  });
}

void GPUImplHardware::DoGLGetProgramivARB(std::int32_t target, std::int32_t name, std::int32_t* out) const {
  const GLContextScope scope(fGLContext);
  OpenGLInterceptor::Instance()->glGetProgramivARB(KGX_HERE, static_cast<KGX::OGL::GLenum>(target),
                                                   static_cast<KGX::OGL::GLenum>(name), out);
  RequireNoGLError([target, name](auto status) {
    ZT_LOG(gGPUProwler, "GPUImplHardware::DoGLGetProgramivARB(target="
                            << target << ", code=" << name << "): glGetError() returns " << status);
  });
}

bool GPUImplHardware::DoGLExtensionSupported(std::uint32_t id) const {
  return GLExtensionScope(fGLContext).IsSupported(id);
}

bool GPUImplHardware::DoIsIntegratedGLGPU() const { return false; }
