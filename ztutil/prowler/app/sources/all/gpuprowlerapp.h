// The prober's application: its command line, its one run, its exit status. One thread.
#ifndef GPUPROWLERAPP_H_
#define GPUPROWLERAPP_H_

#include <ztutil/gpuprowlerappandhost.h>
#include <ztutil/logsinks.h>

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <cstdio>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

class GPUProwlerTester;

// The log of a run, on standard output among the report's lines: each of its lines begins with "# ".
class ProwlerLogger : public ztutil::ZTStdioLogger {
 public:
  explicit ProwlerLogger(std::FILE* stream) : ProwlerLogger(Hold(), stream) {}
  ~ProwlerLogger() override;

  // ZTLogger
  std::string MakePrefix(const char* file, int line) override;

 private:
  ProwlerLogger(const Hold&, std::FILE* stream) : ZTStdioLogger(stream) {}
};

class GPUProwlerApp : public GPUProwlerAppAndHost {
 public:
  // Thrown for a command line that asks for the usage text or can't be understood.
  class UsageException : public std::runtime_error {
   public:
    UsageException() : std::runtime_error("usage") {}
  };

  GPUProwlerApp() = default;
  ~GPUProwlerApp() override;
  GPUProwlerApp(const GPUProwlerApp&) = delete;
  GPUProwlerApp& operator=(const GPUProwlerApp&) = delete;

  // Reserved.
  virtual void EmptyHookA();
  virtual void EmptyHookB();

  // Appends the lines of the usage text.
  virtual void GetUsage(std::vector<std::string>& lines) const;

  // Takes every argument that it recognises out of the list and applies it, in the order given. Throws
  // UsageException at "-help".
  virtual void ParseArgs(std::list<std::string>& args);

  // Applies one option; false if there is none of that name.
  virtual bool HandleOption(const std::string& name, const std::string& value);

  // Applies one argument, "-name=value"; false if it isn't recognised. `rest` is what follows it on the
  // command line.
  virtual bool HandleArg(const std::string& arg, const std::list<std::string>& rest);

  // Factories: the result is the caller's.
  virtual ztutil::ZTLogger* CreateLogger();
  virtual GPUProwlerTester* CreateTester();

  // Lines on the standard streams. PutComment goes through DoStdout and doesn't throw; the others throw
  // std::runtime_error for a line that can't be written.
  virtual void PutComment(const std::string& text);
  virtual void PutStdout(const std::string& line);
  virtual void PutStderr(const std::string& line);

  // Runs the prober with the arguments of main, the program's name first, and gives the exit status:
  //   0, or N of -exit=N   the run came to its end, and no GPU failed a test
  //   2                    a GPU failed a test, or the run ended early
  //   3                    the command line couldn't be understood
  // Whatever the tester throws ends the run, and is told on standard error.
  std::int32_t Run(std::list<std::string>& args);

  std::vector<std::string> GetUsage() const;

  std::int32_t GetExitCode() const { return fExitCode; }
  void SetExitCode(std::int32_t code) { fExitCode = code; }
  std::int32_t GetVerbose() const { return fVerbose; }
  void SetVerbose(std::int32_t level) { fVerbose = level; }
  std::int32_t GetTimeout() const { return fTimeout; }
  void SetTimeout(std::int32_t seconds) { fTimeout = seconds; }
  std::int32_t GetHang() const { return fHang; }
  void SetHang(std::int32_t milliseconds) { fHang = milliseconds; }
  const std::string& GetProgram() const { return fProgram; }
  const std::string& GetApp() const { return fApp; }

  // The programmed failures: the tester's once there is one.
  std::int32_t GetCrashAfter() const;
  void SetCrashAfter(std::int32_t count);
  std::int32_t GetThrowAfter() const;
  void SetThrowAfter(std::int32_t count);

  // Made at the first call. Not the caller's to delete.
  ztutil::ZTLogger* GetLogger();
  GPUProwlerTester* GetTester();

 private:
  // Run without its catches.
  void RunTester(std::list<std::string>& args);
  void Hang() const;

  std::int32_t fExitCode = 0;
  std::int32_t fCrashAfter = -1;
  std::int32_t fThrowAfter = -1;
  std::int32_t fVerbose = 0;
  std::int32_t fTimeout = 4;  // seconds; nothing acts on it
  std::int32_t fHang = 0;     // milliseconds
  std::string fProgram;       // shown in the usage text; nothing sets it
  std::string fApp;           // the host's name, or else the program's
  boost::shared_ptr<ztutil::ZTLogger> fLogger;
  boost::shared_ptr<GPUProwlerTester> fTester;
};

// The prober as it is shipped.
class ZentaraProwler : public GPUProwlerApp {
 public:
  ~ZentaraProwler() override;
  GPUProwlerTester* CreateTester() override;

  // The one application of the process, which lives until its end.
  static ZentaraProwler& Get();
};

#endif  // GPUPROWLERAPP_H_
