#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// A block of bytes that owns its memory. Every read is bounded by the block: a read that
// would leave it gives 0 or stops at its end, so no caller can read past the last byte.
class MemoryBlock : public Object {
 public:
  explicit MemoryBlock(std::size_t size = 0) : bytes_(size, 0) {}
  explicit MemoryBlock(std::span<const std::uint8_t> bytes) : bytes_(bytes.begin(), bytes.end()) {}
  MemoryBlock(const std::uint8_t* data, std::size_t size) : bytes_(data, data + size) {}

  std::int64_t Size() const { return static_cast<std::int64_t>(bytes_.size()); }
  const std::uint8_t* Data() const { return bytes_.data(); }
  std::uint8_t* Data() { return bytes_.data(); }
  std::span<const std::uint8_t> Bytes() const { return bytes_; }

  // The byte at `offset`, or 0 for an offset outside the block.
  std::uint8_t Byte(std::int64_t offset) const;
  void SetByte(std::int64_t offset, std::uint8_t value);  // OutOfBoundsException outside
  // Up to `length` bytes from `offset` as a String with no encoding; stops at the block's end.
  String StringValue(std::int64_t offset, std::int64_t length) const;
  // All bytes of the block as a String with no encoding.
  String StringValue() const { return StringValue(0, Size()); }
  // The bytes up to the first zero byte, or to the end when there is none.
  String CString(std::int64_t offset = 0) const;

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace toolkit
