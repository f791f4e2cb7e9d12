#include "printable.h"

#include <ztutil/classicstream.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <utility>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

// The character that begins there in valid UTF-8, and goes on behind it.
char32_t TakeCharacter(const std::string& valid, std::size_t& at) {
  const auto first = static_cast<unsigned char>(valid[at++]);
  if (first < 0x80) return first;
  const int more = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
  char32_t character = first & (0x3Fu >> more);
  for (int i = 0; i < more; ++i)
    character = character << 6 | (static_cast<unsigned char>(valid[at++]) & 0x3Fu);
  return character;
}

// What isn't seen, but turns the direction of the text around it, ends a line or hides something.
bool IsInvisible(char32_t character) {
  constexpr std::pair<char32_t, char32_t> kRanges[] = {
      {0xAD, 0xAD},     {0x61C, 0x61C},   {0x180E, 0x180E}, {0x200B, 0x200F},   {0x2028, 0x202E},
      {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0x1D173, 0x1D17A}, {0xE0000, 0xE007F}};
  return std::any_of(std::begin(kRanges), std::end(kRanges), [&](const auto& range) {
    return range.first <= character && character <= range.second;
  });
}

}  // namespace

std::string Valid(const std::string& text) {
  const std::string dumped = JSON(text).dump(-1, ' ', false, JSON::error_handler_t::replace);
  return JSON::parse(dumped).get<std::string>();
}

std::string Printable(const std::string& text, std::size_t bytes) {
  ztutil::ClassicStream out;
  out << std::hex << std::uppercase << std::setfill('0');
  const std::string valid = Valid(text.substr(0, bytes));
  for (std::size_t at = 0; at < valid.size();) {
    const std::size_t begin = at;
    const char32_t character = TakeCharacter(valid, at);
    if (character < ' ' || (character >= 0x7F && character < 0xA0))
      out << "\\x" << std::setw(2) << unsigned{character};
    else if (IsInvisible(character))
      out << "\\u" << std::setw(4) << unsigned{character};
    else
      out << valid.substr(begin, at - begin);
  }
  if (text.size() > bytes) out << std::dec << "... (" << text.size() << " bytes)";
  return out.str();
}

}  // namespace gpuprowler
