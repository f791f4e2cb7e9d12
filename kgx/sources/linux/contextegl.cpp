// GL contexts over EGL, with no window system.
#include "displaydevices.h"
#include "exception.h"
#include "extensionlist.h"
#include "libegl.h"
#include "openglplatform.h"

#include <atomic>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

namespace KGX::OGL::Platform {

namespace {

struct State {
  bool isInitialized = false;
  std::vector<EGLDisplayDevice> devices;
  std::vector<DisplayDeviceKey> keys;
  // Displays that are initialised, by device. They are never terminated: all contexts of a device share one
  // display, and terminating it takes the other contexts along.
  std::map<EGLDeviceEXT, EGLDisplay> displays;
};

State& TheState() {
  static State* const state = new State;  // outlives the statics that may hold contexts
  return *state;
}

// Set once the process is on its way out. The driver's own clean-up may have run by then, so that destroying
// a context would call into a driver that is half gone. The system takes all of it back a moment later.
std::atomic<bool> gExiting{false};

const EGLDisplayDevice& FindDevice(const DisplayDeviceKey& key) {
  for (const EGLDisplayDevice& device : TheState().devices) {
    if (device.key.deviceName == key.deviceName) return device;
  }
  throw LogicalException("no display device " + key.deviceName);
}

EGLDisplay InitializedDisplay(EGLDeviceEXT device) {
  auto& displays = TheState().displays;
  const auto known = displays.find(device);
  if (known != displays.end()) return known->second;

  const EGLDisplay display = EGL().eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, device, nullptr);
  if (display == EGL_NO_DISPLAY) throw LogicalException(EGLFailure("eglGetPlatformDisplayEXT"));
  if (!EGL().eglInitialize(display, nullptr, nullptr)) throw LogicalException(EGLFailure("eglInitialize"));
  displays.emplace(device, display);
  return display;
}

class EGLNativeContext : public NativeContext {
 public:
  explicit EGLNativeContext(EGLDisplay display) : fDisplay(display) {
    // A thread's API is one word that other code may have changed.
    if (!EGL().eglBindAPI(EGL_OPENGL_API)) throw LogicalException(EGLFailure("eglBindAPI"));

    const char* const extensions = EGL().eglQueryString(display, EGL_EXTENSIONS);
    const bool bare = HasExtension(extensions, "EGL_KHR_no_config_context") &&
                      HasExtension(extensions, "EGL_KHR_surfaceless_context");
    const EGLConfig config = bare ? EGL_NO_CONFIG_KHR : ChoosePbufferConfig();
    // Without attributes a driver gives its newest compatibility profile.
    fContext = EGL().eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    if (fContext == EGL_NO_CONTEXT) throw LogicalException(EGLFailure("eglCreateContext"));
    if (!bare) CreatePbuffer(config);
  }

  ~EGLNativeContext() override {
    if (gExiting) return;
    if (fSurface != EGL_NO_SURFACE) EGL().eglDestroySurface(fDisplay, fSurface);
    EGL().eglDestroyContext(fDisplay, fContext);
  }

  void MakeCurrent() override { Switch(fSurface, fContext); }

  void Release() override { Switch(EGL_NO_SURFACE, EGL_NO_CONTEXT); }

 private:
  EGLConfig ChoosePbufferConfig() const {
    const EGLint attributes[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
                                 EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!EGL().eglChooseConfig(fDisplay, attributes, &config, 1, &count)) {
      throw LogicalException(EGLFailure("eglChooseConfig"));
    }
    if (count == 0) throw LogicalException("no EGL config for OpenGL");
    return config;
  }

  void CreatePbuffer(EGLConfig config) {
    const EGLint attributes[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
    fSurface = EGL().eglCreatePbufferSurface(fDisplay, config, attributes);
    if (fSurface != EGL_NO_SURFACE) return;
    const std::string failure = EGLFailure("eglCreatePbufferSurface");
    EGL().eglDestroyContext(fDisplay, fContext);
    throw LogicalException(failure);
  }

  void Switch(EGLSurface surface, EGLContext context) {
    if (gExiting) return;
    if (!EGL().eglMakeCurrent(fDisplay, surface, surface, context)) {
      throw LogicalException(EGLFailure("eglMakeCurrent"));
    }
  }

  const EGLDisplay fDisplay;
  EGLContext fContext = EGL_NO_CONTEXT;
  EGLSurface fSurface = EGL_NO_SURFACE;
};

}  // namespace

void Initialize() {
  State& state = TheState();
  if (state.isInitialized) return;
  state.devices = FindDisplayDevices();
  for (const EGLDisplayDevice& device : state.devices) state.keys.push_back(device.key);
  std::atexit([] { gExiting = true; });
  state.isInitialized = true;
}

bool IsInitialized() { return TheState().isInitialized; }

const std::vector<DisplayDeviceKey>& DisplayDevices() { return TheState().keys; }

std::size_t PrimaryDisplayDevice() {
  const std::vector<EGLDisplayDevice>& devices = TheState().devices;
  for (std::size_t index = 0; index < devices.size(); ++index) {
    if (devices[index].isBootDevice) return index;
  }
  return 0;
}

std::unique_ptr<NativeContext> CreateContext(const DisplayDeviceKey& device) {
  return std::make_unique<EGLNativeContext>(InitializedDisplay(FindDevice(device).device));
}

void* FunctionAddress(const char* name) { return reinterpret_cast<void*>(EGL().eglGetProcAddress(name)); }

}  // namespace KGX::OGL::Platform
