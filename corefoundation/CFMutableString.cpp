#include "corefoundation/CFMutableString.h"

#include "platform/cf/CFLocale.h"

namespace CoreFoundation {

namespace {

CFMutableStringRef MutableRef(Ptr ref) {
  return const_cast<CFMutableStringRef>(static_cast<::CFStringRef>(ref));
}

}  // namespace

Ref<CFMutableString> CFMutableString::New(Ptr ref, bool hasOwnership) {
  return Make<CFMutableString>(ref, hasOwnership);
}

Ref<CFMutableString> CFMutableString::New(const String& s) {
  return Make<CFMutableString>(s);
}

Ref<CFMutableString> CFMutableString::New(std::int64_t maxLength) {
  return Make<CFMutableString>(maxLength);
}

Ref<CFMutableString> CFMutableString::New(const toolkit::CFStringRef& ref) {
  return MakeFrom<CFMutableString>(ref);
}

Ref<CFMutableString> CFMutableString::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFMutableString>(source);
}

void CFMutableString::Constructor(std::int64_t maxLength) {
  Constructor(CFStringCreateMutable(nullptr, static_cast<CFIndex>(maxLength)), true);
}

void CFMutableString::Constructor(const String& s) {
  Constructor(std::int64_t{0});
  Append(s);
}

void CFMutableString::Append(const String& s) {
  if (Operator_Compare(nullptr) == 0) return;
  const toolkit::CFStringRef converted = toolkit::StringToCFString(s);
  if (converted.IsNull()) return;
  CFStringAppend(MutableRef(Reference()), converted.Get());
}

void CFMutableString::ToLowercase() {
  MapCase(false);
}

void CFMutableString::ToUppercase() {
  MapCase(true);
}

void CFMutableString::MapCase(bool upper) {
  if (Operator_Compare(nullptr) == 0) return;
  const CFLocaleRef locale = CFLocaleGetSystem();
  if (locale == nullptr) return;
  if (upper) {
    CFStringUppercase(MutableRef(Reference()), locale);
  } else {
    CFStringLowercase(MutableRef(Reference()), locale);
  }
}

}  // namespace CoreFoundation
