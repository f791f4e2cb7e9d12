#include "outcome.h"
#include "testsystem.h"

#include <ztutil/buffer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>
#include <vector>

namespace {

using ztutil::Buffer;
using ztutil::RandomAccess;
using ztutil::Reader;
using ztutil::WinHandle;

constexpr int kThrow = -1;

// A stream that does at each call what comes next in the script: transfers that many bytes, or throws. Behind
// the script's end it gives 0.
class Scripted : public RandomAccess {
 public:
  explicit Scripted(std::vector<int> script) : fScript(std::move(script)) {}

  std::size_t calls = 0;
  std::size_t pushbacks = 0;

 protected:
  bool DoIsOpen() const override { return true; }
  void OnPushback(std::size_t) override { ++pushbacks; }
  std::size_t DoWriteSome(const void*, std::size_t) override { return Next(); }
  std::size_t DoReadSome(void* buf, std::size_t n) override {
    const std::size_t count = Next();
    std::generate_n(static_cast<char*>(buf), std::min(count, n), [this] { return fNext++; });
    return count;
  }

 private:
  std::size_t Next() {
    const int step = calls < fScript.size() ? fScript[calls] : 0;
    ++calls;
    if (step == kThrow) throw std::runtime_error("scripted");
    return static_cast<std::size_t>(step);
  }

  const std::vector<int> fScript;
  char fNext = 'a';
};

std::string ReadSome(Reader& reader, std::size_t n) {
  std::string text(n, '\0');
  text.resize(reader.ReadSome(text.data(), n));
  return text;
}

// What the operations of a RandomAccess that don't read come to, which must be the same for all.
std::string OutcomeOfAll(RandomAccess& s) {
  const std::function<void()> actions[] = {[&] { s.WriteSome("x", 1); }, [&] { s.Tell(); },
                                           [&] { s.Seek(0); },           [&] { s.SeekBy(0); },
                                           [&] { s.SeekEnd(); },         [&] { s.SetEnd(); }};
  std::string first = Outcome([&] { s.Write("x", 1); });
  for (const auto& action : actions) EXPECT_EQ(Outcome(action), first);
  return first;
}

TEST(Channel, LoopsGoOnToTheEndOrSayHowFarTheyGot) {
  const struct {
    std::vector<int> script;
    const char* write;
    const char* read;
    std::size_t pushbacks;
  } rows[] = {
      {{1, 7, 2}, "", "abcdefghij", 0},
      {{kThrow}, "runtime: scripted", "runtime: scripted", 0},
      {{1, 7, kThrow}, "underrun 8[ABCDEFGH]", "underrun 8[abcdefgh]", 0},
      {{0}, "logic: WriteFunc should never return 0", "false", 0},
      {{4, 0}, "underrun 4[ABCD]", "false", 1},
      {{11}, "logic: write returned more than asked", "logic: read returned more than asked", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.script));
    Scripted source(row.script), sink(row.script);
    EXPECT_EQ(Outcome([&] { sink.Write("ABCDEFGHIJ", 10); }), row.write);
    std::string bytes(10, '\0');
    const std::string failure = Outcome([&] { bytes = source.Read(bytes.data(), 10) ? bytes : "false"; });
    EXPECT_EQ(failure.empty() ? bytes : failure, row.read);
    EXPECT_EQ(source.pushbacks, row.pushbacks);
  }
}

TEST(Channel, SingleTransfersAreCheckedAtEveryLevel) {
  Scripted source({0, 12, 0, 2});
  RandomAccess middle(&source, false), top(&middle, false);
  const std::string neverZero = "logic: DoWriteSome should never return 0 if nbytes > 0";
  EXPECT_EQ(Outcome([&] { top.Write("x", 1); }), neverZero);
  EXPECT_EQ(Outcome([&] { ReadSome(top, 11); }), "logic: read returned more than asked");
  EXPECT_EQ(Outcome([&] { source.WriteSome("x", 1); }), neverZero);
  EXPECT_EQ(Outcome([&] { source.WriteSome("x", 1); }), "logic: write returned more than asked");
  EXPECT_EQ(top.WriteSome(nullptr, 0) + top.ReadSome(nullptr, 0), 0u);
  EXPECT_TRUE(top.Read(nullptr, 0));
  EXPECT_EQ(source.calls, 4u);
}

