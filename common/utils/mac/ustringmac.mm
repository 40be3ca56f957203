// ustringmac.mm - the Foundation platform formatter behind
// tavrin_ustring::FormatVPlatform (platform::FormatUtf16V).
//
// Foundation's formatter (initWithFormat:arguments:) writes the numbers; the
// library's own rules decide everything around them, so that a format gives
// the same text with Foundation as with the Linux layer:
//   1. the whole format is parsed first and rejected by the library's rules
//      (Foundation would write through "%n", accept numbered and unnumbered
//      conversions mixed, or read an object for "%@");
//   2. the arguments 1..max are read from a copy of the va_list, in order,
//      each with the type its conversions ask for;
//   3. the literal text is copied unit for unit. Each number is formatted by
//      Foundation from a one-conversion format (integers: the digits of the
//      magnitude; floating point: sign, digits and exponent at the given
//      precision); sign, "0x", precision zeros of integers and the width are
//      laid out here. Strings and characters are decoded by the library's
//      converters (8-bit strings as UTF-8, where Foundation would use its
//      default C-string encoding) and padded here.
// GNUstep's formatter (1.28, GCC's Objective-C runtime) misreads long double
// arguments, cuts the digits of large "%f" values short, fails on integer
// precisions in the tens of thousands and takes its decimal point from the C
// locale. The GNUstep build therefore takes floating-point text from the C
// library's snprintf, and formats under the "C" locale.
#import <Foundation/Foundation.h>
#include <locale.h>

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "common/utils/auto_release_pool.h"
#include "common/utils/convertutf.h"
#include "common/utils/internal/format_internal.h"
#include "common/utils/platform.h"
#include "common/utils/ustring.h"

namespace tavrin::platform {

namespace {

using Units = tavrin::utils::tavrin_ustring::string_type;

// How an argument is read from the va_list: integers by the size they are
// read with, so "%1$ld %1$lld" share a position on LP64.
enum class ArgKind : std::uint8_t { kNone, kInt, kLong, kLongLong, kDouble, kLongDouble, kPointer };

template <class T>
constexpr ArgKind IntegerKind() {
  if constexpr (sizeof(T) <= sizeof(int)) {
    return ArgKind::kInt;
  } else if constexpr (sizeof(T) == sizeof(long)) {
    return ArgKind::kLong;
  } else {
    return ArgKind::kLongLong;
  }
}

union ArgValue {
  long long i;
  double d;
  long double ld;
  const void* p;
};

enum class Length : std::uint8_t { kNone, kHH, kH, kL, kLL, kJ, kZ, kT, kBigL };

constexpr std::uint8_t kLeft = 1, kPlus = 2, kSpace = 4, kAlt = 8, kZero = 16;

// One conversion and the literal text in front of it.
struct Conversion {
  std::size_t literal_begin = 0;
  std::size_t literal_end = 0;
  int width = -1;                   // -1: none
  int precision = -1;               // -1: none
  std::uint32_t width_arg = 0;      // 1-based position of a "*" width
  std::uint32_t precision_arg = 0;  // 1-based position of a "*" precision
  std::uint32_t value_arg = 0;      // 1-based position of the value
  std::uint8_t flags = 0;
  Length length = Length::kNone;
  char letter = 0;  // 'd', 's', ..., '%' for "%%", '@' for "%@"
};

bool IsDigit(unsigned short c) {
  return c >= u'0' && c <= u'9';
}

class Parser {
 public:
  Parser(const unsigned short* f, std::size_t n)
      : f_(f), n_(n), max_position_(n > UINT32_MAX ? UINT32_MAX : n) {}

  // Fills `conversions` and `kinds` (the type of every argument position);
  // `tail` is where the literal text after the last conversion begins.
  // False when the format is rejected.
  bool Parse(std::vector<Conversion>& conversions, std::vector<ArgKind>& kinds, std::size_t& tail);

 private:
  enum class Mode { kUnknown, kSequential, kNumbered };

  bool ReadNumber(unsigned long long limit, unsigned long long& value) {
    value = 0;
    while (i_ < n_ && IsDigit(f_[i_])) {
      value = value * 10 + (f_[i_] - u'0');
      if (value > limit) return false;
      ++i_;
    }
    return true;
  }

