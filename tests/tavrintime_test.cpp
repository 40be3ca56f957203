// Tests of Time: construction, the ISO 8601 and RFC 1123 parsers on good,
// malformed, truncated and random text, the local/UTC shifts, formatting and
// the field setters. Zones are pinned with POSIX TZ strings (UTC, Central
// European with daylight saving, US Eastern), so no tzdata is needed.
#include "common/utils/tavrintime.h"

#include <gtest/gtest.h>
#include <strings.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "common/utils/internal/tavrintime_internal.h"
#include "common/utils/ustring.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::ScopedTimeZone;
using tavrin::utils::tavrin_ustring;
using tavrin::utils::Time;

constexpr const char* kCet = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";

constexpr time_t k1900Utc = -2208988800;       // 1900-01-01 00:00:00 UTC
constexpr time_t kMarch5 = 1709622489;         // 2024-03-05 07:08:09 UTC
constexpr time_t kRfcExample = 784111777;      // 1994-11-06 08:49:37 UTC
constexpr time_t kMidsummer = 1718976600;      // 2024-06-21 13:30:00 UTC
constexpr time_t kMarch5Noon = 1709640000;     // 2024-03-05 12:00:00 UTC
constexpr time_t kBeyondCalendar = LLONG_MAX;  // no calendar fields exist

bool SetGmt(Time& t, const char* text) {
  return t.SetFromGmtString(tavrin_ustring(text));
}

// A Time built from `text` must hold a count taken between these two calls.
struct NowWindow {
  time_t before = std::time(nullptr);
  bool Contains(time_t t) const { return t >= before && t <= std::time(nullptr); }
};

// The C library's own scan of the ISO grammar: the reference of the parser
// for numbers of at most nine digits (sscanf's overflow is not defined).
time_t ReferenceIso(const char* text) {
  const bool utc = text[std::strlen(text) - 1] == 'Z';
  struct tm tm;
  std::memset(&tm, 0, sizeof tm);
  tm.tm_mday = 1;
  tm.tm_isdst = -1;
  int v[6];
  const int n = std::sscanf(text, utc ? "%d-%d-%dT%d:%d:%dZ" : "%d-%d-%dT%d:%d:%d", &v[0], &v[1],
                            &v[2], &v[3], &v[4], &v[5]);
  if (n == 6) {
    tm.tm_year = v[0] - 1900;
    tm.tm_mon = v[1] - 1;
    tm.tm_mday = v[2];
    tm.tm_hour = v[3];
    tm.tm_min = v[4];
    tm.tm_sec = v[5];
  }
  return utc ? timegm(&tm) : std::mktime(&tm);
}

std::size_t LongestDigitRun(const std::string& s) {
  std::size_t best = 0, run = 0;
  for (char c : s) {
    run = (c >= '0' && c <= '9') ? run + 1 : 0;
    best = std::max(best, run);
  }
  return best;
}

// A random piece of text: a grammar token or any byte but the terminator.
std::string RandomPiece(std::mt19937& rng, const std::vector<std::string>& pieces, bool ascii) {
  const std::size_t r = rng() % (pieces.size() + pieces.size() / 2);
  if (r < pieces.size()) return pieces[r];
  return std::string(1, static_cast<char>(1 + rng() % (ascii ? 127 : 255)));
}

// Edits `s` a few times: replaces, inserts or deletes a piece, or cuts it.
void Mutate(std::mt19937& rng, std::string& s, const std::vector<std::string>& pieces, bool ascii) {
  const int edits = static_cast<int>(rng() % 4);
  for (int e = 0; e < edits; ++e) {
    const std::size_t at = s.empty() ? 0 : rng() % s.size();
    switch (rng() % 4) {
      case 0:
        if (!s.empty()) s.erase(at, 1 + rng() % 3);
        break;
      case 1:
        s.insert(at, RandomPiece(rng, pieces, ascii));
        break;
      case 2:
        if (!s.empty()) s.replace(at, 1, RandomPiece(rng, pieces, ascii));
        break;
      default:
        s.resize(at);
        break;
    }
  }
}

