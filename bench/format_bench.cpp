// Benchmarks of message formatting into a tavrin_ustring.
//
// format_insert/tavrin      GetFormatted("%1 = %2!d!", name, n): insert rewriting, then the
//                           library's UTF-16 formatter
// format_insert/snprintf    snprintf of the same message in UTF-8, then assign_utf8
// format_insert/noop        the floor: the arguments change, nothing is formatted
// format_message5/tavrin    a five-insert message (three strings, an integer, a fixed-point
//                           number) through GetFormatted
// format_message5/snprintf  the same message with snprintf in UTF-8, then assign_utf8
// format_message5/noop      the floor
// format_long/tavrin        "%1" with a long UTF-16 argument (Size() units)
// format_long/snprintf      "%s" with the same text in UTF-8, then assign_utf8
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/ustring.h"

namespace {

using tavrin::utils::tavrin_ustring;

// Argument sets drawn once from a fixed seed; the loops cycle through them.
struct Inputs {
  std::vector<tavrin_ustring> names;
  std::vector<std::string> names_utf8;
  std::vector<int> numbers;
  std::vector<double> seconds;
};

const Inputs& GetInputs() {
  static const Inputs inputs = [] {
    Inputs in;
    std::mt19937 rng(20240611u);
    const char* words[] = {"Wall",  "Slab", "Roof",    "Beam",   "Column",
                           "Stair", "Door", "Fenêtre", "Träger", "Dach"};
    for (int i = 0; i < 64; ++i) {
      std::string name = words[rng() % 10];
      name += "-" + std::to_string(rng() % 1000);
      in.names_utf8.push_back(name);
      in.names.emplace_back(name.c_str());
      in.numbers.push_back(static_cast<int>(rng() % 200000) - 100000);
      in.seconds.push_back(static_cast<double>(rng() % 100000) / 997.0);
    }
    return in;
  }();
  return inputs;
}

void BM_FormatInsertTavrin(benchmark::State& state) {
  const Inputs& in = GetInputs();
  std::size_t k = 0;
  for (auto _ : state) {
    const std::size_t i = k++ & 63;
    tavrin_ustring s =
        tavrin_ustring::GetFormatted(u"%1 = %2!d!", in.names[i].c_str(), in.numbers[i]);
    benchmark::DoNotOptimize(s);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_FormatInsertSnprintf(benchmark::State& state) {
  const Inputs& in = GetInputs();
  std::size_t k = 0;
  for (auto _ : state) {
    const std::size_t i = k++ & 63;
    char buffer[256];
    const int n =
        std::snprintf(buffer, sizeof(buffer), "%s = %d", in.names_utf8[i].c_str(), in.numbers[i]);
    tavrin_ustring s;
    s.assign_utf8(buffer, static_cast<unsigned long>(n));
    benchmark::DoNotOptimize(s);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_FormatInsertNoop(benchmark::State& state) {
  const Inputs& in = GetInputs();
  std::size_t k = 0;
  for (auto _ : state) {
    const std::size_t i = k++ & 63;
    const unsigned short* name = in.names[i].c_str();
    int number = in.numbers[i];
    benchmark::DoNotOptimize(name);
    benchmark::DoNotOptimize(number);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_FormatMessage5Tavrin(benchmark::State& state) {
  const Inputs& in = GetInputs();
  std::size_t k = 0;
  for (auto _ : state) {
    const std::size_t i = k++ & 63;
    tavrin_ustring s = tavrin_ustring::GetFormatted(
        u"File %1 moved %2!d! items from %3 to %4 in %5!.2f! s", in.names[i].c_str(), in.numbers[i],
        in.names[(i + 1) & 63].c_str(), in.names[(i + 2) & 63].c_str(), in.seconds[i]);
    benchmark::DoNotOptimize(s);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_FormatMessage5Snprintf(benchmark::State& state) {
  const Inputs& in = GetInputs();
  std::size_t k = 0;
  for (auto _ : state) {
    const std::size_t i = k++ & 63;
    char buffer[512];
    const int n =
        std::snprintf(buffer, sizeof(buffer), "File %s moved %d items from %s to %s in %.2f s",
                      in.names_utf8[i].c_str(), in.numbers[i], in.names_utf8[(i + 1) & 63].c_str(),
                      in.names_utf8[(i + 2) & 63].c_str(), in.seconds[i]);
    tavrin_ustring s;
    s.assign_utf8(buffer, static_cast<unsigned long>(n));
    benchmark::DoNotOptimize(s);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_FormatMessage5Noop(benchmark::State& state) {
  const Inputs& in = GetInputs();
  std::size_t k = 0;
  for (auto _ : state) {
    const std::size_t i = k++ & 63;
    const unsigned short* a = in.names[i].c_str();
    const unsigned short* b = in.names[(i + 1) & 63].c_str();
    const unsigned short* c = in.names[(i + 2) & 63].c_str();
    int number = in.numbers[i];
    double seconds = in.seconds[i];
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(b);
    benchmark::DoNotOptimize(c);
    benchmark::DoNotOptimize(number);
    benchmark::DoNotOptimize(seconds);
  }
  state.SetItemsProcessed(state.iterations());
}

// A long argument: the cost per unit of copying text into the result.
struct LongText {
  tavrin_ustring units;
  std::string utf8;
};

const LongText& GetLongText() {
  static const LongText text = [] {
    LongText t;
    std::mt19937 rng(77u);
    const std::size_t n = tavrin::bench::Size(1 << 16);
    for (std::size_t i = 0; i < n; ++i) {
      t.utf8 += static_cast<char>(rng() % 8 == 0 ? ' ' : 'a' + rng() % 26);
    }
    t.units = tavrin_ustring(t.utf8.c_str());
    return t;
  }();
  return text;
}

void BM_FormatLongTavrin(benchmark::State& state) {
  const LongText& t = GetLongText();
  for (auto _ : state) {
    tavrin_ustring s = tavrin_ustring::GetFormatted(u"%1", t.units.c_str());
    benchmark::DoNotOptimize(s);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<long>(t.utf8.size()));
}

void BM_FormatLongSnprintf(benchmark::State& state) {
  const LongText& t = GetLongText();
  std::string buffer(t.utf8.size() + 1, '\0');
  for (auto _ : state) {
    const int n = std::snprintf(buffer.data(), buffer.size(), "%s", t.utf8.c_str());
    tavrin_ustring s;
    s.assign_utf8(buffer.data(), static_cast<unsigned long>(n));
    benchmark::DoNotOptimize(s);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<long>(t.utf8.size()));
}

}  // namespace

BENCHMARK(BM_FormatInsertNoop)->Name("format_insert/noop");
BENCHMARK(BM_FormatInsertTavrin)->Name("format_insert/tavrin");
BENCHMARK(BM_FormatInsertSnprintf)->Name("format_insert/snprintf");
BENCHMARK(BM_FormatMessage5Noop)->Name("format_message5/noop");
BENCHMARK(BM_FormatMessage5Tavrin)->Name("format_message5/tavrin");
BENCHMARK(BM_FormatMessage5Snprintf)->Name("format_message5/snprintf");
BENCHMARK(BM_FormatLongTavrin)->Name("format_long/tavrin");
BENCHMARK(BM_FormatLongSnprintf)->Name("format_long/snprintf");
