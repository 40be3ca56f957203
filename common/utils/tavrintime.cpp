// tavrintime.cpp - Time: construction, the ISO 8601 and RFC 1123 parsers,
// local/UTC shifts, formatting and field setters.
//
// Every conversion uses the reentrant C library calls (gmtime_r,
// localtime_r, ctime_r); tzset() runs before each local conversion so the
// current TZ is honoured as localtime() would honour it. Only
// GetGmtTm(nullptr) and GetLocalTm(nullptr) hand out the shared static
// results of gmtime and localtime.
#include "common/utils/tavrintime.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "common/utils/internal/tavrintime_internal.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {
namespace {

// a - b clamped to int (for year - 1900 and month - 1).
int SubtractClamped(int a, int b) {
  const long long r = static_cast<long long>(a) - b;
  if (r < INT_MIN) return INT_MIN;
  if (r > INT_MAX) return INT_MAX;
  return static_cast<int>(r);
}

bool LocalFields(time_t t, struct tm& out) {
  ::tzset();
  return ::localtime_r(&t, &out) != nullptr;
}

bool GmtFields(time_t t, struct tm& out) {
  return ::gmtime_r(&t, &out) != nullptr;
}

// The start value of the ISO parser: 1900-01-01 00:00:00, daylight saving
// left to mktime.
struct tm IsoStart() {
  struct tm tm;
  std::memset(&tm, 0, sizeof tm);
  tm.tm_mday = 1;
  tm.tm_isdst = -1;
  return tm;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// One "%d" of the C library's formatted input: blanks, an optional sign and
// at least one decimal digit. Saturates at INT_MIN/INT_MAX. On success `p`
// moves past the digits; on failure it is left where the number was expected.
bool ScanInt(const char*& p, int& out) {
  const char* q = p;
  while (IsBlank(*q)) ++q;
  bool negative = false;
  if (*q == '+' || *q == '-') negative = *q++ == '-';
  if (*q < '0' || *q > '9') return false;
  const long long limit = negative ? -static_cast<long long>(INT_MIN) : INT_MAX;
  long long v = 0;
  for (; *q >= '0' && *q <= '9'; ++q) {
    if (v <= limit) v = v * 10 + (*q - '0');  // stops growing once past the limit
  }
  if (v > limit) v = limit;
  out = static_cast<int>(negative ? -v : v);
  p = q;
  return true;
}

time_t Now() {
  return std::time(nullptr);
}

}  // namespace

namespace detail {

// The trailing "Z" of UTC text needs no match: it follows the last number.
int ScanIso8601(const char* text, int (&fields)[6]) {
  static const char kSeparators[] = "--T::";
  if (text == nullptr) return 0;
  const char* p = text;
  for (int i = 0; i < 6; ++i) {
    if (i > 0) {
      if (*p != kSeparators[i - 1]) return i;
      ++p;
    }
    if (!ScanInt(p, fields[i])) return i;
  }
  return 6;
}

}  // namespace detail

Time::Time() : m_time(0) {}

Time::Time(time_t seconds) : m_time(seconds) {}

Time::Time(int year, int month0, int day, int hour, int minute, int second, int dst) {
  struct tm tm;
  std::memset(&tm, 0, sizeof tm);
  tm.tm_year = SubtractClamped(year, 1900);
  tm.tm_mon = month0;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  tm.tm_isdst = dst;
  m_time = std::mktime(&tm);
}

Time::Time(const char* iso8601) {
  if (iso8601 == nullptr || *iso8601 == '\0') {
    m_time = Now();
    return;
  }
  const bool utc = iso8601[std::strlen(iso8601) - 1] == 'Z';
  struct tm tm = IsoStart();
  int v[6];
  if (detail::ScanIso8601(iso8601, v) == 6) {
    tm.tm_year = SubtractClamped(v[0], 1900);
    tm.tm_mon = SubtractClamped(v[1], 1);
    tm.tm_mday = v[2];
    tm.tm_hour = v[3];
    tm.tm_min = v[4];
    tm.tm_sec = v[5];
  }
  // UTC text converts directly, so no local gap or overlap can touch it.
  m_time = utc ? ::timegm(&tm) : std::mktime(&tm);
}

bool Time::SetFromGmtString(const tavrin_ustring& text) {
  static const char* const kMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  if (!text.empty()) {
    const std::vector<tavrin_ustring> tokens = text.TokenizeToVector(tavrin_ustring(", :-"));
    if (tokens.size() == 8) {
      int month = -1;
      for (int m = 0; m < 12 && month < 0; ++m)
        if (tokens[2].compare_nocase(tavrin_ustring(kMonths[m])) == 0) month = m;
      if (month >= 0) {
        struct tm tm;
        std::memset(&tm, 0, sizeof tm);
        tm.tm_isdst = -1;
        tm.tm_year = SubtractClamped(tokens[3].to_int(), 1900);
        tm.tm_mon = month;
        tm.tm_mday = tokens[1].to_int();
        tm.tm_hour = tokens[4].to_int();
        tm.tm_min = tokens[5].to_int();
        tm.tm_sec = tokens[6].to_int();
        const time_t t = ::timegm(&tm);
        if (t != -1) {
          m_time = t;
          return true;
        }
      }
    }
  }
  m_time = Now();
  return false;
}

time_t Time::GetDATE() const {
  return m_time;
}

time_t Time::GetLocalTime() const {
  struct tm tm;
  if (!LocalFields(m_time, tm)) return m_time;
  // t + (timegm(local fields) - t): the local fields read as UTC.
  return ::timegm(&tm);
}

time_t Time::GetUTCTime() const {
  struct tm tm;
  if (!LocalFields(m_time, tm)) return m_time;
  const time_t offset = ::timegm(&tm) - m_time;  // within a day: no overflow
  return m_time - offset;
}

Time& Time::operator+=(double seconds) {
  if (std::isnan(seconds)) return *this;
  const double whole = std::trunc(seconds);
  long long step;
  if (whole >= 9223372036854775808.0)
    step = LLONG_MAX;
  else if (whole < -9223372036854775808.0)
    step = LLONG_MIN;
  else
    step = static_cast<long long>(whole);
  long long sum;
  if (__builtin_add_overflow(static_cast<long long>(m_time), step, &sum))
    sum = step > 0 ? LLONG_MAX : LLONG_MIN;
  m_time = static_cast<time_t>(sum);
  return *this;
}

struct tm* Time::GetGmtTm(struct tm* out) const {
  if (out == nullptr) return std::gmtime(&m_time);
  return GmtFields(m_time, *out) ? out : nullptr;
}

struct tm* Time::GetLocalTm(struct tm* out) const {
  if (out == nullptr) return std::localtime(&m_time);
  return LocalFields(m_time, *out) ? out : nullptr;
}

std::string Time::CTime() const {
  // ctime text is 25 bytes for four-digit years; the room covers any year
  // the C library agrees to print.
  char buffer[128];
  ::tzset();
  if (::ctime_r(&m_time, buffer) == nullptr) return std::string();
  std::string text(buffer);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

namespace {

std::string FormatFields(const char* format, const struct tm& tm) {
  char buffer[100];
  // 0 means "did not fit" (or an empty result): both give "".
  const std::size_t n = std::strftime(buffer, sizeof buffer, format, &tm);
  return std::string(buffer, n);
}

}  // namespace

std::string Time::Format(const char* format) const {
  struct tm tm;
  if (format == nullptr || !LocalFields(m_time, tm)) return std::string();
  return FormatFields(format, tm);
}

std::string Time::FormatGmt(const char* format) const {
  struct tm tm;
  if (format == nullptr || !GmtFields(m_time, tm)) return std::string();
  return FormatFields(format, tm);
}

void Time::SetHour(int hour) {
  struct tm tm;
  if (!LocalFields(m_time, tm)) return;
  tm.tm_hour = hour;
  m_time = std::mktime(&tm);
}

void Time::SetMinute(int minute) {
  struct tm tm;
  if (!LocalFields(m_time, tm)) return;
  tm.tm_min = minute;
  m_time = std::mktime(&tm);
}

void Time::SetSecond(int second) {
  struct tm tm;
  if (!LocalFields(m_time, tm)) return;
  tm.tm_sec = second;
  m_time = std::mktime(&tm);
}

void Time::SetDayOfYear(int dayOfYear0) {
  struct tm now;
  if (!LocalFields(m_time, now)) return;
  // |dayOfYear0 - tm_yday| * 86400 < 2^47 and the count is within the range
  // localtime accepts, so the sum cannot overflow.
  time_t t = m_time + (static_cast<time_t>(dayOfYear0) - now.tm_yday) * 86400;
  struct tm moved;
  if (!LocalFields(t, moved)) return;
  if (moved.tm_year > now.tm_year) t -= 86400;
  m_time = t;
}

std::int32_t Get32BitTime(long t) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<unsigned long>(t)));
}

}  // namespace tavrin::utils
