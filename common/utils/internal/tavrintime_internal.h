// tavrintime_internal.h - the ISO 8601 number scanner behind Time(const char*),
// exposed for tests and the tavrin tool (internal, not installed).
#pragma once

#include "common/utils/export.h"

namespace tavrin::utils::detail {

// ScanIso8601() - reads "%d-%d-%dT%d:%d:%d" from the zero-terminated `text`
// as the C library's formatted input would (blanks and a sign before each
// number; each number saturates at INT_MIN/INT_MAX) and returns how many
// numbers were read, 0 to 6; `fields` holds those numbers in order (year,
// month, day, hour, minute, second as written) and is unspecified past them.
// Time(const char*) takes the text as a time only when this returns 6. A
// null text reads 0 numbers.
TAVRIN_EXPORT int ScanIso8601(const char* text, int (&fields)[6]);

}  // namespace tavrin::utils::detail
