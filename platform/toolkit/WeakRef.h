#pragma once

#include <memory>

#include "platform/toolkit/Ref.h"

namespace toolkit {

// A reference that doesn't keep its object alive. `Value` gives the object while something
// else holds it, and nil once it has gone (or when the reference was made from nil).
template <class T>
class WeakRef {
 public:
  WeakRef() = default;
  WeakRef(const Ref<T>& object) : p_(object.shared()) {}  // NOLINT: a Ref converts implicitly
  explicit WeakRef(std::weak_ptr<T> p) : p_(std::move(p)) {}

  Ref<T> Value() const { return Ref<T>(p_.lock()); }

 private:
  std::weak_ptr<T> p_;
};

}  // namespace toolkit
