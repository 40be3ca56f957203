// Tests of tavrin_ustring's format strings: the three rewriting state
// machines, Format/GetFormatted over inserts, the platform formatter (checked
// against the C library's snprintf on generated formats), rejection and the
// no-argument mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "common/utils/internal/format_internal.h"
#include "common/utils/ustring.h"
#include "tests/test_support.h"

namespace tavrin::utils {
// Failure messages show the text, not the bytes of the object.
void PrintTo(const tavrin_ustring& s, std::ostream* os) {
  *os << '"' << s.utf8() << '"';
}
}  // namespace tavrin::utils

namespace {

using tavrin::utils::tavrin_ustring;

tavrin_ustring U(const char16_t* s) {
  return tavrin_ustring(s);
}

std::string Fix(const char16_t* s) {
  return tavrin_ustring::FixWindowsPositionalFormats(U(s)).utf8();
}
std::string Reverse(const char16_t* s) {
  return tavrin_ustring::ReverseStringFormats(U(s)).utf8();
}
std::string Remove(const char16_t* s) {
  return tavrin_ustring::RemovePositionalFormats(U(s)).utf8();
}

// The platform step alone (after any rewriting), on a fresh string.
tavrin_ustring Platform(tavrin_ustring fmt, ...) {
  tavrin_ustring out;
  va_list args;
  va_start(args, fmt);
  out.FormatVPlatform(fmt, args);
  va_end(args);
  return out;
}

// The platform step on a string that already holds text, to see what a
// rejected format leaves behind.
tavrin_ustring PlatformOver(tavrin_ustring target, tavrin_ustring fmt, ...) {
  va_list args;
  va_start(args, fmt);
  target.FormatVPlatform(fmt, args);
  va_end(args);
  return target;
}

// The platform step with the target's own text as the format.
void PlatformOnItself(tavrin_ustring* target, ...) {
  va_list args;
  va_start(args, target);
  target->FormatVPlatform(*target, args);
  va_end(args);
}

// --- FixWindowsPositionalFormats ------------------------------------------

TEST(UstringFormatTest, FixWindowsInsertsBecomeStringPositions) {
  EXPECT_EQ(Fix(u"Found %1 items in %2."), "Found %1$s items in %2$s.");
  EXPECT_EQ(Fix(u"Value %1"), "Value %1$s");
  EXPECT_EQ(Fix(u"%1 "), "%1$s ");
  EXPECT_EQ(Fix(u"%9"), "%9$s");
  EXPECT_EQ(Fix(u"%1.x"), "%1$s.x");
  EXPECT_EQ(Fix(u"Größe %1 über %2"), "Größe %1$s über %2$s");
}

TEST(UstringFormatTest, FixWindowsBangTypesBecomeConversions) {
  EXPECT_EQ(Fix(u"%1!d! of %2!d!"), "%1$d of %2$d");
  EXPECT_EQ(Fix(u"%1!.2f! and %2"), "%1$.2f and %2$s");
  EXPECT_EQ(Fix(u"%3!-8s!|"), "%3$-8s|");
  EXPECT_EQ(Fix(u"%1!!"), "%1$");
  // An unterminated "!..." stays as copied.
  EXPECT_EQ(Fix(u"%1!d"), "%1$d");
  EXPECT_EQ(Fix(u"%1!d and more"), "%1$d and more");
}

TEST(UstringFormatTest, FixWindowsLeavesPrintfAndPercentAlone) {
  EXPECT_EQ(Fix(u"100%%"), "100%%");
  EXPECT_EQ(Fix(u"%d%%"), "%d%%");
  EXPECT_EQ(Fix(u"%1.2f"), "%1.2f");
  EXPECT_EQ(Fix(u"%1.5"), "%1.5");
  EXPECT_EQ(Fix(u"%%1"), "%%1");
  EXPECT_EQ(Fix(u"%0"), "%0");
  EXPECT_EQ(Fix(u"%"), "%");
  EXPECT_EQ(Fix(u""), "");
  EXPECT_EQ(Fix(u"%1$s"), "%1$s");
}

TEST(UstringFormatTest, FixWindowsOnlySingleDigitInserts) {
  EXPECT_EQ(Fix(u"%12"), "%12");
  EXPECT_EQ(Fix(u"%12 and %3"), "%12 and %3$s");
  EXPECT_EQ(Fix(u"%1a"), "%1a");
  // The unit after an insert digit is copied in Plain state, so a "%" right
  // after "%1" does not start another insert.
  EXPECT_EQ(Fix(u"%1%2"), "%1%2");
  EXPECT_EQ(Fix(u"%1%2 "), "%1%2 ");
  // Only a space, a period or the end closes an insert: "%1]" stays, and the
  // platform formatter then rejects it as a width before an unknown letter.
  EXPECT_EQ(Fix(u"[%1]"), "[%1]");
  EXPECT_EQ(Fix(u"(%1, %2)"), "(%1, %2)");
}

TEST(UstringFormatTest, FixWindowsLeavesTextWithoutPercentUnchanged) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const char16_t alphabet[] = u"abc 1.!$sS9\u00e9\u4e2d";
  std::uniform_int_distribution<int> pick(0, static_cast<int>(std::size(alphabet)) - 2);
  for (int round = 0; round < 500; ++round) {
    std::u16string text;
    const int n = round % 17;
    for (int i = 0; i < n; ++i) text.push_back(alphabet[pick(rng)]);
    const tavrin_ustring in(text.c_str());
    EXPECT_EQ(tavrin_ustring::FixWindowsPositionalFormats(in), in);
    EXPECT_EQ(tavrin_ustring::ReverseStringFormats(in), in);
    EXPECT_EQ(tavrin_ustring::RemovePositionalFormats(in), in);
  }
}

// --- ReverseStringFormats --------------------------------------------------

TEST(UstringFormatTest, ReverseExchangesStringConversions) {
  EXPECT_EQ(Reverse(u"%s and %S"), "%S and %s");
  EXPECT_EQ(Reverse(u"%1$s"), "%1$S");
  EXPECT_EQ(Reverse(u"%1$S"), "%1$s");
  EXPECT_EQ(Reverse(u"%S%s"), "%s%S");
  EXPECT_EQ(Reverse(u"%12$s"), "%12$S");
}

