// fileutils.h - paths and the file system.
//
// Paths are tavrin_ustring values with "/" written and both "/" and "\"
// accepted on input; they turn into the file system's byte form (UTF-8) only
// inside the file functions. Failure is reported by the result (false, 0, -1,
// an empty string or an empty list); nothing throws.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

// ---------------------------------------------------------------------------
// Path strings: normalising, splitting, joining, comparing.
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// Relative, short, unique and temporary paths.
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// File-system operations: queries, locks, copy, move, delete, listings,
// whole-file read and write.
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// Well-known folders.
// ---------------------------------------------------------------------------



}  // namespace tavrin::utils
