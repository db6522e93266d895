#include <gtest/gtest.h>

#include <cstdint>

#include "receipts/CertTools.h"
#include "tests/receipts/TestSupport.h"

namespace {

using CertTools::Keys;
using receipts_test::ExactCopy;

struct KeyRow {
  std::int64_t attribute;
  Keys key;
  const char* title;
};

constexpr std::int64_t k2Above32Bits = (std::int64_t{1} << 32) + 2;

const KeyRow kKeyRows[] = {
    {0, Keys::None, "environment"},
    {1, Keys::None, ""},
    {2, Keys::BundleID, "bundle ID"},  // never BundleIDRaw: the decoder writes that itself
    {3, Keys::Version, "version"},
    {4, Keys::Opaque, "opaque (salt)"},
    {5, Keys::Hash, "hash (sha1)"},
    {6, Keys::None, ""},
    {10, Keys::None, "age rating"},  // Keys::Created is 10, but attribute 10 has no key
    {12, Keys::Created, "created"},
    {17, Keys::InAppPurchase, "in-app purchase"},
    {18, Keys::Purchased, "purchased"},
    {19, Keys::OrigVersion, "orig version"},
    {21, Keys::Expiry, "expiry"},
    {k2Above32Bits, Keys::None, ""},  // a number cut to 32 bits would read as 2
};

TEST(AttributeTables, KeyAndTitleOfEachAttribute) {
  for (const KeyRow& row : kKeyRows) {
    SCOPED_TRACE(row.attribute);
    EXPECT_EQ(CertTools::keyForAttrType(row.attribute), row.key);
    EXPECT_EQ(CertTools::TitleForAttrType(row.attribute).Bytes(), row.title);
  }
}

struct IntRow {
  const char* reason;
  const char* bufferHex;  // the whole buffer, exactly sized: no byte behind it is readable
  std::int64_t tag;
  std::int64_t size;
  std::int64_t expected;
};

const IntRow kIntRows[] = {
    {"one byte", "05", 2, 1, 5},
    {"no sign is taken from the high bit", "FF", 2, 1, 255},
    {"big-endian", "01 00", 2, 2, 256},
    {"six set bytes stay positive", "FF FF FF FF FF FF", 2, 6, 0xFFFFFFFFFFFF},
    {"eight bytes: only the first six", "01 02 03 04 05 06 07 08", 2, 8, 0x010203040506},
    {"a size above six reads only six bytes", "01 02 03 04 05 06", 2, 8, 0x010203040506},
    {"tag 258 is OpenSSL's negative INTEGER", "05", 258, 1, -5},
    {"size 0 reads nothing", "", 2, 0, 0},
    {"negative size reads nothing", "", 2, -1, 0},
    {"OCTET STRING is not a number and is not read", "", 4, 1, 0},
    {"tag -1, no header", "", -1, 1, 0},
    {"a tag that is 2 only in its low byte", "05", 0x202, 1, 0},
};

TEST(AttributeTables, IntVal) {
  for (const IntRow& row : kIntRows) {
    SCOPED_TRACE(row.reason);
    const auto buffer = ExactCopy(ReceiptMaker::FromHex(row.bufferHex));
    EXPECT_EQ(CertTools::intVal(buffer.get(), row.tag, row.size), row.expected);
  }
}

}  // namespace
