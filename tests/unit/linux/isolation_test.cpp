// Which driver is found to have misbehaved, and what is remembered of it. The prober is a shell's script that
// tells of one GPU for each driver it is shown, up to where one of them ends it.
#include "../fullreport.h"
#include "../ownhome.h"

#include <ask/showing.h>
#include <gpuprowler/answer.h>
#include <gtest/gtest.h>
#include <run/verdict.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

using gpuprowler::Answer;
using gpuprowler::Driver;
using gpuprowler::Request;
using std::string;

namespace fs = std::filesystem;

constexpr char kNoFolder[] =
    "drivers can't be hidden: there is no folder for temporary files: No such file or directory";

// OpenGL's a and b, OpenCL's c, d and e, whose library isn't there; those of them that the machine has, each
// as a file of its own.
void SetMachine(const string& drivers) {
  fs::remove_all(OwnHome() + "/icd");
  fs::create_directory(OwnHome() + "/icd");
  string manifests = OwnHome() + "/none.json";
  for (const char driver : drivers) {
    const string library = WriteInHome(string("lib") + driver + ".so", "x");
    if (driver >= 'c') {
      WriteInHome(string("icd/") + driver + ".icd", library + "\n");
      if (driver == 'e') fs::remove(library);
      continue;
    }
    manifests +=
        ":" + WriteInHome(driver + string(".json"),
                          R"({"file_format_version": "1.0.0", "ICD": {"library_path": ")" + library + "\"}}");
  }
  setenv("__EGL_VENDOR_LIBRARY_FILENAMES", manifests.c_str(), 1);
  setenv("OCL_ICD_VENDORS", (OwnHome() + "/icd").c_str(), 1);
  for (const char* const other : {"OCL_ICD_FILENAMES", "OPENCL_VENDOR_PATH"}) setenv(other, "none", 1);
}

// Ends the way that the case of the shell says for what is shown, such as "/a.json /libc.so /libd.so". It
// starts hardly any other program, so that it's quick on any machine.
Request MakeRequest(const string& endings) {
  for (unsigned gl = 0; gl <= 2; ++gl)
    for (unsigned cl = 0; cl <= 2; ++cl)
      WriteInHome("report" + std::to_string(gl) + std::to_string(cl), FullReport(gl, cl));
  Request request;
  request.prober = "sh";
  request.arguments = {"-c", "cd " + OwnHome() + R"(
    test $OCL_ICD_VENDORS = $PWD/icd || test -z "$OCL_ICD_FILENAMES$OPENCL_VENDOR_PATH" || exit 9
    shown=$__EGL_VENDOR_LIBRARY_FILENAMES gl=0 cl=0
    for icd in "$OCL_ICD_VENDORS"/*.icd; do test -e "$icd" && read -r library <"$icd" && shown="$shown $library"; done
    for name in a b; do case $shown in */$name.json*) gl=$((gl + 1)) ;; esac; done
    for name in c d; do case $shown in */lib$name.so*) cl=$((cl + 1)) ;; esac; done
    upto() { sed "/^$1/q" ${2-report$gl$cl}; }
    dies() { upto "$@"; kill -SEGV $$; }
    case $shown in )" + endings + R"( ;; esac
    upto prowlerEnd)"};
  request.seconds = 30;
  request.remember = false;
  return request;
}

// "crashed 3: a crashed glgpu[0].GLName, c sound; glgpu[0]1 clgpu[0]2-; note": the runs, the drivers, the
// GPUs with their runs, those that aren't complete marked, and what the first run has noted.
string Told(const Answer& answer) {
  string told = VerdictName(answer.verdict) + (" " + std::to_string(answer.runs.size())) + ":";
  for (const Driver& driver : answer.drivers)
    told += string(" ") + driver.library[driver.library.size() - 4] + " " + BehaviourName(driver.behaviour) +
            (driver.question.empty() ? "" : " " + driver.question) +
            std::regex_replace(driver.since, std::regex("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ"), "!");
  told += ";";
  for (const gpuprowler::GPU& gpu : answer.gpus)
    told += " " + gpu.tag + std::to_string(gpu.run) + (gpu.complete ? "" : "-");
  for (const gpuprowler::Run& run : answer.runs) {
    for (string note : run.notes) {
      note = std::regex_replace(note, std::regex("/\\S+/gpuprowler-\\w{6}"), "FOLDER");
      told += "; " + std::regex_replace(note, std::regex(OwnHome() + "/"), "");
    }
  }
  return told + answer.text.substr(std::min(answer.text.find(';'), answer.text.size())) +
         (answer.remembered ? "; remembered" : "");
}

