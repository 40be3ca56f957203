// convertutf_avx512.cpp - 512-bit block kernels of the UTF converters and
// measuring functions, chosen at run time (see internal/convertutf_internal.h).
//
// Every kernel classifies a block of elements at once, finds the first
// element it must not take (an illegal or cut-off sequence, a lone
// surrogate, a value the general step treats specially, a sequence that runs
// past the block), converts or counts everything before it, and stops there;
// the caller's steps take over. Each position of a UTF-8 block is decoded as
// if a sequence started there (the bytes 1, 2 and 3 after it come from
// shifted loads), and the values at sequence starts are gathered with a
// compress instruction; UTF-16 units are expanded into up to four bytes each
// and the bytes kept are gathered the same way. Results are written with
// masked stores: nothing past the elements reported is ever touched.
//
// Built for x86-64 with GCC or Clang only; elsewhere the kernels are absent
// and never chosen.
#include <cstdint>
#include <cstring>

#include "common/utils/internal/convertutf_internal.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define TAVRIN_HAVE_AVX512_KERNELS 1
#if defined(__GNUC__) && !defined(__clang__)
// GCC 12's 512-bit intrinsics start some results from a deliberately
// undefined register, which its own uninitialised-use warning reports.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#endif

namespace tavrin::utils::detail {

namespace {

#if defined(TAVRIN_HAVE_AVX512_KERNELS)

#define TAVRIN_AVX512 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,bmi,bmi2,popcnt")))

bool CpuHasAvx512Kernels() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
         __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi2") &&
         __builtin_cpu_supports("popcnt");
}

// Bits below position `n` (0..64) of a 64-bit mask.
inline std::uint64_t Below64(unsigned n) {
  return n >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << n) - 1;
}
inline std::uint32_t Below32(unsigned n) {
  return n >= 32 ? ~std::uint32_t{0} : (std::uint32_t{1} << n) - 1;
}

// The per-byte classes of a block of 64 UTF-8 bytes (bit i: byte i).
struct Utf8Classes {
  std::uint64_t nonAscii, cont, lead2, lead3, lead4, e0, ed, f0, belowA0, below90;
};

TAVRIN_AVX512 inline Utf8Classes ClassesOf(__m512i b) {
  Utf8Classes c;
  c.nonAscii = _mm512_movepi8_mask(b);
  c.cont = _mm512_cmpeq_epi8_mask(_mm512_and_si512(b, _mm512_set1_epi8(static_cast<char>(0xC0))),
                                  _mm512_set1_epi8(static_cast<char>(0x80)));
  // C2..DF, E0..EF and F0..F3 leads.
  c.lead2 = _mm512_cmple_epu8_mask(_mm512_sub_epi8(b, _mm512_set1_epi8(static_cast<char>(0xC2))),
                                   _mm512_set1_epi8(0x1D));
  c.lead3 = _mm512_cmpeq_epi8_mask(_mm512_and_si512(b, _mm512_set1_epi8(static_cast<char>(0xF0))),
                                   _mm512_set1_epi8(static_cast<char>(0xE0)));
  c.lead4 = _mm512_cmple_epu8_mask(_mm512_sub_epi8(b, _mm512_set1_epi8(static_cast<char>(0xF0))),
                                   _mm512_set1_epi8(3));
  c.e0 = _mm512_cmpeq_epi8_mask(b, _mm512_set1_epi8(static_cast<char>(0xE0)));
  c.ed = _mm512_cmpeq_epi8_mask(b, _mm512_set1_epi8(static_cast<char>(0xED)));
  c.f0 = _mm512_cmpeq_epi8_mask(b, _mm512_set1_epi8(static_cast<char>(0xF0)));
  c.belowA0 = _mm512_cmplt_epu8_mask(b, _mm512_set1_epi8(static_cast<char>(0xA0)));
  c.below90 = _mm512_cmplt_epu8_mask(b, _mm512_set1_epi8(static_cast<char>(0x90)));
  return c;
}

