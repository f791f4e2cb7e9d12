// GL contexts over WGL, on windows that are never shown.
#include "libopengl.h"
#include "openglplatform.h"

#include <kgx/exception.h>

#include <imm.h>

#include <cstdint>
#include <string>

namespace KGX::OGL::Platform {

namespace {

constexpr char kWindowClass[] = "KGXOffscreen";

struct State {
  bool isInitialized = false;
  std::vector<DisplayDeviceKey> keys;
  std::size_t primary = 0;
};

State& TheState() {
  static State* const state = new State;  // outlives the statics that may hold contexts
  return *state;
}

// The devices that show a part of the desktop: a window can be on no other.
void FindDisplayDevices(State& state) {
  DISPLAY_DEVICEA device{};
  device.cb = sizeof device;
  for (DWORD index = 0; EnumDisplayDevicesA(nullptr, index, &device, 0); ++index) {
    if (!(device.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP)) continue;
    if (device.StateFlags & DISPLAY_DEVICE_MIRRORING_DRIVER) continue;  // repeats another device's picture
    if (device.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) state.primary = state.keys.size();
    state.keys.push_back({device.DeviceName, device.DeviceString, device.DeviceID});
  }
}

void RegisterWindowClass() {
  WNDCLASSA windowClass{};
  windowClass.style = CS_OWNDC;
  windowClass.lpfnWndProc = DefWindowProcA;
  windowClass.hInstance = GetModuleHandleA(nullptr);
  windowClass.lpszClassName = kWindowClass;
  if (RegisterClassA(&windowClass) == 0) throw LogicalException(WGLFailure("RegisterClass"));
}

// Where the device's part of the desktop begins.
POINTL Position(const DisplayDeviceKey& device) {
  DEVMODEA mode{};
  mode.dmSize = sizeof mode;
  if (!EnumDisplaySettingsA(device.deviceName.c_str(), ENUM_CURRENT_SETTINGS, &mode))
    throw LogicalException(WGLFailure("EnumDisplaySettings"));
  return mode.dmPosition;
}

// A window at that place, and so on the device there. Nobody reads its messages.
class HiddenWindow {
 public:
  explicit HiddenWindow(const POINTL& position)
      : fWindow(CreateWindowExA(0, kWindowClass, "", WS_POPUP | WS_CLIPCHILDREN | WS_CLIPSIBLINGS, position.x,
                                position.y, 1, 1, nullptr, nullptr, GetModuleHandleA(nullptr), nullptr)) {
    if (fWindow == nullptr) throw LogicalException(WGLFailure("CreateWindowEx"));
  }
  ~HiddenWindow() { DestroyWindow(fWindow); }
  HiddenWindow(const HiddenWindow&) = delete;
  HiddenWindow& operator=(const HiddenWindow&) = delete;

  // The window's own, which needn't be released.
  HDC DeviceContext() const { return GetDC(fWindow); }

  // To no longer get what is sent to all windows, whose sender waits for each. The device stays the same.
  void LeaveDesktop() const {
    SetParent(fWindow, HWND_MESSAGE);
    MSG message;
    PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE);  // answers what has been sent until now
  }

 private:
  HWND const fWindow;
};

void ChoosePixelFormatFor(HDC deviceContext) {
  PIXELFORMATDESCRIPTOR format{};
  format.nSize = sizeof format;
  format.nVersion = 1;
  format.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
  format.iPixelType = PFD_TYPE_RGBA;
  format.cColorBits = 32;
  const int number = ChoosePixelFormat(deviceContext, &format);
  if (number == 0) throw LogicalException(WGLFailure("ChoosePixelFormat"));
  if (!SetPixelFormat(deviceContext, number, &format)) throw LogicalException(WGLFailure("SetPixelFormat"));
}

class WGLNativeContext : public NativeContext {
 public:
  explicit WGLNativeContext(const DisplayDeviceKey& device)
      : fWindow(Position(device)), fDeviceContext(fWindow.DeviceContext()) {
    ChoosePixelFormatFor(fDeviceContext);
    // Without attributes a driver gives its newest compatibility profile.
    fContext = WGL().wglCreateContext(fDeviceContext);
    if (fContext == nullptr) throw LogicalException(WGLFailure("wglCreateContext"));
    fWindow.LeaveDesktop();
  }

  ~WGLNativeContext() override { WGL().wglDeleteContext(fContext); }

  void MakeCurrent() override { Switch(fDeviceContext, fContext); }

  void Release() override { Switch(nullptr, nullptr); }

 private:
  static void Switch(HDC deviceContext, HGLRC context) {
    HDC const formerDeviceContext = WGL().wglGetCurrentDC();
    HGLRC const formerContext = WGL().wglGetCurrentContext();
    if (WGL().wglMakeCurrent(deviceContext, context)) return;
    const std::string failure = WGLFailure("wglMakeCurrent");
    WGL().wglMakeCurrent(formerDeviceContext, formerContext);  // a refusal leaves none current
    throw LogicalException(failure);
  }

  const HiddenWindow fWindow;
  HDC const fDeviceContext;
  HGLRC fContext = nullptr;
};

}  // namespace

void Initialize() {
  State& state = TheState();
  if (state.isInitialized) return;
  WGL();
  ImmDisableIME(0);  // else the thread's first window brings another one along, which stays on the desktop
  RegisterWindowClass();
  FindDisplayDevices(state);
  state.isInitialized = true;
}

bool IsInitialized() { return TheState().isInitialized; }

const std::vector<DisplayDeviceKey>& DisplayDevices() { return TheState().keys; }

bool IsOffered(std::size_t) { return true; }

std::size_t PrimaryDisplayDevice() { return TheState().primary; }

std::unique_ptr<NativeContext> CreateContext(const DisplayDeviceKey& device) {
  return std::make_unique<WGLNativeContext>(device);
}

void* FunctionAddress(const char* name) {
  void* const address = reinterpret_cast<void*>(WGL().wglGetProcAddress(name));
  // Some drivers answer with small numbers in place of null, all with null for what the library exports.
  const auto number = reinterpret_cast<std::intptr_t>(address);
  return number >= -1 && number <= 3 ? ExportedFunction(name) : address;
}

}  // namespace KGX::OGL::Platform
