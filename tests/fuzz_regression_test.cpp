// fuzz_regression_test.cpp - inputs the fuzz targets in fuzz/ turned up,
// each kept as a test named after the input. The same inputs also sit in the
// targets' seed corpora (fuzz/corpus/<target>/regression-*), so the replay
// runs check them against every invariant of their target as well.
#include <gtest/gtest.h>

#include <climits>
#include <ctime>

#include "common/utils/convertutf.h"
#include "common/utils/localtime.h"
#include "common/utils/tavrintime.h"
#include "common/utils/ustring.h"

namespace {

using tavrin::utils::tavrin_ustring;
using tavrin::utils::Time;

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

}  // namespace
