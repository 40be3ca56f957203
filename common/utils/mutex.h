// mutex.h - Mutex, the library's portable lock, created lazily.
//
// The lock is an error-checking POSIX mutex (not recursive): a second Lock by
// the owner, an Unlock by a thread that does not hold it, or an Unlock of an
// unlocked mutex returns false instead of deadlocking or corrupting state.
// Creation is lazy and unguarded: construct the Mutex and call InitMutex()
// before sharing it between threads. Not copyable.
#pragma once

#include <pthread.h>

#include "common/utils/export.h"

namespace tavrin::utils {

class TAVRIN_EXPORT Mutex {
 public:
  // The POSIX mutex is not created yet.
  Mutex();
  // When created: unlocks (a failure is harmless) and destroys the mutex.
  // Destroying a mutex another thread holds is a caller error.
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // InitMutex() - creates the mutex when not yet created; false when creation
  // fails (then the mutex stays uncreated).
  bool InitMutex();

  // Lock() - creates the mutex if needed; false when it cannot be created or
  // locking fails (including a relock by the owner).
  bool Lock();

  // Unlock() - false when the mutex was never created or unlocking fails
  // (not held by this thread).
  bool Unlock();

 private:
  bool m_initialized;
  pthread_mutex_t m_mutex;
};

}  // namespace tavrin::utils
