// Memory that runs out for the calling thread alone.
#ifndef SCARCEMEMORY_H_
#define SCARCEMEMORY_H_

#include <functional>
#include <string>

// So many allocations of this thread succeed, then one fails.
void FailAllocationAfter(int successes);

// How many allocations this thread has made and not given back.
int HeldAllocations();

// What comes of an action whose allocations fail one at a time: its own letters, each once in a row, and an
// 'x' for each exception.
std::string Outcomes(const std::function<char()>& action);

#endif  // SCARCEMEMORY_H_
