#pragma once

#include "corefoundation/CFPropertyList.h"
#include "corefoundation/CFType.h"
#include "platform/toolkit/MemoryBlock.h"

namespace CoreFoundation {

using toolkit::MemoryBlock;

// A wrapped CFData. Its bytes come out as a copy, never as a view.
class CFData : public CFType, public CFPropertyList {
 public:
  static Ref<CFData> New(Ptr ref, bool hasOwnership);
  // A new data object with a copy of the block's bytes; empty for a nil block.
  // TypeMismatchException for a block of unknown (negative) size.
  static Ref<CFData> New(const Ref<MemoryBlock>& mb);
  static Ref<CFData> New(const Ref<CFObjectMBS>& source);

  // CFDataGetTypeID, asked once.
  static std::uint32_t ClassID();

  Ptr Reference() const override { return CFType::Reference(); }
  // A fresh copy of the bytes at each call; a block of size 0 (never nil) for an empty wrapper.
  Ref<MemoryBlock> Data() const;

 protected:
  friend class CFType;
  CFData() = default;
  using CFType::Constructor;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  Variant Event_VariantValue() const override { return Data(); }
  virtual void Constructor(const Ref<MemoryBlock>& mb);
};

}  // namespace CoreFoundation
