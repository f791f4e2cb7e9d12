// What remembering needs of the operating system. Each platform's folder defines it once.
#ifndef GPUPROWLER_MEMORYFILE_H_
#define GPUPROWLER_MEMORYFILE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace gpuprowler::platform {

// The folder in which programs keep what they have learnt for this user; empty where there is none.
std::string StateFolder();

// The content of the folder's memory.json; empty if there is none, if folder or file are another user's or
// lead elsewhere, or if the file is larger than that.
std::string ReadMemoryFile(const std::string& folder, std::size_t mostBytes);

// Hands the same to `change` and replaces the file by what that gives, as a whole or not at all. No other
// process that uses this comes between; a dead one holds nobody up, one that lives for a second at most, and
// then nothing is changed. Makes the folder if there is none, for this user alone, and keeps memory.lock in
// it. False if nothing was changed.
bool ChangeMemoryFile(const std::string& folder, std::size_t mostBytes,
                      const std::function<std::string(const std::string& content)>& change);

struct FileFacts {
  std::string path;
  std::uint64_t bytes = 0;
  std::int64_t modified = 0;  // in a unit of the system's
};

// Of a program that is named by a path, or looked for on PATH: of its name alone if it isn't found.
FileFacts FactsOfProgram(const std::string& program);

}  // namespace gpuprowler::platform

#endif  // GPUPROWLER_MEMORYFILE_H_
