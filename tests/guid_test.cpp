// Tests of Guid: the three text forms on fixed and random identifiers,
// canonical scanning against the C library's own scan, parse failures that
// leave the target alone, and the version-4 bits of generated identifiers.
#include "common/utils/guid.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "common/utils/ustring.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::Guid;
using tavrin::utils::tavrin_ustring;

const char kBase64Alphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
const char kBase85Alphabet[] =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!#$%&^|*+,-./:;<=>?~`@_";

Guid Make(std::uint32_t d1, std::uint16_t d2, std::uint16_t d3, std::vector<std::uint8_t> d4) {
  Guid g;
  g.Data1 = d1;
  g.Data2 = d2;
  g.Data3 = d3;
  for (int i = 0; i < 8; ++i) g.Data4[i] = d4[i];
  return g;
}

Guid WorkedExample() {
  return Make(0x0123ABCD, 1, 2, {0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10, 0x11});
}

Guid RandomGuid(std::mt19937& rng) {
  std::uniform_int_distribution<std::uint32_t> dist;
  Guid g;
  g.Data1 = dist(rng);
  g.Data2 = static_cast<std::uint16_t>(dist(rng));
  g.Data3 = static_cast<std::uint16_t>(dist(rng));
  for (auto& b : g.Data4) b = static_cast<std::uint8_t>(dist(rng));
  return g;
}

// Reference writers, written the slow, obvious way.
std::string RefCanonical(const Guid& g) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", g.Data1,
                g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                g.Data4[5], g.Data4[6], g.Data4[7]);
  return buf;
}

// V = Data1|Data2|Data3|Data4 as a 128-bit big-endian number, written in
// base 64 with 22 digits by schoolbook division of the byte string.
std::string RefBase64(const Guid& g) {
  std::uint8_t v[16] = {
      static_cast<std::uint8_t>(g.Data1 >> 24), static_cast<std::uint8_t>(g.Data1 >> 16),
      static_cast<std::uint8_t>(g.Data1 >> 8),  static_cast<std::uint8_t>(g.Data1),
      static_cast<std::uint8_t>(g.Data2 >> 8),  static_cast<std::uint8_t>(g.Data2),
      static_cast<std::uint8_t>(g.Data3 >> 8),  static_cast<std::uint8_t>(g.Data3)};
  for (int i = 0; i < 8; ++i) v[8 + i] = g.Data4[i];
  std::string s(22, '?');
  for (int digit = 21; digit >= 0; --digit) {
    unsigned remainder = 0;
    for (auto& byte : v) {
      const unsigned cur = remainder * 256 + byte;
      byte = static_cast<std::uint8_t>(cur / 64);
      remainder = cur % 64;
    }
    s[digit] = kBase64Alphabet[remainder];
  }
  return s;
}

std::string RefBase85Group(std::uint64_t v) {
  std::string s(5, '?');
  for (int i = 4; i >= 0; --i) {
    s[i] = kBase85Alphabet[v % 85];
    v /= 85;
  }
  return s;
}

std::string RefBase85(const Guid& g) {
  std::uint32_t g3 = 0, g4 = 0;
  for (int i = 3; i >= 0; --i) g3 = g3 * 256 + g.Data4[i];
  for (int i = 7; i >= 4; --i) g4 = g4 * 256 + g.Data4[i];
  return RefBase85Group(g.Data1) + RefBase85Group(std::uint64_t{g.Data2} * 65536 + g.Data3) +
         RefBase85Group(g3) + RefBase85Group(g4);
}

