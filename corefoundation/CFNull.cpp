#include "corefoundation/CFNull.h"

#include <cstring>

#include "corefoundation/Carbon.h"

namespace CoreFoundation {

Ref<CFNull> CFNull::New(Ptr ref, bool hasOwnership) {
  return Make<CFNull>(ref, hasOwnership);
}

Ref<CFNull> CFNull::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFNull>(source);
}

std::uint32_t CFNull::ClassID() {
  static bool initialized = false;
  static std::uint32_t id = 0;
  if (!initialized) {
    initialized = true;
    id = static_cast<std::uint32_t>(CFNullGetTypeID());
  }
  return id;
}

Ptr CFNull::NewCFNullRef() {
  const Ptr address = Carbon::Bundle()->DataPointerNotRetained("kCFNull");
  Ptr stored = nullptr;
  if (address != nullptr) std::memcpy(&stored, address, sizeof stored);
  return stored;
}

Ptr CFNull::CFNullRef() {
  static bool initialized = false;
  static Ptr theRef = nullptr;
  if (!initialized) {
    initialized = true;
    theRef = NewCFNullRef();
  }
  return theRef;
}

}  // namespace CoreFoundation
