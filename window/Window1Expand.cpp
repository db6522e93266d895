// Opening a row: a receipt's opens into one child row per decoded attribute, in the order of
// the numbers; the "MACs" row into the machine's interfaces (Window1MACs.cpp).

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "receipts/CertTools.h"
#include "window/Window1.h"

using toolkit::MemoryBlock;
using toolkit::Ref;
using toolkit::String;
using toolkit::Variant;

namespace {

// The text of a decoded value. A block of attribute 2 is the bundle ID with its DER header
// still in front: the text starts behind the two header bytes and is as long as the second
// says, cut at the end of the block. Other blocks show as hexadecimal.
String ValueText(std::int64_t number, const Variant& value) {
  if (const Ref<MemoryBlock> block = value.As<MemoryBlock>()) {
    if (number == 2) return block->StringValue(2, block->Byte(1));
    return "0x" + toolkit::EncodeHex(value.StringValue(), false);
  }
  return value.StringValue();  // an integer's decimal text, or the text itself
}

}  // namespace

void Window1::lb_ExpandRow(toolkit::Listbox& list, std::int64_t row) {
  const Variant tag = list.RowTag(row);
  const Ref<toolkit::Dictionary> attributes = tag.As<toolkit::Dictionary>();
  if (!attributes) {
    // Any other tag opens the row empty; nil converts to the empty text.
    if (tag.StringValue() == "MACs") AddInterfaceRows(list);
    return;
  }

  // The numeric keys repeat what the String keys hold, and the "raw " entries are what the
  // decoded values came from: only the "attr " entries make rows.
  std::vector<std::pair<std::int64_t, Variant>> entries;
  for (const Variant& key : attributes->Keys()) {
    if (toolkit::IsNumeric(key)) continue;
    const String text = key.StringValue();
    std::int64_t number = 0;
    if (toolkit::Left(text, 5) == "attr ") {
      // Through a double, as the toolkit's Val reads it, cut towards zero.
      number = Variant(toolkit::Val(toolkit::Mid(text, 6))).Int64Value();
    } else if (toolkit::Left(text, 4) == "raw ") {
      continue;
    }
    entries.emplace_back(number, attributes->Value(key));
  }
  // A map holds each number once, so no two entries tie.
  std::stable_sort(entries.begin(), entries.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });

  for (const auto& [number, value] : entries) {
    list.AddRow({""});
    const std::int64_t index = list.LastIndex();
    list.Cell(index, 1, toolkit::Str(number) + " " + CertTools::TitleForAttrType(number));
    list.Cell(index, 2,
              toolkit::DefineEncoding(ValueText(number, value), toolkit::Encodings::UTF8));
  }
}
