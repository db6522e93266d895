#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "receipts/CertTools.h"
#include "receipts/LibCrypto.h"
#include "tests/receipts/TestSupport.h"
#include "tests/support/Scratch.h"

namespace {

namespace fs = std::filesystem;
using namespace ReceiptMaker;
using CertTools::LibCrypto;
using CertTools::ReadReceipt;
using toolkit::BinaryStream;
using toolkit::FolderItem;
using toolkit::Ref;

// Raw values that are not DER (4, 5), a nested SET (17) and strings (2, 19).
const std::vector<Attribute> kAttributes = {
    {2, 1, Utf8Value("com.example.quellmark")},
    {4, 1, HexValue("DE AD BE EF")},
    {5, 1, HexValue("00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 01 02 03 04")},
    {17, 1, PurchaseValue({{1702, 1, Utf8Value("coins")}})},
    {19, 1, Ia5Value("1.0")},
};
const Bytes kPayload = Payload(kAttributes);

// Every test ends with each stream that a read opened closed again, whatever the read met.
class ReadReceiptTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(BinaryStream::OpenStreams(), streams_); }
  Ref<FolderItem> Write(const Bytes& bytes, const char* name = "a.receipt") {
    return Ref<FolderItem>::New(scratch_.Write(name, bytes));
  }
  const test_support::ScratchFolder scratch_;
  const fs::path folder_ = scratch_.path();
  const std::int64_t streams_ = BinaryStream::OpenStreams();
};

enum class Outcome { Nil, Receipt, Refused };

TEST_F(ReadReceiptTest, Files) {
  const Bytes receipt = Sign(kPayload);
  const std::tuple<const char*, Bytes, Outcome> rows[] = {
      {"a receipt", receipt, Outcome::Receipt},
      {"an empty file", {}, Outcome::Nil},
      {"a receipt cut by one byte", Bytes(receipt.begin(), receipt.end() - 1), Outcome::Nil},
      {"data, not signed", Sign(kPayload, Shape::OuterData), Outcome::Nil},
      {"signed data around signed data", Sign(kPayload, Shape::InnerNotData), Outcome::Nil},
      {"detached: no content", Sign(kPayload, Shape::Detached), Outcome::Nil},
      {"only empty SETs", Sign(Concat(Set({}), Set({}))), Outcome::Nil},
      {"two SETs with records", Sign(Concat(kPayload, kPayload)), Outcome::Nil},
      {"payload is an INTEGER", Sign(Integer(5)), Outcome::Refused},
      {"a SEQUENCE behind the SET", Sign(Concat(kPayload, Sequence({}))), Outcome::Refused},
  };
  for (const auto& [why, contents, outcome] : rows) {
    SCOPED_TRACE(why);
    const auto file = Write(contents);
    if (outcome == Outcome::Refused) {
      EXPECT_THROW(ReadReceipt(file), toolkit::NilObjectException);
    } else if (outcome == Outcome::Nil) {
      EXPECT_TRUE(ReadReceipt(file).IsNil());
    } else {
      const auto map = ReadReceipt(file);
      ASSERT_FALSE(map.IsNil());
      // The container is freed by now: every block must be a copy of the signed bytes.
      for (const Attribute& a : kAttributes) {
        const auto raw = map->Lookup(toolkit::String("raw " + std::to_string(a.number)), nullptr);
        ASSERT_TRUE(raw.As<toolkit::MemoryBlock>()) << a.number;
        const auto bytes = raw.As<toolkit::MemoryBlock>()->Bytes();
        EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), a.value) << a.number;
      }
      EXPECT_EQ(map->Value(std::int64_t{2}), map->Value("raw 2"));
      EXPECT_EQ(map->Value("attr 2").StringValue().Bytes(), "com.example.quellmark");
    }
  }
}

