#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "corefoundation/CFURL.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/FolderItem.h"
#include "platform/toolkit/cf/System.h"
#include "tests/corefoundation/Support.h"

namespace corefoundation_test {
namespace {

using namespace CoreFoundation;

TEST(CFURLTest, StringGettersGiveTheComponentsOrTheEmptyString) {
  const Ref<CFURL> url = CFURL::New("https://u:pw@example.com:8443/a/b?x=%41#top");
  ASSERT_FALSE(Empty(url));
  EXPECT_EQ(url->Scheme(), "https");
  EXPECT_EQ(url->UserName(), "u");
  EXPECT_EQ(url->Password(), "pw");
  EXPECT_EQ(url->HostName(), "example.com");
  EXPECT_EQ(url->NetLocation(), "u:pw@example.com:8443");
  EXPECT_EQ(url->Port(), 8443);
  EXPECT_EQ(url->QueryString("ignored"), "x=%41");
  EXPECT_TRUE(url->IsDecomposable());
  EXPECT_EQ(url->VariantValue(), Variant("https://u:pw@example.com:8443/a/b?x=%41#top"));

  const Ref<CFURL> bare = CFURL::New("http://h");
  EXPECT_EQ(bare->Password(), "");
  EXPECT_EQ(bare->QueryString(""), "");
  EXPECT_EQ(bare->Port(), -1);

  const Ref<CFURL> none = CFURL::New("not a url");
  EXPECT_TRUE(Empty(none));
  EXPECT_EQ(none->Scheme(), "");
  EXPECT_EQ(none->Port(), -1);
  EXPECT_FALSE(none->IsDecomposable());
  EXPECT_EQ(none->StringValue(), "");
  EXPECT_EQ(none->Path(true), "");
  EXPECT_TRUE(Empty(none->AbsoluteURL()));
  EXPECT_TRUE(none->BaseURL().IsNil());
}

TEST(CFURLTest, ARelativeURLKeepsItsTextAndItsBase) {
  const Ref<CFURL> base = CFURL::New("file:///data/dir/");
  const Ref<CFURL> url = CFURL::New(base, "sub/f%20g?q");
  EXPECT_EQ(url->RelativeURL(), "sub/f%20g?q");
  EXPECT_EQ(url->StringValue(), "file:///data/dir/sub/f%20g?q");
  EXPECT_TRUE(url->BaseURL()->Equals(base));
  EXPECT_EQ(url->Path(true), "/data/dir/sub/f g");
  EXPECT_EQ(url->Path(false), "sub/f g");
  EXPECT_EQ(url->Scheme(), "file");  // through the base
  const Ref<CFURL> appended = base->AppendComponent("x y", true);
  EXPECT_EQ(appended->StringValue(), "file:///data/dir/x%20y/");
  EXPECT_TRUE(IsExactly<CFURL>(CFType::NewObject(url->Reference(), false, 0)));
}

TEST(CFURLTest, PathTriesBuffersUpTo64KB) {
  const struct {
    std::size_t length;
    bool fits;
  } kRows[] = {
      {1023, true},    // with its terminator exactly the first buffer
      {1024, true},    // needs the second
      {65535, true},   // the last buffer tried
      {65536, false},  // would need the 128 KB buffer, which is never passed
  };
  for (const auto& row : kRows) {
    const std::string path = std::string(1, '/').append(row.length - 1, 'p');
    const Ref<CFURL> url = CFURL::New("file://" + path);
    ASSERT_FALSE(Empty(url)) << row.length;
    const CallCounter counter;
    const String got = url->Path(true);
    EXPECT_EQ(got.Bytes(), row.fits ? path : "") << row.length;
    if (!row.fits) {
      EXPECT_EQ(counter.Calls(), 7) << "seven tries, no more";
    }
  }
}

TEST(CFURLTest, FilePathsGoThroughTheFunctionFoundByName) {
  EXPECT_TRUE(
      toolkit::System::IsFunctionAvailable("CFURLCreateWithFileSystemPath", "Carbon.framework"));
  EXPECT_FALSE(
      toolkit::System::IsFunctionAvailable("CFURLCreateWithFileSystemPath", "Nothing.framework"));
  EXPECT_FALSE(toolkit::System::IsFunctionAvailable("NoSuchFunction", "Carbon.framework"));
  EXPECT_THROW(toolkit::System::RequireFunction("NoSuchFunction", "Carbon.framework"),
               toolkit::FunctionNotFoundException);

  const Ref<CFURL> folder = CFURL::CreateFromPOSIXPath("/tmp/a b", true);
  EXPECT_EQ(folder->StringValue(), "file:///tmp/a%20b/");
  EXPECT_EQ(folder->Path(true), "/tmp/a b");
  const Ref<CFURL> hfs = CFURL::CreateFromHFSPath("Disk:tmp", false);
  ASSERT_FALSE(hfs.IsNil());
  EXPECT_TRUE(Empty(hfs));  // the stand-in knows POSIX paths only

  const auto item = toolkit::GetTrueFolderItem("/tmp/x%y", 3);
  ASSERT_FALSE(item.IsNil());
  EXPECT_EQ(item->URLPath(), "file:///tmp/x%25y");
  EXPECT_EQ(CFURL::New(item)->Path(true), "/tmp/x%y");
  EXPECT_TRUE(Empty(CFURL::New(Ref<toolkit::FolderItem>())));
  EXPECT_TRUE(toolkit::GetTrueFolderItem("/tmp", 2).IsNil());
}

TEST(CFURLTest, ItemGivesTheFileOrLogsItsAbsence) {
  const std::string present = "/tmp/qm-item-" + std::to_string(getpid());
  const std::string missing = present + "-missing";
  std::fclose(std::fopen(present.c_str(), "w"));
  const struct {
    Ref<CFURL> url;
    bool logMissing;
    bool keepMissing;
    const char* item;  // the item's path, or nullptr for nil
    const char* logged;
  } kRows[] = {
      {CFURL::CreateFromPOSIXPath(present, false), true, false, present.c_str(), nullptr},
      {CFURL::CreateFromPOSIXPath(missing, false), false, false, nullptr, nullptr},
      {CFURL::CreateFromPOSIXPath(missing, false), false, true, missing.c_str(), nullptr},
      {CFURL::CreateFromPOSIXPath(missing, false), true, false, nullptr, missing.c_str()},
      {CFURL::New("http://example.com/x"), true, true, nullptr, ""},  // no path, no item
      {CFURL::New("no url"), true, true, nullptr, nullptr},           // no reference
  };
  for (const auto& row : kRows) {
    const std::size_t before = DebugLogLines().size();
    const Ref<toolkit::FolderItem> item = row.url->Item(row.logMissing, row.keepMissing);
    const std::string what = row.url->StringValue().Bytes();
    EXPECT_EQ(item.IsNil() ? "(nil)" : item->NativePath().Bytes(),
              row.item != nullptr ? row.item : "(nil)")
        << what;
    if (row.logged != nullptr) {
      ASSERT_EQ(DebugLogLines().size(), before + 1) << what;
      EXPECT_EQ(DebugLogLines().back(), std::string("No FolderItem for ") + row.logged);
    } else {
      EXPECT_EQ(DebugLogLines().size(), before) << what;
    }
  }
  std::remove(present.c_str());
}

TEST(CFURLTest, CreateFromFSRefReadsOnlyAWholeFSRef) {
  EXPECT_THROW(CFURL::CreateFromFSRef(nullptr), toolkit::NilObjectException);
  const auto block = Ref<toolkit::MemoryBlock>::New(sizeof(FSRef));
  const Ref<CFURL> tmp = CFURL::CreateFromPOSIXPath("/tmp", true);
  ASSERT_TRUE(CFURLGetFSRef(static_cast<CFURLRef>(tmp->Reference()),
                            reinterpret_cast<FSRef*>(block->Data())));
  EXPECT_EQ(CFURL::CreateFromFSRef(block)->Path(true), "/tmp");
  const auto shorter = Ref<toolkit::MemoryBlock>::New(block->Data(), sizeof(FSRef) - 1);
  const CallCounter counter;
  const Ref<CFURL> none = CFURL::CreateFromFSRef(shorter);
  ASSERT_FALSE(none.IsNil());
  EXPECT_TRUE(Empty(none));
  EXPECT_EQ(counter.Calls(), 0);
  EXPECT_TRUE(Empty(none->AppendComponent("x", false)));
  EXPECT_TRUE(Empty(tmp->AppendComponent("\xFF", false)));
}

}  // namespace
}  // namespace corefoundation_test
