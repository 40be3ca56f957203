// base64_internal.h - the block kernels behind base64_encode and
// base64_decode (not installed).
//
// Long inputs go through vector kernels when the processor has them and
// through the table-driven scalar steps otherwise. An encode kernel takes
// whole 3-byte groups only; the final partial group is always left to the
// scalar step. A decode kernel takes whole 4-character groups only while
// every character of its block is in the alphabet; at a block holding
// anything else ("=", white space, a foreign or NUL byte) it stops in front
// of that block and the scalar step decodes from there, so every kernel
// gives the scalar result byte for byte.
//
// The kernel in use is picked once from the processor's features. Tests pick
// one themselves to run every path on the same inputs; library code never
// calls SetBase64Kernel.
#pragma once

#include <cstddef>

#include "common/utils/export.h"

namespace tavrin::utils::detail {

// Base64Kernel
//
// kScalar: table-driven scalar steps only (every processor). kAvx2: 256-bit
// kernels (AVX2). kAvx512: 512-bit kernels (AVX-512 F, BW and VBMI).
enum class Base64Kernel { kScalar, kAvx2, kAvx512 };

// ActiveBase64Kernel() - the kernel base64_encode and base64_decode use now.
TAVRIN_EXPORT Base64Kernel ActiveBase64Kernel();

// BestBase64Kernel() - the widest kernel this processor (and operating
// system) supports.
TAVRIN_EXPORT Base64Kernel BestBase64Kernel();

// SetBase64Kernel() - makes the coders use `kernel` from now on (for tests;
// not thread-safe against running calls). Returns false, and changes
// nothing, when the processor does not support it.
[[nodiscard]] TAVRIN_EXPORT bool SetBase64Kernel(Base64Kernel kernel);

// The kernels themselves (used by base64.cpp only).
//
// Encode: `groups` whole 3-byte groups at `src` to 4 characters each at
// `dst`; returns the number of groups done (the caller encodes the rest).
// Reads at most 3 * groups bytes and writes at most 4 * groups characters.
//
// Decode: up to `n` characters at `src`; returns how many characters were
// decoded (a multiple of 4, every one of them in the alphabet), 3 bytes per
// 4 characters written at `dst`. Reads at most `n` characters and writes at
// most (n / 4) * 3 bytes.
std::size_t Base64EncodeAvx2(const unsigned char* src, std::size_t groups, char* dst);
std::size_t Base64DecodeAvx2(const unsigned char* src, std::size_t n, unsigned char* dst);
std::size_t Base64EncodeAvx512(const unsigned char* src, std::size_t groups, char* dst);
std::size_t Base64DecodeAvx512(const unsigned char* src, std::size_t n, unsigned char* dst);

}  // namespace tavrin::utils::detail
