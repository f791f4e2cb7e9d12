#include "calls.h"

#include "prowlprocess.h"
#include "report.h"

#include <algorithm>
#include <map>
#include <set>

using std::string;

bool IsSymbol(const string& line) { return line.compare(0, 7, "gputag.") == 0; }

std::vector<Call> Calls(bool all) {
  const Texts& sound = CleanRun().lines;
  auto next = sound.begin();
  std::map<string, int> numbers;
  std::set<string> questions;
  std::vector<Call> calls;
  for (const string& line : TracedRun()) {
    if (!IsCall(line)) {
      ++next;
      continue;
    }
    const auto answer = std::find_if_not(next, sound.end(), IsSymbol);
    const string& function = line;
    const string question = answer == sound.end() ? "exit" : KeyOf(*answer);
    const bool isAsked = questions.insert(question.substr(0, question.find('[', question.find('.')))).second;
    if (++numbers[function] == 1 || isAsked || all)
      calls.push_back({function, numbers[function], next - sound.begin(), question, isAsked});
  }
  return calls;
}
