#include "ruleset.h"

#include "intelseries.h"

#include <nlohmann/json.hpp>
#include <re2/re2.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <functional>
#include <initializer_list>
#include <map>
#include <string_view>
#include <utility>

namespace gpuprowler {

namespace {

using JSON = nlohmann::json;

// What a file may hold.
constexpr int kMaxDepth = 16;
constexpr std::size_t kMaxEntries = 5000;
constexpr std::size_t kMaxFeatures = 500;
constexpr int kMaxPatterns = 200000;  // RE2's instructions, of all patterns

// Something is wrong with that member.
struct Refusal : std::exception {
  Refusal(std::string member_, std::string text_) : member(std::move(member_)), text(std::move(text_)) {}
  std::string member, text;
};

[[noreturn]] void Refuse(const std::string& text) { throw Refusal("", text); }

void Require(bool holds, const char* text) {
  if (!holds) Refuse(text);
}

// What is refused in there stands behind that name.
template <class Work>
void Within(const std::string& member, const Work& work) {
  try {
    work();
  } catch (Refusal& refusal) {
    const bool isPlace = refusal.member.empty() || refusal.member[0] == '[';
    refusal.member = member + (isPlace ? "" : ".") + refusal.member;
    throw;
  }
}

// --- Values ---

std::string TextOf(const JSON& value) {
  Require(value.is_string(), "must be a text");
  return value.get<std::string>();
}

bool FlagOf(const JSON& value) {
  Require(value.is_boolean(), "must be true or false");
  return value.get<bool>();
}

template <class Take>
void TakeObject(const JSON& value, const Take& take) {
  Require(value.is_object(), "must be an object");
  for (const auto& member : value.items()) Within(member.key(), [&] { take(member.key(), member.value()); });
}

template <class Take>
void TakeList(const JSON& value, const Take& take) {
  Require(value.is_array(), "must be a list");
  for (std::size_t i = 0; i < value.size(); ++i)
    Within("[" + std::to_string(i) + "]", [&] { take(value[i]); });
}

std::vector<std::string> TextsOf(const JSON& value) {
  std::vector<std::string> texts;
  TakeList(value, [&](const JSON& entry) { texts.push_back(TextOf(entry)); });
  return texts;
}

// Which of these the value is.
template <class Choice>
Choice ChoiceOf(const JSON& value, std::initializer_list<std::pair<std::string_view, Choice>> choices) {
  const std::string text = TextOf(value);
  for (const auto& [name, choice] : choices)
    if (name == text) return choice;
  std::string names;
  for (const auto& choice : choices) (names += names.empty() ? "" : ", ") += choice.first;
  Refuse("must be one of " + names);
}

std::string NameOf(const JSON& value, std::initializer_list<std::string_view> names) {
  std::string name = TextOf(value);
  Require(std::find(names.begin(), names.end(), name) != names.end(), "isn't known");
  return name;
}

// "0x10de", and as some write it "10de".
std::uint32_t HexOf(std::string_view text) {
  if (text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X") text.remove_prefix(2);
  std::uint32_t number = 0;
  constexpr int kBase = 16;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number, kBase);
  Require(error == std::errc() && behind == end, "must be a hexadecimal number, such as \"0x10de\"");
  return number;
}

std::uint32_t IDOf(std::string_view text) {
  const std::uint32_t id = HexOf(text);
  Require(id != 0, "must not be 0");
  return id;
}

// "0x0640", or all of "0x0600-0x06ff".
DeviceRange DevicesOf(const std::string& text) {
  const std::size_t dash = text.find('-');
  if (dash == std::string::npos) return {IDOf(text), IDOf(text)};
  const DeviceRange range = {IDOf(text.substr(0, dash)), IDOf(text.substr(dash + 1))};
  Require(range.first <= range.last, "must begin with the lower end");
  return range;
}

Version VersionOf(const JSON& value) {
  const auto version = ParseVersion(value.is_number_unsigned() ? value.dump() : TextOf(value));
  Require(version.has_value(), "must be a version, such as \"10.6.4\"");
  return *version;
}

bool IsComment(const std::string& member) { return member.rfind("comment", 0) == 0; }

enum class Kind { kPlain, kOfDriver };

VersionTest TestOf(const JSON& value, Kind kind = Kind::kPlain) {
  VersionTest test;
  bool hasOp = false;
  TakeObject(value, [&](const std::string& member, const JSON& part) {
    if (member == "op") {
      const auto op = ParseOp(TextOf(part));
      Require(op.has_value(), "must be one of =, <, <=, >, >=, any, between");
      test.op = *op;
      hasOp = true;
    } else if (member == "value") {
      test.value = VersionOf(part);
    } else if (member == "value2") {
      test.value2 = VersionOf(part);
    } else if (member == "style") {
      test.isLexical = ChoiceOf<bool>(part, {{"numerical", false}, {"lexical", true}});
      Require(!test.isLexical || kind == Kind::kOfDriver, "only driver_version can be lexical");
    } else if (member == "schema") {
      test.schema = ChoiceOf<Schema>(part, {{"common", Schema::kCommon},
                                            {"intel_driver", Schema::kIntel},
                                            {"nvidia_driver", Schema::kNVIDIA}});
      Require(test.schema == Schema::kCommon || kind == Kind::kOfDriver, "only driver_version has one");
    } else {
      Require(IsComment(member), "isn't known");
    }
  });
  if (!hasOp) throw Refusal("op", "is missing");
  if (test.op != Op::kAny && test.value.empty()) throw Refusal("value", "is missing");
  if (test.op == Op::kBetween && test.value2.empty()) throw Refusal("value2", "is missing");
  return test;
}

// --- Conditions ---

class Reader {
 public:
  Conditions ReadException(const JSON& value, const Conditions& entry) {
    Conditions conditions;
    TakeObject(value, [&](const std::string& member, const JSON& part) {
      Require(TakeCondition(member, part, conditions) || IsRemark(member, part), "isn't known");
    });
    // An exception is about what its entry is about.
    if (!conditions.vendor && !conditions.devices.empty()) conditions.vendor = entry.vendor;
    Check(conditions, conditions.os.empty() ? entry.os : conditions.os,
          conditions.vendor ? conditions.vendor : entry.vendor);
    return conditions;
  }

