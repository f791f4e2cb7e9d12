// Pieces of HTML.
#ifndef GPUPROWLER_HTML_H_
#define GPUPROWLER_HTML_H_

#include <cstddef>
#include <string>

namespace gpuprowler {

// Printable, and without meaning in HTML: between tags, in an attribute's quotes, and where that stands in
// Markdown.
std::string Escaped(const std::string& text, std::size_t bytes = 400);

// Of a tag with its attributes, such as "td class=\"number\"", and of HTML.
std::string Element(const std::string& tag, const std::string& content);

// A text as code, escaped. Empty where there is none.
std::string CodeElement(const std::string& text);

}  // namespace gpuprowler

#endif  // GPUPROWLER_HTML_H_
