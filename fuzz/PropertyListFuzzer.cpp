// Bytes as an Info.plist: XML or binary, the result is a property list or NULL with an error,
// every object made is freed again, and describing the result walks all of it.

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/cf/CoreFoundation.h"
#include "platform/cf/StandIn.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t before = cf::LiveObjects();
  {
    CFDataRef bytes = CFDataCreate(nullptr, data, static_cast<CFIndex>(size));
    CFPropertyListFormat format{};
    CFErrorRef error = nullptr;
    CFPropertyListRef list = CFPropertyListCreateWithData(nullptr, bytes, 0, &format, &error);
    // Exactly one of the two comes back.
    if ((list == nullptr) == (error == nullptr)) std::abort();
    if (list != nullptr) {
      if (CFStringRef text = CFCopyDescription(list)) CFRelease(text);
      CFRelease(list);
    } else {
      CFRelease(error);
    }
    CFRelease(bytes);
  }
  if (cf::LiveObjects() != before) {
    std::fprintf(stderr, "property list: %lld objects left alive\n",
                 static_cast<long long>(cf::LiveObjects() - before));
    std::abort();
  }
  return 0;
}
