// The driver calls that the prober makes, and for which questions.
#ifndef CALLS_H_
#define CALLS_H_

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

struct Call {
  std::string function;
  int number;            // of the process's calls of that function, from 1
  std::ptrdiff_t due;    // the lines of a sound run that are out when it's made
  std::string question;  // the key of the line that it's made for
  bool isAsked;          // it's the first that is made for that
};

// A symbol's line, which answers no question.
bool IsSymbol(const std::string& line);

// Each call, or the first of each function and the first for each question; of questions that differ by a
// symbol alone, for the first.
std::vector<Call> Calls(bool all);

inline void Require(bool ok, const std::string& complaint) {
  if (!ok) throw std::runtime_error(complaint);
}

#endif  // CALLS_H_
