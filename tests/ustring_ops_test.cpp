// Tests of the tavrin_ustring operations: searching, trimming, case,
// case-insensitive and natural-order comparison, replacement, extraction,
// tokenising, numbers and the UTF-8 append operator.
#include <gtest/gtest.h>
#include <locale.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "common/utils/ustring.h"
#include "tests/test_support.h"

using tavrin::utils::tavrin_ustring;

namespace {

constexpr auto npos = tavrin_ustring::npos;

tavrin_ustring U(const char* utf8) {
  return tavrin_ustring(utf8);
}

// Units given one by one (for surrogates and other units UTF-8 cannot carry
// alone).
tavrin_ustring Units(std::initializer_list<unsigned short> units) {
  std::vector<unsigned short> v(units);
  return tavrin_ustring(v.data(), v.size());
}

bool HaveUtf8Ctype() {
  locale_t loc = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  if (loc == static_cast<locale_t>(0)) return false;
  freelocale(loc);
  return true;
}

// Sets the process locale for the life of the object, then restores "C".
class ScopedGlobalLocale {
 public:
  explicit ScopedGlobalLocale(const char* name) { ok_ = setlocale(LC_ALL, name) != nullptr; }
  ~ScopedGlobalLocale() { setlocale(LC_ALL, "C"); }
  bool ok() const { return ok_; }

