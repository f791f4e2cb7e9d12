// A call as a line of text that is the same in each run: constants have their names, and objects go by their
// kind and a number, in the order in which they turn up ("texture1"), so that it can be followed what becomes
// of each.

#ifndef RIG_CALLTEXT_H
#define RIG_CALLTEXT_H

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace rig {

// An argument or a result, of any type that a wrapped function has.
struct Value {
  template <class T>
  explicit Value(T value) {
    if constexpr (std::is_pointer_v<T>)
      fNumber = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(value));
    else if constexpr (std::is_floating_point_v<T>)
      fReal = static_cast<double>(value);
    else
      fNumber = static_cast<std::int64_t>(value);
  }

  std::int64_t fNumber = 0;
  double fReal = 0;
};

// "glCreateShader GL_VERTEX_SHADER > shader1", written once the call is made, by its form as calls.h has it.
// `values` are the arguments, and the result, if there is one. Any thread may call it, several at once.
std::string CallText(const std::string& name, const std::string& form, const std::vector<Value>& values);

}  // namespace rig

#endif
