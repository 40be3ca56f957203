// trace.h - formatted trace output to standard error, to a stream and to the
// fixed trace file, and the hierarchy tracer's message list.
//
// Formats are the library's printf-style UTF-16 formats (tavrin_ustring::
// Format: "%s" takes UTF-16 units, "%S" UTF-8 bytes); output is the UTF-8 form
// of the result. Nothing adds a time stamp or a level, and only TraceToStream
// adds a line end.
#pragma once

#include <iosfwd>
#include <list>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

// Trace()
//
// Formats and writes the text to standard error. An empty format writes
// nothing.
TAVRIN_EXPORT void Trace(tavrin_ustring format, ...);

// TraceToFile()
//
// Formats the text, writes it to standard error and to the trace file
// "debug.log" in "/tmp". The first call of the process truncates the file,
// later calls append. The file is opened without following a symbolic link
// and created with mode 0600; when it is not a regular file of the effective
// user (or cannot be opened) the text goes to standard error only.
TAVRIN_EXPORT void TraceToFile(tavrin_ustring format, ...);

// TraceToStream()
//
// Formats, writes the text to `stream` and then exactly one "\n", always
// ("a\n" is written as "a\n\n").
TAVRIN_EXPORT void TraceToStream(std::ostream& stream, tavrin_ustring format, ...);

// HierarchyTracer
//
// GetMessageQueue() returns the process-wide list (created on first use,
// thread-safely; destroyed at exit). The library only provides it: callers
// push and read messages and guard it themselves.
struct TAVRIN_EXPORT HierarchyTracer {
  static std::list<tavrin_ustring>& GetMessageQueue();
};

}  // namespace tavrin::utils
