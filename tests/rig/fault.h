// The rule engine of the faulty drivers: RIG_FAULT says which call misbehaves, when and how, and RIG_TRACE
// names a file that gets the name of every wrapped call. README.md has the rules as a tester sees them;
// wrap.h applies them.

#ifndef RIG_FAULT_H
#define RIG_FAULT_H

#include <optional>
#include <vector>

namespace rig {

// The API that a function belongs to. It decides how the function reports a failure.
enum class Api { kEgl, kGl, kCl };

// A wrapped function, and those actions that not every function can perform.
struct CallInfo {
  const char* fName;
  bool fCanFail;          // "fail": it can report an error code
  bool fCanLeaveGlError;  // "err": glGetError can have something to say afterwards
  bool fReturnsText;      // "text": its result is a constant string
};

// What the wrapper has to do with a call.
struct Verdict {
  enum class Kind {
    kProceed,  // make the call
    kReturn,   // skip it and give fValue, if it has a result
    kText,     // skip it and give fText
    kFail,     // skip it and fail with the code fValue
  };

  Kind fKind = Kind::kProceed;
  long long fValue = 0;
  const char* fText = nullptr;  // lives as long as the process
};

// Reads RIG_FAULT and RIG_TRACE; ends the process (see Refuse) if a rule can't be understood, names a
// function that no faulty driver wraps, or asks one of `calls` for what it can't do. A driver calls it when
// it's loaded, once, before it hands out a wrapper. Rules for functions of another driver are left to that
// driver.
void LoadFaults(const std::vector<CallInfo>& calls);

// Every wrapper calls it first, with its function's name and with how many calls of the function there have
// been, this one included. Writes the name to the trace, then performs all rules for the call in their order,
// up to one that ends the process, never returns, or skips the call. Any thread may call it, several at once.
Verdict BeforeCall(const char* name, unsigned long count);

// The error that this thread's next eglGetError or glGetError gives instead of asking the driver. There is
// one of each API for each thread; a later one replaces it, and taking it forgets it. A wrapped EGL call
// forgets EGL's.
void LeaveError(Api api, int code);
std::optional<int> TakeError(Api api);

}  // namespace rig

#endif
