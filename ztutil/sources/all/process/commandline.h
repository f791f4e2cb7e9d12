// A program and its arguments as one text, for a system that hands a process no more than that.
#ifndef ZTUTIL_COMMANDLINE_H_
#define ZTUTIL_COMMANDLINE_H_

#include <deque>
#include <string>

namespace ztutil {

// The program as it stands: a caller quotes a path with blanks itself. Then of each argument a blank and the
// argument between quotes, which are double ones, or single ones if it contains double and no single quotes.
// A backslash goes before each such quote in it, and before nothing else. Its bytes are widened with their
// sign, by no code page: 0xE9 becomes 0xFFE9. The program's characters are taken as UTF-16.
//
// These are this library's own rules and not quite those by which Windows programs take such a text apart.
std::u16string CommandLine(const std::wstring& program, const std::deque<std::string>& arguments);

}  // namespace ztutil

#endif  // ZTUTIL_COMMANDLINE_H_
