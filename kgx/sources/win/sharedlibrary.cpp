#include "sharedlibrary.h"

#include <windows.h>

namespace KGX {

const char* const kOpenCLLibrary = "OpenCL.dll";

// Not from the current directory or the path, where anybody may have put a file of that name.
SharedLibrary::SharedLibrary(const char* fileName)
    : fHandle(LoadLibraryExA(fileName, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS)) {}

void* SharedLibrary::Find(const char* symbol) const {
  return fHandle != nullptr ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(fHandle), symbol))
                            : nullptr;
}

}  // namespace KGX
