#include "document.h"
#include "documentfields.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <limits>
#include <type_traits>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

struct Refusal : std::exception {};

void Require(bool holds) {
  if (!holds) throw Refusal();
}

// Bounds what a text can make of itself in memory, and in time: finding a key takes as long as there are
// keys.
JSON Parse(const std::string& text) {
  constexpr int kMaxDepth = 16;
  constexpr std::size_t kMaxKeys = 512;  // of one object
  constexpr std::size_t kMaxValues = 1000000;
  std::size_t keys[kMaxDepth + 1] = {};
  std::size_t values = 0;
  Require(text.size() <= kMaxDocumentBytes);
  return JSON::parse(text, [&](int depth, JSON::parse_event_t event, JSON&) {
    Require(depth <= kMaxDepth && ++values <= kMaxValues);
    if (event == JSON::parse_event_t::object_start) keys[depth] = 0;
    if (event == JSON::parse_event_t::key) Require(++keys[depth - 1] <= kMaxKeys);
    return true;
  });
}

class Reader {
 public:
  explicit Reader(const JSON& document) : fDocument(document) {
    Require(document.is_object() && document.value("schema", JSON()) == kSchema &&
            At("version").is_string() && At("shortened").is_boolean() && At("reportKeys").is_object());
  }

  Answer Read() const {
    Answer answer;
    GetObject(fDocument, answer, 4);
    for (const Reason& reason : answer.reasons) Require(HasItsParts(reason, answer));
    for (const GPU& gpu : answer.gpus) Require(HasItsParts(gpu, answer) && gpu.run < answer.runs.size());
    for (const Run& run : answer.runs)
      for (const std::size_t driver : run.drivers) Require(driver < answer.drivers.size());
    return answer;
  }

 private:
  const JSON& At(const char* key) const {
    const auto found = fDocument.find(key);
    Require(found != fDocument.end());
    return *found;
  }

  template <class Part>
  static bool HasItsParts(const Part& part, const Answer& answer) {
    return (!part.driver || *part.driver < answer.drivers.size()) &&
           (!part.adapter || *part.adapter < answer.adapters.size());
  }

  // All of its keys, and so many more.
  template <class Part>
  void GetObject(const JSON& from, Part& part, std::size_t others = 0) const {
    FieldsOf(&part, [&](const char* key, auto member) {
      const auto found = from.find(key);
      if (found == from.end()) return Require(IsOptional(part.*member));
      ++others;
      Get(*found, part.*member);
    });
    Require(from.is_object() && others == from.size());
  }

  template <class Part>
  static constexpr bool IsOptional(const Part&) {
    return false;
  }
  template <class Part>
  static constexpr bool IsOptional(const std::optional<Part>&) {
    return true;
  }

  template <class Part>
  void Get(const JSON& from, Part& part) const {
    if constexpr (std::is_enum_v<Part>) {
      int place = 0;
      while (from != NameOf(static_cast<Part>(place))) Require(place++ < static_cast<int>(kLast<Part>));
      part = static_cast<Part>(place);
    } else if constexpr (std::is_same_v<Part, bool>) {
      part = from.get<bool>();
    } else if constexpr (std::is_same_v<Part, double>) {
      Require(from.is_number());
      part = from.get<double>();
      Require(part >= 0 && part <= kMaxSeconds);
    } else if constexpr (std::is_arithmetic_v<Part>) {
      GetWhole(from, part);
    } else {
      GetObject(from, part);
    }
  }

  template <class Whole>
  static void GetWhole(const JSON& from, Whole& whole) {
    using Limits = std::numeric_limits<Whole>;
    Require(from.is_number_integer());
    if (from.is_number_unsigned())
      Require(from.get<std::uint64_t>() <= static_cast<std::uint64_t>(Limits::max()));
    else
      Require(Limits::is_signed && from.get<std::int64_t>() >= static_cast<std::int64_t>(Limits::min()));
    whole = from.get<Whole>();
  }

  void Get(const JSON& from, std::string& text) const { text = from.get<std::string>(); }

  template <class Part>
  void Get(const JSON& from, std::optional<Part>& part) const {
    Get(from, part.emplace());
  }

  template <class Part>
  void Get(const JSON& from, std::vector<Part>& parts) const {
    GetList(from, parts);
  }

  template <class Part>
  void Get(const JSON& from, std::deque<Part>& parts) const {
    GetList(from, parts);
  }

  template <class List>
  void GetList(const JSON& from, List& list) const {
    Require(from.is_array());
    for (const JSON& entry : from) Get(entry, list.emplace_back());
  }

  void Get(const JSON& from, std::vector<Value>& values) const {
    Require(from.is_object());
    const JSON& reportKeys = At("reportKeys");
    for (const auto& entry : from.items()) {
      const auto reportKey = reportKeys.find(entry.key());
      Require(reportKey != reportKeys.end());
      Value& value = values.emplace_back(Value{entry.key(), {}, {}});
      Get(*reportKey, value.reportKey);
      GetValue(entry.value(), value);
    }
  }

  void GetValue(const JSON& from, Value& value) const {
    switch (from.type()) {
      case JSON::value_t::string:
        return Get(from, value.value.emplace<std::string>());
      case JSON::value_t::boolean:
        return Get(from, value.value.emplace<bool>());
      case JSON::value_t::number_float:
        value.value = from.get<double>();
        return;
      case JSON::value_t::array:
        return Get(from, value.value.emplace<std::vector<std::int64_t>>());
      default:
        return Get(from, value.value.emplace<std::int64_t>());
    }
  }

  const JSON& fDocument;
};

}  // namespace

std::optional<Answer> AnswerOf(const std::string& document) {
  try {
    return Reader(Parse(document)).Read();
  } catch (const Refusal&) {
  } catch (const JSON::exception&) {
  }
  return std::nullopt;
}

}  // namespace gpuprowler
