// unichar.cpp - C-string functions for zero-terminated UTF-16 units.
//
// The unit scans under every string copy (ustrlen, umemchr and through it
// ustrncpy) test eight units at a time with SSE2 where the target has it
// (every x86-64), and one unit at a time elsewhere. The block scans read
// whole 16-byte blocks aligned on 16 bytes: such a block never straddles a
// page, so reading the units of it that lie past the terminator (or past the
// end of a shorter source than `n` says) can never fault, and the result
// depends only on the units up to the one found. Those reads are outside
// the C++ object model, so the block functions are not instrumented by
// AddressSanitizer or ThreadSanitizer (both would report the units past the
// end, which may belong to a freed neighbouring block, as a bad access); an
// odd address (not a unit boundary) takes the portable path.
#include "common/utils/unichar.h"

#include <cstdint>
#include <cstring>

#include "common/utils/internal/unichar_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define TAVRIN_UNIT_BLOCKS 1
#endif

#if defined(__clang__) || defined(__GNUC__)
#define TAVRIN_NO_SANITIZE_READS __attribute__((no_sanitize_address, no_sanitize_thread))
#else
#define TAVRIN_NO_SANITIZE_READS
#endif

namespace {

inline bool InSet(unsigned short ch, const unsigned short* set) {
  for (; *set; ++set)
    if (*set == ch) return true;
  return false;
}

#if defined(TAVRIN_UNIT_BLOCKS)

// Bit mask (two bits per unit) of the lanes of `block` equal to `needle`.
TAVRIN_NO_SANITIZE_READS inline unsigned MatchMask(const __m128i* block, __m128i needle) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_load_si128(block), needle)));
}

TAVRIN_NO_SANITIZE_READS unsigned long UstrlenBlocks(const unsigned short* s) {
  const auto start = reinterpret_cast<std::uintptr_t>(s);
  const __m128i zero = _mm_setzero_si128();
  const auto* block = reinterpret_cast<const __m128i*>(start & ~std::uintptr_t{15});
  // Lanes of the first block that lie before `s` do not count.
  unsigned mask = MatchMask(block, zero) & (~0u << (start & 15));
  while (mask == 0) mask = MatchMask(++block, zero);
  const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(block) + __builtin_ctz(mask);
  return static_cast<unsigned long>((at - start) / sizeof(unsigned short));
}

TAVRIN_NO_SANITIZE_READS const unsigned short* UmemchrBlocks(const unsigned short* p,
                                                             unsigned short ch, unsigned long n) {
  const auto start = reinterpret_cast<std::uintptr_t>(p);
  // One past the last unit to search (clamped for a huge `n`, which callers
  // use as "no bound").
  const std::uintptr_t room = (UINTPTR_MAX - start) / sizeof(unsigned short);
  const std::uintptr_t end = start + sizeof(unsigned short) * (n < room ? n : room);
  const __m128i needle = _mm_set1_epi16(static_cast<short>(ch));
  const auto* block = reinterpret_cast<const __m128i*>(start & ~std::uintptr_t{15});
  unsigned mask = MatchMask(block, needle) & (~0u << (start & 15));
  for (;;) {
    const auto base = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t left = end - base;  // bytes from this block to the end
    // Lanes at or past the end are dropped before the mask is tested, so
    // what they hold (possibly never written) decides nothing.
    if (left < 16) mask &= (1u << left) - 1;
    if (mask != 0) return reinterpret_cast<const unsigned short*>(base + __builtin_ctz(mask));
    if (left <= 16) return nullptr;  // this block reached the end
    mask = MatchMask(++block, needle);
  }
}

#endif  // TAVRIN_UNIT_BLOCKS

// Whether `p` is not on a unit boundary (only the portable scans take it).
inline bool OddAddress(const unsigned short* p) {
  return (reinterpret_cast<std::uintptr_t>(p) & 1) != 0;
}

}  // namespace

namespace tavrin::utils::detail {

unsigned long UstrlenPortable(const unsigned short* s) {
  if (s == nullptr) return 0;
  const unsigned short* p = s;
  while (*p) ++p;
  return static_cast<unsigned long>(p - s);
}

const unsigned short* UmemchrPortable(const unsigned short* p, unsigned short ch, unsigned long n) {
  if (p == nullptr) return nullptr;
  for (; n > 0; --n, ++p)
    if (*p == ch) return p;
  return nullptr;
}

}  // namespace tavrin::utils::detail

