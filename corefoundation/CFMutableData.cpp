#include "corefoundation/CFMutableData.h"

#include "platform/cf/CFData.h"

namespace CoreFoundation {

Ref<CFMutableData> CFMutableData::New(Ptr ref, bool hasOwnership) {
  return Make<CFMutableData>(ref, hasOwnership);
}

Ref<CFMutableData> CFMutableData::New() {
  return Make<CFMutableData>();
}

Ref<CFMutableData> CFMutableData::New(const Ref<CFData>& source) {
  return Make<CFMutableData>(source);
}

Ref<CFMutableData> CFMutableData::New(const Ref<MemoryBlock>& mb) {
  return Make<CFMutableData>(mb);
}

Ref<CFMutableData> CFMutableData::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFMutableData>(source);
}

void CFMutableData::Constructor() {
  Constructor(CFDataCreateMutable(nullptr, 0), true);
}

void CFMutableData::Constructor(const Ref<CFData>& source) {
  // The platform copies no NULL, so an empty source counts as none.
  if (source.IsNil() || source->Operator_Compare(nullptr) == 0) {
    Constructor();
    return;
  }
  Constructor(CFDataCreateMutableCopy(nullptr, 0, static_cast<CFDataRef>(source->Reference())),
              true);
}

CFMutableDataRef CFMutableData::MutableRef() const {
  return const_cast<CFMutableDataRef>(static_cast<CFDataRef>(Reference()));
}

void CFMutableData::Append(Ptr bytes, std::int64_t length) {
  if (Operator_Compare(nullptr) == 0 || bytes == nullptr || length < 0) return;
  CFDataAppendBytes(MutableRef(), static_cast<const UInt8*>(bytes), static_cast<CFIndex>(length));
}

void CFMutableData::Append(const String& s) {
  const auto length = static_cast<std::int64_t>(s.LenB());
  if (Operator_Compare(nullptr) == 0 || length < 1) return;
  CFDataAppendBytes(MutableRef(), reinterpret_cast<const UInt8*>(s.Bytes().data()),
                    static_cast<CFIndex>(length));
}

void CFMutableData::Delete(std::int64_t start, std::int64_t length) {
  if (Operator_Compare(nullptr) == 0) return;
  CFDataDeleteBytes(MutableRef(), CFRangeMake(static_cast<std::int32_t>(start),
                                              static_cast<std::int32_t>(length)));
}

void CFMutableData::Replace(std::int64_t start, std::int64_t length, Ptr bytes,
                            std::int64_t newLength) {
  if (Operator_Compare(nullptr) == 0) return;
  if (bytes == nullptr) {
    Delete(start, length);
    return;
  }
  if (newLength < 0) return;
  CFDataReplaceBytes(
      MutableRef(),
      CFRangeMake(static_cast<std::int32_t>(start), static_cast<std::int32_t>(length)),
      static_cast<const UInt8*>(bytes), static_cast<CFIndex>(newLength));
}

}  // namespace CoreFoundation
