#include "timeline.h"

#include "html.h"
#include "tell/words.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace gpuprowler {

namespace {

constexpr int kSteps = 1000;         // that the picture tells apart
constexpr int kLabelledSteps = 220;  // a wait as long as that has room for its name
constexpr std::size_t kToldWaits = 3;

// Whose turn it was, as a class of the style sheet.
const char* ClassOf(const Wait& wait) {
  const auto holds = [&](const char* part) { return wait.question.find(part) != std::string::npos; };
  if (!wait.isAnswered) return "open";
  if (holds("clgpu[") || holds("NumCL")) return "opencl";
  if (holds("glgpu[") || holds("OGL") || holds("NumGL")) return "opengl";
  return "prober";
}

std::string Percent(int step) { return Fixed(step / 10.0, 1) + "%"; }

std::string Told(const Wait& wait) {
  return wait.question + (wait.isAnswered ? ", " : ", no answer, ") + TimeText(wait.seconds);
}

// No wider than its wait.
std::string Label(const Wait& wait, int from, int to) {
  return "<svg x=\"" + Percent(from) + "\" width=\"" + Percent(to - from) +
         "\" height=\"20\"><text y=\"14\">" + Escaped(Told(wait), 100) + "</text></svg>\n";
}

std::string Description(const std::vector<Wait>& waits) {
  std::string longest;
  for (const Wait& wait : LongestOf(waits, kToldWaits)) longest += (longest.empty() ? "" : "; ") + Told(wait);
  return "The longest waits: " + longest + ".";
}

}  // namespace

std::vector<Wait> WaitsOf(const Run& run) {
  std::vector<Wait> waits;
  double last = 0;
  const auto add = [&](double end, const std::string& question, const std::string& words, bool isAnswered) {
    const double seconds = std::max(0.0, end - last);
    waits.push_back({last, seconds, question, words, isAnswered});
    last += seconds;
  };
  for (const Line& line : run.output.lines) {
    if (line.kind != LineKind::kFinding) continue;
    const std::string key = line.text.substr(0, line.text.find('='));
    add(line.seconds, key, WithTopic(key), true);
  }
  if (!run.asked.empty())
    add(run.seconds, run.asked[0], AnyOf(run.asked), false);
  else if (run.seconds > last)
    add(run.seconds, "exit", WithTopic("exit"), true);
  return waits;
}

std::vector<Wait> LongestOf(const std::vector<Wait>& waits, std::size_t count) {
  constexpr double kLeastShare = 0.01;
  const double least = LengthOf(waits) * kLeastShare;
  std::vector<Wait> longest;
  std::copy_if(waits.begin(), waits.end(), std::back_inserter(longest),
               [&](const Wait& wait) { return wait.seconds > 0 && wait.seconds >= least; });
  std::stable_sort(longest.begin(), longest.end(),
                   [](const Wait& left, const Wait& right) { return left.seconds > right.seconds; });
  longest.resize(std::min(longest.size(), count));
  return longest;
}

double LengthOf(const std::vector<Wait>& waits) {
  return waits.empty() ? 0 : waits.back().start + waits.back().seconds;
}

std::string TimeText(double seconds) {
  return seconds < 0.9995 ? Fixed(seconds * 1000, 0) + " ms" : Fixed(seconds, 2) + " s";
}

std::string TimeLine(const std::vector<Wait>& waits, std::size_t number) {
  const double total = LengthOf(waits);
  if (total <= 0) return "";
  const std::string id = std::to_string(number);
  std::string bars, ticks, labels;
  int from = 0;
  for (const Wait& wait : waits) {
    const int to = static_cast<int>(std::lround((wait.start + wait.seconds) / total * kSteps));
    if (to == from) continue;
    bars += "<rect class=\"" + std::string(ClassOf(wait)) + "\" x=\"" + Percent(from) + "\" width=\"" +
            Percent(to - from) + "\" y=\"22\" height=\"18\"/>\n";
    if (wait.isAnswered)
      ticks += "<line x1=\"" + Percent(to) + "\" x2=\"" + Percent(to) + "\" y1=\"43\" y2=\"50\"/>\n";
    if (to - from >= kLabelledSteps) labels += Label(wait, from, to);
    from = to;
  }
  return "<svg class=\"timeline\" role=\"img\" aria-labelledby=\"title-" + id + " desc-" + id +
         "\" width=\"100%\" height=\"70\">\n<title id=\"title-" + id + "\">Time line of run " + id +
         "</title>\n<desc id=\"desc-" + id + "\">" + Escaped(Description(waits), 2000) + "</desc>\n" +
         labels + bars + ticks + "<text y=\"66\">0 s</text>\n<text x=\"100%\" y=\"66\" text-anchor=\"end\">" +
         TimeText(total) + "</text>\n</svg>\n";
}

}  // namespace gpuprowler
