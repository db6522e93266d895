#include "platform/cf/Runtime.h"

#include <cinttypes>
#include <cstdio>
#include <limits>
#include <unordered_map>

#include "platform/cf/CFString.h"
#include "platform/cf/StandIn.h"

namespace cf {

extern const ClassRecord kStringClass;
extern const ClassRecord kDataClass;
extern const ClassRecord kNumberClass;
extern const ClassRecord kBooleanClass;
extern const ClassRecord kNullClass;
extern const ClassRecord kDateClass;
extern const ClassRecord kErrorClass;
extern const ClassRecord kBundleClass;
extern const ClassRecord kLocaleClass;
extern const ClassRecord kArrayClass;
extern const ClassRecord kDictionaryClass;
extern const ClassRecord kURLClass;

namespace {

// In the order of the type ids.
const ClassRecord* const kClasses[kTypeIDCount] = {
    nullptr,      &kStringClass,     &kDataClass,  &kNumberClass, &kBooleanClass,
    &kNullClass,  &kDateClass,       &kErrorClass, &kBundleClass, &kLocaleClass,
    &kArrayClass, &kDictionaryClass, &kURLClass,
};

// The count that CFGetRetainCount reports for a constant, and at which a count stops.
constexpr CFIndex kImmortalCount = std::numeric_limits<CFIndex>::max();

struct Registry {
  std::unordered_map<const void*, Object*> objects;
  std::int64_t live = 0;
  std::int64_t calls = 0;
  std::int64_t refusals = 0;
  int constantScopes = 0;
};

// Never freed, so that constants and the statics of callers may use it until the very end.
Registry& TheRegistry() {
  static auto* const registry = new Registry;
  return *registry;
}

std::string AddressText(const void* address) {
  char buffer[2 + 16 + 1];
  std::snprintf(buffer, sizeof buffer, "0x%" PRIxPTR, reinterpret_cast<std::uintptr_t>(address));
  return buffer;
}

}  // namespace

const ClassRecord* ClassOf(CFTypeID typeID) {
  return typeID < kTypeIDCount ? kClasses[typeID] : nullptr;
}

void PublishObject(const void* address, Object* object, bool immortal) {
  Registry& registry = TheRegistry();
  immortal = immortal || registry.constantScopes > 0;
  object->immortal_ = immortal;
  registry.objects.emplace(address, object);
  if (!immortal) ++registry.live;
}

ConstantScope::ConstantScope() {
  ++TheRegistry().constantScopes;
}

ConstantScope::~ConstantScope() {
  --TheRegistry().constantScopes;
}

Object* Find(CFTypeRef ref) {
  if (ref == nullptr) return nullptr;
  const Registry& registry = TheRegistry();
  const auto found = registry.objects.find(ref);
  return found == registry.objects.end() ? nullptr : found->second;
}

CFIndex RetainCountOf(const Object& object) {
  return object.immortal_ ? kImmortalCount : object.retainCount_;
}

void Retain(Object& object) {
  // A count that reached the top stays there: the object lives on rather than being freed
  // while someone still holds it.
  if (!object.immortal_ && object.retainCount_ < kImmortalCount) ++object.retainCount_;
}

// One count less; true when that was the last and the object is to be freed.
bool ReleaseOne(Object& object) {
  if (object.immortal_ || object.retainCount_ == kImmortalCount) return false;
  return --object.retainCount_ == 0;
}

void CountCall() {
  ++TheRegistry().calls;
}

void Refuse(std::string_view function, std::string_view reason) {
  ++TheRegistry().refusals;
  std::fprintf(stderr, "CoreFoundation stand-in: %.*s refused: %.*s\n",
               static_cast<int>(function.size()), function.data(), static_cast<int>(reason.size()),
               reason.data());
}

Object* Live(CFTypeRef ref, std::string_view function) {
  Object* object = Find(ref);
  if (object == nullptr) {
    Refuse(function, ref == nullptr ? "NULL argument" : "argument is no live object");
  }
  return object;
}

Object* Expect(CFTypeRef ref, CFTypeID typeID, std::string_view function) {
  Object* object = Live(ref, function);
  if (object == nullptr) return nullptr;
  if (object->TypeID() != typeID) {
    Refuse(function, Join({"argument is a ", ClassOf(object->TypeID())->name, ", expected a ",
                           ClassOf(typeID)->name}));
    return nullptr;
  }
  return object;
}

std::string Join(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (std::string_view part : parts)
    text += part;
  return text;
}

std::string Describe(const Object& object) {
  const ClassRecord& record = *ClassOf(object.TypeID());
  const std::string contents =
      record.describe != nullptr ? Join({"{", record.describe(object), "}"}) : "";
  return Join({"<", record.name, " ", AddressText(&object), ">", contents});
}

CFHashCode HashBytes(const void* bytes, std::size_t length) {
  std::uint64_t hash = 14695981039346656037ull;
  const auto* p = static_cast<const unsigned char*>(bytes);
  for (std::size_t i = 0; i < length; ++i) {
    hash ^= p[i];
    hash *= 1099511628211ull;
  }
  return static_cast<CFHashCode>(hash);
}

std::int64_t LiveObjects() {
  return TheRegistry().live;
}

std::vector<std::string> DescribeLiveObjects() {
  std::vector<std::string> descriptions;
  for (const auto& [address, object] : TheRegistry().objects) {
    if (!object->Immortal()) descriptions.push_back(Describe(*object));
  }
  return descriptions;
}

std::int64_t Calls() {
  return TheRegistry().calls;
}

std::int64_t Refusals() {
  return TheRegistry().refusals;
}

}  // namespace cf

