#include "platform/cf/CFError.h"

#include <string>

#include "platform/cf/CFString.h"
#include "platform/cf/Runtime.h"

struct OpaqueCFError : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kErrorTypeID;

  // Takes over the count on `d`.
  OpaqueCFError(CFStringRef d, CFIndex c) : Object(kTypeID), domain(d), code(c) {}
  ~OpaqueCFError() { CFRelease(domain); }

  const CFStringRef domain;
  const CFIndex code;
};

namespace cf {

namespace {

std::string DescriptionOf(const OpaqueCFError& error) {
  return Join({"The operation couldn\u2019t be completed. (", UTF8Of(error.domain), " error ",
               std::to_string(error.code), ".)"});
}

bool ErrorEqual(const Object& a, const Object& b) {
  const auto& x = static_cast<const OpaqueCFError&>(a);
  const auto& y = static_cast<const OpaqueCFError&>(b);
  return x.code == y.code && CFEqual(x.domain, y.domain);
}

CFHashCode ErrorHash(const Object& object) {
  const auto& error = static_cast<const OpaqueCFError&>(object);
  return static_cast<CFHashCode>(error.code) ^ CFHash(error.domain);
}

std::string ErrorContents(const Object& object) {
  const auto& error = static_cast<const OpaqueCFError&>(object);
  return Join({"domain = ", UTF8Of(error.domain), ", code = ", std::to_string(error.code),
               ", description = \"", DescriptionOf(error), "\""});
}

}  // namespace

extern const ClassRecord kErrorClass = {"CFError", Finalize<OpaqueCFError>, ErrorEqual, ErrorHash,
                                        ErrorContents};

}  // namespace cf

using cf::Cast;
using cf::CountCall;

extern "C" {

CFTypeID CFErrorGetTypeID(void) {
  CountCall();
  return cf::kErrorTypeID;
}

CFErrorRef CFErrorCreate(CFAllocatorRef, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef userInfo) {
  CountCall();
  if (cf::Expect(domain, cf::kStringTypeID, "CFErrorCreate") == nullptr) return nullptr;
  if (userInfo != nullptr) {
    cf::Refuse("CFErrorCreate", "user info is not supported");
    return nullptr;
  }
  // The domain is copied, as a mutable string given as the domain may change afterwards.
  return cf::Publish(new OpaqueCFError(CFStringCreateCopy(nullptr, domain), code));
}

CFErrorDomain CFErrorGetDomain(CFErrorRef err) {
  CountCall();
  const auto* error = Cast<OpaqueCFError>(err, "CFErrorGetDomain");
  return error != nullptr ? error->domain : nullptr;
}

CFIndex CFErrorGetCode(CFErrorRef err) {
  CountCall();
  const auto* error = Cast<OpaqueCFError>(err, "CFErrorGetCode");
  return error != nullptr ? error->code : 0;
}

CFStringRef CFErrorCopyDescription(CFErrorRef err) {
  CountCall();
  const auto* error = Cast<OpaqueCFError>(err, "CFErrorCopyDescription");
  return error != nullptr ? cf::MakeString(cf::DescriptionOf(*error)) : nullptr;
}

}  // extern "C"
