// GL contexts over EGL, with no window system.
#include "displaydevices.h"
#include "extensionlist.h"
#include "libegl.h"
#include "openglplatform.h"

#include <kgx/exception.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

namespace KGX::OGL::Platform {

namespace {

struct Device : EGLDisplayDevice {
  explicit Device(const EGLDisplayDevice& found) : EGLDisplayDevice(found) {}

  bool works = false;                    // the last attempt at a context succeeded
  std::unique_ptr<NativeContext> spare;  // one that is made and not yet asked for
};

struct State {
  bool isInitialized = false;
  std::vector<Device> devices;
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

Device& FindDevice(const DisplayDeviceKey& key) {
  for (Device& device : TheState().devices) {
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

std::unique_ptr<NativeContext> CreateContextOn(Device& device) {
  if (device.spare != nullptr) return std::move(device.spare);
  device.works = false;
  auto context = std::make_unique<EGLNativeContext>(InitializedDisplay(device.device));
  device.works = true;
  return context;
}

bool GivesContext(Device& device) {
  try {
    device.spare = CreateContextOn(device);
    return true;
  } catch (const LogicalException&) {
    return false;
  }
}

}  // namespace

void Initialize() {
  State& state = TheState();
  if (state.isInitialized) return;
  for (const EGLDisplayDevice& device : FindDisplayDevices()) {
    state.devices.emplace_back(device);
    state.keys.push_back(device.key);
  }
  std::atexit([] { gExiting = true; });
  state.isInitialized = true;
}

bool IsInitialized() { return TheState().isInitialized; }

const std::vector<DisplayDeviceKey>& DisplayDevices() { return TheState().keys; }

bool IsOffered(std::size_t index) {
  const std::vector<Device>& devices = TheState().devices;
  return !devices[index].isSoftware || std::none_of(devices.begin(), devices.end(), [](const Device& device) {
    return !device.isSoftware && device.works;
  });
}

std::size_t PrimaryDisplayDevice() {
  std::vector<Device>& devices = TheState().devices;
  const auto software =
      std::find_if(devices.begin(), devices.end(), [](const Device& device) { return device.isSoftware; });
  if (software == devices.end() || std::any_of(devices.begin(), software, GivesContext)) return 0;
  return static_cast<std::size_t>(software - devices.begin());
}

std::unique_ptr<NativeContext> CreateContext(const DisplayDeviceKey& device) {
  return CreateContextOn(FindDevice(device));
}

void* FunctionAddress(const char* name) { return reinterpret_cast<void*>(EGL().eglGetProcAddress(name)); }

}  // namespace KGX::OGL::Platform
