// auto_release_pool.h - AutoReleasePool, a scope around the platform's
// autorelease pool.
//
// On Foundation the constructor creates an NSAutoreleasePool and the
// destructor drains it, so objects autoreleased while the scope lives are
// released when it ends. On Linux there is no such pool and the object does
// nothing. It belongs to the thread that creates it. Not copyable.
#pragma once

#include "common/utils/export.h"

class TAVRIN_EXPORT AutoReleasePool {
 public:
  AutoReleasePool();
  ~AutoReleasePool();
  AutoReleasePool(const AutoReleasePool&) = delete;
  AutoReleasePool& operator=(const AutoReleasePool&) = delete;

 private:
  void* m_pool;  // the platform pool object, or null
};
