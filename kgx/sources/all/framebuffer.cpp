#include <kgx/exception.h>
#include <kgx/extensionmanager.h>
#include <kgx/framebuffer.h>
#include <kgx/openglinterceptor.h>

#include <cstdio>

namespace KGX::OGL {

namespace {

bool HasCoreFramebuffers() {
  const ExtensionManager* const manager = ExtensionManager::Instance();
  if (manager == nullptr) throw LogicalException("OpenGL isn't initialized");
  if (manager->isSupported(OPENGL_3_0) || manager->hasExtension("GL_ARB_framebuffer_object")) return true;
  if (manager->isSupported(GL_EXT_FRAMEBUFFER_OBJECT)) return false;
  throw LogicalException("no framebuffer objects");
}

}  // namespace

Framebuffer::Framebuffer() : fCore(HasCoreFramebuffers()) {
  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  fCore ? gl->glGenFramebuffers(KGX_HERE, 1, &fName) : gl->glGenFramebuffersEXT(KGX_HERE, 1, &fName);
}

Framebuffer::~Framebuffer() {
  try {
    OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
    fCore ? gl->glDeleteFramebuffers(KGX_HERE, 1, &fName) : gl->glDeleteFramebuffersEXT(KGX_HERE, 1, &fName);
  } catch (...) {  // the driver hasn't the function: the context takes the object along
  }
}

void Framebuffer::bind() {
  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  fCore ? gl->glBindFramebuffer(KGX_HERE, kGL_FRAMEBUFFER, fName)
        : gl->glBindFramebufferEXT(KGX_HERE, kGL_FRAMEBUFFER, fName);
}

void Framebuffer::unbind() {
  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  fCore ? gl->glBindFramebuffer(KGX_HERE, kGL_FRAMEBUFFER, 0)
        : gl->glBindFramebufferEXT(KGX_HERE, kGL_FRAMEBUFFER, 0);
}

void Framebuffer::attach(const Texture2D& texture, GLint level, GLint layer) {
  if (layer != 0) throw LogicalException("a 2D texture has one layer");
  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  fCore ? gl->glFramebufferTexture2D(KGX_HERE, kGL_FRAMEBUFFER, kGL_COLOR_ATTACHMENT0, kGL_TEXTURE_2D,
                                     texture.name(), level)
        : gl->glFramebufferTexture2DEXT(KGX_HERE, kGL_FRAMEBUFFER, kGL_COLOR_ATTACHMENT0, kGL_TEXTURE_2D,
                                        texture.name(), level);
  const GLenum status = fCore ? gl->glCheckFramebufferStatus(KGX_HERE, kGL_FRAMEBUFFER)
                              : gl->glCheckFramebufferStatusEXT(KGX_HERE, kGL_FRAMEBUFFER);
  if (status == kGL_FRAMEBUFFER_COMPLETE) return;
  char text[48];
  std::snprintf(text, sizeof text, "framebuffer isn't complete: 0x%04x", static_cast<unsigned>(status));
  throw LogicalException(text);
}

}  // namespace KGX::OGL
