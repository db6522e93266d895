#include "platform/toolkit/cf/CFStringRef.h"

#include <string>

namespace toolkit {

CFStringRef CFStringRef::Retain(::CFStringRef string) {
  if (string != nullptr) CFRetain(string);
  return CFStringRef(string);
}

CFStringRef::CFStringRef(const CFStringRef& other) : string_(other.string_) {
  if (string_ != nullptr) CFRetain(string_);
}

CFStringRef::~CFStringRef() {
  if (string_ != nullptr) CFRelease(string_);
}

CFStringRef StringToCFString(const String& text) {
  const CFStringEncoding encoding =
      text.Encoding() == TextEncoding::ASCII ? kCFStringEncodingASCII : kCFStringEncodingUTF8;
  const std::string& bytes = text.Bytes();
  return CFStringRef::Adopt(
      CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), encoding, false));
}

String StringFromCFString(const CFStringRef& string) {
  if (string.IsNull()) return String(std::string(), TextEncoding::UTF8);
  const CFRange all = CFRangeMake(0, CFStringGetLength(string.Get()));
  // The first call measures, the second converts; a string holds no unit without a UTF-8
  // form but an unpaired surrogate, which becomes "?".
  CFIndex size = 0;
  CFStringGetBytes(string.Get(), all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  CFStringGetBytes(string.Get(), all, kCFStringEncodingUTF8, '?', false,
                   reinterpret_cast<UInt8*>(bytes.data()), size, &size);
  bytes.resize(static_cast<std::size_t>(size));
  return String(std::move(bytes), TextEncoding::UTF8);
}

}  // namespace toolkit
