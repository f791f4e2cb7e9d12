#include "fakedrivers.h"

#include <kgx/exception.h>
#include <kgx/extensionlist.h>
#include <kgx/extensionmanager.h>

#include <gtest/gtest.h>

namespace {

using namespace KGX::OGL;

// Which versions a driver has is read off its version text; the highest that it has tells them all.
TEST(ExtensionManager, VersionComesFromTheVersionText) {
  const struct {
    const char* text;
    OpenGLExtension newest;  // the number after it isn't supported
    bool any;
  } rows[] = {
      {"1.1.0", OPENGL_1_2, false},
      {"1.2", OPENGL_1_2_1, true},
      {"1.3.4 build 7", OPENGL_1_3, true},
      {"2.1 INTEL-10.6.33", OPENGL_2_1, true},
      {"3.3.0 NVIDIA 340.108", OPENGL_3_3, true},
      {"4.0.13399 Core Profile", OPENGL_4_0, true},
      {"4.1", OPENGL_4_1, true},
      {"4.10", OPENGL_4_1, true},
      {"10.0", OPENGL_4_1, true},
      {"OpenGL ES 3.2", OPENGL_1_2, false},
      {"4", OPENGL_1_2, false},
      {"", OPENGL_1_2, false},
      {nullptr, OPENGL_1_2, false},
  };
  FakeGL gl;
  const ExtensionManager manager;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text != nullptr ? row.text : "null");
    gl.texts[kGL_VERSION] = row.text;
    EXPECT_EQ(manager.isSupported(OPENGL_1_2), row.any);
    EXPECT_EQ(manager.isSupported(row.newest), row.any);
    if (row.newest < OPENGL_4_1) {
      EXPECT_FALSE(manager.isSupported(static_cast<OpenGLExtension>(row.newest + 1)));
    }
  }
}

TEST(ExtensionManager, ExtensionsComeFromTheExtensionTextAlone) {
  FakeGL gl;
  const ExtensionManager manager;
  gl.texts[kGL_VERSION] = "4.6";
  EXPECT_FALSE(manager.isSupported(GL_ARB_VERTEX_BUFFER_OBJECT));  // in the core since 1.5
  gl.texts[kGL_EXTENSIONS] = "GL_ARB_vertex_buffer_object GL_EXT_framebuffer_object";
  EXPECT_TRUE(manager.isSupported(GL_ARB_VERTEX_BUFFER_OBJECT));
  EXPECT_TRUE(manager.isSupported(GL_EXT_FRAMEBUFFER_OBJECT));
  EXPECT_FALSE(manager.isSupported(GL_ARB_TEXTURE_FLOAT));
  EXPECT_FALSE(manager.isSupported(static_cast<OpenGLExtension>(9999)));
}

TEST(ExtensionList, FindsWholeWords) {
  EXPECT_TRUE(KGX::HasExtension("a bc d", "bc"));
  EXPECT_TRUE(KGX::HasExtension("  a   bc", "bc"));
  EXPECT_TRUE(KGX::HasExtension("bc", "bc"));
  EXPECT_FALSE(KGX::HasExtension("abc bcd", "bc"));
  EXPECT_FALSE(KGX::HasExtension("", "bc"));
  EXPECT_FALSE(KGX::HasExtension(nullptr, "bc"));
}

}  // namespace
