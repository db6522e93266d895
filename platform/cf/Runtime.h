#pragma once

// The stand-in's runtime, private to platform/cf: the object header, the class records that
// the generic functions dispatch through, the table of live objects, and the refusal of
// arguments that the platform would not accept.

#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/cf/CFBase.h"
#include "platform/cf/CFNumber.h"

namespace cf {

// The fixed type ids of the stand-in. 0 is no type: no object ever has it.
enum TypeIDs : CFTypeID {
  kNotATypeID = 0,
  kStringTypeID,
  kDataTypeID,
  kNumberTypeID,
  kBooleanTypeID,
  kNullTypeID,
  kDateTypeID,
  kErrorTypeID,
  kBundleTypeID,
  kLocaleTypeID,
  kArrayTypeID,
  kDictionaryTypeID,
  kURLTypeID,
  kTypeIDCount
};

class Object;

// What the generic functions need to know of a type. Each type has one record.
struct ClassRecord {
  const char* name;
  // Frees the object: each type deletes it as what it is.
  void (*finalize)(Object* object);
  // Value equality of two objects of this type; nullptr compares identity.
  bool (*equal)(const Object& a, const Object& b);
  // A hash that agrees with `equal`; nullptr hashes the address.
  CFHashCode (*hash)(const Object& object);
  // The value as the description shows it between braces; nullptr shows no braces.
  std::string (*describe)(const Object& object);
};

// The record of a type id, or nullptr for an id that names no type.
const ClassRecord* ClassOf(CFTypeID typeID);

// The header of every object: its type id and its retain count. Objects are made by the
// Create functions with a count of 1 and published; they are freed through their record when
// the count reaches 0. Constants are published as immortal and never freed.
class Object {
 public:
  explicit Object(CFTypeID typeID) : typeID_(typeID) {}
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  CFTypeID TypeID() const { return typeID_; }
  bool Immortal() const { return immortal_; }

 protected:
  // Only the record's finalizer deletes, and it deletes the object as its own type.
  ~Object() = default;

 private:
  friend CFIndex RetainCountOf(const Object& object);
  friend void Retain(Object& object);
  friend bool ReleaseOne(Object& object);
  friend void PublishObject(const void* address, Object* object, bool immortal);

  const CFTypeID typeID_;
  CFIndex retainCount_ = 1;
  bool immortal_ = false;
};

template <class T>
void Finalize(Object* object) {
  delete static_cast<T*>(object);
}

// Enters `object` in the table of live objects under the address that callers will hold.
// An immortal object is not counted among the live objects and is never freed.
void PublishObject(const void* address, Object* object, bool immortal);

// Publishes a new object of type T and returns it as the pointer that callers hold.
template <class T>
T* Publish(T* object) {
  PublishObject(static_cast<const void*>(object), object, false);
  return object;
}
template <class T>
T* PublishConstant(T* object) {
  PublishObject(static_cast<const void*>(object), object, true);
  return object;
}

// The live object at `ref`, or nullptr when `ref` is NULL or no live object.
Object* Find(CFTypeRef ref);

// Counts one call of the C API. Every exported function calls it first.
void CountCall();

// Refuses a call: one line on the standard error stream, one more refusal counted.
void Refuse(std::string_view function, std::string_view reason);

// The live object at `ref`; else nullptr, after refusing the call for `ref` being NULL or no
// live object.
Object* Live(CFTypeRef ref, std::string_view function);

// The object at `ref` when it is a live object of type `typeID`; else nullptr, after refusing
// the call for `ref` being NULL, no live object, or an object of another type.
Object* Expect(CFTypeRef ref, CFTypeID typeID, std::string_view function);

// The same as a T, which names its type id as T::kTypeID.
template <class T>
T* Cast(CFTypeRef ref, std::string_view function) {
  return static_cast<T*>(Expect(ref, T::kTypeID, function));
}

// The parts one after another. (Chains of + that begin with a literal trip a false
// -Wrestrict of g++ 12 at -O3.)
std::string Join(std::initializer_list<std::string_view> parts);

// The description of an object as CFCopyDescription gives it, as UTF-8.
std::string Describe(const Object& object);

// Helpers of the types for one another.

// A new string (count 1) from UTF-8 that is known to be valid.
CFStringRef MakeString(std::string_view utf8);
// An immortal string from UTF-8 that is known to be valid.
CFStringRef MakeConstantString(std::string_view utf8);
// The text of a string as UTF-8 (unpaired surrogates become U+FFFD).
std::string UTF8Of(const OpaqueCFString& string);
// The same for a ref that the caller knows to be a live string.
std::string UTF8Of(CFStringRef string);

// The constants that the framework bundles export by name: the two booleans, the number for
// NaN or an infinity of `value`'s sign, and the null object.
CFBooleanRef BooleanConstant(bool value);
CFNumberRef NumberConstant(double value);
CFNullRef NullConstant();

// A hash of bytes (FNV-1a), for the records' hash functions.
CFHashCode HashBytes(const void* bytes, std::size_t length);

}  // namespace cf
