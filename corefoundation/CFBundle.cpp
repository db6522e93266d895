#include "corefoundation/CFBundle.h"

#include <cstring>

#include "platform/cf/CFBundle.h"

namespace CoreFoundation {

Ref<CFBundle> CFBundle::New(Ptr ref, bool hasOwnership) {
  return Make<CFBundle>(ref, hasOwnership);
}

Ref<CFBundle> CFBundle::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFBundle>(source);
}

std::uint32_t CFBundle::ClassID() {
  static bool initialized = false;
  static std::uint32_t id = 0;
  if (!initialized) {
    initialized = true;
    id = static_cast<std::uint32_t>(CFBundleGetTypeID());
  }
  return id;
}

Ref<CFBundle> CFBundle::NewCFBundleFromID(const String& identifier) {
  const toolkit::CFStringRef id = toolkit::StringToCFString(identifier);
  // A text that makes no string names no bundle; the platform is not asked with NULL.
  const CFBundleRef bundle = id.IsNull() ? nullptr : CFBundleGetBundleWithIdentifier(id.Get());
  return New(bundle, false);
}

Ptr CFBundle::DataPointerNotRetained(const String& symbolName) const {
  if (Operator_Compare(nullptr) == 0) return nullptr;
  const toolkit::CFStringRef name = toolkit::StringToCFString(symbolName);
  if (name.IsNull()) return nullptr;
  const auto bundle = static_cast<CFBundleRef>(const_cast<void*>(Reference()));
  return CFBundleGetDataPointerForName(bundle, name.Get());
}

toolkit::CFStringRef CFBundle::StringPointerRetained(const String& symbolName) const {
  const Ptr address = DataPointerNotRetained(symbolName);
  if (address == nullptr) return {};
  ::CFStringRef stored = nullptr;
  std::memcpy(&stored, address, sizeof stored);
  return CFStringRetain(stored);
}

}  // namespace CoreFoundation
