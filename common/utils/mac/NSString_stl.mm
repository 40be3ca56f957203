// NSString_stl.mm - the stl_extensions category on NSString.
#import "common/utils/mac/NSString_stl.h"

#include <cstdio>
#include <cstdlib>
#include <type_traits>

#include "common/utils/convertutf.h"
#include "common/utils/unichar.h"

static_assert(sizeof(unichar) == sizeof(unsigned short) && std::is_unsigned_v<unichar>,
              "NSString units and tavrin_ustring units must be the same 16-bit type");
static_assert(sizeof(wchar_t) == sizeof(UTF32), "std::wstring is read as UTF-32");

using tavrin::utils::tavrin_ustring;

@implementation NSString (stl_extensions)

+ (NSString*)wlStringWithStdString:(const std::string&)s {
  NSString* result = [NSString stringWithUTF8String:s.c_str()];
  return result != nil ? result : @"";
}

- (std::string)stdstring {
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
  // The string owns the buffer from here on and frees it with itself.
  NSString* string = [[NSString alloc] initWithCharactersNoCopy:buffer
                                                         length:produced
                                                   freeWhenDone:YES];
  return [string autorelease];
}

+ (NSString*)stringWithUString:(const tavrin_ustring&)s {
  return [NSString stringWithCharacters:s.c_str() length:s.size()];
}

+ (NSString*)wlStringWithWString:(const unsigned short*)s {
  if (s == nullptr) return @"";
  return [NSString stringWithCharacters:s length:ustrlen(s)];
}

- (id)initWithUString:(const tavrin_ustring&)s {
  return [self initWithCharacters:s.c_str() length:s.size()];
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
