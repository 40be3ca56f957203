// format_engine.cpp - the library's printf-style formatter of a UTF-16
// format into a UTF-16 string, with positional arguments: the engine behind
// both platform layers' FormatUtf16V (see internal/format_engine.h).
//
// The work is done in three passes so that positional arguments can be read
// from a va_list, which can only be walked front to back:
//   1. parse the whole format into conversion records, noting for every
//      argument position the type it must be read with (a position used with
//      two types of different size or class rejects the format);
//   2. read arguments 1..max from a copy of the va_list, in order;
//   3. write the literal text and the conversions into a stack buffer (moved
//      to the heap when it fills), copied into the target once at the end.
// Integers, characters and strings are written here. Floating-point digits
// of finite doubles come from std::to_chars (printf's exact output in the "C"
// locale, several times faster); every other case ("#", long double,
// infinities, NaNs, "%a", a non-default rounding mode) comes from snprintf on
// a small stack buffer (a heap buffer when a precision asks for more), run
// under the "C" locale (platform::UseCLocale) so the decimal point is always
// "."; widths are applied here, so no width is limited by a buffer. A
// platform layer may supply the digits of integers and the text of
// floating-point numbers itself (FormatNumberText); the layout around them
// stays the engine's.
#include <cfenv>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <type_traits>

#include "common/utils/convertutf.h"
#include "common/utils/internal/format_engine.h"
#include "common/utils/internal/format_internal.h"
#include "common/utils/platform.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::detail {

namespace {

using Units = tavrin::utils::tavrin_ustring::string_type;

// A vector that keeps its first N elements inside the object, so formats of
// ordinary size parse without touching the heap. T must be trivially
// copyable.
template <class T, std::size_t N>
class SmallVector {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  SmallVector() = default;
  SmallVector(const SmallVector&) = delete;
  SmallVector& operator=(const SmallVector&) = delete;

  std::size_t size() const { return size_; }
  T& operator[](std::size_t i) { return data_[i]; }
  const T& operator[](std::size_t i) const { return data_[i]; }
  T& back() { return data_[size_ - 1]; }

  void push_back(const T& v) {
    if (size_ == capacity_) Grow(size_ + 1);
    data_[size_++] = v;
  }
  // Appends an element set to `v` and returns it, to be filled in place
  // (building a record on the stack and copying it in would read back the
  // narrow stores that built it through wide loads, which stalls).
  T& emplace_back(const T& v) {
    if (size_ == capacity_) Grow(size_ + 1);
    data_[size_] = v;
    return data_[size_++];
  }
  // Grows to `n` elements, new ones set to `fill`; never shrinks.
  void GrowTo(std::size_t n, const T& fill) {
    if (n <= size_) return;
    if (n > capacity_) Grow(n);
    for (std::size_t i = size_; i < n; ++i) data_[i] = fill;
    size_ = n;
  }
  // Grows to `n` elements and leaves the new ones unset, for a caller that
  // writes every one of them next; never shrinks.
  void GrowUnset(std::size_t n) {
    if (n <= size_) return;
    if (n > capacity_) Grow(n);
    size_ = n;
  }

 private:
  void Grow(std::size_t at_least) {
    std::size_t cap = capacity_ * 2;
    if (cap < at_least) cap = at_least;
    std::unique_ptr<T[]> bigger(new T[cap]);
    std::memcpy(static_cast<void*>(bigger.get()), data_, size_ * sizeof(T));
    heap_ = std::move(bigger);
    data_ = heap_.get();
    capacity_ = cap;
  }

  T inline_[N];
  std::unique_ptr<T[]> heap_;
  T* data_ = inline_;
  std::size_t size_ = 0;
  std::size_t capacity_ = N;
};

// The text being built: units in a stack buffer that moves to the heap when
// it fills. Copied into the target string once, at the end, so the target
// may be the string that holds the format or an argument.
class OutBuffer {
 public:
  OutBuffer() = default;
  OutBuffer(const OutBuffer&) = delete;
  OutBuffer& operator=(const OutBuffer&) = delete;

  std::size_t size() const { return size_; }
  const unsigned short* data() const { return data_; }

  // Room for `n` more units, returned for the caller to fill.
  unsigned short* Extend(std::size_t n) {
    if (n > capacity_ - size_) Grow(n);
    unsigned short* p = data_ + size_;
    size_ += n;
    return p;
  }
  void Truncate(std::size_t n) {
    if (n < size_) size_ = n;
  }
  void Push(unsigned short unit) { *Extend(1) = unit; }
  void Append(const unsigned short* units, std::size_t n) {
    if (n != 0) std::memcpy(Extend(n), units, n * sizeof(unsigned short));
  }
  void Fill(std::size_t n, unsigned short unit) {
    unsigned short* p = Extend(n);
    for (std::size_t i = 0; i < n; ++i) p[i] = unit;
  }
  void AppendAscii(const char* s, std::size_t n) {
    unsigned short* p = Extend(n);
    for (std::size_t i = 0; i < n; ++i) p[i] = static_cast<unsigned char>(s[i]);
  }

