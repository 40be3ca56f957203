// trace_and_log.h - one call that writes a message to the file logger and to
// standard error.
#pragma once

#include "common/utils/export.h"

namespace tavrin::utils {

// TraceAndLog()
//
// Formats `format` (zero-terminated UTF-8, the library's printf-style rules)
// with the arguments once, then hands the result to the file logger and to
// standard error as a format without arguments: each "%%" left after the
// first formatting becomes "%", and nothing else is interpreted. A literal
// "%" in the output therefore takes four in `format`: TraceAndLog("%d%%%%
// done\n", 40) writes "40% done\n". A null format writes nothing.
TAVRIN_EXPORT void TraceAndLog(const char* format, ...);

}  // namespace tavrin::utils
