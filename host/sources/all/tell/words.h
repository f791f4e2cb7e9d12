// An answer's parts in words, for all forms in which people read one. What drivers have said stands in them
// as it is: whoever shows them makes them fit for that.
#ifndef GPUPROWLER_WORDS_H_
#define GPUPROWLER_WORDS_H_

#include <gpuprowler/answer.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace gpuprowler {

// What is known of something: titles, and texts that may be empty.
using Facts = std::vector<std::pair<const char*, std::string>>;

const char* InWords(Interface interface);

// As the report has it.
std::string InWords(const Value& value);

// What a question wants to know: "its memory". Empty where the question says it, or is
// none.
std::string TopicOf(const std::string& question);

// With its topic in parentheses.
std::string WithTopic(const std::string& question);

// "A (its memory), or B, or one of 3 more"
std::string AnyOf(const std::vector<std::string>& questions);

// What happened in the runs with several drivers that came to no end, and the notes of all runs.
Facts StoryOf(const Answer& answer);

// What was started, with its arguments.
std::string CommandOf(const Answer& answer);

// Rounded, on every machine the same: "1.20" with two digits behind the point, "1.2" with six at most in all.
std::string Fixed(double number, int digits);
std::string Significant(double number, int digits);

// "glgpu[0]"; "glgpu[0] of run 2", where it isn't the first.
std::string NameOf(const GPU& gpu);

// What is sold, or else what renders.
std::string ModelOf(const GPU& gpu);

// All but its name, its model and what it failed. GPUs of an interface have the same titles, and so have all
// adapters.
Facts FactsOf(const Answer& answer, const GPU& gpu);
Facts FactsOf(const Adapter& adapter);

// "with a.json alone"; empty for a run with several drivers.
std::string CompanyOf(const Answer& answer, const Run& run);

// Its library, with a remark where that isn't there.
std::string LibraryOf(const Driver& driver);

// "crashed at glgpu[0].GLVersion, set aside since ..."; empty where nothing is known.
std::string BehaviourOf(const Driver& driver);

// "first, second": of parts that may be empty.
std::string Joined(std::initializer_list<std::string> parts);

// Around what is there.
std::string Around(const char* before, const std::string& text, const char* behind = "");

}  // namespace gpuprowler

#endif  // GPUPROWLER_WORDS_H_