extern "C" {

unsigned long ustrlen(const unsigned short* s) {
#if defined(TAVRIN_UNIT_BLOCKS)
  if (s != nullptr && !OddAddress(s)) return UstrlenBlocks(s);
#endif
  return tavrin::utils::detail::UstrlenPortable(s);
}

unsigned short* ustrcpy(unsigned short* dest, const unsigned short* src) {
  if (dest == nullptr || src == nullptr) return nullptr;
  if (dest == src) return dest;
  unsigned short* d = dest;
  while ((*d++ = *src++) != 0) {
  }
  return dest;
}

unsigned short* ustrncpy(unsigned short* dest, const unsigned short* src, unsigned long n) {
  if (dest == nullptr || src == nullptr || n == 0) return nullptr;
  if (dest == src) return dest;
  // Copy up to the first zero unit of the source (within n), then zero-fill
  // the rest of the n units. The common case has no zero unit: one memmove.
  const unsigned short* zero = umemchr(src, 0, n);
  unsigned long copied = zero ? static_cast<unsigned long>(zero - src) : n;
  std::memmove(dest, src, copied * sizeof(unsigned short));
  if (copied < n) std::memset(dest + copied, 0, (n - copied) * sizeof(unsigned short));
  return dest;
}

void ustrcat(unsigned short* dest, const unsigned short* src) {
  if (dest == nullptr || src == nullptr) return;
  ustrcpy(dest + ustrlen(dest), src);
}

void ustrncat(unsigned short* dest, const unsigned short* src, unsigned long n) {
  if (dest == nullptr || src == nullptr) return;
  unsigned short* d = dest + ustrlen(dest);
  while (n > 0 && *src) {
    *d++ = *src++;
    --n;
  }
  *d = 0;
}

int ustrcmp(const unsigned short* a, const unsigned short* b) {
  static const unsigned short kEmpty = 0;
  if (a == nullptr) a = &kEmpty;
  if (b == nullptr) b = &kEmpty;
  while (*a && *a == *b) {
    ++a;
    ++b;
  }
  return *a < *b ? -1 : (*a > *b ? 1 : 0);
}

int ustrncmp(const unsigned short* a, const unsigned short* b, unsigned long n) {
  for (; n > 0; --n, ++a, ++b) {
    if (*a != *b) return *a < *b ? -1 : 1;
    if (*a == 0) return 0;
  }
  return 0;
}

unsigned short* ustrchr(const unsigned short* s, unsigned short ch) {
  if (s == nullptr || ch == 0) return nullptr;
  for (; *s; ++s)
    if (*s == ch) return const_cast<unsigned short*>(s);
  return nullptr;
}

unsigned short* ustrrchr(const unsigned short* s, unsigned short ch) {
  if (s == nullptr) return nullptr;
  const unsigned short* found = nullptr;
  for (;; ++s) {
    if (*s == ch) found = s;
    if (*s == 0) break;
  }
  return const_cast<unsigned short*>(found);
}

unsigned short* ustrstr(const unsigned short* haystack, const unsigned short* needle) {
  if (needle == nullptr || *needle == 0) return const_cast<unsigned short*>(haystack);
  if (haystack == nullptr) return nullptr;
  for (; *haystack; ++haystack) {
    if (*haystack != *needle) continue;
    const unsigned short* h = haystack;
    const unsigned short* n = needle;
    while (*n && *h == *n) {
      ++h;
      ++n;
    }
    if (*n == 0) return const_cast<unsigned short*>(haystack);
    if (*h == 0) return nullptr;  // the rest of the haystack is shorter than the needle
  }
  return nullptr;
}

unsigned long ustrspn(const unsigned short* s, const unsigned short* set) {
  // Established behaviour: the members of `set` are not consulted.
  if (s == nullptr || set == nullptr || *s == 0 || *set == 0) return 0;
  return ustrlen(s);
}

unsigned long ustrcspn(const unsigned short* s, const unsigned short* set) {
  if (s == nullptr) return 0;
  if (set == nullptr) return ustrlen(s);
  const unsigned short* p = s;
  while (*p && !InSet(*p, set)) ++p;
  return static_cast<unsigned long>(p - s);
}

unsigned short* ustrpbrk(const unsigned short* s, const unsigned short* set) {
  if (s == nullptr || set == nullptr) return nullptr;
  for (; *s; ++s)
    if (InSet(*s, set)) return const_cast<unsigned short*>(s);
  return nullptr;
}

unsigned short* umemchr(const unsigned short* p, unsigned short ch, unsigned long n) {
#if defined(TAVRIN_UNIT_BLOCKS)
  // Short runs are not worth a block set-up.
  if (p != nullptr && n >= 8 && !OddAddress(p))
    return const_cast<unsigned short*>(UmemchrBlocks(p, ch, n));
#endif
  return const_cast<unsigned short*>(tavrin::utils::detail::UmemchrPortable(p, ch, n));
}

void umemset(unsigned short* p, unsigned short ch, unsigned long n) {
  if (p == nullptr) return;
  if (ch == 0) {
    std::memset(p, 0, n * sizeof(unsigned short));
    return;
  }
  for (; n > 0; --n) *p++ = ch;
}

}  // extern "C"

bool isudigit(unsigned short ch) {
  return ch >= '0' && ch <= '9';
}
