// osutils.cpp - portable rules of the operating-system queries.
#include "common/utils/osutils.h"

#include <pthread.h>

#include <mutex>

namespace tavrin::osutils {

bool IsMainThread() {
  static std::once_flag once;
  static pthread_t main_thread;
  std::call_once(once, [] { main_thread = pthread_self(); });
  return pthread_equal(main_thread, pthread_self()) != 0;
}

}  // namespace tavrin::osutils
