// base64.cpp - table-driven Base64.
//
// Encoding maps each 12-bit half of a 3-byte group to two output characters
// through one 4096-entry table, so a group costs two lookups and two 2-byte
// stores. Decoding ORs four 256-entry tables that hold each character's six
// bits already shifted into place; a character outside the alphabet sets a
// bit above the 24 data bits, so one test per group finds where the
// alphabet run ends.
//
// Long runs go through the vector kernels of base64_simd.cpp first when the
// processor has them; the steps here finish what a kernel leaves (the final
// partial group, and a decode block holding a byte outside the alphabet).
#include "common/utils/base64.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "common/utils/internal/base64_internal.h"

namespace tavrin::utils {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct PairTable {
  char pair[4096][2];
};

constexpr PairTable MakePairTable() {
  PairTable t{};
  for (int i = 0; i < 4096; ++i) {
    t.pair[i][0] = kAlphabet[i >> 6];
    t.pair[i][1] = kAlphabet[i & 63];
  }
  return t;
}

constexpr PairTable kPairs = MakePairTable();

// Set in a decode-table entry for every byte outside the alphabet.
constexpr std::uint32_t kBad = 0x01000000u;

using DecodeTable = std::array<std::uint32_t, 256>;

constexpr DecodeTable MakeDecodeTable(unsigned shift) {
  DecodeTable t{};
  for (auto& e : t) e = kBad;
  for (std::uint32_t v = 0; v < 64; ++v) t[static_cast<unsigned char>(kAlphabet[v])] = v << shift;
  return t;
}

constexpr DecodeTable kDecode0 = MakeDecodeTable(18);
constexpr DecodeTable kDecode1 = MakeDecodeTable(12);
constexpr DecodeTable kDecode2 = MakeDecodeTable(6);
constexpr DecodeTable kDecode3 = MakeDecodeTable(0);

inline void EncodeGroup(std::uint32_t v, char* out) {
  std::memcpy(out, kPairs.pair[v >> 12], 2);
  std::memcpy(out + 2, kPairs.pair[v & 0xFFFu], 2);
}

inline std::uint32_t Load3(const unsigned char* p) {
  return (static_cast<std::uint32_t>(p[0]) << 16) | (static_cast<std::uint32_t>(p[1]) << 8) | p[2];
}

// Whole groups taken by the active vector kernel (0 with none).
inline std::size_t EncodeWithKernel(const unsigned char* src, std::size_t groups, char* dst) {
  using detail::Base64Kernel;
  switch (detail::ActiveBase64Kernel()) {
    case Base64Kernel::kAvx512:
      return detail::Base64EncodeAvx512(src, groups, dst);
    case Base64Kernel::kAvx2:
      return detail::Base64EncodeAvx2(src, groups, dst);
    case Base64Kernel::kScalar:
      break;
  }
  return 0;
}

// Characters decoded by the active vector kernel (0 with none).
inline std::size_t DecodeWithKernel(const unsigned char* src, std::size_t n, unsigned char* dst) {
  using detail::Base64Kernel;
  switch (detail::ActiveBase64Kernel()) {
    case Base64Kernel::kAvx512:
      return detail::Base64DecodeAvx512(src, n, dst);
    case Base64Kernel::kAvx2:
      return detail::Base64DecodeAvx2(src, n, dst);
    case Base64Kernel::kScalar:
      break;
  }
  return 0;
}

}  // namespace

std::string base64_encode(const unsigned char* bytes, unsigned int len) {
  if (bytes == nullptr || len == 0) return std::string();
  const std::size_t groups = len / 3u;
  const std::size_t rest = len % 3u;
  std::string out((groups + (rest != 0 ? 1 : 0)) * 4, '\0');
  char* o = out.data();
  const unsigned char* p = bytes;
  std::size_t g = EncodeWithKernel(p, groups, o);
  p += 3 * g;
  o += 4 * g;
  // Four groups per round: 12 bytes in, 16 characters out.
  for (; g + 4 <= groups; g += 4, p += 12, o += 16) {
    EncodeGroup(Load3(p), o);
    EncodeGroup(Load3(p + 3), o + 4);
    EncodeGroup(Load3(p + 6), o + 8);
    EncodeGroup(Load3(p + 9), o + 12);
  }
  for (; g < groups; ++g, p += 3, o += 4) EncodeGroup(Load3(p), o);
  if (rest != 0) {
    const std::uint32_t v = (static_cast<std::uint32_t>(p[0]) << 16) |
                            (rest == 2 ? static_cast<std::uint32_t>(p[1]) << 8 : 0u);
    o[0] = kAlphabet[(v >> 18) & 63];
    o[1] = kAlphabet[(v >> 12) & 63];
    o[2] = rest == 2 ? kAlphabet[(v >> 6) & 63] : '=';
    o[3] = '=';
  }
  return out;
}

std::string base64_decode(const std::string& text) {
  const std::size_t n = text.size();
  if (n == 0) return std::string();
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text.data());
  std::string out((n / 4) * 3 + 2, '\0');
  unsigned char* o = reinterpret_cast<unsigned char*>(out.data());
  std::size_t i = DecodeWithKernel(s, n, o);
  o += i / 4 * 3;
  // Whole groups while all four characters are in the alphabet.
  for (; i + 4 <= n; i += 4) {
    const std::uint32_t v =
        kDecode0[s[i]] | kDecode1[s[i + 1]] | kDecode2[s[i + 2]] | kDecode3[s[i + 3]];
    if (v & kBad) break;
    if constexpr (std::endian::native == std::endian::little) {
      // One 4-byte store; its fourth byte is overwritten by the next group
      // or cut off at the end (the buffer has 2 bytes to spare).
      const std::uint32_t w = ((v >> 16) & 0xFFu) | (v & 0xFF00u) | ((v & 0xFFu) << 16);
      std::memcpy(o, &w, 4);
    } else {
      o[0] = static_cast<unsigned char>(v >> 16);
      o[1] = static_cast<unsigned char>(v >> 8);
      o[2] = static_cast<unsigned char>(v);
    }
    o += 3;
  }
  // The final, partial group: the alphabet characters left before the end,
  // a "=" or any other byte (at most 3 of them, or the loop would have taken
  // them). 2 give one byte, 3 give two, 1 gives nothing.
  std::uint32_t v = 0;
  std::size_t k = 0;
  for (; k < 3 && i + k < n; ++k) {
    const std::uint32_t d = kDecode3[s[i + k]];
    if (d & kBad) break;
    v |= d << (18 - 6 * k);
  }
  if (k >= 2) *o++ = static_cast<unsigned char>(v >> 16);
  if (k == 3) *o++ = static_cast<unsigned char>(v >> 8);
  out.resize(static_cast<std::size_t>(o - reinterpret_cast<unsigned char*>(out.data())));
  return out;
}

}  // namespace tavrin::utils
