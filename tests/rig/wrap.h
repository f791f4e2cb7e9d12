// Wraps a function of any prototype, so that the rules of fault.h apply to it.

#ifndef RIG_WRAP_H
#define RIG_WRAP_H

#include "fault.h"

#include <atomic>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace rig {

// The wrapper of one function. Tag tells functions of one prototype apart and has two constants: kName, the
// function's name in the rules, and kApi. Give the function that does the work to SetReal before the first
// Call. Any thread may use each operation, several at once.
template <class Tag, class Function>
class Wrapped;

template <class Tag, class Result, class... Args>
class Wrapped<Tag, Result(Args...)> {
 public:
  using Pointer = Result (*)(Args...);

  static constexpr CallInfo Info() { return {Tag::kName, kCanFail, kCanLeaveGlError, kReturnsText}; }

  static void SetReal(Pointer real) { sReal = real; }

  // What the application gets in place of the real function.
  static Result Call(Args... args) {
    // eglGetError tells of the latest call only, which is now this one.
    if constexpr (Tag::kApi == Api::kEgl && !IsNamed("eglGetError")) TakeError(Api::kEgl);
    const Verdict verdict = BeforeCall(Tag::kName, ++sCalls);
    if (verdict.fKind == Verdict::Kind::kProceed) return sReal.load()(args...);
    if constexpr (kCanFail)
      if (verdict.fKind == Verdict::Kind::kFail) return Fail(static_cast<int>(verdict.fValue), args...);
    if constexpr (kReturnsText)
      if (verdict.fKind == Verdict::Kind::kText) return reinterpret_cast<Result>(verdict.fText);
    return FromNumber(verdict.fValue);
  }

 private:
  // How OpenCL's creating functions give their status: through a pointer in the last place, which may be
  // null.
  static constexpr bool HasStatusPointer() {
    if constexpr (sizeof...(Args) == 0)
      return false;
    else
      return std::is_same_v<std::tuple_element_t<sizeof...(Args) - 1, std::tuple<Args...>>, std::int32_t*>;
  }

  static constexpr bool IsNamed(std::string_view name) { return name == Tag::kName; }

  static constexpr bool kReturnsText =
      std::is_same_v<Result, const char*> || std::is_same_v<Result, const unsigned char*>;
  static constexpr bool kReturnsStatus = Tag::kApi == Api::kCl && std::is_same_v<Result, std::int32_t>;
  static constexpr bool kCanFail =
      (Tag::kApi == Api::kEgl && !IsNamed("eglGetError") && !IsNamed("__egl_Main")) ||
      (Tag::kApi == Api::kCl && (kReturnsStatus || HasStatusPointer()));
  static constexpr bool kCanLeaveGlError = Tag::kApi == Api::kGl && !IsNamed("glGetError");

  static Result Fail(int code, Args... args) {
    if constexpr (kReturnsStatus) return code;
    if constexpr (Tag::kApi == Api::kEgl) LeaveError(Api::kEgl, code);
    if constexpr (Tag::kApi == Api::kCl && HasStatusPointer()) {
      std::int32_t* status = std::get<sizeof...(Args) - 1>(std::tie(args...));
      if (status) *status = code;
    }
    return Result();
  }

  static Result FromNumber(long long number) {
    if constexpr (std::is_pointer_v<Result>)
      return reinterpret_cast<Result>(static_cast<std::intptr_t>(number));
    else
      return static_cast<Result>(number);
  }

  static inline std::atomic<Pointer> sReal{nullptr};
  static inline std::atomic<unsigned long> sCalls{0};
};

}  // namespace rig

#endif
