#include "displaydevices.h"

#include "adaptername.h"
#include "exception.h"
#include "extensionlist.h"

#include <algorithm>
#include <string>

namespace KGX::OGL {

namespace {

// The device file, or an empty text if the device has none or its driver doesn't tell.
std::string DeviceFile(EGLDeviceEXT device, const char* extensions) {
  const struct {
    const char* extension;
    EGLint name;
  } sources[] = {
      {"EGL_EXT_device_drm", EGL_DRM_DEVICE_FILE_EXT},
      {"EGL_EXT_device_drm_render_node", EGL_DRM_RENDER_NODE_FILE_EXT},
  };
  for (const auto& source : sources) {
    if (!HasExtension(extensions, source.extension)) continue;
    const char* const file = EGL().eglQueryDeviceStringEXT(device, source.name);
    if (file != nullptr && *file != '\0') return file;
  }
  return {};
}

EGLDisplayDevice HardwareDevice(EGLDeviceEXT device, const std::string& file, std::size_t index) {
  if (file.empty()) {
    const std::string name = "EGL device " + std::to_string(index);
    return {{name, name, ""}, device, false};
  }
  const std::string directory = AdapterDirectory(file);
  if (directory.empty()) return {{file, file, ""}, device, false};
  return {{file, AdapterName(directory), AdapterSlot(directory)}, device, IsBootAdapter(directory)};
}

}  // namespace

std::vector<EGLDisplayDevice> FindDisplayDevices() {
  EGLint count = 0;
  if (!EGL().eglQueryDevicesEXT(0, nullptr, &count)) throw LogicalException(EGLFailure("eglQueryDevicesEXT"));
  if (count <= 0) return {};
  std::vector<EGLDeviceEXT> devices(static_cast<std::size_t>(count));
  if (!EGL().eglQueryDevicesEXT(count, devices.data(), &count)) {
    throw LogicalException(EGLFailure("eglQueryDevicesEXT"));
  }
  devices.resize(std::min(devices.size(), static_cast<std::size_t>(count)));

  std::vector<EGLDisplayDevice> hardware;
  std::vector<EGLDisplayDevice> software;
  for (std::size_t index = 0; index < devices.size(); ++index) {
    const char* const extensions = EGL().eglQueryDeviceStringEXT(devices[index], EGL_EXTENSIONS);
    if (HasExtension(extensions, "EGL_MESA_device_software")) {
      software.push_back({{"software", "Software renderer", ""}, devices[index], false});
      continue;
    }
    // Mesa lists every render node, those of another vendor's driver too. That vendor comes first in
    // libglvnd's order, and its device is the one that works.
    const EGLDisplayDevice device =
        HardwareDevice(devices[index], DeviceFile(devices[index], extensions), index);
    const bool isKnown = std::any_of(hardware.begin(), hardware.end(), [&](const EGLDisplayDevice& other) {
      return other.key.deviceName == device.key.deviceName;
    });
    if (!isKnown) hardware.push_back(device);
  }
  return hardware.empty() ? software : hardware;
}

}  // namespace KGX::OGL
