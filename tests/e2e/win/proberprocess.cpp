// The Windows side of ../proberprocess.h, of which it has RunProber and what belongs to it.
#include "../proberprocess.h"

#include "unheardprober.h"

#include <boost/filesystem.hpp>
#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

namespace {

namespace fs = boost::filesystem;

constexpr DWORD kPatienceMilliseconds = 60000;

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

std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The text with line feeds alone at the ends of its lines, which had carriage returns, too; others are shown.
std::string Unixed(std::string text) {
  text = std::regex_replace(text, std::regex("\r\n"), "\v");
  text = std::regex_replace(text, std::regex("\n"), "[a bare line feed]\n");
  return std::regex_replace(text, std::regex("\v"), "\n");
}

// Variables of this process, which a child inherits. An empty one isn't there.
class Variables {
 public:
  explicit Variables(const Environment& environment) {
    for (const auto& [name, value] : environment) {
      const char* const former = std::getenv(name.c_str());
      fFormer[name] = former != nullptr ? former : "";
      _putenv_s(name.c_str(), value.c_str());
    }
  }
  ~Variables() {
    for (const auto& [name, value] : fFormer) _putenv_s(name.c_str(), value.c_str());
  }
  Variables(const Variables&) = delete;
  Variables& operator=(const Variables&) = delete;

 private:
  Environment fFormer;
};

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
Outcome RunProberInto(HANDLE output, const Environment& environment, const Texts& arguments) {
  // It stands beside this program.
  char self[MAX_PATH];
  Require(GetModuleFileNameA(nullptr, self, sizeof self) < sizeof self, "GetModuleFileName");
  std::string command = "\"" + (fs::path(self).parent_path() / "gpuprowler.exe").string() + "\"";
  for (const std::string& argument : arguments) command += " " + argument;

  const std::string errors = ScratchFile("errors");
  HANDLE const errorsFile = CreateOutput(errors);
  const Variables variables(environment);
  const DWORD status = Run(command, output, errorsFile);
  CloseHandle(output);
  CloseHandle(errorsFile);
  return {{}, "", Unixed(Content(errors)), "status " + std::to_string(status)};
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

Outcome RunProber(const Environment& environment, const Texts& arguments) {
  const std::string output = ScratchFile("output");
  Outcome outcome = RunProberInto(CreateOutput(output), environment, arguments);
  outcome.lines = Lines(Unixed(Content(output)), &outcome.rest);
  return outcome;
}

Outcome RunUnheardProber(const Texts& arguments) {
  HANDLE in = nullptr;
  HANDLE out = nullptr;
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  Require(CreatePipe(&in, &out, &inheritable, 0), "CreatePipe");
  CloseHandle(in);
  return RunProberInto(out, Drivers(), arguments);
}
