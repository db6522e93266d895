#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "receipts/CertTools.h"
#include "tests/receipts/TestSupport.h"

namespace {

namespace fs = std::filesystem;
using CertTools::LibCrypto;
using CertTools::ReadReceipt;
using ReceiptMaker::Attribute;
using ReceiptMaker::Bytes;
using ReceiptMaker::Concat;
using ReceiptMaker::Payload;
using ReceiptMaker::Set;
using ReceiptMaker::Shape;
using ReceiptMaker::Sign;
using toolkit::BinaryStream;
using toolkit::FolderItem;
using toolkit::FunctionNotFoundException;
using toolkit::MemoryBlock;
using toolkit::NilObjectException;
using toolkit::Ref;
using toolkit::String;

// Raw values that are not DER (4, 5), a nested SET (17) and strings (2, 19).
const std::vector<Attribute> kAttributes = {
    {2, 1, ReceiptMaker::Utf8Value("com.example.quellmark")},
    {4, 1, ReceiptMaker::HexValue("DE AD BE EF")},
    {5, 1, ReceiptMaker::HexValue("00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 01 02 03 04")},
    {17, 1, ReceiptMaker::PurchaseValue({{1702, 1, ReceiptMaker::Utf8Value("coins")}})},
    {19, 1, ReceiptMaker::Ia5Value("1.0")},
};
const Bytes kPayload = Payload(kAttributes);

class ReadReceiptTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "quellmark-receipts-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  Ref<FolderItem> Write(const std::string& name, const Bytes& bytes) {
    const fs::path path = folder_ / name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return Ref<FolderItem>::New(path);
  }

  fs::path folder_;
};

enum class Outcome { Nil, Receipt, Refused };

struct FileRow {
  const char* reason;
  Bytes file;
  Outcome outcome;
};

Bytes Cut(Bytes bytes, std::size_t size) {
  bytes.resize(size);
  return bytes;
}

const Bytes kTwoMaps = Concat(kPayload, Payload({{3, 1, ReceiptMaker::Utf8Value("1.0")}}));

std::vector<FileRow> FileRows() {
  const Bytes receipt = Sign(kPayload);
  return {
      {"a receipt", receipt, Outcome::Receipt},
      {"an empty file", {}, Outcome::Nil},
      {"text, not DER", ReceiptMaker::FromHex("6E 6F 74 20 44 45 52 0A"), Outcome::Nil},
      {"a receipt cut in half", Cut(receipt, receipt.size() / 2), Outcome::Nil},
      {"a receipt cut by one byte", Cut(receipt, receipt.size() - 1), Outcome::Nil},
      {"data, not signed", Sign(kPayload, Shape::OuterData), Outcome::Nil},
      {"signed data around signed data", Sign(kPayload, Shape::InnerNotData), Outcome::Nil},
      {"detached: no content", Sign(kPayload, Shape::Detached), Outcome::Nil},
      {"empty payload", Sign({}), Outcome::Nil},
      {"one empty SET", Sign(Set({})), Outcome::Nil},
      {"only empty SETs", Sign(Concat(Set({}), Set({}))), Outcome::Nil},
      {"a SET whose only record is never taken in",
       Sign(Payload({{1, 1, ReceiptMaker::IntValue(1)}})), Outcome::Nil},
      {"two SETs with records", Sign(kTwoMaps), Outcome::Nil},
      {"payload is an INTEGER", Sign(ReceiptMaker::Integer(5)), Outcome::Refused},
      {"a SEQUENCE behind the SET", Sign(Concat(kPayload, ReceiptMaker::Sequence({}))),
       Outcome::Refused},
      {"payload is not DER", Sign(ReceiptMaker::FromHex("FF")), Outcome::Refused},
  };
}

TEST_F(ReadReceiptTest, Files) {
  for (const FileRow& row : FileRows()) {
    SCOPED_TRACE(row.reason);
    const auto file = Write("row.receipt", row.file);
    const std::int64_t streams = BinaryStream::OpenStreams();
    switch (row.outcome) {
      case Outcome::Nil:
        EXPECT_TRUE(ReadReceipt(file).IsNil());
        break;
      case Outcome::Receipt: {
        const auto map = ReadReceipt(file);
        ASSERT_FALSE(map.IsNil());
        // The container is freed by now: every block must be a copy of the signed bytes.
        for (const Attribute& a : kAttributes) {
          const auto raw = map->Lookup(String("raw ") + toolkit::Str(a.number), nullptr);
          ASSERT_TRUE(raw.As<MemoryBlock>()) << a.number;
          const auto bytes = raw.As<MemoryBlock>()->Bytes();
          EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), a.value) << a.number;
        }
        EXPECT_EQ(map->Value(std::int64_t{2}), map->Value("raw 2"));
        EXPECT_EQ(map->Value("attr 2").StringValue().Bytes(), "com.example.quellmark");
        break;
      }
      case Outcome::Refused:
        EXPECT_THROW(ReadReceipt(file), NilObjectException);
        break;
    }
    EXPECT_EQ(BinaryStream::OpenStreams(), streams);
  }
}

