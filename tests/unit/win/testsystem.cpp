#include "../testsystem.h"

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>
#include <shlobj.h>
#include <windows.h>

#include <cstdlib>
#include <ctime>

const unsigned kStartsAtOnce = 1;  // Wine takes long for one
const char kCarriageReturn[] = "\r";
const std::uint32_t kNoSuchFile = ERROR_FILE_NOT_FOUND;
const std::uint32_t kIsADirectory = ERROR_ACCESS_DENIED;
const std::uint32_t kBadName = ERROR_INVALID_NAME;
const std::uint32_t kBadHandle = ERROR_INVALID_HANDLE;

namespace {

boost::filesystem::path Desktop() { return boost::filesystem::path(std::getenv("TEST_PROFILE")) / "Desktop"; }

// The desktop folder is a value in the user's registry, which only a session made for tests lets a variable
// decide.
class NeedsDesktopOfItsOwn : public testing::Environment {
  void SetUp() override {
    PWSTR desktop = nullptr;
    SHGetKnownFolderPath(FOLDERID_Desktop, 0, nullptr, &desktop);
    const bool isOurs = desktop != nullptr && desktop == Desktop();
    CoTaskMemFree(desktop);
    if (!isOurs)
      GTEST_SKIP() << "the desktop folder isn't %TEST_PROFILE%\\Desktop, and the user's own settings and log "
                      "aren't to be touched";
  }
};

}  // namespace

void UseAsUserDirectory(const std::string& folder) {
  _putenv_s("TEST_PROFILE", folder.c_str());
  boost::filesystem::create_directory(Desktop());
  testing::AddGlobalTestEnvironment(new NeedsDesktopOfItsOwn);
}

void UseForTemporaryFiles(const std::string& folder) { _putenv_s("TMP", folder.c_str()); }

void SetZone(const char* zone) {
  _putenv_s("TZ", zone);
  _tzset();
}

std::array<ztutil::NativeHandle, 2> MakePipe() {
  HANDLE in = INVALID_HANDLE_VALUE;
  HANDLE out = INVALID_HANDLE_VALUE;
  constexpr DWORD kRoom = 65536;  // as much as on other systems
  CreatePipe(&in, &out, nullptr, kRoom);
  return {reinterpret_cast<ztutil::NativeHandle>(in), reinterpret_cast<ztutil::NativeHandle>(out)};
}

void UseAsStandardInput(ztutil::NativeHandle handle) {
  SetStdHandle(STD_INPUT_HANDLE, reinterpret_cast<HANDLE>(handle));
}

std::string StateOf(ztutil::NativeHandle handle) {
  DWORD flags = 0;
  if (!GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags)) return "closed";
  return (flags & HANDLE_FLAG_INHERIT) == 0 ? "own" : "inherited";
}

// Not told literally, since Wine has texts of its own.
std::string SystemText(std::uint32_t code) {
  char text[512] = "";
  FormatMessageA(FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 0, text,
                 sizeof text, nullptr);
  return text;
}
