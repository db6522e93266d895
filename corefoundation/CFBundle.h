#pragma once

#include "corefoundation/CFType.h"
#include "platform/toolkit/CFStringRef.h"

namespace CoreFoundation {

// A wrapped CFBundle, as far as reaching a framework's exported data by name needs it.
class CFBundle : public CFType {
 public:
  static Ref<CFBundle> New(Ptr ref, bool hasOwnership);
  static Ref<CFBundle> New(const Ref<CFObjectMBS>& source);

  // CFBundleGetTypeID, asked once.
  static std::uint32_t ClassID();
  // The bundle with that identifier, with a count of its own. Never nil: the wrapper is empty
  // when the platform knows no such bundle.
  static Ref<CFBundle> NewCFBundleFromID(const String& identifier);

  // The address of the exported data symbol of that name, borrowed; null when there is no
  // such symbol or the wrapper is empty. The caller reads it as what the symbol holds.
  virtual Ptr DataPointerNotRetained(const String& symbolName) const;
  // The string stored at the data symbol of that name, with a count of its own; a null value
  // when there is no such symbol.
  virtual toolkit::CFStringRef StringPointerRetained(const String& symbolName) const;

 protected:
  friend class CFType;
  CFBundle() = default;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
};

}  // namespace CoreFoundation