// Where the sequences the fast step accepts lie in one block, and what the
// next block inherits.
struct Utf8Block {
  std::uint64_t starts;    // sequence starts taken (ASCII or a valid lead)
  std::uint64_t fourByte;  // four-byte leads taken
  std::uint64_t lows;      // positions of the low surrogates of those (and
                           // of a pair whose lead ended the block before)
  unsigned limit;          // bytes taken (64: all; every sequence before it is
                           // whole or continues into the next block)
  bool stopped;            // something the fast step does not accept is at `limit`
  std::uint64_t carry;     // trailing bytes the next block's bytes 0..2 must be
  std::uint64_t lowCarry;  // 1 when the next block's byte 0 holds a low surrogate
};

// Classifies the block `c` that starts where the block before left off: its
// first bytes must be the trailing bytes `carryIn` says (a sequence may run
// on from the block before). A lead is checked against the bytes after it,
// in `next` (the classes of the following 64 bytes) when its sequence runs
// on. Without `next` (the last block) a lead in the last three bytes ends
// the block before it without being judged: the caller starts there.
TAVRIN_AVX512 inline Utf8Block ClassifyUtf8(const Utf8Classes& c, const Utf8Classes* next,
                                            std::uint64_t carryIn, std::uint64_t lowCarryIn,
                                            bool strict) {
  const std::uint64_t nc = next ? next->cont : 0;
  const std::uint64_t c1 = (c.cont >> 1) | (nc << 63);
  const std::uint64_t c2 = (c.cont >> 2) | (nc << 62);
  const std::uint64_t c3 = (c.cont >> 3) | (nc << 61);
  // The byte after E0 must be at least A0 (not overlong), after F0 at least
  // 90, and in strict mode the byte after ED at most 9F (no surrogates).
  const std::uint64_t belowA0 = (c.belowA0 >> 1) | ((next ? next->belowA0 : 0) << 63);
  const std::uint64_t below90 = (c.below90 >> 1) | ((next ? next->below90 : 0) << 63);
  const std::uint64_t v2 = c.lead2 & c1;
  std::uint64_t v3 = c.lead3 & c1 & c2 & ~(c.e0 & belowA0);
  if (strict) v3 &= ~(c.ed & ~belowA0);
  const std::uint64_t v4 = c.lead4 & c1 & c2 & c3 & ~(c.f0 & below90);
  const std::uint64_t leads = v2 | v3 | v4;
  const std::uint64_t expected = (leads << 1) | ((v3 | v4) << 2) | (v4 << 3) | carryIn;
  const std::uint64_t nonCont = ~c.cont;
  constexpr std::uint64_t kTail = 0xE000000000000000ULL;  // the last three bytes
  // A byte that starts nothing valid, or a trailing byte no lead expects.
  std::uint64_t bad = (nonCont & c.nonAscii & ~leads) | (c.cont & ~expected);
  std::uint64_t stop = bad;
  if (next == nullptr) {
    bad &= ~(nonCont & kTail);
    stop = bad | (nonCont & c.nonAscii & kTail);
  }
  Utf8Block r;
  r.limit = stop == 0 ? 64 : static_cast<unsigned>(__builtin_ctzll(stop));
  r.stopped = r.limit < 64 && ((bad >> r.limit) & 1) != 0;
  const std::uint64_t keep = Below64(r.limit);
  r.starts = nonCont & keep;
  r.fourByte = v4 & keep;
  r.lows = ((r.fourByte << 1) | lowCarryIn) & keep;
  r.carry = (leads >> 63) | ((v3 | v4) >> 62) | (v4 >> 61);
  r.lowCarry = r.fourByte >> 63;
  return r;
}

#endif  // TAVRIN_HAVE_AVX512_KERNELS

}  // namespace

#if defined(TAVRIN_HAVE_AVX512_KERNELS)

// --- UTF-8 -> UTF-16 --------------------------------------------------------------

