#include "outcome.h"
#include "ownhome.h"
#include "testsystem.h"

#include <ztutil/winhandle.h>
#include <ztutil/ztlogging.h>

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

struct Pipe {
  Pipe() {
    EXPECT_TRUE(MakePipe(raw));
    in.Reset(raw[0], true, nullptr);
    out.Reset(raw[1], true, nullptr);
  }

  ztutil::NativeHandle raw[2] = {ztutil::kInvalidHandle, ztutil::kInvalidHandle};
  WinHandle in{ztutil::kInvalidHandle, false, nullptr};
  WinHandle out{ztutil::kInvalidHandle, false, nullptr};
};

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

TEST(OpenFile, DeletesOnCloseWhatIsOwned) {
  const fs::path path = WriteInHome("file", "content");
  const auto open = [&] { return ztutil::OpenRawFile(path, ztutil::kRead, ztutil::kOpenExisting); };
  const ztutil::NativeHandle raw = open();
  EXPECT_EQ(StateOf(raw), "own");
  { const WinHandle forgotten(raw, false, &path); }
  EXPECT_EQ(ReadInHome("file"), "content");
  EXPECT_TRUE(WinHandle(raw, false, &path).Close());  // closes and deletes what isn't owned, too
  EXPECT_EQ(ReadInHome("file"), "missing");
  EXPECT_EQ(StateOf(raw), "closed");
  WriteInHome("file", "content");
  WinHandle(open(), true, &path).Reset(ztutil::kInvalidHandle, false, nullptr);
  EXPECT_EQ(ReadInHome("file"), "missing");
  const auto file = OpenFile(path, ztutil::kWrite, ztutil::kCreateAlways, true);
  EXPECT_EQ(ReadInHome("file"), "");
  const auto other = OpenFile(path, ztutil::kRead, ztutil::kOpenExisting, false);
  EXPECT_TRUE(file->Close());
  EXPECT_TRUE(other->Close());  // an open file may be deleted, too
  EXPECT_EQ(ReadInHome("file"), "missing");
}

TEST(TempFile, HasANameOfItsOwnAndGoesAtTheEnd) {
  UseForTemporaryFiles(OwnHome());
  const fs::path path = ztutil::MakeTempPath("abcdef");
  EXPECT_NE(path, ztutil::MakeTempPath("abcdef"));
  const std::string name = path.filename().string();
  EXPECT_EQ(name.substr(0, 3), "abc");
  EXPECT_EQ(name.find_first_not_of("0123456789ABCDEFabcdef", 3), name.size() - 4);
  EXPECT_EQ(ReadInHome(name), "");

  const auto files = [] {
    return std::distance(fs::directory_iterator(OwnHome()), fs::directory_iterator());
  };
  const auto before = files();
  const auto file = ztutil::CreateTempFile("");
  constexpr std::int64_t kFar = 5LL << 30;  // more than 32 bits hold
  file->Seek(kFar);
  file->Write("end", 3);
  file->SeekBy(-3 - kFar);
  file->SeekEnd();
  EXPECT_EQ(file->Tell(), kFar + 3);
  file->SeekBy(-2);
  EXPECT_EQ(file->ReadByte(), 'n');
  EXPECT_EQ(files(), before + 1);
  file->Close();
  EXPECT_EQ(files(), before);
}

TEST(WinErr, TextIsTheSystemsOrNone) {
  EXPECT_EQ(ztutil::WinErrorText("CreateFileW", kBadHandle), "CreateFileW failed: " + SystemText(kBadHandle));
  for (const std::uint32_t code : {0u, 123456u, 0xFFFFFFFFu}) EXPECT_EQ(ztutil::WinErrorText("x", code), "");
  EXPECT_EQ(ztutil::XWinErr(kBadHandle).what(), SystemText(kBadHandle));
  EXPECT_EQ(ztutil::XWinErr("x", 123456).fCode, 123456u);
}

TEST(WinHandle, SaysWhatItCloses) {
  struct Lines : ztutil::ZTLogger {
    explicit Lines(const Hold& = Hold()) : ZTLogger("lines") { SetFormatFlags(0); }
    ~Lines() override { Leave(); }
    void Write(const void* bytes, std::size_t n) override { text.append(static_cast<const char*>(bytes), n); }
    std::string text;
  } lines;
  Pipe pipe;
  ztutil::DebugFlag flag{"BINIO_LOG"};
  ztutil::DebugFlagValue(flag) = 1;
  { const WinHandle forgotten(pipe.raw[1], false, nullptr); }
  WinHandle(pipe.raw[0], true, nullptr).Close();
  ztutil::DebugFlagValue(flag) = 0;
  pipe.in.Reset(ztutil::kInvalidHandle, false, nullptr);
  char expected[100];
  std::snprintf(expected, sizeof expected,
                "WinHandle::Reset closing 0x%016llx\nWinHandle::Reset closing 0xffffffffffffffff\n",
                static_cast<unsigned long long>(pipe.raw[0]));
  EXPECT_EQ(lines.text, expected);
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
  EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "outerr");
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
