#include "progress.h"

#include "hostplatform.h"

#include <ztutil/classicstream.h>
#include <ztutil/winhandle.h>

#include <algorithm>
#include <iomanip>

namespace prowl {

namespace {

constexpr std::size_t kMaxWidth = 78;
constexpr double kLastSeconds = 0.5;  // to take the line away

}  // namespace

Progress::Progress() {
  if (platform::IsErrorTerminal()) fOutlet.emplace(ztutil::StdErr());
}

Progress::~Progress() {
  if (!fOutlet) return;
  fOutlet->Drain(kLastSeconds);
  Put("");
  fOutlet->Drain(kLastSeconds);
}

void Progress::Show(double seconds, const std::string& question) {
  if (!fOutlet) return;
  ztutil::ClassicStream text;
  text << std::fixed << std::setprecision(1) << seconds << " s  " << question;
  Put(text.str().substr(0, kMaxWidth));
}

// Blanks hide the rest of a longer text, so that any terminal will do. What the terminal has no time for is
// left out.
void Progress::Put(const std::string& text) {
  if (!fOutlet || !fOutlet->Drain(0)) return;
  const std::string line = "\r" + text + std::string(fWidth - std::min(fWidth, text.size()), ' ') + "\r";
  fOutlet->Put(line.data(), line.size());
  fWidth = text.size();
}

}  // namespace prowl
