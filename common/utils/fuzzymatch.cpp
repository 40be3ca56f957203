// fuzzymatch.cpp - the recursive scoring core, FuzzyMatch and FuzzySearch.
//
// The core is written once over a character-class policy: the exported
// routine and FuzzyMatch ask the C library (tolower, islower, isupper) for
// every byte; a search over many texts copies the C library's answers for
// all 256 bytes into tables once and looks them up, which gives the same
// results as long as the locale does not change during the search.
#include "common/utils/fuzzymatch.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

#include "common/utils/convertutf.h"
#include "common/utils/internal/fuzzymatch_internal.h"

namespace tavrin::utils::detail {
namespace {

// Room of every position array: positions are single bytes, one per matched
// pattern letter.
constexpr int kPositions = 256;
// How the library runs the core: at most 256 letters, ten calls per text.
constexpr int kMaxLetters = 256;
constexpr int kRecursionLimit = 10;

constexpr int kStartScore = 100;
constexpr int kSequentialBonus = 15;
constexpr int kSeparatorBonus = 30;
constexpr int kCamelBonus = 30;
constexpr int kFirstLetterBonus = 15;
constexpr int kLeadingLetterPenalty = -5;
constexpr int kMaxLeadingLetterPenalty = -15;
constexpr int kUnmatchedLetterPenalty = -1;

// The C library's character functions on one byte, taken as unsigned char so
// that bytes of 0x80 and above stay inside their domain.
struct LibraryClasses {
  int Lower(char c) const { return std::tolower(static_cast<unsigned char>(c)); }
  bool IsLower(char c) const { return std::islower(static_cast<unsigned char>(c)) != 0; }
  bool IsUpper(char c) const { return std::isupper(static_cast<unsigned char>(c)) != 0; }
};

// The score of one complete placement of `count` letters at `matches` in the
// text starting at `begin`.
template <typename Classes>
int ScorePlacement(const Classes& classes, const char* begin, const unsigned char* matches,
                   int count) {
  int score = kStartScore;
  score += std::max(kLeadingLetterPenalty * matches[0], kMaxLeadingLetterPenalty);
  const int unmatched = static_cast<int>(std::strlen(begin)) - count;
  score += kUnmatchedLetterPenalty * unmatched;
  for (int i = 0; i < count; ++i) {
    const int index = matches[i];
    if (i > 0 && index == matches[i - 1] + 1) score += kSequentialBonus;
    if (index > 0) {
      const char neighbour = begin[index - 1];
      const char current = begin[index];
      if (classes.IsLower(neighbour) && classes.IsUpper(current)) score += kCamelBonus;
      if (neighbour == '_' || neighbour == ' ') score += kSeparatorBonus;
    } else {
      score += kFirstLetterBonus;
    }
  }
  return score;
}

// The core; see fuzzy_match_recursive in fuzzymatch_internal.h.
template <typename Classes>
bool MatchRecursive(const Classes& classes, const char* pattern, const char* str, int& outScore,
                    const char* strBegin, const unsigned char* srcMatches, unsigned char* matches,
                    int maxMatches, int nextMatch, int& recursionCount, int recursionLimit) {
  ++recursionCount;
  if (recursionCount >= recursionLimit) return false;
  if (*pattern == '\0' || *str == '\0') return false;

  bool recursive_match = false;
  unsigned char best_recursive_matches[kPositions];
  int best_recursive_score = 0;
  bool first_match = true;

  while (*pattern != '\0' && *str != '\0') {
    if (classes.Lower(*pattern) == classes.Lower(*str)) {
      if (nextMatch >= maxMatches) return false;
      if (first_match && srcMatches != nullptr) {
        std::memcpy(matches, srcMatches, static_cast<std::size_t>(nextMatch));
        first_match = false;
      }
      // Explore leaving this letter for a later occurrence of it.
      unsigned char recursive_matches[kPositions];
      int recursive_score = 0;
      if (MatchRecursive(classes, pattern, str + 1, recursive_score, strBegin, matches,
                         recursive_matches, kPositions, nextMatch, recursionCount,
                         recursionLimit)) {
        if (!recursive_match || recursive_score > best_recursive_score) {
          std::memcpy(best_recursive_matches, recursive_matches, kPositions);
          best_recursive_score = recursive_score;
        }
        recursive_match = true;
      }
      matches[nextMatch++] = static_cast<unsigned char>(str - strBegin);
      ++pattern;
    }
    ++str;
  }

  const bool matched = *pattern == '\0';
  if (matched) outScore = ScorePlacement(classes, strBegin, matches, nextMatch);

  if (recursive_match && (!matched || best_recursive_score > outScore)) {
    const int copy = std::clamp(maxMatches, 0, kPositions);
    std::memcpy(matches, best_recursive_matches, static_cast<std::size_t>(copy));
    outScore = best_recursive_score;
    return true;
  }
  return matched;
}

// Whether the letters of `pattern` occur in `text` in order (compared as the
// core compares them) and there are at most 256 of them. The core's own
// first placement is this greedy scan, so it matches exactly when this holds;
// checking first spares its recursion on texts that cannot match.
template <typename Classes>
bool CanMatch(const Classes& classes, const char* text, const char* pattern) {
  int letters = 0;
  while (*pattern != '\0') {
    const int wanted = classes.Lower(*pattern);
    while (*text != '\0' && classes.Lower(*text) != wanted) ++text;
    if (*text == '\0') return false;
    if (++letters > kMaxLetters) return false;
    ++text;
    ++pattern;
  }
  return true;
}

// FuzzyMatch on zero-terminated UTF-8 with the given classes.
template <typename Classes>
int MatchUtf8(const Classes& classes, const char* text, const char* pattern) {
  if (text == nullptr || pattern == nullptr || *text == '\0' || *pattern == '\0') return 0;
  if (!CanMatch(classes, text, pattern)) return 0;
  int score = 0;
  int recursion_count = 0;
  unsigned char matches[kMaxLetters] = {};
  if (!MatchRecursive(classes, pattern, text, score, text, nullptr, matches, kMaxLetters, 0,
                      recursion_count, kRecursionLimit))
    return 0;
  return score;
}

}  // namespace

int FuzzyMatchUtf8(const char* text, const char* pattern) {
  return MatchUtf8(LibraryClasses(), text, pattern);
}

FuzzyMatcherUtf8::FuzzyMatcherUtf8(const char* pattern) : pattern_(pattern ? pattern : "") {
  for (int b = 0; b < 256; ++b) {
    lower_[b] = static_cast<unsigned char>(std::tolower(b));
    classes_[b] = static_cast<unsigned char>((std::islower(b) ? kLowerBit : 0) |
                                             (std::isupper(b) ? kUpperBit : 0));
  }
}

int FuzzyMatcherUtf8::Score(const char* text) const {
  return MatchUtf8(*this, text, pattern_.c_str());
}

}  // namespace tavrin::utils::detail

