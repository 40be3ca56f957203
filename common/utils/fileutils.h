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
//
// Pure functions: they never touch the file system, take their arguments by
// constant reference and return a new value. Positions count UTF-16 units.
// Both "/" and "\\" are accepted as separators on input and "/" is written
// (MakeWindowsPath is the one exception), with three exceptions kept on
// purpose: GetFileExt, GetFileLocation and GetFileDirectory read the raw path
// and treat only "/" as a separator, so GetFileLocation("a\\b.txt") is "" and
// GetFileExt("dir.d\\file") is "d\\file".
//
// The protected prefix: FixPathString never rewrites the first characters of
// a path that name a scheme or a drive ("http://", "file://", "smb://",
// "ms-appx:///", "C:/", "C:"), and otherwise never the first character, so a
// network share's leading "//" survives.

// FixPathString()
//
// The central normaliser. Every "\\" becomes "/"; after the protected prefix
// each "//" becomes "/" in one left-to-right pass (so "///" becomes "//"); one
// final "/" is dropped unless it follows ":" (so "C:/" keeps it and a lone "/"
// becomes ""); and after the prefix each of | ? < > : " * and every unit
// below 32 becomes "_". Returns "" for an empty path.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring FixPathString(const tavrin_ustring& path);

// SanitizeFileName()
//
// FixPathString(name) with every "/" replaced by "_": usable as one file
// name. Returns "" for an empty name.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring SanitizeFileName(const tavrin_ustring& name);

// RemoveTrailingSlash()
//
// The path without one final "/" or "\\" (only one is removed); otherwise the
// path unchanged. No normalisation.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring RemoveTrailingSlash(const tavrin_ustring& path);

// MakeWindowsPath()
//
// Every "/" replaced by "\\"; nothing else changes.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring MakeWindowsPath(const tavrin_ustring& path);

// MakeOSCompatiblePath()
//
// Every "\\" replaced by "/"; nothing else changes.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring MakeOSCompatiblePath(const tavrin_ustring& path);

// ComparePath()
//
// Compares FixPathString(a) with FixPathString(b) by code unit, ignoring case
// when `caseSensitive` is false. Returns -1, 0 or +1; 0 when equal. The
// two-argument form ignores case.
[[nodiscard]] TAVRIN_EXPORT int ComparePath(const tavrin_ustring& a, const tavrin_ustring& b,
                                            bool caseSensitive);
[[nodiscard]] TAVRIN_EXPORT int ComparePath(const tavrin_ustring& a, const tavrin_ustring& b);

// GetFileExtension()
//
// The text after the last "." of FixPathString(path) when no "/" follows that
// dot; "" when there is no such dot. A leading dot counts: ".profile" has the
// extension "profile" (unlike GetFileExt), and "a.b/c" has none.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring GetFileExtension(const tavrin_ustring& path);

// HasExtension()
//
// True when GetFileExtension(path) equals `extension` (given without its
// dot) ignoring case; false otherwise.
[[nodiscard]] TAVRIN_EXPORT bool HasExtension(const tavrin_ustring& path,
                                              const tavrin_ustring& extension);

// IsRelativePath()
//
// True for a path without any "/" (a bare name), and for one that starts with
// "./" or "../"; false otherwise, so "a/b" and "/a" are not relative.
// Backslashes are not looked at.
[[nodiscard]] TAVRIN_EXPORT bool IsRelativePath(const tavrin_ustring& path);

// AppendToPath()
//
// Joins `path` and `tail` with exactly one separator between them (one
// leading separator of `tail` is dropped, none is added after a trailing
// one) and returns FixPathString of the result. An empty `path` gives
// FixPathString(tail).
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring AppendToPath(const tavrin_ustring& path,
                                                        const tavrin_ustring& tail);

// AppendExtension()
//
// `path` followed by "." (unless `extension` starts with one) and
// `extension`; `path` unchanged for an empty extension. No normalisation.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring AppendExtension(const tavrin_ustring& path,
                                                           const tavrin_ustring& extension);