// Text near the ISO grammar: a well-formed time with a few edits, or pieces
// of the grammar strung together at random.
std::string RandomIsoLike(std::mt19937& rng) {
  static const std::vector<std::string> kPieces = {"-", "T",    ":",  "Z", " ",  "+",  "\t", "x",
                                                   ".", "2024", "03", "5", "-7", "99", "0",  "T07"};
  std::string s;
  if (rng() % 2 == 0) {
    char text[64];
    std::snprintf(text, sizeof text, "%d-%02d-%02dT%02d:%02d:%02d%s",
                  static_cast<int>(rng() % 3000), static_cast<int>(rng() % 14),
                  static_cast<int>(rng() % 33), static_cast<int>(rng() % 25),
                  static_cast<int>(rng() % 61), static_cast<int>(rng() % 61), rng() % 2 ? "Z" : "");
    s = text;
  } else {
    const int count = static_cast<int>(rng() % 16);
    for (int i = 0; i < count; ++i) s += RandomPiece(rng, kPieces, false);
  }
  Mutate(rng, s, kPieces, false);
  return s;
}

// --- Construction ------------------------------------------------------------

TEST(TimeTest, DefaultIsTheEpochAndCountsAreKept) {
  EXPECT_EQ(Time().GetDATE(), 0);
  EXPECT_EQ(Time(time_t{123456789}).GetDATE(), 123456789);
  EXPECT_EQ(Time(time_t{-5}).GetDATE(), -5);
}

TEST(TimeTest, FieldConstructorReadsLocalTimeWithZeroBasedMonth) {
  {
    ScopedTimeZone tz("UTC");
    EXPECT_EQ(Time(2024, 2, 5, 7, 8, 9, 0).GetDATE(), kMarch5);  // month 2 is March
    EXPECT_EQ(Time(2023, 12, 1, 0, 0, 0, 0).GetDATE(), Time(2024, 0, 1, 0, 0, 0, 0).GetDATE());
    EXPECT_EQ(Time(2024, 0, 32, 0, 0, 0, 0).GetDATE(), Time(2024, 1, 1, 0, 0, 0, 0).GetDATE());
  }
  {
    ScopedTimeZone tz(kCet);
    EXPECT_EQ(Time(2024, 2, 5, 7, 8, 9, -1).GetDATE(), kMarch5 - 3600);
    EXPECT_EQ(Time(2024, 5, 21, 13, 30, 0, -1).GetDATE(), kMidsummer - 7200);
    // Daylight saving said to be off in June: 13:30 standard time.
    EXPECT_EQ(Time(2024, 5, 21, 13, 30, 0, 0).GetDATE(), kMidsummer - 3600);
  }
}

// --- ISO 8601 ------------------------------------------------------------------

TEST(TimeTest, IsoUtcTextIsTheSameInstantInEveryZone) {
  for (const char* zone : {"UTC", kCet, kNewYork}) {
    ScopedTimeZone tz(zone);
    EXPECT_EQ(Time("2024-03-05T07:08:09Z").GetDATE(), kMarch5) << zone;
  }
  // Inside New York's spring gap the UTC text still converts exactly.
  ScopedTimeZone tz(kNewYork);
  EXPECT_EQ(Time("2024-03-10T02:30:00Z").GetDATE(), 1710037800);
}

TEST(TimeTest, IsoLocalTextDiffersByTheZoneOffset) {
  {
    ScopedTimeZone tz("UTC");
    EXPECT_EQ(Time("2024-03-05T07:08:09").GetDATE(), kMarch5);
  }
  {
    ScopedTimeZone tz(kCet);
    EXPECT_EQ(Time("2024-03-05T07:08:09").GetDATE(), kMarch5 - 3600);
    EXPECT_EQ(Time("2024-06-21T13:30:00").GetDATE(), kMidsummer - 7200);
  }
  {
    ScopedTimeZone tz(kNewYork);
    EXPECT_EQ(Time("2024-03-05T07:08:09").GetDATE(), kMarch5 + 5 * 3600);
  }
}

TEST(TimeTest, IsoEmptyOrNullIsTheCurrentTime) {
  NowWindow now;
  const Time empty("");
  const Time null(static_cast<const char*>(nullptr));
  EXPECT_TRUE(now.Contains(empty.GetDATE()));
  EXPECT_TRUE(now.Contains(null.GetDATE()));
}