TEST(UstringFormatTest, ReverseLeavesOtherConversionsAlone) {
  EXPECT_EQ(Reverse(u"%ls"), "%ls");
  EXPECT_EQ(Reverse(u"%-10s"), "%-10s");
  EXPECT_EQ(Reverse(u"%%s"), "%%s");
  EXPECT_EQ(Reverse(u"%2$d"), "%2$d");
  EXPECT_EQ(Reverse(u"s%"), "s%");
  EXPECT_EQ(Reverse(u"%1"), "%1");
  EXPECT_EQ(Reverse(u""), "");
}

TEST(UstringFormatTest, ReverseCopiesEverythingAfterNumberUntilDollar) {
  EXPECT_EQ(Reverse(u"%1 lots of s $s"), "%1 lots of s $S");
  EXPECT_EQ(Reverse(u"%1d then %s"), "%1d then %s");
  EXPECT_EQ(Reverse(u"%1d then %s $s"), "%1d then %s $S");
}

TEST(UstringFormatTest, ReverseIsItsOwnInverse) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const char16_t alphabet[] = u"%%%sS1$$d ";
  std::uniform_int_distribution<int> pick(0, static_cast<int>(std::size(alphabet)) - 2);
  for (int round = 0; round < 1000; ++round) {
    std::u16string text;
    const int n = 1 + round % 13;
    for (int i = 0; i < n; ++i) text.push_back(alphabet[pick(rng)]);
    const tavrin_ustring in(text.c_str());
    const tavrin_ustring once = tavrin_ustring::ReverseStringFormats(in);
    EXPECT_EQ(once.size(), in.size());
    EXPECT_EQ(tavrin_ustring::ReverseStringFormats(once), in) << in.utf8();
  }
}

// --- RemovePositionalFormats ----------------------------------------------

TEST(UstringFormatTest, RemovePositionalDropsNumberAndDollar) {
  EXPECT_EQ(Remove(u"%2$s %1$d"), "%s %d");
  EXPECT_EQ(Remove(u"%1$.2f%%"), "%.2f%%");
  EXPECT_EQ(Remove(u"%1$"), "%");
}

TEST(UstringFormatTest, RemovePositionalKeepsOtherForms) {
  EXPECT_EQ(Remove(u"%1d"), "%1d");
  EXPECT_EQ(Remove(u"%12$s"), "%12$s");
  EXPECT_EQ(Remove(u"%0$s"), "%0$s");
  EXPECT_EQ(Remove(u"%%"), "%%");
  EXPECT_EQ(Remove(u"%%1$s"), "%%1$s");
  EXPECT_EQ(Remove(u""), "");
}

TEST(UstringFormatTest, RemovePositionalLosesTrailingInsertDigit) {
  EXPECT_EQ(Remove(u"abc %1"), "abc %");
  EXPECT_EQ(Remove(u"%9"), "%");
}

// --- Format, FormatV, GetFormatted ----------------------------------------

TEST(UstringFormatTest, GetFormattedInsertsWithTypes) {
  const tavrin_ustring u(u"width");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%1 = %2!d!", u.c_str(), 5).utf8(), "width = 5");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%1!.2f! mm", 3.14159).utf8(), "3.14 mm");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"[%1!5d!]", 42).utf8(), "[   42]");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"Saved %1.", u.c_str()).utf8(), "Saved width.");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"Value %1", u.c_str()).utf8(), "Value width");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"100%%").utf8(), "100%");
}

TEST(UstringFormatTest, GetFormattedReordersAndRepeatsInserts) {
  const tavrin_ustring a(u"first"), b(u"second");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%2 %1", a.c_str(), b.c_str()).utf8(), "second first");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%1 %1", a.c_str()).utf8(), "first first");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%2!d! of %1!d!, %2!x!", 7, 255).utf8(), "255 of 7, ff");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%3 %1 %2", a.c_str(), b.c_str(), u"third").utf8(),
            "third first second");
}

TEST(UstringFormatTest, PrintfFormsPassThroughInserts) {
  // Left alone by the insert rewriting, so they stay printf conversions.
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%1.2f", 3.14159).utf8(), "3.14");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%12d|", 5).utf8(), "           5|");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%d items, %x", 12, 255).utf8(), "12 items, ff");
}

TEST(UstringFormatTest, BothStringKinds) {
  const tavrin_ustring wide(u"units");
  // In library formats "%s" is UTF-16 and "%S" is 8-bit UTF-8.
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%s/%S", wide.c_str(), "bytes").utf8(), "units/bytes");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%2$S/%1$s", wide.c_str(), "bytes").utf8(),
            "bytes/units");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%1!S!", "eight").utf8(), "eight");
}

TEST(UstringFormatTest, NonAsciiArguments) {
  const tavrin_ustring wide(u"Gr\u00fc\u00dfe \U0001F600 \u4e2d");
  const tavrin_ustring r =
      tavrin_ustring::GetFormatted(u"<%s|%S>", wide.c_str(), "\xC3\xA9t\xC3\xA9 \xF0\x9F\x8C\x8D");
  EXPECT_EQ(r.utf16(), u"<Gr\u00fc\u00dfe \U0001F600 \u4e2d|\u00e9t\u00e9 \U0001F30D>");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"\u00bb %1 \u00ab", wide.c_str()).utf16(),
            u"\u00bb Gr\u00fc\u00dfe \U0001F600 \u4e2d \u00ab");
}

TEST(UstringFormatTest, InvalidUtf8ArgumentInsertsNothing) {
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"[%S]", "ok\xFF").utf8(), "[]");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"[%S]", "\xC3").utf8(), "[]");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"[%S]", "\xE2\x82").utf8(), "[]");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"[%S|%S]", "\x80", "fine").utf8(), "[|fine]");
}

TEST(UstringFormatTest, NullStringArgumentsPrintNull) {
  const unsigned short* none16 = nullptr;
  const char* none8 = nullptr;
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%s|%S", none16, none8).utf8(), "(null)|(null)");
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"%1 %2!S!", none16, none8).utf8(), "(null) (null)");
}

TEST(UstringFormatTest, EmptyFormatLeavesTargetUnchanged) {
  tavrin_ustring s(u"keep");
  s.Format(tavrin_ustring());
  EXPECT_EQ(s.utf8(), "keep");
  s.Format(tavrin_ustring(), 1, 2);
  EXPECT_EQ(s.utf8(), "keep");
  EXPECT_EQ(PlatformOver(s, tavrin_ustring()).utf8(), "keep");
  EXPECT_TRUE(tavrin_ustring::GetFormatted(tavrin_ustring()).empty());
}

TEST(UstringFormatTest, FormatReplacesTarget) {
  tavrin_ustring s(u"previous text that is long");
  s.Format(u"%1!d!-%2!d!", 1, 2);
  EXPECT_EQ(s.utf8(), "1-2");
  s.Format(u"plain");
  EXPECT_EQ(s.utf8(), "plain");
}

