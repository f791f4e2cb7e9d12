#include <kgx/exception.h>
#include <kgx/extensionmanager.h>
#include <kgx/framebuffer.h>
#include <kgx/openglinterceptor.h>

#include <cstdio>

namespace KGX::OGL {

// One set of functions: OpenGL's own, or those of GL_EXT_framebuffer_object.
struct Framebuffer::Functions {
  decltype(&OpenGLInterceptor::glGenFramebuffers) fGenerate;
  decltype(&OpenGLInterceptor::glDeleteFramebuffers) fDelete;
  decltype(&OpenGLInterceptor::glBindFramebuffer) fBind;
  decltype(&OpenGLInterceptor::glFramebufferTexture2D) fAttach;
  decltype(&OpenGLInterceptor::glCheckFramebufferStatus) fCheckStatus;
};

const Framebuffer::Functions& Framebuffer::ContextsFunctions() {
  using GL = OpenGLInterceptor;
  static constexpr Functions kCore{&GL::glGenFramebuffers, &GL::glDeleteFramebuffers, &GL::glBindFramebuffer,
                                   &GL::glFramebufferTexture2D, &GL::glCheckFramebufferStatus};
  static constexpr Functions kEXT{&GL::glGenFramebuffersEXT, &GL::glDeleteFramebuffersEXT,
                                  &GL::glBindFramebufferEXT, &GL::glFramebufferTexture2DEXT,
                                  &GL::glCheckFramebufferStatusEXT};
  const ExtensionManager* const manager = ExtensionManager::Instance();
  if (manager == nullptr) throw LogicalException("OpenGL isn't initialized");
  if (manager->isSupported(OPENGL_3_0) || manager->hasExtension("GL_ARB_framebuffer_object")) return kCore;
  if (manager->isSupported(GL_EXT_FRAMEBUFFER_OBJECT)) return kEXT;
  throw LogicalException("no framebuffer objects");
}

Framebuffer::Framebuffer() : fGL(ContextsFunctions()) {
  (OpenGLInterceptor::Instance()->*fGL.fGenerate)(KGX_HERE, 1, &fName);
}

Framebuffer::~Framebuffer() {
  try {
    (OpenGLInterceptor::Instance()->*fGL.fDelete)(KGX_HERE, 1, &fName);
  } catch (...) {  // the driver hasn't the function: the context takes the object along
  }
}

void Framebuffer::bind() { (OpenGLInterceptor::Instance()->*fGL.fBind)(KGX_HERE, kGL_FRAMEBUFFER, fName); }

void Framebuffer::unbind() { (OpenGLInterceptor::Instance()->*fGL.fBind)(KGX_HERE, kGL_FRAMEBUFFER, 0); }

void Framebuffer::attach(const Texture2D& texture, GLint level, GLint layer) {
  if (layer != 0) throw LogicalException("a 2D texture has one layer");
  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  (gl->*fGL.fAttach)(KGX_HERE, kGL_FRAMEBUFFER, kGL_COLOR_ATTACHMENT0, kGL_TEXTURE_2D, texture.name(), level);
  const GLenum status = (gl->*fGL.fCheckStatus)(KGX_HERE, kGL_FRAMEBUFFER);
  if (status == kGL_FRAMEBUFFER_COMPLETE) return;
  char text[48];
  std::snprintf(text, sizeof text, "framebuffer isn't complete: 0x%04x", static_cast<unsigned>(status));
  throw LogicalException(text);
}

}  // namespace KGX::OGL
