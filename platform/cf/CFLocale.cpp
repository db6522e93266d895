#include "platform/cf/CFLocale.h"

#include "platform/cf/Runtime.h"

struct OpaqueCFLocale : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kLocaleTypeID;

  // Takes over the count on `id`.
  explicit OpaqueCFLocale(CFStringRef id) : Object(kTypeID), identifier(id) {}
  ~OpaqueCFLocale() { CFRelease(identifier); }

  CFStringRef identifier;
};

namespace cf {

namespace {

bool LocaleEqual(const Object& a, const Object& b) {
  return CFEqual(static_cast<const OpaqueCFLocale&>(a).identifier,
                 static_cast<const OpaqueCFLocale&>(b).identifier);
}

CFHashCode LocaleHash(const Object& object) {
  return CFHash(static_cast<const OpaqueCFLocale&>(object).identifier);
}

std::string LocaleContents(const Object& object) {
  return Join(
      {"identifier = '", UTF8Of(static_cast<const OpaqueCFLocale&>(object).identifier), "'"});
}

}  // namespace

extern const ClassRecord kLocaleClass = {"CFLocale", Finalize<OpaqueCFLocale>, LocaleEqual,
                                         LocaleHash, LocaleContents};

bool LocaleName(CFLocaleRef locale, std::string_view function, std::string* icuName) {
  if (locale == nullptr) {
    icuName->clear();
    return true;
  }
  const auto* object = Cast<OpaqueCFLocale>(locale, function);
  if (object == nullptr) return false;
  *icuName = UTF8Of(object->identifier);
  return true;
}

}  // namespace cf

extern "C" {

CFLocaleRef CFLocaleGetSystem(void) {
  cf::CountCall();
  static const CFLocaleRef system =
      cf::PublishConstant(new OpaqueCFLocale(cf::MakeConstantString("")));
  return system;
}

}  // extern "C"