  Entry ReadEntry(const JSON& value) {
    Entry entry;
    const JSON* exceptions = nullptr;
    TakeObject(value, [&](const std::string& member, const JSON& part) {
      if (member == "exceptions")
        exceptions = &part;
      else
        Require(TakeCondition(member, part, entry.conditions) || TakeOwn(member, part, entry) ||
                    IsRemark(member, part),
                "isn't known");
    });
    Check(entry.conditions, entry.conditions.os, entry.conditions.vendor);
    if (exceptions != nullptr)
      Within("exceptions", [&] {
        TakeList(*exceptions, [&](const JSON& exception) {
          entry.exceptions.push_back(ReadException(exception, entry.conditions));
        });
      });
    return entry;
  }

 private:
  using Take = std::function<void(const JSON&, Conditions&)>;

  // False if the member is none.
  bool TakeCondition(const std::string& member, const JSON& value, Conditions& conditions) {
    const auto found = fTakes.find(member);
    if (found == fTakes.end()) return false;
    found->second(value, conditions);
    return true;
  }

  // What says nothing about when an entry applies, and is told to nobody.
  static bool IsRemark(const std::string& member, const JSON& value) {
    const bool isBugs = member == "cr_bugs" || member == "webkit_bugs";
    if (isBugs)
      TakeList(value, [](const JSON& bug) { Require(bug.is_number_integer(), "must be a number"); });
    if (member == "description") TextOf(value);
    return isBugs || member == "description" || IsComment(member);
  }

  bool TakeOwn(const std::string& member, const JSON& value, Entry& entry) {
    RuleMatch& match = entry.match;
    if (member == "id") {
      // It was read before.
    } else if (member == "disabled") {
      FlagOf(value);
    } else if (member == "test_group") {
      Require(value.is_number_unsigned(), "must be a number from 0 on");
    } else if (member == "description") {
      match.description = TextOf(value);
    } else if (member == "message") {
      match.message = TextOf(value);
    } else if (member == "fixed_in") {
      match.fixedIn = TextOf(value);
    } else if (member == "driver_update_link" || member == "driver_update_url") {
      match.link = TextOf(value);
    } else if (member == "features") {
      TakeFeatures(value, entry);
    } else if (member == "all_features") {
      entry.isForAll = entry.isForAll || FlagOf(value);
    } else if (member == "disabled_extensions" || member == "disabled_webgl_extensions") {
      for (std::string& extension : TextsOf(value)) match.disabledExtensions.push_back(std::move(extension));
    } else {
      return false;
    }
    return true;
  }

