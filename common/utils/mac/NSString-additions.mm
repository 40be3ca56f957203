// NSString-additions.mm - the StringTrimming category on NSString.
#import "common/utils/mac/NSString-additions.h"

@implementation NSString (StringTrimming)

- (NSString*)stringByTrimmingWhitspace {
  // Exactly these four characters: Foundation's whitespace sets hold more
  // (the non-breaking space among them), which callers expect to keep.
  NSCharacterSet* set = [NSCharacterSet characterSetWithCharactersInString:@" \t\n\r"];
  return [self stringByTrimmingCharactersInSet:set];
}

@end
