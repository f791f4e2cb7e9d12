// What came out of a run of the prober.
#ifndef OUTCOME_H_
#define OUTCOME_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Texts = std::vector<std::string>;

struct Outcome {
  Texts lines;         // of standard output, complete ones
  std::string rest;    // what follows the last line end
  std::string errors;  // standard error
  std::string ending;  // "status 2", "signal 11"
};

// True if both came out alike, but for the time of day. For EXPECT_TRUE, which shows where they part.
testing::AssertionResult Same(const Outcome& actual, const Outcome& expected);

// Text as lines; what follows the last line end goes to `rest`.
Texts Lines(const std::string& text, std::string* rest = nullptr);

#endif  // OUTCOME_H_
