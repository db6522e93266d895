#pragma once

#include "corefoundation/CFBundle.h"

// The module Carbon: the framework bundle through which the wrappers fetch CoreFoundation's
// exported constants by name.
namespace Carbon {

// A new wrapper of the bundle "com.apple.Carbon" at each call; it caches nothing, so callers
// that need a symbol again keep what they fetched. Two wrappers are Equals, not identical.
toolkit::Ref<CoreFoundation::CFBundle> Bundle();

}  // namespace Carbon