  void TakeFeature(const JSON& value, std::set<std::string>& features) {
    const std::string name = TextOf(value);
    Require(!name.empty(), "must not be empty");
    fFeatures.insert(name);
    Require(fFeatures.size() <= kMaxFeatures, "is too much: the file may name 500 features at most");
    features.insert(name);
  }

  void TakeFeatures(const JSON& value, Entry& entry) {
    TakeList(value, [&](const JSON& feature) {
      if (feature == "all")
        entry.isForAll = true;
      else if (!feature.is_object())
        TakeFeature(feature, entry.features);
      else
        TakeObject(feature, [&](const std::string& member, const JSON& part) {
          Require(member == "exceptions", "isn't known");
          TakeList(part, [&](const JSON& name) { TakeFeature(name, entry.featureExceptions); });
        });
    });
  }

  static void TakeOS(const JSON& value, Conditions& conditions) {
    TakeObject(value, [&](const std::string& member, const JSON& part) {
      if (member == "type")
        conditions.os =
            NameOf(part, {"any", "linux", "win", "macosx", "chromeos", "android", "fuchsia", "ios"});
      else if (member == "version")
        conditions.osVersion = TestOf(part);
      else
        Require(IsComment(member), "isn't known");
    });
    if (conditions.os.empty()) throw Refusal("type", "is missing");
    if (conditions.os == "any") conditions.os.clear();
  }

  static void TakeDevices(const JSON& value, Conditions& conditions) {
    TakeList(value, [&](const JSON& device) { conditions.devices.push_back(DevicesOf(TextOf(device))); });
    Require(!conditions.devices.empty(), "must not be empty");
  }

  static void TakeRevisions(const JSON& value, Conditions& conditions) {
    TakeList(value, [&](const JSON& revision) { conditions.revisions.push_back(HexOf(TextOf(revision))); });
    Require(!conditions.revisions.empty(), "must not be empty");
  }

  static void TakeCategory(const JSON& value, Conditions& conditions) {
    conditions.category = ChoiceOf<Category>(value, {{"any", Category::kAny},
                                                     {"primary", Category::kPrimary},
                                                     {"secondary", Category::kSecondary},
                                                     {"active", Category::kActive}});
  }

  static void TakeStyle(const JSON& value, Conditions& conditions) {
    conditions.style = ChoiceOf<Style>(value, {{"optimus", Style::kOptimus},
                                               {"amd_switchable", Style::kAMDSwitchable},
                                               {"amd_switchable_integrated", Style::kAMDSwitchableIntegrated},
                                               {"amd_switchable_discrete", Style::kAMDSwitchableDiscrete}});
  }

  static void TakeSeries(const JSON& value, Conditions& conditions) {
    TakeList(value, [&](const JSON& series) {
      conditions.intelSeries.push_back(TextOf(series));
      Require(IsIntelSeries(conditions.intelSeries.back().c_str()), "isn't known");
    });
    Require(!conditions.intelSeries.empty(), "must not be empty");
  }

  // What no single member shows to be wrong. The system and the vendor may be those of an exception's entry.
  static void Check(const Conditions& conditions, const std::string& os,
                    std::optional<std::uint32_t> vendor) {
    const std::size_t devices = conditions.devices.size(), revisions = conditions.revisions.size();
    if (revisions > 0 && (devices == 0 || (devices > 1 && devices != revisions)))
      throw Refusal("device_revision", "must be of one device, or of each of them");
    const Schema schema = conditions.driverVersion ? conditions.driverVersion->schema : Schema::kCommon;
    if (schema == Schema::kCommon) return;
    const bool isIntel = schema == Schema::kIntel;
    const bool namesVendor = vendor
                                 ? *vendor == (isIntel ? kIntelsID : kNVIDIAsID)
                                 : conditions.driverVendor || (isIntel && !conditions.intelSeries.empty()) ||
                                       (isIntel && conditions.intelGeneration);
    if (os != "win" || !namesVendor)
      throw Refusal("driver_version.schema", "is for that vendor's GPUs on Windows alone");
  }

