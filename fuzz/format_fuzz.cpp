// format_fuzz.cpp - tavrin_ustring::GetFormatted and Format with generated
// format strings and matching arguments.
//
// The input drives a small generator: literal text, "%%", "%@", and up to
// four conversions (integers of every length, floating point, characters,
// 8-bit, 16-bit and wide strings, pointers) with flags, width, "*" width and
// precision, written sequentially, positionally ("%2$d") or as message-
// resource inserts ("%1", "%2!d!"). At most three arguments are passed, each
// with the exact type its conversion reads.
//
// The generator knows the text each piece must give: numbers, characters and
// ASCII strings from the C library's snprintf with the same conversion,
// other strings from their units. The result must equal the concatenation.
// Formats the library must reject give "": "%n", mixed numbered and
// unnumbered conversions, and an argument number used while a lower one is
// never referenced. The library format text is made from the intended
// platform format by the documented rewriting rules, checked against the
// reference rewriters first (inputs whose text would rewrite to something
// else are skipped).
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "common/utils/ustring.h"
#include "fuzz/format_reference.h"

using tavrin::fuzz::Units16;
using tavrin::utils::tavrin_ustring;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "format_fuzz: %s\n", what);
    std::abort();
  }
}

class Reader {
 public:
  Reader(const std::uint8_t* p, std::size_t n) : p_(p), n_(n) {}
  std::uint8_t Byte() { return n_ != 0 ? (--n_, *p_++) : 0; }
  std::uint64_t Bytes(int count) {
    std::uint64_t v = 0;
    for (int i = 0; i < count; ++i) v = v << 8 | Byte();
    return v;
  }
  bool Empty() const { return n_ == 0; }

 private:
  const std::uint8_t* p_;
  std::size_t n_;
};

// How an argument is passed: the exact type its conversion reads.
enum Cls { kInt, kLong, kLongLong, kDouble, kLongDouble, kPtr8, kPtr16, kPtr32 };

struct Arg {
  Cls cls = kInt;
  long long i = 0;
  double d = 0;
  bool null = false;
  std::string s8;
  std::u16string s16;
  std::wstring s32;
};

struct Plan {
  Units16 platform;  // the format as the platform step must see it
  Units16 library;   // the same format in the library's syntax
  Units16 expected;  // the text it must give
  bool reject = false;
  int nargs = 0;
  Arg args[3];
  bool positional_used = false, sequential_used = false;
};

Units16 Ascii(const std::string& s) {
  return Units16(s.begin(), s.end());
}

