#include "openglplatform.h"

#include <kgx/context.h>
#include <kgx/exception.h>

namespace KGX::OGL {

namespace {

thread_local Context* gCurrent = nullptr;

}  // namespace

void Library::Initialize(const InitOptions&) { Platform::Initialize(); }

Context::~Context() {
  if (gCurrent == this) gCurrent = nullptr;
}

void Context::makeCurrent() {
  DoMakeCurrent();
  gCurrent = this;
}

Context* Context::Current() { return gCurrent; }

void Context::ReleaseCurrent() {
  if (gCurrent == nullptr) return;
  gCurrent->DoReleaseCurrent();
  gCurrent = nullptr;
}

unsigned Context::NumDisplayDevice() { return static_cast<unsigned>(Platform::DisplayDevices().size()); }

bool Context::DisplayDevice(unsigned index, DisplayDeviceKey& key) {
  if (index >= NumDisplayDevice() || !Platform::IsOffered(index)) return false;
  key = Platform::DisplayDevices()[index];
  return true;
}

DisplayDeviceKey Context::PrimaryDisplayDevice() {
  if (NumDisplayDevice() == 0) throw LogicalException("no display device");
  return Platform::DisplayDevices()[Platform::PrimaryDisplayDevice()];
}

ContextOffscreen::ContextOffscreen(const DisplayDeviceKey& device)
    : fNative(Platform::CreateContext(device)) {}

ContextOffscreen::~ContextOffscreen() {
  if (Current() != this) return;
  try {
    ReleaseCurrent();
  } catch (...) {
  }
}

void ContextOffscreen::DoMakeCurrent() { fNative->MakeCurrent(); }

void ContextOffscreen::DoReleaseCurrent() { fNative->Release(); }

ScopedContextWrapper::ScopedContextWrapper(bool restore) : fFormer(Context::Current()), fRestore(restore) {}

ScopedContextWrapper::~ScopedContextWrapper() {
  if (!fRestore || Context::Current() == fFormer) return;
  try {
    if (fFormer != nullptr) {
      fFormer->makeCurrent();
    } else {
      Context::ReleaseCurrent();
    }
  } catch (...) {
  }
}

}  // namespace KGX::OGL
