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
// Speed: every loop first tries a fast path for the common, plainly legal
// forms (runs of ASCII many units per step, then whole 2-, 3- and 4-byte
// sequences decoded without tables) and falls back to the general,
// table-driven step for everything else: cut-off and illegal sequences,
// surrogates, the F4 lead, a target without room. A fast path only takes a
// case whose result the general step would produce identically, so the
// output, the cursors and the result codes never depend on which path ran.
#include "common/utils/convertutf.h"

#include <climits>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "common/utils/internal/convertutf_internal.h"

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

// The 8 bytes at `p` as a little-endian number (byte 0 in the low bits).
inline std::uint64_t LoadLittleEndian64(const UTF8* p) {
  std::uint64_t w;
  std::memcpy(&w, p, 8);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  w = __builtin_bswap64(w);
#endif
  return w;
}

inline bool IsTrail(UTF8 b) {
  return (b & 0xC0) == 0x80;
}

// Decodes the sequence at `p` (lead byte >= 0x80, `avail` bytes readable)
// when it is complete and in one of the plainly legal forms: C2..DF + 1,
// E0..EF + 2 (not overlong; not a surrogate value when
// `rejectSurrogates`), F0..F3 + 3 (not overlong). Returns its length and
// stores the value; returns 0 for anything else (cut off, illegal, F4 lead,
// stray trailing byte), which the general step then handles. For every
// sequence it accepts, isLegalUTF8 holds and the value equals the
// table-driven DecodeSequence.
inline unsigned DecodeCommon(const UTF8* p, std::size_t avail, bool rejectSurrogates, UTF32& ch) {
  UTF8 b0 = p[0];
  if (b0 < 0xE0) {
    if (b0 < 0xC2 || avail < 2 || !IsTrail(p[1])) return 0;
    ch = (static_cast<UTF32>(b0 & 0x1F) << 6) | (p[1] & 0x3F);
    return 2;
  }
  if (b0 < 0xF0) {
    if (avail < 3 || !IsTrail(p[1]) || !IsTrail(p[2])) return 0;
    ch = (static_cast<UTF32>(b0 & 0x0F) << 12) | (static_cast<UTF32>(p[1] & 0x3F) << 6) |
         (p[2] & 0x3F);
    if (ch < 0x800 || (rejectSurrogates && IsSurrogate(ch))) return 0;
    return 3;
  }
  if (b0 > 0xF3 || avail < 4 || !IsTrail(p[1]) || !IsTrail(p[2]) || !IsTrail(p[3])) return 0;
  ch = (static_cast<UTF32>(b0 & 0x07) << 18) | (static_cast<UTF32>(p[1] & 0x3F) << 12) |
       (static_cast<UTF32>(p[2] & 0x3F) << 6) | (p[3] & 0x3F);
  return ch < 0x10000 ? 0 : 4;
}

