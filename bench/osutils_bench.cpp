// Benchmarks of number reading with the user's separator, and of timers and
// the debouncer on the thread-default GLib main context.
//
// text_to_double/tavrin      TextToDouble on UTF-16 text (the user's separator
//                            read from the environment at each call)
// text_to_double/strtod_l    strtod_l in the "C" locale on the same text as UTF-8
// text_to_double/from_chars  std::from_chars on the UTF-8 text
// text_to_double/scan        the floor: measuring the UTF-16 text
// timer_fire/tavrin          Timer::Start of a one-shot 0 s timer, then the
//                            loop iterations until it has fired and deleted itself
// timer_fire/glib            g_timeout_add of a 0 ms source, iterated the same way
// debounce_run/tavrin        Debouncer::Run while a call is pending (a burst)
// debounce_run/clock         the floor: the clock() read each Run makes
#include <benchmark/benchmark.h>
#include <locale.h>
#include <stdlib.h>

#include <charconv>
#include <cstdio>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#if defined(TAVRIN_HAVE_GLIB)
#include <glib.h>
#endif

#include "bench/bench_support.h"
#include "common/utils/debouncer.h"
#include "common/utils/internal/runloop_internal.h"
#include "common/utils/osutils.h"
#include "common/utils/timer.h"
#include "common/utils/ustring.h"

namespace {

using tavrin::utils::tavrin_ustring;

struct Numbers {
  std::vector<std::string> utf8;
  std::vector<tavrin_ustring> utf16;
};

const Numbers& Inputs() {
  static const Numbers numbers = [] {
    Numbers n;
    std::mt19937 rng(20261121u);
    std::uniform_real_distribution<double> value(-1e6, 1e6);
    const std::size_t count = tavrin::bench::Size(4096, 256);
    for (std::size_t i = 0; i < count; ++i) {
      char buffer[40];
      std::snprintf(buffer, sizeof buffer, "%.*g", static_cast<int>(4 + i % 14), value(rng));
      n.utf8.push_back(buffer);
      n.utf16.emplace_back(buffer);
    }
    return n;
  }();
  return numbers;
}

void BM_TextToDoubleTavrin(benchmark::State& state) {
  const Numbers& in = Inputs();
  std::size_t i = 0;
  for (auto _ : state) {
    double value;
    bool ok = tavrin::osutils::TextToDouble(in.utf16[i].c_str(), value);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(value);
    if (++i == in.utf16.size()) i = 0;
  }
}

void BM_TextToDoubleStrtodL(benchmark::State& state) {
  const Numbers& in = Inputs();
  static const locale_t c_locale = ::newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  std::size_t i = 0;
  for (auto _ : state) {
    double value = ::strtod_l(in.utf8[i].c_str(), nullptr, c_locale);
    benchmark::DoNotOptimize(value);
    if (++i == in.utf8.size()) i = 0;
  }
}

void BM_TextToDoubleFromChars(benchmark::State& state) {
  const Numbers& in = Inputs();
  std::size_t i = 0;
  for (auto _ : state) {
    double value = 0;
    const std::string& s = in.utf8[i];
    std::from_chars(s.data(), s.data() + s.size(), value);
    benchmark::DoNotOptimize(value);
    if (++i == in.utf8.size()) i = 0;
  }
}

void BM_TextToDoubleScan(benchmark::State& state) {
  const Numbers& in = Inputs();
  std::size_t i = 0;
  for (auto _ : state) {
    std::size_t n = ustrlen(in.utf16[i].c_str());
    benchmark::DoNotOptimize(n);
    if (++i == in.utf16.size()) i = 0;
  }
}

class Flag : public tavrin::utils::CommandInvoker {
 public:
  explicit Flag(bool* fired) : fired_(fired) {}
  void Invoke() const override { *fired_ = true; }

 private:
  bool* fired_;
};

void BM_TimerFireTavrin(benchmark::State& state) {
  for (auto _ : state) {
    bool fired = false;
    tavrin::utils::Timer::Start(new Flag(&fired), 0, 0);
    while (!fired) tavrin::utils::internal::RunLoopIteration(false);
  }
}

#if defined(TAVRIN_HAVE_GLIB)
gboolean SetFlag(gpointer data) {
  *static_cast<bool*>(data) = true;
  return G_SOURCE_REMOVE;
}

void BM_TimerFireGlib(benchmark::State& state) {
  GMainContext* context = g_main_context_ref_thread_default();
  for (auto _ : state) {
    bool fired = false;
    GSource* source = g_timeout_source_new(0);
    g_source_set_callback(source, SetFlag, &fired, nullptr);
    g_source_attach(source, context);
    g_source_unref(source);
    while (!fired) g_main_context_iteration(context, FALSE);
  }
  g_main_context_unref(context);
}
#endif

void BM_DebounceRunTavrin(benchmark::State& state) {
  tavrin::utils::Debouncer debouncer([] {}, 3600 * 1000);
  debouncer.Run();  // pending from here on: each Run only notes its time
  for (auto _ : state) debouncer.Run();
  debouncer.Terminate();
}

void BM_DebounceRunClock(benchmark::State& state) {
  for (auto _ : state) {
    std::clock_t now = std::clock();
    benchmark::DoNotOptimize(now);
  }
}

}  // namespace

BENCHMARK(BM_TextToDoubleScan)->Name("text_to_double/scan");
BENCHMARK(BM_TextToDoubleTavrin)->Name("text_to_double/tavrin");
BENCHMARK(BM_TextToDoubleStrtodL)->Name("text_to_double/strtod_l");
BENCHMARK(BM_TextToDoubleFromChars)->Name("text_to_double/from_chars");
BENCHMARK(BM_TimerFireTavrin)->Name("timer_fire/tavrin");
#if defined(TAVRIN_HAVE_GLIB)
BENCHMARK(BM_TimerFireGlib)->Name("timer_fire/glib");
#endif
BENCHMARK(BM_DebounceRunClock)->Name("debounce_run/clock");
BENCHMARK(BM_DebounceRunTavrin)->Name("debounce_run/tavrin");
