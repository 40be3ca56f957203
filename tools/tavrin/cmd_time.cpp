// cmd_time.cpp - `tavrin time`: reads ISO 8601 or RFC 1123 time text and
// prints the instant in seconds, as UTC text and as local text.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "common/utils/internal/tavrintime_internal.h"
#include "common/utils/localtime.h"
#include "common/utils/tavrintime.h"
#include "common/utils/ustring.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using tavrin::utils::tavrin_ustring;
using tavrin::utils::Time;

const char kUsage[] =
    "usage: tavrin time TEXT\n\n"
    "Reads TEXT as ISO 8601 (\"2024-03-05T07:08:09Z\", UTC; without the \"Z\" it is\n"
    "local time) or as an RFC 1123 date (\"Sun, 06 Nov 1994 08:49:37 GMT\") and\n"
    "prints the instant as seconds since 1970-01-01 00:00:00 UTC, as UTC text and\n"
    "as local text in the zone of $TZ.\n\n"
    "Exit status: 0 ok, 1 when TEXT is neither form, 2 usage error.\n";

// Parses `text` as ISO 8601 (six numbers read) or RFC 1123; sets `form`.
bool Parse(const std::string& text, Time& out, const char*& form) {
  int fields[6];
  if (tavrin::utils::detail::ScanIso8601(text.c_str(), fields) == 6) {
    out = Time(text.c_str());
    form = !text.empty() && text.back() == 'Z' ? "ISO 8601, UTC" : "ISO 8601, local time";
    return true;
  }
  Time t;
  if (t.SetFromGmtString(tavrin_ustring(text))) {
    out = t;
    form = "RFC 1123";
    return true;
  }
  return false;
}

int Run(const Args& args) {
  if (args.size() != 1) return UsageError("time", "expected one TEXT argument");
  Time t;
  const char* form = "";
  if (!Parse(args[0], t, form)) {
    std::fprintf(stderr,
                 "tavrin time: '%s' is neither ISO 8601 (YYYY-MM-DDThh:mm:ss[Z]) nor RFC 1123 "
                 "(Www, DD Mon YYYY hh:mm:ss GMT) time text\n",
                 args[0].c_str());
    return kExitProblem;
  }
  std::printf("read as: %s\n", form);
  std::printf("seconds: %lld\n", static_cast<long long>(t.GetDATE()));
  std::printf("utc:     %s\n", t.FormatGmt("%Y-%m-%dT%H:%M:%SZ").c_str());
  std::printf("rfc1123: %s\n", t.FormatGmt("%a, %d %b %Y %H:%M:%S GMT").c_str());
  std::printf("local:   %s\n", t.Format("%Y-%m-%d %H:%M:%S %Z").c_str());
  return kExitOk;
}

// The demo reads local time in one fixed zone, so its output is the same on
// every machine; the caller's TZ comes back afterwards.
class DemoZone {
 public:
  explicit DemoZone(const char* tz) {
    const char* old = std::getenv("TZ");
    had_ = old != nullptr;
    if (had_) old_ = old;
    ::setenv("TZ", tz, 1);
    ::tzset();
  }
  ~DemoZone() {
    if (had_)
      ::setenv("TZ", old_.c_str(), 1);
    else
      ::unsetenv("TZ");
    ::tzset();
  }
  DemoZone(const DemoZone&) = delete;
  DemoZone& operator=(const DemoZone&) = delete;

 private:
  bool had_;
  std::string old_;
};

void Demo(const DemoContext& ctx) {
  std::string text;
  if (!ReadAll(ctx.Example("times.txt"), text)) return;
  DemoZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  std::fprintf(ctx.out, "times.txt read as ISO 8601 or RFC 1123 (local time: Central Europe):\n");
  std::size_t start = 0;
  int shown = 0;
  while (start < text.size() && shown < 8) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty() || line[0] == '#') continue;
    ++shown;
    Time t;
    const char* form = "";
    if (!Parse(line, t, form)) {
      std::fprintf(ctx.out, "  %-30s -> not a time\n", line.c_str());
      continue;
    }
    std::fprintf(ctx.out, "  %-30s -> %11lld = %s = %s\n", line.c_str(),
                 static_cast<long long>(t.GetDATE()), t.FormatGmt("%Y-%m-%dT%H:%M:%SZ").c_str(),
                 t.Format("%Y-%m-%d %H:%M:%S %Z").c_str());
  }
  // The calendar rules of CLocalTime, which count every fourth year as leap.
  const CLocalTime leap(2100, 3, 1, 0, 0, 0);
  int month = 0, day = 0;
  CLocalTime(2024, 1, 1, 0, 0, 0).GetMonthDay(60, month, day);
  std::fprintf(ctx.out, "CLocalTime: 2100-03-01 is day %d of %d; day 60 of 2024 is %02d-%02d\n",
               leap.GetDayOfYear(), leap.GetDaysInYear(), month, day);
  const CLocalTime noon(2024, 6, 21, 13, 30, 0);
  std::fprintf(ctx.out, "CLocalTime: 2024-06-21 13:30 at UTC+5:45 is %s UTC\n",
               noon.GetUTC(5.75, false).FormatDateTime(tavrin_ustring("%H:%M")).utf8().c_str());
}

TAVRIN_COMMAND({"time", "read ISO 8601 and RFC 1123 time text", kUsage, Run, 26, Demo});

}  // namespace
}  // namespace tavrin::cli
