// May an application use this machine's GPUs, which ones, and if not, why? Ask has the prober find out in a
// process of its own: a driver that crashes or hangs costs the caller nothing, costs other drivers' GPUs
// nothing, and is named.
//
//   gpuprowler::Answer answer = gpuprowler::Ask({});
//   for (const gpuprowler::GPU& gpu : answer.gpus) ...
//
// gpuprowler.h is the same for C, and for whatever can load a C library. Texts are UTF-8, repaired where a
// driver's weren't; but lines and the names of files are the bytes that they are.
#ifndef GPUPROWLER_ANSWER_H_
#define GPUPROWLER_ANSWER_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace gpuprowler {

// How a run of the prober has ended. The numbers are prowl's exit statuses.
enum class Verdict : int {
  kFinished = 0,
  kLost = 1,        // its end couldn't be seen
  kFailures = 2,    // it ended by itself and told of a failure
  kEndedEarly = 3,  // it ended by itself, and its report has no end
  kCrashed = 4,     // by a signal or an exception of the system
  kHung = 5,        // it had to be killed, its time being up
  kNotStarted = 6,
  kInterrupted = 7,  // cancelled
};

// A word for programs, such as "ended-early".
const char* VerdictName(Verdict verdict);

enum class Interface { kOpenGL, kOpenCL };

// The operating system.
struct OperatingSystem {
  std::string type;     // "linux" or "win"
  std::string version;  // of the kernel, or of Windows, in numbers: "6.1.0", "10.0.19045.2006"
};

// A graphics card as the system knows it, whether a driver reaches it or not. What isn't known is 0 or empty.
struct Adapter {
  std::string address;  // on the PCI bus: "0000:03:00.0"
  std::string name;
  std::uint32_t vendorID = 0;  // the PCI ids
  std::uint32_t deviceID = 0;
  std::uint32_t subsystemID = 0;  // the device's in the upper half, its vendor's in the lower
  std::uint32_t revision = 0;
  std::string driver;  // the kernel's, or the display driver
  std::string driverVersion;
  std::string driverDate;            // "2026-01-30"
  std::uint64_t memoryBytes = 0;     // of its own
  std::string memorySource;          // where that figure is from
  bool asleep = false;               // to save power
  std::string renderNode;            // the device file that a driver opens
  bool mayOpen = false;              // this user may open that
  std::string group;                 // the group that may, where this user may not
  std::vector<std::string> outputs;  // that have a display connected
};

// How a driver behaved in this answer, or why it wasn't asked.
enum class Behaviour {
  kUnknown,   // it wasn't asked alone, and the run with all of them didn't come to its end
  kSound,     // what it was part of came to its end
  kFailed,    // a GPU of its failed a question, or a failure ended its run
  kEnded,     // it ended the process
  kCrashed,   // it crashed
  kHung,      // it hung
  kSetAside,  // it did one of these earlier, and isn't loaded for a while
};

const char* BehaviourName(Behaviour behaviour);

// What a loader of OpenGL (an EGL vendor) or OpenCL would load.
struct Driver {
  Interface interface = Interface::kOpenGL;
  std::string manifest;       // the file, or on Windows the registry's key, that tells the loader of it
  std::string library;        // as it stands there
  std::string path;           // the file that this is; empty where there is none
  std::uint64_t bytes = 0;    // that file's size
  std::int64_t modified = 0;  // its time of change, in nanoseconds since 1970
  Behaviour behaviour = Behaviour::kUnknown;
  std::string question;  // what it was being asked when it misbehaved: "glgpu[0].GLVersion"
  std::string since;     // when it was set aside: "2026-11-22T05:29:05Z"
};

// Why something that one would expect isn't there.
struct Reason {
  std::string code;                    // for programs: "node-not-allowed"; README.md lists them
  std::string text;                    // for people, a sentence
  std::optional<std::size_t> adapter;  // what it is about: in Answer::adapters
  std::optional<std::size_t> driver;   // in Answer::drivers
};

