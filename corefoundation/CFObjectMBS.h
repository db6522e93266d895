#pragma once

#include <cstdint>

#include "platform/cf/CFBase.h"
#include "platform/toolkit/Ref.h"

// A small stand-in of the plug-in class CFObjectMBS, of which the wrappers use only Handle:
// an object that holds one count on a CoreFoundation reference and gives it back when it goes.
class CFObjectMBS : public toolkit::Object {
 public:
  // Takes over a count that the caller holds on `ref`, which may be NULL.
  explicit CFObjectMBS(CFTypeRef ref) : ref_(ref) {}
  ~CFObjectMBS() override;

  // The reference as an integer; 0 for NULL.
  std::int64_t Handle() const;

 private:
  CFTypeRef ref_;
};
