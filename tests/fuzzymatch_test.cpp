// Tests of fuzzy matching: scores worked out by hand for each bonus and
// penalty, the recursion limit, 8-bit positions, FuzzySearch's filtering,
// de-duplication and order, and a differential check of the recursive core
// against an exhaustive search.
#include "common/utils/fuzzymatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "common/utils/internal/fuzzymatch_internal.h"
#include "tests/test_support.h"

// Counts the calls of the global operator new while counting is on, so that
// a test can tell how often matching allocates.
namespace {
std::atomic<bool> g_counting{false};
std::atomic<int> g_allocations{0};
}  // namespace

void* operator new(std::size_t size) {
  if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1);
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
// The pair is consistent (malloc and free); GCC cannot see that through the
// replacement.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

namespace {

using tavrin::utils::FuzzyMatch;
using tavrin::utils::FuzzySearch;
using tavrin::utils::Searchable;
using tavrin::utils::SearchResult;
using tavrin::utils::tavrin_ustring;

int Match(const std::string& text, const std::string& pattern) {
  return FuzzyMatch(tavrin_ustring(text), tavrin_ustring(pattern));
}

// Runs the core as FuzzyMatch does, with a chosen recursion limit, and
// returns whether it matched; score, positions and calls made come back.
struct CoreRun {
  bool matched;
  int score;
  std::vector<int> positions;
  int calls;
};
CoreRun RunCore(const std::string& text, const std::string& pattern, int limit) {
  CoreRun run{};
  unsigned char matches[256] = {};
  run.matched = fts::fuzzy_internal::fuzzy_match_recursive(pattern.c_str(), text.c_str(), run.score,
                                                           text.c_str(), nullptr, matches, 256, 0,
                                                           run.calls, limit);
  if (run.matched)
    for (std::size_t i = 0; i < pattern.size(); ++i) run.positions.push_back(matches[i]);
  return run;
}

// --- Worked examples ---------------------------------------------------------------

TEST(FuzzyMatchTest, EmptyPatternOrTextMatchesNothing) {
  EXPECT_EQ(Match("abc", ""), 0);
  EXPECT_EQ(Match("", "a"), 0);
  EXPECT_EQ(Match("", ""), 0);
  EXPECT_TRUE(FuzzySearch({{tavrin_ustring("abc"), 1, 1}}, tavrin_ustring()).empty());
}

TEST(FuzzyMatchTest, ExactTextScoresFirstLetterAndSequence) {
  // 100 + 15 (first letter) + 15 + 15 (two sequential letters).
  EXPECT_EQ(Match("abc", "abc"), 145);
  // Case does not matter on either side, and an upper-case letter after an
  // upper-case one is no camel-case boundary.
  EXPECT_EQ(Match("ABC", "abc"), 145);
  EXPECT_EQ(Match("abc", "ABC"), 145);
  // 100 + 15 + 3 x 15.
  EXPECT_EQ(Match("abcd", "abcd"), 160);
}

TEST(FuzzyMatchTest, LeadingLetterPenaltyIsCapped) {
  // First match at 1: -5; one unmatched byte: -1; two sequential: +30.
  EXPECT_EQ(Match("xabc", "abc"), 124);
  // At 2: -10, two unmatched: -2.
  EXPECT_EQ(Match("xxa", "a"), 88);
  // At 3 and beyond the penalty stays -15: 100 - 15 - 3 = 82, 100 - 15 - 5 + 30.
  EXPECT_EQ(Match("xxxa", "a"), 82);
  EXPECT_EQ(Match("xxxxxabc", "abc"), 110);
}

TEST(FuzzyMatchTest, CamelCaseBonus) {
  // F at 0 (+15), B at 3 after the lower-case o (+30), four unmatched (-4).
  EXPECT_EQ(Match("FooBar", "fb"), 141);
  // b at 1 after a lower-case a: -5 lead, -1 unmatched, +30 camel, then C
  // sequential (+15) but after an upper-case B (no camel).
  EXPECT_EQ(Match("aBC", "bc"), 139);
  // Same letters after an upper-case one: no camel bonus.
  EXPECT_EQ(Match("ABC", "bc"), 109);
  // A lower-case letter after an upper-case one is no boundary either.
  EXPECT_EQ(Match("Ab", "ab"), 100 + 15 + 15);
}

TEST(FuzzyMatchTest, SeparatorBonus) {
  // f at 0 (+15), b after "_" (+30), five unmatched (-5).
  EXPECT_EQ(Match("foo_bar", "fb"), 140);
  EXPECT_EQ(Match("foo bar", "fb"), 140);
  // Two separators: 100 - 2 + 15 + 30 + 30.
  EXPECT_EQ(Match("a_b_c", "abc"), 173);
  // "-" and "." are not separators: 100 - 5 + 15.
  EXPECT_EQ(Match("foo-bar", "fb"), 110);
  EXPECT_EQ(Match("foo.bar", "fb"), 110);
  // Separator and sequential bonus add up: a at 2 after "_" (-10 lead, +30),
  // b sequential (+15), two unmatched (-2).
  EXPECT_EQ(Match("x_ab", "ab"), 133);
}

TEST(FuzzyMatchTest, LaterPlacementWins) {
  // Greedy a at 0, b at 3 gives 100 - 2 + 15 = 113; a at 2 (after "_") and
  // b at 3 give 100 - 10 - 2 + 30 + 15 = 133.
  EXPECT_EQ(Match("a_ab", "ab"), 133);
  CoreRun run = RunCore("a_ab", "ab", 10);
  ASSERT_TRUE(run.matched);
  EXPECT_EQ(run.positions, (std::vector<int>{2, 3}));
  // getElementById: g0 e1 B10 I12 scores 100 - 10 + 15 + 15 + 30 + 30 = 180;
  // g0 E3 B10 I12 scores 100 - 10 + 15 + 30 + 30 + 30 = 195.
  EXPECT_EQ(Match("getElementById", "gebi"), 195);
  run = RunCore("getElementById", "gebi", 10);
  EXPECT_EQ(run.positions, (std::vector<int>{0, 3, 10, 12}));
}

TEST(FuzzyMatchTest, EqualScoresKeepTheEarlierPlacement) {
  // a at 3 and a at 5 both score 100 - 15 - 5 = 80.
  CoreRun run = RunCore("xxxaxa", "a", 10);
  ASSERT_TRUE(run.matched);
  EXPECT_EQ(run.score, 80);
  EXPECT_EQ(run.positions, (std::vector<int>{3}));
}

TEST(FuzzyMatchTest, LettersMustAppearInOrder) {
  EXPECT_EQ(Match("cab", "abc"), 0);
  EXPECT_EQ(Match("abc", "abcd"), 0);
  EXPECT_EQ(Match("aab", "aa"), 100 + 15 + 15 - 1);
  EXPECT_EQ(Match("ab", "aa"), 0);
}

TEST(FuzzyMatchTest, NonAsciiBytesCompareByteByByte) {
  // "é" matches itself; "É" differs from "é" in its second byte and the C
  // library does not fold it in the "C" locale.
  EXPECT_EQ(Match("caf\xC3\xA9", "\xC3\xA9"), 100 - 15 - 3 + 15);
  EXPECT_EQ(Match("\xC3\x89t\xC3\xA9", "\xC3\xA9t"), 0);
}

TEST(FuzzyMatchTest, NegativeAndZeroScores) {
  // 200 unmatched bytes before the letter: 100 - 15 - 200.
  EXPECT_EQ(Match(std::string(200, 'x') + "a", "a"), -115);
  // 100 - 15 - 85 = 0: a genuine match that reads as no match.
  EXPECT_EQ(Match("xxxa" + std::string(82, 'x'), "a"), 0);
}

TEST(FuzzyMatchTest, RecursionLimitEndsTheSearch) {
  // Eleven a's from index 1, then "_a" at 12 and 13. The best placement is
  // the a after "_" (100 - 15 - 13 + 30 = 102), but with at most ten calls
  // only the a's at 1..9 are tried and a at 1 wins (100 - 5 - 13 = 82).
  const std::string text = "x" + std::string(11, 'a') + "_a";
  EXPECT_EQ(Match(text, "a"), 82);
  CoreRun limited = RunCore(text, "a", 10);
  EXPECT_EQ(limited.score, 82);
  EXPECT_EQ(limited.calls, 10);
  CoreRun unlimited = RunCore(text, "a", 1000);
  EXPECT_EQ(unlimited.score, 102);
  EXPECT_EQ(unlimited.positions, (std::vector<int>{13}));
  // A limit of 1 fails at the first call.
  EXPECT_FALSE(RunCore("abc", "a", 1).matched);
}

TEST(FuzzyMatchTest, PositionsWrapAt256) {
  // The a at 256 is stored as 0: no leading penalty and the first-letter
  // bonus, with 299 unmatched bytes: 100 + 15 - 299.
  std::string text(300, 'x');
  text[256] = 'a';
  EXPECT_EQ(Match(text, "a"), -184);
  // a at 255 and b at 256 (stored 0): not sequential, b takes the first-letter
  // bonus: 100 - 15 - 255 + 15.
  std::string wrap(255, 'x');
  wrap += "ab";
  EXPECT_EQ(Match(wrap, "ab"), -155);
}

TEST(FuzzyMatchTest, AtMost256PatternLetters) {
  const std::string text(300, 'a');
  // 256 letters in a 256-byte text: 100 + 15 + 255 x 15.
  EXPECT_EQ(Match(std::string(256, 'a'), std::string(256, 'a')), 3940);
  EXPECT_NE(Match(text, std::string(256, 'a')), 0);
  EXPECT_EQ(Match(text, std::string(257, 'a')), 0);
}

TEST(FuzzyMatchTest, AllocatesOnlyForTheTwoConversions) {
  const tavrin_ustring short_text("FooBar"), short_pattern("fb");
  const tavrin_ustring long_text("a_fairly_long_identifier_of_a_MeshEdgeLoop_with_words");
  const tavrin_ustring long_pattern("fairly_long_identifier");
  auto count = [](const tavrin_ustring& text, const tavrin_ustring& pattern, int* score) {
    g_allocations = 0;
    g_counting = true;
    *score = FuzzyMatch(text, pattern);
    g_counting = false;
    return g_allocations.load();
  };
  int score = 0;
  // Short strings convert into the strings' own storage: nothing at all.
  EXPECT_EQ(count(short_text, short_pattern, &score), 0);
  EXPECT_EQ(score, 141);
  // Long ones take one allocation each, whatever the recursion does.
  EXPECT_EQ(count(long_text, long_pattern, &score), 2);
  EXPECT_NE(score, 0);
  EXPECT_EQ(count(long_text, tavrin_ustring("zzzzzzzzzzzzzzzzzzzzzzzz"), &score), 2);
  EXPECT_EQ(score, 0);
}

TEST(FuzzyMatchTest, CoreCopiesCallerPositions) {
  // Positions chosen by a caller are kept in front of the new ones.
  const std::string text = "xaxb";
  const unsigned char src[1] = {1};
  unsigned char matches[256] = {};
  int score = 0, calls = 0;
  ASSERT_TRUE(fts::fuzzy_internal::fuzzy_match_recursive("b", text.c_str() + 2, score, text.c_str(),
                                                         src, matches, 256, 1, calls, 10));
  EXPECT_EQ(matches[0], 1);
  EXPECT_EQ(matches[1], 3);
  // a at 1 (-5), b at 3, two unmatched.
  EXPECT_EQ(score, 100 - 5 - 2);
  // No room for one more position.
  calls = 0;
  EXPECT_FALSE(fts::fuzzy_internal::fuzzy_match_recursive("b", text.c_str(), score, text.c_str(),
                                                          nullptr, matches, 0, 0, calls, 10));
}

// --- Differential check against an exhaustive search --------------------------------------

// The score of one placement, from the rules as written.
int ReferenceScore(const std::string& text, const std::vector<int>& pos) {
  int score = 100 + std::max(-5 * pos[0], -15) - static_cast<int>(text.size() - pos.size());
  for (std::size_t i = 0; i < pos.size(); ++i) {
    const int c = pos[i];
    if (i > 0 && c == pos[i - 1] + 1) score += 15;
    if (c == 0) {
      score += 15;
      continue;
    }
    const unsigned char prev = static_cast<unsigned char>(text[c - 1]);
    const unsigned char cur = static_cast<unsigned char>(text[c]);
    if (prev >= 'a' && prev <= 'z' && cur >= 'A' && cur <= 'Z') score += 30;
    if (prev == '_' || prev == ' ') score += 30;
  }
  return score;
}

// Best score over every placement of `pattern` in `text`; false when none.
bool BestPlacement(const std::string& text, const std::string& pattern, std::size_t from,
                   std::vector<int>& pos, int& best) {
  if (pos.size() == pattern.size()) {
    best = std::max(best, ReferenceScore(text, pos));
    return true;
  }
  bool any = false;
  const char want =
      static_cast<char>(std::tolower(static_cast<unsigned char>(pattern[pos.size()])));
  for (std::size_t i = from; i < text.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != want) continue;
    pos.push_back(static_cast<int>(i));
    any |= BestPlacement(text, pattern, i + 1, pos, best);
    pos.pop_back();
  }
  return any;
}

