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

// CreateNewFile() - creates the file `path` (byte form) only if nothing is
// there (O_CREAT|O_EXCL|O_NOFOLLOW|O_CLOEXEC, mode 0666 under the umask),
// writes the `length` bytes at `bytes` and syncs them. Returns 0 on success;
// EEXIST when something already exists at the path (it is left alone); any
// other errno value on failure, after removing the partial file.
int CreateNewFile(const std::string& path, const void* bytes, std::size_t length);


// ---------------------------------------------------------------------------
// Section: timers and run loop (timer, debouncer).
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// Section: localization and operating-system queries (stringtranslator,
// osutils).
// ---------------------------------------------------------------------------



}  // namespace tavrin::platform
