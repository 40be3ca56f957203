// Benchmarks of event dispatch and unit rounding.
//
// SendNotification/tavrin    name dispatch to N observers on a private centre
// SendNotificationId/tavrin  identifier dispatch to N observers
// SendNotification/virtual   the floor: a plain loop of the same virtual calls
// SendNotificationId/virtual the same floor for the identifier handler
// Round/tavrin               LengthInfo::Round (a virtual call, step, floor)
// Round/inline               the same arithmetic written inline
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "common/utils/lengthinfo.h"
#include "common/utils/notificationcenter.h"
#include "common/utils/osutils.h"

namespace {

class Counter : public tavrin::IObserver {
 public:
  using IObserver::OnNotification;
  void OnNotification(const char*, void* data) override { ++*static_cast<long*>(data); }
  void OnNotification(const tavrin::NotificationId&, const std::any&) override { ++count; }
  long count = 0;
};

constexpr tavrin::NotificationId kBenchId = tavrin::MakeNotificationId("tavrin.bench.Changed");

void BM_SendNotificationTavrin(benchmark::State& state) {
  tavrin::osutils::IsMainThread();
  CNotificationCenter centre;
  std::vector<std::unique_ptr<Counter>> observers;
  for (int i = 0; i < state.range(0); ++i) {
    observers.push_back(std::make_unique<Counter>());
    centre.AddObserver("tavrin.bench.Changed", observers.back().get());
  }
  long calls = 0;
  for (auto _ : state) centre.SendNotification("tavrin.bench.Changed", &calls);
  benchmark::DoNotOptimize(calls);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_SendNotificationIdTavrin(benchmark::State& state) {
  tavrin::osutils::IsMainThread();
  CNotificationCenter centre;
  std::vector<std::unique_ptr<Counter>> observers;
  for (int i = 0; i < state.range(0); ++i) {
    observers.push_back(std::make_unique<Counter>());
    centre.AddObserver(kBenchId, observers.back().get());
  }
  std::any payload;
  for (auto _ : state) centre.SendNotification(kBenchId, payload);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_SendNotificationVirtual(benchmark::State& state) {
  std::vector<std::unique_ptr<Counter>> owned;
  std::vector<tavrin::IObserver*> observers;
  for (int i = 0; i < state.range(0); ++i) {
    owned.push_back(std::make_unique<Counter>());
    observers.push_back(owned.back().get());
  }
  long calls = 0;
  for (auto _ : state) {
    for (tavrin::IObserver* o : observers) o->OnNotification("tavrin.bench.Changed", &calls);
    benchmark::ClobberMemory();
  }
  benchmark::DoNotOptimize(calls);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_SendNotificationIdVirtual(benchmark::State& state) {
  std::vector<std::unique_ptr<Counter>> owned;
  std::vector<tavrin::IObserver*> observers;
  for (int i = 0; i < state.range(0); ++i) {
    owned.push_back(std::make_unique<Counter>());
    observers.push_back(owned.back().get());
  }
  std::any payload;
  for (auto _ : state) {
    for (tavrin::IObserver* o : observers) o->OnNotification(kBenchId, payload);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_SendNotificationTavrin)->Name("SendNotification/tavrin")->Arg(1)->Arg(10)->Arg(1000);
BENCHMARK(BM_SendNotificationIdTavrin)
    ->Name("SendNotificationId/tavrin")
    ->Arg(1)
    ->Arg(10)
    ->Arg(1000);
BENCHMARK(BM_SendNotificationVirtual)->Name("SendNotification/virtual")->Arg(1)->Arg(10)->Arg(1000);
BENCHMARK(BM_SendNotificationIdVirtual)
    ->Name("SendNotificationId/virtual")
    ->Arg(1)
    ->Arg(10)
    ->Arg(1000);

void BM_RoundTavrin(benchmark::State& state) {
  tavrin::utils::LengthInfo length;
  length.SetUnits(tavrin::utils::UnitsInfo::kMillimeters, false);
  double v = 1.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length.Round(v));
    v += 0.001;
  }
}

void BM_RoundInline(benchmark::State& state) {
  const double step = 0.01 * (1.0 / 25.4);
  double v = 1.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(step * std::floor(v / step + 0.5));
    v += 0.001;
  }
}

BENCHMARK(BM_RoundTavrin)->Name("Round/tavrin");
BENCHMARK(BM_RoundInline)->Name("Round/inline");

}  // namespace
