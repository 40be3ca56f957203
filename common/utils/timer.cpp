// timer.cpp - the platform-independent part of timers and command invokers,
// and the run-loop helpers of internal/runloop_internal.h.
#include "common/utils/timer.h"

#include <atomic>
#include <limits>
#include <utility>

#include "common/utils/internal/runloop_internal.h"
#include "common/utils/platform.h"

namespace tavrin::utils {

namespace {

std::atomic<void (*)(const char*)> g_action_dispatcher{nullptr};

internal::TimerStartHook& StartHook() {
  static internal::TimerStartHook hook;
  return hook;
}

constexpr std::uint64_t kForever = std::numeric_limits<std::uint64_t>::max();

// Sets a flag when invoked: the wake-up of RunLoopUntil.
class FlagInvoker : public CommandInvoker {
 public:
  explicit FlagInvoker(bool* flag) : flag_(flag) {}
  void Invoke() const override { *flag_ = true; }

 private:
  bool* flag_;
};

}  // namespace

CommandInvoker::~CommandInvoker() = default;

CommandInvokerAction::CommandInvokerAction(const char* action)
    : action_(action != nullptr ? action : ""), has_action_(action != nullptr) {}

void CommandInvokerAction::Invoke() const {
  if (!has_action_) return;
  if (platform::SendCommandAction(action_.c_str())) return;
  if (auto dispatcher = g_action_dispatcher.load(std::memory_order_acquire)) {
    dispatcher(action_.c_str());
  }
}

void CommandInvokerAction::SetActionDispatcher(void (*dispatcher)(const char*)) {
  g_action_dispatcher.store(dispatcher, std::memory_order_release);
}

Timer::Timer(CommandInvoker* invoker, double intervalSeconds, unsigned long count)
    : invoker_(invoker), interval_(intervalSeconds), count_(count) {}

Timer::~Timer() {
  delete invoker_;
}

Timer* Timer::Start(CommandInvoker* invoker, double intervalSeconds, unsigned long count) {
  if (const internal::TimerStartHook& hook = StartHook())
    return hook(invoker, intervalSeconds, count);
  return platform::StartRunLoopTimer(invoker, intervalSeconds, count);
}

void Timer::Fire() {
  if (suspended_) return;
  if (invoker_ != nullptr) invoker_->Invoke();
  if (count_ != 0 && count_ != kForever) --count_;
  if (count_ != 0) return;  // more firings follow
  if (deleteWhenDone_) {
    delete this;
  } else {
    Stop();
  }
}

namespace internal {

bool RunLoopIteration(bool mayBlock) {
  return platform::RunLoopIteration(mayBlock);
}

bool RunLoopUntil(const std::function<bool()>& done, unsigned timeoutMs) {
  auto is_done = [&done] { return done && done(); };
  if (is_done()) return true;
  bool expired = false;
  // The guard is a timer of its own, so a blocking iteration always wakes up
  // by the deadline. It bypasses the start hook: tests record their timers.
  Timer* guard = platform::StartRunLoopTimer(new FlagInvoker(&expired), timeoutMs / 1000.0, 1);
  guard->SetDeleteWhenDone(false);
  bool result = false;
  while (!(result = is_done()) && !expired) platform::RunLoopIteration(true);
  delete guard;
  return result;
}

void RunLoopFor(unsigned milliseconds) {
  RunLoopUntil([] { return false; }, milliseconds);
}

void SetTimerStartHook(TimerStartHook hook) {
  StartHook() = std::move(hook);
}

Timer* StartPlatformTimer(CommandInvoker* invoker, double intervalSeconds, unsigned long count) {
  return platform::StartRunLoopTimer(invoker, intervalSeconds, count);
}

}  // namespace internal

}  // namespace tavrin::utils
