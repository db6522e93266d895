#include "corefoundation/CFBoolean.h"

#include <cstring>

#include "corefoundation/Carbon.h"
#include "platform/cf/CFNumber.h"

namespace CoreFoundation {

Ref<CFBoolean> CFBoolean::New(Ptr ref, bool hasOwnership) {
  return Make<CFBoolean>(ref, hasOwnership);
}

Ref<CFBoolean> CFBoolean::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFBoolean>(source);
}

std::uint32_t CFBoolean::ClassID() {
  static bool initialized = false;
  static std::uint32_t id = 0;
  if (!initialized) {
    initialized = true;
    id = static_cast<std::uint32_t>(CFBooleanGetTypeID());
  }
  return id;
}

Ref<CFBoolean> CFBoolean::Get(bool value) {
  const Ptr address =
      Carbon::Bundle()->DataPointerNotRetained(value ? "kCFBooleanTrue" : "kCFBooleanFalse");
  CFBooleanRef stored = nullptr;
  if (address != nullptr) std::memcpy(&stored, address, sizeof stored);
  return New(stored, false);
}

Ref<CFBoolean> CFBoolean::GetTrue() {
  static bool initialized = false;
  static Ref<CFBoolean> b;
  if (!initialized) {
    initialized = true;
    b = Get(true);
  }
  return b;
}

Ref<CFBoolean> CFBoolean::GetFalse() {
  static bool initialized = false;
  static Ref<CFBoolean> b;
  if (!initialized) {
    initialized = true;
    b = Get(false);
  }
  return b;
}

CFBoolean::operator bool() const {
  if (Operator_Compare(nullptr) == 0) return false;
  return CFBooleanGetValue(static_cast<CFBooleanRef>(Reference()));
}

}  // namespace CoreFoundation