// To so many bytes.
void LimitFiles(rlim_t bytes) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = std::min(bytes, limit.rlim_max);
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(IsolationTest, NamesTheCulprit) {
  const struct {
    const char *drivers, *endings;
    string told;
    std::function<void(Request&)> change = [](Request&) {};
  } rows[] = {
      {"abcd", "*/a.json*) dies glgpu.0..GLMemoryMB",
       "crashed 5: a crashed glgpu[0].GLName! b sound c sound d sound; glgpu[0]3- glgpu[0]4 clgpu[0]1 "
       "clgpu[0]2"},
      {"abcd", "*/libd.so*) dies clgpu.0..CLMemoryMB",
       "crashed 5: a sound b sound c sound d crashed clgpu[0].CLName!; glgpu[0]1 glgpu[0]2 clgpu[0]3 "
       "clgpu[0]4-"},
      {"abcd", "*/b.json*) dies KGXCore",
       "crashed 5: a sound b crashed KGXOGLInitialized! c sound d sound; glgpu[0]3 clgpu[0]1 clgpu[0]2"},
      {"ac", "*/libc.so*) upto NumGLGPUs; exit 0", "ended-early 3: a sound c ended NumCLGPUs!; glgpu[0]2"},
      {"ac", "*/libc.so*) upto NumGLGPUs; echo exception: x >&2; exit 2",
       "finished-with-failures 3: a sound c failed NumCLGPUs!; glgpu[0]2"},
      {"ac", "*/libc.so*) upto NumCLGPUs; exec sleep 60",
       "hung 3: a sound c hung clgpu[0].CLPlatformVersion!; glgpu[0]1",
       [](Request& request) { request.questionSeconds = 1; }},
      {"cd", "*/libc.so*/libd.so*) dies NumCLGPUs",
       "crashed 3: c sound d sound; clgpu[0]1 clgpu[0]2; asked alone, each of its 2 drivers comes to its "
       "end"},
      // OpenGL's GPUs are no driver's that can be hidden.
      {"cd",
       "*/libc.so*/libd.so*) dies NumCL report22 ;; */libc.so*) upto prowlerEnd report01; exit 0 ;; *) upto "
       "prowlerEnd report11; exit 0",
       "crashed 3: c sound d sound; glgpu[0]2 clgpu[0]1 clgpu[0]2; asked alone, each of its 2 drivers comes "
       "to its end"},
      {"ac", "*) dies Tester", "crashed 1: a unknown c unknown;"},
      {"ac", "*) dies prowlerStart",
       "crashed 4: a unknown c unknown;; it ends badly without any driver that can be hidden, too, so that "
       "it's "
       "none of these"},
      {"a", "*/a.json*) dies prowlerStart", "crashed 2: a crashed KGXCoreInitialized!;"},
      {"ace", "*) true", "finished 1: a sound c sound e unknown; glgpu[0]0 clgpu[0]0"},
      // OpenCL's library is itself the driver.
      {"a", "*/a.json*) dies prowlerStart",
       "crashed 3: a crashed KGXCoreInitialized! s unknown;; OpenCL's driver libOpenCL.so.1 can't be hidden, "
       "and was part of this run; OpenCL's driver libOpenCL.so.1 can't be hidden, and was part of this run",
       [](Request&) {
         setenv("LD_LIBRARY_PATH", (OwnHome() + "/own").c_str(), 1);
         fs::create_directory(OwnHome() + "/own");
         WriteInHome("own/libOpenCL.so.1", "\177ELF");
       }},
      {"ac", "*/a.json*) dies prowlerStart",
       "interrupted 2: a unknown c unknown;; what was to follow was interrupted",
       [](Request& request) {
         request.cancellation = std::make_shared<gpuprowler::Cancellation>();
         request.event = [=](const gpuprowler::Event& event) {
           if (event.run == 1) request.cancellation->Cancel();
         };
       }},
      {"", "*) dies prowlerStart", "crashed 1:;"},
      {"ac", "*/a.json*) dies prowlerStart", "crashed 1: a unknown c unknown;",
       [](Request& request) { request.isolate = false; }},
      {"ac", "*/a.json*) dies prowlerStart", string("crashed 1: a unknown c unknown;; ") + kNoFolder,
       [](Request&) { setenv("TMPDIR", "/proc", 1); }},  // where nobody can make one
      {"ac", "*/a.json*) dies prowlerStart",
       "crashed 1: a unknown c unknown;; drivers can't be hidden: FOLDER/100.icd can't be written",
       [](Request&) { LimitFiles(0); }},
      // The first run's bytes alone are passed on.
      {"ac", "*/libc.so*) dies NumCLGPUs",
       "crashed 3: a sound c crashed clgpu[0].CLPlatformVersion!; glgpu[0]1; the host's own function has "
       "thrown an exception",
       [](Request& request) { request.passedOn = [] { throw std::runtime_error("x"); }; }},
      // A measurement that takes all the time.
      {"ac", "*/libc.so*) upto clgpu.0..CUDASupported; exec sleep 60",
       "hung 3: a sound c hung clgpu[0].CUDAVersion!; glgpu[0]1 clgpu[0]2-",
       [](Request& request) { request.seconds = 4; }},
      {"cd", "*/libc.so*/libd.so*) dies NumCLGPUs ;; */libc.so*) upto clgpu.0..CUDASupported; exec sleep 60",
       "crashed 3: c unknown d sound; clgpu[0]1- clgpu[0]2; libc.so wasn't asked to the end: there was no "
       "time left for it",
       [](Request& request) { request.seconds = 4; }},
  };
  const string folder = OwnHome() + "/temporary";
  fs::create_directory(folder);
  for (const auto& row : rows) {
    setenv("TMPDIR", folder.c_str(), 1);
    SetMachine(row.drivers);
    Request request = MakeRequest(row.endings);
    request.remember = request.fresh = true;
    request.memoryFolder = OwnHome() + "/culprits";
    row.change(request);
    EXPECT_EQ(Told(Ask(request)), row.told) << row.drivers << " " << row.endings;
    unsetenv("LD_LIBRARY_PATH");
    LimitFiles(RLIM_INFINITY);
    EXPECT_TRUE(fs::is_empty(folder)) << row.endings;
  }
}

