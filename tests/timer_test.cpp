// Tests of Timer and the command invokers on the real run loop of the test
// thread: one firing for counts 0 and 1, N firings, firing until stopped,
// self-deletion with the invoker, Stop, suspension, deleteWhenDone, and the
// named-action dispatcher.
//
// "Nothing more happens" is checked by running the loop until a later
// sentinel timer has fired, never by sleeping; every wait has a generous
// guard so a broken timer fails instead of hanging.
#include "common/utils/timer.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "common/utils/internal/runloop_internal.h"

using tavrin::utils::CommandInvoker;
using tavrin::utils::CommandInvokerAction;
using tavrin::utils::CommandMethodInvoker;
using tavrin::utils::Timer;
namespace internal = tavrin::utils::internal;

namespace {

constexpr unsigned kGuardMs = 10000;  // only reached when a timer is broken

// Counts its invocations, runs an optional action, and reports its deletion.
class CountingInvoker : public CommandInvoker {
 public:
  CountingInvoker(int* fired, bool* deleted) : fired_(fired), deleted_(deleted) {}
  ~CountingInvoker() override {
    if (deleted_ != nullptr) *deleted_ = true;
  }
  void Invoke() const override {
    ++*fired_;
    if (action) action();
  }
  std::function<void()> action;

 private:
  int* fired_;
  bool* deleted_;
};

// Runs the loop until a one-shot timer of `seconds`, started now, has fired:
// every timer due before it has had its chance to fire.
void RunPastSentinel(double seconds) {
  int fired = 0;
  bool deleted = false;
  Timer::Start(new CountingInvoker(&fired, &deleted), seconds, 0);
  ASSERT_TRUE(internal::RunLoopUntil([&] { return deleted; }, kGuardMs)) << "sentinel never fired";
  EXPECT_EQ(fired, 1);
}

bool RunUntil(const std::function<bool()>& done) {
  return internal::RunLoopUntil(done, kGuardMs);
}

// --- Counting ---------------------------------------------------------------

TEST(TimerTest, CountZeroFiresOnceThenDeletesItselfAndTheInvoker) {
  int fired = 0;
  bool deleted = false;
  Timer::Start(new CountingInvoker(&fired, &deleted), 0.005, 0);
  EXPECT_EQ(fired, 0);  // nothing happens before the loop runs
  ASSERT_TRUE(RunUntil([&] { return deleted; }));
  EXPECT_EQ(fired, 1);
  RunPastSentinel(0.03);
  EXPECT_EQ(fired, 1);
}

TEST(TimerTest, CountOneFiresOnceThenDeletesItself) {
  int fired = 0;
  bool deleted = false;
  Timer::Start(new CountingInvoker(&fired, &deleted), 0.005, 1);
  ASSERT_TRUE(RunUntil([&] { return deleted; }));
  EXPECT_EQ(fired, 1);
  RunPastSentinel(0.03);
  EXPECT_EQ(fired, 1);
}

TEST(TimerTest, CountThreeFiresThreeTimesThenDeletesItself) {
  int fired = 0;
  bool deleted = false;
  auto* invoker = new CountingInvoker(&fired, &deleted);
  Timer* timer = Timer::Start(invoker, 0.005, 3);
  std::vector<std::uint64_t> counts;
  // The invoker runs before the count goes down.
  invoker->action = [&] { counts.push_back(timer->GetCount()); };
  ASSERT_TRUE(RunUntil([&] { return deleted; }));
  EXPECT_EQ(fired, 3);
  EXPECT_EQ(counts, (std::vector<std::uint64_t>{3, 2, 1}));
  RunPastSentinel(0.03);
  EXPECT_EQ(fired, 3);
}

TEST(TimerTest, LargestCountFiresUntilStopped) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 0.002, ULONG_MAX);
  ASSERT_TRUE(RunUntil([&] { return fired >= 5; }));
  EXPECT_EQ(timer->GetCount(), ULONG_MAX);  // "forever" is never counted down
  timer->Stop();
  const int at_stop = fired;
  RunPastSentinel(0.03);
  EXPECT_EQ(fired, at_stop);
  EXPECT_FALSE(deleted);  // Stop keeps the timer and its invoker
  delete timer;
  EXPECT_TRUE(deleted);
}

TEST(TimerTest, StopTwiceIsHarmless) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 0.001, 0);
  timer->Stop();
  timer->Stop();
  RunPastSentinel(0.02);
  EXPECT_EQ(fired, 0);
  EXPECT_FALSE(deleted);
  timer->Stop();
  delete timer;
  EXPECT_TRUE(deleted);
}

