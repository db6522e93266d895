#pragma once

// The stand-in's runtime, private to platform/cf: the object header, the class records that
// the generic functions dispatch through, the table of live objects, and the refusal of
// arguments that the platform would not accept.

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/cf/CFBase.h"
#include "platform/cf/CFError.h"
#include "platform/cf/CFNumber.h"
#include "platform/cf/CFPropertyList.h"

struct CFArrayCallBacks;
struct CFDictionaryKeyCallBacks;
struct CFDictionaryValueCallBacks;
struct OpaqueCFData;
struct OpaqueCFURL;
struct OpaqueCFDictionary;

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

// While one of these lives, every object published is a constant. For what the process keeps
// to its end once it is made, such as the main bundle and all that it holds.
class ConstantScope {
 public:
  ConstantScope();
  ~ConstantScope();
  ConstantScope(const ConstantScope&) = delete;
  ConstantScope& operator=(const ConstantScope&) = delete;
};

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
// A stored value's description, by a collection's description callback where it gives one,
// else "<address>".
std::string DescribeValue(CFStringRef (*describe)(const void* value), const void* value);

// The constants that the framework bundles export by name: the two booleans, the number for
// NaN or an infinity of `value`'s sign, and the null object.
CFBooleanRef BooleanConstant(bool value);
CFNumberRef NumberConstant(double value);
CFNullRef NullConstant();

// A hash of bytes (FNV-1a), for the records' hash functions.
CFHashCode HashBytes(const void* bytes, std::size_t length);

// The standard callbacks of collections of CF objects, as the framework bundles export them.
const CFArrayCallBacks* TypeArrayCallBacks();
const CFDictionaryKeyCallBacks* TypeDictionaryKeyCallBacks();
const CFDictionaryValueCallBacks* TypeDictionaryValueCallBacks();

// The address of the data symbol or function of that name that the framework bundles export,
// or nullptr.
void* FrameworkDataSymbol(std::string_view name);
void* FrameworkFunction(std::string_view name);

// The bytes of a live data object, borrowed: valid until the object changes or goes.
std::string_view BytesOf(const OpaqueCFData& data);

// A new URL (count 1) of a relative POSIX path, which must not be empty, relative to the live
// URL `base`, which it retains.
const OpaqueCFURL* NewRelativeFileURL(std::string_view path, bool isDirectory,
                                      const OpaqueCFURL* base);

// The file-system path of a "file" URL, resolved against its base; nothing for any other URL
// and for a path that holds a zero byte. A folder's path has no "/" at its end.
// `url` must be a live URL.
std::optional<std::string> FileSystemPathOf(const OpaqueCFURL* url);

// The value of the string key whose text is `key`, borrowed; nullptr when there is none. It
// makes no object, so it may be used where new objects would become constants.
const void* ValueForTextKey(const OpaqueCFDictionary& dictionary, std::string_view key);

// A new property list (Create rule) of XML or binary bytes, as CFPropertyListCreateWithData
// reads them; NULL, with the reason at `*why`, for bytes that are none. It makes no object
// beyond those of the list.
CFPropertyListRef PropertyListFromBytes(std::string_view bytes, CFPropertyListFormat* format,
                                        const char** why);

// A new error (Create rule) of the domain "NSCocoaErrorDomain" with `code` and user info of
// the given keys and string values.
struct TextPair {
  std::string_view key;
  std::string_view value;
};
CFErrorRef NewCocoaError(CFIndex code, std::initializer_list<TextPair> userInfo);

}  // namespace cf
