#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <regex>
#include <string>

#include "receipts/CertTools.h"
#include "tests/receipts/TestSupport.h"

namespace {

namespace fs = std::filesystem;
using CertTools::Keys;
using toolkit::FolderItem;
using toolkit::MemoryBlock;
using toolkit::Ref;
using toolkit::Variant;

struct RealRow {
  const char* file;
  bool purchases;
};

const RealRow kRealRows[] = {
    {"mac-2015.receipt", false},
    {"mac-2016.receipt", false},
    {"mac-2023-sha256-purchases.receipt", true},
    {"ios-2015-sandbox-purchases.receipt", true},
    {"ios-2020-sandbox-purchases.receipt", true},
    {"ios-2020-sandbox-large.receipt", true},
    {"ios-2024-production.receipt", true},
};

Variant Key(Keys key) {
  return static_cast<std::int64_t>(key);
}

TEST(RealReceipts, EachReadsAsOneReceipt) {
  const fs::path folder = QM_SHARED_RECEIPTS;
  if (!fs::is_directory(folder)) {
    GTEST_SKIP() << "the real receipts are not at " << folder
                 << "; they live beside the checkout on the team's machines only";
  }
  for (const RealRow& row : kRealRows) {
    SCOPED_TRACE(row.file);
    const std::int64_t streams = toolkit::BinaryStream::OpenStreams();
    const auto map = CertTools::ReadReceipt(Ref<FolderItem>::New(folder / row.file));
    EXPECT_EQ(toolkit::BinaryStream::OpenStreams(), streams);
    ASSERT_FALSE(map.IsNil());

    for (const char* key : {"attr 2", "attr 3", "attr 19", "attr 12"})
      EXPECT_TRUE(map->Lookup(key, nullptr).IsString()) << key;
    const toolkit::String bundle = map->Lookup("attr 2", nullptr).StringValue();
    EXPECT_NE(bundle.Bytes().find('.'), std::string::npos) << bundle.Bytes();
    EXPECT_EQ(map->Lookup(Key(Keys::BundleID), nullptr), Variant(bundle));
    EXPECT_EQ(map->Lookup(Key(Keys::BundleIDRaw), 0), map->Lookup("raw 2", 1));
    EXPECT_TRUE(std::regex_match(map->Lookup("attr 12", nullptr).StringValue().Bytes(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)")));

    // The hash is kept as the block it came in. (Lookup defaults 0 and 1: both absent differ.)
    const auto hash = map->Lookup(Key(Keys::Hash), nullptr).As<MemoryBlock>();
    ASSERT_FALSE(hash.IsNil());
    EXPECT_EQ(map->Lookup(Key(Keys::Hash), 0), map->Lookup("raw 5", 1));
    EXPECT_EQ(hash->Size(), 20);  // SHA-1, whatever the container was signed with

    // Only the last purchase is kept: a nested SET that parses as one record map.
    const Variant purchase = map->Lookup("attr 17", nullptr);
    EXPECT_EQ(!purchase.IsNull(), row.purchases);
    if (!row.purchases) continue;
    EXPECT_EQ(map->Lookup(Key(Keys::InAppPurchase), 0), purchase);
    const auto block = purchase.As<MemoryBlock>();
    ASSERT_FALSE(block.IsNil());
    const auto records = CertTools::parse(block->Data(), block->Size());
    ASSERT_TRUE(records.has_value());
    ASSERT_EQ(records->size(), 1u);
    EXPECT_TRUE(records->front()->Lookup("attr 1702", nullptr).IsString());  // product id
  }
}

}  // namespace
