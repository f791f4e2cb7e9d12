#include "libraryfinder.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace gpuprowler {

namespace {

constexpr std::size_t kCacheLimit = 16777216;

// The records of glibc's sysdeps/generic/dl-cache.h. All offsets count from the header.
struct CacheHeader {
  char magic[20];
  std::uint32_t entries;
  std::uint32_t stringBytes;
  unsigned char flags[4];
  std::uint32_t extensions;
  std::uint32_t unused[3];
};
struct CacheEntry {
  std::uint32_t kind;
  std::uint32_t name;
  std::uint32_t path;
  std::uint32_t kernel;
  std::uint64_t processor;  // 0 for one that runs on all
};
constexpr char kCacheMagic[] = "glibc-ld.so.cache1.1";
constexpr std::uint32_t kX8664Library = 0x0303;

template <class Record>
bool Read(std::string_view bytes, std::size_t offset, Record& record) {
  if (offset + sizeof record > bytes.size()) return false;
  std::memcpy(&record, bytes.data() + offset, sizeof record);
  return true;
}

std::string_view TextAt(std::string_view bytes, std::size_t offset) {
  bytes.remove_prefix(std::min(offset, bytes.size()));
  return bytes.substr(0, bytes.find('\0'));
}

}  // namespace

std::string PathInCache(std::string_view cache, std::string_view name) {
  // An older format may stand in front of it.
  const std::size_t begin = cache.find(kCacheMagic);
  CacheHeader header;
  if (begin == std::string::npos || !Read(cache, begin, header)) return {};
  cache.remove_prefix(begin);
  CacheEntry entry;
  for (std::size_t i = 0; i < header.entries; ++i) {
    if (!Read(cache, sizeof header + i * sizeof entry, entry)) break;
    if (entry.kind == kX8664Library && entry.processor == 0 && TextAt(cache, entry.name) == name)
      return std::string(TextAt(cache, entry.path));
  }
  return {};
}

LibraryFinder::LibraryFinder(const System& system)
    : fSystem(system), fCache(KGX::ReadSystemFile(system.At("/etc/ld.so.cache"), kCacheLimit)) {}

bool LibraryFinder::IsFile(const std::string& path) const {
  struct stat status;
  return stat(fSystem.At(path).c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string LibraryFinder::Find(const std::string& name) const {
  if (name.empty()) return {};
  if (name.find('/') != std::string::npos) return IsFile(name) ? name : "";

  if (const std::string* const folders = fSystem.Variable("LD_LIBRARY_PATH"); folders && !folders->empty()) {
    for (std::size_t begin = 0; begin <= folders->size();) {
      const std::size_t end = std::min(folders->find_first_of(":;", begin), folders->size());
      const std::string folder = folders->substr(begin, end - begin);
      std::string path = (folder.empty() ? "." : folder) + "/" + name;
      if (IsFile(path)) return path;
      begin = end + 1;
    }
  }
  if (std::string path = PathInCache(fCache, name); !path.empty() && IsFile(path)) return path;
  for (const char* const folder : {"/lib/x86_64-linux-gnu/", "/usr/lib/x86_64-linux-gnu/", "/lib64/",
                                   "/usr/lib64/", "/lib/", "/usr/lib/"})
    if (IsFile(folder + name)) return folder + name;
  return {};
}

}  // namespace gpuprowler