namespace fts::fuzzy_internal {

bool fuzzy_match_recursive(const char* pattern, const char* str, int& outScore,
                           const char* strBegin, const unsigned char* srcMatches,
                           unsigned char* matches, int maxMatches, int nextMatch,
                           int& recursionCount, int recursionLimit) {
  return tavrin::utils::detail::MatchRecursive(
      tavrin::utils::detail::LibraryClasses(), pattern, str, outScore, strBegin, srcMatches,
      matches, maxMatches, nextMatch, recursionCount, recursionLimit);
}

}  // namespace fts::fuzzy_internal

namespace tavrin::utils {
namespace {

// Converts `s` to UTF-8 into `buffer` (reused between calls) and returns the
// zero-terminated bytes; the same bytes as s.utf8().
const char* ToUtf8(const tavrin_ustring& s, std::string& buffer) {
  buffer.clear();
  if (s.empty()) return buffer.c_str();
  const UTF16* begin = s.data();
  const UTF16* end = begin + s.size();
  const int n = SizeNeededForUTF8(begin, end, lenientConversion);
  if (n <= 0) return buffer.c_str();
  buffer.resize(static_cast<std::size_t>(n));
  UTF8* dst = reinterpret_cast<UTF8*>(buffer.data());
  ConvertUTF16toUTF8(&begin, end, &dst, dst + n, lenientConversion);
  buffer.resize(static_cast<std::size_t>(reinterpret_cast<char*>(dst) - buffer.data()));
  return buffer.c_str();
}

}  // namespace

int FuzzyMatch(const tavrin_ustring& text, const tavrin_ustring& pattern) {
  const std::string text8 = text.utf8();
  const std::string pattern8 = pattern.utf8();
  return detail::FuzzyMatchUtf8(text8.c_str(), pattern8.c_str());
}

std::vector<SearchResult> FuzzySearch(const std::vector<Searchable>& items,
                                      const tavrin_ustring& pattern) {
  std::vector<SearchResult> results;
  const std::string pattern8 = pattern.utf8();
  if (pattern8.empty()) return results;
  const detail::FuzzyMatcherUtf8 matcher(pattern8.c_str());

  // Matches with their sort keys (copied, so sorting does not chase the
  // items) and input position, the last tie-break of both sorts.
  struct Scored {
    int score;
    std::size_t index;
    unsigned long long key;
    unsigned long long order;
  };
  std::vector<Scored> scored;
  std::string text8;  // one buffer for every text
  for (std::size_t i = 0; i < items.size(); ++i) {
    const int score = matcher.Score(ToUtf8(items[i].text, text8));
    if (score != 0) scored.push_back(Scored{score, i, items[i].key, items[i].order});
  }

  // Best of each key: by key, then best score, then earliest item.
  std::sort(scored.begin(), scored.end(), [](const Scored& a, const Scored& b) {
    if (a.key != b.key) return a.key < b.key;
    if (a.score != b.score) return a.score > b.score;
    return a.index < b.index;
  });
  scored.erase(std::unique(scored.begin(), scored.end(),
                           [](const Scored& a, const Scored& b) { return a.key == b.key; }),
               scored.end());
  // Best first: score, then the caller's order, then input position.
  std::sort(scored.begin(), scored.end(), [](const Scored& a, const Scored& b) {
    if (a.score != b.score) return a.score > b.score;
    if (a.order != b.order) return a.order < b.order;
    return a.index < b.index;
  });

  results.reserve(scored.size());
  for (const Scored& s : scored) results.push_back(SearchResult{items[s.index], s.score});
  return results;
}

}  // namespace tavrin::utils