// Writes the units of positions 32 * half ... 32 * half + 31 of the block at
// `p` (classified as `r`, `c`) to `q`; returns how many. Each position is
// decoded as if a sequence of its kind started there, from the byte itself
// and the two after it.
TAVRIN_AVX512 inline unsigned WriteUtf16Half(const UTF8* p, __m256i raw, const Utf8Block& r,
                                             const Utf8Classes& c, unsigned half, UTF16* q) {
  const unsigned shift = 32 * half;
  const std::uint32_t starts = static_cast<std::uint32_t>(r.starts >> shift);
  const std::uint32_t four = static_cast<std::uint32_t>(r.fourByte >> shift);
  const std::uint32_t low = static_cast<std::uint32_t>(r.lows >> shift);
  // Within the sequences taken every lead is valid, so its kind suffices.
  const std::uint32_t two = static_cast<std::uint32_t>(c.lead2 >> shift) & starts;
  const std::uint32_t three = static_cast<std::uint32_t>(c.lead3 >> shift) & starts;
  const __m512i x3f = _mm512_set1_epi16(0x3F);
  const __m512i b0 = _mm512_cvtepu8_epi16(raw);
  const __m512i b1 =
      _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + shift + 1)));
  const __m512i b2 =
      _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + shift + 2)));
  const __m512i t1 = _mm512_and_si512(b1, x3f);
  const __m512i t2 = _mm512_and_si512(b2, x3f);
  __m512i value = b0;
  // Each kind only when the half holds one (text tends to stay with a few).
  if (two != 0) {
    value = _mm512_mask_mov_epi16(
        value, two,
        _mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(b0, _mm512_set1_epi16(0x1F)), 6), t1));
  }
  if (three != 0) {
    value = _mm512_mask_mov_epi16(
        value, three,
        _mm512_or_si512(_mm512_slli_epi16(b0, 12), _mm512_or_si512(_mm512_slli_epi16(t1, 6), t2)));
  }
  if ((four | low) != 0) {
    // Four bytes: the high surrogate at the lead, from the plane bits
    // (b0 & 7, b1 & 3F, b2 >> 4 & 3) less 0x40; the low one at the next
    // position, whose bytes 1 and 2 are the sequence's bytes 3 and 4.
    const __m512i plane = _mm512_or_si512(
        _mm512_slli_epi16(_mm512_and_si512(b0, _mm512_set1_epi16(0x07)), 8),
        _mm512_or_si512(_mm512_slli_epi16(t1, 2),
                        _mm512_and_si512(_mm512_srli_epi16(b2, 4), _mm512_set1_epi16(0x03))));
    value = _mm512_mask_mov_epi16(
        value, four, _mm512_add_epi16(plane, _mm512_set1_epi16(static_cast<short>(0xD7C0))));
    value = _mm512_mask_mov_epi16(
        value, low,
        _mm512_or_si512(
            _mm512_set1_epi16(static_cast<short>(0xDC00)),
            _mm512_or_si512(_mm512_slli_epi16(_mm512_and_si512(b1, _mm512_set1_epi16(0x0F)), 6),
                            t2)));
  }
  const std::uint32_t keep = starts | low;
  const unsigned count = static_cast<unsigned>(__builtin_popcount(keep));
  _mm512_mask_storeu_epi16(q, Below32(count), _mm512_maskz_compress_epi16(keep, value));
  return count;
}

TAVRIN_AVX512 std::size_t Utf8ToUtf16Avx512(const UTF8* src, std::size_t avail, UTF16* dst,
                                            std::size_t room, bool strict, std::size_t& produced) {
  const UTF8* p = src;
  const UTF8* const end = src + avail;
  UTF16* q = dst;
  UTF16* const qEnd = dst + room;
  // A block reads its 64 bytes and two more (decoding looks two bytes past
  // each position) and writes at most 64 units. A block whose last sequence
  // runs on is followed by the next one in any case, so a block with a next
  // one needs room and input for both.
  std::uint64_t carry = 0, lowCarry = 0;
  Utf8Classes c{};
  bool classified = false;  // `c` holds the classes of the block at `p`
  while (end - p >= 66 && qEnd - q >= 64) {
    const __m512i b = _mm512_loadu_si512(p);
    const __m256i lo = _mm512_castsi512_si256(b);
    const __m256i hi = _mm512_extracti64x4_epi64(b, 1);
    if (!classified) {
      if (carry == 0 && _mm512_movepi8_mask(b) == 0) {  // ASCII: widened as it is
        _mm512_storeu_si512(q, _mm512_cvtepu8_epi16(lo));
        _mm512_storeu_si512(q + 32, _mm512_cvtepu8_epi16(hi));
        p += 64;
        q += 64;
        lowCarry = 0;
        continue;
      }
      c = ClassesOf(b);
    }
    const bool hasNext = end - p >= 130 && qEnd - q >= 128;
    Utf8Classes cn{};
    if (hasNext) cn = ClassesOf(_mm512_loadu_si512(p + 64));
    const Utf8Block r = ClassifyUtf8(c, hasNext ? &cn : nullptr, carry, lowCarry, strict);
    if (r.limit == 0) break;
    q += WriteUtf16Half(p, lo, r, c, 0, q);
    if (r.limit > 32) q += WriteUtf16Half(p, hi, r, c, 1, q);
    p += r.limit;
    if (r.limit < 64 || !hasNext) break;
    carry = r.carry;
    lowCarry = r.lowCarry;
    c = cn;
    classified = true;
  }
  produced = static_cast<std::size_t>(q - dst);
  return static_cast<std::size_t>(p - src);
}

