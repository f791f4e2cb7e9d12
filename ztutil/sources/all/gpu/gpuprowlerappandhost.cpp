#include "system/standardstreams.h"

#include <ztutil/gpuprowlerappandhost.h>

GPUProwlerAppAndHost::~GPUProwlerAppAndHost() = default;

void DoStdout(const std::string& line) noexcept {
  if (!ztutil::WriteStdoutLine(line)) DoStderr("DoStdout failed");
}

void DoStderr(const std::string& line) noexcept {
  if (!ztutil::WriteStderrLine(line)) ztutil::WriteStderrLine(line);
}