TEST(UstringFormatTest, FormatCanUseItsOwnTextAsArgument) {
  tavrin_ustring s(u"abc");
  s.Format(u"%1 %1.", s.c_str());
  EXPECT_EQ(s.utf8(), "abc abc.");
  // The platform step formatting the target's own text as its format.
  tavrin_ustring t(u"%d+%d");
  PlatformOnItself(&t, 1, 2);
  EXPECT_EQ(t.utf8(), "1+2");
}

TEST(UstringFormatTest, RejectedFormatEmptiesTarget) {
  tavrin_ustring s(u"old");
  int written = 0;
  s.Format(u"count%n", &written);
  EXPECT_TRUE(s.empty());
  EXPECT_EQ(written, 0);
  const tavrin_ustring a(u"a"), b(u"b");
  EXPECT_TRUE(tavrin_ustring::GetFormatted(u"%2", a.c_str(), b.c_str()).empty());
  EXPECT_TRUE(tavrin_ustring::GetFormatted(u"%1 %3", a.c_str(), b.c_str()).empty());
  EXPECT_TRUE(tavrin_ustring::GetFormatted(u"%1 and %s", a.c_str(), b.c_str()).empty());
  // A "%" before a conversion letter is a conversion: "% o" is octal with
  // the space flag, so this one is not rejected.
  EXPECT_EQ(tavrin_ustring::GetFormatted(u"50% off", 1).utf8(), "501ff");
  EXPECT_TRUE(tavrin_ustring::GetFormatted(u"100%").empty());
  EXPECT_TRUE(tavrin_ustring::GetFormatted(u"%1.5", 1.0).empty());
  EXPECT_TRUE(tavrin_ustring::GetFormatted(u"[%1]", a.c_str()).empty());
}

// --- Platform formatter: conversions ---------------------------------------

TEST(UstringFormatTest, PlatformStringConversions) {
  const tavrin_ustring wide(u"w\u00e9");
  EXPECT_EQ(Platform(u"%S", wide.c_str()).utf16(), u"w\u00e9");
  EXPECT_EQ(Platform(u"%s", "b\xC3\xA9").utf16(), u"b\u00e9");
  EXPECT_EQ(Platform(u"[%5S|%-4s]", wide.c_str(), "ab").utf8(), "[   w\u00e9|ab  ]");
  EXPECT_EQ(Platform(u"%ls", L"x\U0001F600").utf16(), u"x\U0001F600");
  EXPECT_EQ(Platform(u"[%3ls]", L"\u00e9").utf16(), u"[  \u00e9]");
  EXPECT_EQ(Platform(u"%.2ls", L"abc").utf8(), "ab");
  const wchar_t* none = nullptr;
  EXPECT_EQ(Platform(u"%ls", none).utf8(), "(null)");
}

TEST(UstringFormatTest, PlatformStringWidthCountsUtf16Units) {
  // A character outside the BMP takes two units of the width.
  EXPECT_EQ(Platform(u"[%4s]", "\xF0\x9F\x98\x80").utf16(), u"[  \U0001F600]");
  EXPECT_EQ(Platform(u"[%-3s]", "\xC3\xA9").utf16(), u"[\u00e9  ]");
  // Invalid UTF-8 inserts nothing, but the field is still padded.
  EXPECT_EQ(Platform(u"[%3s]", "\xFF").utf8(), "[   ]");
}

TEST(UstringFormatTest, PlatformStringPrecisionKeepsWholeCharacters) {
  // "é" is two bytes: a precision of 3 bytes keeps "a" and "é" but not half
  // of the next one.
  EXPECT_EQ(Platform(u"%.3s", "a\xC3\xA9\xC3\xA9").utf16(), u"a\u00e9");
  EXPECT_EQ(Platform(u"%.2s", "a\xC3\xA9").utf8(), "a");
  EXPECT_EQ(Platform(u"%.4s", "\xF0\x9F\x98\x80z").utf16(), u"\U0001F600");
  EXPECT_EQ(Platform(u"%.3s", "\xF0\x9F\x98\x80z").utf8(), "");
  // The precision bounds the read: no terminator needed after it.
  const char unterminated[3] = {'x', 'y', 'z'};
  EXPECT_EQ(Platform(u"%.3s", unterminated).utf8(), "xyz");
  const unsigned short units[2] = {u'p', u'q'};
  EXPECT_EQ(Platform(u"%.2S", units).utf8(), "pq");
  // A surrogate pair is never split by a "%S" precision.
  const tavrin_ustring pair(u"\U0001F600!");
  EXPECT_EQ(Platform(u"%.1S", pair.c_str()).utf8(), "");
  EXPECT_EQ(Platform(u"%.2S", pair.c_str()).utf16(), u"\U0001F600");
}

TEST(UstringFormatTest, PlatformCharacterConversions) {
  EXPECT_EQ(Platform(u"%C%C", 0x4e2d, 0x41).utf16(), u"\u4e2dA");
  EXPECT_EQ(Platform(u"[%3C]", 0xe9).utf16(), u"[  \u00e9]");
  EXPECT_EQ(Platform(u"%lc", static_cast<wint_t>(0x1F600)).utf16(), u"\U0001F600");
  EXPECT_EQ(Platform(u"%lc", static_cast<wint_t>(0x110000)).utf16(), u"\uFFFD");
  EXPECT_EQ(Platform(u"[%-3c]", 'z').utf8(), "[z  ]");
  // A lone byte above 0x7F is not UTF-8; a zero character adds no unit.
  EXPECT_EQ(Platform(u"[%c]", 0xE9).utf8(), "[]");
  EXPECT_EQ(Platform(u"[%c%C]", 0, 0).utf8(), "[]");
}

TEST(UstringFormatTest, PlatformAtSignIsLiteral) {
  EXPECT_EQ(Platform(u"a%@b").utf8(), "a%@b");
  EXPECT_EQ(Platform(u"%@ %d %@", 5).utf8(), "%@ 5 %@");
  EXPECT_EQ(Platform(u"%2$d %@ %1$d", 1, 2).utf8(), "2 %@ 1");
}

