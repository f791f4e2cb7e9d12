// prowl on the real prober, and on children that are no probers.
#include "../report.h"
#include "otherruns.h"

#include <boost/dll/runtime_symbol_info.hpp>

namespace {

using std::string;

TEST(ProwlTest, JudgesWhateverItStarts) {
  const string child = (boost::dll::program_location().parent_path() / "rigchild.exe").string();
  const struct {
    string prober, arguments, summary;
  } rows[] = {
      {"gpuprowler.exe", "-- -exit=300", "The prober crashed: exit status 300"},
      {child, "-- say:x crash", "The prober crashed: exception 0xC0000005 (access violation)"},
      {child, "-- exit:5", "The prober ended early: status 5"},
      {child, "--timeout 1 -- hang", "The prober hung"},
      {"no.exe", "", "The prober could not start"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = RunProwl(Words("--prober " + row.prober + " " + row.arguments));
    EXPECT_EQ(outcome.lines.at(0).substr(0, row.summary.size()), row.summary) << outcome.ending;
  }
  const Outcome outcome = RunProwl({});
  EXPECT_EQ(outcome.lines.at(0).substr(0, 19), "The prober finished");
  EXPECT_EQ(outcome.ending, "status 0");
}

}  // namespace