TEST(FuzzyMatchTest, CoreAgreesWithExhaustiveSearch) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const std::string alphabet = "aAbB_ cx";
  int limited_runs = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string text, pattern;
    const std::size_t text_len = 1 + rng() % 12, pattern_len = 1 + rng() % 4;
    for (std::size_t i = 0; i < text_len; ++i) text += alphabet[rng() % alphabet.size()];
    for (std::size_t i = 0; i < pattern_len; ++i) pattern += "abAB_"[rng() % 5];
    std::vector<int> pos;
    int best = -100000;
    const bool any = BestPlacement(text, pattern, 0, pos, best);
    SCOPED_TRACE("text '" + text + "' pattern '" + pattern + "'");
    // Without a practical limit the core searches every placement.
    const CoreRun full = RunCore(text, pattern, 1 << 30);
    ASSERT_EQ(full.matched, any);
    // FuzzyMatch runs with the limit of ten calls: it matches exactly when a
    // placement exists, never beats the best, and finds it when the search
    // needed fewer than ten calls.
    const CoreRun limited = RunCore(text, pattern, 10);
    EXPECT_EQ(limited.matched, any);
    EXPECT_EQ(Match(text, pattern), any ? limited.score : 0);
    if (!any) continue;
    EXPECT_EQ(full.score, best);
    EXPECT_EQ(ReferenceScore(text, full.positions), full.score);
    EXPECT_EQ(ReferenceScore(text, limited.positions), limited.score);
    EXPECT_LE(limited.score, best);
    if (full.calls < 10) {
      EXPECT_EQ(limited.score, best);
    } else {
      ++limited_runs;
    }
  }
  EXPECT_GT(limited_runs, 0);  // the limit was exercised too
}

