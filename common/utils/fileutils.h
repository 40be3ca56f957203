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

// ---------------------------------------------------------------------------
// File-system operations: queries, locks, copy, move, delete, listings,
// whole-file read and write.
// ---------------------------------------------------------------------------



// ---------------------------------------------------------------------------
// Well-known folders.
// ---------------------------------------------------------------------------



}  // namespace tavrin::utils
