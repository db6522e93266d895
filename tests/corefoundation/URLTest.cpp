#include <string>

#include "corefoundation/CFURL.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

// A URL relative to another: its text resolved, its base as a wrapper of its own, its parts as
// text; every count taken for them goes back.
TEST(CFURLTest, ARelativeURLGivesItsBaseAndItsParts) {
  const auto url = CFURL::New(CFURL::New("http://host/a/"), "b?q=1");
  EXPECT_EQ(url->StringValue(), "http://host/a/b?q=1");
  EXPECT_EQ(url->BaseURL()->StringValue(), "http://host/a/");
  EXPECT_EQ(url->HostName() + " " + url->QueryString(""), "host q=1");
}

TEST(CFURLTest, TheFileSystemPathOfAFileURL) {
  const std::string longPath = "/" + std::string(40000, 'n');  // past all buffers but the last
  const std::string firstFull = "/" + std::string(1023, 'f');  // the first buffer, less its zero
  const struct {
    Ref<CFURL> url;
    std::string path;
    const char* why;
  } kRows[] = {
      {CFURL::New("file:///"), "/", "the root keeps its slash"},
      {CFURL::New("file:///a%20b%C3%A9/"), "/a b\xC3\xA9", "escapes as bytes, no slash at the end"},
      {CFURL::CreateFromPOSIXPath(longPath, false), longPath, "longer than 32 KiB"},
      {CFURL::CreateFromPOSIXPath(firstFull, false), firstFull, "the first buffer's size"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(row.url->Path(true).Bytes(), row.path) << row.why;
}

}  // namespace
}  // namespace corefoundation_test
