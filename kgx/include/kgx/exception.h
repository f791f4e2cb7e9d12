// The exceptions of the graphics layer. All of them can be copied, as the language wants of an exception.
#ifndef KGX_EXCEPTION_H_
#define KGX_EXCEPTION_H_

#include <exception>
#include <string>

namespace KGX {

class ExceptionBase : public std::exception {
 public:
  // What went wrong, or null where the thrower said nothing. Lives as long as the exception.
  virtual const char* message() const noexcept = 0;

  // message(), or a fixed text instead of null.
  const char* what() const noexcept override;
};

// The library, the driver or the caller can't have it so: a refusal that the caller may meet in the field.
class LogicalException : public ExceptionBase {
 public:
  LogicalException() = default;
  explicit LogicalException(std::string message);

  const char* message() const noexcept override;

 private:
  std::string fMessage;
  bool fHasMessage = false;
};

// A condition that the layer itself relies on doesn't hold.
class InternalException : public ExceptionBase {
 public:
  // The message is the condition with its place in the source: "condition (source:line)".
  InternalException(const char* condition, const char* source, int line);

  const char* message() const noexcept override;

 private:
  std::string fMessage;
};

}  // namespace KGX

#endif  // KGX_EXCEPTION_H_
