// Earlier answers, and which drivers have misbehaved: one file for a user, or for a host that names a folder.
#ifndef GPUPROWLER_MEMORY_H_
#define GPUPROWLER_MEMORY_H_

#include <gpuprowler/answer.h>

#include <optional>
#include <string>
#include <vector>

namespace gpuprowler {

// A driver that isn't loaded for a while.
struct SetAside {
  std::string fingerprint;  // FingerprintOf it
  Interface interface = Interface::kOpenGL;
  std::string manifest;  // as the next two, for people
  Behaviour behaviour = Behaviour::kUnknown;
  std::string question;
  std::string since;  // "2026-11-22T05:29:05Z"
};

// The folder where this user's memory is kept; empty if there can be none.
std::string UsersMemoryFolder();

// A file that is damaged, somebody else's or of a later version is as none; what can't be written isn't, and
// nobody is told. Several processes may use one folder: what one writes another reads whole or not at all.
// Nothing throws but std::bad_alloc.
class Memory {
 public:
  // An empty folder keeps nothing.
  explicit Memory(std::string folder);

  // An answer that isn't older than 7 days, and is marked as remembered. Its runs have no lines.
  std::optional<Answer> Recall(const std::string& fingerprint) const;

  // The latest few are kept; of those that say nothing about the machine, as the prober didn't start or the
  // run was interrupted, none.
  void Keep(const std::string& fingerprint, const Answer& answer);

  // Those that aren't older than 7 days, the latest first.
  std::vector<SetAside> GetSetAside() const;
  void Put(const SetAside& driver);
  void Drop(const std::string& driversFingerprint);

  // Of the drivers that were set aside those whose manifest contains that text, of answers all. How many
  // drivers these were.
  std::size_t Forget(const std::string& manifest);

 private:
  const std::string fFolder;
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_MEMORY_H_