// The C library's scan, as the canonical parser must behave.
bool RefScan(const char* text, Guid& out) {
  unsigned int f[11];
  if (std::sscanf(text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", &f[0], &f[1], &f[2],
                  &f[3], &f[4], &f[5], &f[6], &f[7], &f[8], &f[9], &f[10]) != 11 &&
      std::sscanf(text, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", &f[0], &f[1], &f[2],
                  &f[3], &f[4], &f[5], &f[6], &f[7], &f[8], &f[9], &f[10]) != 11)
    return false;
  out = Make(f[0], static_cast<std::uint16_t>(f[1]), static_cast<std::uint16_t>(f[2]),
             {static_cast<std::uint8_t>(f[3]), static_cast<std::uint8_t>(f[4]),
              static_cast<std::uint8_t>(f[5]), static_cast<std::uint8_t>(f[6]),
              static_cast<std::uint8_t>(f[7]), static_cast<std::uint8_t>(f[8]),
              static_cast<std::uint8_t>(f[9]), static_cast<std::uint8_t>(f[10])});
  return true;
}

// --- Layout and the null identifier --------------------------------------

TEST(GuidTest, LayoutIsSixteenBytesInFieldOrder) {
  EXPECT_EQ(sizeof(Guid), 16u);
  EXPECT_EQ(offsetof(Guid, Data1), 0u);
  EXPECT_EQ(offsetof(Guid, Data2), 4u);
  EXPECT_EQ(offsetof(Guid, Data3), 6u);
  EXPECT_EQ(offsetof(Guid, Data4), 8u);
}

TEST(GuidTest, DefaultIsNull) {
  Guid g;
  EXPECT_TRUE(g.IsNull());
  EXPECT_EQ(g.ToStdString(), "00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(g.ToBase64String(), std::string(22, '0'));
  EXPECT_EQ(g.ToBase85String(), std::string(20, '0'));
  for (int i = 0; i < 8; ++i) {
    Guid h;
    h.Data4[i] = 1;
    EXPECT_FALSE(h.IsNull()) << i;
  }
  Guid d1;
  d1.Data1 = 0x80000000u;
  EXPECT_FALSE(d1.IsNull());
  Guid d3;
  d3.Data3 = 1;
  EXPECT_FALSE(d3.IsNull());
}

TEST(GuidTest, EqualityComparesEveryField) {
  const Guid a = WorkedExample();
  EXPECT_TRUE(a.IsEqual(WorkedExample()));
  EXPECT_TRUE(a == WorkedExample());
  Guid b = a;
  b.Data4[7] ^= 1;
  EXPECT_FALSE(a.IsEqual(b));
  b = a;
  b.Data2 ^= 0x100;
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a != b);
}

// --- The worked examples ---------------------------------------------------

TEST(GuidTest, WorkedExampleWritesAllThreeForms) {
  const Guid g = WorkedExample();
  EXPECT_EQ(g.ToStdString(), "0123abcd-0001-0002-0a0b-0c0d0e0f1011");
  EXPECT_EQ(g.ToString(), tavrin_ustring("0123abcd-0001-0002-0a0b-0c0d0e0f1011"));
  EXPECT_EQ(g.ToBase64String(), "018wlD00400WeB30qE3n0H");
  EXPECT_EQ(g.ToBase85String(), "0VAu-009634Gaqk5fBd!");
}

TEST(GuidTest, WorkedExampleParsesBackFromEachForm) {
  for (const char* text :
       {"0123abcd-0001-0002-0a0b-0c0d0e0f1011", "018wlD00400WeB30qE3n0H", "0VAu-009634Gaqk5fBd!"}) {
    Guid g;
    EXPECT_TRUE(Guid::FromString(text, g)) << text;
    EXPECT_EQ(g, WorkedExample()) << text;
    Guid h;
    EXPECT_TRUE(h.SetFromString(std::string(text))) << text;
    EXPECT_EQ(h, WorkedExample()) << text;
    Guid u;
    EXPECT_TRUE(u.SetFromString(tavrin_ustring(text))) << text;
    EXPECT_EQ(u, WorkedExample()) << text;
    EXPECT_TRUE(Guid::StringIsGUID(text));
  }
  Guid g;
  EXPECT_TRUE(Guid::FromCanonicalString("0123abcd-0001-0002-0a0b-0c0d0e0f1011", g));
  EXPECT_EQ(g, WorkedExample());
  g = Guid();
  EXPECT_TRUE(Guid::FromBase64String("018wlD00400WeB30qE3n0H", g));
  EXPECT_EQ(g, WorkedExample());
  g = Guid();
  EXPECT_TRUE(Guid::FromBase85String("0VAu-009634Gaqk5fBd!", g));
  EXPECT_EQ(g, WorkedExample());
}

