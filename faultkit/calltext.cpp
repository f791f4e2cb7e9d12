#include "calltext.h"

#include "constants.h"
#include "settings.h"

#include <EGL/egl.h>

#include <cstdio>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace rig {
namespace {

template <class... Values>
std::string Formatted(const char* format, Values... values) {
  char text[200];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string Hexadecimal(std::int64_t value) {
  return Formatted("%#llx", static_cast<unsigned long long>(value));
}

std::string Constant(const std::string& call, std::int64_t value) {
  const ConstantNames& names = NamesFor(call);
  const auto found = names.find(value);
  return found != names.end() ? found->second : Hexadecimal(value);
}

// The number of each object by its kind and handle, and how many there were of a kind. Never destroyed:
// driver threads outlive the end of main.
using Handle = std::pair<std::string, std::int64_t>;
std::map<Handle, int>& gObjects = *new std::map<Handle, int>;
std::map<std::string, int>& gCounts = *new std::map<std::string, int>;
std::mutex& gMutex = *new std::mutex;

std::string Object(const std::string& kind, std::int64_t handle) {
  if (handle == 0) return "0";
  int& number = gObjects[{kind, handle}];
  if (number == 0) number = ++gCounts[kind];
  return kind + std::to_string(number);
}

template <class T>
const T* Pointer(const Value& value) {
  return reinterpret_cast<const T*>(static_cast<std::intptr_t>(value.fNumber));
}

// Their CRC-32, as gzip has it, is that of all of them in a row.
std::string Checksum(const char* const* texts, std::int64_t count) {
  std::size_t length = 0;
  std::uint32_t sum = ~0u;
  for (std::int64_t i = 0; i < count; ++i)
    for (const char* at = texts[i]; *at != '\0'; ++at, ++length) {
      sum ^= static_cast<unsigned char>(*at);
      for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xEDB88320u : 0u);
    }
  return Formatted("[%zu bytes, CRC %08x]", length, ~sum);
}

std::string Text(const std::string& call, std::string word, const Value& value, const Value& before);

// "[EGL_WIDTH=1 EGL_HEIGHT=1]". `word` is for the second of each pair.
template <class T>
std::string Pairs(const std::string& call, const T* list, const std::string& word) {
  std::string text;
  for (; *list != 0 && *list != EGL_NONE; list += 2)
    text += (text.empty() ? "" : " ") + Constant(call, list[0]) + "=" +
            Text(call, word, Value(list[1]), Value(0));
  return "[" + text + "]";
}

// What a pointer for that word leads to. The names of GL's objects are numbers of 32 bits.
Value Target(const std::string& call, const std::string& word, const Value& pointer) {
  if (word == "z") return Value(*Pointer<std::size_t>(pointer));
  if (word == "n") return Value(*Pointer<std::int32_t>(pointer));
  if (call[0] == 'g') return Value(*Pointer<std::uint32_t>(pointer));
  return Value(*Pointer<std::intptr_t>(pointer));
}

const std::set<std::string> kPointers = {"p", "text", "sources", "attributes", "properties"};

std::string Text(const std::string& call, std::string word, const Value& value, const Value& before) {
  const std::int64_t number = value.fNumber;
  if (word == "n" || word == "z") return std::to_string(number);
  if (word == "m") return Hexadecimal(number);
  if (word == "f") return Formatted("%g", value.fReal);
  if (word == "e") return Constant(call, number);
  if (word == "argument") word = before.fNumber == sizeof(std::int32_t) ? "&n" : "&buffer";
  if (number == 0 && (word[0] == '&' || kPointers.count(word) > 0)) return "null";
  if (word == "p") return "ptr";
  if (word == "text") return Formatted("\"%s\"", Pointer<char>(value));
  if (word == "sources") return Checksum(Pointer<const char*>(value), before.fNumber);
  if (word == "attributes") return Pairs(call, Pointer<std::int32_t>(value), "n");
  if (word == "properties") return Pairs(call, Pointer<std::intptr_t>(value), "platform");
  if (word[0] == '&') return Text(call, word.substr(1), Target(call, word.substr(1), value), before);
  if (word[0] != '-') return Object(word, number);
  const std::string kind = word.substr(1);
  std::string label = Object(kind, number);
  gObjects.erase({kind, number});
  return label;
}

}  // namespace

std::string CallText(const std::string& name, const std::string& form, const std::vector<Value>& values) {
  const std::lock_guard<std::mutex> lock(gMutex);
  std::string text = name;
  std::size_t next = 0;
  for (const std::string& word : Split(form, ' ')) {
    if (word == ">") {
      next = values.size() - 1;
      text += " >";
    } else {
      text += " " + Text(name, word, values[next], next > 0 ? values[next - 1] : Value(0));
      ++next;
    }
  }
  return text;
}

}  // namespace rig
