#include "system/standardstreams.h"

#include <ztutil/classicstream.h>
#include <ztutil/failurehook.h>

#include <atomic>
#include <stdexcept>

namespace {

void DefaultMessageHook(const std::string& text) { ztutil::WriteStderrLine(text); }

void DefaultFailureHook(const char* file, int line, const char* message, bool fatal) {
  ztutil::ClassicStream text;
  if (file != nullptr && file != kNullFile) text << file << "(" << line << "): ";
  text << (message != nullptr ? message : "<NULL>");
  GetMessageHook()(text.str());
  if (fatal) throw std::runtime_error(text.str());
}

std::atomic<FailureHook> gFailureHook{DefaultFailureHook};
std::atomic<MessageHook> gMessageHook{DefaultMessageHook};

}  // namespace

const char kNullFile[] = "<NULL>";

FailureHook SetFailureHook(FailureHook hook) {
  return gFailureHook.exchange(hook != nullptr ? hook : DefaultFailureHook);
}

FailureHook GetFailureHook() { return gFailureHook; }

MessageHook SetMessageHook(MessageHook hook) {
  return gMessageHook.exchange(hook != nullptr ? hook : DefaultMessageHook);
}

MessageHook GetMessageHook() { return gMessageHook; }

void FailRequirement(const char* message) { GetFailureHook()(kNullFile, 0, message, true); }
