// Tests of ByteArray: byte order of InitNumber, the non-zero mask and the
// eight-byte copy of InitByteArray.
#include "common/utils/bytearray.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/test_support.h"

using tavrin::utils::ByteArray;

namespace {

TEST(BytearrayTest, DefaultIsZero) {
  ByteArray b;
  for (unsigned char d : b.data) EXPECT_EQ(d, 0);
  EXPECT_EQ(b.mask, 0);
}

TEST(BytearrayTest, InitNumberLeastSignificantByteFirst) {
  ByteArray b;
  b.InitNumber(0x0102);
  const unsigned char expected[8] = {0x02, 0x01, 0, 0, 0, 0, 0, 0};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(b.data[i], expected[i]) << i;
  EXPECT_EQ(b.mask, 0x03);
}

TEST(BytearrayTest, InitNumberMaskSkipsZeroBytes) {
  ByteArray b;
  b.InitNumber(0xFF00000000AB0000ull);
  EXPECT_EQ(b.data[2], 0xAB);
  EXPECT_EQ(b.data[7], 0xFF);
  EXPECT_EQ(b.mask, 0x84);
  b.InitNumber(0x0102030405060708ull);
  EXPECT_EQ(b.data[0], 0x08);
  EXPECT_EQ(b.data[7], 0x01);
  EXPECT_EQ(b.mask, 0xFF);
}

TEST(BytearrayTest, InitNumberZeroClearsEverything) {
  ByteArray b;
  b.InitNumber(~0ull);
  EXPECT_EQ(b.mask, 0xFF);
  b.InitNumber(0);
  for (unsigned char d : b.data) EXPECT_EQ(d, 0);
  EXPECT_EQ(b.mask, 0);
}

TEST(BytearrayTest, InitNumberEachSingleByte) {
  for (int i = 0; i < 8; ++i) {
    ByteArray b;
    b.InitNumber(0x5Aull << (8 * i));
    EXPECT_EQ(b.data[i], 0x5A) << i;
    EXPECT_EQ(b.mask, 1 << i) << i;
  }
}

TEST(BytearrayTest, InitNumberRandomMatchesShifts) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937_64 rng(seed);
  for (int round = 0; round < 1000; ++round) {
    unsigned long long v = rng();
    // Clear random bytes so the mask has gaps.
    for (int i = 0; i < 8; ++i)
      if (rng() % 3 == 0) v &= ~(0xFFull << (8 * i));
    ByteArray b;
    b.InitNumber(v);
    for (int i = 0; i < 8; ++i) {
      const unsigned char byte = static_cast<unsigned char>(v >> (8 * i));
      EXPECT_EQ(b.data[i], byte) << std::hex << v << " byte " << i;
      EXPECT_EQ((b.mask >> i) & 1, byte != 0 ? 1 : 0) << std::hex << v << " bit " << i;
    }
  }
}

TEST(BytearrayTest, InitByteArrayAlwaysCopiesEightBytes) {
  unsigned char bytes[8] = {1, 0, 3, 0, 0, 6, 0, 8};
  ByteArray b;
  b.InitByteArray(3, bytes);  // the count is not consulted
  for (int i = 0; i < 8; ++i) EXPECT_EQ(b.data[i], bytes[i]) << i;
  EXPECT_EQ(b.mask, 0xA5);
  ByteArray c;
  c.InitByteArray(0, bytes);
  EXPECT_EQ(c.mask, 0xA5);
}

TEST(BytearrayTest, InitByteArrayNullLeavesObjectUnchanged) {
  ByteArray b;
  b.InitNumber(0x1234);
  b.InitByteArray(8, nullptr);
  EXPECT_EQ(b.data[0], 0x34);
  EXPECT_EQ(b.data[1], 0x12);
  EXPECT_EQ(b.mask, 0x03);
}

}  // namespace