 private:
  bool ok_;
};

int Sign(int v) {
  return (v > 0) - (v < 0);
}

// --- Searching -------------------------------------------------------------

TEST(UstringOpsTest, FindSubstringAndUnit) {
  tavrin_ustring s = U("abcabc");
  EXPECT_EQ(s.find(U("bc")), 1u);
  EXPECT_EQ(s.find(U("bc"), 2), 4u);
  EXPECT_EQ(s.find(U("bd")), npos);
  EXPECT_EQ(s.find(U("abcabcx")), npos);
  EXPECT_EQ(s.find('c'), 2u);
  EXPECT_EQ(s.find('c', 3), 5u);
  EXPECT_EQ(s.find('c', 6), npos);
  EXPECT_EQ(s.find('c', 100), npos);
  EXPECT_EQ(s.find(U("a"), 100), npos);
}

TEST(UstringOpsTest, FindEmptyNeedleAtStartPosition) {
  tavrin_ustring s = U("abc");
  EXPECT_EQ(s.find(tavrin_ustring()), 0u);
  EXPECT_EQ(s.find(tavrin_ustring(), 2), 2u);
  EXPECT_EQ(s.find(tavrin_ustring(), 4), npos);
  EXPECT_EQ(tavrin_ustring().find(U("a")), npos);
}

TEST(UstringOpsTest, RfindSubstringAndUnit) {
  tavrin_ustring s = U("abcabc");
  EXPECT_EQ(s.rfind(U("bc")), 4u);
  EXPECT_EQ(s.rfind(U("bc"), 3), 1u);
  EXPECT_EQ(s.rfind(U("bc"), 0), npos);
  EXPECT_EQ(s.rfind('a'), 3u);
  EXPECT_EQ(s.rfind('a', 2), 0u);
  EXPECT_EQ(s.rfind('x'), npos);
  EXPECT_EQ(s.rfind(tavrin_ustring()), 6u);
}

TEST(UstringOpsTest, FindOfSets) {
  tavrin_ustring s = U("key = value;");
  EXPECT_EQ(s.find_first_of(U("=;")), 4u);
  EXPECT_EQ(s.find_first_of(U("=;"), 5), 11u);
  EXPECT_EQ(s.find_first_of(';'), 11u);
  EXPECT_EQ(s.find_last_of(U("e ")), 10u);
  EXPECT_EQ(s.find_last_of(U("e "), 9), 5u);
  EXPECT_EQ(s.find_last_of('k'), 0u);
  EXPECT_EQ(s.find_first_not_of(U("key")), 3u);
  EXPECT_EQ(s.find_first_not_of('k'), 1u);
  EXPECT_EQ(s.find_last_not_of(U(";eu")), 8u);
  EXPECT_EQ(s.find_last_not_of(';'), 10u);
  EXPECT_EQ(s.find_first_of(U("xwz")), npos);
  EXPECT_EQ(s.find_first_of(U("k"), 50), npos);
}

TEST(UstringOpsTest, EmptySetNeverMatchesAndAlwaysMisses) {
  tavrin_ustring s = U("abc");
  EXPECT_EQ(s.find_first_of(tavrin_ustring()), npos);
  EXPECT_EQ(s.find_last_of(tavrin_ustring()), npos);
  EXPECT_EQ(s.find_first_not_of(tavrin_ustring()), 0u);
  EXPECT_EQ(s.find_first_not_of(tavrin_ustring(), 2), 2u);
  EXPECT_EQ(s.find_last_not_of(tavrin_ustring()), 2u);
  EXPECT_EQ(tavrin_ustring().find_first_not_of(tavrin_ustring()), npos);
}

TEST(UstringOpsTest, SearchCountsUtf16Units) {
  // U+1F600 takes two units, so "x" after it is at unit 3.
  tavrin_ustring s = U("\xC3\xA9\xF0\x9F\x98\x80x");
  EXPECT_EQ(s.size(), 4u);
  EXPECT_EQ(s.find('x'), 3u);
  EXPECT_EQ(s.find(static_cast<unsigned short>(0xDE00)), 2u);
  EXPECT_EQ(s.find(U("\xC3\xA9")), 0u);
  EXPECT_EQ(s.find_first_of(Units({0xD83D})), 1u);
}

// --- Trimming --------------------------------------------------------------

TEST(UstringOpsTest, TrimAsciiWhiteSpace) {
  tavrin_ustring s = U(" \t a b \n");
  EXPECT_EQ(s.trim().utf8(), "a b");
  EXPECT_EQ(s.utf8(), "a b");
  tavrin_ustring all = U("\r\n\v\f \t");
  EXPECT_TRUE(all.trim().empty());
  tavrin_ustring none = U("ab");
  EXPECT_EQ(none.trim().utf8(), "ab");
  tavrin_ustring empty;
  EXPECT_TRUE(empty.trim().empty());
}

TEST(UstringOpsTest, TrimLeftAndRightInPlace) {
  tavrin_ustring l = U("  x  ");
  EXPECT_EQ(l.trim_left().utf8(), "x  ");
  tavrin_ustring r = U("  x  ");
  EXPECT_EQ(r.trim_right().utf8(), "  x");
  tavrin_ustring both = U("\t");
  EXPECT_TRUE(both.trim_left().empty());
}

TEST(UstringOpsTest, ConstTrimReturnsCopy) {
  const tavrin_ustring s = U("  x y  ");
  EXPECT_EQ(s.trim().utf8(), "x y");
  EXPECT_EQ(s.trim_left().utf8(), "x y  ");
  EXPECT_EQ(s.trim_right().utf8(), "  x y");
  EXPECT_EQ(s.utf8(), "  x y  ");
}

TEST(UstringOpsTest, TrimUnicodeSpaceIndependentOfSetlocale) {
  if (!HaveUtf8Ctype()) GTEST_SKIP() << "no C.UTF-8 locale on this system";
  // EM SPACE and IDEOGRAPHIC SPACE are spaces; e-acute is not.
  for (const char* name : {"C", "C.UTF-8"}) {
    ScopedGlobalLocale global(name);
    ASSERT_TRUE(global.ok()) << name;
    tavrin_ustring s = U("\xE2\x80\x83\xE3\x80\x80 \xC3\xA9t\xC3\xA9\xE3\x80\x80");
    EXPECT_EQ(s.trim().utf8(), "\xC3\xA9t\xC3\xA9") << name;
  }
}

TEST(UstringOpsTest, TrimKeepsSurrogates) {
  tavrin_ustring s = Units({' ', 0xD83D, 0xDE00, ' '});
  s.trim();
  EXPECT_EQ(s.size(), 2u);
  EXPECT_EQ(s[0], 0xD83D);
}

TEST(UstringOpsTest, TrimLeftWithSet) {
  tavrin_ustring s = U("abcab");
  EXPECT_EQ(s.TrimLeft(U("ab")).utf8(), "cab");
  tavrin_ustring all = U("abab");
  EXPECT_TRUE(all.TrimLeft(U("ba")).empty());
  tavrin_ustring keep = U("xab");
  EXPECT_EQ(keep.TrimLeft(U("ab")).utf8(), "xab");
  EXPECT_EQ(keep.TrimLeft(tavrin_ustring()).utf8(), "xab");
}

TEST(UstringOpsTest, TrimRightWithSet) {
  tavrin_ustring s = U("xxx");
  EXPECT_TRUE(s.TrimRight(U("x")).empty());
  tavrin_ustring path = U("/a/b//");
  EXPECT_EQ(path.TrimRight(U("/")).utf8(), "/a/b");
  EXPECT_EQ(path.TrimRight(tavrin_ustring()).utf8(), "/a/b");
  tavrin_ustring empty;
  EXPECT_TRUE(empty.TrimRight(U("x")).empty());
}

// --- Case ------------------------------------------------------------------

TEST(UstringOpsTest, AsciiCase) {
  tavrin_ustring s = U("Hello, World 42_z");
  EXPECT_EQ(s.GetUppercase().utf8(), "HELLO, WORLD 42_Z");
  EXPECT_EQ(s.GetLowercase().utf8(), "hello, world 42_z");
  EXPECT_EQ(s.utf8(), "Hello, World 42_z");
  EXPECT_EQ(s.toupper().utf8(), "HELLO, WORLD 42_Z");
  EXPECT_EQ(s.tolower().utf8(), "hello, world 42_z");
}

TEST(UstringOpsTest, UnicodeCaseIndependentOfSetlocale) {
  if (!HaveUtf8Ctype()) GTEST_SKIP() << "no C.UTF-8 locale on this system";
  for (const char* name : {"C", "C.UTF-8"}) {
    ScopedGlobalLocale global(name);
    ASSERT_TRUE(global.ok()) << name;
    // e-acute, sigma, zhe, a-grave.
    tavrin_ustring s = U("\xC3\xA9\xCF\x83\xD0\xB6\xC3\x80");
    EXPECT_EQ(s.GetUppercase().utf8(), "\xC3\x89\xCE\xA3\xD0\x96\xC3\x80") << name;
    EXPECT_EQ(s.GetLowercase().utf8(), "\xC3\xA9\xCF\x83\xD0\xB6\xC3\xA0") << name;
  }
}

TEST(UstringOpsTest, CaseMappingKeepsLength) {
  // Sharp s has no one-unit upper case; the mapping never changes the length.
  tavrin_ustring s =
      U("stra\xC3\x9F"
        "e");
  EXPECT_EQ(s.GetUppercase().size(), s.size());
}

TEST(UstringOpsTest, SurrogatesAreNeverMapped) {
  // U+10428 (Deseret small long i) has the upper case U+10400, but the units
  // are mapped one by one and surrogates are left alone.
  tavrin_ustring s = U("a\xF0\x90\x90\xA8");
  ASSERT_EQ(s.size(), 3u);
  tavrin_ustring up = s.GetUppercase();
  EXPECT_EQ(up[0], 'A');
  EXPECT_EQ(up[1], 0xD801);
  EXPECT_EQ(up[2], 0xDC28);
  tavrin_ustring lone = Units({0xDC00, 'b', 0xD800});
  lone.toupper();
  EXPECT_EQ(lone[0], 0xDC00);
  EXPECT_EQ(lone[1], 'B');
  EXPECT_EQ(lone[2], 0xD800);
}

// --- compare_nocase ----------------------------------------------------------

TEST(UstringOpsTest, CompareNocaseExamples) {
  EXPECT_EQ(U("abc").compare_nocase(U("ABD")), -1);
  EXPECT_EQ(U("abc").compare_nocase(U("ABC")), 0);
  EXPECT_EQ(U("ABD").compare_nocase(U("abc")), 1);
  EXPECT_EQ(U("ab").compare_nocase(U("ABC")), -1);
  EXPECT_EQ(U("abc").compare_nocase(U("AB")), 1);
  EXPECT_EQ(tavrin_ustring().compare_nocase(tavrin_ustring()), 0);
  EXPECT_EQ(tavrin_ustring().compare_nocase(U("a")), -1);
}

TEST(UstringOpsTest, CompareNocaseOrdersByUpperCase) {
  // Upper case of "a" is 0x41, below "_" (0x5F): "a" sorts before "_",
  // unlike the code-unit order of lower-case letters.
  EXPECT_EQ(U("a").compare_nocase(U("_")), -1);
  EXPECT_EQ(U("_").compare_nocase(U("a")), 1);
  EXPECT_EQ(U("a").compare(U("_")), 1);
}

TEST(UstringOpsTest, CompareNocaseUnicode) {
  if (!HaveUtf8Ctype()) GTEST_SKIP() << "no C.UTF-8 locale on this system";
  EXPECT_EQ(U("caf\xC3\xA9").compare_nocase(U("CAF\xC3\x89")), 0);
  EXPECT_NE(U("caf\xC3\xA9").compare_nocase(U("CAFE")), 0);
}

TEST(UstringOpsTest, CompareNocaseRandomAgreesWithUppercasedCompare) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const char alphabet[] = "aAbBzZ_09";
  for (int round = 0; round < 2000; ++round) {
    std::string a, b;
    for (int i = rng() % 6; i > 0; --i) a += alphabet[rng() % 9];
    for (int i = rng() % 6; i > 0; --i) b += alphabet[rng() % 9];
    tavrin_ustring ua(a.c_str()), ub(b.c_str());
    const int expected = ua.GetUppercase().compare(ub.GetUppercase());
    EXPECT_EQ(ua.compare_nocase(ub), expected) << a << " vs " << b;
  }
}

