// path_fuzz.cpp - the pure path functions of fileutils on arbitrary text.
//
// The input gives two paths and a length. Most bytes map onto the characters
// paths are made of ("/", "\", ".", ":", drive letters, the characters
// FixPathString replaces, blanks, "~", non-ASCII letters); a byte 0xFF
// followed by two more inserts a raw unit. Checked, against plain references
// written here from the documented rules or against relations between the
// functions:
//   - FixPathString writes no "\" and is never longer than its input; past
//     the longest protected prefix ("ms-appx:///") it leaves none of
//     | ? < > : " * and no unit below 32;
//   - SanitizeFileName is FixPathString with "/" replaced, so it holds no "/"
//     (nor "\");
//   - RemoveTrailingSlash, MakeWindowsPath, MakeOSCompatiblePath,
//     IsRelativePath, AppendExtension, GetFileExt, GetFileLocation,
//     GetFileDirectory, GetFileDrive and GetFileExtension equal references;
//   - HasExtension accepts the path's own extension in any case;
//   - ComparePath is antisymmetric, gives -1, 0 or +1 and 0 for a path and
//     itself, and case-sensitive equality implies case-blind equality;
//   - AppendToPath equals FixPathString of the documented join;
//   - RemoveExtension gives the path or a prefix of it ending before a ".";
//   - SplitPath never gives an empty list, its last element is
//     GetFileName(path, true) when the path has a raw location, and JoinPath
//     puts simple normalised paths back together;
//   - GetFileName without extension is a prefix of the name with it;
//   - GetShortPath ends (hangs are reported by the fuzzer), gives "" below a
//     length of 1 and never more than maxLength + 1 units.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/utils/fileutils.h"
#include "common/utils/ustring.h"

using tavrin::utils::tavrin_ustring;
namespace fu = tavrin::utils;
using Units = std::u16string;

namespace {

void Check(bool condition, const char* what, const Units& a = Units(), const Units& b = Units()) {
  if (!condition) {
    std::fprintf(stderr, "path_fuzz: %s\n", what);
    const tavrin_ustring ua(reinterpret_cast<const unsigned short*>(a.data()), a.size());
    const tavrin_ustring ub(reinterpret_cast<const unsigned short*>(b.data()), b.size());
    std::fprintf(stderr, "  [%s]\n  [%s]\n", ua.utf8().c_str(), ub.utf8().c_str());
    std::abort();
  }
}

Units U(const tavrin_ustring& s) {
  return Units(reinterpret_cast<const char16_t*>(s.data()), s.size());
}
tavrin_ustring T(const Units& u) {
  return tavrin_ustring(reinterpret_cast<const unsigned short*>(u.data()), u.size());
}

bool IsSep(char16_t c) {
  return c == u'/' || c == u'\\';
}

// Reads one path from the input: mapped characters until a 0xFE byte.
Units ReadPath(const std::uint8_t*& p, const std::uint8_t* end) {
  static const char16_t kChars[] = u"///\\\\...::abcxyzC~ -_|?<>\"*\u00e9\u4e2d\tABZ0123";
  constexpr std::size_t kCount = sizeof(kChars) / sizeof(kChars[0]) - 1;
  Units out;
  while (p < end && *p != 0xFE) {
    if (*p == 0xFF && end - p >= 3) {
      const char16_t u = static_cast<char16_t>(p[1] | (p[2] << 8));
      out += u != 0 ? u : u'z';
      p += 3;
      continue;
    }
    out += kChars[*p % kCount];
    ++p;
  }
  if (p < end) ++p;  // the 0xFE
  return out;
}

Units Replace(Units s, char16_t from, char16_t to) {
  for (char16_t& c : s)
    if (c == from) c = to;
  return s;
}

// The raw last component with "/" as the only separator, trailing "/"
// ignored, and the length of what comes before it.
Units RawLast(const Units& s, std::size_t* head) {
  std::size_t end = s.size();
  while (end > 0 && s[end - 1] == u'/') --end;
  std::size_t start = end;
  while (start > 0 && s[start - 1] != u'/') --start;
  *head = start;
  return s.substr(start, end - start);
}

Units ReferenceGetFileExt(const Units& s) {
  std::size_t head = 0;
  const Units last = RawLast(s, &head);
  const std::size_t dot = last.rfind(u'.');
  if (dot == Units::npos || dot == 0) return Units();
  return last.substr(dot + 1);
}

Units ReferenceGetFileLocation(const Units& s) {
  std::size_t end = s.size();
  while (end > 0 && s[end - 1] == u'/') --end;
  while (end > 0 && s[end - 1] != u'/') --end;  // the last component
  while (end > 0 && s[end - 1] == u'/') --end;  // the "/" before it
  // A path of separators only, or "/a": the root is what is left.
  if (end == 0 && !s.empty() && s[0] == u'/') return u"//";
  if (end == 0) return Units();
  return s.substr(0, end) + u"/";
}

bool ReferenceIsRelative(const Units& s) {
  if (s.find(u'/') == Units::npos) return true;
  return s.rfind(u"./", 0) == 0 || s.rfind(u"../", 0) == 0;
}

Units ReferenceAppendExtension(const Units& path, const Units& ext) {
  if (ext.empty()) return path;
  return ext[0] == u'.' ? path + ext : path + u"." + ext;
}

Units ReferenceGetFileExtension(const Units& fixed) {
  const std::size_t dot = fixed.rfind(u'.');
  if (dot == Units::npos || fixed.find(u'/', dot) != Units::npos) return Units();
  return fixed.substr(dot + 1);
}

Units Upper(Units s) {
  for (char16_t& c : s)
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 2048 || size < 1) return 0;
  const int max_length = static_cast<int>(data[0]) - 8;
  const std::uint8_t* p = data + 1;
  const std::uint8_t* end = data + size;
  const Units a = ReadPath(p, end);
  const Units b = ReadPath(p, end);
  const tavrin_ustring ta = T(a), tb = T(b);

