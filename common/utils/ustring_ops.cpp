// ustring_ops.cpp - searching, trimming, case, natural-order comparison,
// replacement, extraction, tokenising and number parsing of tavrin_ustring.
//
// Case mapping and the white-space class come from one C.UTF-8 locale object
// created on first use (towupper_l, towlower_l, iswspace_l), never from the
// setlocale state, so results do not change when the application switches
// its locale. Without that locale only ASCII is mapped and recognised.
// Numbers are parsed with the "C" locale object for the same reason.
#include <locale.h>
#include <stdlib.h>
#include <wctype.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>  // the *_l functions live here on BSD-derived C libraries
#endif

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "common/utils/ustring.h"

namespace tavrin::utils {

namespace {

using size_type = tavrin_ustring::size_type;

// The C.UTF-8 ctype locale, or null when the system has none. Created once,
// thread-safely, and kept for the life of the process.
locale_t CtypeLocale() {
  static const locale_t loc = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  return loc;
}

// The "C" locale for number parsing, or null if it cannot be made.
locale_t NumericLocale() {
  static const locale_t loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  return loc;
}

constexpr bool IsSurrogate(unsigned short u) {
  return u >= 0xD800 && u <= 0xDFFF;
}
constexpr bool IsDigit(unsigned short u) {
  return u >= '0' && u <= '9';
}

// One unit to one unit: a mapping that would leave the basic plane or land on
// a surrogate keeps the unit as it is.
unsigned short FitUnit(wint_t mapped, unsigned short original) {
  if (mapped > 0xFFFF || IsSurrogate(static_cast<unsigned short>(mapped))) return original;
  return static_cast<unsigned short>(mapped);
}

// Above ASCII: the C.UTF-8 mapping (kept out of line so the ASCII path of
// the callers stays small).
[[gnu::noinline]] unsigned short ToUpperWide(unsigned short u) {
  if (IsSurrogate(u)) return u;
  locale_t loc = CtypeLocale();
  if (loc == static_cast<locale_t>(0)) return u;
  return FitUnit(towupper_l(static_cast<wint_t>(u), loc), u);
}

[[gnu::noinline]] unsigned short ToLowerWide(unsigned short u) {
  if (IsSurrogate(u)) return u;
  locale_t loc = CtypeLocale();
  if (loc == static_cast<locale_t>(0)) return u;
  return FitUnit(towlower_l(static_cast<wint_t>(u), loc), u);
}

inline unsigned short ToUpperUnit(unsigned short u) {
  if (u < 0x80)
    return (static_cast<unsigned>(u - 'a') < 26u) ? static_cast<unsigned short>(u - 0x20) : u;
  return ToUpperWide(u);
}

inline unsigned short ToLowerUnit(unsigned short u) {
  if (u < 0x80)
    return (static_cast<unsigned>(u - 'A') < 26u) ? static_cast<unsigned short>(u + 0x20) : u;
  return ToLowerWide(u);
}

bool IsSpaceUnit(unsigned short u) {
  if (u < 0x80) return u == ' ' || (u >= '\t' && u <= '\r');
  if (IsSurrogate(u)) return false;
  locale_t loc = CtypeLocale();
  if (loc == static_cast<locale_t>(0)) return false;
  return iswspace_l(static_cast<wint_t>(u), loc) != 0;
}

// Case-equality of two units: equal units, or two non-surrogates whose upper
// case mappings agree.
bool EqualNoCase(unsigned short a, unsigned short b) {
  if (a == b) return true;
  if (IsSurrogate(a) || IsSurrogate(b)) return false;
  return ToUpperUnit(a) == ToUpperUnit(b);
}

// Length of the run of "0".."9" units starting at `p` (which ends at a zero
// unit, so the scan stops there at the latest).
size_type DigitRun(const unsigned short* p) {
  size_type n = 0;
  while (IsDigit(p[n])) ++n;
  return n;
}

// Decimal value of `n` digit units; more than 19 digits wrap modulo 2^64.
std::uint64_t RunValue(const unsigned short* p, size_type n) {
  std::uint64_t v = 0;
  for (size_type i = 0; i < n; ++i) v = v * 10u + static_cast<std::uint64_t>(p[i] - '0');
  return v;
}

// Bounds of the text without leading and/or trailing white space.
void SpaceBounds(const tavrin_ustring& s, bool left, bool right, size_type& first,
                 size_type& last) {
  const unsigned short* p = s.data();
  first = 0;
  last = s.size();
  if (left)
    while (first < last && IsSpaceUnit(p[first])) ++first;
  if (right)
    while (last > first && IsSpaceUnit(p[last - 1])) --last;
}

void TrimInPlace(tavrin_ustring& s, bool left, bool right) {
  size_type first, last;
  SpaceBounds(s, left, right, first, last);
  if (last < s.size()) s.erase(last);
  if (first > 0) s.erase(0, first);
}

tavrin_ustring TrimmedCopy(const tavrin_ustring& s, bool left, bool right) {
  size_type first, last;
  SpaceBounds(s, left, right, first, last);
  if (first == 0 && last == s.size()) return s;
  return tavrin_ustring(s.data() + first, last - first);
}

// The piece [first, first + count) with first and count already clamped to
// the string; a piece that is the whole string is a plain copy.
tavrin_ustring Piece(const tavrin_ustring& s, size_type first, size_type count) {
  if (first == 0 && count == s.size()) return s;
  if (count == 0) return tavrin_ustring();
  return tavrin_ustring(s.data() + first, count);
}

// Mid() worker in a type wide enough for any int arguments.
tavrin_ustring MidWide(const tavrin_ustring& s, long long first, long long count) {
  if (first < 0) first = 0;
  if (count < 0) count = 0;
  const long long size = static_cast<long long>(s.size());
  if (first >= size) return tavrin_ustring();
  if (count > size - first) count = size - first;
  return Piece(s, static_cast<size_type>(first), static_cast<size_type>(count));
}

// One tokenising step over size_type positions; see Tokenize().
tavrin_ustring NextToken(const tavrin_ustring& s, const tavrin_ustring& delims, size_type& pos) {
  const size_type size = s.size();
  if (pos >= size) return tavrin_ustring();
  const size_type p = s.find_first_not_of(delims, pos);
  if (p == tavrin_ustring::npos) {
    pos = size;
    return tavrin_ustring();
  }
  pos = p;
  if (delims.empty()) return tavrin_ustring(s.data() + p, size - p);
  const size_type q = s.find_first_of(delims, p);
  if (q == tavrin_ustring::npos) {
    pos = size;
    return tavrin_ustring(s.data() + p, size - p);
  }
  pos = q + 1;
  return tavrin_ustring(s.data() + p, q - p);
}

// Whether the parser consumed the whole UTF-8 text.
bool ConsumedAll(const std::string& text, const char* end) {
  return end == text.c_str() + text.size();
}

long ParseLong(const std::string& text, char** end) {
  locale_t loc = NumericLocale();
  if (loc != static_cast<locale_t>(0)) return strtol_l(text.c_str(), end, 10, loc);
  return strtol(text.c_str(), end, 10);
}

unsigned long ParseUnsigned(const std::string& text, char** end) {
  locale_t loc = NumericLocale();
  if (loc != static_cast<locale_t>(0)) return strtoul_l(text.c_str(), end, 10, loc);
  return strtoul(text.c_str(), end, 10);
}

double ParseDouble(const std::string& text, char** end) {
  locale_t loc = NumericLocale();
  if (loc != static_cast<locale_t>(0)) return strtod_l(text.c_str(), end, loc);
  return strtod(text.c_str(), end);
}

}  // namespace

// --- Searching ---------------------------------------------------------------

size_type tavrin_ustring::find(const tavrin_ustring& s, size_type pos) const {
  return str_.find(s.str_, pos);
}
size_type tavrin_ustring::find(unsigned short ch, size_type pos) const {
  return str_.find(ch, pos);
}
size_type tavrin_ustring::rfind(const tavrin_ustring& s, size_type pos) const {
  return str_.rfind(s.str_, pos);
}
size_type tavrin_ustring::rfind(unsigned short ch, size_type pos) const {
  return str_.rfind(ch, pos);
}
size_type tavrin_ustring::find_first_of(const tavrin_ustring& set, size_type pos) const {
  return str_.find_first_of(set.str_, pos);
}
size_type tavrin_ustring::find_first_of(unsigned short ch, size_type pos) const {
  return str_.find_first_of(ch, pos);
}
size_type tavrin_ustring::find_last_of(const tavrin_ustring& set, size_type pos) const {
  return str_.find_last_of(set.str_, pos);
}
size_type tavrin_ustring::find_last_of(unsigned short ch, size_type pos) const {
  return str_.find_last_of(ch, pos);
}
size_type tavrin_ustring::find_first_not_of(const tavrin_ustring& set, size_type pos) const {
  return str_.find_first_not_of(set.str_, pos);
}
size_type tavrin_ustring::find_first_not_of(unsigned short ch, size_type pos) const {
  return str_.find_first_not_of(ch, pos);
}
size_type tavrin_ustring::find_last_not_of(const tavrin_ustring& set, size_type pos) const {
  return str_.find_last_not_of(set.str_, pos);
}
size_type tavrin_ustring::find_last_not_of(unsigned short ch, size_type pos) const {
  return str_.find_last_not_of(ch, pos);
}

// --- Trimming ----------------------------------------------------------------

tavrin_ustring& tavrin_ustring::trim() {
  TrimInPlace(*this, true, true);
  return *this;
}
tavrin_ustring tavrin_ustring::trim() const {
  return TrimmedCopy(*this, true, true);
}

tavrin_ustring& tavrin_ustring::trim_left() {
  TrimInPlace(*this, true, false);
  return *this;
}
tavrin_ustring tavrin_ustring::trim_left() const {
  return TrimmedCopy(*this, true, false);
}

tavrin_ustring& tavrin_ustring::trim_right() {
  TrimInPlace(*this, false, true);
  return *this;
}
tavrin_ustring tavrin_ustring::trim_right() const {
  return TrimmedCopy(*this, false, true);
}

tavrin_ustring& tavrin_ustring::TrimLeft(const tavrin_ustring& set) {
  const size_type p = find_first_not_of(set, 0);
  if (p == npos) {
    str_.clear();
  } else if (p > 0) {
    str_.erase(0, p);
  }
  return *this;
}

tavrin_ustring& tavrin_ustring::TrimRight(const tavrin_ustring& set) {
  // npos + 1 wraps to 0: every unit in `set` leaves nothing.
  const size_type keep = find_last_not_of(set, npos) + 1;
  if (keep < str_.size()) str_.erase(keep);
  return *this;
}

// --- Case ----------------------------------------------------------------------

tavrin_ustring& tavrin_ustring::toupper() {
  for (unsigned short& u : str_) u = ToUpperUnit(u);
  return *this;
}

tavrin_ustring& tavrin_ustring::tolower() {
  for (unsigned short& u : str_) u = ToLowerUnit(u);
  return *this;
}

tavrin_ustring tavrin_ustring::GetUppercase() const {
  tavrin_ustring copy(*this);
  copy.toupper();
  return copy;
}

tavrin_ustring tavrin_ustring::GetLowercase() const {
  tavrin_ustring copy(*this);
  copy.tolower();
  return copy;
}

int tavrin_ustring::compare_nocase(const tavrin_ustring& other) const {
  // Both buffers end in a zero unit, which ends the walk like the end of the
  // text (a zero is case-equal only to another zero).
  const unsigned short* a = c_str();
  const unsigned short* b = other.c_str();
  while (EqualNoCase(*a, *b)) {
    if (*a == 0) return 0;
    ++a;
    ++b;
  }
  return ToUpperUnit(*a) < ToUpperUnit(*b) ? -1 : 1;
}

namespace {

// Sort keys of the ASCII units for the natural order: 0 for the end of the
// text, 1 for every digit, and the upper-case letter plus one for the rest.
// Two ASCII units are case-equal exactly when their keys are equal and not
// 1; where two keys differ, their order is the order of the comparison's
// exit rules (end < digit < any other unit, the rest by upper case).
constexpr std::array<unsigned char, 128> MakeNaturalKeys() {
  std::array<unsigned char, 128> keys{};
  for (unsigned c = 1; c < 128; ++c) {
    if (c >= '0' && c <= '9') {
      keys[c] = 1;
    } else {
      const unsigned upper = c >= 'a' && c <= 'z' ? c - 0x20 : c;
      keys[c] = static_cast<unsigned char>(upper + 1);
    }
  }
  return keys;
}
constexpr std::array<unsigned char, 128> kNaturalKeys = MakeNaturalKeys();

// The natural order from `a` and `b` on: every rule, for units at any
// position (the member below handles the ASCII units that are equal or
// decide the result at once, and calls this for the rest, so that its own
// loop needs no saved registers).
[[gnu::noinline]] int NaturalCompareFrom(const unsigned short* a, const unsigned short* b) {
  for (;;) {
    const unsigned short ca = *a;
    const unsigned short cb = *b;
    if ((ca | cb) < 0x80) {
      // Both ASCII (file names mostly are): one table look-up each decides
      // case-equality and, when they differ, the result.
      const unsigned ka = kNaturalKeys[ca];
      const unsigned kb = kNaturalKeys[cb];
      if (ka != kb) return ka < kb ? -1 : 1;
      if (ka == 0) return 0;  // both texts ended together
      if (ka != 1) {
        ++a;
        ++b;
        continue;
      }
      // Two digits: their runs compare by value. Runs that start with the
      // same digit and have equal values go on after both ("007" and "7" are
      // the same number); runs that start with different digits and have
      // equal values end the comparison with 0, whatever follows ("01b"
      // against "1a"); callers rely on both.
      const size_type la = DigitRun(a);
      const size_type lb = DigitRun(b);
      const std::uint64_t va = RunValue(a, la);
      const std::uint64_t vb = RunValue(b, lb);
      if (va != vb) return va < vb ? -1 : 1;
      if (ca != cb) return 0;
      a += la;
      b += lb;
      continue;
    }
    // At least one unit above ASCII: the general rules.
    if (EqualNoCase(ca, cb)) {
      // Neither is 0 nor a digit (one of them is above ASCII and they are
      // case-equal).
      ++a;
      ++b;
      continue;
    }
    const bool da = IsDigit(ca);
    const bool db = IsDigit(cb);
    if (!da && db) return ca != 0 ? 1 : -1;
    if (da && !db) return cb != 0 ? -1 : 1;
    return ToUpperUnit(ca) < ToUpperUnit(cb) ? -1 : 1;
  }
}

}  // namespace

int tavrin_ustring::compare_intuitive_nocase(const tavrin_ustring& other) const {
  const unsigned short* a = c_str();
  const unsigned short* b = other.c_str();
  for (;;) {
    const unsigned short ca = *a;
    const unsigned short cb = *b;
    if ((ca | cb) >= 0x80) break;
    const unsigned ka = kNaturalKeys[ca];
    const unsigned kb = kNaturalKeys[cb];
    if (ka != kb) return ka < kb ? -1 : 1;
    if (ka <= 1) break;  // the end of both texts, or two digits
    ++a;
    ++b;
  }
  return NaturalCompareFrom(a, b);
}

// --- Replacement ---------------------------------------------------------------

int tavrin_ustring::replace_all(const tavrin_ustring& from, const tavrin_ustring& to) {
  if (from.compare(to) == 0) return 0;
  // An empty pattern would match everywhere without advancing.
  if (from.empty()) return 0;
  const size_type n = from.size();
  size_type hit = str_.find(from.str_, 0);
  if (hit == npos) return 0;
  string_type out;
  out.reserve(str_.size());
  size_type i = 0;
  int count = 0;
  while (hit != npos) {
    out.append(str_, i, hit - i);
    out.append(to.str_);
    ++count;
    i = hit + n;
    hit = str_.find(from.str_, i);
  }
  out.append(str_, i, npos);
  str_.swap(out);
  return count;
}

// --- Extraction ------------------------------------------------------------------

tavrin_ustring tavrin_ustring::Left(int n) const {
  if (n <= 0) return tavrin_ustring();
  const size_type count = static_cast<size_type>(n);
  if (count >= size()) return *this;
  return Piece(*this, 0, count);
}

tavrin_ustring tavrin_ustring::Right(int n) const {
  if (n <= 0) return tavrin_ustring();
  const size_type count = static_cast<size_type>(n);
  if (count >= size()) return *this;
  return Piece(*this, size() - count, count);
}

tavrin_ustring tavrin_ustring::Mid(int first, int count) const {
  return MidWide(*this, first, count);
}

tavrin_ustring tavrin_ustring::Mid(int first) const {
  return MidWide(*this, first, static_cast<long long>(size()) - first);
}

tavrin_ustring tavrin_ustring::SpanExcluding(const tavrin_ustring& set) const {
  const size_type p = find_first_of(set, 0);
  if (p == npos) return *this;
  return Piece(*this, 0, p);
}

tavrin_ustring tavrin_ustring::SpanIncluding(const tavrin_ustring& set) const {
  // Deliberately the part after the leading run of `set` units.
  const size_type p = find_first_not_of(set, 0);
  if (p == npos) return *this;
  if (p == 0) return tavrin_ustring();
  return Piece(*this, p, size() - p);
}

void tavrin_ustring::LeaveOnEachSide(unsigned int n) {
  if (n == 0) return;
  const size_type keep = n;
  if (str_.size() < 2 * keep + 3) return;
  static constexpr unsigned short kEllipsis[] = {'.', '.', '.'};
  str_.replace(keep, str_.size() - 2 * keep, kEllipsis, 3);
}

// --- Tokenising --------------------------------------------------------------------

tavrin_ustring tavrin_ustring::Tokenize(const tavrin_ustring& delims, int& start) const {
  if (start < 0) return tavrin_ustring();
  size_type pos = static_cast<size_type>(start);
  if (pos >= size()) return tavrin_ustring();
  tavrin_ustring token = NextToken(*this, delims, pos);
  start = static_cast<int>(pos);
  return token;
}

std::vector<tavrin_ustring> tavrin_ustring::TokenizeToVector(const tavrin_ustring& delims) const {
  std::vector<tavrin_ustring> tokens;
  if (delims.empty()) {
    // Tokenize would hand back the same rest forever.
    if (!empty()) tokens.push_back(*this);
    return tokens;
  }
  size_type pos = 0;
  for (;;) {
    tavrin_ustring token = NextToken(*this, delims, pos);
    if (token.empty()) break;
    tokens.push_back(std::move(token));
  }
  return tokens;
}

// --- Numbers -------------------------------------------------------------------------

bool tavrin_ustring::is_long() const {
  const std::string text = utf8();
  char* end = nullptr;
  (void)ParseLong(text, &end);
  return ConsumedAll(text, end);
}

bool tavrin_ustring::is_unsigned() const {
  const std::string text = utf8();
  char* end = nullptr;
  (void)ParseUnsigned(text, &end);
  return ConsumedAll(text, end);
}

bool tavrin_ustring::is_double() const {
  const std::string text = utf8();
  char* end = nullptr;
  (void)ParseDouble(text, &end);
  return ConsumedAll(text, end);
}

long tavrin_ustring::to_long() const {
  const std::string text = utf8();
  return ParseLong(text, nullptr);
}

int tavrin_ustring::to_int() const {
  // Narrowing keeps the low 32 bits.
  return static_cast<int>(to_long());
}

double tavrin_ustring::to_double() const {
  const std::string text = utf8();
  return ParseDouble(text, nullptr);
}

float tavrin_ustring::to_float() const {
  const double d = to_double();
  // Values that round beyond the largest float become infinite, as the
  // hardware conversion does; the cast itself would be undefined there.
  constexpr double kOverflow = 0x1.ffffffp+127;
  constexpr float kInf = std::numeric_limits<float>::infinity();
  if (std::isfinite(d) && std::fabs(d) >= kOverflow) return d > 0 ? kInf : -kInf;
  return static_cast<float>(d);
}

// --- Free operator ---------------------------------------------------------------------

tavrin_ustring operator+(const tavrin_ustring& a, const char* b) {
  tavrin_ustring result(a);
  if (b != nullptr && *b != '\0') result += tavrin_ustring(b);
  return result;
}

}  // namespace tavrin::utils