TEST(UstringFormatTest, PlatformPositionalArguments) {
  const tavrin_ustring a(u"A"), b(u"B");
  EXPECT_EQ(Platform(u"%2$S%1$S%2$S", a.c_str(), b.c_str()).utf8(), "BAB");
  EXPECT_EQ(Platform(u"%1$d %1$x %1$o", 64).utf8(), "64 40 100");
  EXPECT_EQ(Platform(u"[%1$*2$d]", 7, 4).utf8(), "[   7]");
  EXPECT_EQ(Platform(u"[%2$.*1$f]", 2, 3.14159).utf8(), "[3.14]");
  EXPECT_EQ(Platform(u"%3$s %1$.*2$f", 1.5, 3, "x").utf8(), "x 1.500");
  // Types of every position are collected first, so the va_list is read in
  // order even when the format names the last argument first.
  EXPECT_EQ(Platform(u"%4$s %3$Lf %2$lld %1$d", 1, 2LL, 3.5L, "four").utf8(), "four 3.500000 2 1");
  // The same position read as long and long long (same size on LP64).
  EXPECT_EQ(Platform(u"%1$ld %1$lld", 9L).utf8(), "9 9");
}

TEST(UstringFormatTest, PlatformStarWidthAndPrecision) {
  EXPECT_EQ(Platform(u"[%*d]", 5, 42).utf8(), "[   42]");
  EXPECT_EQ(Platform(u"[%*d]", -5, 42).utf8(), "[42   ]");
  EXPECT_EQ(Platform(u"[%.*f]", -1, 0.5).utf8(), "[0.500000]");
  EXPECT_EQ(Platform(u"[%*.*s]", 6, 2, "abcdef").utf8(), "[    ab]");
}

// A negative "*" width is the "-" flag with its magnitude, which overrides
// "0": the number is padded with spaces behind it, every digit kept.
TEST(UstringFormatTest, PlatformNegativeStarWidthBeatsZeroFlag) {
  EXPECT_EQ(Platform(u"x=%  0*.0e", -7, -4e-140).utf8(), "x=-4e-140");
  EXPECT_EQ(Platform(u"[%0*.0e]", -9, -4e-140).utf8(), "[-4e-140  ]");
  EXPECT_EQ(Platform(u"[% 0*.1f]", -8, 2.5).utf8(), "[ 2.5    ]");
  EXPECT_EQ(Platform(u"[%0*Le]", -14, 1.5L).utf8(), "[1.500000e+00  ]");
  EXPECT_EQ(Platform(u"[%0*d]", -5, -42).utf8(), "[-42  ]");
  EXPECT_EQ(Platform(u"[%#0*x]", -6, 255u).utf8(), "[0xff  ]");
}

TEST(UstringFormatTest, PlatformNumbersIgnoreGroupingFlag) {
  EXPECT_EQ(Platform(u"%'d|%'.1f", 1234567, 1234.5).utf8(), "1234567|1234.5");
}

// Switches LC_NUMERIC to a locale whose decimal point is a comma: an
// installed one, else one compiled with localedef into a temporary folder
// (LOCPATH). Returns the name, or "" when neither works.
std::string UseDecimalCommaLocale() {
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"}) {
    if (std::setlocale(LC_NUMERIC, name) != nullptr) return name;
  }
  const std::string dir = tavrin::test::FreshDir("locales");
  const std::string source =
      "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\ngrouping 3;3\n"
      "END LC_NUMERIC\n";
  if (!tavrin::test::WriteFile(dir + "/comma.src", source)) return "";
  // localedef warns (and exits with 1) about the categories left out.
  tavrin::test::RunShell("localedef -c -i '" + dir + "/comma.src' -f UTF-8 '" + dir +
                         "/xx_XX.UTF-8' >/dev/null 2>&1");
  const tavrin::test::ScopedEnv locpath("LOCPATH", dir.c_str());
  return std::setlocale(LC_NUMERIC, "xx_XX.UTF-8") != nullptr ? "xx_XX.UTF-8" : "";
}

TEST(UstringFormatTest, PlatformDecimalPointIsAlwaysDot) {
  const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
  const std::string name = UseDecimalCommaLocale();
  if (name.empty()) {
    std::setlocale(LC_NUMERIC, saved.c_str());
    GTEST_SKIP() << "no locale with a decimal comma is installed or can be built";
  }
  char probe[16];
  std::snprintf(probe, sizeof(probe), "%.1f", 1.5);
  const std::string formatted = Platform(u"%.1f %g %'d", 1.5, 2.5, 1234567).utf8();
  const std::string inserted = tavrin_ustring::GetFormatted(u"%1!.2f!", 0.25).utf8();
  std::setlocale(LC_NUMERIC, saved.c_str());
  EXPECT_STREQ(probe, "1,5") << name;  // the locale really is in effect
  EXPECT_EQ(formatted, "1.5 2.5 1234567");
  EXPECT_EQ(inserted, "0.25");
}

// --- Platform formatter: rejection -----------------------------------------

TEST(UstringFormatTest, PlatformRejectsWriteBack) {
  int n = 0;
  signed char hh = 0;
  long l = 0;
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"ab%n"), &n).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%1$n"), &n).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%d%hhn"), 1, &hh).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%ln"), &l).empty());
  EXPECT_EQ(n, 0);
  EXPECT_EQ(hh, 0);
  EXPECT_EQ(l, 0);
}

TEST(UstringFormatTest, PlatformRejectsGapsAndMixing) {
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%2$d"), 1, 2).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%1$d %3$d"), 1, 2, 3).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%1$d %d"), 1, 2).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%d %1$d"), 1, 2).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%1$*d"), 1, 2).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%*1$d"), 1, 2).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%2$.*d %1$d"), 1, 2).empty());
  // A position too large to be reached without a gap.
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%4000000000$d"), 1).empty());
  // One position read as an int and as a pointer cannot be both.
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%1$d %1$s"), 1).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%1$f %1$Lf"), 1.0).empty());
}

TEST(UstringFormatTest, PlatformRejectsMalformedConversions) {
  const char16_t* bad[] = {
      u"%",    u"abc%",  u"%5",    u"%-",   u"%.",    u"%.5",     u"%y",   u"%k",
      u"%hf",  u"%Ld",   u"%Lx",   u"%llc", u"%hs",   u"%lS",     u"%lC",  u"%Lp",
      u"%hp",  u"%hhs",  u"%5%",   u"%-%",  u"%1$%",  u"%-@",     u"%1$@", u"%0$d",
      u"%*5d", u"%.*5d", u"%q",    u"%Zd",  u"%I64d", u"%lld%",   u"%1$",  u"%1$*",
      u"%$d",  u"%v",    u"%lf%y", u"%+",   u"%hhh",  u"%\u00e9", u"%jf",  u"%zs",
  };
  for (const char16_t* f : bad) {
    EXPECT_TRUE(PlatformOver(U(u"x"), U(f), 1, 2, 3).empty()) << U(f).utf8();
  }
  // A zero unit where the conversion letter should be.
  const unsigned short units[] = {u'%', 0, u'd'};
  EXPECT_TRUE(PlatformOver(U(u"x"), tavrin_ustring(units, 3), 1).empty());
}

