#pragma once

#include "corefoundation/CoreFoundation.h"

namespace CoreFoundation {

// What the platform can store in a property list: arrays, booleans, data, dates,
// dictionaries, numbers and strings. Each implementing wrapper answers with its reference.
class CFPropertyList {
 public:
  virtual ~CFPropertyList() = default;
  // The wrapped reference, borrowed (no count); null for an empty wrapper.
  virtual Ptr Reference() const = 0;
};

}  // namespace CoreFoundation