TEST(TimerTest, DeletingAPendingTimerCancelsIt) {
  int fired = 0;
  bool deleted = false;
  delete Timer::Start(new CountingInvoker(&fired, &deleted), 0.001, 4);
  EXPECT_TRUE(deleted);
  RunPastSentinel(0.02);
  EXPECT_EQ(fired, 0);
}

TEST(TimerTest, KeptTimerStopsAfterItsLastFiring) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 0.002, 2);
  timer->SetDeleteWhenDone(false);
  EXPECT_FALSE(timer->GetDeleteWhenDone());
  ASSERT_TRUE(RunUntil([&] { return fired == 2; }));
  RunPastSentinel(0.03);
  EXPECT_EQ(fired, 2);
  EXPECT_FALSE(deleted);
  EXPECT_EQ(timer->GetCount(), 0u);
  delete timer;
  EXPECT_TRUE(deleted);
}

TEST(TimerTest, InvokerMayStopItsOwnTimer) {
  int fired = 0;
  bool deleted = false;
  auto* invoker = new CountingInvoker(&fired, &deleted);
  Timer* timer = Timer::Start(invoker, 0.002, ULONG_MAX);
  invoker->action = [&] {
    if (fired == 3) timer->Stop();
  };
  ASSERT_TRUE(RunUntil([&] { return fired == 3; }));
  RunPastSentinel(0.03);
  EXPECT_EQ(fired, 3);
  EXPECT_FALSE(deleted);
  delete timer;
}

TEST(TimerTest, InvokerMayStartAnotherTimer) {
  int fired = 0, inner_fired = 0;
  bool deleted = false, inner_deleted = false;
  auto* invoker = new CountingInvoker(&fired, &deleted);
  invoker->action = [&] { Timer::Start(new CountingInvoker(&inner_fired, &inner_deleted), 0, 0); };
  Timer::Start(invoker, 0.001, 0);
  ASSERT_TRUE(RunUntil([&] { return inner_deleted; }));
  EXPECT_TRUE(deleted);
  EXPECT_EQ(fired, 1);
  EXPECT_EQ(inner_fired, 1);
}

TEST(TimerTest, ShorterIntervalFiresFirst) {
  std::string order;
  int a = 0, b = 0;
  bool a_deleted = false, b_deleted = false;
  auto* slow = new CountingInvoker(&a, &a_deleted);
  slow->action = [&] { order += "slow "; };
  auto* fast = new CountingInvoker(&b, &b_deleted);
  fast->action = [&] { order += "fast "; };
  Timer::Start(slow, 0.03, 0);
  Timer::Start(fast, 0.001, 0);
  ASSERT_TRUE(RunUntil([&] { return a_deleted && b_deleted; }));
  EXPECT_EQ(order, "fast slow ");
}

// --- Intervals ----------------------------------------------------------------

TEST(TimerTest, ZeroNegativeAndNanIntervalsFireOnTheNextIterations) {
  for (double interval : {0.0, -5.0, std::nan("")}) {
    int fired = 0;
    bool deleted = false;
    Timer::Start(new CountingInvoker(&fired, &deleted), interval, 0);
    // A due source is dispatched without blocking; a few passes allow for
    // the iteration that only computes readiness.
    for (int i = 0; i < 5 && !deleted; ++i) internal::RunLoopIteration(false);
    EXPECT_TRUE(deleted) << interval;
    EXPECT_EQ(fired, 1) << interval;
  }
}

TEST(TimerTest, HugeIntervalDoesNotFire) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 1e300, 0);
  EXPECT_EQ(timer->GetInterval(), 1e300);
  RunPastSentinel(0.01);
  EXPECT_EQ(fired, 0);
  delete timer;
  EXPECT_TRUE(deleted);
}

// --- Fire without the loop --------------------------------------------------

TEST(TimerTest, SuspendedFireDoesNothing) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 3600, 2);
  EXPECT_FALSE(timer->IsSuspended());
  EXPECT_TRUE(timer->GetDeleteWhenDone());
  timer->SetSuspended(true);
  EXPECT_TRUE(timer->IsSuspended());
  timer->Fire();
  EXPECT_EQ(fired, 0);
  EXPECT_EQ(timer->GetCount(), 2u);
  timer->SetSuspended(false);
  timer->Fire();
  EXPECT_EQ(fired, 1);
  EXPECT_EQ(timer->GetCount(), 1u);
  timer->SetDeleteWhenDone(false);
  timer->Fire();
  EXPECT_EQ(fired, 2);
  EXPECT_EQ(timer->GetCount(), 0u);
  EXPECT_FALSE(deleted);
  delete timer;
  EXPECT_TRUE(deleted);
}

