#include "platform/toolkit/MemoryBlock.h"

#include <algorithm>

namespace toolkit {

MemoryBlock::MemoryBlock(std::size_t size) : size_(size) {
  if (size > kInlineSize) heap_ = std::make_unique<std::uint8_t[]>(size);  // zeroed
}

MemoryBlock::MemoryBlock(const std::uint8_t* data, std::size_t size) : size_(size) {
  if (size > kInlineSize) heap_ = std::make_unique_for_overwrite<std::uint8_t[]>(size);
  if (size > 0) std::copy(data, data + size, Data());
}

std::uint8_t MemoryBlock::Byte(std::int64_t offset) const {
  if (offset < 0 || offset >= Size()) return 0;
  return Data()[offset];
}

void MemoryBlock::SetByte(std::int64_t offset, std::uint8_t value) {
  if (offset < 0 || offset >= Size()) {
    throw OutOfBoundsException("MemoryBlock offset " + std::to_string(offset) + " outside " +
                               std::to_string(Size()) + " bytes");
  }
  Data()[offset] = value;
}

String MemoryBlock::StringValue(std::int64_t offset, std::int64_t length) const {
  if (offset < 0 || length <= 0 || offset >= Size()) return String();
  const std::int64_t n = std::min(length, Size() - offset);
  const auto* first = reinterpret_cast<const char*>(Data()) + offset;
  return String(std::string(first, static_cast<std::size_t>(n)));
}

String MemoryBlock::CString(std::int64_t offset) const {
  if (offset < 0 || offset >= Size()) return String();
  const std::uint8_t* begin = Data() + offset;
  const std::uint8_t* end = std::find(begin, Data() + size_, std::uint8_t{0});
  return String(std::string(begin, end));
}

}  // namespace toolkit
