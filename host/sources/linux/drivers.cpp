#include "drivers.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace gpuprowler {

namespace {

// A larger library is no loader: these have less than 0.2 MB.
constexpr std::size_t kLoaderLimit = 4194304;

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(':', begin), text.size());
    if (end > begin) parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

bool EndsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The files of a folder whose names end so, by name.
std::vector<std::string> FilesIn(const System& system, const std::string& folder, std::string_view end) {
  std::vector<std::string> files;
  for (const std::string& name : KGX::ListDirectory(system.At(folder)))
    if (EndsWith(name, end)) files.push_back(folder + (EndsWith(folder, "/") ? "" : "/") + name);
  std::sort(files.begin(), files.end());
  return files;
}

// An interface's library as a file. If it's a loader, the variables that this obeys and the folder that it
// was built to look into stand in it.
class LoaderFile {
 public:
  LoaderFile(const System& system, const Driver& file)
      : fSystem(system),
        fIsLarge(file.bytes > kLoaderLimit),
        fBytes(KGX::ReadSystemFile(system.At(file.path), kLoaderLimit)) {}

  // Whether the dynamic linker takes it for a library. A file that is none is an error to it, and not passed
  // over.
  bool IsLibrary() const { return fIsLarge || fBytes.rfind("\177ELF", 0) == 0; }

  bool Has(std::string_view text) const { return fBytes.find(text) != std::string::npos; }

  // What the variable is set to, if the loader obeys it.
  const std::string* Variable(const std::string& name) const {
    return Has(name) ? fSystem.Variable(name) : nullptr;
  }

  // The text that this is a part of.
  std::string TextAround(std::string_view part) const {
    const std::size_t found = fBytes.find(part);
    if (found == std::string::npos) return {};
    const std::size_t end = std::min(fBytes.find('\0', found), fBytes.size());
    const std::size_t before = fBytes.rfind('\0', found);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    return fBytes.substr(begin, end - begin);
  }

 private:
  const System& fSystem;
  const bool fIsLarge;
  const std::string fBytes;
};

// A driver by what the loader has been told of it.
Driver MakeDriver(const System& system, const LibraryFinder& finder, Interface interface,
                  const std::string& manifest, const std::string& library) {
  Driver driver;
  driver.interface = interface;
  driver.manifest = manifest;
  driver.library = library;
  driver.path = finder.Find(library);
  struct stat status;
  if (!driver.path.empty() && stat(system.At(driver.path).c_str(), &status) == 0) {
    driver.bytes = static_cast<std::uint64_t>(status.st_size);
    driver.modified = std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec;
  }
  return driver;
}

// What a vendor's manifest names, if libglvnd takes it.
std::string LibraryOfVendor(const std::string& manifest) {
  const auto document = nlohmann::json::parse(manifest, nullptr, false);
  const auto textAt = [](const nlohmann::json& object, const char* key) {
    return object.is_object() && object.contains(key) && object[key].is_string()
               ? object[key].get<std::string>()
               : "";
  };
  int major = 0;
  int minor = 0;
  std::sscanf(textAt(document, "file_format_version").c_str(), "%d.%d", &major, &minor);
  if (major != 1 || minor > 0 || !document.contains("ICD")) return {};
  return textAt(document["ICD"], "library_path");
}

std::vector<std::string> VendorManifests(const System& system, const LoaderFile& loader) {
  if (const std::string* const files = loader.Variable("__EGL_VENDOR_LIBRARY_FILENAMES"))
    return Split(*files);
  const std::string* const folders = loader.Variable("__EGL_VENDOR_LIBRARY_DIRS");
  std::vector<std::string> manifests;
  for (const std::string& folder : Split(folders ? *folders : loader.TextAround("/egl_vendor.d")))
    for (std::string& file : FilesIn(system, folder, ".json")) manifests.push_back(std::move(file));
  return manifests;
}

// What stands in an .icd file. Of several lines ocl-icd takes the first, and Khronos' loader all in one.
std::string LibraryOfICD(const System& system, const std::string& file, bool firstLine) {
  std::string library = KGX::ReadSystemFile(system.At(file));
  if (firstLine) library.erase(std::min(library.find('\n'), library.size()));
  if (EndsWith(library, "\n")) library.pop_back();
  return library;
}

// Calls add(manifest, library) for each driver that the loader looks for.
template <class Add>
void ForEachICD(const System& system, const LoaderFile& loader, Add add) {
  const bool isOCLICD = loader.Has("OPENCL_VENDOR_PATH");
  const auto addFolder = [&](const std::string& folder) {
    for (const std::string& file : FilesIn(system, folder, ".icd"))
      add(file, LibraryOfICD(system, file, isOCLICD));
  };
  if (const std::string* const libraries = loader.Variable("OCL_ICD_FILENAMES"))
    for (const std::string& library : Split(*libraries)) add("", library);

  std::string folder = loader.TextAround("/OpenCL/vendors");
  const std::string* const vendors = loader.Variable("OCL_ICD_VENDORS");
  if (!isOCLICD) return addFolder(vendors ? *vendors : folder);

  if (const std::string* const path = loader.Variable("OPENCL_VENDOR_PATH"); path && !path->empty())
    folder = *path;
  if (!vendors || vendors->empty()) return addFolder(folder);
  struct stat status;
  if (stat(system.At(*vendors).c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return addFolder(*vendors);
  if (!EndsWith(*vendors, ".icd")) return add("", *vendors);
  const std::string file = folder + "/" + *vendors;
  const bool isThere = vendors->find('/') == std::string::npos && !LibraryOfICD(system, file, true).empty();
  add(isThere ? file : *vendors, LibraryOfICD(system, isThere ? file : *vendors, true));
}

}  // namespace

Drivers FindOpenGLDrivers(const System& system, const LibraryFinder& finder) {
  constexpr Interface kInterface = Interface::kOpenGL;
  const Driver direct = MakeDriver(system, finder, kInterface, "", "libEGL.so.1");
  const LoaderFile loader(system, direct);
  if (!loader.IsLibrary()) return {};
  if (!loader.Has("/egl_vendor.d")) return {true, {direct}};

  Drivers drivers{true, {}};
  std::set<std::string> paths;  // one that it has loaded already libglvnd takes no second time
  for (const std::string& file : VendorManifests(system, loader)) {
    const std::string library = LibraryOfVendor(KGX::ReadSystemFile(system.At(file)));
    if (library.empty()) continue;
    Driver driver = MakeDriver(system, finder, kInterface, file, library);
    if (driver.path.empty() || paths.insert(KGX::ResolvedPath(system.At(driver.path))).second)
      drivers.list.push_back(std::move(driver));
  }
  return drivers;
}

Drivers FindOpenCLDrivers(const System& system, const LibraryFinder& finder) {
  constexpr Interface kInterface = Interface::kOpenCL;
  const Driver direct = MakeDriver(system, finder, kInterface, "", "libOpenCL.so.1");
  const LoaderFile loader(system, direct);
  if (!loader.IsLibrary()) return {};
  if (!loader.Has("/OpenCL/vendors")) return {true, {direct}};

  Drivers drivers{true, {}};
  ForEachICD(system, loader, [&](const std::string& file, const std::string& library) {
    if (!library.empty()) drivers.list.push_back(MakeDriver(system, finder, kInterface, file, library));
  });
  return drivers;
}

}  // namespace gpuprowler
