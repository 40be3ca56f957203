// convertutf.h - converters between UTF-8, UTF-16 and UTF-32 in caller
// buffers, and the functions that measure a conversion before it is made.
//
// Every converter takes a pointer to the source cursor, the source end, a
// pointer to the target cursor and the target end; it advances both cursors
// past what it converted and returns a ConversionResult. On targetExhausted
// and sourceIllegal the source cursor is left at the start of the sequence or
// unit that could not be handled, so a caller can resume or convert in
// chunks. Nothing here allocates, throws or reads outside [source, sourceEnd).
//
// Modes: strictConversion (0) rejects ill-formed input with sourceIllegal;
// any other flag value is lenient and never fails on well-sized buffers
// (lone surrogates are carried through, values above U+10FFFF become U+FFFD).
// None of these functions is BOM-aware: a byte-order mark is an ordinary
// character.
//
// Measuring functions return the number of target units a lenient or strict
// conversion would write, or a negative count: -1 when the input ends inside
// a multi-byte sequence, -3 when a sequence or value is illegal. Callers must
// test the sign before sizing a buffer.
#pragma once

#include "common/utils/export.h"

extern "C" {

typedef unsigned char UTF8;
typedef unsigned short UTF16;
typedef unsigned int UTF32;

typedef enum {
  conversionOK,     // all input consumed
  sourceExhausted,  // the input ends inside a multi-byte UTF-8 sequence
  targetExhausted,  // the output buffer is full
  sourceIllegal     // an input sequence or value is not acceptable in this mode
} ConversionResult;

// Any non-zero value is lenient; the fixed underlying type keeps such values
// defined.
typedef enum : int { strictConversion = 0, lenientConversion = 1 } ConversionFlags;

// ConvertUTF8toUTF16()
//
// A decoded value above U+FFFF is written as a surrogate pair and needs two
// free target units. A surrogate value (three-byte 0xED 0xA0..0xBF form) is
// sourceIllegal in strict mode and written unchanged in lenient mode; a value
// above U+10FFFF is sourceIllegal (strict) or U+FFFD (lenient). A sequence cut
// off by sourceEnd gives sourceExhausted with the cursor at its lead byte.
TAVRIN_EXPORT ConversionResult ConvertUTF8toUTF16(const UTF8** sourceStart, const UTF8* sourceEnd,
                                                  UTF16** targetStart, UTF16* targetEnd,
                                                  ConversionFlags flags);

// ConvertUTF8toUTF32()
//
// As ConvertUTF8toUTF16 but takes no flags: every decoded value, surrogate
// values and values above U+10FFFF included, is stored as it is.
TAVRIN_EXPORT ConversionResult ConvertUTF8toUTF32(const UTF8** sourceStart, const UTF8* sourceEnd,
                                                  UTF32** targetStart, UTF32* targetEnd);

// ConvertUTF16toUTF8()
//
// A high surrogate followed by a low one is combined. A high surrogate not
// followed by a low one, and a lone low surrogate, are sourceIllegal in strict
// mode and encoded by themselves (three bytes) in lenient mode; a high
// surrogate that is the last input unit is encoded by itself in both modes.
// targetExhausted when a whole encoded sequence does not fit.
TAVRIN_EXPORT ConversionResult ConvertUTF16toUTF8(const UTF16** sourceStart, const UTF16* sourceEnd,
                                                  UTF8** targetStart, UTF8* targetEnd,
                                                  ConversionFlags flags);

// ConvertUTF16toUTF32()
//
// Same surrogate rules as ConvertUTF16toUTF8; one target unit per value.
TAVRIN_EXPORT ConversionResult ConvertUTF16toUTF32(const UTF16** sourceStart,
                                                   const UTF16* sourceEnd, UTF32** targetStart,
                                                   UTF32* targetEnd, ConversionFlags flags);

// ConvertUTF32toUTF16()
//
// A surrogate value is sourceIllegal in strict mode (written unchanged when
// lenient). Values above U+10FFFF become U+FFFD when lenient; in strict mode
// they are skipped without output, the result becomes sourceIllegal and the
// conversion goes on with the next value.
TAVRIN_EXPORT ConversionResult ConvertUTF32toUTF16(const UTF32** sourceStart,
                                                   const UTF32* sourceEnd, UTF16** targetStart,
                                                   UTF16* targetEnd, ConversionFlags flags);

// ConvertUTF32toUTF8()
//
// Strict mode rejects surrogate values. 0x110000..0x1FFFFF are encoded as
// four-byte sequences; a value of 0x200000 or more is written as the two
// bytes 0xFF 0xBD with conversionOK (the older reference behaviour, kept).
TAVRIN_EXPORT ConversionResult ConvertUTF32toUTF8(const UTF32** sourceStart, const UTF32* sourceEnd,
                                                  UTF8** targetStart, UTF8* targetEnd,
                                                  ConversionFlags flags);

// isLegalUTF8Sequence()
//
// Whether the UTF-8 sequence starting at `source` (its length taken from the
// lead byte) fits before `sourceEnd` and is legal. Surrogate encodings
// (0xED 0xA0..0xBF ..) are legal here. False for an empty range.
TAVRIN_EXPORT bool isLegalUTF8Sequence(const UTF8* source, const UTF8* sourceEnd);

// SizeNeededForUTF16()
//
// UTF-16 units that ConvertUTF8toUTF16 writes for [begin, end); 0 for an
// empty range; -1 for a sequence cut off by the end; -3 for an illegal one.
TAVRIN_EXPORT int SizeNeededForUTF16(const UTF8* begin, const UTF8* end, ConversionFlags flags);

// SizeNeededForUTF8()
//
// UTF-8 bytes that ConvertUTF16toUTF8 writes for [begin, end); -3 in strict
// mode for an unpaired surrogate (a trailing high surrogate counts 3).
TAVRIN_EXPORT int SizeNeededForUTF8(const UTF16* begin, const UTF16* end, ConversionFlags flags);

// SizeNeededForUTF32To16()
//
// UTF-16 units that ConvertUTF32toUTF16 writes for [begin, end); -3 in
// strict mode for a surrogate value or (after the whole scan) a value above
// U+10FFFF.
TAVRIN_EXPORT int SizeNeededForUTF32To16(const UTF32* begin, const UTF32* end,
                                         ConversionFlags flags);

}  // extern "C"
