#pragma once

#include "platform/toolkit/String.h"

namespace Stubs {

// Takes a diagnostic line and does nothing with it: the program keeps no log.
void DebugLog(const toolkit::String& message);

}  // namespace Stubs
