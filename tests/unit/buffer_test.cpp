#include "outcome.h"

#include <ztutil/buffer.h>
#include <ztutil/gpuimpl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace {

using ztutil::Buffer;

constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();
constexpr std::int64_t kFarthest = std::numeric_limits<std::int64_t>::max();

// Offset, end of data, capacity, dirty range.
using Sizes = std::vector<std::size_t>;
Sizes SizesOf(const Buffer& b) {
  return {b.GetOffset(), b.GetEndOfData(), b.GetCapacity(), b.GetDirtyBegin(), b.GetDirtyEnd()};
}

auto StateOf(const Buffer& b) { return std::tuple(SizesOf(b), b.GetData(), b.IsOwner(), b.IsGrowable()); }

class BufferTest : public testing::Test {
 protected:
  BufferTest() {
    fGrowable.Write("0123456789", 10);
    fGrowable.SetState(6, 10, 2, 8);
    fFixed.Seek(96);
    fClosed.Close();
  }

  char fMemory[100] = "";
  Buffer fGrowable{20};
  Buffer fFixed{fMemory, sizeof fMemory};
  Buffer fClosed{20};
};

TEST_F(BufferTest, RefusalsHaveTheirTextsAndChangeNothing) {
  Buffer& g = fGrowable;
  Buffer& f = fFixed;
  char bytes[20] = "";
  const struct {
    Buffer& buffer;
    std::function<void()> action;
    const char* outcome;
  } rows[] = {
      {g, [&] { g.SetState(6, 5, 0, 0); }, "argument: Buffer::SetState: bad args"},
      {g, [&] { g.SetState(0, 10, 0, 11); }, "argument: Buffer::SetState: bad args"},
      {g, [&] { g.SetEndOfData(7); }, "runtime: Buffer: bad endOfData param"},  // within the dirty range
      {g, [&] { g.SetOffset(11); }, "runtime: Buffer: bad offset param"},
      {g, [&] { g.SetDirtyBounds(3, 11); }, "runtime: Buffer: bad dirty bounds"},
      {g, [&] { g.MarkWritten(15); }, "runtime: Buffer: bad offset param"},
      {g, [&] { g.CopyOut(bytes, 5); }, "runtime: Buffer: CopyOut nbytes too large"},
      {g, [&] { g.SetCapacity(9); }, "runtime: shrinking Buffer would invalidate data"},
      {g, [&] { g.Grow(kLargest - 19); }, "runtime: cannot Grow Buffer that large"},
      {g, [&] { g.Seek(11); }, "runtime: Buffer: bad offset param"},
      {g, [&] { g.SeekBy(kFarthest); }, "runtime: Buffer: bad offset param"},
      {g, [&] { g.SeekBy(-kFarthest - 1); }, "runtime: Buffer: offset would be negative"},
      {g, [&] { g.SetBuffer(nullptr, 0); }, "runtime: Failed requirement: buf != NULL"},
      {f, [&] { f.Grow(1); }, "runtime: not IsGrowable"},
      {f, [&] { f.SetCapacity(200); }, "runtime: Buffer: ownership is required for this operation"},
      {f, [&] { f.SetEnd(); }, "runtime: Buffer: ownership is required for this operation"},
      {f, [&] { f.CopyIn(bytes, 10); }, "underrun 0"},
      {fClosed, [&] { fClosed.CopyOut(bytes, 1); }, "runtime: Buffer: CopyOut nbytes too large"},
      {f, [] { Buffer(nullptr, 1); }, "runtime: Buffer: null buf with positive size"},
  };
  SetMessageHook([](const std::string&) {});
  for (const auto& row : rows) {
    const auto before = StateOf(row.buffer);
    EXPECT_EQ(Outcome(row.action), row.outcome);
    EXPECT_EQ(StateOf(row.buffer), before) << row.outcome;
  }
  SetMessageHook(nullptr);
}

TEST_F(BufferTest, FixedOnesTakeWhatFits) {
  EXPECT_EQ(fFixed.WriteSome("abcdefghij", 10), 4u);
  EXPECT_EQ(Outcome([&] { fFixed.WriteSome("a", 1); }), "runtime: Buffer full");
  fFixed.Seek(96);
  EXPECT_EQ(Outcome([&] { fFixed.Write("klmnopqrst", 10); }), "underrun 4[klmn]");
  fFixed.SetEnd();  // at the block's end it is nothing, though the memory isn't owned
  EXPECT_EQ(SizesOf(fFixed), (Sizes{100, 100, 100, 0, 100}));
  fFixed.Close();
  EXPECT_EQ(std::string(fMemory + 95, 5), std::string("\0klmn", 5));
}

