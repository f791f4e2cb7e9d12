// EGL's devices as display devices.
#ifndef KGX_DISPLAYDEVICES_H_
#define KGX_DISPLAYDEVICES_H_

#include "libegl.h"

#include <kgx/context.h>

#include <vector>

namespace KGX::OGL {

struct EGLDisplayDevice {
  DisplayDeviceKey key;
  EGLDeviceEXT device;
  bool isSoftware = false;  // renders on the CPU, for want of hardware
};

// The hardware in the order of ListAdapters, what the system doesn't know behind it, and then software.
// Throws LogicalException if the driver refuses to list its devices, or tells of more than there can be.
std::vector<EGLDisplayDevice> FindDisplayDevices();

}  // namespace KGX::OGL

#endif  // KGX_DISPLAYDEVICES_H_