using cf::CountCall;

extern "C" {

CFTypeRef CFRetain(CFTypeRef ref) {
  CountCall();
  cf::Object* object = cf::Live(ref, "CFRetain");
  if (object == nullptr) return nullptr;
  cf::Retain(*object);
  return ref;
}

void CFRelease(CFTypeRef ref) {
  CountCall();
  cf::Object* object = cf::Live(ref, "CFRelease");
  if (object == nullptr) return;
  if (!cf::ReleaseOne(*object)) return;
  // Out of the table first: freeing may release other objects, which must not find this one.
  cf::Registry& registry = cf::TheRegistry();
  registry.objects.erase(ref);
  --registry.live;
  cf::ClassOf(object->TypeID())->finalize(object);
}

CFIndex CFGetRetainCount(CFTypeRef ref) {
  CountCall();
  const cf::Object* object = cf::Live(ref, "CFGetRetainCount");
  if (object == nullptr) return 0;
  return cf::RetainCountOf(*object);
}

CFTypeID CFGetTypeID(CFTypeRef ref) {
  CountCall();
  const cf::Object* object = cf::Live(ref, "CFGetTypeID");
  if (object == nullptr) return cf::kNotATypeID;
  return object->TypeID();
}

Boolean CFEqual(CFTypeRef ref1, CFTypeRef ref2) {
  CountCall();
  const cf::Object* a = cf::Live(ref1, "CFEqual");
  const cf::Object* b = a != nullptr ? cf::Live(ref2, "CFEqual") : nullptr;
  if (a == nullptr || b == nullptr) return false;
  if (a == b) return true;
  if (a->TypeID() != b->TypeID()) return false;
  const auto equal = cf::ClassOf(a->TypeID())->equal;
  return equal != nullptr && equal(*a, *b);
}

CFHashCode CFHash(CFTypeRef ref) {
  CountCall();
  const cf::Object* object = cf::Live(ref, "CFHash");
  if (object == nullptr) return 0;
  const auto hash = cf::ClassOf(object->TypeID())->hash;
  return hash != nullptr ? hash(*object)
                         : static_cast<CFHashCode>(reinterpret_cast<std::uintptr_t>(ref));
}

CFStringRef CFCopyDescription(CFTypeRef ref) {
  CountCall();
  const cf::Object* object = cf::Live(ref, "CFCopyDescription");
  if (object == nullptr) return nullptr;
  return cf::MakeString(cf::Describe(*object));
}

CFStringRef CFCopyTypeIDDescription(CFTypeID typeID) {
  CountCall();
  const cf::ClassRecord* record = cf::ClassOf(typeID);
  return record != nullptr ? cf::MakeString(record->name) : nullptr;
}

}  // extern "C"