 private:
  void Grow(std::size_t more) {
    if (more > SIZE_MAX / sizeof(unsigned short) - size_) throw std::bad_alloc();
    std::size_t cap = capacity_ * 2;
    if (cap < size_ + more) cap = size_ + more;
    std::unique_ptr<unsigned short[]> bigger(new unsigned short[cap]);
    std::memcpy(bigger.get(), data_, size_ * sizeof(unsigned short));
    heap_ = std::move(bigger);
    data_ = heap_.get();
    capacity_ = cap;
  }

  static constexpr std::size_t kInline = 512;
  unsigned short inline_[kInline];
  std::unique_ptr<unsigned short[]> heap_;
  unsigned short* data_ = inline_;
  std::size_t size_ = 0;
  std::size_t capacity_ = kInline;
};

// How an argument is read from the va_list. Integer kinds are named by the
// size they are read with, so "%1$ld %1$lld" share a position on LP64.
enum class ArgKind : std::uint8_t { kNone, kInt, kLong, kLongLong, kDouble, kLongDouble, kPointer };

template <class T>
constexpr ArgKind IntegerKind() {
  if constexpr (sizeof(T) <= sizeof(int)) {
    return ArgKind::kInt;  // promoted to int when passed
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

enum Flag : std::uint8_t {
  kFlagLeft = 1,   // '-'
  kFlagPlus = 2,   // '+'
  kFlagSpace = 4,  // ' '
  kFlagAlt = 8,    // '#'
  kFlagZero = 16,  // '0'
};

// One conversion and the literal text in front of it.
struct Spec {
  std::uint32_t literal_begin;
  std::uint32_t literal_end;
  int width;                    // -1: none
  int precision;                // -1: none
  std::uint32_t width_arg;      // 1-based position of a "*" width, 0 when none
  std::uint32_t precision_arg;  // 1-based position of a "*" precision, 0 when none
  std::uint32_t value_arg;      // 1-based position of the value, 0 when none
  std::uint8_t flags;
  Length length;
  char conversion;  // 'd', 'x', 's', ..., '%' for "%%", '@' for "%@"
};

constexpr int kNoValue = -1;

bool IsDigit(unsigned short c) {
  return c >= u'0' && c <= u'9';
}

// A letter that is not a length modifier: after "%" or "%n$" it can only be
// the conversion itself.
bool IsBareConversion(unsigned short c) {
  const bool letter = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
  return letter && c != u'h' && c != u'l' && c != u'j' && c != u'z' && c != u't' && c != u'L';
}

// Parses the whole format. Returns false when it must be rejected.
class Parser {
 public:
  Parser(const unsigned short* format, std::size_t length) : f_(format), n_(length) {}

  bool Parse(SmallVector<Spec, 16>& specs, SmallVector<ArgKind, 16>& kinds, std::size_t& tail);

 private:
  enum class Mode { kUnknown, kSequential, kNumbered };

  // Reads a decimal number at i_ (at least one digit). False on overflow of
  // `limit`.
  bool ReadNumber(unsigned long long limit, unsigned long long& value) {
    value = 0;
    while (i_ < n_ && IsDigit(f_[i_])) {
      value = value * 10 + (f_[i_] - u'0');
      if (value > limit) return false;
      ++i_;
    }
    return true;
  }

  // Records a use of argument `position` (0: the next sequential one) with
  // `kind` and stores the position used.
  bool UseArgument(std::uint32_t position, ArgKind kind, SmallVector<ArgKind, 16>& kinds,
                   std::uint32_t& used) {
    const Mode wanted = position == 0 ? Mode::kSequential : Mode::kNumbered;
    if (mode_ == Mode::kUnknown) mode_ = wanted;
    if (mode_ != wanted) return false;  // numbered and unnumbered mixed
    if (position == 0) position = ++next_sequential_;
    if (position == kinds.size() + 1) {
      // The next position (the usual case): appended, nothing read back.
      kinds.push_back(kind);
      used = position;
      return true;
    }
    if (position > kinds.size()) {
      // New positions past a gap: the slot is unused, nothing is read back.
      kinds.GrowTo(position, ArgKind::kNone);
    } else {
      const ArgKind slot = kinds[position - 1];
      if (slot != ArgKind::kNone && slot != kind) return false;
    }
    kinds[position - 1] = kind;
    used = position;
    return true;
  }

  // A "*" or "*m$" width or precision at i_ (just after the "*").
  bool ReadStarArgument(SmallVector<ArgKind, 16>& kinds, std::uint32_t& used) {
    std::uint32_t position = 0;
    if (i_ < n_ && IsDigit(f_[i_])) {
      if (f_[i_] == u'0') return false;
      unsigned long long value = 0;
      if (!ReadNumber(max_position_, value)) return false;
      if (i_ >= n_ || f_[i_] != u'$') return false;
      ++i_;
      position = static_cast<std::uint32_t>(value);
    }
    return UseArgument(position, ArgKind::kInt, kinds, used);
  }

  const unsigned short* f_;
  std::size_t n_;
  std::size_t i_ = 0;
  Mode mode_ = Mode::kUnknown;
  std::uint32_t next_sequential_ = 0;
  // No gap-free numbered format can use a position above its own length
  // (each position needs its own "%n$"), so larger ones are rejected early.
  unsigned long long max_position_ = 0;
};

bool Parser::Parse(SmallVector<Spec, 16>& specs, SmallVector<ArgKind, 16>& kinds,
                   std::size_t& tail) {
  max_position_ = n_;
  if (max_position_ > UINT32_MAX) max_position_ = UINT32_MAX;
  std::size_t literal_begin = 0;
  while (i_ < n_) {
    i_ = tavrin::utils::detail::FindPercentUnit(f_, i_, n_);
    if (i_ == n_) break;
    // Filled in place; a rejected format drops the whole vector anyway.
    Spec& s = specs.emplace_back(Spec{});
    s.literal_begin = static_cast<std::uint32_t>(literal_begin);
    s.literal_end = static_cast<std::uint32_t>(i_);
    s.width = kNoValue;
    s.precision = kNoValue;
    ++i_;                        // past '%'
    if (i_ >= n_) return false;  // a lone '%' at the end

    if (f_[i_] == u'%' || f_[i_] == u'@') {
      s.conversion = static_cast<char>(f_[i_]);
      ++i_;
      literal_begin = i_;
      continue;
    }

    // An argument position "n$" comes first; digits without "$" are a width.
    std::uint32_t position = 0;
    if (IsDigit(f_[i_]) && f_[i_] != u'0') {
      const std::size_t start = i_;
      unsigned long long value = 0;
      const bool fits = ReadNumber(ULLONG_MAX / 10 - 9, value);
      if (fits && i_ < n_ && f_[i_] == u'$') {
        if (value > max_position_) return false;
        position = static_cast<std::uint32_t>(value);
        ++i_;
      } else {
        i_ = start;
      }
    }

    // A conversion letter straight away (the usual case) has no flags,
    // width, precision or length: none of those starts with such a letter.
    if (i_ >= n_ || !IsBareConversion(f_[i_])) {
      // Flags.
      for (; i_ < n_; ++i_) {
        const unsigned short c = f_[i_];
        if (c == u'-') {
          s.flags |= kFlagLeft;
        } else if (c == u'+') {
          s.flags |= kFlagPlus;
        } else if (c == u' ') {
          s.flags |= kFlagSpace;
        } else if (c == u'#') {
          s.flags |= kFlagAlt;
        } else if (c == u'0') {
          s.flags |= kFlagZero;
        } else if (c == u'\'') {
          // Grouping: accepted, and never done.
        } else {
          break;
        }
      }

      // Width.
      if (i_ < n_ && f_[i_] == u'*') {
        ++i_;
        if (!ReadStarArgument(kinds, s.width_arg)) return false;
      } else if (i_ < n_ && IsDigit(f_[i_])) {
        unsigned long long value = 0;
        if (!ReadNumber(INT_MAX, value)) return false;
        s.width = static_cast<int>(value);
      }

      // Precision ("." alone is 0).
      if (i_ < n_ && f_[i_] == u'.') {
        ++i_;
        if (i_ < n_ && f_[i_] == u'*') {
          ++i_;
          if (!ReadStarArgument(kinds, s.precision_arg)) return false;
        } else {
          unsigned long long value = 0;
          if (!ReadNumber(INT_MAX, value)) return false;
          s.precision = static_cast<int>(value);
        }
      }

      // Length modifier.
      if (i_ < n_) {
        const unsigned short c = f_[i_];
        const unsigned short next = i_ + 1 < n_ ? f_[i_ + 1] : 0;
        if (c == u'h') {
          s.length = next == u'h' ? Length::kHH : Length::kH;
        } else if (c == u'l') {
          s.length = next == u'l' ? Length::kLL : Length::kL;
        } else if (c == u'j') {
          s.length = Length::kJ;
        } else if (c == u'z') {
          s.length = Length::kZ;
        } else if (c == u't') {
          s.length = Length::kT;
        } else if (c == u'L') {
          s.length = Length::kBigL;
        }
        if (s.length == Length::kHH || s.length == Length::kLL) {
          i_ += 2;
        } else if (s.length != Length::kNone) {
          ++i_;
        }
      }
    }

    if (i_ >= n_) return false;  // the format ends inside a conversion
    const unsigned short conv = f_[i_++];
    ArgKind kind = ArgKind::kNone;
    switch (conv) {
      case u'd':
      case u'i':
      case u'u':
      case u'o':
      case u'x':
      case u'X':
        switch (s.length) {
          case Length::kNone:
          case Length::kHH:
          case Length::kH:
            kind = ArgKind::kInt;
            break;
          case Length::kL:
            kind = IntegerKind<long>();
            break;
          case Length::kLL:
            kind = IntegerKind<long long>();
            break;
          case Length::kJ:
            kind = IntegerKind<std::intmax_t>();
            break;
          case Length::kZ:
            kind = IntegerKind<std::size_t>();
            break;
          case Length::kT:
            kind = IntegerKind<std::ptrdiff_t>();
            break;
          case Length::kBigL:
            return false;
        }
        break;
      case u'f':
      case u'F':
      case u'e':
      case u'E':
      case u'g':
      case u'G':
      case u'a':
      case u'A':
        if (s.length == Length::kBigL) {
          kind = ArgKind::kLongDouble;
        } else if (s.length == Length::kNone || s.length == Length::kL) {
          kind = ArgKind::kDouble;
        } else {
          return false;
        }
        break;
      case u'c':
        if (s.length == Length::kL) {
          kind = IntegerKind<wint_t>();
        } else if (s.length == Length::kNone) {
          kind = ArgKind::kInt;
        } else {
          return false;
        }
        break;
      case u's':
        if (s.length != Length::kNone && s.length != Length::kL) return false;
        kind = ArgKind::kPointer;
        break;
      case u'C':
        if (s.length != Length::kNone) return false;
        kind = ArgKind::kInt;
        break;
      case u'S':
      case u'p':
        if (s.length != Length::kNone) return false;
        kind = ArgKind::kPointer;
        break;
      default:
        // "%n" (never written through), "%%" or "%@" with anything between,
        // an unknown letter, a zero unit: the whole format is rejected.
        return false;
    }
    s.conversion = static_cast<char>(conv);
    if (!UseArgument(position, kind, kinds, s.value_arg)) return false;
    literal_begin = i_;
  }
  tail = literal_begin;
  // Every position below the highest must be read with a known type.
  for (std::size_t k = 0; k < kinds.size(); ++k) {
    if (kinds[k] == ArgKind::kNone) return false;
  }
  return true;
}

// Switches the calling thread to the "C" locale for the life of the object,
// once something asks for it.
class CLocaleScope {
 public:
  CLocaleScope() = default;
  CLocaleScope(const CLocaleScope&) = delete;
  CLocaleScope& operator=(const CLocaleScope&) = delete;
  ~CLocaleScope() {
    if (entered_) platform::RestoreLocale(previous_);
  }
  void Enter() {
    if (entered_) return;
    previous_ = platform::UseCLocale();
    entered_ = true;
  }

 private:
  void* previous_ = nullptr;
  bool entered_ = false;
};

// What the conversions of one call share: the locale switch, made at most
// once, and the platform's number text (null: the engine's own).
struct Context {
  CLocaleScope locale;
  const FormatNumberText* numbers = nullptr;
};

void AppendAscii(OutBuffer& out, const char* s, std::size_t n) {
  out.AppendAscii(s, n);
}

void AppendRepeated(OutBuffer& out, std::size_t n, unsigned short unit) {
  out.Fill(n, unit);
}

// Writes a number laid out as sign, prefix, zeros, digits, padded to
// `width`: spaces on the left, on the right with '-', or zeros after the
// prefix when `zero_pad` holds.
void AppendNumber(OutBuffer& out, const char* sign_and_prefix, std::size_t prefix_len,
                  std::size_t leading_zeros, const char* digits, std::size_t digit_count,
                  std::size_t width, bool left, bool zero_pad) {
  const std::size_t total = prefix_len + leading_zeros + digit_count;
  if (width <= total) {
    // No padding (the usual case): one reservation for all the units.
    unsigned short* p = out.Extend(total);
    for (std::size_t i = 0; i < prefix_len; ++i)
      *p++ = static_cast<unsigned char>(sign_and_prefix[i]);
    for (std::size_t i = 0; i < leading_zeros; ++i) *p++ = u'0';
    for (std::size_t i = 0; i < digit_count; ++i) *p++ = static_cast<unsigned char>(digits[i]);
    return;
  }
  const std::size_t pad = width - total;
  if (!left && !zero_pad) AppendRepeated(out, pad, u' ');
  AppendAscii(out, sign_and_prefix, prefix_len);
  AppendRepeated(out, leading_zeros + (zero_pad && !left ? pad : 0), u'0');
  AppendAscii(out, digits, digit_count);
  if (left) AppendRepeated(out, pad, u' ');
}

// Pads `count` units about to be written (or already decided) to `width`.
struct Padding {
  std::size_t before = 0;
  std::size_t after = 0;
};
Padding PadFor(std::size_t count, std::size_t width, bool left) {
  Padding p;
  if (width > count) (left ? p.after : p.before) = width - count;
  return p;
}

// Units before the terminator. Like ustrlen, it never reads past the
// terminator; testing four units per round lets the loads overlap.
std::size_t UnitLength(const unsigned short* s) {
  std::size_t n = 0;
  for (;;) {
    if (s[n] == 0) return n;
    if (s[n + 1] == 0) return n + 1;
    if (s[n + 2] == 0) return n + 2;
    if (s[n + 3] == 0) return n + 3;
    n += 4;
  }
}

void AppendUnits(OutBuffer& out, const unsigned short* units, std::size_t n, std::size_t width,
                 bool left) {
  if (width <= n) {
    out.Append(units, n);
    return;
  }
  const Padding pad = PadFor(n, width, left);
  AppendRepeated(out, pad.before, u' ');
  out.Append(units, n);
  AppendRepeated(out, pad.after, u' ');
}

// Zero-terminated (or `precision`-bounded) UTF-8 decoded with the library's
// converter; a byte sequence that is not valid UTF-8 inserts nothing.
void AppendUtf8(OutBuffer& out, const char* s, int precision, std::size_t width, bool left) {
  std::size_t n = 0;
  if (precision < 0) {
    n = std::strlen(s);
  } else {
    const std::size_t limit = static_cast<std::size_t>(precision);
    n = strnlen(s, limit);
    if (n == limit) {
      // Cut by the precision: end at the last whole sequence before it.
      const auto* b = reinterpret_cast<const unsigned char*>(s);
      std::size_t i = 0;
      while (i < n) {
        const unsigned char lead = b[i];
        std::size_t len = 1;
        if (lead >= 0xF0 && lead < 0xF8) {
          len = 4;
        } else if (lead >= 0xE0 && lead < 0xF0) {
          len = 3;
        } else if (lead >= 0xC0 && lead < 0xE0) {
          len = 2;
        }
        if (i + len > n) break;
        i += len;
      }
      n = i;
    }
  }
  const auto* begin = reinterpret_cast<const UTF8*>(s);
  const auto* end = begin + n;
  int needed = n == 0 ? 0 : SizeNeededForUTF16(begin, end, lenientConversion);
  if (needed < 0) needed = 0;
  const Padding pad = PadFor(static_cast<std::size_t>(needed), width, left);
  AppendRepeated(out, pad.before, u' ');
  if (needed > 0) {
    const std::size_t old = out.size();
    UTF16* target = out.Extend(static_cast<std::size_t>(needed));
    const UTF8* source = begin;
    if (ConvertUTF8toUTF16(&source, end, &target, target + needed, lenientConversion) !=
        conversionOK) {
      out.Truncate(old);  // not reached: the measure above said it converts
    }
  }
  AppendRepeated(out, pad.after, u' ');
}

// UTF-32 values converted leniently (surrogates carried, values above
// U+10FFFF become U+FFFD).
void AppendUtf32(OutBuffer& out, const UTF32* s, std::size_t n, std::size_t width, bool left) {
  const int counted = n == 0 ? 0 : SizeNeededForUTF32To16(s, s + n, lenientConversion);
  const std::size_t needed = counted < 0 ? 0 : static_cast<std::size_t>(counted);
  const Padding pad = PadFor(needed, width, left);
  AppendRepeated(out, pad.before, u' ');
  if (needed != 0) {
    const std::size_t old = out.size();
    UTF16* target = out.Extend(needed);
    const UTF32* source = s;
    if (ConvertUTF32toUTF16(&source, s + n, &target, target + needed, lenientConversion) !=
        conversionOK) {
      out.Truncate(old);  // not reached: the measure above said it converts
    }
  }
  AppendRepeated(out, pad.after, u' ');
}

// Writes the digits of `value` backwards ending at `end` and returns where
// they start (at least one digit). Each base has its own loop so that the
// divisions are by constants (multiplications and shifts, not divides).
char* WriteDigits(char* end, unsigned long long value, char conv) {
  char* p = end;
  if (conv == 'x' || conv == 'X') {
    const char* alphabet = conv == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    do {
      *--p = alphabet[value & 15u];
      value >>= 4;
    } while (value != 0);
  } else if (conv == 'o') {
    do {
      *--p = static_cast<char>('0' + (value & 7u));
      value >>= 3;
    } while (value != 0);
  } else {
    // Two digits per division while the value has them.
    static constexpr char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    while (value >= 100) {
      const unsigned pair = static_cast<unsigned>(value % 100);
      value /= 100;
      p -= 2;
      std::memcpy(p, kPairs + 2 * pair, 2);
    }
    if (value >= 10) {
      p -= 2;
      std::memcpy(p, kPairs + 2 * value, 2);
    } else {
      *--p = static_cast<char>('0' + value);
    }
  }
  return p;
}

// The platform's digits of `magnitude` for `conv`, or false when it gives
// none or more than fit (the format then fails).
bool PlatformDigits(const FormatNumberText& numbers, char conv, unsigned long long magnitude,
                    std::string& out) {
  const char* spec = conv == 'o' ? "%llo" : conv == 'x' ? "%llx" : conv == 'X' ? "%llX" : "%llu";
  return numbers.integer_digits(spec, magnitude, out) && !out.empty() && out.size() <= 24;
}

bool AppendInteger(OutBuffer& out, const Spec& s, char conv, unsigned long long magnitude,
                   bool negative, int width, int precision, const FormatNumberText* numbers) {
  char digits[32];
  char* end = digits + sizeof(digits);
  char* p = end;
  // Precision 0 with the value 0 writes no digits at all.
  if (!(magnitude == 0 && precision == 0)) {
    if (numbers != nullptr && numbers->integer_digits != nullptr) {
      std::string text;
      if (!PlatformDigits(*numbers, conv, magnitude, text)) return false;
      p = end - text.size();
      std::memcpy(p, text.data(), text.size());
    } else {
      p = WriteDigits(end, magnitude, conv);
    }
  }
  const std::size_t digit_count = static_cast<std::size_t>(end - p);
  std::size_t zeros = 0;
  if (precision > 0 && static_cast<std::size_t>(precision) > digit_count) {
    zeros = static_cast<std::size_t>(precision) - digit_count;
  }
  // "#" with "o" makes the first digit a zero.
  if (conv == 'o' && (s.flags & kFlagAlt) && zeros == 0 && (digit_count == 0 || *p != '0')) {
    zeros = 1;
  }
  char prefix[3];
  std::size_t prefix_len = 0;
  const bool is_signed = conv == 'd' || conv == 'i' || conv == 'p';
  if (negative) {
    prefix[prefix_len++] = '-';
  } else if (is_signed && (s.flags & kFlagPlus)) {
    prefix[prefix_len++] = '+';
  } else if (is_signed && (s.flags & kFlagSpace)) {
    prefix[prefix_len++] = ' ';
  }
  if ((conv == 'x' || conv == 'X') && (s.flags & kFlagAlt) && digit_count != 0 && *p != '0') {
    prefix[prefix_len++] = '0';
    prefix[prefix_len++] = conv;
  }
  const bool left = (s.flags & kFlagLeft) != 0;
  const bool zero_pad = (s.flags & kFlagZero) != 0 && precision < 0;
  AppendNumber(out, prefix, prefix_len, zeros, p, digit_count, static_cast<std::size_t>(width),
               left, zero_pad);
  return true;
}

// "%p": "(nil)" for null, otherwise like "%#lx" (sign flags honoured).
void AppendPointer(OutBuffer& out, const Spec& s, const void* value, int width, int precision) {
  const bool left = (s.flags & kFlagLeft) != 0;
  if (value == nullptr) {
    static const unsigned short kNil[] = {u'(', u'n', u'i', u'l', u')'};
    AppendUnits(out, kNil, 5, static_cast<std::size_t>(width), left);
    return;
  }
  std::uintptr_t bits = reinterpret_cast<std::uintptr_t>(value);
  char digits[2 * sizeof(bits) + 1];
  char* end = digits + sizeof(digits);
  char* p = end;
  do {
    *--p = "0123456789abcdef"[bits % 16];
    bits /= 16;
  } while (bits != 0);
  const std::size_t digit_count = static_cast<std::size_t>(end - p);
  std::size_t zeros = 0;
  if (precision > 0 && static_cast<std::size_t>(precision) > digit_count) {
    zeros = static_cast<std::size_t>(precision) - digit_count;
  }
  char prefix[3];
  std::size_t prefix_len = 0;
  if (s.flags & kFlagPlus) {
    prefix[prefix_len++] = '+';
  } else if (s.flags & kFlagSpace) {
    prefix[prefix_len++] = ' ';
  }
  prefix[prefix_len++] = '0';
  prefix[prefix_len++] = 'x';
  AppendNumber(out, prefix, prefix_len, zeros, p, digit_count, static_cast<std::size_t>(width),
               left, (s.flags & kFlagZero) != 0 && precision < 0);
}

// Finite doubles in "f F e E g G" without "#", under the default rounding
// mode: std::to_chars gives exactly printf's characters in the "C" locale
// (same digits, same rounding of ties, same exponent form) much faster than
// snprintf and without a locale switch. Returns false, having written
// nothing, for any other case or when the text does not fit its buffer.
bool AppendDoubleToChars(OutBuffer& out, const Spec& s, double value, int width, int precision) {
  std::chars_format style;
  switch (s.conversion) {
    case 'f':
    case 'F':
      style = std::chars_format::fixed;
      break;
    case 'e':
    case 'E':
      style = std::chars_format::scientific;
      break;
    case 'g':
    case 'G':
      style = std::chars_format::general;
      break;
    default:
      return false;
  }
  if ((s.flags & kFlagAlt) != 0 || !std::isfinite(value) || std::fegetround() != FE_TONEAREST)
    return false;
  char text[160];
  char* const first = text + 1;  // room for a "+" or " " sign
  const auto [last, error] =
      std::to_chars(first, text + sizeof(text), value, style, precision < 0 ? 6 : precision);
  if (error != std::errc()) return false;
  char* begin = first;
  if (*first != '-') {
    if (s.flags & kFlagPlus) {
      *--begin = '+';
    } else if (s.flags & kFlagSpace) {
      *--begin = ' ';
    }
  }
  if (s.conversion == 'E' || s.conversion == 'G') {
    for (char* c = begin; c != last; ++c)
      if (*c == 'e') *c = 'E';
  }
  const std::size_t sign_len = begin != first || *first == '-' ? 1 : 0;
  const bool left = (s.flags & kFlagLeft) != 0;
  AppendNumber(out, begin, sign_len, 0, begin + sign_len,
               static_cast<std::size_t>(last - begin) - sign_len, static_cast<std::size_t>(width),
               left, (s.flags & kFlagZero) != 0);
  return true;
}

// Floating point: the digits from snprintf, the width applied here.
template <class Float>
bool AppendFloat(OutBuffer& out, const Spec& s, Float value, int width, int precision,
                 Context& context) {
  const FormatNumberText* numbers = context.numbers;
  const bool platform_text =
      numbers != nullptr && (std::is_same_v<Float, double> ? numbers->floating != nullptr
                                                           : numbers->long_floating != nullptr);
  if constexpr (std::is_same_v<Float, double>) {
    if (!platform_text && AppendDoubleToChars(out, s, value, width, precision)) return true;
  }
  char spec[24];
  std::size_t k = 0;
  spec[k++] = '%';
  if (s.flags & kFlagPlus) spec[k++] = '+';
  if (s.flags & kFlagSpace) spec[k++] = ' ';
  if (s.flags & kFlagAlt) spec[k++] = '#';
  if (precision >= 0) {
    spec[k++] = '.';
    spec[k++] = '*';
  }
  if constexpr (std::is_same_v<Float, long double>) spec[k++] = 'L';
  spec[k++] = s.conversion;
  spec[k] = '\0';

  char stack[128];
  std::unique_ptr<char[]> heap;
  std::string platform_body;
  const char* body = stack;
  int n = 0;
  if (platform_text) {
    // The platform takes the precision as digits, not as a "*" argument.
    std::string text_spec(spec);
    if (precision >= 0) text_spec.replace(text_spec.find('*'), 1, std::to_string(precision));
    bool ok;
    if constexpr (std::is_same_v<Float, double>) {
      ok = numbers->floating(text_spec.c_str(), value, platform_body);
    } else {
      ok = numbers->long_floating(text_spec.c_str(), value, platform_body);
    }
    if (!ok || platform_body.size() > INT_MAX) return false;
    body = platform_body.data();
    n = static_cast<int>(platform_body.size());
  } else {
    context.locale.Enter();
    n = precision >= 0 ? std::snprintf(stack, sizeof(stack), spec, precision, value)
                       : std::snprintf(stack, sizeof(stack), spec, value);
  }
  if (n < 0) return false;
  if (!platform_text && static_cast<std::size_t>(n) >= sizeof(stack)) {
    const std::size_t size = static_cast<std::size_t>(n) + 1;
    heap.reset(new char[size]);
    n = precision >= 0 ? std::snprintf(heap.get(), size, spec, precision, value)
                       : std::snprintf(heap.get(), size, spec, value);
    if (n < 0 || static_cast<std::size_t>(n) >= size) return false;
    body = heap.get();
  }
  const std::size_t len = static_cast<std::size_t>(n);
  // With '0' a finite number is padded after its sign and "0x"; infinities
  // and NaNs are padded with spaces.
  std::size_t prefix_len = 0;
  if (len > 0 && (body[0] == '-' || body[0] == '+' || body[0] == ' ')) prefix_len = 1;
  if ((s.conversion == 'a' || s.conversion == 'A') && len >= prefix_len + 2 &&
      body[prefix_len] == '0' && (body[prefix_len + 1] == 'x' || body[prefix_len + 1] == 'X')) {
    prefix_len += 2;
  }
  const bool left = (s.flags & kFlagLeft) != 0;
  const bool zero_pad = (s.flags & kFlagZero) != 0 && std::isfinite(value);
  AppendNumber(out, body, prefix_len, 0, body + prefix_len, len - prefix_len,
               static_cast<std::size_t>(width), left, zero_pad);
  return true;
}

bool WriteConversion(OutBuffer& out, const Spec& s, const ArgValue* args, Context& context) {
  switch (s.conversion) {
    case '%':
      out.Push(u'%');
      return true;
    case '@':
      out.Push(u'%');
      out.Push(u'@');
      return true;
    default:
      break;
  }

  int width = s.width < 0 ? 0 : s.width;
  int precision = s.precision;
  bool left_from_star = false;
  if (s.width_arg != 0) {
    const long long w = static_cast<int>(args[s.width_arg - 1].i);
    if (w < 0) {
      left_from_star = true;
      if (-w > INT_MAX) return false;
      width = static_cast<int>(-w);
    } else {
      width = static_cast<int>(w);
    }
  }
  if (s.precision_arg != 0) {
    const int p = static_cast<int>(args[s.precision_arg - 1].i);
    precision = p < 0 ? kNoValue : p;
  }
  // A negative "*" width means "-": the record is copied only then.
  Spec adjusted;
  if (left_from_star) {
    adjusted = s;
    adjusted.flags |= kFlagLeft;
  }
  const Spec& spec = left_from_star ? adjusted : s;
  const bool left = (spec.flags & kFlagLeft) != 0;
  const ArgValue& v = args[s.value_arg - 1];
  const char conv = s.conversion;

  switch (conv) {
    case 'd':
    case 'i': {
      long long value = 0;
      switch (s.length) {
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
          value = static_cast<long long>(v.i);
          break;
      }
      const bool negative = value < 0;
      const unsigned long long magnitude = negative ? 0ULL - static_cast<unsigned long long>(value)
                                                    : static_cast<unsigned long long>(value);
      return AppendInteger(out, spec, conv, magnitude, negative, width, precision, context.numbers);
    }
    case 'u':
    case 'o':
    case 'x':
    case 'X': {
      unsigned long long value = 0;
      switch (s.length) {
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
      return AppendInteger(out, spec, conv, value, false, width, precision, context.numbers);
    }
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      if (s.length == Length::kBigL) return AppendFloat(out, spec, v.ld, width, precision, context);
      return AppendFloat(out, spec, v.d, width, precision, context);
    case 'c': {
      if (s.length == Length::kL) {
        const UTF32 value = static_cast<UTF32>(static_cast<wint_t>(v.i));
        AppendUtf32(out, &value, value == 0 ? 0 : 1, static_cast<std::size_t>(width), left);
        return true;
      }
      // One byte read as UTF-8: ASCII is written, a lone byte above 0x7F
      // is not valid UTF-8 and inserts nothing; nor does a zero byte.
      const unsigned char byte = static_cast<unsigned char>(v.i);
      const unsigned short unit = byte;
      AppendUnits(out, &unit, byte != 0 && byte < 0x80 ? 1 : 0, static_cast<std::size_t>(width),
                  left);
      return true;
    }
    case 'C': {
      const unsigned short unit = static_cast<unsigned short>(v.i);
      AppendUnits(out, &unit, unit != 0 ? 1 : 0, static_cast<std::size_t>(width), left);
      return true;
    }
    case 's': {
      static const char kNull[] = "(null)";
      if (s.length == Length::kL) {
        const auto* text = static_cast<const wchar_t*>(v.p);
        if (text == nullptr) {
          AppendUtf8(out, kNull, precision, static_cast<std::size_t>(width), left);
          return true;
        }
        std::size_t n = 0;
        if (precision < 0) {
          n = std::wcslen(text);
        } else {
          while (n < static_cast<std::size_t>(precision) && text[n] != 0) ++n;
        }
        static_assert(sizeof(wchar_t) == sizeof(UTF32));
        AppendUtf32(out, reinterpret_cast<const UTF32*>(text), n, static_cast<std::size_t>(width),
                    left);
        return true;
      }
      const auto* text = static_cast<const char*>(v.p);
      AppendUtf8(out, text != nullptr ? text : kNull, precision, static_cast<std::size_t>(width),
                 left);
      return true;
    }
    case 'S': {
      const auto* text = static_cast<const unsigned short*>(v.p);
      if (text == nullptr) {
        AppendUtf8(out, "(null)", precision, static_cast<std::size_t>(width), left);
        return true;
      }
      std::size_t n = 0;
      if (precision < 0) {
        n = UnitLength(text);
      } else {
        while (n < static_cast<std::size_t>(precision) && text[n] != 0) ++n;
        // Cut by the precision: never keep half of a surrogate pair.
        if (n == static_cast<std::size_t>(precision) && n > 0 && text[n - 1] >= 0xD800 &&
            text[n - 1] <= 0xDBFF) {
          --n;
        }
      }
      AppendUnits(out, text, n, static_cast<std::size_t>(width), left);
      return true;
    }
    case 'p':
      AppendPointer(out, spec, v.p, width, precision);
      return true;
    default:
      return false;
  }
}

}  // namespace

bool FormatUtf16WithNumbers(const unsigned short* format, unsigned long length, va_list args,
                            tavrin_ustring& out, const FormatNumberText* numbers) {
  // `out` may hold the format or an argument: it is only written at the end.
  Units& result = out.str();
  if (format == nullptr || length == 0) {
    result.clear();
    return true;
  }

  SmallVector<Spec, 16> specs;
  SmallVector<ArgKind, 16> kinds;
  std::size_t tail = 0;
  Parser parser(format, length);
  if (length > UINT32_MAX || !parser.Parse(specs, kinds, tail)) {
    result.clear();
    return false;
  }

  SmallVector<ArgValue, 16> values;
  values.GrowUnset(kinds.size());  // every slot is read from the list below
  if (kinds.size() != 0) {
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

  OutBuffer text;
  Context context;
  context.numbers = numbers;
  for (std::size_t k = 0; k < specs.size(); ++k) {
    const Spec& s = specs[k];
    text.Append(format + s.literal_begin, s.literal_end - s.literal_begin);
    if (!WriteConversion(text, s, &values[0], context)) {
      result.clear();
      return false;
    }
  }
  text.Append(format + tail, length - tail);
  // One copy into storage of exactly the final size (sized with zeros,
  // then overwritten: assign() would scan the text for a zero unit first).
  result.clear();
  if (text.size() != 0) {
    result.resize(text.size());
    std::memcpy(result.data(), text.data(), text.size() * sizeof(unsigned short));
  }
  return true;
}

}  // namespace tavrin::utils::detail