TEST(IsolationTest, ShowsDriversInTheirOrder) {
  constexpr auto kGL = gpuprowler::Interface::kOpenGL, kCL = gpuprowler::Interface::kOpenCL;
  std::vector<Driver> drivers;
  for (const auto& [interface, manifest, library] : {std::tuple(kGL, "a.json", "a"),
                                                     {kCL, "x.icd", "x"},
                                                     {kGL, "b.json", "b"},
                                                     {kCL, "z.icd", "z"},
                                                     {kCL, "y.icd", "y"},
                                                     {kGL, "", "libEGL.so.1"},
                                                     {kCL, "", "libOpenCL.so.1"},
                                                     {kCL, "", "w"}}) {
    Driver& driver = drivers.emplace_back();
    driver.interface = interface;
    driver.manifest = manifest;
    driver.library = library;
  }
  const gpuprowler::Showing showing(drivers);
  string shown = *showing.GetChanges().at("__EGL_VENDOR_LIBRARY_FILENAMES");
  std::set<fs::path> files;
  for (const auto& file : fs::directory_iterator(*showing.GetChanges().at("OCL_ICD_VENDORS")))
    files.insert(file);
  for (const fs::path& file : files) {
    string library;
    std::getline(std::ifstream(file), library);
    shown += " " + library;
  }
  EXPECT_EQ(shown, "a.json:b.json x z y w");
}

TEST(IsolationTest, LoadsACulpritNoMoreUntilItChanges) {
  SetMachine("abce");
  WriteInHome("bad", "");
  Request request = MakeRequest("*/libc.so*) test -e bad && dies NumCLGPUs");
  request.remember = true;
  const string
      crash =
          "crashed 4: a sound b sound c crashed clgpu[0].CLPlatformVersion! e unknown; glgpu[0]1 glgpu[0]2",
      without =
          "finished 1: a sound b sound c set-aside clgpu[0].CLPlatformVersion! e unknown; glgpu[0]0 "
          "glgpu[1]0",
      sound = "finished 1: a sound b sound c sound e unknown; glgpu[0]0 glgpu[1]0 clgpu[0]0";
  const struct {
    const char* what;
    std::function<void()> before;
    string told;
  } rows[] = {
      {"first", [] {}, crash},
      {"again", [] {}, crash + "; remembered"},
      {"another request", [&] { request.measure = false; }, without},
      {"file changed", [] { fs::last_write_time(OwnHome() + "/libc.so", fs::file_time_type()); }, crash},
      {"another request", [&] { request.measure = true, request.seconds *= 2; }, without},
      {"can't be hidden", [&] { setenv("TMPDIR", "/none", 1), request.seconds *= 2; },
       "crashed 1: a unknown b unknown c unknown e unknown; glgpu[0]0- glgpu[1]0-; " + string(kNoFolder)},
      {"forgotten",
       [&] { unsetenv("TMPDIR"), gpuprowler::Forget("c.icd", OwnHome() + "/.local/state/gpuprowler"); },
       crash},
      {"fresh", [&] { request.fresh = true; }, crash},
      {"mended", [] { fs::remove(OwnHome() + "/bad"); }, sound},
      {"another request", [&] { request.fresh = false, request.seconds *= 2; }, sound},
      {"again", [] {}, sound + "; remembered"},
  };
  for (const auto& row : rows) {
    row.before();
    EXPECT_EQ(Told(Ask(request)), row.told) << row.what;
  }
}

}  // namespace
