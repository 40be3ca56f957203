// NSString_stl.h - the stl_extensions category on NSString: conversions
// between NSString and std::string (UTF-8), std::wstring (UTF-32),
// tavrin_ustring and zero-terminated 16-bit units.
//
// Foundation layer only (Objective-C++, manual reference counting). NSString
// and tavrin_ustring both hold UTF-16 units, so conversions between them copy
// units without transcoding. Apple's Foundation keeps unpaired surrogates as
// they are; GNUstep's refuses to make a string of them, so there each unpaired
// surrogate becomes U+FFFD (the length is unchanged) and no method answers
// nil. Class methods return autoreleased strings: call them inside an
// autorelease pool (AutoReleasePool).
//
// Messages that return a C++ object (stdstring, TavrinUstring) must never be
// sent to nil: the result of such a message to nil is undefined. Test the
// receiver first.
#pragma once

#import <Foundation/Foundation.h>

#include <string>

#include "common/utils/ustring.h"

@interface NSString (stl_extensions)

// wlStringWithStdString:
//
// The UTF-8 bytes of `s` up to its first zero byte, decoded by Foundation
// (stringWithUTF8String:). Invalid UTF-8 gives @"" (never nil).
+ (NSString*)wlStringWithStdString:(const std::string&)s;

// stdstring
//
// The receiver's UTF8String copied into a new std::string; "" when Foundation
// has no UTF-8 form for it (a lone surrogate).
- (std::string)stdstring;

// stringWithStdWString:
//
// `s` read as UTF-32 and converted leniently to UTF-16 (values above U+10FFFF
// become U+FFFD). @"" for an empty string or when memory runs out. A
// conversion that does not finish writes "UTF conversion error: %d\n" (the
// result code) to stderr and keeps the units produced so far.
+ (NSString*)stringWithStdWString:(const std::wstring&)s;

// stringWithUString:
//
// The size() units of `s`, copied unchanged.
+ (NSString*)stringWithUString:(const tavrin::utils::tavrin_ustring&)s;

// wlStringWithWString:
//
// Despite its name, `s` is a zero-terminated string of UTF-16 units (not a
// wide string); its ustrlen() units are copied. A null pointer gives @"".
+ (NSString*)wlStringWithWString:(const unsigned short*)s;

// initWithUString:
//
// Initialises the receiver (from alloc) with the size() units of `s`.
- (id)initWithUString:(const tavrin::utils::tavrin_ustring&)s;

// TavrinUstring
//
// The receiver's UTF-16 units (getCharacters:) in a tavrin_ustring of the
// receiver's length. Empty for an empty receiver.
- (tavrin::utils::tavrin_ustring)TavrinUstring;

@end
