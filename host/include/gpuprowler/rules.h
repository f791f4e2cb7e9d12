// May an application use what an answer tells of? Files of rules say so, or requirements do; no driver runs.
//
//   gpuprowler::Rules rules;
//   rules.Add("list.json", text);
//   rules.Require("GLVersion>=3.3");
//   const gpuprowler::Decision decision = Check(rules, answer);
//   if (decision.outcome == gpuprowler::Outcome::kBlocked) ...
//
// The format is that of Chromium's software rendering list; docs/rules.md tells what is made of each member.
#ifndef GPUPROWLER_RULES_H_
#define GPUPROWLER_RULES_H_

#include <gpuprowler/answer.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace gpuprowler {

enum class Outcome {
  kAllowed,
  kWarned,   // an entry that may apply can't be decided by this answer, or one that applies only warns
  kBlocked,  // an entry applies, or no GPU meets the requirements
};

// "allowed", "warned" or "blocked".
const char* OutcomeName(Outcome outcome);

// What is wrong with a file of rules or a requirement. The entry that it is about has no effect; all others
// have.
struct RuleError {
  std::string file;    // empty: a requirement's
  std::string entry;   // its id, or its place where it has none: "17", "at place 3"; empty: the whole file's
  std::string member;  // "os.version.op"; empty: the whole entry's
  std::string text;    // "isn't known"
};

// "list.json, entry 17, os.version.op: isn't known", fit to be shown.
std::string AsText(const RuleError& error);

// An entry that applies, or that may apply for all that the answer knows.
struct RuleMatch {
  std::string file;
  std::int64_t id = 0;
  std::string description;
  std::string message;                          // for the user
  std::string fixedIn;                          // the driver that mends it; it is told, and not compared
  std::string link;                             // where there is a newer driver
  std::vector<std::string> disabledExtensions;  // of OpenGL's, which an application shouldn't use
  std::vector<std::string> unknown;             // the members that can't be decided; empty: it applies
};

struct FeatureDecision {
  Outcome outcome = Outcome::kAllowed;
  bool isNamed = false;              // by a rule; the rules about all are about it in any case
  std::vector<std::size_t> entries;  // in Decision::entries: those that it comes of
};

// How a GPU fares with the requirements of its interface.
struct RequirementResult {
  std::size_t gpu = 0;  // in Answer::gpus
  std::string name;     // "glgpu[0]"
  Outcome outcome = Outcome::kAllowed;
  bool complete = false;             // only such a GPU can meet a requirement
  std::vector<std::string> unmet;    // as they were given
  std::vector<std::string> unknown;  // those that the answer can't decide
};

// Plain data.
struct Decision {
  // The worst of all features asked for and of the requirements.
  Outcome outcome = Outcome::kAllowed;
  // By name. Those that were asked for; without any all that the rules name, or "all" where they name none.
  std::map<std::string, FeatureDecision> features;
  std::vector<RuleMatch> entries;
  bool hasRequirements = false;
  Outcome requirements = Outcome::kAllowed;  // of all of them
  std::vector<RequirementResult> gpus;       // where there are requirements
  std::vector<RuleError> errors;             // the rules'
};

// Any thread may check by them, several at once, while nobody adds to them.
class Rules {
 public:
  Rules();
  ~Rules();
  Rules(Rules&& other) noexcept;
  Rules& operator=(Rules&& other) noexcept;
  Rules(const Rules&) = delete;
  Rules& operator=(const Rules&) = delete;

  // Takes a file's text, behind those it has; the name is for people. False if something is wrong with it,
  // which GetErrors tells. Throws nothing but std::bad_alloc, as all of these.
  bool Add(const std::string& file, const std::string& text);

  // The same of a file, whose path is UTF-8; one that can't be read is an error as well.
  bool AddFile(const std::string& path);

  // "GLVersion>=3.3": a key of the document's or of the report's; one of = != < <= > >=; a value. All of
  // OpenGL's must be met by one GPU of its, and all of OpenCL's by one of its. False as for Add.
  bool Require(const std::string& expression);

  const std::vector<RuleError>& GetErrors() const;

 private:
  friend Decision Check(const Rules& rules, const Answer& answer, const std::vector<std::string>& features);

  struct Parts;
  std::unique_ptr<Parts> fParts;
};

// Without features it's about all.
Decision Check(const Rules& rules, const Answer& answer, const std::vector<std::string>& features = {});

// For people, in lines; and as a JSON document with a line end.
std::string AsText(const Decision& decision);
std::string AsJSON(const Decision& decision);

}  // namespace gpuprowler

#endif  // GPUPROWLER_RULES_H_
