// utf_iconv_test.cpp - the UTF converters against glibc's iconv on valid
// text: an independent decoder and encoder for every well-formed input.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "common/utils/convertutf.h"
#include "tests/test_support.h"

namespace {

// Converts `in` with iconv; false when iconv rejects it.
bool Iconv(const char* to, const char* from, const std::string& in, std::string& out) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  out.assign(in.size() * 4 + 16, '\0');
  char* src = const_cast<char*>(in.data());
  std::size_t src_left = in.size();
  char* dst = out.data();
  std::size_t dst_left = out.size();
  std::size_t r = iconv(cd, &src, &src_left, &dst, &dst_left);
  iconv_close(cd);
  if (r == static_cast<std::size_t>(-1)) return false;
  out.resize(out.size() - dst_left);
  return true;
}

template <class Unit>
std::string AsBytes(const std::vector<Unit>& units) {
  return std::string(reinterpret_cast<const char*>(units.data()), units.size() * sizeof(Unit));
}

// Random well-formed UTF-8 over every encoded length.
std::string RandomText(std::mt19937& rng) {
  std::string s;
  std::uniform_int_distribution<int> kind(0, 3), count(0, 40);
  for (int n = count(rng); n > 0; --n) {
    std::uint32_t v;
    switch (kind(rng)) {
      case 0:
        v = std::uniform_int_distribution<std::uint32_t>(1, 0x7F)(rng);
        break;
      case 1:
        v = std::uniform_int_distribution<std::uint32_t>(0x80, 0x7FF)(rng);
        break;
      case 2:
        v = std::uniform_int_distribution<std::uint32_t>(0x800, 0xF7FF)(rng);
        if (v >= 0xD800) v += 0x800;
        break;
      default:
        v = std::uniform_int_distribution<std::uint32_t>(0x10000, 0x10FFFF)(rng);
    }
    if (v < 0x80) {
      s += static_cast<char>(v);
    } else if (v < 0x800) {
      s += static_cast<char>(0xC0 | (v >> 6));
      s += static_cast<char>(0x80 | (v & 0x3F));
    } else if (v < 0x10000) {
      s += static_cast<char>(0xE0 | (v >> 12));
      s += static_cast<char>(0x80 | ((v >> 6) & 0x3F));
      s += static_cast<char>(0x80 | (v & 0x3F));
    } else {
      s += static_cast<char>(0xF0 | (v >> 18));
      s += static_cast<char>(0x80 | ((v >> 12) & 0x3F));
      s += static_cast<char>(0x80 | ((v >> 6) & 0x3F));
      s += static_cast<char>(0x80 | (v & 0x3F));
    }
  }
  return s;
}

TEST(UtfIconvTest, ValidTextMatchesIconv) {
  std::string probe;
  if (!Iconv("UTF-16LE", "UTF-8", "a", probe)) GTEST_SKIP() << "iconv lacks UTF-16LE";
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::printf("UtfIconvTest.ValidTextMatchesIconv seed %u\n", seed);
  std::mt19937 rng(seed);
  for (int n = 0; n < 2000; ++n) {
    std::string text = RandomText(rng);
    SCOPED_TRACE(testing::PrintToString(text));
    const UTF8* b = reinterpret_cast<const UTF8*>(text.data());
    const UTF8* e = b + text.size();

    // UTF-8 -> UTF-16 (this machine is little-endian, as the units in memory).
    int n16 = SizeNeededForUTF16(b, e, strictConversion);
    ASSERT_GE(n16, 0);
    std::vector<UTF16> u16(static_cast<std::size_t>(n16));
    const UTF8* src = b;
    UTF16* dst16 = u16.data();
    ASSERT_EQ(ConvertUTF8toUTF16(&src, e, &dst16, dst16 + n16, strictConversion), conversionOK);
    std::string expected;
    ASSERT_TRUE(Iconv("UTF-16LE", "UTF-8", text, expected));
    ASSERT_EQ(AsBytes(u16), expected);

    // UTF-8 -> UTF-32.
    std::vector<UTF32> u32(text.size());
    src = b;
    UTF32* dst32 = u32.data();
    ASSERT_EQ(ConvertUTF8toUTF32(&src, e, &dst32, dst32 + u32.size()), conversionOK);
    u32.resize(static_cast<std::size_t>(dst32 - u32.data()));
    ASSERT_TRUE(Iconv("UTF-32LE", "UTF-8", text, expected));
    ASSERT_EQ(AsBytes(u32), expected);

    // UTF-16 -> UTF-8, checked against iconv's reading of the UTF-16 bytes.
    int n8 = SizeNeededForUTF8(u16.data(), u16.data() + u16.size(), strictConversion);
    ASSERT_EQ(n8, static_cast<int>(text.size()));
    std::string back(static_cast<std::size_t>(n8), '\0');
    const UTF16* s16 = u16.data();
    UTF8* d8 = reinterpret_cast<UTF8*>(back.data());
    ASSERT_EQ(ConvertUTF16toUTF8(&s16, s16 + u16.size(), &d8, d8 + n8, strictConversion),
              conversionOK);
    ASSERT_TRUE(Iconv("UTF-8", "UTF-16LE", AsBytes(u16), expected));
    ASSERT_EQ(back, expected);

    // UTF-32 -> UTF-16 and UTF-8.
    std::vector<UTF16> from32(u32.size() * 2);
    const UTF32* s32 = u32.data();
    dst16 = from32.data();
    ASSERT_EQ(ConvertUTF32toUTF16(&s32, s32 + u32.size(), &dst16, dst16 + from32.size(),
                                  strictConversion),
              conversionOK);
    from32.resize(static_cast<std::size_t>(dst16 - from32.data()));
    ASSERT_TRUE(Iconv("UTF-16LE", "UTF-32LE", AsBytes(u32), expected));
    ASSERT_EQ(AsBytes(from32), expected);
  }
}

}  // namespace
