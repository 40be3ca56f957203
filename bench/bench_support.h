// bench_support.h - inputs shared by the benchmark suites.
//
// Inputs are generated from fixed seeds. With TAVRIN_BENCH_SMOKE set (the
// CTest smoke run) every corpus is small, so the whole binary runs in
// seconds.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <string>

namespace tavrin::bench {

// True in the CTest smoke run.
inline bool Smoke() {
  return std::getenv("TAVRIN_BENCH_SMOKE") != nullptr;
}

// `full` in a measuring run, a small size in the smoke run.
inline std::size_t Size(std::size_t full, std::size_t smoke = 4096) {
  return Smoke() ? smoke : full;
}

}  // namespace tavrin::bench