TEST(Channel, RolesWithoutADelegateThatCountsRefuse) {
  struct : RandomAccess {
    bool DoIsOpen() const override { return true; }
  } bare;
  Scripted source({});
  RandomAccess mixed(new Scripted({}), true);
  mixed.Unread("x", 1);
  mixed.SetReader(&source, false);  // the other roles' delegate is gone, and isn't looked at
  EXPECT_EQ(ReadSome(mixed, 1), "x");
  const std::string required = "runtime: ztutil binio function override required";
  EXPECT_EQ(OutcomeOfAll(bare), required);
  EXPECT_EQ(OutcomeOfAll(mixed), required);
  EXPECT_EQ(ReadSome(mixed, 1), "");
  EXPECT_EQ(Outcome([&] { ReadSome(bare, 1); }), required);
  EXPECT_EQ(Outcome([&] { bare.Close(); }), required);
  EXPECT_EQ(Outcome([] { RandomAccess().IsOpen(); }), required);
}

TEST(Channel, OwnedDelegatesGoWithTheirOwner) {
  const auto raw = MakePipe();
  {
    RandomAccess owner(new WinHandle(raw[0], true, nullptr), true);
    auto* const replacement = new WinHandle(raw[1], true, nullptr);
    owner.SetRandomAccess(replacement, true);
    EXPECT_EQ(StateOf(raw[0]), "closed");
    owner.SetRandomAccess(replacement, true);
    EXPECT_NE(StateOf(raw[1]), "closed");
  }
  EXPECT_EQ(StateOf(raw[1]), "closed");
}

TEST(Reader, PreviewersReadAloneAndGiveBack) {
  const std::string active = ": direct read while preview active";
  Scripted source({6, kThrow, 2});
  char bytes[6];
  source.SetPreviewer(&source);
  EXPECT_EQ(Outcome([&] { source.SetPreviewer(&source); }), "runtime: Reader: Previewer already active");
  EXPECT_EQ(source.PreviewRead(bytes, 6), 6u);
  EXPECT_EQ(Outcome([&] { source.PreviewRead(bytes, 6); }), "runtime: scripted");  // and the previewer stays
  EXPECT_EQ(Outcome([&] { source.ReadSome(nullptr, 0); }), "runtime" + active);
  EXPECT_EQ(Outcome([&] { source.ReadByte(); }), "runtime" + active);
  EXPECT_EQ(Outcome([&] { source.Read(nullptr, 0); }), "logic" + active);
  auto* seen = new Buffer(bytes, 6);
  seen->SeekEnd();        // as behind a write
  source.TakeBack(seen);  // came from the source, becomes the pushback
  EXPECT_EQ(seen, nullptr);
  EXPECT_EQ(ReadSome(source, 1), "a");
  source.SetPreviewer(&source);
  char more[3];
  EXPECT_EQ(source.PreviewRead(more, 3), 3u);
  Buffer other(bytes, 5), *tooLarge = &other;
  EXPECT_EQ(Outcome([&] { source.TakeBack(tooLarge); }), "runtime: Buffer: offset would be negative");
  EXPECT_EQ(Outcome([&] { source.ReadByte(); }), "runtime" + active);
  seen = new Buffer(more, 3);
  source.TakeBack(seen);  // came from the pushback, which moves back
  EXPECT_EQ(ReadSome(source, 10), "bcdef");
  source.SetPreviewer(&source);
  seen = new Buffer(more, source.PreviewRead(more, 2));
  source.TakeBack(seen);  // came from the source again
  EXPECT_EQ(ReadSome(source, 10), "gh");
  EXPECT_EQ(source.pushbacks, 2u);
}

// The tests of the roles, over all that there is. A pipe has an object for either end, and nothing that
// seeks.
class Roles : public testing::TestWithParam<const char*> {
 protected:
  bool IsPipe() const { return &fIn != &fOut; }

  // From writing to reading.
  void Turn() { IsPipe() ? static_cast<void>(fOut.Close()) : fOut.Seek(0); }