TEST(GuidTest, AllOnesIdentifier) {
  const Guid g = Make(0xFFFFFFFF, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255});
  EXPECT_EQ(g.ToStdString(), "ffffffff-ffff-ffff-ffff-ffffffffffff");
  EXPECT_EQ(g.ToBase64String(), "3" + std::string(21, '$'));
  // 4294967295 = 82*85^4 + 23*85^3 + 54*85^2 + 12*85 + 0.
  EXPECT_EQ(g.ToBase85String().substr(0, 5), "`NsC0");
  EXPECT_EQ(g.ToBase85String(), "`NsC0`NsC0`NsC0`NsC0");
  Guid back;
  EXPECT_TRUE(Guid::FromBase64String(g.ToBase64String(), back));
  EXPECT_EQ(back, g);
  back = Guid();
  EXPECT_TRUE(Guid::FromBase85String(g.ToBase85String(), back));
  EXPECT_EQ(back, g);
}

TEST(GuidTest, Base85ReadsData4LittleEndian) {
  // Data4 byte 0 is the least significant byte of group 3, byte 4 of group 4.
  Guid g = Make(0, 0, 0, {1, 0, 0, 0, 0, 0, 0, 2});
  EXPECT_EQ(g.ToBase85String(),
            "00000"
            "00000"
            "00001" +
                RefBase85Group(0x02000000u));
  // Groups 1 and 2 take the fields by value.
  g = Make(1, 0, 1, {0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(g.ToBase85String(),
            "00001"
            "00001"
            "00000"
            "00000");
  g = Make(0, 1, 0, {0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(g.ToBase85String().substr(5, 5), RefBase85Group(65536));
}

TEST(GuidTest, Base64GroupsFollowTheValueBigEndian) {
  // Only the low byte of Data3 set: bits 71..64 of V, the top of group 4.
  Guid g = Make(0, 0, 0x00FF, {0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(g.ToBase64String(),
            "00"
            "0000"
            "0000"
            "$m00"
            "0000"
            "0000");
  g = Make(0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1});
  EXPECT_EQ(g.ToBase64String(), std::string(21, '0') + "1");
  g = Make(0x01000000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(g.ToBase64String(), "01" + std::string(20, '0'));
}

// --- Canonical scanning ----------------------------------------------------

TEST(GuidTest, CanonicalAcceptsUpperCaseAndBraces) {
  const Guid expected = WorkedExample();
  for (const char* text :
       {"0123ABCD-0001-0002-0A0B-0C0D0E0F1011", "{0123abcd-0001-0002-0a0b-0c0d0e0f1011}",
        "{0123abcd-0001-0002-0a0b-0c0d0e0f1011", "{0123AbCd-0001-0002-0a0B-0c0D0e0F1011}"}) {
    Guid g;
    EXPECT_TRUE(Guid::FromCanonicalString(text, g)) << text;
    EXPECT_EQ(g, expected) << text;
  }
}

TEST(GuidTest, CanonicalFollowsFormattedInputRules) {
  Guid g;
  // Short fields.
  EXPECT_TRUE(Guid::FromCanonicalString("1-2-3-405-060708090a0b", g));
  EXPECT_EQ(g, Make(1, 2, 3, {0x40, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b}));
  // Leading blanks before the first field and before later fields.
  EXPECT_TRUE(Guid::FromCanonicalString("  \t0123abcd- 0001-0002-0a0b-0c0d0e0f1011", g));
  EXPECT_EQ(g, WorkedExample());
  // Trailing text is ignored.
  EXPECT_TRUE(Guid::FromCanonicalString("0123abcd-0001-0002-0a0b-0c0d0e0f1011 and more", g));
  EXPECT_EQ(g, WorkedExample());
  EXPECT_TRUE(Guid::FromCanonicalString("0123abcd-0001-0002-0a0b-0c0d0e0f1011ff", g));
  EXPECT_EQ(g, WorkedExample());
  // A text one digit short still gives eleven fields (the last one is "1").
  EXPECT_TRUE(Guid::FromCanonicalString("0123abcd-0001-0002-0a0b-0c0d0e0f101", g));
  EXPECT_EQ(g.Data4[7], 0x01);
  EXPECT_EQ(g.Data4[6], 0x10);
}

TEST(GuidTest, CanonicalRejectsTextWithFewerThanElevenFields) {
  const Guid before = WorkedExample();
  for (const char* text :
       {"", " ", "{", "}", "0123abcd-0001-0002-0a0b-0c0d0e0f10", "0123abcd-0001-0002-0a0b",
        "0123abcd_0001_0002_0a0b_0c0d0e0f1011", " {0123abcd-0001-0002-0a0b-0c0d0e0f1011}",
        "g123abcd-0001-0002-0a0b-0c0d0e0f1011", "0123abcd-0001-0002-0a0b-0c0d0e0f10:11",
        "[0123abcd-0001-0002-0a0b-0c0d0e0f1011]"}) {
    Guid g = before;
    EXPECT_FALSE(Guid::FromCanonicalString(text, g)) << text;
    EXPECT_EQ(g, before) << text;
    EXPECT_FALSE(g.SetFromCanonicalString(std::string(text))) << text;
    EXPECT_EQ(g, before) << text;
  }
}

TEST(GuidTest, CanonicalStopsAtEveryTruncation) {
  // Every prefix of a canonical text, each in a buffer of its exact size, so
  // a read past the terminator shows up under AddressSanitizer.
  const std::string full = "{0123abcd-0001-0002-0a0b-0c0d0e0f1011}";
  for (std::size_t n = 0; n <= full.size(); ++n) {
    std::vector<char> buffer(full.begin(), full.begin() + static_cast<long>(n));
    buffer.push_back('\0');
    Guid ours = Make(7, 7, 7, {7, 7, 7, 7, 7, 7, 7, 7});
    Guid ref = ours;
    const bool ok = Guid::FromCanonicalString(buffer.data(), ours);
    EXPECT_EQ(ok, RefScan(buffer.data(), ref)) << n;
    EXPECT_EQ(ours, ref) << n;
    std::vector<char> bare(full.begin() + 1,
                           full.begin() + 1 + static_cast<long>(std::min<std::size_t>(n, 36)));
    bare.push_back('\0');
    ours = ref = Guid();
    EXPECT_EQ(Guid::FromCanonicalString(bare.data(), ours), RefScan(bare.data(), ref)) << n;
    EXPECT_EQ(ours, ref) << n;
  }
}

TEST(GuidTest, CanonicalAgreesWithTheCLibraryScanOnMutatedText) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const std::string alphabet = "0123456789abcdefABCDEF-{} \txX+g";
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  int accepted = 0;
  for (int i = 0; i < 5000; ++i) {
    std::string text = RandomGuid(rng).ToStdString();
    if (rng() % 3 == 0) text = "{" + text + "}";
    const int mutations = static_cast<int>(rng() % 4);
    for (int m = 0; m < mutations; ++m) text[rng() % text.size()] = alphabet[pick(rng)];
    if (rng() % 5 == 0) text.resize(rng() % (text.size() + 1));
    Guid ours, ref;
    const bool ok = Guid::FromCanonicalString(text, ours);
    ASSERT_EQ(ok, RefScan(text.c_str(), ref)) << text;
    ASSERT_EQ(ours, ref) << text;
    accepted += ok;
  }
  // Both outcomes are exercised.
  EXPECT_GT(accepted, 500);
  EXPECT_LT(accepted, 4900);
}

// --- Compact forms: failures -----------------------------------------------

TEST(GuidTest, Base64NeedsExactlyTwentyTwoAlphabetBytes) {
  const Guid before = WorkedExample();
  Guid g = before;
  EXPECT_FALSE(Guid::FromBase64String("018wlD00400WeB30qE3n0", g));    // 21
  EXPECT_FALSE(Guid::FromBase64String("018wlD00400WeB30qE3n0HH", g));  // 23
  EXPECT_FALSE(Guid::FromBase64String("", g));
  EXPECT_FALSE(Guid::FromBase64String("018wlD00400WeB30qE3n0+", g));
  EXPECT_FALSE(Guid::FromBase64String("018wlD00400WeB30qE3n0 ", g));
  EXPECT_FALSE(Guid::FromBase64String(std::string("018wlD00400WeB30qE3n0\0", 22), g));
  EXPECT_FALSE(Guid::FromBase64String("-18wlD00400WeB30qE3n0H", g));
  EXPECT_EQ(g, before);
  // Every single-byte substitution outside the alphabet fails.
  for (int c = 0; c < 256; ++c) {
    if (c != 0 && std::strchr(kBase64Alphabet, c) != nullptr) continue;
    std::string text = "018wlD00400WeB30qE3n0H";
    text[static_cast<std::size_t>(c) % 22] = static_cast<char>(c);
    EXPECT_FALSE(Guid::FromBase64String(text, g)) << c;
  }
  EXPECT_EQ(g, before);
}

TEST(GuidTest, Base64FirstDigitAboveThreeLosesHighBits) {
  Guid g = WorkedExample();
  // "40" is 256 << 24 = 2^32: Data1 wraps to 0.
  EXPECT_TRUE(Guid::FromBase64String("40" + std::string(20, '0'), g));
  EXPECT_TRUE(g.IsNull());
  EXPECT_TRUE(Guid::FromBase64String("$$" + std::string(20, '$'), g));
  EXPECT_EQ(g, Make(0xFFFFFFFF, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}));
}

TEST(GuidTest, Base85NeedsExactlyTwentyAlphabetBytes) {
  const Guid before = WorkedExample();
  Guid g = before;
  EXPECT_FALSE(Guid::FromBase85String("0VAu-009634Gaqk5fBd ", g));   // space
  EXPECT_FALSE(Guid::FromBase85String("0VAu-009634Gaqk5fBd", g));    // 19
  EXPECT_FALSE(Guid::FromBase85String("0VAu-009634Gaqk5fBd!!", g));  // 21
  EXPECT_FALSE(Guid::FromBase85String("0VAu-009634Gaqk5fBd\"", g));
  EXPECT_FALSE(Guid::FromBase85String("0VAu-009634Gaqk5fBd'", g));
  EXPECT_FALSE(Guid::FromBase85String("0VAu-009634Gaqk5fBd\\", g));
  EXPECT_FALSE(Guid::FromBase85String("0VAu-009634Gaqk5fBd}", g));
  EXPECT_EQ(g, before);
  for (int c = 0; c < 256; ++c) {
    if (c != 0 && std::strchr(kBase85Alphabet, c) != nullptr) continue;
    std::string text = "0VAu-009634Gaqk5fBd!";
    text[static_cast<std::size_t>(c) % 20] = static_cast<char>(c);
    EXPECT_FALSE(Guid::FromBase85String(text, g)) << c;
  }
  EXPECT_EQ(g, before);
}

TEST(GuidTest, Base85GroupAboveThirtyTwoBitsWraps) {
  Guid g;
  // "_____" is 85^5 - 1 = 4437053124, which wraps to 142085828.
  EXPECT_TRUE(Guid::FromBase85String("_____" + std::string(15, '0'), g));
  EXPECT_EQ(g.Data1, static_cast<std::uint32_t>(4437053124ull));
  EXPECT_EQ(g.Data2, 0);
}

// --- FromString, StringIsGUID, overloads -----------------------------------

TEST(GuidTest, FromStringTriesTheFormsInOrder) {
  Guid g;
  // A 22-character text that scans as canonical text is taken canonically.
  const char* both = "1-2-3-4 5-6 7 8 9 a bc";
  ASSERT_EQ(std::strlen(both), 22u);
  EXPECT_TRUE(Guid::FromString(both, g));
  EXPECT_EQ(g, Make(1, 2, 3, {4, 5, 6, 7, 8, 9, 0xa, 0xbc}));
  // Compact texts that do not scan canonically.
  EXPECT_TRUE(Guid::FromString("3" + std::string(21, '$'), g));
  EXPECT_EQ(g.Data1, 0xFFFFFFFFu);
  EXPECT_TRUE(Guid::FromString(std::string(20, '0'), g));
  EXPECT_TRUE(g.IsNull());
}

TEST(GuidTest, StringIsGuid) {
  EXPECT_FALSE(Guid::StringIsGUID(""));
  EXPECT_FALSE(Guid::StringIsGUID(std::string()));
  EXPECT_FALSE(Guid::StringIsGUID(tavrin_ustring()));
  EXPECT_FALSE(Guid::StringIsGUID("not an identifier"));
  EXPECT_FALSE(Guid::StringIsGUID("018wlD00400WeB30qE3n0"));
  EXPECT_TRUE(Guid::StringIsGUID("018wlD00400WeB30qE3n0H"));
  EXPECT_TRUE(Guid::StringIsGUID("0VAu-009634Gaqk5fBd!"));
  EXPECT_TRUE(Guid::StringIsGUID(tavrin_ustring("{0123abcd-0001-0002-0a0b-0c0d0e0f1011}")));
}

TEST(GuidTest, NullPointerIsFalseEverywhere) {
  const Guid before = WorkedExample();
  Guid g = before;
  const char* null = nullptr;
  EXPECT_FALSE(Guid::FromString(null, g));
  EXPECT_FALSE(Guid::FromCanonicalString(null, g));
  EXPECT_FALSE(Guid::FromBase64String(null, g));
  EXPECT_FALSE(Guid::FromBase85String(null, g));
  EXPECT_FALSE(g.SetFromString(null));
  EXPECT_FALSE(g.SetFromCanonicalString(null));
  EXPECT_FALSE(g.SetFromBase64String(null));
  EXPECT_FALSE(g.SetFromBase85String(null));
  EXPECT_FALSE(Guid::StringIsGUID(null));
  EXPECT_EQ(g, before);
}

TEST(GuidTest, UstringOverloadsMatchTheByteOverloads) {
  const Guid g = WorkedExample();
  Guid a, b;
  EXPECT_TRUE(a.SetFromCanonicalString(g.ToString()));
  EXPECT_EQ(a, g);
  EXPECT_TRUE(b.SetFromBase64String(tavrin_ustring(g.ToBase64String())));
  EXPECT_EQ(b, g);
  Guid c;
  EXPECT_TRUE(c.SetFromBase85String(tavrin_ustring(g.ToBase85String())));
  EXPECT_EQ(c, g);
  // Non-ASCII text is converted to UTF-8 first, so it is longer in bytes and
  // has bytes outside every alphabet.
  Guid d = g;
  EXPECT_FALSE(d.SetFromBase64String(tavrin_ustring("018wlD00400WeB30qE3n0\xC3\xA9")));
  EXPECT_FALSE(d.SetFromBase85String(tavrin_ustring("0VAu-009634Gaqk5fB\xC3\xA9")));
  EXPECT_FALSE(d.SetFromString(tavrin_ustring("\xE2\x82\xAC")));
  EXPECT_EQ(d, g);
  // A long text takes the converting path and still parses canonically.
  tavrin_ustring longer = g.ToString() + tavrin_ustring(" \xC3\xA9 trailing text of some length");
  EXPECT_TRUE(d.SetFromCanonicalString(longer));
  EXPECT_EQ(d, g);
}

// --- Random identifiers ----------------------------------------------------

TEST(GuidTest, RandomIdentifiersMatchReferenceWritersAndRoundTrip) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int i = 0; i < 2000; ++i) {
    const Guid g = RandomGuid(rng);
    const std::string canonical = g.ToStdString();
    const std::string b64 = g.ToBase64String();
    const std::string b85 = g.ToBase85String();
    ASSERT_EQ(canonical, RefCanonical(g));
    ASSERT_EQ(b64, RefBase64(g));
    ASSERT_EQ(b85, RefBase85(g));
    ASSERT_EQ(g.ToString(), tavrin_ustring(canonical));
    ASSERT_LE(b64[0], '3');
    Guid back;
    ASSERT_TRUE(Guid::FromString(canonical, back));
    ASSERT_EQ(back, g) << canonical;
    back = Guid();
    ASSERT_TRUE(Guid::FromString(b64, back));
    ASSERT_EQ(back, g) << b64;
    back = Guid();
    ASSERT_TRUE(Guid::FromString(b85, back));
    ASSERT_EQ(back, g) << b85;
    back = Guid();
    ASSERT_TRUE(back.SetFromString(tavrin_ustring(b85)));
    ASSERT_EQ(back, g) << b85;
    // Upper-case canonical text reads the same.
    std::string upper = canonical;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    back = Guid();
    ASSERT_TRUE(Guid::FromCanonicalString(upper, back));
    ASSERT_EQ(back, g) << upper;
  }
}

// --- Generate ---------------------------------------------------------------

TEST(GuidTest, GenerateMakesVersionFourUuids) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    Guid g;
    g.Generate();
    ASSERT_FALSE(g.IsNull());
    const std::string text = g.ToStdString();
    // Byte 6 (the low byte of Data3) carries the version, byte 8 (Data4[0])
    // the variant; the bytes are copied in order, so the version digit is
    // at index 16, not 14.
    EXPECT_EQ(g.Data3 & 0x00F0, 0x0040) << text;
    EXPECT_EQ(g.Data4[0] & 0xC0, 0x80) << text;
    EXPECT_EQ(text[16], '4') << text;
    EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos) << text;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

TEST(GuidTest, GenerateReplacesEveryField) {
  // With 122 random bits, a field keeping its old value in all of 64 tries
  // would mean it is never written.
  bool changed[4] = {};
  for (int i = 0; i < 64; ++i) {
    Guid g = Make(0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0});
    g.Generate();
    changed[0] |= g.Data1 != 0;
    changed[1] |= g.Data2 != 0;
    changed[2] |= (g.Data3 & 0xFF0F) != 0;
    changed[3] |= g.Data4[7] != 0;
  }
  EXPECT_TRUE(changed[0] && changed[1] && changed[2] && changed[3]);
}

