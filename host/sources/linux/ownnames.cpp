#include "tell/privacy.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace gpuprowler {

namespace {

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

// A home that is a link is known by what it leads to as well.
void AddHome(std::string home, std::vector<std::string>& homes) {
  while (!home.empty() && home.back() == '/') home.pop_back();
  if (home.empty()) return;
  std::error_code error;
  const std::string target = std::filesystem::canonical(home, error).string();
  homes.push_back(home);
  if (!error && target != home && target != "/") homes.push_back(target);
}

void AddAccount(OwnNames& names) {
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  if (found == nullptr) return;
  AddHome(found->pw_dir, names.homes);
  names.users.emplace_back(found->pw_name);
}

}  // namespace

OwnNames GetOwnNames() {
  OwnNames names;
  AddHome(Variable("HOME"), names.homes);
  AddAccount(names);
  for (const char* const variable : {"USER", "LOGNAME", "SUDO_USER"})
    names.users.push_back(Variable(variable));
  char host[256] = "";
  gethostname(host, sizeof host - 1);
  names.hosts = {host, std::string(host).substr(0, std::string(host).find('.'))};
  return names;
}

}  // namespace gpuprowler
