#include "platform/cf/CFArray.h"

#include "platform/cf/Runtime.h"

namespace cf {

// Arrays are not made yet; the record names the type for CFCopyTypeIDDescription.
extern const ClassRecord kArrayClass = {"CFArray", nullptr, nullptr, nullptr, nullptr};

}  // namespace cf

extern "C" CFTypeID CFArrayGetTypeID(void) {
  cf::CountCall();
  return cf::kArrayTypeID;
}
