#include "app/Stubs.h"

namespace Stubs {

void DebugLog(const toolkit::String& message) {
  (void)message;
}

}  // namespace Stubs