TEST(FuzzyMatchTest, MatcherWithCopiedClassesAgreesWithLibraryCalls) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const std::string alphabet =
      "aAbBzZ_ .\x80\xC3\xA9\xFF"
      "9";
  for (int round = 0; round < 300; ++round) {
    std::string pattern;
    for (std::size_t i = 0, n = 1 + rng() % 4; i < n; ++i)
      pattern += alphabet[rng() % alphabet.size()];
    const tavrin::utils::detail::FuzzyMatcherUtf8 matcher(pattern.c_str());
    for (int t = 0; t < 20; ++t) {
      std::string text;
      for (std::size_t i = 0, n = rng() % 20; i < n; ++i) text += alphabet[rng() % alphabet.size()];
      ASSERT_EQ(matcher.Score(text.c_str()),
                tavrin::utils::detail::FuzzyMatchUtf8(text.c_str(), pattern.c_str()))
          << "text '" << text << "' pattern '" << pattern << "'";
    }
  }
  EXPECT_EQ(tavrin::utils::detail::FuzzyMatcherUtf8(nullptr).Score("abc"), 0);
  EXPECT_EQ(tavrin::utils::detail::FuzzyMatcherUtf8("a").Score(nullptr), 0);
}

// --- FuzzySearch ----------------------------------------------------------------------------

