// format_engine.h - the library's printf-style formatter of UTF-16 formats,
// shared by the platform layers (not installed, not exported).
//
// Both layers' platform::FormatUtf16V are this engine: parsing, argument
// reading, the rejection rules, strings, characters, pointers and every
// width, precision and flag are the library's own, so a format gives the same
// text on every platform. A layer may supply the text of numbers itself
// (FormatNumberText): the Foundation layer takes it from Foundation's
// formatter. Without it the engine writes integer digits itself and takes
// floating-point text from std::to_chars or the C library's snprintf under
// the "C" locale.
#pragma once

#include <cstdarg>
#include <string>

#include "common/utils/ustring.h"

namespace tavrin::utils::detail {

// FormatNumberText
//
// Number text a platform writes itself. Every hook appends ASCII to `out`
// and returns false when it has no answer, which makes the whole format fail
// (FormatUtf16WithNumbers returns false). A null hook leaves that kind of
// number to the engine.
//   integer_digits: the digits of `magnitude` (no sign, no prefix) for the
//     one conversion `spec`, which is "%llu", "%llo", "%llx" or "%llX";
//     never called for a zero magnitude with precision 0.
//   floating, long_floating: sign, digits and exponent of `value` for the
//     one conversion `spec` ("%", the flags "+", " ", "#" the conversion has,
//     ".<precision>" when it has one, "L" for long_floating, then one of
//     "fFeEgGaA"); no width and no "0" flag, which the engine applies. The
//     decimal point must be ".".
struct FormatNumberText {
  bool (*integer_digits)(const char* spec, unsigned long long magnitude, std::string& out);
  bool (*floating)(const char* spec, double value, std::string& out);
  bool (*long_floating)(const char* spec, long double value, std::string& out);
};

// FormatUtf16WithNumbers()
//
// platform::FormatUtf16V (see platform.h for the rules: `length` units of
// `format`, not NUL-terminated, arguments from `args`, which is copied and
// not consumed), with the numbers from `numbers` where it has a hook (null:
// all from the engine). Returns false and leaves `out` empty when the format
// is rejected or a hook gives no answer. `out` may hold the format or an
// argument: it is written only at the end.
[[nodiscard]] bool FormatUtf16WithNumbers(const unsigned short* format, unsigned long length,
                                          va_list args, tavrin_ustring& out,
                                          const FormatNumberText* numbers);

}  // namespace tavrin::utils::detail
