// What an action comes to, as a text that a table can hold.
#ifndef OUTCOME_H_
#define OUTCOME_H_

#include <ztutil/channelbase.h>
#include <ztutil/winhandle.h>

#include <stdexcept>
#include <string>
#include <typeinfo>

// Empty if the action returns; else the kind of exception, exactly that one and none derived from it, and its
// text. An XUnderrun shows its count and, in brackets, its data instead of its usual text, and an XWinErr a
// code that isn't that of its text.
template <class Action>
std::string Outcome(Action action) {
  try {
    action();
    return {};
  } catch (const ztutil::XUnderrun& e) {
    const std::string data = e.fHasData ? '[' + std::string(e.fData.begin(), e.fData.end()) + ']' : "";
    const bool usual = e.what() == "I/O underrun, actual count=" + std::to_string(e.fCount);
    return "underrun " + std::to_string(e.fCount) + data + (usual ? "" : e.what());
  } catch (const ztutil::XWinErr& e) {
    const std::string text = e.what(), codesText = ztutil::WinErrorText(nullptr, e.fCode);
    const std::size_t at = text.rfind(codesText);
    const bool fits = !codesText.empty() && at != std::string::npos && at + codesText.size() == text.size();
    return (fits ? "other: " : "code " + std::to_string(e.fCode) + ": ") + text;
  } catch (const std::exception& e) {
    const std::string text = std::string(": ") + e.what();
    if (typeid(e) == typeid(std::runtime_error)) return "runtime" + text;
    if (typeid(e) == typeid(std::logic_error)) return "logic" + text;
    return (typeid(e) == typeid(std::invalid_argument) ? "argument" : "other") + text;
  }
}

#endif  // OUTCOME_H_