TEST(TimeTest, IsoMalformedTextIs1900NotNow) {
  {
    ScopedTimeZone tz("UTC");
    for (const char* text :
         {"yesterday", "2024-03-05", "2024-03-05 07:08:09", "2024/03/05T07:08:09", "T", "-",
          "2024-03-05T07:08", "++2024-03-05T07:08:09"})
      EXPECT_EQ(Time(text).GetDATE(), k1900Utc) << text;
  }
  {
    ScopedTimeZone tz(kCet);
    // Local 1900-01-01 00:00 in a zone one hour east of UTC.
    EXPECT_EQ(Time("yesterday").GetDATE(), k1900Utc - 3600);
    // Malformed text ending in "Z" is 1900-01-01 UTC.
    EXPECT_EQ(Time("yesterdayZ").GetDATE(), k1900Utc);
    EXPECT_EQ(Time("Z").GetDATE(), k1900Utc);
  }
}

TEST(TimeTest, IsoAcceptsBlanksSignsAndTrailingText) {
  ScopedTimeZone tz("UTC");
  EXPECT_EQ(Time("2024- 3- 5T 7: 8: 9Z").GetDATE(), kMarch5);
  EXPECT_EQ(Time(" \t+2024-03-05T07:08:09Z").GetDATE(), kMarch5);
  EXPECT_EQ(Time("2024-03-05T07:08:09.750Z").GetDATE(), kMarch5);
  EXPECT_EQ(Time("2024-03-05T07:08:09+01:00").GetDATE(), kMarch5);
  EXPECT_EQ(Time("2024-03-05T07:08:09 and then some").GetDATE(), kMarch5);
  // A negative field is normalised: month 0 is December of the year before.
  EXPECT_EQ(Time("2024-0-01T00:00:00Z").GetDATE(), Time("2023-12-01T00:00:00Z").GetDATE());
  EXPECT_EQ(Time("2024-03-05T07:08:-1Z").GetDATE(), Time("2024-03-05T07:07:59Z").GetDATE());
}

TEST(TimeTest, IsoEveryTruncationIsHandled) {
  ScopedTimeZone tz("UTC");
  const std::string full = "2024-03-05T07:08:09";
  for (std::size_t n = 1; n <= full.size(); ++n) {
    // An exactly sized buffer, so a read past the terminator is caught by
    // AddressSanitizer.
    std::vector<char> text(full.begin(), full.begin() + static_cast<long>(n));
    text.push_back('\0');
    const time_t got = Time(text.data()).GetDATE();
    if (n <= 17) {
      EXPECT_EQ(got, k1900Utc) << text.data();  // fewer than six numbers
    } else if (n == 18) {
      EXPECT_EQ(got, kMarch5 - 9) << text.data();  // seconds "0"
    } else {
      EXPECT_EQ(got, kMarch5);
    }
  }
}

TEST(TimeTest, IsoNumbersSaturate) {
  ScopedTimeZone tz("UTC");
  EXPECT_EQ(Time("99999999999-01-01T00:00:00Z").GetDATE(),
            Time("2147483647-01-01T00:00:00Z").GetDATE());
  EXPECT_NE(Time("2147483647-01-01T00:00:00Z").GetDATE(),
            Time("2147483646-01-01T00:00:00Z").GetDATE());
  EXPECT_EQ(Time("-99999999999-01-01T00:00:00Z").GetDATE(),
            Time("-2147483648-01-01T00:00:00Z").GetDATE());
  EXPECT_EQ(Time("2000-99999999999999999999-01T00:00:00Z").GetDATE(),
            Time("2000-2147483647-01T00:00:00Z").GetDATE());
  EXPECT_EQ(Time("2000-01-01T00:00:99999999999999999999Z").GetDATE(),
            Time("2000-01-01T00:00:2147483647Z").GetDATE());
  EXPECT_EQ(Time("2000-01-01T00:00:2147483647Z").GetDATE(), 946684800 + 2147483647LL);
}

