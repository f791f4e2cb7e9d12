#include "document.h"

#include "homefolder.h"

#include <ztutil/version.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <type_traits>
#include <utility>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

constexpr char kSchema[] = "gpuprowler-answer-1";
constexpr double kMaxSeconds = 1e9;

// What the keys of an object are, in their order: for each a field of the struct.

template <class Field>
void FieldsOf(const Adapter*, Field&& field) {
  field("address", &Adapter::address);
  field("name", &Adapter::name);
  field("vendorID", &Adapter::vendorID);
  field("deviceID", &Adapter::deviceID);
  field("subsystemID", &Adapter::subsystemID);
  field("revision", &Adapter::revision);
  field("driver", &Adapter::driver);
  field("driverVersion", &Adapter::driverVersion);
  field("driverDate", &Adapter::driverDate);
  field("memoryBytes", &Adapter::memoryBytes);
  field("memorySource", &Adapter::memorySource);
  field("asleep", &Adapter::asleep);
  field("renderNode", &Adapter::renderNode);
  field("mayOpen", &Adapter::mayOpen);
  field("group", &Adapter::group);
  field("outputs", &Adapter::outputs);
}

template <class Field>
void FieldsOf(const Driver*, Field&& field) {
  field("interface", &Driver::interface);
  field("manifest", &Driver::manifest);
  field("library", &Driver::library);
  field("path", &Driver::path);
  field("bytes", &Driver::bytes);
  field("modified", &Driver::modified);
  field("behaviour", &Driver::behaviour);
  field("question", &Driver::question);
  field("since", &Driver::since);
}

template <class Field>
void FieldsOf(const Reason*, Field&& field) {
  field("code", &Reason::code);
  field("text", &Reason::text);
  field("adapter", &Reason::adapter);
  field("driver", &Reason::driver);
}

template <class Field>
void FieldsOf(const GPU*, Field&& field) {
  field("interface", &GPU::interface);
  field("tag", &GPU::tag);
  field("run", &GPU::run);
  field("driver", &GPU::driver);
  field("adapter", &GPU::adapter);
  field("software", &GPU::software);
  field("complete", &GPU::complete);
  field("failed", &GPU::failed);
  field("values", &GPU::values);
}

template <class Field>
void FieldsOf(const Line*, Field&& field) {
  field("seconds", &Line::seconds);
  field("kind", &Line::kind);
  field("text", &Line::text);
  field("bytesCut", &Line::bytesCut);
}

template <class Field>
void FieldsOf(const Stream*, Field&& field) {
  field("linesDropped", &Stream::linesDropped);
  field("lines", &Stream::lines);
  field("unfinished", &Stream::unfinished);
}

template <class Field>
void FieldsOf(const Run*, Field&& field) {
  field("verdict", &Run::verdict);
  field("text", &Run::text);
  field("drivers", &Run::drivers);
  field("alone", &Run::alone);
  field("seconds", &Run::seconds);
  field("end", &Run::end);
  field("exitStatus", &Run::exitStatus);
  field("complete", &Run::complete);
  field("lastLine", &Run::lastLine);
  field("asked", &Run::asked);
  field("notes", &Run::notes);
  field("standsIn", &Run::standsIn);
  field("values", &Run::values);
  field("stdout", &Run::output);
  field("stderr", &Run::errors);
}

template <class Field>
void FieldsOf(const Answer*, Field&& field) {
  field("verdict", &Answer::verdict);
  field("text", &Answer::text);
  field("time", &Answer::time);
  field("seconds", &Answer::seconds);
  field("remembered", &Answer::remembered);
  field("prober", &Answer::prober);
  field("arguments", &Answer::arguments);
  field("reasons", &Answer::reasons);
  field("adapters", &Answer::adapters);
  field("drivers", &Answer::drivers);
  field("gpus", &Answer::gpus);
  field("runs", &Answer::runs);
}

// Words for what is a number to the compiler.

const char* NameOf(Interface interface) { return interface == Interface::kOpenGL ? "OpenGL" : "OpenCL"; }
const char* NameOf(Verdict verdict) { return VerdictName(verdict); }
const char* NameOf(Behaviour behaviour) { return BehaviourName(behaviour); }
const char* NameOf(LineKind kind) {
  constexpr const char* kNames[] = {"other", "finding", "symbol", "comment", "failure"};
  return kNames[static_cast<std::size_t>(kind)];
}

template <class Enumeration>
constexpr Enumeration kLast{};
template <>
constexpr Interface kLast<Interface> = Interface::kOpenCL;
template <>
constexpr Verdict kLast<Verdict> = Verdict::kInterrupted;
template <>
constexpr Behaviour kLast<Behaviour> = Behaviour::kSetAside;
template <>
constexpr LineKind kLast<LineKind> = LineKind::kFailure;

