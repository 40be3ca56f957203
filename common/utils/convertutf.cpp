// convertutf.cpp - converters between UTF-8, UTF-16 and UTF-32, and the
// functions that measure a conversion before it is made.
//
// The converters follow the classic reference algorithm (result codes,
// strict and lenient modes, table-driven UTF-8 decoding) in its older form:
// surrogate values decoded from UTF-8 are carried through in lenient mode,
// values of 0x200000 and more become the two bytes 0xFF 0xBD on the way to
// UTF-8, and strict UTF-32 -> UTF-16 skips values above U+10FFFF. Callers rely
// on those results, so they are kept.
//
// Runs of ASCII are converted many bytes per step (16 with SSE2, 8 with a
// 64-bit word otherwise); the results are identical to the byte loop.
#include "common/utils/convertutf.h"

#include <climits>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// Number of trailing bytes announced by a lead byte.
constexpr unsigned char kTrailingBytesForUTF8[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5};

// Subtracted after accumulating value = value * 64 + byte over a sequence;
// removes the lead-byte marks and continuation bits in one step.
constexpr UTF32 kOffsetsFromUTF8[6] = {0x00000000UL, 0x00003080UL, 0x000E2080UL,
                                       0x03C82080UL, 0xFA082080UL, 0x82082080UL};

// OR-ed into the first byte of an encoded sequence, by sequence length.
constexpr UTF8 kFirstByteMark[7] = {0x00, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

constexpr UTF32 kReplacementChar = 0xFFFD;
constexpr UTF32 kMaxBmp = 0xFFFF;
constexpr UTF32 kMaxUtf16 = 0x10FFFF;
constexpr UTF32 kSurHighStart = 0xD800;
constexpr UTF32 kSurHighEnd = 0xDBFF;
constexpr UTF32 kSurLowStart = 0xDC00;
constexpr UTF32 kSurLowEnd = 0xDFFF;
constexpr int kHalfShift = 10;
constexpr UTF32 kHalfBase = 0x0010000UL;
constexpr UTF32 kHalfMask = 0x3FFUL;

inline bool IsSurrogate(UTF32 ch) {
  return ch >= kSurHighStart && ch <= kSurLowEnd;
}
inline bool IsHighSurrogate(UTF32 ch) {
  return ch >= kSurHighStart && ch <= kSurHighEnd;
}
inline bool IsLowSurrogate(UTF32 ch) {
  return ch >= kSurLowStart && ch <= kSurLowEnd;
}

// Whether `length` bytes at `source` form a legal UTF-8 sequence. Checked
// from the last byte backwards. There is deliberately no rule for 0xED: the
// three-byte encodings of surrogate values are legal here.
bool isLegalUTF8(const UTF8* source, int length) {
  if (length < 1 || length > 4) return false;
  const UTF8* p = source + length;
  UTF8 a;
  switch (length) {
    case 4:
      if ((a = *--p) < 0x80 || a > 0xBF) return false;
      [[fallthrough]];
    case 3:
      if ((a = *--p) < 0x80 || a > 0xBF) return false;
      [[fallthrough]];
    case 2:
      if ((a = *--p) > 0xBF) return false;
      switch (*source) {
        case 0xE0:
          if (a < 0xA0) return false;
          break;
        case 0xF0:
          if (a < 0x90) return false;
          break;
        case 0xF4:
          if (a > 0x8F) return false;
          break;
        default:
          if (a < 0x80) return false;
      }
      [[fallthrough]];
    default:
      if (*source >= 0x80 && *source < 0xC2) return false;
  }
  return *source <= 0xF4;
}

// Decodes the legal sequence of `extra` + 1 bytes at `p`.
inline UTF32 DecodeSequence(const UTF8* p, unsigned extra) {
  UTF32 ch = 0;
  switch (extra) {
    case 5:
      ch += *p++;
      ch <<= 6;
      [[fallthrough]];
    case 4:
      ch += *p++;
      ch <<= 6;
      [[fallthrough]];
    case 3:
      ch += *p++;
      ch <<= 6;
      [[fallthrough]];
    case 2:
      ch += *p++;
      ch <<= 6;
      [[fallthrough]];
    case 1:
      ch += *p++;
      ch <<= 6;
      [[fallthrough]];
    default:
      ch += *p++;
  }
  return ch - kOffsetsFromUTF8[extra];
}

// Length in bytes of the leading ASCII run of [p, end), checked many bytes
// per step. Stops at the first byte >= 0x80 or at `end`.
inline std::size_t AsciiPrefix(const UTF8* p, const UTF8* end) {
  const UTF8* start = p;
#if defined(__SSE2__)
  while (end - p >= 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    int mask = _mm_movemask_epi8(v);
    if (mask != 0) return static_cast<std::size_t>(p - start) + __builtin_ctz(mask);
    p += 16;
  }
#endif
  while (end - p >= 8) {
    std::uint64_t w;
    std::memcpy(&w, p, 8);
    if (w & 0x8080808080808080ULL) break;
    p += 8;
  }
  while (p < end && *p < 0x80) ++p;
  return static_cast<std::size_t>(p - start);
}

// Widens `n` ASCII bytes to UTF-16 units.
inline void WidenAscii(const UTF8* src, UTF16* dst, std::size_t n) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= n; i += 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 8), _mm_unpackhi_epi8(v, zero));
  }
