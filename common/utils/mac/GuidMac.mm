// GuidMac.mm - random bytes for identifiers on Foundation.
//
// A 16-byte request is a new identifier (Guid::Generate) and comes from the
// system's UUID service: CFUUIDCreate and CFUUIDGetUUIDBytes where
// CoreFoundation exists (Apple), NSUUID's bytes elsewhere (GNUstep, which
// reads /dev/urandom). The service's bytes already form a version-4 UUID;
// Generate stamps version and variant again, which changes nothing. Requests
// of any other size (no caller makes one today) come straight from the
// system's entropy source (getentropy).
#import <Foundation/Foundation.h>

#include <unistd.h>
#if defined(__APPLE__)
#include <sys/random.h>
#endif

#include <cstddef>
#include <cstdint>
#include <cstring>

#if __has_include(<CoreFoundation/CFUUID.h>)
#include <CoreFoundation/CFUUID.h>
#define TAVRIN_HAVE_CFUUID 1
#endif

#include "common/utils/auto_release_pool.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

namespace {

bool UuidBytes(std::uint8_t* out) {
#if defined(TAVRIN_HAVE_CFUUID)
  CFUUIDRef uuid = CFUUIDCreate(kCFAllocatorDefault);
  if (uuid == nullptr) return false;
  const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(uuid);
  CFRelease(uuid);
  static_assert(sizeof(bytes) == 16, "a UUID is 16 bytes");
  std::memcpy(out, &bytes, 16);
  return true;
#else
  const AutoReleasePool pool;
  NSUUID* uuid = [[NSUUID alloc] init];
  if (uuid == nil) return false;
  [uuid getUUIDBytes:out];
  [uuid release];
  return true;
#endif
}

// getentropy gives at most 256 bytes per call.
bool EntropyBytes(std::uint8_t* out, std::size_t size) {
  while (size > 0) {
    const std::size_t chunk = size < 256 ? size : 256;
    if (::getentropy(out, chunk) != 0) return false;
    out += chunk;
    size -= chunk;
  }
  return true;
}

}  // namespace

bool FillRandomBytes(void* out, std::size_t size) {
  if (size == 0) return true;
  if (out == nullptr) return false;
  auto* bytes = static_cast<std::uint8_t*>(out);
  if (size == 16) return UuidBytes(bytes);
  return EntropyBytes(bytes, size);
}

}  // namespace tavrin::platform