// RemoveExtension()
//
// The path before the last "." when that dot lies inside the file name after
// its first character ("x.tar.gz" gives "x.tar"); otherwise the path
// unchanged: an empty path, one ending in a separator, a dot file such as
// "/a/.profile", a dot in a directory ("/a.b/c"), and a name that
// normalisation changed so that it no longer occurs in the raw path.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring RemoveExtension(const tavrin_ustring& path);

// SplitPath()
//
// The components in order, the root as its own component: "/a/b" gives
// "/", "a", "b"; "a/b" gives "a", "b"; "/" gives "/"; "" gives one empty
// component. Directories are split at "/" only; each name after the first
// component is taken as GetFileName gives it (normalised).
[[nodiscard]] TAVRIN_EXPORT std::vector<tavrin_ustring> SplitPath(const tavrin_ustring& path);

// JoinPath()
//
// The first component, then each later one joined with AppendToPath (so
// "/" and "a" give "/a"). Returns "" for an empty list; a one-element list
// comes back unchanged.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring JoinPath(const std::vector<tavrin_ustring>& components);

// GetFileName()
//
// The last component of FixPathString(path) (trailing "/" ignored; "" for an
// empty path). With `withExtension` false the extension is removed from the
// last "." on, unless that dot is the first character; a dot file such as
// ".profile" then gives "", being all extension and no name.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring GetFileName(const tavrin_ustring& path,
                                                       bool withExtension);

// GetFileExt()
//
// The text after the last "." of the raw path's last component ("/" is the
// only separator, trailing "/" ignored); "" when there is no dot or the only
// dot starts the component, so ".profile" has none (unlike GetFileExtension).
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring GetFileExt(const tavrin_ustring& path);

// GetFileDrive()
//
// Always "": paths on this platform have no drive.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring GetFileDrive(const tavrin_ustring& path);

// GetFileLocation()
//
// The raw path without its last component ("/" is the only separator;
// trailing "/" and the "/" before the component go too), with "/" appended
// when anything is left: "/x/y/file.txt" gives "/x/y/", "file.txt" and "a//"
// give "", and "/a" and "/" give "//" (the root plus the appended "/").
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring GetFileLocation(const tavrin_ustring& path);

// GetFileDirectory()
//
// Exactly GetFileLocation(path).
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring GetFileDirectory(const tavrin_ustring& path);

// ---------------------------------------------------------------------------
// Relative, short, unique and temporary paths.
// ---------------------------------------------------------------------------
//
// Paths are compared component by component. The components are the
// non-empty runs between separators ("/" or "\\"), so a leading separator
// leaves no trace and "/x/y" and "x/y" have the same components; components
// compare exactly (case-sensitive). A drive component is a first component of
// two units whose second is ":". Where a function takes a base path, the
// base's last component is a file name: the base's directory is the base
// without it. Impossible requests (an empty argument, different drives,
// climbing above the root) give "".

// CalculateRelativePath()
//
// The path that leads from the directory of `base` (a file) to `target`:
// "../z/b.txt" from "/x/y/a.txt" to "/x/z/b.txt", "./b.txt" from "/x/a.txt"
// to "/x/b.txt" (the base's own directory is written "./"), ".." from
// "/x/y/a.txt" to "/x". Returns "" when either is empty, when both start with
// drives of different letters, and when the base's file name is itself one of
// the common components (equal paths, or a target inside a directory named
// like the base file).
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring CalculateRelativePath(const tavrin_ustring& base,
                                                                 const tavrin_ustring& target);

// ResolveRelativePath()
//
// The directory of `base` (a file) followed by the components of `relative`:
// "." is skipped and ".." climbs one level. The result is absolute ("/x/b")
// unless the base starts with a drive, whose result starts with it ("C:/b").
// A leading separator of `relative` is ignored. Returns "" when either is
// empty, when ".." would climb above the root or above the drive, and when
// nothing is left.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring ResolveRelativePath(const tavrin_ustring& base,
                                                               const tavrin_ustring& relative);

