#include "displaydevices.h"

#include "adaptername.h"
#include "adaptertext.h"
#include "answerlimits.h"
#include "extensionlist.h"

#include <kgx/exception.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

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

// As NVIDIA's driver writes it elsewhere: "GPU-", and hexadecimal digits in groups. An empty text if the
// driver doesn't tell.
std::string DeviceUUID(EGLDeviceEXT device, const char* extensions) {
  if (!HasExtension(extensions, "EGL_EXT_device_persistent_id")) return {};
  const auto query =
      reinterpret_cast<PFNEGLQUERYDEVICEBINARYEXTPROC>(EGL().eglGetProcAddress("eglQueryDeviceBinaryEXT"));
  unsigned char bytes[16];
  EGLint size = 0;
  if (query == nullptr || !query(device, EGL_DEVICE_UUID_EXT, sizeof bytes, bytes, &size)) return {};
  if (size != sizeof bytes) return {};
  std::string uuid = "GPU";
  for (int index = 0; index < size; ++index) {
    char digits[4];
    const bool beginsGroup = index == 0 || index == 4 || index == 6 || index == 8 || index == 10;
    std::snprintf(digits, sizeof digits, beginsGroup ? "-%02x" : "%02x", bytes[index]);
    uuid += digits;
  }
  return uuid;
}

// An empty text if the system doesn't know the device. NVIDIA's driver needs no DRM files to work.
std::string DeviceDirectory(EGLDeviceEXT device, const std::string& file, const char* extensions) {
  std::string directory = file.empty() ? "" : AdapterDirectory(file);
  if (!directory.empty()) return directory;
  const std::string uuid = DeviceUUID(device, extensions);
  return uuid.empty() ? "" : AdapterDirectoryByUUID(uuid);
}

// What the driver calls a device that the system doesn't know.
std::string DriversName(EGLDeviceEXT device, const char* extensions) {
  if (!HasExtension(extensions, "EGL_EXT_device_query_name")) return {};
  const char* const name = EGL().eglQueryDeviceStringEXT(device, EGL_RENDERER_EXT);
  return name != nullptr ? ReportableName(name) : "";
}

EGLDisplayDevice HardwareDevice(EGLDeviceEXT device, const char* extensions, std::size_t index,
                                IdDatabases& databases) {
  const std::string file = DeviceFile(device, extensions);
  const std::string id = !file.empty() ? file : "EGL device " + std::to_string(index);
  const std::string directory = DeviceDirectory(device, file, extensions);
  if (!directory.empty())
    return {{id, AdapterName(directory, databases), AdapterSlot(directory)}, device, false};
  const std::string name = DriversName(device, extensions);
  return {{id, !name.empty() ? name : id, ""}, device, false};
}

// Devices of one name are joined with the adapter that comes last of that name, and so must come last in both
// lists.
void Sort(std::vector<EGLDisplayDevice>& devices) {
  const std::vector<AdapterPlace> adapters = ListAdapters();
  const auto rank = [&](const EGLDisplayDevice& device) {
    const auto place = std::find_if(adapters.begin(), adapters.end(), [&](const AdapterPlace& adapter) {
      return AdapterSlot(adapter.directory) == device.key.displayID;
    });
    return std::make_pair(device.isSoftware, place);
  };
  std::stable_sort(
      devices.begin(), devices.end(),
      [&](const EGLDisplayDevice& left, const EGLDisplayDevice& right) { return rank(left) < rank(right); });
}

}  // namespace

std::vector<EGLDisplayDevice> FindDisplayDevices() {
  EGLint count = 0;
  if (!EGL().eglQueryDevicesEXT(0, nullptr, &count)) throw LogicalException(EGLFailure("eglQueryDevicesEXT"));
  RequireAtMost(static_cast<std::size_t>(count), kMaxObjects, "eglQueryDevicesEXT");
  std::vector<EGLDeviceEXT> devices(static_cast<std::size_t>(count));
  if (!EGL().eglQueryDevicesEXT(count, devices.data(), &count)) {
    throw LogicalException(EGLFailure("eglQueryDevicesEXT"));
  }
  devices.resize(std::min(devices.size(), static_cast<std::size_t>(count)));

  IdDatabases databases;
  std::vector<EGLDisplayDevice> found;
  for (std::size_t index = 0; index < devices.size(); ++index) {
    const char* const extensions = EGL().eglQueryDeviceStringEXT(devices[index], EGL_EXTENSIONS);
    if (HasExtension(extensions, "EGL_MESA_device_software")) {
      found.push_back({{"software", "Software renderer", ""}, devices[index], true});
      continue;
    }
    // Mesa lists every render node, those of another vendor's driver too. That vendor comes first in
    // libglvnd's order, and its device is the one that works.
    const EGLDisplayDevice device = HardwareDevice(devices[index], extensions, index, databases);
    const bool isKnown = std::any_of(found.begin(), found.end(), [&](const EGLDisplayDevice& other) {
      return other.key.deviceName == device.key.deviceName;
    });
    if (!isKnown) found.push_back(device);
  }
  Sort(found);
  return found;
}

}  // namespace KGX::OGL