TAVRIN_AVX512 std::size_t CountUtf8ToUtf16Avx512(const UTF8* src, std::size_t avail, bool strict,
                                                 std::size_t& produced) {
  const UTF8* p = src;
  const UTF8* const end = src + avail;
  std::size_t count = 0;
  std::uint64_t carry = 0;
  Utf8Classes c{};
  bool classified = false;  // `c` holds the classes of the block at `p`
  while (end - p >= 64) {
    if (!classified) {
      const __m512i b = _mm512_loadu_si512(p);
      if (carry == 0 && _mm512_movepi8_mask(b) == 0) {  // ASCII: a unit each
        count += 64;
        p += 64;
        continue;
      }
      c = ClassesOf(b);
    } else if (carry == 0 && c.nonAscii == 0) {
      count += 64;
      p += 64;
      classified = false;
      continue;
    }
    const bool hasNext = end - p >= 128;
    Utf8Classes cn{};
    if (hasNext) cn = ClassesOf(_mm512_loadu_si512(p + 64));
    const Utf8Block r = ClassifyUtf8(c, hasNext ? &cn : nullptr, carry, 0, strict);
    // One unit per sequence, two for four-byte ones.
    count += static_cast<std::size_t>(__builtin_popcountll(r.starts)) +
             static_cast<std::size_t>(__builtin_popcountll(r.fourByte));
    p += r.limit;
    if (r.limit < 64 || !hasNext) break;
    carry = r.carry;
    c = cn;
    classified = true;
  }
  produced = count;
  return static_cast<std::size_t>(p - src);
}

// --- UTF-16 -> UTF-8 and UTF-32 ----------------------------------------------------

// What the conversions out of UTF-16 make of a block of 32 units.
struct Utf16Block {
  unsigned limit;       // units taken
  bool stopped;         // a unit the caller must take is at `limit`
  std::uint32_t ge80;   // units taken from 0x80 up (surrogates included)
  std::uint32_t three;  // units taken that need three bytes (not surrogates)
  std::uint32_t highs;  // high surrogates taken (each with the low one after it)
};

// Classifies the 32 units of `w` (16-bit lanes; a unit boundary at lane 0):
// every surrogate must belong to a pair inside the block; a high surrogate
// in the last lane ends the block before it (it may pair with the next
// block, which starts there).
TAVRIN_AVX512 inline Utf16Block ClassifyUtf16(__m512i w) {
  const std::uint32_t ge80 = _mm512_cmpge_epu16_mask(w, _mm512_set1_epi16(0x80));
  const std::uint32_t ge800 = _mm512_cmpge_epu16_mask(w, _mm512_set1_epi16(0x800));
  const __m512i top6 = _mm512_and_si512(w, _mm512_set1_epi16(static_cast<short>(0xFC00)));
  const std::uint32_t high =
      _mm512_cmpeq_epi16_mask(top6, _mm512_set1_epi16(static_cast<short>(0xD800)));
  const std::uint32_t low =
      _mm512_cmpeq_epi16_mask(top6, _mm512_set1_epi16(static_cast<short>(0xDC00)));
  const std::uint32_t highOk = high & (low >> 1);
  const std::uint32_t lowOk = low & (highOk << 1);
  const std::uint32_t bad = (high & ~highOk & 0x7FFFFFFFu) | (low & ~lowOk);
  const std::uint32_t stop = bad | (high & 0x80000000u);
  Utf16Block r;
  r.limit = stop == 0 ? 32 : static_cast<unsigned>(__builtin_ctz(stop));
  r.stopped = r.limit < 32 && ((bad >> r.limit) & 1u) != 0;
  const std::uint32_t keep = Below32(r.limit);
  r.ge80 = ge80 & keep;
  r.three = ge800 & ~(high | low) & keep;
  r.highs = highOk & keep;
  return r;
}