  // A pattern, or as older lists have it {"op": "contains", "value": "Mesa"}.
  Pattern PatternOf(const JSON& value) {
    if (value.is_string()) return Compiled(value.get<std::string>());
    std::string op;
    std::optional<std::string> text;
    TakeObject(value, [&](const std::string& member, const JSON& part) {
      if (member == "op")
        op = NameOf(part, {"=", "contains", "beginwith", "endwith"});
      else if (member == "value")
        text = re2::RE2::QuoteMeta(TextOf(part));
      else
        Require(IsComment(member), "isn't known");
    });
    if (op.empty()) throw Refusal("op", "is missing");
    if (!text) throw Refusal("value", "is missing");
    const bool isOpenInFront = op == "contains" || op == "endwith";
    const bool isOpenBehind = op == "contains" || op == "beginwith";
    return Compiled((isOpenInFront ? ".*" : "") + *text + (isOpenBehind ? ".*" : ""));
  }

  Pattern Compiled(const std::string& text) {
    Require(fPatterns <= kMaxPatterns, "is too much: the file's patterns have become too large");
    constexpr int kBytes = 256 * 1024;
    re2::RE2::Options options;
    options.set_log_errors(false);
    options.set_max_mem(kBytes);
    auto pattern = std::make_shared<const re2::RE2>(text, options);
    if (!pattern->ok()) Refuse("is no pattern: " + pattern->error());
    fPatterns += pattern->ProgramSize();
    return pattern;
  }

  // --- By how it's written ---

  Take PatternInto(Pattern Conditions::*field) {
    return [this, field](const JSON& value, Conditions& conditions) { conditions.*field = PatternOf(value); };
  }

  static Take TestInto(std::optional<VersionTest> Conditions::*field, Kind kind = Kind::kPlain) {
    return
        [field, kind](const JSON& value, Conditions& conditions) { conditions.*field = TestOf(value, kind); };
  }

  // What answers don't tell, checked all the same.
  static Take Unknowable(const char* member, std::function<void(const JSON&)> check) {
    return [member, check = std::move(check)](const JSON& value, Conditions& conditions) {
      check(value);
      conditions.unknowable.emplace_back(member);
    };
  }

  Take UnknowablePattern(const char* member) {
    return Unknowable(member, [this](const JSON& value) { PatternOf(value); });
  }

  Take UnknowablePatterns(const char* member) {
    return Unknowable(member, [this](const JSON& value) {
      TakeList(value, [this](const JSON& pattern) { PatternOf(pattern); });
    });
  }

  static Take UnknowableTest(const char* member) {
    return Unknowable(member, [](const JSON& value) { TestOf(value); });
  }

  static Take UnknowableNumber(const char* member) {
    return Unknowable(member, [](const JSON& value) {
      Require(value.is_string() || value.is_number_integer(), "must be a number or a text");
    });
  }

  // With fractions.
  static Take UnknowableNumbers(const char* member) {
    return Unknowable(member, [](const JSON& value) {
      TakeObject(value, [](const std::string& part, const JSON& of) {
        const bool isKnown = part == "op"                          ? ParseOp(TextOf(of)).has_value()
                             : part == "value" || part == "value2" ? of.is_number() || of.is_string()
                                                                   : IsComment(part);
        Require(isKnown, "isn't known");
      });
    });
  }

  // Set but for the value that says that it doesn't matter.
  static Take UnknowableSupport(const char* member) {
    return [member](const JSON& value, Conditions& conditions) {
      if (NameOf(value, {"dont_care", "supported", "unsupported"}) != "dont_care")
        conditions.unknowable.emplace_back(member);
    };
  }

