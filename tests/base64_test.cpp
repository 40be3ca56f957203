// Tests of base64_encode and base64_decode: the standard vectors, where
// decoding stops, random round trips and a differential check against a
// bit-by-bit reference, the same checks on every vector kernel, plus the
// `tavrin base64` command.
#include "common/utils/base64.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "common/utils/internal/base64_internal.h"
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

// --------------------------------------------------------------------------
// Every kernel (scalar, 256-bit, 512-bit) on the same inputs, compared with
// the reference coders: every length around the block sizes, long inputs,
// every byte value at every position of a block, padding variants.
// --------------------------------------------------------------------------

using tavrin::utils::detail::Base64Kernel;

// Runs `body` once per kernel this processor supports.
template <class Body>
void ForEachKernel(Body body) {
  const Base64Kernel before = tavrin::utils::detail::ActiveBase64Kernel();
  for (Base64Kernel k : {Base64Kernel::kScalar, Base64Kernel::kAvx2, Base64Kernel::kAvx512}) {
    if (!tavrin::utils::detail::SetBase64Kernel(k)) {
      std::printf("kernel %d not supported here: its run is left out\n", static_cast<int>(k));
      continue;
    }
    SCOPED_TRACE(testing::Message() << "kernel " << static_cast<int>(k));
    body();
    if (testing::Test::HasFatalFailure()) break;
  }
  (void)tavrin::utils::detail::SetBase64Kernel(before);
}

std::string RandomBytes(std::mt19937& rng, std::size_t len) {
  std::string bytes(len, '\0');
  for (char& c : bytes) c = static_cast<char>(rng());
  return bytes;
}

std::string RandomAlphabetText(std::mt19937& rng, std::size_t len) {
  std::string text(len, 'A');
  for (char& c : text) c = kAlphabet[rng() % 64];
  return text;
}

TEST(Base64Test, KernelChoiceFollowsTheProcessor) {
  using tavrin::utils::detail::ActiveBase64Kernel;
  using tavrin::utils::detail::BestBase64Kernel;
  using tavrin::utils::detail::SetBase64Kernel;
  const Base64Kernel before = ActiveBase64Kernel();
  EXPECT_EQ(before, BestBase64Kernel());
  EXPECT_TRUE(SetBase64Kernel(Base64Kernel::kScalar));
  EXPECT_EQ(ActiveBase64Kernel(), Base64Kernel::kScalar);
  // The best kernel can always be chosen again.
  EXPECT_TRUE(SetBase64Kernel(BestBase64Kernel()));
  EXPECT_EQ(ActiveBase64Kernel(), BestBase64Kernel());
  // A kernel beyond the best one is refused when the processor lacks it.
  if (BestBase64Kernel() == Base64Kernel::kScalar) {
    EXPECT_FALSE(SetBase64Kernel(Base64Kernel::kAvx512));
    EXPECT_EQ(ActiveBase64Kernel(), Base64Kernel::kScalar);
  }
  (void)SetBase64Kernel(before);
}

TEST(Base64Test, KernelsMatchReferenceAtEveryShortLength) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed ^ 0x5EEDu);
  std::vector<std::string> inputs, encoded;
  for (std::size_t len = 0; len <= 200; ++len) {
    inputs.push_back(RandomBytes(rng, len));
    encoded.push_back(ReferenceEncode(inputs.back()));
  }
  ForEachKernel([&] {
    for (std::size_t len = 0; len < inputs.size(); ++len) {
      ASSERT_EQ(Encode(inputs[len]), encoded[len]) << "length " << len;
      ASSERT_EQ(base64_decode(encoded[len]), inputs[len]) << "length " << len;
      // The same text without its padding, and cut at every length below
      // it, decodes like the reference.
      const std::string bare = encoded[len].substr(0, encoded[len].find('='));
      ASSERT_EQ(base64_decode(bare), inputs[len]) << "length " << len;
      ASSERT_EQ(base64_decode(encoded[len].substr(0, len)),
                ReferenceDecode(encoded[len].substr(0, len)))
          << "length " << len;
    }
  });
}

