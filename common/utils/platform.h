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

}  // namespace tavrin::platform

namespace tavrin::utils {
class CommandInvoker;
class Timer;
}  // namespace tavrin::utils

namespace tavrin::platform {

// StartRunLoopTimer()
//
// Creates the platform timer behind tavrin::utils::Timer::Start, scheduled on
// the calling thread's run loop (Linux: a GLib timeout source on the
// thread-default main context), repeating exactly when count > 1. The timer
// owns `invoker`. Never returns null.
tavrin::utils::Timer* StartRunLoopTimer(tavrin::utils::CommandInvoker* invoker,
                                        double intervalSeconds, unsigned long count);

// RunLoopIteration()
//
// One iteration of the calling thread's run loop: dispatches the ready
// sources, with `mayBlock` after waiting for one. Returns whether anything
// was dispatched.
bool RunLoopIteration(bool mayBlock);

// SendCommandAction()
//
// Delivers a named action through the platform's own mechanism (Foundation:
// up the responder chain). Returns false when the platform has none (Linux),
// so the caller hands the name to the application's dispatcher. `action` is
// non-null and NUL-terminated.
bool SendCommandAction(const char* action);

// ---------------------------------------------------------------------------
// Section: localization and operating-system queries (stringtranslator,
// osutils).
// ---------------------------------------------------------------------------
//
// The raw answers behind tavrin::osutils::SystemQueries (see osutils.h for
// each one's meaning). Text is UTF-8; "" means unknown. None of these
// throws.

}  // namespace tavrin::platform

#include <vector>

namespace tavrin::platform {

// The operating system's version as text, "major.minor.patch..." (Linux: the
// kernel release of uname); "" when unavailable.
std::string OsVersionText();
// Whether GetOS applies the macOS release table (false on Linux, where GetOS
// names the system instead).
bool OsCodesFollowMacReleases();
// The system's own name (Linux: PRETTY_NAME of os-release).
std::string OsName();
// The radix character of the user's locale, read from the environment
// without touching the process's global locale.
std::string UserDecimalSeparator();
// The user's first preferred language as a locale name.
std::string PreferredLanguage();
// strtod of `text` (a NUL-terminated number in the "C" locale's form, as
// TextToDouble's scanner assembled it) under the "C" locale.
double ReadCNumber(const char* text);
// The raw full-name record of the real user (Linux: GECOS).
std::string UserFullName();
// The path of the running program.
std::string ExecutablePath();
// Manufacturer and model of the machine, as read (untrimmed).
std::string DeviceManufacturer();
std::string DeviceModel();
// The translated-process query: 0 with `value`, or an errno value (ENOENT:
// no such query).
int ProcessTranslation(int& value);
// Pixels per inch of the main screen, or of the screen holding `window`;
// 0 when unknown.
int ScreenPixelsPerInch();
int WindowPixelsPerInch(void* window);
// Hand targets to the desktop; each returns whether the launch worked.
bool OpenTarget(const std::string& target, bool isFile);
bool OpenFilePaths(const std::vector<std::string>& paths);
bool OpenFileWithApplication(const std::string& path, const std::string& application);
bool ShowInFileViewer(const std::string& path);
// Sleeps `milliseconds` (above 0), resuming after signals.
void SleepMilliseconds(std::int64_t milliseconds);
// A profiler event: 0 point of interest, 1 region begins, 2 region ends.
void ProfilerEvent(int event, std::uint32_t code, std::uint32_t a, std::uint32_t b,
                   std::uint32_t c, std::uint32_t d);

}  // namespace tavrin::platform
