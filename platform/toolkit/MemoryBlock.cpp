#include "platform/toolkit/MemoryBlock.h"

#include <algorithm>

namespace toolkit {

std::uint8_t MemoryBlock::Byte(std::int64_t offset) const {
  if (offset < 0 || offset >= Size()) return 0;
  return bytes_[static_cast<std::size_t>(offset)];
}

void MemoryBlock::SetByte(std::int64_t offset, std::uint8_t value) {
  if (offset < 0 || offset >= Size()) {
    throw OutOfBoundsException("MemoryBlock offset " + std::to_string(offset) + " outside " +
                               std::to_string(Size()) + " bytes");
  }
  bytes_[static_cast<std::size_t>(offset)] = value;
}

String MemoryBlock::StringValue(std::int64_t offset, std::int64_t length) const {
  if (offset < 0 || length <= 0 || offset >= Size()) return String();
  const std::int64_t n = std::min(length, Size() - offset);
  const auto* first = reinterpret_cast<const char*>(bytes_.data()) + offset;
  return String(std::string(first, static_cast<std::size_t>(n)));
}

String MemoryBlock::CString(std::int64_t offset) const {
  if (offset < 0 || offset >= Size()) return String();
  const auto begin = bytes_.begin() + offset;
  const auto end = std::find(begin, bytes_.end(), std::uint8_t{0});
  return String(std::string(begin, end));
}

}  // namespace toolkit
