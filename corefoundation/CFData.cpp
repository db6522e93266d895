#include "corefoundation/CFData.h"

#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFData.h"
#include "platform/toolkit/Exceptions.h"

namespace CoreFoundation {

Ref<CFData> CFData::New(Ptr ref, bool hasOwnership) {
  return Make<CFData>(ref, hasOwnership);
}

Ref<CFData> CFData::New(const Ref<MemoryBlock>& mb) {
  return Make<CFData>(mb);
}

Ref<CFData> CFData::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFData>(source);
}

std::uint32_t CFData::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFDataGetTypeID()); });
}

void CFData::Constructor(const Ref<MemoryBlock>& mb) {
  if (mb.IsNil()) return;
  if (mb->Size() < 0) throw toolkit::TypeMismatchException();
  Constructor(CFDataCreate(nullptr, mb->Data(), static_cast<CFIndex>(mb->Size())), true);
}

Ref<MemoryBlock> CFData::Data() const {
  if (Operator_Compare(nullptr) == 0) return Ref<MemoryBlock>::New(0);
  const auto data = static_cast<CFDataRef>(Reference());
  const CFIndex length = CFDataGetLength(data);
  if (length <= 0) return Ref<MemoryBlock>::New(0);
  auto block = Ref<MemoryBlock>::New(static_cast<std::size_t>(length));
  // Through the 32-bit range, as everywhere in the family.
  CFDataGetBytes(data, CFRangeMake(0, static_cast<std::int32_t>(length)), block->Data());
  return block;
}

}  // namespace CoreFoundation
