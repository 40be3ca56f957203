// NSString-additions.h - the StringTrimming category on NSString.
//
// Foundation layer only (Objective-C++, manual reference counting).
#pragma once

#import <Foundation/Foundation.h>

@interface NSString (StringTrimming)

// stringByTrimmingWhitspace
//
// The receiver without the space, tab, line feed and carriage return
// characters at either end; every other character (a non-breaking space
// included) is kept. The selector's spelling is part of the interface.
// Autoreleased.
- (NSString*)stringByTrimmingWhitspace;

@end