TEST_F(ReadReceiptTest, FilesThatCannotBeOpenedGiveNil) {
  const LibCrypto missing("/nonexistent/libcrypto.so");
  EXPECT_TRUE(ReadReceipt(nullptr, missing).IsNil());
  EXPECT_TRUE(ReadReceipt(Ref<FolderItem>::New(folder_ / "absent.receipt"), missing).IsNil());
  EXPECT_TRUE(ReadReceipt(Ref<FolderItem>::New(folder_)).IsNil());
  // A link whose target is gone exists as an item but can't be opened.
  EXPECT_TRUE(ReadReceipt(Ref<FolderItem>::New(scratch_.Link("dangling", "gone"))).IsNil());
}

// Libraries that lack a function: the reader reports it by name, or refuses the payload when
// only the header reader is gone, and either way closes the stream and loses no container.
TEST_F(ReadReceiptTest, IncompleteLibraries) {
  // The library; the function it lacks (nullptr: the payload is refused instead); the containers
  // the stand-in parsed and freed in two reads (-1 where it is no stand-in). The second read
  // goes by what the binding remembered of the first.
  const std::tuple<const char*, const char*, int, int> rows[] = {
      {"/nonexistent/libcrypto.so", LibCrypto::ERR_load_PKCS7_strings::kName, -1, -1},
      {QM_STUB_LACKS_ASN1_GET_OBJECT, nullptr, 2, 2},
      {QM_STUB_LACKS_PKCS7_FREE, "PKCS7_free", 0, 0},  // found out before any is parsed
  };
  const auto file = Write(Sign(kPayload));
  for (const auto& [library, missingFunction, parsed, freed] : rows) {
    SCOPED_TRACE(library);
    void* const handle = parsed < 0 ? nullptr : dlopen(library, RTLD_NOW | RTLD_LOCAL);
    {
      const LibCrypto lib(library);
      for (int attempt = 0; attempt < 2; ++attempt) {
        try {
          ReadReceipt(file, lib);
          ADD_FAILURE() << "read";
        } catch (const toolkit::FunctionNotFoundException& e) {
          EXPECT_EQ(e.FunctionName(), missingFunction ? missingFunction : "(refused)") << attempt;
          EXPECT_EQ(e.LibraryPath(), library);
        } catch (const toolkit::NilObjectException&) {
          EXPECT_EQ(missingFunction, nullptr) << attempt;
        }
      }
    }
    if (parsed < 0) continue;
    ASSERT_NE(handle, nullptr) << dlerror();
    for (const auto& [name, count] :
         {std::pair{"stub_containers_parsed", parsed}, std::pair{"stub_containers_freed", freed}})
      EXPECT_EQ(*static_cast<const int*>(dlsym(handle, name)), count) << name;
    dlclose(handle);
  }
}

