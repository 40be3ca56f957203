// guid_bench.cpp - identifier text: the canonical form written and parsed,
// and the base-64 and base-85 forms both ways, against libuuid where it is
// installed, with a no-op floor that only walks the same inputs.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/guid.h"

#ifdef TAVRIN_HAVE_LIBUUID
#include <uuid/uuid.h>
#endif

namespace {

using tavrin::utils::Guid;

const std::vector<Guid>& Guids() {
  static const std::vector<Guid> guids = [] {
    std::mt19937 rng(0x6a1d);
    std::vector<Guid> v(tavrin::bench::Size(4096, 256));
    for (Guid& g : v) {
      g.Data1 = static_cast<std::uint32_t>(rng());
      g.Data2 = static_cast<std::uint16_t>(rng());
      g.Data3 = static_cast<std::uint16_t>(rng());
      for (auto& b : g.Data4) b = static_cast<std::uint8_t>(rng());
    }
    return v;
  }();
  return guids;
}

template <typename Write>
std::vector<std::string> Texts(Write write) {
  std::vector<std::string> out;
  for (const Guid& g : Guids()) out.push_back(write(g));
  return out;
}

const std::vector<std::string>& CanonicalTexts() {
  static const auto texts = Texts([](const Guid& g) { return g.ToStdString(); });
  return texts;
}
const std::vector<std::string>& Base64Texts() {
  static const auto texts = Texts([](const Guid& g) { return g.ToBase64String(); });
  return texts;
}
const std::vector<std::string>& Base85Texts() {
  static const auto texts = Texts([](const Guid& g) { return g.ToBase85String(); });
  return texts;
}

// Runs `op` once per item of `items` per iteration step, cycling.
template <typename T, typename Op>
void Loop(benchmark::State& state, const std::vector<T>& items, Op op) {
  std::size_t i = 0;
  for (auto _ : state) {
    op(items[i]);
    if (++i == items.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

// --- Writing ---------------------------------------------------------------

void BM_CanonicalWriteNoop(benchmark::State& state) {
  Loop(state, Guids(), [](const Guid& g) { benchmark::DoNotOptimize(&g); });
}
BENCHMARK(BM_CanonicalWriteNoop)->Name("guid_canonical_write/noop");

void BM_CanonicalWriteTavrin(benchmark::State& state) {
  Loop(state, Guids(), [](const Guid& g) {
    std::string s = g.ToStdString();
    benchmark::DoNotOptimize(s.data());
  });
}
BENCHMARK(BM_CanonicalWriteTavrin)->Name("guid_canonical_write/tavrin");

void BM_CanonicalWriteSnprintf(benchmark::State& state) {
  Loop(state, Guids(), [](const Guid& g) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", g.Data1,
                  g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                  g.Data4[5], g.Data4[6], g.Data4[7]);
    std::string s(buf, 36);
    benchmark::DoNotOptimize(s.data());
  });
}
BENCHMARK(BM_CanonicalWriteSnprintf)->Name("guid_canonical_write/snprintf");

#ifdef TAVRIN_HAVE_LIBUUID
// libuuid writes into a caller's buffer; the string is built as our writer
// builds its result, so both sides pay for one std::string.
void BM_CanonicalWriteLibuuid(benchmark::State& state) {
  Loop(state, Guids(), [](const Guid& g) {
    char buf[37];
    uuid_unparse_lower(reinterpret_cast<const unsigned char*>(&g), buf);
    std::string s(buf, 36);
    benchmark::DoNotOptimize(s.data());
  });
}
BENCHMARK(BM_CanonicalWriteLibuuid)->Name("guid_canonical_write/libuuid");
#endif

void BM_Base64WriteTavrin(benchmark::State& state) {
  Loop(state, Guids(), [](const Guid& g) {
    std::string s = g.ToBase64String();
    benchmark::DoNotOptimize(s.data());
  });
}
BENCHMARK(BM_Base64WriteTavrin)->Name("guid_base64_write/tavrin");

void BM_Base85WriteTavrin(benchmark::State& state) {
  Loop(state, Guids(), [](const Guid& g) {
    std::string s = g.ToBase85String();
    benchmark::DoNotOptimize(s.data());
  });
}
BENCHMARK(BM_Base85WriteTavrin)->Name("guid_base85_write/tavrin");

// --- Parsing -----------------------------------------------------------------

void BM_CanonicalParseNoop(benchmark::State& state) {
  Loop(state, CanonicalTexts(), [](const std::string& s) { benchmark::DoNotOptimize(s.data()); });
}
BENCHMARK(BM_CanonicalParseNoop)->Name("guid_canonical_parse/noop");

void BM_CanonicalParseTavrin(benchmark::State& state) {
  Loop(state, CanonicalTexts(), [](const std::string& s) {
    Guid g;
    benchmark::DoNotOptimize(Guid::FromCanonicalString(s, g));
    benchmark::DoNotOptimize(&g);
  });
}
BENCHMARK(BM_CanonicalParseTavrin)->Name("guid_canonical_parse/tavrin");

// The formatted scan every other text shape goes through.
void BM_CanonicalParseSscanf(benchmark::State& state) {
  Loop(state, CanonicalTexts(), [](const std::string& s) {
    unsigned int f[11];
    benchmark::DoNotOptimize(
        std::sscanf(s.c_str(), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", &f[0], &f[1],
                    &f[2], &f[3], &f[4], &f[5], &f[6], &f[7], &f[8], &f[9], &f[10]));
    benchmark::DoNotOptimize(f);
  });
}
BENCHMARK(BM_CanonicalParseSscanf)->Name("guid_canonical_parse/sscanf");

#ifdef TAVRIN_HAVE_LIBUUID
void BM_CanonicalParseLibuuid(benchmark::State& state) {
  Loop(state, CanonicalTexts(), [](const std::string& s) {
    uuid_t u;
    benchmark::DoNotOptimize(uuid_parse(s.c_str(), u));
    benchmark::DoNotOptimize(u);
  });
}
BENCHMARK(BM_CanonicalParseLibuuid)->Name("guid_canonical_parse/libuuid");
#endif

void BM_Base64ParseTavrin(benchmark::State& state) {
  Loop(state, Base64Texts(), [](const std::string& s) {
    Guid g;
    benchmark::DoNotOptimize(Guid::FromBase64String(s, g));
    benchmark::DoNotOptimize(&g);
  });
}
BENCHMARK(BM_Base64ParseTavrin)->Name("guid_base64_parse/tavrin");

void BM_Base85ParseTavrin(benchmark::State& state) {
  Loop(state, Base85Texts(), [](const std::string& s) {
    Guid g;
    benchmark::DoNotOptimize(Guid::FromBase85String(s, g));
    benchmark::DoNotOptimize(&g);
  });
}
BENCHMARK(BM_Base85ParseTavrin)->Name("guid_base85_parse/tavrin");

// FromString on each form: how much trying the forms in order costs.
void BM_AnyParseTavrin(benchmark::State& state) {
  std::vector<std::string> mixed;
  for (std::size_t i = 0; i < Guids().size(); ++i)
    mixed.push_back(i % 3 == 0   ? CanonicalTexts()[i]
                    : i % 3 == 1 ? Base64Texts()[i]
                                 : Base85Texts()[i]);
  Loop(state, mixed, [](const std::string& s) {
    Guid g;
    benchmark::DoNotOptimize(Guid::FromString(s, g));
    benchmark::DoNotOptimize(&g);
  });
}
BENCHMARK(BM_AnyParseTavrin)->Name("guid_any_parse/tavrin");

void BM_GenerateTavrin(benchmark::State& state) {
  for (auto _ : state) {
    Guid g;
    g.Generate();
    benchmark::DoNotOptimize(&g);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GenerateTavrin)->Name("guid_generate/tavrin");

#ifdef TAVRIN_HAVE_LIBUUID
void BM_GenerateLibuuid(benchmark::State& state) {
  for (auto _ : state) {
    uuid_t u;
    uuid_generate_random(u);
    benchmark::DoNotOptimize(u);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GenerateLibuuid)->Name("guid_generate/libuuid");
#endif

}  // namespace
