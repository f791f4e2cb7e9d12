// Texts for HTML.
#ifndef GPUPROWLER_ESCAPED_H_
#define GPUPROWLER_ESCAPED_H_

#include <cstddef>
#include <string>

namespace gpuprowler {

// Printable, and without meaning in HTML: between tags, and in an attribute's quotes.
std::string Escaped(const std::string& text, std::size_t bytes = 400);

}  // namespace gpuprowler

#endif  // GPUPROWLER_ESCAPED_H_