// --- compare_intuitive_nocase ------------------------------------------------

int Natural(const char* a, const char* b) {
  return U(a).compare_intuitive_nocase(U(b));
}

TEST(UstringOpsTest, NaturalOrderExamples) {
  EXPECT_EQ(Natural("file2", "file10"), -1);
  EXPECT_EQ(Natural("file10", "file2"), 1);
  EXPECT_EQ(Natural("File10", "file10"), 0);
  EXPECT_EQ(Natural("a", "a1"), -1);
  EXPECT_EQ(Natural("a1", "ab"), -1);
  EXPECT_EQ(Natural("a", "ab"), -1);
  EXPECT_EQ(Natural("x", ""), 1);
  EXPECT_EQ(Natural("", "x"), -1);
  EXPECT_EQ(Natural("", ""), 0);
  EXPECT_EQ(Natural("file007", "file7"), 0);
  EXPECT_EQ(Natural("a1", "a-"), -1);
  EXPECT_EQ(Natural("a-", "a1"), 1);
}

TEST(UstringOpsTest, NaturalOrderNumbersByValue) {
  EXPECT_EQ(Natural("img9.png", "img10.png"), -1);
  EXPECT_EQ(Natural("v1.10", "v1.9"), 1);
  EXPECT_EQ(Natural("a10", "a1"), 1);
  EXPECT_EQ(Natural("a1", "a10"), -1);
  EXPECT_EQ(Natural("9", "10"), -1);
  EXPECT_EQ(Natural("x0", "x"), 1);
}

