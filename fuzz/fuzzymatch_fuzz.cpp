// fuzzymatch_fuzz.cpp - the fuzzy matcher on arbitrary bytes. The input is
// "pattern\ntext". Aborts when the score of the core, FuzzyMatchUtf8 and the
// table-driven matcher disagree, when a match is reported for a pattern that
// is not a subsequence of the text (or the reverse), or when the positions of
// a match do not hold the pattern's letters in order.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/utils/internal/fuzzymatch_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
#if defined(TAVRIN_FUZZING)
  if (size > 4096) return 0;
#endif
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t cut = input.find('\n');
  if (cut == std::string::npos) return 0;
  // Zero bytes end both strings, as they would as C strings.
  const std::string pattern = input.substr(0, cut).c_str();
  const std::string text = input.substr(cut + 1).c_str();

  const int score = tavrin::utils::detail::FuzzyMatchUtf8(text.c_str(), pattern.c_str());
  const tavrin::utils::detail::FuzzyMatcherUtf8 matcher(pattern.c_str());
  if (matcher.Score(text.c_str()) != score) std::abort();

  unsigned char matches[256] = {};
  int core_score = 0, calls = 0;
  const bool matched =
      !pattern.empty() && !text.empty() &&
      fts::fuzzy_internal::fuzzy_match_recursive(pattern.c_str(), text.c_str(), core_score,
                                                 text.c_str(), nullptr, matches, 256, 0, calls, 10);
  if ((matched ? core_score : 0) != score) std::abort();

  // A match exists exactly when the pattern is a subsequence (any case).
  std::size_t t = 0, p = 0;
  for (; p < pattern.size() && t < text.size(); ++t)
    if (std::tolower(static_cast<unsigned char>(pattern[p])) ==
        std::tolower(static_cast<unsigned char>(text[t])))
      ++p;
  const bool subsequence = p == pattern.size() && !pattern.empty() && pattern.size() <= 256;
  if (matched != subsequence) std::abort();
  if (!matched || text.size() > 256) return 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (i > 0 && matches[i] <= matches[i - 1]) std::abort();
    if (std::tolower(static_cast<unsigned char>(text[matches[i]])) !=
        std::tolower(static_cast<unsigned char>(pattern[i])))
      std::abort();
  }
  return 0;
}
