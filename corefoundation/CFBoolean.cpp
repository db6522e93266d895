#include "corefoundation/CFBoolean.h"

#include <cstring>

#include "corefoundation/Carbon.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFNumber.h"

namespace CoreFoundation {

Ref<CFBoolean> CFBoolean::New(Ptr ref, bool hasOwnership) {
  return Make<CFBoolean>(ref, hasOwnership);
}

Ref<CFBoolean> CFBoolean::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFBoolean>(source);
}

std::uint32_t CFBoolean::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFBooleanGetTypeID()); });
}

Ref<CFBoolean> CFBoolean::Get(bool value) {
  const Ptr address =
      Carbon::Bundle()->DataPointerNotRetained(value ? "kCFBooleanTrue" : "kCFBooleanFalse");
  CFBooleanRef stored = nullptr;
  if (address != nullptr) std::memcpy(&stored, address, sizeof stored);
  return New(stored, false);
}

Ref<CFBoolean> CFBoolean::GetTrue() {
  static FetchedOnce<Ref<CFBoolean>> b;
  return b.Get([] { return Get(true); });
}

Ref<CFBoolean> CFBoolean::GetFalse() {
  static FetchedOnce<Ref<CFBoolean>> b;
  return b.Get([] { return Get(false); });
}

CFBoolean::operator bool() const {
  if (Operator_Compare(nullptr) == 0) return false;
  return CFBooleanGetValue(static_cast<CFBooleanRef>(Reference()));
}

}  // namespace CoreFoundation
