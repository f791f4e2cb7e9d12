// Any bytes as rules: in front of a NUL a file of them, behind it a document that they are to decide about,
// or else a requirement and what a driver calls itself.
#include "require.h"

#include <gpuprowler/rules.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

gpuprowler::Answer AnswerFor(const std::string& bytes) {
  if (const auto answer = gpuprowler::AnswerOf(bytes)) return *answer;
  gpuprowler::Answer answer;
  answer.system = gpuprowler::OperatingSystem{bytes.size() % 2 == 0 ? "linux" : "win", bytes};
  answer.adapters.resize(2);
  answer.adapters[0].vendorID = answer.adapters[1].vendorID = 0x8086;
  answer.adapters[0].deviceID = 0x5916;
  answer.adapters[0].driverVersion = answer.adapters[1].driverDate = bytes;
  answer.gpus.resize(1);
  answer.gpus[0].complete = true;
  answer.gpus[0].adapter = 0;
  answer.gpus[0].values = {{"glVersion", "", "4.1"}, {"glVendor", "", bytes}, {"glRenderer", "", bytes}};
  return answer;
}

bool IsPrintable(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != 0x7F); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(bytes.find('\0'), size);
  const std::string behind = bytes.substr(std::min(end + 1, size));
  gpuprowler::Rules rules;
  Require(rules.Add("r", bytes.substr(0, end)) == rules.GetErrors().empty(), "what is wrong is told");
  rules.Require(behind);
  for (const gpuprowler::RuleError& error : rules.GetErrors())
    Require(!error.text.empty() && IsPrintable(AsText(error)),
            "an error has words that can't harm a terminal");
  const gpuprowler::Decision decision = Check(rules, AnswerFor(behind), {"webgl"});
  Require(IsPrintable(AsText(decision)), "the text can't harm a terminal");
  const auto document = nlohmann::json::parse(AsJSON(decision));
  Require(document["entries"].size() >= document["features"]["webgl"]["entries"].size(),
          "places are of entries");
  Require(decision.outcome >= decision.features.at("webgl").outcome, "the worst counts");
  return 0;
}
