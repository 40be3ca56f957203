// debugconsole.h - printf-style output to the standard streams, and the
// process-wide flag that suspends debug output.
//
// The format strings here are 8-bit printf formats (the C library's own
// rules), not the library's UTF-16 formats. DebugOutput exists so that
// debug-only output costs nothing: it prints nothing and returns 0.
#pragma once

#include <cstdarg>

#include "common/utils/export.h"

extern "C" {
// suspendDebugLogging
//
// Set by SuspendDebugOutput, cleared by ResumeDebugOutput; false at load.
// Nothing in the library reads it - application code does.
TAVRIN_EXPORT extern bool suspendDebugLogging;
}

namespace tavrin::debug {

// TraceOutput(), TraceOutputV()
//
// Print the formatted text to standard output; return the count of bytes
// printed, or a negative value when output failed.
TAVRIN_EXPORT int TraceOutput(const char* format, ...) __attribute__((format(printf, 1, 2)));
TAVRIN_EXPORT int TraceOutputV(const char* format, va_list args);

// DebugOutput(), DebugOutputV()
//
// Do nothing and return 0.
TAVRIN_EXPORT int DebugOutput(const char* format, ...);
TAVRIN_EXPORT int DebugOutputV(const char* format, va_list args);

// LogError(), LogErrorV()
//
// Print the formatted text to standard error; return the count of bytes
// printed, or a negative value when output failed.
TAVRIN_EXPORT int LogError(const char* format, ...) __attribute__((format(printf, 1, 2)));
TAVRIN_EXPORT int LogErrorV(const char* format, va_list args);

// SuspendDebugOutput(), ResumeDebugOutput()
//
// Set suspendDebugLogging to true and to false.
TAVRIN_EXPORT void SuspendDebugOutput();
TAVRIN_EXPORT void ResumeDebugOutput();

}  // namespace tavrin::debug
