// A run as a person reads it, and as a program does.
#ifndef PROWL_PRESENTATION_H_
#define PROWL_PRESENTATION_H_

#include "proberrun.h"
#include "verdict.h"

#include <string>

namespace prowl {

// A text for a terminal: control characters, line ends among them, and what turns or hides text unseen are
// shown as escapes, what isn't UTF-8 is replaced, and what is too long for reading is cut.
std::string Printable(const std::string& text);

// The verdict, and what explains it, as lines.
std::string Summary(const RunResult& result, const Verdict& verdict);

// That, and all findings by GPU.
std::string AsText(const RunResult& result, const Verdict& verdict);

// The same and all lines that are kept, as one JSON document with a line end. What isn't UTF-8 is replaced.
std::string AsJSON(const RunOptions& options, const RunResult& result, const Verdict& verdict);

}  // namespace prowl

#endif  // PROWL_PRESENTATION_H_
