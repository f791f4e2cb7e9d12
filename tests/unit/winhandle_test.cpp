#include "memorylogger.h"
#include "outcome.h"
#include "ownhome.h"
#include "testsystem.h"

#include <ztutil/debugflag.h>
#include <ztutil/fmt.h>
#include <ztutil/winhandle.h>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

namespace {

namespace fs = boost::filesystem;

using ztutil::OpenFile;
using ztutil::WinHandle;

constexpr char kReadFailed[] = "runtime: ReadFile failed";
constexpr char kWriteFailed[] = "runtime: WriteFile failed";

std::string Refused(const char* what, std::uint32_t code) {
  return std::string("other: ") + what + " failed: " + SystemText(code);
}

TEST(OpenFile, FlagsDecideWhatBecomesOfAFile) {
  const struct {
    const char* name;
    std::uint32_t access;
    std::uint32_t creation;
    std::string outcome;
    const char* content;  // afterwards
  } rows[] = {
      {"old", 1, 0, "", "content"},
      {"old", 3, 1, "", ""},
      {"old", 3, 2, "", "content"},
      {"old", 3, 3, "", ""},
      {"new", 1, 0, Refused("CreateFileW", kNoSuchFile), "missing"},
      {"new", 1, 2, "", ""},
      {"new", 2, 3, "", ""},
      {"new", 0, 4, "argument: OpenFile: bad access flags", "missing"},
      {"new", 4, 3, "argument: OpenFile: bad access flags", "missing"},
      {"new", 1, 4, "argument: OpenFile: bad creation flags", "missing"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + std::to_string(row.access) + std::to_string(row.creation));
    fs::remove(WriteInHome("new", ""));
    WriteInHome("old", "content");
    std::unique_ptr<WinHandle> file;
    const fs::path path = fs::path(OwnHome()) / row.name;
    EXPECT_EQ(Outcome([&] { file = OpenFile(path, row.access, row.creation, false); }), row.outcome);
    EXPECT_EQ(ReadInHome(row.name), row.content);
    if (file == nullptr) continue;
    EXPECT_EQ(Outcome([&] { file->ReadByte(); }), row.access == 2 ? kReadFailed : "");
    EXPECT_EQ(Outcome([&] { file->Write("x", 1); }), row.access == 1 ? kWriteFailed : "");
  }
  EXPECT_EQ(Outcome([] { OpenFile(OwnHome(), 1, 0, false); }), Refused("CreateFileW", kIsADirectory));
  EXPECT_EQ(Outcome([] { OpenFile(std::string("a\0b", 3), 3, 3, false); }), Refused("CreateFileW", kBadName));
}

TEST(WinHandle, ClosesAndDeletesWhatItOwns) {
  MemoryLogger logger;
  ztutil::DebugFlag flag{"BINIO_LOG"};
  ztutil::DebugFlagValue(flag) = 1;
  const fs::path path = WriteInHome("file", "content");
  const ztutil::NativeHandle raw = ztutil::OpenRawFile(path, ztutil::kRead, ztutil::kOpenExisting);
  EXPECT_EQ(StateOf(raw), "own");
  { const WinHandle forgotten(raw, false, &path); }
  EXPECT_EQ(ReadInHome("file") + logger.text, "content");
  EXPECT_TRUE(WinHandle(raw, false, &path).Close());  // closes and deletes what isn't owned, too
  EXPECT_EQ(ReadInHome("file"), "missing");
  EXPECT_EQ(StateOf(raw), "closed");
  ztutil::DebugFlagValue(flag) = 0;
  const std::string closing = "WinHandle::Reset closing ";
  EXPECT_EQ(logger.text, closing + ztutil::FmtUInt64(static_cast<std::uint64_t>(raw)) + '\n' + closing +
                             "0xffffffffffffffff\n");
  const auto file = OpenFile(path, ztutil::kWrite, ztutil::kCreateAlways, true);
  const auto other = OpenFile(path, ztutil::kRead, ztutil::kOpenExisting, false);
  file->Reset(ztutil::kInvalidHandle, false, nullptr);
  other->Close();  // an open file may be deleted, too
  EXPECT_EQ(ReadInHome("file"), "missing");
}

// Also when the process has gone elsewhere in the meantime.
TEST(TempFile, GoesWhenItCloses) {
  const fs::path folder = OwnHome() + "/temporary", former = fs::current_path();
  fs::create_directory(folder);
  fs::current_path(OwnHome());
  UseForTemporaryFiles("temporary");
  const auto file = ztutil::CreateTempFile("");
  const auto other = OpenFile("temporary/other", ztutil::kReadWrite, ztutil::kCreateAlways, true);
  fs::current_path(former);
  UseForTemporaryFiles(folder.string());
  EXPECT_FALSE(fs::is_empty(folder));
  other->Close();
  file->Seek(5LL << 30);
  EXPECT_EQ(file->Tell(), 5LL << 30);
  file->Close();
  EXPECT_TRUE(fs::is_empty(folder));
}

TEST(WinErr, TextIsTheSystemsOrNone) {
  EXPECT_EQ(ztutil::WinErrorText("CreateFileW", kBadHandle), "CreateFileW failed: " + SystemText(kBadHandle));
  for (const std::uint32_t code : {0u, 123456u, 0xFFFFFFFFu}) EXPECT_EQ(ztutil::WinErrorText("x", code), "");
  EXPECT_EQ(ztutil::XWinErr(kBadHandle).what(), SystemText(kBadHandle));
}

TEST(WinHandle, StandardStreamsAreTheProcesss) {
  Pipe pipe;
  pipe.out.Write("x", 1);
  UseAsStandardInput(pipe.raw[0]);
  EXPECT_EQ(ztutil::StdIn().ReadByte(), 'x');
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ztutil::StdOut().Write("out", 3);
  ztutil::StdErr().Write("err", 3);
  EXPECT_EQ(testing::internal::GetCapturedStdout() + '|' + testing::internal::GetCapturedStderr(), "out|err");
}

TEST(WinHandle, APipesEndIsItsWritersAndFailuresArePlain) {
  Pipe pipe;
  pipe.out.Write("half", 4);  // of a record, and then the writer dies
  pipe.out.Close();
  char bytes[8] = "";
  EXPECT_FALSE(pipe.in.Read(bytes, 8));
  EXPECT_EQ(pipe.in.ReadSome(bytes, 8), 4u);
  EXPECT_EQ(pipe.in.ReadSome(bytes, 8), 0u);
  Pipe unread;
  ztutil::WinHandle far(unread.raw[1] | ztutil::NativeHandle{1} << 33, false,
                        nullptr);  // no handle is so large
  EXPECT_EQ(Outcome([&] { far.Write("x", 1); }), kWriteFailed);
  unread.in.Close();
  EXPECT_EQ(Outcome([&] { unread.out.Write("x", 1); }), kWriteFailed);
  Pipe gone;
  ztutil::native::Close(gone.raw[1]);  // by somebody else
  EXPECT_EQ(Outcome([&] { gone.out.Write("x", 1); }), kWriteFailed);
  EXPECT_EQ(Outcome([&] { gone.out.ReadByte(); }), kReadFailed);
  EXPECT_EQ(Outcome([&] { gone.out.Tell(); }), Refused("SetFilePointerEx", kBadHandle));
  EXPECT_EQ(Outcome([&] { gone.out.SetEnd(); }), Refused("SetEndOfFile", kBadHandle));
}

}  // namespace
