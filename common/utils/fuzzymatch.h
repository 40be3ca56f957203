// fuzzymatch.h - ranking texts against a typed search pattern, for pickers
// in which the user types a few letters of a name.
//
// FuzzyMatch scores one text against a pattern; FuzzySearch scores a list of
// candidates, keeps the matches, removes duplicates and sorts them best first.
//
// Unit-wide rules:
// - The pattern's letters must appear in the text in order, not necessarily
//   next to each other; letters are compared byte by byte in UTF-8 after the
//   C library's tolower, so ASCII letters match across case. Bytes of
//   characters outside ASCII are compared and classified per byte by the C
//   library's character functions in the current locale.
// - An empty pattern, an empty text, text that is not a match and a pattern
//   of more than 256 bytes all score 0, which means "no match".
// - Score of a match: 100; minus 5 per byte before the first matched letter
//   (at most 15); minus 1 per unmatched byte of the text; plus 15 for each
//   letter right after the previous matched one, 15 when the first letter of
//   the text is matched, 30 for a matched upper-case letter after a
//   lower-case one (camel case) and 30 for one after "_" or " ". Of all the
//   placements the matcher tries (at most ten recursive calls per text), the
//   best score wins, the earlier placement on equal scores.
// - Positions are kept in 8 bits: in texts longer than 256 bytes they wrap
//   modulo 256 and the position bonuses and the leading penalty use the
//   wrapped values (kept as is; scores of shorter texts are unaffected).
// - Matching allocates nothing beyond converting the two strings to UTF-8;
//   the functions keep no state and may run on several threads at once.
//   FuzzySearch reads the C library's character classes once per call, so
//   the locale must not change while it runs.
#pragma once

#include <vector>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

// Searchable
//
// One candidate: the text matched against, the key of the object it stands
// for (candidates with equal keys are duplicates of one another) and the
// caller's preferred order among equally scored results.
struct Searchable {
  tavrin_ustring text;
  unsigned long long key;
  unsigned long long order;
};

// SearchResult - a matched candidate and its score.
struct SearchResult : Searchable {
  int score;
};

// FuzzyMatch()
//
// The score of `text` against `pattern` (see the unit rules), or 0 when the
// pattern does not match. A genuine match may score 0 or less with long
// texts; 0 is indistinguishable from no match.
[[nodiscard]] TAVRIN_EXPORT int FuzzyMatch(const tavrin_ustring& text,
                                           const tavrin_ustring& pattern);

// FuzzySearch()
//
// The items whose FuzzyMatch score is not 0, one per key (the best-scoring
// one; the earlier item among equal scores), sorted by score descending,
// then by `order` ascending, then by input position. Empty for an empty
// pattern or when nothing matches.
[[nodiscard]] TAVRIN_EXPORT std::vector<SearchResult> FuzzySearch(
    const std::vector<Searchable>& items, const tavrin_ustring& pattern);

}  // namespace tavrin::utils
