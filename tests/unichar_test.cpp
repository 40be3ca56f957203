// unichar_test.cpp - the C-string functions over zero-terminated UTF-16 units.
#include "common/utils/unichar.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include "common/utils/internal/unichar_internal.h"
#include "tests/test_support.h"

namespace {

using U = std::vector<unsigned short>;

// Zero-terminated units of an ASCII or escaped literal ("\u00E9" etc.).
U Z(const char16_t* s) {
  U u;
  for (; *s; ++s) u.push_back(static_cast<unsigned short>(*s));
  u.push_back(0);
  return u;
}

// The units before the terminator.
U Text(const unsigned short* p) {
  U u;
  for (; *p; ++p) u.push_back(*p);
  return u;
}

U T(const char16_t* s) {
  U u = Z(s);
  u.pop_back();
  return u;
}

TEST(UnicharTest, Ustrlen) {
  EXPECT_EQ(ustrlen(nullptr), 0u);
  EXPECT_EQ(ustrlen(Z(u"").data()), 0u);
  EXPECT_EQ(ustrlen(Z(u"abc").data()), 3u);
  EXPECT_EQ(ustrlen(Z(u"\U0001F600").data()), 2u);  // units, not characters
  U mid{'a', 0, 'b', 0};
  EXPECT_EQ(ustrlen(mid.data()), 1u);
}

TEST(UnicharTest, Ustrcpy) {
  U src = Z(u"h\u00E9llo");
  U dest(10, 0xAAAA);
  EXPECT_EQ(ustrcpy(dest.data(), src.data()), dest.data());
  EXPECT_EQ(Text(dest.data()), T(u"h\u00E9llo"));
  EXPECT_EQ(dest[5], 0);       // terminator copied
  EXPECT_EQ(dest[6], 0xAAAA);  // nothing beyond it
  EXPECT_EQ(ustrcpy(nullptr, src.data()), nullptr);
  EXPECT_EQ(ustrcpy(dest.data(), nullptr), nullptr);
  EXPECT_EQ(ustrcpy(src.data(), src.data()), src.data());
  EXPECT_EQ(Text(src.data()), T(u"h\u00E9llo"));
  U empty = Z(u"");
  EXPECT_EQ(ustrcpy(dest.data(), empty.data()), dest.data());
  EXPECT_EQ(dest[0], 0);
}

TEST(UnicharTest, UstrncpyZeroFillsAndAddsNoTerminator) {
  U dest(6, 0xAAAA);
  U ab = Z(u"ab");
  EXPECT_EQ(ustrncpy(dest.data(), ab.data(), 4), dest.data());
  EXPECT_EQ(dest, (U{'a', 'b', 0, 0, 0xAAAA, 0xAAAA}));
  // Exactly n units copied: no terminator.
  U abcdef = Z(u"abcdef");
  dest.assign(6, 0xAAAA);
  ustrncpy(dest.data(), abcdef.data(), 3);
  EXPECT_EQ(dest, (U{'a', 'b', 'c', 0xAAAA, 0xAAAA, 0xAAAA}));
  // Stops at a zero unit inside n and zero-fills the rest.
  U mid{'x', 0, 'y', 'z'};
  dest.assign(6, 0xAAAA);
  ustrncpy(dest.data(), mid.data(), 4);
  EXPECT_EQ(dest, (U{'x', 0, 0, 0, 0xAAAA, 0xAAAA}));
  EXPECT_EQ(ustrncpy(nullptr, ab.data(), 2), nullptr);
  EXPECT_EQ(ustrncpy(dest.data(), nullptr, 2), nullptr);
  dest.assign(6, 0xAAAA);
  EXPECT_EQ(ustrncpy(dest.data(), ab.data(), 0), nullptr);
  EXPECT_EQ(dest[0], 0xAAAA);
  EXPECT_EQ(ustrncpy(ab.data(), ab.data(), 2), ab.data());
}

TEST(UnicharTest, Ustrcat) {
  U dest(12, 0xAAAA);
  U ab = Z(u"ab"), cd = Z(u"cd"), empty = Z(u"");
  ustrcpy(dest.data(), ab.data());
  ustrcat(dest.data(), cd.data());
  EXPECT_EQ(Text(dest.data()), T(u"abcd"));
  EXPECT_EQ(dest[5], 0xAAAA);
  ustrcat(dest.data(), empty.data());
  EXPECT_EQ(Text(dest.data()), T(u"abcd"));
  ustrcat(dest.data(), nullptr);
  ustrcat(nullptr, cd.data());
  EXPECT_EQ(Text(dest.data()), T(u"abcd"));
}

TEST(UnicharTest, UstrncatAlwaysTerminates) {
  U dest(12, 0xAAAA);
  U ab = Z(u"ab"), cdef = Z(u"cdef");
  ustrcpy(dest.data(), ab.data());
  ustrncat(dest.data(), cdef.data(), 2);
  EXPECT_EQ(Text(dest.data()), T(u"abcd"));
  EXPECT_EQ(dest[4], 0);
  ustrncat(dest.data(), cdef.data(), 10);  // n beyond the source: stops at its end
  EXPECT_EQ(Text(dest.data()), T(u"abcdcdef"));
  EXPECT_EQ(dest[9], 0xAAAA);
  ustrncat(dest.data(), cdef.data(), 0);  // nothing appended, terminator written
  EXPECT_EQ(Text(dest.data()), T(u"abcdcdef"));
  ustrncat(nullptr, cdef.data(), 2);
  ustrncat(dest.data(), nullptr, 2);
  EXPECT_EQ(Text(dest.data()), T(u"abcdcdef"));
}

TEST(UnicharTest, UstrcmpIsUnsignedAndMinusOneZeroOne) {
  U abc = Z(u"abc"), abd = Z(u"abd"), ab = Z(u"ab"), empty = Z(u"");
  EXPECT_EQ(ustrcmp(abc.data(), abd.data()), -1);
  EXPECT_EQ(ustrcmp(abd.data(), abc.data()), 1);
  EXPECT_EQ(ustrcmp(ab.data(), abc.data()), -1);
  EXPECT_EQ(ustrcmp(abc.data(), ab.data()), 1);
  EXPECT_EQ(ustrcmp(abc.data(), abc.data()), 0);
  EXPECT_EQ(ustrcmp(empty.data(), empty.data()), 0);
  // Units compare as unsigned 16-bit numbers: U+E000 is above 0xD800.
  U e000 = Z(u"\uE000"), pair = Z(u"\U00010000");
  EXPECT_EQ(ustrcmp(e000.data(), pair.data()), 1);
  U high{0xFFFF, 0}, low{0x0001, 0};
  EXPECT_EQ(ustrcmp(high.data(), low.data()), 1);
  // Null is empty text.
  EXPECT_EQ(ustrcmp(nullptr, nullptr), 0);
  EXPECT_EQ(ustrcmp(nullptr, empty.data()), 0);
  EXPECT_EQ(ustrcmp(nullptr, ab.data()), -1);
  EXPECT_EQ(ustrcmp(ab.data(), nullptr), 1);
}

TEST(UnicharTest, Ustrncmp) {
  U abc = Z(u"abc"), abd = Z(u"abd"), ab = Z(u"ab");
  EXPECT_EQ(ustrncmp(abc.data(), abd.data(), 0), 0);
  EXPECT_EQ(ustrncmp(abc.data(), abd.data(), 2), 0);
  EXPECT_EQ(ustrncmp(abc.data(), abd.data(), 3), -1);
  EXPECT_EQ(ustrncmp(abd.data(), abc.data(), 100), 1);
  EXPECT_EQ(ustrncmp(ab.data(), abc.data(), 3), -1);
  // Stops at a common zero unit: what follows it is not compared.
  U x{'a', 0, 'x'}, y{'a', 0, 'y'};
  EXPECT_EQ(ustrncmp(x.data(), y.data(), 3), 0);
  U big{0x8000, 0}, small{0x7FFF, 0};
  EXPECT_EQ(ustrncmp(big.data(), small.data(), 1), 1);
}

TEST(UnicharTest, UstrchrDoesNotFindTheTerminator) {
  U s = Z(u"abcabc");
  EXPECT_EQ(ustrchr(s.data(), 'b'), s.data() + 1);
  EXPECT_EQ(ustrchr(s.data(), 'a'), s.data());
  EXPECT_EQ(ustrchr(s.data(), 'z'), nullptr);
  EXPECT_EQ(ustrchr(s.data(), 0), nullptr);
  EXPECT_EQ(ustrchr(nullptr, 'a'), nullptr);
  U e = Z(u"");
  EXPECT_EQ(ustrchr(e.data(), 'a'), nullptr);
  // Nothing after the terminator is looked at.
  U after{'a', 0, 'b'};
  EXPECT_EQ(ustrchr(after.data(), 'b'), nullptr);
}

TEST(UnicharTest, UstrrchrFindsTheTerminator) {
  U s = Z(u"abcabc");
  EXPECT_EQ(ustrrchr(s.data(), 'b'), s.data() + 4);
  EXPECT_EQ(ustrrchr(s.data(), 'c'), s.data() + 5);
  EXPECT_EQ(ustrrchr(s.data(), 'z'), nullptr);
  EXPECT_EQ(ustrrchr(s.data(), 0), s.data() + 6);
  U e = Z(u"");
  EXPECT_EQ(ustrrchr(e.data(), 0), e.data());
  EXPECT_EQ(ustrrchr(nullptr, 'a'), nullptr);
  U after{'b', 0, 'b'};
  EXPECT_EQ(ustrrchr(after.data(), 'b'), after.data());
}

TEST(UnicharTest, Ustrstr) {
  U hay = Z(u"abababc"), aba = Z(u"abc"), none = Z(u"abd"), empty = Z(u"");
  EXPECT_EQ(ustrstr(hay.data(), aba.data()), hay.data() + 4);
  U ab = Z(u"ab");
  EXPECT_EQ(ustrstr(hay.data(), ab.data()), hay.data());
  EXPECT_EQ(ustrstr(hay.data(), none.data()), nullptr);
  EXPECT_EQ(ustrstr(hay.data(), empty.data()), hay.data());
  EXPECT_EQ(ustrstr(hay.data(), nullptr), hay.data());
  EXPECT_EQ(ustrstr(nullptr, ab.data()), nullptr);
  EXPECT_EQ(ustrstr(nullptr, nullptr), nullptr);  // null needle gives the haystack
  EXPECT_EQ(ustrstr(empty.data(), empty.data()), empty.data());
  EXPECT_EQ(ustrstr(empty.data(), ab.data()), nullptr);
  // Needle longer than the haystack, and a match that runs into the end.
  U longer = Z(u"abababcd");
  EXPECT_EQ(ustrstr(hay.data(), longer.data()), nullptr);
  U tail = Z(u"bc"), tail2 = Z(u"bcd");
  EXPECT_EQ(ustrstr(hay.data(), tail.data()), hay.data() + 5);
  EXPECT_EQ(ustrstr(hay.data(), tail2.data()), nullptr);
  // Surrogate units match as plain units.
  U smile = Z(u"x\U0001F600y"), low = Z(u"\xDE00y");
  EXPECT_EQ(ustrstr(smile.data(), low.data()), smile.data() + 2);
}

TEST(UnicharTest, UstrstrMatchesNaiveSearch) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> unit(1, 3), len(0, 12);
  for (int n = 0; n < 2000; ++n) {
    U hay, needle;
    for (int i = len(rng); i > 0; --i) hay.push_back(static_cast<unsigned short>('a' + unit(rng)));
    for (int i = len(rng) / 3; i > 0; --i)
      needle.push_back(static_cast<unsigned short>('a' + unit(rng)));
    long expected = -1;  // index of the first match
    for (std::size_t i = 0; i + needle.size() <= hay.size(); ++i) {
      if (std::equal(needle.begin(), needle.end(), hay.begin() + static_cast<long>(i))) {
        expected = static_cast<long>(i);
        break;
      }
    }
    hay.push_back(0);
    needle.push_back(0);
    const unsigned short* found = ustrstr(hay.data(), needle.data());
    ASSERT_EQ(found ? found - hay.data() : -1, expected);
  }
}