std::vector<Searchable> Items(const std::vector<std::pair<std::string, unsigned>>& texts) {
  std::vector<Searchable> items;
  unsigned long long order = 0;
  for (const auto& [text, key] : texts) items.push_back({tavrin_ustring(text), key, order++});
  return items;
}

TEST(FuzzySearchTest, KeepsMatchesBestFirst) {
  const std::vector<Searchable> items =
      Items({{"cab", 1}, {"xabc", 2}, {"abc", 3}, {"a_b_c", 4}, {"zzz", 5}});
  const std::vector<SearchResult> r = FuzzySearch(items, tavrin_ustring("abc"));
  ASSERT_EQ(r.size(), 3u);
  EXPECT_EQ(r[0].key, 4u);
  EXPECT_EQ(r[0].score, 173);
  EXPECT_EQ(r[1].key, 3u);
  EXPECT_EQ(r[1].score, 145);
  EXPECT_EQ(r[2].key, 2u);
  EXPECT_EQ(r[2].score, 124);
  EXPECT_TRUE(r[2].text == "xabc");
  EXPECT_EQ(r[2].order, 1u);
}

TEST(FuzzySearchTest, DuplicateKeysKeepTheBestScore) {
  // Same key 7: "xabc" (124) and "abc" (145); the better one stays.
  const std::vector<SearchResult> r =
      FuzzySearch(Items({{"xabc", 7}, {"abc", 7}, {"xxabc", 8}}), tavrin_ustring("abc"));
  ASSERT_EQ(r.size(), 2u);
  EXPECT_TRUE(r[0].text == "abc");
  EXPECT_EQ(r[0].key, 7u);
  EXPECT_EQ(r[1].key, 8u);
  // Equal scores under one key: the earlier item wins.
  const std::vector<SearchResult> tie =
      FuzzySearch(Items({{"abc!", 3}, {"abc?", 3}}), tavrin_ustring("abc"));
  ASSERT_EQ(tie.size(), 1u);
  EXPECT_TRUE(tie[0].text == "abc!");
}

