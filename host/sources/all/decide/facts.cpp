#include "facts.h"

#include <algorithm>
#include <string_view>

namespace gpuprowler {

namespace {

constexpr char kMesa[] = "Mesa", kNVIDIA[] = "NVIDIA";
constexpr char kNewestOpenGL[] = "4.1";

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::uint32_t NumberOf(const GPU& gpu, const char* key) {
  const Value* const value = gpu.Find(key);
  const auto* const number = value ? std::get_if<std::int64_t>(&value->value) : nullptr;
  return number && *number > 0 && *number <= UINT32_MAX ? static_cast<std::uint32_t>(*number) : 0;
}

std::string TextOf(const GPU& gpu, const char* key) {
  const std::string* const text = FindText(gpu, key);
  return text ? *text : "";
}

// --- The system ---

// Documents of earlier releases don't name it, but the paths in them do.
std::string SystemByPath(const std::string& path) {
  if (path.empty()) return "";
  if (Contains(path, "\\") || Contains(path.substr(0, 2), ":")) return "win";
  return path[0] == '/' || path[0] == '~' ? "linux" : "";
}

std::string SystemOf(const Answer& answer) {
  if (answer.system) return answer.system->type;
  std::string system = SystemByPath(answer.prober);
  for (const Driver& driver : answer.drivers)
    if (system.empty()) system = SystemByPath(driver.path + driver.manifest);
  for (const Adapter& adapter : answer.adapters)
    if (system.empty()) system = SystemByPath(adapter.renderNode);
  return system;
}

std::optional<FoundVersion> Exactly(std::optional<Version> version) {
  if (!version) return std::nullopt;
  return FoundVersion{*version};
}

// --- Drivers ---

// "2026-01-30", or "20260130000000.000000-000".
std::optional<Version> DateOf(std::string text) {
  constexpr std::size_t kYear = 4, kMonth = 2, kDay = 2;
  text.erase(std::remove(text.begin(), text.end(), '-'), text.end());
  if (text.find_first_not_of("0123456789") < kYear + kMonth + kDay || text.size() < kYear + kMonth + kDay)
    return std::nullopt;
  return Version{text.substr(0, kYear), text.substr(kYear, kMonth), text.substr(kYear + kMonth, kDay)};
}

// On Windows nobody tells it.
std::string DriverVendorOf(const Answer& answer, const Card& card, const Adapter* adapter) {
  std::string names = adapter != nullptr && adapter->driver == "nvidia" ? kNVIDIA : "";
  if (card.gpu != nullptr) {
    names += TextOf(*card.gpu, "glVendor") + "/" + TextOf(*card.gpu, "glRenderer") + "/";
    if (card.gpu->driver) names += answer.drivers[*card.gpu->driver].library;
  }
  // Mesa's tell of NVIDIA's cards too.
  if (Contains(names, kMesa) || Contains(names, "libEGL_mesa") || Contains(names, "llvmpipe")) return kMesa;
  return Contains(names, kNVIDIA) || Contains(names, "libEGL_nvidia") ? kNVIDIA : "";
}

// On Linux the system's word is the kernel driver's: its module's, or else the kernel's release. NVIDIA's
// module has the version of all of its driver; what the others' say isn't that of OpenGL's.
bool IsKernels(const std::string& version, const Card& card, const Facts& facts) {
  const std::optional<Version> found = LeadingVersion(version);
  if (card.driverVendor == kNVIDIA || !found) return false;
  constexpr char kOldest[] = "8";  // of Mesa's that still run
  return Contains(version, "-") || (facts.osVersion && facts.osVersion->version == *found) ||
         (card.driverVendor == kMesa &&
          VersionTest{Op::kLess, {kOldest}, {}, false, Schema::kCommon}.Holds({*found}) == Truth::kYes);
}

void SetDriver(const Answer& answer, const Adapter* adapter, const Facts& facts, Card& card) {
  if (card.gpu != nullptr && card.gpu->software) adapter = nullptr;
  std::string version = adapter != nullptr ? adapter->driverVersion : "";
  std::string date = adapter != nullptr ? adapter->driverDate : "";
  if (card.gpu != nullptr) {
    if (version.empty()) version = TextOf(*card.gpu, "glDriverVersion");
    if (date.empty()) date = TextOf(*card.gpu, "glDriverDate");
  }
  if (facts.os == "linux") {
    card.driverVendor = DriverVendorOf(answer, card, adapter);
    if (IsKernels(version, card, facts)) version = date = "";
  }
  card.driverVersion = Exactly(LeadingVersion(version));
  card.driverDate = Exactly(DateOf(date));
  // The prober asks it through libglvnd, which it can be had by since then.
  if (!card.driverVersion && card.driverVendor == kMesa && card.gpu != nullptr)
    card.driverVersion = FoundVersion{{"17", "0"}, true};
}

// --- Cards ---

Card CardOf(const Adapter& adapter) {
  Card card;
  if (adapter.vendorID != 0) card.vendor = adapter.vendorID;
  if (adapter.vendorID != 0) card.device = adapter.deviceID;
  card.revision = adapter.revision;
  return card;
}

// The card that a GPU of OpenGL's stands for: of several of one kind the first.
std::optional<std::size_t> PlaceOf(const GPU& gpu, const std::vector<Card>& cards) {
  if (gpu.adapter) return *gpu.adapter;
  const std::uint32_t vendor = NumberOf(gpu, "glVendorID"), device = NumberOf(gpu, "glRendererID");
  const auto found = std::find_if(cards.begin(), cards.end(), [&](const Card& card) {
    return vendor != 0 && card.vendor == vendor && card.device == device;
  });
  if (found == cards.end()) return std::nullopt;
  return static_cast<std::size_t>(found - cards.begin());
}

bool IsOpenGLs(const GPU& gpu) { return gpu.interface == Interface::kOpenGL; }

// Where the prober came to its end, OpenGL reaches no more than it has told of.
void SetGPUs(const Answer& answer, Facts& facts) {
  if (answer.verdict == Verdict::kFinished && std::any_of(answer.gpus.begin(), answer.gpus.end(), IsOpenGLs))
    for (Card& card : facts.cards) card.hasOpenGL = Truth::kNo;
  bool isFirst = true;
  for (const GPU& gpu : answer.gpus) {
    if (!IsOpenGLs(gpu)) continue;
    const auto place = PlaceOf(gpu, facts.cards);
    if (isFirst && place) facts.active = *place;
    Card* const card = place ? &facts.cards[*place] : isFirst ? &facts.cards[facts.active] : nullptr;
    if (card != nullptr && card->gpu == nullptr) card->gpu = &gpu;
    isFirst = false;
  }
}

}  // namespace

const std::string* FindText(const GPU& gpu, const char* key) {
  const Value* const value = gpu.Find(key);
  return value ? std::get_if<std::string>(&value->value) : nullptr;
}

std::optional<FoundVersion> OpenGLVersionOf(const GPU& gpu) {
  const std::string text = TextOf(gpu, "glVersion");
  const auto version = LeadingVersion(text);
  if (!version) return std::nullopt;
  return FoundVersion{*version, text == kNewestOpenGL};
}

Facts FactsOf(const Answer& answer) {
  Facts facts;
  facts.os = SystemOf(answer);
  if (answer.system) facts.osVersion = Exactly(LeadingVersion(answer.system->version));
  for (const Adapter& adapter : answer.adapters) facts.cards.push_back(CardOf(adapter));
  facts.count = facts.cards.size();
  if (facts.cards.empty()) {
    // The system knows of none; what renders may have ids all the same.
    Card& card = facts.cards.emplace_back();
    const auto first = std::find_if(answer.gpus.begin(), answer.gpus.end(), IsOpenGLs);
    card.vendor = first != answer.gpus.end() ? NumberOf(*first, "glVendorID") : 0;
    card.device = first != answer.gpus.end() ? NumberOf(*first, "glRendererID") : 0;
  }
  SetGPUs(answer, facts);
  for (std::size_t i = 0; i < facts.cards.size(); ++i)
    SetDriver(answer, i < facts.count ? &answer.adapters[i] : nullptr, facts, facts.cards[i]);
  return facts;
}

}  // namespace gpuprowler
