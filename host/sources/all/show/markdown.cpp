// An answer as Markdown. What drivers have said stands in code, where trackers see no markup, no names of
// people or issues, and no links.
#include "html.h"
#include "tell/printable.h"
#include "tell/privacy.h"
#include "tell/words.h"

#include <gpuprowler/show.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace gpuprowler {

namespace {

constexpr std::size_t kMaxBytes = 60000;  // trackers refuse 65,536 characters
constexpr std::size_t kTextBytes = 200;   // in tables and lists
constexpr std::size_t kLineBytes = 1000;  // in code
constexpr std::size_t kKeyWidth = 22;

// --- Texts
// ---------------------------------------------------------------------------------------------------

// In one line. What would end it, or a cell of a table around it, is an escape as control characters are.
std::string Code(const std::string& text) {
  if (text.empty()) return "";
  std::string code = "`";
  for (const char c : Printable(text, kTextBytes))
    if (c == '`')
      code += "\\x60";
    else if (c == '|')
      code += "\\x7C";
    else
      code += c;
  return code + "`";
}

bool IsLetter(char c) { return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z'); }
bool IsOfNumber(char c) { return ('0' <= c && c <= '9') || c == '.'; }
bool IsInside(char c) { return IsLetter(c) || c == '\'' || c == '-'; }

// Whether no tracker makes anything of it: a word of letters, or a short number.
bool IsPlain(std::string_view word) {
  constexpr std::size_t kMaxDigits = 8, kMaxLetters = 40;
  if (word.empty() || (word.size() <= kMaxDigits && std::all_of(word.begin(), word.end(), IsOfNumber)))
    return true;
  return word.size() <= kMaxLetters && IsLetter(word.front()) && IsLetter(word.back()) &&
         std::all_of(word.begin(), word.end(), IsInside);
}

// A word without the punctuation around it: [first, last).
std::pair<std::size_t, std::size_t> CoreOf(std::string_view word) {
  const std::size_t first = std::min(word.find_first_not_of('('), word.size());
  const bool isCall = word.find('(', first) != std::string_view::npos;
  const std::size_t last = word.find_last_not_of(isCall ? ".,:;" : ".,:;)");
  return {first, last == std::string_view::npos ? first : std::max(first, last + 1)};
}

template <class Visit>
void VisitWords(const std::string& text, Visit&& visit) {
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = std::min(text.find(' ', at), text.size());
    visit(std::string_view(text).substr(at, end - at));
  }
}

// Of our own words with names among them, and these alone in code.
std::string Sentence(const std::string& text) {
  std::string sentence;
  VisitWords(Printable(text), [&](std::string_view word) {
    const auto [first, last] = CoreOf(word);
    const std::string core(word.substr(first, last - first));
    if (!sentence.empty()) sentence += ' ';
    sentence += word.substr(0, first);
    sentence += IsPlain(core) ? core : Code(core);
    sentence += word.substr(last);
  });
  return sentence;
}

// As it is where that is harmless, else in code as a whole.
std::string Cell(const std::string& text) {
  bool isPlain = text.size() <= kTextBytes;
  VisitWords(text, [&](std::string_view word) {
    const auto [first, last] = CoreOf(word);
    isPlain = isPlain && IsPlain(word.substr(first, last - first));
  });
  return isPlain ? text : Code(text);
}

// --- Sections
// ------------------------------------------------------------------------------------------------

enum class Fold { kTitle, kOpen, kFolded };

struct Section {
  Fold fold = Fold::kOpen;
  std::string title;
  std::string before;  // in front of the rows
  std::vector<std::string> rows;
  std::string behind;
  bool keepsLast = false;  // if there is no room for all of them

  // With those rows that fit into so many bytes. Nothing if none does.
  std::string In(std::size_t room) const {
    std::size_t bytes = Heading(0).size() + before.size() + behind.size() + kSpareBytes;
    std::size_t count = 0;
    while (count < rows.size()) {
      bytes += rows[keepsLast ? rows.size() - 1 - count : count].size();
      if (bytes > room) break;
      ++count;
    }
    if (count == 0) return "";
    std::string text = Heading(count) + before;
    const std::size_t first = keepsLast ? rows.size() - count : 0;
    for (std::size_t row = first; row < first + count; ++row) text += rows[row];
    return text + behind + "\n";
  }

 private:
  static constexpr std::size_t kSpareBytes = 64;  // for the counts in the heading

