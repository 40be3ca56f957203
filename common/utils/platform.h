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

// FormatUtf16V()
//
// The platform formatter behind tavrin_ustring::FormatVPlatform: formats
// `length` UTF-16 units of `format` (no terminator needed) with `args` in
// printf style and stores the UTF-16 result in `out`. `args` is read through
// a copy; the caller still owns and ends it. `out` may be the string that
// holds `format` or an argument: it is written only after all is read.
//
// Accepted: positional "%n$" (then every conversion, "*" width and "*"
// precision must be numbered "*m$", and positions 1..max must all be used)
// or sequential conversions, never both; flags - + space # 0 and ' (no
// grouping is done); width and precision as digits, "*" or "*m$"; lengths hh
// h l ll j z t L; conversions d i u o x X f F e E g G a A c p %. At this step
// "%S" takes a zero-terminated UTF-16 string (unsigned short*), "%s" a
// zero-terminated UTF-8 string (invalid UTF-8 inserts nothing), "%C" one
// UTF-16 unit passed as int, "%lc" a wint_t and "%ls" a wchar_t* (UTF-32,
// converted leniently), "%c" one byte read as UTF-8 (above 0x7F: nothing).
// A zero character inserts nothing. "%@" is copied as it stands and takes no
// argument. A null string pointer prints "(null)", a null "%p" "(nil)".
// Widths count UTF-16 units; a "%s" precision counts bytes and never splits
// a UTF-8 sequence, a "%S" precision counts units and never splits a
// surrogate pair, a "%ls" precision counts wchar_t. Numbers never use the
// locale: the decimal point is always ".".
//
// Returns false and leaves `out` empty when the format is rejected: any "%n"
// conversion, a malformed or incomplete conversion (a lone "%" at the end
// included), numbered and unnumbered conversions mixed, a numbered argument
// never referenced while a higher one is, one position used with argument
// types of different size or class, a width or precision beyond INT_MAX.
// Allocation failure throws std::bad_alloc; there is no fixed buffer.
//
// The no-argument mode (each "%%" becomes "%", nothing else changes) is
// platform-independent and lives in common/utils/internal/format_internal.h.
[[nodiscard]] bool FormatUtf16V(const unsigned short* format, unsigned long length, va_list args,
                                tavrin_ustring& out);

// ---------------------------------------------------------------------------
// Section: identifiers and random bytes (guid).
// ---------------------------------------------------------------------------

// FillRandomBytes() - fills `size` bytes at `out` from the operating system's
// cryptographic random source (Linux: getrandom(2), interrupted calls
// retried, /dev/urandom when the call is missing). Returns false when no
// source delivers all `size` bytes; the bytes at `out` are then unspecified.
bool FillRandomBytes(void* out, std::size_t size);


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
