#pragma once

// Receipts for the examination's tests: made by the receipt maker from its text format and
// examined against the root that the description's chain ends at, at a fixed time.

#include <memory>
#include <string>
#include <string_view>

#include "examination/Examination.h"
#include "examination/Json.h"
#include "tools/receiptmaker/ReceiptMaker.h"

namespace examination_test {

using namespace Examination;

inline constexpr std::int64_t kNow = 1780272000;  // 2026-06-01T00:00:00Z

// A receipt the way the store makes one, for a device with the MAC address f8:ff:c2:1e:91:82,
// made on 2024-06-01, signed through a chain to the test root.
inline constexpr const char* kBase = R"(
attr 2 1 utf8 "com.example.quellmark"
attr 3 1 utf8 "1.0"
attr 4 1 hex 88a27b6db492f29c9cdd0d8f67bd8b97
attr 12 1 ia5 "2024-06-01T10:00:00Z"
device-hash f8ffc21e9182
)";

struct Made {
  Bytes file;
  std::shared_ptr<const TrustAnchor> root;  // Apple's when the description names no chain
};

inline Made Make(std::string_view description) {
  Bytes root;
  Made made{ReceiptMaker::BuildFromText(description, &root), nullptr};
  if (!root.empty()) made.root = TrustAnchor::FromDer(root);
  return made;
}

inline Report ExamineAt(const Bytes& file, std::shared_ptr<const TrustAnchor> root,
                        std::vector<DeviceIdentifier> identifiers = {}) {
  return Examine(file,
                 {.identifiers = std::move(identifiers), .anchor = std::move(root), .now = kNow});
}

inline Report ExamineMade(std::string_view description,
                          std::vector<DeviceIdentifier> identifiers = {}) {
  const Made made = Make(description);
  return ExamineAt(made.file, made.root, std::move(identifiers));
}

inline DeviceIdentifier Id(std::string_view text, std::string label = "given") {
  return *ParseIdentifier(text, std::move(label)).identifier;
}

}  // namespace examination_test
