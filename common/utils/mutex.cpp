// mutex.cpp - the lazily created error-checking lock.
#include "common/utils/mutex.h"

namespace tavrin::utils {

Mutex::Mutex() : m_initialized(false), m_mutex() {}

Mutex::~Mutex() {
  if (!m_initialized) return;
  pthread_mutex_unlock(&m_mutex);
  pthread_mutex_destroy(&m_mutex);
}

bool Mutex::InitMutex() {
  if (m_initialized) return true;
  pthread_mutexattr_t attr;
  if (pthread_mutexattr_init(&attr) != 0) return false;
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK);
  m_initialized = pthread_mutex_init(&m_mutex, &attr) == 0;
  pthread_mutexattr_destroy(&attr);
  return m_initialized;
}

bool Mutex::Lock() {
  if (!InitMutex()) return false;
  return pthread_mutex_lock(&m_mutex) == 0;
}

bool Mutex::Unlock() {
  if (!m_initialized) return false;
  return pthread_mutex_unlock(&m_mutex) == 0;
}

}  // namespace tavrin::utils
