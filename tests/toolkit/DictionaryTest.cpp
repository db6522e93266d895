#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"

namespace toolkit {
namespace {

String KeyText(std::int64_t i) {
  return String("k") + Str(i);
}

// Numeric keys of every kind hit one entry; string keys go by their bytes, object keys by
// identity; a missing key raises, or gives Lookup's default.
TEST(DictionaryTest, KeysByValueStringsByBytesObjectsByIdentity) {
  Dictionary d;
  d.Value(std::int32_t{1}, "one");
  EXPECT_EQ(d.Value(std::int64_t{1}).StringValue().Bytes(), "one");
  EXPECT_TRUE(d.HasKey(1.0f));
  d.Value(1.0, "uno");
  EXPECT_EQ(d.Count(), 1);
  EXPECT_EQ(d.Value(std::int32_t{1}).StringValue().Bytes(), "uno");
  EXPECT_FALSE(d.HasKey("1"));
  const auto block = Ref<MemoryBlock>::New(1);
  d.Value("a", 1);
  d.Value("A", 2);
  d.Value(block, 3);
  d.Value(Ref<MemoryBlock>::New(1), 4);
  EXPECT_EQ(d.Count(), 5);
  EXPECT_EQ(d.Value(block).Int64Value(), 3);
  d.Value("present", true);
  EXPECT_THROW(d.Value("absent"), KeyNotFoundException);
  EXPECT_THROW(d.Value(Ref<Dictionary>::New()), KeyNotFoundException);  // a key without text
  EXPECT_THROW(d.Remove("absent"), KeyNotFoundException);
  EXPECT_EQ(d.Lookup("absent", 5).Int64Value(), 5);
  EXPECT_TRUE(d.Lookup("present", false).BooleanValue());
}

TEST(DictionaryTest, FindOrAddStoresOnlyWhatIsMissing) {
  Dictionary d;
  auto [seven, added] = d.FindOrAdd(std::int64_t{7}, "seven");
  EXPECT_TRUE(added);
  seven = "SEVEN";  // the answer is the stored value itself
  const auto [again, addedAgain] = d.FindOrAdd(7.0, "other");  // the same key in another kind
  EXPECT_FALSE(addedAgain);
  EXPECT_EQ(again.StringValue().Bytes(), "SEVEN");
  EXPECT_EQ(d.Count(), 1);
  // Through several growths of the table each key is added once and then found.
  for (std::int64_t i = 0; i < 100; ++i)
    ASSERT_TRUE(d.FindOrAdd(KeyText(i), i).second) << i;
  for (std::int64_t i = 0; i < 100; ++i)
    ASSERT_EQ(d.FindOrAdd(KeyText(i), -1).first.Int64Value(), i) << i;
  EXPECT_EQ(d.Count(), 101);
}

TEST(DictionaryTest, EveryOtherKeyStaysFoundThroughRemovalsAndGrowth) {
  // Enough keys of both kinds for the map to grow several times and for removals to meet keys
  // that share their first slot with others.
  Dictionary d;
  constexpr std::int64_t kKeys = 500;
  for (std::int64_t i = 0; i < kKeys; ++i) {
    d.Value(i, i);
    d.Value(KeyText(i), -i);
  }
  for (std::int64_t i = 0; i < kKeys; i += 3) {
    d.Remove(static_cast<double>(i));  // a number removes the equal key of another kind
    d.Remove(KeyText(i));
  }
  std::int64_t kept = 0;
  for (std::int64_t i = 0; i < kKeys; ++i) {
    const bool removed = i % 3 == 0;
    kept += removed ? 0 : 1;
    ASSERT_EQ(d.HasKey(i), !removed) << i;
    ASSERT_EQ(d.Lookup(KeyText(i), 1).Int64Value(), removed ? 1 : -i) << i;
    if (!removed) {
      ASSERT_EQ(d.Value(static_cast<double>(i)).Int64Value(), i);
    }
  }
  EXPECT_EQ(d.Count(), 2 * kept);
  const auto listed = static_cast<std::size_t>(2 * kept);
  EXPECT_EQ(std::make_pair(d.Keys().size(), d.Values().size()), std::make_pair(listed, listed));
  d.Clear();
  EXPECT_EQ(d.Count(), 0);
  EXPECT_FALSE(d.HasKey(std::int64_t{1}));
  d.Value(std::int64_t{1}, "again");
  EXPECT_EQ(d.Value(1.0).StringValue().Bytes(), "again");
}

// A map made from entries at once is the map that storing them in turn makes: the same keys,
// kinds and values in the same order, the key of an earlier entry kept where a later one is
// equal; and it is found, grown and shrunk like any other.
TEST(DictionaryTest, MadeFromEntriesAsIfStoredInTurn) {
  const auto block = Ref<MemoryBlock>::New(1);
  std::vector<Dictionary::Entry> many;
  for (std::int64_t i = 0; i < 300; ++i) {
    many.emplace_back(String("k") + Str(i % 200), i);  // the last hundred repeat earlier keys
    many.emplace_back(i, -i);
  }
  const struct {
    std::vector<Dictionary::Entry> entries;
    const char* why;
  } cases[] = {
      {{}, "no entries"},
      {{{"a", 1}, {std::int64_t{2}, "b"}, {block, 3}}, "keys of three kinds"},
      {{{std::int32_t{1}, "one"}, {"x", 0}, {1.0, "uno"}}, "a later equal key of another kind"},
      {{{"a", 1}, {"a", 2}, {"b", 3}, {"a", 4}, {"c", 5}}, "repeats between the others"},
      {{{block, 1}, {Ref<MemoryBlock>::New(1), 2}, {block, 3}}, "objects by identity"},
      {many, "many, with the table at its size from the start"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    Dictionary stored;
    for (const auto& e : c.entries)
      stored.Value(e.key, e.value);
    Dictionary made(c.entries);
    ASSERT_EQ(made.Count(), stored.Count());
    const auto keys = made.Keys();
    const auto storedKeys = stored.Keys();
    const auto values = made.Values();
    const auto storedValues = stored.Values();
    for (std::size_t i = 0; i < keys.size(); ++i) {
      EXPECT_TRUE(keys[i] == storedKeys[i]) << i;
      EXPECT_EQ(keys[i].VarType(), storedKeys[i].VarType()) << i;
      EXPECT_TRUE(values[i] == storedValues[i]) << i;
      EXPECT_TRUE(made.Value(keys[i]) == values[i]) << i;
    }
    // Every other key goes, a new one comes, and the rest are still found.
    for (std::size_t i = 0; i < keys.size(); i += 2)
      made.Remove(keys[i]);
    made.Value("new", true);
    for (std::size_t i = 0; i < keys.size(); ++i)
      EXPECT_EQ(made.HasKey(keys[i]), i % 2 == 1) << i;
    EXPECT_TRUE(made.Value("new").BooleanValue());
  }
}

}  // namespace
}  // namespace toolkit
