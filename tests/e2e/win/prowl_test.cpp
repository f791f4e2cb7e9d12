// prowl on the real prober, and on children that are no probers.
#include "../report.h"
#include "otherruns.h"

#include <boost/filesystem.hpp>

#include <fstream>

namespace {

namespace fs = boost::filesystem;
using std::string;

TEST(ProwlTest, JudgesWhateverItStarts) {
  const string child = Built("rigchild.exe");
  const struct {
    string prober, arguments, summary;
  } rows[] = {
      {"gpuprowler.exe", "-- -exit=300", "The prober crashed: exit status 300"},
      {child, "-- say:x crash", "The prober crashed: exception 0xC0000005 (access violation)"},
      {child, "-- exit:5", "The prober ended early: status 5"},
      {child, "--timeout 1 -- hang", "The prober hung"},
      {"no.exe", "", "The prober could not start"},
      {child, "--json -- say:x", "{"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = RunProwl(Words("--prober " + row.prober + " " + row.arguments));
    EXPECT_EQ(outcome.lines.at(0).substr(0, row.summary.size()), row.summary) << outcome.ending;
    for (const string& line : outcome.lines) EXPECT_EQ(line.find("[a bare line feed]"), string::npos) << line;
  }
  const Outcome outcome = RunProwl({});
  EXPECT_EQ(outcome.lines.at(0).substr(0, 19), "The prober finished");
  EXPECT_EQ(outcome.ending, "status 0");
}

TEST(ProwlTest, LivesInAFolderOfAnyName) {
  const fs::path folder = ScratchFile(u8"\u6F22 \u0436");
  fs::create_directories(folder / "Desktop");
  for (const char* program : {"prowl.exe", "gpuprowler.exe"}) fs::copy_file(Built(program), folder / program);
  std::ofstream(folder / "ztlogSettings.txt") << "ConsoleAppLog=3\n";
  const string option = "--prober \"" + (folder / "gpuprowler.exe").string() + "\" ";
  for (const string& prober : {string(), option})  // which has failed when it has said how it is used
    EXPECT_EQ(
        RunProwl({prober + "-- -help"}, {{"TEST_PROFILE", folder.string()}}, (folder / "prowl.exe").string())
            .ending,
        "status 2");
  EXPECT_TRUE(fs::exists(folder / "ztlog.txt"));
}

}  // namespace
