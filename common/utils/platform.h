// platform.h - the one seam between the portable units and a platform layer.
//
// Internal header (not installed). Portable code in common/utils/ never
// includes a platform header; it calls the functions declared here, which
// are implemented once in linux/ (POSIX, GLib/GIO) and once in mac/
// (Foundation/AppKit). The build picks one layer (TAVRIN_PLATFORM).
//
// Each unit that needs a platform service owns one section below.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

namespace tavrin::utils {
class tavrin_ustring;
}

namespace tavrin::platform {

using tavrin::utils::tavrin_ustring;

// ---------------------------------------------------------------------------
// Section: formatting (ustring Format).
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// Section: identifiers and random bytes (guid).
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// Section: files, folders and diagnostics (fileutils, textfile, trace).
// ---------------------------------------------------------------------------

// GetWorkingDirectory() - the process's working directory in the file
// system's byte form, whatever its length. False with `out` cleared when it
// cannot be read (the directory was removed, no permission).
bool GetWorkingDirectory(std::string& out);


// ---------------------------------------------------------------------------
// Section: timers and run loop (timer, debouncer).
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// Section: localization and operating-system queries (stringtranslator,
// osutils).
// ---------------------------------------------------------------------------



}  // namespace tavrin::platform
