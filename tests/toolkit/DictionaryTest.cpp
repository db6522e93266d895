#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"

namespace toolkit {
namespace {

TEST(DictionaryTest, NumericKeysOfEveryKindHitOneEntry) {
  Dictionary d;
  d.Value(std::int32_t{1}, "one");
  EXPECT_EQ(d.Value(std::int64_t{1}).StringValue().Bytes(), "one");
  EXPECT_TRUE(d.HasKey(1.0f));
  d.Value(1.0, "uno");
  EXPECT_EQ(d.Count(), 1);
  EXPECT_EQ(d.Value(std::int32_t{1}).StringValue().Bytes(), "uno");
  EXPECT_FALSE(d.HasKey("1"));
}

TEST(DictionaryTest, StringKeysByBytesObjectKeysByIdentity) {
  Dictionary d;
  const auto block = Ref<MemoryBlock>::New(1);
  d.Value("a", 1);
  d.Value("A", 2);
  d.Value(block, 3);
  d.Value(Ref<MemoryBlock>::New(1), 4);
  EXPECT_EQ(d.Count(), 4);
  EXPECT_EQ(d.Value(block).Int64Value(), 3);
}

TEST(DictionaryTest, MissingKeys) {
  Dictionary d;
  d.Value("present", true);
  EXPECT_THROW(d.Value("absent"), KeyNotFoundException);
  EXPECT_THROW(d.Value(Ref<Dictionary>::New()), KeyNotFoundException);  // a key without text
  EXPECT_THROW(d.Remove("absent"), KeyNotFoundException);
  EXPECT_EQ(d.Lookup("absent", 5).Int64Value(), 5);
  EXPECT_TRUE(d.Lookup("present", false).BooleanValue());
}

TEST(DictionaryTest, RemoveKeysValues) {
  Dictionary d;
  d.Value("a", 1);
  d.Value(std::int64_t{2}, "b");
  d.Value(3, "c");
  d.Remove(2.0);
  EXPECT_FALSE(d.HasKey(std::int32_t{2}));
  auto keys = d.Keys();
  auto values = d.Values();
  ASSERT_EQ(keys.size(), 2u);
  ASSERT_EQ(values.size(), 2u);
  EXPECT_TRUE(std::count(keys.begin(), keys.end(), "a") && std::count(keys.begin(), keys.end(), 3));
  EXPECT_TRUE(std::count(values.begin(), values.end(), 1) &&
              std::count(values.begin(), values.end(), "c"));
}

}  // namespace
}  // namespace toolkit
