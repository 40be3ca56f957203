// fuzz_regression_test.cpp - inputs the fuzz targets in fuzz/ turned up,
// each kept as a test named after the input. The same inputs also sit in the
// targets' seed corpora (fuzz/corpus/<target>/regression-*), so the replay
// runs check them against every invariant of their target as well.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <string>
#include <vector>

#include "common/utils/convertutf.h"
#include "common/utils/internal/stringtable_internal.h"
#include "common/utils/localtime.h"
#include "common/utils/refcountedstring.h"
#include "common/utils/stringtranslator.h"
#include "common/utils/tavrintime.h"
#include "common/utils/ustring.h"
#include "common/utils/variant.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::RefCountedString;
using tavrin::utils::tavrin_ustring;
using tavrin::utils::Time;
using tavrin::utils::Variant;

// time_fuzz: "99989983948985944-30-055T 7:08:08985" saturates the year and
// lands on an instant whose broken-down year (tm_year + 1900) is beyond int.
// Reading the calendar year overflowed; it now reads as 0, like any instant
// the C library cannot break down.
TEST(FuzzRegressionTest, IsoYear99989983948985944ReadsAsZero) {
  const Time t("99989983948985944-30-055T 7:08:08985");
  struct tm fields;
  ASSERT_NE(t.GetGmtTm(&fields), nullptr);
  ASSERT_GT(fields.tm_year, INT_MAX - 1900) << "the input no longer reaches the edge";
  const CLocalTime local(t);
  EXPECT_EQ(local.GetYear(), 0);
  // The other field readers keep working on the same instant.
  EXPECT_EQ(local.GetMonth(), fields.tm_mon + 1);
  EXPECT_EQ(local.GetDay(), fields.tm_mday);
  int month = 0, day = 0;
  local.GetMonthDay(local.GetDayOfYear(), month, day);
  EXPECT_GE(month, 1);
}

// convertutf_fuzz: F4 7A 90 80 80. The older reference legality rule checks
// only the upper bound of the byte after F4, so F4 7A 90 80 is one legal
// sequence (it swallows the ASCII "z") and decodes to U+FA400; the final 80
// is illegal. The library keeps that rule; this pins it, so a change to the
// converters shows up here and in the fuzz target's reference at once.
TEST(FuzzRegressionTest, BytesF47A908080FollowTheOlderF4Rule) {
  const UTF8 in[] = {0xF4, 0x7A, 0x90, 0x80, 0x80};
  EXPECT_TRUE(isLegalUTF8Sequence(in, in + 4));
  EXPECT_EQ(SizeNeededForUTF16(in, in + 4, strictConversion), 2);
  EXPECT_EQ(SizeNeededForUTF16(in, in + 5, strictConversion), -3);
  UTF16 out[4] = {};
  const UTF8* src = in;
  UTF16* dst = out;
  EXPECT_EQ(ConvertUTF8toUTF16(&src, in + 5, &dst, out + 4, lenientConversion), sourceIllegal);
  EXPECT_EQ(src, in + 4);  // stopped at the lone continuation byte
  ASSERT_EQ(dst, out + 2);
  EXPECT_EQ(out[0], 0xDBA9);  // U+FA400 as a pair
  EXPECT_EQ(out[1], 0xDC00);
  // A string made from these bytes is empty (one bad byte empties it all).
  EXPECT_TRUE(tavrin_ustring(reinterpret_cast<const char*>(in), 5).empty());
  EXPECT_EQ(tavrin_ustring(reinterpret_cast<const char*>(in), 4).size(), 2u);
}

// ustring_utf8_fuzz (corpus replay after the piecewise conversion of long
// UTF-8 arrived): 2047 "Q", F4 7A 90 80, "0". Texts longer than one piece
// (2048 bytes) are converted piece by piece; the piece end is moved back only
// over continuation bytes, so it fell between F4 and 7A, which under the older
// F4 rule belong to one sequence. The first piece then left F4 unconverted
// and the second started at "z": the string differed from the converter's
// one-pass result. Pieces now continue where the converter stopped.
TEST(FuzzRegressionTest, LongTextWithF47A9080AcrossThePieceEndConvertsAsOnePass) {
  std::string bytes(2047, 'Q');
  bytes +=
      "\xF4\x7A\x90\x80"
      "0";
  const auto* begin = reinterpret_cast<const UTF8*>(bytes.data());
  const UTF8* end = begin + bytes.size();
  const int n = SizeNeededForUTF16(begin, end, lenientConversion);
  ASSERT_EQ(n, 2047 + 2 + 1);
  std::vector<UTF16> expected(static_cast<std::size_t>(n));
  const UTF8* src = begin;
  UTF16* dst = expected.data();
  ASSERT_EQ(ConvertUTF8toUTF16(&src, end, &dst, dst + n, lenientConversion), conversionOK);
  EXPECT_EQ(expected[2047], 0xDBA9);  // U+FA400, the "z" inside it
  const tavrin_ustring text(bytes);
  ASSERT_EQ(text.size(), static_cast<std::size_t>(n));
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), text.c_str()));
  // The same through the other ways in, and back out.
  tavrin_ustring assigned;
  assigned.assign_utf8(bytes.data(), bytes.size());
  EXPECT_EQ(assigned, text);
  EXPECT_EQ(tavrin_ustring(bytes.c_str()), text);
  EXPECT_EQ(tavrin_ustring(text.utf8()), text);
}

