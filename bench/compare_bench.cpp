// compare_bench.cpp - natural-order, case-insensitive comparison of file
// names: tavrin_ustring::compare_intuitive_nocase beside glibc's strverscmp,
// an ICU collator with numeric ordering, and strcmp as the floor.
//
// compare_intuitive_nocase_random      pairs drawn at random from the names
// compare_intuitive_nocase_neighbours  each name against the next one in
//                                      sorted order (long common prefixes,
//                                      the costly case when sorting)
//
//   tavrin      compare_intuitive_nocase on tavrin_ustring (UTF-16)
//   strverscmp  glibc's version order on the UTF-8 names in std::string
//               (case-sensitive, so it does less work per unit)
//   icu         ucol_strcoll on the same UTF-16 units, a collator for the
//               root locale at secondary strength (case ignored) with
//               numeric collation on
//   strcmp      plain byte order of the UTF-8 names (the floor)
//
// The names are generated from a fixed seed. Every case walks the same list
// of pairs and sums the signs; items processed are comparisons.
#include <benchmark/benchmark.h>
#include <string.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/ustring.h"

// strverscmp is a GNU C library extension.
#if defined(__GLIBC__)
#define TAVRIN_HAVE_STRVERSCMP 1
#endif
#if defined(TAVRIN_HAVE_ICU)
#include <unicode/ucol.h>
#include <unicode/uloc.h>
#endif

namespace {

using tavrin::utils::tavrin_ustring;

struct NamePairs {
  std::vector<tavrin_ustring> wide;
  std::vector<std::string> narrow;
  std::vector<std::pair<std::size_t, std::size_t>> random_pairs;
  std::vector<std::pair<std::size_t, std::size_t>> neighbour_pairs;
};

// File names of the usual shapes: camera images, numbered tracks and
// chapters, versioned documents, with mixed case and zero padding.
const NamePairs& Names() {
  static const NamePairs pairs = [] {
    NamePairs p;
    std::mt19937 rng(0x5EEDu);
    const char* stems[] = {"IMG_",  "track",  "Chapter ",      "report v", "DSC0",
                           "scan-", "Photo ", "invoice_2024-", "Frame",    "shot"};
    const char* exts[] = {".jpg", ".JPG", ".mp3", ".pdf", ".txt", ".png", ".tif", ""};
    const std::size_t count = tavrin::bench::Size(8192, 512);
    for (std::size_t i = 0; i < count; ++i) {
      std::string name = stems[rng() % 10];
      const unsigned width = rng() % 5;
      std::string number = std::to_string(rng() % 20000);
      if (number.size() < width) number.insert(0, width - number.size(), '0');
      name += number;
      if (rng() % 3 == 0) name += (rng() % 2 ? " - part " : "_") + std::to_string(rng() % 12);
      name += exts[rng() % 8];
      if (rng() % 4 == 0)
        for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      p.narrow.push_back(name);
    }
    // Neighbours in sorted order share long prefixes: the costly case.
    std::sort(p.narrow.begin(), p.narrow.end(), [](const std::string& a, const std::string& b) {
#if defined(TAVRIN_HAVE_STRVERSCMP)
      return strverscmp(a.c_str(), b.c_str()) < 0;
#else
      return a < b;
#endif
    });
    for (const auto& n : p.narrow) p.wide.emplace_back(n.c_str());
    for (std::size_t i = 0; i < count; ++i) {
      p.random_pairs.emplace_back(rng() % count, rng() % count);
      if (i + 1 < count) p.neighbour_pairs.emplace_back(i, i + 1);
    }
    return p;
  }();
  return pairs;
}

template <bool kNeighbours>
const std::vector<std::pair<std::size_t, std::size_t>>& Pairs() {
  return kNeighbours ? Names().neighbour_pairs : Names().random_pairs;
}

template <bool kNeighbours>
void CompareTavrin(benchmark::State& state) {
  const NamePairs& n = Names();
  const auto& pairs = Pairs<kNeighbours>();
  for (auto _ : state) {
    int sum = 0;
    for (const auto& [a, b] : pairs) sum += n.wide[a].compare_intuitive_nocase(n.wide[b]);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * pairs.size()));
}

#if defined(TAVRIN_HAVE_STRVERSCMP)
template <bool kNeighbours>
void CompareStrverscmp(benchmark::State& state) {
  const NamePairs& n = Names();
  const auto& pairs = Pairs<kNeighbours>();
  for (auto _ : state) {
    int sum = 0;
    for (const auto& [a, b] : pairs) sum += strverscmp(n.narrow[a].c_str(), n.narrow[b].c_str());
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * pairs.size()));
}
#endif

#if defined(TAVRIN_HAVE_ICU)
// One collator for the root locale: secondary strength (letters and accents
// count, case does not) and digit runs ordered by value.
UCollator* NumericCollator() {
  static UCollator* collator = [] {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* c = ucol_open("", &status);
    ucol_setStrength(c, UCOL_SECONDARY);
    ucol_setAttribute(c, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    return U_SUCCESS(status) ? c : nullptr;
  }();
  return collator;
}

template <bool kNeighbours>
void CompareIcu(benchmark::State& state) {
  UCollator* collator = NumericCollator();
  if (collator == nullptr) {
    state.SkipWithError("no ICU collator");
    return;
  }
  const NamePairs& n = Names();
  const auto& pairs = Pairs<kNeighbours>();
  for (auto _ : state) {
    int sum = 0;
    for (const auto& [a, b] : pairs) {
      const tavrin_ustring& x = n.wide[a];
      const tavrin_ustring& y = n.wide[b];
      sum += ucol_strcoll(
          collator, reinterpret_cast<const UChar*>(x.utf16_data()), static_cast<int32_t>(x.size()),
          reinterpret_cast<const UChar*>(y.utf16_data()), static_cast<int32_t>(y.size()));
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * pairs.size()));
}
#endif

template <bool kNeighbours>
void CompareStrcmp(benchmark::State& state) {
  const NamePairs& n = Names();
  const auto& pairs = Pairs<kNeighbours>();
  for (auto _ : state) {
    int sum = 0;
    for (const auto& [a, b] : pairs) sum += std::strcmp(n.narrow[a].c_str(), n.narrow[b].c_str());
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * pairs.size()));
}

BENCHMARK(CompareStrcmp<false>)->Name("compare_intuitive_nocase_random/strcmp");
BENCHMARK(CompareTavrin<false>)->Name("compare_intuitive_nocase_random/tavrin");
#if defined(TAVRIN_HAVE_STRVERSCMP)
BENCHMARK(CompareStrverscmp<false>)->Name("compare_intuitive_nocase_random/strverscmp");
#endif
#if defined(TAVRIN_HAVE_ICU)
BENCHMARK(CompareIcu<false>)->Name("compare_intuitive_nocase_random/icu");
#endif
BENCHMARK(CompareStrcmp<true>)->Name("compare_intuitive_nocase_neighbours/strcmp");
BENCHMARK(CompareTavrin<true>)->Name("compare_intuitive_nocase_neighbours/tavrin");
#if defined(TAVRIN_HAVE_STRVERSCMP)
BENCHMARK(CompareStrverscmp<true>)->Name("compare_intuitive_nocase_neighbours/strverscmp");
#endif
#if defined(TAVRIN_HAVE_ICU)
BENCHMARK(CompareIcu<true>)->Name("compare_intuitive_nocase_neighbours/icu");
#endif

}  // namespace