TEST(UstringOpsTest, NaturalOrderEqualRunsWithSameFirstDigitContinue) {
  // Same first digit: equal values skip both runs (of any lengths) and go on.
  EXPECT_EQ(Natural("a12b", "a12c"), -1);
  EXPECT_EQ(Natural("a01x", "a001y"), -1);
  EXPECT_EQ(Natural("a01y", "a001x"), 1);
  EXPECT_EQ(Natural("a01", "a001"), 0);
}

TEST(UstringOpsTest, NaturalOrderEqualRunsWithDifferentFirstDigitEndWithZero) {
  // Different first digits but equal values: the comparison ends with 0
  // without looking further (kept on purpose).
  EXPECT_EQ(Natural("01b", "1a"), 0);
  EXPECT_EQ(Natural("1a", "01b"), 0);
  EXPECT_EQ(Natural("a7b", "a007c"), 0);
  EXPECT_EQ(Natural("x0", "x00y"), -1);  // same first digit: goes on, and ends first
}

TEST(UstringOpsTest, NaturalOrderRunsWrapAt64Bits) {
  // 2^64 wraps to 0 and 2^64 + 1 to 1.
  EXPECT_EQ(Natural("18446744073709551616", "0"), 0);
  EXPECT_EQ(Natural("x18446744073709551617", "x2"), -1);
  EXPECT_EQ(Natural("18446744073709551617", "1"), 0);
  EXPECT_EQ(Natural("18446744073709551615", "18446744073709551614"), 1);
}

TEST(UstringOpsTest, NaturalOrderIgnoresCase) {
  EXPECT_EQ(Natural("ABC2", "abc10"), -1);
  EXPECT_EQ(Natural("Readme", "README"), 0);
  EXPECT_EQ(Natural("a", "_"), -1);  // upper-case order, as compare_nocase
}

TEST(UstringOpsTest, NaturalOrderSortsFileNames) {
  // No leading zeros here: with them the order is not a strict weak order
  // ("track01" equals both "track1" and "track1a").
  std::vector<tavrin_ustring> names = {U("track10.mp3"), U("Track2.mp3"),  U("track1.mp3"),
                                       U("track"),       U("track1a.mp3"), U("track2b.mp3")};
  std::sort(names.begin(), names.end(), [](const tavrin_ustring& a, const tavrin_ustring& b) {
    return a.compare_intuitive_nocase(b) < 0;
  });
  std::vector<std::string> got;
  for (const auto& n : names) got.push_back(n.utf8());
  // "." sorts before letters in upper-case order, so "track1.mp3" comes
  // before "track1a.mp3".
  const std::vector<std::string> expected = {"track",      "track1.mp3",  "track1a.mp3",
                                             "Track2.mp3", "track2b.mp3", "track10.mp3"};
  EXPECT_EQ(got, expected);
}

TEST(UstringOpsTest, NaturalOrderRandomAntisymmetricAndNumeric) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const char alphabet[] = "aB0123._-z";
  for (int round = 0; round < 3000; ++round) {
    std::string a, b;
    for (int i = rng() % 8; i > 0; --i) a += alphabet[rng() % 10];
    for (int i = rng() % 8; i > 0; --i) b += alphabet[rng() % 10];
    const int ab = Natural(a.c_str(), b.c_str());
    const int ba = Natural(b.c_str(), a.c_str());
    EXPECT_EQ(ab, -ba) << a << " vs " << b;
    EXPECT_TRUE(ab >= -1 && ab <= 1);
    // Same prefix and suffix, different numbers: ordered by value.
    const unsigned x = rng() % 1000, y = rng() % 1000;
    const std::string na = "n" + std::to_string(x) + "s", nb = "n" + std::to_string(y) + "s";
    EXPECT_EQ(Natural(na.c_str(), nb.c_str()), Sign(static_cast<int>(x) - static_cast<int>(y)))
        << na << " vs " << nb;
  }
}

// The natural order written out unit by unit from its rules, with case
// folding taken from toupper() of a one-unit string: the reference for the
// library's table-driven ASCII path and its general path.
unsigned short UpperOf(unsigned short u) {
  tavrin_ustring s = Units({u});
  s.toupper();
  return s.at(0);
}

bool IsSurrogateUnit(unsigned short u) {
  return u >= 0xD800 && u <= 0xDFFF;
}

