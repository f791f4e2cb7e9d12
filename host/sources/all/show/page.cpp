// An answer as a page.
#include "html.h"
#include "pagestyle.h"
#include "tell/privacy.h"
#include "tell/words.h"
#include "timeline.h"

#include <ztutil/version.h>

#include <gpuprowler/show.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

namespace gpuprowler {

namespace {

// What a page has at most. What is beyond that is counted.
constexpr std::size_t kMaxEntries = 128;  // of a list
constexpr std::size_t kMaxTimeLines = 16;
constexpr std::size_t kMaxValueBytes = std::size_t{2} * 1024 * 1024;
constexpr std::size_t kMaxLineBytes = std::size_t{2} * 1024 * 1024;
constexpr std::size_t kTextBytes = 1000;  // of a value, and of a line
constexpr std::size_t kToldWaits = 5;
constexpr int kBarDigits = 3;

// --- Pieces
// --------------------------------------------------------------------------------------------------

std::string Count(std::size_t count, const std::string& one) {
  return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

// What is made of each of them, as far as there is room.
template <class Parts, class Make>
std::string Each(const Parts& parts, Make&& make) {
  std::string list = "\n";
  std::size_t count = 0;
  for (const auto& part : parts)
    if (count++ < kMaxEntries) list += make(part);
  return list;
}

template <class Parts>
std::string Rest(const Parts& parts, std::size_t shown = kMaxEntries) {
  return parts.size() <= shown ? "" : Element("p", "And " + std::to_string(parts.size() - shown) + " more.");
}

template <class Parts, class Make>
std::string List(const std::string& tag, const Parts& parts, Make&& make) {
  return parts.empty() ? "" : Element(tag, Each(parts, make)) + Rest(parts);
}

std::string Chip(const std::string& text, const std::string& kind = "plain") {
  return Element("span class=\"chip " + kind + "\"", Escaped(text));
}

std::string InterfaceChip(Interface interface) {
  return Chip(InWords(interface), interface == Interface::kOpenGL ? "opengl" : "opencl");
}

// Those that have a text.
std::string Terms(const Facts& facts) {
  std::string terms;
  for (const auto& [title, text] : facts)
    if (!text.empty()) terms += Element("div", Element("dt", title) + Element("dd", Escaped(text)));
  return terms.empty() ? "" : Element("dl", "\n" + terms);
}

std::string Row(const std::string& head, std::initializer_list<std::string> cells) {
  std::string row = Element("th scope=\"row\"", head);
  for (const std::string& cell : cells) row += Element("td", cell);
  return Element("tr", "\n" + row);
}

std::string Panel(const std::string& content) {
  return content.empty() ? "" : Element("div class=\"panel\"", "\n" + content);
}

// --- Verdict
// -------------------------------------------------------------------------------------------------

const char* ClassOf(const Answer& answer) {
  if (answer.text.empty()) return "neutral";
  switch (answer.verdict) {
    case Verdict::kFinished:
      return "good";
    case Verdict::kFailures:
    case Verdict::kInterrupted:
    case Verdict::kLost:
      return "fair";
    default:
      return "bad";
  }
}

std::string GPUCounts(const Answer& answer) {
  std::string counts;
  for (const Interface interface : {Interface::kOpenGL, Interface::kOpenCL}) {
    const auto count = std::count_if(answer.gpus.begin(), answer.gpus.end(),
                                     [&](const GPU& gpu) { return gpu.interface == interface; });
    const std::string kind = std::string("GPU") + (count == 1 ? "" : "s") + " of " + InWords(interface);
    if (count > 0) counts = Joined({counts, std::to_string(count) + " " + kind});
  }
  return counts.empty() ? "no GPU" : counts;
}

std::string HeaderOf(const Answer& answer) {
  std::string kind = "Cards and drivers", title = "No driver was asked";
  std::string details =
      Joined({Count(answer.adapters.size(), "card"), Count(answer.drivers.size(), "driver")});
  Facts story = StoryOf(answer);
  if (!answer.text.empty()) {
    kind = "Graphics report";
    title = answer.text;
    details = Joined({GPUCounts(answer), "after " + TimeText(answer.seconds),
                      (answer.remembered ? "remembered from " : "asked at ") + answer.time});
    story.emplace_back("Prober", CommandOf(answer));
  }
  return Element(std::string("header class=\"") + ClassOf(answer) + "\"",
                 "\n" + Element("p class=\"kind\"", kind) + Element("h1", Escaped(title)) +
                     Element("p", Escaped(details)) + Terms(story));
}

// --- Sections
// ------------------------------------------------------------------------------------------------

std::string ReasonsOf(const Answer& answer) {
  return List("ul class=\"reasons\"", answer.reasons, [](const Reason& reason) {
    return Element("li", Escaped(reason.text) + " " + CodeElement(reason.code));
  });
}

std::string CardOf(const std::string& name, const std::string& chips, const Facts& facts) {
  return Element("li", "\n" + Element("h3", name.empty() ? "Unnamed" : Escaped(name)) +
                           (chips.empty() ? "" : Element("p", chips)) + Terms(facts));
}

std::string CardOf(const Answer& answer, const GPU& gpu) {
  std::string chips = InterfaceChip(gpu.interface) + Chip(NameOf(gpu));
  if (gpu.software) chips += Chip("software");
  if (!gpu.failed.empty()) chips += Chip("dropped", "bad");
  Facts facts = FactsOf(answer, gpu);
  facts.emplace_back("Failed at", AnyOf(gpu.failed));
  return CardOf(ModelOf(gpu), chips, facts);
}

std::string CardOf(const Adapter& adapter) {
  Facts facts = FactsOf(adapter);
  facts.erase(facts.begin() + 1);  // its name
  return CardOf(adapter.name, "", facts);
}

std::string CardOf(const Driver& driver) {
  std::string chips = InterfaceChip(driver.interface);
  if (driver.behaviour > Behaviour::kSound) chips += Chip(BehaviourName(driver.behaviour), "bad");
  return CardOf(LibraryOf(driver), chips,
                {{"Behaviour", BehaviourOf(driver)}, {"Manifest", driver.manifest}});
}

template <class Parts>
std::string Cards(const Parts& parts) {
  return List("ul class=\"cards\"", parts, [](const auto& part) { return CardOf(part); });
}

std::string GPUsOf(const Answer& answer) {
  return List("ul class=\"cards\"", answer.gpus, [&](const GPU& gpu) { return CardOf(answer, gpu); });
}

// --- Measurements
// --------------------------------------------------------------------------------------------

struct Bar {
  std::string name;
  double number;
};

// Of all GPUs that were measured: one without a clock of its own says 0.
std::vector<Bar> BarsOf(const Answer& answer, const char* key, double unit) {
  std::vector<Bar> bars;
  for (const GPU& gpu : answer.gpus) {
    const Value* const value = gpu.Find(key);
    const double* const number = value != nullptr ? std::get_if<double>(&value->value) : nullptr;
    if (number != nullptr && *number > 0 && std::isfinite(*number))
      bars.push_back({Joined({ModelOf(gpu), NameOf(gpu)}), *number / unit});
  }
  return bars;
}

std::string FigureOf(const std::string& title, const std::vector<Bar>& bars) {
  double most = 0;
  for (const Bar& bar : bars) most = std::max(most, bar.number);
  if (bars.empty()) return "";
  const std::string rows = Each(bars, [&](const Bar& bar) {
    const std::string width = Fixed(bar.number / most * 100, 1) + "%";
    return Row(Escaped(bar.name),
               {Significant(bar.number, kBarDigits),
                "<svg class=\"bar\" aria-hidden=\"true\" width=\"100%\" height=\"12\"><rect width=\"" +
                    width + "\" height=\"12\" rx=\"2\"/></svg>"});
  });
  return Element("table class=\"bars\"", "\n" + Element("caption", title) + rows) + Rest(bars);
}

std::string MeasurementsOf(const Answer& answer) {
  return FigureOf("Copying in its memory, in GB a second", BarsOf(answer, "clBandwidth", 1e9)) +
         FigureOf("Computing, in 2<sup>30</sup> multiplications a second", BarsOf(answer, "clCompute", 1));
}

// --- Runs
// ----------------------------------------------------------------------------------------------------

std::string WaitTable(const std::vector<Wait>& waits) {
  std::string rows;
  for (const Wait& wait : LongestOf(waits, kToldWaits))
    rows += Row(Escaped(wait.words) + (wait.isAnswered ? "" : " " + Chip("no answer", "bad")),
                {TimeText(wait.seconds), Fixed(wait.seconds / LengthOf(waits) * 100, 0) + " %"});
  return rows.empty()
             ? ""
             : Element("table class=\"waits\"", "\n" + Element("caption", "The longest waits") + rows);
}

std::string RunOf(const Answer& answer, std::size_t place) {
  const Run& run = answer.runs[place];
  const std::vector<Wait> waits = WaitsOf(run);
  const std::string name = "Run " + std::to_string(place) + Around(", ", Escaped(CompanyOf(answer, run)));
  return Element("article",
                 "\n" + Element("h3", name) +
                     Element("p", Escaped(run.text) + ", after " + TimeText(run.seconds)) +
                     (run.output.linesDropped > 0 ? Element("p", "Its first lines are lost.") : "") +
                     TimeLine(waits, place) + WaitTable(waits));
}

// What the colours mean.
std::string Legend() {
  constexpr std::pair<const char*, const char*> kColours[] = {
      {"prober", "the prober itself"}, {"opengl", "OpenGL"}, {"opencl", "OpenCL"}, {"open", "no answer"}};
  std::string entries = "\n";
  for (const auto& [name, words] : kColours)
    entries += Element("li", "<svg aria-hidden=\"true\" width=\"12\" height=\"12\"><rect class=\"" +
                                 std::string(name) + "\" width=\"12\" height=\"12\"/></svg> " + words);
  return Element("ul class=\"legend\"", entries);
}

std::string RunsOf(const Answer& answer) {
  if (answer.runs.empty()) return "";
  std::string runs = Legend();
  for (std::size_t run = 0; run < std::min(answer.runs.size(), kMaxTimeLines); ++run)
    runs += RunOf(answer, run);
  return runs + Rest(answer.runs, kMaxTimeLines);
}

// --- All values
// ----------------------------------------------------------------------------------------------

std::string Folded(const std::string& title, const std::string& count, const std::string& content) {
  return Element("details", Element("summary", title + Element("span", count)) + content);
}

std::string ValueTable(const std::string& title, const std::vector<Value>& values, std::size_t& room) {
  std::string rows;
  std::size_t shown = 0;
  for (; shown < values.size(); ++shown) {
    const Value& value = values[shown];
    const std::string row = Row(Escaped(value.reportKey), {Escaped(InWords(value), kTextBytes)});
    if (row.size() > room) break;
    room -= row.size();
    rows += row;
  }
  if (rows.empty()) return "";
  return Folded(title, Count(values.size(), "value"),
                Element("table class=\"values\"", "\n" + rows) + Rest(values, shown));
}

// What drivers print stands out.
std::string LineText(const Line& line) {
  const std::string text = Escaped(line.text, kTextBytes);
  const bool isOurs = line.kind == LineKind::kFinding || line.kind == LineKind::kSymbol;
  return "<i>" + Fixed(line.seconds, 3) + "</i> " + (isOurs ? text : "<b>" + text + "</b>") + "\n";
}

// The latest, as far as there is room.
std::string LineBlock(const std::string& title, const Stream& stream, std::size_t room) {
  if (stream.lines.empty() && stream.unfinished.empty()) return "";
  std::vector<std::string> lines;  // the latest first
  if (!stream.unfinished.empty())
    lines.push_back(Escaped(stream.unfinished, kTextBytes) + " (without a line end)");
  std::uint64_t before = stream.linesDropped + stream.lines.size();
  for (auto line = stream.lines.rbegin(); line != stream.lines.rend(); ++line, --before) {
    std::string text = LineText(*line);
    if (text.size() > room) break;
    room -= text.size();
    lines.push_back(std::move(text));
  }
  std::string text;
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) text += *line;
  const std::string leftOut =
      before > 0 ? Element("p", std::to_string(before) + " lines before these are left out.") : "";
  return Folded(title, Count(stream.lines.size(), "line"), leftOut + Element("pre", text));
}

std::string ValuesOf(const Answer& answer) {
  std::size_t room = kMaxValueBytes;
  std::string all = Each(answer.gpus, [&](const GPU& gpu) {
    return ValueTable(Escaped(Joined({NameOf(gpu), ModelOf(gpu)})), gpu.values, room);
  });
  const std::size_t share = kMaxLineBytes / (2 * std::max<std::size_t>(answer.runs.size(), 1));
  std::size_t number = 0;
  all += Each(answer.runs, [&](const Run& run) {
    const std::string ofRun = " of run " + std::to_string(number++);
    return ValueTable("Values" + ofRun, run.values, room) +
           LineBlock("Standard output" + ofRun, run.output, share) +
           LineBlock("Standard error" + ofRun, run.errors, share);
  });
  return all.find('<') == std::string::npos ? "" : all;
}

// --- The page
// ------------------------------------------------------------------------------------------------

std::string PageOf(const Answer& answer) {
  const struct {
    const char *id, *title;
    std::string content;
  } sections[] = {{"why", "Why", ReasonsOf(answer)},
                  {"gpus", "GPUs", GPUsOf(answer)},
                  {"measurements", "Measurements", Panel(MeasurementsOf(answer))},
                  {"runs", "Time line", RunsOf(answer)},
                  {"adapters", "Adapters", Cards(answer.adapters)},
                  {"drivers", "Drivers", Cards(answer.drivers)},
                  {"values", "All values and lines", Panel(ValuesOf(answer))}};
  std::string links, main;
  for (const auto& [id, title, content] : sections) {
    if (content.empty()) continue;
    const std::string name = id;
    links += Element("li", Element("a href=\"#" + name + "\"", title));
    main += Element("section aria-labelledby=\"" + name + "\"",
                    "\n" + Element("h2 id=\"" + name + "\"", title) + content);
  }
  const std::string head =
      "<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
      "'unsafe-inline'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta name=\"generator\" content=\"gpuprowler " +
      std::string(ztutil::kVersion) + "\">\n" +
      Element("title", Escaped(answer.text.empty() ? "Cards and drivers" : answer.text) + " - gpuprowler") +
      Element("style", kPageStyle);
  return "<!DOCTYPE html>\n" +
         Element("html lang=\"en\"",
                 "\n" + Element("head", "\n" + head) +
                     Element("body", "\n" + HeaderOf(answer) +
                                         Element("nav aria-label=\"Sections\"", Element("ul", "\n" + links)) +
                                         Element("main", "\n" + main)));
}

}  // namespace

std::string AsHTML(const Answer& answer) { return PageOf(WithoutNames(answer, GetOwnNames())); }

}  // namespace gpuprowler
