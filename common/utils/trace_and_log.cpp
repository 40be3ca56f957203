// trace_and_log.cpp - a message to the file logger and to standard error.
#include "common/utils/trace_and_log.h"

#include <cstdarg>

#include "common/utils/filelogger.h"
#include "common/utils/internal/diagnostics_internal.h"
#include "common/utils/internal/format_internal.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

void TraceAndLog(const char* format, ...) {
  if (!format) return;
  va_list args;
  va_start(args, format);
  tavrin_ustring text;
  text.FormatV(tavrin_ustring(format), args);
  va_end(args);
  // The logger and the trace each format the text a second time, without
  // arguments: only "%%" changes; no argument is ever read.
  tavrin_ustring second = detail::FormatWithoutArguments(text);
  internal::WriteLogText(second);
  internal::WriteToStandardError(second);
}

}  // namespace tavrin::utils