TEST(UnicharTest, UstrspnIgnoresTheSetMembers) {
  U abc = Z(u"abc"), x = Z(u"x"), a = Z(u"a"), empty = Z(u"");
  EXPECT_EQ(ustrspn(abc.data(), x.data()), 3u);  // established behaviour
  EXPECT_EQ(ustrspn(abc.data(), a.data()), 3u);
  EXPECT_EQ(ustrspn(empty.data(), a.data()), 0u);
  EXPECT_EQ(ustrspn(abc.data(), empty.data()), 0u);
  EXPECT_EQ(ustrspn(nullptr, a.data()), 0u);
  EXPECT_EQ(ustrspn(abc.data(), nullptr), 0u);
}

TEST(UnicharTest, Ustrcspn) {
  U abc = Z(u"abc"), c = Z(u"c"), xa = Z(u"xa"), none = Z(u"xyz"), empty = Z(u"");
  EXPECT_EQ(ustrcspn(abc.data(), c.data()), 2u);
  EXPECT_EQ(ustrcspn(abc.data(), xa.data()), 0u);
  EXPECT_EQ(ustrcspn(abc.data(), none.data()), 3u);
  EXPECT_EQ(ustrcspn(abc.data(), empty.data()), 3u);
  EXPECT_EQ(ustrcspn(empty.data(), c.data()), 0u);
  EXPECT_EQ(ustrcspn(nullptr, c.data()), 0u);
  EXPECT_EQ(ustrcspn(abc.data(), nullptr), 3u);
}

