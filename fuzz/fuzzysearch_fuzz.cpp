// fuzzysearch_fuzz.cpp - FuzzySearch over generated candidate lists.
//
// The input is split at "\n": the first line is the pattern; each further
// line is a candidate whose first byte gives its key (one of four, so
// duplicates are common), whose second byte gives its order (one of three)
// and whose rest is its text (UTF-8; invalid text is empty and never
// matches). Checked against FuzzyMatch and the documented rules:
//   - every result carries its candidate's FuzzyMatch score, never 0;
//   - each key appears once, exactly for the keys with a matching candidate,
//     and stands for that key's best candidate (the earliest on equal
//     scores), text and order included;
//   - results are sorted by score descending, then order ascending, then
//     input position;
//   - an empty pattern gives nothing, and the search does not depend on
//     anything but its arguments (a second call gives the same list).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "common/utils/fuzzymatch.h"
#include "common/utils/ustring.h"

using tavrin::utils::FuzzyMatch;
using tavrin::utils::FuzzySearch;
using tavrin::utils::Searchable;
using tavrin::utils::SearchResult;
using tavrin::utils::tavrin_ustring;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "fuzzysearch_fuzz: %s\n", what);
    std::abort();
  }
}

bool Same(const SearchResult& a, const SearchResult& b) {
  return a.text == b.text && a.key == b.key && a.order == b.order && a.score == b.score;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  const std::string input(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> lines;
  for (std::size_t pos = 0;;) {
    const std::size_t end = input.find('\n', pos);
    lines.push_back(input.substr(pos, end == std::string::npos ? std::string::npos : end - pos));
    if (end == std::string::npos) break;
    pos = end + 1;
  }
  const tavrin_ustring pattern(lines[0].c_str());
  std::vector<Searchable> items;
  for (std::size_t i = 1; i < lines.size() && items.size() < 64; ++i) {
    const std::string& l = lines[i];
    Searchable s;
    s.key = l.size() > 0 ? static_cast<unsigned char>(l[0]) % 4 : 0;
    s.order = l.size() > 1 ? static_cast<unsigned char>(l[1]) % 3 : 0;
    s.text = tavrin_ustring(l.size() > 2 ? l.substr(2).c_str() : "");
    items.push_back(s);
  }

  const std::vector<SearchResult> results = FuzzySearch(items, pattern);
  if (pattern.empty()) {
    Check(results.empty(), "an empty pattern found something");
    return 0;
  }

  // The best candidate of each key: highest score, earliest on ties.
  std::vector<int> scores(items.size());
  std::map<unsigned long long, std::size_t> best;
  for (std::size_t i = 0; i < items.size(); ++i) {
    scores[i] = FuzzyMatch(items[i].text, pattern);
    if (scores[i] == 0) continue;
    auto it = best.find(items[i].key);
    if (it == best.end() || scores[i] > scores[it->second]) best[items[i].key] = i;
  }
  Check(results.size() == best.size(), "results are not one per matching key");
  std::vector<std::size_t> position(results.size());
  for (std::size_t r = 0; r < results.size(); ++r) {
    const SearchResult& res = results[r];
    Check(res.score != 0, "a result scores 0");
    auto it = best.find(res.key);
    Check(it != best.end(), "a key without a matching candidate, or twice");
    const Searchable& item = items[it->second];
    Check(res.text == item.text && res.order == item.order && res.score == scores[it->second],
          "a key's result is not its best candidate");
    position[r] = it->second;
    best.erase(it);
  }
  for (std::size_t r = 1; r < results.size(); ++r) {
    const SearchResult& a = results[r - 1];
    const SearchResult& b = results[r];
    const bool ordered =
        a.score > b.score ||
        (a.score == b.score &&
         (a.order < b.order || (a.order == b.order && position[r - 1] < position[r])));
    Check(ordered, "results are out of order");
  }
  const std::vector<SearchResult> again = FuzzySearch(items, pattern);
  Check(again.size() == results.size(), "a second search differs");
  for (std::size_t r = 0; r < again.size(); ++r)
    Check(Same(again[r], results[r]), "a second search differs");
  return 0;
}
