#include "corefoundation/CFError.h"

#include "platform/cf/CFError.h"

namespace CoreFoundation {

namespace {

CFErrorRef ErrorRef(Ptr ref) {
  return static_cast<CFErrorRef>(const_cast<void*>(ref));
}

}  // namespace

Ref<CFError> CFError::New(Ptr ref, bool hasOwnership) {
  return Make<CFError>(ref, hasOwnership);
}

Ref<CFError> CFError::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFError>(source);
}

std::uint32_t CFError::ClassID() {
  return static_cast<std::uint32_t>(CFErrorGetTypeID());
}

std::int64_t CFError::Code() const {
  if (Operator_Compare(nullptr) == 0) return 0;
  return CFErrorGetCode(ErrorRef(Reference()));
}

String CFError::Description() const {
  if (Operator_Compare(nullptr) == 0) return String();
  return toolkit::StringFromCFString(
      toolkit::CFStringRef::Adopt(CFErrorCopyDescription(ErrorRef(Reference()))));
}

String CFError::Domain() const {
  if (Operator_Compare(nullptr) == 0) return String();
  return toolkit::StringFromCFString(CFStringRetain(CFErrorGetDomain(ErrorRef(Reference()))));
}

}  // namespace CoreFoundation