TEST(UnicharTest, Ustrpbrk) {
  U s = Z(u"hello, world"), set = Z(u" ,"), none = Z(u"xyz"), empty = Z(u"");
  EXPECT_EQ(ustrpbrk(s.data(), set.data()), s.data() + 5);
  EXPECT_EQ(ustrpbrk(s.data(), none.data()), nullptr);
  EXPECT_EQ(ustrpbrk(s.data(), empty.data()), nullptr);
  EXPECT_EQ(ustrpbrk(empty.data(), set.data()), nullptr);
  EXPECT_EQ(ustrpbrk(nullptr, set.data()), nullptr);
  EXPECT_EQ(ustrpbrk(s.data(), nullptr), nullptr);
}

TEST(UnicharTest, UmemchrTreatsZeroAsOrdinary) {
  U s{'a', 0, 'b', 0, 'c'};
  EXPECT_EQ(umemchr(s.data(), 'b', 5), s.data() + 2);
  EXPECT_EQ(umemchr(s.data(), 'c', 5), s.data() + 4);
  EXPECT_EQ(umemchr(s.data(), 'c', 4), nullptr);
  EXPECT_EQ(umemchr(s.data(), 0, 5), s.data() + 1);
  EXPECT_EQ(umemchr(s.data(), 'a', 0), nullptr);
  EXPECT_EQ(umemchr(nullptr, 'a', 0), nullptr);
}

