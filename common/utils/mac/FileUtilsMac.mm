// FileUtilsMac.mm - the Foundation side of the file and folder functions.
//
// Paths arrive in the file system's byte form (UTF-8). Where the library's
// rules name a POSIX call on this platform (getcwd, open, flock, stat,
// mkdtemp) it is made directly; otherwise the shared NSFileManager and the
// Foundation folder functions answer, with paths bridged through the
// NSString categories.
#import <Foundation/Foundation.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "common/utils/platform.h"

namespace tavrin::platform {

bool GetWorkingDirectory(std::string& out) {
  // getcwd into a buffer that doubles until the directory fits.
  std::string buffer(1024, '\0');
  while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
    if (errno != ERANGE || buffer.size() >= (std::size_t{1} << 24)) {
      out.clear();
      return false;
    }
    buffer.resize(buffer.size() * 2);
  }
  buffer.resize(std::strlen(buffer.c_str()));
  out.swap(buffer);
  return true;
}

int CreateNewFile(const std::string& path, const void* bytes, std::size_t length) {
  if (path.empty()) return ENOENT;
  if (bytes == nullptr && length > 0) return EINVAL;
  int fd = -1;
  do {
    fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return errno;
  int error = 0;
  const char* next = static_cast<const char*>(bytes);
  for (std::size_t left = length; left > 0 && error == 0;) {
    const ssize_t written = ::write(fd, next, left);
    if (written >= 0) {
      next += written;
      left -= static_cast<std::size_t>(written);
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  if (error == 0 && ::fsync(fd) != 0) error = errno;
  if (::close(fd) != 0 && error == 0 && errno != EINTR) error = errno;
  // Created by this call, so removing the partial file touches nobody else's.
  if (error != 0) ::unlink(path.c_str());
  return error;
}

}  // namespace tavrin::platform
