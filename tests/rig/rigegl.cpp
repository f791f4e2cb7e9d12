// A vendor library for libglvnd that hands everything on to Mesa's and misbehaves on the way, as RIG_FAULT
// says. libglvnd asks the vendor for the address of every EGL and GL function, so that one hook reaches them
// all.

#include "calls.h"
#include "fault.h"
#include "settings.h"
#include "wrap.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>
#include <dlfcn.h>
#include <glvnd/libeglabi.h>

#include <algorithm>
#include <string>
#include <vector>

namespace rig {
namespace {

constexpr char kMesaLibrary[] = "libEGL_mesa.so.0";
constexpr char kDevicesVariable[] = "RIG_EGL_DEVICES";

namespace tag {

#define RIG_EGL_TAG(call)                       \
  struct call {                                 \
    static constexpr const char* kName = #call; \
    static constexpr Api kApi = Api::kEgl;      \
  };
#define RIG_GL_TAG(call)                        \
  struct call {                                 \
    static constexpr const char* kName = #call; \
    static constexpr Api kApi = Api::kGl;       \
  };
RIG_EGL_CALLS(RIG_EGL_TAG)
RIG_EGL_TAG(eglGetPlatformDisplay)
RIG_GL_CALLS(RIG_GL_TAG)
#undef RIG_EGL_TAG
#undef RIG_GL_TAG

struct VendorMain {
  static constexpr const char* kName = "__egl_Main";
  static constexpr Api kApi = Api::kEgl;
};

}  // namespace tag

using WrappedMain = Wrapped<tag::VendorMain, decltype(::__egl_Main)>;
using WrappedGetPlatformDisplay = Wrapped<tag::eglGetPlatformDisplay, decltype(::eglGetPlatformDisplay)>;

// A function that libglvnd asks for by name.
struct Hook {
  CallInfo fInfo;
  void* fWrapper;
  void (*fSetReal)(void* real);
};

template <class Tag, class Function>
Hook MakeHook() {
  using Wrapper = Wrapped<Tag, Function>;
  const auto setReal = [](void* real) { Wrapper::SetReal(reinterpret_cast<Function*>(real)); };
  return {Wrapper::Info(), reinterpret_cast<void*>(&Wrapper::Call), setReal};
}

#define RIG_HOOK(call) MakeHook<tag::call, decltype(::call)>(),
const Hook kHooks[] = {RIG_EGL_CALLS(RIG_HOOK) RIG_GL_CALLS(RIG_HOOK)};
#undef RIG_HOOK

// What Mesa has filled in, and its functions that ours stand before. Set while the vendor starts and constant
// from then on: asking Mesa for an address later would reset the thread's EGL error.
__EGLapiImports gMesa;

struct MesaFunctions {
  decltype(&::eglGetError) fGetEglError;
  decltype(&::eglQueryDevicesEXT) fQueryDevices;
  decltype(&::eglQueryDeviceStringEXT) fQueryDeviceString;
  decltype(&::glGetError) fGetGlError;
};
MesaFunctions gMesaFunctions;

template <class Pointer>
void FindInMesa(const char* name, Pointer* pointer) {
  *pointer = reinterpret_cast<Pointer>(gMesa.getProcAddress(name));
  if (!*pointer) Refuse("libEGL_mesa", name, "isn't there");
}

void FindMesaFunctions() {
  FindInMesa("eglGetError", &gMesaFunctions.fGetEglError);
  FindInMesa("eglQueryDevicesEXT", &gMesaFunctions.fQueryDevices);
  FindInMesa("eglQueryDeviceStringEXT", &gMesaFunctions.fQueryDeviceString);
  FindInMesa("glGetError", &gMesaFunctions.fGetGlError);
}

// A device of RIG_EGL_DEVICES. Its address is its handle. An empty file name means that it has no such file.
struct FakeDevice {
  std::string fName;
  std::string fCard;
  std::string fRenderNode;
  std::string fExtensions;
};

// Filled while the vendor starts and constant from then on. Never destroyed: driver threads outlive the end
// of main.
std::vector<FakeDevice>& gFakeDevices = *new std::vector<FakeDevice>;

FakeDevice ParseFakeDevice(const std::string& text) {
  const auto name = Halve(text, ':');
  const auto files = name ? Halve(name->second, ':') : std::nullopt;
  if (!files || name->first.empty() || files->second.find(':') != std::string::npos)
    Refuse(kDevicesVariable, text, "a device is NAME:CARD:RENDERNODE, the files may be empty");
  FakeDevice device{name->first, files->first, files->second,
                    "EGL_EXT_device_query EGL_EXT_device_query_name"};
  if (!device.fCard.empty()) device.fExtensions += " EGL_EXT_device_drm";
  if (!device.fRenderNode.empty()) device.fExtensions += " EGL_EXT_device_drm_render_node";
  return device;
}

void LoadFakeDevices() {
  for (const std::string& text : Split(Setting(kDevicesVariable), ','))
    gFakeDevices.push_back(ParseFakeDevice(text));
}

// Null if the handle is Mesa's own.
const FakeDevice* AsFakeDevice(const void* handle) {
  for (const FakeDevice& device : gFakeDevices)
    if (&device == handle) return &device;
  return nullptr;
}

// The one device of Mesa that works without hardware; null if Mesa has none.
EGLDeviceEXT SoftwareDevice() {
  EGLint count = 0;
  if (!gMesaFunctions.fQueryDevices(0, nullptr, &count)) return nullptr;
  std::vector<EGLDeviceEXT> devices(static_cast<std::size_t>(count));
  if (count == 0 || !gMesaFunctions.fQueryDevices(count, devices.data(), &count)) return nullptr;
  for (EGLDeviceEXT device : devices) {
    const char* extensions = gMesaFunctions.fQueryDeviceString(device, EGL_EXTENSIONS);
    if (extensions && std::string(extensions).find("EGL_MESA_device_software") != std::string::npos)
      return device;
  }
  return nullptr;
}

// What stands between the wrappers and Mesa.

EGLBoolean QueryDevices(EGLint capacity, EGLDeviceEXT* devices, EGLint* count) {
  if (gFakeDevices.empty()) return gMesaFunctions.fQueryDevices(capacity, devices, count);
  if (!count || (devices && capacity <= 0)) {
    LeaveError(Api::kEgl, EGL_BAD_PARAMETER);
    return EGL_FALSE;
  }
  *count = static_cast<EGLint>(gFakeDevices.size());
  if (devices) {
    *count = std::min(*count, capacity);
    for (EGLint i = 0; i < *count; i++) devices[i] = &gFakeDevices[static_cast<std::size_t>(i)];
  }
  return EGL_TRUE;
}

const char* QueryDeviceString(EGLDeviceEXT handle, EGLint name) {
  const FakeDevice* device = AsFakeDevice(handle);
  if (!device) return gMesaFunctions.fQueryDeviceString(handle, name);
  if (name == EGL_EXTENSIONS) return device->fExtensions.c_str();
  if (name == EGL_RENDERER_EXT) return device->fName.c_str();
  if (name == EGL_DRM_DEVICE_FILE_EXT && !device->fCard.empty()) return device->fCard.c_str();
  if (name == EGL_DRM_RENDER_NODE_FILE_EXT && !device->fRenderNode.empty())
    return device->fRenderNode.c_str();
  LeaveError(Api::kEgl, EGL_BAD_PARAMETER);
  return nullptr;
}

EGLDisplay GetPlatformDisplay(EGLenum platform, void* handle, const EGLAttrib* attributes) {
  return gMesa.getPlatformDisplay(platform, AsFakeDevice(handle) ? SoftwareDevice() : handle, attributes);
}

EGLint GetEglError() {
  const auto pending = TakeError(Api::kEgl);
  return pending ? *pending : gMesaFunctions.fGetEglError();
}

GLenum GetGlError() {
  const auto pending = TakeError(Api::kGl);
  return pending ? static_cast<GLenum>(*pending) : gMesaFunctions.fGetGlError();
}

// Our function of this name, or Mesa's if we have none.
void* BehindWrapper(const std::string& name, void* mesa) {
  if (name == "eglQueryDevicesEXT") return reinterpret_cast<void*>(&QueryDevices);
  if (name == "eglQueryDeviceStringEXT") return reinterpret_cast<void*>(&QueryDeviceString);
  if (name == "eglGetError") return reinterpret_cast<void*>(&GetEglError);
  if (name == "glGetError") return reinterpret_cast<void*>(&GetGlError);
  return mesa;
}

void* GetProcAddress(const char* name) {
  void* mesa = gMesa.getProcAddress(name);
  if (!mesa) return nullptr;
  for (const Hook& hook : kHooks) {
    if (hook.fInfo.fName != std::string(name)) continue;
    hook.fSetReal(BehindWrapper(name, mesa));
    return hook.fWrapper;
  }
  return mesa;
}

// Starts Mesa's vendor library in our place and hooks what it gives to libglvnd.
EGLBoolean StartVendor(std::uint32_t version, const __EGLapiExports* exports, __EGLvendorInfo* vendor,
                       __EGLapiImports* imports) {
  void* library = dlopen(kMesaLibrary, RTLD_NOW | RTLD_LOCAL);
  if (!library) Refuse("dlopen", kMesaLibrary, dlerror());
  const auto start = reinterpret_cast<__PFNEGLMAINPROC>(dlsym(library, __EGL_MAIN_PROTO_NAME));
  if (!start) Refuse("dlsym", __EGL_MAIN_PROTO_NAME, dlerror());
  if (!start(version, exports, vendor, imports)) return EGL_FALSE;
  gMesa = *imports;
  FindMesaFunctions();
  WrappedGetPlatformDisplay::SetReal(&GetPlatformDisplay);
  imports->getPlatformDisplay = &WrappedGetPlatformDisplay::Call;
  imports->getProcAddress = &GetProcAddress;
  // Mesa would write itself into libglvnd's entry points and be called past the wrappers.
  imports->isPatchSupported = nullptr;
  imports->initiatePatch = nullptr;
  imports->releasePatch = nullptr;
  return EGL_TRUE;
}

void LoadSettings() {
  std::vector<CallInfo> calls = {WrappedMain::Info(), WrappedGetPlatformDisplay::Info()};
  for (const Hook& hook : kHooks) calls.push_back(hook.fInfo);
  LoadFaults(calls);
  LoadFakeDevices();
}

}  // namespace
}  // namespace rig

#pragma GCC visibility push(default)

// What libglvnd calls, once, when it loads the vendor.
extern "C" EGLBoolean __egl_Main(std::uint32_t version, const __EGLapiExports* exports,
                                 __EGLvendorInfo* vendor, __EGLapiImports* imports) {
  rig::LoadSettings();
  rig::WrappedMain::SetReal(&rig::StartVendor);
  return rig::WrappedMain::Call(version, exports, vendor, imports);
}

#pragma GCC visibility pop
