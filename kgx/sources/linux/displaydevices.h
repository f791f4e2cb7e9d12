// EGL's devices as display devices.
#ifndef KGX_DISPLAYDEVICES_H_
#define KGX_DISPLAYDEVICES_H_

#include "context.h"
#include "libegl.h"

#include <vector>

namespace KGX::OGL {

struct EGLDisplayDevice {
  DisplayDeviceKey key;
  EGLDeviceEXT device;
  bool isBootDevice;  // the firmware's screen is on it
};

// All devices in EGL's order. A software renderer counts only where there is nothing else. Throws
// LogicalException if the driver refuses to list them.
std::vector<EGLDisplayDevice> FindDisplayDevices();

}  // namespace KGX::OGL

#endif  // KGX_DISPLAYDEVICES_H_
