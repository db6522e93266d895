#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

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

}  // namespace
}  // namespace toolkit