  std::set<std::string> fFeatures;  // that the file has named
  int fPatterns = 0;                // RE2's instructions
  const std::map<std::string, Take> fTakes = {
      {"os", TakeOS},
      {"vendor_id", [](const JSON& value, Conditions& c) { c.vendor = IDOf(TextOf(value)); }},
      {"device_id", TakeDevices},
      {"device_revision", TakeRevisions},
      {"multi_gpu_category", TakeCategory},
      {"multi_gpu_style", TakeStyle},
      {"intel_gpu_series", TakeSeries},
      {"intel_gpu_generation", TestInto(&Conditions::intelGeneration)},
      {"driver_vendor", PatternInto(&Conditions::driverVendor)},
      {"driver_version", TestInto(&Conditions::driverVersion, Kind::kOfDriver)},
      {"driver_date", TestInto(&Conditions::driverDate)},
      {"gl_vendor", PatternInto(&Conditions::glVendor)},
      {"gl_renderer", PatternInto(&Conditions::glRenderer)},
      {"gl_extensions", PatternInto(&Conditions::glExtensions)},
      {"gl_version", TestInto(&Conditions::glVersion)},
      {"gl_type",
       [](const JSON& value, Conditions& c) {
         c.glType = NameOf(value, {"gl", "gles", "angle", "angle_gl", "angle_gles", "angle_vulkan"});
       }},
      {"gpu_count", TestInto(&Conditions::gpuCount)},
      {"direct_rendering", [](const JSON& value, Conditions& c) { c.isDirect = FlagOf(value); }},
      {"direct_rendering_version", TestInto(&Conditions::directVersion)},

      {"cpu_info", UnknowablePattern("cpu_info")},
      {"gl_reset_notification_strategy", UnknowableNumber("gl_reset_notification_strategy")},
      {"gl_version_string", UnknowablePattern("gl_version_string")},
      {"hardware_overlay", UnknowableSupport("hardware_overlay")},
      {"in_process_gpu", Unknowable("in_process_gpu", [](const JSON& value) { FlagOf(value); })},
      {"machine_model_name", UnknowablePatterns("machine_model_name")},
      {"machine_model_version", UnknowableTest("machine_model_version")},
      {"perf_gaming", UnknowableNumbers("perf_gaming")},
      {"perf_graphics", UnknowableNumbers("perf_graphics")},
      {"perf_overall", UnknowableNumbers("perf_overall")},
      {"pixel_shader_version", UnknowableTest("pixel_shader_version")},
      {"subpixel_font_rendering", UnknowableSupport("subpixel_font_rendering")},
  };
};

std::int64_t TakeID(const JSON& value) {
  if (!value.is_object()) Refuse("must be an object");
  const auto found = value.find("id");
  if (found == value.end()) throw Refusal("id", "is missing");
  if (!found->is_number_unsigned() || found->get<std::uint64_t>() - 1 >= INT64_MAX)
    throw Refusal("id", "must be a number above 0");
  return found->get<std::int64_t>();
}

// Whether it's part of the list as it is used without asking for more.
bool IsInForce(const JSON& entry) {
  return !entry.value("disabled", false) && entry.value("test_group", std::uint64_t{0}) == 0;
}

// Of an object, with all that it must have.
Entry ReadEntry(const JSON& value, Reader& reader) {
  Entry entry = reader.ReadEntry(value);
  if (!entry.isForAll && entry.features.empty() && entry.match.disabledExtensions.empty() &&
      entry.match.message.empty())
    throw Refusal("features", "is missing");
  return entry;
}

// The entries that are in force.
void ReadEntries(const std::string& file, const JSON& list, std::vector<Entry>& entries,
                 std::vector<RuleError>& errors) {
  Reader reader;
  for (std::size_t i = 0; i < list.size(); ++i) {
    std::string name = "at place " + std::to_string(i + 1);
    try {
      const std::int64_t id = TakeID(list[i]);
      name = std::to_string(id);
      Entry entry = ReadEntry(list[i], reader);
      entry.match.file = file;
      entry.match.id = id;
      if (IsInForce(list[i])) entries.push_back(std::move(entry));
    } catch (const Refusal& refusal) {
      errors.push_back({file, name, refusal.member, refusal.text});
    }
  }
}

JSON Parse(const std::string& text) {
  Require(text.size() <= kMaxRulesBytes, "is too large: 1 MiB is the most");
  JSON rules = JSON::parse(text, [](int depth, JSON::parse_event_t, JSON&) {
    Require(depth <= kMaxDepth, "is nested too deeply");
    return true;
  });
  Require(rules.is_object() && rules.contains("entries") && rules["entries"].is_array(),
          "must be an object with a list of \"entries\"");
  Require(rules["entries"].size() <= kMaxEntries, "has too many entries: 5000 are the most");
  return rules;
}

}  // namespace

void ReadRules(const std::string& file, const std::string& text, std::vector<Entry>& entries,
               std::vector<RuleError>& errors) {
  try {
    const JSON rules = Parse(text);
    for (const auto& member : rules.items())
      if (member.key() != "entries" && member.key() != "name" && member.key() != "version" &&
          !IsComment(member.key()))
        errors.push_back({file, "", member.key(), "isn't known"});
    ReadEntries(file, rules["entries"], entries, errors);
  } catch (const Refusal& refusal) {
    errors.push_back({file, "", "", refusal.text});
  } catch (const JSON::exception& exception) {
    const std::string_view what = exception.what();  // "[json.exception.parse_error.101] parse error at ..."
    errors.push_back({file, "", "", "is no JSON: " + std::string(what.substr(what.find(' ') + 1))});
  }
}

}  // namespace gpuprowler