// ustring_utf8_fuzz (corpus replay, same change): 2100 "Q", a zero byte,
// "0". The pieces were appended with the string's own copy, which stops at a
// zero unit and zero-fills the rest, so every unit after the zero byte in its
// piece came out as 0. The std::string constructor converts the whole length,
// zero bytes included.
TEST(FuzzRegressionTest, LongTextWithAZeroByteKeepsTheUnitsAfterIt) {
  std::string bytes(2100, 'Q');
  bytes += '\0';
  bytes += "0\xC3\xBC";
  const tavrin_ustring text(bytes);
  ASSERT_EQ(text.size(), bytes.size() - 1);  // the last two bytes are one unit
  EXPECT_EQ(text[2099], 'Q');
  EXPECT_EQ(text[2100], 0);
  EXPECT_EQ(text[2101], '0');
  EXPECT_EQ(text[2102], 0xFC);
  tavrin_ustring assigned(u"old");
  assigned.assign_utf8(bytes.data(), bytes.size());
  EXPECT_EQ(assigned.size(), text.size());
  EXPECT_EQ(assigned[2101], '0');
}

// variant_fuzz (600-second campaign, two inputs): a dictionary built with the
// key "a" twice, first a list (or a string) and then a string Variant whose
// payload was set to a null RefCountedString. The second value is assigned
// over the first, and a null string payload keeps the target's tag: the entry
// becomes an empty list (or a string tag with a null payload, which the copy
// into the dictionary Variant turns into an empty Variant, as every copy of
// such a string). The library does this as documented; the target's model had
// the entry wrong in both cases and now follows the rules.
TEST(FuzzRegressionTest, NullStringOverAListUnderARepeatedMapKeyKeepsTheListTag) {
  Variant null_string(tavrin_ustring("text"));
  null_string.Set(static_cast<RefCountedString*>(nullptr));
  ASSERT_EQ(null_string.GetType(), Variant::kString);
  Variant::Map map;
  map[tavrin_ustring("a")] = Variant(Variant::List{Variant(1), Variant(2)});
  map[tavrin_ustring("a")] = null_string;
  const Variant dictionary(map);
  const Variant& entry = dictionary.GetValue(tavrin_ustring("a"));
  EXPECT_EQ(entry.GetType(), Variant::kList);
  EXPECT_EQ(entry.GetArrayLength(), 0u);
  Variant::Map strings;
  strings[tavrin_ustring("a")] = Variant(tavrin_ustring("first"));
  strings[tavrin_ustring("a")] = null_string;
  EXPECT_EQ(strings[tavrin_ustring("a")].GetType(), Variant::kString);
  EXPECT_EQ(Variant(strings).GetValue(tavrin_ustring("a")).GetType(), Variant::kEmpty);
  // A new key starts as an empty Variant, which keeps its empty tag.
  Variant::Map fresh;
  fresh[tavrin_ustring("b")] = null_string;
  EXPECT_EQ(Variant(fresh).GetValue(tavrin_ustring("b")).GetType(), Variant::kEmpty);
}

// stringtable_fuzz (corpus replay in the clang build after the string tables
// moved to one text block): the line "" = "" twice. With an empty key and
// value the text block is still empty, so the second lookup compared two null
// pointers with memcmp (undefined even for length 0; clang's
// UndefinedBehaviorSanitizer stops there). Empty keys now compare equal
// without memcmp: one entry, the second line a repeat.
TEST(FuzzRegressionTest, EmptyKeyAndValueTwiceMakeOneEntry) {
  const std::string path = tavrin::test::FreshDir("emptykey") + "/table.strings";
  ASSERT_TRUE(tavrin::test::WriteFile(path, "\"\" = \"\"\n\"\" = \"\"\n\"k\" = \"v\"\n"));
  StringTranslator translator;
  std::vector<StringTableParseError> errors;
  ASSERT_TRUE(translator.LoadStringTable(tavrin_ustring(path), &errors));
  EXPECT_TRUE(errors.empty());
  EXPECT_EQ(tavrin::utils::detail::StringTableAccess::Size(translator), 2u);
  tavrin_ustring out;
  EXPECT_FALSE(translator.LookupString(tavrin_ustring(), &out));  // never for the empty key
  EXPECT_TRUE(translator.LookupString(tavrin_ustring("k"), &out));
  EXPECT_EQ(out, tavrin_ustring("v"));
}

}  // namespace
