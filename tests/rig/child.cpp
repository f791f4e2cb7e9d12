// A console program that behaves as it is told, for tests of whoever launches one. Each argument is an
// action, performed in its order; at the end of them the process ends with 0. README.md lists them.

#include "childsystem.h"
#include "crash.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

namespace {

constexpr int kOutput = 1;
constexpr int kErrors = 2;
constexpr std::uint32_t kRefused = 97;
constexpr std::uint32_t kStreamFailed = 98;
constexpr std::size_t kPiece = 65536;

void Write(int descriptor, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const std::size_t count = rig::WriteSome(descriptor, text.data() + done, text.size() - done);
    if (count == 0) rig::EndProcess(kStreamFailed);
    done += count;
  }
}

void Sleep(unsigned long milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void Flood(int descriptor, std::size_t bytes) {
  const std::string piece(kPiece, 'x');
  for (; bytes > 0; bytes -= std::min(bytes, kPiece)) Write(descriptor, piece.substr(0, bytes));
}

// Up to the end of standard input.
void Read(bool echo) {
  std::string piece(kPiece, '\0');
  while (const std::size_t count = rig::ReadSome(piece.data(), kPiece))
    if (echo) Write(kOutput, piece.substr(0, count));
}

void Perform(const char* program, const std::string& action) {
  const std::size_t colon = action.find(':');
  const std::string verb = action.substr(0, colon);
  const std::string text = colon == std::string::npos ? "" : action.substr(colon + 1);
  const unsigned long number = std::strtoul(text.c_str(), nullptr, 0);

  if (verb == "exit") rig::EndProcess(static_cast<std::uint32_t>(number));
  if (verb == "crash") rig::AccessBadAddress();
  if (verb == "signal") return rig::RaiseSignal(static_cast<int>(number));
  if (verb == "sleep") return Sleep(number);
  while (verb == "hang") Sleep(60000);
  if (verb == "say") return Write(kOutput, text + "\n");
  if (verb == "warn") return Write(kErrors, text + "\n");
  if (verb == "half") return Write(kOutput, text);
  if (verb == "flood") return Flood(kOutput, number);
  if (verb == "floodwarn") return Flood(kErrors, number);
  if (verb == "echo") return Read(true);
  if (verb == "drain") return Read(false);
  if (verb == "close") return rig::CloseStream(static_cast<int>(number));
  if (verb == "descriptors") return Write(kOutput, rig::OpenDescriptors() + "\n");
  if (verb == "folder") return Write(kOutput, std::filesystem::current_path().string() + "\n");
  if (const char* const value = std::getenv(text.c_str()); verb == "variable" && value != nullptr)
    return Write(kOutput, value);
  if (verb == "grandchild" && rig::StartGrandchild(program, text)) return;
  Write(kErrors, "child: can't do " + action + "\n");
  rig::EndProcess(kRefused);
}

}  // namespace

int main(int argc, char** argv) {
  rig::PrepareStreams();
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "arguments") == 0) {
      Write(kOutput, rig::RawCommandLine(argc, argv));
      return EXIT_SUCCESS;
    }
    Perform(argv[0], argv[i]);
  }
  return EXIT_SUCCESS;
}