// The bytes that a text becomes at most.
std::size_t BytesOf(const std::string& text) {
  std::size_t bytes = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    constexpr std::size_t kEscape = 6, kPair = 2, kReplacement = 3;
    bytes += byte < ' ' ? kEscape : byte == '"' || byte == '\\' ? kPair : byte < 0x80 ? 1 : kReplacement;
  }
  return bytes;
}

// What is left of a number of bytes.
class Room {
 public:
  explicit Room(std::size_t bytes) : fBytes(bytes) {}

  bool Take(std::size_t bytes) {
    if (bytes > fBytes) return false;
    fBytes -= bytes;
    return true;
  }

 private:
  std::size_t fBytes;
};

struct Share {
  Room texts, values;
};

class Writer {
 public:
  explicit Writer(std::vector<std::string> homes) : fHomes(std::move(homes)) {}

  std::string Write(const Answer& answer, int indent) {
    const std::size_t runs = answer.runs.size();
    fShares.assign(1 + runs, Share{Room(kTextBytes / (1 + runs)), Room(kValueBytes / (1 + runs))});
    fShare = fShares.data();
    fLineBytes = kLineBytes / (1 + 2 * runs);
    JSON document = {{"schema", kSchema}, {"version", ztutil::kVersion}};
    document.update(Put(answer));
    document["reportKeys"] = std::move(fReportKeys);
    document["shortened"] = fShortened;
    return document.dump(indent, ' ', false, JSON::error_handler_t::replace);
  }

 private:
  // Of kMaxDocumentBytes; the rest is for what isn't counted: keys, numbers and the like. What one run says
  // takes nothing from the others.
  static constexpr std::size_t kLineBytes = std::size_t{6} * 1024 * 1024;
  static constexpr std::size_t kValueBytes = std::size_t{5} * 1024 * 1024;
  static constexpr std::size_t kTextBytes = std::size_t{2} * 1024 * 1024;

  // Of an entry of a list, a value, a line, a GPU, besides its texts.
  static constexpr std::size_t kEntryBytes = 32, kValueKeyBytes = 96, kLineKeyBytes = 200, kGPUKeyBytes = 400;

  template <class Part>
  JSON Put(const Part& part) {
    if constexpr (std::is_enum_v<Part>) {
      return NameOf(part);
    } else if constexpr (std::is_same_v<Part, double>) {
      return std::round(part * 1e6) / 1e6;
    } else if constexpr (std::is_arithmetic_v<Part>) {
      return part;
    } else {
      JSON object = JSON::object();
      FieldsOf(&part, [&](const char* key, auto member) { PutInto(object, key, part.*member); });
      return object;
    }
  }

  template <class Part>
  void PutInto(JSON& object, const char* key, const Part& part) {
    object[key] = Put(part);
  }

  template <class Part>
  void PutInto(JSON& object, const char* key, const std::optional<Part>& part) {
    if (part) object[key] = Put(*part);
  }

  JSON Put(const std::string& text) {
    std::string told = WithoutHome(text, fHomes);
    if (HasRoom(fShare->texts, BytesOf(told))) return told;
    return "";
  }

  template <class Part>
  JSON Put(const std::vector<Part>& parts) {
    JSON list = JSON::array();
    for (const Part& part : parts) list.push_back(Put(part));
    return list;
  }

  JSON Put(const std::vector<std::string>& texts) { return PutTexts(texts); }
  JSON Put(const std::deque<std::string>& texts) { return PutTexts(texts); }

  template <class Texts>
  JSON PutTexts(const Texts& texts) {
    JSON list = JSON::array();
    for (const std::string& text : texts)
      if (HasRoom(fShare->texts, kEntryBytes)) list.push_back(Put(text));
    return list;
  }

  JSON Put(const std::vector<GPU>& gpus) {
    JSON list = JSON::array();
    for (const GPU& gpu : gpus) {
      fShare = &fShares[std::min(1 + gpu.run, fShares.size() - 1)];
      if (HasRoom(fShare->values, kGPUKeyBytes)) list.push_back(Put<GPU>(gpu));
    }
    fShare = fShares.data();
    return list;
  }

  JSON Put(const std::vector<Run>& runs) {
    JSON list = JSON::array();
    for (const Run& run : runs) {
      fShare = &fShares[1 + list.size()];
      list.push_back(Put<Run>(run));
    }
    fShare = fShares.data();
    return list;
  }

