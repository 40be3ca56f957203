// auto_release_pool.mm - AutoReleasePool on Foundation: an NSAutoreleasePool
// created with the scope and drained when it ends.
#import <Foundation/Foundation.h>

#include "common/utils/auto_release_pool.h"

AutoReleasePool::AutoReleasePool() : m_pool([[NSAutoreleasePool alloc] init]) {}

AutoReleasePool::~AutoReleasePool() {
  // drain releases the pool itself and every object autoreleased into it.
  [static_cast<NSAutoreleasePool*>(m_pool) drain];
}
