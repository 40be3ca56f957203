// Tests of the stl_extensions category on NSString: conversions between
// NSString and std::string, std::wstring, tavrin_ustring and 16-bit units.
#import "common/utils/mac/NSString_stl.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "common/utils/auto_release_pool.h"
#include "common/utils/ustring.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::tavrin_ustring;

// The units of an NSString, for comparisons.
std::u16string Units(NSString* s) {
  std::u16string out([s length], u'\0');
  if (!out.empty()) {
    [s getCharacters:reinterpret_cast<unichar*>(out.data()) range:NSMakeRange(0, [s length])];
  }
  return out;
}

// Whether this Foundation makes strings of units with an unpaired
// surrogate (Apple's does; GNUstep's refuses them, and the category then
// writes U+FFFD for each).
bool KeepsLoneSurrogates() {
  const unichar lone = 0xD800;
  NSString* probe = [[NSString alloc] initWithCharacters:&lone length:1];
  const bool kept = probe != nil;
  [probe release];
  return kept;
}

NSString* FromUnits(const std::u16string& units) {
  return [NSString stringWithCharacters:reinterpret_cast<const unichar*>(units.data())
                                 length:units.size()];
}

// --- wlStringWithStdString: and stdstring ---------------------------------

TEST(NSStringStlTest, StdStringIsDecodedAsUtf8) {
  const AutoReleasePool pool;
  NSString* s = [NSString wlStringWithStdString:"Gr\xC3\xBC\xC3\x9F"
                                                "e \xF0\x9F\x98\x80"];
  EXPECT_EQ(Units(s), u"Gr\u00fc\u00dfe \U0001F600");
  EXPECT_EQ([[NSString wlStringWithStdString:""] length], 0u);
}

TEST(NSStringStlTest, StdStringStopsAtFirstZeroByte) {
  const AutoReleasePool pool;
  const std::string with_zero("ab\0cd", 5);
  EXPECT_EQ(Units([NSString wlStringWithStdString:with_zero]), u"ab");
}

TEST(NSStringStlTest, InvalidUtf8GivesEmptyStringNotNil) {
  const AutoReleasePool pool;
  for (const char* bad : {"ok\xFF", "\xC3", "\xE2\x82", "\x80x", "\xC0\xAF"}) {
    NSString* s = [NSString wlStringWithStdString:bad];
    ASSERT_NE(s, nil) << bad;
    EXPECT_EQ([s length], 0u) << bad;
  }
}

TEST(NSStringStlTest, StdStringRoundTrip) {
  const AutoReleasePool pool;
  const std::string text = "caf\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x8C\x8D end";
  EXPECT_EQ([[NSString wlStringWithStdString:text] stdstring], text);
  EXPECT_EQ([@"" stdstring], "");
}

TEST(NSStringStlTest, StdStringOfLoneSurrogateIsEmpty) {
  const AutoReleasePool pool;
  // Made by the formatter, which keeps the unit on every Foundation.
  NSString* s = [NSString stringWithFormat:@"a%Cb", static_cast<unichar>(0xD800)];
  if (s == nil || [s length] != 3) GTEST_SKIP() << "this Foundation cannot hold a lone surrogate";
  EXPECT_EQ([s stdstring], "");
}

// --- stringWithStdWString: ------------------------------------------------

TEST(NSStringStlTest, WideStringIsUtf32) {
  const AutoReleasePool pool;
  NSString* s = [NSString stringWithStdWString:L"\U0001F600"];
  EXPECT_EQ([s length], 2u);
  EXPECT_EQ(Units(s), u"\U0001F600");
  EXPECT_EQ(Units([NSString stringWithStdWString:L"x\u00e9\u4e2d"]), u"x\u00e9\u4e2d");
}

TEST(NSStringStlTest, EmptyWideStringGivesEmptyString) {
  const AutoReleasePool pool;
  NSString* s = [NSString stringWithStdWString:std::wstring()];
  ASSERT_NE(s, nil);
  EXPECT_EQ([s length], 0u);
}

TEST(NSStringStlTest, WideStringConvertsLeniently) {
  const AutoReleasePool pool;
  // Beyond U+10FFFF becomes U+FFFD; a surrogate value is carried through
  // where Foundation keeps it.
  std::wstring w;
  w.push_back(static_cast<wchar_t>(0x110000));
  w.push_back(L'a');
  w.push_back(static_cast<wchar_t>(0xD800));
  const char16_t last = KeepsLoneSurrogates() ? static_cast<char16_t>(0xD800) : u'\uFFFD';
  EXPECT_EQ(Units([NSString stringWithStdWString:w]), (std::u16string{u'\uFFFD', u'a', last}));
  // An embedded zero is an ordinary value of the wide string.
  EXPECT_EQ(Units([NSString stringWithStdWString:std::wstring(L"a\0b", 3)]),
            (std::u16string{u'a', u'\0', u'b'}));
}

// --- stringWithUString:, wlStringWithWString:, initWithUString: -----------

