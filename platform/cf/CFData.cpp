#include "platform/cf/CFData.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/cf/Runtime.h"

struct OpaqueCFData : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kDataTypeID;

  OpaqueCFData(std::vector<UInt8> b, bool m, CFIndex limit)
      : Object(kTypeID), bytes(std::move(b)), isMutable(m), capacity(limit) {}

  std::vector<UInt8> bytes;
  const bool isMutable;
  const CFIndex capacity;  // 0 for no limit
};

namespace cf {

namespace {

CFIndex Length(const OpaqueCFData& data) {
  return static_cast<CFIndex>(data.bytes.size());
}

bool RangeInside(CFRange range, CFIndex size) {
  return range.location >= 0 && range.length >= 0 && range.location <= size &&
         range.length <= size - range.location;
}

OpaqueCFData* NewData(std::vector<UInt8> bytes, bool isMutable, CFIndex capacity) {
  return Publish(new OpaqueCFData(std::move(bytes), isMutable, capacity));
}

OpaqueCFData* MutableData(CFMutableDataRef ref, std::string_view function) {
  OpaqueCFData* data = Cast<OpaqueCFData>(ref, function);
  if (data != nullptr && !data->isMutable) {
    Refuse(function, "the data is immutable");
    return nullptr;
  }
  return data;
}

// Whether a data object may hold `length` bytes.
bool Fits(const OpaqueCFData& data, CFIndex length) {
  return data.capacity == 0 || length <= data.capacity;
}

// Puts `newLength` bytes in the place of `range`, with every test the mutating functions share.
void Replace(CFMutableDataRef ref, CFRange range, const UInt8* newBytes, CFIndex newLength,
             std::string_view function) {
  OpaqueCFData* data = MutableData(ref, function);
  if (data == nullptr) return;
  if (!RangeInside(range, Length(*data))) {
    Refuse(function,
           Join({"range {", std::to_string(range.location), ", ", std::to_string(range.length),
                 "} outside data of length ", std::to_string(Length(*data))}));
    return;
  }
  if (newLength < 0 || (newBytes == nullptr && newLength > 0)) {
    Refuse(function, "no bytes of that length");
    return;
  }
  if (newLength > LONG_MAX - (Length(*data) - range.length) ||
      !Fits(*data, Length(*data) - range.length + newLength)) {
    Refuse(function, "the data would pass its capacity");
    return;
  }
  // The new bytes may lie inside the data itself: copy them before the data moves.
  const std::vector<UInt8> inserted(newBytes, newBytes + newLength);
  const auto first = data->bytes.begin() + range.location;
  data->bytes.erase(first, first + range.length);
  data->bytes.insert(data->bytes.begin() + range.location, inserted.begin(), inserted.end());
}

bool DataEqual(const Object& a, const Object& b) {
  return static_cast<const OpaqueCFData&>(a).bytes == static_cast<const OpaqueCFData&>(b).bytes;
}

CFHashCode DataHash(const Object& object) {
  const auto& bytes = static_cast<const OpaqueCFData&>(object).bytes;
  return HashBytes(bytes.data(), bytes.size());
}

std::string DataContents(const Object& object) {
  const auto& data = static_cast<const OpaqueCFData&>(object);
  // Long data shows its first 24 and its last 8 bytes.
  const std::size_t size = data.bytes.size();
  std::string hex;
  char pair[3];
  for (std::size_t i = 0; i < size; ++i) {
    if (size > 32 && i == 24) {
      hex += " ... ";
      i = size - 8;
    }
    std::snprintf(pair, sizeof pair, "%02x", data.bytes[i]);
    hex += pair;
  }
  const CFIndex capacity = data.capacity != 0 ? data.capacity : Length(data);
  return Join({"length = ", std::to_string(size), ", capacity = ", std::to_string(capacity),
               ", bytes = 0x", hex});
}

}  // namespace

std::string_view BytesOf(const OpaqueCFData& data) {
  return {reinterpret_cast<const char*>(data.bytes.data()), data.bytes.size()};
}

extern const ClassRecord kDataClass = {"CFData", Finalize<OpaqueCFData>, DataEqual, DataHash,
                                       DataContents};

}  // namespace cf

using cf::Cast;
using cf::CountCall;
using cf::Refuse;

extern "C" {

CFTypeID CFDataGetTypeID(void) {
  CountCall();
  return cf::kDataTypeID;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  CountCall();
  if (length < 0 || (bytes == nullptr && length > 0)) {
    Refuse("CFDataCreate", "no bytes of that length");
    return nullptr;
  }
  return cf::NewData(std::vector<UInt8>(bytes, bytes + length), false, 0);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity) {
  CountCall();
  if (capacity < 0) {
    Refuse("CFDataCreateMutable", "negative capacity");
    return nullptr;
  }
  return cf::NewData({}, true, capacity);
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDataRef theData) {
  CountCall();
  const auto* data = Cast<OpaqueCFData>(theData, "CFDataCreateMutableCopy");
  if (data == nullptr) return nullptr;
  if (capacity < 0 || (capacity > 0 && cf::Length(*data) > capacity)) {
    Refuse("CFDataCreateMutableCopy", "the data is longer than the capacity");
    return nullptr;
  }
  return cf::NewData(data->bytes, true, capacity);
}

CFIndex CFDataGetLength(CFDataRef theData) {
  CountCall();
  const auto* data = Cast<OpaqueCFData>(theData, "CFDataGetLength");
  return data != nullptr ? cf::Length(*data) : 0;
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
  CountCall();
  const auto* data = Cast<OpaqueCFData>(theData, "CFDataGetBytes");
  if (data == nullptr) return;
  if (!cf::RangeInside(range, cf::Length(*data))) {
    Refuse("CFDataGetBytes", "range outside the data");
    return;
  }
  if (range.length == 0) return;
  if (buffer == nullptr) {
    Refuse("CFDataGetBytes", "NULL buffer");
    return;
  }
  std::copy_n(data->bytes.begin() + range.location, range.length, buffer);
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
  CountCall();
  const auto* data = Cast<OpaqueCFData>(theData, "CFDataAppendBytes");
  if (data == nullptr) return;
  cf::Replace(theData, CFRangeMake(cf::Length(*data), 0), bytes, length, "CFDataAppendBytes");
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes,
                        CFIndex newLength) {
  CountCall();
  cf::Replace(theData, range, newBytes, newLength, "CFDataReplaceBytes");
}

void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range) {
  CountCall();
  cf::Replace(theData, range, nullptr, 0, "CFDataDeleteBytes");
}

}  // extern "C"
