// convertutf_internal.h - the wide block kernels behind the UTF converters
// (not installed).
//
// The converters and measuring functions of convertutf.h take long runs of
// plainly legal text through block kernels when the processor has them, and
// through their SSE2 and one-sequence-at-a-time steps otherwise. A kernel
// only ever takes text whose result the other steps would give identically
// (same units or bytes, same cursors, same counts); it stops in front of
// anything else (an illegal or cut-off sequence, a lone surrogate, a value
// the general step treats specially, too little room) and hands over.
//
// The kernel in use is picked once from the processor's features. Tests pick
// one themselves to run every path on the same inputs; library code never
// calls SetUtfKernel.
#pragma once

#include <cstddef>

#include "common/utils/convertutf.h"
#include "common/utils/export.h"

namespace tavrin::utils::detail {

// UtfKernel
//
// kNone: no wide kernel (SSE2 and single steps only). kAvx512: 512-bit
// kernels (AVX-512 F, BW, VL, VBMI and VBMI2), chosen at run time.
enum class UtfKernel { kNone, kAvx512 };

// ActiveUtfKernel() - the kernel the converters use now.
TAVRIN_EXPORT UtfKernel ActiveUtfKernel();

// BestUtfKernel() - the widest kernel this processor (and operating system)
// supports.
TAVRIN_EXPORT UtfKernel BestUtfKernel();

// SetUtfKernel() - makes the converters use `kernel` from now on (for
// tests; not thread-safe against running conversions). Returns false, and
// changes nothing, when the processor does not support it.
[[nodiscard]] TAVRIN_EXPORT bool SetUtfKernel(UtfKernel kernel);

// The kernels themselves (used by convertutf.cpp only). Each works from the
// start of its input, which must be a sequence boundary, and returns how
// many source elements it consumed (0 when it could not take the first
// block); `produced` receives the number of target elements written (or
// counted). They never read past the source end nor write past `room`
// target elements, and never write past the target elements they report.

// UTF-8 -> UTF-16, the forms the conversion's fast step accepts (surrogate
// values only when !strict).
std::size_t Utf8ToUtf16Avx512(const UTF8* src, std::size_t avail, UTF16* dst, std::size_t room,
                              bool strict, std::size_t& produced);
// The same forms counted, not written.
std::size_t CountUtf8ToUtf16Avx512(const UTF8* src, std::size_t avail, bool strict,
                                   std::size_t& produced);
// UTF-16 -> UTF-8: units outside the surrogates and well-formed pairs.
std::size_t Utf16ToUtf8Avx512(const UTF16* src, std::size_t avail, UTF8* dst, std::size_t room,
                              std::size_t& produced);
// The same units counted in bytes, not written.
std::size_t CountUtf16ToUtf8Avx512(const UTF16* src, std::size_t avail, std::size_t& produced);
// UTF-16 -> UTF-32: units outside the surrogates and well-formed pairs.
std::size_t Utf16ToUtf32Avx512(const UTF16* src, std::size_t avail, UTF32* dst, std::size_t room,
                               std::size_t& produced);
// UTF-32 -> UTF-16: values outside the surrogates up to U+10FFFF.
std::size_t Utf32ToUtf16Avx512(const UTF32* src, std::size_t avail, UTF16* dst, std::size_t room,
                               std::size_t& produced);
// The same values counted in units, not written.
std::size_t CountUtf32ToUtf16Avx512(const UTF32* src, std::size_t avail, std::size_t& produced);

}  // namespace tavrin::utils::detail
