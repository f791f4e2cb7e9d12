#include "sharedlibrary.h"

#include <dlfcn.h>

namespace KGX {

const char* const kOpenCLLibrary = "libOpenCL.so.1";

SharedLibrary::SharedLibrary(const char* fileName) : fHandle(dlopen(fileName, RTLD_NOW | RTLD_LOCAL)) {}

void* SharedLibrary::Find(const char* symbol) const {
  return fHandle != nullptr ? dlsym(fHandle, symbol) : nullptr;
}

}  // namespace KGX
