#include <kgx/exception.h>

#include <utility>

namespace KGX {

const char* ExceptionBase::what() const noexcept {
  const char* text = message();
  return text != nullptr ? text : "KGX exception without a message";
}

LogicalException::LogicalException(std::string message) : fMessage(std::move(message)), fHasMessage(true) {}

const char* LogicalException::message() const noexcept { return fHasMessage ? fMessage.c_str() : nullptr; }

InternalException::InternalException(const char* condition, const char* source, int line)
    : fMessage(std::string(condition) + " (" + source + ":" + std::to_string(line) + ")") {}

const char* InternalException::message() const noexcept { return fMessage.c_str(); }

}  // namespace KGX