// Writes the UTF-8 of units 16 * half ... 16 * half + 15 of a block
// classified as `r`: `u` holds them in 32-bit lanes, `previous` the unit
// before each. Returns the bytes written.
TAVRIN_AVX512 inline unsigned WriteUtf8Half(__m512i u, __m512i previous, const Utf16Block& r,
                                            unsigned half, UTF8* q) {
  const unsigned shift = 16 * half;
  const std::uint32_t taken = (Below32(r.limit) >> shift) & 0xFFFFu;
  const std::uint32_t ge80 = (r.ge80 >> shift) & 0xFFFFu;
  const std::uint32_t three = (r.three >> shift) & 0xFFFFu;
  const std::uint32_t highs = (r.highs >> shift) & 0xFFFFu;
  const std::uint32_t lows = ((r.highs << 1) >> shift) & 0xFFFFu;
  const __m512i x3f = _mm512_set1_epi32(0x3F);
  const __m512i x80 = _mm512_set1_epi32(0x80);
  // Bytes of each unit, its first byte in the low bits of its lane.
  const __m512i trail0 = _mm512_or_si512(x80, _mm512_and_si512(u, x3f));
  const __m512i trail1 = _mm512_or_si512(x80, _mm512_and_si512(_mm512_srli_epi32(u, 6), x3f));
  __m512i bytes = u;  // ASCII
  // Two bytes: 110xxxxx 10xxxxxx.
  bytes = _mm512_mask_mov_epi32(
      bytes, static_cast<__mmask16>(ge80),
      _mm512_or_si512(_mm512_or_si512(_mm512_set1_epi32(0xC0), _mm512_srli_epi32(u, 6)),
                      _mm512_slli_epi32(trail0, 8)));
  // Three bytes: 1110xxxx 10xxxxxx 10xxxxxx.
  bytes = _mm512_mask_mov_epi32(
      bytes, static_cast<__mmask16>(three),
      _mm512_or_si512(
          _mm512_or_si512(_mm512_set1_epi32(0xE0), _mm512_srli_epi32(u, 12)),
          _mm512_or_si512(_mm512_slli_epi32(trail1, 8), _mm512_slli_epi32(trail0, 16))));
  // A pair: the high lane writes 11110xxx 10xxxxxx from w = (hi & 0x3FF) +
  // 0x40 (the plane bits of the value), the low lane 10xxxxxx 10xxxxxx from
  // the low two bits of w (those of hi) and its own ten bits.
  const __m512i w =
      _mm512_add_epi32(_mm512_and_si512(u, _mm512_set1_epi32(0x3FF)), _mm512_set1_epi32(0x40));
  bytes = _mm512_mask_mov_epi32(
      bytes, static_cast<__mmask16>(highs),
      _mm512_or_si512(
          _mm512_or_si512(_mm512_set1_epi32(0xF0), _mm512_srli_epi32(w, 8)),
          _mm512_slli_epi32(_mm512_or_si512(x80, _mm512_and_si512(_mm512_srli_epi32(w, 2), x3f)),
                            8)));
  bytes = _mm512_mask_mov_epi32(
      bytes, static_cast<__mmask16>(lows),
      _mm512_or_si512(
          _mm512_or_si512(
              x80, _mm512_or_si512(
                       _mm512_slli_epi32(_mm512_and_si512(previous, _mm512_set1_epi32(3)), 4),
                       _mm512_and_si512(_mm512_srli_epi32(u, 6), _mm512_set1_epi32(0x0F)))),
          _mm512_slli_epi32(trail0, 8)));
  // Byte j of lane k is kept when j is below the unit's length: byte 0 of
  // every unit taken, byte 1 from 0x80 up (surrogates too), byte 2 for
  // three-byte units.
  const std::uint64_t keep = _pdep_u64(taken, 0x1111111111111111ULL) |
                             _pdep_u64(ge80, 0x2222222222222222ULL) |
                             _pdep_u64(three, 0x4444444444444444ULL);
  const unsigned count = static_cast<unsigned>(__builtin_popcountll(keep));
  _mm512_mask_storeu_epi8(q, Below64(count), _mm512_maskz_compress_epi8(keep, bytes));
  return count;
}

