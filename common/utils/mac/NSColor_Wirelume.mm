// NSColor_Wirelume.mm - the Wirelume category on NSColor.
#import "common/utils/mac/NSColor_Wirelume.h"

@implementation NSColor (Wirelume)

- (CColor)wirelumeColor {
  // Catalogue colours stand for a system role, not for fixed components.
  if ([self type] == NSColorTypeCatalog) return CColor::White;
  // A pattern colour has no components to convert. Apple's AppKit answers
  // nil for it; GNUstep raises instead, and an exception raised there cannot
  // be caught in Objective-C++ built by GCC, so it is never asked.
  NSColor* rgb = [self type] == NSColorTypePattern
                     ? nil
                     : [self colorUsingColorSpace:[NSColorSpace genericRGBColorSpace]];
  if (rgb == nil) {
    NSLog(@"Cannot convert color to RGB: %@\n", [self description]);
    return CColor::White;
  }
  CGFloat red = 0, green = 0, blue = 0, alpha = 0;
  [rgb getRed:&red green:&green blue:&blue alpha:&alpha];
  return CColor(static_cast<double>(red), static_cast<double>(green), static_cast<double>(blue),
                static_cast<double>(alpha));
}

+ (NSColor*)colorWithWirelumeColor:(CColor)color {
  return [NSColor colorWithCalibratedRed:color.GetRedf()
                                   green:color.GetGreenf()
                                    blue:color.GetBluef()
                                   alpha:color.GetAlphaf()];
}

@end