TEST(TimeTest, IsoScannerCountsNumbers) {
  using tavrin::utils::detail::ScanIso8601;
  int f[6] = {};
  EXPECT_EQ(ScanIso8601(nullptr, f), 0);
  EXPECT_EQ(ScanIso8601("", f), 0);
  EXPECT_EQ(ScanIso8601("x", f), 0);
  EXPECT_EQ(ScanIso8601("2024", f), 1);
  EXPECT_EQ(ScanIso8601("2024-", f), 1);
  EXPECT_EQ(ScanIso8601("2024-03-05", f), 3);
  EXPECT_EQ(ScanIso8601("2024-03-05t07:08:09", f), 3);  // the "T" is case-sensitive
  EXPECT_EQ(ScanIso8601("2024-03-05T07:08", f), 5);
  EXPECT_EQ(ScanIso8601(" -12- +3-\t4T5 :6:7Z", f), 4);  // no blank before a separator
  ASSERT_EQ(ScanIso8601(" -12- +3-\t4T 5: 6:+7Z", f), 6);
  EXPECT_EQ(f[0], -12);
  EXPECT_EQ(f[1], 3);
  EXPECT_EQ(f[2], 4);
  EXPECT_EQ(f[3], 5);
  EXPECT_EQ(f[4], 6);
  EXPECT_EQ(f[5], 7);
  ASSERT_EQ(ScanIso8601("2147483648-99999999999999999999999-2147483647T-2147483648:"
                        "-2147483649:-99999999999999999999",
                        f),
            6);
  EXPECT_EQ(f[0], INT_MAX);
  EXPECT_EQ(f[1], INT_MAX);
  EXPECT_EQ(f[2], INT_MAX);
  EXPECT_EQ(f[3], INT_MIN);
  EXPECT_EQ(f[4], INT_MIN);
  EXPECT_EQ(f[5], INT_MIN);
  EXPECT_EQ(ScanIso8601("- 5", f), 0);  // no blank between sign and digits
  EXPECT_EQ(ScanIso8601("+-5", f), 0);
}

TEST(TimeTest, IsoRandomTextMatchesTheCLibraryScan) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  int compared = 0, six = 0;
  for (const char* zone : {"UTC", kCet}) {
    ScopedTimeZone tz(zone);
    for (int i = 0; i < 10000; ++i) {
      const std::string s = RandomIsoLike(rng);
      std::vector<char> text(s.begin(), s.end());
      text.push_back('\0');
      const Time t(text.data());
      if (s.empty() || LongestDigitRun(s) > 9) continue;
      ASSERT_EQ(t.GetDATE(), ReferenceIso(s.c_str())) << zone << " [" << s << "]";
      ++compared;
      six += t.GetDATE() != k1900Utc && t.GetDATE() != k1900Utc - 3600;
    }
  }
  EXPECT_GT(compared, 15000);
  EXPECT_GT(six, 1000);  // many random texts are complete times
}

TEST(TimeTest, IsoWriterRoundTrips) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937_64 rng(seed);
  std::uniform_int_distribution<long long> dist(-60000000000LL, 100000000000LL);
  for (const char* zone : {"UTC", kCet}) {
    ScopedTimeZone tz(zone);
    for (int i = 0; i < 1000; ++i) {
      const Time t{static_cast<time_t>(dist(rng))};
      const std::string iso = t.FormatGmt("%Y-%m-%dT%H:%M:%SZ");
      ASSERT_EQ(Time(iso.c_str()).GetDATE(), t.GetDATE()) << iso;
    }
  }
}

// --- RFC 1123 ------------------------------------------------------------------

TEST(TimeTest, GmtStringWorkedExample) {
  for (const char* zone : {"UTC", kCet, kNewYork}) {
    ScopedTimeZone tz(zone);
    Time t;
    EXPECT_TRUE(SetGmt(t, "Sun, 06 Nov 1994 08:49:37 GMT")) << zone;
    EXPECT_EQ(t.GetDATE(), kRfcExample) << zone;
  }
  Time t;
  EXPECT_TRUE(SetGmt(t, "Sun, 06 nov 1994 08:49:37 GMT"));
  EXPECT_EQ(t.GetDATE(), kRfcExample);
  EXPECT_TRUE(SetGmt(t, "SUN, 06 NOV 1994 08:49:37 gmt"));
  EXPECT_EQ(t.GetDATE(), kRfcExample);
}

