// Libraries of the system that are loaded at run time, so that a machine without them still starts the
// program.
#ifndef KGX_SHAREDLIBRARY_H_
#define KGX_SHAREDLIBRARY_H_

namespace KGX {

// A library stays loaded until the process ends: drivers don't survive being unloaded.
class SharedLibrary {
 public:
  // Loads the library of that file name; IsLoaded tells whether that worked.
  explicit SharedLibrary(const char* fileName);

  bool IsLoaded() const { return fHandle != nullptr; }

  // The address of an exported function, or null; null also if the library isn't loaded.
  void* Find(const char* symbol) const;

 private:
  void* fHandle;
};

// The file name under which this platform knows the OpenCL loader.
extern const char* const kOpenCLLibrary;

}  // namespace KGX

#endif  // KGX_SHAREDLIBRARY_H_
