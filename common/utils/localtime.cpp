// localtime.cpp - CLocalTime: wall-clock fields stored as UTC, the
// century-free leap-year rule, and shifts by an explicit offset.
#include "common/utils/localtime.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace tavrin::utils {
namespace {

constexpr int daysPerMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

int SubtractClamped(int a, int b) {
  const long long r = static_cast<long long>(a) - b;
  if (r < INT_MIN) return INT_MIN;
  if (r > INT_MAX) return INT_MAX;
  return static_cast<int>(r);
}

// trunc(offsetHours * 60) in double, NaN as 0, clamped to int.
int OffsetMinutes(double offsetHours) {
  const double minutes = std::trunc(offsetHours * 60.0);
  if (std::isnan(minutes)) return 0;
  if (minutes >= static_cast<double>(INT_MAX)) return INT_MAX;
  if (minutes <= static_cast<double>(INT_MIN)) return INT_MIN;
  return static_cast<int>(minutes);
}

tavrin_ustring FormatWith(const Time& t, const tavrin_ustring& format, const char* fallback) {
  const std::string text =
      format.empty() ? t.FormatGmt(fallback) : t.FormatGmt(format.utf8().c_str());
  return tavrin_ustring(text);
}

}  // namespace

CLocalTime::CLocalTime(int year, int month1, int day, int hour, int minute, int second)
    : m_time(std::time(nullptr)) {
  struct tm tm;
  std::memset(&tm, 0, sizeof tm);
  tm.tm_year = SubtractClamped(year, 1900);
  tm.tm_mon = SubtractClamped(month1, 1);
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  tm.tm_isdst = 0;
  tm.tm_gmtoff = 0;
  const time_t t = ::timegm(&tm);
  if (t != -1) m_time = Time(t);
}

CLocalTime::CLocalTime(Time t) : m_time(t) {}

Time CLocalTime::GetTime() const {
  return m_time;
}

CLocalTime CLocalTime::GetDefaultTime() {
  struct tm now;
  const time_t t = std::time(nullptr);
  ::tzset();
  const int year = ::localtime_r(&t, &now) != nullptr ? now.tm_year + 1900 : 1970;
  return CLocalTime(year, 6, 21, 13, 30, 0);
}

bool CLocalTime::Fields(struct tm& out) const {
  const time_t t = m_time.GetDATE();
  return ::gmtime_r(&t, &out) != nullptr;
}

int CLocalTime::GetYear() const {
  struct tm tm;
  // gmtime_r succeeds up to tm_year == INT_MAX, so the calendar year can lie
  // beyond int: such a year reads as 0, like a count gmtime_r rejects.
  if (!Fields(tm) || tm.tm_year > INT_MAX - 1900) return 0;
  return tm.tm_year + 1900;
}

int CLocalTime::GetMonth() const {
  struct tm tm;
  return Fields(tm) ? tm.tm_mon + 1 : 0;
}

int CLocalTime::GetDay() const {
  struct tm tm;
  return Fields(tm) ? tm.tm_mday : 0;
}

int CLocalTime::GetHour() const {
  struct tm tm;
  return Fields(tm) ? tm.tm_hour : 0;
}

int CLocalTime::GetMinute() const {
  struct tm tm;
  return Fields(tm) ? tm.tm_min : 0;
}

int CLocalTime::GetSecond() const {
  struct tm tm;
  return Fields(tm) ? tm.tm_sec : 0;
}

bool CLocalTime::IsLeapYear() const {
  // (year - 1900) divisible by 4, i.e. year divisible by 4: no century rule.
  return (static_cast<long long>(GetYear()) - 1900) % 4 == 0;
}

int CLocalTime::GetDaysInYear() const {
  return IsLeapYear() ? 366 : 365;
}

int CLocalTime::GetDayOfYear() const {
  struct tm tm;
  if (!Fields(tm)) return 0;
  int day = tm.tm_mday;
  for (int m = 0; m < tm.tm_mon; ++m) day += daysPerMonth[m];
  if (tm.tm_mon >= 2 && IsLeapYear()) ++day;
  return day;
}

int CLocalTime::GetMinutes() const {
  struct tm tm;
  return Fields(tm) ? tm.tm_hour * 60 + tm.tm_min : 0;
}

double CLocalTime::GetTimeOfDay() const {
  struct tm tm;
  if (!Fields(tm)) return 0.0;
  return tm.tm_hour / 24.0 + tm.tm_min / 1440.0 + tm.tm_sec / 86400.0;
}

void CLocalTime::GetMonthDay(int dayOfYear, int& month, int& day) const {
  month = 1;
  day = 1;
  int rest = dayOfYear;
  const bool leap = IsLeapYear();
  for (int m = 0; m < 12; ++m) {
    // The leap day lengthens March here, not February.
    const int length = daysPerMonth[m] + (m == 2 && leap ? 1 : 0);
    if (rest <= length) {
      day = rest;
      return;
    }
    rest -= length;
    month = m + 2;
  }
}

CLocalTime CLocalTime::Shifted(long long minutes) const {
  // The seconds wrap to 32 bits, as a 32-bit product gives them.
  const auto seconds = static_cast<std::int32_t>(
      static_cast<std::uint32_t>(static_cast<unsigned long long>(minutes * 60)));
  Time t = m_time;
  t += static_cast<double>(seconds);
  return CLocalTime(t);
}

CLocalTime CLocalTime::GetUTC(double offsetHours, bool dst) const {
  return Shifted(static_cast<long long>(dst ? -60 : 0) - OffsetMinutes(offsetHours));
}

CLocalTime CLocalTime::FromUTC(double offsetHours, bool dst) const {
  return Shifted(static_cast<long long>(OffsetMinutes(offsetHours)) + (dst ? 60 : 0));
}

tavrin_ustring CLocalTime::FormatDateTime(tavrin_ustring format) const {
  return FormatWith(m_time, format, "%c");
}

tavrin_ustring CLocalTime::FormatTime(tavrin_ustring format) const {
  return FormatWith(m_time, format, "%I:%M %p");
}

}  // namespace tavrin::utils