TEST(TimeTest, GmtStringFailuresSetTheCurrentTime) {
  for (const char* text : {"", "Sun, 06 Sept 1994 08:49:37 GMT", "Sun, 06 Nov 1994 08:49:37",
                           "Sun, 06 Nov 1994 08:49:37 GMT extra", "06 Nov 1994 08:49:37 GMT",
                           "Sun, 06 Xyz 1994 08:49:37 GMT", ",,,: - ",
                           "Sun 06 November 1994 08 49 37 GMT", "Wed, 31 Dec 1969 23:59:59 GMT"}) {
    Time t{time_t{12345}};
    NowWindow now;
    EXPECT_FALSE(SetGmt(t, text)) << text;
    EXPECT_TRUE(now.Contains(t.GetDATE())) << text;
  }
  // The instant just before -1 is fine.
  Time t;
  EXPECT_TRUE(SetGmt(t, "Wed, 31 Dec 1969 23:59:58 GMT"));
  EXPECT_EQ(t.GetDATE(), -2);
}

TEST(TimeTest, GmtStringTokenRules) {
  Time t;
  // Runs of separators, hyphenated dates, other weekday and zone names.
  EXPECT_TRUE(SetGmt(t, "Sun,,  06-Nov-1994   08:49:37 GMT"));
  EXPECT_EQ(t.GetDATE(), kRfcExample);
  EXPECT_TRUE(SetGmt(t, "Xyz, 06 Nov 1994 08:49:37 PST"));
  EXPECT_EQ(t.GetDATE(), kRfcExample);
  // A two-digit year is the year 94.
  EXPECT_TRUE(SetGmt(t, "Sun, 06 Nov 94 08:49:37 GMT"));
  EXPECT_EQ(t.GetDATE(), -59174032223LL);
  // Numbers read as far as they go; fields out of range carry over.
  EXPECT_TRUE(SetGmt(t, "Sun, 06 Nov 1994 08:49:60 GMT"));
  EXPECT_EQ(t.GetDATE(), kRfcExample + 23);
  EXPECT_TRUE(SetGmt(t, "Sun, xx Nov 1994 08:49:37 GMT"));  // day 0 is October 31
  EXPECT_EQ(t.GetDATE(), kRfcExample - 6 * 86400);
  EXPECT_TRUE(SetGmt(t, "Sun, 6th Nov 1994 8h:49m:37s GMT"));
  EXPECT_EQ(t.GetDATE(), kRfcExample);
}

// The RFC 1123 rules written out plainly: the reference for random text.
bool ReferenceGmt(const std::string& text, time_t& out) {
  std::vector<std::string> tokens;
  std::string cur;
  for (char c : text) {
    if (std::strchr(", :-", c) != nullptr) {
      if (!cur.empty()) tokens.push_back(cur);
      cur.clear();
    } else {
      cur.push_back(c);
    }
  }
  if (!cur.empty()) tokens.push_back(cur);
  if (tokens.size() != 8) return false;
  static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  int month = -1;
  for (int m = 0; m < 12; ++m)
    if (strcasecmp(tokens[2].c_str(), kMonths[m]) == 0) month = m;
  if (month < 0) return false;
  struct tm tm;
  std::memset(&tm, 0, sizeof tm);
  tm.tm_year = std::atoi(tokens[3].c_str()) - 1900;
  tm.tm_mon = month;
  tm.tm_mday = std::atoi(tokens[1].c_str());
  tm.tm_hour = std::atoi(tokens[4].c_str());
  tm.tm_min = std::atoi(tokens[5].c_str());
  tm.tm_sec = std::atoi(tokens[6].c_str());
  out = timegm(&tm);
  return out != -1;
}

