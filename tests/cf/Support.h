#pragma once

// Small helpers for the stand-in's tests: a holder that gives its count back at the end of
// the scope, and the shortest ways of making and reading strings and data.

#include <cstring>
#include <string>
#include <string_view>

#include "platform/cf/CoreFoundation.h"

namespace cf_test {

// Holds the count that a Create or Copy function gave and releases it when it goes.
template <class T>
class Owned {
 public:
  explicit Owned(T ref) : ref_(ref) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    if (ref_ != nullptr) CFRelease(ref_);
  }
  operator T() const { return ref_; }  // NOLINT: used where the ref is
  T get() const { return ref_; }

 private:
  T ref_;
};

inline CFStringRef NewString(std::string_view utf8) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                 static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

// The string's text as UTF-8, through CFStringGetBytes.
inline std::string Text(CFStringRef string) {
  const CFRange all = CFRangeMake(0, CFStringGetLength(string));
  CFIndex size = 0;
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, nullptr, 0, &size);
  std::string text(static_cast<std::size_t>(size), '\0');
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false,
                   reinterpret_cast<UInt8*>(text.data()), size, &size);
  return text;
}

// The text of a new string, which is released.
inline std::string TakeText(CFStringRef string) {
  const Owned<CFStringRef> owned(string);
  return string != nullptr ? Text(string) : std::string("(NULL)");
}

inline CFDataRef NewData(std::string_view bytes) {
  return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                      static_cast<CFIndex>(bytes.size()));
}

// The address of a data symbol of a framework bundle.
inline void* SymbolAddress(const char* bundleID, const char* name) {
  const Owned<CFStringRef> id(NewString(bundleID));
  const Owned<CFStringRef> symbol(NewString(name));
  return CFBundleGetDataPointerForName(CFBundleGetBundleWithIdentifier(id), symbol);
}

// The value stored at a data symbol of "com.apple.Carbon", read as a T.
template <class T>
T Symbol(const char* name) {
  T value{};
  if (const void* address = SymbolAddress("com.apple.Carbon", name))
    std::memcpy(&value, address, sizeof value);
  return value;
}

}  // namespace cf_test