  JSON Put(const std::vector<Value>& values) {
    JSON object = JSON::object();
    for (const Value& value : values) {
      JSON told = std::visit([&](const auto& typed) { return PutValue(typed); }, value.value);
      if (told.is_null()) continue;
      object[value.key] = std::move(told);
      if (!fReportKeys.contains(value.key)) fReportKeys[value.key] = value.reportKey;
    }
    return object;
  }

  // Null where there is no room for it.
  template <class Typed>
  JSON PutValue(const Typed& value) {
    if (HasRoom(fShare->values, kValueKeyBytes)) return value;
    return nullptr;
  }

  // Infinities and the like are no numbers here.
  JSON PutValue(double value) {
    if (!std::isfinite(value)) return PutValue(std::to_string(value));
    return PutValue<double>(value);
  }

  JSON PutValue(const std::string& text) {
    std::string told = WithoutHome(text, fHomes);
    if (HasRoom(fShare->values, kValueKeyBytes + BytesOf(told))) return told;
    return nullptr;
  }

  JSON PutValue(const std::vector<std::int64_t>& numbers) {
    if (HasRoom(fShare->values, kValueKeyBytes + kEntryBytes * numbers.size())) return numbers;
    return nullptr;
  }

  // The latest for which there is room.
  JSON Put(const Stream& stream) {
    Room room(fLineBytes);
    std::vector<std::string> texts;
    for (auto line = stream.lines.rbegin(); line != stream.lines.rend(); ++line) {
      std::string told = WithoutHome(line->text, fHomes);
      if (!room.Take(kLineKeyBytes + BytesOf(told))) break;
      texts.push_back(std::move(told));
    }
    const std::size_t dropped = stream.lines.size() - texts.size();
    JSON lines = JSON::array();
    for (std::size_t i = dropped; i < stream.lines.size(); ++i, texts.pop_back()) {
      const Line& line = stream.lines[i];
      lines.push_back({{"seconds", Put(line.seconds)},
                       {"kind", Put(line.kind)},
                       {"text", std::move(texts.back())},
                       {"bytesCut", line.bytesCut}});
    }
    return {{"linesDropped", stream.linesDropped + dropped},
            {"lines", std::move(lines)},
            {"unfinished", Put(stream.unfinished)}};
  }

  bool HasRoom(Room& room, std::size_t bytes) {
    const bool hasRoom = room.Take(bytes);
    if (!hasRoom) fShortened = true;
    return hasRoom;
  }

  const std::vector<std::string> fHomes;
  Share* fShare = nullptr;     // of what is being written
  std::size_t fLineBytes = 0;  // for each stream
  std::vector<Share> fShares;  // the answer's own, then the runs'
  bool fShortened = false;
  JSON fReportKeys = JSON::object();
};

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
    Require(document.is_object() && document.value("schema", JSON()) == kSchema);
    Require(At("version").is_string() && At("shortened").is_boolean() && At("reportKeys").is_object());
  }

  Answer Read() const {
    Answer answer;
    GetObject(fDocument, answer, 4);
    for (const Reason& reason : answer.reasons) CheckPlaces(reason, answer);
    for (const GPU& gpu : answer.gpus) {
      CheckPlaces(gpu, answer);
      Require(gpu.run < answer.runs.size());
    }
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
  static void CheckPlaces(const Part& part, const Answer& answer) {
    Require(!part.driver || *part.driver < answer.drivers.size());
    Require(!part.adapter || *part.adapter < answer.adapters.size());
  }

  // All of its keys, and so many more.
  template <class Part>
  void GetObject(const JSON& from, Part& part, std::size_t others = 0) const {
    Require(from.is_object());
    FieldsOf(&part, [&](const char* key, auto member) {
      const auto found = from.find(key);
      if (found != from.end())
        ++others;
      else
        Require(IsOptional(part.*member));
      if (found != from.end()) Get(*found, part.*member);
    });
    Require(others == from.size());
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
      Require(from.is_boolean());
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

  void Get(const JSON& from, std::string& text) const {
    Require(from.is_string());
    text = from.get<std::string>();
  }

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
      Value& value = values.emplace_back();
      value.key = entry.key();
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

std::string AsJSON(const Answer& answer) { return Writer(HomeFolders()).Write(answer, 2) + "\n"; }

std::string AsPrivateJSON(const Answer& answer) { return Writer({}).Write(answer, -1); }

std::optional<Answer> AnswerOf(const std::string& document) {
  try {
    return Reader(Parse(document)).Read();
  } catch (const Refusal&) {
  } catch (const JSON::exception&) {
  }
  return std::nullopt;
}

}  // namespace gpuprowler
