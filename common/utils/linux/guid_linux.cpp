// guid_linux.cpp - the Linux random source for identifiers: getrandom(2),
// with /dev/urandom as the fallback when the kernel lacks the call.
#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "common/utils/linux/guid_linux.h"
#include "common/utils/platform.h"

namespace tavrin::platform {
namespace {

constexpr const char kDefaultDevice[] = "/dev/urandom";

long SystemGetRandom(void* buffer, std::size_t size, unsigned int flags) {
  return static_cast<long>(::getrandom(buffer, size, flags));
}

GetRandomCall g_getrandom = &SystemGetRandom;
std::string g_device = kDefaultDevice;

enum class Outcome { kFilled, kMissing, kFailed };

// getrandom until `size` bytes are in: interrupted calls are repeated and a
// short result (possible for large requests) continues where it stopped.
Outcome FromSystemCall(std::uint8_t* out, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    long n = g_getrandom(out + done, size - done, 0);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == ENOSYS || errno == EPERM)) return Outcome::kMissing;
    return Outcome::kFailed;  // another error, or 0 bytes (no progress)
  }
  return Outcome::kFilled;
}

bool FromDevice(std::uint8_t* out, std::size_t size) {
  int fd;
  do {
    fd = ::open(g_device.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  std::size_t done = 0;
  while (done < size) {
    ssize_t n = ::read(fd, out + done, size - done);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else {
      break;  // error or end of file
    }
  }
  ::close(fd);
  return done == size;
}

}  // namespace

bool FillRandomBytes(void* out, std::size_t size) {
  auto* bytes = static_cast<std::uint8_t*>(out);
  if (size == 0) return true;
  if (bytes == nullptr) return false;
  switch (FromSystemCall(bytes, size)) {
    case Outcome::kFilled:
      return true;
    case Outcome::kMissing:
      return FromDevice(bytes, size);
    case Outcome::kFailed:
      break;
  }
  return false;
}

void SetRandomSourceForTesting(GetRandomCall call, const char* device_path) {
  g_getrandom = call != nullptr ? call : &SystemGetRandom;
  g_device = device_path != nullptr ? device_path : kDefaultDevice;
}

}  // namespace tavrin::platform
