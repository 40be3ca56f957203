// Tests of TimerMac on a real NSRunLoop: firings delivered by the run loop's
// own methods (not only the library's iteration helper), the modal-panel
// mode, self-deletion and stopping inside a firing, and where a named action
// goes without an application object.
//
// Every wait has a guard deadline so that a broken timer fails instead of
// hanging; no test measures how long anything takes.
#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "common/utils/auto_release_pool.h"
#include "common/utils/timer.h"

using tavrin::utils::CommandInvoker;
using tavrin::utils::CommandInvokerAction;
using tavrin::utils::Timer;

namespace {

constexpr double kGuardSeconds = 10;  // reached only when a timer is broken

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

// Runs the current run loop in `mode` with runMode:beforeDate: until
// `done()` holds or the guard passes; returns the last answer of `done()`.
bool RunModeUntil(NSString* mode, const std::function<bool()>& done) {
  const AutoReleasePool outer;
  NSDate* guard = [NSDate dateWithTimeIntervalSinceNow:kGuardSeconds];
  while (!done() && [guard timeIntervalSinceNow] > 0) {
    const AutoReleasePool pool;
    [[NSRunLoop currentRunLoop] runMode:mode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]];
  }
  return done();
}

TEST(TimerMacTest, FiresOnTheDefaultModeOfTheRunLoop) {
  int fired = 0;
  bool deleted = false;
  Timer::Start(new CountingInvoker(&fired, &deleted), 0.005, 3);
  EXPECT_EQ(fired, 0);  // nothing before the run loop runs
  ASSERT_TRUE(RunModeUntil(NSDefaultRunLoopMode, [&] { return deleted; }));
  EXPECT_EQ(fired, 3);
}

TEST(TimerMacTest, KeepsFiringWhileAModalPanelRuns) {
  int fired = 0;
  bool deleted = false;
  Timer::Start(new CountingInvoker(&fired, &deleted), 0.005, 2);
  ASSERT_TRUE(RunModeUntil(NSModalPanelRunLoopMode, [&] { return deleted; }));
  EXPECT_EQ(fired, 2);
}

