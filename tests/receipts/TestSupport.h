#pragma once

// Helpers shared by the receipt tests: parsing bytes from an exactly-sized heap copy, and a
// canonical text of parse's result that the tables compare against.

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/String.h"
#include "receipts/CertTools.h"
#include "tools/receiptmaker/ReceiptMaker.h"

namespace receipts_test {

using ReceiptMaker::Bytes;
using toolkit::Dictionary;
using toolkit::MemoryBlock;
using toolkit::Ref;
using toolkit::String;
using toolkit::Variant;

// A copy of `bytes` in a heap block of exactly that size, so that AddressSanitizer reports any
// read behind the last byte.
inline std::unique_ptr<std::uint8_t[]> ExactCopy(const Bytes& bytes) {
  auto copy = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), copy.get());
  return copy;
}

inline std::optional<std::vector<Ref<Dictionary>>> ParseExactly(const Bytes& payload) {
  const auto copy = ExactCopy(payload);
  return CertTools::parse(copy.get(), static_cast<std::int64_t>(payload.size()));
}

inline std::string HexOf(const std::uint8_t* data, std::int64_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
  return toolkit::EncodeHex(String(bytes)).Bytes();
}

// One map as text: numeric keys first in ascending order, then String keys in byte order. An
// Int64 shows as its number, a String quoted after its declared encoding (u UTF-8, a ASCII), a
// MemoryBlock as [HEX] where it first appears and as @KEY (the key that showed it) where the
// same object appears again.
inline std::string Dump(const Dictionary& map) {
  std::vector<Variant> keys = map.Keys();
  const auto text = [](const Variant& k) {
    return k.IsString() ? k.StringValue().Bytes() : std::to_string(k.Int64Value());
  };
  std::sort(keys.begin(), keys.end(), [](const Variant& a, const Variant& b) {
    if (a.IsString() != b.IsString()) return b.IsString();
    return a.IsString() ? a.StringValue() < b.StringValue() : a.Int64Value() < b.Int64Value();
  });
  std::map<const MemoryBlock*, std::string> shown;
  std::string out;
  for (const Variant& key : keys) {
    out.append(out.empty() ? "" : ", ").append(text(key)).append(": ");
    const Variant& value = map.Value(key);
    const auto block = value.As<MemoryBlock>();
    if (block && shown.contains(block.get())) {
      out.append("@").append(shown[block.get()]);
    } else if (block) {
      out.append("[").append(HexOf(block->Data(), block->Size())).append("]");
      shown.emplace(block.get(), text(key));
    } else if (value.IsString()) {
      const String s = value.StringValue();
      using enum toolkit::TextEncoding;
      out.append(s.Encoding() == UTF8 ? "u\"" : s.Encoding() == ASCII ? "a\"" : "\"");
      for (const char c : s.Bytes()) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (byte >= 0x20 && byte < 0x7F)
          out += c;
        else
          out.append("\\x").append(HexOf(&byte, 1));
      }
      out += "\"";
    } else {
      out.append(value.VarType() == Variant::TypeInt64 ? std::to_string(value.Int64Value()) : "?");
    }
  }
  return "{" + out + "}";
}

// parse's result as text: "nil", or the maps in order inside [ ].
inline std::string Dump(const std::optional<std::vector<Ref<Dictionary>>>& maps) {
  if (!maps) return "nil";
  std::string out = "[";
  for (const auto& map : *maps)
    out.append(out.size() > 1 ? " " : "").append(Dump(*map));
  return out + "]";
}

}  // namespace receipts_test
