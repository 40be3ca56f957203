// base64_simd.cpp - 256-bit and 512-bit Base64 kernels, chosen at run time
// (see internal/base64_internal.h).
//
// Encoding: each 3-byte group is spread over a 32-bit lane as the bytes
// [b, a, c, b], so that the four 6-bit fields sit at fixed bit offsets of
// the lane. The 512-bit kernel pulls them out with one multishift and maps
// them to characters with one 64-entry byte permute; the 256-bit kernel
// moves them into place with 16-bit multiplies and maps them with a small
// per-range offset table.
//
// Decoding: every character is mapped to its 6-bit value (the 512-bit kernel
// through a 128-entry byte permute, the 256-bit kernel through offsets
// chosen by the high nibble), and a byte outside the alphabet is flagged at
// the same time. Two multiply-adds join four values into 24 bits, and a
// byte shuffle packs the 3-byte groups. A block holding a flagged byte is
// decoded only up to the group containing it; the scalar step takes over
// there.
//
// Built for x86-64 with GCC or Clang only; elsewhere the kernels do nothing
// and are never chosen.
#include <cstdint>

#include "common/utils/internal/base64_internal.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define TAVRIN_HAVE_BASE64_KERNELS 1
#if defined(__GNUC__) && !defined(__clang__)
// GCC 12's 512-bit intrinsics start some results from a deliberately
// undefined register, which its own uninitialised-use warning reports.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#endif

namespace tavrin::utils::detail {

namespace {

#if defined(TAVRIN_HAVE_BASE64_KERNELS)

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

#define TAVRIN_B64_AVX2 __attribute__((target("avx2,bmi")))
#define TAVRIN_B64_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,bmi,bmi2")))

bool CpuHasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi");
}

bool CpuHasAvx512Vbmi() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
         __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
}

// Byte tables built once: the permute indices and the decode map.
struct Avx512Tables {
  alignas(64) unsigned char encodeSpread[64];  // lane i: bytes 3i+1, 3i, 3i+2, 3i+1
  alignas(64) unsigned char alphabet[64];
  alignas(64) unsigned char decodeMap[128];  // value, or 0x80 outside the alphabet
  alignas(64) unsigned char decodePack[64];  // group i: lane bytes 4i+2, 4i+1, 4i
};

constexpr Avx512Tables MakeAvx512Tables() {
  Avx512Tables t{};
  for (int i = 0; i < 16; ++i) {
    t.encodeSpread[4 * i + 0] = static_cast<unsigned char>(3 * i + 1);
    t.encodeSpread[4 * i + 1] = static_cast<unsigned char>(3 * i);
    t.encodeSpread[4 * i + 2] = static_cast<unsigned char>(3 * i + 2);
    t.encodeSpread[4 * i + 3] = static_cast<unsigned char>(3 * i + 1);
  }
  for (int i = 0; i < 64; ++i) t.alphabet[i] = static_cast<unsigned char>(kAlphabet[i]);
  for (auto& e : t.decodeMap) e = 0x80;
  for (int v = 0; v < 64; ++v) t.decodeMap[static_cast<unsigned char>(kAlphabet[v])] = v;
  for (int i = 0; i < 64; ++i) t.decodePack[i] = 0;
  for (int i = 0; i < 16; ++i) {
    t.decodePack[3 * i + 0] = static_cast<unsigned char>(4 * i + 2);
    t.decodePack[3 * i + 1] = static_cast<unsigned char>(4 * i + 1);
    t.decodePack[3 * i + 2] = static_cast<unsigned char>(4 * i);
  }
  return t;
}

constexpr Avx512Tables kAvx512Tables = MakeAvx512Tables();

// Bits below position `n` (0..64) of a 64-bit mask.
inline std::uint64_t Below64(unsigned n) {
  return n >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << n) - 1;
}

// --- 512-bit kernels -------------------------------------------------------------

// 16 groups (48 bytes in `in`, masked to the groups present) to 64 characters.
TAVRIN_B64_AVX512 inline __m512i EncodeBlock512(__m512i in, __m512i spread, __m512i alphabet) {
  // Field offsets inside each 64-bit pair of lanes [b a c b][b a c b]: the
  // fields of one group start at bits 10, 4, 22 and 16.
  const __m512i shifts = _mm512_set1_epi64(0x3036242A1016040AULL);
  const __m512i lanes = _mm512_permutexvar_epi8(spread, in);
  const __m512i fields = _mm512_multishift_epi64_epi8(shifts, lanes);
  return _mm512_permutexvar_epi8(fields, alphabet);  // uses the low 6 bits of each field
}

