// Tests of CLocalTime: fields stored as UTC whatever the machine's zone, the
// century-free leap-year rule and the March leap day of GetMonthDay, offsets
// truncated to minutes, and formatting.
#include "common/utils/localtime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <ctime>
#include <type_traits>

#include "common/utils/ustring.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::ScopedTimeZone;
using tavrin::utils::tavrin_ustring;
using tavrin::utils::Time;

constexpr const char* kCet = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr time_t kMidsummer = 1718976600;  // 2024-06-21 13:30:00 UTC

static_assert(std::is_same_v<::CLocalTime, tavrin::utils::CLocalTime>,
              "the global spelling names the same class");

time_t Count(const CLocalTime& t) {
  return t.GetTime().GetDATE();
}

TEST(LocalTimeTest, FieldsAreStoredAsUtcInEveryZone) {
  for (const char* zone : {"UTC", kCet, "EST5EDT,M3.2.0,M11.1.0"}) {
    ScopedTimeZone tz(zone);
    const CLocalTime t(2024, 6, 21, 13, 30, 0);  // one-based month
    EXPECT_EQ(Count(t), kMidsummer) << zone;
    EXPECT_EQ(t.GetYear(), 2024);
    EXPECT_EQ(t.GetMonth(), 6);
    EXPECT_EQ(t.GetDay(), 21);
    EXPECT_EQ(t.GetHour(), 13);
    EXPECT_EQ(t.GetMinute(), 30);
    EXPECT_EQ(t.GetSecond(), 0);
  }
}

TEST(LocalTimeTest, FieldsAreNormalised) {
  const CLocalTime t(2023, 2, 29, 24, 0, 0);  // February 29 of 2023, hour 24
  EXPECT_EQ(t.GetMonth(), 3);
  EXPECT_EQ(t.GetDay(), 2);
  EXPECT_EQ(t.GetHour(), 0);
  const CLocalTime u(2024, 13, 1, 0, 0, 0);
  EXPECT_EQ(u.GetYear(), 2025);
  EXPECT_EQ(u.GetMonth(), 1);
}

TEST(LocalTimeTest, MinusOneFromTimegmKeepsTheCurrentTime) {
  const time_t before = std::time(nullptr);
  const CLocalTime t(1969, 12, 31, 23, 59, 59);  // the instant -1
  const time_t after = std::time(nullptr);
  EXPECT_GE(Count(t), before);
  EXPECT_LE(Count(t), after);
  // One second earlier is an ordinary instant.
  EXPECT_EQ(Count(CLocalTime(1969, 12, 31, 23, 59, 58)), -2);
}

TEST(LocalTimeTest, TimeConversionBothWays) {
  const CLocalTime t{Time(kMidsummer)};
  EXPECT_EQ(t.GetHour(), 13);
  EXPECT_EQ(t.GetTime().GetDATE(), kMidsummer);
}

TEST(LocalTimeTest, DefaultTimeIsMidsummerAfternoonOfThisYear) {
  ScopedTimeZone tz(kCet);
  const time_t now = std::time(nullptr);
  struct tm local;
  ASSERT_NE(localtime_r(&now, &local), nullptr);
  const CLocalTime d = CLocalTime::GetDefaultTime();
  EXPECT_EQ(d.GetYear(), local.tm_year + 1900);
  EXPECT_EQ(d.GetMonth(), 6);
  EXPECT_EQ(d.GetDay(), 21);
  EXPECT_EQ(d.GetHour(), 13);
  EXPECT_EQ(d.GetMinute(), 30);
  EXPECT_EQ(d.GetSecond(), 0);
  EXPECT_EQ(d.FormatTime(), tavrin_ustring("01:30 PM"));
}

// --- Leap years and days of the year ------------------------------------------

TEST(LocalTimeTest, EveryFourthYearIsLeapWithoutCenturyRule) {
  for (int year : {1900, 2000, 2024, 2100, 1904, 2400, 4})
    EXPECT_TRUE(CLocalTime(year, 7, 1, 0, 0, 0).IsLeapYear()) << year;
  for (int year : {1899, 1901, 2023, 2101, 1})
    EXPECT_FALSE(CLocalTime(year, 7, 1, 0, 0, 0).IsLeapYear()) << year;
  EXPECT_EQ(CLocalTime(2100, 3, 1, 0, 0, 0).GetDaysInYear(), 366);
  EXPECT_EQ(CLocalTime(1900, 1, 1, 0, 0, 0).GetDaysInYear(), 366);
  EXPECT_EQ(CLocalTime(2023, 3, 1, 0, 0, 0).GetDaysInYear(), 365);
}