TAVRIN_AVX512 std::size_t Utf16ToUtf8Avx512(const UTF16* src, std::size_t avail, UTF8* dst,
                                            std::size_t room, std::size_t& produced) {
  const UTF16* p = src;
  const UTF16* const end = src + avail;
  UTF8* q = dst;
  UTF8* const qEnd = dst + room;
  const __m512i nonAscii = _mm512_set1_epi16(static_cast<short>(0xFF80));
  while (end - p >= 32 && qEnd - q >= 96) {
    const __m512i w = _mm512_loadu_si512(p);
    if (_mm512_test_epi16_mask(w, nonAscii) == 0) {  // ASCII: narrowed as it is
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(q), _mm512_cvtepi16_epi8(w));
      p += 32;
      q += 32;
      continue;
    }
    const Utf16Block r = ClassifyUtf16(w);
    if (r.limit == 0) break;
    const __m512i u0 = _mm512_cvtepu16_epi32(_mm512_castsi512_si256(w));
    const __m512i u1 = _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(w, 1));
    q += WriteUtf8Half(u0, _mm512_alignr_epi32(u0, _mm512_setzero_si512(), 15), r, 0, q);
    if (r.limit > 16) q += WriteUtf8Half(u1, _mm512_alignr_epi32(u1, u0, 15), r, 1, q);
    p += r.limit;
    if (r.stopped) break;
  }
  produced = static_cast<std::size_t>(q - dst);
  return static_cast<std::size_t>(p - src);
}

TAVRIN_AVX512 std::size_t CountUtf16ToUtf8Avx512(const UTF16* src, std::size_t avail,
                                                 std::size_t& produced) {
  const UTF16* p = src;
  const UTF16* const end = src + avail;
  std::size_t count = 0;
  const __m512i nonAscii = _mm512_set1_epi16(static_cast<short>(0xFF80));
  while (end - p >= 32) {
    const __m512i w = _mm512_loadu_si512(p);
    if (_mm512_test_epi16_mask(w, nonAscii) == 0) {
      // ASCII: a byte a unit, four blocks at a time while it lasts.
      p += 32;
      count += 32;
      while (end - p >= 128) {
        const __m512i any = _mm512_or_si512(
            _mm512_or_si512(_mm512_loadu_si512(p), _mm512_loadu_si512(p + 32)),
            _mm512_or_si512(_mm512_loadu_si512(p + 64), _mm512_loadu_si512(p + 96)));
        if (_mm512_test_epi16_mask(any, nonAscii) != 0) break;
        p += 128;
        count += 128;
      }
      continue;
    }
    const Utf16Block r = ClassifyUtf16(w);
    if (r.limit == 0) break;
    // One byte per unit, one more from 0x80 (surrogates: two each, four a
    // pair), one more for three-byte units.
    count += r.limit + static_cast<std::size_t>(__builtin_popcount(r.ge80)) +
             static_cast<std::size_t>(__builtin_popcount(r.three));
    p += r.limit;
    if (r.stopped) break;
  }
  produced = count;
  return static_cast<std::size_t>(p - src);
}

// Writes the UTF-32 of units 16 * half ... 16 * half + 15 of a block
// classified as `r`: `u` holds them, `next` the unit after each. Returns
// the values written.
TAVRIN_AVX512 inline unsigned WriteUtf32Half(__m512i u, __m512i next, const Utf16Block& r,
                                             unsigned half, UTF32* q) {
  const unsigned shift = 16 * half;
  const std::uint32_t taken = (Below32(r.limit) >> shift) & 0xFFFFu;
  const std::uint32_t highs = (r.highs >> shift) & 0xFFFFu;
  const std::uint32_t lows = ((r.highs << 1) >> shift) & 0xFFFFu;
  // A pair's value at its high lane; its low lane is dropped.
  const __m512i pair = _mm512_add_epi32(
      _mm512_add_epi32(_mm512_slli_epi32(_mm512_sub_epi32(u, _mm512_set1_epi32(0xD800)), 10),
                       _mm512_sub_epi32(next, _mm512_set1_epi32(0xDC00))),
      _mm512_set1_epi32(0x10000));
  const __m512i value = _mm512_mask_mov_epi32(u, static_cast<__mmask16>(highs), pair);
  const std::uint32_t keep = taken & ~lows;
  const unsigned count = static_cast<unsigned>(__builtin_popcount(keep));
  _mm512_mask_storeu_epi32(q, static_cast<__mmask16>(Below32(count)),
                           _mm512_maskz_compress_epi32(static_cast<__mmask16>(keep), value));
  return count;
}

