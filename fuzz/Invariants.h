#pragma once

// What must hold of any map that the decoder hands out, whatever bytes it was given. The fuzz
// targets abort on the first violation, so that libFuzzer keeps the input that shows it.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"

namespace fuzzcheck {

[[noreturn]] inline void Fail(const char* what, std::string_view key) {
  std::fprintf(stderr, "invariant broken: %s (key \"%.*s\")\n", what, static_cast<int>(key.size()),
               key.data());
  std::abort();
}

inline bool IsCopyOf(const toolkit::MemoryBlock& block, std::span<const std::uint8_t> input) {
  const std::string_view hay(reinterpret_cast<const char*>(input.data()), input.size());
  const std::string_view needle(reinterpret_cast<const char*>(block.Data()),
                                static_cast<std::size_t>(block.Size()));
  return hay.find(needle) != std::string_view::npos;
}

// The attribute number that each numeric key repeats (by its index, 1 to 10), and whether it
// holds the raw block.
struct NumericKey {
  std::int64_t attribute;
  bool holdsRaw;
};
inline constexpr NumericKey kNumericKeys[] = {
    {0, false},  {2, false},  {2, true},   {3, false},  {4, true},   {5, true},
    {17, false}, {19, false}, {21, false}, {18, false}, {12, false},
};

// Checks one map of the decoder's result against `input`, the bytes it was given (or bytes
// that contain them).
inline void CheckMap(const toolkit::Dictionary& map, std::span<const std::uint8_t> input) {
  using toolkit::MemoryBlock;
  using toolkit::String;
  using toolkit::Variant;
  if (map.Count() == 0) Fail("a map without entries was handed out", "");

  for (const Variant& key : map.Keys()) {
    const Variant& value = map.Value(key);
    if (!key.IsString()) {
      if (key.VarType() != Variant::TypeInt64 || key.Int64Value() < 1 || key.Int64Value() > 10)
        Fail("a numeric key outside the table", "");
      const NumericKey nk = kNumericKeys[key.Int64Value()];
      const String n = toolkit::Str(nk.attribute, "-#");
      const Variant raw = map.Lookup(String("raw ") + n, nullptr);
      if (raw.IsNull()) Fail("a numeric key without the raw entry of its attribute", n.View());
      // BundleIDRaw and "raw 2" are written together by every attribute 2. Opaque and Hash are
      // written only by an occurrence that decodes, so a later one may have replaced "raw N".
      if (key.Int64Value() == 2 && !(value == raw)) Fail("BundleIDRaw is not \"raw 2\"", n.View());
      if (nk.holdsRaw) {
        const auto block = value.As<MemoryBlock>();
        if (!block || !IsCopyOf(*block, input))
          Fail("a numeric key without its raw block", n.View());
      }
      if (key.Int64Value() != 2) {
        const Variant decoded = map.Lookup(String("attr ") + n, nullptr);
        if (decoded.IsNull()) Fail("a numeric key without a decoded entry", n.View());
        if (!nk.holdsRaw && !(value == decoded))
          Fail("a numeric key unlike its decoded entry", n.View());
      }
      continue;
    }
    const String keyText = key.StringValue();
    const std::string_view k = keyText.View();
    if (k.starts_with("raw ")) {
      const auto block = value.As<MemoryBlock>();
      if (!block) Fail("a raw entry that is not a block", k);
      if (!IsCopyOf(*block, input)) Fail("a raw block that is not bytes of the input", k);
      if (k == "raw 1" || k == "raw 6") Fail("attribute 1 or 6 taken in", k);
    } else if (k.starts_with("attr ")) {
      const Variant raw = map.Lookup(String("raw ") + String(k.substr(5)), nullptr);
      if (raw.IsNull()) Fail("a decoded entry without its raw entry", k);
      // A decoded block is some occurrence's raw block: bytes of the input.
      if (value.IsObject()) {
        const auto block = value.As<MemoryBlock>();
        if (!block || !IsCopyOf(*block, input)) Fail("a decoded object that is no raw block", k);
      }
      if (value.IsNull()) Fail("a decoded entry holding nil", k);
    } else {
      Fail("a String key of neither family", k);
    }
  }
}

}  // namespace fuzzcheck