// Decodes the run of ASCII bytes and plainly legal multi-byte sequences at
// the start of [s, end) (the forms DecodeCommon accepts, surrogate values
// excluded when `strict`), writing the units to `t` when kWrite, at most
// `room` of them (a pair only when both units fit): mixed text such as
// accented Latin, CJK with punctuation or text with emoji stays in this one
// loop. Stops at anything that needs the general step and after 16 ASCII
// bytes in a row (long ASCII runs are faster 16 at a time). Returns the bytes
// consumed; `units` receives the number of units.
template <bool kWrite>
inline std::size_t DecodeRun(const UTF8* s, const UTF8* end, UTF16* t, std::size_t room,
                             bool strict, std::size_t& units) {
  const UTF8* p = s;
  std::size_t n = 0;
  unsigned asciiInARow = 0;
  while (n < room && p < end) {
    UTF8 b0 = *p;
    std::size_t left = static_cast<std::size_t>(end - p);
    UTF32 ch;
    if (b0 < 0x80) {
      if (++asciiInARow > 16) break;
      ch = b0;
      p += 1;
      if constexpr (kWrite) t[n] = static_cast<UTF16>(ch);
      ++n;
      continue;
    }
    asciiInARow = 0;
    if (b0 >= 0xF0) {
      // F0..F3 with three trailing bytes, not overlong: a pair.
      if (b0 > 0xF3 || left < 4 || room - n < 2 || !IsTrail(p[1]) || !IsTrail(p[2]) ||
          !IsTrail(p[3]))
        break;
      ch = (static_cast<UTF32>(b0 & 0x07) << 18) | (static_cast<UTF32>(p[1] & 0x3F) << 12) |
           (static_cast<UTF32>(p[2] & 0x3F) << 6) | (p[3] & 0x3F);
      if (ch < 0x10000) break;
      ch -= kHalfBase;
      if constexpr (kWrite) {
        t[n] = static_cast<UTF16>((ch >> kHalfShift) + kSurHighStart);
        t[n + 1] = static_cast<UTF16>((ch & kHalfMask) + kSurLowStart);
      }
      n += 2;
      p += 4;
      continue;
    }
    if (b0 >= 0xE0) {
      // Two three-byte sequences per step while they come in a row (CJK).
      while (left >= 8 && room - n >= 2) {
        std::uint64_t w = LoadLittleEndian64(p);
        if ((w & 0xC0C0F0C0C0F0ULL) != 0x8080E08080E0ULL) break;
        UTF32 c1 =
            static_cast<UTF32>(((w & 0x0F) << 12) | ((w >> 2) & 0x0FC0) | ((w >> 16) & 0x3F));
        UTF32 c2 =
            static_cast<UTF32>(((w >> 12) & 0xF000) | ((w >> 26) & 0x0FC0) | ((w >> 40) & 0x3F));
        if (c1 < 0x800 || c2 < 0x800 || (strict && (IsSurrogate(c1) || IsSurrogate(c2)))) break;
        if constexpr (kWrite) {
          t[n] = static_cast<UTF16>(c1);
          t[n + 1] = static_cast<UTF16>(c2);
        }
        n += 2;
        p += 6;
        left -= 6;
      }
      if (n >= room || p >= end) break;
      b0 = *p;
      if (b0 < 0xE0 || b0 >= 0xF0) continue;  // the loop head takes it
      asciiInARow = 0;
      if (left < 3 || !IsTrail(p[1]) || !IsTrail(p[2])) break;
      ch = (static_cast<UTF32>(b0 & 0x0F) << 12) | (static_cast<UTF32>(p[1] & 0x3F) << 6) |
           (p[2] & 0x3F);
      if (ch < 0x800 || (strict && IsSurrogate(ch))) break;
      p += 3;
    } else if (b0 >= 0xC2) {
      if (left < 2 || !IsTrail(p[1])) break;
      ch = (static_cast<UTF32>(b0 & 0x1F) << 6) | (p[1] & 0x3F);
      p += 2;
    } else {
      break;
    }
    if constexpr (kWrite) t[n] = static_cast<UTF16>(ch);
    ++n;
  }
  units = n;
  return static_cast<std::size_t>(p - s);
}

// Length in bytes of the leading ASCII run of [p, p + limit).
inline std::size_t AsciiPrefix(const UTF8* p, std::size_t limit) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= limit; i += 16) {
    int mask = _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)));
    if (mask != 0) return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
  }
#endif
  for (; i + 8 <= limit; i += 8) {
    std::uint64_t w;
    std::memcpy(&w, p + i, 8);
    if (w & 0x8080808080808080ULL) break;
  }
  while (i < limit && p[i] < 0x80) ++i;
  return i;
}

// Widens the leading ASCII run of [src, src + limit) into `dst` in one pass
// and returns its length. Writes exactly that many units.
inline std::size_t WidenAsciiRun(const UTF8* src, std::size_t limit, UTF16* dst) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= limit; i += 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    int mask = _mm_movemask_epi8(v);
    if (mask != 0) {
      std::size_t n = i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
      for (; i < n; ++i) dst[i] = src[i];
      return n;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 8), _mm_unpackhi_epi8(v, zero));
  }
#endif
  for (; i < limit && src[i] < 0x80; ++i) dst[i] = src[i];
  return i;
}

