// guid_linux.h - test seam of the Linux random source behind
// tavrin::platform::FillRandomBytes (internal, not installed).
//
// FillRandomBytes asks getrandom(2) and, when the kernel lacks the call
// (ENOSYS, or EPERM from a sandbox that filters it), reads a random device.
// Tests replace both to feed interrupted calls, short reads and missing
// sources; production code never calls SetRandomSourceForTesting.
#pragma once

#include <cstddef>

#include "common/utils/export.h"

namespace tavrin::platform {

// The shape of getrandom(2): bytes written, or -1 with errno set.
using GetRandomCall = long (*)(void* buffer, std::size_t size, unsigned int flags);

// SetRandomSourceForTesting() - replaces the getrandom call and the path of
// the fallback device ("/dev/urandom"). Null arguments restore the defaults.
// Not thread-safe: call it while no other thread asks for random bytes.
TAVRIN_EXPORT void SetRandomSourceForTesting(GetRandomCall call, const char* device_path);

}  // namespace tavrin::platform
