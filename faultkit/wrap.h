// Wraps a function of any prototype, so that the rules of fault.h apply to it.

#ifndef RIG_WRAP_H
#define RIG_WRAP_H

#include "calltext.h"
#include "fault.h"

#include <atomic>
#include <cstdint>
#include <tuple>
#include <type_traits>

namespace rig {

// The wrapper of one function, of which the declaration alone is needed:
//
//   table.clFinish = Wrapped<&::clFinish>::Around("clFinish", "queue > n", table.clFinish);
template <auto* declared>
class Wrapped;

template <class Result, class... Args, Result (*declared)(Args...)>
class Wrapped<declared> {
 public:
  using Pointer = Result (*)(Args...);

  // What the application gets in place of the function `real`, which `name` is the name of in the rules and
  // `form` the form of (see calls.h). Any thread may call it, several at once.
  static Pointer Around(const char* name, const char* form, Pointer real) {
    sName = name;
    sForm = form;
    sReal = real;
    return &Call;
  }

 private:
  static Result Call(Args... args) {
    if constexpr (std::is_void_v<Result>) {
      Make(args...);
      AfterCall(sName, sForm, {Value(args)...});
    } else {
      const Result result = Make(args...);
      AfterCall(sName, sForm, {Value(args)..., Value(result)});
      return result;
    }
  }

  static Result Make(Args... args) {
    const Verdict verdict = BeforeCall(sName, ++sCalls);
    if (verdict.fKind == Verdict::Kind::kProceed) return sReal.load()(args...);
    if (verdict.fKind == Verdict::Kind::kFail)
      return Fail(static_cast<std::int32_t>(verdict.fValue), args...);
    if constexpr (std::is_pointer_v<Result>)
      return reinterpret_cast<Result>(verdict.fValue);
    else
      return static_cast<Result>(verdict.fValue);
  }

  // OpenCL's functions give their status as the result, or, if they create something, through a pointer in
  // the last place, which may be null.
  static Result Fail([[maybe_unused]] std::int32_t code, Args... args) {
    using Last = std::tuple_element_t<sizeof...(Args), std::tuple<void, Args...>>;
    if constexpr (std::is_same_v<Result, std::int32_t>) return code;
    if constexpr (std::is_pointer_v<Result> && std::is_same_v<Last, std::int32_t*>)
      if (std::int32_t* const status = std::get<sizeof...(Args) - 1>(std::tie(args...))) *status = code;
    return Result();
  }

  static inline std::atomic<const char*> sName{nullptr};
  static inline std::atomic<const char*> sForm{nullptr};
  static inline std::atomic<Pointer> sReal{nullptr};
  static inline std::atomic<unsigned long> sCalls{0};
};

}  // namespace rig

#endif