#endif
  for (; i < n; ++i) dst[i] = src[i];
}

// Length in units of the leading run of [p, end) below 0x80.
inline std::size_t AsciiUnitPrefix(const UTF16* p, const UTF16* end) {
  const UTF16* start = p;
#if defined(__SSE2__)
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  while (end - p >= 8) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    int mask = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, high), _mm_setzero_si128()));
    if (mask != 0xFFFF) return static_cast<std::size_t>(p - start) + (__builtin_ctz(~mask) >> 1);
    p += 8;
  }
#endif
  while (end - p >= 4) {
    std::uint64_t w;
    std::memcpy(&w, p, 8);
    if (w & 0xFF80FF80FF80FF80ULL) break;
    p += 4;
  }
  while (p < end && *p < 0x80) ++p;
  return static_cast<std::size_t>(p - start);
}

// Narrows `n` UTF-16 units below 0x80 to bytes.
inline void NarrowAscii(const UTF16* src, UTF8* dst, std::size_t n) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= n; i += 16) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 8));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(a, b));
  }
#endif
  for (; i < n; ++i) dst[i] = static_cast<UTF8>(src[i]);
}

// Clamps a measured count to the int range of the measuring functions.
inline int CountOrIllegal(std::uint64_t count) {
  return count > static_cast<std::uint64_t>(INT_MAX) ? -static_cast<int>(sourceIllegal)
                                                     : static_cast<int>(count);
}

}  // namespace