bool CaseEqual(unsigned short a, unsigned short b) {
  if (a == b) return true;
  if (IsSurrogateUnit(a) || IsSurrogateUnit(b)) return false;
  return UpperOf(a) == UpperOf(b);
}

bool IsAsciiDigit(unsigned short u) {
  return u >= '0' && u <= '9';
}

std::uint64_t RunOf(const unsigned short* p, std::size_t& length) {
  std::uint64_t v = 0;
  for (length = 0; IsAsciiDigit(p[length]); ++length) v = v * 10 + (p[length] - '0');
  return v;
}

int ReferenceNatural(const tavrin_ustring& x, const tavrin_ustring& y) {
  const unsigned short* a = x.c_str();
  const unsigned short* b = y.c_str();
  while (CaseEqual(*a, *b)) {
    if (*a == 0) return 0;
    if (IsAsciiDigit(*a)) {
      std::size_t la = 0, lb = 0;
      const std::uint64_t va = RunOf(a, la), vb = RunOf(b, lb);
      if (va != vb) return va < vb ? -1 : 1;
      a += la;
      b += lb;
      continue;
    }
    ++a;
    ++b;
  }
  const bool da = IsAsciiDigit(*a), db = IsAsciiDigit(*b);
  if (!da && db) return *a != 0 ? 1 : -1;
  if (da && !db) return *b != 0 ? -1 : 1;
  if (!da && !db) return UpperOf(*a) < UpperOf(*b) ? -1 : 1;
  std::size_t la = 0, lb = 0;
  const std::uint64_t va = RunOf(a, la), vb = RunOf(b, lb);
  return va < vb ? -1 : (va > vb ? 1 : 0);
}

TEST(UstringOpsTest, NaturalOrderMatchesTheUnitByUnitRules) {
  if (!HaveUtf8Ctype()) GTEST_SKIP() << "no C.UTF-8 locale: case mapping above ASCII is off";
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  // ASCII letters of both cases, digits, punctuation on both sides of the
  // letters, and units above ASCII that fold onto ASCII letters (long s,
  // Kelvin sign, dotted capital I), accented letters, a surrogate and a
  // full-width digit.
  const unsigned short alphabet[] = {u'a',   u'A',   u's',   u'S',   u'k',   u'K',   u'i',   u'I',
                                     u'z',   u'0',   u'0',   u'1',   u'7',   u'9',   u'.',   u'_',
                                     u'-',   u'~',   u' ',   0x017F, 0x212A, 0x0130, 0x00E9, 0x00C9,
                                     0xD83D, 0xFF11, 0x03A3, 0x03C3, 0x00DF};
  auto random_text = [&](std::size_t max) {
    std::vector<unsigned short> v;
    const bool ascii = rng() % 2 == 0;
    for (std::size_t i = rng() % max; i > 0; --i) {
      const std::size_t choices = ascii ? 19 : std::size(alphabet);
      v.push_back(alphabet[rng() % choices]);
    }
    if (rng() % 8 == 0)  // a run longer than 19 digits
      for (int i = 0; i < 21; ++i) v.push_back(static_cast<unsigned short>(u'0' + rng() % 10));
    return tavrin_ustring(v.data(), v.size());
  };
  for (int round = 0; round < 20000; ++round) {
    const tavrin_ustring a = random_text(12);
    // Often a shared prefix, so that the walk goes past the first units.
    tavrin_ustring b = rng() % 2 == 0 ? a.substr(0, rng() % (a.size() + 1)) : tavrin_ustring();
    b += random_text(8);
    EXPECT_EQ(a.compare_intuitive_nocase(b), ReferenceNatural(a, b))
        << a.utf8() << " vs " << b.utf8();
    EXPECT_EQ(b.compare_intuitive_nocase(a), ReferenceNatural(b, a))
        << b.utf8() << " vs " << a.utf8();
    if (HasFailure()) break;
  }
}

TEST(UstringOpsTest, NaturalOrderFoldsUnitsAboveAsciiOntoAscii) {
  if (!HaveUtf8Ctype()) GTEST_SKIP() << "no C.UTF-8 locale: case mapping above ASCII is off";
  // LATIN SMALL LETTER LONG S upper-cases to "S": case-equal to "s".
  EXPECT_EQ(Units({u'a', 0x017F, u'2'}).compare_intuitive_nocase(U("AS10")), -1);
  EXPECT_EQ(Units({0x017F}).compare_intuitive_nocase(U("s")), 0);
  EXPECT_EQ(U("s").compare_intuitive_nocase(Units({0x017F})), 0);
}

// --- replace_all -----------------------------------------------------------------

TEST(UstringOpsTest, ReplaceAllExamples) {
  tavrin_ustring banana = U("banana");
  EXPECT_EQ(banana.replace_all(U("a"), U("b")), 3);
  EXPECT_EQ(banana.utf8(), "bbnbnb");
  tavrin_ustring aaa = U("aaa");
  EXPECT_EQ(aaa.replace_all(U("aa"), U("x")), 1);
  EXPECT_EQ(aaa.utf8(), "xa");
  tavrin_ustring same = U("xyx");
  EXPECT_EQ(same.replace_all(U("x"), U("x")), 0);
  EXPECT_EQ(same.utf8(), "xyx");
}

