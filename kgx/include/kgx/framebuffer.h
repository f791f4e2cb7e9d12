// Framebuffer objects. A GL context must be current for every operation, the destructor included.
#ifndef KGX_FRAMEBUFFER_H_
#define KGX_FRAMEBUFFER_H_

#include <kgx/opengltypes.h>
#include <kgx/texture.h>

namespace KGX::OGL {

class Framebuffer {
 public:
  // Throws LogicalException where the context has no framebuffer objects: neither OpenGL 3.0, nor
  // GL_ARB_framebuffer_object, nor GL_EXT_framebuffer_object.
  Framebuffer();
  ~Framebuffer();
  Framebuffer(const Framebuffer&) = delete;
  Framebuffer& operator=(const Framebuffer&) = delete;

  void bind();
  void unbind();

  // Makes one level of the texture the colour buffer; the framebuffer must be bound. `layer` counts for
  // layered textures only, and a 2D texture has layer 0. Throws LogicalException if one can't render to the
  // result.
  void attach(const Texture2D& texture, GLint level, GLint layer);

 private:
  struct Functions;
  static const Functions& ContextsFunctions();

  const Functions& fGL;
  GLuint fName = 0;
};

}  // namespace KGX::OGL

#endif  // KGX_FRAMEBUFFER_H_