// MakeAbsolutePathFromPathRelativeToCWD()
//
// A path that starts with "." (such as "./x" or "../x") resolved against the
// process's working directory; any other path is returned unchanged. Returns
// "" for an empty path, when the working directory cannot be read (removed,
// no permission) and when the path climbs above the root.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring
MakeAbsolutePathFromPathRelativeToCWD(const tavrin_ustring& path);

// MakeRelativePathFromCWD()
//
// CalculateRelativePath from the working directory to `path`; a path that
// starts with "." is taken as relative already and returned unchanged.
// The working directory is the directory of the base: the path of the
// directory itself gives ".". Returns "" for an empty path, when the working
// directory cannot be read, and where CalculateRelativePath gives "".
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring MakeRelativePathFromCWD(const tavrin_ustring& path);

// PathIsChildOfDirectory()
//
// True when `first` is `second` or one of its ancestors: every component of
// `first` equals the component at the same place in `second`. The first
// argument is the would-be ancestor: ("/a", "/a/b") is true, ("/a/b", "/a")
// false, equal paths true. False when either has no components.
[[nodiscard]] TAVRIN_EXPORT bool PathIsChildOfDirectory(const tavrin_ustring& first,
                                                        const tavrin_ustring& second);

// GetShortPath()
//
// A display form of `path` within about `maxLength` units. The root ("/" or
// "//") is kept; while the directories are too long, the second directory is
// replaced by "...", then the first, until only "..." is left; then the file
// name is cut to its start followed by "...". So
// "/Users/me/Documents/Projects/x.txt" shrinks through
// "/Users/.../Projects/x.txt" and "/Users/.../x.txt" to "/.../x.txt" and
// "/.../x...", and a first directory of five or more units goes straight to
// "...".
//
// A path that fits comes back whole in the form root + directories + name,
// normalised by AppendToPath; the root takes a "/" more where the directory
// part is empty, so a bare file name gains one ("x.txt" gives "/x.txt") and
// a file right below the root, whose directory is "//" (see
// GetFileLocation), comes back as "///x.txt": kept as is.
//
// Bounds: the result never exceeds `maxLength + 1`; it is one over when the
// directories were shortened to a form without a final "/" (such as "...")
// and a name follows, because the "/" between them is not counted: kept as
// is. Returns "" when `maxLength` is below 1, and the first `maxLength` units
// of the root alone when not even the root and "..." fit.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring GetShortPath(const tavrin_ustring& path, int maxLength);

// CreateUniqueFilePath()
//
// A path in `directory` where nothing exists yet: baseName + extension, else
// baseName + "(2)" + extension, "(3)", ... ("report.txt", "report(2).txt").
// It only names the file: another process may take the name first, so create
// the file with an exclusive create (O_EXCL), as WriteBufferToTempFile does.
// The search has no upper limit.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring CreateUniqueFilePath(const tavrin_ustring& directory,
                                                                const tavrin_ustring& baseName,
                                                                const tavrin_ustring& extension);

// CreateTempFilePath()
//
// CreateUniqueFilePath in the private temporary folder (GetTempPath); empty
// when there is no usable temporary folder. Names the file only (see above).
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring CreateTempFilePath(const tavrin_ustring& baseName,
                                                              const tavrin_ustring& extension);

// WriteBufferToTempFile()
//
// Creates a new file in the private temporary folder with the next free name
// of CreateTempFilePath (exclusive create, never following a link; a name
// taken meanwhile moves on to the next number), writes and syncs the `length`
// bytes at `bytes` and returns its path. Empty on any failure, and then no
// partial file is left.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring WriteBufferToTempFile(const void* bytes,
                                                                 std::size_t length,
                                                                 const tavrin_ustring& baseName,
                                                                 const tavrin_ustring& extension);

