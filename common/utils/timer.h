// timer.h - running something later on the calling thread's run loop:
// CommandInvoker (an object that performs one action), its method-calling and
// named-action forms, and Timer (fires an invoker after an interval, once, a
// given number of times or until stopped).
//
// Unit-wide rules:
// - Everything runs on the thread that started the timer, on that thread's
//   run loop (on Linux the thread-default GLib main context taken at Start:
//   the loop GTK uses, and Qt on Linux). Nothing is marshalled to another
//   thread and nothing is locked.
// - A timer owns its invoker and deletes it with itself. A timer whose last
//   firing is done deletes itself (unless told not to); an invoker must never
//   delete the timer it runs in.
// - A timer fires only while the loop runs: a program without a loop of its
//   own (GTK, Qt, GLib) has to iterate the thread-default GLib main context
//   itself for its timers to fire.
#pragma once

#include <cstdint>
#include <string>

#include "common/utils/export.h"

namespace tavrin::utils {

// CommandInvoker
//
// Abstract action: Invoke() performs it. Invoke() is the first virtual
// operation, the destructor follows.
class TAVRIN_EXPORT CommandInvoker {
 public:
  virtual void Invoke() const = 0;
  virtual ~CommandInvoker();
};

// CommandMethodInvoker<T>
//
// Calls a member function of T taking no arguments on a target it does not
// own. A null target or a null member pointer does nothing.
template <class T>
class CommandMethodInvoker : public CommandInvoker {
 public:
  using Method = void (T::*)();

  CommandMethodInvoker(T* target, Method method) : target_(target), method_(method) {}

  // Invoke() - calls the member function on the target; touches nothing of
  // this invoker afterwards, so the call may destroy the target.
  void Invoke() const override {
    if (target_ != nullptr && method_ != nullptr) (target_->*method_)();
  }

 private:
  T* target_;
  Method method_;
};

// CommandInvokerAction
//
// A named application action (a menu command such as "copy:"). On Linux the
// name goes to the dispatcher the application installs with
// SetActionDispatcher; on Foundation it goes up the responder chain as a
// selector. A null name, or no dispatcher, makes Invoke() do nothing.
class TAVRIN_EXPORT CommandInvokerAction : public CommandInvoker {
 public:
  // The action name is copied; null means "no action". `action` is a
  // NUL-terminated 8-bit string.
  explicit CommandInvokerAction(const char* action);

  // Invoke() - hands the name to the platform, then (Linux) to the installed
  // dispatcher; nothing happens for a null name.
  void Invoke() const override;

  // The action name, or null when there is none.
  const char* GetAction() const { return has_action_ ? action_.c_str() : nullptr; }

  // SetActionDispatcher() - installs the function that receives every action
  // name on Linux (null uninstalls). Install it once at start-up on the main
  // thread; the dispatcher is called on the thread where the invoker runs.
  static void SetActionDispatcher(void (*dispatcher)(const char* action));

 private:
  std::string action_;
  bool has_action_;
};

// Timer
//
// The platform-independent part of a run-loop timer. Start() creates the
// platform timer; Fire() is what the run loop calls at each firing.
//
// Counting: `count` is the number of firings left. Start with 0 or 1 fires
// once; N >= 2 fires N times, `interval` apart; the largest unsigned value
// fires until the timer is stopped or deleted.
class TAVRIN_EXPORT Timer {
 public:
  // Start() - creates a platform timer that fires `invoker` every
  // `intervalSeconds` (negative or NaN count as 0; on Linux the interval is
  // rounded up to whole milliseconds and a repeating timer waits at least
  // 1 ms) on the calling thread's run loop, and returns it. The timer owns
  // `invoker` from here on (null is allowed: the timer then only counts).
  // Never returns null. The caller may keep the pointer to Stop or delete
  // the timer, but must forget it once the timer has deleted itself after
  // its last firing.
  static Timer* Start(CommandInvoker* invoker, double intervalSeconds, unsigned long count);

  // Deletes the invoker. A platform timer detaches from the run loop first.
  virtual ~Timer();

  // Fire() - one firing: nothing while suspended; otherwise invokes the
  // invoker, counts the firing down (unless the count is 0 or "forever"),
  // and when no firing is left deletes the timer (deleteWhenDone) or stops
  // it. After a call that finished the timer with deleteWhenDone the object
  // is gone: the caller must not touch it again.
  virtual void Fire();

  // Stop() - detaches from the run loop so no further firing happens; the
  // object stays until deleted. A second Stop does nothing.
  virtual void Stop() = 0;

  // Plain setters and getters; nothing in the library calls the setters.
  // While suspended, firings do nothing (the count does not go down).
  void SetSuspended(bool suspended) { suspended_ = suspended; }
  bool IsSuspended() const { return suspended_; }
  // With deleteWhenDone false a finished timer stops instead of deleting
  // itself, and its owner deletes it.
  void SetDeleteWhenDone(bool deleteWhenDone) { deleteWhenDone_ = deleteWhenDone; }
  bool GetDeleteWhenDone() const { return deleteWhenDone_; }

  double GetInterval() const { return interval_; }
  // Firings left, as described above.
  std::uint64_t GetCount() const { return count_; }

  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

 protected:
  Timer(CommandInvoker* invoker, double intervalSeconds, unsigned long count);

 private:
  CommandInvoker* invoker_;
  double interval_;
  std::uint64_t count_;
  bool deleteWhenDone_ = true;
  bool suspended_ = false;
};

}  // namespace tavrin::utils
