#include <kgx/exception.h>
#include <kgx/openglinterceptor.h>
#include <kgx/texture.h>

namespace KGX::OGL {

Texture2D::Texture2D(InternalFormat internalFormat, GLsizei width, GLsizei height, bool mipmapped,
                     const void* data, GLint type) {
  if (internalFormat != kRGBA8) throw LogicalException("unknown internal format");
  if (mipmapped) throw LogicalException("mipmapped textures aren't supported");

  OpenGLInterceptor* const gl = OpenGLInterceptor::Instance();
  gl->glGenTextures(KGX_HERE, 1, &fName);
  gl->glBindTexture(KGX_HERE, kGL_TEXTURE_2D, fName);
  // The default filter wants mipmaps, and some drivers hold a texture without them to be incomplete.
  gl->glTexParameteri(KGX_HERE, kGL_TEXTURE_2D, kGL_TEXTURE_MIN_FILTER, kGL_NEAREST);
  gl->glTexImage2D(KGX_HERE, kGL_TEXTURE_2D, 0, kGL_RGBA8, width, height, 0, kGL_RGBA,
                   type == -1 ? kGL_UNSIGNED_BYTE : static_cast<GLenum>(type), data);
}

Texture2D::~Texture2D() {
  try {
    OpenGLInterceptor::Instance()->glDeleteTextures(KGX_HERE, 1, &fName);
  } catch (...) {  // the driver hasn't the function: the context takes the object along
  }
}

}  // namespace KGX::OGL