TAVRIN_B64_AVX512 std::size_t EncodeAvx512Impl(const unsigned char* src, std::size_t groups,
                                               char* dst) {
  const __m512i spread = _mm512_load_si512(kAvx512Tables.encodeSpread);
  const __m512i alphabet = _mm512_load_si512(kAvx512Tables.alphabet);
  const __mmask64 in48 = Below64(48);
  std::size_t g = 0;
  for (; g + 16 <= groups; g += 16) {
    const __m512i in = _mm512_maskz_loadu_epi8(in48, src + 3 * g);
    _mm512_storeu_si512(dst + 4 * g, EncodeBlock512(in, spread, alphabet));
  }
  const std::size_t rest = groups - g;
  if (rest != 0) {
    const auto r = static_cast<unsigned>(rest);
    const __m512i in = _mm512_maskz_loadu_epi8(Below64(3 * r), src + 3 * g);
    _mm512_mask_storeu_epi8(dst + 4 * g, Below64(4 * r), EncodeBlock512(in, spread, alphabet));
  }
  return groups;
}

// Decodes the characters of `in` (64 of them, or fewer with `present`
// marking the rest absent) whose groups lie before the first byte outside
// the alphabet; returns the number of characters taken (a multiple of 4).
TAVRIN_B64_AVX512 inline unsigned DecodeBlock512(__m512i in, __mmask64 present, __m512i mapLo,
                                                 __m512i mapHi, __m512i pack, unsigned char* dst) {
  const __m512i values = _mm512_permutex2var_epi8(mapLo, in, mapHi);
  // Bytes of 0x80 and above, and bytes the map marks, have the top bit set.
  const std::uint64_t bad = _mm512_movepi8_mask(_mm512_or_si512(in, values)) & present;
  const unsigned take = bad != 0 ? static_cast<unsigned>(__builtin_ctzll(bad)) & ~3u
                                 : static_cast<unsigned>(__builtin_popcountll(present)) & ~3u;
  if (take == 0) return 0;
  // [v0 v1 v2 v3] -> v0 * 64 + v1, v2 * 64 + v3 -> 24 bits per 32-bit lane.
  const __m512i pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi32(0x01400140));
  const __m512i words = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
  const __m512i bytes = _mm512_permutexvar_epi8(pack, words);
  _mm512_mask_storeu_epi8(dst, Below64(take / 4 * 3), bytes);
  return take;
}

TAVRIN_B64_AVX512 std::size_t DecodeAvx512Impl(const unsigned char* src, std::size_t n,
                                               unsigned char* dst) {
  const __m512i mapLo = _mm512_load_si512(kAvx512Tables.decodeMap);
  const __m512i mapHi = _mm512_load_si512(kAvx512Tables.decodeMap + 64);
  const __m512i pack = _mm512_load_si512(kAvx512Tables.decodePack);
  const __mmask64 all = ~std::uint64_t{0};
  std::size_t i = 0;
  for (; i + 64 <= n; i += 64, dst += 48) {
    const __m512i in = _mm512_loadu_si512(src + i);
    const unsigned take = DecodeBlock512(in, all, mapLo, mapHi, pack, dst);
    if (take != 64) return i + take;
  }
  const auto rest = static_cast<unsigned>(n - i);
  if (rest >= 4) {
    const __mmask64 present = Below64(rest);
    const __m512i in = _mm512_maskz_loadu_epi8(present, src + i);
    i += DecodeBlock512(in, present, mapLo, mapHi, pack, dst);
  }
  return i;
}

// --- 256-bit kernels -------------------------------------------------------------

// 8 groups, spread as [b a c b] per 32-bit lane, to 32 characters.
TAVRIN_B64_AVX2 inline __m256i EncodeLanes256(__m256i lanes) {
  // High fields (bits 10..15 of the low half, 6..11 of the high half) moved
  // down by a high multiply, low fields (bits 4..9 and 0..5) moved up by a
  // low multiply, so each lane holds the four 6-bit values in its bytes.
  const __m256i hiFields = _mm256_and_si256(lanes, _mm256_set1_epi32(0x0FC0FC00));
  const __m256i hi = _mm256_mulhi_epu16(hiFields, _mm256_set1_epi32(0x04000040));
  const __m256i loFields = _mm256_and_si256(lanes, _mm256_set1_epi32(0x003F03F0));
  const __m256i lo = _mm256_mullo_epi16(loFields, _mm256_set1_epi32(0x01000010));
  const __m256i idx = _mm256_or_si256(hi, lo);
  // Range of each value: 0..25 -> 13, 26..51 -> 0, 52..61 -> 1..10, 62 -> 11,
  // 63 -> 12; the offset table turns each range into its first character.
  __m256i range = _mm256_subs_epu8(idx, _mm256_set1_epi8(51));
  const __m256i upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), idx);
  range = _mm256_or_si256(range, _mm256_and_si256(upper, _mm256_set1_epi8(13)));
  const __m256i offsets =
      _mm256_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                       '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0,
                       'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                       '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
  return _mm256_add_epi8(_mm256_shuffle_epi8(offsets, range), idx);
}

TAVRIN_B64_AVX2 std::size_t EncodeAvx2Impl(const unsigned char* src, std::size_t groups,
                                           char* dst) {
  const __m256i spread = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 1, 0,
                                          2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  std::size_t g = 0;
  // Each half reads 16 bytes for its 12, so 28 bytes must be there: 10 groups.
  for (; g + 10 <= groups; g += 8) {
    const unsigned char* p = src + 3 * g;
    const __m256i in = _mm256_set_m128i(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12)),
                                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    const __m256i out = EncodeLanes256(_mm256_shuffle_epi8(in, spread));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 4 * g), out);
  }
  return g;
}

