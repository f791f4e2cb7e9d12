#include "outcome.h"

#include <ztutil/buffer.h>
#include <ztutil/gpuimpl.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <tuple>
#include <utility>
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
  }

  char fMemory[100] = "";
  Buffer fGrowable{20};
  Buffer fFixed{fMemory, sizeof fMemory};
};

TEST_F(BufferTest, RefusalsHaveTheirTextsAndChangeNothing) {
  Buffer& g = fGrowable;
  Buffer& f = fFixed;
  char bytes[20] = "";
  Buffer all(bytes, kLargest);  // as far as memory could go
  all.SeekEnd();
  const struct {
    Buffer& buffer;
    std::function<void()> action;
    const char* outcome;
  } rows[] = {
      {g, [&] { g.SetState(0, 10, 0, 11); }, "argument: Buffer::SetState: bad args"},
      {g, [&] { g.SetEndOfData(7); }, "runtime: Buffer: bad endOfData param"},  // within the dirty range
      {g, [&] { g.SetDirtyBounds(3, 11); }, "runtime: Buffer: bad dirty bounds"},
      {g, [&] { g.MarkWritten(15); }, "runtime: Buffer: bad offset param"},
      {g, [&] { g.CopyOut(bytes, 5); }, "runtime: Buffer: CopyOut nbytes too large"},
      {g, [&] { g.SetCapacity(9); }, "runtime: shrinking Buffer would invalidate data"},
      {g, [&] { g.Grow(kLargest - 19); }, "runtime: cannot Grow Buffer that large"},
      {g, [&] { g.Seek(11); }, "runtime: Buffer: bad offset param"},
      {g, [&] { g.Seek(-1); }, "runtime: Buffer: bad offset param"},
      {g, [&] { g.SeekBy(kFarthest); }, "runtime: Buffer: bad offset param"},
      {all, [&] { all.SeekBy(0); }, ""},
      {all, [&] { all.SeekBy(1); }, "runtime: Buffer: seek past EOF"},
      {g, [&] { g.SeekBy(-kFarthest - 1); }, "runtime: Buffer: offset would be negative"},
      {g, [&] { g.SeekBy(-7); }, "runtime: Buffer: offset would be negative"},
      {g, [&] { g.SetBuffer(nullptr, 0); }, "runtime: Failed requirement: buf != NULL"},
      {g, [&] { SetFailureHook([](auto...) {}), g.SetBuffer(nullptr, 1); },
       "argument: Buffer::SetState: bad args"},
      {f, [&] { Buffer(f).Grow(1); }, "runtime: not IsGrowable"},  // a copy that is owned
      {f, [&] { f.SetCapacity(200); }, "runtime: Buffer: ownership is required for this operation"},
      {f, [&] { f.SetEnd(); }, "runtime: Buffer: ownership is required for this operation"},
      {f, [&] { f.CopyIn(bytes, 10); }, "underrun 0"},
      {f, [] { Buffer(nullptr, 1); }, "runtime: Buffer: null buf with positive size"},
  };
  SetMessageHook([](const std::string&) {});
  for (const auto& row : rows) {
    const auto before = StateOf(row.buffer);
    EXPECT_EQ(Outcome(row.action), row.outcome);
    EXPECT_EQ(StateOf(row.buffer), before) << row.outcome;
  }
  g.SetBuffer(nullptr, 0);
  EXPECT_EQ(SizesOf(g), (Sizes{0, 0, 0, 0, 0}));
  SetFailureHook(nullptr);
  SetMessageHook(nullptr);
}

TEST_F(BufferTest, FixedOnesTakeWhatFits) {
  EXPECT_EQ(Outcome([&] { fFixed.Write("klmnopqrst", 10); }), "underrun 4[klmn]");
  EXPECT_EQ(Outcome([&] { fFixed.WriteSome("a", 1); }), "runtime: Buffer full");
  fFixed.SetEnd();  // at the block's end it is nothing, though the memory isn't owned
  EXPECT_EQ(SizesOf(fFixed), (Sizes{100, 100, 100, 0, 100}));
  Buffer copy(0);
  copy = fFixed;
  EXPECT_EQ(SizesOf(copy), SizesOf(fFixed));
  EXPECT_TRUE(copy.IsOwner() && !copy.IsGrowable() && copy.GetData() != fFixed.GetData());
  const auto state = StateOf(copy);
  Buffer moved(30);
  moved = std::move(copy);
  EXPECT_TRUE(StateOf(moved) == state &&
              !copy.IsOpen());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  fFixed.Close();
  EXPECT_EQ(SizesOf(fFixed), (Sizes{0, 0, 0, 0, 0}));
  EXPECT_EQ(std::string(fMemory + 95, 5), std::string("\0klmn", 5));
}

TEST_F(BufferTest, EachStepLeavesItsSizesAndBytes) {
  Buffer& b = fGrowable;
  char out[4] = "";
  const struct {
    std::function<void()> step;
    Sizes sizes;
    const char* data;
  } rows[] = {
      {[&] { b.Write("ab", 2); }, {8, 10, 20, 2, 8}, "012345ab89"},
      {[&] { b.SeekBy(-7); }, {1, 10, 20, 2, 8}, "012345ab89"},
      {[&] { b.CopyOut(out, 2); }, {3, 10, 20, 2, 8}, "012345ab89"},
      {[&] { b.SetDirtyBounds(5, 5); }, {3, 10, 20, 5, 5}, "012345ab89"},
      {[&] { b.CopyIn("cd", 2); }, {5, 10, 20, 3, 5}, "012cd5ab89"},
      {[&] { b.SetEndOfData(8); }, {5, 8, 20, 3, 5}, "012cd5ab"},
      {[&] { b.SetCapacity(8); }, {5, 8, 8, 3, 5}, "012cd5ab"},
      {[&] { b.CopyIn("efghi", 5); }, {10, 10, 4096, 3, 10}, "012cdefghi"},
      {[&] { b.SetCapacity(4090); }, {10, 10, 4090, 3, 10}, "012cdefghi"},
      {[&] { b.Grow(10); }, {10, 10, 8192, 3, 10}, "012cdefghi"},
      {[&] { b.Seek(7); }, {7, 10, 8192, 3, 10}, "012cdefghi"},
      {[&] { b.SetEnd(); }, {7, 7, 7, 3, 7}, "012cdef"},
      {[&] { b.Write("j", 1); }, {8, 8, 4096, 3, 8}, "012cdefj"},
      {[&] { b.Reset(); }, {0, 0, 4096, 0, 0}, ""},
      {[&] { b.SetEnd(); }, {0, 0, 0, 0, 0}, ""},  // and open still
      {[&] { b.Write("k", 1); }, {1, 1, 4096, 0, 1}, "k"},
      {[&] { b.Write(std::string(9999, 'l').data(), 9999), b.SetDirtyBounds(2, 9), b.Seek(1), b.SetEnd(); },
       {1, 1, 1, 1, 1},
       "k"},
      {[&] { b = Buffer(b), b.Write("m", 1); }, {2, 2, 4096, 1, 2}, "km"},  // grows as the copied one
      {[&] { b.SetBuffer(out, 2); }, {0, 2, 2, 0, 0}, "12"},                // what was copied out
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    row.step();
    EXPECT_EQ(SizesOf(b), row.sizes);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(b.GetData()), b.GetEndOfData()), row.data);
  }
  EXPECT_FALSE(b.IsOwner() || b.IsGrowable());
  EXPECT_FALSE(Buffer(static_cast<const Buffer&>(Buffer(0))).IsOpen());
}

}  // namespace
