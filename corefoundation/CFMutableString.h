#pragma once

#include "corefoundation/CFString.h"

namespace CoreFoundation {

// A wrapped mutable CFString, for text that is built up. Made from a String or a maximum
// length, it always holds an object, even for "". Its operations do nothing on an empty
// wrapper.
class CFMutableString : public CFString {
 public:
  static Ref<CFMutableString> New(Ptr ref, bool hasOwnership);
  // A new mutable string holding `s`.
  static Ref<CFMutableString> New(const String& s);
  // A new empty mutable string that can grow to `maxLength` UTF-16 units (0: no limit).
  static Ref<CFMutableString> New(std::int64_t maxLength);
  // Wraps the string of `ref` with a count of its own, as CFString does; an immutable string
  // stays immutable, and the platform refuses to change it.
  static Ref<CFMutableString> New(const toolkit::CFStringRef& ref);
  static Ref<CFMutableString> New(const Ref<CFObjectMBS>& source);

  // Appends `s`; nothing for text that makes no string.
  virtual void Append(const String& s);
  // Maps the case by the rules of the system locale; nothing when there is none.
  virtual void ToLowercase();
  virtual void ToUppercase();

 protected:
  friend class CFType;
  CFMutableString() = default;
  using CFString::Constructor;

  void Constructor(const String& s) override;
  virtual void Constructor(std::int64_t maxLength);

 private:
  void MapCase(bool upper);
};

}  // namespace CoreFoundation
