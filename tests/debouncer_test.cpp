// Tests of Debouncer: coalescing of a burst into one callback, new bursts,
// Terminate and RunAndTerminate, SetTimeout moving the pending call relative
// to the burst start, HasTimeoutExpired on processor ticks, and callbacks that
// destroy their debouncer.
//
// The processor clock is a hand-driven fake (the ticks are what the rules
// are about); the pending calls are real timers on the test thread's run
// loop, and every timer the debouncer starts is recorded through the start
// hook, so intervals are checked exactly, not by measuring time.
#include "common/utils/debouncer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "common/utils/internal/runloop_internal.h"
#include "common/utils/timer.h"
#include "tests/test_support.h"

using tavrin::utils::CommandInvoker;
using tavrin::utils::Debouncer;
using tavrin::utils::Timer;
namespace internal = tavrin::utils::internal;

namespace {

constexpr unsigned kGuardMs = 10000;  // only reached when something is broken

std::int64_t g_ticks = 0;
std::int64_t FakeClock() {
  return g_ticks;
}

class Flag : public CommandInvoker {
 public:
  explicit Flag(bool* flag) : flag_(flag) {}
  void Invoke() const override { *flag_ = true; }

 private:
  bool* flag_;
};

class DebouncerTest : public testing::Test {
 protected:
  void SetUp() override {
    g_ticks = 0;
    internal::SetProcessorClockHook(&FakeClock);
    internal::SetTimerStartHook([this](CommandInvoker* invoker, double s, unsigned long count) {
      starts.emplace_back(s, count);
      return internal::StartPlatformTimer(invoker, s, count);
    });
  }
  void TearDown() override {
    internal::SetTimerStartHook(nullptr);
    internal::SetProcessorClockHook(nullptr);
  }

  std::function<void()> Counter() {
    return [this] { ++calls; };
  }

  bool RunUntilCalls(int n) {
    return internal::RunLoopUntil([&] { return calls >= n; }, kGuardMs);
  }

  // Runs the loop until a sentinel timer of `seconds` has fired; the
  // sentinel bypasses the start hook so it is not recorded.
  void RunPastSentinel(double seconds) {
    bool fired = false;
    internal::StartPlatformTimer(new Flag(&fired), seconds, 0);
    ASSERT_TRUE(internal::RunLoopUntil([&] { return fired; }, kGuardMs));
  }

