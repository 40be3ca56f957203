// time_fuzz.cpp - the ISO 8601 constructor and the RFC 1123 parser of Time
// on arbitrary bytes: no crash, no read past the text, and the documented
// fallbacks (1900-01-01 for ISO text without six numbers, the current time
// for rejected RFC 1123 text).
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

  const time_t before = std::time(nullptr);
  Time gmt;
  const bool ok = gmt.SetFromGmtString(tavrin::utils::tavrin_ustring(std::string(text, size)));
  if (!ok) Check(gmt.GetDATE() >= before && gmt.GetDATE() <= std::time(nullptr));

  // CLocalTime reads the fields of whatever count came out.
  const CLocalTime local(iso);
  int month = 0, day = 0;
  local.GetMonthDay(local.GetDayOfYear(), month, day);
  (void)local.FormatDateTime();

  std::free(text);
  return 0;
}