TEST(Base64Test, KernelsMatchReferenceOnLongInputs) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed ^ 0x10A9u);
  std::vector<std::string> inputs, encoded;
  for (std::size_t len : {1000u, 4095u, 4096u, 4097u, 65536u, 100001u, 262143u}) {
    inputs.push_back(RandomBytes(rng, len));
    encoded.push_back(ReferenceEncode(inputs.back()));
  }
  // Long alphabet text of every length modulo 64, with no padding.
  std::vector<std::string> texts, decoded;
  for (std::size_t extra = 0; extra < 64; ++extra) {
    texts.push_back(RandomAlphabetText(rng, 3000 + extra));
    decoded.push_back(ReferenceDecode(texts.back()));
  }
  ForEachKernel([&] {
    for (std::size_t k = 0; k < inputs.size(); ++k) {
      ASSERT_EQ(Encode(inputs[k]), encoded[k]) << "length " << inputs[k].size();
      ASSERT_EQ(base64_decode(encoded[k]), inputs[k]) << "length " << inputs[k].size();
    }
    for (std::size_t k = 0; k < texts.size(); ++k)
      ASSERT_EQ(base64_decode(texts[k]), decoded[k]) << "length " << texts[k].size();
  });
}

// Every byte value (alphabet or not) at every position of the first two
// 64-character blocks and of a short tail.
TEST(Base64Test, KernelsDecodeEveryByteAtEveryPosition) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed ^ 0xB10Cu);
  const std::string base = RandomAlphabetText(rng, 150);
  std::vector<std::string> texts, decoded;
  for (std::size_t pos = 0; pos < base.size(); ++pos) {
    for (int b = 0; b < 256; ++b) {
      std::string text = base;
      text[pos] = static_cast<char>(b);
      decoded.push_back(ReferenceDecode(text));
      texts.push_back(std::move(text));
    }
  }
  ForEachKernel([&] {
    for (std::size_t k = 0; k < texts.size(); ++k) {
      ASSERT_EQ(base64_decode(texts[k]), decoded[k])
          << "byte " << (k % 256) << " at position " << (k / 256);
    }
  });
}

// Padding and line breaks where encoders put them: inside, between and
// after blocks, and texts joined after their padding.
TEST(Base64Test, KernelsStopAtPaddingAndLineBreaks) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed ^ 0x9ADu);
  std::vector<std::string> texts;
  for (std::size_t len = 60; len < 140; ++len) {
    const std::string a = ReferenceEncode(RandomBytes(rng, len));
    const std::string b = ReferenceEncode(RandomBytes(rng, 50));
    texts.push_back(a + b);
    texts.push_back(a + "\n" + b);
    texts.push_back(a + "\r\n");
    texts.push_back(a + "==" + b);
    texts.push_back(a.substr(0, a.size() - 1) + "=" + b);
    std::string wrapped;  // 76-character lines
    for (std::size_t i = 0; i < a.size(); i += 76) wrapped += a.substr(i, 76) + "\n";
    texts.push_back(wrapped);
    texts.push_back(std::string(len, '='));
    texts.push_back(RandomAlphabetText(rng, len) + "=");
  }
  std::vector<std::string> decoded;
  for (const std::string& t : texts) decoded.push_back(ReferenceDecode(t));
  ForEachKernel([&] {
    for (std::size_t k = 0; k < texts.size(); ++k)
      ASSERT_EQ(base64_decode(texts[k]), decoded[k]) << "text " << texts[k];
  });
}

TEST(Base64Test, KernelsMatchReferenceOnRandomText) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed ^ 0x7E47u);
  std::vector<std::string> texts, decoded;
  for (int round = 0; round < 400; ++round) {
    // Long alphabet runs with a rare foreign byte, so runs end anywhere.
    std::string text;
    const std::size_t len = rng() % 600;
    for (std::size_t i = 0; i < len; ++i)
      text += rng() % 300 == 0 ? static_cast<char>(rng()) : kAlphabet[rng() % 64];
    decoded.push_back(ReferenceDecode(text));
    texts.push_back(std::move(text));
  }
  ForEachKernel([&] {
    for (std::size_t k = 0; k < texts.size(); ++k)
      ASSERT_EQ(base64_decode(texts[k]), decoded[k]) << "round " << k << " text " << texts[k];
  });
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
