// localtime.h - CLocalTime, the wall-clock date and time of a place.
//
// A CLocalTime holds one Time whose count is the place's wall-clock reading
// taken as UTC: the fields 2024-06-21 13:30:00 are stored as the count of
// that instant in UTC, whatever the place's zone, so reading the fields back
// never involves the machine's own zone. Conversion to and from true UTC is
// explicit, by an offset in hours and a daylight-saving flag.
//
// Unit-wide rules:
// - Months are one-based here (1 = January), unlike Time's field constructor.
// - Leap years have no century rule: every year divisible by 4 is a leap year
//   (1900 and 2100 included). Every leap-year decision of the class uses it.
// - GetMonthDay() adds the leap day to March, while GetDayOfYear() counts
//   February 29 as day 60: in a leap year day 60 reads back as March 1. Both
//   rules are part of the interface and stay as they are.
// - Where the count cannot be broken down into calendar fields (years beyond
//   the range of int), the field getters, GetMinutes() and GetDayOfYear()
//   give 0 and GetTimeOfDay() 0.0. No operation throws.
#pragma once

#include "common/utils/export.h"
#include "common/utils/tavrintime.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

class TAVRIN_EXPORT CLocalTime {
 public:
  // CLocalTime(year, month1, day, hour, minute, second) - these wall-clock
  // fields (month one-based), normalised as timegm normalises them (February
  // 30 is March 1 or 2). When timegm reports failure (-1) the object holds the
  // current time instead; that includes the fields 1969-12-31 23:59:59, whose
  // count is -1.
  CLocalTime(int year, int month1, int day, int hour, int minute, int second);

  // CLocalTime(Time) - the wall-clock fields whose UTC reading is `t`.
  explicit CLocalTime(Time t);

  // GetTime() - the stored count as a Time (the fields read as UTC).
  Time GetTime() const;

  // GetDefaultTime() - June 21 of the current local year, 13:30:00: the
  // default date and time of a location.
  static CLocalTime GetDefaultTime();

  // Fields of the stored wall-clock time; 0 when it cannot be broken down.
  int GetYear() const;
  int GetMonth() const;  // 1..12
  int GetDay() const;    // 1..31
  int GetHour() const;
  int GetMinute() const;
  int GetSecond() const;

  // IsLeapYear() - true when the year is divisible by 4 (no century rule).
  bool IsLeapYear() const;
  // GetDaysInYear() - 366 in a leap year as IsLeapYear() decides, else 365.
  int GetDaysInYear() const;
  // GetDayOfYear() - one-based day of the year: the lengths of the months
  // before this one, plus the day, plus 1 in a leap year from March on.
  int GetDayOfYear() const;
  // GetMinutes() - hour * 60 + minute.
  int GetMinutes() const;
  // GetTimeOfDay() - the fraction of the day, hour / 24 + minute / 1440 +
  // second / 86400 (13:30:00 is 0.5625).
  double GetTimeOfDay() const;

  // GetMonthDay() - the month (1-based) and day of the one-based `dayOfYear`
  // in this object's own year, with the leap day counted in March: in a leap
  // year 60 gives March 1 and 366 gives December 31. Past the end of the year
  // the month is 13 and the day 1; a day of 0 or below gives month 1 and that
  // day unchanged.
  void GetMonthDay(int dayOfYear, int& month, int& day) const;

  // GetUTC() - the UTC reading of this wall-clock time at a place
  // `offsetHours` east of UTC, one hour more with `dst`: the count moves by
  // ((dst ? -60 : 0) - trunc(offsetHours * 60)) minutes. The minutes are
  // truncated toward zero (5.75 h is 345 min; NaN counts as 0) and the shift
  // in seconds wraps to 32 bits as 32-bit arithmetic gives it.
  CLocalTime GetUTC(double offsetHours, bool dst) const;

  // FromUTC() - the wall-clock time at that place of this UTC reading: the
  // count moves by (trunc(offsetHours * 60) + (dst ? 60 : 0)) minutes, with
  // the same truncation and wrapping as GetUTC().
  CLocalTime FromUTC(double offsetHours, bool dst) const;

  // FormatDateTime() - strftime of the fields with `format` ("%c" when it is
  // empty); "" when the result does not fit in 99 bytes.
  tavrin_ustring FormatDateTime(tavrin_ustring format = tavrin_ustring()) const;

  // FormatTime() - as FormatDateTime() with the default "%I:%M %p" (e.g.
  // "01:30 PM").
  tavrin_ustring FormatTime(tavrin_ustring format = tavrin_ustring()) const;

 private:
  bool Fields(struct tm& out) const;
  CLocalTime Shifted(long long minutes) const;

  Time m_time;
};

}  // namespace tavrin::utils

// The older global spelling.
using tavrin::utils::CLocalTime;
