// debugconsole.cpp - printf-style output to the standard streams.
#include "common/utils/debugconsole.h"

#include <cstdio>

extern "C" {
bool suspendDebugLogging = false;
}

namespace tavrin::debug {

int TraceOutput(const char* format, ...) {
  va_list args;
  va_start(args, format);
  int n = TraceOutputV(format, args);
  va_end(args);
  return n;
}

int TraceOutputV(const char* format, va_list args) {
  if (!format) return 0;
  return std::vfprintf(stdout, format, args);
}

int DebugOutput(const char* /*format*/, ...) {
  return 0;
}

int DebugOutputV(const char* /*format*/, va_list /*args*/) {
  return 0;
}

int LogError(const char* format, ...) {
  va_list args;
  va_start(args, format);
  int n = LogErrorV(format, args);
  va_end(args);
  return n;
}

int LogErrorV(const char* format, va_list args) {
  if (!format) return 0;
  return std::vfprintf(stderr, format, args);
}

void SuspendDebugOutput() {
  suspendDebugLogging = true;
}

void ResumeDebugOutput() {
  suspendDebugLogging = false;
}

}  // namespace tavrin::debug
