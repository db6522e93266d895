// Bytes as a receipt payload: the walk must end, read nothing outside them, and hand out only
// maps that keep the invariants of the attribute map.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>

#include "fuzz/Invariants.h"
#include "receipts/CertTools.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // An exactly sized copy, so that a read past the end is a heap overflow the sanitizer sees.
  auto copy = std::make_unique<std::uint8_t[]>(size);
  if (size > 0) std::copy(data, data + size, copy.get());
  const std::span<const std::uint8_t> input(copy.get(), size);

  const auto maps = CertTools::parse(copy.get(), static_cast<std::int64_t>(size));
  if (maps) {
    for (const auto& map : *maps)
      fuzzcheck::CheckMap(*map, input);
  }
  return 0;
}
