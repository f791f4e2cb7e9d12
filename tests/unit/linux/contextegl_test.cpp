#include "../fakedrivers.h"

#include <gtest/gtest.h>

extern std::string gFailing;  // in the libEGL that is linked

namespace {

using namespace KGX::OGL;

// Each from a later step than the one before.
TEST(ContextEGL, TellsWhatLibEGLRefuses) {
  const struct {
    std::string failing, told = failing + " failed: 0x3003";
  } rows[] = {{"address of eglQueryDeviceStringEXT", "libEGL has no eglQueryDeviceStringEXT"},
              {"eglQueryDevicesEXT"},
              {"few devices", "eglQueryDevicesEXT gives a size of 4097"},
              {"a list of devices", "eglQueryDevicesEXT failed: 0x3003"},
              {"eglGetPlatformDisplayEXT"},
              {"eglInitialize"},
              {"eglBindAPI"},
              {"eglChooseConfig"},
              {"a config", "no EGL config for OpenGL"},
              {"eglCreateContext"},
              {"eglCreatePbufferSurface"},
              {"eglMakeCurrent"},
              {"address of glGetError", "address of glGetError != NULL (file:7)"}};
  for (const auto& row : rows) {
    gFailing = row.failing;
    const auto call = [] {
      Library::Initialize({});
      ContextOffscreen context(Context::PrimaryDisplayDevice());
      context.makeCurrent();
      OpenGLInterceptor::Instance()->glGetError("file", 7);
    };
    EXPECT_EQ(Message(call), row.told);
  }
  EXPECT_EQ(Message([] { ContextOffscreen({"card0", "Card", "slot"}); }), "no display device card0");
}

}  // namespace
