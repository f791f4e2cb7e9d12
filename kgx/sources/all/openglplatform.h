// What a platform gives to the GL layer: the GL library, the display devices, native contexts. Each
// platform's folder defines these functions once. All of them are called from one thread.
#ifndef KGX_OPENGLPLATFORM_H_
#define KGX_OPENGLPLATFORM_H_

#include <kgx/context.h>

#include <memory>
#include <vector>

namespace KGX::OGL::Platform {

// A context of the platform. It mustn't be current when it is destroyed.
class NativeContext {
 public:
  virtual ~NativeContext() = default;

  // Throws LogicalException if the driver refuses; the context that was current before then still is.
  virtual void MakeCurrent() = 0;

  // Leaves the thread without a current context. Throws as MakeCurrent.
  virtual void Release() = 0;
};

// Loads the GL library and finds the display devices. Throws LogicalException, and then there are no devices.
// After a success a further call does nothing.
void Initialize();

// True once Initialize has succeeded.
bool IsInitialized();

// In an order that is the same at each call. Empty before a successful Initialize.
const std::vector<DisplayDeviceKey>& DisplayDevices();

// False for a device of DisplayDevices that renders in software, if one in front of it gave a context when
// last asked for one.
bool IsOffered(std::size_t index);

// The place in DisplayDevices of the device that the machine starts up with; 0 where none stands out. Where a
// software device stands behind the others, it makes contexts to find out whether they are needed, and gives
// that one's place if they fail.
std::size_t PrimaryDisplayDevice();

// A compatibility-profile context with no window on one of DisplayDevices. Throws LogicalException.
std::unique_ptr<NativeContext> CreateContext(const DisplayDeviceKey& device);

// The address of a GL function, or null. An address is no proof that the driver has the function: dispatchers
// answer to every name.
void* FunctionAddress(const char* name);

}  // namespace KGX::OGL::Platform

#endif  // KGX_OPENGLPLATFORM_H_
