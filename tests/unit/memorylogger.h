// A logger that keeps what it is given and flushed.
#ifndef MEMORYLOGGER_H_
#define MEMORYLOGGER_H_

#include <ztutil/logger.h>

#include <stdexcept>
#include <string>
#include <utility>

class MemoryLogger : public ztutil::ZTLogger {
 public:
  explicit MemoryLogger(std::uint32_t flags = 0) : MemoryLogger(Hold(), flags) {}
  ~MemoryLogger() override { Leave(); }

  bool IsEnabled() const override { return undecided ? throw std::runtime_error("undecided") : enabled; }
  void Write(const void* bytes, std::size_t count) override {
    if (broken) throw std::runtime_error("broken");
    fWritten.append(static_cast<const char*>(bytes), count);
  }
  void Flush() override { text += std::exchange(fWritten, {}); }

  std::string text;
  bool enabled = true;
  bool broken = false;
  bool undecided = false;

 private:
  MemoryLogger(const Hold&, std::uint32_t flags) : ZTLogger("memory") { SetFormatFlags(flags); }

  std::string fWritten;
};

#endif  // MEMORYLOGGER_H_
