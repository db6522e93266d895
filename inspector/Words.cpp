#include "inspector/Words.h"

#include <QStringList>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

namespace inspector {

using Examination::Report;
using Examination::Verdict;

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

namespace {

// What remains of a summary after its first ": ", or all of it.
QString After(const std::string& summary) {
  const auto colon = summary.find(": ");
  return FromUtf8(colon == std::string::npos ? summary : summary.substr(colon + 2));
}

}  // namespace

Line SignatureLine(const Report& report) {
  const auto& s = report.signature;
  switch (s.verdict) {
    case Verdict::Genuine:
      return {Mark::Good, QStringLiteral("Signed by Apple")};
    case Verdict::StoreKitTest:
      return {Mark::Warning, QStringLiteral("Signed by Xcode's StoreKit test certificate")};
    case Verdict::SignatureBroken:
      return {Mark::Bad, QStringLiteral("Signature does not hold: ") + FromUtf8(s.content.reason)};
    case Verdict::NotTrusted:
      return {Mark::Warning, QStringLiteral("Not trusted: ") + After(s.summary)};
    case Verdict::NotAReceipt:
      break;
  }
  return {Mark::Bad, QStringLiteral("Not a receipt: ") + FromUtf8(report.container.reason)};
}

Line DeviceLine(const Report& report, std::size_t machine) {
  const auto& d = report.device;
  if (!d.missing.empty()) {
    QStringList numbers;
    for (const auto n : d.missing)
      numbers << QString::number(n);
    return {Mark::Warning, QStringLiteral("No device can be told: the receipt has no attribute %1")
                               .arg(numbers.join(QStringLiteral(", ")))};
  }
  if (d.match) {
    const auto& a = d.attempts[*d.match];
    if (*d.match < machine)
      return {Mark::Good, QStringLiteral("Issued for this machine (%1, %2)")
                              .arg(FromUtf8(a.label), FromUtf8(a.text))};
    return {Mark::Good,
            QStringLiteral("Issued for the device identifier given (%1)").arg(FromUtf8(a.text))};
  }
  const std::size_t given = d.attempts.size() - std::min(machine, d.attempts.size());
  QString text =
      machine == 0 ? QStringLiteral("This machine lists no hardware address to try")
      : machine == 1
          ? QStringLiteral("Not issued for this machine's address")
          : QStringLiteral("Not issued for any of this machine's %1 addresses").arg(machine);
  if (given > 0) text += QStringLiteral(", nor for the device identifier given");
  return {given > 0 || machine > 0 ? Mark::Bad : Mark::Info, text};
}

Line PurchasesLine(const Report& report) {
  const std::size_t n = report.receipt.purchases.size();
  if (!report.receipt.readable.holds && report.receipt.attributes.empty())
    return {Mark::Info,
            QStringLiteral("No purchases read: ") + FromUtf8(report.receipt.readable.reason)};
  if (n == 0) return {Mark::Info, QStringLiteral("No purchases")};
  return {Mark::Info, n == 1 ? QStringLiteral("1 purchase")
                             : QStringLiteral("%1 purchases").arg(static_cast<qulonglong>(n))};
}

QString WhyNoReceipt(const std::filesystem::path& path,
                     const std::function<Report(const std::filesystem::path&)>& examine) {
  const QString name = FromUtf8(path.string());
  std::error_code ec;
  const auto status = std::filesystem::status(path, ec);
  if (ec) return QStringLiteral("the system can't reach %1: %2.").arg(name, FromUtf8(ec.message()));
  switch (status.type()) {
    case std::filesystem::file_type::regular:
      break;
    case std::filesystem::file_type::directory:
      return QStringLiteral("%1 is a folder, not a regular file.").arg(name);
    case std::filesystem::file_type::fifo:
      return QStringLiteral("%1 is a FIFO (a named pipe), not a regular file.").arg(name);
    case std::filesystem::file_type::socket:
      return QStringLiteral("%1 is a socket, not a regular file.").arg(name);
    case std::filesystem::file_type::block:
    case std::filesystem::file_type::character:
      return QStringLiteral("%1 is a device, not a regular file.").arg(name);
    default:
      return QStringLiteral("%1 is not a regular file.").arg(name);
  }
  if (!std::ifstream(path, std::ios::binary)) {
    const int error = errno;
    return QStringLiteral("the system won't let %1 be read: %2.")
        .arg(name, QString::fromLocal8Bit(std::strerror(error)));
  }
  const Report report = examine(path);
  if (!report.container.holds)
    return QStringLiteral("it is not PKCS#7 signed data: %1.")
        .arg(FromUtf8(report.container.reason));
  if (!report.receipt.readable.holds)
    return QStringLiteral("its signed content is not an attribute set: %1.")
        .arg(FromUtf8(report.receipt.readable.reason));
  return QStringLiteral("it reads as a receipt now; it may have changed since it was dropped.");
}

}  // namespace inspector