TEST(UstringFormatTest, PlatformRejectsOversizedWidths) {
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%2147483648d"), 1).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%.2147483648d"), 1).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%99999999999999999999999d"), 1).empty());
  EXPECT_TRUE(PlatformOver(U(u"x"), U(u"%*d"), std::numeric_limits<int>::min(), 1).empty());
}

TEST(UstringFormatTest, PlatformAcceptsPercentAndNoArguments) {
  EXPECT_EQ(Platform(u"plain").utf8(), "plain");
  EXPECT_EQ(Platform(u"%%%%").utf8(), "%%");
  EXPECT_EQ(Platform(u"\u00e9%%\u4e2d").utf16(), u"\u00e9%\u4e2d");
}

// --- Very long output ------------------------------------------------------

TEST(UstringFormatTest, VeryLongOutput) {
  std::u16string big;
  for (int i = 0; i < 70000; ++i)
    big.push_back(i % 3 == 0 ? u'\u00e9' : static_cast<char16_t>(u'a' + i % 26));
  const tavrin_ustring arg(big.c_str());
  const tavrin_ustring r = tavrin_ustring::GetFormatted(u"< %1 >", arg.c_str());
  ASSERT_EQ(r.size(), big.size() + 4);
  EXPECT_EQ(r.utf16(), u"< " + big + u" >");

  const tavrin_ustring wide = Platform(u"%100000d|", 7);
  ASSERT_EQ(wide.size(), 100001u);
  EXPECT_EQ(wide[99998], u' ');
  EXPECT_EQ(wide[99999], u'7');

  const tavrin_ustring zeros = Platform(u"%-+080000.70000d", -3);
  ASSERT_EQ(zeros.size(), 80000u);
  EXPECT_EQ(zeros[0], u'-');
  EXPECT_EQ(zeros[70000], u'3');
  EXPECT_EQ(zeros[79999], u' ');

  const tavrin_ustring fraction = Platform(u"%.70000f", 0.25);
  ASSERT_EQ(fraction.size(), 70002u);
  EXPECT_EQ(fraction.utf8().substr(0, 5), "0.250");
  EXPECT_EQ(fraction[70001], u'0');

  const tavrin_ustring padded_float = Platform(u"%090000.1e", -2.5);
  ASSERT_EQ(padded_float.size(), 90000u);
  EXPECT_EQ(padded_float.utf8().substr(0, 3), "-00");
  EXPECT_EQ(padded_float.utf8().substr(90000 - 7), "2.5e+00");

  std::string bytes(100000, 'q');
  bytes += "\xE2\x82\xAC";
  const tavrin_ustring eight = Platform(u"%s", bytes.c_str());
  ASSERT_EQ(eight.size(), 100001u);
  EXPECT_EQ(eight[100000], 0x20AC);
}

TEST(UstringFormatTest, LongFormatWithManyInserts) {
  // Long enough that the rewritten format no longer fits the stack scratch.
  std::u16string format;
  std::string expected;
  for (int i = 0; i < 400; ++i) {
    format += u"%1 %2!d! ";
    expected += "ab " + std::to_string(-7) + " ";
  }
  const tavrin_ustring arg(u"ab");
  EXPECT_EQ(tavrin_ustring::GetFormatted(format.c_str(), arg.c_str(), -7).utf8(), expected);
}

TEST(UstringFormatTest, FindPercentUnitMatchesPlainScan) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  // Units that differ from "%" (0x25) in one lane bit or by a borrow.
  const unsigned short units[] = {u'a', 0x24, 0x26, 0x2525, 0x0125, 0x2500, 0xFFFF, 0, 0x8025};
  for (int round = 0; round < 2000; ++round) {
    std::vector<unsigned short> text(static_cast<std::size_t>(rng() % 40));
    for (auto& u : text) u = rng() % 8 == 0 ? u'%' : units[rng() % std::size(units)];
    const std::size_t start = text.empty() ? 0 : rng() % (text.size() + 1);
    std::size_t expected = start;
    while (expected < text.size() && text[expected] != u'%') ++expected;
    EXPECT_EQ(tavrin::utils::detail::FindPercentUnit(text.data(), start, text.size()), expected);
  }
}

// --- Differential checks against snprintf ---------------------------------

