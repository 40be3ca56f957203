// NSColor_Wirelume.h - the Wirelume category on NSColor: the bridge between
// AppKit colours and CColor.
//
// Foundation layer only (Objective-C++, manual reference counting). CColor
// channels are bytes; AppKit components are floating point in [0, 1].
#pragma once

#import <AppKit/AppKit.h>

#include "common/utils/color.h"

@interface NSColor (Wirelume)

// wirelumeColor
//
// The receiver as a CColor: a catalogue (named system) colour gives opaque
// white without any conversion; otherwise the receiver is converted to the
// generic RGB colour space and its red, green, blue and alpha components go
// through CColor's double constructor. When the conversion gives nothing
// (a pattern colour, for one) "Cannot convert color to RGB: %@\n" with the
// colour's description goes to the system log (NSLog) and the result is
// opaque white.
- (CColor)wirelumeColor;

// colorWithWirelumeColor:
//
// A calibrated RGB colour of the four float channels of `color` (byte / 255).
// Autoreleased.
+ (NSColor*)colorWithWirelumeColor:(CColor)color;

@end