  // Records that argument `position` (0: the next sequential one) is read
  // with `kind`.
  bool Use(std::uint32_t position, ArgKind kind, std::vector<ArgKind>& kinds, std::uint32_t& used) {
    const Mode wanted = position == 0 ? Mode::kSequential : Mode::kNumbered;
    if (mode_ == Mode::kUnknown) mode_ = wanted;
    if (mode_ != wanted) return false;
    if (position == 0) position = ++next_sequential_;
    if (kinds.size() < position) kinds.resize(position, ArgKind::kNone);
    ArgKind& slot = kinds[position - 1];
    if (slot != ArgKind::kNone && slot != kind) return false;
    slot = kind;
    used = position;
    return true;
  }

  // "*" (already consumed) optionally followed by "m$".
  bool Star(std::vector<ArgKind>& kinds, std::uint32_t& used) {
    std::uint32_t position = 0;
    if (i_ < n_ && IsDigit(f_[i_])) {
      if (f_[i_] == u'0') return false;
      unsigned long long value = 0;
      if (!ReadNumber(max_position_, value)) return false;
      if (i_ >= n_ || f_[i_] != u'$') return false;
      ++i_;
      position = static_cast<std::uint32_t>(value);
    }
    return Use(position, ArgKind::kInt, kinds, used);
  }

  static bool KindFor(Conversion& c, unsigned short letter, ArgKind& kind);

