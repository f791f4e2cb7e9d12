#include "memory.h"

#include "memoryfile.h"
#include "tell/document.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

namespace gpuprowler {

namespace {

using JSON = nlohmann::json;

constexpr int kVersion = 1;
constexpr std::int64_t kFreshSeconds = std::int64_t{7} * 24 * 3600;

// Recalling reads all of the file.
constexpr std::size_t kMaxBytes = std::size_t{256} * 1024;
constexpr std::size_t kMaxAnswerBytes = std::size_t{64} * 1024;
constexpr std::size_t kMaxAnswers = 16;
constexpr std::size_t kMaxSetAside = 64;

struct Entry {
  std::string fingerprint;
  std::int64_t kept;     // in seconds since 1970
  std::string document;  // an answer; of a driver that was set aside one with that driver alone
};

// The latest come first.
using Entries = std::vector<Entry>;

struct Content {
  Entries answers;
  Entries setAside;
};

std::int64_t Now() {
  using std::chrono::system_clock;
  return std::chrono::duration_cast<std::chrono::seconds>(system_clock::now().time_since_epoch()).count();
}

// A clock that was set back makes stale what it had stamped.
bool IsStale(const Entry& entry) { return entry.kept > Now() || entry.kept < Now() - kFreshSeconds; }

Entries EntriesOf(const JSON& list) {
  Entries entries;
  for (const JSON& object : list) {
    const JSON& kept = object.at("kept");
    if (!kept.is_number_integer()) continue;
    entries.push_back({object.at("fingerprint").get<std::string>(), kept.get<std::int64_t>(),
                       object.at("document").get<std::string>()});
  }
  entries.erase(std::remove_if(entries.begin(), entries.end(), IsStale), entries.end());
  return entries;
}

Content ContentOf(const std::string& text) {
  try {
    const JSON file = JSON::parse(text);
    if (file.at("version") == kVersion)
      return {EntriesOf(file.at("answers")), EntriesOf(file.at("setAside"))};
  } catch (const JSON::exception&) {
  }
  return {};
}

JSON ListOf(const Entries& entries) {
  JSON list = JSON::array();
  for (const Entry& entry : entries)
    list.push_back({{"fingerprint", entry.fingerprint}, {"kept", entry.kept}, {"document", entry.document}});
  return list;
}

// The oldest go where there are too many.
std::string TextOf(Content content) {
  content.setAside.resize(std::min(content.setAside.size(), kMaxSetAside));
  content.answers.resize(std::min(content.answers.size(), kMaxAnswers));
  while (true) {
    const JSON file = {
        {"version", kVersion}, {"answers", ListOf(content.answers)}, {"setAside", ListOf(content.setAside)}};
    std::string text = file.dump(-1, ' ', false, JSON::error_handler_t::replace) + "\n";
    if (text.size() <= kMaxBytes) return text;
    Entries& longer = content.answers.empty() ? content.setAside : content.answers;
    longer.pop_back();
  }
}

void Erase(Entries& entries, const std::string& fingerprint) {
  entries.erase(std::remove_if(entries.begin(), entries.end(),
                               [&](const Entry& entry) { return entry.fingerprint == fingerprint; }),
                entries.end());
}

void Replace(Entries& entries, const std::string& fingerprint, std::string document) {
  Erase(entries, fingerprint);
  entries.insert(entries.begin(), {fingerprint, Now(), std::move(document)});
}

Content Read(const std::string& folder) { return ContentOf(platform::ReadMemoryFile(folder, kMaxBytes)); }

template <class Change>
bool ChangeContent(const std::string& folder, const Change& change) {
  if (folder.empty()) return false;
  return platform::ChangeMemoryFile(folder, kMaxBytes, [&](const std::string& text) {
    Content content = ContentOf(text);
    change(content);
    return TextOf(std::move(content));
  });
}

std::optional<SetAside> SetAsideOf(const Entry& entry) {
  const std::optional<Answer> answer = AnswerOf(entry.document);
  if (!answer || answer->drivers.empty()) return std::nullopt;
  const Driver& driver = answer->drivers.front();
  return SetAside{entry.fingerprint, driver.interface, driver.manifest,
                  driver.behaviour,  driver.question,  driver.since};
}

bool SaysNothing(Verdict verdict) {
  return verdict == Verdict::kNotStarted || verdict == Verdict::kInterrupted || verdict == Verdict::kLost;
}

}  // namespace

std::string UsersMemoryFolder() {
  const std::string folder = platform::StateFolder();
  return folder.empty() ? "" : folder + "/gpuprowler";
}

Memory::Memory(std::string folder) : fFolder(std::move(folder)) {}

std::optional<Answer> Memory::Recall(const std::string& fingerprint) const {
  for (const Entry& entry : Read(fFolder).answers) {
    if (entry.fingerprint != fingerprint) continue;
    std::optional<Answer> answer = AnswerOf(entry.document);
    if (answer) answer->remembered = true;
    return answer;
  }
  return std::nullopt;
}

void Memory::Keep(const std::string& fingerprint, const Answer& answer) {
  if (SaysNothing(answer.verdict)) return;
  Answer kept = answer;
  for (Run& run : kept.runs) {
    for (Stream* const stream : {&run.output, &run.errors}) {
      stream->linesDropped += stream->lines.size();
      stream->lines.clear();
    }
  }
  const std::string document = AsPrivateJSON(kept);
  if (document.size() > kMaxAnswerBytes) return;
  ChangeContent(fFolder, [&](Content& content) { Replace(content.answers, fingerprint, document); });
}

std::vector<SetAside> Memory::GetSetAside() const {
  std::vector<SetAside> drivers;
  for (const Entry& entry : Read(fFolder).setAside)
    if (std::optional<SetAside> driver = SetAsideOf(entry)) drivers.push_back(std::move(*driver));
  return drivers;
}

void Memory::Put(const SetAside& driver) {
  Answer answer;
  Driver& told = answer.drivers.emplace_back();
  told.interface = driver.interface;
  told.manifest = driver.manifest;
  told.behaviour = driver.behaviour;
  told.question = driver.question;
  told.since = driver.since;
  ChangeContent(fFolder, [&](Content& content) {
    Replace(content.setAside, driver.fingerprint, AsPrivateJSON(answer));
  });
}

void Memory::Drop(const std::string& driversFingerprint) {
  const Entries known = Read(fFolder).setAside;
  if (std::any_of(known.begin(), known.end(),
                  [&](const Entry& entry) { return entry.fingerprint == driversFingerprint; }))
    ChangeContent(fFolder, [&](Content& content) { Erase(content.setAside, driversFingerprint); });
}

std::size_t Memory::Forget(const std::string& manifest) {
  const Content before = Read(fFolder);
  if (before.answers.empty() && before.setAside.empty()) return 0;
  std::size_t count = 0;
  const bool changed = ChangeContent(fFolder, [&](Content& content) {
    const auto kept =
        std::remove_if(content.setAside.begin(), content.setAside.end(), [&](const Entry& entry) {
          const std::optional<SetAside> driver = SetAsideOf(entry);
          return !driver || driver->manifest.find(manifest) != std::string::npos;
        });
    count = static_cast<std::size_t>(content.setAside.end() - kept);
    content.setAside.erase(kept, content.setAside.end());
    content.answers.clear();
  });
  return changed ? count : 0;
}

}  // namespace gpuprowler
