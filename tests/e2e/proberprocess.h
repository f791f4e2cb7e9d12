// Runs the prober as a host does, on drivers that the test chooses, and tells what came out of it.
//
//   Outcome outcome = RunProber(Drivers({{"RIG_FAULT", "glClear=segv"}}), {"-exit=3"});
//
// A prober that takes longer than four minutes is ended, on Linux by SIGALRM. None outlives its test. On
// Windows there are Drivers and RunProber alone, and the drivers are those that Wine finds: Mesa's.
#ifndef PROBERPROCESS_H_
#define PROBERPROCESS_H_

#include "outcome.h"

#include <map>
#include <string>

using Environment = std::map<std::string, std::string>;

// The whole environment of a prober on the rig's drivers: one GPU for OpenGL, which is Mesa's software
// renderer, and one for OpenCL, which is PoCL's CPU with scripted times. `changes` adds variables and
// replaces others.
Environment Drivers(Environment changes = {});

// The same machine where neither libEGL nor libOpenCL can be loaded.
Environment NoDrivers(Environment changes = {});

// A file of the build that a loader is pointed at, and one in a folder that this process has for itself.
std::string BuildFile(const std::string& name);
std::string ScratchFile(const std::string& name);

// One prober, from its start on. For one thread.
class ProberProcess {
 public:
  // What standard output or error leads to, beside a descriptor of the caller's.
  static constexpr int kPipe = -1;  // to the outcome
  static constexpr int kClosed = -2;

  // Of the build's programs, the prober or one that has it as its own child.
  ProberProcess(const Environment& environment, const Texts& arguments, int output = kPipe,
                int errors = kPipe, const std::string& program = "gpuprowler");
  ~ProberProcess();  // kills it
  ProberProcess(const ProberProcess&) = delete;
  ProberProcess& operator=(const ProberProcess&) = delete;

  // Waits for that many lines on standard output and on standard error. False if the prober ended before.
  bool WaitForLines(std::size_t output, std::size_t errors);

  // True if the prober writes nothing and doesn't end for so long.
  bool StaysSilent(int milliseconds);

  // Reads on to the end. Once.
  Outcome Finish();

 private:
  bool Pump(int milliseconds);
  bool IsAtEnd() const { return fStreams[0] < 0 && fStreams[1] < 0; }

  int fPid = -1;  // -1 once it's reaped
  // Our ends of the prober's standard output and error, -1 once there is nothing to come.
  int fStreams[2] = {-1, -1};
  std::string fTexts[2];
};

Outcome RunProber(const Environment& environment, const Texts& arguments = {});

#endif  // PROBERPROCESS_H_
