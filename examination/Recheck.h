#pragma once

// The device question asked again of a report already made, with other identifiers: nothing is
// read and no signature or chain is verified again.

#include <span>

#include "examination/Examination.h"

namespace Examination {

// Replaces `report.device` with the check of `identifiers` against the receipt's attributes
// 2, 4 and 5, as Examine would have made it with them.
void RecheckDevice(Report& report, std::span<const DeviceIdentifier> identifiers);

}  // namespace Examination