TAVRIN_B64_AVX2 std::size_t DecodeAvx2Impl(const unsigned char* src, std::size_t n,
                                           unsigned char* dst) {
  // Classes by high nibble (bit per class) and, per low nibble, the classes
  // in which that low nibble is not an alphabet character: 0x01 "+" and "/"
  // row, 0x02 digits row, 0x04 rows 4 and 6 (no character at 0), 0x08 rows
  // 5 and 7 (nothing past "Z"/"z"), 0x10 rows without any character.
  const __m256i rowClass =
      _mm256_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10,
                       0x10, 0x10, 0x10, 0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                       0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  const __m256i badIn =
      _mm256_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B,
                       0x1B, 0x1B, 0x1A, 0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                       0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  // Offset from character to value by high nibble; "/" uses slot 1.
  const __m256i offsets =
      _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 19, 4, -65,
                       -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i pack = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2,
                                        1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i slash = _mm256_set1_epi8('/');
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32, dst += 24) {
    const __m256i in = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
    const __m256i hiNib = _mm256_and_si256(_mm256_srli_epi32(in, 4), nibble);
    const __m256i loNib = _mm256_and_si256(in, nibble);
    const __m256i flags =
        _mm256_and_si256(_mm256_shuffle_epi8(badIn, loNib), _mm256_shuffle_epi8(rowClass, hiNib));
    if (!_mm256_testz_si256(flags, flags)) break;
    const __m256i slot = _mm256_add_epi8(hiNib, _mm256_cmpeq_epi8(in, slash));
    const __m256i values = _mm256_add_epi8(in, _mm256_shuffle_epi8(offsets, slot));
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i words = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i packed = _mm256_shuffle_epi8(words, pack);
    // 12 bytes per half: the first 16-byte store is overwritten from byte 12.
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm256_castsi256_si128(packed));
    const __m128i high = _mm256_extracti128_si256(packed, 1);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 12), high);
    const int last4 = _mm_extract_epi32(high, 2);
    __builtin_memcpy(dst + 20, &last4, 4);
  }
  return i;
}

#endif  // TAVRIN_HAVE_BASE64_KERNELS

Base64Kernel DetectBest() {
#if defined(TAVRIN_HAVE_BASE64_KERNELS)
  if (CpuHasAvx512Vbmi()) return Base64Kernel::kAvx512;
  if (CpuHasAvx2()) return Base64Kernel::kAvx2;
#endif
  return Base64Kernel::kScalar;
}

// The kernel in use: the best one unless a test chose another.
Base64Kernel& ActiveKernelSlot() {
  static Base64Kernel active = BestBase64Kernel();
  return active;
}

bool Supported(Base64Kernel k) {
  switch (k) {
    case Base64Kernel::kScalar:
      return true;
#if defined(TAVRIN_HAVE_BASE64_KERNELS)
    case Base64Kernel::kAvx2:
      return CpuHasAvx2();
    case Base64Kernel::kAvx512:
      return CpuHasAvx512Vbmi();
#endif
    default:
      return false;
  }
}

}  // namespace

Base64Kernel BestBase64Kernel() {
  static const Base64Kernel best = DetectBest();
  return best;
}

Base64Kernel ActiveBase64Kernel() {
  return ActiveKernelSlot();
}

bool SetBase64Kernel(Base64Kernel kernel) {
  if (!Supported(kernel)) return false;
  ActiveKernelSlot() = kernel;
  return true;
}

#if defined(TAVRIN_HAVE_BASE64_KERNELS)
std::size_t Base64EncodeAvx2(const unsigned char* src, std::size_t groups, char* dst) {
  return EncodeAvx2Impl(src, groups, dst);
}
std::size_t Base64DecodeAvx2(const unsigned char* src, std::size_t n, unsigned char* dst) {
  return DecodeAvx2Impl(src, n, dst);
}
std::size_t Base64EncodeAvx512(const unsigned char* src, std::size_t groups, char* dst) {
  return EncodeAvx512Impl(src, groups, dst);
}
std::size_t Base64DecodeAvx512(const unsigned char* src, std::size_t n, unsigned char* dst) {
  return DecodeAvx512Impl(src, n, dst);
}
#else
std::size_t Base64EncodeAvx2(const unsigned char*, std::size_t, char*) {
  return 0;
}
std::size_t Base64DecodeAvx2(const unsigned char*, std::size_t, unsigned char*) {
  return 0;
}
std::size_t Base64EncodeAvx512(const unsigned char*, std::size_t, char*) {
  return 0;
}
std::size_t Base64DecodeAvx512(const unsigned char*, std::size_t, unsigned char*) {
  return 0;
}
#endif

}  // namespace tavrin::utils::detail
