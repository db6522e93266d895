#pragma once

#include <cstdint>
#include <utility>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

// An error as the store reports it: a domain, a code within it and a text for people.
class NSErrorMBS : public toolkit::Object {
 public:
  NSErrorMBS(toolkit::String domain, std::int64_t code, toolkit::String localizedDescription)
      : domain_(std::move(domain)),
        code_(code),
        localizedDescription_(std::move(localizedDescription)) {}

  const toolkit::String& Domain() const { return domain_; }
  std::int64_t Code() const { return code_; }
  const toolkit::String& LocalizedDescription() const { return localizedDescription_; }

 private:
  toolkit::String domain_;
  std::int64_t code_;
  toolkit::String localizedDescription_;
};
