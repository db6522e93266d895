#include "corefoundation/CFType.h"

#include "corefoundation/CFArray.h"
#include "corefoundation/CFBoolean.h"
#include "corefoundation/CFBundle.h"
#include "corefoundation/CFData.h"
#include "corefoundation/CFDate.h"
#include "corefoundation/CFDictionary.h"
#include "corefoundation/CFMutableArray.h"
#include "corefoundation/CFMutableData.h"
#include "corefoundation/CFMutableDictionary.h"
#include "corefoundation/CFMutableString.h"
#include "corefoundation/CFNull.h"
#include "corefoundation/CFNumber.h"
#include "corefoundation/CFString.h"
#include "corefoundation/CFURL.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/toolkit/Exceptions.h"

namespace CoreFoundation {

Ref<CFType> CFType::New() {
  return Ref<CFType>(std::shared_ptr<CFType>(new CFType));
}

Ref<CFType> CFType::New(Ptr ref, bool hasOwnership) {
  return Make<CFType>(ref, hasOwnership);
}

Ref<CFType> CFType::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFType>(source);
}

CFType::~CFType() {
  Release(mRef);
}

void CFType::Constructor(Ptr ref, bool hasOwnership) {
  AdoptNoVerify(VerifyType(ref), hasOwnership);
}

void CFType::Operator_Convert(const Ref<CFObjectMBS>& source) {
  const std::int64_t handle = source->Handle();  // raises for nil
  AdoptNoVerify(reinterpret_cast<Ptr>(static_cast<std::intptr_t>(handle)), false);
}

void CFType::AdoptNoVerify(Ptr ref, bool hasOwnership) {
  if (!hasOwnership && ref != nullptr) Retain(ref);
  mRef = ref;
}

Ptr CFType::VerifyType(Ptr ref) const {
  if (ref == nullptr) return ref;
  const std::uint32_t expected = Event_ClassID();
  const auto actual = static_cast<std::uint32_t>(CFGetTypeID(ref));
  if (actual == expected) return ref;
  const auto address = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(ref));
  throw toolkit::TypeMismatchException(("CFTypeRef &h" + toolkit::Hex(address) + " has CFTypeID " +
                                        toolkit::Str(actual) + "; CFTypeID " +
                                        toolkit::Str(expected) + " was expected.")
                                           .Bytes());
}

bool CFType::Equals(const Ref<CFType>& other) const {
  if (other.IsNil()) return mRef == nullptr;
  const Ptr theirs = other->Reference();
  // The platform accepts no NULL in CFEqual: an empty side is equal only to another.
  if (mRef == nullptr || theirs == nullptr) return mRef == theirs;
  return CFEqual(mRef, theirs);
}

std::uint32_t CFType::Hash() const {
  return mRef == nullptr ? 0 : static_cast<std::uint32_t>(CFHash(mRef));
}

bool CFType::IsNULL() const {
  return HoldsNothing();
}

std::int64_t CFType::Operator_Compare(const Ref<CFType>& other) const {
  const Ptr mine = Reference();
  if (other.IsNil()) return mine != nullptr ? 1 : 0;
  // The difference of the two addresses, taken modulo 2^64 so that it cannot overflow.
  const auto a = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(mine));
  const auto b = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(other->Reference()));
  return static_cast<std::int64_t>(a - b);
}

CFType::operator Ptr() const {
  return Reference();
}

std::int64_t CFType::RefCount() const {
  return RefCount(mRef);
}

Ptr CFType::Reference() const {
  return mRef;
}

void CFType::Release() {
  Release(mRef);
}

void CFType::Retain() {
  Retain(mRef);
}

void CFType::Show() const {
  if (mRef != nullptr) CFShow(mRef);
}

std::uint32_t CFType::TypeID() const {
  return mRef == nullptr ? 0 : static_cast<std::uint32_t>(CFGetTypeID(mRef));
}

