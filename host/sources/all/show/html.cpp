#include "html.h"

#include "tell/printable.h"

namespace gpuprowler {

std::string Escaped(const std::string& text, std::size_t bytes) {
  std::string escaped;
  for (const char c : Printable(text, bytes)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '`':
        escaped += "&#96;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string Element(const std::string& tag, const std::string& content) {
  return "<" + tag + ">" + content + "</" + tag.substr(0, tag.find(' ')) + ">\n";
}

std::string CodeElement(const std::string& text) {
  return text.empty() ? "" : "<code>" + Escaped(text) + "</code>";
}

}  // namespace gpuprowler