TEST(TimeTest, GmtStringRandomTextMatchesThePlainRules) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  static const std::vector<std::string> kPieces = {"Sun", "06",  "Nov", "nov", "1994", "08", "49",
                                                   "37",  "GMT", "Dec", "31",  "+5",   "x",  "Sept",
                                                   "0",   ",",   " ",   ":",   "-",    "  ", ", "};
  static const char* const kMonths[] = {"Jan", "feb", "MAR", "Apr", "May", "Jun", "Jul",
                                        "Aug", "Sep", "Oct", "Nov", "Dec", "Foo"};
  int accepted = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string s;
    if (rng() % 2 == 0) {
      char text[96];
      std::snprintf(text, sizeof text, "Mon, %02d %s %d %02d:%02d:%02d GMT",
                    static_cast<int>(rng() % 40), kMonths[rng() % 13],
                    static_cast<int>(rng() % 2500), static_cast<int>(rng() % 30),
                    static_cast<int>(rng() % 70), static_cast<int>(rng() % 70));
      s = text;
    } else {
      const int count = static_cast<int>(rng() % 12);
      for (int k = 0; k < count; ++k) s += RandomPiece(rng, kPieces, true);
    }
    Mutate(rng, s, kPieces, true);  // ASCII only, so always valid UTF-8
    if (LongestDigitRun(s) > 9) continue;
    Time t;
    NowWindow now;
    const bool ok = SetGmt(t, s.c_str());
    time_t expected = 0;
    ASSERT_EQ(ok, ReferenceGmt(s, expected)) << "[" << s << "]";
    if (ok) {
      ASSERT_EQ(t.GetDATE(), expected) << "[" << s << "]";
      ++accepted;
    } else {
      ASSERT_TRUE(now.Contains(t.GetDATE())) << "[" << s << "]";
    }
  }
  // Both outcomes are exercised.
  EXPECT_GT(accepted, 1000);
  EXPECT_LT(accepted, 19000);
}

// --- Shifts ------------------------------------------------------------------

TEST(TimeTest, LocalAndUtcShifts) {
  {
    ScopedTimeZone tz("UTC");
    EXPECT_EQ(Time(kMarch5).GetLocalTime(), kMarch5);
    EXPECT_EQ(Time(kMarch5).GetUTCTime(), kMarch5);
  }
  {
    ScopedTimeZone tz(kCet);
    EXPECT_EQ(Time(kMarch5).GetLocalTime(), kMarch5 + 3600);
    EXPECT_EQ(Time(kMarch5).GetUTCTime(), kMarch5 - 3600);
    EXPECT_EQ(Time(kMidsummer).GetLocalTime(), kMidsummer + 7200);
    EXPECT_EQ(Time(kMidsummer).GetUTCTime(), kMidsummer - 7200);
    EXPECT_EQ(Time(kBeyondCalendar).GetLocalTime(), kBeyondCalendar);
    EXPECT_EQ(Time(kBeyondCalendar).GetUTCTime(), kBeyondCalendar);
  }
  {
    ScopedTimeZone tz(kNewYork);
    EXPECT_EQ(Time(kMarch5).GetLocalTime(), kMarch5 - 5 * 3600);
    EXPECT_EQ(Time(kMidsummer).GetUTCTime(), kMidsummer + 4 * 3600);
  }
}

TEST(TimeTest, LocalConversionsFollowTzWithoutTzset) {
  ScopedTimeZone utc("UTC");
  {
    tavrin::test::ScopedEnv cet("TZ", kCet);  // changes TZ without calling tzset()
    EXPECT_EQ(Time(kRfcExample).Format("%H %Z"), "09 CET");
    EXPECT_EQ(Time(kRfcExample).GetLocalTime(), kRfcExample + 3600);
  }
  EXPECT_EQ(Time(kRfcExample).Format("%H %Z"), "08 UTC");
  EXPECT_EQ(Time(kRfcExample).CTime(), "Sun Nov  6 08:49:37 1994");
}

TEST(TimeTest, AddingSecondsTruncatesTowardZero) {
  Time t{time_t{100}};
  EXPECT_EQ((t += 1.9).GetDATE(), 101);
  EXPECT_EQ((t += -1.9).GetDATE(), 100);
  EXPECT_EQ((t += 0.999).GetDATE(), 100);
  EXPECT_EQ((t += -86400.5).GetDATE(), 100 - 86400);
  t += std::nan("");
  EXPECT_EQ(t.GetDATE(), 100 - 86400);
  Time big{time_t{LLONG_MAX - 1}};
  big += 10.0;
  EXPECT_EQ(big.GetDATE(), LLONG_MAX);
  Time up{time_t{0}};
  up += HUGE_VAL;
  EXPECT_EQ(up.GetDATE(), LLONG_MAX);
  Time down{time_t{0}};
  down += -HUGE_VAL;
  EXPECT_EQ(down.GetDATE(), LLONG_MIN);
}

