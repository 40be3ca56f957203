// auto_release_pool_linux.cpp - Linux has no autorelease pool: a scope object
// that does nothing.
#include "common/utils/auto_release_pool.h"

AutoReleasePool::AutoReleasePool() : m_pool(nullptr) {}

AutoReleasePool::~AutoReleasePool() = default;
