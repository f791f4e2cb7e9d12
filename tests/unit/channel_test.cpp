#include "outcome.h"
#include "testsystem.h"

#include <ztutil/buffer.h>
#include <ztutil/winhandle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <numeric>
#include <vector>

namespace {

using ztutil::Buffer;
using ztutil::RandomAccess;
using ztutil::Reader;
using ztutil::WinHandle;
using ztutil::Writer;

constexpr int kThrow = -1;

// A stream that does at each call what comes next in the script: transfers that many bytes, or throws. Behind
// the script's end it gives 0.
class Scripted : public RandomAccess {
 public:
  explicit Scripted(std::vector<int> script, int* destroyed = nullptr)
      : fScript(std::move(script)), fDestroyed(destroyed) {}
  ~Scripted() override {
    if (fDestroyed != nullptr) ++*fDestroyed;
  }

  std::size_t calls = 0;
  std::string written;
  std::vector<std::size_t> pushbacks;

 protected:
  bool DoIsOpen() const override { return fOpen; }
  bool DoClose() override { return std::exchange(fOpen, false); }
  void OnPushback(std::size_t n) override { pushbacks.push_back(n); }
  std::size_t DoReadSome(void* buf, std::size_t n) override {
    const std::size_t count = Next();
    std::generate_n(static_cast<char*>(buf), std::min(count, n), [this] { return fNext++; });
    return count;
  }
  std::size_t DoWriteSome(const void* buf, std::size_t n) override {
    const std::size_t count = Next();
    written.append(static_cast<const char*>(buf), std::min(count, n));
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
  int* const fDestroyed;
  char fNext = 'a';
  bool fOpen = true;
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
    const char* read;
    const char* write;
  } rows[] = {
      {{10}, "abcdefghij", ""},
      {{1, 7, 2}, "abcdefghij", ""},
      {{kThrow}, "runtime: scripted", "runtime: scripted"},
      {{1, 7, kThrow}, "underrun 8[abcdefgh]", "underrun 8[ABCDEFGH]"},
      {{0}, "false", "logic: WriteFunc should never return 0"},
      {{4, 0}, "false", "underrun 4[ABCD]"},
      {{11}, "logic: read returned more than asked", "logic: write returned more than asked"},
      {{4, 7}, "underrun 4[abcd]", "underrun 4[ABCD]"},
  };
  for (const auto& row : rows) {
    Scripted source(row.script), sink(row.script), lowest(row.script);
    RandomAccess first(&lowest, false), second(&first, false), third(&second, false);
    for (Reader* const reader : {static_cast<Reader*>(&source), static_cast<Reader*>(&third)}) {
      std::string bytes(10, '\0');
      const std::string read = Outcome([&] { bytes = reader->Read(bytes.data(), 10) ? bytes : "false"; });
      EXPECT_EQ(read.empty() ? bytes : read, row.read);
    }
    EXPECT_EQ(Outcome([&] { sink.Write("ABCDEFGHIJ", 10); }), row.write);
    // Only a short read puts anything back, and that is read without the source.
    const bool isShort = row.script == std::vector<int>{4, 0};
    EXPECT_EQ(source.pushbacks.size(), isShort ? 1u : 0u);
    const std::size_t calls = source.calls;
    EXPECT_EQ(isShort ? ReadSome(source, 10) : "abcd", "abcd");
    EXPECT_EQ(source.calls, calls);
  }
}

TEST(Channel, SingleTransfersAreCheckedAtEveryLevel) {
  Scripted source({0, 12, 0});
  RandomAccess middle(&source, false), top(&middle, false);
  const std::string neverZero = "logic: DoWriteSome should never return 0 if nbytes > 0";
  EXPECT_EQ(Outcome([&] { top.Write("x", 1); }), neverZero);
  EXPECT_EQ(Outcome([&] { ReadSome(top, 11); }), "logic: read returned more than asked");
  EXPECT_EQ(Outcome([&] { source.WriteSome("x", 1); }), neverZero);
  EXPECT_EQ(top.WriteSome(nullptr, 0) + top.ReadSome(nullptr, 0), 0u);
  EXPECT_TRUE(top.Read(nullptr, 0));
  top.Write(nullptr, 0);
  EXPECT_EQ(source.calls, 3u);
}

TEST(Channel, RolesWithoutADelegateThatCountsRefuse) {
  struct : RandomAccess {
    bool DoIsOpen() const override { return true; }
  } bare;
  Scripted first({}), second({});
  RandomAccess mixed(&first, false);
  mixed.SetReader(&second, false);
  RandomAccess dangling(new Scripted({}), true);
  dangling.SetReader(&second, false);  // the other roles' delegate is gone, and isn't looked at
  const std::string required = "runtime: ztutil binio function override required";
  for (RandomAccess* const object : {static_cast<RandomAccess*>(&bare), &mixed, &dangling}) {
    EXPECT_EQ(OutcomeOfAll(*object), required);
  }
  EXPECT_EQ(ReadSome(mixed, 1), "");
  EXPECT_EQ(Outcome([&] { ReadSome(bare, 1); }), required);
  EXPECT_EQ(Outcome([&] { bare.Close(); }), required);
  EXPECT_EQ(Outcome([] { RandomAccess().IsOpen(); }), required);
}

TEST(Channel, OwnedDelegatesGoWithTheirOwner) {
  int destroyed = 0;
  {
    Scripted kept({}, &destroyed);
    const Reader reader(&kept, false);
    const Writer writer(new Scripted({}, &destroyed), true);
    RandomAccess all(new Scripted({}, &destroyed), true);
    auto* const other = new Scripted({1, 1}, &destroyed);
    all.SetRandomAccess(other, true);
    all.SetRandomAccess(other, true);
    EXPECT_EQ(destroyed, 1);
    all.Write("x", 1);
    EXPECT_EQ(ReadSome(all, 1) + other->written, "ax");
    EXPECT_TRUE(all.CloseIfOpen());
    EXPECT_FALSE(all.Close());
  }
  EXPECT_EQ(destroyed, 4);
}

TEST(Reader, PreviewersReadAloneAndGiveBack) {
  const std::string active = ": direct read while preview active";
  Scripted source({6, kThrow, 2});
  const auto lookAhead = [&](std::size_t n) {
    std::string seen(n, '\0');
    seen.resize(source.PreviewRead(seen.data(), n));
    auto* const buffer = new Buffer(n);
    buffer->Write(seen.data(), seen.size());
    return buffer;
  };
  source.SetPreviewer(&source);
  EXPECT_EQ(Outcome([&] { source.SetPreviewer(&source); }), "runtime: Reader: Previewer already active");
  Buffer* seen = lookAhead(6);
  EXPECT_EQ(Outcome([&] { lookAhead(6); }), "runtime: scripted");  // and the previewer stays
  EXPECT_EQ(Outcome([&] { source.ReadSome(nullptr, 0); }), "runtime" + active);
  EXPECT_EQ(Outcome([&] { source.ReadByte(); }), "runtime" + active);
  EXPECT_EQ(Outcome([&] { source.Read(nullptr, 0); }), "logic" + active);

  source.TakeBack(seen);  // came from the source, becomes the pushback
  EXPECT_EQ(seen, nullptr);
  EXPECT_EQ(ReadSome(source, 1), "a");
  source.SetPreviewer(&source);
  seen = lookAhead(3);
  char other[5];
  auto* const tooMuch = new Buffer(other, sizeof other);
  Buffer* taken = tooMuch;
  EXPECT_EQ(Outcome([&] { source.TakeBack(taken); }), "runtime: Buffer: offset would be negative");
  EXPECT_EQ(taken, tooMuch);
  delete tooMuch;
  source.TakeBack(seen);  // came from the pushback, which moves back
  EXPECT_EQ(source.pushbacks, std::vector<std::size_t>{6});
  EXPECT_EQ(ReadSome(source, 10), "bcdef");
}

// A buffer that takes and gives 1 byte, then 7, and so on.
class Trickle : public Buffer {
 public:
  using Buffer::Buffer;