TEST_F(BufferTest, SizesFollowTheRules) {
  Buffer buffer(4090);
  buffer.Grow(10);
  buffer.SetState(100, 100, 0, 0);
  buffer.Write("abc", 3);  // the dirty range begins at 0 all the same
  EXPECT_EQ(SizesOf(buffer), (Sizes{103, 103, 8192, 0, 103}));
  buffer.Reset();
  buffer.SetEnd();
  EXPECT_TRUE(buffer.IsOpen());
  EXPECT_EQ(SizesOf(buffer), (Sizes{0, 0, 0, 0, 0}));
  EXPECT_FALSE(Buffer(static_cast<const Buffer&>(buffer)).IsOpen());
  EXPECT_EQ(SizesOf(fClosed), (Sizes{0, 0, 0, 0, 0}));
  Buffer copy(0);
  copy = fFixed;
  EXPECT_EQ(SizesOf(copy), SizesOf(fFixed));
  EXPECT_TRUE(copy.IsOwner() && !copy.IsGrowable() && copy.GetData() != fFixed.GetData());
}

TEST_F(BufferTest, SetBufferTakesNullOnlyIfTheHookReturns) {
  SetFailureHook([](const char* file, int line, const char* message, bool fatal) {
    EXPECT_EQ(std::string(file) + message, "<NULL>Failed requirement: buf != NULL");
    EXPECT_TRUE(line == 0 && fatal);
  });
  const auto before = StateOf(fGrowable);
  EXPECT_EQ(Outcome([&] { fGrowable.SetBuffer(nullptr, 1); }), "argument: Buffer::SetState: bad args");
  EXPECT_EQ(StateOf(fGrowable), before);
  fGrowable.SetBuffer(nullptr, 0);
  EXPECT_FALSE(fGrowable.IsOpen());
  SetFailureHook(nullptr);
  fGrowable.SetBuffer(fMemory, 50);
  EXPECT_EQ(SizesOf(fGrowable), (Sizes{0, 50, 50, 0, 0}));
  EXPECT_FALSE(fGrowable.IsOwner() || fGrowable.IsGrowable());
}

TEST(BufferModel, AMillionRandomOperationsKeepTheRules) {
  std::mt19937 random(2026);
  const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  Buffer buffer(0);
  // The same in the simplest words: the data, up to their end, and the other sizes.
  std::string data;
  std::size_t offset = 0, capacity = 0, dirtyBegin = 0, dirtyEnd = 0;
  std::string scratch(20000, '\0');
  const auto take = [&](std::size_t n) {
    ASSERT_EQ(scratch.compare(0, n, data, offset, n), 0);
    offset += n;
  };
  for (int i = 0; i < 1000000; ++i) {
    const std::size_t n = below(i % 16 == 0 ? 3000 : 40) + 1;
    const std::size_t rest = data.size() - offset;
    const auto operation = below(8);
    if (operation < 2 && offset + n <= scratch.size()) {
      std::generate_n(scratch.begin(), n, [&] { return static_cast<char>(random() % 256); });
      operation == 0 ? buffer.Write(scratch.data(), n) : buffer.CopyIn(scratch.data(), n);
      if (offset + n > capacity) capacity = (offset + n + 4095) / 4096 * 4096;
      data.replace(offset, n, scratch, 0, n);
      dirtyBegin = std::min(dirtyBegin, offset);
      offset += n;
      dirtyEnd = std::max(dirtyEnd, offset);
    } else if (operation == 2) {
      ASSERT_EQ(buffer.ReadSome(scratch.data(), n), std::min(n, rest));
      take(std::min(n, rest));
    } else if (operation == 3) {
      ASSERT_EQ(Outcome([&] { buffer.CopyOut(scratch.data(), n); }).empty(), n <= rest);
      if (n <= rest) take(n);
    } else if (operation == 4) {
      const auto to = static_cast<std::int64_t>(below(data.size() + 20)) - 10;
      const auto by = to - static_cast<std::int64_t>(offset);
      const bool valid = to >= 0 && static_cast<std::size_t>(to) <= data.size();
      ASSERT_EQ(Outcome([&] { i % 2 == 0 ? buffer.SeekBy(by) : buffer.Seek(to); }).empty(), valid);
      if (valid) offset = static_cast<std::size_t>(to);
    } else if (operation == 5) {
      const bool valid = n == capacity || n >= data.size();
      ASSERT_EQ(Outcome([&] { buffer.SetCapacity(n); }).empty(), valid);
      if (valid) capacity = n;
    } else if (operation == 6) {
      const std::size_t begin = below(data.size() + 2), end = begin + below(20);
      const bool valid = end <= data.size();
      ASSERT_EQ(Outcome([&] { buffer.SetDirtyBounds(begin, end); }).empty(), valid);
      if (valid) dirtyBegin = begin, dirtyEnd = end;
    } else if (i % 8 == 0) {
      buffer.SetEnd();
      data.resize(capacity = offset);
      dirtyBegin = std::min(dirtyBegin, offset);
      dirtyEnd = std::min(dirtyEnd, offset);
    }
    ASSERT_EQ(SizesOf(buffer), (Sizes{offset, data.size(), capacity, dirtyBegin, dirtyEnd})) << i;
    ASSERT_TRUE(buffer.IsStateValid(offset, data.size(), dirtyBegin, dirtyEnd));
    if (i % 64 != 0) continue;
    ASSERT_TRUE(std::equal(data.begin(), data.end(), reinterpret_cast<char*>(buffer.GetData())));
  }
}

}  // namespace
