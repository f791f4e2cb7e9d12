// A logger that keeps what it is given.
#ifndef MEMORYLOGGER_H_
#define MEMORYLOGGER_H_

#include <ztutil/logger.h>

#include <stdexcept>
#include <string>

class MemoryLogger : public ztutil::ZTLogger {
 public:
  explicit MemoryLogger(std::uint32_t flags = 0) : MemoryLogger(Hold(), flags) {}
  ~MemoryLogger() override { Leave(); }

  bool IsEnabled() const override { return enabled; }
  void Write(const void* bytes, std::size_t count) override {
    if (broken) throw std::runtime_error("broken");
    text.append(static_cast<const char*>(bytes), count);
  }

  std::string text;
  bool enabled = true;
  bool broken = false;

 private:
  MemoryLogger(const Hold&, std::uint32_t flags) : ZTLogger("memory") { SetFormatFlags(flags); }
};

#endif  // MEMORYLOGGER_H_
