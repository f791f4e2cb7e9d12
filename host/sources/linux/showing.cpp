#include "ask/showing.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace gpuprowler {

// A folder that is this user's alone.
class Showing::Files {
 public:
  Files() {
    std::error_code error;
    std::string pattern = (std::filesystem::temp_directory_path(error) / "gpuprowler-XXXXXX").string();
    if (error || mkdtemp(pattern.data()) == nullptr)
      throw std::runtime_error("drivers can't be hidden: there is no folder for temporary files: " +
                               (error ? error : std::error_code(errno, std::generic_category())).message());
    fFolder = pattern;
  }
  ~Files() {
    std::error_code ignored;
    std::filesystem::remove_all(fFolder, ignored);
  }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;

  std::string Path(const std::string& name = {}) const { return name.empty() ? fFolder : fFolder / name; }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream file(fFolder / name);
    if (!(file << text << std::flush))
      throw std::runtime_error("drivers can't be hidden: " + Path(name) + " can't be written");
  }

 private:
  std::filesystem::path fFolder;
};

// Libraries that are no loaders are known by their own names, and by no manifest.
bool CanBeHidden(const Driver& driver) {
  if (!driver.manifest.empty()) return true;
  return driver.interface == Interface::kOpenCL && driver.library != "libOpenCL.so.1";
}

Showing::Showing(const std::vector<Driver>& drivers) : fFiles(std::make_unique<Files>()) {
  std::string vendors;
  std::size_t count = 0;
  for (const Driver& driver : drivers) {
    if (!CanBeHidden(driver)) continue;
    if (driver.interface == Interface::kOpenGL)
      vendors += (vendors.empty() ? "" : ":") + driver.manifest;
    else
      fFiles->Write(std::to_string(100 + count++) + ".icd", driver.library + "\n");
  }
  // An empty list would be none. What the last two name would come on top.
  fChanges = {{"__EGL_VENDOR_LIBRARY_FILENAMES", vendors.empty() ? fFiles->Path("none.json") : vendors},
              {"OCL_ICD_VENDORS", fFiles->Path()},
              {"OCL_ICD_FILENAMES", std::nullopt},
              {"OPENCL_VENDOR_PATH", std::nullopt}};
}

Showing::~Showing() = default;

}  // namespace gpuprowler