  const unsigned short* f_;
  std::size_t n_;
  std::size_t i_ = 0;
  // A gap-free numbered format cannot name a position beyond its own length.
  unsigned long long max_position_;
  Mode mode_ = Mode::kUnknown;
  std::uint32_t next_sequential_ = 0;
};

// The argument type of conversion `letter` with the length of `c`; false for
// a letter or letter/length pair that is not accepted.
bool Parser::KindFor(Conversion& c, unsigned short letter, ArgKind& kind) {
  switch (letter) {
    case u'd':
    case u'i':
    case u'u':
    case u'o':
    case u'x':
    case u'X':
      switch (c.length) {
        case Length::kNone:
        case Length::kHH:
        case Length::kH:
          kind = ArgKind::kInt;
          return true;
        case Length::kL:
          kind = IntegerKind<long>();
          return true;
        case Length::kLL:
          kind = IntegerKind<long long>();
          return true;
        case Length::kJ:
          kind = IntegerKind<std::intmax_t>();
          return true;
        case Length::kZ:
          kind = IntegerKind<std::size_t>();
          return true;
        case Length::kT:
          kind = IntegerKind<std::ptrdiff_t>();
          return true;
        case Length::kBigL:
          return false;
      }
      return false;
    case u'f':
    case u'F':
    case u'e':
    case u'E':
    case u'g':
    case u'G':
    case u'a':
    case u'A':
      if (c.length == Length::kBigL) {
        kind = ArgKind::kLongDouble;
        return true;
      }
      kind = ArgKind::kDouble;
      return c.length == Length::kNone || c.length == Length::kL;
    case u'c':
      if (c.length == Length::kL) {
        kind = IntegerKind<wint_t>();
        return true;
      }
      kind = ArgKind::kInt;
      return c.length == Length::kNone;
    case u's':
      kind = ArgKind::kPointer;
      return c.length == Length::kNone || c.length == Length::kL;
    case u'C':
      kind = ArgKind::kInt;
      return c.length == Length::kNone;
    case u'S':
    case u'p':
      kind = ArgKind::kPointer;
      return c.length == Length::kNone;
    default:
      // "%n" (never written through), an unknown letter, a zero unit.
      return false;
  }
}

bool Parser::Parse(std::vector<Conversion>& conversions, std::vector<ArgKind>& kinds,
                   std::size_t& tail) {
  std::size_t literal_begin = 0;
  while (i_ < n_) {
    i_ = tavrin::utils::detail::FindPercentUnit(f_, i_, n_);
    if (i_ == n_) break;
    Conversion c;
    c.literal_begin = literal_begin;
    c.literal_end = i_;
    ++i_;
    if (i_ >= n_) return false;  // a lone "%" at the end
    if (f_[i_] == u'%' || f_[i_] == u'@') {
      c.letter = static_cast<char>(f_[i_++]);
      conversions.push_back(c);
      literal_begin = i_;
      continue;
    }

    // "n$" first; digits without "$" are a width.
    std::uint32_t position = 0;
    if (IsDigit(f_[i_]) && f_[i_] != u'0') {
      const std::size_t start = i_;
      unsigned long long value = 0;
      if (ReadNumber(ULLONG_MAX / 10 - 9, value) && i_ < n_ && f_[i_] == u'$') {
        if (value > max_position_) return false;
        position = static_cast<std::uint32_t>(value);
        ++i_;
      } else {
        i_ = start;
      }
    }

    for (bool more = true; more && i_ < n_;) {
      switch (f_[i_]) {
        case u'-':
          c.flags |= kLeft;
          break;
        case u'+':
          c.flags |= kPlus;
          break;
        case u' ':
          c.flags |= kSpace;
          break;
        case u'#':
          c.flags |= kAlt;
          break;
        case u'0':
          c.flags |= kZero;
          break;
        case u'\'':
          break;  // grouping: accepted, never done
        default:
          more = false;
          continue;
      }
      ++i_;
    }

    if (i_ < n_ && f_[i_] == u'*') {
      ++i_;
      if (!Star(kinds, c.width_arg)) return false;
    } else if (i_ < n_ && IsDigit(f_[i_])) {
      unsigned long long value = 0;
      if (!ReadNumber(INT_MAX, value)) return false;
      c.width = static_cast<int>(value);
    }

    if (i_ < n_ && f_[i_] == u'.') {
      ++i_;
      if (i_ < n_ && f_[i_] == u'*') {
        ++i_;
        if (!Star(kinds, c.precision_arg)) return false;
      } else {
        unsigned long long value = 0;
        if (!ReadNumber(INT_MAX, value)) return false;
        c.precision = static_cast<int>(value);  // "." alone is 0
      }
    }

    if (i_ < n_) {
      const unsigned short l = f_[i_];
      const unsigned short next = i_ + 1 < n_ ? f_[i_ + 1] : 0;
      std::size_t used = 1;
      if (l == u'h') {
        c.length = next == u'h' ? Length::kHH : Length::kH;
      } else if (l == u'l') {
        c.length = next == u'l' ? Length::kLL : Length::kL;
      } else if (l == u'j') {
        c.length = Length::kJ;
      } else if (l == u'z') {
        c.length = Length::kZ;
      } else if (l == u't') {
        c.length = Length::kT;
      } else if (l == u'L') {
        c.length = Length::kBigL;
      } else {
        used = 0;
      }
      if (c.length == Length::kHH || c.length == Length::kLL) used = 2;
      i_ += used;
    }

    if (i_ >= n_) return false;  // the format ends inside a conversion
    const unsigned short letter = f_[i_++];
    ArgKind kind = ArgKind::kNone;
    if (!KindFor(c, letter, kind)) return false;
    c.letter = static_cast<char>(letter);
    if (!Use(position, kind, kinds, c.value_arg)) return false;
    conversions.push_back(c);
    literal_begin = i_;
  }
  tail = literal_begin;
  for (ArgKind k : kinds) {
    if (k == ArgKind::kNone) return false;  // a position below the highest never read
  }
  return true;
}

// --- Writing ---------------------------------------------------------------

// Appends n units as they are. (The string's traits copy like ustrncpy,
// which would stop at a zero unit.)
void AppendRaw(Units& out, const unsigned short* p, std::size_t n) {
  if (n == 0) return;
  const std::size_t old = out.size();
  out.resize(old + n);
  std::memcpy(out.data() + old, p, n * sizeof(unsigned short));
}

void AppendUnits(Units& out, const unsigned short* units, std::size_t n, std::size_t width,
                 bool left) {
  const std::size_t pad = width > n ? width - n : 0;
  if (!left) out.append(pad, u' ');
  AppendRaw(out, units, n);
  if (left) out.append(pad, u' ');
}

// Converted UTF-16 text in `units` (measured `n`) padded to `width`.
template <class Convert>
void AppendConverted(Units& out, std::size_t n, std::size_t width, bool left, Convert convert) {
  const std::size_t pad = width > n ? width - n : 0;
  if (!left) out.append(pad, u' ');
  if (n != 0) {
    const std::size_t old = out.size();
    out.resize(old + n);
    if (!convert(out.data() + old, n)) out.resize(old);
  }
  if (left) out.append(pad, u' ');
}

// UTF-8 bytes (zero-terminated, or at most `precision` bytes cut back to the
// last whole sequence); a sequence that is not valid UTF-8 inserts nothing.
void AppendUtf8(Units& out, const char* s, int precision, std::size_t width, bool left) {
  std::size_t n = 0;
  if (precision < 0) {
    n = std::strlen(s);
  } else {
    const std::size_t limit = static_cast<std::size_t>(precision);
    while (n < limit && s[n] != 0) ++n;
    if (n == limit) {
      const auto* b = reinterpret_cast<const unsigned char*>(s);
      std::size_t i = 0;
      while (i < n) {
        const std::size_t len = b[i] >= 0xF0 && b[i] < 0xF8   ? 4
                                : b[i] >= 0xE0 && b[i] < 0xF0 ? 3
                                : b[i] >= 0xC0 && b[i] < 0xE0 ? 2
                                                              : 1;
        if (i + len > n) break;
        i += len;
      }
      n = i;
    }
  }
  const auto* begin = reinterpret_cast<const UTF8*>(s);
  const int needed = n == 0 ? 0 : SizeNeededForUTF16(begin, begin + n, lenientConversion);
  AppendConverted(out, needed < 0 ? 0 : static_cast<std::size_t>(needed), width, left,
                  [&](unsigned short* target, std::size_t size) {
                    const UTF8* source = begin;
                    UTF16* t = target;
                    return ConvertUTF8toUTF16(&source, begin + n, &t, target + size,
                                              lenientConversion) == conversionOK;
                  });
}

// UTF-32 values converted leniently (values above U+10FFFF become U+FFFD).
void AppendUtf32(Units& out, const UTF32* s, std::size_t n, std::size_t width, bool left) {
  const int needed = n == 0 ? 0 : SizeNeededForUTF32To16(s, s + n, lenientConversion);
  AppendConverted(out, needed < 0 ? 0 : static_cast<std::size_t>(needed), width, left,
                  [&](unsigned short* target, std::size_t size) {
                    const UTF32* source = s;
                    UTF16* t = target;
                    return ConvertUTF32toUTF16(&source, s + n, &t, target + size,
                                               lenientConversion) == conversionOK;
                  });
}

// Foundation's text for `spec` (one printf conversion, ASCII) and the one
// argument that follows, appended to `text`. False when Foundation gives
// nothing.
bool AppendFoundationText(Units& text, const char* spec, ...) {
  NSString* format = [[NSString alloc] initWithBytes:spec
                                              length:std::strlen(spec)
                                            encoding:NSASCIIStringEncoding];
  va_list args;
  va_start(args, spec);
  NSString* result = [[NSString alloc] initWithFormat:format arguments:args];
  va_end(args);
  const bool ok = result != nil;
  if (ok) {
    const NSUInteger n = [result length];
    const std::size_t old = text.size();
    text.resize(old + n);
    [result getCharacters:text.data() + old range:NSMakeRange(0, n)];
  }
  [result release];
  [format release];
  return ok;
}

// Writes sign and prefix, `zeros` zeros and the digits, padded to `width`:
// spaces in front, behind with '-', or zeros after the prefix when
// `zero_pad` holds.
void AppendLaidOut(Units& out, const unsigned short* prefix, std::size_t prefix_len,
                   std::size_t zeros, const unsigned short* digits, std::size_t digit_count,
                   std::size_t width, bool left, bool zero_pad) {
  const std::size_t total = prefix_len + zeros + digit_count;
  const std::size_t pad = width > total ? width - total : 0;
  if (!left && !zero_pad) out.append(pad, u' ');
  AppendRaw(out, prefix, prefix_len);
  out.append(zeros + (zero_pad && !left ? pad : 0), u'0');
  AppendRaw(out, digits, digit_count);
  if (left) out.append(pad, u' ');
}

// An integer: Foundation writes the digits of the magnitude; precision,
// sign, "0x" and "#" zeros and the width are applied here (GNUstep's
// formatter fails on very large integer precisions).
bool AppendInteger(Units& out, char letter, std::uint8_t flags, unsigned long long magnitude,
                   bool negative, int width, int precision) {
  Units digits;
  // Precision 0 with the value 0 writes no digits at all.
  if (!(magnitude == 0 && precision == 0)) {
    const char* spec = letter == 'o'                    ? "%llo"
                       : letter == 'x' || letter == 'p' ? "%llx"
                       : letter == 'X'                  ? "%llX"
                                                        : "%llu";
    if (!AppendFoundationText(digits, spec, magnitude)) return false;
  }
  std::size_t zeros = 0;
  if (precision > 0 && static_cast<std::size_t>(precision) > digits.size()) {
    zeros = static_cast<std::size_t>(precision) - digits.size();
  }
  const bool nonzero_digits = !digits.empty() && digits[0] != u'0';
  if (letter == 'o' && (flags & kAlt) && zeros == 0 && (digits.empty() || nonzero_digits)) {
    zeros = 1;  // "#" makes the first octal digit a zero
  }
  unsigned short prefix[3];
  std::size_t prefix_len = 0;
  const bool is_signed = letter == 'd' || letter == 'i' || letter == 'p';
  if (negative) {
    prefix[prefix_len++] = u'-';
  } else if (is_signed && (flags & kPlus)) {
    prefix[prefix_len++] = u'+';
  } else if (is_signed && (flags & kSpace)) {
    prefix[prefix_len++] = u' ';
  }
  if ((letter == 'x' || letter == 'X' || letter == 'p') && ((flags & kAlt) || letter == 'p') &&
      nonzero_digits) {
    prefix[prefix_len++] = u'0';
    prefix[prefix_len++] = letter == 'X' ? u'X' : u'x';
  }
  AppendLaidOut(out, prefix, prefix_len, zeros, digits.data(), digits.size(),
                static_cast<std::size_t>(width), (flags & kLeft) != 0,
                (flags & kZero) != 0 && precision < 0);
  return true;
}

// "%" with the sign and "#" flags of a floating-point conversion, its
// precision when it has one, `length` and `letter`. Width and "0" are
// applied by AppendLaidOut.
std::string FloatSpec(std::uint8_t flags, int precision, const char* length, char letter) {
  std::string s = "%";
  if (flags & kPlus) s += '+';
  if (flags & kSpace) s += ' ';
  if (flags & kAlt) s += '#';
  if (precision >= 0) s += '.' + std::to_string(precision);
  s += length;
  s += letter;
  return s;
}

#if defined(GNUSTEP)
// Switches the calling thread to the "C" locale for the life of the object:
// GNUstep's formatter takes its decimal point from the C library's locale.
class CLocaleScope {
 public:
  CLocaleScope() {
    static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    if (c_locale != static_cast<locale_t>(nullptr)) previous_ = uselocale(c_locale);
  }
  ~CLocaleScope() {
    if (previous_ != static_cast<locale_t>(nullptr)) uselocale(previous_);
  }
  CLocaleScope(const CLocaleScope&) = delete;
  CLocaleScope& operator=(const CLocaleScope&) = delete;

