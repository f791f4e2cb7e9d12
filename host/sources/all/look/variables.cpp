#include "variables.h"

#include <algorithm>
#include <iterator>

namespace gpuprowler {

namespace {

// What their names begin with: families grow with each release of their library.
constexpr std::string_view kFamilies[] = {
    "LD_",                   // the dynamic linker: ld.so(8)
    "__EGL_",   "__GLVND_",  // libglvnd
    "OCL_ICD_", "OPENCL_",   // OpenCL's loaders: ocl-icd's libOpenCL(7), Khronos' README
    "EGL_",     "MESA_",    "LIBGL_",  "GALLIUM_",  // Mesa: docs/envvars.rst
    "DRI_",     "DRAW_",    "GBM_",    "LP_",      "ST_",    "NIR_",
    "TGSI_",    "VIRGL_",   "SVGA_",   "ZINK_",    "D3D12_",  // the same
    "AMD_",     "RADEON_",  "R600_",   "RADV_",    "INTEL_", "I915_",
    "NOUVEAU_", "RUSTICL_", "CLOVER_",  // the same
    "VK_",                              // Vulkan's loader, on which Zink stands
    "__GL_",    "__NV_",                // NVIDIA's OpenGL: README, "OpenGL Environment Variable Settings"
    "CUDA_",    "NVIDIA_",  // CUDA C++ Programming Guide, "CUDA Environment Variables"; the container toolkit
    "GPU_",     "HSA_",     "ROCR_",               // AMD's OpenCL and ROCm: "GPU isolation techniques"
    "NEO",      "IGC_",     "ZE_",     "ONEAPI_",  // Intel's compute runtime, compiler and oneAPI
    "POCL_",                                       // PoCL: "Environment variables"
    "RIG_",                                        // the drivers of this project's fault kit
};

}  // namespace

bool DriversObey(std::string_view name) {
  return std::any_of(std::begin(kFamilies), std::end(kFamilies),
                     [&](std::string_view family) { return name.substr(0, family.size()) == family; });
}

}  // namespace gpuprowler
