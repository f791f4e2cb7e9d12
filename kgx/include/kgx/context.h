// GL contexts and the display devices that they are made on. Used by one thread at a time.
#ifndef KGX_CONTEXT_H_
#define KGX_CONTEXT_H_

#include <memory>
#include <string>

namespace KGX::OGL {

namespace Platform {
class NativeContext;
}

class Library {
 public:
  struct InitOptions {};

  // Initialises OpenGL for the process: loads the system's GL library and finds the display devices. Throws
  // LogicalException where there is no library or no driver; then there are 0 display devices.
  static void Initialize(const InitOptions& options);
};

// What a display device is known by.
struct DisplayDeviceKey {
  std::string deviceName;    // the system's name of the device, for example "/dev/dri/card0"
  std::string deviceString;  // the adapter's marketing name
  std::string displayID;     // where the device sits, for example its PCI slot
};

class Context {
 public:
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  virtual ~Context();

  // Makes this the thread's current context. Throws LogicalException if the driver refuses, and then the
  // former context is still current.
  void makeCurrent();

  // The thread's current context, or null.
  static Context* Current();

  // Leaves the thread without a current context. Throws LogicalException if the driver refuses.
  static void ReleaseCurrent();

  // How many display devices there are: 0 before, and after a failed, Library::Initialize.
  static unsigned NumDisplayDevice();

  // Fills `key` with the device at `index`. False, and `key` untouched, when there is none. A device that
  // renders in software stands behind the others, and is there only if none of them gave a context when last
  // asked for one: whoever makes contexts takes the devices in their order.
  static bool DisplayDevice(unsigned index, DisplayDeviceKey& key);

  // The device that the machine starts up with, or else the first; the software device where no other gives a
  // context. Throws LogicalException when there is none.
  static DisplayDeviceKey PrimaryDisplayDevice();

 protected:
  Context() = default;

 private:
  virtual void DoMakeCurrent() = 0;
  virtual void DoReleaseCurrent() = 0;
};

// A compatibility-profile context with no window.
class ContextOffscreen : public Context {
 public:
  // Throws LogicalException when none can be made on that device. The new context isn't made current.
  explicit ContextOffscreen(const DisplayDeviceKey& device);
  ~ContextOffscreen() override;

 private:
  void DoMakeCurrent() override;
  void DoReleaseCurrent() override;

  std::unique_ptr<Platform::NativeContext> fNative;
};

// Remembers the current context and, if `restore` is true, puts it back at its end, or leaves none current if
// there was none. The remembered context must live that long. What putting it back throws is swallowed.
class ScopedContextWrapper {
 public:
  explicit ScopedContextWrapper(bool restore);
  ~ScopedContextWrapper();
  ScopedContextWrapper(const ScopedContextWrapper&) = delete;
  ScopedContextWrapper& operator=(const ScopedContextWrapper&) = delete;

 private:
  Context* const fFormer;
  const bool fRestore;
};

}  // namespace KGX::OGL

#endif  // KGX_CONTEXT_H_
