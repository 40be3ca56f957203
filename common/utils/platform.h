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

// UseCLocale() - switches the calling thread (only it) to the "C" locale and
// returns what RestoreLocale needs to switch it back; nullptr when the switch
// could not be made (the thread keeps its locale). RestoreLocale(nullptr)
// does nothing. Used around C library number formatting, whose decimal point
// follows the thread's locale.
void* UseCLocale();
void RestoreLocale(void* previous);

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
//
// Paths cross this seam as the file system's byte form (std::string holding
// UTF-8); the portable units apply the library's rules (normalising, tilde
// expansion, fallbacks) and call these for the system work. Nothing here
// throws; failure is the result named in each comment.
}  // namespace tavrin::platform

#include <cstddef>
#include <cstdio>
#include <vector>

namespace tavrin::platform {

// What a path names, as lstat (not following a final symbolic link) sees it.
enum class EntryKind { kMissing, kFile, kDirectory, kSymlink, kOther };

// One entry of a directory, as ReadDirectory gives it.
struct DirectoryEntry {
  std::string name;         // the name within its directory (no "/")
  EntryKind kind;           // from lstat, never from the directory record
  std::string link_target;  // readlink text for kSymlink, else empty
};

// Size and times of the item a path names after its symbolic links are
// resolved.
struct ItemAttributes {
  bool is_directory = false;
  std::uint64_t size = 0;
  std::int64_t modification_time = 0;  // seconds since 1970
  std::int64_t creation_time = 0;      // birth time, else modification time
};

// Which time GetOpenedFileTime reads.
enum class FileTimeField { kModification, kStatusChange, kAccess };

// Existence and kind, following symbolic links (stat). False for "".
bool PathExists(const std::string& path);
bool PathIsDirectory(const std::string& path);
// The kind of the item itself (lstat).
EntryKind PathKind(const std::string& path);
// access(2) with the real user and group IDs. False for "".
bool PathIsWritable(const std::string& path);
bool PathIsReadable(const std::string& path);
// The containing directory is writable and, when it has the sticky bit, the
// effective user owns the item or the directory (or is the superuser).
bool PathIsDeletable(const std::string& path);

// Exclusive, non-blocking flock on a descriptor opened write-only; the
// descriptor (the lock handle) or -1.
int LockPath(const std::string& path);
// Releases and closes; false for a null handle, -1, or a failed unlock.
bool UnlockPath(int* handle);
// True when another descriptor holds the lock; false when the file cannot be
// opened for writing.
bool PathIsLocked(const std::string& path);

// stat (following links) and chmod changing only the owner-write bit; nothing
// is written when the bit is already right. False when either call fails.
bool SetOwnerWritable(const std::string& path, bool writable);
// realpath (the path unchanged when that fails), then the attributes; false
// for a missing item.
bool GetResolvedAttributes(const std::string& path, ItemAttributes& out);
// Opens read-only (non-blocking), fstat, closes: the chosen time in seconds,
// 0 when the file cannot be opened.
std::int64_t GetOpenedFileTime(const std::string& path, FileTimeField field);
// stat(2) into `out` (an opaque struct stat*); false when it fails.
bool StatPath(const std::string& path, void* out);
// fopen with the close-on-exec flag added to `mode`; null on failure.
std::FILE* OpenStream(const std::string& path, const std::string& mode);
// Status-change and modification time of an open stream; false when closed
// or when fstat fails.
bool GetStreamTimes(std::FILE* stream, std::int64_t* status_change, std::int64_t* modification);

// Copies a regular file (contents, permission bits, modification time), a
// symbolic link (as a link) or a directory tree to `target`, which must not
// exist; a partial copy is removed. False on any failure.
bool CopyItem(const std::string& source, const std::string& target);
// Removes a file, a link (only the link) or a whole tree without following
// any symbolic link. Refuses a path whose real path is "/". False when
// anything could not be removed.
bool RemoveItem(const std::string& path);
// Moves without replacing an existing target; across file systems copies
// then removes the source. False on failure.
bool MoveItem(const std::string& from, const std::string& to);
// True when both items exist and are the same file (device and inode), or
// when one of the two paths lies inside the other after resolving links (the
// deepest existing ancestor of a missing path is resolved).
bool PathsOverlap(const std::string& a, const std::string& b);
// mkdir(path, mode) (the umask applies). An existing directory counts as
// success. False otherwise.
bool CreateDirectory(const std::string& path, unsigned int mode);
// Creates `path` and its missing parents with mode 0777; "" is the working
// directory and succeeds. On failure `error_text` gets the system's message.
bool CreateDirectories(const std::string& path, std::string* error_text);
// The entries of one directory (not "." or ".."), in byte order of name;
// false when it cannot be read.
bool ReadDirectory(const std::string& path, std::vector<DirectoryEntry>& out);
// Whole content of a regular file (read to end of file); false for a missing
// or unreadable file, a directory, a FIFO or a device.
bool ReadRegularFile(const std::string& path, std::string& out);
// Writes a temporary file beside `path`, fsyncs it, removes a directory
// standing at `path`, and renames the temporary over `path`. The old content
// survives any failure. False on failure.
bool WriteFileAtomically(const std::string& path, const void* bytes, std::size_t length);
// chdir; false when it fails.
bool ChangeDirectory(const std::string& path);

// Home: $HOME when it is absolute, else the password database entry of
// the effective user; "" when neither exists. Read on every call.
std::string HomeDirectory();
// The home of the named user from the password database; "" when unknown.
std::string HomeDirectoryOf(const std::string& login);
// The platform's documents folder, "" when it names none (the caller falls
// back to home + "Documents").
std::string DocumentsDirectory();
// The per-user and machine-wide application-data folders.
std::string UserApplicationDataDirectory();
std::string MachineApplicationDataDirectory();
// The application's read-only resource folder, "" when there is none.
std::string ApplicationResourceDirectory();
// The application identifier used in folder names.
std::string ApplicationIdentifier();
// The login name of the effective user.
std::string LoginName();
// The private temporary folder of the application and user: chosen once per
// process, checked (and re-created or replaced) on every call.
std::string PrivateTemporaryDirectory();
// `prefix` followed by six random letters or digits such that nothing exists
// at the result (no file is created).
std::string UnusedRandomPath(const std::string& prefix);
// mkdtemp on `path_template` (ending in "XXXXXX"), rewritten in place. On
// ENOENT the missing parents are created with mode 0755 and mkdtemp runs once
// more. False when no directory was made (the template is then unchanged).
bool MakeUniqueDirectory(std::string& path_template);

// Writes `bytes` to the trace file at `path`, created with mode 0600 without
// following a symbolic link, truncated when `truncate` is true and appended
// to otherwise; the file is used only when it is a regular file of the
// effective user. False when nothing was written to the file.
bool WriteTraceFile(const std::string& path, bool truncate, const std::string& bytes);
// Appends `bytes` to `path` (created when missing) with one write on a
// descriptor opened O_APPEND, so concurrent writers never tear a message.
// False when the file cannot be opened or the write fails.
bool AppendToFile(const std::string& path, const std::string& bytes);
// The calling process's id.
long CurrentProcessId();
// The system's message for an error number (strerror).
std::string ErrorText(int error_number);

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

// LayerDescription() - short fixed texts saying what this platform layer is
// built on, where its well-known folders come from and which run loop its
// timers fire on; for tools and logs, never parsed.
struct LayerDescription {
  const char* name;
  const char* folders;
  const char* run_loop;
};
LayerDescription DescribeLayer();

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
void ProfilerEvent(int event, std::uint32_t code, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                   std::uint32_t d);

// LocalizedString() - the platform's translation of the zero-terminated UTF-8
// `key` (neither null nor empty) from the resource table `table` of the
// bundle `bundle_id`, as UTF-8. An empty `bundle_id` means the application's
// own bundle, an empty `table` its default table. The key itself when there
// is no translation; "" only when the platform gives no answer at all.
// Linux: dgettext with the text domain `table`, else `bundle_id`, else the
// application identifier; catalogs are found where the application bound
// them (bindtextdomain) for the locale of LC_MESSAGES and $LANGUAGE.
std::string LocalizedString(const std::string& bundle_id, const std::string& table,
                            const char* key);

}  // namespace tavrin::platform
