#include "logging/logdirectory.h"
#include "logging/loggingmutex.h"
#include "system/platform.h"
#include "system/standardstreams.h"

#include <ztutil/logsinks.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>

#include <set>

namespace ztutil {

namespace {

constexpr char kLogFile[] = "ztlog.txt";

const char* NameOf(std::FILE* stream) {
  if (stream == stdout) return "stdout";
  if (stream == stderr) return "stderr";
  return "FILE*";
}

// True the first time that the process asks for the path. Called under LoggingMutex.
bool IsFirstUse(const std::string& path) {
  static auto* const used = new std::set<std::string>;
  return used->insert(path).second;
}

}  // namespace

ZTNullLogger::~ZTNullLogger() { Leave(); }

bool ZTNullLogger::IsEnabled() const { return false; }

void ZTNullLogger::VPrint(const char*, int, const char*, std::va_list) {}

void ZTNullLogger::Write(const void*, std::size_t) {}

ZTFileLogger::ZTFileLogger(const Hold&) : ZTLogger(kLogFile) {
  try {
    fPath = (boost::filesystem::path(LogDirectory()) / kLogFile).string();
    const boost::lock_guard<boost::recursive_mutex> lock(LoggingMutex());
    if (IsFirstUse(fPath)) boost::filesystem::remove(fPath);
  } catch (...) {
  }
}

ZTFileLogger::~ZTFileLogger() {
  Leave();
  ZTFileLogger::Flush();
  try {
    const boost::lock_guard<boost::recursive_mutex> lock(LoggingMutex());  // another logger may have the file
    if (boost::filesystem::is_empty(fPath)) boost::filesystem::remove(fPath);
  } catch (...) {
  }
}

void ZTFileLogger::Flush() {
  if (fStream == nullptr) return;
  std::fclose(fStream);
  fStream = nullptr;
}

void ZTFileLogger::Write(const void* bytes, std::size_t count) {
  if (fStream == nullptr) fStream = platform::OpenForAppending(fPath);
  if (fStream != nullptr) std::fwrite(bytes, 1, count, fStream);
}

ZTStdioLogger::ZTStdioLogger(const Hold&, std::FILE* stream) : ZTLogger(NameOf(stream)), fStream(stream) {}

ZTStdioLogger::~ZTStdioLogger() {
  Leave();
  if (!fMessage.empty()) ZTStdioLogger::Flush();
}

void ZTStdioLogger::Flush() {
  if (fStream == nullptr) return;
  WriteWhole(fStream, fMessage);
  fMessage.clear();
}

void ZTStdioLogger::Write(const void* bytes, std::size_t count) {
  if (fStream != nullptr) fMessage.append(static_cast<const char*>(bytes), count);
}

ZTDebugStrLogger::~ZTDebugStrLogger() { Leave(); }

std::string ZTDebugStrLogger::GetEndOfLine() const { return "\r\n"; }

void ZTDebugStrLogger::Write(const void* bytes, std::size_t count) {
  platform::DebugString(std::string(static_cast<const char*>(bytes), count));
}

SingleLineLogger::SingleLineLogger(const Hold&, const char* name)
    : ZTLogger(name != nullptr ? name : "SingleLineLogger") {}

SingleLineLogger::~SingleLineLogger() {
  const Hold hold;  // nobody else's text gets behind the end of the line
  try {
    if (fCalls > 0) {
      const auto below = Below(this);
      const boost::lock_guard<boost::recursive_mutex> lock(LoggingMutex());
      const std::string end = below->GetEndOfLine();
      if (!end.empty()) below->Write(end.data(), end.size());
      below->Flush();
    }
  } catch (...) {
  }
  Leave();
}

std::string SingleLineLogger::MakePrefix(const char* file, int line) {
  return fCalls++ < 1 ? Below(this)->MakePrefix(file, line) : " ";
}

std::string SingleLineLogger::GetEndOfLine() const { return {}; }

void SingleLineLogger::Write(const void* bytes, std::size_t count) { Below(this)->Write(bytes, count); }

}  // namespace ztutil
