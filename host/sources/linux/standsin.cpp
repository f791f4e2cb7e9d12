// Where a process stands, by its stack and what the files that it has loaded say of their functions. libdw
// knows, where its header is there at build time, and itself when it's wanted.
#include "run/runplatform.h"

#ifdef GPUPROWLER_HAS_LIBDW

#include "sharedlibrary.h"

#include <ztutil/managedthread.h>

#include <boost/core/demangle.hpp>
#include <elfutils/libdwfl.h>

#include <cstring>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#endif

namespace gpuprowler::platform {

#ifdef GPUPROWLER_HAS_LIBDW

namespace {

constexpr std::size_t kMaxFrames = 64;
constexpr double kMaxSeconds = 2;  // a process in the kernel's hands may not stop to be looked at

// Its functions, under their names there.
struct LibDW {
  const KGX::SharedLibrary library{"libdw.so.1"};
#define FROM_LIBDW(function) \
  decltype(&::function) const function = reinterpret_cast<decltype(&::function)>(library.Find(#function))
  FROM_LIBDW(dwfl_addrmodule);
  FROM_LIBDW(dwfl_begin);
  FROM_LIBDW(dwfl_end);
  FROM_LIBDW(dwfl_errmsg);
  FROM_LIBDW(dwfl_frame_pc);
  FROM_LIBDW(dwfl_getthread_frames);
  FROM_LIBDW(dwfl_linux_proc_attach);
  FROM_LIBDW(dwfl_linux_proc_find_elf);
  FROM_LIBDW(dwfl_linux_proc_report);
  FROM_LIBDW(dwfl_module_addrinfo);
  FROM_LIBDW(dwfl_module_info);
  FROM_LIBDW(dwfl_report_end);
  FROM_LIBDW(dwfl_standard_find_debuginfo);
#undef FROM_LIBDW
};

const LibDW& DW() {
  static const LibDW libdw;
  return libdw;
}

struct Frame {
  std::string function;  // empty where the file doesn't tell
  std::string file;      // its name alone
};

struct Stack {
  Dwfl* dwfl;
  std::vector<Frame> frames;  // the innermost first
};

std::string FunctionAt(Dwfl_Module* module, Dwarf_Addr address) {
  GElf_Off offset = 0;
  GElf_Sym symbol{};
  const char* const name =
      DW().dwfl_module_addrinfo(module, address, &offset, &symbol, nullptr, nullptr, nullptr);
  // A file without its full table knows exported functions alone, of which the next one in front isn't it.
  if (name == nullptr || (symbol.st_size != 0 && offset >= symbol.st_size)) return "";
  const std::string_view text = name;  // it may have a version behind it: "poll@GLIBC_2.2.5"
  return boost::core::demangle(std::string(text.substr(0, text.find('@'))).c_str());
}

int TakeFrame(Dwfl_Frame* state, void* argument) {
  Stack& stack = *static_cast<Stack*>(argument);
  Dwarf_Addr address = 0;
  bool isExact = false;
  if (!DW().dwfl_frame_pc(state, &address, &isExact)) return DWARF_CB_ABORT;
  if (!isExact) --address;  // from where it returns to back into the call
  Dwfl_Module* const module = DW().dwfl_addrmodule(stack.dwfl, address);
  if (module != nullptr) {
    const char* const path =
        DW().dwfl_module_info(module, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    const std::string_view file = path != nullptr ? path : "";
    stack.frames.push_back({FunctionAt(module, address), std::string(file.substr(file.rfind('/') + 1))});
  }
  return stack.frames.size() < kMaxFrames ? DWARF_CB_OK : DWARF_CB_ABORT;
}

// Stops the process's first thread for the moment. Where that fails, the text says why.
std::string ReadStack(pid_t pid, std::vector<Frame>& frames) {
  if (!DW().library.IsLoaded()) return "libdw isn't there";
  static char* noDebugFiles = nullptr;
  Dwfl_Callbacks callbacks{};
  callbacks.find_elf = DW().dwfl_linux_proc_find_elf;
  callbacks.find_debuginfo = DW().dwfl_standard_find_debuginfo;
  callbacks.debuginfo_path = &noDebugFiles;
  const std::unique_ptr<Dwfl, decltype(&dwfl_end)> dwfl(DW().dwfl_begin(&callbacks), DW().dwfl_end);
  if (!dwfl) return DW().dwfl_errmsg(-1);
  if (const int error = DW().dwfl_linux_proc_report(dwfl.get(), pid))
    return error > 0 ? std::strerror(error) : DW().dwfl_errmsg(-1);
  DW().dwfl_report_end(dwfl.get(), nullptr, nullptr);
  if (const int error = DW().dwfl_linux_proc_attach(dwfl.get(), pid, false))
    return error > 0 ? std::strerror(error) : DW().dwfl_errmsg(-1);
  Stack stack{dwfl.get(), {}};
  const int end = DW().dwfl_getthread_frames(dwfl.get(), pid, TakeFrame, &stack);
  frames = std::move(stack.frames);
  return end < 0 && frames.empty() ? DW().dwfl_errmsg(-1) : "";
}

std::string InWords(const Frame& frame) {
  return (frame.function.empty() ? "a function" : frame.function) + " of " + frame.file;
}

// The C library's functions wait for whoever has called them, and tell nothing themselves.
bool IsTheSystems(const Frame& frame) {
  for (const char* const begin : {"libc.so", "libc-", "libpthread", "ld-linux", "[vdso"})
    if (frame.file.compare(0, std::strlen(begin), begin) == 0) return true;
  return frame.file.empty();
}

std::string Read(pid_t pid) {
  std::vector<Frame> frames;
  const std::string why = ReadStack(pid, frames);
  if (frames.empty()) return "not known: " + (why.empty() ? "its stack can't be read" : why);
  for (const Frame& frame : frames) {
    if (IsTheSystems(frame)) continue;
    return InWords(frame) + (&frame != frames.data() ? ", in " + InWords(frames[0]) : "");
  }
  return InWords(frames[0]);
}

}  // namespace

std::string WhereItStands(std::uint32_t processID) {
  const auto words = std::make_shared<std::string>();
  ztutil::ManagedThread thread("StandsIn");
  try {
    thread.Start([words, processID] { *words = Read(static_cast<pid_t>(processID)); });
  } catch (const std::exception& failure) {
    return std::string("not known: ") + failure.what();
  }
  return thread.TimedJoin(kMaxSeconds) ? *words : "not known: it doesn't stop to be looked at";
}

#else

std::string WhereItStands(std::uint32_t) { return "not known: this build can't tell"; }

#endif

}  // namespace gpuprowler::platform