  int calls = 0;
  std::vector<std::pair<double, unsigned long>> starts;
};

// --- Coalescing -------------------------------------------------------------

TEST_F(DebouncerTest, BurstCallsBackOnceAfterTheTimeout) {
  Debouncer d(Counter(), 20);
  EXPECT_FALSE(d.IsPending());
  d.Run();
  g_ticks = 15000;
  d.Run();
  g_ticks = 19000;
  d.Run();
  EXPECT_TRUE(d.IsPending());
  ASSERT_EQ(starts.size(), 1u);  // later Runs never push the call back
  EXPECT_EQ(starts[0].first, 0.02);
  EXPECT_EQ(starts[0].second, 0u);  // one firing
  EXPECT_EQ(calls, 0);
  ASSERT_TRUE(RunUntilCalls(1));
  EXPECT_FALSE(d.IsPending());
  RunPastSentinel(0.06);
  EXPECT_EQ(calls, 1);
}

TEST_F(DebouncerTest, RunAfterTheCallbackStartsANewBurst) {
  Debouncer d(Counter(), 5);
  d.Run();
  ASSERT_TRUE(RunUntilCalls(1));
  d.Run();
  d.Run();
  EXPECT_EQ(starts.size(), 2u);
  ASSERT_TRUE(RunUntilCalls(2));
  RunPastSentinel(0.03);
  EXPECT_EQ(calls, 2);
}

TEST_F(DebouncerTest, ZeroTimeoutFiresOnTheNextIterations) {
  Debouncer d(Counter(), 0);
  d.Run();
  EXPECT_EQ(starts.at(0).first, 0.0);
  for (int i = 0; i < 5 && calls == 0; ++i) internal::RunLoopIteration(false);
  EXPECT_EQ(calls, 1);
}

TEST_F(DebouncerTest, CallbackMayRunTheDebouncerAgain) {
  Debouncer* self = nullptr;
  Debouncer d(
      [&] {
        if (++calls == 1) self->Run();
      },
      2);
  self = &d;
  d.Run();
  ASSERT_TRUE(RunUntilCalls(2));
  EXPECT_EQ(starts.size(), 2u);
  EXPECT_FALSE(d.IsPending());
}

// --- Cancelling -------------------------------------------------------------

TEST_F(DebouncerTest, TerminateCancelsThePendingCall) {
  Debouncer d(Counter(), 5);
  d.Terminate();  // nothing pending: nothing happens
  EXPECT_EQ(calls, 0);
  d.Run();
  d.Terminate();
  EXPECT_FALSE(d.IsPending());
  RunPastSentinel(0.03);
  EXPECT_EQ(calls, 0);
}

TEST_F(DebouncerTest, RunAndTerminateCallsOnceAlsoWithNothingPending) {
  Debouncer d(Counter(), 5);
  d.RunAndTerminate();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(starts.empty());
  d.Run();
  d.RunAndTerminate();
  EXPECT_EQ(calls, 2);  // at once, not from the loop
  EXPECT_FALSE(d.IsPending());
  RunPastSentinel(0.03);
  EXPECT_EQ(calls, 2);  // the pending call was cancelled
}

TEST_F(DebouncerTest, TriggerCalledDirectlyCancelsThePendingTimer) {
  Debouncer d(Counter(), 5);
  d.Trigger();
  EXPECT_EQ(calls, 1);
  d.Run();
  d.Trigger();
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(d.IsPending());
  RunPastSentinel(0.03);
  EXPECT_EQ(calls, 2);
}

TEST_F(DebouncerTest, DestructorCancelsThePendingCall) {
  auto* d = new Debouncer(Counter(), 5);
  d->Run();
  delete d;
  RunPastSentinel(0.03);
  EXPECT_EQ(calls, 0);
}

TEST_F(DebouncerTest, CallbackMayDestroyItsDebouncerFromTheTimer) {
  Debouncer* d = nullptr;
  d = new Debouncer(
      [&] {
        ++calls;
        delete d;
      },
      1);
  d->Run();
  ASSERT_TRUE(RunUntilCalls(1));
  RunPastSentinel(0.01);
  EXPECT_EQ(calls, 1);
}

TEST_F(DebouncerTest, CallbackMayDestroyItsDebouncerFromRunAndTerminate) {
  Debouncer* d = nullptr;
  int captured = 7;
  d = new Debouncer(
      [&, captured] {
        delete d;
        calls += captured;  // the callback's own state outlives the debouncer
      },
      1000);
  d->Run();
  d->RunAndTerminate();
  EXPECT_EQ(calls, 7);
}

TEST_F(DebouncerTest, EmptyCallbackThrowsBadFunctionCall) {
  Debouncer d(nullptr, 10);
  EXPECT_THROW(d.RunAndTerminate(), std::bad_function_call);
  EXPECT_THROW(d.Trigger(), std::bad_function_call);
  d.Terminate();  // never calls the callback
  EXPECT_TRUE(d.HasTimeoutExpired());
}

// --- SetTimeout ----------------------------------------------------------------

TEST_F(DebouncerTest, SetTimeoutWithNothingPendingOnlyStoresIt) {
  Debouncer d(Counter(), 10);
  d.SetTimeout(30);
  EXPECT_EQ(d.GetTimeout(), 30u);
  EXPECT_TRUE(starts.empty());
  d.Run();
  ASSERT_EQ(starts.size(), 1u);
  EXPECT_EQ(starts[0].first, 0.03);
  d.Terminate();
}

TEST_F(DebouncerTest, SetTimeoutPastTheDeadlineFiresAtOnce) {
  Debouncer d(Counter(), 60000);  // a minute: only SetTimeout can make it fire here
  d.Run();                        // burst starts at tick 0
  g_ticks = 100000;               // 100 ms of processor time later
  d.SetTimeout(50);
  ASSERT_EQ(starts.size(), 2u);
  EXPECT_EQ(starts[1].first, 0.0);
  EXPECT_EQ(starts[1].second, 0u);
  for (int i = 0; i < 5 && calls == 0; ++i) internal::RunLoopIteration(false);
  EXPECT_EQ(calls, 1);
  RunPastSentinel(0.01);
  EXPECT_EQ(calls, 1);  // the first timer was deleted, not left to fire
}

TEST_F(DebouncerTest, SetTimeoutDeadlineExactlyNowFiresAtOnce) {
  Debouncer d(Counter(), 60000);
  g_ticks = 1000;
  d.Run();
  g_ticks = 51000;
  d.SetTimeout(50);
  EXPECT_EQ(starts.at(1).first, 0.0);
  d.Terminate();
}

TEST_F(DebouncerTest, SetTimeoutCountsFromTheBurstStartNotTheLatestRun) {
  Debouncer d(Counter(), 60000);
  d.Run();
  g_ticks = 150000;
  d.Run();  // the latest Run does not move the burst start
  d.SetTimeout(200);
  ASSERT_EQ(starts.size(), 2u);
  EXPECT_DOUBLE_EQ(starts[1].first, 0.05);
  ASSERT_TRUE(RunUntilCalls(1));
  EXPECT_FALSE(d.IsPending());
}

TEST_F(DebouncerTest, SetTimeoutFurtherAwayDelaysThePendingCall) {
  Debouncer d(Counter(), 1);
  d.Run();
  g_ticks = 100000;
  d.SetTimeout(60000);  // one minute after the burst start
  EXPECT_DOUBLE_EQ(starts.at(1).first, 59.9);
  RunPastSentinel(0.02);  // the original 1 ms timer is gone
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(d.IsPending());
  d.Terminate();
}

TEST_F(DebouncerTest, SetTimeoutWithAHugeValueDoesNotWrap) {
  Debouncer d(Counter(), 1);
  g_ticks = 1000;
  d.Run();
  d.SetTimeout(~0ul);
  ASSERT_EQ(starts.size(), 2u);
  EXPECT_GT(starts[1].first, 1e9);
  RunPastSentinel(0.01);
  EXPECT_EQ(calls, 0);
  d.Terminate();
}

// --- HasTimeoutExpired ------------------------------------------------------

TEST_F(DebouncerTest, HasTimeoutExpiredIsTrueWithNothingPending) {
  Debouncer d(Counter(), 200);
  EXPECT_TRUE(d.HasTimeoutExpired());
  g_ticks = 5;
  d.Run();
  d.Terminate();
  EXPECT_TRUE(d.HasTimeoutExpired());
}

TEST_F(DebouncerTest, HasTimeoutExpiredComparesTicksWithMilliseconds) {
  Debouncer d(Counter(), 200);
  g_ticks = 1000;
  d.Run();
  g_ticks = 1100;
  EXPECT_FALSE(d.HasTimeoutExpired());
  g_ticks = 1200;
  EXPECT_FALSE(d.HasTimeoutExpired());  // not more than the timeout
  g_ticks = 1201;
  EXPECT_TRUE(d.HasTimeoutExpired());  // 201 ticks, a fifth of a millisecond
  d.Run();                             // the latest Run moves the reference
  g_ticks = 1300;
  EXPECT_FALSE(d.HasTimeoutExpired());
  g_ticks = 500;  // a clock that went backwards
  EXPECT_FALSE(d.HasTimeoutExpired());
  d.Terminate();
}

TEST_F(DebouncerTest, RealProcessorClockAdvancesWithWork) {
  internal::SetProcessorClockHook(nullptr);
  Debouncer d(Counter(), 0);
  d.Run();
  const std::int64_t start = internal::ProcessorTicks();
  EXPECT_GE(start, 0);
  // Spend processor time until the clock moves on (no sleeping: a sleeping
  // process uses none).
  volatile std::uint64_t sink = 0;
  while (internal::ProcessorTicks() == start) {
    for (int i = 0; i < 10000; ++i) sink = sink + static_cast<std::uint64_t>(i);
  }
  EXPECT_GT(internal::ProcessorTicks(), start);
  EXPECT_TRUE(d.HasTimeoutExpired());
  d.Terminate();
}

TEST(DebouncerToolTest, ToolShowsABurstCollapsing) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  ASSERT_EQ(tavrin::test::RunShell("'" + tool +
                                       "' timers --interval 1 --count 2 --timeout 500 "
                                       "--requests 3 --spacing 1",
                                   &out),
            0);
  EXPECT_NE(out.find("firing 2 at"), std::string::npos) << out;
  EXPECT_EQ(out.find("firing 3"), std::string::npos) << out;
  EXPECT_NE(out.find("deleted itself after 2 firings"), std::string::npos) << out;
  EXPECT_NE(out.find(" ms (starts a burst)\n  request 2 at "), std::string::npos) << out;
  EXPECT_NE(out.find("3 requests gave 1 callback"), std::string::npos) << out;
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' timers --count -1 2>/dev/null"), 2);
}

}  // namespace
