// relative_path_fuzz.cpp - the relative-path pair (CalculateRelativePath,
// ResolveRelativePath), PathIsChildOfDirectory and the working-directory
// forms, on arbitrary pairs of paths.
//
// Paths are built from components drawn from the input (names, ".", "..", a
// drive, empty runs from doubled separators, either separator). Checked:
//   - PathIsChildOfDirectory equals the component rule written here, and a
//     path is a child of itself when it has components;
//   - when CalculateRelativePath(base, target) gives a path, neither path
//     uses "." or "..", both or neither start with a drive and the target
//     has no ":" past its first component (joining turns it into "_"),
//     ResolveRelativePath(base, that path) has exactly the components of
//     target (the pair undo each other);
//   - ResolveRelativePath leaves no "." or ".." component in its result when
//     the base has none;
//   - the working-directory forms never crash and give "" for "".
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

void Check(bool condition, const char* what, const Units& a = Units(), const Units& b = Units(),
           const Units& c = Units()) {
  if (!condition) {
    std::fprintf(stderr, "relative_path_fuzz: %s\n", what);
    for (const Units* u : {&a, &b, &c}) {
      const tavrin_ustring t(reinterpret_cast<const unsigned short*>(u->data()), u->size());
      std::fprintf(stderr, "  [%s]\n", t.utf8().c_str());
    }
    std::abort();
  }
}

Units U(const tavrin_ustring& s) {
  return Units(reinterpret_cast<const char16_t*>(s.data()), s.size());
}
tavrin_ustring T(const Units& u) {
  return tavrin_ustring(reinterpret_cast<const unsigned short*>(u.data()), u.size());
}

// Non-empty runs between separators.
std::vector<Units> Components(const Units& s) {
  std::vector<Units> out;
  Units cur;
  for (char16_t c : s) {
    if (c == u'/' || c == u'\\') {
      if (!cur.empty()) out.push_back(cur);
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) out.push_back(cur);
  return out;
}

bool UsesDots(const Units& s) {
  for (const Units& c : Components(s))
    if (c == u"." || c == u"..") return true;
  return false;
}

// A drive: a first component of two units whose second is ":".
bool HasDrive(const Units& s) {
  const std::vector<Units> c = Components(s);
  return !c.empty() && c[0].size() == 2 && c[0][1] == u':';
}

// A ":" after the first component: the joining normalises it to "_".
bool LaterDrive(const Units& s) {
  const std::vector<Units> c = Components(s);
  for (std::size_t k = 1; k < c.size(); ++k)
    if (c[k].find(u':') != Units::npos) return true;
  return false;
}

Units ReadPath(const std::uint8_t*& p, const std::uint8_t* end) {
  static const char16_t* const kNames[] = {u"a",     u"b",  u"x",  u"y",      u".", u"..",
                                           u"a.txt", u"C:", u"D:", u"\u00e9", u"",  u"dir name"};
  Units out;
  if (p < end && (*p & 0x80)) out += (*p & 0x40) ? u"\\" : u"/";
  const int count = p < end ? (*p++ & 7) : 0;
  for (int k = 0; k < count && p < end; ++k) {
    const std::uint8_t b = *p++;
    if (k > 0) out += (b & 0x80) ? u"\\" : u"/";
    out += kNames[b % 12];
  }
  if (p < end && (*p & 1)) out += u"/";
  if (p < end) ++p;
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 256) return 0;
  const std::uint8_t* p = data;
  const std::uint8_t* end = data + size;
  const Units base = ReadPath(p, end);
  const Units target = ReadPath(p, end);
  const tavrin_ustring tb = T(base), tt = T(target);

  // PathIsChildOfDirectory: every component of the first equals the one at
  // the same place in the second.
  const std::vector<Units> cb = Components(base), ct = Components(target);
  bool child = !cb.empty() && !ct.empty() && cb.size() <= ct.size();
  for (std::size_t k = 0; child && k < cb.size(); ++k) child = cb[k] == ct[k];
  Check(fu::PathIsChildOfDirectory(tb, tt) == child, "PathIsChildOfDirectory differs", base,
        target);
  if (!cb.empty())
    Check(fu::PathIsChildOfDirectory(tb, tb), "a path is not a child of itself", base);

  const Units relative = U(fu::CalculateRelativePath(tb, tt));
  // A drive on one side only is not an impossible request for
  // CalculateRelativePath, but its answer climbs above the drive, which
  // ResolveRelativePath refuses; the pair is compared when both or neither
  // have a drive.
  if (!relative.empty() && !UsesDots(base) && !UsesDots(target) &&
      HasDrive(base) == HasDrive(target) && !LaterDrive(target)) {
    const Units resolved = U(fu::ResolveRelativePath(tb, T(relative)));
    Check(Components(resolved) == ct, "resolving the relative path does not give the target", base,
          target, relative);
  }
  const Units resolved = U(fu::ResolveRelativePath(tb, tt));
  // The base's own directory components are kept as written.
  if (!UsesDots(base))
    Check(!UsesDots(resolved), "ResolveRelativePath left a dot component", base, target, resolved);
  if (base.empty() || target.empty()) {
    Check(relative.empty(), "CalculateRelativePath of an empty path", base, target);
    Check(resolved.empty(), "ResolveRelativePath of an empty path", base, target);
  }

  // The working-directory forms (the test process's directory).
  (void)fu::MakeAbsolutePathFromPathRelativeToCWD(tt);
  (void)fu::MakeRelativePathFromCWD(tt);
  Check(fu::MakeAbsolutePathFromPathRelativeToCWD(tavrin_ustring()).empty() &&
            fu::MakeRelativePathFromCWD(tavrin_ustring()).empty(),
        "working-directory form of an empty path");
  return 0;
}