TAVRIN_AVX512 std::size_t Utf16ToUtf32Avx512(const UTF16* src, std::size_t avail, UTF32* dst,
                                             std::size_t room, std::size_t& produced) {
  const UTF16* p = src;
  const UTF16* const end = src + avail;
  UTF32* q = dst;
  UTF32* const qEnd = dst + room;
  while (end - p >= 32 && qEnd - q >= 32) {
    const __m512i w = _mm512_loadu_si512(p);
    const __m512i u0 = _mm512_cvtepu16_epi32(_mm512_castsi512_si256(w));
    const __m512i u1 = _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(w, 1));
    const std::uint32_t surrogates =
        _mm512_cmpeq_epi16_mask(_mm512_and_si512(w, _mm512_set1_epi16(static_cast<short>(0xF800))),
                                _mm512_set1_epi16(static_cast<short>(0xD800)));
    if (surrogates == 0) {  // widened as they are
      _mm512_storeu_si512(q, u0);
      _mm512_storeu_si512(q + 16, u1);
      p += 32;
      q += 32;
      continue;
    }
    const Utf16Block r = ClassifyUtf16(w);
    if (r.limit == 0) break;
    // Pairs lie inside the block, so the unit after the last lane is never
    // needed: a zero stands in for it.
    q += WriteUtf32Half(u0, _mm512_alignr_epi32(u1, u0, 1), r, 0, q);
    if (r.limit > 16)
      q += WriteUtf32Half(u1, _mm512_alignr_epi32(_mm512_setzero_si512(), u1, 1), r, 1, q);
    p += r.limit;
    if (r.stopped) break;
  }
  produced = static_cast<std::size_t>(q - dst);
  return static_cast<std::size_t>(p - src);
}

// --- UTF-32 -> UTF-16 -------------------------------------------------------------

// Sixteen values: those outside the surrogates up to U+10FFFF are taken up
// to the first other one; `supplementary` marks the ones above U+FFFF.
struct Utf32Lanes {
  unsigned limit;
  std::uint32_t supplementary;
};

TAVRIN_AVX512 inline Utf32Lanes ClassifyUtf32(__m512i v) {
  const std::uint32_t sur =
      _mm512_cmpeq_epi32_mask(_mm512_and_si512(v, _mm512_set1_epi32(static_cast<int>(0xFFFFF800u))),
                              _mm512_set1_epi32(0xD800));
  const std::uint32_t tooLarge = _mm512_cmpgt_epu32_mask(v, _mm512_set1_epi32(0x10FFFF));
  const std::uint32_t stop = sur | tooLarge;
  Utf32Lanes r;
  r.limit = stop == 0 ? 16 : static_cast<unsigned>(__builtin_ctz(stop));
  r.supplementary = _mm512_cmpgt_epu32_mask(v, _mm512_set1_epi32(0xFFFF)) & Below32(r.limit);
  return r;
}