TEST(NSStringStlTest, UstringUnitsAreCopiedUnchanged) {
  const AutoReleasePool pool;
  const unsigned short units[] = {u'a', 0xD83D, 0xDE00, 0xFFFF, 0xFFFE, 0xE9};
  const tavrin_ustring u(units, 6);
  const std::u16string expected{u'a', u'\xD83D', u'\xDE00', u'\xFFFF', u'\xFFFE', u'\xE9'};
  EXPECT_EQ(Units([NSString stringWithUString:u]), expected);
  NSString* init = [[NSString alloc] initWithUString:u];
  EXPECT_EQ(Units(init), expected);
  [init release];
  EXPECT_EQ([[NSString stringWithUString:tavrin_ustring()] length], 0u);
}

TEST(NSStringStlTest, LoneSurrogatesKeptOrReplacedNeverNil) {
  const AutoReleasePool pool;
  const bool keeps = KeepsLoneSurrogates();
  SCOPED_TRACE(keeps ? "Foundation keeps lone surrogates" : "Foundation refuses lone surrogates");
  const char16_t fffd = u'\uFFFD';
  struct Case {
    std::u16string in;
    std::u16string replaced;
  };
  const Case cases[] = {
      {{u'a', static_cast<char16_t>(0xD800), u'b'}, {u'a', fffd, u'b'}},
      {{static_cast<char16_t>(0xDC00), u'a'}, {fffd, u'a'}},
      {{u'a', static_cast<char16_t>(0xDBFF)}, {u'a', fffd}},
      // Reversed pair: both halves are unpaired; a good pair stays.
      {{static_cast<char16_t>(0xDE00), static_cast<char16_t>(0xD83D), u'\xD83D', u'\xDE00'},
       {fffd, fffd, u'\xD83D', u'\xDE00'}},
  };
  for (const Case& c : cases) {
    const std::u16string& expected = keeps ? c.in : c.replaced;
    const tavrin_ustring u(reinterpret_cast<const unsigned short*>(c.in.data()), c.in.size());
    NSString* made = [NSString stringWithUString:u];
    ASSERT_NE(made, nil);
    EXPECT_EQ(Units(made), expected);
    NSString* init = [[NSString alloc] initWithUString:u];
    ASSERT_NE(init, nil);
    EXPECT_EQ(Units(init), expected);
    [init release];
    std::vector<unsigned short> terminated(c.in.begin(), c.in.end());
    terminated.push_back(0);
    EXPECT_EQ(Units([NSString wlStringWithWString:terminated.data()]), expected);
    EXPECT_EQ([made TavrinUstring].size(), c.in.size());
  }
}

TEST(NSStringStlTest, WStringArgumentIsZeroTerminatedUtf16) {
  const AutoReleasePool pool;
  const unsigned short units[] = {u'h', 0xE9, 0xD83D, 0xDE00, 0, u'x'};
  EXPECT_EQ(Units([NSString wlStringWithWString:units]), u"h\u00e9\U0001F600");
  const unsigned short empty[] = {0};
  EXPECT_EQ([[NSString wlStringWithWString:empty] length], 0u);
  NSString* none = [NSString wlStringWithWString:nullptr];
  ASSERT_NE(none, nil);
  EXPECT_EQ([none length], 0u);
}

// --- TavrinUstring -------------------------------------------------------

TEST(NSStringStlTest, TavrinUstringOfEmptyStringIsEmpty) {
  const AutoReleasePool pool;
  EXPECT_TRUE([@"" TavrinUstring].empty());
}

TEST(NSStringStlTest, TavrinUstringKeepsSurrogatePairs) {
  const AutoReleasePool pool;
  const tavrin_ustring u = [FromUnits(u"a\U0001F600b") TavrinUstring];
  ASSERT_EQ(u.size(), 4u);
  EXPECT_EQ(u[1], 0xD83D);
  EXPECT_EQ(u[2], 0xDE00);
}

TEST(NSStringStlTest, RandomValidUtf16RoundTripsBothWays) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 300; ++round) {
    const AutoReleasePool pool;
    std::vector<unsigned short> units;
    const int count = static_cast<int>(rng() % 40);
    for (int i = 0; i < count; ++i) {
      // ASCII, other BMP units and surrogate pairs (a tavrin_ustring holds
      // no zero unit).
      switch (rng() % 4) {
        case 0:
          units.push_back(static_cast<unsigned short>(0x20 + rng() % 95));
          break;
        case 1:
          units.push_back(static_cast<unsigned short>(0xD800 + rng() % 0x400));
          units.push_back(static_cast<unsigned short>(0xDC00 + rng() % 0x400));
          break;
        case 2:
          units.push_back(static_cast<unsigned short>(0xE000 + rng() % 0x2000));
          break;
        default:
          units.push_back(static_cast<unsigned short>(0x80 + rng() % 0x700));
          break;
      }
    }
    const tavrin_ustring u(units.data(), units.size());
    NSString* s = [NSString stringWithUString:u];
    ASSERT_EQ([s length], units.size());
    EXPECT_EQ([s TavrinUstring], u);
    EXPECT_EQ([[NSString wlStringWithStdString:u.utf8()] TavrinUstring], u);
  }
}

}  // namespace
