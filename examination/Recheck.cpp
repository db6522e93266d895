#include "examination/Recheck.h"

#include "examination/Internal.h"

namespace Examination {

void RecheckDevice(Report& report, std::span<const DeviceIdentifier> identifiers) {
  report.device = detail::CheckDevice(report.receipt, identifiers);
}

}  // namespace Examination
