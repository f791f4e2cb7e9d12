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
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace rig {
namespace {

constexpr char kAnswersVariable[] = "RIG_GL_INFO";
constexpr char kMesaLibrary[] = "libEGL_mesa.so.0";

// What Mesa has filled in, and its functions that ours stand before. Set while libglvnd loads the vendor, and
// constant from then on.
__EGLapiImports gMesa;
decltype(&::eglQueryDevicesEXT) gQueryDevices;
decltype(&::eglQueryDeviceStringEXT) gQueryDeviceString;
decltype(&::glGetError) gGetGLError;
decltype(&::glGetString) gGetString;
decltype(&::glGetIntegerv) gGetIntegerv;
decltype(&::glGetProgramivARB) gGetProgramiv;

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
std::map<unsigned, std::string>& gAnswers = *new std::map<unsigned, std::string>;

void LoadFakeDevices() {
  for (const std::string& text : Split(Setting("RIG_EGL_DEVICES"), ',')) {
    const auto [name, files] = Halve(text, ':');
    const auto [card, renderNode] = Halve(files, ':');
    FakeDevice device{name, card, renderNode, "EGL_EXT_device_query EGL_EXT_device_query_name"};
    if (!card.empty()) device.fExtensions += " EGL_EXT_device_drm";
    if (!renderNode.empty()) device.fExtensions += " EGL_EXT_device_drm_render_node";
    if (name == "software") device.fExtensions += " EGL_MESA_device_software";
    if (name == "NVIDIA") device.fExtensions += " EGL_EXT_device_persistent_id";
    gFakeDevices.push_back(device);
  }
}

// Null if the handle is Mesa's own.
const FakeDevice* AsFakeDevice(const void* handle) {
  for (const FakeDevice& device : gFakeDevices)
    if (&device == handle) return &device;
  return nullptr;
}

// The one device of Mesa that works without hardware; null if Mesa has none.
EGLDeviceEXT SoftwareDevice() {
  EGLDeviceEXT devices[64];
  EGLint count = 0;
  gQueryDevices(static_cast<EGLint>(std::size(devices)), devices, &count);
  for (EGLint i = 0; i < count; i++) {
    const char* extensions = gQueryDeviceString(devices[i], EGL_EXTENSIONS);
    if (extensions && std::strstr(extensions, "EGL_MESA_device_software")) return devices[i];
  }
  return nullptr;
}

// What stands between the wrappers and Mesa.

EGLBoolean QueryDevices(EGLint capacity, EGLDeviceEXT* devices, EGLint* count) {
  if (gFakeDevices.empty()) return gQueryDevices(capacity, devices, count);
  *count = static_cast<EGLint>(gFakeDevices.size());
  if (devices) *count = std::min(*count, capacity);
  for (EGLint i = 0; devices && i < *count; i++) devices[i] = &gFakeDevices[static_cast<std::size_t>(i)];
  return EGL_TRUE;
}

const char* QueryDeviceString(EGLDeviceEXT handle, EGLint name) {
  const FakeDevice* device = AsFakeDevice(handle);
  if (!device) return gQueryDeviceString(handle, name);
  if (name == EGL_EXTENSIONS) return device->fExtensions.c_str();
  if (name == EGL_RENDERER_EXT) return device->fName.c_str();
  if (name == EGL_DRM_DEVICE_FILE_EXT) return device->fCard.c_str();
  if (name == EGL_DRM_RENDER_NODE_FILE_EXT) return device->fRenderNode.c_str();
  return nullptr;
}

EGLBoolean QueryDeviceBinary(EGLDeviceEXT, EGLint name, EGLint, void* out, EGLint* size) {
  const auto bytes = static_cast<unsigned char*>(out);
  *size = name == EGL_DEVICE_UUID_EXT ? 16 : 0;
  for (EGLint i = 0; i < *size; i++) bytes[i] = static_cast<unsigned char>(0x11 * i);
  return EGL_TRUE;
}

EGLDisplay GetPlatformDisplay(EGLenum platform, void* handle, const EGLAttrib* attributes) {
  return gMesa.getPlatformDisplay(platform, AsFakeDevice(handle) ? SoftwareDevice() : handle, attributes);
}

GLenum GetGLError() {
  const auto pending = TakeGLError();
  return pending ? *pending : gGetGLError();
}

const GLubyte* GetString(GLenum name) {
  const auto answer = gAnswers.find(name);
  if (answer == gAnswers.end()) return gGetString(name);
  return reinterpret_cast<const GLubyte*>(answer->second.c_str());
}

// False if there is no scripted answer.
bool GiveNumber(GLenum name, GLint* out) {
  const auto answer = gAnswers.find(name);
  if (answer == gAnswers.end()) return false;
  if (answer->second.size() != sizeof *out)
    Refuse(kAnswersVariable, answer->second, "isn't a number of 32 bits");
  std::memcpy(out, answer->second.data(), sizeof *out);
  return true;
}

void GetIntegerv(GLenum name, GLint* out) {
  if (!GiveNumber(name, out)) gGetIntegerv(name, out);
}

void GetProgramiv(GLenum target, GLenum name, GLint* out) {
  if (!GiveNumber(name, out)) gGetProgramiv(target, name, out);
}

// Gives our function and keeps Mesa's, which it calls.
template <class Function>
void* PutBefore(Function*& mesas, void* mesa, Function* ours) {
  mesas = reinterpret_cast<Function*>(mesa);
  return reinterpret_cast<void*>(ours);
}

// Our function of this name, or Mesa's if we have none.
void* BehindWrapper(const std::string& name, void* mesa) {
  if (name == "eglQueryDevicesEXT") return PutBefore(gQueryDevices, mesa, &QueryDevices);
  if (name == "eglQueryDeviceStringEXT") return PutBefore(gQueryDeviceString, mesa, &QueryDeviceString);
  if (name == "glGetError") return PutBefore(gGetGLError, mesa, &GetGLError);
  if (name == "glGetString") return PutBefore(gGetString, mesa, &GetString);
  if (name == "glGetIntegerv") return PutBefore(gGetIntegerv, mesa, &GetIntegerv);
  if (name == "glGetProgramivARB") return PutBefore(gGetProgramiv, mesa, &GetProgramiv);
  return mesa;
}

template <auto* declared>
void* Wrap(const char* name, const char* form, void* mesa) {
  const auto real = reinterpret_cast<decltype(declared)>(BehindWrapper(name, mesa));
  return reinterpret_cast<void*>(Wrapped<declared>::Around(name, form, real));
}

void* GetProcAddress(const char* name) {
  void* mesa = gMesa.getProcAddress(name);
  if (!mesa) return nullptr;
#define RIG_WRAP(call, form) \
  if (std::strcmp(name, #call) == 0) return Wrap<&::call>(#call, form, mesa);
  RIG_EGL_CALLS(RIG_WRAP)
  RIG_GL_CALLS(RIG_WRAP)
#undef RIG_WRAP
  return mesa;
}

// For what libglvnd doesn't know by name.
void* GetDispatchAddress(const char* name) {
  if (std::strcmp(name, "eglQueryDeviceBinaryEXT") == 0) return reinterpret_cast<void*>(&QueryDeviceBinary);
  return gMesa.getDispatchAddress(name);
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
  imports->getPlatformDisplay = Wrapped<&::eglGetPlatformDisplay>::Around(
      "eglGetPlatformDisplay", "e device p > display", &GetPlatformDisplay);
  imports->getProcAddress = &GetProcAddress;
  imports->getDispatchAddress = &GetDispatchAddress;
  // Mesa would write itself into libglvnd's entry points and be called past the wrappers.
  imports->isPatchSupported = nullptr;
  imports->initiatePatch = nullptr;
  imports->releasePatch = nullptr;
  return EGL_TRUE;
}

}  // namespace
}  // namespace rig

#pragma GCC visibility push(default)

// What libglvnd calls, once, when it loads the vendor.
extern "C" EGLBoolean __egl_Main(std::uint32_t version, const __EGLapiExports* exports,
                                 __EGLvendorInfo* vendor, __EGLapiImports* imports) {
  rig::LoadFaults();
  rig::LoadFakeDevices();
  rig::gAnswers = rig::ParseAnswers(rig::kAnswersVariable, rig::Setting(rig::kAnswersVariable), "gl");
  const auto start = rig::Wrapped<&::__egl_Main>::Around("__egl_Main", "", &rig::StartVendor);
  return start(version, exports, vendor, imports);
}

#pragma GCC visibility pop