extern "C" {

ConversionResult ConvertUTF8toUTF16(const UTF8** sourceStart, const UTF8* sourceEnd,
                                    UTF16** targetStart, UTF16* targetEnd, ConversionFlags flags) {
  ConversionResult result = conversionOK;
  const UTF8* source = *sourceStart;
  UTF16* target = *targetStart;
  while (source < sourceEnd) {
    if (*source < 0x80) {
      std::size_t room = static_cast<std::size_t>(targetEnd - target);
      std::size_t n = AsciiPrefix(
          source, room < static_cast<std::size_t>(sourceEnd - source) ? source + room : sourceEnd);
      if (n == 0) {
        result = targetExhausted;
        break;
      }
      WidenAscii(source, target, n);
      source += n;
      target += n;
      continue;
    }
    unsigned extra = kTrailingBytesForUTF8[*source];
    if (extra >= static_cast<std::size_t>(sourceEnd - source)) {
      result = sourceExhausted;
      break;
    }
    if (!isLegalUTF8(source, static_cast<int>(extra) + 1)) {
      result = sourceIllegal;
      break;
    }
    UTF32 ch = DecodeSequence(source, extra);
    if (target >= targetEnd) {
      result = targetExhausted;
      break;
    }
    if (ch <= kMaxBmp) {
      if (IsSurrogate(ch) && flags == strictConversion) {
        result = sourceIllegal;
        break;
      }
      *target++ = static_cast<UTF16>(ch);  // lenient: a surrogate value is carried unchanged
    } else if (ch > kMaxUtf16) {
      if (flags == strictConversion) {
        result = sourceIllegal;
        break;
      }
      *target++ = static_cast<UTF16>(kReplacementChar);
    } else {
      if (target + 1 >= targetEnd) {
        result = targetExhausted;
        break;
      }
      ch -= kHalfBase;
      *target++ = static_cast<UTF16>((ch >> kHalfShift) + kSurHighStart);
      *target++ = static_cast<UTF16>((ch & kHalfMask) + kSurLowStart);
    }
    source += extra + 1;
  }
  *sourceStart = source;
  *targetStart = target;
  return result;
}

ConversionResult ConvertUTF8toUTF32(const UTF8** sourceStart, const UTF8* sourceEnd,
                                    UTF32** targetStart, UTF32* targetEnd) {
  ConversionResult result = conversionOK;
  const UTF8* source = *sourceStart;
  UTF32* target = *targetStart;
  while (source < sourceEnd) {
    unsigned extra = kTrailingBytesForUTF8[*source];
    if (extra >= static_cast<std::size_t>(sourceEnd - source)) {
      result = sourceExhausted;
      break;
    }
    if (!isLegalUTF8(source, static_cast<int>(extra) + 1)) {
      result = sourceIllegal;
      break;
    }
    if (target >= targetEnd) {
      result = targetExhausted;
      break;
    }
    *target++ = DecodeSequence(source, extra);
    source += extra + 1;
  }
  *sourceStart = source;
  *targetStart = target;
  return result;
}

ConversionResult ConvertUTF16toUTF8(const UTF16** sourceStart, const UTF16* sourceEnd,
                                    UTF8** targetStart, UTF8* targetEnd, ConversionFlags flags) {
  ConversionResult result = conversionOK;
  const UTF16* source = *sourceStart;
  UTF8* target = *targetStart;
  while (source < sourceEnd) {
    if (*source < 0x80) {
      std::size_t room = static_cast<std::size_t>(targetEnd - target);
      std::size_t n = AsciiUnitPrefix(
          source, room < static_cast<std::size_t>(sourceEnd - source) ? source + room : sourceEnd);
      if (n == 0) {
        result = targetExhausted;
        break;
      }
      NarrowAscii(source, target, n);
      source += n;
      target += n;
      continue;
    }
    const UTF16* oldSource = source;
    UTF32 ch = *source++;
    if (IsHighSurrogate(ch)) {
      // A high surrogate that is the last unit is encoded by itself in both modes.
      if (source < sourceEnd) {
        UTF32 ch2 = *source;
        if (IsLowSurrogate(ch2)) {
          ch = ((ch - kSurHighStart) << kHalfShift) + (ch2 - kSurLowStart) + kHalfBase;
          ++source;
        } else if (flags == strictConversion) {
          source = oldSource;
          result = sourceIllegal;
          break;
        }
      }
    } else if (IsLowSurrogate(ch) && flags == strictConversion) {
      source = oldSource;
      result = sourceIllegal;
      break;
    }
    unsigned bytesToWrite = ch < 0x800 ? 2 : ch < 0x10000 ? 3 : 4;
    if (static_cast<std::size_t>(targetEnd - target) < bytesToWrite) {
      source = oldSource;
      result = targetExhausted;
      break;
    }
    target += bytesToWrite;
    switch (bytesToWrite) {
      case 4:
        *--target = static_cast<UTF8>((ch | 0x80) & 0xBF);
        ch >>= 6;
        [[fallthrough]];
      case 3:
        *--target = static_cast<UTF8>((ch | 0x80) & 0xBF);
        ch >>= 6;
        [[fallthrough]];
      default:
        *--target = static_cast<UTF8>((ch | 0x80) & 0xBF);
        ch >>= 6;
        *--target = static_cast<UTF8>(ch | kFirstByteMark[bytesToWrite]);
    }
    target += bytesToWrite;
  }
  *sourceStart = source;
  *targetStart = target;
  return result;
}

ConversionResult ConvertUTF16toUTF32(const UTF16** sourceStart, const UTF16* sourceEnd,
                                     UTF32** targetStart, UTF32* targetEnd, ConversionFlags flags) {
  ConversionResult result = conversionOK;
  const UTF16* source = *sourceStart;
  UTF32* target = *targetStart;
  while (source < sourceEnd) {
    const UTF16* oldSource = source;
    UTF32 ch = *source++;
    if (IsHighSurrogate(ch)) {
      if (source < sourceEnd) {
        UTF32 ch2 = *source;
        if (IsLowSurrogate(ch2)) {
          ch = ((ch - kSurHighStart) << kHalfShift) + (ch2 - kSurLowStart) + kHalfBase;
          ++source;
        } else if (flags == strictConversion) {
          source = oldSource;
          result = sourceIllegal;
          break;
        }
      }
    } else if (IsLowSurrogate(ch) && flags == strictConversion) {
      source = oldSource;
      result = sourceIllegal;
      break;
    }
    if (target >= targetEnd) {
      source = oldSource;
      result = targetExhausted;
      break;
    }
    *target++ = ch;
  }
  *sourceStart = source;
  *targetStart = target;
  return result;
}

ConversionResult ConvertUTF32toUTF16(const UTF32** sourceStart, const UTF32* sourceEnd,
                                     UTF16** targetStart, UTF16* targetEnd, ConversionFlags flags) {
  ConversionResult result = conversionOK;
  const UTF32* source = *sourceStart;
  UTF16* target = *targetStart;
  while (source < sourceEnd) {
    if (target >= targetEnd) {
      result = targetExhausted;
      break;
    }
    UTF32 ch = *source++;
    if (ch <= kMaxBmp) {
      if (IsSurrogate(ch) && flags == strictConversion) {
        --source;
        result = sourceIllegal;
        break;
      }
      *target++ = static_cast<UTF16>(ch);
    } else if (ch > kMaxUtf16) {
      if (flags == strictConversion) {
        result = sourceIllegal;  // skipped without output; conversion goes on
      } else {
        *target++ = static_cast<UTF16>(kReplacementChar);
      }
    } else {
      if (target + 1 >= targetEnd) {
        --source;
        result = targetExhausted;
        break;
      }
      ch -= kHalfBase;
      *target++ = static_cast<UTF16>((ch >> kHalfShift) + kSurHighStart);
      *target++ = static_cast<UTF16>((ch & kHalfMask) + kSurLowStart);
    }
  }
  *sourceStart = source;
  *targetStart = target;
  return result;
}

ConversionResult ConvertUTF32toUTF8(const UTF32** sourceStart, const UTF32* sourceEnd,
                                    UTF8** targetStart, UTF8* targetEnd, ConversionFlags flags) {
  ConversionResult result = conversionOK;
  const UTF32* source = *sourceStart;
  UTF8* target = *targetStart;
  while (source < sourceEnd) {
    UTF32 ch = *source++;
    if (flags == strictConversion && IsSurrogate(ch)) {
      --source;
      result = sourceIllegal;
      break;
    }
    unsigned bytesToWrite;
    if (ch < 0x80) {
      bytesToWrite = 1;
    } else if (ch < 0x800) {
      bytesToWrite = 2;
    } else if (ch < 0x10000) {
      bytesToWrite = 3;
    } else if (ch < 0x200000) {
      bytesToWrite = 4;
    } else {
      // Older reference behaviour: the replacement character written with a
      // length of 2 gives the bytes 0xFF 0xBD, reported as success.
      bytesToWrite = 2;
      ch = kReplacementChar;
    }
    if (static_cast<std::size_t>(targetEnd - target) < bytesToWrite) {
      --source;
      result = targetExhausted;
      break;
    }
    target += bytesToWrite;
    switch (bytesToWrite) {
      case 4:
        *--target = static_cast<UTF8>((ch | 0x80) & 0xBF);
        ch >>= 6;
        [[fallthrough]];
      case 3:
        *--target = static_cast<UTF8>((ch | 0x80) & 0xBF);
        ch >>= 6;
        [[fallthrough]];
      case 2:
        *--target = static_cast<UTF8>((ch | 0x80) & 0xBF);
        ch >>= 6;
        [[fallthrough]];
      default:
        *--target = static_cast<UTF8>(ch | kFirstByteMark[bytesToWrite]);
    }
    target += bytesToWrite;
  }
  *sourceStart = source;
  *targetStart = target;
  return result;
}

bool isLegalUTF8Sequence(const UTF8* source, const UTF8* sourceEnd) {
  if (source == nullptr || source >= sourceEnd) return false;
  int length = kTrailingBytesForUTF8[*source] + 1;
  if (length > sourceEnd - source) return false;
  return isLegalUTF8(source, length);
}

int SizeNeededForUTF16(const UTF8* begin, const UTF8* end, ConversionFlags flags) {
  if (begin == nullptr || begin >= end) return 0;
  std::uint64_t count = 0;
  const UTF8* p = begin;
  while (p < end) {
    if (*p < 0x80) {
      std::size_t n = AsciiPrefix(p, end);
      p += n;
      count += n;
      continue;
    }
    unsigned extra = kTrailingBytesForUTF8[*p];
    if (extra >= static_cast<std::size_t>(end - p)) return -static_cast<int>(sourceExhausted);
    if (!isLegalUTF8(p, static_cast<int>(extra) + 1)) return -static_cast<int>(sourceIllegal);
    UTF32 ch = DecodeSequence(p, extra);
    if (ch <= kMaxBmp) {
      if (IsSurrogate(ch) && flags == strictConversion) return -static_cast<int>(sourceIllegal);
      count += 1;
    } else if (ch <= kMaxUtf16) {
      count += 2;
    } else {
      if (flags == strictConversion) return -static_cast<int>(sourceIllegal);
      count += 1;
    }
    p += extra + 1;
  }
  return CountOrIllegal(count);
}

int SizeNeededForUTF8(const UTF16* begin, const UTF16* end, ConversionFlags flags) {
  if (begin == nullptr || begin >= end) return 0;
  std::uint64_t count = 0;
  const UTF16* p = begin;
  while (p < end) {
    if (*p < 0x80) {
      std::size_t n = AsciiUnitPrefix(p, end);
      p += n;
      count += n;
      continue;
    }
    UTF32 ch = *p++;
    if (IsHighSurrogate(ch)) {
      if (p < end) {
        if (IsLowSurrogate(*p)) {
          ++p;
          count += 4;
          continue;
        }
        if (flags == strictConversion) return -static_cast<int>(sourceIllegal);
      }
      count += 3;  // unpaired (lenient) or last unit (both modes): encoded by itself
    } else if (IsLowSurrogate(ch)) {
      if (flags == strictConversion) return -static_cast<int>(sourceIllegal);
      count += 3;
    } else {
      count += ch < 0x800 ? 2 : 3;
    }
  }
  return CountOrIllegal(count);
}

int SizeNeededForUTF32To16(const UTF32* begin, const UTF32* end, ConversionFlags flags) {
  if (begin == nullptr || begin >= end) return 0;
  std::uint64_t count = 0;
  bool tooLarge = false;
  for (const UTF32* p = begin; p < end; ++p) {
    UTF32 ch = *p;
    if (ch <= kMaxBmp) {
      if (IsSurrogate(ch) && flags == strictConversion) return -static_cast<int>(sourceIllegal);
      count += 1;
    } else if (ch <= kMaxUtf16) {
      count += 2;
    } else if (flags == strictConversion) {
      tooLarge = true;  // counts 0; the whole input is still scanned
    } else {
      count += 1;
    }
  }
  if (tooLarge) return -static_cast<int>(sourceIllegal);
  return CountOrIllegal(count);
}

}  // extern "C"
