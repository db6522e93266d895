#include "corefoundation/CFString.h"

#include "corefoundation/FetchedOnce.h"

namespace CoreFoundation {

Ref<CFString> CFString::New(Ptr ref, bool hasOwnership) {
  return Make<CFString>(ref, hasOwnership);
}

Ref<CFString> CFString::New(const String& s) {
  return Make<CFString>(s);
}

Ref<CFString> CFString::New(const toolkit::CFStringRef& ref) {
  return MakeFrom<CFString>(ref);
}

Ref<CFString> CFString::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFString>(source);
}

std::uint32_t CFString::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFStringGetTypeID()); });
}

void CFString::Constructor(const String& s) {
  Operator_Convert(toolkit::StringToCFString(s));
}

void CFString::Operator_Convert(const toolkit::CFStringRef& ref) {
  // A reference that is no string has no text either, so what passes here is a string and the
  // type test of Constructor can't refuse it.
  if (toolkit::StringFromCFString(ref).IsEmpty()) {
    Constructor(nullptr, true);
    return;
  }
  CFRetain(ref.Get());
  Constructor(ref.Get(), true);
}

CFString::operator toolkit::CFStringRef() const {
  if (Operator_Compare(nullptr) == 0) return {};
  return toolkit::CFStringRef::Retain(static_cast<::CFStringRef>(Reference()));
}

String CFString::StringValue() const {
  return toolkit::StringFromCFString(static_cast<toolkit::CFStringRef>(*this));
}

}  // namespace CoreFoundation
