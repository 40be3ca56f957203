// NSString_stl.mm - the stl_extensions category on NSString.
#import "common/utils/mac/NSString_stl.h"

#include <cstdio>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "common/utils/convertutf.h"
#include "common/utils/unichar.h"

static_assert(sizeof(unichar) == sizeof(unsigned short) && std::is_unsigned_v<unichar>,
              "NSString units and tavrin_ustring units must be the same 16-bit type");
static_assert(sizeof(wchar_t) == sizeof(UTF32), "std::wstring is read as UTF-32");

using tavrin::utils::tavrin_ustring;

namespace {

// Whether this Foundation refuses to make a string of units that hold an
// unpaired surrogate. Apple's Foundation keeps such units; GNUstep's
// initialisers answer nil for them.
bool RefusesLoneSurrogates() {
  static const bool refuses = [] {
    const unichar lone = 0xD800;
    NSString* probe = [[NSString alloc] initWithCharacters:&lone length:1];
    const bool refused = probe == nil;
    [probe release];
    return refused;
  }();
  return refuses;
}

bool IsHigh(unichar u) {
  return u >= 0xD800 && u <= 0xDBFF;
}
bool IsLow(unichar u) {
  return u >= 0xDC00 && u <= 0xDFFF;
}

// Replaces every unpaired surrogate of p[0, n) by U+FFFD, in place; returns
// whether there was one.
bool ReplaceLoneSurrogates(unichar* p, NSUInteger n) {
  bool replaced = false;
  for (NSUInteger i = 0; i < n; ++i) {
    if (IsHigh(p[i]) && i + 1 < n && IsLow(p[i + 1])) {
      ++i;  // a pair
    } else if (IsHigh(p[i]) || IsLow(p[i])) {
      p[i] = 0xFFFD;
      replaced = true;
    }
  }
  return replaced;
}

bool HasLoneSurrogate(const unichar* p, NSUInteger n) {
  for (NSUInteger i = 0; i < n; ++i) {
    if (IsHigh(p[i]) && i + 1 < n && IsLow(p[i + 1])) {
      ++i;
    } else if (IsHigh(p[i]) || IsLow(p[i])) {
      return true;
    }
  }
  return false;
}

// The units a Foundation string is made from: `p` itself, or, when this
// Foundation refuses unpaired surrogates and `p` holds one, a copy with each
// of them replaced by U+FFFD (same length).
class AcceptedUnits {
 public:
  AcceptedUnits(const unichar* p, NSUInteger n) : data_(p), size_(n) {
    if (n != 0 && RefusesLoneSurrogates() && HasLoneSurrogate(p, n)) {
      copy_.assign(p, p + n);
      ReplaceLoneSurrogates(copy_.data(), n);
      data_ = copy_.data();
    }
  }
  const unichar* data() const { return data_; }
  NSUInteger size() const { return size_; }

 private:
  const unichar* data_;
  NSUInteger size_;
  std::vector<unichar> copy_;
};

NSString* StringWithUnits(const unichar* p, NSUInteger n) {
  const AcceptedUnits units(p, n);
  NSString* s = [NSString stringWithCharacters:units.data() length:units.size()];
  return s != nil ? s : @"";
}

}  // namespace

@implementation NSString (stl_extensions)

+ (NSString*)wlStringWithStdString:(const std::string&)s {
  NSString* result = [NSString stringWithUTF8String:s.c_str()];
  return result != nil ? result : @"";
}

- (std::string)stdstring {
  // Asked first: GNUstep raises from UTF8String where Apple answers NULL.
  if (![self canBeConvertedToEncoding:NSUTF8StringEncoding]) return std::string();
  const char* bytes = [self UTF8String];
  return bytes != nullptr ? std::string(bytes) : std::string();
}

+ (NSString*)stringWithStdWString:(const std::wstring&)s {
  if (s.empty()) return @"";
  const UTF32* begin = reinterpret_cast<const UTF32*>(s.data());
  const UTF32* end = begin + s.size();
  const int needed = SizeNeededForUTF32To16(begin, end, lenientConversion);
  if (needed < 1) return @"";
  UTF16* buffer = static_cast<UTF16*>(std::malloc(static_cast<size_t>(needed) * sizeof(UTF16)));
  if (buffer == nullptr) return @"";
  const UTF32* source = begin;
  UTF16* target = buffer;
  const ConversionResult result =
      ConvertUTF32toUTF16(&source, end, &target, buffer + needed, lenientConversion);
  if (result != conversionOK) std::fprintf(stderr, "UTF conversion error: %d\n", result);
  const NSUInteger produced = static_cast<NSUInteger>(target - buffer);
  if (RefusesLoneSurrogates()) ReplaceLoneSurrogates(buffer, produced);
  // The string owns the buffer from here on and frees it with itself.
  NSString* string = [[NSString alloc] initWithCharactersNoCopy:buffer
                                                         length:produced
                                                   freeWhenDone:YES];
  return string != nil ? [string autorelease] : @"";
}

+ (NSString*)stringWithUString:(const tavrin_ustring&)s {
  return StringWithUnits(s.c_str(), s.size());
}

+ (NSString*)wlStringWithWString:(const unsigned short*)s {
  if (s == nullptr) return @"";
  return StringWithUnits(s, ustrlen(s));
}

- (id)initWithUString:(const tavrin_ustring&)s {
  const AcceptedUnits units(s.c_str(), s.size());
  return [self initWithCharacters:units.data() length:units.size()];
}

- (tavrin_ustring)TavrinUstring {
  tavrin_ustring result;
  const NSUInteger length = [self length];
  if (length == 0) return result;
  result.resize(length);
  [self getCharacters:result.str().data() range:NSMakeRange(0, length)];
  return result;
}

@end