TEST(TimerTest, SuspendedRepeatingTimerSkipsFiringsUntilResumed) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 0.002, 3);
  timer->SetSuspended(true);
  RunPastSentinel(0.03);
  EXPECT_EQ(fired, 0);
  EXPECT_EQ(timer->GetCount(), 3u);
  timer->SetSuspended(false);
  ASSERT_TRUE(RunUntil([&] { return deleted; }));
  EXPECT_EQ(fired, 3);
}

TEST(TimerTest, DirectFireOfTheLastFiringDeletesTheTimer) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 3600, 0);
  timer->Fire();  // the timer is gone afterwards
  EXPECT_EQ(fired, 1);
  EXPECT_TRUE(deleted);
  RunPastSentinel(0.005);  // its source went with it
}

TEST(TimerTest, NullInvokerOnlyCounts) {
  Timer* timer = Timer::Start(nullptr, 0.001, 3);
  timer->SetDeleteWhenDone(false);
  ASSERT_TRUE(RunUntil([&] { return timer->GetCount() == 0; }));
  delete timer;
}

// --- Start hook ---------------------------------------------------------------

TEST(TimerTest, StartHookSeesTheRequestAndCanForward) {
  std::vector<std::pair<double, unsigned long>> requests;
  internal::SetTimerStartHook([&](CommandInvoker* invoker, double seconds, unsigned long count) {
    requests.emplace_back(seconds, count);
    return internal::StartPlatformTimer(invoker, seconds, count);
  });
  int fired = 0;
  bool deleted = false;
  Timer::Start(new CountingInvoker(&fired, &deleted), 0.004, 2);
  internal::SetTimerStartHook(nullptr);
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].first, 0.004);
  EXPECT_EQ(requests[0].second, 2u);
  ASSERT_TRUE(RunUntil([&] { return deleted; }));
  EXPECT_EQ(fired, 2);
}

// --- Invokers -----------------------------------------------------------------

struct Target {
  int calls = 0;
  void Bump() { ++calls; }
};

TEST(TimerTest, MethodInvokerCallsTheMember) {
  Target target;
  CommandMethodInvoker<Target> invoker(&target, &Target::Bump);
  invoker.Invoke();
  invoker.Invoke();
  EXPECT_EQ(target.calls, 2);
  CommandMethodInvoker<Target> no_target(nullptr, &Target::Bump);
  no_target.Invoke();
  CommandMethodInvoker<Target> no_method(&target, nullptr);
  no_method.Invoke();
  EXPECT_EQ(target.calls, 2);
}

TEST(TimerTest, MethodInvokerRunsFromATimer) {
  Target target;
  Timer* timer = Timer::Start(new CommandMethodInvoker<Target>(&target, &Target::Bump), 0.001, 0);
  (void)timer;  // deletes itself after its firing
  ASSERT_TRUE(RunUntil([&] { return target.calls == 1; }));
}

std::vector<std::string>& Actions() {
  static std::vector<std::string> actions;
  return actions;
}

void RecordAction(const char* action) {
  Actions().push_back(action);
}

TEST(TimerTest, ActionInvokerHandsItsNameToTheDispatcher) {
  Actions().clear();
  CommandInvokerAction copy("copy:");
  CommandInvokerAction none(nullptr);
  EXPECT_STREQ(copy.GetAction(), "copy:");
  EXPECT_EQ(none.GetAction(), nullptr);

  copy.Invoke();  // no dispatcher yet: nothing happens
  CommandInvokerAction::SetActionDispatcher(&RecordAction);
  copy.Invoke();
  none.Invoke();  // a null name reaches nobody
  CommandInvokerAction("").Invoke();
  CommandInvokerAction::SetActionDispatcher(nullptr);
  copy.Invoke();
  EXPECT_EQ(Actions(), (std::vector<std::string>{"copy:", ""}));
}

TEST(TimerTest, ActionInvokerKeepsItsOwnCopyOfTheName) {
  Actions().clear();
  std::string name = "paste:";
  CommandInvokerAction action(name.c_str());
  name = "overwritten";
  CommandInvokerAction::SetActionDispatcher(&RecordAction);
  Timer::Start(new CommandInvokerAction(action.GetAction()), 0.001, 0);
  ASSERT_TRUE(RunUntil([] { return !Actions().empty(); }));
  CommandInvokerAction::SetActionDispatcher(nullptr);
  EXPECT_EQ(Actions(), (std::vector<std::string>{"paste:"}));
}

}  // namespace
