#include "corefoundation/CFObjectMBS.h"

CFObjectMBS::~CFObjectMBS() {
  if (ref_ != nullptr) CFRelease(ref_);
}

std::int64_t CFObjectMBS::Handle() const {
  return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(ref_));
}