// Narrows the leading run of units below 0x80 of [src, src + limit) into
// `dst` in one pass and returns its length. Writes exactly that many bytes.
inline std::size_t NarrowAsciiRun(const UTF16* src, std::size_t limit, UTF8* dst) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= limit; i += 16) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 8));
    __m128i big = _mm_or_si128(_mm_and_si128(a, high), _mm_and_si128(b, high));
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(big, zero)) != 0xFFFF) break;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(a, b));
  }
#endif
  for (; i < limit && src[i] < 0x80; ++i) dst[i] = static_cast<UTF8>(src[i]);
  return i;
}

// Writes the 2- or 3-byte UTF-8 form of a value below 0x10000.
inline UTF8* Put2(UTF8* t, UTF32 ch) {
  t[0] = static_cast<UTF8>(0xC0 | (ch >> 6));
  t[1] = static_cast<UTF8>(0x80 | (ch & 0x3F));
  return t + 2;
}
inline UTF8* Put3(UTF8* t, UTF32 ch) {
  t[0] = static_cast<UTF8>(0xE0 | (ch >> 12));
  t[1] = static_cast<UTF8>(0x80 | ((ch >> 6) & 0x3F));
  t[2] = static_cast<UTF8>(0x80 | (ch & 0x3F));
  return t + 3;
}

// Encodes the run of units at the start of [s, end) that need no general
// step: ASCII, other units outside the surrogates, and well-formed pairs,
// each only when its whole encoding fits in the `room` bytes at `t`. Stops
// at anything else and after 16 ASCII units in a row (long ASCII runs are
// faster 16 at a time). Returns the units consumed; `bytes` receives the
// bytes written.
inline std::size_t EncodeRun(const UTF16* s, const UTF16* end, UTF8* t, std::size_t room,
                             std::size_t& bytes) {
  const UTF16* p = s;
  UTF8* q = t;
  UTF8* const qEnd = t + room;
  unsigned asciiInARow = 0;
  while (p < end) {
    UTF32 ch = *p;
    std::size_t left = static_cast<std::size_t>(qEnd - q);
    if (ch < 0x80) {
      if (++asciiInARow > 16 || left < 1) break;
      *q++ = static_cast<UTF8>(ch);
      ++p;
      continue;
    }
    asciiInARow = 0;
    if (ch < 0x800) {
      if (left < 2) break;
      q = Put2(q, ch);
      ++p;
    } else if (!IsSurrogate(ch)) {
      if (left < 3) break;
      q = Put3(q, ch);
      ++p;
    } else {
      if (!IsHighSurrogate(ch) || end - p < 2 || !IsLowSurrogate(p[1]) || left < 4) break;
      ch = ((ch - kSurHighStart) << kHalfShift) + (p[1] - kSurLowStart) + kHalfBase;
      q[0] = static_cast<UTF8>(0xF0 | (ch >> 18));
      q[1] = static_cast<UTF8>(0x80 | ((ch >> 12) & 0x3F));
      q[2] = static_cast<UTF8>(0x80 | ((ch >> 6) & 0x3F));
      q[3] = static_cast<UTF8>(0x80 | (ch & 0x3F));
      q += 4;
      p += 2;
    }
  }
  bytes = static_cast<std::size_t>(q - t);
  return static_cast<std::size_t>(p - s);
}

#if defined(__SSE2__)
// Per-lane masks of 8 units: all ones where the unit is below 0x80, below
// 0x800, or a surrogate.
struct UnitClasses {
  __m128i below80, below800, surrogate;
};
inline UnitClasses Classify(__m128i v) {
  const __m128i zero = _mm_setzero_si128();
  __m128i top5 = _mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xF800)));
  return {_mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xFF80))), zero),
          _mm_cmpeq_epi16(top5, zero),
          _mm_cmpeq_epi16(top5, _mm_set1_epi16(static_cast<short>(0xD800)))};
}

