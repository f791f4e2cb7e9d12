#include "extensionlist.h"
#include "openglplatform.h"

#include <kgx/extensionmanager.h>
#include <kgx/openglinterceptor.h>

#include <cstdlib>

namespace KGX::OGL {

namespace {

struct Version {
  long major;
  long minor;
};

struct Capability {
  OpenGLExtension id;
  Version version;        // the least OpenGL version, where `extension` is null
  const char* extension;  // the extension's name
};

constexpr Capability kCapabilities[] = {
    {OPENGL_1_2, {1, 2}, nullptr},
    {OPENGL_1_2_1, {1, 2}, nullptr},
    {OPENGL_1_3, {1, 3}, nullptr},
    {OPENGL_1_4, {1, 4}, nullptr},
    {OPENGL_1_5, {1, 5}, nullptr},
    {OPENGL_2_0, {2, 0}, nullptr},
    {OPENGL_2_1, {2, 1}, nullptr},
    {OPENGL_3_0, {3, 0}, nullptr},
    {OPENGL_3_1, {3, 1}, nullptr},
    {OPENGL_3_2, {3, 2}, nullptr},
    {OPENGL_3_3, {3, 3}, nullptr},
    {OPENGL_4_0, {4, 0}, nullptr},
    {OPENGL_4_1, {4, 1}, nullptr},
    {GL_ARB_FRAGMENT_PROGRAM, {}, "GL_ARB_fragment_program"},
    {GL_ARB_FRAGMENT_SHADER, {}, "GL_ARB_fragment_shader"},
    {GL_ARB_OCCLUSION_QUERY, {}, "GL_ARB_occlusion_query"},
    {GL_ARB_SHADER_TEXTURE_LOD, {}, "GL_ARB_shader_texture_lod"},
    {GL_ARB_TEXTURE_FLOAT, {}, "GL_ARB_texture_float"},
    {GL_ARB_TEXTURE_NON_POWER_OF_TWO, {}, "GL_ARB_texture_non_power_of_two"},
    {GL_ARB_TEXTURE_RECTANGLE, {}, "GL_ARB_texture_rectangle"},
    {GL_ARB_VERTEX_BUFFER_OBJECT, {}, "GL_ARB_vertex_buffer_object"},
    {GL_ARB_VERTEX_PROGRAM, {}, "GL_ARB_vertex_program"},
    {GL_ARB_VERTEX_SHADER, {}, "GL_ARB_vertex_shader"},
    {GL_EXT_FRAMEBUFFER_OBJECT, {}, "GL_EXT_framebuffer_object"},
};

// A string of the current context; empty where the driver gives null.
const char* ContextString(GLenum name) {
  const GLubyte* const text = OpenGLInterceptor::Instance()->glGetString(KGX_HERE, name);
  return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

// "4.5 (Compatibility Profile) Mesa 22.3.6" is 4.5; a text of another form is 0.0.
Version ParseVersion(const char* text) {
  char* end = nullptr;
  const long major = std::strtol(text, &end, 10);
  if (end == text || *end != '.') return {};
  return {major, std::strtol(end + 1, nullptr, 10)};
}

}  // namespace

ExtensionManager* ExtensionManager::Instance() {
  static ExtensionManager manager;
  return Platform::IsInitialized() ? &manager : nullptr;
}

bool ExtensionManager::isSupported(OpenGLExtension id) const {
  for (const Capability& capability : kCapabilities) {
    if (capability.id != id) continue;
    if (capability.extension != nullptr) return hasExtension(capability.extension);
    const Version version = ParseVersion(ContextString(kGL_VERSION));
    const Version least = capability.version;
    return version.major > least.major || (version.major == least.major && version.minor >= least.minor);
  }
  return false;
}

bool ExtensionManager::hasExtension(const char* name) const {
  return HasExtension(ContextString(kGL_EXTENSIONS), name);
}

}  // namespace KGX::OGL