TEST(LocalTimeTest, DayOfYear) {
  EXPECT_EQ(CLocalTime(2100, 3, 1, 0, 0, 0).GetDayOfYear(), 61);  // 2100 counts as leap
  EXPECT_EQ(CLocalTime(2024, 1, 1, 0, 0, 0).GetDayOfYear(), 1);
  EXPECT_EQ(CLocalTime(2024, 2, 29, 0, 0, 0).GetDayOfYear(), 60);
  EXPECT_EQ(CLocalTime(2024, 3, 1, 0, 0, 0).GetDayOfYear(), 61);
  EXPECT_EQ(CLocalTime(2024, 12, 31, 23, 59, 59).GetDayOfYear(), 366);
  EXPECT_EQ(CLocalTime(2023, 3, 1, 0, 0, 0).GetDayOfYear(), 60);
  EXPECT_EQ(CLocalTime(2023, 12, 31, 0, 0, 0).GetDayOfYear(), 365);
  // The calendar itself has no February 29 in 2100, the count still adds one.
  EXPECT_EQ(CLocalTime(2100, 12, 31, 0, 0, 0).GetDayOfYear(), 366);
}

TEST(LocalTimeTest, MonthDayPutsTheLeapDayInMarch) {
  const CLocalTime leap(2024, 5, 5, 0, 0, 0);
  int month = 0, day = 0;
  struct Case {
    int day_of_year, month, day;
  };
  for (const Case& c :
       {Case{1, 1, 1}, Case{31, 1, 31}, Case{32, 2, 1}, Case{59, 2, 28}, Case{60, 3, 1},
        Case{61, 3, 2}, Case{91, 3, 32}, Case{92, 4, 1}, Case{366, 12, 31}, Case{367, 13, 1},
        Case{400, 13, 1}, Case{0, 1, 0}, Case{-5, 1, -5}}) {
    leap.GetMonthDay(c.day_of_year, month, day);
    EXPECT_EQ(month, c.month) << c.day_of_year;
    EXPECT_EQ(day, c.day) << c.day_of_year;
  }
  const CLocalTime plain(2023, 5, 5, 0, 0, 0);
  for (const Case& c : {Case{59, 2, 28}, Case{60, 3, 1}, Case{90, 3, 31}, Case{91, 4, 1},
                        Case{365, 12, 31}, Case{366, 13, 1}}) {
    plain.GetMonthDay(c.day_of_year, month, day);
    EXPECT_EQ(month, c.month) << c.day_of_year;
    EXPECT_EQ(day, c.day) << c.day_of_year;
  }
  // February 29 is day 60, and day 60 reads back as March 1: kept so.
  const CLocalTime feb29(2024, 2, 29, 0, 0, 0);
  feb29.GetMonthDay(feb29.GetDayOfYear(), month, day);
  EXPECT_EQ(month, 3);
  EXPECT_EQ(day, 1);
}

TEST(LocalTimeTest, MonthDayRoundTripsExceptAroundTheLeapDay) {
  // In common years the two rules agree everywhere. In leap years they agree
  // except from February 29 to March 31, which read back one day later
  // (March 31 as "March 32"), because only GetMonthDay gives March 32 days.
  for (int year : {2023, 2024}) {
    for (int m = 1; m <= 12; ++m) {
      for (int d = 1; d <= 31; d += 3) {
        const CLocalTime t(year, m, d, 12, 0, 0);
        if (t.GetMonth() != m) continue;  // no such day in this month
        int month = 0, day = 0;
        t.GetMonthDay(t.GetDayOfYear(), month, day);
        const bool shifted = year == 2024 && m == 3;
        EXPECT_EQ(month, m) << year << "-" << m << "-" << d;
        EXPECT_EQ(day, shifted ? d + 1 : d) << year << "-" << m << "-" << d;
      }
    }
  }
}

// --- Time of day ---------------------------------------------------------------

TEST(LocalTimeTest, MinutesAndTimeOfDay) {
  const CLocalTime t(2024, 6, 21, 13, 30, 0);
  EXPECT_EQ(t.GetMinutes(), 810);
  EXPECT_DOUBLE_EQ(t.GetTimeOfDay(), 0.5625);
  EXPECT_DOUBLE_EQ(CLocalTime(2024, 6, 21, 6, 0, 0).GetTimeOfDay(), 0.25);
  EXPECT_DOUBLE_EQ(CLocalTime(2024, 6, 21, 0, 0, 0).GetTimeOfDay(), 0.0);
  EXPECT_NEAR(CLocalTime(2024, 6, 21, 23, 59, 59).GetTimeOfDay(), 86399.0 / 86400.0, 1e-12);
}

