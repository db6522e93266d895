#include "platform/cf/CFDictionary.h"

#include "platform/cf/Runtime.h"

namespace cf {

// Dictionaries are not made yet; the record names the type for CFCopyTypeIDDescription.
extern const ClassRecord kDictionaryClass = {"CFDictionary", nullptr, nullptr, nullptr, nullptr};

}  // namespace cf

extern "C" CFTypeID CFDictionaryGetTypeID(void) {
  cf::CountCall();
  return cf::kDictionaryTypeID;
}
