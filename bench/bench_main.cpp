// bench_main.cpp - main of tavrin_bench.
#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
