// How a fuzz target says that a rule doesn't hold: the process aborts, and the input is kept as a finding.
#ifndef REQUIRE_H_
#define REQUIRE_H_

#include <cstdio>
#include <cstdlib>

inline void Require(bool holds, const char* rule) {
  if (holds) return;
  std::fprintf(stderr, "doesn't hold: %s\n", rule);
  std::abort();
}

#endif  // REQUIRE_H_
