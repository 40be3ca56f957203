// posix_internal.h - helpers of the POSIX platform code that both platform
// layers share (not installed, not exported): retried system calls, path
// text and random names.
//
// Paths are byte strings (UTF-8 on every supported system); "/" is the only
// separator and nothing here touches the file system unless it says so.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <string>

namespace tavrin::platform::posix {

// RetryOnEintr() - calls `call` again while it returns -1 with errno EINTR;
// returns its last result.
template <class F>
auto RetryOnEintr(F call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

// OpenRetry() - open(2) of the NUL-terminated `path` with `flags` plus
// O_CLOEXEC, retried on EINTR; -1 with errno on failure.
int OpenRetry(const char* path, int flags, mode_t mode = 0);

// WriteAll() - writes all `length` bytes at `bytes` to `fd`, continuing after
// short writes and EINTR; false on any other error (errno is kept).
bool WriteAll(int fd, const void* bytes, std::size_t length);

// Environment() - the value of the environment variable `name`; "" when it
// is unset.
std::string Environment(const char* name);

// IsAbsolute() - whether `path` starts with "/".
bool IsAbsolute(const std::string& path);

// StripTrailingSlashes() - `path` without trailing "/", a lone "/" kept.
std::string StripTrailingSlashes(std::string path);

// Join() - "a" + "b" with exactly one "/" between them when `a` does not end
// with one; `b` alone when `a` is empty.
std::string Join(const std::string& a, const std::string& b);

// ParentOf() - the folder that holds `path`: "." for a bare name, "/" for an
// item of the root.
std::string ParentOf(const std::string& path);

// IsInside() - whether `inner` lies strictly below the folder `outer`, both
// absolute and normalised (text only).
bool IsInside(const std::string& outer, const std::string& inner);

// RandomName() - `count` characters from [A-Za-z0-9], uniformly drawn from
// the system's random source (std::random_device when it fails).
std::string RandomName(std::size_t count);

}  // namespace tavrin::platform::posix
