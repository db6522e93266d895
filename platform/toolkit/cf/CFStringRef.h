#pragma once

#include "platform/cf/CFString.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// The toolkit's counted value of a CoreFoundation string. It holds one count of its own on
// the string and gives it back when it goes; a copy takes a count of its own. A null value
// holds nothing. (The platform's own pointer type is ::CFStringRef.)
class CFStringRef {
 public:
  CFStringRef() = default;
  // Takes over a count that the caller holds, as a Create or Copy function gives it.
  static CFStringRef Adopt(::CFStringRef string) { return CFStringRef(string); }
  // Takes a count of its own on a borrowed string (Get rule). Null stays null.
  static CFStringRef Retain(::CFStringRef string);

  CFStringRef(const CFStringRef& other);
  CFStringRef(CFStringRef&& other) noexcept : string_(other.string_) { other.string_ = nullptr; }
  CFStringRef& operator=(CFStringRef other) noexcept {
    std::swap(string_, other.string_);
    return *this;
  }
  ~CFStringRef();

  // The string, still owned by this value.
  ::CFStringRef Get() const { return string_; }
  bool IsNull() const { return string_ == nullptr; }

 private:
  explicit CFStringRef(::CFStringRef string) : string_(string) {}
  ::CFStringRef string_ = nullptr;
};

// The string of `text`. The bytes are read as UTF-8, or as ASCII where `text` declares ASCII;
// bytes that are no text in that encoding give a null value.
CFStringRef StringToCFString(const String& text);

// The text of `string` as UTF-8; the empty String for a null value.
String StringFromCFString(const CFStringRef& string);

}  // namespace toolkit
