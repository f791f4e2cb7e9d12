#include "presentation.h"

#include <ztutil/classicstream.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iomanip>
#include <iterator>
#include <map>
#include <ostream>
#include <utility>
#include <vector>

namespace prowl {

namespace {

using JSON = nlohmann::ordered_json;

constexpr int kKeyWidth = 22;
constexpr std::size_t kPrintedBytes = 400;    // of one text
constexpr std::size_t kPrintedLines = 20;     // of one stream
constexpr std::size_t kPrintedQuestions = 8;  // where it may be one of many

// What isn't UTF-8 replaced.
std::string Valid(const std::string& text) {
  const std::string dumped = JSON(text).dump(-1, ' ', false, JSON::error_handler_t::replace);
  return JSON::parse(dumped).get<std::string>();
}

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

// What there is of one GPU, or of the run under an empty tag.
struct Group {
  std::string tag;
  std::vector<const Finding*> findings;  // in their order
  std::vector<Question> failed;          // one of these, if there are any
};

// The run's first.
std::vector<Group> Grouped(const Report& report) {
  std::map<std::pair<Scope, unsigned>, Group> groups;
  const auto groupOf = [&](const Question& question) -> Group& {
    Group& group = groups[{question.GetStep().scope, question.gpu}];
    group.tag = question.Tag();
    return group;
  };
  for (const Finding& finding : report.GetReading().findings)
    groupOf(finding.question).findings.push_back(&finding);
  for (const DroppedGPU& gpu : report.GetReading().dropped) groupOf(gpu.asked.front()).failed = gpu.asked;
  std::vector<Group> list;
  list.reserve(groups.size());
  for (auto& [id, group] : groups) list.push_back(std::move(group));
  return list;
}

// A question with its topic, if it has one.
std::string InWords(const Question& question) {
  const std::string topic(question.GetStep().topic);
  return question.Name() + (topic.empty() ? "" : " (" + topic + ")");
}

// "Title: one", or "Title one of:" and a list.
void PutQuestions(std::ostream& out, const std::string& title, const std::vector<Question>& questions) {
  if (questions.size() == 1) {
    out << title << ": " << InWords(questions[0]) << "\n";
    return;
  }
  out << title << " one of:\n";
  const std::size_t shown = std::min(questions.size(), kPrintedQuestions);
  for (std::size_t i = 0; i < shown; ++i) out << "  " << InWords(questions[i]) << "\n";
  if (shown < questions.size()) out << "  or of " << questions.size() - shown << " more\n";
}

// The last lines of some kinds, and what follows them, under a title if there are any.
void PutLines(std::ostream& out, const std::string& title, const Lines& lines,
              std::initializer_list<LineKind> kinds) {
  std::vector<const Line*> wanted;
  for (const Line& line : lines.Kept())
    if (std::find(kinds.begin(), kinds.end(), line.kind) != kinds.end()) wanted.push_back(&line);
  const std::string& rest = lines.Unfinished().text;
  if (wanted.empty() && rest.empty()) return;
  const std::size_t first = wanted.size() - std::min(wanted.size(), kPrintedLines);
  out << "\n" << title << "\n";
  if (first + lines.Dropped() > 0) out << "  (" << first + lines.Dropped() << " lines before these)\n";
  for (std::size_t i = first; i < wanted.size(); ++i) out << "  " << Printable(wanted[i]->text) << "\n";
  if (!rest.empty()) out << "  " << Printable(rest) << " (without a line end)\n";
}

JSON Names(const std::vector<Question>& questions) {
  JSON names = JSON::array();
  for (const Question& question : questions) names.push_back(question.Name());
  return names;
}

JSON Seconds(double seconds) { return std::round(seconds * 1e6) / 1e6; }

// A number, a list of numbers or a text without its quotes. What is neither stays as it is.
JSON Typed(const std::string& value) {
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
    return value.substr(1, value.size() - 2);
  JSON parsed = JSON::parse(value, nullptr, false);
  const auto isNumber = [](const JSON& element) { return element.is_number(); };
  if (parsed.is_number() || (parsed.is_array() && std::all_of(parsed.begin(), parsed.end(), isNumber)))
    return parsed;
  return value;
}

JSON FindingsOf(const Group& group) {
  JSON findings = JSON::object();
  for (const Finding* finding : group.findings)
    findings[std::string(finding->question.GetStep().key)] = Typed(finding->value);
  return findings;
}

const char* KindName(LineKind kind) {
  switch (kind) {
    case LineKind::kFinding:
      return "finding";
    case LineKind::kSymbol:
      return "symbol";
    case LineKind::kComment:
      return "comment";
    case LineKind::kFailure:
      return "failure";
    default:
      return "other";
  }
}

JSON LinesOf(const Lines& lines) {
  JSON list = JSON::array();
  for (const Line& line : lines.Kept()) {
    list.push_back({{"seconds", Seconds(line.seconds)}, {"kind", KindName(line.kind)}, {"text", line.text}});
    if (line.bytesCut > 0) list.back()["bytesCut"] = line.bytesCut;
  }
  return {
      {"linesDropped", lines.Dropped()}, {"lines", std::move(list)}, {"unfinished", lines.Unfinished().text}};
}

}  // namespace

std::string Printable(const std::string& text) {
  ztutil::ClassicStream out;
  out << std::hex << std::uppercase << std::setfill('0');
  const std::string valid = Valid(text.substr(0, kPrintedBytes));
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
  if (text.size() > kPrintedBytes) out << std::dec << "... (" << text.size() << " bytes)";
  return out.str();
}

std::string Summary(const RunResult& result, const Verdict& verdict) {
  const Report& report = result.report;
  ztutil::ClassicStream out;
  out << "The prober " << Printable(verdict.text);
  if (result.ending.kind != Ending::Kind::kNotStarted)
    out << ", after " << std::fixed << std::setprecision(2) << result.ending.seconds << " s";
  out << ".\n";
  if (!verdict.asked.empty()) {
    const auto& lines = report.Output().Kept();
    out << "Last line: " << (lines.empty() ? "none" : Printable(lines.back().text)) << "\n";
    PutQuestions(out, "Was being asked", verdict.asked);
  }
  for (const DroppedGPU& gpu : report.GetReading().dropped)
    PutQuestions(out, gpu.asked.front().Tag() + " was dropped, having failed", gpu.asked);
  for (const std::string& note : result.notes) out << "Note: " << Printable(note) << "\n";
  return out.str();
}

std::string AsText(const RunResult& result, const Verdict& verdict) {
  ztutil::ClassicStream out;
  out << Summary(result, verdict);
  for (const Group& group : Grouped(result.report)) {
    out << "\n" << (group.tag.empty() ? "Run" : group.tag) << "\n";
    for (const Finding* finding : group.findings)
      out << "  " << std::left << std::setw(kKeyWidth) << finding->question.GetStep().key << "  "
          << Printable(finding->value) << "\n";
  }
  PutLines(out, "Other lines", result.report.Output(), {LineKind::kOther, LineKind::kComment});
  PutLines(out, "Standard error", result.report.Errors(), {LineKind::kOther, LineKind::kFailure});
  return out.str();
}

std::string AsJSON(const RunOptions& options, const RunResult& result, const Verdict& verdict) {
  const Report& report = result.report;
  JSON document = {
      {"verdict", verdict.name},
      {"text", "The prober " + verdict.text},
      {"status", verdict.status},
      {"prober", options.prober},
      {"arguments", options.arguments},
      {"seconds", Seconds(result.ending.seconds)},
      {"end", result.ending.detail},
      {"complete", report.GetReading().isWhole},
      {"lastLine", nullptr},
      {"asked", Names(verdict.asked)},
      {"run", JSON::object()},
      {"gpus", JSON::array()},
      {"notes", result.notes},
  };
  if (result.ending.kind == Ending::Kind::kExited) document["exitStatus"] = result.ending.status;
  const auto& lines = report.Output().Kept();
  if (!lines.empty()) document["lastLine"] = lines.back().text;
  for (const Group& group : Grouped(report)) {
    if (group.tag.empty())
      document["run"] = FindingsOf(group);
    else
      document["gpus"].push_back(
          {{"tag", group.tag}, {"failed", Names(group.failed)}, {"findings", FindingsOf(group)}});
  }
  document["stdout"] = LinesOf(report.Output());
  document["stderr"] = LinesOf(report.Errors());
  return document.dump(2, ' ', false, JSON::error_handler_t::replace) + "\n";
}

}  // namespace prowl
