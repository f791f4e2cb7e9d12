// What the current GL context can do, by the numbers that the prober's report shows.
#ifndef KGX_EXTENSIONMANAGER_H_
#define KGX_EXTENSIONMANAGER_H_

#include <cstdint>

namespace KGX::OGL {

// Capabilities of a GL driver: versions of OpenGL first, in rising order, then extensions. The numbers are
// part of the report's format. Not every number has a capability.
enum OpenGLExtension : std::uint32_t {
  OPENGL_1_2 = 0,
  OPENGL_1_2_1 = 1,
  OPENGL_1_3 = 2,
  OPENGL_1_4 = 3,
  OPENGL_1_5 = 4,
  OPENGL_2_0 = 5,
  OPENGL_2_1 = 6,
  OPENGL_3_0 = 7,
  OPENGL_3_1 = 8,
  OPENGL_3_2 = 9,
  OPENGL_3_3 = 10,
  OPENGL_4_0 = 11,
  OPENGL_4_1 = 12,
  GL_ARB_FRAGMENT_PROGRAM = 27,
  GL_ARB_FRAGMENT_SHADER = 28,
  GL_ARB_OCCLUSION_QUERY = 37,
  GL_ARB_SHADER_TEXTURE_LOD = 47,
  GL_ARB_TEXTURE_FLOAT = 53,
  GL_ARB_TEXTURE_NON_POWER_OF_TWO = 56,
  GL_ARB_TEXTURE_RECTANGLE = 58,
  GL_ARB_VERTEX_BUFFER_OBJECT = 68,
  GL_ARB_VERTEX_PROGRAM = 69,
  GL_ARB_VERTEX_SHADER = 70,
  GL_EXT_FRAMEBUFFER_OBJECT = 81,
};

// Answers from the version and the extension string of the current context, anew at each call. A driver that
// gives no string supports nothing. GL's error is neither read nor cleared. A context must be current.
class ExtensionManager {
 public:
  // Null as long as OpenGL isn't initialised (Library::Initialize). Not the caller's to delete.
  static ExtensionManager* Instance();

  // False also for a number that has no capability.
  bool isSupported(OpenGLExtension id) const;

  // True if the context's extension string has this name, for example "GL_ARB_framebuffer_object".
  bool hasExtension(const char* name) const;
};

}  // namespace KGX::OGL

#endif  // KGX_EXTENSIONMANAGER_H_
