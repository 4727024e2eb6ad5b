#include "base/byte_reader.h"

#include <gtest/gtest.h>

#include "base/byte_source.h"
#include "base/checked.h"

namespace qx {
namespace {

constexpr uint8_t kBytes[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09};

TEST(ByteReader, ReadsBothByteOrders) {
  ByteReader little(kBytes);
  EXPECT_EQ(little.U16Le(), 0x0201);
  EXPECT_EQ(little.U32Be(), 0x03040506u);
  EXPECT_EQ(little.U8(), 7);
  EXPECT_EQ(little.remaining(), 2u);
  ByteReader big(kBytes, ByteOrder::kBig);
  EXPECT_EQ(big.U64(), 0x0102030405060708u);
  EXPECT_EQ(big.U8(), 9);
  EXPECT_TRUE(big.ok());
}

TEST(ByteReader, FailsForGoodAtTheFirstReadPastTheEnd) {
  ByteReader reader(kBytes);
  reader.Seek(7);
  EXPECT_EQ(reader.U32Le(), 0u) << "only two bytes are left";
  EXPECT_FALSE(reader.ok());
  EXPECT_EQ(reader.U8(), 0) << "though one byte would have been there";
  EXPECT_EQ(reader.remaining(), 0u);
  reader.Seek(0);
  EXPECT_FALSE(reader.ok());
}

TEST(ByteReader, AcceptsTheEndButNothingBehindIt) {
  ByteReader atEnd(kBytes);
  atEnd.Seek(9);
  EXPECT_TRUE(atEnd.ok());
  EXPECT_TRUE(atEnd.Take(0).empty());
  EXPECT_TRUE(atEnd.ok());
  for (const uint64_t position : {uint64_t(10), UINT64_MAX}) {
    ByteReader behind(kBytes);
    behind.Seek(position);
    EXPECT_FALSE(behind.ok());
  }
  ByteReader huge(kBytes);
  huge.Skip(4);
  EXPECT_TRUE(huge.Take(UINT64_MAX).empty());
  EXPECT_FALSE(huge.ok());
}

TEST(MemorySource, ReadsWhatIsThere) {
  const MemorySource source(kBytes);
  uint8_t out[4] = {};
  EXPECT_EQ(source.ReadAt(7, out, 4), 2u);
  EXPECT_EQ(out[1], 9);
  EXPECT_EQ(source.ReadAt(UINT64_MAX, out, 4), 0u);
  EXPECT_FALSE(source.ReadExactly(6, out, 4));
  EXPECT_TRUE(source.ReadExactly(5, out, 4));
}

TEST(Checked, KnowsOverflow) {
  EXPECT_EQ(CheckedAdd(UINT64_MAX, 1), std::nullopt);
  EXPECT_EQ(CheckedAdd(UINT64_MAX, 0), UINT64_MAX);
  EXPECT_EQ(CheckedMul(uint64_t(1) << 32, uint64_t(1) << 32), std::nullopt);
  EXPECT_EQ(CheckedMul(uint64_t(1) << 31, uint64_t(1) << 32), uint64_t(1) << 63);
  EXPECT_TRUE(RangeFits(4, 6, 10));
  EXPECT_FALSE(RangeFits(5, 6, 10));
  EXPECT_FALSE(RangeFits(UINT64_MAX, 2, 10));
}

}  // namespace
}  // namespace qx