  // FixPathString and SanitizeFileName.
  const Units fixed = U(fu::FixPathString(ta));
  Check(fixed.find(u'\\') == Units::npos, "FixPathString left a backslash", a, fixed);
  Check(fixed.size() <= a.size(), "FixPathString made the path longer", a, fixed);
  for (std::size_t k = 11; k < fixed.size(); ++k) {
    const char16_t c = fixed[k];
    Check(c >= 32 && Units(u"|?<>:\"*").find(c) == Units::npos,
          "FixPathString left a character it replaces", a, fixed);
  }
  if (a.empty()) Check(fixed.empty(), "FixPathString of an empty path");
  const Units sane = U(fu::SanitizeFileName(ta));
  Check(sane == Replace(fixed, u'/', u'_'), "SanitizeFileName differs from its rule", a, sane);
  Check(sane.find(u'/') == Units::npos && sane.find(u'\\') == Units::npos,
        "SanitizeFileName left a separator", a, sane);

  // Plain rewrites.
  Units trimmed = a;
  if (!trimmed.empty() && IsSep(trimmed.back())) trimmed.pop_back();
  Check(U(fu::RemoveTrailingSlash(ta)) == trimmed, "RemoveTrailingSlash differs", a);
  Check(U(fu::MakeWindowsPath(ta)) == Replace(a, u'/', u'\\'), "MakeWindowsPath differs", a);
  Check(U(fu::MakeOSCompatiblePath(ta)) == Replace(a, u'\\', u'/'), "MakeOSCompatiblePath differs",
        a);
  Check(fu::IsRelativePath(ta) == ReferenceIsRelative(a), "IsRelativePath differs", a);
  Check(U(fu::AppendExtension(ta, tb)) == ReferenceAppendExtension(a, b), "AppendExtension differs",
        a, b);
  Check(U(fu::GetFileExt(ta)) == ReferenceGetFileExt(a), "GetFileExt differs", a,
        U(fu::GetFileExt(ta)));
  Check(U(fu::GetFileLocation(ta)) == ReferenceGetFileLocation(a), "GetFileLocation differs", a,
        U(fu::GetFileLocation(ta)));
  Check(fu::GetFileDirectory(ta) == fu::GetFileLocation(ta), "GetFileDirectory differs", a);
  Check(fu::GetFileDrive(ta).empty(), "GetFileDrive is not empty", a);