 protected:
  std::size_t DoReadSome(void* buf, std::size_t n) override { return Buffer::DoReadSome(buf, Next(n)); }
  std::size_t DoWriteSome(const void* buf, std::size_t n) override {
    return Buffer::DoWriteSome(buf, Next(n));
  }

 private:
  std::size_t Next(std::size_t n) { return std::min<std::size_t>(n, ++fTurn % 2 == 1 ? 1 : 7); }

  int fTurn = 0;
};

// The tests of the roles, over all that there is. A pipe has an object for either end, and nothing that
// seeks.
class Roles : public testing::TestWithParam<const char*> {
 protected:
  Roles() {
    const std::string kind = GetParam();
    ztutil::NativeHandle ends[2];
    if (kind == "Buffer") fKept.emplace_back(new Buffer(0));
    if (kind == "File") fKept.emplace_back(ztutil::CreateTempFile("roles"));
    if (kind == "Pipe" && MakePipe(ends)) {
      for (const ztutil::NativeHandle end : ends) fKept.emplace_back(new WinHandle(end, true, nullptr));
    }
    if (kind == "StackOfThree") {
      auto* const lowest = new RandomAccess(new Trickle(0), true);
      fKept.emplace_back(new RandomAccess(new RandomAccess(lowest, true), true));
    }
    fIn = fKept.front().get();
    fOut = fKept.back().get();
  }

