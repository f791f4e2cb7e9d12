// The line that tells how a run goes on.
#ifndef PROWL_PROGRESS_H_
#define PROWL_PROGRESS_H_

#include "report.h"

#include <cstddef>
#include <string>

namespace prowl {

// Shows it on standard error, if somebody looks at that, and takes it away at its end.
class Progress {
 public:
  Progress();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(double seconds, const Report& report);

 private:
  void Put(const std::string& text);

  const bool fIsShown;
  std::size_t fWidth = 0;  // of what stands there
};

}  // namespace prowl

#endif  // PROWL_PROGRESS_H_