 private:
  locale_t previous_ = static_cast<locale_t>(nullptr);
};

// Floating-point text from the C library's snprintf; the caller holds the
// "C" locale. GNUstep's own formatter misreads long double arguments and
// cuts the digits of large "%f" values short, so the GNUstep build takes
// floating-point text from here.
template <class Float>
bool AppendCFloatText(Units& text, const std::string& spec, Float value) {
  char stack[128];
  const int n = std::snprintf(stack, sizeof(stack), spec.c_str(), value);
  if (n < 0) return false;
  if (static_cast<std::size_t>(n) < sizeof(stack)) {
    text.append(stack, stack + n);
    return true;
  }
  std::unique_ptr<char[]> heap(new char[static_cast<std::size_t>(n) + 1]);
  if (std::snprintf(heap.get(), static_cast<std::size_t>(n) + 1, spec.c_str(), value) != n) {
    return false;
  }
  text.append(heap.get(), heap.get() + n);
  return true;
}
#endif

// A floating-point number: Foundation (the C library under GNUstep) writes
// sign, digits and exponent; the width is applied here. With "0" a finite number is padded after
// its sign and "0x"; infinities and NaNs are padded with spaces.
template <class Float>
bool AppendFloat(Units& out, char letter, std::uint8_t flags, Float value, int width,
                 int precision) {
  Units body;
  const std::string spec =
      FloatSpec(flags, precision, std::is_same_v<Float, long double> ? "L" : "", letter);
#if defined(GNUSTEP)
  if (!AppendCFloatText(body, spec, value)) return false;
#else
  if (!AppendFoundationText(body, spec.c_str(), value)) return false;
#endif
  std::size_t prefix_len = 0;
  if (!body.empty() && (body[0] == u'-' || body[0] == u'+' || body[0] == u' ')) prefix_len = 1;
  if ((letter == 'a' || letter == 'A') && body.size() >= prefix_len + 2 &&
      body[prefix_len] == u'0' && (body[prefix_len + 1] == u'x' || body[prefix_len + 1] == u'X')) {
    prefix_len += 2;
  }
  const bool finite = value - value == 0;  // false for infinities and NaNs
  AppendLaidOut(out, body.data(), prefix_len, 0, body.data() + prefix_len, body.size() - prefix_len,
                static_cast<std::size_t>(width), (flags & kLeft) != 0,
                (flags & kZero) != 0 && finite);
  return true;
}

bool WriteConversion(Units& out, const Conversion& c, const std::vector<ArgValue>& args) {
  if (c.letter == '%') {
    out.push_back(u'%');
    return true;
  }
  if (c.letter == '@') {
    out.push_back(u'%');
    out.push_back(u'@');
    return true;
  }

  std::uint8_t flags = c.flags;
  int width = c.width < 0 ? 0 : c.width;
  int precision = c.precision;
  if (c.width_arg != 0) {
    const int w = static_cast<int>(args[c.width_arg - 1].i);
    if (w < 0) {
      if (w == INT_MIN) return false;  // its magnitude is no int
      flags |= kLeft;
      width = -w;
    } else {
      width = w;
    }
  }
  if (c.precision_arg != 0) {
    const int p = static_cast<int>(args[c.precision_arg - 1].i);
    precision = p < 0 ? -1 : p;
  }
  const bool left = (flags & kLeft) != 0;
  const std::size_t field = static_cast<std::size_t>(width);
  const ArgValue& v = args[c.value_arg - 1];

  switch (c.letter) {
    case 'd':
    case 'i': {
      long long value = 0;
      switch (c.length) {
        case Length::kHH:
          value = static_cast<signed char>(v.i);
          break;
        case Length::kH:
          value = static_cast<short>(v.i);
          break;
        case Length::kNone:
          value = static_cast<int>(v.i);
          break;
        case Length::kL:
          value = static_cast<long>(v.i);
          break;
        case Length::kZ:
          value = static_cast<std::make_signed_t<std::size_t>>(v.i);
          break;
        case Length::kT:
          value = static_cast<std::ptrdiff_t>(v.i);
          break;
        default:  // ll, j
          value = v.i;
          break;
      }
      const bool negative = value < 0;
      const unsigned long long magnitude = negative ? 0ULL - static_cast<unsigned long long>(value)
                                                    : static_cast<unsigned long long>(value);
      return AppendInteger(out, c.letter, flags, magnitude, negative, width, precision);
    }
    case 'u':
    case 'o':
    case 'x':
    case 'X': {
      unsigned long long value = 0;
      switch (c.length) {
        case Length::kHH:
          value = static_cast<unsigned char>(v.i);
          break;
        case Length::kH:
          value = static_cast<unsigned short>(v.i);
          break;
        case Length::kNone:
          value = static_cast<unsigned int>(v.i);
          break;
        case Length::kL:
          value = static_cast<unsigned long>(v.i);
          break;
        case Length::kZ:
          value = static_cast<std::size_t>(v.i);
          break;
        case Length::kT:
          value = static_cast<std::make_unsigned_t<std::ptrdiff_t>>(v.i);
          break;
        default:  // ll, j
          value = static_cast<unsigned long long>(v.i);
          break;
      }
      return AppendInteger(out, c.letter, flags, value, false, width, precision);
    }
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      if (c.length == Length::kBigL)
        return AppendFloat(out, c.letter, flags, v.ld, width, precision);
      return AppendFloat(out, c.letter, flags, v.d, width, precision);
    case 'p': {
      if (v.p == nullptr) {
        static const unsigned short kNil[] = {u'(', u'n', u'i', u'l', u')'};
        AppendUnits(out, kNil, 5, field, left);
        return true;
      }
      // Like "%#lx" of the address, sign flags honoured.
      return AppendInteger(out, 'p', flags, reinterpret_cast<std::uintptr_t>(v.p), false, width,
                           precision);
    }
    case 'c': {
      if (c.length == Length::kL) {
        const UTF32 value = static_cast<UTF32>(static_cast<wint_t>(v.i));
        AppendUtf32(out, &value, value == 0 ? 0 : 1, field, left);
        return true;
      }
      // One byte read as UTF-8: ASCII is written; a zero byte or a lone
      // byte above 0x7F inserts nothing.
      const unsigned char byte = static_cast<unsigned char>(v.i);
      const unsigned short unit = byte;
      AppendUnits(out, &unit, byte != 0 && byte < 0x80 ? 1 : 0, field, left);
      return true;
    }
    case 'C': {
      const unsigned short unit = static_cast<unsigned short>(v.i);
      AppendUnits(out, &unit, unit != 0 ? 1 : 0, field, left);
      return true;
    }
    case 's': {
      if (v.p == nullptr) {
        AppendUtf8(out, "(null)", precision, field, left);
        return true;
      }
      if (c.length == Length::kL) {
        static_assert(sizeof(wchar_t) == sizeof(UTF32), "wchar_t strings are read as UTF-32");
        const auto* text = static_cast<const wchar_t*>(v.p);
        std::size_t n = 0;
        if (precision < 0) {
          n = std::wcslen(text);
        } else {
          while (n < static_cast<std::size_t>(precision) && text[n] != 0) ++n;
        }
        AppendUtf32(out, reinterpret_cast<const UTF32*>(text), n, field, left);
        return true;
      }
      AppendUtf8(out, static_cast<const char*>(v.p), precision, field, left);
      return true;
    }
    case 'S': {
      const auto* text = static_cast<const unsigned short*>(v.p);
      if (text == nullptr) {
        AppendUtf8(out, "(null)", precision, field, left);
        return true;
      }
      std::size_t n = 0;
      if (precision < 0) {
        while (text[n] != 0) ++n;
      } else {
        while (n < static_cast<std::size_t>(precision) && text[n] != 0) ++n;
        // Cut by the precision: half a surrogate pair is never kept.
        if (n == static_cast<std::size_t>(precision) && n > 0 && text[n - 1] >= 0xD800 &&
            text[n - 1] <= 0xDBFF) {
          --n;
        }
      }
      AppendUnits(out, text, n, field, left);
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

bool FormatUtf16V(const unsigned short* format, unsigned long length, va_list args,
                  tavrin_ustring& out) {
  if (format == nullptr || length == 0) {
    out.str().clear();
    return true;
  }
  std::vector<Conversion> conversions;
  std::vector<ArgKind> kinds;
  std::size_t tail = 0;
  Parser parser(format, length);
  if (length > UINT32_MAX || !parser.Parse(conversions, kinds, tail)) {
    out.str().clear();
    return false;
  }

  std::vector<ArgValue> values(kinds.size(), ArgValue{});
  if (!kinds.empty()) {
    va_list ap;
    va_copy(ap, args);
    for (std::size_t k = 0; k < kinds.size(); ++k) {
      switch (kinds[k]) {
        case ArgKind::kInt:
          values[k].i = va_arg(ap, int);
          break;
        case ArgKind::kLong:
          values[k].i = va_arg(ap, long);
          break;
        case ArgKind::kLongLong:
          values[k].i = va_arg(ap, long long);
          break;
        case ArgKind::kDouble:
          values[k].d = va_arg(ap, double);
          break;
        case ArgKind::kLongDouble:
          values[k].ld = va_arg(ap, long double);
          break;
        case ArgKind::kPointer:
          values[k].p = va_arg(ap, const void*);
          break;
        case ArgKind::kNone:
          break;
      }
    }
    va_end(ap);
  }

  // Built aside: `out` may hold the format or an argument.
  Units text;
  text.reserve(length);
  {
    const AutoReleasePool pool;  // Foundation may autorelease while formatting
#if defined(GNUSTEP)
    const CLocaleScope c_locale;
#endif
    for (const Conversion& c : conversions) {
      AppendRaw(text, format + c.literal_begin, c.literal_end - c.literal_begin);
      if (!WriteConversion(text, c, values)) {
        out.str().clear();
        return false;
      }
    }
  }
  AppendRaw(text, format + tail, length - tail);
  out.str().swap(text);
  return true;
}

}  // namespace tavrin::platform