TEST(TimerMacTest, DoesNotFireInOtherModes) {
  int fired = 0;
  bool deleted = false;
  Timer* timer = Timer::Start(new CountingInvoker(&fired, &deleted), 0.001, 0);
  timer->SetDeleteWhenDone(false);
  const AutoReleasePool pool;
  // A mode the timer is not in. A timer of its own keeps that mode busy, so
  // each pass really runs; the library's timer is left alone however long
  // the passes take.
  NSString* other = @"TavrinTestOtherMode";
  NSTimer* busy = [NSTimer timerWithTimeInterval:0.002
                                          target:[NSNull null]
                                        selector:@selector(description)
                                        userInfo:nil
                                         repeats:YES];
  [[NSRunLoop currentRunLoop] addTimer:busy forMode:other];
  for (int i = 0; i < 5; ++i) {
    const AutoReleasePool inner;
    [[NSRunLoop currentRunLoop] runMode:other
                             beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
  }
  [busy invalidate];
  EXPECT_EQ(fired, 0);
  ASSERT_TRUE(RunModeUntil(NSDefaultRunLoopMode, [&] { return fired == 1; }));
  EXPECT_FALSE(deleted);  // kept: it stopped instead
  delete timer;
  EXPECT_TRUE(deleted);
}

TEST(TimerMacTest, StopInsideAFiringEndsTheRepeats) {
  int fired = 0;
  bool deleted = false;
  auto* invoker = new CountingInvoker(&fired, &deleted);
  Timer* timer = Timer::Start(invoker, 0.002, ULONG_MAX);
  invoker->action = [&] {
    if (fired == 2) timer->Stop();  // from inside the NSTimer's own callback
  };
  ASSERT_TRUE(RunModeUntil(NSDefaultRunLoopMode, [&] { return fired >= 2; }));
  // A later timer fires: the stopped one had every chance to fire again.
  int later = 0;
  bool later_deleted = false;
  Timer::Start(new CountingInvoker(&later, &later_deleted), 0.02, 0);
  ASSERT_TRUE(RunModeUntil(NSDefaultRunLoopMode, [&] { return later_deleted; }));
  EXPECT_EQ(fired, 2);
  EXPECT_FALSE(deleted);
  delete timer;
  EXPECT_TRUE(deleted);
}

TEST(TimerMacTest, DeleteInsideAnotherTimersFiring) {
  int fired = 0;
  bool deleted = false;
  Timer* victim = Timer::Start(new CountingInvoker(&fired, &deleted), 0.5, ULONG_MAX);
  int killer_fired = 0;
  bool killer_deleted = false;
  auto* killer = new CountingInvoker(&killer_fired, &killer_deleted);
  killer->action = [&] { delete victim; };
  Timer::Start(killer, 0.001, 0);
  ASSERT_TRUE(RunModeUntil(NSDefaultRunLoopMode, [&] { return killer_deleted; }));
  EXPECT_TRUE(deleted);
  EXPECT_EQ(fired, 0);
}

TEST(TimerMacTest, ManyShortTimersAllFireOnce) {
  std::vector<int> fired(50, 0);
  int done = 0;
  for (int i = 0; i < 50; ++i) {
    auto* invoker = new CountingInvoker(&fired[static_cast<std::size_t>(i)], nullptr);
    invoker->action = [&done] { ++done; };
    Timer::Start(invoker, 0.001 * (i % 5), 1);
  }
  ASSERT_TRUE(RunModeUntil(NSDefaultRunLoopMode, [&] { return done == 50; }));
  for (int count : fired) EXPECT_EQ(count, 1);
}

std::vector<std::string>& Dispatched() {
  static std::vector<std::string> names;
  return names;
}

TEST(TimerMacTest, ActionWithoutApplicationGoesToTheDispatcher) {
  if (NSApp != nil) GTEST_SKIP() << "an application object exists: the responder chain answers";
  Dispatched().clear();
  CommandInvokerAction::SetActionDispatcher([](const char* name) { Dispatched().push_back(name); });
  CommandInvokerAction("performClose:").Invoke();
  CommandInvokerAction::SetActionDispatcher(nullptr);
  EXPECT_EQ(Dispatched(), std::vector<std::string>{"performClose:"});
}

}  // namespace

// The application delegate that receives an action sent up the chain.
@interface TavrinActionReceiver : NSObject {
 @public
  int received;
}
- (void)tavrinTestAction:(id)sender;
@end

@implementation TavrinActionReceiver
- (void)tavrinTestAction:(id)sender {
  ++received;
}
@end

namespace {

TEST(TimerMacTest, ActionGoesUpTheResponderChain) {
#if defined(GNUSTEP)
  // GNUstep's NSApplication needs its display backend and a window server.
  if (std::getenv("DISPLAY") == nullptr) {
    GTEST_SKIP() << "no window server (DISPLAY unset): NSApplication cannot start here";
  }
#endif
  const AutoReleasePool pool;
  [NSApplication sharedApplication];
  ASSERT_NE(NSApp, nil);
  TavrinActionReceiver* receiver = [[TavrinActionReceiver alloc] init];
  id previous = [NSApp delegate];
  [NSApp setDelegate:(id)receiver];
  Dispatched().clear();
  CommandInvokerAction::SetActionDispatcher([](const char* name) { Dispatched().push_back(name); });
  CommandInvokerAction("tavrinTestAction:").Invoke();
  CommandInvokerAction(nullptr).Invoke();
  CommandInvokerAction::SetActionDispatcher(nullptr);
  [NSApp setDelegate:previous];
  EXPECT_EQ(receiver->received, 1);
  EXPECT_TRUE(Dispatched().empty());  // the chain had it: no dispatcher call
  [receiver release];
}

}  // namespace
