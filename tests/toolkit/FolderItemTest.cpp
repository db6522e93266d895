// Files and folders on disk: kinds, links, items in order, and streams of regular files only.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>

#include "platform/toolkit/FolderItem.h"
#include "tests/support/Scratch.h"

namespace toolkit {
namespace {

namespace fs = std::filesystem;

// A folder of its own per test, holding every kind of item and link.
class FolderItemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(root_ / "folder");
    scratch_.Write("file.txt", "hello");
    scratch_.Write("Zeta", "");
    fs::create_symlink("file.txt", root_ / "link-file");
    fs::create_symlink(root_ / "file.txt", root_ / "link-abs");
    fs::create_symlink("link-file", root_ / "link-chain");
    fs::create_directory_symlink("folder", root_ / "link-folder");
    fs::create_symlink("../file.txt", root_ / "folder" / "up");  // relative to its own folder
    fs::create_symlink("missing", root_ / "dangling");
    fs::create_symlink("loop-b", root_ / "loop-a");
    fs::create_symlink("loop-a", root_ / "loop-b");
  }
  Ref<FolderItem> At(const std::string& name = {}) const {
    return Ref<FolderItem>::New(name.empty() ? root_ : root_ / name);
  }

  const test_support::ScratchFolder scratch_;
  const fs::path root_ = scratch_.path();
};

TEST_F(FolderItemTest, KindsOfItems) {
  const struct {
    const char* name;
    bool exists, directory, alias;
  } cases[] = {{"file.txt", true, false, false}, {"folder", true, true, false},
               {"link-file", true, false, true}, {"link-folder", true, false, true},
               {"dangling", true, false, true},  {"loop-a", true, false, true},
               {"missing", false, false, false}};
  for (const auto& c : cases) {
    const auto item = At(c.name);
    EXPECT_EQ(std::make_tuple(item->Exists(), item->Directory(), item->Alias()),
              std::make_tuple(c.exists, c.directory, c.alias))
        << c.name;
    EXPECT_EQ(item->Name().Bytes(), c.name);
  }
  EXPECT_EQ(At("file.txt")->Length(), 5);
  EXPECT_TRUE(FolderItem("/").Parent().IsNil());
  // A folder written with separators at its end is still named by its last component.
  for (const char* written : {"folder/", "folder//"}) {
    const FolderItem item(root_ / written);
    EXPECT_EQ(item.Name().Bytes(), "folder") << written;
    EXPECT_EQ(item.Parent()->Path(), root_) << written;
  }
  EXPECT_EQ(FolderItem("//").Name().Bytes(), "/");  // the root keeps its one separator
}

TEST_F(FolderItemTest, ChildFollowsLinksOnlyWhenAsked) {
  // A name, whether to follow links, where the child is in the test folder.
  const std::tuple<const char*, bool, const char*> cases[] = {
      {"link-file", true, "file.txt"},  {"link-abs", true, "file.txt"},
      {"link-chain", true, "file.txt"}, {"link-folder", true, "folder"},
      {"missing", true, "missing"},     {"link-chain", false, "link-chain"}};
  for (const auto& [name, follow, want] : cases) {
    const auto child = At()->Child(name, follow);
    ASSERT_FALSE(child.IsNil()) << name;
    EXPECT_EQ(child->Path(), root_ / want) << name;
    EXPECT_EQ(child->Name().Bytes(), want) << name;
  }
  EXPECT_EQ(At("folder")->Child("up")->Path(), root_ / "file.txt");
  for (const char* name : {"", ".", "..", "folder/up"})
    EXPECT_TRUE(At()->Child(name).IsNil()) << '"' << name << '"';
}

TEST_F(FolderItemTest, ItemsInByteOrderFromOne) {
  const char* names[] = {"Zeta",       "dangling",  "file.txt",    "folder", "link-abs",
                         "link-chain", "link-file", "link-folder", "loop-a", "loop-b"};
  const auto root = At();
  ASSERT_EQ(root->Count(), 10);
  for (std::int64_t i = 1; i <= 10; ++i)
    EXPECT_EQ(root->TrueItem(i)->Name().Bytes(), names[i - 1]) << i;
  for (const std::int64_t i : {0, 11, -1})
    EXPECT_TRUE(root->Item(i).IsNil() && root->TrueItem(i).IsNil()) << i;
  EXPECT_EQ(root->Item(7)->Name().Bytes(), "file.txt");  // link-file, followed

  scratch_.Write("0-new", "");
  EXPECT_EQ(root->Item(1)->Name().Bytes(), "Zeta");   // the order of the last Count
  EXPECT_EQ(At()->Item(1)->Name().Bytes(), "0-new");  // no Count yet: a fresh read
}

TEST_F(FolderItemTest, GetFolderItemResolvesAgainstTheProgramsFolderAndNeedsAParent) {
  EXPECT_EQ(GetFolderItem((root_ / "file.txt").string())->Path(), root_ / "file.txt");
  EXPECT_EQ(GetFolderItem("not-there-yet")->Path(), ExecutableFolder() / "not-there-yet");
  for (const std::string& path : {std::string(), (root_ / "nope" / "x").string()})
    EXPECT_TRUE(GetFolderItem(path).IsNil()) << path;
}

TEST_F(FolderItemTest, OpenRaisesForWhatCannotBeRead) {
  // Nothing but a regular file is opened: a FIFO without a writer would block the open, a
  // device such as /dev/zero would never end.
  ASSERT_EQ(mkfifo((root_ / "fifo").c_str(), 0600), 0);
  fs::create_symlink("/dev/zero", root_ / "link-zero");
  fs::create_symlink("/dev/urandom", root_ / "link-urandom");
  fs::create_symlink("fifo", root_ / "link-fifo");

  const auto before = BinaryStream::OpenStreams();
  for (const char* name :
       {"folder", "missing", "dangling", "loop-a", "link-zero", "link-urandom", "link-fifo"}) {
    for (const bool readWrite : {false, true})
      EXPECT_THROW(BinaryStream::Open(At(name), readWrite), IOException) << name << readWrite;
  }
  EXPECT_EQ(BinaryStream::OpenStreams(), before);
}

TEST_F(FolderItemTest, AStreamIsTheFileAtItsStartUntilClosedOrDestroyed) {
  const auto before = BinaryStream::OpenStreams();
  for (const bool readWrite : {false, true}) {
    const auto stream = BinaryStream::Open(At("link-file"), readWrite);
    EXPECT_EQ(BinaryStream::OpenStreams(), before + 1);
    auto* file = reinterpret_cast<std::FILE*>(stream->Handle(BinaryStream::HandleTypeFilePointer));
    EXPECT_EQ(std::fgetc(file), 'h');
    std::rewind(file);
    EXPECT_EQ(std::fputc('J', file) != EOF, readWrite) << readWrite;
    if (!readWrite) stream->Close();
    EXPECT_EQ(stream->Handle(BinaryStream::HandleTypeFilePointer) == 0, !readWrite);
  }
  EXPECT_EQ(BinaryStream::OpenStreams(), before);
  std::ifstream in(root_ / "file.txt");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "Jello");
}

}  // namespace
}  // namespace toolkit
