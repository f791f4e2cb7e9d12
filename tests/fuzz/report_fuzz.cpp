// Any bytes as a prober's output: in front of a NUL what it writes on standard output, behind it on standard
// error.
#include "require.h"

#include <ask/findings.h>
#include <nlohmann/json.hpp>
#include <tell/document.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

using gpuprowler::Ending;

// Takes the bytes in pieces of that size.
gpuprowler::RunResult Read(const std::string& bytes, std::size_t size) {
  gpuprowler::RunResult result;
  result.ending = {Ending::Kind::kExited, bytes.empty() ? 0 : bytes.back() % 8};
  const std::size_t output = std::min(bytes.find('\0'), bytes.size());
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    const std::size_t end = std::min(at + size, bytes.size());
    const std::size_t part = std::clamp(output, at, end);
    result.report.TakeOutput(bytes.data() + at, part - at, 0);
    result.report.TakeErrors(bytes.data() + part, end - part, 0);
  }
  result.report.Conclude(result.ending.status == gpuprowler::kProberFailed);
  return result;
}

bool IsPrintable(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != 0x7F); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const auto answer = [&](std::size_t piece) {
    const gpuprowler::RunResult result = Read(bytes, piece);
    Require(!result.report.GetReading().asked.empty(), "something is being asked");
    gpuprowler::Answer made;
    made.runs.push_back(RunOf(result, Judge(result.ending, result.report)));
    made.gpus = GPUsOf(result);
    return made;
  };
  const gpuprowler::Answer whole = answer(size + 1);
  const std::string document = AsJSON(whole);
  const auto read = gpuprowler::AnswerOf(document);
  Require(read && AsJSON(*read) == document, "the document is read back");
  Require(!gpuprowler::AnswerOf(bytes) || nlohmann::json::accept(bytes), "no document is taken for none");
  Require(IsPrintable(AsText(whole, true)), "the text can't harm a terminal");
  for (const std::size_t piece : {1u, 7u})
    Require(AsJSON(answer(piece)) == document, "how the bytes arrive changes nothing");
  return 0;
}
