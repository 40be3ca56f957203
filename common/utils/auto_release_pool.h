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
  // The platform pool object, or null. Only the Foundation layer keeps a
  // pool; elsewhere the field is never read.
  [[maybe_unused]] void* m_pool;
};
