#pragma once

// What the wrapper tests share: the stand-in's helpers and the module's names.

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>
#include <vector>

#include "corefoundation/CFType.h"
#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace corefoundation_test {

using cf_test::CallCounter;
using cf_test::NewData;
using cf_test::NewString;
using cf_test::Owned;
using cf_test::Symbol;
using CoreFoundation::CFType;
using CoreFoundation::Ptr;
using toolkit::Ref;
using toolkit::String;
using toolkit::Variant;

// The messages that Stubs::DebugLog has been given in this process, oldest first.
std::vector<std::string>& DebugLogLines();

// Whether the wrapper holds no reference, asked as new code asks it.
inline bool Empty(const Ref<CFType>& wrapper) {
  return wrapper->Operator_Compare(nullptr) == 0;
}

// The exact class of a wrapper, not one of its bases.
template <class T>
bool IsExactly(const Ref<CFType>& wrapper) {
  return !wrapper.IsNil() && typeid(*wrapper) == typeid(T);
}

// A new error (Create rule): the one that bytes which are no property list give.
inline CFErrorRef NewError() {
  CFErrorRef error = nullptr;
  EXPECT_EQ(
      CFPropertyListCreateWithData(nullptr, Owned<CFDataRef>(NewData("")), 0, nullptr, &error),
      nullptr);
  return error;
}

}  // namespace corefoundation_test
