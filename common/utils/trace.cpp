// trace.cpp - trace output to standard error, streams and the trace file.
#include "common/utils/trace.h"

#include <cstdio>
#include <mutex>
#include <ostream>

#include "common/utils/fileutils.h"
#include "common/utils/internal/diagnostics_internal.h"
#include "common/utils/internal/trace_directory.h"
#include "common/utils/platform.h"

namespace tavrin::utils {
namespace {

// The trace file's state: its folder (the test hook may change it) and the
// path used, empty until the first TraceToFile of the process.
struct TraceFileState {
  std::mutex mutex;
  tavrin_ustring directory;
  tavrin_ustring log_file;
};

TraceFileState& State() {
  static TraceFileState* state = new TraceFileState();  // never destroyed: usable at exit
  return *state;
}

tavrin_ustring DefaultTraceDirectory() {
  return tavrin_ustring("/tmp");
}

}  // namespace

namespace internal {

void WriteToStandardError(const tavrin_ustring& text) {
  std::string bytes = text.utf8();
  if (bytes.empty()) return;
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
  std::fflush(stderr);
}

void SetTraceDirectoryForTesting(const tavrin_ustring& directory) {
  TraceFileState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.directory = directory;
  state.log_file = tavrin_ustring();
}

tavrin_ustring TraceFilePathForTesting() {
  TraceFileState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  if (!state.log_file.empty()) return state.log_file;
  tavrin_ustring folder = state.directory.empty() ? DefaultTraceDirectory() : state.directory;
  return AppendToPath(folder, tavrin_ustring("debug.log"));
}

}  // namespace internal

void Trace(tavrin_ustring format, ...) {
  va_list args;
  va_start(args, format);
  tavrin_ustring text;
  text.FormatV(format, args);
  va_end(args);
  internal::WriteToStandardError(text);
}

void TraceToFile(tavrin_ustring format, ...) {
  va_list args;
  va_start(args, format);
  tavrin_ustring text;
  text.FormatV(format, args);
  va_end(args);

  internal::WriteToStandardError(text);
  TraceFileState& state = State();
  // Held across the write, so the first call's truncation can never cut a
  // message another thread has just written.
  std::lock_guard<std::mutex> lock(state.mutex);
  bool first = false;
  if (state.log_file.empty()) {
    // First call of the process: "w" (truncate) once, "a+" afterwards.
    tavrin_ustring folder = state.directory.empty() ? DefaultTraceDirectory() : state.directory;
    state.log_file = AppendToPath(folder, tavrin_ustring("debug.log"));
    first = true;
  }
  tavrin::platform::WriteTraceFile(state.log_file.utf8(), first, text.utf8());
}

void TraceToStream(std::ostream& stream, tavrin_ustring format, ...) {
  va_list args;
  va_start(args, format);
  tavrin_ustring text;
  text.FormatV(format, args);
  va_end(args);
  std::string bytes = text.utf8();
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream.put('\n');
}

std::list<tavrin_ustring>& HierarchyTracer::GetMessageQueue() {
  static std::list<tavrin_ustring> message_queue;
  return message_queue;
}

}  // namespace tavrin::utils