TEST(UstringOpsTest, ReplaceAllNeverRescansReplacement) {
  tavrin_ustring s = U("aaa");
  EXPECT_EQ(s.replace_all(U("a"), U("aa")), 3);
  EXPECT_EQ(s.utf8(), "aaaaaa");
  tavrin_ustring t = U("abab");
  EXPECT_EQ(t.replace_all(U("ab"), U("b")), 2);
  EXPECT_EQ(t.utf8(), "bb");
}

TEST(UstringOpsTest, ReplaceAllWithEmptyTextsAndNoMatch) {
  tavrin_ustring s = U("a-b-c");
  EXPECT_EQ(s.replace_all(U("-"), tavrin_ustring()), 2);
  EXPECT_EQ(s.utf8(), "abc");
  EXPECT_EQ(s.replace_all(tavrin_ustring(), U("x")), 0);  // guarded: would never advance
  EXPECT_EQ(s.utf8(), "abc");
  EXPECT_EQ(s.replace_all(U("zz"), U("y")), 0);
  EXPECT_EQ(s.utf8(), "abc");
  tavrin_ustring empty;
  EXPECT_EQ(empty.replace_all(U("a"), U("b")), 0);
  EXPECT_TRUE(empty.empty());
}

TEST(UstringOpsTest, ReplaceAllNonAscii) {
  tavrin_ustring s = U("caf\xC3\xA9 \xF0\x9F\x98\x80 caf\xC3\xA9");
  EXPECT_EQ(s.replace_all(U("\xC3\xA9"), U("e\xCC\x81")), 2);
  EXPECT_EQ(s.replace_all(U("\xF0\x9F\x98\x80"), U(":)")), 1);
  EXPECT_EQ(s.utf8(), "cafe\xCC\x81 :) cafe\xCC\x81");
}

// --- Extraction ------------------------------------------------------------------

TEST(UstringOpsTest, LeftAndRight) {
  const tavrin_ustring s = U("hello");
  EXPECT_EQ(s.Left(2).utf8(), "he");
  EXPECT_TRUE(s.Left(0).empty());
  EXPECT_TRUE(s.Left(-1).empty());
  EXPECT_EQ(s.Left(5).utf8(), "hello");
  EXPECT_EQ(s.Left(INT_MAX).utf8(), "hello");
  EXPECT_EQ(s.Right(2).utf8(), "lo");
  EXPECT_EQ(s.Right(99).utf8(), "hello");
  EXPECT_TRUE(s.Right(-5).empty());
  EXPECT_TRUE(s.Right(0).empty());
  EXPECT_TRUE(tavrin_ustring().Left(3).empty());
}

TEST(UstringOpsTest, MidExamplesAndClamping) {
  const tavrin_ustring s = U("hello");
  EXPECT_EQ(s.Mid(-3, 2).utf8(), "he");
  EXPECT_EQ(s.Mid(4, 10).utf8(), "o");
  EXPECT_TRUE(s.Mid(9, 1).empty());
  EXPECT_TRUE(s.Mid(5, 1).empty());
  EXPECT_TRUE(s.Mid(1, -1).empty());
  EXPECT_EQ(s.Mid(1, 3).utf8(), "ell");
  EXPECT_EQ(s.Mid(0, 5).utf8(), "hello");
  EXPECT_EQ(s.Mid(2, INT_MAX).utf8(), "llo");
  EXPECT_EQ(s.Mid(INT_MIN, INT_MAX).utf8(), "hello");
  EXPECT_EQ(s.Mid(1).utf8(), "ello");
  EXPECT_EQ(s.Mid(-2).utf8(), "hello");
  EXPECT_TRUE(s.Mid(99).empty());
  EXPECT_EQ(s.Mid(INT_MIN).utf8(), "hello");
}

TEST(UstringOpsTest, SpanExcluding) {
  EXPECT_EQ(U("abc,def;g").SpanExcluding(U(",;")).utf8(), "abc");
  EXPECT_EQ(U("abc").SpanExcluding(U(",;")).utf8(), "abc");
  EXPECT_TRUE(U(",abc").SpanExcluding(U(",")).empty());
  EXPECT_EQ(U("abc").SpanExcluding(tavrin_ustring()).utf8(), "abc");
  EXPECT_TRUE(tavrin_ustring().SpanExcluding(U(",")).empty());
}

TEST(UstringOpsTest, SpanIncludingReturnsPartAfterLeadingRun) {
  EXPECT_EQ(U("abcab").SpanIncluding(U("ab")).utf8(), "cab");
  EXPECT_TRUE(U("cab").SpanIncluding(U("ab")).empty());
  EXPECT_EQ(U("abab").SpanIncluding(U("ab")).utf8(), "abab");
  EXPECT_TRUE(tavrin_ustring().SpanIncluding(U("ab")).empty());
  EXPECT_TRUE(U("abc").SpanIncluding(tavrin_ustring()).empty());
}