// Sum of the eight signed 16-bit lanes.
inline std::int64_t SumLanes(__m128i v) {
  __m128i s = _mm_madd_epi16(v, _mm_set1_epi16(1));
  s = _mm_add_epi32(s, _mm_shuffle_epi32(s, _MM_SHUFFLE(1, 0, 3, 2)));
  s = _mm_add_epi32(s, _mm_shuffle_epi32(s, _MM_SHUFFLE(2, 3, 0, 1)));
  return _mm_cvtsi128_si32(s);
}

// All ones in the lanes where the unsigned byte `x` is at least `k`.
inline __m128i AtLeast(__m128i x, std::uint8_t k) {
  return _mm_cmpeq_epi8(_mm_max_epu8(x, _mm_set1_epi8(static_cast<char>(k))), x);
}
inline __m128i Equals(__m128i x, std::uint8_t k) {
  return _mm_cmpeq_epi8(x, _mm_set1_epi8(static_cast<char>(k)));
}

// Counts, 16 bytes per step, the UTF-16 units of the UTF-8 starting at `p`
// (a sequence boundary) as long as every block holds only the plainly legal
// forms: ASCII; C2..DF, E0..EF and F0..F3 leads each followed by exactly its
// trailing bytes; a second byte of at least A0 after E0 and at least 90 after
// F0; when `strict`, at most 9F after ED (no surrogate values). Anything
// else (an F4 or higher lead, C0, C1, a misplaced or missing trailing byte)
// ends the run before its block, as do the last 15 bytes of the input; the
// general step takes over there. Each lead counts one unit and each
// four-byte lead one more, exactly as the sequence-by-sequence count would.
// Adds the units to `count` and returns the sequence boundary reached.
inline const UTF8* CountUtf16UnitsInBlocks(const UTF8* p, const UTF8* end, bool strict,
                                           std::uint64_t& count) {
  const UTF8* start = p;
  const __m128i zero = _mm_setzero_si128();
  const __m128i ones = _mm_cmpeq_epi8(zero, zero);
  __m128i prev = zero;   // the block before; zeros (ASCII) at a boundary
  __m128i lanes = zero;  // per-lane unit counts, at most 2 per block
  unsigned blocks = 0;
  while (end - p >= 16) {
    __m128i cur = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    if (_mm_movemask_epi8(_mm_or_si128(cur, prev)) == 0) {  // ASCII after ASCII
      count += 16;
      prev = cur;
      p += 16;
      continue;
    }
    __m128i prev1 = _mm_or_si128(_mm_slli_si128(cur, 1), _mm_srli_si128(prev, 15));
    __m128i prev2 = _mm_or_si128(_mm_slli_si128(cur, 2), _mm_srli_si128(prev, 14));
    __m128i prev3 = _mm_or_si128(_mm_slli_si128(cur, 3), _mm_srli_si128(prev, 13));
    __m128i trail = Equals(_mm_and_si128(cur, _mm_set1_epi8(static_cast<char>(0xC0))), 0x80);
    __m128i expected = _mm_or_si128(AtLeast(prev1, 0xC0),
                                    _mm_or_si128(AtLeast(prev2, 0xE0), AtLeast(prev3, 0xF0)));
    __m128i bad = _mm_xor_si128(trail, expected);
    bad = _mm_or_si128(bad, AtLeast(cur, 0xF4));
    bad =
        _mm_or_si128(bad, Equals(_mm_and_si128(cur, _mm_set1_epi8(static_cast<char>(0xFE))), 0xC0));
    bad = _mm_or_si128(bad, _mm_andnot_si128(AtLeast(cur, 0xA0), Equals(prev1, 0xE0)));
    bad = _mm_or_si128(bad, _mm_andnot_si128(AtLeast(cur, 0x90), Equals(prev1, 0xF0)));
    if (strict) bad = _mm_or_si128(bad, _mm_and_si128(AtLeast(cur, 0xA0), Equals(prev1, 0xED)));
    if (_mm_movemask_epi8(bad) != 0) break;
    lanes = _mm_sub_epi8(lanes, _mm_xor_si128(trail, ones));  // +1 per lead
    lanes = _mm_sub_epi8(lanes, AtLeast(cur, 0xF0));          // +1 per four-byte lead
    if (++blocks == 127) {
      __m128i sums = _mm_sad_epu8(lanes, zero);
      count += static_cast<std::uint64_t>(_mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4));
      lanes = zero;
      blocks = 0;
    }
    prev = cur;
    p += 16;
  }
  __m128i sums = _mm_sad_epu8(lanes, zero);
  count += static_cast<std::uint64_t>(_mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4));
  if (p == start) return p;
  // The checked bytes may end inside a sequence whose trailing bytes were not
  // looked at: step back to its lead and take back its count.
  for (int k = 1; k <= 3; ++k) {
    UTF8 b = p[-k];
    if (IsTrail(b)) continue;
    int len = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    if (len > k) {
      count -= b >= 0xF0 ? 2 : 1;
      p -= k;
    }
    break;
  }
  return p;
}
#endif

