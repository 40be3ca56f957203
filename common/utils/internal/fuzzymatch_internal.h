// fuzzymatch_internal.h - the scoring core of fuzzymatch.h and a UTF-8 entry
// point for callers that already hold 8-bit text (the tavrin tool).
//
// Internal header (not installed); the functions are exported for the tests
// and the tool.
#pragma once

#include <string>

#include "common/utils/export.h"

namespace fts::fuzzy_internal {

// fuzzy_match_recursive()
//
// Matches the zero-terminated UTF-8 `pattern` against the zero-terminated
// text from `str` on, where `strBegin` is the start of the whole text, and
// tries leaving each matched letter for a later occurrence (recursively) to
// find the best placement. `srcMatches` holds the `nextMatch` positions the
// caller already chose (null for none); `matches` (room for `maxMatches`
// bytes) receives the positions of the returned placement, each the byte
// index of a matched letter modulo 256. `recursionCount` counts calls across
// the whole tree; a call that brings it to `recursionLimit` fails at once.
// Returns true with the best score in `outScore` when the pattern matched;
// false (outScore and the positions past `nextMatch` unspecified) when it
// did not, when `pattern` or `str` is empty, when more than `maxMatches`
// letters would be needed, or when the recursion limit was reached. The
// library calls it with maxMatches 256 and recursionLimit 10.
TAVRIN_EXPORT bool fuzzy_match_recursive(const char* pattern, const char* str, int& outScore,
                                         const char* strBegin, const unsigned char* srcMatches,
                                         unsigned char* matches, int maxMatches, int nextMatch,
                                         int& recursionCount, int recursionLimit);

}  // namespace fts::fuzzy_internal

namespace tavrin::utils::detail {

// FuzzyMatchUtf8()
//
// FuzzyMatch on zero-terminated UTF-8 bytes, without conversions: the score
// of `text` against `pattern`, 0 when it does not match or either is null or
// empty. Equal to FuzzyMatch of the same texts for valid UTF-8 (the bytes are
// not validated here).
[[nodiscard]] TAVRIN_EXPORT int FuzzyMatchUtf8(const char* text, const char* pattern);

// FuzzyMatcherUtf8
//
// FuzzyMatchUtf8 against one pattern for many texts. The constructor copies
// the C library's tolower, islower and isupper answers for all 256 bytes in
// the current locale; Score looks them up instead of calling the library for
// every byte, and so gives FuzzyMatchUtf8's results as long as the locale is
// not changed while the object is used. Score is const and keeps no state: one
// object may serve several threads at once.
class TAVRIN_EXPORT FuzzyMatcherUtf8 {
 public:
  // `pattern` is zero-terminated UTF-8 and copied; null is the empty pattern.
  explicit FuzzyMatcherUtf8(const char* pattern);

  // Score() - FuzzyMatchUtf8(text, pattern).
  [[nodiscard]] int Score(const char* text) const;

  // The copied character classes of one byte.
  int Lower(char c) const { return lower_[static_cast<unsigned char>(c)]; }
  bool IsLower(char c) const { return (classes_[static_cast<unsigned char>(c)] & kLowerBit) != 0; }
  bool IsUpper(char c) const { return (classes_[static_cast<unsigned char>(c)] & kUpperBit) != 0; }

 private:
  static constexpr unsigned char kLowerBit = 1;
  static constexpr unsigned char kUpperBit = 2;
  std::string pattern_;
  unsigned char lower_[256];
  unsigned char classes_[256];
};

}  // namespace tavrin::utils::detail