// snprintf's text of the same format and arguments (ASCII in these checks).
template <class... Args>
std::string Reference(const std::string& format, Args... args) {
  const int n = std::snprintf(nullptr, 0, format.c_str(), args...);
  if (n < 0) return "<error>";
  std::string out(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(out.data(), out.size(), format.c_str(), args...);
  out.resize(static_cast<std::size_t>(n));
  return out;
}

template <class... Args>
void ExpectSameAsSnprintf(const std::string& format, Args... args) {
  const std::string expected = Reference(format, args...);
  const std::string actual = Platform(tavrin_ustring(format.c_str()), args...).utf8();
  EXPECT_EQ(actual, expected) << "format \"" << format << "\"";
}

// Compares the library's text of `format` with snprintf's text of
// `reference_format` (the same conversion, spelled for the C library).
template <class... Library, class... Ref>
void ExpectSameAsReference(const std::string& format, const std::string& reference_format,
                           const std::tuple<Library...>& library_args,
                           const std::tuple<Ref...>& reference_args) {
  const std::string expected =
      std::apply([&](auto... a) { return Reference(reference_format, a...); }, reference_args);
  const std::string actual =
      std::apply([&](auto... a) { return Platform(tavrin_ustring(format.c_str()), a...).utf8(); },
                 library_args);
  EXPECT_EQ(actual, expected) << "format \"" << format << "\", reference \"" << reference_format
                              << "\"";
}

// Calls the comparison with the "*" arguments the format asks for. A
// negative "*" width means the "-" flag and the width's magnitude; the
// reference format spells it so, with a literal width: glibc's printf takes
// another path once a program has registered a printf extension (GNUstep
// registers "%@"), and on that path it pads such a field with zeros on the
// right when "0" is also given.
template <class T>
void CompareOne(const std::string& format, bool width_star, int width, bool precision_star,
                int precision, T value) {
  std::string reference = format;
  bool reference_width_star = width_star;
  if (width_star && width < 0) {
    const std::size_t percent = format.find('%');
    const std::size_t star = format.find('*', percent);
    reference = format.substr(0, percent + 1) + "-" +
                format.substr(percent + 1, star - percent - 1) +
                std::to_string(-static_cast<long long>(width)) + format.substr(star + 1);
    reference_width_star = false;
  }
  if (width_star && precision_star) {
    if (reference_width_star) {
      ExpectSameAsReference(format, reference, std::tuple(width, precision, value),
                            std::tuple(width, precision, value));
    } else {
      ExpectSameAsReference(format, reference, std::tuple(width, precision, value),
                            std::tuple(precision, value));
    }
  } else if (width_star) {
    if (reference_width_star) {
      ExpectSameAsReference(format, reference, std::tuple(width, value), std::tuple(width, value));
    } else {
      ExpectSameAsReference(format, reference, std::tuple(width, value), std::tuple(value));
    }
  } else if (precision_star) {
    ExpectSameAsReference(format, reference, std::tuple(precision, value),
                          std::tuple(precision, value));
  } else {
    ExpectSameAsReference(format, reference, std::tuple(value), std::tuple(value));
  }
}

class SpecGenerator {
 public:
  explicit SpecGenerator(std::uint32_t seed) : rng_(seed) {}

  int Below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }
  bool OneIn(int n) { return Below(n) == 0; }

  // Flags, width and precision; "*" ones are reported through the outputs.
  std::string Prefix(const char* allowed_flags, bool& width_star, int& width, bool& precision_star,
                     int& precision, bool allow_precision) {
    std::string s = "%";
    const std::string flags = allowed_flags;
    const int flag_count = Below(4);
    for (int i = 0; i < flag_count && !flags.empty(); ++i) {
      s += flags[static_cast<std::size_t>(Below(static_cast<int>(flags.size())))];
    }
    width_star = false;
    precision_star = false;
    width = 0;
    precision = 0;
    switch (Below(4)) {
      case 0:
        break;
      case 1:
        width_star = true;
        width = Below(41) - 20;
        s += "*";
        break;
      default:
        s += std::to_string(1 + Below(OneIn(10) ? 300 : 25));
        break;
    }
    if (allow_precision) {
      switch (Below(5)) {
        case 0:
        case 1:
          break;
        case 2:
          precision_star = true;
          precision = Below(30) - 5;
          s += ".*";
          break;
        case 3:
          s += ".";
          break;
        default:
          s += "." + std::to_string(Below(OneIn(10) ? 400 : 20));
          break;
      }
    }
    return s;
  }

  long long Integer() {
    switch (Below(6)) {
      case 0:
        return Below(3) - 1;
      case 1:
        return std::numeric_limits<long long>::min() + Below(2);
      case 2:
        return std::numeric_limits<long long>::max() - Below(2);
      case 3:
        return static_cast<long long>(rng_()) - 2147483648LL;
      default: {
        const unsigned long long hi = rng_(), lo = rng_();
        return static_cast<long long>((hi << 32) | lo);
      }
    }
  }

  double Double() {
    switch (Below(10)) {
      case 0: {
        const double specials[] = {0.0,
                                   -0.0,
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   std::numeric_limits<double>::quiet_NaN(),
                                   -std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::denorm_min(),
                                   std::numeric_limits<double>::max(),
                                   std::numeric_limits<double>::min(),
                                   0.5,
                                   9.5,
                                   0.05};
        return specials[Below(static_cast<int>(std::size(specials)))];
      }
      case 1:
        return static_cast<double>(Below(2001) - 1000);
      default: {
        const double mantissa = std::uniform_real_distribution<double>(-10.0, 10.0)(rng_);
        return std::ldexp(mantissa, Below(200) - 100);
      }
    }
  }

  std::string Ascii() {
    std::string s;
    const int n = Below(12);
    for (int i = 0; i < n; ++i) s += static_cast<char>(' ' + Below(95));
    return s;
  }

  std::mt19937& rng() { return rng_; }

 private:
  std::mt19937 rng_;
};

TEST(UstringFormatTest, DifferentialSingleConversionsAgainstSnprintf) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  SpecGenerator gen(seed);
  const char* int_lengths[] = {"", "hh", "h", "l", "ll", "j", "z", "t"};
  const char int_convs[] = "diuoxX";
  const char float_convs[] = "fFeEgGaA";
  bool ws = false, ps = false;
  int w = 0, p = 0;
  for (int round = 0; round < 6000; ++round) {
    switch (gen.Below(6)) {
      case 0:
      case 1: {  // integers with every length modifier
        std::string f = gen.Prefix("-+ #0'", ws, w, ps, p, true);
        const std::string length = int_lengths[gen.Below(8)];
        f += length;
        f += int_convs[gen.Below(6)];
        f += gen.OneIn(3) ? "|tail" : "";
        const long long v = gen.Integer();
        if (length == "" || length == "hh" || length == "h") {
          CompareOne(f, ws, w, ps, p, static_cast<int>(v));
        } else if (length == "l") {
          CompareOne(f, ws, w, ps, p, static_cast<long>(v));
        } else if (length == "ll") {
          CompareOne(f, ws, w, ps, p, v);
        } else if (length == "j") {
          CompareOne(f, ws, w, ps, p, static_cast<std::intmax_t>(v));
        } else if (length == "z") {
          CompareOne(f, ws, w, ps, p, static_cast<std::size_t>(v));
        } else {
          CompareOne(f, ws, w, ps, p, static_cast<std::ptrdiff_t>(v));
        }
        break;
      }
      case 2:
      case 3: {  // floating point, double and long double
        std::string f = "x=" + gen.Prefix("-+ #0", ws, w, ps, p, true);
        const bool is_long = gen.OneIn(4);
        if (is_long) {
          f += "L";
        } else if (gen.OneIn(6)) {
          f += "l";
        }
        f += float_convs[gen.Below(8)];
        const double v = gen.Double();
        if (is_long) {
          CompareOne(f, ws, w, ps, p, static_cast<long double>(v) / 3);
        } else {
          CompareOne(f, ws, w, ps, p, v);
        }
        break;
      }
      case 4: {  // ASCII strings and characters
        if (gen.OneIn(2)) {
          std::string f = gen.Prefix("-", ws, w, ps, p, true) + "s.";
          const std::string text = gen.Ascii();
          CompareOne(f, ws, w, ps, p, text.c_str());
        } else {
          std::string f = gen.Prefix("-", ws, w, ps, p, false) + "c";
          CompareOne(f, ws, w, ps, p, 1 + gen.Below(127));
        }
        break;
      }
      default: {  // pointers, null included
        std::string f = gen.Prefix("-+ 0", ws, w, ps, p, true) + "p";
        const std::uintptr_t bits = gen.OneIn(5) ? 0 : static_cast<std::uintptr_t>(gen.Integer());
        CompareOne(f, ws, w, ps, p, reinterpret_cast<const void*>(bits));
        break;
      }
    }
    if (HasFailure()) break;
  }
}

