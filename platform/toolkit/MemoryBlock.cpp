#include "platform/toolkit/MemoryBlock.h"

#include <algorithm>
#include <new>

namespace toolkit {

namespace {

// Allocates what std::allocate_shared asks for with `extra` bytes behind it, and tells where
// those bytes start through `tail`. allocate_shared allocates once, before it constructs the
// object, so the object's constructor finds `tail` set.
template <class T>
struct TailAllocator {
  using value_type = T;

  TailAllocator(std::size_t extraBytes, std::uint8_t** tailOut)
      : extra(extraBytes), tail(tailOut) {}
  template <class U>
  TailAllocator(const TailAllocator<U>& other) : extra(other.extra), tail(other.tail) {}  // NOLINT

  T* allocate(std::size_t n) {
    void* p = ::operator new(n * sizeof(T) + extra);
    *tail = static_cast<std::uint8_t*>(p) + n * sizeof(T);
    return static_cast<T*>(p);
  }
  void deallocate(T* p, std::size_t) { ::operator delete(p); }

  template <class U>
  bool operator==(const TailAllocator<U>& other) const {
    return extra == other.extra;
  }

  std::size_t extra;
  std::uint8_t** tail;
};

}  // namespace

MemoryBlock::MemoryBlock(std::size_t size)
    : heap_(std::make_unique<std::uint8_t[]>(size)),  // zeroed
      data_(heap_.get()),
      size_(size) {}

MemoryBlock::MemoryBlock(const std::uint8_t* data, std::size_t size)
    : heap_(std::make_unique_for_overwrite<std::uint8_t[]>(size)), data_(heap_.get()), size_(size) {
  if (size > 0) std::copy(data, data + size, data_);
}

MemoryBlock::MemoryBlock(InTail, std::uint8_t* const& bytes, const std::uint8_t* data,
                         std::size_t size)
    : data_(bytes), size_(size) {
  if (size > 0) std::copy(data, data + size, data_);
}

Ref<MemoryBlock> MemoryBlock::NewCopy(const std::uint8_t* data, std::size_t size) {
  std::uint8_t* tail = nullptr;
  return Ref<MemoryBlock>(std::allocate_shared<MemoryBlock>(TailAllocator<MemoryBlock>(size, &tail),
                                                            InTail{}, tail, data, size));
}

// What a Batch's allocation begins with; the blocks follow it, then their bytes.
struct MemoryBlock::Batch::Room {
  // `tail` is where the allocation's room behind the Room begins; it is read once the
  // allocation is made, before the Room is.
  Room(std::uint8_t* const& tail, std::size_t count, std::size_t bytes)
      : blocks(tail), capacity(count), next(tail + count * sizeof(MemoryBlock)), left(bytes) {}
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;
  ~Room() {
    for (std::size_t i = 0; i < made; ++i)
      Block(i)->~MemoryBlock();
  }

  MemoryBlock* Block(std::size_t i) const {
    return std::launder(
        static_cast<MemoryBlock*>(static_cast<void*>(blocks + i * sizeof(MemoryBlock))));
  }

  std::uint8_t* const blocks;  // room for `capacity` MemoryBlocks
  const std::size_t capacity;  // of blocks
  std::size_t made = 0;        // blocks made so far, the first ones of `blocks`
  std::uint8_t* next;          // where the bytes of the next block go
  std::size_t left;            // bytes of room from `next` on
};

MemoryBlock::Batch::Batch(std::size_t count, std::size_t bytes) {
  // The blocks lie right behind the Room, in the object that allocate_shared makes to hold it:
  // that object is aligned at least as a Room, and its size is a multiple of its alignment.
  static_assert(alignof(MemoryBlock) <= alignof(Room));
  std::uint8_t* tail = nullptr;
  room_ = std::allocate_shared<Room>(
      TailAllocator<Room>(count * sizeof(MemoryBlock) + bytes, &tail), tail, count, bytes);
}

Ref<MemoryBlock> MemoryBlock::Batch::Copy(const std::uint8_t* data, std::size_t size) {
  Room& room = *room_;
  if (room.made == room.capacity || size > room.left) return NewCopy(data, size);
  MemoryBlock* const block = new (room.blocks + room.made * sizeof(MemoryBlock))
      MemoryBlock(InTail{}, room.next, data, size);
  ++room.made;
  room.next += size;
  room.left -= size;
  return Ref<MemoryBlock>(std::shared_ptr<MemoryBlock>(room_, block));
}

std::uint8_t MemoryBlock::Byte(std::int64_t offset) const {
  if (offset < 0 || offset >= Size()) return 0;
  return data_[offset];
}

void MemoryBlock::SetByte(std::int64_t offset, std::uint8_t value) {
  if (offset < 0 || offset >= Size()) {
    throw OutOfBoundsException("MemoryBlock offset " + std::to_string(offset) + " outside " +
                               std::to_string(Size()) + " bytes");
  }
  data_[offset] = value;
}

String MemoryBlock::StringValue(std::int64_t offset, std::int64_t length) const {
  if (offset < 0 || length <= 0 || offset >= Size()) return String();
  const std::int64_t n = std::min(length, Size() - offset);
  const auto* first = reinterpret_cast<const char*>(data_) + offset;
  return String(std::string(first, static_cast<std::size_t>(n)));
}

String MemoryBlock::CString(std::int64_t offset) const {
  if (offset < 0 || offset >= Size()) return String();
  const std::uint8_t* begin = data_ + offset;
  const std::uint8_t* last = data_ + size_;
  const std::uint8_t* end = std::find(begin, last, std::uint8_t{0});
  return String(std::string(begin, end));
}

}  // namespace toolkit
