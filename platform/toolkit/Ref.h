#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "platform/toolkit/Exceptions.h"

namespace toolkit {

// Root of every class whose instances live behind a Ref and can travel in a Variant.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;
};

// A shared, nil-able reference with automatic lifetime. `->` and `*` on nil raise
// NilObjectException, so any use of nil raises by construction. Two Refs are equal when
// they refer to the same object (or are both nil), never by contents.
template <class T>
class Ref {
 public:
  Ref() = default;
  Ref(std::nullptr_t) {}  // NOLINT: implicit, so that nil goes wherever a Ref is wanted
  explicit Ref(std::shared_ptr<T> p) : p_(std::move(p)) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(const Ref<U>& other) : p_(other.shared()) {}  // NOLINT: upcast like a pointer
  // The same upcast taking over the reference of `other`, which is left nil.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(Ref<U>&& other) noexcept : p_(std::move(other.p_)) {}  // NOLINT: upcast like a pointer

  // Makes a new object; the Ref is its first owner.
  template <class... Args>
  static Ref New(Args&&... args) {
    return Ref(std::make_shared<T>(std::forward<Args>(args)...));
  }

  T* operator->() const { return &**this; }
  T& operator*() const {
    if (!p_) throw NilObjectException();
    return *p_;
  }

  bool IsNil() const { return !p_; }
  explicit operator bool() const { return static_cast<bool>(p_); }
  T* get() const { return p_.get(); }
  const std::shared_ptr<T>& shared() const { return p_; }

  // The same object seen as a U, or nil when it isn't one (or this is nil).
  template <class U>
  Ref<U> As() const {
    return Ref<U>(std::dynamic_pointer_cast<U>(p_));
  }

  template <class U>
  bool operator==(const Ref<U>& other) const {
    return static_cast<const void*>(p_.get()) == static_cast<const void*>(other.get());
  }
  bool operator==(std::nullptr_t) const { return !p_; }

 private:
  template <class>
  friend class Ref;  // for the upcast that takes over another Ref's reference

  std::shared_ptr<T> p_;
};

}  // namespace toolkit
