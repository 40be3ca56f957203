// Benchmarks of colour text and the Colorize pixel walk.
//
// ColorizeBitmap/tavrin   Colorize::ColorizeBitmap over a 32-bit buffer
// ColorizeBitmap/memcpy   the floor: copying the same buffer once
// ParseHexColor/tavrin    CColor::SetFromHtmlHex of "#RRGGBB" texts
// ParseHexColor/strtoul   the peer a caller would write: std::strtoul of the
//                         same texts as UTF-8, split into bytes
// NearestColorName/tavrin CColor::GetName (140 squared distances)
// ColorFromName/tavrin    CColor::SetFromName of table names in lower case
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/color.h"
#include "common/utils/colorize.h"
#include "common/utils/ustring.h"

namespace {

using tavrin::utils::tavrin_ustring;

std::vector<unsigned char> Pixels(std::size_t count) {
  std::mt19937 rng(1234);
  std::vector<unsigned char> pixels(count * 4);
  for (auto& byte : pixels) byte = static_cast<unsigned char>(rng());
  return pixels;
}

void BM_ColorizeBitmapTavrin(benchmark::State& state) {
  const int width = static_cast<int>(tavrin::bench::Size(512, 16));
  const int height = width;
  std::vector<unsigned char> pixels = Pixels(static_cast<std::size_t>(width) * height);
  for (auto _ : state) {
    bool ok = Colorize::ColorizeBitmap(pixels.data(), width, height, 32, 0, 15.0, 0.01, 0.0, true);
    benchmark::DoNotOptimize(ok);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * width * height);
}

void BM_ColorizeBitmapMemcpy(benchmark::State& state) {
  const int width = static_cast<int>(tavrin::bench::Size(512, 16));
  const int height = width;
  std::vector<unsigned char> pixels = Pixels(static_cast<std::size_t>(width) * height);
  std::vector<unsigned char> copy(pixels.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), pixels.data(), pixels.size());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * width * height);
}

std::vector<std::string> HexTexts() {
  std::mt19937 rng(99);
  std::vector<std::string> texts;
  for (int i = 0; i < 1024; ++i) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "#%06X", static_cast<unsigned>(rng() & 0xFFFFFF));
    texts.push_back(buf);
  }
  return texts;
}

void BM_ParseHexColorTavrin(benchmark::State& state) {
  std::vector<tavrin_ustring> texts;
  for (const std::string& t : HexTexts()) texts.emplace_back(t);
  std::size_t i = 0;
  CColor c;
  for (auto _ : state) {
    bool ok = c.SetFromHtmlHex(texts[i++ & 1023].c_str());
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(c);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_ParseHexColorStrtoul(benchmark::State& state) {
  const std::vector<std::string> texts = HexTexts();
  std::size_t i = 0;
  CColor c;
  for (auto _ : state) {
    const std::string& t = texts[i++ & 1023];
    char* end = nullptr;
    const unsigned long v = std::strtoul(t.c_str() + 1, &end, 16);
    const bool ok = end == t.c_str() + 7;
    if (ok)
      c = CColor(static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 8),
                 static_cast<unsigned char>(v), static_cast<unsigned char>(255));
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(c);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_NearestColorNameTavrin(benchmark::State& state) {
  std::mt19937 rng(5);
  std::vector<CColor> colors(1024);
  for (CColor& c : colors) c = static_cast<unsigned int>(rng());
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(colors[i++ & 1023].GetName());
  state.SetItemsProcessed(state.iterations());
}

void BM_ColorFromNameTavrin(benchmark::State& state) {
  std::vector<tavrin_ustring> names;
  for (int i = 0; i < CColor::NumberOfColorNames(); ++i) {
    std::string name = CColor::GetColorName(i);
    for (char& ch : name)
      if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
    names.emplace_back(name);
  }
  std::size_t i = 0;
  CColor c;
  for (auto _ : state) {
    bool ok = c.SetFromName(names[i++ % names.size()].c_str());
    benchmark::DoNotOptimize(ok);
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_ColorizeBitmapTavrin)->Name("ColorizeBitmap/tavrin");
BENCHMARK(BM_ColorizeBitmapMemcpy)->Name("ColorizeBitmap/memcpy");
BENCHMARK(BM_ParseHexColorTavrin)->Name("ParseHexColor/tavrin");
BENCHMARK(BM_ParseHexColorStrtoul)->Name("ParseHexColor/strtoul");
BENCHMARK(BM_NearestColorNameTavrin)->Name("NearestColorName/tavrin");
BENCHMARK(BM_ColorFromNameTavrin)->Name("ColorFromName/tavrin");
