// Texts that nobody vouches for, made fit to be shown.
#ifndef GPUPROWLER_PRINTABLE_H_
#define GPUPROWLER_PRINTABLE_H_

#include <cstddef>
#include <string>

namespace gpuprowler {

// What isn't UTF-8 is replaced.
std::string Valid(const std::string& text);

// A text for a terminal: control characters, line ends among them, and what turns or hides text unseen are
// shown as escapes, what isn't UTF-8 is replaced, and what is too long for reading is cut behind so many
// bytes.
std::string Printable(const std::string& text, std::size_t bytes = 400);

}  // namespace gpuprowler

#endif  // GPUPROWLER_PRINTABLE_H_
