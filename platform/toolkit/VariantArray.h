#pragma once

#include <utility>
#include <vector>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/Variant.h"

namespace toolkit {

// An array of Variant that travels in a Variant as an object, as the toolkit's arrays do.
class VariantArray : public Object {
 public:
  VariantArray() = default;
  explicit VariantArray(std::vector<Variant> values) : values_(std::move(values)) {}

  std::int64_t Count() const { return static_cast<std::int64_t>(values_.size()); }
  const std::vector<Variant>& Values() const { return values_; }
  void Append(Variant value) { values_.push_back(std::move(value)); }

 private:
  std::vector<Variant> values_;
};

}  // namespace toolkit