TEST(LocalTimeTest, CountsBeyondTheCalendarGiveZero) {
  const CLocalTime t{Time(LLONG_MAX)};
  EXPECT_EQ(t.GetYear(), 0);
  EXPECT_EQ(t.GetMonth(), 0);
  EXPECT_EQ(t.GetDay(), 0);
  EXPECT_EQ(t.GetHour(), 0);
  EXPECT_EQ(t.GetMinute(), 0);
  EXPECT_EQ(t.GetSecond(), 0);
  EXPECT_EQ(t.GetMinutes(), 0);
  EXPECT_EQ(t.GetDayOfYear(), 0);
  EXPECT_EQ(t.GetTimeOfDay(), 0.0);
  EXPECT_EQ(t.FormatDateTime(), tavrin_ustring());
}

// --- Offsets ---------------------------------------------------------------------

TEST(LocalTimeTest, GetUtcAndFromUtcMoveByWholeMinutes) {
  const CLocalTime t(2024, 6, 21, 13, 30, 0);
  EXPECT_EQ(Count(t.GetUTC(1.5, true)), kMidsummer - 150 * 60);
  EXPECT_EQ(Count(t.GetUTC(1.5, false)), kMidsummer - 90 * 60);
  EXPECT_EQ(Count(t.FromUTC(-5.0, false)), kMidsummer - 300 * 60);
  EXPECT_EQ(Count(t.FromUTC(-5.0, true)), kMidsummer - 240 * 60);
  EXPECT_EQ(Count(t.FromUTC(5.75, false)), kMidsummer + 345 * 60);
  EXPECT_EQ(Count(t.GetUTC(5.75, false)), kMidsummer - 345 * 60);
  // Truncation toward zero: -3.51 h is -210.6 min, taken as -210.
  EXPECT_EQ(Count(t.FromUTC(-3.51, false)), kMidsummer - 210 * 60);
  EXPECT_EQ(Count(t.GetUTC(-3.51, false)), kMidsummer + 210 * 60);
  EXPECT_EQ(Count(t.FromUTC(0.0166, false)), kMidsummer);  // 0.996 min
  // The two are inverse for whole-minute offsets.
  EXPECT_EQ(Count(t.GetUTC(9.5, true).FromUTC(9.5, true)), kMidsummer);
  // The result keeps its wall-clock reading.
  EXPECT_EQ(t.GetUTC(2.0, false).GetHour(), 11);
}

TEST(LocalTimeTest, OffsetGuards) {
  const CLocalTime t(2024, 6, 21, 13, 30, 0);
  EXPECT_EQ(Count(t.FromUTC(std::nan(""), false)), kMidsummer);
  EXPECT_EQ(Count(t.FromUTC(std::nan(""), true)), kMidsummer + 3600);
  // 10^6 h is 6 * 10^7 min = 3.6 * 10^9 s, which wraps in 32 bits.
  EXPECT_EQ(Count(t.FromUTC(1e6, false)), kMidsummer + (3600000000LL - 4294967296LL));
  EXPECT_EQ(Count(t.GetUTC(1e6, false)), kMidsummer - (3600000000LL - 4294967296LL));
  // Infinite offsets clamp the minutes to int before the product wraps.
  const long long max_shift =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<long long>(INT_MAX) * 60));
  EXPECT_EQ(Count(t.FromUTC(HUGE_VAL, false)), kMidsummer + max_shift);
}

// --- Formatting -------------------------------------------------------------------

TEST(LocalTimeTest, FormatUsesTheStoredFieldsInEveryZone) {
  for (const char* zone : {"UTC", kCet}) {
    ScopedTimeZone tz(zone);
    const CLocalTime t(2024, 6, 21, 13, 30, 0);
    EXPECT_EQ(t.FormatDateTime(), tavrin_ustring("Fri Jun 21 13:30:00 2024")) << zone;
    EXPECT_EQ(t.FormatDateTime(tavrin_ustring("%Y-%m-%d %H:%M")),
              tavrin_ustring("2024-06-21 13:30"));
    EXPECT_EQ(t.FormatTime(), tavrin_ustring("01:30 PM"));
    EXPECT_EQ(t.FormatTime(tavrin_ustring("%H.%M")), tavrin_ustring("13.30"));
    EXPECT_EQ(CLocalTime(2024, 6, 21, 0, 5, 0).FormatTime(), tavrin_ustring("12:05 AM"));
  }
  // Non-ASCII format text passes through as UTF-8.
  const CLocalTime t(2024, 6, 21, 13, 30, 0);
  EXPECT_EQ(t.FormatDateTime(tavrin_ustring("%d\xC2\xB7%m")), tavrin_ustring("21\xC2\xB7"
                                                                             "06"));
  EXPECT_EQ(t.FormatDateTime(tavrin_ustring(std::string(120, 'y'))), tavrin_ustring());
}

}  // namespace
