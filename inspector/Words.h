#pragma once

// The examination in plain words: one line for each question, and why an item that the window
// turned away is no receipt.

#include <QString>
#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

#include "examination/Examination.h"

namespace inspector {

enum class Mark { Good, Warning, Bad, Info };

struct Line {
  Mark mark = Mark::Info;
  QString text;
};

// "Signed by Apple", "Signature does not hold: …".
Line SignatureLine(const Examination::Report& report);
// "Issued for this machine (eth0, 02:fc:…)". `machine` is how many of the identifiers tried
// are this machine's; the rest were given by the person.
Line DeviceLine(const Examination::Report& report, std::size_t machine);
// "3 purchases".
Line PurchasesLine(const Examination::Report& report);

// Why the file at `path` is no receipt, in the system's words where the system refused it:
// not there, not to be read, a link loop, not a regular file, not PKCS#7 signed data, or a
// content that is no attribute set. Examines the file (through `examine`) only when the system
// lets it be read.
QString WhyNoReceipt(
    const std::filesystem::path& path,
    const std::function<Examination::Report(const std::filesystem::path&)>& examine);

QString FromUtf8(std::string_view text);

}  // namespace inspector