TEST(FuzzySearchTest, EqualScoresFollowOrderThenInput) {
  std::vector<Searchable> items = {
      {tavrin_ustring("ab1"), 1, 30},
      {tavrin_ustring("ab2"), 2, 10},
      {tavrin_ustring("ab3"), 3, 20},
      {tavrin_ustring("ab4"), 4, 10},
  };
  const std::vector<SearchResult> r = FuzzySearch(items, tavrin_ustring("ab"));
  ASSERT_EQ(r.size(), 4u);
  EXPECT_EQ(r[0].key, 2u);  // order 10, first in input
  EXPECT_EQ(r[1].key, 4u);  // order 10, later in input
  EXPECT_EQ(r[2].key, 3u);
  EXPECT_EQ(r[3].key, 1u);
  for (const SearchResult& s : r) EXPECT_EQ(s.score, 100 + 15 + 15 - 1);
}

TEST(FuzzySearchTest, TiesFollowInputPositionNotKey) {
  // Equal scores and orders: the earlier item first, whatever the keys.
  const std::vector<SearchResult> r = FuzzySearch(
      {{tavrin_ustring("ab1"), 9, 5}, {tavrin_ustring("ab2"), 1, 5}, {tavrin_ustring("ab3"), 5, 5}},
      tavrin_ustring("ab"));
  ASSERT_EQ(r.size(), 3u);
  EXPECT_EQ(r[0].key, 9u);
  EXPECT_EQ(r[1].key, 1u);
  EXPECT_EQ(r[2].key, 5u);
  // Within one key, equal scores keep the earliest item, wherever it is.
  const std::vector<SearchResult> d = FuzzySearch(
      {{tavrin_ustring("ab?"), 3, 9}, {tavrin_ustring("xyz"), 2, 0}, {tavrin_ustring("ab!"), 3, 1}},
      tavrin_ustring("ab"));
  ASSERT_EQ(d.size(), 1u);
  EXPECT_TRUE(d[0].text == "ab?");
  EXPECT_EQ(d[0].order, 9u);
}

TEST(FuzzySearchTest, DropsZeroAndKeepsNegativeScores) {
  const std::vector<SearchResult> r = FuzzySearch(
      Items({{"xxxa" + std::string(82, 'x'), 1}, {std::string(200, 'x') + "a", 2}, {"a", 3}}),
      tavrin_ustring("a"));
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].key, 3u);
  EXPECT_EQ(r[1].key, 2u);
  EXPECT_EQ(r[1].score, -115);
}

TEST(FuzzySearchTest, MatchesUtf16TextThroughUtf8) {
  // Text outside the BMP converts to four UTF-8 bytes; the letters after it
  // still count from the byte positions.
  const std::vector<SearchResult> r =
      FuzzySearch({{tavrin_ustring("\xF0\x9F\x98\x80_ok"), 1, 0}}, tavrin_ustring("ok"));
  ASSERT_EQ(r.size(), 1u);
  // o at byte 5 (-15, after "_": +30), k sequential (+15), five unmatched.
  EXPECT_EQ(r[0].score, 100 - 15 - 5 + 30 + 15);
}

TEST(FuzzySearchTest, AgreesWithFuzzyMatchOnRandomItems) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  std::vector<Searchable> items;
  for (unsigned i = 0; i < 2000; ++i) {
    std::string text;
    const std::size_t len = rng() % 16;
    for (std::size_t k = 0; k < len; ++k) text += "abcAB_ x"[rng() % 8];
    items.push_back({tavrin_ustring(text), rng() % 500, rng() % 50});
  }
  const tavrin_ustring pattern("ab");
  const std::vector<SearchResult> r = FuzzySearch(items, pattern);
  // Every result carries its own FuzzyMatch score, keys are unique, the order
  // is by score then order, and each key's best match is the one kept.
  std::vector<int> best(500, 0);
  for (const Searchable& it : items)
    best[it.key] = std::max(best[it.key], FuzzyMatch(it.text, pattern));
  std::vector<bool> seen(500, false);
  for (std::size_t i = 0; i < r.size(); ++i) {
    EXPECT_EQ(r[i].score, FuzzyMatch(r[i].text, pattern));
    EXPECT_FALSE(seen[r[i].key]);
    seen[r[i].key] = true;
    EXPECT_EQ(r[i].score, best[r[i].key]);
    if (i > 0) {
      EXPECT_TRUE(r[i - 1].score > r[i].score ||
                  (r[i - 1].score == r[i].score && r[i - 1].order <= r[i].order));
    }
  }
  for (unsigned k = 0; k < 500; ++k) EXPECT_EQ(seen[k], best[k] > 0) << "key " << k;
}

