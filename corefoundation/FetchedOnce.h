#pragma once

// A value that the family keeps for the life of the process, fetched at its first use: a
// type id, a constant or symbol looked up by name in a framework bundle, a shared wrapper.

#include <type_traits>
#include <utility>

namespace CoreFoundation {

// Holds one value and the flag that records its fetch. The flag is set before the fetch runs,
// so a fetch that finds nothing or raises is not tried again: every later call answers the
// value as the first fetch left it (T's default value if it raised before giving one). A fetch
// that takes the value by reference fills it in place, so the parts it filled before a raise
// stay.
//
// Instances are meant to be function-local statics, one per thing fetched. There is no lock:
// the family is used from the main thread only.
template <typename T>
class FetchedOnce {
 public:
  template <typename Fetch>
  const T& Get(Fetch&& fetch) {
    if (!fetched_) {
      fetched_ = true;
      if constexpr (std::is_invocable_v<Fetch&&, T&>) {
        std::forward<Fetch>(fetch)(value_);
      } else {
        value_ = std::forward<Fetch>(fetch)();
      }
    }
    return value_;
  }

 private:
  bool fetched_ = false;
  T value_{};
};

}  // namespace CoreFoundation
