// The Windows side of ../proberprocess.h, of which it has RunProber and what belongs to it.
#include "../proberprocess.h"

#include "otherruns.h"

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/filesystem.hpp>
#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

namespace {

namespace fs = boost::filesystem;

constexpr DWORD kPatienceMilliseconds = 240000;

void Require(bool ok, const char* call) {
  if (!ok) throw std::runtime_error(std::string(call) + " failed");
}

// A folder of this process, gone at its end.
struct Scratch {
  Scratch() { fs::create_directories(folder / "Desktop"); }
  ~Scratch() {
    boost::system::error_code ignored;
    fs::remove_all(folder, ignored);
  }
  const fs::path folder = fs::temp_directory_path() / fs::unique_path("prober-%%%%%%%%");
};

// A file that a child process writes.
HANDLE CreateOutput(const std::string& path) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  HANDLE const file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  Require(file != INVALID_HANDLE_VALUE, "CreateFile");
  return file;
}

// The file's text with line feeds alone at the ends of its lines, which had carriage returns, too; others are
// shown.
std::string ReadOutput(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  text = std::regex_replace(text, std::regex("\r\n"), "\v");
  text = std::regex_replace(text, std::regex("\n"), "[a bare line feed]\n");
  return std::regex_replace(text, std::regex("\v"), "\n");
}

// Runs the command to its end, and gives its status.
DWORD Run(std::string command, HANDLE output, HANDLE errors) {
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output;
  startup.hStdError = errors;
  PROCESS_INFORMATION process{};
  Require(CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                         &process),
          "CreateProcess");
  CloseHandle(process.hThread);
  if (WaitForSingleObject(process.hProcess, kPatienceMilliseconds) != WAIT_OBJECT_0)
    TerminateProcess(process.hProcess, ERROR_TIMEOUT);
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(process.hProcess, &status);
  CloseHandle(process.hProcess);
  return status;
}

// Closes the file.
Outcome RunInto(HANDLE output, const std::string& program, const Environment& environment,
                const Texts& arguments) {
  std::string command = "\"" + program + "\"";
  for (const std::string& argument : arguments) command += " " + argument;

  const std::string errors = ScratchFile("errors");
  HANDLE const errorsFile = CreateOutput(errors);
  // A child inherits the variables of this process.
  for (const auto& [name, value] : environment) _putenv_s(name.c_str(), value.c_str());
  const DWORD status = Run(command, output, errorsFile);
  CloseHandle(output);
  CloseHandle(errorsFile);
  return {{}, "", ReadOutput(errors), "status " + std::to_string(status)};
}

Outcome RunToEnd(const std::string& program, const Environment& environment, const Texts& arguments) {
  const std::string output = ScratchFile("output");
  Outcome outcome = RunInto(CreateOutput(output), program, environment, arguments);
  outcome.lines = Lines(ReadOutput(output), &outcome.rest);
  return outcome;
}

}  // namespace

Environment Drivers(Environment changes) {
  changes.emplace("TEST_PROFILE", ScratchFile(""));
  return changes;
}

std::string ScratchFile(const std::string& name) {
  static const Scratch scratch;
  return (scratch.folder / name).string();
}

std::string Built(const std::string& program) {
  return (boost::dll::program_location().parent_path() / program).string();
}

Outcome RunProber(const Environment& environment, const Texts& arguments) {
  return RunToEnd(Built("gpuprowler.exe"), environment, arguments);
}

Outcome RunProwl(const Texts& arguments, const Environment& environment, const std::string& program) {
  return RunToEnd(program, environment, arguments);
}

Outcome RunUnheardProber(const Texts& arguments) {
  HANDLE in = nullptr;
  HANDLE out = nullptr;
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  Require(CreatePipe(&in, &out, &inheritable, 0), "CreatePipe");
  CloseHandle(in);
  return RunInto(out, Built("gpuprowler.exe"), Drivers(), arguments);
}
