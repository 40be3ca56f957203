// fuzzymatch_bench.cpp - FuzzySearch over 100,000 and 1,000,000 names with
// patterns of 2, 4 and 8 letters.
//
// Cases (arguments: number of names, pattern length):
//   FuzzySearch/tavrin       the library call: convert, score, de-duplicate, sort
//   FuzzySearch/match_loop   FuzzyMatch called on each item, no sorting
//   FuzzySearch/utf8_floor   only the UTF-8 conversion every search must make
//   FuzzySearch/filter_floor the conversion and a case-insensitive subsequence
//                            test (one table lookup per byte), without scoring
//                            or sorting: the least any ranking does
// The process-level peer, fzf --filter, cannot run in this binary; the report
// compares `tavrin fuzzy` with it through hyperfine or /usr/bin/time.
// Names come from a fixed seed: two to four words of a 3D-modelling
// vocabulary in camel case, snake case, title case or as a path.
#include <benchmark/benchmark.h>

#include <cctype>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/convertutf.h"
#include "common/utils/fuzzymatch.h"

namespace {

using tavrin::utils::FuzzyMatch;
using tavrin::utils::FuzzySearch;
using tavrin::utils::Searchable;
using tavrin::utils::tavrin_ustring;

const char* const kWords[] = {
    "mesh",    "edge",     "face",    "vertex", "loop",    "bridge", "fill",   "bevel",
    "extrude", "loft",     "mirror",  "array",  "snap",    "grid",   "camera", "light",
    "render",  "material", "normal",  "uv",     "seam",    "weld",   "knife",  "merge",
    "split",   "select",   "toggle",  "import", "export",  "scene",  "object", "group",
    "layer",   "curve",    "surface", "patch",  "boolean", "union",  "smooth", "shade",
    "preview", "bake",     "texture", "node",   "socket",  "shader", "world",  "frame",
    "key",     "pose",     "bone",    "rig",    "weight",  "paint",  "sculpt", "brush"};
constexpr std::size_t kWordCount = sizeof(kWords) / sizeof(kWords[0]);

std::string Capitalized(std::string w) {
  w[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(w[0])));
  return w;
}

const std::vector<Searchable>& Names(std::size_t count) {
  static std::map<std::size_t, std::vector<Searchable>> cache;
  auto it = cache.find(count);
  if (it != cache.end()) return it->second;
  std::mt19937 rng(0xF022Du);
  std::vector<Searchable> items;
  items.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const int n = 2 + static_cast<int>(rng() % 3);
    std::vector<std::string> w;
    for (int k = 0; k < n; ++k) w.push_back(kWords[rng() % kWordCount]);
    std::string name;
    switch (rng() % 4) {
      case 0:
        name = w[0];
        for (int k = 1; k < n; ++k) name += Capitalized(w[k]);
        break;
      case 1:
        for (int k = 0; k < n; ++k) name += (k ? "_" : "") + w[k];
        break;
      case 2:
        for (int k = 0; k < n; ++k) name += (k ? " " : "") + Capitalized(w[k]);
        break;
      default:
        for (int k = 0; k < n; ++k) name += (k ? "/" : "") + w[k];
        name += ".cpp";
    }
    // Every tenth name is a duplicate key of its predecessor.
    const unsigned long long key = i % 10 == 9 ? i - 1 : i;
    items.push_back({tavrin_ustring(name), key, i});
  }
  return cache.emplace(count, std::move(items)).first->second;
}

// Patterns of the asked length, typed the way users type: first letters of
// words and a few letters more.
tavrin_ustring Pattern(std::int64_t length) {
  switch (length) {
    case 2:
      return tavrin_ustring("ms");
    case 4:
      return tavrin_ustring("msed");
    default:
      return tavrin_ustring("meshedge");
  }
}

// Converts `s` to UTF-8 into a reused buffer, as FuzzySearch does.
void ToUtf8(const tavrin_ustring& s, std::string& buffer) {
  const UTF16* begin = s.data();
  const UTF16* end = begin + s.size();
  const int n = SizeNeededForUTF8(begin, end, lenientConversion);
  buffer.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
  UTF8* dst = reinterpret_cast<UTF8*>(buffer.data());
  ConvertUTF16toUTF8(&begin, end, &dst, dst + buffer.size(), lenientConversion);
}

std::size_t Count(const benchmark::State& state) {
  return tavrin::bench::Size(static_cast<std::size_t>(state.range(0)), 2000);
}

void SearchTavrin(benchmark::State& state) {
  const std::vector<Searchable>& items = Names(Count(state));
  const tavrin_ustring pattern = Pattern(state.range(1));
  std::size_t found = 0;
  for (auto _ : state) {
    std::vector<tavrin::utils::SearchResult> r = FuzzySearch(items, pattern);
    found = r.size();
    benchmark::DoNotOptimize(r.data());
  }
  state.counters["matches"] = static_cast<double>(found);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items.size()));
}

void SearchMatchLoop(benchmark::State& state) {
  const std::vector<Searchable>& items = Names(Count(state));
  const tavrin_ustring pattern = Pattern(state.range(1));
  for (auto _ : state) {
    long long sum = 0;
    for (const Searchable& it : items) sum += FuzzyMatch(it.text, pattern);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items.size()));
}

void SearchUtf8Floor(benchmark::State& state) {
  const std::vector<Searchable>& items = Names(Count(state));
  std::string buffer;
  for (auto _ : state) {
    std::size_t bytes = 0;
    for (const Searchable& it : items) {
      ToUtf8(it.text, buffer);
      bytes += buffer.size();
    }
    benchmark::DoNotOptimize(bytes);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items.size()));
}

void SearchFilterFloor(benchmark::State& state) {
  const std::vector<Searchable>& items = Names(Count(state));
  const std::string pattern = Pattern(state.range(1)).utf8();
  unsigned char lower[256];
  for (int b = 0; b < 256; ++b) lower[b] = static_cast<unsigned char>(std::tolower(b));
  std::string buffer;
  for (auto _ : state) {
    std::size_t hits = 0;
    for (const Searchable& it : items) {
      ToUtf8(it.text, buffer);
      std::size_t p = 0;
      for (char c : buffer)
        if (p < pattern.size() && lower[static_cast<unsigned char>(c)] == pattern[p]) ++p;
      hits += p == pattern.size();
    }
    benchmark::DoNotOptimize(hits);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items.size()));
}

void Sizes(benchmark::internal::Benchmark* b) {
  for (std::int64_t n : {100000, 1000000})
    for (std::int64_t len : {2, 4, 8}) b->Args({n, len});
  b->Unit(benchmark::kMillisecond);
}

BENCHMARK(SearchTavrin)->Name("FuzzySearch/tavrin")->Apply(Sizes);
BENCHMARK(SearchMatchLoop)->Name("FuzzySearch/match_loop")->Apply(Sizes);
BENCHMARK(SearchUtf8Floor)->Name("FuzzySearch/utf8_floor")->Apply(Sizes);
BENCHMARK(SearchFilterFloor)->Name("FuzzySearch/filter_floor")->Apply(Sizes);

}  // namespace