  std::string Heading(std::size_t count) const {
    const std::string part = count == rows.size()
                                 ? ""
                                 : (keepsLast ? ", the last " : ", the first ") + std::to_string(count) +
                                       " of " + std::to_string(rows.size());
    if (fold == Fold::kFolded) return "<details><summary>" + title + part + "</summary>\n\n";
    return (fold == Fold::kTitle ? "### " : "#### ") + title + part + "\n\n";
  }
};

// No section takes more than half of the room that is left, so that a long one leaves some for the others.
std::string Fitted(const std::vector<Section>& sections) {
  std::string all;
  for (const Section& section : sections) all += section.In(std::string::npos);
  if (all.size() <= kMaxBytes) return all;

  constexpr std::size_t kNoteBytes = 200;
  std::size_t room = kMaxBytes - kNoteBytes, leftOut = 0;
  std::vector<std::string> parts;
  for (const Section& section : sections) {
    parts.push_back(section.In(room / 2));
    room -= parts.back().size();
    if (parts.back().empty() && !section.rows.empty()) ++leftOut;
  }
  parts.front() += "This is shortened to what trackers take, and " + std::to_string(leftOut) +
                   " sections are left out. The JSON document has all.\n\n";
  std::string text;
  for (const std::string& part : parts) text += part;
  return text;
}

// A row for each thing that has a name and facts. What nothing has a text for is no column.
Section TableOf(const std::string& title, const char* kind, const std::vector<std::string>& names,
                const std::vector<Facts>& facts) {
  Section section;
  section.title = title;
  section.before = std::string("| ") + kind + " |";
  for (const std::string& name : names) section.rows.push_back("| " + Code(name) + " |");
  std::string rule = "| --- |";
  for (std::size_t column = 0; column < facts.front().size(); ++column) {
    const auto isEmpty = [&](const Facts& row) { return row[column].second.empty(); };
    if (std::all_of(facts.begin(), facts.end(), isEmpty)) continue;
    section.before += std::string(" ") + facts.front()[column].first + " |";
    rule += " --- |";
    for (std::size_t row = 0; row < facts.size(); ++row)
      section.rows[row] += " " + Cell(facts[row][column].second) + " |";
  }
  section.before += "\n" + rule + "\n";
  for (std::string& row : section.rows) row += "\n";
  return section;
}

std::size_t LongestRun(const std::string& text, char of) {
  std::size_t longest = 0, run = 0;
  for (const char c : text) longest = std::max(longest, run = c == of ? run + 1 : 0);
  return longest;
}

// Lines in a block of code, folded up. None of them can end it.
Section CodeOf(const std::string& title, std::vector<std::string> lines, bool keepsLast) {
  std::size_t fence = 3;
  for (std::string& line : lines) {
    fence = std::max(fence, LongestRun(line, '`') + 1);
    line += "\n";
  }
  const std::string marks(fence, '`');
  return {Fold::kFolded, title, marks + "text\n", std::move(lines), marks + "\n\n</details>\n", keepsLast};
}

// --- Parts
// ---------------------------------------------------------------------------------------------------

void AddStory(const Answer& answer, std::vector<Section>& sections) {
  Section section;
  section.fold = Fold::kTitle;
  const auto add = [&](const std::string& title, const std::string& text) {
    if (!text.empty()) section.rows.push_back("- " + title + ": " + text + "\n");
  };
  if (answer.text.empty()) {
    section.title = "Cards and drivers";
    add("Asked", "none of them");
  } else {
    section.title = Sentence(answer.text) + ", after " + Fixed(answer.seconds, 2) + " s";
    for (const auto& [title, text] : StoryOf(answer)) add(title, Sentence(text));
    add("Asked", Joined({Around("at ", Code(answer.time)), Around("by ", Code(CommandOf(answer))),
                         answer.remembered ? "and this is remembered" : ""}));
  }
  sections.push_back(std::move(section));
}

void AddGPUs(const Answer& answer, std::vector<Section>& sections) {
  for (const Interface interface : {Interface::kOpenGL, Interface::kOpenCL}) {
    std::vector<std::string> names;
    std::vector<Facts> facts;
    for (const GPU& gpu : answer.gpus) {
      if (gpu.interface != interface) continue;
      names.push_back(NameOf(gpu));
      facts.push_back(FactsOf(answer, gpu));
      facts.back().insert(facts.back().begin(), {"Model", ModelOf(gpu)});
      facts.back().emplace_back("Dropped, having failed", AnyOf(gpu.failed));
    }
    if (names.empty()) continue;
    sections.push_back(TableOf(InWords(interface), "GPU", names, facts));
  }
}

void AddReasons(const Answer& answer, std::vector<Section>& sections) {
  Section section;
  section.title = "Why";
  for (const Reason& reason : answer.reasons)
    section.rows.push_back("- " + Sentence(reason.text) + Around(" (", Code(reason.code), ")") + "\n");
  sections.push_back(std::move(section));
}

void AddAdapters(const Answer& answer, std::vector<Section>& sections) {
  std::vector<std::string> names;
  std::vector<Facts> facts;
  for (const Adapter& adapter : answer.adapters) {
    names.push_back(std::to_string(names.size()));
    facts.push_back(FactsOf(adapter));
  }
  if (!names.empty()) sections.push_back(TableOf("Adapters", "Adapter", names, facts));
}

void AddDrivers(const Answer& answer, std::vector<Section>& sections) {
  std::vector<std::string> names;
  std::vector<Facts> facts;
  for (const Driver& driver : answer.drivers) {
    names.push_back(driver.manifest);
    facts.push_back({{"Interface", InWords(driver.interface)},
                     {"Library", LibraryOf(driver)},
                     {"Behaviour", BehaviourOf(driver)}});
  }
  if (!names.empty()) sections.push_back(TableOf("Drivers", "Driver", names, facts));
}

// Where there was more than one.
void AddRuns(const Answer& answer, std::vector<Section>& sections) {
  if (answer.runs.size() < 2) return;
  Section section;
  section.title = "Runs";
  for (const Run& run : answer.runs)
    section.rows.push_back(
        "- " +
        Joined({std::to_string(section.rows.size()) + ": " + Sentence(run.text),
                "after " + Fixed(run.seconds, 2) + " s", Sentence(CompanyOf(answer, run))}) +
        "\n");
  sections.push_back(std::move(section));
}

void AddValues(const std::string& title, const std::vector<Value>& values, std::vector<Section>& sections) {
  std::vector<std::string> lines;
  for (const Value& value : values) {
    std::string key = Printable(value.reportKey);
    key.resize(std::max(key.size(), kKeyWidth), ' ');
    lines.push_back(key + "  " + Printable(InWords(value), kLineBytes));
  }
  sections.push_back(CodeOf(title, std::move(lines), false));
}

// What isn't an answer: these stand among the values.
void AddLines(const std::string& title, const Stream& stream, std::vector<Section>& sections) {
  std::vector<std::string> lines;
  if (stream.linesDropped > 0)
    lines.push_back("(" + std::to_string(stream.linesDropped) + " lines before these are lost)");
  for (const Line& line : stream.lines)
    if (line.kind != LineKind::kFinding && line.kind != LineKind::kSymbol)
      lines.push_back(Fixed(line.seconds, 3) + " s  " + Printable(line.text, kLineBytes));
  if (!stream.unfinished.empty())
    lines.push_back(Printable(stream.unfinished, kLineBytes) + " (without a line end)");
  sections.push_back(CodeOf(title, std::move(lines), true));
}

void AddDetails(const Answer& answer, std::vector<Section>& sections) {
  for (std::size_t run = 0; run < answer.runs.size(); ++run) {
    const std::string ofRun = " of run " + std::to_string(run);
    AddLines("Standard error" + ofRun, answer.runs[run].errors, sections);
    AddLines("Other lines" + ofRun, answer.runs[run].output, sections);
  }
  for (const GPU& gpu : answer.gpus) AddValues("Values of " + CodeElement(NameOf(gpu)), gpu.values, sections);
  for (std::size_t run = 0; run < answer.runs.size(); ++run)
    AddValues("Values of run " + std::to_string(run), answer.runs[run].values, sections);
}

std::string MarkdownOf(const Answer& answer) {
  std::vector<Section> sections;
  AddStory(answer, sections);
  AddReasons(answer, sections);
  AddGPUs(answer, sections);
  AddAdapters(answer, sections);
  AddDrivers(answer, sections);
  AddRuns(answer, sections);
  AddDetails(answer, sections);
  return Fitted(sections);
}

}  // namespace

std::string AsMarkdown(const Answer& answer) { return MarkdownOf(WithoutNames(answer, GetOwnNames())); }

}  // namespace gpuprowler
