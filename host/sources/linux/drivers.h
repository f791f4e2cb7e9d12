// The drivers that the loaders of OpenGL and OpenCL would load, found as these find them.
#ifndef GPUPROWLER_DRIVERS_H_
#define GPUPROWLER_DRIVERS_H_

#include "libraryfinder.h"

#include <vector>

namespace gpuprowler {

// The drivers behind libEGL.so.1, in the order in which libglvnd asks them; and nothing where that library
// can't be loaded. Where it isn't libglvnd's it is the driver itself, without a manifest.
struct Drivers {
  bool hasLibrary = false;
  std::vector<Driver> list;
};
Drivers FindOpenGLDrivers(const System& system, const LibraryFinder& finder);

// The same behind libOpenCL.so.1, be it ocl-icd's, Khronos' or one like it. The order is by name, since these
// follow that of a folder's entries, or the GPUs that drivers tell of.
Drivers FindOpenCLDrivers(const System& system, const LibraryFinder& finder);

}  // namespace gpuprowler

#endif  // GPUPROWLER_DRIVERS_H_