// --- The tavrin tool ------------------------------------------------------------------------

// Splits tool output "score\tline\n..." into pairs.
std::vector<std::pair<int, std::string>> ParseScored(const std::string& out) {
  std::vector<std::pair<int, std::string>> rows;
  std::size_t pos = 0;
  while (pos < out.size()) {
    const std::size_t tab = out.find('\t', pos);
    const std::size_t nl = out.find('\n', pos);
    if (tab == std::string::npos || nl == std::string::npos || tab > nl) break;
    rows.emplace_back(std::stoi(out.substr(pos, tab - pos)), out.substr(tab + 1, nl - tab - 1));
    pos = nl + 1;
  }
  return rows;
}

TEST(FuzzySearchTest, ToolRanksLikeFuzzySearch) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  // Enough lines (over 1 MB) that the tool splits the work between threads;
  // CRLF endings, empty lines, invalid UTF-8, encoded surrogates, and a last
  // line without "\n".
  std::string file;
  std::vector<std::string> lines;
  const char* pieces[] = {"mesh", "Edge",     "_",    " ",           "loop",
                          "x",    "\xC3\xA9", "\xFF", "\xED\xA0\x80"};
  for (int i = 0; i < 60000; ++i) {
    std::string line;
    const int n = static_cast<int>(rng() % 6);
    for (int k = 0; k < n; ++k) line += pieces[rng() % 9];
    lines.push_back(line);
    file += line;
    if (i + 1 < 60000) file += rng() % 4 == 0 ? "\r\n" : "\n";
  }
  const std::string dir = tavrin::test::FreshDir("fuzzy-tool");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/lines.txt", file));
  std::vector<Searchable> items;
  for (std::size_t i = 0; i < lines.size(); ++i) items.push_back({tavrin_ustring(lines[i]), i, i});
  for (const char* pattern : {"me", "el", "lx", "mesh_edge"}) {
    SCOPED_TRACE(pattern);
    std::string out;
    const int status = tavrin::test::RunShell(
        "'" + tool + "' fuzzy --scores " + pattern + " '" + dir + "/lines.txt'", &out);
    const std::vector<SearchResult> expected = FuzzySearch(items, tavrin_ustring(pattern));
    EXPECT_EQ(status, expected.empty() ? 1 : 0);
    const auto rows = ParseScored(out);
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      ASSERT_EQ(rows[i].first, expected[i].score) << "row " << i;
      ASSERT_EQ(rows[i].second, lines[expected[i].key]) << "row " << i;
    }
  }
}

TEST(FuzzySearchTest, ToolOptionsAndInput) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::string dir = tavrin::test::FreshDir("fuzzy-tool-options");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/n.txt", "xabc\ncab\nabc\na_b_c\nabcx"));
  std::string out;
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy abc < '" + dir + "/n.txt'", &out), 0);
  EXPECT_EQ(out, "a_b_c\nabc\nabcx\nxabc\n");
  EXPECT_EQ(tavrin::test::RunShell(
                "'" + tool + "' fuzzy abc --limit 2 --scores - < '" + dir + "/n.txt'", &out),
            0);
  EXPECT_EQ(out, "173\ta_b_c\n145\tabc\n");
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy abc --limit=0 '" + dir + "/n.txt'", &out),
            0);
  EXPECT_EQ(out, "");
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy zzz '" + dir + "/n.txt'", &out), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy '' '" + dir + "/n.txt'", &out), 1);
  EXPECT_EQ(tavrin::test::RunShell("printf '' | '" + tool + "' fuzzy abc", &out), 1);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy abc '" + dir + "/missing' 2>/dev/null"),
            1);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy a b c 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy a --limit x 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' fuzzy $(printf 'a\\377') 2>/dev/null"), 2);
}

}  // namespace
