// debouncer.cpp - coalescing of requests into one callback.
#include "common/utils/debouncer.h"

#include <atomic>
#include <ctime>
#include <limits>
#include <utility>

#include "common/utils/internal/runloop_internal.h"
#include "common/utils/timer.h"

namespace tavrin::utils {

namespace {

std::atomic<internal::ProcessorClockHook> g_clock_hook{nullptr};

// Ticks a millisecond value spans on the processor clock (1,000 per ms),
// saturated so a huge timeout never wraps.
std::int64_t MillisecondsToTicks(std::uint64_t ms) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::int64_t>::max() / 1000;
  return ms >= kMax ? std::numeric_limits<std::int64_t>::max()
                    : static_cast<std::int64_t>(ms * 1000);
}

}  // namespace

namespace internal {

void SetProcessorClockHook(ProcessorClockHook hook) {
  g_clock_hook.store(hook, std::memory_order_release);
}

std::int64_t ProcessorTicks() {
  if (ProcessorClockHook hook = g_clock_hook.load(std::memory_order_acquire)) return hook();
  // clock() counts CLOCKS_PER_SEC per second; scaled to 1,000,000 where a
  // platform differs (glibc and macOS already use 1,000,000).
  const std::clock_t now = std::clock();
  if constexpr (CLOCKS_PER_SEC == 1000000) {
    return static_cast<std::int64_t>(now);
  } else {
    return static_cast<std::int64_t>(static_cast<double>(now) * (1e6 / CLOCKS_PER_SEC));
  }
}

}  // namespace internal

Debouncer::Debouncer(std::function<void()> callback, unsigned long timeoutMs)
    : callback_(std::move(callback)), timeout_(timeoutMs) {}

Debouncer::~Debouncer() {
  delete timer_;
  timer_ = nullptr;
}

void Debouncer::StartTimer(double seconds) {
  timer_ =
      Timer::Start(new CommandMethodInvoker<Debouncer>(this, &Debouncer::OnTimerFired), seconds, 0);
}

void Debouncer::OnTimerFired() {
  firing_ = true;
  Trigger();
}

void Debouncer::Run() {
  const std::int64_t now = internal::ProcessorTicks();
  if (timer_ == nullptr) {
    burstStart_ = now;
    StartTimer(static_cast<double>(timeout_) / 1000.0);
  }
  lastRun_ = now;
}

void Debouncer::Trigger() {
  const bool from_timer = firing_;
  firing_ = false;
  if (Timer* timer = timer_) {
    timer_ = nullptr;
    // The firing timer deletes itself once its firing returns; any other
    // pending timer is ours to delete.
    if (from_timer) {
      timer->Stop();
    } else {
      delete timer;
    }
  }
  // A copy, so the callback may destroy this Debouncer while it runs.
  std::function<void()> callback = callback_;
  callback();  // empty: std::bad_function_call
}

void Debouncer::Terminate() {
  delete timer_;
  timer_ = nullptr;
}

void Debouncer::RunAndTerminate() {
  Terminate();
  std::function<void()> callback = callback_;
  callback();  // empty: std::bad_function_call
}

void Debouncer::SetTimeout(unsigned long ms) {
  timeout_ = ms;
  if (timer_ == nullptr) return;
  delete timer_;
  timer_ = nullptr;
  const std::int64_t now = internal::ProcessorTicks();
  const std::int64_t span = MillisecondsToTicks(ms);
  const std::int64_t deadline = burstStart_ > std::numeric_limits<std::int64_t>::max() - span
                                    ? std::numeric_limits<std::int64_t>::max()
                                    : burstStart_ + span;
  if (deadline <= now) {
    StartTimer(0.0);
  } else {
    // Computed in double: the difference of two int64 values may not fit.
    StartTimer((static_cast<double>(deadline) - static_cast<double>(now)) / 1e6);
  }
}

bool Debouncer::HasTimeoutExpired() const {
  if (timer_ == nullptr) return true;
  const std::int64_t now = internal::ProcessorTicks();
  if (now < lastRun_) return false;
  const std::uint64_t elapsed =
      static_cast<std::uint64_t>(now) - static_cast<std::uint64_t>(lastRun_);
  return elapsed > timeout_;
}

}  // namespace tavrin::utils
