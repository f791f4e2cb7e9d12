// Has a child's loaders find some drivers of this machine, and no others.
#ifndef GPUPROWLER_SHOWING_H_
#define GPUPROWLER_SHOWING_H_

#include <ztutil/launcher.h>

#include <gpuprowler/answer.h>

#include <memory>
#include <vector>

namespace gpuprowler {

// Whether a loader can be told not to load it. Where an interface's library is itself the driver, and on
// Windows, nobody can.
bool CanBeHidden(const Driver& driver);

// What it makes for that is gone with it.
class Showing {
 public:
  // Of those that can be hidden these alone, in their order. Throws std::runtime_error with a sentence where
  // that can't be done.
  explicit Showing(const std::vector<Driver>& drivers);
  ~Showing();
  Showing(const Showing&) = delete;
  Showing& operator=(const Showing&) = delete;

  // To the child's environment, as long as this lives.
  const ztutil::EnvironmentChanges& GetChanges() const { return fChanges; }

 private:
  class Files;

  std::unique_ptr<Files> fFiles;
  ztutil::EnvironmentChanges fChanges;
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_SHOWING_H_
