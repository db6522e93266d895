#pragma once

// URLs. So far only their type id.

#include "platform/cf/CFBase.h"

struct OpaqueCFURL;
using CFURLRef = const OpaqueCFURL*;

extern "C" {

CFTypeID CFURLGetTypeID(void);

}  // extern "C"
