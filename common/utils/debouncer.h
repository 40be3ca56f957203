// debouncer.h - Debouncer, which collapses a burst of requests into one call
// of a callback a fixed time after the first request of the burst.
//
// Unit-wide rules:
// - The callback runs on the thread that called Run, from that thread's run
//   loop (see timer.h); nothing is locked.
// - Times mix two clocks on purpose: the pending call is a run-loop timer
//   (wall-clock time), while the burst start and the latest Run are read
//   from the processor clock (clock() ticks, processor time used by the
//   process, 1,000,000 per second). SetTimeout and HasTimeoutExpired work on
//   those ticks.
// - The only exception of the unit is std::bad_function_call, thrown when a
//   Debouncer with an empty callback calls it (Trigger, RunAndTerminate).
//   From the pending timer's firing it would have to cross the run loop, so
//   a Debouncer that is Run must have a callback.
// - A callback may destroy its Debouncer: nothing of the Debouncer is
//   touched after the callback is called.
#pragma once

#include <cstdint>
#include <functional>

#include "common/utils/export.h"

namespace tavrin::utils {

class Timer;

class TAVRIN_EXPORT Debouncer {
 public:
  // Debouncer() - keeps `callback` (may be empty: calling it then throws
  // std::bad_function_call) and the timeout in milliseconds; nothing pending.
  Debouncer(std::function<void()> callback, unsigned long timeoutMs);

  // ~Debouncer() - cancels a pending call (the callback does not run).
  ~Debouncer();

  Debouncer(const Debouncer&) = delete;
  Debouncer& operator=(const Debouncer&) = delete;

  // Run() - asks for the callback. With nothing pending this starts a burst:
  // the callback is scheduled `timeout` milliseconds from now. While a call
  // is pending, further Runs change nothing but the time of the latest Run;
  // they never push the call back. A Run after the callback has run starts
  // a new burst.
  void Run();

  // Trigger() - what the pending timer runs: forgets the pending call, then
  // calls the callback. Called directly it cancels the pending timer and
  // calls the callback at once (also with nothing pending).
  void Trigger();

  // Terminate() - cancels the pending call, if any; the callback does not run.
  void Terminate();

  // RunAndTerminate() - cancels the pending call, if any, and calls the
  // callback at once - also when nothing was pending.
  void RunAndTerminate();

  // SetTimeout() - sets the timeout in milliseconds. A pending call moves to
  // the burst start + the new timeout (processor-clock ticks); a deadline
  // already passed fires as soon as the run loop allows. With nothing
  // pending, only later bursts use the new timeout.
  void SetTimeout(unsigned long ms);

  // HasTimeoutExpired() - true when nothing is pending; otherwise whether
  // the processor ticks since the latest Run exceed the timeout, the tick
  // count compared directly with the millisecond value (1,000 ticks are one
  // millisecond, so this is true long before the timeout has passed; the
  // comparison is kept as it stands). A clock that went backwards counts as
  // not expired.
  [[nodiscard]] bool HasTimeoutExpired() const;

  // The timeout in milliseconds, and whether a call is pending (additions).
  unsigned long GetTimeout() const { return static_cast<unsigned long>(timeout_); }
  bool IsPending() const { return timer_ != nullptr; }

 private:
  // Starts the one-shot timer that will run OnTimerFired.
  void StartTimer(double seconds);
  // The pending timer's action: marks the firing, then Trigger.
  void OnTimerFired();

  std::function<void()> callback_;
  std::uint64_t timeout_;
  Timer* timer_ = nullptr;
  std::int64_t lastRun_ = 0;
  std::int64_t burstStart_ = 0;
  // Set by OnTimerFired for the Trigger it calls: the pending timer is then
  // the one firing, and it deletes itself when its firing returns.
  bool firing_ = false;
};

}  // namespace tavrin::utils
