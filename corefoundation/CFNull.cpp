#include "corefoundation/CFNull.h"

#include <cstring>

#include "corefoundation/Carbon.h"
#include "corefoundation/FetchedOnce.h"

namespace CoreFoundation {

Ref<CFNull> CFNull::New(Ptr ref, bool hasOwnership) {
  return Make<CFNull>(ref, hasOwnership);
}

Ref<CFNull> CFNull::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFNull>(source);
}

std::uint32_t CFNull::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFNullGetTypeID()); });
}

Ptr CFNull::NewCFNullRef() {
  const Ptr address = Carbon::Bundle()->DataPointerNotRetained("kCFNull");
  Ptr stored = nullptr;
  if (address != nullptr) std::memcpy(&stored, address, sizeof stored);
  return stored;
}

Ptr CFNull::CFNullRef() {
  static FetchedOnce<Ptr> theRef;
  return theRef.Get(NewCFNullRef);
}

}  // namespace CoreFoundation
