#pragma once

// Text helpers of the examination: bytes as hex and base64 and back, the test for well-formed
// UTF-8, receipt text quoted for a reason, and RFC 3339 dates.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "examination/Examination.h"

namespace Examination::text {

// "0A1B..." with `separator` between bytes when it isn't 0.
std::string Hex(std::span<const std::uint8_t> bytes, char separator = 0);
// Hex digits, in either case and without separators, to bytes; nullopt for anything else.
std::optional<Bytes> FromHex(std::string_view digits);

std::string Base64(std::span<const std::uint8_t> bytes);
// Standard base64 with its padding; nullopt for anything else.
std::optional<Bytes> FromBase64(std::string_view text);

// Well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(std::string_view bytes);

// Bytes of a receipt in double quotes for a reason: printable ASCII as it is, every other byte
// as \xHH, so that a reason is always plain text.
std::string Quote(std::string_view bytes);

// An RFC 3339 date and time: "2023-06-01T12:00:00Z", "2023-06-01T14:00:00+02:00" or
// "+0200", with or without fractions of a second. The date's `written` is a view of `written`.
Date ParseDate(std::string_view written);

// Seconds since 1970 in UTC as "2023-06-01T12:00:00Z".
std::string FormatUtc(std::int64_t unixSeconds);
// The same with `fraction` milliseconds more, written as ".123" before the Z when `withFraction`.
std::string FormatUtcParts(std::int64_t seconds, unsigned fraction, bool withFraction);

}  // namespace Examination::text
