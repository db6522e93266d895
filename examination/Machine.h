#pragma once

// The identifiers of this machine to try against a receipt's device hash: the hardware
// addresses that the module IOKit lists, the primary interface's first, then each built-in
// interface's, labelled with the interface's name. Kept apart from Examine, which is given
// its identifiers, so that the examination itself never asks the machine.

#include <vector>

#include "examination/Examination.h"

namespace Examination {

// Each address once, in that order; empty where the registry can't be asked or lists none.
std::vector<DeviceIdentifier> MachineIdentifiers();

}  // namespace Examination
