// time_fuzz.cpp - the ISO 8601 constructor and the RFC 1123 parser of Time
// on arbitrary bytes: no crash, no read past the text, and the documented
// fallbacks (1900-01-01 for ISO text without six numbers, the current time
// for rejected RFC 1123 text), and accepted text of either kind writes
// back to text that parses to the same instant.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "common/utils/internal/tavrintime_internal.h"
#include "common/utils/localtime.h"
#include "common/utils/tavrintime.h"
#include "common/utils/ustring.h"

using tavrin::utils::Time;

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  static const bool pinned = [] {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    return true;
  }();
  (void)pinned;
  char* text = static_cast<char*>(std::malloc(size + 1));
  if (text == nullptr) return 0;
  if (size != 0) std::memcpy(text, data, size);
  text[size] = '\0';

  int fields[6];
  const int count = tavrin::utils::detail::ScanIso8601(text, fields);
  Check(count >= 0 && count <= 6);
  const Time iso(text);
  if (text[0] != '\0' && count < 6) Check(iso.GetDATE() == -2208988800);
  (void)iso.FormatGmt("%Y-%m-%dT%H:%M:%SZ");
  (void)iso.CTime();

  // Whatever parsed writes back to ISO text that parses to the same instant
  // (four-digit years: "%Y" writes other years with another width or a sign).
  struct tm broken;
  if (count == 6 && iso.GetGmtTm(&broken) != nullptr && broken.tm_year >= 1000 - 1900 &&
      broken.tm_year <= 9999 - 1900) {
    const std::string back = iso.FormatGmt("%Y-%m-%dT%H:%M:%SZ");
    Check(!back.empty() && Time(back.c_str()).GetDATE() == iso.GetDATE());
  }

  const time_t before = std::time(nullptr);
  Time gmt;
  const bool ok = gmt.SetFromGmtString(tavrin::utils::tavrin_ustring(std::string(text, size)));
  if (!ok) Check(gmt.GetDATE() >= before && gmt.GetDATE() <= std::time(nullptr));
  // An accepted RFC 1123 text writes back to one that parses to the same
  // instant (positive years: a "-" would cut the year into two tokens).
  if (ok && gmt.GetGmtTm(&broken) != nullptr && broken.tm_year >= 1 - 1900) {
    const std::string back = gmt.FormatGmt("%a, %d %b %Y %H:%M:%S GMT");
    Time again;
    Check(!back.empty() && again.SetFromGmtString(tavrin::utils::tavrin_ustring(back)) &&
          again.GetDATE() == gmt.GetDATE());
  }

  // CLocalTime reads the fields of whatever count came out.
  const CLocalTime local(iso);
  int month = 0, day = 0;
  local.GetMonthDay(local.GetDayOfYear(), month, day);
  (void)local.FormatDateTime();

  std::free(text);
  return 0;
}