// An answer to a question of the prober's.
struct Value {
  std::string key;        // plain: "glMaxDrawBuffers"
  std::string reportKey;  // the report's own: "glGetIntegerv[GL_MAX_DRAW_BUFFERS]"
  // What doesn't fit its type is a text, as the report has it.
  std::variant<std::string, bool, std::int64_t, double, std::vector<std::int64_t>> value;
};

// A GPU that an interface reaches. One card may be several of these.
struct GPU {
  Interface interface = Interface::kOpenGL;
  std::size_t run = 0;                 // in Answer::runs: the one that found it
  std::string tag;                     // its name in that run's report: "glgpu[0]"
  std::optional<std::size_t> driver;   // in Answer::drivers, where it's known for certain
  std::optional<std::size_t> adapter;  // in Answer::adapters, where exactly one fits
  bool software = false;               // no card stands behind it
  bool complete = false;               // it was asked all questions that were wanted, and has failed none
  std::vector<std::string> failed;     // the question that it failed is one of these
  std::vector<Value> values;           // in the report's order

  // Null if there is none of that plain key.
  const Value* Find(const std::string& key) const;
};

enum class LineKind {
  kOther,    // what nobody knows: mostly a driver's own words
  kFinding,  // an answer of the report, or a piece of one
  kSymbol,   // "gputag.NAME=number"
  kComment,  // "# ": a remark or a log line
  kFailure,  // the prober's words for a question, or a run, that has failed
};

struct Line {
  double seconds = 0;          // from the prober's start to the line's end
  std::string text;            // without the line end
  std::uint64_t bytesCut = 0;  // of a line too long to be kept whole
  LineKind kind = LineKind::kOther;
};

// The latest lines of a stream of the prober's.
struct Stream {
  std::uint64_t linesDropped = 0;  // in front of those
  std::vector<Line> lines;
  std::string unfinished;  // what follows the last line end
};

// One run of the prober, from its start to its end.
struct Run {
  Verdict verdict = Verdict::kNotStarted;
  std::string text;                  // the verdict as a sentence
  std::vector<std::size_t> drivers;  // in Answer::drivers: those that it was allowed to load
  bool alone = false;                // one driver alone, all others hidden
  double seconds = 0;
  std::string end;  // how it ended, in the system's words; or why it didn't start
  std::optional<int> exitStatus;
  bool complete = false;           // its report has its end, or all but unwanted measurements
  std::string lastLine;            // of standard output
  std::vector<std::string> asked;  // of a run without end: what was being asked is one of these
  std::vector<std::string> notes;  // what went wrong beside the prober
  std::string standsIn;       // of a hung run: the function and library it stood in, or why that isn't known
  std::vector<Value> values;  // that are of no GPU
  Stream output;
  Stream errors;
};

// Plain data: it outlives everything that has made it.
struct Answer {
  // The whole. A crash stays one, though isolation has saved the other drivers' GPUs; a driver that was set
  // aside, and so not asked, spoils nothing.
  Verdict verdict = Verdict::kNotStarted;
  std::string text;                       // as a sentence
  std::optional<OperatingSystem> system;  // documents of earlier releases don't tell
  std::vector<GPU> gpus;
  std::vector<Adapter> adapters;
  std::vector<Driver> drivers;
  std::vector<Reason> reasons;  // none on a healthy machine
  std::vector<Run> runs;  // the first with all drivers that weren't set aside; then each alone, if need be
  std::string prober;     // that was started
  std::deque<std::string> arguments;
  std::string time;         // when it was asked: "2026-11-22T05:29:05Z"
  double seconds = 0;       // what that took
  bool remembered = false;  // it's an earlier answer of exactly this machine
};

// What happens while Ask works.
struct Event {
  enum class Kind {
    kRunBegins,
    kLine,      // of the report, or of standard error
    kQuestion,  // another question is being asked
    kTick,      // about ten times a second
    kRunEnds,
  };

  Kind kind = Kind::kTick;
  std::size_t run = 0;         // in Answer::runs
  double seconds = 0;          // from the run's start
  bool isOutput = false;       // kLine: of standard output
  const Line* line = nullptr;  // kLine: as long as the call; only an answer tells which lines are findings
  std::string question;        // that is being asked, such as "glgpu[0].GLVersion"; empty before the first
};

