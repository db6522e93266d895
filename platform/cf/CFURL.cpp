#include "platform/cf/CFURL.h"

#include "platform/cf/Runtime.h"

namespace cf {

// URLs are not made yet; the record names the type for CFCopyTypeIDDescription.
extern const ClassRecord kURLClass = {"CFURL", nullptr, nullptr, nullptr, nullptr};

}  // namespace cf

extern "C" CFTypeID CFURLGetTypeID(void) {
  cf::CountCall();
  return cf::kURLTypeID;
}