TAVRIN_AVX512 std::size_t Utf32ToUtf16Avx512(const UTF32* src, std::size_t avail, UTF16* dst,
                                             std::size_t room, std::size_t& produced) {
  const UTF32* p = src;
  const UTF32* const end = src + avail;
  UTF16* q = dst;
  UTF16* const qEnd = dst + room;
  while (end - p >= 16 && qEnd - q >= 32) {
    const __m512i v = _mm512_loadu_si512(p);
    const Utf32Lanes c = ClassifyUtf32(v);
    if (c.limit == 0) break;
    if (c.limit == 16 && c.supplementary == 0) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(q), _mm512_cvtepi32_epi16(v));
      p += 16;
      q += 16;
      continue;
    }
    // Each lane as two units: the value alone, or the high surrogate then
    // the low one; the second unit is kept for supplementary values only.
    const __m512i s = _mm512_sub_epi32(v, _mm512_set1_epi32(0x10000));
    const __m512i high = _mm512_add_epi32(_mm512_srli_epi32(s, 10), _mm512_set1_epi32(0xD800));
    const __m512i low =
        _mm512_add_epi32(_mm512_and_si512(s, _mm512_set1_epi32(0x3FF)), _mm512_set1_epi32(0xDC00));
    const __m512i pairs = _mm512_or_si512(high, _mm512_slli_epi32(low, 16));
    const __m512i units = _mm512_mask_mov_epi32(v, c.supplementary, pairs);
    const std::uint32_t taken = Below32(c.limit);
    const std::uint32_t keep = static_cast<std::uint32_t>(
        _pdep_u64(taken, 0x55555555ULL) | _pdep_u64(c.supplementary, 0xAAAAAAAAULL));
    const unsigned count = static_cast<unsigned>(__builtin_popcount(keep));
    _mm512_mask_storeu_epi16(q, Below32(count), _mm512_maskz_compress_epi16(keep, units));
    p += c.limit;
    q += count;
    if (c.limit < 16) break;
  }
  produced = static_cast<std::size_t>(q - dst);
  return static_cast<std::size_t>(p - src);
}

TAVRIN_AVX512 std::size_t CountUtf32ToUtf16Avx512(const UTF32* src, std::size_t avail,
                                                  std::size_t& produced) {
  const UTF32* p = src;
  const UTF32* const end = src + avail;
  std::size_t count = 0;
  while (end - p >= 16) {
    const Utf32Lanes c = ClassifyUtf32(_mm512_loadu_si512(p));
    count += c.limit + static_cast<std::size_t>(__builtin_popcount(c.supplementary));
    p += c.limit;
    if (c.limit < 16) break;
  }
  produced = count;
  return static_cast<std::size_t>(p - src);
}

#else  // no 512-bit kernels on this target: never chosen

std::size_t Utf8ToUtf16Avx512(const UTF8*, std::size_t, UTF16*, std::size_t, bool,
                              std::size_t& produced) {
  produced = 0;
  return 0;
}
std::size_t CountUtf8ToUtf16Avx512(const UTF8*, std::size_t, bool, std::size_t& produced) {
  produced = 0;
  return 0;
}
std::size_t Utf16ToUtf8Avx512(const UTF16*, std::size_t, UTF8*, std::size_t,
                              std::size_t& produced) {
  produced = 0;
  return 0;
}
std::size_t CountUtf16ToUtf8Avx512(const UTF16*, std::size_t, std::size_t& produced) {
  produced = 0;
  return 0;
}
std::size_t Utf16ToUtf32Avx512(const UTF16*, std::size_t, UTF32*, std::size_t,
                               std::size_t& produced) {
  produced = 0;
  return 0;
}
std::size_t Utf32ToUtf16Avx512(const UTF32*, std::size_t, UTF16*, std::size_t,
                               std::size_t& produced) {
  produced = 0;
  return 0;
}
std::size_t CountUtf32ToUtf16Avx512(const UTF32*, std::size_t, std::size_t& produced) {
  produced = 0;
  return 0;
}

#endif  // TAVRIN_HAVE_AVX512_KERNELS

// --- Choosing the kernel ----------------------------------------------------------

namespace {

UtfKernel DetectBest() {
#if defined(TAVRIN_HAVE_AVX512_KERNELS)
  if (CpuHasAvx512Kernels()) return UtfKernel::kAvx512;
#endif
  return UtfKernel::kNone;
}

}  // namespace

UtfKernel BestUtfKernel() {
  static const UtfKernel best = DetectBest();
  return best;
}

namespace {

// The kernel in use: the best one unless a test chose another.
UtfKernel& ActiveKernelSlot() {
  static UtfKernel active = BestUtfKernel();
  return active;
}

}  // namespace

UtfKernel ActiveUtfKernel() {
  return ActiveKernelSlot();
}

bool SetUtfKernel(UtfKernel kernel) {
  if (kernel == UtfKernel::kAvx512 && BestUtfKernel() != UtfKernel::kAvx512) return false;
  ActiveKernelSlot() = kernel;
  return true;
}

}  // namespace tavrin::utils::detail