TEST(UstringOpsTest, LeaveOnEachSide) {
  tavrin_ustring nine = U("abcdefghi");
  nine.LeaveOnEachSide(3);
  EXPECT_EQ(nine.utf8(), "abc...ghi");
  tavrin_ustring eight = U("abcdefgh");
  eight.LeaveOnEachSide(3);
  EXPECT_EQ(eight.utf8(), "abcdefgh");
  tavrin_ustring longer = U("0123456789abcdef");
  longer.LeaveOnEachSide(2);
  EXPECT_EQ(longer.utf8(), "01...ef");
  tavrin_ustring zero = U("abcdefghi");
  zero.LeaveOnEachSide(0);
  EXPECT_EQ(zero.utf8(), "abcdefghi");
  tavrin_ustring huge = U("abcdefghi");
  huge.LeaveOnEachSide(UINT_MAX);
  EXPECT_EQ(huge.utf8(), "abcdefghi");
}

// --- Tokenising ------------------------------------------------------------------

TEST(UstringOpsTest, TokenizeExample) {
  const tavrin_ustring s = U(",,a,b,,");
  int start = 0;
  EXPECT_EQ(s.Tokenize(U(","), start).utf8(), "a");
  EXPECT_EQ(start, 4);
  EXPECT_EQ(s.Tokenize(U(","), start).utf8(), "b");
  EXPECT_EQ(start, 6);
  EXPECT_TRUE(s.Tokenize(U(","), start).empty());
  EXPECT_EQ(start, 7);
  EXPECT_TRUE(s.Tokenize(U(","), start).empty());
  EXPECT_EQ(start, 7);
}

TEST(UstringOpsTest, TokenizeStartOutOfRangeLeftAlone) {
  const tavrin_ustring s = U("a,b");
  int start = -1;
  EXPECT_TRUE(s.Tokenize(U(","), start).empty());
  EXPECT_EQ(start, -1);
  start = 3;
  EXPECT_TRUE(s.Tokenize(U(","), start).empty());
  EXPECT_EQ(start, 3);
  start = 100;
  EXPECT_TRUE(s.Tokenize(U(","), start).empty());
  EXPECT_EQ(start, 100);
  start = 0;
  EXPECT_TRUE(tavrin_ustring().Tokenize(U(","), start).empty());
  EXPECT_EQ(start, 0);
}

TEST(UstringOpsTest, TokenizeLastTokenMovesStartToEnd) {
  const tavrin_ustring s = U("  one two");
  int start = 0;
  EXPECT_EQ(s.Tokenize(U(" "), start).utf8(), "one");
  EXPECT_EQ(start, 6);
  EXPECT_EQ(s.Tokenize(U(" "), start).utf8(), "two");
  EXPECT_EQ(start, 9);
}

TEST(UstringOpsTest, TokenizeEmptyDelimitersReturnsRestWithoutMoving) {
  const tavrin_ustring s = U("a,b");
  int start = 1;
  EXPECT_EQ(s.Tokenize(tavrin_ustring(), start).utf8(), ",b");
  EXPECT_EQ(start, 1);
  EXPECT_EQ(s.Tokenize(tavrin_ustring(), start).utf8(), ",b");
  EXPECT_EQ(start, 1);
}

std::vector<std::string> Tokens(const char* text, const char* delims) {
  std::vector<std::string> out;
  for (const auto& t : U(text).TokenizeToVector(U(delims))) out.push_back(t.utf8());
  return out;
}

TEST(UstringOpsTest, TokenizeToVector) {
  using V = std::vector<std::string>;
  EXPECT_EQ(Tokens(",,a,b,,", ","), (V{"a", "b"}));
  EXPECT_EQ(Tokens("a b,c;;d", " ,;"), (V{"a", "b", "c", "d"}));
  EXPECT_EQ(Tokens("abc", ","), (V{"abc"}));
  EXPECT_EQ(Tokens(",,,", ","), V{});
  EXPECT_EQ(Tokens("", ","), V{});
  EXPECT_EQ(Tokens("\xC3\xA9|\xF0\x9F\x98\x80", "|"), (V{"\xC3\xA9", "\xF0\x9F\x98\x80"}));
}

TEST(UstringOpsTest, TokenizeToVectorEmptyDelimitersGivesWholeString) {
  using V = std::vector<std::string>;
  EXPECT_EQ(Tokens("a,b", ""), (V{"a,b"}));
  EXPECT_EQ(Tokens("", ""), V{});
}

