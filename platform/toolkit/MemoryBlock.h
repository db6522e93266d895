#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// A block of bytes that owns its memory. Every read is bounded by the block: a read that
// would leave it gives 0 or stops at its end, so no caller can read past the last byte.
class MemoryBlock : public Object {
 public:
  // A block of `size` zero bytes.
  explicit MemoryBlock(std::size_t size = 0);
  // A block with a copy of `size` bytes at `data`.
  MemoryBlock(const std::uint8_t* data, std::size_t size);
  explicit MemoryBlock(std::span<const std::uint8_t> bytes)
      : MemoryBlock(bytes.data(), bytes.size()) {}

  std::int64_t Size() const { return static_cast<std::int64_t>(size_); }
  const std::uint8_t* Data() const { return heap_ ? heap_.get() : inline_.data(); }
  std::uint8_t* Data() { return heap_ ? heap_.get() : inline_.data(); }
  std::span<const std::uint8_t> Bytes() const { return {Data(), size_}; }

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
  // Small blocks, as most attribute values are, keep their bytes inside the object, so that
  // the decoder makes one allocation for each block instead of two.
  static constexpr std::size_t kInlineSize = 40;
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> heap_;
  std::array<std::uint8_t, kInlineSize> inline_{};
};

}  // namespace toolkit