// ---------------------------------------------------------------------------
// File-system operations: queries, locks, copy, move, delete, listings,
// whole-file read and write.
// ---------------------------------------------------------------------------
//
// Every function here is synchronous, keeps no state between calls and may be
// called from any thread. A path reaches the system as its UTF-8 bytes,
// unchanged (no Unicode normalisation). Unless a comment says otherwise an
// empty path gives the failure result (false, 0, -1, an empty string, null).
// Every descriptor is opened close-on-exec.
}  // namespace tavrin::utils

#include <cstddef>
#include <cstdio>
#include <ctime>

#include "common/utils/tavrintime.h"

struct stat;

namespace tavrin::utils {

// FileInfo
//
// Size in bytes and modification time of a file, as GetFileInfo gives them.
struct TAVRIN_EXPORT FileInfo {
  unsigned long long size;
  Time modificationTime;
};

// FileExists(), IsFile(), IsDirectory()
//
// Whether something exists at `path` (following symbolic links), whether it
// is not a directory, whether it is one. False for "" and for a broken link.
[[nodiscard]] TAVRIN_EXPORT bool FileExists(const tavrin_ustring& path);
[[nodiscard]] TAVRIN_EXPORT bool IsFile(const tavrin_ustring& path);
[[nodiscard]] TAVRIN_EXPORT bool IsDirectory(const tavrin_ustring& path);

// IsWritableFile(), IsReadableFile()
//
// access(2) with the real user and group IDs. False for "" or a missing
// item. The superuser passes both even for a mode of 0444.
[[nodiscard]] TAVRIN_EXPORT bool IsWritableFile(const tavrin_ustring& path);
[[nodiscard]] TAVRIN_EXPORT bool IsReadableFile(const tavrin_ustring& path);

// LockFile()
//
// Opens `path` write-only and takes an exclusive, non-blocking advisory lock
// (flock). Returns the descriptor, which holds the lock until UnlockFile, or
// -1 when the file cannot be opened for writing or another descriptor holds
// the lock. Locks only exclude other LockFile and IsLockedFile callers.
[[nodiscard]] TAVRIN_EXPORT int LockFile(const tavrin_ustring& path);

// UnlockFile()
//
// Releases the lock, closes the descriptor and sets `*handle` to -1. False
// for a null pointer, a handle of -1, or when the unlock call failed.
TAVRIN_EXPORT bool UnlockFile(int* handle);

// IsLockedFile()
//
// True when another descriptor holds the lock of LockFile. False when the
// file does not exist or cannot be opened for writing.
[[nodiscard]] TAVRIN_EXPORT bool IsLockedFile(const tavrin_ustring& path);

// ChangeFilePermission(), MakeWritableFile(), MakeReadonlyFile()
//
// Sets (writable true) or clears the owner-write bit (octal 200) and keeps
// every other bit; when the bit already has the wanted state nothing is
// written. For a symbolic link, its target changes. False for "" or when the
// item cannot be read or changed.
TAVRIN_EXPORT bool ChangeFilePermission(const tavrin_ustring& path, bool writable);
TAVRIN_EXPORT bool MakeWritableFile(const tavrin_ustring& path);
TAVRIN_EXPORT bool MakeReadonlyFile(const tavrin_ustring& path);

// FileCreationTime(), FileModificationTime()
//
// The birth time (where the file system records one, else the modification
// time) or the modification time, in whole seconds, after resolving symbolic
// links. A missing file gives the epoch (Time()); only an empty path gives
// the current time.
TAVRIN_EXPORT Time FileCreationTime(const tavrin_ustring& path);
TAVRIN_EXPORT Time FileModificationTime(const tavrin_ustring& path);

// FileSize()
//
// Size in bytes after resolving symbolic links; 0 for a missing file or "".
TAVRIN_EXPORT unsigned long long FileSize(const tavrin_ustring& path);

// GetFileInfo()
//
// Size and modification time from one query after resolving symbolic links;
// both fields 0 (the epoch) for a missing file or "".
TAVRIN_EXPORT FileInfo GetFileInfo(const tavrin_ustring& path);

// FileStatus()
//
// stat(2) of `path` into `*out`. False for "", a null `out` or a failed call
// (`*out` is then not to be trusted).
[[nodiscard]] TAVRIN_EXPORT bool FileStatus(const tavrin_ustring& path, struct stat* out);

// GetModificationTime(), GetStatusChangeTime(), GetAccessTime()
//
// Open the file for reading (never blocking, so a FIFO is safe), read the
// time from the open descriptor, close. Seconds since 1970; 0 when the file
// cannot be opened.
TAVRIN_EXPORT time_t GetModificationTime(const tavrin_ustring& path);
TAVRIN_EXPORT time_t GetStatusChangeTime(const tavrin_ustring& path);
TAVRIN_EXPORT time_t GetAccessTime(const tavrin_ustring& path);

// FileSystemRepresentation()
//
// The path as the file system takes it: its UTF-8 bytes, unchanged. "" for
// an empty path.
TAVRIN_EXPORT std::string FileSystemRepresentation(const tavrin_ustring& path);

// FileSystemRepresentation() into a caller's buffer
//
// Let n be the byte length of the representation. When n < size the bytes
// and a terminating zero are copied and n is returned. Otherwise the first
// `size` bytes are copied, a zero is written at index `size` - so the buffer
// must hold size + 1 bytes - and -n is returned. A null `buffer` writes
// nothing and returns -n.
TAVRIN_EXPORT int FileSystemRepresentation(const tavrin_ustring& path, char* buffer,
                                           std::size_t size);

// OpenFile()
//
// fopen of the UTF-8 path with `mode` (UTF-8), close-on-exec added. Null when
// either is empty or fopen fails. The caller closes the stream with fclose.
[[nodiscard]] TAVRIN_EXPORT std::FILE* OpenFile(const tavrin_ustring& path,
                                                const tavrin_ustring& mode);

// CopyFile()
//
// Copies a file (contents, permission bits, modification time), a symbolic
// link (as a link) or a directory tree to `target`. An existing target makes
// the call fail when `failIfExists` is true and is removed otherwise; a
// missing parent folder of `target` is created. False when the copy failed,
// when source and target are the same file, when one contains the other, when
// `target`'s last component is "." or "..", or when `target` ends in "/" and
// `source` is not a folder (nothing is removed then).
TAVRIN_EXPORT bool CopyFile(const tavrin_ustring& source, const tavrin_ustring& target,
                            bool failIfExists);

// CopyDirectory()
//
// Lists `source` (GetDirectoryContents) and copies every listed file to
// `target` followed directly by the entry's text after the length of
// `source` - plain concatenation, so both arguments must agree about a
// trailing "/". When an entry does not start with `source` as given, it is
// cut at the length of FixPathString(source). True when every copy succeeded
// (and for an empty listing).
TAVRIN_EXPORT bool CopyDirectory(const tavrin_ustring& source, const tavrin_ustring& target,
                                 bool failIfExists, bool recursive);

// DeleteDirectory()
//
// Removes the item at `path` - a whole tree, a plain file, or only the link
// when `path` is a symbolic link - when it exists and is deletable (its
// folder is writable; the sticky-bit rule applies). Never follows a link
// inside the tree. False when nothing was removed, for the root ("/" or any
// spelling of it) and for a path whose last component is "." or "..", or
// when part of the tree stayed. `unused` is ignored.
TAVRIN_EXPORT bool DeleteDirectory(const tavrin_ustring& path, bool unused = false);

// RenameDirectory()
//
// Removes `to` (DeleteDirectory), then moves `from` there without replacing
// anything; true when the move succeeded and `to` is now a directory. Moves
// across file systems copy and then remove the source. False, with nothing
// removed, when the two are the same directory or one contains the other.
TAVRIN_EXPORT bool RenameDirectory(const tavrin_ustring& from, const tavrin_ustring& to);

// RemoveFileIfExists(), RecycleFileIfExists()
//
// Delete the item (a tree for a directory, only the link for a link) when it
// exists and is deletable. False when it did not exist or could not be
// deleted, and (nothing deleted) for a path whose last component is "." or
// "..". RecycleFileIfExists deletes too; it does not move to a trash.
TAVRIN_EXPORT bool RemoveFileIfExists(const tavrin_ustring& path);
TAVRIN_EXPORT bool RecycleFileIfExists(const tavrin_ustring& path);

// RenameFileIfExists()
//
// Removes an existing `to` first (a failed removal makes the result false,
// but the move is still tried), then moves `from` to `to` when `from` exists.
// The result is the removal result AND the move result, where a missing
// `from` counts as success. False, with nothing removed, when both name the
// same file or one contains the other, when `to`'s last component is "." or
// "..", or when `to` ends in "/" and an existing `from` is not a folder.
TAVRIN_EXPORT bool RenameFileIfExists(const tavrin_ustring& from, const tavrin_ustring& to);

// MakeDirectory()
//
// Creates `path` and its missing parents (mode 0777 under the umask). A
// leading "~" or "~/" means the home folder and "~name/" that user's home. An
// existing directory gives true; a bare name is created in the working
// directory. False for "" or when a component cannot be created.
TAVRIN_EXPORT bool MakeDirectory(const tavrin_ustring& path);

// GetDirectoryContents()
//
// Appends the items of `directory` to `out`, walking depth-first with each
// directory's entries in byte order of name. Listed: regular files; symbolic
// links whose target exists and is not a directory (the target is tried as
// given, then joined to `directory`); with `recursive` false, sub-directories
// (not entered). With `recursive` true sub-directories are entered and not
// listed. Links to directories are never entered. Each item is appended as
// AppendToPath(directory as given, relative path). A leading "~" is replaced
// by the home folder joined with the last component of `directory` only
// ("~/a/b" lists home/b; "~" and "~/" list the home folder itself). A missing
// directory or a file leaves `out` unchanged.
TAVRIN_EXPORT void GetDirectoryContents(const tavrin_ustring& directory,
                                        std::vector<tavrin_ustring>& out, bool recursive);

// GetFilesInDirectory()
//
// Appends the listed items whose GetFileExtension equals `extension`
// (without its dot) case-insensitively. `out` is not cleared.
TAVRIN_EXPORT void GetFilesInDirectory(const tavrin_ustring& directory,
                                       const tavrin_ustring& extension,
                                       std::vector<tavrin_ustring>& out, bool recursive);

// FindFilesWithExtensions()
//
// The listed items whose GetFileExtension equals one of `extensions`
// (exactly, or case-insensitively when `caseSensitive` is false), in listing
// order, each at most once. Empty for an empty extension list (nothing is
// listed then) or a missing directory.
TAVRIN_EXPORT std::vector<tavrin_ustring> FindFilesWithExtensions(
    const tavrin_ustring& directory, const std::vector<tavrin_ustring>& extensions, bool recursive,
    bool caseSensitive);

// FindFilesWithExtension()
//
// FindFilesWithExtensions with one extension; `out` is replaced by the
// result (emptied when nothing matches).
TAVRIN_EXPORT void FindFilesWithExtension(const tavrin_ustring& directory,
                                          const tavrin_ustring& extension,
                                          std::vector<tavrin_ustring>& out, bool recursive,
                                          bool caseSensitive);

// FindFile()
//
// Looks for `name` in `directory` (a leading "~" as in GetDirectoryContents):
// first directory + "/" + name as a file, then a depth-first walk for the
// first item whose last component equals `name` exactly; `found` gets
// directory + "/" + the item's relative path. False, with `found` unchanged,
// when nothing matches, the directory is missing, or `name` is empty, starts
// with "/" or has a ".." component (so the search never leaves `directory`).
[[nodiscard]] TAVRIN_EXPORT bool FindFile(const tavrin_ustring& directory,
                                          const tavrin_ustring& name, tavrin_ustring& found);

// GetCurrentWorkingDirectory(), SetCurrentWorkingDirectory()
//
// The process's working directory ("" when it cannot be read, for example
// after it was removed); chdir to `path`, where "" does nothing and gives
// true. The setter returns false when chdir fails.
TAVRIN_EXPORT tavrin_ustring GetCurrentWorkingDirectory();
TAVRIN_EXPORT bool SetCurrentWorkingDirectory(const tavrin_ustring& path);

// ReadFileToBuffer() into a new array
//
// Reads a whole regular file and returns length + 1 bytes, the last one a
// zero, owned by the caller (release with delete[]); `*outSize` (when not
// null) gets the length without the zero. When the read fails and the path
// (of at least two characters) ends with ".", it is tried once more without
// that dot. Null and a size of 0 on failure; a directory, FIFO or device
// fails like an unreadable file.
[[nodiscard]] TAVRIN_EXPORT unsigned char* ReadFileToBuffer(const tavrin_ustring& path,
                                                            std::size_t* outSize);

// ReadFileToBuffer() into a byte string
//
// Clears `out`; when FileExists(path), reads the file's bytes into it. Returns
// the FileExists result - true even when the read then failed (a directory,
// an unreadable file), with `out` empty.
TAVRIN_EXPORT bool ReadFileToBuffer(const tavrin_ustring& path, std::string& out);

// WriteBufferToFile()
//
// Replaces the file at `path` with `length` bytes atomically: they go to a
// temporary file in the same folder, are synced and renamed over `path`, so
// the old content survives any failure. A directory standing at `path` is
// removed first. Missing parent folders are created; when that fails one
// line "error creating directory: <system message> (<folder>)" goes to
// standard error. False on any failure, for "" and for null bytes with a
// non-zero length; false with nothing touched for a path ending in "/" or in
// a "." or ".." component, which can never name a file (a file name made
// from invalid UTF-8 is "", so joining it to a folder gives such a path).
TAVRIN_EXPORT bool WriteBufferToFile(const void* bytes, std::size_t length,
                                     const tavrin_ustring& path);

// WriteStringToFile()
//
// WriteBufferToFile of the UTF-8 form of `text` (no byte-order mark, no
// terminator). False on failure.
TAVRIN_EXPORT bool WriteStringToFile(const tavrin_ustring& text, const tavrin_ustring& path);

// ReadStringFromFile()
//
// The file's bytes read as UTF-8; "" when the file is missing, unreadable or
// not valid UTF-8.
TAVRIN_EXPORT tavrin_ustring ReadStringFromFile(const tavrin_ustring& path);

// BinaryCompareFiles()
//
// True only when both files were read whole and their bytes are equal (two
// empty files are equal). False when either cannot be read.
[[nodiscard]] TAVRIN_EXPORT bool BinaryCompareFiles(const tavrin_ustring& a,
                                                    const tavrin_ustring& b);

// FileInDirectoryFinder
//
// A predicate for searches: true for a path that IsFile and whose folder,
// FixPathString(GetFileLocation(path)), equals the held directory exactly
// (case-sensitive). The held directory is FixPathString(dir).
class TAVRIN_EXPORT FileInDirectoryFinder {
 public:
  explicit FileInDirectoryFinder(const tavrin_ustring& dir);
  virtual ~FileInDirectoryFinder();
  virtual bool operator()(const tavrin_ustring& path) const;

