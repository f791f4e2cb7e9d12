// Which file the dynamic linker would load, without loading it.
#ifndef GPUPROWLER_LIBRARYFINDER_H_
#define GPUPROWLER_LIBRARYFINDER_H_

#include "system.h"

#include <string>
#include <string_view>

namespace gpuprowler {

// By LD_LIBRARY_PATH, the linker's cache and its standard folders. The cache is read, since folders of
// /etc/ld.so.conf.d, where drivers like to stand, are known from it alone. What programs and libraries bring
// of paths of their own (RUNPATH) isn't looked at, nor are folders for newer processors (glibc-hwcaps): no
// driver is known to stand in one.
class LibraryFinder {
 public:
  // The system must outlive it.
  explicit LibraryFinder(const System& system);

  // An empty text where there is none. A name with a slash is a path.
  std::string Find(const std::string& name) const;

 private:
  bool IsFile(const std::string& path) const;

  const System& fSystem;
  const std::string fCache;
};

// The path that a cache of glibc's linker (/etc/ld.so.cache) has for a library of this architecture; an empty
// text where it has none. Any bytes may come in.
std::string PathInCache(std::string_view cache, std::string_view name);

}  // namespace gpuprowler

#endif  // GPUPROWLER_LIBRARYFINDER_H_
