// TimerMac.mm - the Foundation run-loop timer behind Timer::Start, and the
// run-loop iteration used by RunLoopUntil.
//
// A TimerMac schedules an NSTimer on the calling thread's run loop in the
// default mode and adds it for NSModalPanelRunLoopMode too, so it keeps
// firing while a modal panel runs. The NSTimer's target is a TVTimerCommand,
// which calls Timer::Fire. The NSTimer retains its target; the TimerMac
// retains the NSTimer until Stop.
//
// Lifetime: Fire may delete the TimerMac (its last firing), whose destructor
// stops the NSTimer from inside the NSTimer's own callback. Stop therefore
// first detaches the command from the timer, then invalidates and releases
// the NSTimer: the run loop keeps a firing timer alive until its callback
// has returned (Apple's and GNUstep's alike), and the command keeps itself
// alive for the rest of its method.
#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <cmath>

#include "common/utils/auto_release_pool.h"
#include "common/utils/platform.h"
#include "common/utils/timer.h"

namespace {
// Timer firings dispatched on this thread: RunLoopIteration compares it
// before and after to answer whether it dispatched anything.
thread_local unsigned long t_firings = 0;
}  // namespace

// The NSTimer target of a TimerMac. m_pTimer is not retained (a C++
// object); the TimerMac clears it when it stops.
@interface TVTimerCommand : NSObject {
 @public
  tavrin::utils::Timer* m_pTimer;
}
- (id)initWithTimer:(tavrin::utils::Timer*)timer;
- (void)onTimerFired:(NSTimer*)timer;
@end

@implementation TVTimerCommand

- (id)initWithTimer:(tavrin::utils::Timer*)timer {
  if ((self = [super init])) m_pTimer = timer;
  return self;
}

- (void)onTimerFired:(NSTimer*)timer {
  // Fire may stop the NSTimer, which releases this target: stay alive
  // until the method ends.
  [self retain];
  ++t_firings;
  if (m_pTimer != nullptr) m_pTimer->Fire();
  [self release];
}

@end

namespace tavrin::platform {

namespace {

using tavrin::utils::CommandInvoker;
using tavrin::utils::Timer;

// The NSTimer interval: negative and NaN intervals are 0 (due at once); a
// repeating timer waits at least 1 ms, so a repeating 0 s timer cannot
// starve the run loop; very large intervals are cut to about 30,000 years,
// which still never fires and keeps the fire date representable.
NSTimeInterval PlatformInterval(double seconds, bool repeating) {
  double s = std::isnan(seconds) || seconds < 0 ? 0.0 : seconds;
  if (s > 1e12) s = 1e12;
  if (repeating && s < 0.001) s = 0.001;
  return s;
}

class TimerMac final : public Timer {
 public:
  TimerMac(CommandInvoker* invoker, double intervalSeconds, unsigned long count)
      : Timer(invoker, intervalSeconds, count) {
    const AutoReleasePool pool;
    const bool repeats = count > 1;
    command_ = [[TVTimerCommand alloc] initWithTimer:this];
    // As scheduledTimerWithTimeInterval:... does, with the first firing date
    // set exactly: a due timer (interval 0) fires at the next iteration.
    const NSTimeInterval interval = PlatformInterval(intervalSeconds, repeats);
    timer_ = [[NSTimer alloc] initWithFireDate:[NSDate dateWithTimeIntervalSinceNow:interval]
                                      interval:interval
                                        target:command_
                                      selector:@selector(onTimerFired:)
                                      userInfo:nil
                                       repeats:repeats ? YES : NO];
    NSRunLoop* loop = [NSRunLoop currentRunLoop];
    [loop addTimer:timer_ forMode:NSDefaultRunLoopMode];
    [loop addTimer:timer_ forMode:NSModalPanelRunLoopMode];
    [command_ release];  // the NSTimer keeps its target alive
  }

  ~TimerMac() override { TimerMac::Stop(); }

  void Stop() override {
    if (timer_ == nil) return;
    NSTimer* timer = timer_;
    timer_ = nil;
    command_->m_pTimer = nullptr;  // alive: the NSTimer still holds it
    command_ = nil;
    [timer invalidate];
    [timer release];
  }

 private:
  NSTimer* timer_ = nil;
  TVTimerCommand* command_ = nil;  // not retained
};

}  // namespace

Timer* StartRunLoopTimer(CommandInvoker* invoker, double intervalSeconds, unsigned long count) {
  return new TimerMac(invoker, intervalSeconds, count);
}

bool RunLoopIteration(bool mayBlock) {
  const AutoReleasePool pool;
  NSRunLoop* loop = [NSRunLoop currentRunLoop];
  const unsigned long before = t_firings;
  // limitDateForMode: fires the timers that are due and answers when the
  // next one is (nil when nothing is scheduled).
  NSDate* next = [loop limitDateForMode:NSDefaultRunLoopMode];
  if (t_firings != before || next == nil) return t_firings != before;
  // Waits for input until the next timer is due (or only polls), then fires
  // what has become due. A run loop with nothing scheduled never blocks.
  [loop runMode:NSDefaultRunLoopMode beforeDate:mayBlock ? next : [NSDate date]];
  if (t_firings == before) [loop limitDateForMode:NSDefaultRunLoopMode];
  return t_firings != before;
}

}  // namespace tavrin::platform
