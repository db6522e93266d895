#include "corefoundation/CoreFoundation.h"

namespace CoreFoundation {

toolkit::CFStringRef CFStringRetain(Ptr ref) {
  if (ref == nullptr) return {};
  return toolkit::CFStringRef::Adopt(static_cast<::CFStringRef>(CFRetain(ref)));
}

CFRange CFRangeMake(std::int32_t location, std::int32_t length) {
  return ::CFRangeMake(location, length);
}

}  // namespace CoreFoundation
