#include "prowlprocess.h"

#include "schema.h"

Outcome RunProwl(const Environment& environment, const Texts& arguments, int output) {
  return ProberProcess(environment, arguments, output, ProberProcess::kPipe, "prowl").Finish();
}

nlohmann::json RunProwlForJSON(const Environment& environment, Texts arguments) {
  arguments.insert(arguments.begin(), "--json");
  const Outcome outcome = RunProwl(environment, arguments);
  EXPECT_EQ(outcome.errors, "");
  std::string text;
  for (const std::string& line : outcome.lines) text += line + "\n";
  auto document = nlohmann::json::parse(text);
  ExpectFitsSchema(document);
  document["ending"] = outcome.ending;
  return document;
}
