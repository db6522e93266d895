#include "corefoundation/Carbon.h"

namespace Carbon {

toolkit::Ref<CoreFoundation::CFBundle> Bundle() {
  return CoreFoundation::CFBundle::NewCFBundleFromID("com.apple.Carbon");
}

}  // namespace Carbon
