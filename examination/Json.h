#pragma once

// A report as JSON text, with keys in a fixed order. "receipt" holds the receipt's fields under
// the names and in the shapes of Apple's documentation (strings throughout, "in_app" an array);
// "verdict", "container", "signature", "certificates", "device", "payload" and "attributes" hold
// the examination's findings (the README's section "The examination" lists them). Text that is
// not well-formed UTF-8 is written as an object {"base64": "..."} in its place, so the text is
// always valid JSON and nothing is lost; raw bytes are written as upper-case hex.

#include <string>

#include "examination/Examination.h"

namespace Examination {

// `indent` spaces for each level; a negative `indent` writes one line.
std::string ToJson(const Report& report, int indent = 2);

}  // namespace Examination