// --- The tool ----------------------------------------------------------------

TEST(GuidTest, ToolPrintsAllThreeForms) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  EXPECT_EQ(tavrin::test::RunShell(tool + " guid 018wlD00400WeB30qE3n0H", &out), 0);
  EXPECT_NE(out.find("0123abcd-0001-0002-0a0b-0c0d0e0f1011"), std::string::npos) << out;
  EXPECT_NE(out.find("018wlD00400WeB30qE3n0H"), std::string::npos) << out;
  EXPECT_NE(out.find("0VAu-009634Gaqk5fBd!"), std::string::npos) << out;
  EXPECT_EQ(tavrin::test::RunShell(tool + " guid 'no such thing' 2>/dev/null", &out), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(tavrin::test::RunShell(tool + " guid a b 2>/dev/null"), 2);
  ASSERT_EQ(tavrin::test::RunShell(tool + " guid", &out), 0);
  // A fresh identifier: the canonical line parses and is version 4.
  const std::size_t at = out.find("canonical");
  ASSERT_NE(at, std::string::npos) << out;
  Guid g;
  EXPECT_TRUE(
      Guid::FromCanonicalString(out.substr(out.find_first_of("0123456789abcdef", at + 9)), g))
      << out;
  EXPECT_EQ(g.Data3 & 0x00F0, 0x0040) << out;
}

}  // namespace
