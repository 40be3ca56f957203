// Tests of base64_encode and base64_decode: the standard vectors, where
// decoding stops, random round trips and a differential check against a
// bit-by-bit reference, plus the `tavrin base64` command.
#include "common/utils/base64.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/test_support.h"

using tavrin::utils::base64_decode;
using tavrin::utils::base64_encode;

namespace {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string Encode(const std::string& bytes) {
  return base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                       static_cast<unsigned int>(bytes.size()));
}

// Reference encoder: collect bits, emit six at a time, pad to a multiple of
// four characters.
std::string ReferenceEncode(const std::string& bytes) {
  std::string out;
  unsigned bits = 0, nbits = 0;
  for (unsigned char c : bytes) {
    bits = (bits << 8) | c;
    nbits += 8;
    while (nbits >= 6) {
      nbits -= 6;
      out += kAlphabet[(bits >> nbits) & 63];
    }
  }
  if (nbits > 0) out += kAlphabet[(bits << (6 - nbits)) & 63];
  while (out.size() % 4 != 0) out += '=';
  return out;
}

// Reference decoder: alphabet characters from the start, eight bits out
// whenever eight are collected (leftover bits are dropped).
std::string ReferenceDecode(const std::string& text) {
  std::string out;
  unsigned bits = 0, nbits = 0;
  for (char c : text) {
    const auto v = kAlphabet.find(c);
    if (c == '\0' || v == std::string::npos) break;
    bits = (bits << 6) | static_cast<unsigned>(v);
    nbits += 6;
    if (nbits >= 8) {
      nbits -= 8;
      out += static_cast<char>((bits >> nbits) & 0xFF);
    }
  }
  return out;
}

TEST(Base64Test, EncodeExamples) {
  EXPECT_EQ(Encode("Man"), "TWFu");
  EXPECT_EQ(Encode("Ma"), "TWE=");
  EXPECT_EQ(Encode("M"), "TQ==");
  EXPECT_EQ(Encode(""), "");
}

TEST(Base64Test, EncodeStandardVectors) {
  EXPECT_EQ(Encode("f"), "Zg==");
  EXPECT_EQ(Encode("fo"), "Zm8=");
  EXPECT_EQ(Encode("foo"), "Zm9v");
  EXPECT_EQ(Encode("foob"), "Zm9vYg==");
  EXPECT_EQ(Encode("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Encode("foobar"), "Zm9vYmFy");
  EXPECT_EQ(Encode(std::string("\xFB\xFF\xBF", 3)), "+/+/");
  EXPECT_EQ(Encode(std::string(3, '\0')), "AAAA");
  EXPECT_EQ(Encode(std::string(12, '\xFF')), std::string(16, '/'));
  EXPECT_EQ(Encode(std::string(14, '\xFF')), std::string(16, '/') + "//8=");
}

TEST(Base64Test, EncodeNullOrZeroLength) {
  EXPECT_EQ(base64_encode(nullptr, 5), "");
  const unsigned char byte = 'x';
  EXPECT_EQ(base64_encode(&byte, 0), "");
}

TEST(Base64Test, EncodeWritesNoLineBreaks) {
  const std::string out = Encode(std::string(1000, 'a'));
  EXPECT_EQ(out.size(), 1336u);
  EXPECT_EQ(out.find_first_not_of(kAlphabet + "="), std::string::npos);
}

TEST(Base64Test, DecodeExamples) {
  EXPECT_EQ(base64_decode("TWFu"), "Man");
  EXPECT_EQ(base64_decode("TWE="), "Ma");
  EXPECT_EQ(base64_decode("TQ=="), "M");
  EXPECT_EQ(base64_decode("TW\nFu"), "M");
  EXPECT_EQ(base64_decode(""), "");
  EXPECT_EQ(base64_decode("Zm9vYmFy"), "foobar");
}

TEST(Base64Test, DecodeStopsAtPaddingOrForeignByte) {
  EXPECT_EQ(base64_decode("TQ==TWFu"), "M");
  EXPECT_EQ(base64_decode("TWFu TWFu"), "Man");
  EXPECT_EQ(base64_decode("TWFuTW\r\nFu"), "ManM");
  EXPECT_EQ(base64_decode("TWFu-_"), "Man");  // the URL-safe characters are foreign here
  EXPECT_EQ(base64_decode("TWFu\xC3\xA9"), "Man");
  EXPECT_EQ(base64_decode(std::string("TWFu\0TWFu", 9)), "Man");
  EXPECT_EQ(base64_decode("=TWFu"), "");
  EXPECT_EQ(base64_decode(" TWFu"), "");
}

TEST(Base64Test, DecodeFinalPartialGroups) {
  EXPECT_EQ(base64_decode("TWFuTQ"), "ManM");
  EXPECT_EQ(base64_decode("TWFuTWE"), "ManMa");
  EXPECT_EQ(base64_decode("TWFuT"), "Man");  // a single character gives nothing
  EXPECT_EQ(base64_decode("T"), "");
  EXPECT_EQ(base64_decode("TW"), "M");
  EXPECT_EQ(base64_decode("TR=="), "M");  // unused low bits are ignored
}

TEST(Base64Test, EveryByteValueRoundTrips) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  for (std::size_t len = 0; len <= all.size(); ++len) {
    const std::string bytes = all.substr(all.size() - len);
    EXPECT_EQ(base64_decode(Encode(bytes)), bytes) << len;
  }
}

TEST(Base64Test, RandomRoundTripsMatchReference) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 2000; ++round) {
    // Mostly short inputs around the group edges, sometimes longer ones.
    const std::size_t len = round % 100 == 0 ? 5000 + rng() % 5000 : rng() % 70;
    std::string bytes(len, '\0');
    for (char& c : bytes) c = static_cast<char>(rng());
    const std::string text = Encode(bytes);
    ASSERT_EQ(text, ReferenceEncode(bytes)) << "round " << round << " length " << len;
    ASSERT_EQ(base64_decode(text), bytes) << "round " << round << " length " << len;
  }
}

