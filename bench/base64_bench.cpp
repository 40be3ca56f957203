// base64_bench.cpp - Base64 encoding and decoding against GLib and OpenSSL.
//
// Every Base64 case turns the same input into a fresh std::string result, as
// a caller of base64_encode gets it, so allocation is part of each figure;
// the memcpy floor copies the input into a new string of the output's size.
// Inputs come from fixed seeds. The tavrin cases use the kernel chosen for
// this processor; the tavrin_scalar and tavrin_avx2 cases force the narrower
// paths (left out where the processor lacks them).
#include <benchmark/benchmark.h>
#include <cstring>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "bench/bench_support.h"
#include "common/utils/base64.h"
#include "common/utils/internal/base64_internal.h"

#if defined(TAVRIN_HAVE_GLIB)
#include <glib.h>
#endif
#if defined(TAVRIN_HAVE_OPENSSL)
#include <openssl/evp.h>
#endif

namespace {

constexpr std::int64_t kSmall = 1024;
constexpr std::int64_t kLarge = 16 << 20;

std::size_t InputSize(const benchmark::State& state) {
  const auto full = static_cast<std::size_t>(state.range(0));
  return tavrin::bench::Size(full, std::min<std::size_t>(full, 4096));
}

// Random bytes of the given length (one fixed seed per length).
const std::string& Bytes(std::size_t n) {
  static std::map<std::size_t, std::string> cache;
  auto it = cache.find(n);
  if (it != cache.end()) return it->second;
  std::mt19937_64 rng(0xB64B64u + n);
  std::string s(n, '\0');
  for (std::size_t i = 0; i < n; i += 8) {
    const std::uint64_t v = rng();
    for (std::size_t k = 0; k < 8 && i + k < n; ++k) s[i + k] = static_cast<char>(v >> (8 * k));
  }
  return cache.emplace(n, std::move(s)).first->second;
}

// The Base64 text of Bytes(n).
const std::string& Text(std::size_t n) {
  static std::map<std::size_t, std::string> cache;
  auto it = cache.find(n);
  if (it != cache.end()) return it->second;
  const std::string& b = Bytes(n);
  std::string t = tavrin::utils::base64_encode(reinterpret_cast<const unsigned char*>(b.data()),
                                               static_cast<unsigned int>(b.size()));
  return cache.emplace(n, std::move(t)).first->second;
}

const unsigned char* U8(const std::string& s) {
  return reinterpret_cast<const unsigned char*>(s.data());
}

// --- Encoding ------------------------------------------------------------------

void EncodeMemcpy(benchmark::State& state) {
  const std::string& in = Bytes(InputSize(state));
  const std::size_t out_size = (in.size() + 2) / 3 * 4;
  for (auto _ : state) {
    std::string out(out_size, '\0');
    std::memcpy(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}

using tavrin::utils::detail::Base64Kernel;

// Makes the coders use `kernel` for one benchmark case and restores the best
// one afterwards; skips the case when the processor lacks the kernel.
class KernelScope {
 public:
  KernelScope(benchmark::State& state, Base64Kernel kernel) {
    ok_ = tavrin::utils::detail::SetBase64Kernel(kernel);
    if (!ok_) state.SkipWithError("kernel not supported by this processor");
  }
  ~KernelScope() {
    (void)tavrin::utils::detail::SetBase64Kernel(tavrin::utils::detail::BestBase64Kernel());
  }
  bool ok() const { return ok_; }

 private:
  bool ok_ = false;
};

void EncodeTavrin(benchmark::State& state) {
  const std::string& in = Bytes(InputSize(state));
  for (auto _ : state) {
    std::string out = tavrin::utils::base64_encode(U8(in), static_cast<unsigned int>(in.size()));
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}

template <Base64Kernel kKernel>
void EncodeTavrinKernel(benchmark::State& state) {
  KernelScope scope(state, kKernel);
  if (!scope.ok()) return;
  EncodeTavrin(state);
}

#if defined(TAVRIN_HAVE_GLIB)
void EncodeGlib(benchmark::State& state) {
  const std::string& in = Bytes(InputSize(state));
  for (auto _ : state) {
    std::string out((in.size() / 3 + 1) * 4 + 4, '\0');
    gint b64_state = 0, save = 0;
    gsize n = g_base64_encode_step(U8(in), in.size(), FALSE, out.data(), &b64_state, &save);
    n += g_base64_encode_close(FALSE, out.data() + n, &b64_state, &save);
    out.resize(n);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}
#endif

#if defined(TAVRIN_HAVE_OPENSSL)
void EncodeOpenssl(benchmark::State& state) {
  const std::string& in = Bytes(InputSize(state));
  for (auto _ : state) {
    std::string out((in.size() + 2) / 3 * 4 + 1, '\0');
    const int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), U8(in),
                                  static_cast<int>(in.size()));
    out.resize(static_cast<std::size_t>(n));
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}
#endif

// --- Decoding ------------------------------------------------------------------
// Bytes processed count the Base64 text read.

void DecodeMemcpy(benchmark::State& state) {
  const std::string& in = Text(InputSize(state));
  const std::size_t out_size = in.size() / 4 * 3;
  for (auto _ : state) {
    std::string out(out_size, '\0');
    std::memcpy(out.data(), in.data(), out_size);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}

void DecodeTavrin(benchmark::State& state) {
  const std::string& in = Text(InputSize(state));
  for (auto _ : state) {
    std::string out = tavrin::utils::base64_decode(in);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}

template <Base64Kernel kKernel>
void DecodeTavrinKernel(benchmark::State& state) {
  KernelScope scope(state, kKernel);
  if (!scope.ok()) return;
  DecodeTavrin(state);
}

#if defined(TAVRIN_HAVE_GLIB)
void DecodeGlib(benchmark::State& state) {
  const std::string& in = Text(InputSize(state));
  for (auto _ : state) {
    std::string out(in.size() / 4 * 3 + 3, '\0');
    gint b64_state = 0;
    guint save = 0;
    const gsize n = g_base64_decode_step(in.data(), in.size(),
                                         reinterpret_cast<guchar*>(out.data()), &b64_state, &save);
    out.resize(n);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}
#endif

#if defined(TAVRIN_HAVE_OPENSSL)
void DecodeOpenssl(benchmark::State& state) {
  const std::string& in = Text(InputSize(state));
  // EVP_DecodeBlock writes 3 bytes for every group, padding included.
  std::size_t padding = 0;
  for (std::size_t i = in.size(); i > 0 && in[i - 1] == '='; --i) ++padding;
  for (auto _ : state) {
    std::string out(in.size() / 4 * 3, '\0');
    const int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()), U8(in),
                                  static_cast<int>(in.size()));
    out.resize(static_cast<std::size_t>(n) - padding);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in.size()));
}
#endif

void Sizes(benchmark::internal::Benchmark* b) {
  b->Arg(kSmall)->Arg(kLarge);
}

BENCHMARK(EncodeMemcpy)->Name("base64_encode/memcpy")->Apply(Sizes);
BENCHMARK(EncodeTavrin)->Name("base64_encode/tavrin")->Apply(Sizes);
BENCHMARK(EncodeTavrinKernel<Base64Kernel::kAvx2>)->Name("base64_encode/tavrin_avx2")->Apply(Sizes);
BENCHMARK(EncodeTavrinKernel<Base64Kernel::kScalar>)
    ->Name("base64_encode/tavrin_scalar")
    ->Apply(Sizes);
#if defined(TAVRIN_HAVE_GLIB)
BENCHMARK(EncodeGlib)->Name("base64_encode/glib")->Apply(Sizes);
#endif
#if defined(TAVRIN_HAVE_OPENSSL)
BENCHMARK(EncodeOpenssl)->Name("base64_encode/openssl")->Apply(Sizes);
#endif

BENCHMARK(DecodeMemcpy)->Name("base64_decode/memcpy")->Apply(Sizes);
BENCHMARK(DecodeTavrin)->Name("base64_decode/tavrin")->Apply(Sizes);
BENCHMARK(DecodeTavrinKernel<Base64Kernel::kAvx2>)->Name("base64_decode/tavrin_avx2")->Apply(Sizes);
BENCHMARK(DecodeTavrinKernel<Base64Kernel::kScalar>)
    ->Name("base64_decode/tavrin_scalar")
    ->Apply(Sizes);
#if defined(TAVRIN_HAVE_GLIB)
BENCHMARK(DecodeGlib)->Name("base64_decode/glib")->Apply(Sizes);
#endif
#if defined(TAVRIN_HAVE_OPENSSL)
BENCHMARK(DecodeOpenssl)->Name("base64_decode/openssl")->Apply(Sizes);
#endif

}  // namespace
