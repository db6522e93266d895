#include "platform/cf/CFError.h"

#include <string>
#include <vector>

#include "platform/cf/CFString.h"
#include "platform/cf/Runtime.h"

struct OpaqueCFError : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kErrorTypeID;

  // Takes over the counts on `d` and `info`.
  OpaqueCFError(CFStringRef d, CFIndex c, CFDictionaryRef info)
      : Object(kTypeID), domain(d), code(c), userInfo(info) {}
  OpaqueCFError(const OpaqueCFError&) = delete;
  OpaqueCFError& operator=(const OpaqueCFError&) = delete;
  ~OpaqueCFError() {
    CFRelease(domain);
    CFRelease(userInfo);
  }

  const CFStringRef domain;
  const CFIndex code;
  const CFDictionaryRef userInfo;
};

namespace cf {

namespace {

std::string DescriptionOf(const OpaqueCFError& error) {
  const void* localized = ValueForTextKey(*error.userInfo, "NSLocalizedDescription");
  if (localized != nullptr && CFGetTypeID(localized) == kStringTypeID) {
    return UTF8Of(static_cast<CFStringRef>(localized));
  }
  return Join({"The operation couldn\u2019t be completed. (", UTF8Of(error.domain), " error ",
               std::to_string(error.code), ".)"});
}

bool ErrorEqual(const Object& a, const Object& b) {
  const auto& x = static_cast<const OpaqueCFError&>(a);
  const auto& y = static_cast<const OpaqueCFError&>(b);
  return x.code == y.code && CFEqual(x.domain, y.domain) && CFEqual(x.userInfo, y.userInfo);
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

CFErrorRef NewCocoaError(CFIndex code, std::initializer_list<TextPair> userInfo) {
  std::vector<const void*> keys;
  std::vector<const void*> values;
  for (const auto& [key, value] : userInfo) {
    keys.push_back(MakeString(key));
    values.push_back(MakeString(value));
  }
  CFDictionaryRef info =
      CFDictionaryCreate(nullptr, keys.data(), values.data(), static_cast<CFIndex>(keys.size()),
                         TypeDictionaryKeyCallBacks(), TypeDictionaryValueCallBacks());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    CFRelease(keys[i]);
    CFRelease(values[i]);
  }
  return Publish(new OpaqueCFError(MakeString("NSCocoaErrorDomain"), code, info));
}

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
