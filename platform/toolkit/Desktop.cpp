#include "platform/toolkit/Desktop.h"

#include <string>
#include <utility>

#include "platform/toolkit/Exceptions.h"

namespace toolkit {

namespace {
Desktop* current = nullptr;
}  // namespace

Desktop& Desktop::Current() {
  if (current == nullptr) throw NilObjectException("no desktop is installed");
  return *current;
}

Desktop* Desktop::Install(Desktop* desktop) {
  Desktop* const previous = current;
  current = desktop;
  return previous;
}

void MsgBox(const String& text) {
  Desktop::Current().MsgBox(text);
}

void Beep() {
  Desktop::Current().Beep();
}

bool Keyboard::OptionKey() {
  return Desktop::Current().OptionKey();
}

String Chr(std::uint32_t codePoint) {
  std::string bytes;
  const auto add = [&bytes](std::uint32_t b) { bytes.push_back(static_cast<char>(b)); };
  if (codePoint < 0x80) {
    add(codePoint);
  } else if (codePoint < 0x800) {
    add(0xC0 | (codePoint >> 6));
    add(0x80 | (codePoint & 0x3F));
  } else if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
    // Surrogates are halves of UTF-16 pairs, not code points.
  } else if (codePoint < 0x10000) {
    add(0xE0 | (codePoint >> 12));
    add(0x80 | ((codePoint >> 6) & 0x3F));
    add(0x80 | (codePoint & 0x3F));
  } else if (codePoint <= 0x10FFFF) {
    add(0xF0 | (codePoint >> 18));
    add(0x80 | ((codePoint >> 12) & 0x3F));
    add(0x80 | ((codePoint >> 6) & 0x3F));
    add(0x80 | (codePoint & 0x3F));
  }
  return String(std::move(bytes), TextEncoding::UTF8);
}

}  // namespace toolkit
