#include "extensionlist.h"

#include <string_view>

namespace KGX {

bool HasExtension(const char* list, const char* name) {
  std::string_view rest = list != nullptr ? list : "";
  const std::string_view wanted = name;
  while (!rest.empty()) {
    const std::string_view word = rest.substr(0, rest.find(' '));
    if (word == wanted) return true;
    rest.remove_prefix(word.size() < rest.size() ? word.size() + 1 : rest.size());
  }
  return false;
}

}  // namespace KGX
