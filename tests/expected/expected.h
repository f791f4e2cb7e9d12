// Long texts that are compared as a whole with a file of this folder: a person reads the file, and after a
// change the difference.
//
//   TABLES_TO=$PWD/tests/expected ./dev test -R Table    # takes what came out for what is expected: read git
//   diff
#ifndef EXPECTED_H_
#define EXPECTED_H_

#include <gtest/gtest.h>

#include <string>

// The file's text. A table may hold what is tried too: the test reads that, and tells what comes of it.
std::string Expected(const std::string& fileName);

// True if the text is that of the file. For EXPECT_TRUE, which shows the lines that differ. Where TABLES_TO
// is set, the text is also written to a file of that name in the folder that it names.
testing::AssertionResult AsExpected(const std::string& fileName, const std::string& text);

#endif  // EXPECTED_H_
