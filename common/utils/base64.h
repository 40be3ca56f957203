// base64.h - Base64 encoding and decoding of byte strings with the standard
// alphabet "A-Z a-z 0-9 + /" and "=" padding.
//
// Encoding writes no line breaks. Decoding is deliberately forgiving at the
// end and strict in the middle: it takes characters from the start up to the
// first "=" or the first byte outside the alphabet (white space and line
// breaks included) and ignores everything from there on, so "TW\nFu" decodes
// to "M". Neither function fails: bad input gives a shorter or empty result.
#pragma once

#include <string>

#include "common/utils/export.h"

namespace tavrin::utils {

// base64_encode()
//
// The Base64 text of `len` bytes at `bytes`: every 3 bytes give 4
// characters, the last group is padded with "=" to 4 characters. Empty when
// `len` is 0 or `bytes` is null.
[[nodiscard]] TAVRIN_EXPORT std::string base64_encode(const unsigned char* bytes, unsigned int len);

// base64_decode()
//
// The bytes encoded by the leading run of alphabet characters of `text`
// (see the header comment for where that run ends). Each complete group of
// 4 characters gives 3 bytes; a final group of 2 or 3 characters gives 1 or 2
// bytes; a final single character gives nothing. Empty for empty text or
// text that starts outside the alphabet.
[[nodiscard]] TAVRIN_EXPORT std::string base64_decode(const std::string& text);

}  // namespace tavrin::utils