TEST(UstringOpsTest, TokenizeToVectorRandomMatchesSplit) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 1000; ++round) {
    std::string text;
    for (int i = rng() % 12; i > 0; --i) text += "ab,;"[rng() % 4];
    // Reference: split on every delimiter, drop empty pieces.
    std::vector<std::string> expected;
    std::string piece;
    for (char c : text) {
      if (c == ',' || c == ';') {
        if (!piece.empty()) expected.push_back(piece);
        piece.clear();
      } else {
        piece += c;
      }
    }
    if (!piece.empty()) expected.push_back(piece);
    EXPECT_EQ(Tokens(text.c_str(), ",;"), expected) << text;
  }
}

// --- Numbers ---------------------------------------------------------------------

TEST(UstringOpsTest, IsLong) {
  EXPECT_TRUE(U("12").is_long());
  EXPECT_TRUE(U(" 12").is_long());
  EXPECT_FALSE(U("12 ").is_long());
  EXPECT_TRUE(U("").is_long());
  EXPECT_FALSE(U("1e3").is_long());
  EXPECT_TRUE(U("-12").is_long());
  EXPECT_TRUE(U("+7").is_long());
  EXPECT_FALSE(U("0x10").is_long());
  EXPECT_FALSE(U("abc").is_long());
  EXPECT_FALSE(U("1.0").is_long());
  EXPECT_TRUE(U("99999999999999999999999").is_long());    // overflow is not detected
  EXPECT_FALSE(U("\xEF\xBC\x91\xEF\xBC\x92").is_long());  // full-width digits
}

TEST(UstringOpsTest, IsUnsigned) {
  EXPECT_TRUE(U("12").is_unsigned());
  EXPECT_TRUE(U("-1").is_unsigned());
  EXPECT_TRUE(U("").is_unsigned());
  EXPECT_FALSE(U("12.5").is_unsigned());
  EXPECT_FALSE(U("1 ").is_unsigned());
}

TEST(UstringOpsTest, IsDouble) {
  EXPECT_TRUE(U("1e3").is_double());
  EXPECT_TRUE(U("1.5").is_double());
  EXPECT_TRUE(U(" -2.5E-3").is_double());
  EXPECT_TRUE(U("inf").is_double());
  EXPECT_TRUE(U("nan").is_double());
  EXPECT_TRUE(U("0x1p3").is_double());
  EXPECT_TRUE(U("").is_double());
  EXPECT_FALSE(U("1,5").is_double());
  EXPECT_FALSE(U("1e").is_double());
  EXPECT_FALSE(U("2.5 ").is_double());
  EXPECT_FALSE(U("x").is_double());
}

TEST(UstringOpsTest, DecimalPointIgnoresProcessLocale) {
  // Only "C" locales may exist here; the parse must not depend on which one
  // is global.
  for (const char* name : {"C", "C.UTF-8", "POSIX"}) {
    ScopedGlobalLocale global(name);
    if (!global.ok()) continue;
    EXPECT_TRUE(U("1.5").is_double()) << name;
    EXPECT_DOUBLE_EQ(U("1.5").to_double(), 1.5) << name;
    EXPECT_DOUBLE_EQ(U("1,5").to_double(), 1.0) << name;
  }
}

TEST(UstringOpsTest, ToLongAndInt) {
  EXPECT_EQ(U("42abc").to_int(), 42);
  EXPECT_EQ(U(" -17x").to_long(), -17);
  EXPECT_EQ(U("").to_long(), 0);
  EXPECT_EQ(U("abc").to_long(), 0);
  EXPECT_EQ(U("+8").to_int(), 8);
  EXPECT_EQ(U("4294967338").to_long(), 4294967338L);
  EXPECT_EQ(U("4294967338").to_int(), 42);  // narrowed to the low 32 bits
}

TEST(UstringOpsTest, ToDoubleAndFloat) {
  EXPECT_DOUBLE_EQ(U("3.25e2").to_double(), 325.0);
  EXPECT_DOUBLE_EQ(U("  -0.5 tail").to_double(), -0.5);
  EXPECT_DOUBLE_EQ(U("x").to_double(), 0.0);
  EXPECT_DOUBLE_EQ(U("").to_double(), 0.0);
  EXPECT_FLOAT_EQ(U("0.1").to_float(), 0.1f);
  EXPECT_TRUE(std::isinf(U("1e300").to_float()));
  EXPECT_LT(U("-1e300").to_float(), 0.0f);
  EXPECT_TRUE(std::isnan(U("nan").to_double()));
}

// --- operator+ with UTF-8 ---------------------------------------------------------

TEST(UstringOpsTest, PlusUtf8) {
  const tavrin_ustring a = U("ab");
  EXPECT_EQ((a + "c\xC3\xA9").utf8(), "abc\xC3\xA9");
  EXPECT_EQ((a + "").utf8(), "ab");
  EXPECT_EQ((a + static_cast<const char*>(nullptr)).utf8(), "ab");
  EXPECT_EQ((a + "\xE9").utf8(), "ab");  // invalid UTF-8 appends nothing
  EXPECT_EQ((tavrin_ustring() + "x").utf8(), "x");
  EXPECT_EQ(a.utf8(), "ab");
}

}  // namespace