// --- Calendar fields and formatting ------------------------------------------

TEST(TimeTest, BrokenDownFields) {
  ScopedTimeZone tz(kCet);
  const Time t(kRfcExample);
  struct tm tm;
  std::memset(&tm, 0, sizeof tm);
  ASSERT_EQ(t.GetGmtTm(&tm), &tm);
  EXPECT_EQ(tm.tm_year, 94);
  EXPECT_EQ(tm.tm_mon, 10);
  EXPECT_EQ(tm.tm_mday, 6);
  EXPECT_EQ(tm.tm_hour, 8);
  EXPECT_EQ(tm.tm_min, 49);
  EXPECT_EQ(tm.tm_sec, 37);
  ASSERT_EQ(t.GetLocalTm(&tm), &tm);
  EXPECT_EQ(tm.tm_hour, 9);
  EXPECT_EQ(tm.tm_isdst, 0);
  ASSERT_EQ(Time(kMidsummer).GetLocalTm(&tm), &tm);
  EXPECT_EQ(tm.tm_hour, 15);
  EXPECT_GT(tm.tm_isdst, 0);
  // Without an output the C library's shared results come back.
  const time_t raw = kRfcExample;
  struct tm* shared = t.GetGmtTm();
  ASSERT_NE(shared, nullptr);
  EXPECT_EQ(shared, std::gmtime(&raw));
  struct tm* shared_local = t.GetLocalTm();
  ASSERT_NE(shared_local, nullptr);
  EXPECT_EQ(shared_local, std::localtime(&raw));
  EXPECT_EQ(shared_local->tm_hour, 9);
}

TEST(TimeTest, CountsBeyondTheCalendarGiveNullAndEmptyText) {
  const Time t(kBeyondCalendar);
  struct tm tm;
  EXPECT_EQ(t.GetGmtTm(&tm), nullptr);
  EXPECT_EQ(t.GetLocalTm(&tm), nullptr);
  EXPECT_EQ(t.GetGmtTm(), nullptr);
  EXPECT_EQ(t.GetLocalTm(), nullptr);
  EXPECT_EQ(t.CTime(), "");
  EXPECT_EQ(t.Format("%Y"), "");
  EXPECT_EQ(t.FormatGmt("%Y"), "");
  Time s = t;
  s.SetHour(1);
  s.SetMinute(1);
  s.SetSecond(1);
  s.SetDayOfYear(1);
  EXPECT_EQ(s.GetDATE(), kBeyondCalendar);
}

TEST(TimeTest, CTimeText) {
  {
    ScopedTimeZone tz("UTC");
    EXPECT_EQ(Time(kRfcExample).CTime(), "Sun Nov  6 08:49:37 1994");
  }
  ScopedTimeZone tz(kCet);
  EXPECT_EQ(Time(kRfcExample).CTime(), "Sun Nov  6 09:49:37 1994");
}

TEST(TimeTest, FormatAndFormatGmt) {
  ScopedTimeZone tz(kCet);
  const Time t(kRfcExample);
  EXPECT_EQ(t.FormatGmt("%Y-%m-%dT%H:%M:%SZ"), "1994-11-06T08:49:37Z");
  EXPECT_EQ(t.Format("%Y-%m-%d %H:%M %Z"), "1994-11-06 09:49 CET");
  EXPECT_EQ(Time(kMidsummer).Format("%H:%M %Z"), "15:30 CEST");
  EXPECT_EQ(t.Format(nullptr), "");
  EXPECT_EQ(t.FormatGmt(nullptr), "");
  EXPECT_EQ(t.FormatGmt(""), "");
  // The result must fit in 100 bytes with its terminator.
  EXPECT_EQ(t.FormatGmt(std::string(99, 'x').c_str()), std::string(99, 'x'));
  EXPECT_EQ(t.FormatGmt(std::string(100, 'x').c_str()), "");
  EXPECT_EQ(t.Format((std::string(96, 'x') + "%Y").c_str()), "");
}

// --- Setters -------------------------------------------------------------------