TEST(Base64Test, RandomTextDecodesLikeReference) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed ^ 0x9E3779B9u);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const std::size_t len = rng() % 40;
    for (std::size_t i = 0; i < len; ++i) {
      const unsigned pick = rng() % 100;
      if (pick < 90)
        text += kAlphabet[rng() % 64];
      else if (pick < 94)
        text += '=';
      else if (pick < 97)
        text += "\n \t\r"[rng() % 4];
      else
        text += static_cast<char>(rng());
    }
    ASSERT_EQ(base64_decode(text), ReferenceDecode(text)) << "round " << round << " text " << text;
  }
}

// The command-line tool: encode a file, decode it again, and report input
// that stops being Base64 early.
TEST(Base64Test, ToolEncodesAndDecodesFiles) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::string dir = tavrin::test::FreshDir("base64-tool");
  std::string bytes;
  for (int i = 0; i < 1000; ++i) bytes += static_cast<char>((i * 37) & 0xFF);
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/in.bin", bytes));
  std::string out;
  ASSERT_EQ(tavrin::test::RunShell("'" + tool + "' base64 encode '" + dir + "/in.bin'", &out), 0);
  EXPECT_EQ(out, Encode(bytes) + "\n");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/in.b64", out));
  ASSERT_EQ(tavrin::test::RunShell("'" + tool + "' base64 decode < '" + dir + "/in.b64'", &out), 0);
  EXPECT_EQ(out, bytes);
  // Line-wrapped input (as other tools write it) decodes as one text.
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/wrapped.b64", "TWFu\nTWE=\n"));
  ASSERT_EQ(tavrin::test::RunShell("'" + tool + "' base64 decode '" + dir + "/wrapped.b64'", &out),
            0);
  EXPECT_EQ(out, "ManMa");
}

TEST(Base64Test, ToolReportsProblemsAndUsage) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::string dir = tavrin::test::FreshDir("base64-tool-bad");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/bad.b64", "TWFu*TWFu\n"));
  std::string out;
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' base64 decode '" + dir + "/bad.b64' 2>/dev/null",
                                   &out),
            1);
  EXPECT_EQ(out, "Man");  // what could be decoded is still written
  EXPECT_EQ(
      tavrin::test::RunShell("'" + tool + "' base64 decode '" + dir + "/missing' 2>/dev/null"), 1);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' base64 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' base64 rot13 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' base64 encode a b 2>/dev/null"), 2);
}

}  // namespace
