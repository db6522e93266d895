#include "platform/cf/CFString.h"

#include <unicode/ustring.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "platform/cf/Runtime.h"

struct OpaqueCFString : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kStringTypeID;

  OpaqueCFString(std::u16string t, bool m, CFIndex limit)
      : Object(kTypeID), text(std::move(t)), isMutable(m), maxLength(limit) {}

  std::u16string text;
  const bool isMutable;
  const CFIndex maxLength;  // in units; 0 for no limit
};

namespace cf {

// The ICU name of `locale` in `*icuName` ("" for NULL, the root); false after refusing the
// call when `locale` is something else than NULL or a live locale. (CFLocale.cpp)
bool LocaleName(CFLocaleRef locale, std::string_view function, std::string* icuName);

namespace {

bool IsHighSurrogate(char16_t u) {
  return u >= 0xD800 && u <= 0xDBFF;
}
bool IsLowSurrogate(char16_t u) {
  return u >= 0xDC00 && u <= 0xDFFF;
}

// The bytes of one code point in `encoding`; empty when it has no form there (an unpaired
// surrogate is no character of any encoding).
std::string EncodeCodePoint(char32_t cp, CFStringEncoding encoding) {
  const bool surrogate = cp >= 0xD800 && cp <= 0xDFFF;
  std::string out;
  switch (encoding) {
    case kCFStringEncodingASCII:
      if (cp <= 0x7F) out += static_cast<char>(cp);
      break;
    case kCFStringEncodingISOLatin1:
      if (cp <= 0xFF) out += static_cast<char>(static_cast<unsigned char>(cp));
      break;
    case kCFStringEncodingUTF8:
      if (surrogate) break;
      if (cp <= 0x7F) {
        out += static_cast<char>(cp);
      } else if (cp <= 0x7FF) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
      } else if (cp <= 0xFFFF) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
      } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
      }
      break;
    default:
      break;
  }
  return out;
}

// The text of `length` bytes in `encoding`, or nullopt when they are not text in it.
std::optional<std::u16string> Decode(const UInt8* bytes, CFIndex length,
                                     CFStringEncoding encoding) {
  std::u16string text;
  switch (encoding) {
    case kCFStringEncodingASCII:
      for (CFIndex i = 0; i < length; ++i) {
        if (bytes[i] > 0x7F) return std::nullopt;
        text += static_cast<char16_t>(bytes[i]);
      }
      return text;
    case kCFStringEncodingISOLatin1:
      for (CFIndex i = 0; i < length; ++i)
        text += static_cast<char16_t>(bytes[i]);
      return text;
    case kCFStringEncodingUTF8: {
      if (length > INT32_MAX) return std::nullopt;
      // ICU refuses ill-formed UTF-8: overlong forms, encoded surrogates, cut sequences.
      const auto* source = reinterpret_cast<const char*>(bytes);
      const auto sourceLength = static_cast<int32_t>(length);
      UErrorCode status = U_ZERO_ERROR;
      int32_t needed = 0;
      u_strFromUTF8(nullptr, 0, &needed, source, sourceLength, &status);
      if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::nullopt;
      text.resize(static_cast<std::size_t>(needed));
      status = U_ZERO_ERROR;
      u_strFromUTF8(text.data(), needed, nullptr, source, sourceLength, &status);
      if (U_FAILURE(status)) return std::nullopt;
      return text;
    }
    default:
      return std::nullopt;
  }
}

// A maximum number of bytes that stands for none.
constexpr CFIndex kNoLimit = -1;

// How the units of text[from, to) convert into bytes, as CFStringGetBytes defines it.
struct Conversion {
  CFIndex units = 0;
  std::string bytes;
};

// A character without a form in the encoding becomes `loss`, or ends the conversion when
// `loss` is empty.
Conversion Encode(const std::u16string& text, std::size_t from, std::size_t to,
                  CFStringEncoding encoding, std::string_view loss, CFIndex maxBytes) {
  Conversion result;
  std::size_t i = from;
  while (i < to) {
    char32_t cp = text[i];
    std::size_t units = 1;
    if (IsHighSurrogate(text[i]) && i + 1 < to && IsLowSurrogate(text[i + 1])) {
      cp = 0x10000 + ((static_cast<char32_t>(text[i]) - 0xD800) << 10) +
           (static_cast<char32_t>(text[i + 1]) - 0xDC00);
      units = 2;
    }
    std::string piece = EncodeCodePoint(cp, encoding);
    if (piece.empty()) {
      if (loss.empty()) break;
      piece = loss;
    }
    if (maxBytes != kNoLimit &&
        static_cast<CFIndex>(result.bytes.size() + piece.size()) > maxBytes) {
      break;
    }
    result.bytes += piece;
    result.units += static_cast<CFIndex>(units);
    i += units;
  }
  return result;
}

