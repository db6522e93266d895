// Bytes as URL text: the first line a base, the rest relative to it. Every part is asked
// for, the file-system path is read into buffers too small and large enough, and every
// object made is freed again.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/cf/CoreFoundation.h"
#include "platform/cf/StandIn.h"

namespace {

void Release(CFTypeRef object) {
  if (object != nullptr) CFRelease(object);
}

// Every part of `url`, freed at once.
void AskEverything(CFURLRef url) {
  for (const CFTypeRef part :
       {CFTypeRef(CFURLCopyScheme(url)), CFTypeRef(CFURLCopyNetLocation(url)),
        CFTypeRef(CFURLCopyUserName(url)), CFTypeRef(CFURLCopyPassword(url)),
        CFTypeRef(CFURLCopyHostName(url)), CFTypeRef(CFURLCopyQueryString(url, nullptr)),
        CFTypeRef(CFURLCopyAbsoluteURL(url))})
    Release(part);
  (void)CFURLGetPortNumber(url), (void)CFURLCanBeDecomposed(url);
  CFStringRef component = CFStringCreateWithCString(nullptr, "x y", kCFStringEncodingUTF8);
  Release(CFURLCreateCopyAppendingPathComponent(nullptr, url, component, false));
  Release(component);

  // A buffer of one byte is too small for any path but the empty one; the large one is an
  // exactly sized heap block, so a write past its end is seen.
  std::uint8_t tiny[1];
  (void)CFURLGetFileSystemRepresentation(url, true, tiny, sizeof tiny);
  std::vector<std::uint8_t> large(4096);
  if (CFURLGetFileSystemRepresentation(url, true, large.data(),
                                       static_cast<CFIndex>(large.size()))) {
    if (std::find(large.begin(), large.end(), 0) == large.end()) std::abort();
  }
}

CFStringRef Text(const std::uint8_t* data, std::size_t size) {
  return CFStringCreateWithBytes(nullptr, data, static_cast<CFIndex>(size), kCFStringEncodingUTF8,
                                 false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::int64_t before = cf::LiveObjects();
  {
    const std::uint8_t* end = data + size;
    const std::uint8_t* newline = std::find(data, end, '\n');
    CFStringRef baseText = Text(data, static_cast<std::size_t>(newline - data));
    CFURLRef base = baseText ? CFURLCreateWithString(nullptr, baseText, nullptr) : nullptr;
    if (base != nullptr) AskEverything(base);
    if (newline != end) {
      CFStringRef relativeText = Text(newline + 1, static_cast<std::size_t>(end - newline - 1));
      CFURLRef url = relativeText ? CFURLCreateWithString(nullptr, relativeText, base) : nullptr;
      if (url != nullptr) AskEverything(url);
      Release(url);
      Release(relativeText);
    }
    Release(base);
    Release(baseText);
  }
  if (cf::LiveObjects() != before) {
    std::fprintf(stderr, "url: %lld objects left alive\n",
                 static_cast<long long>(cf::LiveObjects() - before));
    std::abort();
  }
  return 0;
}