  bool IsPipe() const { return fIn != fOut; }

  // From writing to reading.
  void Turn() const { IsPipe() ? static_cast<void>(fOut->Close()) : fOut->Seek(0); }

  std::vector<std::unique_ptr<RandomAccess>> fKept;
  RandomAccess* fIn;
  RandomAccess* fOut;
};

INSTANTIATE_TEST_SUITE_P(Channel, Roles, testing::Values("Buffer", "File", "Pipe", "StackOfThree"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(Roles, WhatIsWrittenIsRead) {
  std::string bytes(10007, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');  // holds 255, which isn't the end
  for (std::size_t at = 0; at < 300;) at += fOut->WriteSome(&bytes[at], 300 - at);
  fOut->Write(&bytes[300], bytes.size() - 300);
  fOut->Flush();
  Turn();
  std::string got(bytes.size(), '\0');
  std::generate_n(got.begin(), 300, [&] { return static_cast<char>(fIn->ReadByte()); });
  EXPECT_TRUE(fIn->Read(&got[300], got.size() - 300));
  EXPECT_EQ(got, bytes);
  EXPECT_FALSE(fIn->Read(got.data(), 1));
  EXPECT_EQ(ReadSome(*fIn, 1), "");
  EXPECT_EQ(fIn->ReadByte(), -1);
}

TEST_P(Roles, ShortReadsPutBackAndPushbackIsReadFirst) {
  fOut->Write("defghij", 7);
  Turn();
  std::string bytes(10, '\0');
  EXPECT_FALSE(fIn->Read(bytes.data(), 8));
  EXPECT_FALSE(fIn->Read(bytes.data(), 9));
  EXPECT_EQ(ReadSome(*fIn, 4), "defg");
  EXPECT_EQ(ReadSome(*fIn, 4), "hij");
  fIn->Unread("fghij", 5);
  EXPECT_EQ(fIn->ReadByte(), 'f');
  EXPECT_EQ(ReadSome(*fIn, 9), "ghij");
  EXPECT_EQ(fIn->ReadByte(), -1);
}

TEST_P(Roles, ReadGoesOnBehindThePushbackAndReadSomeDoesNot) {
  fOut->Write("defghijk", 8);
  Turn();
  fIn->Unread("abc", 3);
  EXPECT_EQ(fIn->ReadByte(), 'a');
  EXPECT_EQ(ReadSome(*fIn, 10), "bc");
  fIn->Unread("abc", 3);
  std::string bytes(10, '\0');
  EXPECT_TRUE(fIn->Read(bytes.data(), 10));
  EXPECT_EQ(bytes + ReadSome(*fIn, 10), "abcdefghijk");
}

TEST_P(Roles, SeeksWhereThatIsPossible) {
  if (IsPipe()) {
    EXPECT_NE(Outcome([&] { fIn->SeekBy(0); }), "");  // systems differ in what they say
    EXPECT_NE(Outcome([&] { fIn->SetEnd(); }), "");
    return;
  }
  fIn->Write("abcdefghij", 10);
  fIn->Seek(6);
  fIn->SeekBy(-3);
  fIn->SeekBy(1);
  fIn->Write("X", 1);
  fIn->SeekBy(2);
  fIn->SetEnd();
  fIn->Seek(0);
  fIn->SeekEnd();
  EXPECT_NE(Outcome([&] { fIn->SeekBy(-8); }), "");
  EXPECT_NE(Outcome([&] { fIn->Seek(-1); }), "");
  EXPECT_EQ(fIn->Tell(), 7);
  fIn->Seek(0);
  std::string bytes(7, '\0');
  EXPECT_TRUE(fIn->Read(bytes.data(), 7));
  EXPECT_EQ(bytes, "abcdXfg");
  EXPECT_EQ(fIn->ReadByte(), -1);
}

TEST_P(Roles, NothingWorksAfterClose) {
  EXPECT_TRUE(fIn->Close());
  EXPECT_FALSE(fIn->CloseIfOpen() || fIn->Close());
  const std::string notOpen = "runtime: ztutil::Channel not open";
  const std::function<void()> actions[] = {
      [&] { fIn->ReadSome(nullptr, 0); },  [&] { fIn->ReadByte(); },
      [&] { fIn->Read(nullptr, 0); },      [&] { fIn->Write(nullptr, 0); },
      [&] { fIn->WriteSome(nullptr, 0); }, [&] { fIn->Flush(); }};
  for (const auto& action : actions) EXPECT_EQ(Outcome(action), notOpen);
  EXPECT_EQ(OutcomeOfAll(*fIn), notOpen);
}

}  // namespace
