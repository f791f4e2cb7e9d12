#include "gpuprowlerapp.h"

#include "gpuprowlertester.h"
#include "system/standardstreams.h"
#include "zentaratester.h"

#include <ztutil/ztlogging.h>

#include <boost/make_shared.hpp>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

namespace {

ztutil::DebugFlag gGPUProwler{"GPUProwler"};

// In the order of the usage text.
constexpr struct {
  const char* name;
  const char* usage;
} kUsage[] = {
    {ProwlerOption::kHelp, " {show this message}"},
    {ProwlerOption::kCrashAfter, "=N {GPUProwlerTester should crash after N steps}"},
    {ProwlerOption::kThrowAfter, "=N {GPUProwlerTester should throw after N steps}"},
    {ProwlerOption::kApp, "=SomeApp {specify name of host app}"},
    {ProwlerOption::kStdout, "=line_of_stdout {puts the line to stdout as-is}"},
    {ProwlerOption::kStderr, "=line_of_stderr {puts the line to stderr as-is}"},
    {ProwlerOption::kExit, "=N {app should exit with N}"},
    {ProwlerOption::kVerbose, "=N {verbosity level}"},
    {ProwlerOption::kTimeout, "=N {Mac only, SIGALRM kills prowler after N seconds, if not finished}"},
    {ProwlerOption::kComment, "=line_of_comment {outputs '# line_of_comment'}"},
    {ProwlerOption::kHang, "=N {before exit, sleep for N milliseconds}"},
};

// C's own idea of a number: 0x10 is 16, 010 is 8, and what doesn't begin with a number is 0. Text that isn't
// a number is no failure.
std::int32_t ParseInteger(const std::string& text) {
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 0);
  if (end == nullptr) throw std::runtime_error("bad integer: \"" + text + "\"");
  return static_cast<std::int32_t>(value);
}

}  // namespace

ProwlerLogger::~ProwlerLogger() { Leave(); }

std::string ProwlerLogger::MakePrefix(const char* file, int line) {
  return "# " + ZTStdioLogger::MakePrefix(file, line);
}

GPUProwlerApp::~GPUProwlerApp() = default;

void GPUProwlerApp::EmptyHookA() {}

void GPUProwlerApp::EmptyHookB() {}

void GPUProwlerApp::GetUsage(std::vector<std::string>& lines) const {
  lines.push_back("usage: " + fProgram);
  for (const auto& option : kUsage) lines.push_back(std::string("    -") + option.name + option.usage);
}

std::vector<std::string> GPUProwlerApp::GetUsage() const {
  std::vector<std::string> lines;
  GetUsage(lines);
  return lines;
}

void GPUProwlerApp::ParseArgs(std::list<std::string>& args) {
  std::list<std::string> unrecognized;
  while (!args.empty()) {
    const std::string arg = args.front();
    args.pop_front();
    if (!HandleArg(arg, args)) unrecognized.push_back(arg);
  }
  args.swap(unrecognized);
}

bool GPUProwlerApp::HandleArg(const std::string& arg, const std::list<std::string>&) {
  if (arg.empty() || arg.front() != '-') return false;
  const std::size_t equals = arg.find('=');
  if (equals == std::string::npos) {
    if (arg.substr(1) == ProwlerOption::kHelp) throw UsageException();
    return false;
  }
  std::string value = arg.substr(equals + 1);
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
    value = value.substr(1, value.size() - 2);
  return HandleOption(arg.substr(1, equals - 1), value);
}

bool GPUProwlerApp::HandleOption(const std::string& name, const std::string& value) {
  if (name == ProwlerOption::kCrashAfter) {
    SetCrashAfter(ParseInteger(value));
  } else if (name == ProwlerOption::kThrowAfter) {
    SetThrowAfter(ParseInteger(value));
  } else if (name == ProwlerOption::kApp) {
    fApp = value;
  } else if (name == ProwlerOption::kStdout) {
    DoStdout(value);
  } else if (name == ProwlerOption::kStderr) {
    DoStderr(value);
  } else if (name == ProwlerOption::kExit) {
    fExitCode = ParseInteger(value);
  } else if (name == ProwlerOption::kVerbose) {
    fVerbose = ParseInteger(value);
  } else if (name == ProwlerOption::kTimeout) {
    fTimeout = ParseInteger(value);
  } else if (name == ProwlerOption::kComment) {
    PutComment(value);
  } else if (name == ProwlerOption::kHang) {
    fHang = ParseInteger(value);
  } else {
    return false;
  }
  return true;
}

