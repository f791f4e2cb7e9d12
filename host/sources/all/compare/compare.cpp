#include "match.h"
#include "meaning.h"
#include "tell/documentfields.h"
#include "tell/gpufacts.h"
#include "tell/privacy.h"
#include "tell/words.h"

#include <gpuprowler/compare.h>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <map>
#include <set>
#include <type_traits>
#include <utility>

namespace gpuprowler {

namespace {

// --- What parts are known by --------------------------------------------------------------------------

// All of these, as far as they count; empty where one is missing.
std::string Key(std::initializer_list<std::string> parts) {
  std::string key;
  for (const std::string& part : parts) {
    if (part.empty()) return "";
    key.append(part, 0, kNameBytes) += '\0';
  }
  return key;
}

std::string IDs(std::uint32_t vendor, std::uint32_t device) {
  return vendor == 0 ? "" : std::to_string(vendor) + ":" + std::to_string(device);
}

std::string IDsOf(const GPU& gpu, const Answer& answer) {
  const Adapter none;
  const Adapter& adapter = gpu.adapter ? answer.adapters[*gpu.adapter] : none;
  return IDs(adapter.vendorID, adapter.deviceID);
}

// A name tells nothing where both have ids, and these differ: one of the two has it for those without.
Keys KeysOf(const GPU& gpu, const Answer& answer, bool isAfter) {
  const std::string interface = NameOf(gpu.interface), ids = IDsOf(gpu, answer),
                    address = AddressOf(gpu, answer), manifest = ManifestOf(gpu, answer),
                    name = ModelOf(gpu).substr(0, kNameBytes), software = gpu.software ? "software" : "";
  const std::string first = isAfter || ids.empty() ? name : "", second = isAfter && !ids.empty() ? "" : name;
  return {Key({interface, ids, address, manifest, name}),
          Key({interface, ids, address, manifest}),
          Key({interface, ids, address}),
          Key({interface, ids, manifest}),
          Key({interface, ids}),
          Key({interface, first, manifest}),
          Key({interface, second, manifest}),
          Key({interface, first}),
          Key({interface, second}),
          Key({interface, software, manifest}),
          Key({interface, software})};
}

Keys KeysOf(const Adapter& adapter, const Answer&, bool) {
  const std::string ids = IDs(adapter.vendorID, adapter.deviceID), name = ids.empty() ? adapter.name : "";
  return {Key({ids, adapter.address}), Key({ids}), Key({name, adapter.address}), Key({name})};
}

Keys KeysOf(const Driver& driver, const Answer&, bool) {
  const std::string interface = NameOf(driver.interface);
  return {Key({interface, driver.manifest, driver.library}), Key({interface, driver.manifest}),
          Key({interface, driver.library})};
}

Keys KeysOf(const Reason& reason, const Answer&, bool) {
  return {Key({reason.code, reason.text}), Key({reason.code})};
}

// --- What a person calls them -------------------------------------------------------------------------

std::string Calling(const std::string& first, const std::string& second) {
  return second.empty() ? first : first.empty() ? second : first + ", " + second;
}

std::string CallingOf(const GPU& gpu, const Answer& answer) {
  return Calling(std::string(NameOf(gpu.interface)) + " " + gpu.tag,
                 Calling(ModelOf(gpu), AddressOf(gpu, answer)));
}

std::string CallingOf(const Adapter& adapter, const Answer&) {
  return Calling(adapter.name, adapter.address);
}

std::string CallingOf(const Driver& driver, const Answer&) {
  return std::string(NameOf(driver.interface)) + " " + Calling(driver.manifest, driver.library);
}

std::string CallingOf(const Reason& reason, const Answer&) { return reason.code; }

std::string InWords(const OperatingSystem& system) { return system.type + " " + system.version; }

// What came or went.
template <class Part>
std::string WordsOf(const Part& part, const Answer& answer) {
  return CallingOf(part, answer);
}
std::string WordsOf(const Reason& reason, const Answer&) { return reason.text; }

// --- Coming and going ---------------------------------------------------------------------------------

// Those that reach a card.
using Interfaces = std::set<Interface>;
Interfaces InterfacesOf(const Answer& answer) {
  Interfaces interfaces;
  for (const GPU& gpu : answer.gpus)
    if (!gpu.software) interfaces.insert(gpu.interface);
  return interfaces;
}

// Of a part that one of the answers has, and the other one has not.
template <class Part>
Effect EffectOfWhole(const Part&, bool isThereAfter, const Interfaces&) {
  return isThereAfter ? Effect::kWon : Effect::kLost;
}
Effect EffectOfWhole(const Reason&, bool isThereAfter, const Interfaces&) {
  return isThereAfter ? Effect::kLost : Effect::kWon;
}

// Software stands in for the card that isn't there.
Effect EffectOfWhole(const GPU& gpu, bool isThereAfter, const Interfaces& otherHasCards) {
  if (gpu.software && otherHasCards.count(gpu.interface) > 0) return Effect::kChanged;
  return isThereAfter ? Effect::kWon : Effect::kLost;
}

// --- Comparing ----------------------------------------------------------------------------------------

// Nothing of what is compared otherwise.
template <class Field>
std::optional<Datum> DatumOf(const Field& field) {
  if constexpr (std::is_enum_v<Field>) {
    return Datum(std::string(NameOf(field)));
  } else if constexpr (std::is_same_v<Field, bool> || std::is_same_v<Field, double> ||
                       std::is_same_v<Field, std::string>) {
    return Datum(field);
  } else if constexpr (std::is_integral_v<Field>) {
    constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
    if constexpr (std::is_unsigned_v<Field>)
      if (field > static_cast<std::uint64_t>(kMost)) return Datum(kMost);
    return Datum(static_cast<std::int64_t>(field));
  } else {
    return std::nullopt;
  }
}

template <class Texts>
Datum Joined(const Texts& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}
std::optional<Datum> DatumOf(const std::vector<std::string>& texts) { return Joined(texts); }
std::optional<Datum> DatumOf(const std::deque<std::string>& texts) { return Joined(texts); }

class Comparer {
 public:
  Comparer(Answer before, Answer after, double measurementNoise)
      : fBefore(std::move(before)), fAfter(std::move(after)), fMeasurementNoise(measurementNoise) {}

