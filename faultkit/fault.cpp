#include "fault.h"

#include "ends.h"
#include "rules.h"
#include "settings.h"

#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace rig {
namespace {

constexpr char kFaultVariable[] = "RIG_FAULT";
constexpr char kOnlyWithVariable[] = "RIG_FAULT_ONLY_WITH";
constexpr char kTraceVariable[] = "RIG_TRACE";
constexpr char kCallsVariable[] = "RIG_CALLS";

// Filled by LoadFaults and constant from then on. Never destroyed: driver threads outlive the end of main.
std::vector<Rule>& gRules = *new std::vector<Rule>;
std::string& gOnlyWith = *new std::string;
std::string& gTraceFile = *new std::string;
std::string& gCallsFile = *new std::string;

thread_local std::optional<unsigned> tGLError;

// Opened for each line and closed again, since a host may close descriptors that it doesn't know and reuse
// their numbers. A trace with gaps would be taken for another sequence of calls, so that a failure ends the
// process.
void Append(const char* variable, const std::string& fileName, const std::string& text) {
  std::ofstream file(fileName, std::ios::app);
  if (!(file << text << std::endl)) Refuse(variable, fileName, "can't be written");
}

// Whether rules are for this process.
bool Apply() { return gOnlyWith.empty() || dlopen(gOnlyWith.c_str(), RTLD_LAZY | RTLD_NOLOAD) != nullptr; }

// A rule that doesn't touch the call itself gives kProceed.
Verdict Perform(const Rule& rule) {
  const std::string& action = rule.fAction;
  EndBy(action, static_cast<int>(rule.fNumber));
  if (action == "sleep") std::this_thread::sleep_for(std::chrono::milliseconds(rule.fNumber));
  // Past all buffers of the process.
  if (action == "say") dprintf(STDOUT_FILENO, "%s\n", rule.fText.c_str());
  if (action == "warn") dprintf(STDERR_FILENO, "%s\n", rule.fText.c_str());
  if (action == "err") tGLError = static_cast<unsigned>(rule.fNumber);
  if (action == "ret") return {Verdict::Kind::kReturn, rule.fNumber};
  if (action == "text") return {Verdict::Kind::kReturn, reinterpret_cast<std::intptr_t>(rule.fText.c_str())};
  if (action == "fail") return {Verdict::Kind::kFail, rule.fNumber};
  return {};
}

}  // namespace

void LoadFaults() {
  gOnlyWith = Setting(kOnlyWithVariable);
  gTraceFile = Setting(kTraceVariable);
  gCallsFile = Setting(kCallsVariable);
  gRules = ParseRules(kFaultVariable, Setting(kFaultVariable));
}

Verdict BeforeCall(const char* name, unsigned long count) {
  if (!gTraceFile.empty()) Append(kTraceVariable, gTraceFile, name);
  for (const Rule& rule : gRules) {
    if (rule.fCall != name || (rule.fCount != 0 && rule.fCount != count) || !Apply()) continue;
    const Verdict verdict = Perform(rule);
    if (verdict.fKind != Verdict::Kind::kProceed) return verdict;
  }
  return {};
}

void AfterCall(const char* name, const char* form, const std::vector<Value>& values) {
  if (!gCallsFile.empty()) Append(kCallsVariable, gCallsFile, "  " + CallText(name, form, values));
}

std::optional<unsigned> TakeGLError() { return std::exchange(tGLError, std::nullopt); }

}  // namespace rig
