// The line that tells how a run goes on.
#ifndef PROWL_PROGRESS_H_
#define PROWL_PROGRESS_H_

#include "outlet.h"

#include <cstddef>
#include <optional>
#include <string>

namespace prowl {

// Shows it on standard error, if somebody looks at that, and takes it away at its end. A terminal that is
// stopped holds nobody up.
class Progress {
 public:
  Progress();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(double seconds, const std::string& question);

 private:
  void Put(const std::string& text);

  std::optional<Outlet> fOutlet;  // if it is shown
  std::size_t fWidth = 0;         // of what stands there
};

}  // namespace prowl

#endif  // PROWL_PROGRESS_H_