  Comparison Compare() {
    CompareFields(fBefore, fAfter);
    if (fBefore.system && fAfter.system)
      CompareData("system", InWords(*fBefore.system), InWords(*fAfter.system));
    CompareFirstRuns();
    CompareLists("gpu", fBefore.gpus, fAfter.gpus);
    CompareLists("adapter", fBefore.adapters, fAfter.adapters);
    CompareLists("driver", fBefore.drivers, fAfter.drivers);
    CompareLists("reason", fBefore.reasons, fAfter.reasons);
    return {fBefore.time, fAfter.time, std::move(fChanges)};
  }

 private:
  void Add(std::optional<Effect> effect, const std::string& key, std::optional<Datum> before,
           std::optional<Datum> after) {
    if (effect) fChanges.push_back({*effect, fSubject, fName, key, std::move(before), std::move(after)});
  }

  void CompareData(const std::string& key, const Datum& before, const Datum& after) {
    Add(EffectOf(key, before, after, fMeasurementNoise), key, before, after);
  }

  template <class Part>
  void CompareFields(const Part& before, const Part& after) {
    FieldsOf(&before, [&](const char* key, auto member) {
      if (const auto was = DatumOf(before.*member)) CompareData(key, *was, *DatumOf(after.*member));
    });
  }

  // Whether OpenGL could be loaded and the like; what else is there is told by the GPUs, or a time.
  void CompareFirstRuns() {
    const auto flagsOf = [](const Answer& answer) {
      std::vector<Value> flags;
      if (!answer.runs.empty())
        for (const Value& value : answer.runs[0].values)
          if (std::holds_alternative<bool>(value.value)) flags.push_back(value);
      return flags;
    };
    CompareValues(flagsOf(fBefore), false, flagsOf(fAfter), false);
  }

  // What only one has counts where the other one would have told it.
  void CompareValues(const std::vector<Value>& before, bool tellsAllBefore, const std::vector<Value>& after,
                     bool tellsAllAfter) {
    std::map<std::string, const Datum*> left;
    for (const Value& value : after) left.emplace(value.key, &value.value);
    for (const Value& value : before) {
      if (const auto found = left.extract(value.key))
        CompareData(value.key, value.value, *found.mapped());
      else if (tellsAllAfter)
        Add(EffectOfNone(value.key, value.value, false), value.key, value.value, {});
    }
    if (tellsAllBefore)
      for (const Value& value : after)
        if (left.count(value.key) > 0)
          Add(EffectOfNone(value.key, value.value, true), value.key, {}, value.value);
  }

  template <class Part>
  void CompareParts(const Part& before, const Part& after) {
    CompareFields(before, after);
  }

  void CompareParts(const GPU& before, const GPU& after) {
    CompareFields(before, after);
    CompareData("driver", ManifestOf(before, fBefore), ManifestOf(after, fAfter));
    CompareData("adapter", AddressOf(before, fBefore), AddressOf(after, fAfter));
    CompareValues(before.values, before.complete, after.values, after.complete);
  }

  template <class Part>
  void CompareLists(const char* subject, const std::vector<Part>& before, const std::vector<Part>& after) {
    fSubject = subject;
    const auto matches = Match(KeysOfAll(before, fBefore, false), KeysOfAll(after, fAfter, true));
    std::vector<bool> isOld(after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      fName = CallingOf(before[i], fBefore);
      if (matches[i]) {
        isOld[*matches[i]] = true;
        CompareParts(before[i], after[*matches[i]]);
      } else {
        Add(EffectOfWhole(before[i], false, fCardsAfter), "", WordsOf(before[i], fBefore), {});
      }
    }
    for (std::size_t i = 0; i < after.size(); ++i) {
      if (isOld[i]) continue;
      fName = CallingOf(after[i], fAfter);
      Add(EffectOfWhole(after[i], true, fCardsBefore), "", {}, WordsOf(after[i], fAfter));
    }
  }

  template <class Part>
  static std::vector<Keys> KeysOfAll(const std::vector<Part>& parts, const Answer& answer, bool isAfter) {
    std::vector<Keys> keys;
    for (const Part& part : parts) keys.push_back(KeysOf(part, answer, isAfter));
    return keys;
  }

  const Answer fBefore;
  const Answer fAfter;
  const double fMeasurementNoise;
  const Interfaces fCardsBefore = InterfacesOf(fBefore), fCardsAfter = InterfacesOf(fAfter);
  std::string fSubject = "answer";  // of what is being compared
  std::string fName;
  std::vector<Change> fChanges;
};

}  // namespace

Comparison Compare(const Answer& before, const Answer& after, double measurementNoise) {
  const OwnNames names = GetOwnNames();
  return Comparer(WithoutNames(before, names), WithoutNames(after, names), measurementNoise).Compare();
}

bool HasLost(const Comparison& comparison) {
  return std::any_of(comparison.changes.begin(), comparison.changes.end(),
                     [](const Change& change) { return change.effect == Effect::kLost; });
}

}  // namespace gpuprowler