OpaqueCFString* NewString(std::u16string text, bool isMutable = false, CFIndex maxLength = 0) {
  return Publish(new OpaqueCFString(std::move(text), isMutable, maxLength));
}

OpaqueCFString* MutableString(CFMutableStringRef ref, std::string_view function) {
  OpaqueCFString* string = Cast<OpaqueCFString>(ref, function);
  if (string != nullptr && !string->isMutable) {
    Refuse(function, "the string is immutable");
    return nullptr;
  }
  return string;
}

// Appends `text` unless the string's maximum length forbids it.
void AppendText(OpaqueCFString& string, const std::u16string& text, std::string_view function) {
  const auto limit = static_cast<std::size_t>(string.maxLength);
  // A case mapping may have taken the text past the limit already.
  if (string.maxLength > 0 &&
      (string.text.size() > limit || text.size() > limit - string.text.size())) {
    Refuse(function, "the string would pass its maximum length");
    return;
  }
  string.text += text;
}

void MapCase(CFMutableStringRef ref, CFLocaleRef locale, bool upper, std::string_view function) {
  OpaqueCFString* string = MutableString(ref, function);
  std::string localeName;
  if (string == nullptr || !LocaleName(locale, function, &localeName)) return;
  if (string->text.size() > INT32_MAX) {
    Refuse(function, "the string is too long to map");
    return;
  }
  const auto length = static_cast<int32_t>(string->text.size());
  const auto map = upper ? u_strToUpper : u_strToLower;
  UErrorCode status = U_ZERO_ERROR;
  const int32_t needed = map(nullptr, 0, string->text.data(), length, localeName.c_str(), &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return;
  std::u16string mapped(static_cast<std::size_t>(needed), u'\0');
  status = U_ZERO_ERROR;
  map(mapped.data(), needed, string->text.data(), length, localeName.c_str(), &status);
  if (U_FAILURE(status)) return;
  // The maximum length doesn't hold back a case mapping: it changes the characters that are
  // there rather than adding to them, even where a full mapping lengthens the text.
  string->text = std::move(mapped);
}

bool StringEqual(const Object& a, const Object& b) {
  return static_cast<const OpaqueCFString&>(a).text == static_cast<const OpaqueCFString&>(b).text;
}

CFHashCode StringHash(const Object& object) {
  const std::u16string& text = static_cast<const OpaqueCFString&>(object).text;
  return HashBytes(text.data(), text.size() * sizeof(char16_t));
}

std::string StringContents(const Object& object) {
  return Join({"contents = \"", UTF8Of(static_cast<const OpaqueCFString&>(object)), "\""});
}

}  // namespace

extern const ClassRecord kStringClass = {"CFString", Finalize<OpaqueCFString>, StringEqual,
                                         StringHash, StringContents};

CFStringRef MakeString(std::string_view utf8) {
  auto text = Decode(reinterpret_cast<const UInt8*>(utf8.data()), static_cast<CFIndex>(utf8.size()),
                     kCFStringEncodingUTF8);
  return NewString(text ? std::move(*text) : std::u16string());
}

CFStringRef MakeConstantString(std::string_view utf8) {
  auto text = Decode(reinterpret_cast<const UInt8*>(utf8.data()), static_cast<CFIndex>(utf8.size()),
                     kCFStringEncodingUTF8);
  return PublishConstant(new OpaqueCFString(text ? std::move(*text) : std::u16string(), false, 0));
}

std::string UTF8Of(const OpaqueCFString& string) {
  // U+FFFD stands in for an unpaired surrogate, which has no form in UTF-8.
  return Encode(string.text, 0, string.text.size(), kCFStringEncodingUTF8, "\xEF\xBF\xBD", kNoLimit)
      .bytes;
}

std::string UTF8Of(CFStringRef string) {
  const Object* object = Find(string);
  if (object == nullptr || object->TypeID() != kStringTypeID) return {};
  return UTF8Of(*static_cast<const OpaqueCFString*>(object));
}

std::string DescribeValue(CFStringRef (*describe)(const void* value), const void* value) {
  if (describe != nullptr) {
    if (CFStringRef text = describe(value)) {
      std::string utf8 = UTF8Of(text);
      CFRelease(text);
      return utf8;
    }
  }
  return Join({"<", std::to_string(reinterpret_cast<std::uintptr_t>(value)), ">"});
}

}  // namespace cf

using cf::Cast;
using cf::CountCall;
using cf::Refuse;

