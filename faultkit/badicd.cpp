// An OpenCL driver that crashes while the loader loads it, which is before any layer is asked.

#include "crash.h"

namespace {

__attribute__((constructor)) void Crash() { rig::AccessBadAddress(); }

}  // namespace