 private:
  tavrin_ustring directory_;
};

// ---------------------------------------------------------------------------
// Well-known folders.
// ---------------------------------------------------------------------------
//
// Folders are read from the environment on every call (HOME, XDG_*), except
// the temporary folder, which is chosen once per process. Results marked
// canonical have no trailing "/" (one is removed; a lone "/" stays). A getter
// with no answer returns "".

// HomeDirectory()
//
// $HOME when it is absolute, else the password database entry of the user;
// canonical; "" when neither is known.
TAVRIN_EXPORT tavrin_ustring HomeDirectory();

// UserDocumentsDirectory()
//
// XDG_DOCUMENTS_DIR of user-dirs.dirs, else the home folder joined with
// "Documents"; canonical.
TAVRIN_EXPORT tavrin_ustring UserDocumentsDirectory();

// ApplicationSupportFileDirectory()
//
// The application's read-only resources: <prefix>/share/<application id>
// when the running executable sits in <prefix>/bin and that folder exists;
// "" otherwise. Not canonicalised.
TAVRIN_EXPORT tavrin_ustring ApplicationSupportFileDirectory();

// UserApplicationDataDirectory(), MachineApplicationDataDirectory()
//
// $XDG_DATA_HOME when absolute, else home + "/.local/share"; the first
// absolute entry of $XDG_DATA_DIRS, else "/usr/local/share". Canonical.
TAVRIN_EXPORT tavrin_ustring UserApplicationDataDirectory();
TAVRIN_EXPORT tavrin_ustring MachineApplicationDataDirectory();

// UserSupportFileDirectory()
//
// UserApplicationDataDirectory() / "Wirelume 20<release>" / subfolder, joined
// with AppendToPath and created when missing. The product folder is "Wirelume
// 20" followed by the decimal release, so release 5 gives "Wirelume 205" and
// the default 25 "Wirelume 2025". The bool is ignored. Returns the path
// (canonical) even when it could not be created.
TAVRIN_EXPORT tavrin_ustring UserSupportFileDirectory(const tavrin_ustring& subfolder, int release,
                                                      bool unused);
TAVRIN_EXPORT tavrin_ustring UserSupportFileDirectory(const tavrin_ustring& subfolder);

// UserSupportFileDirectoryExists()
//
// FileExists of the folder UserSupportFileDirectory would give; never
// creates anything. The bool is ignored.
[[nodiscard]] TAVRIN_EXPORT bool UserSupportFileDirectoryExists(const tavrin_ustring& subfolder,
                                                                int release, bool unused);

// MachineSupportFileDirectory()
//
// MachineApplicationDataDirectory() / "Wirelume 2025" / subfolder, created
// when missing; returned (canonical) whether or not that worked - an
// ordinary user cannot create it, so callers test IsDirectory.
TAVRIN_EXPORT tavrin_ustring MachineSupportFileDirectory(const tavrin_ustring& subfolder);

// FontDirectory()
//
// Always "" on this platform.
TAVRIN_EXPORT tavrin_ustring FontDirectory();

// GetTempPath()
//
// The private temporary folder of the application and user: on first use
// $TMPDIR (when absolute) or "/tmp" - or, when that is not writable,
// $XDG_CACHE_HOME (when absolute) or home + "/.cache" - followed by
// "/<application id>.<login name>". The text is kept for the process; on
// every call the folder is used only when it is a real directory (not a
// link) of the user without group or other write permission, is created
// with mode 0700 when missing, and is otherwise replaced for good by a fresh
// mkdtemp folder beside it. `out` gets the canonical path.
TAVRIN_EXPORT void GetTempPath(tavrin_ustring& out);

// GetTempAppSupportPath()
//
// UserSupportFileDirectory(subfolder, 25) joined with "working" by
// AppendToPath, created when it is not a directory.
TAVRIN_EXPORT void GetTempAppSupportPath(const tavrin_ustring& subfolder, tavrin_ustring& out);

// GetTempFileName()
//
// Only names a file: AppendToPath(directory, name) followed by six random
// letters or digits, drawn again while something exists there; the result
// is written back into `name`. Nothing is created, so another process may
// take the name first - to create a file or folder safely use MakeTempDir
// or CreateUniqueFilePath with an exclusive create.
TAVRIN_EXPORT void GetTempFileName(const tavrin_ustring& directory, tavrin_ustring& name);

// MakeTempDir()
//
// Creates a fresh owner-only folder "<directory>/<name>.XXXXXX" (mkdtemp;
// missing parents are created with mode 0755) and writes its path into
// `name`. On failure AssertFailed receives "MakeTempDir temporary directory
// <path> could not be created" (the hook only: no abort, no throw), `name`
// gets the template and the result is false.
TAVRIN_EXPORT bool MakeTempDir(const tavrin_ustring& directory, tavrin_ustring& name);

}  // namespace tavrin::utils
