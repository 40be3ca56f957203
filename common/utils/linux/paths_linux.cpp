// paths_linux.cpp - the Linux side of the path functions: reading the working
// directory and creating a file under a name nobody holds yet.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "common/utils/platform.h"

namespace tavrin::platform {

bool GetWorkingDirectory(std::string& out) {
  // getcwd with a buffer that grows until the directory fits, so long
  // directories work; any error other than ERANGE is final.
  std::string buffer(256, '\0');
  for (;;) {
    if (::getcwd(buffer.data(), buffer.size()) != nullptr) {
      buffer.resize(std::strlen(buffer.c_str()));
      out = std::move(buffer);
      return true;
    }
    if (errno != ERANGE || buffer.size() > (std::size_t{1} << 24)) break;
    buffer.resize(buffer.size() * 2);
  }
  out.clear();
  return false;
}

int CreateNewFile(const std::string& path, const void* bytes, std::size_t length) {
  if (path.empty()) return ENOENT;
  if (bytes == nullptr && length > 0) return EINVAL;
  int fd;
  do {
    fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return errno;
  int error = 0;
  const char* p = static_cast<const char*>(bytes);
  std::size_t left = length;
  while (left > 0) {
    const ssize_t n = ::write(fd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      error = errno;
      break;
    }
    p += n;
    left -= static_cast<std::size_t>(n);
  }
  if (error == 0 && ::fsync(fd) != 0) error = errno;
  if (::close(fd) != 0 && error == 0 && errno != EINTR) error = errno;
  if (error != 0) ::unlink(path.c_str());  // the file is ours: created above
  return error;
}

}  // namespace tavrin::platform