  Buffer fBuffer{0};
  RandomAccess fStack{new RandomAccess(new RandomAccess(new Buffer(0), true), true), true};
  const std::unique_ptr<WinHandle> fFile = ztutil::CreateTempFile("roles");
  Pipe fPipe;
  const std::map<std::string, std::pair<RandomAccess*, RandomAccess*>> fKinds = {
      {"Buffer", {&fBuffer, &fBuffer}},
      {"StackOfThree", {&fStack, &fStack}},
      {"File", {fFile.get(), fFile.get()}},
      {"Pipe", {&fPipe.in, &fPipe.out}},
  };
  RandomAccess& fIn = *fKinds.at(GetParam()).first;
  RandomAccess& fOut = *fKinds.at(GetParam()).second;
};

INSTANTIATE_TEST_SUITE_P(Channel, Roles, testing::Values("Buffer", "StackOfThree", "File", "Pipe"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(Roles, WhatIsWrittenIsRead) {
  std::string bytes(10007, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');  // holds 255, which isn't the end
  for (std::size_t at = 0; at < 300;) at += fOut.WriteSome(&bytes[at], 300 - at);
  fOut.Write(&bytes[300], bytes.size() - 300);
  Turn();
  std::string got(bytes.size(), '\0');
  std::generate_n(got.begin(), 300, [&] { return static_cast<char>(fIn.ReadByte()); });
  EXPECT_TRUE(fIn.Read(&got[300], got.size() - 300));
  EXPECT_EQ(got, bytes);
  EXPECT_FALSE(fIn.Read(got.data(), 1));
  EXPECT_EQ(fIn.ReadByte(), -1);
}

TEST_P(Roles, WhatWasPutBackIsReadFirst) {
  fOut.Write("-defghij", 8);
  Turn();
  fIn.Unread("", 0);
  EXPECT_EQ(fIn.ReadByte(), '-');
  fIn.Unread("abc", 3);
  if (!IsPipe()) fIn.Seek(fIn.Tell());  // which counts none of it, and drops none
  EXPECT_EQ(fIn.ReadByte(), 'a');
  EXPECT_EQ(ReadSome(fIn, 10), "bc");  // and no byte of the source with it
  fIn.Unread("abc", 3);
  std::string bytes(8, '\0');
  EXPECT_TRUE(fIn.Read(bytes.data(), 5));
  EXPECT_FALSE(fIn.Read(bytes.data(), 6));
  EXPECT_FALSE(fIn.Read(bytes.data(), 8));
  EXPECT_EQ(ReadSome(fIn, 4), "fghi");
  EXPECT_EQ(ReadSome(fIn, 4), "j");
  EXPECT_EQ(fIn.ReadByte(), -1);
}

TEST_P(Roles, SeeksWhereThatIsPossible) {
  if (IsPipe()) return;
  fIn.Write("abcdefghij", 10);
  fIn.Seek(6);
  fIn.SeekBy(-2);
  fIn.Write("X", 1);
  fIn.SeekBy(2);
  fIn.SetEnd();
  fIn.Seek(0);
  fIn.SeekEnd();
  EXPECT_NE(Outcome([&] { fIn.SeekBy(-8); }), "");
  EXPECT_EQ(fIn.Tell(), 7);
  fIn.Seek(0);
  EXPECT_EQ(ReadSome(fIn, 10), "abcdXfg");
}

TEST(Channel, ClosesNothingTwice) {
  struct Closed : ztutil::Channel {
    bool DoIsOpen() const override { return false; }
    bool DoClose() override { return true; }
  } closed;
  EXPECT_FALSE(ztutil::Channel(&closed, false).Close());
}

TEST_P(Roles, NothingWorksAfterClose) {
  EXPECT_TRUE(fIn.Close());
  EXPECT_FALSE(fIn.CloseIfOpen() || fIn.Close());
  const std::string notOpen = "runtime: ztutil::Channel not open";
  const std::function<void()> actions[] = {
      [&] { fIn.ReadSome(nullptr, 0); }, [&] { fIn.ReadByte(); }, [&] { fIn.Read(nullptr, 0); },
      [&] { fIn.Write(nullptr, 0); },    [&] { fIn.Flush(); },
  };
  for (const auto& action : actions) EXPECT_EQ(Outcome(action), notOpen);
  EXPECT_EQ(OutcomeOfAll(fIn), notOpen);
  fIn.SetPreviewer(&fIn);  // which comes first
  for (const auto& action : {actions[0], actions[1]})
    EXPECT_EQ(Outcome(action), "runtime: direct read while preview active");
}

}  // namespace