TEST_F(ReadReceiptTest, NoFileGivesNilWithoutTheLibrary) {
  const LibCrypto missing("/nonexistent/libcrypto.so");
  EXPECT_TRUE(ReadReceipt(nullptr, missing).IsNil());
  EXPECT_TRUE(ReadReceipt(Ref<FolderItem>::New(folder_ / "absent.receipt"), missing).IsNil());
}

TEST_F(ReadReceiptTest, FilesThatCannotBeOpenedGiveNil) {
  const std::int64_t streams = BinaryStream::OpenStreams();
  EXPECT_TRUE(ReadReceipt(Ref<FolderItem>::New(folder_)).IsNil());
  // A link whose target is gone exists as an item but can't be opened.
  fs::create_symlink(folder_ / "gone.receipt", folder_ / "dangling.receipt");
  EXPECT_TRUE(ReadReceipt(Ref<FolderItem>::New(folder_ / "dangling.receipt")).IsNil());
  EXPECT_EQ(BinaryStream::OpenStreams(), streams);
}

// Reads `file` with `lib` and returns the FunctionNotFoundException it must raise.
FunctionNotFoundException MissingFunction(const Ref<FolderItem>& file, const LibCrypto& lib) {
  const std::int64_t streams = BinaryStream::OpenStreams();
  try {
    ReadReceipt(file, lib);
  } catch (const FunctionNotFoundException& e) {
    EXPECT_EQ(BinaryStream::OpenStreams(), streams);
    return e;
  }
  ADD_FAILURE() << "no FunctionNotFoundException";
  return FunctionNotFoundException("", "");
}

TEST_F(ReadReceiptTest, MissingLibraryIsReportedByName) {
  const LibCrypto missing("/nonexistent/libcrypto.so");
  const auto e = MissingFunction(Write("a.receipt", Sign(kPayload)), missing);
  EXPECT_EQ(e.LibraryPath(), "/nonexistent/libcrypto.so");
  // The first function looked up names the library that could not be opened.
  EXPECT_EQ(e.FunctionName(), LibCrypto::ERR_load_PKCS7_strings::kName);
}

// Without the header reader, parse refuses every payload: the reader reports the payload as
// not an attribute set, after closing the stream and freeing the container.
TEST_F(ReadReceiptTest, LibraryWithoutTheDecoderRefusesThePayload) {
  void* const handle = dlopen(QM_STUB_LACKS_ASN1_GET_OBJECT, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  const auto* parsed = static_cast<const int*>(dlsym(handle, "stub_containers_parsed"));
  const auto* freed = static_cast<const int*>(dlsym(handle, "stub_containers_freed"));
  ASSERT_NE(parsed, nullptr);
  ASSERT_NE(freed, nullptr);
  const auto file = Write("a.receipt", Sign(kPayload));
  const std::int64_t streams = BinaryStream::OpenStreams();
  {
    const LibCrypto stub(QM_STUB_LACKS_ASN1_GET_OBJECT);
    EXPECT_THROW(ReadReceipt(file, stub), toolkit::NilObjectException);
  }
  EXPECT_EQ(BinaryStream::OpenStreams(), streams);
  EXPECT_EQ(*parsed, 1);
  EXPECT_EQ(*freed, 1);
  dlclose(handle);
}

// A library that can parse a container but not free it: the reader must find that out before
// it parses one, or the container is lost.
TEST_F(ReadReceiptTest, NoContainerIsParsedThatCannotBeFreed) {
  void* const handle = dlopen(QM_STUB_LACKS_PKCS7_FREE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  const auto* parsed = static_cast<const int*>(dlsym(handle, "stub_containers_parsed"));
  ASSERT_NE(parsed, nullptr);
  {
    const LibCrypto stub(QM_STUB_LACKS_PKCS7_FREE);
    const auto file = Write("a.receipt", Sign(kPayload));
    // The second time from what the binding remembered of the first.
    for (int attempt = 0; attempt < 2; ++attempt)
      EXPECT_EQ(MissingFunction(file, stub).FunctionName(), "PKCS7_free") << attempt;
  }
  EXPECT_EQ(*parsed, 0);
  dlclose(handle);
}

}  // namespace
