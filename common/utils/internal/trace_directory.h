// trace_directory.h - test hook for the folder of TraceToFile's file.
//
// Internal header (not installed). TraceToFile always writes "debug.log" in
// "/tmp"; tests point it elsewhere so they never touch the real /tmp.
#pragma once

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::internal {

// SetTraceDirectoryForTesting()
//
// Makes TraceToFile use "debug.log" in `directory` ("" restores "/tmp") and
// starts it afresh: the next call truncates the file as a first call does.
TAVRIN_EXPORT void SetTraceDirectoryForTesting(const tavrin_ustring& directory);

// TraceFilePathForTesting()
//
// The path the next TraceToFile call writes to.
TAVRIN_EXPORT tavrin_ustring TraceFilePathForTesting();

}  // namespace tavrin::utils::internal
