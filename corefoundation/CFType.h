#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "corefoundation/CFObjectMBS.h"
#include "corefoundation/CoreFoundation.h"
#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"
#include "platform/toolkit/Variant.h"

namespace CoreFoundation {

using toolkit::Ref;
using toolkit::String;
using toolkit::Variant;

// The root of the wrappers: one CoreFoundation reference, `mRef`, on which a holding wrapper
// owns exactly one count. It is empty (null) or holding, and a holding wrapper never goes
// back to empty; the count is given back when the wrapper dies. Several wrappers may hold
// one reference, each with its own count.
//
// The ownership rule. A reference reaches a wrapper with `hasOwnership`: true hands over a
// count that the caller holds (what a Create or Copy function gave), false makes the wrapper
// take a count of its own (for anything borrowed).
//
// Wrappers are made in two phases: New makes an empty object, then runs the class's
// Constructor on it, so that the Constructor reaches the overrides of the class being made
// (the type test asks the class for its id through Event_ClassID). A Constructor that raises
// leaves no object behind and releases nothing it was given.
//
// A plain CFType expects type id 0, which no object has, so it refuses every non-null
// reference in New(ref, hasOwnership); NewObject makes plain wrappers for any reference.
class CFType : public toolkit::Object {
 public:
  // An empty plain wrapper.
  static Ref<CFType> New();
  // A plain wrapper: null is accepted, anything else raises TypeMismatchException.
  static Ref<CFType> New(Ptr ref, bool hasOwnership);
  // The reference of a plug-in object, with a count of its own and no type test.
  // NilObjectException for a nil `source`.
  static Ref<CFType> New(const Ref<CFObjectMBS>& source);

  ~CFType() override;

  // Whether the references are equal by value (CFEqual). An empty wrapper equals nil and
  // other empty wrappers; a holding one equals neither.
  virtual bool Equals(const Ref<CFType>& other) const;
  // CFHash in 32 bits; 0 for an empty wrapper.
  virtual std::uint32_t Hash() const;
  // Whether the wrapper holds no reference.
  [[deprecated("compare with nil: Operator_Compare(nullptr) == 0")]] virtual bool IsNULL() const;
  // Identity and an order by address: Reference() minus other's, as signed 64-bit integers.
  // Against nil: 1 for a holding wrapper, 0 for an empty one.
  virtual std::int64_t Operator_Compare(const Ref<CFType>& other) const;
  // Reference(), through its virtual slot.
  virtual explicit operator Ptr() const;
  // The reference's retain count; 0 for an empty wrapper.
  virtual std::int64_t RefCount() const;
  // The reference, borrowed: no count is taken.
  virtual Ptr Reference() const;
  // Change the platform's count only; the wrapper keeps its reference.
  virtual void Release();
  virtual void Retain();
  // CFShow of the reference; nothing for an empty wrapper.
  virtual void Show() const;
  // The reference's type id in 32 bits; 0 for an empty wrapper.
  virtual std::uint32_t TypeID() const;
  // The wrapper's value as a toolkit value; nil where the class gives none.
  virtual Variant VariantValue() const;

  // A new wrapper of the class that fits the reference's type: see the table in CFType.cpp.
  // Null gives an empty plain CFType, never nil. With `hasOwnership` false the wrapper takes
  // a count of its own. `mutability` 2 picks the mutable class of data, dictionaries and
  // strings; any value but 0 that of arrays. Boolean references give the two shared
  // CFBoolean wrappers.
  static Ref<CFType> NewObject(Ptr ref, bool hasOwnership, std::int64_t mutability);
  // NewObject for a reference given as an integer, borrowed.
  static Ref<CFType> FromHandle(std::int64_t handle);
  // CFRetain, CFRelease, CFGetRetainCount; nothing (and 0) for null.
  static void Retain(Ptr ref);
  static void Release(Ptr ref);
  static std::int64_t RefCount(Ptr ref);
  // The name of a type id, such as "CFString"; the empty String for 0 and for an unknown id.
  static String TypeDescription(std::uint32_t id);

  // RefCount(), for looking at in a debugger.
  std::int64_t debugRefCount() const { return RefCount(); }
  // The platform's description of the reference; the empty String for an empty wrapper.
  virtual String Description() const;

 protected:
  // Constructor(): the wrapper stays empty.
  CFType() = default;

  // AdoptNoVerify(VerifyType(ref), hasOwnership).
  virtual void Constructor(Ptr ref, bool hasOwnership);
  // AdoptNoVerify(source's Handle, false). NilObjectException for a nil `source`.
  virtual void Operator_Convert(const Ref<CFObjectMBS>& source);

  // Takes `ref` as it is, retaining it unless `hasOwnership`. For fresh wrappers only: an
  // earlier reference is overwritten without being released.
  void AdoptNoVerify(Ptr ref, bool hasOwnership);
  // `ref` when it is null or of the type the class expects (Event_ClassID); else raises
  // TypeMismatchException with "CFTypeRef &h<ref in hex> has CFTypeID <actual>; CFTypeID
  // <expected> was expected."
  Ptr VerifyType(Ptr ref) const;
  // The reference of an element that must hold one: NilObjectException for a nil or empty
  // wrapper.
  static Ptr ElementReference(const Ref<CFType>& element);

  // The type id this class wraps; 0 where a class has no id of its own.
  virtual std::uint32_t Event_ClassID() const { return 0; }
  // The value in toolkit form; nil where a class has none.
  virtual Variant Event_VariantValue() const { return nullptr; }

  // The two phases: an empty T, then its Constructor or Operator_Convert with `args`. Each
  // class declares CFType its friend so that these reach its protected members.
  template <class T, class... Args>
  static Ref<T> Make(Args&&... args) {
    Ref<T> object(std::shared_ptr<T>(new T));
    object->Constructor(std::forward<Args>(args)...);
    return object;
  }
  template <class T, class Source>
  static Ref<T> MakeFrom(const Source& source) {
    Ref<T> object(std::shared_ptr<T>(new T));
    object->Operator_Convert(source);
    return object;
  }

 private:
  // Whether the wrapper holds no reference, as Operator_Compare(nil) tells it.
  bool HoldsNothing() const { return Operator_Compare(nullptr) == 0; }

  Ptr mRef = nullptr;
};

}  // namespace CoreFoundation
