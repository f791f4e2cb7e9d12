#include "fullreport.h"

#include <gtest/gtest.h>
#include <run/steps.h>

using gpuprowler::Form;
using std::string;

string FullReport(unsigned glGPUs, unsigned clGPUs, const string& failed) {
  const unsigned counts[] = {1, glGPUs, clGPUs};
  string report, dropped = "none";
  for (std::size_t step = 0; step + 1 < gpuprowler::Steps().size(); ++step) {
    const gpuprowler::Step& asked = gpuprowler::Steps()[step];
    for (unsigned gpu = 0; gpu < counts[static_cast<std::size_t>(asked.scope)]; ++gpu) {
      const gpuprowler::Question question{step, gpu};
      if (question.Name() == failed) dropped = question.Tag();
      if (question.Tag() == dropped || (asked.optional && asked.key != "NumCLGPUs")) continue;
      if (asked.key.find('[') != std::string_view::npos) report += "gputag.GL_X=1\n";
      const unsigned value = asked.key == "NumGLGPUs" ? glGPUs : asked.key == "NumCLGPUs" ? clGPUs : 1;
      const string number = std::to_string(value);
      report += question.Name() + "=" +
                (asked.form == Form::kText   ? "\"" + number + "\""
                 : asked.form == Form::kList ? "[" + number + "]"
                                             : number) +
                "\n";
    }
  }
  return report;
}

string Until(const string& beginning, const string& report) {
  const std::size_t line = ("\n" + report).find("\n" + beginning);
  EXPECT_NE(line, string::npos) << beginning;
  return report.substr(0, report.find('\n', line) + 1);
}
