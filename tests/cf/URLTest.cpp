#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/cf/LiveObjectCheck.h"
#include "tests/cf/Support.h"

namespace cf_test {
namespace {

// The path goes into the buffer with its terminator or not at all, and no byte goes past the
// size given. The wrappers' buffers are larger than they say, so only here would it show.
TEST(URLTest, TheBufferMustHoldThePathAndItsTerminator) {
  for (const CFIndex length : {1, 1023, 70000}) {
    const std::string path = std::string(1, '/').append(static_cast<std::size_t>(length) - 1, 'x');
    const Owned<CFURLRef> url(CFURLCreateWithFileSystemPath(
        nullptr, Owned<CFStringRef>(NewString(path)), kCFURLPOSIXPathStyle, false));
    for (const CFIndex size : {length, length + 1}) {
      std::vector<UInt8> buffer(static_cast<std::size_t>(size) + 1, 0xAA);
      const bool written = CFURLGetFileSystemRepresentation(url, true, buffer.data(), size);
      EXPECT_EQ(written, size > length) << length << " bytes into " << size;
      EXPECT_EQ(buffer.back(), 0xAA) << length << " bytes into " << size << ": written past it";
      if (written) {
        EXPECT_EQ(reinterpret_cast<const char*>(buffer.data()), path);
      }
    }
  }
}

}  // namespace
}  // namespace cf_test