// Whether the 512-bit block kernels are in use.
inline bool WideKernels() {
  return tavrin::utils::detail::ActiveUtfKernel() == tavrin::utils::detail::UtfKernel::kAvx512;
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
  const bool strict = flags == strictConversion;
  const bool wide = WideKernels();
  const UTF8* wideFrom = source;  // after a kernel stop, the steps below pass it first
  while (source < sourceEnd) {
    std::size_t avail = static_cast<std::size_t>(sourceEnd - source);
    std::size_t room = static_cast<std::size_t>(targetEnd - target);
    if (wide && source >= wideFrom && avail >= 128 && room >= 64) {
      std::size_t units;
      const std::size_t used =
          tavrin::utils::detail::Utf8ToUtf16Avx512(source, avail, target, room, strict, units);
      source += used;
      target += units;
      wideFrom = source + 16;
      continue;
    }
    if (*source < 0x80) {
      std::size_t n = WidenAsciiRun(source, room < avail ? room : avail, target);
      if (n == 0) {
        result = targetExhausted;
        break;
      }
      source += n;
      target += n;
      continue;
    }
    std::size_t units;
    if (std::size_t used = DecodeRun<true>(source, sourceEnd, target, room, strict, units)) {
      source += used;
      target += units;
      continue;
    }
    // The general step: cut-off and illegal sequences, strict surrogates,
    // the F4 lead, a full target.
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
    if (target < targetEnd) {
      if (*source < 0x80) {
        *target++ = *source++;
        continue;
      }
      UTF32 fast;
      unsigned len =
          DecodeCommon(source, static_cast<std::size_t>(sourceEnd - source), false, fast);
      if (len != 0) {
        *target++ = fast;
        source += len;
        continue;
      }
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
  const bool wide = WideKernels();
  const UTF16* wideFrom = source;  // after a kernel stop, the steps below pass it first
  while (source < sourceEnd) {
    std::size_t avail = static_cast<std::size_t>(sourceEnd - source);
    std::size_t room = static_cast<std::size_t>(targetEnd - target);
    if (wide && source >= wideFrom && avail >= 64 && room >= 96) {
      std::size_t bytes;
      const std::size_t used =
          tavrin::utils::detail::Utf16ToUtf8Avx512(source, avail, target, room, bytes);
      source += used;
      target += bytes;
      wideFrom = source + 8;
      continue;
    }
    UTF32 fast = *source;
    if (fast < 0x80) {
      std::size_t n = NarrowAsciiRun(source, room < avail ? room : avail, target);
      if (n == 0) {
        result = targetExhausted;
        break;
      }
      source += n;
      target += n;
      continue;
    }
    std::size_t bytes;
    if (std::size_t used = EncodeRun(source, sourceEnd, target, room, bytes)) {
      source += used;
      target += bytes;
      continue;
    }
    // The general step: unpaired surrogates and a target without room.
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
  const bool wide = WideKernels();
  const UTF16* wideFrom = source;  // after a kernel stop, the steps below pass it first
  while (source < sourceEnd) {
    if (wide && source >= wideFrom && sourceEnd - source >= 64 && targetEnd - target >= 32) {
      std::size_t units;
      const std::size_t used = tavrin::utils::detail::Utf16ToUtf32Avx512(
          source, static_cast<std::size_t>(sourceEnd - source), target,
          static_cast<std::size_t>(targetEnd - target), units);
      source += used;
      target += units;
      wideFrom = source + 8;
      continue;
    }
#if defined(__SSE2__)
    // Eight units without surrogates at once.
    if (sourceEnd - source >= 8 && targetEnd - target >= 8) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
      if (_mm_movemask_epi8(Classify(v).surrogate) == 0) {
        const __m128i zero = _mm_setzero_si128();
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm_unpacklo_epi16(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + 4), _mm_unpackhi_epi16(v, zero));
        source += 8;
        target += 8;
        continue;
      }
    }
#endif
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
  const bool wide = WideKernels();
  const UTF32* wideFrom = source;  // after a kernel stop, the steps below pass it first
  while (source < sourceEnd) {
    if (wide && source >= wideFrom && sourceEnd - source >= 32 && targetEnd - target >= 32) {
      std::size_t units;
      const std::size_t used = tavrin::utils::detail::Utf32ToUtf16Avx512(
          source, static_cast<std::size_t>(sourceEnd - source), target,
          static_cast<std::size_t>(targetEnd - target), units);
      source += used;
      target += units;
      wideFrom = source + 4;
      continue;
    }
#if defined(__SSE2__)
    // Four values below 0x10000 and outside the surrogates at once: biased
    // by -0x8000 they fit the signed 16-bit pack exactly.
    if (sourceEnd - source >= 4 && targetEnd - target >= 4) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
      const __m128i zero = _mm_setzero_si128();
      __m128i bmp =
          _mm_cmpeq_epi32(_mm_and_si128(v, _mm_set1_epi32(static_cast<int>(0xFFFF0000u))), zero);
      __m128i sur = _mm_cmpeq_epi32(_mm_and_si128(v, _mm_set1_epi32(static_cast<int>(0xFFFFF800u))),
                                    _mm_set1_epi32(0xD800));
      if (_mm_movemask_epi8(bmp) == 0xFFFF && _mm_movemask_epi8(sur) == 0) {
        __m128i biased = _mm_sub_epi32(v, _mm_set1_epi32(0x8000));
        __m128i packed = _mm_add_epi16(_mm_packs_epi32(biased, biased),
                                       _mm_set1_epi16(static_cast<short>(0x8000)));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target), packed);
        source += 4;
        target += 4;
        continue;
      }
    }
#endif
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
  const bool strict = flags == strictConversion;
  const bool wide = WideKernels();
  const UTF8* wideFrom = begin;  // after a kernel stop, the steps below pass it first
#if defined(__SSE2__)
  const UTF8* blocksFrom = begin;  // after a stop, the general steps pass the block first
#endif
  while (p < end) {
    if (wide && p >= wideFrom && end - p >= 128) {
      std::size_t units;
      const std::size_t used = tavrin::utils::detail::CountUtf8ToUtf16Avx512(
          p, static_cast<std::size_t>(end - p), strict, units);
      p += used;
      count += units;
      wideFrom = p + 16;
      continue;
    }
#if defined(__SSE2__)
    if (p >= blocksFrom && end - p >= 16) {
      const UTF8* reached = CountUtf16UnitsInBlocks(p, end, strict, count);
      blocksFrom = reached + 16;
      if (reached != p) {
        p = reached;
        continue;
      }
    }
#endif
    std::size_t avail = static_cast<std::size_t>(end - p);
    if (*p < 0x80) {
      std::size_t n = AsciiPrefix(p, avail);
      p += n;
      count += n;
      continue;
    }
    std::size_t units;
    if (std::size_t used = DecodeRun<false>(p, end, nullptr, SIZE_MAX, strict, units)) {
      p += used;
      count += units;
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
#if defined(__SSE2__)
  // Eight units without surrogates at once: each takes 3 bytes, one less
  // when below 0x800 and one less again when below 0x80. The per-lane
  // corrections (0, -1 or -2 per block) are summed every 8192 blocks, well
  // before a 16-bit lane could overflow.
  // A block whose surrogates all form pairs inside it takes the same path,
  // each surrogate unit counting 2 (a pair 4).
  __m128i corrections = _mm_setzero_si128();
  unsigned blocks = 0;
  const UTF16* blocksFrom = begin;  // after a refused block, single steps pass it first
#endif
  const bool wide = WideKernels();
  const UTF16* wideFrom = begin;  // after a kernel stop, the steps below pass it first
  while (p < end) {
    if (wide && p >= wideFrom && end - p >= 64) {
      std::size_t bytes;
      const std::size_t used = tavrin::utils::detail::CountUtf16ToUtf8Avx512(
          p, static_cast<std::size_t>(end - p), bytes);
      p += used;
      count += bytes;
      wideFrom = p + 8;
      continue;
    }
#if defined(__SSE2__)
    if (p >= blocksFrom && end - p >= 8) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      UnitClasses c = Classify(v);
      __m128i paired = _mm_setzero_si128();
      bool ok = _mm_movemask_epi8(c.surrogate) == 0;
      if (!ok) {
        __m128i top6 = _mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xFC00)));
        __m128i high = _mm_cmpeq_epi16(top6, _mm_set1_epi16(static_cast<short>(0xD800)));
        __m128i low = _mm_cmpeq_epi16(top6, _mm_set1_epi16(static_cast<short>(0xDC00)));
        // Every high surrogate is followed by a low one in the next lane and
        // every low one preceded by a high one; none in the last lane.
        ok = _mm_movemask_epi8(_mm_xor_si128(_mm_slli_si128(high, 2), low)) == 0 &&
             (_mm_movemask_epi8(high) & 0xC000) == 0;
        paired = c.surrogate;
      }
      if (!ok) blocksFrom = p + 8;
      if (ok) {
        corrections = _mm_add_epi16(corrections, _mm_add_epi16(c.below80, c.below800));
        corrections = _mm_add_epi16(corrections, paired);
        count += 24;
        p += 8;
        if (++blocks == 8192) {
          count -= static_cast<std::uint64_t>(-SumLanes(corrections));
          corrections = _mm_setzero_si128();
          blocks = 0;
        }
        continue;
      }
    }
