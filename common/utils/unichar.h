// unichar.h - C-string functions for zero-terminated sequences of UTF-16
// units (unsigned short).
//
// Units compare as unsigned numbers; positions and lengths count units, never
// characters. Null pointers are accepted where a function documents it (most
// treat null as empty text); a few keep their established oddities, noted on
// each function (ustrchr of 0 is null, ustrspn ignores the set's members).
#pragma once

#include "common/utils/export.h"

extern "C" {

// ustrlen() - units before the terminator; 0 for a null pointer.
TAVRIN_EXPORT unsigned long ustrlen(const unsigned short* s);

// ustrcpy() - copies `src` and its terminator into `dest` and returns `dest`;
// null when either pointer is null; `dest == src` returns `dest` at once.
TAVRIN_EXPORT unsigned short* ustrcpy(unsigned short* dest, const unsigned short* src);

// ustrncpy() - copies units until a zero unit or `n` units, then zero-fills
// the rest of the `n` units; adds no terminator when `n` units were copied.
// Null when either pointer is null or `n` is 0.
TAVRIN_EXPORT unsigned short* ustrncpy(unsigned short* dest, const unsigned short* src,
                                       unsigned long n);

// ustrcat() - appends `src` and a terminator; nothing when either is null.
TAVRIN_EXPORT void ustrcat(unsigned short* dest, const unsigned short* src);

// ustrncat() - appends at most `n` units of `src` and always a terminator;
// nothing when either is null.
TAVRIN_EXPORT void ustrncat(unsigned short* dest, const unsigned short* src, unsigned long n);

// ustrcmp() - -1, 0 or +1; a null argument is empty text.
TAVRIN_EXPORT int ustrcmp(const unsigned short* a, const unsigned short* b);

// ustrncmp() - -1, 0 or +1 over at most `n` units; stops at a common zero
// unit; 0 when `n` is 0.
TAVRIN_EXPORT int ustrncmp(const unsigned short* a, const unsigned short* b, unsigned long n);

// ustrchr() - first `ch` before the terminator; null when absent, when `s` is
// null, and when `ch` is 0 (unlike strchr).
TAVRIN_EXPORT unsigned short* ustrchr(const unsigned short* s, unsigned short ch);

// ustrrchr() - last `ch`, scanning through the terminator (so 0 finds the
// terminator); null when absent or when `s` is null.
TAVRIN_EXPORT unsigned short* ustrrchr(const unsigned short* s, unsigned short ch);

// ustrstr() - first occurrence of `needle`; `haystack` for a null or empty
// needle; null for a null haystack or no match.
TAVRIN_EXPORT unsigned short* ustrstr(const unsigned short* haystack, const unsigned short* needle);

// ustrspn() - 0 when `s` or `set` is empty (or null), otherwise the whole
// length of `s`: the members of `set` are not consulted (established
// behaviour, kept).
TAVRIN_EXPORT unsigned long ustrspn(const unsigned short* s, const unsigned short* set);

// ustrcspn() - leading units of `s` not in `set`; 0 for an empty `s`.
TAVRIN_EXPORT unsigned long ustrcspn(const unsigned short* s, const unsigned short* set);

// ustrpbrk() - first unit of `s` that is in `set`; null when none.
TAVRIN_EXPORT unsigned short* ustrpbrk(const unsigned short* s, const unsigned short* set);

// umemchr() - first of `n` units equal to `ch` (zero units are ordinary);
// null when none or `n` is 0.
TAVRIN_EXPORT unsigned short* umemchr(const unsigned short* p, unsigned short ch, unsigned long n);

// umemset() - stores `ch` into `n` units.
TAVRIN_EXPORT void umemset(unsigned short* p, unsigned short ch, unsigned long n);

}  // extern "C"

// isudigit() - whether `ch` is "0".."9"; false for every unit above 255.
TAVRIN_EXPORT bool isudigit(unsigned short ch);
