#include "tell/homefolder.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace gpuprowler {

namespace {

std::string FolderOfAccount() {
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

}  // namespace

// A home that is a link is known by what it leads to as well.
std::vector<std::string> HomeFolders() {
  const char* const variable = std::getenv("HOME");
  std::vector<std::string> homes;
  for (std::string home : {variable != nullptr ? std::string(variable) : std::string(), FolderOfAccount()}) {
    while (!home.empty() && home.back() == '/') home.pop_back();
    if (home.empty()) continue;
    std::error_code error;
    const std::string target = std::filesystem::canonical(home, error).string();
    homes.push_back(home);
    if (!error && target != home && target != "/") homes.push_back(target);
  }
  return homes;
}

}  // namespace gpuprowler
