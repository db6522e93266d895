#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// A block of bytes that owns its memory. Every read is bounded by the block: a read that
// would leave it gives 0 or stops at its end, so no caller can read past the last byte.
class MemoryBlock : public Object {
  struct InTail {};  // the key to the constructor that NewCopy uses

 public:
  // A block of `size` zero bytes.
  explicit MemoryBlock(std::size_t size = 0);
  // A block with a copy of `size` bytes at `data`.
  MemoryBlock(const std::uint8_t* data, std::size_t size);
  explicit MemoryBlock(std::span<const std::uint8_t> bytes)
      : MemoryBlock(bytes.data(), bytes.size()) {}

  // A new block with a copy of `size` bytes at `data`, made in a single allocation that holds
  // the Ref's count, the block and its bytes; what Ref<MemoryBlock>::New(data, size) gives, in
  // one allocation instead of two. Readers that copy many values use it.
  static Ref<MemoryBlock> NewCopy(const std::uint8_t* data, std::size_t size);

  // Only NewCopy and Batch can name InTail: a block whose bytes lie at `bytes`, in the
  // allocation that holds the block, and are owned with it.
  MemoryBlock(InTail, std::uint8_t* const& bytes, const std::uint8_t* data, std::size_t size);

  // Copies of many runs of bytes as blocks that share a single allocation, which holds the
  // blocks, their bytes and their one count: for a reader that hands out many blocks at once.
  // Each block is an object of its own, with its own bytes and identity; the allocation goes
  // when the last Ref to any of its blocks does.
  class Batch {
   public:
    // Room for `count` blocks with `bytes` bytes in all.
    Batch(std::size_t count, std::size_t bytes);
    // A new block with a copy of the `size` bytes at `data`, made in the room that is left; in
    // an allocation of its own, as NewCopy makes it, when the room is too small.
    Ref<MemoryBlock> Copy(const std::uint8_t* data, std::size_t size);

   private:
    struct Room;
    std::shared_ptr<Room> room_;
  };

  std::int64_t Size() const { return static_cast<std::int64_t>(size_); }
  const std::uint8_t* Data() const { return data_; }
  std::uint8_t* Data() { return data_; }
  std::span<const std::uint8_t> Bytes() const { return {data_, size_}; }

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
  std::unique_ptr<std::uint8_t[]> heap_;  // the bytes, unless they lie behind the block
  std::uint8_t* data_;                    // never null, also for an empty block
  std::size_t size_;
};

}  // namespace toolkit
