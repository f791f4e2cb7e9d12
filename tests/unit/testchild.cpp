#include "testchild.h"

#include <ztutil/widetext.h>

#include <boost/dll/runtime_symbol_info.hpp>

std::wstring TestChild() {
  static const auto path = boost::dll::program_location().parent_path() / "rigchild";
  return ztutil::WideFromUTF8(path.string());
}

std::string ReadAll(ztutil::Reader& reader) {
  std::string all, piece(65536, '\0');
  while (const std::size_t count = reader.ReadSome(piece.data(), piece.size())) all.append(piece, 0, count);
  return all;
}

std::string RunChild(ztutil::Launcher& launcher, const std::deque<std::string>& arguments,
                     std::string* output) {
  ztutil::LaunchResult child = launcher.Launch(TestChild(), arguments);
  child.fStdin.reset();
  const std::string said = ReadAll(*child.fAppOutput[1]);
  ReadAll(*child.fAppOutput[2]);
  if (output != nullptr) *output = said;
  return WaitFor(launcher);
}

std::string WaitFor(ztutil::Launcher& launcher) {
  std::int32_t exitCode = 77;
  const std::int32_t result = launcher.Wait(&exitCode);
  return std::to_string(result) + " " + std::to_string(exitCode);
}