#endif
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
      count += ch < 0x80 ? 1 : ch < 0x800 ? 2 : 3;
    }
  }
#if defined(__SSE2__)
  count -= static_cast<std::uint64_t>(-SumLanes(corrections));
#endif
  return CountOrIllegal(count);
}

int SizeNeededForUTF32To16(const UTF32* begin, const UTF32* end, ConversionFlags flags) {
  if (begin == nullptr || begin >= end) return 0;
  std::uint64_t count = 0;
  bool tooLarge = false;
  const bool wide = WideKernels();
  const UTF32* wideFrom = begin;  // after a kernel stop, the steps below pass it first
  for (const UTF32* p = begin; p < end; ++p) {
    if (wide && p >= wideFrom && end - p >= 32) {
      std::size_t units;
      const std::size_t used = tavrin::utils::detail::CountUtf32ToUtf16Avx512(
          p, static_cast<std::size_t>(end - p), units);
      p += used;
      count += units;
      wideFrom = p + 4;
      if (p == end) break;
    }
#if defined(__SSE2__)
    // Four values below 0x10000 and outside the surrogates count 4.
    while (end - p >= 4) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i zero = _mm_setzero_si128();
      __m128i bmp =
          _mm_cmpeq_epi32(_mm_and_si128(v, _mm_set1_epi32(static_cast<int>(0xFFFF0000u))), zero);
      __m128i sur = _mm_cmpeq_epi32(_mm_and_si128(v, _mm_set1_epi32(static_cast<int>(0xFFFFF800u))),
                                    _mm_set1_epi32(0xD800));
      if (_mm_movemask_epi8(bmp) != 0xFFFF || _mm_movemask_epi8(sur) != 0) break;
      count += 4;
      p += 4;
    }
    if (p == end) break;
#endif
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
