// What a report must look like: the order of the prober's steps, and what its rules make of a failure.
#ifndef REPORT_H_
#define REPORT_H_

#include "proberprocess.h"

#include <functional>
#include <string>
#include <tuple>
#include <vector>

// The rows of a test.
template <class... Columns>
using Table = std::vector<std::tuple<Columns...>>;

// Something that the prober asks of one GPU, or a step of the whole run.
struct Step {
  std::string gpu;  // "glgpu[0]", or empty for a step of the whole run
  std::string key;  // what the last of its lines begins with, less the equals sign
  bool counts;      // whether -crashAfter and -throwAfter count it
  Texts lines;      // none if there is nothing to say
};

// Takes the report of a run without failures apart. A line that has another form than its key's or doesn't
// stand where it belongs is a failure of the test that asks.
std::vector<Step> StepsOf(const Texts& report);

// A run on Drivers() with those rules of the rig.
Outcome RunWithFault(const std::string& fault, const Texts& arguments = {});

// What it gives without any, made once.
const Outcome& CleanRun();
const std::vector<Step>& CleanSteps();

// What goes wrong in a step, if anything: the text on standard error, and how many of the step's lines are
// out.
struct Failure {
  std::string errors;
  std::size_t keptLines = 0;
};

// Gives a step's failure. `count` is how many steps were counted before.
using Failures = std::function<Failure(const Step& step, unsigned count)>;

Failure NoFailure(const Step& step, unsigned count);
Failures FailureIn(const std::string& key, const Failure& failure);

// What comes of it: a failed step on a GPU ends the testing of that GPU, another one ends the run.
Outcome Foretell(const std::vector<Step>& steps, const Failures& failures);

// The same lines, with the name of each driver call that the rig traces among them, as it's made. Made once.
const Texts& TracedRun();
bool IsCall(const std::string& line);

// Replaces the "#1" of a rule of the rig, the first call in the step of that key, by the call's number in the
// whole run.
std::string FaultIn(const std::string& key, const std::string& fault);

// What stands before a line's equals sign.
std::string KeyOf(const std::string& line);

// What stands behind the equals sign of that key; "none" if no line has it.
std::string ValueOf(const Outcome& outcome, const std::string& key);

// Log lines and remarks left out.
Texts WithoutComments(Texts lines);

// The words of a text.
Texts Words(const std::string& text);

#endif  // REPORT_H_
