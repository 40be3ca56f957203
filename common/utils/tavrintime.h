// tavrintime.h - Time, a point in time in whole seconds since the Unix epoch.
//
// A Time holds one signed 64-bit count of seconds since 1970-01-01 00:00:00
// UTC (time_t) and is copied by value. It is built from calendar fields (read
// as the machine's local time), from ISO 8601 text or from RFC 1123 GMT text,
// formatted with the C library's strftime, and shifted between the local and
// the UTC reading of the same wall-clock value.
//
// Unit-wide rules:
// - "Local" always means the zone of the TZ environment variable as it is at
//   the time of the call (the unit calls tzset before each local conversion).
// - No operation throws. Where the C library cannot break a count down into
//   calendar fields (years beyond the range of int), the field readers give
//   null or "", and the field setters change nothing.
// - Text parsers never read past the terminating zero byte and accept any
//   byte sequence; malformed text gets the documented fallback value.
// - Calendar fields follow struct tm: the Time field constructor takes a
//   zero-based month (0 = January), unlike CLocalTime's one-based month.
// - ISO 8601 output has no writer of its own: use
//   FormatGmt("%Y-%m-%dT%H:%M:%SZ").
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "common/utils/export.h"

namespace tavrin::utils {

class tavrin_ustring;

class TAVRIN_EXPORT Time {
 public:
  // Time() - the epoch, 1970-01-01 00:00:00 UTC (count 0).
  Time();

  // Time(time_t) - exactly `seconds` since the epoch.
  explicit Time(time_t seconds);

  // Time(year, month0, day, hour, minute, second, dst) - the local wall-clock
  // time with these fields, converted by mktime: `month0` is zero-based,
  // fields out of range carry over as mktime normalises them; `dst` > 0 says
  // daylight saving is in effect, 0 that it is not, < 0 lets mktime decide.
  // When mktime cannot represent the result the count is -1.
  Time(int year, int month0, int day, int hour, int minute, int second, int dst);

  // Time(const char*) - ISO 8601 text "YYYY-MM-DDThh:mm:ss", optionally
  // ending in "Z" (UTC; otherwise local time). Zero-terminated UTF-8/ASCII.
  // - null or "": the current time;
  // - text from which six numbers cannot be read: 1900-01-01 00:00:00 (local
  //   time, or UTC when the text ends in "Z"), not the current time;
  // - blanks before each number and a sign are accepted, each number saturates
  //   at INT_MIN/INT_MAX, text after the sixth number is ignored.
  explicit Time(const char* iso8601);

  // SetFromGmtString() - RFC 1123 GMT text, e.g. "Sun, 06 Nov 1994 08:49:37
  // GMT". The text is cut at ",", " ", ":" and "-" into exactly eight
  // non-empty tokens: weekday (not checked), day, month name (English
  // three-letter abbreviation, any case), year (taken as written: "94" is the
  // year 94), hour, minute, second, zone (not checked, always read as GMT).
  // Returns false and sets the current time when the text is empty, has
  // another number of tokens, an unknown month, or converts to -1 (which is
  // also the instant 1969-12-31 23:59:59 UTC: that text fails too).
  [[nodiscard]] bool SetFromGmtString(const tavrin_ustring& text);

  // GetDATE() - the stored count of seconds.
  time_t GetDATE() const;

  // GetLocalTime() - the count shifted by the machine's UTC offset at this
  // instant: the local wall-clock fields re-read as UTC. The count unchanged
  // when it cannot be broken down into local fields.
  time_t GetLocalTime() const;

  // GetUTCTime() - the opposite shift of GetLocalTime(): the count minus the
  // machine's UTC offset at this instant. Unchanged when it cannot be broken
  // down.
  time_t GetUTCTime() const;

  // operator+=() - adds `seconds` truncated toward zero to whole seconds and
  // returns this time. NaN adds nothing; the sum saturates at the limits of
  // time_t.
  Time& operator+=(double seconds);

  // GetGmtTm() - the UTC calendar fields of the count. With `out` the fields
  // are written there and `out` is returned; with null the C library's shared
  // static result (gmtime) is returned, which the next such call overwrites.
  // Null when the count cannot be broken down.
  struct tm* GetGmtTm(struct tm* out = nullptr) const;

  // GetLocalTm() - as GetGmtTm() with the local calendar fields.
  struct tm* GetLocalTm(struct tm* out = nullptr) const;

  // CTime() - the C library's ctime text of the count (local time, e.g.
  // "Sun Nov  6 08:49:37 1994") without the trailing newline; "" when the
  // count cannot be broken down.
  std::string CTime() const;

  // Format() - strftime of the local calendar fields with the zero-terminated
  // `format` (the C library's current LC_TIME locale). "" for a null format,
  // when the count cannot be broken down, or when the result does not fit in
  // 99 bytes.
  std::string Format(const char* format) const;

  // FormatGmt() - as Format() with the UTC calendar fields.
  std::string FormatGmt(const char* format) const;

  // SetHour(), SetMinute(), SetSecond() - replace one local field and convert
  // back with mktime, so out-of-range values carry into the next field (25
  // hours is 01:00 of the next day). Nothing changes when the count cannot be
  // broken down.
  void SetHour(int hour);
  void SetMinute(int minute);
  void SetSecond(int second);

  // SetDayOfYear() - moves by whole days (86400 s) to the zero-based local
  // day of the year `dayOfYear0` (0 = January 1) of the same local year; a
  // day past the end of the year that lands in the next year is moved back
  // one day. Across a daylight-saving change the local time of day shifts by
  // the change. Nothing changes when the count cannot be broken down.
  void SetDayOfYear(int dayOfYear0);

 private:
  time_t m_time;
};

// Get32BitTime() - the low 32 bits of `t` as a signed 32-bit number, with no
// range check (0x100000005 gives 5, 2147483648 gives -2147483648).
TAVRIN_EXPORT std::int32_t Get32BitTime(long t);

}  // namespace tavrin::utils