TEST(UstringFormatTest, DifferentialPositionalFormatsAgainstSnprintf) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  SpecGenerator gen(seed ^ 0x5bd1e995u);
  // Fixed argument list; each generated format uses every position at least
  // once, in a random order, with conversions that fit each type.
  const char* for_int[] = {"d", "i", "u", "x", "X", "o", "5d", "-7x", "+.3d", "#o", "08X"};
  const char* for_double[] = {"f", ".2e", "10.3g", "-12a", "+F", "#.0f", "010.4E", "G"};
  // Conversions that take their width from argument 5.
  const char* for_double_star[] = {"f", ".2e", "g", "a", "F", ".0f", ".4E"};
  const char* for_string[] = {"s", "8s", "-6.2s", ".0s"};
  const char* for_long[] = {"ld", "lx", "-20lu", "+lld", "lo"};
  const char* literals[] = {"", " ", ", ", "=", " and ", "%%", "\t"};
  for (int round = 0; round < 3000; ++round) {
    const int a = static_cast<int>(gen.Integer());
    const double b = gen.Double();
    const std::string c = gen.Ascii();
    const long d = static_cast<long>(gen.Integer());
    const int width = gen.Below(15);
    std::vector<int> order = {1, 2, 3, 4, 5};
    const int extra = gen.Below(4);
    for (int i = 0; i < extra; ++i) order.push_back(1 + gen.Below(5));
    std::shuffle(order.begin(), order.end(), gen.rng());
    std::string f = literals[gen.Below(7)];
    for (int position : order) {
      f += "%" + std::to_string(position) + "$";
      switch (position) {
        case 1:
          f += for_int[gen.Below(11)];
          break;
        case 2:
          if (gen.OneIn(3)) {
            f += gen.OneIn(2) ? "-*5$" : "0*5$";
            f += for_double_star[gen.Below(7)];
          } else {
            f += for_double[gen.Below(8)];
          }
          break;
        case 3:
          f += for_string[gen.Below(4)];
          break;
        case 4:
          f += for_long[gen.Below(5)];
          break;
        default:
          f += "d";
          break;
      }
      f += literals[gen.Below(7)];
    }
    ExpectSameAsSnprintf(f, a, b, c.c_str(), d, width);
    if (HasFailure()) break;
  }
}

TEST(UstringFormatTest, DifferentialSequentialFormatsAgainstSnprintf) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  SpecGenerator gen(seed ^ 0x9e3779b9u);
  for (int round = 0; round < 2000; ++round) {
    const int a = static_cast<int>(gen.Integer());
    const double b = gen.Double();
    const std::string c = gen.Ascii();
    const unsigned long long d = static_cast<unsigned long long>(gen.Integer());
    const int field = gen.Below(20);
    bool ws = false, ps = false;
    int w = 0, p = 0;
    std::string f = gen.Prefix("-+ 0", ws, w, ps, p, true) + "d ";
    f += "%" + std::to_string(gen.Below(30)) + "." + std::to_string(gen.Below(12)) + "g";
    f += " [%-*s]";
    f += " %#llx%%";
    if (ws && ps) {
      ExpectSameAsSnprintf(f, w, p, a, b, field, c.c_str(), d);
    } else if (ws) {
      ExpectSameAsSnprintf(f, w, a, b, field, c.c_str(), d);
    } else if (ps) {
      ExpectSameAsSnprintf(f, p, a, b, field, c.c_str(), d);
    } else {
      ExpectSameAsSnprintf(f, a, b, field, c.c_str(), d);
    }
    if (HasFailure()) break;
  }
}

// --- No-argument mode ------------------------------------------------------

TEST(UstringFormatTest, NoArgumentModeCollapsesPercentPairs) {
  using tavrin::utils::detail::FormatWithoutArguments;
  EXPECT_EQ(FormatWithoutArguments(U(u"40%% done")).utf8(), "40% done");
  EXPECT_EQ(FormatWithoutArguments(U(u"%%%")).utf8(), "%%");
  EXPECT_EQ(FormatWithoutArguments(U(u"%%%%")).utf8(), "%%");
  EXPECT_EQ(FormatWithoutArguments(U(u"100%s.txt %d %1 %n")).utf8(), "100%s.txt %d %1 %n");
  EXPECT_EQ(FormatWithoutArguments(U(u"end%")).utf8(), "end%");
  EXPECT_EQ(FormatWithoutArguments(U(u"\u00e9%%\U0001F600")).utf16(), u"\u00e9%\U0001F600");
  EXPECT_TRUE(FormatWithoutArguments(tavrin_ustring()).empty());
}

TEST(UstringFormatTest, NoArgumentModeOnUtf8) {
  using tavrin::utils::detail::FormatWithoutArgumentsUtf8;
  EXPECT_EQ(FormatWithoutArgumentsUtf8("40%% done\n"), "40% done\n");
  EXPECT_EQ(FormatWithoutArgumentsUtf8("%%%"), "%%");
  EXPECT_EQ(FormatWithoutArgumentsUtf8("%s \xC3\xA9%%"), "%s \xC3\xA9%");
  EXPECT_EQ(FormatWithoutArgumentsUtf8(std::string_view("a\0%%b", 5)), std::string("a\0%b", 4));
  EXPECT_EQ(FormatWithoutArgumentsUtf8(""), "");
}

TEST(UstringFormatTest, NoArgumentModeAfterFormattingOnce) {
  using tavrin::utils::detail::FormatWithoutArguments;
  // Four signs for one: formatted once with the argument, then again with none.
  const tavrin_ustring once = tavrin_ustring::GetFormatted(u"%d%%%% done\n", 40);
  EXPECT_EQ(once.utf8(), "40%% done\n");
  EXPECT_EQ(FormatWithoutArguments(once).utf8(), "40% done\n");
  const tavrin_ustring arg(u"50%%");
  EXPECT_EQ(FormatWithoutArguments(tavrin_ustring::GetFormatted(u"%s", arg.c_str())).utf8(), "50%");
  EXPECT_EQ(FormatWithoutArguments(tavrin_ustring::GetFormatted(u"100%%s.txt")).utf8(),
            "100%s.txt");
}