TEST(UnicharTest, Umemset) {
  U s(6, 0xAAAA);
  umemset(s.data(), 'x', 4);
  EXPECT_EQ(s, (U{'x', 'x', 'x', 'x', 0xAAAA, 0xAAAA}));
  umemset(s.data() + 1, 0, 2);
  EXPECT_EQ(s, (U{'x', 0, 0, 'x', 0xAAAA, 0xAAAA}));
  umemset(s.data(), 0xFFFF, 0);
  EXPECT_EQ(s[0], 'x');
  umemset(s.data(), 0xD800, 6);
  EXPECT_EQ(s, U(6, 0xD800));
}

TEST(UnicharTest, IsudigitMatchesTheCLocaleDigitsOnly) {
  for (unsigned ch = 0; ch <= 0xFFFF; ++ch) {
    bool expected = ch <= 255 && std::isdigit(static_cast<int>(ch)) != 0;
    ASSERT_EQ(isudigit(static_cast<unsigned short>(ch)), expected) << ch;
  }
  EXPECT_TRUE(isudigit('0'));
  EXPECT_TRUE(isudigit('9'));
  EXPECT_FALSE(isudigit('/'));
  EXPECT_FALSE(isudigit(':'));
  EXPECT_FALSE(isudigit(0x0660));  // ARABIC-INDIC DIGIT ZERO
  EXPECT_FALSE(isudigit(0xFF10));  // FULLWIDTH DIGIT ZERO
  EXPECT_FALSE(isudigit(0x00B2));  // SUPERSCRIPT TWO
  EXPECT_FALSE(isudigit(0x0130));  // 0x30 in the low byte does not count
}

// --- Block scans against the one-unit-at-a-time scans -----------------------
// On x86-64 ustrlen and umemchr test aligned blocks of eight units; these
// run them and the portable scans on the same inputs, at every position of
// the text within a block.

// Units with a zero byte in either half, next to ordinary ones, so that a
// scan that looked at bytes instead of units would stop too early.
unsigned short TrickyUnit(std::mt19937& rng) {
  static const unsigned short kUnits[] = {0x0100, 0xFF00, 0x00FF, 0x0001, 0x8000,
                                          0xFFFF, u'a',   0x2541, 0x4125};
  return rng() % 3 == 0 ? kUnits[rng() % std::size(kUnits)]
                        : static_cast<unsigned short>(1 + rng() % 0xFFFF);
}

// Storage whose element `k` of the returned pointer sits `offset` units
// after a 64-byte boundary, with room for `count` units.
unsigned short* Placed(U& storage, std::size_t offset, std::size_t count) {
  storage.assign(count + offset + 64, 0x5A5A);
  auto address = reinterpret_cast<std::uintptr_t>(storage.data());
  address = (address + 63) & ~std::uintptr_t{63};
  return reinterpret_cast<unsigned short*>(address) + offset;
}