std::string Snprintf(const char* spec, ...) {
  va_list ap, ap2;
  va_start(ap, spec);
  va_copy(ap2, ap);
  const int n = std::vsnprintf(nullptr, 0, spec, ap);
  va_end(ap);
  std::string out;
  if (n > 0) {
    out.resize(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(out.data(), out.size(), spec, ap2);
    out.resize(static_cast<std::size_t>(n));
  }
  va_end(ap2);
  return out;
}

Units16 Pad(const Units16& text, int width, bool left) {
  if (width <= static_cast<int>(text.size())) return text;
  const Units16 spaces(static_cast<std::size_t>(width) - text.size(), u' ');
  return left ? text + spaces : spaces + text;
}

Units16 Utf16OfScalar(std::uint32_t v) {
  if (v < 0x10000) return Units16(1, static_cast<char16_t>(v));
  v -= 0x10000;
  Units16 u;
  u += static_cast<char16_t>(0xD800 + (v >> 10));
  u += static_cast<char16_t>(0xDC00 + (v & 0x3FF));
  return u;
}

std::uint32_t ScalarFrom(std::uint32_t raw) {
  std::uint32_t v = raw % 0x10FFFF + 1;
  if (v >= 0xD800 && v <= 0xDFFF) v -= 0x800;
  return v;
}

// One generated conversion.
struct Conv {
  std::string flags, length;
  int width = -1;      // -1: none
  bool star = false;   // "*" width (sequential only)
  int precision = -1;  // -1: none
  char letter = 'd';   // the platform conversion letter
  Cls cls = kInt;
};

// Picks a conversion readable from an argument of class `cls`.
Conv MakeConv(Reader& in, Cls cls) {
  Conv c;
  c.cls = cls;
  const std::uint8_t pick = in.Byte();
  switch (cls) {
    case kInt: {
      static const char kLetters[] = "diuoxXcCc";
      c.letter = kLetters[pick % 9];
      if (pick % 9 == 8)
        c.length = "l";  // %lc
      else if (c.letter != 'c' && c.letter != 'C')
        c.length = (pick / 9) % 3 == 0 ? "" : (pick / 9) % 3 == 1 ? "h" : "hh";
      break;
    }
    case kLong: {
      static const char* const kLengths[] = {"l", "z", "t", "j"};
      c.letter = "diuoxX"[pick % 6];
      c.length = kLengths[(pick / 6) % 4];
      break;
    }
    case kLongLong:
      c.letter = "diuoxX"[pick % 6];
      c.length = "ll";
      break;
    case kDouble:
    case kLongDouble:
      c.letter = "fFeEgGaA"[pick % 8];
      if (cls == kLongDouble) c.length = "L";
      break;
    case kPtr8:
      c.letter = pick % 4 == 0 ? 'p' : 's';
      break;
    case kPtr16:
      c.letter = 'S';
      break;
    case kPtr32:
      c.letter = 's';
      c.length = "l";
      break;
  }
  const bool integer = std::strchr("diuoxX", c.letter) != nullptr;
  const bool floating = std::strchr("fFeEgGaA", c.letter) != nullptr;
  const bool is_signed = c.letter == 'd' || c.letter == 'i' || floating;
  const std::uint8_t f = in.Byte();
  // Only the flags C defines for each conversion.
  if (f & 1) c.flags += '-';
  if ((f & 2) && is_signed) c.flags += '+';
  if ((f & 4) && is_signed) c.flags += ' ';
  if ((f & 8) && (floating || std::strchr("oxX", c.letter))) c.flags += '#';
  if ((f & 16) && (integer || floating)) c.flags += '0';
  const std::uint8_t w = in.Byte();
  if (w & 1) c.width = (w >> 1) % 24;
  if ((w & 0x81) == 0x81) c.width = 100 + (w >> 1);  // now and then a wide field
  const std::uint8_t p = in.Byte();
  const bool text = c.letter == 's' || c.letter == 'S';
  if ((p & 1) && (integer || floating || text)) c.precision = (p >> 1) % 20;
  return c;
}

// The platform spelling of a conversion, with or without "n$".
std::string Spec(const Conv& c, int position, bool with_star_value, int star_value) {
  std::string s = "%";
  if (position > 0) s += std::to_string(position) + "$";
  s += c.flags;
  if (c.star) {
    s += with_star_value ? std::to_string(star_value) : "*";
  } else if (c.width >= 0) {
    s += std::to_string(c.width);
  }
  if (c.precision >= 0) s += "." + std::to_string(c.precision);
  s += c.length;
  s += c.letter;
  return s;
}

// The text a conversion gives for `a`.
Units16 Expected(const Conv& conv, const Arg& a, int star_value) {
  Conv c = conv;
  if (c.star && star_value < 0) {
    c.flags += '-';
    star_value = -star_value;
  }
  const std::string spec = Spec(c, 0, true, star_value);
  const int width = c.star ? star_value : c.width;
  const bool left = c.flags.find('-') != std::string::npos;
  switch (c.letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'o':
    case 'x':
    case 'X':
      if (c.cls == kInt) return Ascii(Snprintf(spec.c_str(), static_cast<int>(a.i)));
      if (c.cls == kLong) return Ascii(Snprintf(spec.c_str(), static_cast<long>(a.i)));
      return Ascii(Snprintf(spec.c_str(), static_cast<long long>(a.i)));
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      if (c.cls == kLongDouble) return Ascii(Snprintf(spec.c_str(), static_cast<long double>(a.d)));
      return Ascii(Snprintf(spec.c_str(), a.d));
    case 'c':
      if (c.length == "l") return Pad(Utf16OfScalar(static_cast<std::uint32_t>(a.i)), width, left);
      return Ascii(Snprintf(spec.c_str(), static_cast<int>(a.i)));
    case 'C':
      return Pad(Units16(1, static_cast<char16_t>(a.i)), width, left);
    case 'p':
      return Ascii(
          Snprintf(spec.c_str(), a.null ? nullptr : static_cast<const void*>(a.s8.c_str())));
    case 'S':
      if (a.null) return Pad(u"(null)", width, left);
      return Pad(c.precision >= 0 ? a.s16.substr(0, static_cast<std::size_t>(c.precision)) : a.s16,
                 width, left);
    case 's':
      if (c.length == "l") {
        Units16 u;
        for (wchar_t w : a.s32) u += Utf16OfScalar(static_cast<std::uint32_t>(w));
        if (c.precision >= 0) u = u.substr(0, static_cast<std::size_t>(c.precision));
        return Pad(u, width, left);
      }
      if (a.null) return Pad(u"(null)", width, left);
      {
        const tavrin_ustring decoded(a.s8.data(), a.s8.size());
        Units16 u(reinterpret_cast<const char16_t*>(decoded.data()), decoded.size());
        if (c.precision >= 0) u = u.substr(0, static_cast<std::size_t>(c.precision));
        return Pad(u, width, left);
      }
  }
  return Units16();
}

// Fills an argument of class `cls` from the input.
void MakeArg(Reader& in, Cls cls, const Conv& c, Arg& a) {
  a.cls = cls;
  a.i = static_cast<long long>(in.Bytes(8));
  if (cls == kInt) a.i = static_cast<int>(a.i);
  if (c.letter == 'c' && c.length.empty()) a.i = 1 + (a.i & 0x7F) % 0x7F;
  if (c.letter == 'c' && c.length == "l") a.i = ScalarFrom(static_cast<std::uint32_t>(a.i));
  if (c.letter == 'C') a.i = 1 + static_cast<std::uint16_t>(a.i) % 0xFFFF;
  std::uint64_t bits = in.Bytes(8);
  std::memcpy(&a.d, &bits, sizeof(a.d));
  const std::uint8_t n = in.Byte();
  a.null = (n & 0x1F) == 0x1F;
  const std::size_t len = n % 12;
  const bool ascii = (n & 0x20) != 0;
  for (std::size_t k = 0; k < len; ++k) {
    const std::uint8_t b = in.Byte();
    if (cls == kPtr8) {
      a.s8 += static_cast<char>(ascii ? 0x20 + b % 0x5F : (b != 0 ? b : 'z'));
    } else if (cls == kPtr16) {
      const std::uint16_t u = static_cast<std::uint16_t>(b << 8 | in.Byte());
      a.s16 +=
          ascii ? static_cast<char16_t>(0x20 + u % 0x5F) : static_cast<char16_t>(u != 0 ? u : 'z');
    } else if (cls == kPtr32) {
      a.s32 += static_cast<wchar_t>(ascii ? 0x20 + b % 0x5F
                                          : ScalarFrom(static_cast<std::uint32_t>(in.Bytes(3))));
    }
  }
}

// Whether the text of a string argument is plain ASCII (then widths and
// precisions have one meaning for every encoding).
bool AsciiArg(const Arg& a) {
  if (a.null) return false;
  for (char ch : a.s8)
    if (static_cast<unsigned char>(ch) >= 0x80) return false;
  for (char16_t u : a.s16)
    if (u >= 0x80) return false;
  for (wchar_t w : a.s32)
    if (w >= 0x80) return false;
  return true;
}

// Library spelling of a platform conversion: "s" and "S" are exchanged where
// ReverseStringFormats will exchange them back (directly after "%" or "$").
std::string LibrarySpelling(const std::string& platform) {
  std::string s = platform;
  const char last = s.back();
  if ((last == 's' || last == 'S') && s.size() >= 2 &&
      (s[s.size() - 2] == '%' || s[s.size() - 2] == '$'))
    s.back() = last == 's' ? 'S' : 's';
  return s;
}

void AddLiteral(Reader& in, Plan& plan) {
  static const char16_t kText[] = u"ab Z.!$,-:0123456789\u00e9\u20ac\u4e2d";
  constexpr std::size_t kCount = sizeof(kText) / sizeof(kText[0]) - 1;
  const std::size_t n = 1 + in.Byte() % 6;
  for (std::size_t k = 0; k < n; ++k) {
    const char16_t u = kText[in.Byte() % kCount];
    plan.platform += u;
    plan.library += u;
    plan.expected += u;
  }
}

// Builds a plan; false when the input is used up before anything useful.
bool MakePlan(Reader& in, Plan& plan) {
  const std::uint8_t mode_byte = in.Byte();
  const int mode = mode_byte % 4;  // 0 sequential, 1 positional, 2 inserts, 3 mixed
  Cls assigned[3] = {};
  bool have[3] = {false, false, false};
  bool referenced[3] = {false, false, false};
  const int pieces = 1 + in.Byte() % 8;
  for (int piece = 0; piece < pieces && !in.Empty(); ++piece) {
    const std::uint8_t kind = in.Byte();
    if (kind % 8 == 0) {
      AddLiteral(in, plan);
      continue;
    }
    if (kind % 8 == 1) {
      const bool at = (kind & 8) != 0;
      plan.platform += at ? u"%@" : u"%%";
      plan.library += at ? u"%@" : u"%%";
      plan.expected += at ? u"%@" : u"%";
      continue;
    }
    if (kind % 8 == 2 && (kind & 0x30) == 0x30) {
      plan.platform += u"%n";
      plan.library += u"%n";
      plan.reject = true;
      continue;
    }
    bool positional = mode == 1 || mode == 2 || (mode == 3 && (kind & 8));
    const Cls want = static_cast<Cls>(in.Byte() % 8);
    if (!positional) {
      Conv c = MakeConv(in, want);
      int star_value = 0;
      const bool star = (kind & 0x40) && c.width >= 0 && plan.nargs < 2 && c.letter != 'p' &&
                        !(c.letter == 'S' || c.letter == 's');
      if (star) {
        c.star = true;
        Arg& w = plan.args[plan.nargs++];
        w.cls = kInt;
        w.i = static_cast<int>(static_cast<std::int8_t>(in.Byte())) * 3;
        star_value = static_cast<int>(w.i);
      }
      if (plan.nargs >= 3) break;
      plan.sequential_used = true;
      Arg& a = plan.args[plan.nargs++];
      MakeArg(in, want, c, a);
      if ((c.letter == 's' || c.letter == 'S') && !AsciiArg(a)) c.width = c.precision = -1;
      if (c.letter == 'p' || c.letter == 'c' || c.letter == 'C') c.precision = -1;
      const std::string spec = Spec(c, 0, false, 0);
      plan.platform += Ascii(spec);
      plan.library += Ascii(LibrarySpelling(spec));
      plan.expected += Expected(c, a, star_value);
      continue;
    }
    plan.positional_used = true;
    const int number = 1 + in.Byte() % 3;
    Arg& a = plan.args[number - 1];
    if (!have[number - 1]) {
      have[number - 1] = true;
      assigned[number - 1] = want;
      Conv probe = MakeConv(in, want);
      MakeArg(in, want, probe, a);
      // Keep the value usable by every conversion of the class.
      if (want == kInt) a.i = ScalarFrom(static_cast<std::uint32_t>(a.i)) % 0x7F + 1;
    }
    referenced[number - 1] = true;
    if (number > plan.nargs) plan.nargs = number;
    Conv c = MakeConv(in, assigned[number - 1]);
    if ((c.letter == 's' || c.letter == 'S') && !AsciiArg(a)) c.width = c.precision = -1;
    if (c.letter == 'p' || c.letter == 'c' || c.letter == 'C') c.precision = -1;
    const bool insert = mode == 2 && (kind & 0x80);
    if (insert && c.letter == 'S' && c.flags.empty() && c.width < 0 && c.precision < 0) {
      // "%1": a 16-bit string insert.
      plan.library += u'%';
      plan.library += static_cast<char16_t>(u'0' + number);
      plan.platform += Ascii("%" + std::to_string(number) + "$S");
    } else if (insert) {
      // "%1!d!": the conversion between exclamation marks.
      const std::string spec = Spec(c, number, false, 0);
      const std::string lib = LibrarySpelling(spec);
      plan.platform += Ascii(spec);
      plan.library += Ascii("%" + std::to_string(number) + "!" + lib.substr(3) + "!");
    } else {
      const std::string spec = Spec(c, number, false, 0);
      plan.platform += Ascii(spec);
      plan.library += Ascii(LibrarySpelling(spec));
    }
    plan.expected += Expected(c, a, 0);
  }
  if (plan.positional_used) {
    for (int k = 0; k < plan.nargs; ++k) {
      if (!referenced[k]) {
        plan.reject = true;  // a lower argument is never referenced
        plan.args[k] = Arg();
      }
    }
  }
  if (plan.positional_used && plan.sequential_used) plan.reject = true;
  return !plan.library.empty();
}

tavrin_ustring FromUnits(const Units16& u) {
  return tavrin_ustring(reinterpret_cast<const unsigned short*>(u.data()), u.size());
}

Units16 UnitsOf(const tavrin_ustring& s) {
  return Units16(reinterpret_cast<const char16_t*>(s.data()), s.size());
}

// Counts of what the inputs exercised, printed at exit when the environment
// variable FORMAT_FUZZ_STATS is set (to see that the generator is not mostly
// skipped).
struct Stats {
  unsigned long skipped = 0, rejected = 0, compared = 0, conversions = 0;
  ~Stats() {
    if (std::getenv("FORMAT_FUZZ_STATS") != nullptr)
      std::fprintf(stderr,
                   "format_fuzz: %lu compared (%lu conversions), %lu rejected, %lu skipped\n",
                   compared, conversions, rejected, skipped);
  }
} stats;

struct Results {
  tavrin_ustring got, assigned;
};

template <class... A>
void Invoke(const tavrin_ustring& fmt, const Plan& plan, Results& r, A... a) {
  constexpr int k = sizeof...(A);
  if constexpr (k < 3) {
    if (k < plan.nargs) {
      const Arg& x = plan.args[k];
      switch (x.cls) {
        case kInt:
          return Invoke(fmt, plan, r, a..., static_cast<int>(x.i));
        case kLong:
          return Invoke(fmt, plan, r, a..., static_cast<long>(x.i));
        case kLongLong:
          return Invoke(fmt, plan, r, a..., static_cast<long long>(x.i));
        case kDouble:
          return Invoke(fmt, plan, r, a..., x.d);
        case kLongDouble:
          return Invoke(fmt, plan, r, a..., static_cast<long double>(x.d));
        case kPtr8:
          return Invoke(fmt, plan, r, a..., x.null ? nullptr : x.s8.c_str());
        case kPtr16:
          return Invoke(fmt, plan, r, a...,
                        x.null ? nullptr : reinterpret_cast<const unsigned short*>(x.s16.c_str()));
        case kPtr32:
          return Invoke(fmt, plan, r, a..., x.s32.c_str());
      }
    }
  }
  r.got = tavrin_ustring::GetFormatted(fmt, a...);
  r.assigned = tavrin_ustring(u"previous");
  r.assigned.Format(fmt, a...);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 2048) return 0;
  Reader in(data, size);
  Plan plan;
  if (!MakePlan(in, plan)) return 0;
  // Only formats whose library spelling rewrites to the intended platform
  // format are run; the rewriters themselves have their own target.
  if (tavrin::fuzz::ReferenceReverseStringFormats(
          tavrin::fuzz::ReferenceFixWindowsPositionalFormats(plan.library)) != plan.platform) {
    ++stats.skipped;
    return 0;
  }
  const tavrin_ustring fmt = FromUnits(plan.library);
  Results r;
  Invoke(fmt, plan, r);
  const Units16 got = UnitsOf(r.got);
  if (plan.reject) {
    ++stats.rejected;
    if (!got.empty()) {
      const std::string f(plan.platform.begin(), plan.platform.end());
      std::fprintf(stderr, "format %s (%d arguments)\n", f.c_str(), plan.nargs);
    }
    Check(got.empty(), "a format the formatter must reject gave text");
  } else {
    ++stats.compared;
    for (char16_t u : plan.platform) stats.conversions += u == u'%';
  }
  if (!plan.reject && got != plan.expected) {
    std::string g(got.begin(), got.end()), e(plan.expected.begin(), plan.expected.end());
    std::string f(plan.platform.begin(), plan.platform.end());
    std::fprintf(stderr, "format %s\n got      [%s]\n expected [%s]\n", f.c_str(), g.c_str(),
                 e.c_str());
    Check(false, "formatted text differs from the expected text");
  }
  Check(UnitsOf(r.assigned) == got, "Format and GetFormatted differ");

  tavrin_ustring unchanged(u"kept");
  unchanged.Format(tavrin_ustring());
  Check(unchanged == tavrin_ustring(u"kept"), "an empty format changed the target");
  return 0;
}