TEST(TimeTest, FieldSettersCarryOver) {
  ScopedTimeZone tz("UTC");
  Time t(kMarch5);  // 2024-03-05 07:08:09
  t.SetHour(25);
  EXPECT_EQ(t.FormatGmt("%F %T"), "2024-03-06 01:08:09");
  t.SetMinute(-1);
  EXPECT_EQ(t.FormatGmt("%F %T"), "2024-03-06 00:59:09");
  t.SetSecond(60);
  EXPECT_EQ(t.FormatGmt("%F %T"), "2024-03-06 01:00:00");
  t.SetHour(0);
  t.SetMinute(0);
  t.SetSecond(0);
  EXPECT_EQ(t.GetDATE(), kMarch5 - 25689 + 86400);
}

TEST(TimeTest, FieldSettersWorkOnLocalFields) {
  ScopedTimeZone tz(kCet);
  Time t(kMidsummer);  // 15:30 CEST
  t.SetHour(8);
  EXPECT_EQ(t.GetDATE(), kMidsummer - 7 * 3600);
  EXPECT_EQ(t.Format("%H:%M:%S"), "08:30:00");
}

TEST(TimeTest, SetDayOfYear) {
  {
    ScopedTimeZone tz("UTC");
    Time t(kMarch5Noon);
    t.SetDayOfYear(0);
    EXPECT_EQ(t.FormatGmt("%F %T"), "2024-01-01 12:00:00");
    t.SetDayOfYear(365);
    EXPECT_EQ(t.FormatGmt("%F %T"), "2024-12-31 12:00:00");
    t.SetDayOfYear(366);  // January 1 of the next year: moved back a day
    EXPECT_EQ(t.FormatGmt("%F %T"), "2024-12-31 12:00:00");
    Time u{time_t{1704024000}};  // 2023-12-31 12:00
    u.SetDayOfYear(365);
    EXPECT_EQ(u.FormatGmt("%F %T"), "2023-12-31 12:00:00");
    u.SetDayOfYear(-1);  // the year before is not corrected
    EXPECT_EQ(u.FormatGmt("%F %T"), "2022-12-31 12:00:00");
  }
  {
    ScopedTimeZone tz(kCet);
    Time t(kMarch5Noon - 3600);  // 12:00 CET
    t.SetDayOfYear(100);         // April 10, in summer time
    EXPECT_EQ(t.Format("%F %T %Z"), "2024-04-10 13:00:00 CEST");
  }
}

TEST(TimeTest, Get32BitTime) {
  EXPECT_EQ(tavrin::utils::Get32BitTime(0x100000005L), 5);
  EXPECT_EQ(tavrin::utils::Get32BitTime(2147483648L), INT32_MIN);
  EXPECT_EQ(tavrin::utils::Get32BitTime(-1L), -1);
  EXPECT_EQ(tavrin::utils::Get32BitTime(kMarch5), static_cast<std::int32_t>(kMarch5));
}

// --- The tool -------------------------------------------------------------------

TEST(TimeTest, ToolReadsBothFormsAndRejectsOthers) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  ASSERT_EQ(tavrin::test::RunShell(
                "TZ='" + std::string(kCet) + "' " + tool + " time 2024-03-05T07:08:09Z", &out),
            0);
  EXPECT_NE(out.find("1709622489"), std::string::npos) << out;
  EXPECT_NE(out.find("2024-03-05T07:08:09Z"), std::string::npos) << out;
  EXPECT_NE(out.find("2024-03-05 08:08:09 CET"), std::string::npos) << out;
  ASSERT_EQ(tavrin::test::RunShell(tool + " time 'Sun, 06 Nov 1994 08:49:37 GMT'", &out), 0);
  EXPECT_NE(out.find("784111777"), std::string::npos) << out;
  EXPECT_NE(out.find("1994-11-06T08:49:37Z"), std::string::npos) << out;
  EXPECT_EQ(tavrin::test::RunShell(tool + " time yesterday 2>/dev/null", &out), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(tavrin::test::RunShell(tool + " time 'Sun, 06 Sept 1994 08:49:37 GMT' 2>/dev/null"), 1);
  EXPECT_EQ(tavrin::test::RunShell(tool + " time 2>/dev/null"), 2);
}

}  // namespace
