// unichar_internal.h - the portable unit scans behind unichar.h (not
// installed).
//
// ustrlen and umemchr test eight units at a time with SSE2 where the target
// has it and fall back to these one-unit-at-a-time scans elsewhere (and for
// an odd address). They are exported so that the tests can run both on the
// same inputs; library code calls the public functions.
#pragma once

#include "common/utils/export.h"

namespace tavrin::utils::detail {

// UstrlenPortable()
//
// ustrlen() one unit at a time: units before the terminator of the
// zero-terminated `s`; 0 for a null pointer. Reads nothing past the
// terminator.
TAVRIN_EXPORT unsigned long UstrlenPortable(const unsigned short* s);

// UmemchrPortable()
//
// umemchr() one unit at a time: the first of the `n` units at `p` equal to
// `ch` (0 is an ordinary unit), or null when none is or `p` is null. Reads
// nothing past the unit found.
TAVRIN_EXPORT const unsigned short* UmemchrPortable(const unsigned short* p, unsigned short ch,
                                                    unsigned long n);

}  // namespace tavrin::utils::detail
