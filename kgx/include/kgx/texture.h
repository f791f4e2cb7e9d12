// Textures. A GL context must be current for every operation, the destructor included.
#ifndef KGX_TEXTURE_H_
#define KGX_TEXTURE_H_

#include <kgx/opengltypes.h>

namespace KGX::OGL {

class Texture {
 public:
  // Formats in which a texture is stored, by the layer's own numbers.
  enum InternalFormat {
    kRGBA8 = 0x22,  // GL_RGBA8: every driver can render to it
  };
};

class Texture2D : public Texture {
 public:
  // A texture of width x height texels, filled from `data` (RGBA) or, with null, with undefined content.
  // `type` is the GL type of the components in `data`; -1 means bytes. A driver's refusal is left pending as
  // GL's error. Throws LogicalException for a format that the layer doesn't have, and for `mipmapped`.
  Texture2D(InternalFormat internalFormat, GLsizei width, GLsizei height, bool mipmapped, const void* data,
            GLint type);
  ~Texture2D();
  Texture2D(const Texture2D&) = delete;
  Texture2D& operator=(const Texture2D&) = delete;

  // GL's name of the texture.
  GLuint name() const { return fName; }

 private:
  GLuint fName = 0;
};

}  // namespace KGX::OGL

#endif  // KGX_TEXTURE_H_
