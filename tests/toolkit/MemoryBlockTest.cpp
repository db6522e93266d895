#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/toolkit/MemoryBlock.h"

namespace toolkit {
namespace {

constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::uint8_t kBytes[] = {'a', 'b', 0, 'c', 'd'};

TEST(MemoryBlockTest, ByteOutsideIsZeroAndSetByteOutsideRaises) {
  MemoryBlock block(kBytes);
  EXPECT_EQ(block.Byte(4), 'd');
  for (const std::int64_t offset : {std::int64_t{-1}, std::int64_t{5}, kMin, kMax})
    EXPECT_EQ(block.Byte(offset), 0) << offset;
  block.SetByte(4, 0xFE);
  EXPECT_EQ(block.Byte(4), 0xFE);
  EXPECT_THROW(block.SetByte(5, 1), OutOfBoundsException);
  EXPECT_THROW(block.SetByte(-1, 1), OutOfBoundsException);
}

TEST(MemoryBlockTest, StringValueStopsAtTheEnd) {
  const MemoryBlock block(kBytes);
  const struct {
    std::int64_t offset, length;
    std::string want;
    const char* why;
  } cases[] = {
      {1, 3, std::string("b\0c", 3), "zero bytes included"},
      {3, 99, "cd", "clamped at the end"},
      {1, kMax, std::string("b\0cd", 4), "a length that would overflow"},
      {5, 1, "", "at the end"},
      {kMax, kMax, "", "far outside"},
      {-1, 3, "", "negative offset"},
      {kMin, kMax, "", "negative offset whose end falls inside"},
      {0, -1, "", "negative length"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(block.StringValue(c.offset, c.length).Bytes(), c.want) << c.why;
  EXPECT_EQ(block.StringValue().Bytes(), std::string("ab\0cd", 5));
  EXPECT_EQ(block.StringValue().Encoding(), TextEncoding::None);
}

TEST(MemoryBlockTest, CStringStopsAtZeroOrEnd) {
  const MemoryBlock block(kBytes);
  EXPECT_EQ(block.CString().Bytes(), "ab");
  EXPECT_EQ(block.CString(3).Bytes(), "cd");  // no zero byte before the end
  EXPECT_EQ(block.CString(5).Bytes(), "");
  EXPECT_EQ(block.CString(-1).Bytes(), "");
  EXPECT_EQ(MemoryBlock().CString().Bytes(), "");
}

TEST(MemoryBlockTest, NewCopyOwnsItsBytes) {
  std::uint8_t source[] = {'a', 'b', 'c'};
  const auto block = MemoryBlock::NewCopy(source, sizeof source);
  source[0] = 'z';
  EXPECT_EQ(block->StringValue().Bytes(), "abc");
  const auto empty = MemoryBlock::NewCopy(source, 0);
  EXPECT_EQ(empty->Size(), 0);
  EXPECT_NE(empty->Data(), nullptr);
}

// A batch made with room for `count` blocks and `bytes` bytes is asked for copies of the runs of
// kRuns given by `sizes`, in turn; the last ones may find no room left and get one of their own.
// Each block holds its own copy, however made, and one block kept alone still holds its bytes
// when the batch and all the other blocks are gone (AddressSanitizer sees a read of freed bytes).
TEST(MemoryBlockTest, BatchCopiesAreBlocksOfTheirOwn) {
  constexpr std::uint8_t kRuns[] = "the quick brown fox jumps over the lazy dog";
  const struct {
    std::size_t count, bytes;
    std::vector<std::size_t> sizes;
    const char* why;
  } cases[] = {
      {3, 12, {5, 0, 7}, "room for each, with an empty block between"},
      {2, 40, {4, 4, 4}, "more blocks than room for them"},
      {3, 6, {4, 4, 1}, "more bytes than room for them"},
      {0, 0, {3}, "no room at all"},
      {1, 43, {43}, "one block of every byte"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    std::vector<Ref<MemoryBlock>> blocks;
    {
      MemoryBlock::Batch batch(c.count, c.bytes);
      std::size_t offset = 0;
      for (const std::size_t size : c.sizes) {
        blocks.push_back(batch.Copy(kRuns + offset, size));
        offset += size;
      }
    }
    std::size_t offset = 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      const std::string want(reinterpret_cast<const char*>(kRuns) + offset, c.sizes[i]);
      offset += c.sizes[i];
      EXPECT_EQ(blocks[i]->StringValue().Bytes(), want) << i;
      EXPECT_NE(blocks[i]->Data(), nullptr) << i;
      for (std::size_t j = 0; j < i; ++j)
        EXPECT_FALSE(blocks[i] == blocks[j]) << i << " is " << j;
    }
    // Writing into one block changes no other.
    if (!blocks.empty() && blocks[0]->Size() > 0) {
      blocks[0]->SetByte(0, '#');
      for (std::size_t i = 1; i < blocks.size(); ++i)
        EXPECT_EQ(blocks[i]->StringValue().Bytes().find('#'), std::string::npos) << i;
    }
    // The last block alone keeps the allocation.
    const Ref<MemoryBlock> last = blocks.back();
    const std::string lastBytes = last->StringValue().Bytes();
    blocks.clear();
    EXPECT_EQ(last->StringValue().Bytes(), lastBytes);
  }
}

}  // namespace
}  // namespace toolkit
