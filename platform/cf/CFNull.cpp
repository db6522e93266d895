#include "platform/cf/Runtime.h"

struct OpaqueCFNull : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kNullTypeID;

  OpaqueCFNull() : Object(kTypeID) {}
};

namespace cf {

// There is one null object, so identity is its equality.
extern const ClassRecord kNullClass = {"CFNull", Finalize<OpaqueCFNull>, nullptr, nullptr, nullptr};

CFNullRef NullConstant() {
  static const CFNullRef theNull = PublishConstant(new OpaqueCFNull);
  return theNull;
}

}  // namespace cf

extern "C" CFTypeID CFNullGetTypeID(void) {
  cf::CountCall();
  return cf::kNullTypeID;
}
