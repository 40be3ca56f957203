// paths_bench.cpp - path normalisation and short display paths against
// std::filesystem::path::lexically_normal, the normaliser a C++ user would
// pick instead, on the same generated paths.
//
// Cases: fix_path/noop (touches each input: the floor), fix_path/copy (one
// copy of each input: the floor for any function that returns a new string),
// fix_path/tavrin, fix_path/std_lexically_normal; short_path/tavrin (budget
// of 40 units) and short_path/std_lexically_normal (the same peer, since the
// standard library has no shortening of its own).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/fileutils.h"

namespace {

using tavrin::utils::tavrin_ustring;

struct Corpus {
  std::vector<tavrin_ustring> ours;
  std::vector<std::filesystem::path> std_paths;
};

// Paths as they come from users and other platforms: absolute and relative,
// some with backslashes, doubled separators, "." and ".." components, a
// trailing separator, or a character that is illegal in file names.
const Corpus& Paths() {
  static const Corpus corpus = [] {
    Corpus c;
    std::mt19937 rng(0x9a7b5u);
    const std::vector<std::string> names = {
        "Users", "me",  "Documents", "Projects", "2024", "report", "photos",    "src",
        "lib",   "tmp", "cache",     "..",       ".",    "a",      "long-name", "x_y"};
    const std::vector<std::string> files = {"file.txt", "image.png", "archive.tar.gz",
                                            "notes",    "data?.csv", "README"};
    const std::size_t count = tavrin::bench::Size(20000, 256);
    for (std::size_t i = 0; i < count; ++i) {
      std::string p = (rng() % 4 == 0) ? "" : "/";
      const int depth = 1 + static_cast<int>(rng() % 8);
      for (int d = 0; d < depth; ++d) {
        p += names[rng() % names.size()];
        const unsigned r = rng() % 10;
        p += r == 0 ? "//" : (r == 1 ? "\\" : "/");
      }
      p += files[rng() % files.size()];
      if (rng() % 8 == 0) p += "/";
      c.ours.emplace_back(p);
      c.std_paths.emplace_back(p);
    }
    return c;
  }();
  return corpus;
}

void BM_FixNoop(benchmark::State& state) {
  const Corpus& c = Paths();
  for (auto _ : state) {
    for (const tavrin_ustring& p : c.ours) benchmark::DoNotOptimize(p.data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * c.ours.size()));
}
BENCHMARK(BM_FixNoop)->Name("fix_path/noop");

void BM_FixCopy(benchmark::State& state) {
  const Corpus& c = Paths();
  for (auto _ : state) {
    for (const tavrin_ustring& p : c.ours) {
      tavrin_ustring copy = p;
      benchmark::DoNotOptimize(copy.data());
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * c.ours.size()));
}
BENCHMARK(BM_FixCopy)->Name("fix_path/copy");

void BM_FixTavrin(benchmark::State& state) {
  const Corpus& c = Paths();
  for (auto _ : state) {
    for (const tavrin_ustring& p : c.ours) {
      tavrin_ustring fixed = tavrin::utils::FixPathString(p);
      benchmark::DoNotOptimize(fixed.data());
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * c.ours.size()));
}
BENCHMARK(BM_FixTavrin)->Name("fix_path/tavrin");

void BM_LexicallyNormal(benchmark::State& state) {
  const Corpus& c = Paths();
  for (auto _ : state) {
    for (const std::filesystem::path& p : c.std_paths) {
      std::filesystem::path normal = p.lexically_normal();
      benchmark::DoNotOptimize(normal.native().data());
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * c.std_paths.size()));
}
BENCHMARK(BM_LexicallyNormal)->Name("fix_path/std_lexically_normal");

void BM_ShortTavrin(benchmark::State& state) {
  const Corpus& c = Paths();
  for (auto _ : state) {
    for (const tavrin_ustring& p : c.ours) {
      tavrin_ustring shortened = tavrin::utils::GetShortPath(p, 40);
      benchmark::DoNotOptimize(shortened.data());
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * c.ours.size()));
}
BENCHMARK(BM_ShortTavrin)->Name("short_path/tavrin");

BENCHMARK(BM_FixNoop)->Name("short_path/noop");
BENCHMARK(BM_LexicallyNormal)->Name("short_path/std_lexically_normal");

}  // namespace
