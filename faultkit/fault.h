// The rule engine of the faulty drivers: RIG_FAULT says which call misbehaves, when and how, and RIG_TRACE
// and RIG_CALLS name files that get every wrapped call. rules.h reads the rules, wrap.h applies them.

#ifndef RIG_FAULT_H
#define RIG_FAULT_H

#include "calltext.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace rig {

// What the wrapper has to do with a call.
struct Verdict {
  enum class Kind {
    kProceed,  // make the call
    kReturn,   // skip it and give fValue, if it has a result; for a pointer fValue is an address
    kFail,     // skip it and fail with the code fValue
  };

  Kind fKind = Kind::kProceed;
  std::intptr_t fValue = 0;
};

// Reads RIG_FAULT, RIG_TRACE and RIG_CALLS; ends the process (see Refuse) if a rule can't be understood or
// names a function that no faulty driver wraps. A driver calls it when it's loaded, once, before it hands out
// a wrapper. Rules for functions of another driver are left to that driver.
void LoadFaults();

// Every wrapper calls it first, with its function's name and with how many calls of the function there have
// been, this one included. Writes the name to the trace, then performs all rules for the call in their order,
// up to one that ends the process, never returns, or skips the call. Any thread may call it, several at once.
Verdict BeforeCall(const char* name, unsigned long count);

// Every wrapper calls it last, with what CallText needs. Any thread may call it, several at once.
void AfterCall(const char* name, const char* form, const std::vector<Value>& values);

// What this thread's next glGetError gives instead of asking the driver; asking for it forgets it.
std::optional<unsigned> TakeGLError();

}  // namespace rig

#endif