// Content that is no data is never read as the payload, whatever its bytes would give.
TEST_F(ReadReceiptTest, ContentThatIsNoDataIsNotRead) {
  void* const handle = dlopen(QM_STUB_LACKS_ASN1_GET_OBJECT, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  {
    const LibCrypto stub(QM_STUB_LACKS_ASN1_GET_OBJECT);
    EXPECT_TRUE(ReadReceipt(Write(Sign(kPayload, Shape::InnerNotData)), stub).IsNil());
  }
  EXPECT_EQ(*static_cast<const int*>(dlsym(handle, "stub_strings_read")), 0);
  dlclose(handle);
}

// A file larger than any receipt is not read: a receipt padded to the limit still reads, one
// byte more and the reader gives nil without handing the file to the library. The files are
// sparse, so they cost no disk.
TEST_F(ReadReceiptTest, AFileLargerThanTheLimitIsNotRead) {
  void* const handle = dlopen(QM_STUB_LACKS_ASN1_GET_OBJECT, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  const int& parsed = *static_cast<const int*>(dlsym(handle, "stub_containers_parsed"));
  const struct {
    const char* why;
    Bytes head;
    std::int64_t size;
    Outcome outcome;  // with the real library; the stand-in, which can't walk a payload, refuses
                      // what it parsed
    int parsedByStub;
  } rows[] = {
      {"a receipt padded to the limit", Sign(kPayload), CertTools::kLargestReceipt,
       Outcome::Receipt, 1},
      {"one byte more", Sign(kPayload), CertTools::kLargestReceipt + 1, Outcome::Nil, 0},
      {"100 MB that begin as a SET of that length", FromHex("31 84 05 F5 E0 FA"), 100'000'000,
       Outcome::Nil, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    const auto file = Write(row.head);
    fs::resize_file(file->Path(), static_cast<std::uintmax_t>(row.size));
    EXPECT_EQ(ReadReceipt(file).IsNil(), row.outcome == Outcome::Nil);
    const int before = parsed;
    {
      const LibCrypto stub(QM_STUB_LACKS_ASN1_GET_OBJECT);
      if (row.parsedByStub > 0)
        EXPECT_THROW(ReadReceipt(file, stub), toolkit::NilObjectException);
      else
        EXPECT_TRUE(ReadReceipt(file, stub).IsNil());
    }
    EXPECT_EQ(parsed - before, row.parsedByStub);
  }
  dlclose(handle);
}

// Readers on several threads at once, each through a binding that none has used yet: each
// thread gets every receipt, the same functions, and closes every stream it opened. Under
// ThreadSanitizer this shows that the binding and the count of streams are shared safely.
TEST_F(ReadReceiptTest, ThreadsReadAtOnceThroughOneBinding) {
  const auto receipt = Write(Sign(kPayload));
  const auto other = Ref<FolderItem>::New(scratch_.Write("notes", "not a receipt"));
  constexpr int kThreads = 4, kReads = 25;
  const LibCrypto lib("libcrypto.so.3");
  // What each thread found bound, and how many receipts and nils it read.
  std::vector<std::tuple<LibCrypto::d2i_PKCS7_fp::Type, int, int>> seen(kThreads);
  {
    std::vector<std::jthread> threads;
    for (auto& each : seen) {
      threads.emplace_back([&, &mine = each] {
        auto& [bound, receipts, nils] = mine;
        bound = lib.Get<LibCrypto::d2i_PKCS7_fp>();
        for (int i = 0; i < kReads; ++i) {
          receipts += ReadReceipt(receipt, lib).IsNil() ? 0 : 1;
          nils += ReadReceipt(other, lib).IsNil() ? 1 : 0;
        }
      });
    }
  }
  const auto real =
      reinterpret_cast<LibCrypto::d2i_PKCS7_fp::Type>(dlsym(RTLD_DEFAULT, "d2i_PKCS7_fp"));
  for (const auto& each : seen)
    EXPECT_EQ(each, std::tuple(real, kReads, kReads));
}

// A thread's own library context: while it lives the thread's default context is another
// than the process's, receipts read as ever in it, and when it goes the default is back; other
// threads keep theirs. Without the library nothing changes and nothing raises.
TEST_F(ReadReceiptTest, AThreadReadsInALibraryContextOfItsOwn) {
  const auto receipt = Write(Sign(kPayload));
  const auto notes = Ref<FolderItem>::New(scratch_.Write("notes", "not a receipt"));
  const auto refused = Write(Sign(Integer(5)), "refused");
  OSSL_LIB_CTX* const global = OSSL_LIB_CTX_get0_global_default();
  // The thread's default context, as OSSL_LIB_CTX_set0_default answers without changing it.
  const auto current = [] { return OSSL_LIB_CTX_set0_default(nullptr); };
  const struct {
    const char* library;
    bool own;
  } rows[] = {{"libcrypto.so.3", true}, {"/nonexistent/libcrypto.so", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.library);
    const LibCrypto lib(row.library);
    std::jthread([&] {
      EXPECT_EQ(current(), global);
      {
        const CertTools::ThreadLibraryContext context(lib);
        EXPECT_EQ(context.Own(), row.own);
        EXPECT_EQ(current() != global, row.own);
        EXPECT_FALSE(ReadReceipt(receipt).IsNil());
        EXPECT_TRUE(ReadReceipt(notes).IsNil());
        EXPECT_THROW(ReadReceipt(refused), toolkit::NilObjectException);
      }
      EXPECT_EQ(current(), global);
    }).join();
    EXPECT_EQ(current(), global);  // this thread's never changed
  }
}

// The receipts beside the checkout each read as one receipt; skipped where they are absent.
TEST_F(ReadReceiptTest, RealReceiptsEachReadAsOneReceipt) {
  const fs::path folder = QM_SHARED_RECEIPTS;
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no real receipts at " << folder;
  const auto key = [](CertTools::Keys k) { return toolkit::Variant(static_cast<std::int64_t>(k)); };
  const std::pair<const char*, bool> files[] = {// the file, whether it holds purchases
                                                {"mac-2015.receipt", false},
                                                {"mac-2016.receipt", false},
                                                {"mac-2023-sha256-purchases.receipt", true},
                                                {"ios-2015-sandbox-purchases.receipt", true},
                                                {"ios-2020-sandbox-purchases.receipt", true},
                                                {"ios-2020-sandbox-large.receipt", true},
                                                {"ios-2024-production.receipt", true}};
  for (const auto& [name, purchases] : files) {
    SCOPED_TRACE(name);
    const auto map = ReadReceipt(Ref<FolderItem>::New(folder / name));
    ASSERT_FALSE(map.IsNil());
    for (const char* k : {"attr 2", "attr 3", "attr 19", "attr 12"})
      EXPECT_TRUE(map->Lookup(k, nullptr).IsString()) << k;
    const auto bundle = map->Lookup("attr 2", nullptr);
    EXPECT_NE(bundle.StringValue().Bytes().find('.'), std::string::npos);
    EXPECT_EQ(map->Lookup(key(CertTools::Keys::BundleID), nullptr), bundle);
    // Lookup's defaults 0 and 1: two absent entries differ.
    EXPECT_EQ(map->Lookup(key(CertTools::Keys::BundleIDRaw), 0), map->Lookup("raw 2", 1));
    // A time as the store writes it, such as 2023-08-28T10:24:05Z: digits where "9" stands.
    const std::string created = map->Lookup("attr 12", nullptr).StringValue().Bytes();
    const auto matches = [](char c, char p) {
      return p == '9' ? std::isdigit(static_cast<unsigned char>(c)) != 0 : c == p;
    };
    EXPECT_TRUE(created.size() == 20 &&
                std::equal(created.begin(), created.end(), "9999-99-99T99:99:99Z", matches))
        << created;
    // The hash is kept as the block it came in: SHA-1, whatever signed the container.
    const auto hash = map->Lookup(key(CertTools::Keys::Hash), nullptr).As<toolkit::MemoryBlock>();
    ASSERT_FALSE(hash.IsNil());
    EXPECT_EQ(map->Lookup(key(CertTools::Keys::Hash), 0), map->Lookup("raw 5", 1));
    EXPECT_EQ(hash->Size(), 20);
    // Only the last purchase is kept: a nested SET that parses as one record map.
    const auto purchase = map->Lookup("attr 17", nullptr);
    ASSERT_EQ(!purchase.IsNull(), purchases);
    if (!purchases) continue;
    EXPECT_EQ(map->Lookup(key(CertTools::Keys::InAppPurchase), 0), purchase);
    const auto block = purchase.As<toolkit::MemoryBlock>();
    ASSERT_FALSE(block.IsNil());
    const auto records = CertTools::parse(block->Data(), block->Size());
    ASSERT_TRUE(records && records->size() == 1u);
    EXPECT_TRUE(records->front()->Lookup("attr 1702", nullptr).IsString());  // product id
  }
}

}  // namespace
