#include "extensionlist.h"
#include "fakedrivers.h"

#include <kgx/extensionmanager.h>
#include <kgx/framebuffer.h>
#include <kgx/program.h>

#include <gtest/gtest.h>

namespace {

using namespace KGX::OGL;

TEST(Layer, IsOfNoUseBeforeItIsInitialized) {
  EXPECT_EQ(ExtensionManager::Instance(), nullptr);
  EXPECT_EQ(Message([] { Program(); }), "OpenGL isn't initialized");
  EXPECT_EQ(Message([] { Framebuffer(); }), "OpenGL isn't initialized");
  DisplayDeviceKey key;
  EXPECT_FALSE(Context::DisplayDevice(0, key));
}

// Which versions a driver has is read off its version text; the highest that it has tells them all.
TEST(ExtensionManager, VersionComesFromTheVersionText) {
  const struct {
    const char* text;
    int versions;  // how many there are, of the 13 from 1.2 to 4.1
  } rows[] = {{"1.1.0", 0}, {"1.2", 2},  {"3.9.0 NVIDIA 340.108", 11}, {"4.10", 13}, {"19.0", 13},
              {"4.0A", 12}, {"4A.1", 0}, {"OpenGL ES 3.2", 0},         {"4", 0},     {nullptr, 0}};
  FakeGL gl;
  const ExtensionManager manager;
  for (const auto& row : rows) {
    gl.texts[kGL_VERSION] = row.text;
    for (int id = 0; id < 13; ++id)
      EXPECT_EQ(manager.isSupported(static_cast<OpenGLExtension>(id)), id < row.versions) << row.text << id;
  }
}

TEST(ExtensionList, FindsWholeWords) {
  for (const char* list : {"a bc d", "  a   bc", "bc"}) EXPECT_TRUE(KGX::HasExtension(list, "bc")) << list;
  for (const char* list : {"abc bcd", "", static_cast<const char*>(nullptr)})
    EXPECT_FALSE(KGX::HasExtension(list, "bc")) << list;
}

}  // namespace
