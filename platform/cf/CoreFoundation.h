#pragma once

// This project's stand-in for CoreFoundation's C API: everything at once.

#include "platform/cf/CFArray.h"
#include "platform/cf/CFBase.h"
#include "platform/cf/CFBundle.h"
#include "platform/cf/CFData.h"
#include "platform/cf/CFDate.h"
#include "platform/cf/CFDictionary.h"
#include "platform/cf/CFError.h"
#include "platform/cf/CFLocale.h"
#include "platform/cf/CFNumber.h"
#include "platform/cf/CFPropertyList.h"
#include "platform/cf/CFString.h"
#include "platform/cf/CFURL.h"
