// ustringmac.mm - the Foundation platform formatter behind
// tavrin_ustring::FormatVPlatform (platform::FormatUtf16V).
//
// The library's formatter engine (internal/format_engine.h) parses the
// format, applies the library's rejection rules (Foundation would write
// through "%n", accept numbered and unnumbered conversions mixed, or read an
// object for "%@"), reads the arguments, writes strings and characters
// (8-bit strings as UTF-8, where Foundation would use its default C-string
// encoding) and lays out sign, prefix, precision zeros and width. Foundation's
// formatter (initWithFormat:arguments:) writes the numbers themselves, from a
// one-conversion format each: the digits of integers and, with Apple's
// Foundation, sign, digits and exponent of floating-point numbers.
//
// GNUstep's formatter (1.28, GCC's Objective-C runtime) misreads long double
// arguments, cuts the digits of large "%f" values short and takes its decimal
// point from the C locale, so under GNUstep floating-point text stays with the
// engine (std::to_chars and the C library under the "C" locale).
#import <Foundation/Foundation.h>

#include <cstdarg>
#include <cstring>
#include <string>

#include "common/utils/auto_release_pool.h"
#include "common/utils/internal/format_engine.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

namespace {

// Foundation's text for `spec` (one printf conversion, ASCII) and the one
// argument that follows, appended to `out`. False when Foundation gives
// nothing or anything but ASCII.
bool AppendFoundationText(std::string& out, const char* spec, ...) {
  NSString* format = [[NSString alloc] initWithBytes:spec
                                              length:std::strlen(spec)
                                            encoding:NSASCIIStringEncoding];
  va_list args;
  va_start(args, spec);
  NSString* result = [[NSString alloc] initWithFormat:format arguments:args];
  va_end(args);
  bool ok = result != nil;
  if (ok) {
    const NSUInteger n = [result length];
    out.reserve(out.size() + n);
    for (NSUInteger i = 0; i < n && ok; ++i) {
      const unichar unit = [result characterAtIndex:i];
      ok = unit < 0x80;
      out.push_back(static_cast<char>(unit));
    }
  }
  [result release];
  [format release];
  return ok;
}

bool IntegerDigits(const char* spec, unsigned long long magnitude, std::string& out) {
  return AppendFoundationText(out, spec, magnitude);
}

#if !defined(GNUSTEP)
bool FloatingText(const char* spec, double value, std::string& out) {
  return AppendFoundationText(out, spec, value);
}

bool LongFloatingText(const char* spec, long double value, std::string& out) {
  return AppendFoundationText(out, spec, value);
}
#endif

}  // namespace

bool FormatUtf16V(const unsigned short* format, unsigned long length, va_list args,
                  tavrin_ustring& out) {
#if defined(GNUSTEP)
  static constexpr utils::detail::FormatNumberText kNumbers = {IntegerDigits, nullptr, nullptr};
#else
  static constexpr utils::detail::FormatNumberText kNumbers = {IntegerDigits, FloatingText,
                                                               LongFloatingText};
#endif
  const AutoReleasePool pool;  // whatever Foundation autoreleases per number
  return utils::detail::FormatUtf16WithNumbers(format, length, args, out, &kNumbers);
}

}  // namespace tavrin::platform
