// unichar.cpp - C-string functions for zero-terminated UTF-16 units.
#include "common/utils/unichar.h"

#include <cstring>

namespace {

inline bool InSet(unsigned short ch, const unsigned short* set) {
  for (; *set; ++set)
    if (*set == ch) return true;
  return false;
}

}  // namespace

extern "C" {

unsigned long ustrlen(const unsigned short* s) {
  if (s == nullptr) return 0;
  const unsigned short* p = s;
  while (*p) ++p;
  return static_cast<unsigned long>(p - s);
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
  if (p == nullptr) return nullptr;
  for (; n > 0; --n, ++p)
    if (*p == ch) return const_cast<unsigned short*>(p);
  return nullptr;
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