// Ends an Ask at once, or all that it's given to: from any thread, also from a callback; before Ask begins,
// meanwhile, or behind it, which does nothing. A cancelled one stays so.
class Cancellation {
 public:
  void Cancel();
  bool IsCancelled() const { return fCancelled; }

 private:
  friend class CancellationWatch;

  std::atomic<bool> fCancelled{false};
  std::mutex fMutex;                           // guards what follows
  std::list<std::function<void()>> fWatchers;  // called under it
};

struct Request {
  // A path, or a name that is looked for on PATH. Empty: the one beside this program, else that of PATH.
  std::string prober;
  std::deque<std::string> arguments;  // for the prober
  // For everything, isolation included. The first run has half of it where that may follow.
  double seconds = 30;
  // For one question, that is from one line of the report to the next, but for the measurements; 0 for no
  // bound.
  double questionSeconds = 10;
  // False: a run that comes to the measurements, which take most of the time, is ended there, and nothing
  // that happens there counts.
  bool measure = true;
  bool isolate = true;       // ask each driver alone where the run with all of them ends badly
  bool remember = true;      // use the memory, and write it
  bool fresh = false;        // don't take an earlier answer, nor leave out what was set aside
  std::string memoryFolder;  // empty: the user's own

  // Called on the thread of Ask; the time it takes counts. While it's at work lines may come that are too
  // many to be kept: it isn't told of the first of them. What it throws cancels. May be empty.
  std::function<void(const Event&)> event;

  // Is given what the first run's prober writes, byte for byte as it comes, each stream on a thread of its
  // own. As long as it takes the prober waits, which is no question's time. It may throw nothing. May be
  // empty.
  std::function<void(bool isOutput, const char* bytes, std::size_t count)> passOn;

  // Called on the thread of Ask when that run has ended: from here on passOn must not wait. May be empty.
  std::function<void()> passedOn;

  std::shared_ptr<Cancellation> cancellation;  // may be null
};

// Throws nothing but std::bad_alloc: whatever goes wrong is in the answer. It returns a few seconds behind
// Request::seconds at the latest. Any thread may call, several at once. No process of its is left; a thread
// that couldn't be stopped may live on.
Answer Ask(const Request& request);

// Adapters, drivers and reasons, without opening a device or a driver, and without the prober: no runs, no
// GPUs.
Answer Look();

// The drivers that the memory in that folder holds as set aside, the user's own memory if it's empty. Their
// behaviour is what they were set aside for; nothing is known of their files.
std::vector<Driver> GetSetAside(const std::string& memoryFolder = "");

// Forgets all answers there, and of those drivers the ones whose manifest contains that text: all of them if
// it's empty. How many drivers these were.
std::size_t Forget(const std::string& manifest, const std::string& memoryFolder = "");

// No document is larger, whatever a prober has written. Where there is no room for all of an answer, each
// stream loses its first lines, and tells how many; then values, texts and GPUs are left out, and "shortened"
// is true.
constexpr std::size_t kMaxDocumentBytes = std::size_t{16} * 1024 * 1024;

// The answer as a JSON document, described by answer.schema.json, with a line end. It holds no user name,
// home folder or host name.
std::string AsJSON(const Answer& answer);

// The answer that such a document was made of, or nothing where the text isn't one: all keys must be there
// and no others, with the types and ranges of the answer's fields. Throws nothing but std::bad_alloc.
std::optional<Answer> AnswerOf(const std::string& document);

// As JSON on a line of their own, with a line end: an event, and behind the last of them the answer, whose
// document is under "answer".
std::string AsJSONLine(const Event& event);
std::string AsJSONLine(const Answer& answer);

// The answer for people to read, in lines: the verdict and what explains it, the GPUs, and why something
// isn't there; by wish with all that was found, as a bug report needs it. Without those names.
std::string AsText(const Answer& answer, bool all = false);

// The verdict and what explains it.
std::string Summary(const Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_ANSWER_H_
