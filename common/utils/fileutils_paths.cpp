// fileutils_paths.cpp - the pure path functions of fileutils.h: normalising,
// splitting and joining path strings, relative paths and short display paths.
//
// The functions work on the UTF-16 units directly and build each result once
// in a buffer of its final (or a bounding) size, so the hot ones
// (FixPathString, GetShortPath) make a single pass and one allocation per
// string they return.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "common/utils/fileutils.h"
#include "common/utils/internal/fileutils_paths_internal.h"
#include "common/utils/platform.h"

namespace tavrin::utils {
namespace {

using Unit = unsigned short;
using Units = tavrin_ustring::string_type;

constexpr Unit kSlash = u'/';
constexpr Unit kBackslash = u'\\';
constexpr Unit kDot = u'.';
constexpr Unit kColon = u':';

inline bool IsSeparator(Unit c) {
  return c == kSlash || c == kBackslash;
}

// Characters that cannot appear in a file name on one of the desktop
// platforms; FixPathString turns them into "_" outside the protected prefix.
inline bool IsIllegalInName(Unit c) {
  return c < 32 || c == u'|' || c == u'?' || c == u'<' || c == u'>' || c == u':' || c == u'"' ||
         c == u'*';
}

inline tavrin_ustring Slice(const Unit* s, std::size_t n) {
  return tavrin_ustring(s, n);
}

inline tavrin_ustring FromUnits(Units&& units) {
  return tavrin_ustring(std::move(units));
}

inline tavrin_ustring Literal(const char16_t* s) {
  return tavrin_ustring(s);
}

// Whether s[0..n) starts with the ASCII text `lit`, reading "\" as "/".
bool StartsWithSlashed(const Unit* s, std::size_t n, const char* lit) {
  std::size_t i = 0;
  for (; lit[i] != '\0'; ++i) {
    if (i >= n) return false;
    Unit c = s[i] == kBackslash ? kSlash : s[i];
    if (c != static_cast<Unit>(static_cast<unsigned char>(lit[i]))) return false;
  }
  return true;
}

// Length of the part FixPathString never rewrites; never more than n
// (n >= 1).
std::size_t ProtectedPrefixLength(const Unit* s, std::size_t n) {
  const Unit c0 = s[0];
  if (c0 == u'h' && StartsWithSlashed(s, n, "http://")) return 7;
  if (c0 == u'f' && StartsWithSlashed(s, n, "file://")) return 7;
  if (c0 == u's' && StartsWithSlashed(s, n, "smb://")) return 6;
  // The first ":/" at index 1: a drive with its root. s[1] is ":", so no
  // earlier ":/" can exist.
  if (n >= 3 && s[1] == kColon && IsSeparator(s[2])) return 3;
  // The first ":" at index 1: a bare drive.
  if (n >= 2 && s[1] == kColon && s[0] != kColon) return 2;
  if (c0 == u'm' && StartsWithSlashed(s, n, "ms-appx:///")) return 11;
  return 1;
}

// How FixPathString treats an ASCII unit: kept, a separator, or replaced by
// "_" outside the protected prefix. Units from 128 up are always kept.
constexpr unsigned char kKeep = 0, kSep = 1, kIllegal = 2;
constexpr auto kAsciiClass = [] {
  std::array<unsigned char, 128> t{};
  for (int c = 0; c < 32; ++c) t[c] = kIllegal;
  for (char c : {'|', '?', '<', '>', ':', '"', '*'}) t[static_cast<unsigned char>(c)] = kIllegal;
  t['/'] = kSep;
  t['\\'] = kSep;
  return t;
}();

// Appends FixPathString of in[0..n) to `out`. One pass: separators are
// unified and doubled ones reduced while illegal characters are replaced.
void FixAppend(const Unit* in, std::size_t n, Units& out) {
  if (n == 0) return;
  const std::size_t start = out.size();
  out.resize(start + n);
  Unit* o = out.data() + start;
  const std::size_t prefix = ProtectedPrefixLength(in, n);
  std::size_t w = 0;
  // Input position of the separator behind the last "/" written: the final
  // "/" is kept when the raw unit before it is ":", even though that ":"
  // itself becomes "_".
  std::size_t last_slash_at = 0;
  for (; w < prefix; ++w) {
    const Unit c = in[w];
    o[w] = c == kBackslash ? kSlash : c;
    if (IsSeparator(c)) last_slash_at = w;
  }
  std::size_t i = prefix;
  while (i < n) {
    const Unit c = in[i];
    const unsigned char kind = c < 128 ? kAsciiClass[c] : kKeep;
    if (kind == kKeep) {
      o[w++] = c;
      ++i;
    } else if (kind == kSep) {
      // "//" becomes "/", pairs taken left to right without overlap.
      last_slash_at = i;
      i += (i + 1 < n && IsSeparator(in[i + 1])) ? 2 : 1;
      o[w++] = kSlash;
    } else {
      o[w++] = u'_';
      ++i;
    }
  }
  if (o[w - 1] == kSlash && (w == 1 || in[last_slash_at - 1] != kColon)) --w;
  out.resize(start + w);
}

// FixPathString of in[0..n) into `out` (replaced).
void FixInto(const Unit* in, std::size_t n, Units& out) {
  out.clear();
  FixAppend(in, n, out);
}

// --- The platform string class's last-component rules, "/" only. ---------

// The bounds [begin, end) of the last component: after the last "/" once
// trailing "/" are stripped; "/" for a path of slashes only, empty for "".
void LastComponent(const Unit* s, std::size_t n, std::size_t& begin, std::size_t& end) {
  end = n;
  while (end > 0 && s[end - 1] == kSlash) --end;
  if (end == 0) {
    begin = 0;
    end = n == 0 ? 0 : 1;  // the root
    return;
  }
  begin = end;
  while (begin > 0 && s[begin - 1] != kSlash) --begin;
}

// Length of the prefix of s that is left once the last component is removed:
// trailing "/" go, then the component and the "/" before it; the root "/"
// stays when nothing else is left; 0 for a bare name.
std::size_t WithoutLastComponent(const Unit* s, std::size_t n) {
  std::size_t end = n;
  while (end > 0 && s[end - 1] == kSlash) --end;
  if (end == 0) return n == 0 ? 0 : 1;
  std::size_t k = end;
  while (k > 0 && s[k - 1] != kSlash) --k;
  if (k == 0) return 0;   // a bare name
  std::size_t j = k - 1;  // the "/" before the component
  while (j > 0 && s[j - 1] == kSlash) --j;
  return j == 0 ? 1 : j;
}

// Position of the dot that starts the extension of component [begin, end), or
// end when there is none (no dot, or the only dot starts the component).
std::size_t ExtensionDot(const Unit* s, std::size_t begin, std::size_t end) {
  for (std::size_t k = end; k > begin; --k) {
    if (s[k - 1] == kDot) return k - 1 == begin ? end : k - 1;
  }
  return end;
}

// --- Components for the relative-path functions. -------------------------

struct Range {
  std::size_t begin;
  std::size_t size;
};

// The non-empty runs between separators ("/" and "\").
std::vector<Range> ComponentRanges(const tavrin_ustring& path) {
  std::vector<Range> out;
  const Unit* s = path.data();
  const std::size_t n = path.size();
  std::size_t i = 0;
  while (i < n) {
    while (i < n && IsSeparator(s[i])) ++i;
    const std::size_t b = i;
    while (i < n && !IsSeparator(s[i])) ++i;
    if (i > b) out.push_back({b, i - b});
  }
  return out;
}

std::vector<tavrin_ustring> Components(const tavrin_ustring& path) {
  std::vector<tavrin_ustring> out;
  for (const Range& r : ComponentRanges(path)) out.push_back(Slice(path.data() + r.begin, r.size));
  return out;
}

bool SameUnits(const Unit* a, std::size_t an, const Unit* b, std::size_t bn) {
  return an == bn && std::equal(a, a + an, b);
}

bool IsDriveComponent(const tavrin_ustring& c) {
  return c.size() == 2 && c[1] == kColon;
}

// The first element, then AppendToPath for each later one.
tavrin_ustring Fold(const std::vector<tavrin_ustring>& parts) {
  if (parts.empty()) return {};
  tavrin_ustring out = parts.front();
  for (std::size_t i = 1; i < parts.size(); ++i) out = AppendToPath(out, parts[i]);
  return out;
}

// The working directory followed by the file name "\dummy", so that the
// directory itself is the base's directory; false when it cannot be read or
// its bytes are not UTF-8 (resolving against "" would give a wrong answer).
bool WorkingDirectoryBase(tavrin_ustring& out) {
  std::string cwd;
  if (!platform::GetWorkingDirectory(cwd) || cwd.empty()) return false;
  out = tavrin_ustring(cwd);
  if (out.empty()) return false;
  out += Literal(u"\\dummy");
  return true;
}

// --- GetShortPath helpers. ------------------------------------------------

// The directory part while GetShortPath shortens it. A plain vector keeps
// the edits in place and inline (no zero-unit scans of the string traits).
using DirBuffer = std::vector<Unit>;

// Removes every ".../" in one left-to-right pass over non-overlapping
// occurrences (the text left behind is not searched again).
void RemoveEllipsisDirs(DirBuffer& dir) {
  const std::size_t n = dir.size();
  Unit* d = dir.data();
  std::size_t w = 0, i = 0;
  while (i < n) {
    if (i + 4 <= n && d[i] == kDot && d[i + 1] == kDot && d[i + 2] == kDot && d[i + 3] == kSlash) {
      i += 4;
    } else {
      d[w++] = d[i++];
    }
  }
  dir.resize(w);
}

bool StartsWithEllipsis(const DirBuffer& s) {
  return s.size() >= 3 && s[0] == kDot && s[1] == kDot && s[2] == kDot;
}

// Replaces dir[pos, pos + count) by "...".
void PutEllipsis(DirBuffer& dir, std::size_t pos, std::size_t count) {
  const auto at = dir.begin() + static_cast<std::ptrdiff_t>(pos);
  if (count >= 3) {
    dir.erase(at + 3, at + static_cast<std::ptrdiff_t>(count));
  } else {
    dir.insert(at, 3 - count, kDot);
  }
  std::fill_n(dir.begin() + static_cast<std::ptrdiff_t>(pos), 3, kDot);
}

std::size_t FindSlash(const DirBuffer& dir, std::size_t from) {
  const auto it = std::find(dir.begin() + static_cast<std::ptrdiff_t>(from), dir.end(), kSlash);
  return it == dir.end() ? Units::npos : static_cast<std::size_t>(it - dir.begin());
}

}  // namespace

// ---------------------------------------------------------------------------
// Path strings.
// ---------------------------------------------------------------------------

tavrin_ustring FixPathString(const tavrin_ustring& path) {
  Units out;
  FixInto(path.data(), path.size(), out);
  return FromUnits(std::move(out));
}

tavrin_ustring SanitizeFileName(const tavrin_ustring& name) {
  Units out;
  FixInto(name.data(), name.size(), out);
  std::replace(out.begin(), out.end(), kSlash, static_cast<Unit>(u'_'));
  return FromUnits(std::move(out));
}

tavrin_ustring RemoveTrailingSlash(const tavrin_ustring& path) {
  const std::size_t n = path.size();
  if (n > 0 && IsSeparator(path[n - 1])) return Slice(path.data(), n - 1);
  return path;
}

tavrin_ustring MakeWindowsPath(const tavrin_ustring& path) {
  Units out = path.str();
  std::replace(out.begin(), out.end(), kSlash, kBackslash);
  return FromUnits(std::move(out));
}

tavrin_ustring MakeOSCompatiblePath(const tavrin_ustring& path) {
  Units out = path.str();
  std::replace(out.begin(), out.end(), kBackslash, kSlash);
  return FromUnits(std::move(out));
}

int ComparePath(const tavrin_ustring& a, const tavrin_ustring& b, bool caseSensitive) {
  const tavrin_ustring fa = FixPathString(a);
  const tavrin_ustring fb = FixPathString(b);
  const int r = caseSensitive ? fa.compare(fb) : fa.compare_nocase(fb);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

int ComparePath(const tavrin_ustring& a, const tavrin_ustring& b) {
  return ComparePath(a, b, false);
}

tavrin_ustring GetFileExtension(const tavrin_ustring& path) {
  Units fixed;
  FixInto(path.data(), path.size(), fixed);
  // Scanning back, a dot met before any "/" is the extension's.
  for (std::size_t k = fixed.size(); k > 0; --k) {
    if (fixed[k - 1] == kSlash) break;
    if (fixed[k - 1] == kDot) {
      fixed.erase(0, k);
      return FromUnits(std::move(fixed));
    }
  }
  return {};
}

bool HasExtension(const tavrin_ustring& path, const tavrin_ustring& extension) {
  return GetFileExtension(path).compare_nocase(extension) == 0;
}

bool IsRelativePath(const tavrin_ustring& path) {
  const Unit* s = path.data();
  const std::size_t n = path.size();
  if (std::find(s, s + n, kSlash) == s + n) return true;
  if (n >= 2 && s[0] == kDot && s[1] == kSlash) return true;
  return n >= 3 && s[0] == kDot && s[1] == kDot && s[2] == kSlash;
}

tavrin_ustring AppendToPath(const tavrin_ustring& path, const tavrin_ustring& tail) {
  if (path.empty()) return FixPathString(tail);
  const bool tail_sep = !tail.empty() && IsSeparator(tail[0]);
  const bool path_sep = IsSeparator(path[path.size() - 1]);
  const std::size_t tail_from = tail_sep ? 1 : 0;
  Units joined;
  joined.reserve(path.size() + 1 + tail.size());
  joined.append(path.data(), path.size());
  if (!path_sep) joined.push_back(kSlash);
  joined.append(tail.data() + tail_from, tail.size() - tail_from);
  Units out;
  FixInto(joined.data(), joined.size(), out);
  return FromUnits(std::move(out));
}

tavrin_ustring AppendExtension(const tavrin_ustring& path, const tavrin_ustring& extension) {
  if (extension.empty()) return path;
  Units out;
  out.reserve(path.size() + 1 + extension.size());
  out.append(path.data(), path.size());
  if (extension[0] != kDot) out.push_back(kDot);
  out.append(extension.data(), extension.size());
  return FromUnits(std::move(out));
}

tavrin_ustring RemoveExtension(const tavrin_ustring& path) {
  const std::size_t n = path.size();
  if (n == 0 || IsSeparator(path[n - 1])) return path;
  const tavrin_ustring name = GetFileName(path, true);
  const Unit* s = path.data();
  const Unit* dot = std::find(std::make_reverse_iterator(s + n), std::make_reverse_iterator(s),
                              kDot)
                        .base();  // one past the last dot, or s
  // The last occurrence of the name; not found (s + n) for an empty name
  // or one that normalisation changed.
  const Unit* at = std::find_end(s, s + n, name.begin(), name.end());
  if (dot != s && at != s + n && dot - 1 > at)
    return Slice(s, static_cast<std::size_t>(dot - 1 - s));
  return path;
}

std::vector<tavrin_ustring> SplitPath(const tavrin_ustring& path) {
  // Components are collected from the end: while the path has a directory,
  // its last name is taken and the directory split further.
  std::vector<tavrin_ustring> reversed;
  const Unit* s = path.data();
  std::size_t n = path.size();
  for (;;) {
    std::size_t location = WithoutLastComponent(s, n);
    if (location == 1 && s[0] == kSlash) location = 0;  // only the root: nothing left
    if (location == 0) break;
    reversed.push_back(GetFileName(Slice(s, n), true));
    n = location;
  }
  if (n == 0 || s[0] != kSlash) {
    reversed.push_back(Slice(s, n));
  } else {
    std::size_t i = 0;
    while (i < n && s[i] == kSlash) ++i;
    if (i < n) reversed.push_back(Slice(s + i, n - i));
    reversed.push_back(Literal(u"/"));
  }
  return {std::make_move_iterator(reversed.rbegin()), std::make_move_iterator(reversed.rend())};
}

tavrin_ustring JoinPath(const std::vector<tavrin_ustring>& components) {
  return Fold(components);
}

tavrin_ustring GetFileName(const tavrin_ustring& path, bool withExtension) {
  Units fixed;
  FixInto(path.data(), path.size(), fixed);
  std::size_t begin, end;
  LastComponent(fixed.data(), fixed.size(), begin, end);
  if (!withExtension) {
    const std::size_t dot = ExtensionDot(fixed.data(), begin, end);
    if (dot != end) {
      end = dot;
    } else if (end > begin && fixed[begin] == kDot) {
      return {};  // a dot file: all extension, no name
    }
  }
  fixed.resize(end);
  fixed.erase(0, begin);
  return FromUnits(std::move(fixed));
}

tavrin_ustring GetFileExt(const tavrin_ustring& path) {
  std::size_t begin, end;
  LastComponent(path.data(), path.size(), begin, end);
  const std::size_t dot = ExtensionDot(path.data(), begin, end);
  if (dot == end) return {};
  return Slice(path.data() + dot + 1, end - dot - 1);
}

tavrin_ustring GetFileDrive(const tavrin_ustring&) {
  return {};
}

tavrin_ustring GetFileLocation(const tavrin_ustring& path) {
  const std::size_t keep = WithoutLastComponent(path.data(), path.size());
  if (keep == 0) return {};
  Units out;
  out.reserve(keep + 1);
  out.append(path.data(), keep);
  out.push_back(kSlash);
  return FromUnits(std::move(out));
}

tavrin_ustring GetFileDirectory(const tavrin_ustring& path) {
  return GetFileLocation(path);
}

// ---------------------------------------------------------------------------
// Relative and short paths.
// ---------------------------------------------------------------------------

tavrin_ustring CalculateRelativePath(const tavrin_ustring& base, const tavrin_ustring& target) {
  if (base.empty() || target.empty()) return {};
  const std::vector<tavrin_ustring> b = Components(base);
  const std::vector<tavrin_ustring> t = Components(target);
  if (b.empty() || t.empty()) return {};
  if (IsDriveComponent(b[0]) && IsDriveComponent(t[0]) && b[0][0] != t[0][0]) return {};
  std::size_t common = 0;
  const std::size_t shorter = std::min(b.size(), t.size());
  while (common < shorter && b[common] == t[common]) ++common;
  // Levels to climb from the base's directory; the base's own file name is
  // not a level.
  const std::ptrdiff_t up =
      static_cast<std::ptrdiff_t>(b.size()) - static_cast<std::ptrdiff_t>(common) - 1;
  if (up < 0) return {};
  std::vector<tavrin_ustring> parts;
  if (up == 0) {
    parts.push_back(Literal(u"."));
  } else {
    parts.assign(static_cast<std::size_t>(up), Literal(u".."));
  }
  parts.insert(parts.end(), t.begin() + static_cast<std::ptrdiff_t>(common), t.end());
  return Fold(parts);
}

tavrin_ustring ResolveRelativePath(const tavrin_ustring& base, const tavrin_ustring& relative) {
  if (base.empty() || relative.empty()) return {};
  std::vector<tavrin_ustring> stack = Components(base);
  const std::vector<Range> rel = ComponentRanges(relative);
  if (stack.empty() || rel.empty()) return {};
  stack.pop_back();  // the base's file name
  const bool drive = !stack.empty() && IsDriveComponent(stack[0]);
  const Unit* r = relative.data();
  for (const Range& c : rel) {
    const Unit* p = r + c.begin;
    if (c.size == 1 && p[0] == kDot) continue;
    if (c.size == 2 && p[0] == kDot && p[1] == kDot) {
      if (stack.empty() || (drive && stack.size() == 1)) return {};
      stack.pop_back();
      continue;
    }
    stack.push_back(Slice(p, c.size));
  }
  if (stack.empty()) return {};
  tavrin_ustring joined = Fold(stack);
  if (drive) return joined;
  return Literal(u"/") + joined;
}

tavrin_ustring MakeAbsolutePathFromPathRelativeToCWD(const tavrin_ustring& path) {
  if (path.empty()) return {};
  if (path[0] != kDot) return path;
  tavrin_ustring base;
  if (!WorkingDirectoryBase(base)) return {};
  return ResolveRelativePath(base, path);
}

tavrin_ustring MakeRelativePathFromCWD(const tavrin_ustring& path) {
  if (path.empty()) return {};
  if (path[0] == kDot) return path;
  tavrin_ustring base;
  if (!WorkingDirectoryBase(base)) return {};
  return CalculateRelativePath(base, path);
}

bool PathIsChildOfDirectory(const tavrin_ustring& first, const tavrin_ustring& second) {
  const std::vector<Range> a = ComponentRanges(first);
  const std::vector<Range> b = ComponentRanges(second);
  if (a.empty() || b.empty() || a.size() > b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!SameUnits(first.data() + a[i].begin, a[i].size, second.data() + b[i].begin, b[i].size)) {
      return false;
    }
  }
  return true;
}

tavrin_ustring GetShortPath(const tavrin_ustring& path, int maxLength) {
  if (maxLength < 1) return {};
  const std::ptrdiff_t max = maxLength;
  const auto len = [](const auto& s) { return static_cast<std::ptrdiff_t>(s.size()); };

  // The name is GetFileName(path, true), read from the raw path without
  // normalising all of it: the units after the last separator (either
  // kind) once trailing separators are dropped, each illegal one outside
  // the protected prefix read as "_"; a path of two or more separators only
  // gives the root "/".
  const Unit* p = path.data();
  const std::size_t n = path.size();
  std::size_t name_end = n;
  while (name_end > 0 && IsSeparator(p[name_end - 1])) --name_end;
  std::size_t name_begin = name_end;
  while (name_begin > 0 && !IsSeparator(p[name_begin - 1])) --name_begin;
  const bool name_is_root = name_end == 0 && n >= 2;
  const std::size_t fix_prefix = n == 0 ? 0 : ProtectedPrefixLength(p, n);
  std::ptrdiff_t name_len = name_is_root ? 1 : static_cast<std::ptrdiff_t>(name_end - name_begin);
  bool name_cut = false;  // the name is its start followed by "..."

  // prefix: GetFileDrive (always empty) and the root; dir: the rest of
  // GetFileDirectory(path), which ends with "/" when non-empty.
  Unit prefix[3];
  std::size_t prefix_len = 0;
  std::size_t skip = 0;
  const std::size_t keep = WithoutLastComponent(p, n);
  if (keep > 0 && p[0] == kSlash && (keep == 1 || p[1] == kSlash)) {
    prefix[prefix_len++] = kSlash;  // "//": the directory of "/x" is "//"
    prefix[prefix_len++] = kSlash;
    skip = 2;
  }
  DirBuffer dir;
  if (keep > 0 && keep + 1 > skip) {
    dir.reserve(keep + 1 - skip + 1 + static_cast<std::size_t>(name_len) + 3);
    if (keep > skip) dir.assign(p + skip, p + keep);
    dir.push_back(kSlash);
  }
  if (!dir.empty() && dir[0] == kSlash) {
    prefix[prefix_len++] = kSlash;
    dir.erase(dir.begin());
  } else if (dir.empty()) {
    prefix[prefix_len++] = kSlash;  // a bare file name comes back with a leading "/"
  }
  const std::ptrdiff_t plen = static_cast<std::ptrdiff_t>(prefix_len);
  std::ptrdiff_t budget = max - (name_len + plen);

  // Every pass either ends the loop or rewrites dir; the cap is a backstop
  // so that no input can keep it going.
  const std::size_t max_passes = dir.size() + 2;
  for (std::size_t pass = 0; budget < len(dir); ++pass) {
    if (pass == max_passes) {
      dir.assign(3, kDot);
      break;
    }
    RemoveEllipsisDirs(dir);
    const std::size_t first = FindSlash(dir, 0);
    if (first == Units::npos) {
      dir.assign(3, kDot);
      break;
    }
    const std::size_t second = FindSlash(dir, first + 1);
    if (second != Units::npos) {
      // The second directory becomes "...".
      PutEllipsis(dir, first + 1, second - first - 1);
    } else if (StartsWithEllipsis(dir)) {
      // A single directory whose own name starts with "...": nothing is
      // left to replace.
      dir.assign(3, kDot);
    } else {
      // Only one directory: dir becomes "..." + dir[first..), then "..."
      // and the last (size - first + 1) units of that, with `first`
      // measured before the rewrite: a first directory of five or more
      // units leaves "..." alone.
      PutEllipsis(dir, 0, first);
      const std::ptrdiff_t count = len(dir) - static_cast<std::ptrdiff_t>(first) + 1;
      const std::size_t take =
          count <= 0 ? 0 : std::min(static_cast<std::size_t>(count), dir.size());
      PutEllipsis(dir, 0, dir.size() - take);
    }
  }

  if (budget < len(dir)) {
    // Not even "..." fits beside the name: cut the name.
    const std::ptrdiff_t room = max - (plen + len(dir));
    if (room < 3) {
      name_len = 0;
    } else {
      name_len = std::min(name_len, room - 3);
      name_cut = true;
    }
    budget = max - (plen + name_len + (name_cut ? 3 : 0));
  }
  if (budget < len(dir)) {
    dir.clear();
    if (budget < 0) {
      return Slice(prefix, std::min(prefix_len, static_cast<std::size_t>(max)));
    }
  }

  // prefix + AppendToPath(dir, name), assembled in place.
  const std::size_t name_units = static_cast<std::size_t>(name_len);
  if (!dir.empty() && !IsSeparator(dir.back())) dir.push_back(kSlash);
  if (name_is_root) {
    // The name "/" loses its separator after a directory.
    if (name_units > 0 && dir.empty()) dir.push_back(kSlash);
  } else {
    const std::size_t at = dir.size();
    dir.resize(at + name_units);
    for (std::size_t k = 0; k < name_units; ++k) {
      const std::size_t from = name_begin + k;
      const Unit c = p[from];
      dir[at + k] = from >= fix_prefix && IsIllegalInName(c) ? static_cast<Unit>(u'_') : c;
    }
  }
  if (name_cut) dir.insert(dir.end(), 3, kDot);
  Units out;
  out.reserve(prefix_len + dir.size());
  out.resize(prefix_len);
  std::copy(prefix, prefix + prefix_len, out.begin());
  FixAppend(dir.data(), dir.size(), out);
  return FromUnits(std::move(out));
}

// ---------------------------------------------------------------------------
// Unique file names.
// ---------------------------------------------------------------------------

namespace detail {

tavrin_ustring UniqueFilePathCandidate(const tavrin_ustring& directory,
                                       const tavrin_ustring& baseName,
                                       const tavrin_ustring& extension, unsigned long n) {
  if (n < 2) return AppendExtension(AppendToPath(directory, baseName), extension);
  // The number follows the base name directly: "report(2)".
  tavrin_ustring numbered = baseName;
  numbered += Literal(u"(");
  numbered += tavrin_ustring(std::to_string(n));
  numbered += Literal(u")");
  return AppendExtension(AppendToPath(directory, numbered), extension);
}

tavrin_ustring FirstFreeFilePath(const tavrin_ustring& directory, const tavrin_ustring& baseName,
                                 const tavrin_ustring& extension,
                                 const std::function<bool(const tavrin_ustring&)>& taken) {
  for (unsigned long n = 1;; ++n) {
    tavrin_ustring candidate = UniqueFilePathCandidate(directory, baseName, extension, n);
    if (!taken(candidate)) return candidate;
  }
}

}  // namespace detail

tavrin_ustring CreateUniqueFilePath(const tavrin_ustring& directory, const tavrin_ustring& baseName,
                                    const tavrin_ustring& extension) {
  return detail::FirstFreeFilePath(directory, baseName, extension,
                                   [](const tavrin_ustring& path) { return FileExists(path); });
}

tavrin_ustring CreateTempFilePath(const tavrin_ustring& baseName, const tavrin_ustring& extension) {
  tavrin_ustring folder;
  GetTempPath(folder);
  if (folder.empty()) return tavrin_ustring();
  return CreateUniqueFilePath(folder, baseName, extension);
}

tavrin_ustring WriteBufferToTempFile(const void* bytes, std::size_t length,
                                     const tavrin_ustring& baseName,
                                     const tavrin_ustring& extension) {
  if (bytes == nullptr && length != 0) return tavrin_ustring();
  tavrin_ustring folder;
  GetTempPath(folder);
  if (folder.empty()) return tavrin_ustring();
  // Each candidate is created exclusively, so a name another process takes
  // between the existence check and the create moves us on to the next one.
  for (unsigned long n = 1;; ++n) {
    tavrin_ustring candidate = detail::UniqueFilePathCandidate(folder, baseName, extension, n);
    if (FileExists(candidate)) continue;
    int error = platform::CreateNewFile(candidate.utf8(), bytes, length);
    if (error == 0) return candidate;
    if (error != EEXIST) return tavrin_ustring();
  }
}

}  // namespace tavrin::utils
