// timer_linux.cpp - the Linux run-loop timer: a GLib timeout source on the
// thread-default main context of the thread that starts it.
//
// Lifetime: the timer holds its own reference to its source; Stop destroys
// the source (so its callback never runs again) and drops that reference.
// The source callback takes a reference of its own around Fire(), because
// Fire() may delete the timer (and with it stop the source); afterwards the
// callback looks only at the source, never at the timer.
#include <glib.h>

#include <cmath>
#include <limits>

#include "common/utils/internal/runloop_internal.h"
#include "common/utils/platform.h"
#include "common/utils/timer.h"

namespace tavrin::utils::internal {

unsigned TimerIntervalMilliseconds(double seconds, bool repeating) {
  double ms = std::ceil(seconds * 1000.0);
  unsigned result;
  if (std::isnan(ms) || ms <= 0) {
    result = 0;
  } else if (ms >= static_cast<double>(G_MAXUINT)) {
    result = G_MAXUINT;
  } else {
    result = static_cast<unsigned>(ms);
  }
  if (repeating && result == 0) result = 1;
  return result;
}

}  // namespace tavrin::utils::internal

namespace tavrin::platform {

namespace {

using tavrin::utils::CommandInvoker;
using tavrin::utils::Timer;

class TimerLinux final : public Timer {
 public:
  TimerLinux(CommandInvoker* invoker, double intervalSeconds, unsigned long count)
      : Timer(invoker, intervalSeconds, count), one_shot_(!(count > 1)) {
    context_ = g_main_context_ref_thread_default();
    source_ = g_timeout_source_new(
        tavrin::utils::internal::TimerIntervalMilliseconds(intervalSeconds, !one_shot_));
    g_source_set_callback(source_, &TimerLinux::OnTimeout, this, nullptr);
    g_source_set_name(source_, "tavrin::utils::Timer");
    g_source_attach(source_, context_);
  }

  ~TimerLinux() override {
    TimerLinux::Stop();
    g_main_context_unref(context_);
  }

  void Stop() override {
    if (source_ == nullptr) return;
    GSource* source = source_;
    source_ = nullptr;
    g_source_destroy(source);
    g_source_unref(source);
  }

 private:
  static gboolean OnTimeout(gpointer data) {
    GSource* source = g_main_current_source();
    g_source_ref(source);
    auto* timer = static_cast<TimerLinux*>(data);
    const bool one_shot = timer->one_shot_;
    timer->Fire();  // may delete the timer: not touched again below
    const bool destroyed = g_source_is_destroyed(source);
    g_source_unref(source);
    return (destroyed || one_shot) ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }

  const bool one_shot_;
  GMainContext* context_ = nullptr;
  GSource* source_ = nullptr;
};

}  // namespace

Timer* StartRunLoopTimer(CommandInvoker* invoker, double intervalSeconds, unsigned long count) {
  return new TimerLinux(invoker, intervalSeconds, count);
}

bool RunLoopIteration(bool mayBlock) {
  GMainContext* context = g_main_context_ref_thread_default();
  const bool dispatched = g_main_context_iteration(context, mayBlock ? TRUE : FALSE);
  g_main_context_unref(context);
  return dispatched;
}

bool SendCommandAction(const char*) {
  return false;  // Linux has no responder chain: the application's dispatcher gets the name
}

}  // namespace tavrin::platform
