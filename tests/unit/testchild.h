// The child of the test rig, which behaves as its arguments say.
#ifndef TESTCHILD_H_
#define TESTCHILD_H_

#include <ztutil/launcher.h>

#include <string>

// The path of its program, which stands beside the test's.
std::wstring TestChild();

// All that comes up to the end of the data.
std::string ReadAll(ztutil::Reader& reader);

// A child as one row of a table: launched with those arguments, its input closed and its output read.
// Gives Wait's answer and the exit code, 77 where Wait sets none: "0 3".
std::string RunChild(ztutil::Launcher& launcher, const std::deque<std::string>& arguments,
                     std::string* output = nullptr);

// Wait's answer and the exit code for a child that was launched.
std::string WaitFor(ztutil::Launcher& launcher);

#endif  // TESTCHILD_H_