Variant CFType::VariantValue() const {
  return Event_VariantValue();
}

Ptr CFType::ElementReference(const Ref<CFType>& element) {
  const Ptr ref = element->Reference();  // raises for nil
  if (ref == nullptr) throw toolkit::NilObjectException();
  return ref;
}

// The factory's table, in its order; the first row whose class id matches makes the wrapper.
//
//   id of          wrapper made
//   CFArray        CFMutableArray if mutability is not 0, else CFArray
//   CFBoolean      none: the shared GetTrue or GetFalse
//   CFBundle       CFBundle
//   CFData         CFMutableData if mutability is 2, else CFData
//   CFDate         CFDate
//   CFDictionary   CFMutableDictionary if mutability is 2, else CFDictionary
//   CFNumber       CFNumber
//   CFString       CFMutableString if mutability is 2, else CFString
//   CFURL          CFURL
//   CFNull         CFNull
//   anything else  plain CFType (errors too)
Ref<CFType> CFType::NewObject(Ptr ref, bool hasOwnership, std::int64_t mutability) {
  if (ref == nullptr) return New();
  // From here on the count is the new wrapper's.
  if (!hasOwnership) Retain(ref);
  const auto id = static_cast<std::uint32_t>(CFGetTypeID(ref));

  if (id == CFArray::ClassID()) {
    if (mutability != 0) return CFMutableArray::New(ref, true);
    return CFArray::New(ref, true);
  }
  if (id == CFBoolean::ClassID()) {
    static FetchedOnce<Ptr> b;
    const Ptr trueRef = b.Get([] { return CFBoolean::GetTrue()->Reference(); });
    // The shared wrappers hold counts of their own, so the one taken for this call goes back.
    Release(ref);
    return ref == trueRef ? Ref<CFType>(CFBoolean::GetTrue()) : Ref<CFType>(CFBoolean::GetFalse());
  }
  if (id == CFBundle::ClassID()) return CFBundle::New(ref, true);
  if (id == CFData::ClassID()) {
    if (mutability == 2) return CFMutableData::New(ref, true);
    return CFData::New(ref, true);
  }
  if (id == CFDate::ClassID()) return CFDate::New(ref, true);
  if (id == CFDictionary::ClassID()) {
    if (mutability == 2) return CFMutableDictionary::New(ref, true);
    return CFDictionary::New(ref, true);
  }
  if (id == CFNumber::ClassID()) return CFNumber::New(ref, true);
  if (id == CFString::ClassID()) {
    if (mutability == 2) return CFMutableString::New(ref, true);
    return CFString::New(ref, true);
  }
  if (id == CFURL::ClassID()) return CFURL::New(ref, true);
  if (id == CFNull::ClassID()) return CFNull::New(ref, true);

  Ref<CFType> plain = New();
  plain->AdoptNoVerify(ref, true);
  return plain;
}

Ref<CFType> CFType::FromHandle(std::int64_t handle) {
  return NewObject(reinterpret_cast<Ptr>(static_cast<std::intptr_t>(handle)), false, 0);
}

void CFType::Retain(Ptr ref) {
  if (ref != nullptr) CFRetain(ref);
}

void CFType::Release(Ptr ref) {
  if (ref != nullptr) CFRelease(ref);
}

std::int64_t CFType::RefCount(Ptr ref) {
  return ref == nullptr ? 0 : static_cast<std::int64_t>(CFGetRetainCount(ref));
}

String CFType::TypeDescription(std::uint32_t id) {
  if (id == 0) return String();
  return toolkit::StringFromCFString(toolkit::CFStringRef::Adopt(CFCopyTypeIDDescription(id)));
}

String CFType::Description() const {
  // A CFNull answers with the null object whatever it holds, so mRef is tested as well.
  if (HoldsNothing() || mRef == nullptr) return String();
  return CFString::New(CFCopyDescription(mRef), true)->StringValue();
}

}  // namespace CoreFoundation
