// diagnostics_internal.h - shared pieces of the trace, logger and
// trace-and-log units.
//
// Internal header (not installed, not exported): used only inside the
// library.
#pragma once

#include <string>

#include "common/utils/ustring.h"

namespace tavrin::utils::internal {

// Writes the UTF-8 form of `text` to standard error, as it stands.
void WriteToStandardError(const tavrin_ustring& text);

// Appends `text` to the file logger's file exactly as it stands (no
// formatting); nothing when the logger is not initialised.
void WriteLogText(const tavrin_ustring& text);

}  // namespace tavrin::utils::internal
