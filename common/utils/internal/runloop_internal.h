// runloop_internal.h - driving the calling thread's run loop, and the seams
// of the timer and the debouncer (timer start, processor clock).
//
// Internal header (not installed), exported for the tests and the tavrin
// tool. An application runs its own loop (GTK, Qt, GLib) and needs none of
// this: timers fire on the thread-default GLib main context it iterates.
#pragma once

#include <cstdint>
#include <functional>

#include "common/utils/export.h"

namespace tavrin::utils {
class CommandInvoker;
class Timer;
}  // namespace tavrin::utils

namespace tavrin::utils::internal {

// RunLoopIteration()
//
// Runs one iteration of the calling thread's run loop (on Linux the
// thread-default GLib main context): dispatches every source that is ready,
// and with `mayBlock` first waits until one is. Returns whether any source
// was dispatched. Blocking with nothing able to become ready never returns,
// so tests use RunLoopUntil.
TAVRIN_EXPORT bool RunLoopIteration(bool mayBlock);

// RunLoopUntil()
//
// Runs the calling thread's run loop, blocking between firings, until
// `done()` returns true or `timeoutMs` milliseconds of wall-clock time have
// passed (a guard against a hang, not a measurement). `done` is checked
// before the first iteration and after each one. Returns the last answer of
// `done()`; an empty `done` counts as never done.
TAVRIN_EXPORT bool RunLoopUntil(const std::function<bool()>& done, unsigned timeoutMs);

// RunLoopFor()
//
// Runs the calling thread's run loop for `milliseconds` of wall-clock time.
TAVRIN_EXPORT void RunLoopFor(unsigned milliseconds);

// TimerStartHook
//
// Replaces what Timer::Start does (an empty function restores the platform
// timer). Tests install a hook that records the requested interval and count
// and usually calls StartPlatformTimer itself. Install and remove it on the
// thread that starts timers, while no timer is being started.
using TimerStartHook = std::function<Timer*(CommandInvoker*, double, unsigned long)>;
TAVRIN_EXPORT void SetTimerStartHook(TimerStartHook hook);

// StartPlatformTimer() - the platform timer Timer::Start makes without a hook.
TAVRIN_EXPORT Timer* StartPlatformTimer(CommandInvoker* invoker, double intervalSeconds,
                                        unsigned long count);

// ProcessorClockHook
//
// Replaces the processor clock of the debouncer (clock() ticks, 1,000,000 per
// second): a null hook restores clock(). Tests install a hand-driven clock.
using ProcessorClockHook = std::int64_t (*)();
TAVRIN_EXPORT void SetProcessorClockHook(ProcessorClockHook hook);

// ProcessorTicks() - the debouncer's "now": the hook's answer, else clock().
TAVRIN_EXPORT std::int64_t ProcessorTicks();

// --- Linux layer only. -----------------------------------------------------

// TimerIntervalMilliseconds()
//
// The GLib timeout of a timer: ceil(seconds x 1000) clamped to [0,
// 4294967295], NaN and negative values giving 0; a repeating timer waits at
// least 1 ms (a repeating 0 ms source would starve lower-priority sources).
TAVRIN_EXPORT unsigned TimerIntervalMilliseconds(double seconds, bool repeating);

}  // namespace tavrin::utils::internal
