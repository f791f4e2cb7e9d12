#include "document.h"

#include "documentfields.h"
#include "privacy.h"

#include <ztutil/version.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>

namespace gpuprowler {

namespace {

using JSON = nlohmann::ordered_json;

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
    if (HasRoom(fShare->texts, BytesOf(text))) return text;
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
    if (HasRoom(fShare->values, kValueKeyBytes + BytesOf(text))) return text;
    return nullptr;
  }

  JSON PutValue(const std::vector<std::int64_t>& numbers) {
    if (HasRoom(fShare->values, kValueKeyBytes + kEntryBytes * numbers.size())) return numbers;
    return nullptr;
  }

  // The latest for which there is room.
  JSON Put(const Stream& stream) {
    Room room(fLineBytes);
    std::size_t dropped = stream.lines.size();
    while (dropped > 0 && room.Take(kLineKeyBytes + BytesOf(stream.lines[dropped - 1].text))) --dropped;
    JSON lines = JSON::array();
    for (std::size_t i = dropped; i < stream.lines.size(); ++i) {
      const Line& line = stream.lines[i];
      lines.push_back({{"seconds", Put(line.seconds)},
                       {"kind", Put(line.kind)},
                       {"text", line.text},
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

  Share* fShare = nullptr;     // of what is being written
  std::size_t fLineBytes = 0;  // for each stream
  std::vector<Share> fShares;  // the answer's own, then the runs'
  bool fShortened = false;
  JSON fReportKeys = JSON::object();
};

}  // namespace

std::string AsJSON(const Answer& answer) {
  return Writer().Write(WithoutNames(answer, GetOwnNames()), 2) + "\n";
}

std::string AsPrivateJSON(const Answer& answer) { return Writer().Write(answer, -1); }

}  // namespace gpuprowler