  // Extensions.
  const Units ext = U(fu::GetFileExtension(ta));
  Check(ext == ReferenceGetFileExtension(fixed), "GetFileExtension differs", a, ext);
  Check(fu::HasExtension(ta, T(ext)) && fu::HasExtension(ta, T(Upper(ext))),
        "HasExtension rejects the path's own extension", a, ext);
  const Units stripped = U(fu::RemoveExtension(ta));
  Check(
      stripped == a || (stripped.size() < a.size() &&
                        a.compare(0, stripped.size(), stripped) == 0 && a[stripped.size()] == u'.'),
      "RemoveExtension is neither the path nor a prefix before a dot", a, stripped);

  // Comparison.
  const int ab = fu::ComparePath(ta, tb, true), ba = fu::ComparePath(tb, ta, true);
  Check(ab >= -1 && ab <= 1 && ab == -ba, "case-sensitive ComparePath is not antisymmetric", a, b);
  const int ci = fu::ComparePath(ta, tb);
  Check(
      ci >= -1 && ci <= 1 && ci == -fu::ComparePath(tb, ta) && ci == fu::ComparePath(ta, tb, false),
      "case-blind ComparePath is not antisymmetric", a, b);
  if (ab == 0) Check(ci == 0, "paths equal with case differ without it", a, b);
  Check(fu::ComparePath(ta, ta, true) == 0 && fu::ComparePath(ta, ta) == 0,
        "a path differs from itself", a);

  // Joining.
  Units joined;
  if (a.empty()) {
    joined = b;
  } else {
    Units tail = b;
    if (!tail.empty() && IsSep(tail[0])) tail.erase(0, 1);
    joined = IsSep(a.back()) ? a + tail : a + u"/" + tail;
  }
  Check(U(fu::AppendToPath(ta, tb)) == U(fu::FixPathString(T(joined))), "AppendToPath differs", a,
        b);

  // Splitting and names.
  const std::vector<tavrin_ustring> parts = fu::SplitPath(ta);
  Check(!parts.empty(), "SplitPath gave no component", a);
  const Units name = U(fu::GetFileName(ta, true));
  const Units bare = U(fu::GetFileName(ta, false));
  // SplitPath takes the last name through GetFileName when the raw location
  // (trailing "/" trimmed) is not empty; otherwise the rest of the path as
  // it stands.
  Units location = U(fu::GetFileLocation(ta));
  while (!location.empty() && location.back() == u'/') location.pop_back();
  if (!location.empty())
    Check(parts.size() >= 2 && U(parts.back()) == name, "SplitPath's last is not GetFileName", a,
          name);
  Check(bare.size() <= name.size() && name.compare(0, bare.size(), bare) == 0,
        "the name without extension is not a prefix of the name", a, bare);
  bool simple = !a.empty() && a.size() >= 2 && !(a[0] == u'/' && a[1] == u'/');
  for (std::size_t k = 0; k < a.size(); ++k) {
    const char16_t c = a[k];
    if (!((c >= u'a' && c <= u'z') || c == u'/')) simple = false;
    if (c == u'/' && (k + 1 == a.size() || a[k + 1] == u'/')) simple = false;
  }
  if (simple)
    Check(U(fu::JoinPath(parts)) == a, "JoinPath(SplitPath) differs for a simple path", a);

  // Short paths.
  const Units shortened = U(fu::GetShortPath(ta, max_length));
  if (max_length < 1)
    Check(shortened.empty(), "GetShortPath below 1 is not empty", a, shortened);
  else
    Check(shortened.size() <= static_cast<std::size_t>(max_length) + 1,
          "GetShortPath exceeds maxLength + 1", a, shortened);
  return 0;
}