extern "C" {

CFTypeID CFStringGetTypeID(void) {
  CountCall();
  return cf::kStringTypeID;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cStr, CFStringEncoding encoding) {
  CountCall();
  if (cStr == nullptr) {
    Refuse("CFStringCreateWithCString", "NULL argument");
    return nullptr;
  }
  auto text = cf::Decode(reinterpret_cast<const UInt8*>(cStr),
                         static_cast<CFIndex>(std::strlen(cStr)), encoding);
  return text ? cf::NewString(std::move(*text)) : nullptr;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
  CountCall();
  if (numBytes < 0 || (bytes == nullptr && numBytes > 0)) {
    Refuse("CFStringCreateWithBytes", "no bytes of that length");
    return nullptr;
  }
  if (isExternalRepresentation && encoding == kCFStringEncodingUTF8 && numBytes >= 3 &&
      bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
    bytes += 3;
    numBytes -= 3;
  }
  auto text = cf::Decode(bytes, numBytes, encoding);
  return text ? cf::NewString(std::move(*text)) : nullptr;
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex maxLength) {
  CountCall();
  if (maxLength < 0) {
    Refuse("CFStringCreateMutable", "negative maximum length");
    return nullptr;
  }
  return cf::NewString(std::u16string(), true, maxLength);
}

CFIndex CFStringGetLength(CFStringRef theString) {
  CountCall();
  const auto* string = Cast<OpaqueCFString>(theString, "CFStringGetLength");
  return string != nullptr ? static_cast<CFIndex>(string->text.size()) : 0;
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
  CountCall();
  const auto* string = Cast<OpaqueCFString>(theString, "CFStringGetCString");
  if (string == nullptr) return false;
  if (buffer == nullptr || bufferSize <= 0) {
    Refuse("CFStringGetCString", "no buffer");
    return false;
  }
  const cf::Conversion converted =
      cf::Encode(string->text, 0, string->text.size(), encoding, {}, cf::kNoLimit);
  if (converted.units != static_cast<CFIndex>(string->text.size()) ||
      static_cast<CFIndex>(converted.bytes.size()) >= bufferSize) {
    return false;
  }
  std::memcpy(buffer, converted.bytes.data(), converted.bytes.size());
  buffer[converted.bytes.size()] = '\0';
  return true;
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean, UInt8* buffer, CFIndex maxBufLen,
                         CFIndex* usedBufLen) {
  CountCall();
  if (usedBufLen != nullptr) *usedBufLen = 0;
  const auto* string = Cast<OpaqueCFString>(theString, "CFStringGetBytes");
  if (string == nullptr) return 0;
  const auto size = static_cast<CFIndex>(string->text.size());
  if (range.location < 0 || range.length < 0 || range.location > size ||
      range.length > size - range.location) {
    Refuse("CFStringGetBytes", "range outside the string");
    return 0;
  }
  if (buffer != nullptr && maxBufLen < 0) {
    Refuse("CFStringGetBytes", "negative buffer length");
    return 0;
  }
  // Without a buffer only the count is wanted, and no buffer limits it.
  const CFIndex limit = buffer != nullptr ? maxBufLen : cf::kNoLimit;
  const std::string loss = lossByte != 0 ? std::string(1, static_cast<char>(lossByte)) : "";
  const cf::Conversion converted =
      cf::Encode(string->text, static_cast<std::size_t>(range.location),
                 static_cast<std::size_t>(range.location + range.length), encoding, loss, limit);
  if (buffer != nullptr) std::memcpy(buffer, converted.bytes.data(), converted.bytes.size());
  if (usedBufLen != nullptr) *usedBufLen = static_cast<CFIndex>(converted.bytes.size());
  return converted.units;
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
  CountCall();
  OpaqueCFString* string = cf::MutableString(theString, "CFStringAppend");
  const auto* appended = Cast<OpaqueCFString>(appendedString, "CFStringAppend");
  if (string == nullptr || appended == nullptr) return;
  const std::u16string text = appended->text;  // it may be the string itself
  cf::AppendText(*string, text, "CFStringAppend");
}

void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale) {
  CountCall();
  cf::MapCase(theString, locale, false, "CFStringLowercase");
}

void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale) {
  CountCall();
  cf::MapCase(theString, locale, true, "CFStringUppercase");
}

void CFShow(CFTypeRef obj) {
  CountCall();
  if (obj == nullptr) {
    std::fputs("(null)\n", stderr);
    return;
  }
  const cf::Object* object = cf::Live(obj, "CFShow");
  if (object == nullptr) return;
  const std::string text = object->TypeID() == cf::kStringTypeID
                               ? cf::UTF8Of(*static_cast<const OpaqueCFString*>(object))
                               : cf::Describe(*object);
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fputc('\n', stderr);
}

}  // extern "C"
