#include "system/platform.h"

#include <kgx/opengltypes.h>
#include <ztutil/gpuimpl.h>

#include <stdexcept>

void GLGPU::GLGetProgramivARB(std::int32_t name, std::int32_t* out) const {
  Impl().GLGetProgramivARB(KGX::OGL::kGL_FRAGMENT_PROGRAM_ARB, name, out);
}

std::uint64_t GetInstalledRAM() {
  const std::uint64_t bytes = ztutil::platform::InstalledRAM();
  if (bytes == 0) throw std::runtime_error("GlobalMemoryStatusEx failed");
  return bytes;
}