// --- The one-pass rewrite and the fast paths of the formatter ----------------

TEST(UstringFormatTest, OnePassRewriteMatchesBothRewritingFunctions) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  // Units every state of both machines reacts to, plus plain letters so that
  // some formats have long plain runs.
  const char16_t alphabet[] = u"%%%1239$$!!sSsS. .5d0xa\u00e9";
  const std::size_t letters = std::size(alphabet) - 1;
  for (int round = 0; round < 8000; ++round) {
    std::u16string text;
    const std::size_t length = rng() % (rng() % 4 == 0 ? 120 : 24);
    const bool long_plain = rng() % 3 == 0;
    for (std::size_t i = 0; i < length; ++i) {
      if (long_plain && rng() % 8 != 0) {
        text += static_cast<char16_t>(u'a' + rng() % 26);
      } else {
        text += alphabet[rng() % letters];
      }
    }
    const tavrin_ustring fmt(text.c_str());
    const tavrin_ustring expected =
        tavrin_ustring::ReverseStringFormats(tavrin_ustring::FixWindowsPositionalFormats(fmt));
    EXPECT_EQ(tavrin::utils::detail::RewriteLibraryFormat(fmt).utf16(), expected.utf16())
        << "format \"" << fmt.utf8() << "\"";
    if (HasFailure()) break;
  }
  EXPECT_TRUE(tavrin::utils::detail::RewriteLibraryFormat(tavrin_ustring()).empty());
}

TEST(UstringFormatTest, OnePassRewriteKeepsTheOddCorners) {
  using tavrin::utils::detail::RewriteLibraryFormat;
  EXPECT_EQ(RewriteLibraryFormat(U(u"%1 = %2!d!")).utf8(), "%1$S = %2$d");
  EXPECT_EQ(RewriteLibraryFormat(U(u"%1.")).utf8(), "%1$S.");
  EXPECT_EQ(RewriteLibraryFormat(U(u"%1.5")).utf8(), "%1.5");
  EXPECT_EQ(RewriteLibraryFormat(U(u"%12 and %s")).utf8(), "%12 and %s");  // open until a "$"
  EXPECT_EQ(RewriteLibraryFormat(U(u"%12 x$s %s")).utf8(), "%12 x$S %S");
  EXPECT_EQ(RewriteLibraryFormat(U(u"%1!s")).utf8(), "%1$S");  // unterminated "!"
  EXPECT_EQ(RewriteLibraryFormat(U(u"end %1")).utf8(), "end %1$S");
}

TEST(UstringFormatTest, FindPercentUnitOnLongTexts) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 2000; ++round) {
    std::vector<unsigned short> text(static_cast<std::size_t>(rng() % 200));
    const unsigned gap = 1 + rng() % 100;
    for (auto& u : text) u = rng() % gap == 0 ? u'%' : static_cast<unsigned short>(rng());
    const std::size_t start = text.empty() ? 0 : rng() % (text.size() + 1);
    std::size_t expected = start;
    while (expected < text.size() && text[expected] != u'%') ++expected;
    EXPECT_EQ(tavrin::utils::detail::FindPercentUnit(text.data(), start, text.size()), expected);
  }
}

// Finite doubles in "f F e E g G" are written without snprintf; every bit
// pattern class, precision and flag must still give snprintf's text.
TEST(UstringFormatTest, FiniteDoublesMatchSnprintfDigitForDigit) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937_64 rng(seed);
  const char conversions[] = "fFeEgG";
  const char* flags[] = {"", "+", " ", "-", "0", "+0", " -", "+ "};
  for (int round = 0; round < 20000; ++round) {
    double v = 0;
    switch (rng() % 4) {
      case 0: {  // any finite bit pattern, subnormals included
        const std::uint64_t bits = rng();
        std::memcpy(&v, &bits, sizeof(v));
        if (!std::isfinite(v)) v = 1.5;
        break;
      }
      case 1:  // halves and quarters: exact ties at small precisions
        v = static_cast<double>(static_cast<std::int64_t>(rng() % 20001) - 10000) / 8;
        break;
      case 2:  // ordinary magnitudes
        v = std::ldexp(static_cast<double>(rng() % 1000000) / 1000,
                       static_cast<int>(rng() % 60) - 30);
        break;
      default:
        v = static_cast<double>(static_cast<std::int64_t>(rng() % 2000001) - 1000000) / 100;
        break;
    }
    std::string f = "<%";
    f += flags[rng() % std::size(flags)];
    if (rng() % 3 == 0) f += std::to_string(rng() % 30);
    const int precision_kind = static_cast<int>(rng() % 4);
    if (precision_kind == 1) f += "." + std::to_string(rng() % 20);
    if (precision_kind == 2) f += "." + std::to_string(rng() % 60);
    f += conversions[rng() % 6];
    f += ">";
    ExpectSameAsSnprintf(f, v);
    if (HasFailure()) break;
  }
}

TEST(UstringFormatTest, DoubleTiesAndEdgesMatchSnprintf) {
  const double values[] = {0.125,
                           0.375,
                           2.5,
                           3.5,
                           -2.5,
                           1e23,
                           5e-324,
                           1.7976931348623157e308,
                           -0.0,
                           0.0,
                           9.995,
                           0.05,
                           1e-5,
                           123456789.0,
                           1e15,
                           1e16,
                           0.0001,
                           1e21,
                           999999.5,
                           9.5e-5,
                           2.2250738585072014e-308};
  const char* formats[] = {"%f",   "%.0f",  "%.1f",  "%.2f",    "%.20f",   "%e",
                           "%.0e", "%.3E",  "%g",    "%.0g",    "%.1g",    "%.17g",
                           "%G",   "%+.3f", "% .3e", "%012.4f", "%-12.2g|"};
  for (double v : values)
    for (const char* f : formats) ExpectSameAsSnprintf(f, v);
}

TEST(UstringFormatTest, DoublesFollowTheRoundingMode) {
  // Under another rounding mode the formatter hands the digits to snprintf,
  // which honours the mode.
  const int saved = std::fegetround();
  ASSERT_EQ(std::fesetround(FE_UPWARD), 0);
  ExpectSameAsSnprintf("%.2f %.1e %g", 0.125, -2.25, 1.0 / 3);
  ExpectSameAsSnprintf("%.0f", 2.5);
  std::fesetround(saved);
}

}  // namespace
