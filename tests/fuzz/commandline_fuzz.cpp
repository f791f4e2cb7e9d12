// Any lines as the prober's arguments, and as a child's.
#include "process/commandline.h"
#include "require.h"

#include <gpuprowlerapp.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <sstream>
#include <string>

namespace {

// Says nothing, since the fuzzer's own words go to the same streams.
class QuietApp : public GPUProwlerApp {
 public:
  bool HandleOption(const std::string& name, const std::string& value) override {
    const bool speaks =
        name == ProwlerOption::kStdout || name == ProwlerOption::kStderr || name == ProwlerOption::kComment;
    return speaks || GPUProwlerApp::HandleOption(name, value);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  std::list<std::string> given;
  for (std::string line; std::getline(lines, line);) given.push_back(line);

  std::list<std::string> args = given;
  QuietApp app;
  try {
    app.ParseArgs(args);
    std::list<std::string> again = args;
    app.ParseArgs(again);
    Require(again == args, "what isn't recognised stays so");
  } catch (const GPUProwlerApp::UsageException&) {
  }

  const std::deque<std::string> arguments(given.begin(), given.end());
  std::size_t least = 1;
  for (const std::string& argument : arguments) least += argument.size() + 3;
  const std::size_t length = ztutil::CommandLine(L"p", arguments).size();
  Require(length >= least && length <= 2 * least, "an argument gets a blank, two quotes and backslashes");
  return 0;
}