TEST(UnicharTest, UstrlenBlocksMatchTheUnitScan) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  U storage;
  for (std::size_t offset = 0; offset < 16; ++offset) {
    for (std::size_t length = 0; length < 80; ++length) {
      unsigned short* s = Placed(storage, offset, length + 1);
      for (std::size_t i = 0; i < length; ++i) s[i] = TrickyUnit(rng);
      s[length] = 0;
      ASSERT_EQ(ustrlen(s), length) << "offset " << offset;
      ASSERT_EQ(tavrin::utils::detail::UstrlenPortable(s), length);
    }
  }
  EXPECT_EQ(ustrlen(nullptr), 0u);
  EXPECT_EQ(tavrin::utils::detail::UstrlenPortable(nullptr), 0u);
}

TEST(UnicharTest, UmemchrBlocksMatchTheUnitScan) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  U storage;
  for (int round = 0; round < 20000; ++round) {
    const std::size_t offset = rng() % 16;
    const std::size_t length = rng() % 70;
    unsigned short* p = Placed(storage, offset, length);
    for (std::size_t i = 0; i < length; ++i) p[i] = TrickyUnit(rng);
    const unsigned short ch = rng() % 4 == 0 ? 0 : TrickyUnit(rng);
    // Sometimes the unit is placed once or twice, sometimes only past `n`.
    if (length > 0 && rng() % 2 == 0) p[rng() % length] = ch;
    if (length > 0 && rng() % 4 == 0) p[rng() % length] = ch;
    const std::size_t n = length == 0 ? 0 : rng() % (length + 1);
    const unsigned short* expected = tavrin::utils::detail::UmemchrPortable(p, ch, n);
    ASSERT_EQ(umemchr(p, ch, n), expected)
        << "offset " << offset << ", length " << length << ", n " << n << ", unit " << ch;
    if (expected != nullptr) {
      ASSERT_EQ(*expected, ch);
    }
  }
  EXPECT_EQ(umemchr(nullptr, 0, 10), nullptr);
  EXPECT_EQ(tavrin::utils::detail::UmemchrPortable(nullptr, 0, 10), nullptr);
}

TEST(UnicharTest, UmemchrWithAnUnboundedCount) {
  // Callers pass a huge count to mean "until found"; the unit must still be
  // found and nothing past it is needed.
  U s = Z(u"abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(umemchr(s.data(), u'q', ~0UL), s.data() + 16);
  EXPECT_EQ(umemchr(s.data(), 0, ~0UL), s.data() + 26);
  EXPECT_EQ(tavrin::utils::detail::UmemchrPortable(s.data(), u'q', ~0UL), s.data() + 16);
}

TEST(UnicharTest, ScansNeverReadIntoTheNextPage) {
  // A text whose terminator is the last unit of a page that is followed by
  // an inaccessible page: every scan must stop without touching it.
  const long page = sysconf(_SC_PAGESIZE);
  ASSERT_GT(page, 0);
  void* area = mmap(nullptr, static_cast<std::size_t>(2 * page), PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (area == MAP_FAILED) GTEST_SKIP() << "mmap is not available";
  ASSERT_EQ(mprotect(static_cast<char*>(area) + page, static_cast<std::size_t>(page), PROT_NONE),
            0);
  auto* page_end = reinterpret_cast<unsigned short*>(static_cast<char*>(area) + page);
  for (std::size_t length : {0u, 1u, 2u, 7u, 8u, 9u, 15u, 16u, 17u, 100u}) {
    unsigned short* s = page_end - length - 1;
    for (std::size_t i = 0; i < length; ++i) s[i] = static_cast<unsigned short>(u'a' + i % 26);
    s[length] = 0;
    EXPECT_EQ(ustrlen(s), length);
    EXPECT_EQ(umemchr(s, 0, 1000), s + length);  // a bound past the page
    EXPECT_EQ(umemchr(s, u'#', length + 1), nullptr);
    U copy(length + 20, 0xFFFF);
    ustrncpy(copy.data(), s, length + 20);
    EXPECT_EQ(Text(copy.data()).size(), length);
    EXPECT_EQ(copy[length + 19], 0);
  }
  munmap(area, static_cast<std::size_t>(2 * page));
}

TEST(UnicharTest, StringCopiesOfEveryLengthAndPlacement) {
  // The character traits copy through ustrncpy (and so umemchr): every
  // length and source position must copy exactly.
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  U storage;
  for (std::size_t offset = 0; offset < 8; ++offset) {
    for (std::size_t length = 0; length < 48; ++length) {
      unsigned short* src = Placed(storage, offset, length);
      for (std::size_t i = 0; i < length; ++i) src[i] = TrickyUnit(rng);
      U dest(length + 4, 0x7777);
      if (length > 0) ustrncpy(dest.data(), src, length);
      EXPECT_TRUE(std::equal(src, src + length, dest.begin())) << offset << " " << length;
      EXPECT_EQ(dest[length], 0x7777);
    }
  }
}

}  // namespace