ztutil::ZTLogger* GPUProwlerApp::CreateLogger() { return new ProwlerLogger(stdout); }

GPUProwlerTester* GPUProwlerApp::CreateTester() { return new GPUProwlerTester(this); }

void GPUProwlerApp::PutComment(const std::string& text) { DoStdout("# " + text); }

void GPUProwlerApp::PutStdout(const std::string& line) {
  if (!ztutil::WriteStdoutLine(line)) throw std::runtime_error("PutStdout failed");
}

void GPUProwlerApp::PutStderr(const std::string& line) {
  if (!ztutil::WriteStderrLine(line)) throw std::runtime_error("PutStderr failed");
}

std::int32_t GPUProwlerApp::Run(std::list<std::string>& args) {
  fExitCode = 0;
  try {
    RunTester(args);
  } catch (const UsageException& exception) {
    fExitCode = 3;
    try {
      DoStderr(std::string("Usage exception: ") + exception.what());
      for (const std::string& line : GetUsage()) DoStderr(line);
    } catch (...) {
    }
  } catch (...) {
    fExitCode = 2;
    try {
      DoStderr(TextOfCurrentException());
    } catch (...) {
    }
  }
  return fExitCode;
}

void GPUProwlerApp::RunTester(std::list<std::string>& args) {
  GetLogger();
  if (!args.empty()) {  // a host may start a program without even its name
    fApp = std::move(args.front());
    args.pop_front();
  }
  ParseArgs(args);
  if (!args.empty()) throw UsageException();
  ztutil::DebugFlagValue(gGPUProwler) = fVerbose;

  GPUProwlerTester* const tester = GetTester();
  tester->SetCrashAfter(fCrashAfter);
  tester->SetThrowAfter(fThrowAfter);
  tester->Run();
  if (tester->GetFailures() > 0) fExitCode = 2;
  if (fHang != 0) Hang();
}

void GPUProwlerApp::Hang() const {
  const auto milliseconds = static_cast<std::uint32_t>(fHang);
  ZT_LOG_SCOPE(gGPUProwler, "GPUProwlerApp::Run() hang=" << milliseconds / 1000.0);
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::int32_t GPUProwlerApp::GetCrashAfter() const {
  return fTester != nullptr ? fTester->GetCrashAfter() : fCrashAfter;
}

void GPUProwlerApp::SetCrashAfter(std::int32_t count) {
  fCrashAfter = count;
  if (fTester != nullptr) fTester->SetCrashAfter(count);
}

std::int32_t GPUProwlerApp::GetThrowAfter() const {
  return fTester != nullptr ? fTester->GetThrowAfter() : fThrowAfter;
}

void GPUProwlerApp::SetThrowAfter(std::int32_t count) {
  fThrowAfter = count;
  if (fTester != nullptr) fTester->SetThrowAfter(count);
}

ztutil::ZTLogger* GPUProwlerApp::GetLogger() {
  if (fLogger == nullptr) fLogger = boost::make_shared<ProwlerLogger>(stdout);
  return fLogger.get();
}

GPUProwlerTester* GPUProwlerApp::GetTester() {
  if (fTester == nullptr) {
    fTester.reset(CreateTester());
    if (fTester == nullptr) fTester = boost::make_shared<GPUProwlerTester>(this);
  }
  return fTester.get();
}

ZentaraProwler::~ZentaraProwler() = default;

GPUProwlerTester* ZentaraProwler::CreateTester() { return new ZentaraTester(this); }

ZentaraProwler& ZentaraProwler::Get() {
  static ZentaraProwler prowler;
  return prowler;
}
