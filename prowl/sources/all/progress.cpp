#include "progress.h"

#include "hostplatform.h"

#include <ztutil/classicstream.h>

#include <iomanip>
#include <iostream>

namespace prowl {

namespace {

constexpr std::size_t kMaxWidth = 78;

}  // namespace

Progress::Progress() : fIsShown(platform::IsErrorTerminal()) {}

Progress::~Progress() { Put(""); }

void Progress::Show(double seconds, const Report& report) {
  ztutil::ClassicStream text;
  text << std::fixed << std::setprecision(1) << seconds << " s  " << report.Read().asked.front().Name();
  Put(text.str().substr(0, kMaxWidth));
}

// Blanks hide the rest of a longer text, so that any terminal will do.
void Progress::Put(const std::string& text) {
  if (!fIsShown) return;
  std::cerr << "\r" << std::left << std::setw(static_cast<int>(fWidth)) << text << "\r" << std::flush;
  fWidth = text.size();
}

}  // namespace prowl
