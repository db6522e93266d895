#pragma once

// Helpers of the window tests: receipts made by the receipt maker, and the list checker.

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "tests/support/Scratch.h"
#include "tests/toolkit/ListChecker.h"
#include "tools/receiptmaker/ReceiptMaker.h"

namespace window_test {

namespace fs = std::filesystem;
using toolkit::Listbox;
using toolkit::ListModel;

using Attributes = std::vector<ReceiptMaker::Attribute>;
inline const Attributes kBundleAndVersion = {{2, 1, ReceiptMaker::Utf8Value("com.example.app")},
                                             {3, 1, ReceiptMaker::Utf8Value("1.0")}};

// A signed receipt with these attributes.
inline ReceiptMaker::Bytes Receipt(const Attributes& attributes = kBundleAndVersion) {
  return ReceiptMaker::Sign(ReceiptMaker::Payload(attributes));
}

// The tests of the Qt desktop write at whole paths inside a scratch folder of this name.
using toolkit_test::ListChecker;
using toolkit_test::Rows;

}  // namespace window_test
