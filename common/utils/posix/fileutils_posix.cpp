// fileutils_posix.cpp - the file-system and diagnostics seams of platform.h
// that every POSIX platform layer makes with the same system calls: the
// working directory, exclusive creation, advisory locks, stat, streams,
// folders made with mkdir and mkdtemp, trace and log appends, error texts.
//
// Every descriptor is opened close-on-exec, every system call is retried on
// EINTR, and no write follows a symbolic link planted at its path.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "common/utils/platform.h"
#include "common/utils/posix/posix_internal.h"

namespace tavrin::platform {

namespace posix {

int OpenRetry(const char* path, int flags, mode_t mode) {
  return RetryOnEintr([&] { return ::open(path, flags | O_CLOEXEC, mode); });
}

bool WriteAll(int fd, const void* bytes, std::size_t length) {
  const char* p = static_cast<const char*>(bytes);
  while (length > 0) {
    const ssize_t n = ::write(fd, p, length);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    p += n;
    length -= static_cast<std::size_t>(n);
  }
  return true;
}

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::string(value) : std::string();
}

bool IsAbsolute(const std::string& path) {
  return !path.empty() && path[0] == '/';
}

std::string StripTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string Join(const std::string& a, const std::string& b) {
  if (a.empty()) return b;
  return a.back() == '/' ? a + b : a + "/" + b;
}

std::string ParentOf(const std::string& path) {
  const std::string p = StripTrailingSlashes(path);
  std::size_t slash = p.rfind('/');
  if (slash == std::string::npos) return ".";
  while (slash > 0 && p[slash - 1] == '/') --slash;
  return slash == 0 ? std::string("/") : p.substr(0, slash);
}

bool IsInside(const std::string& outer, const std::string& inner) {
  if (outer.empty() || inner.size() <= outer.size()) return false;
  if (inner.compare(0, outer.size(), outer) != 0) return false;
  return outer == "/" || inner[outer.size()] == '/';
}

std::string RandomName(std::size_t count) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  std::string out;
  while (out.size() < count) {
    unsigned char bytes[32];
    if (!FillRandomBytes(bytes, sizeof bytes)) {
      std::random_device device;
      for (unsigned char& b : bytes) b = static_cast<unsigned char>(device());
    }
    for (unsigned char b : bytes) {
      if (b >= 248) continue;  // 248 = 4 * 62: keeps the draw uniform
      out.push_back(kAlphabet[b % 62]);
      if (out.size() == count) break;
    }
  }
  return out;
}

}  // namespace posix

namespace {

using posix::OpenRetry;
using posix::ParentOf;
using posix::RetryOnEintr;
using posix::WriteAll;

// strerror_r comes in two forms: XSI (Apple's C library) returns 0 and fills
// the buffer, GNU (glibc) returns the message.
[[maybe_unused]] std::string ErrorMessage(int result, const char* buffer) {
  return result == 0 ? std::string(buffer) : std::string();
}
[[maybe_unused]] std::string ErrorMessage(const char* result, const char*) {
  return result != nullptr ? std::string(result) : std::string();
}

}  // namespace

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
  const int fd = OpenRetry(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666);
  if (fd < 0) return errno;
  int error = 0;
  if (!WriteAll(fd, bytes, length)) error = errno;
  if (error == 0 && ::fsync(fd) != 0) error = errno;
  if (::close(fd) != 0 && error == 0 && errno != EINTR) error = errno;
  if (error != 0) ::unlink(path.c_str());  // the file is ours: created above
  return error;
}

bool ChangeDirectory(const std::string& path) {
  return ::chdir(path.c_str()) == 0;
}

int LockPath(const std::string& path) {
  if (path.empty()) return -1;
  const int fd = OpenRetry(path.c_str(), O_WRONLY | O_NONBLOCK);
  if (fd < 0) return -1;
  if (RetryOnEintr([&] { return ::flock(fd, LOCK_EX | LOCK_NB); }) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

bool UnlockPath(int* handle) {
  if (handle == nullptr || *handle == -1) return false;
  const bool ok = RetryOnEintr([&] { return ::flock(*handle, LOCK_UN); }) == 0;
  ::close(*handle);
  *handle = -1;
  return ok;
}

bool PathIsLocked(const std::string& path) {
  if (path.empty()) return false;
  const int fd = OpenRetry(path.c_str(), O_WRONLY | O_NONBLOCK);
  if (fd < 0) return false;
  const bool locked = RetryOnEintr([&] { return ::flock(fd, LOCK_EX | LOCK_NB); }) != 0;
  if (!locked) ::flock(fd, LOCK_UN);
  ::close(fd);
  return locked;
}

bool StatPath(const std::string& path, void* out) {
  return !path.empty() && out != nullptr &&
         ::stat(path.c_str(), static_cast<struct stat*>(out)) == 0;
}

std::FILE* OpenStream(const std::string& path, const std::string& mode) {
  if (path.empty() || mode.empty()) return nullptr;
#if defined(__GLIBC__)
  // "e": the descriptor is opened close-on-exec, with no window in between.
  std::string m = mode;
  if (m.find('e') == std::string::npos) m += 'e';
  return std::fopen(path.c_str(), m.c_str());
#else
  std::FILE* stream = std::fopen(path.c_str(), mode.c_str());
  if (stream != nullptr) ::fcntl(::fileno(stream), F_SETFD, FD_CLOEXEC);
  return stream;
#endif
}

bool GetStreamTimes(std::FILE* stream, std::int64_t* status_change, std::int64_t* modification) {
  if (stream == nullptr) return false;
  struct stat st;
  if (::fstat(::fileno(stream), &st) != 0) return false;
  if (status_change != nullptr) *status_change = st.st_ctime;
  if (modification != nullptr) *modification = st.st_mtime;
  return true;
}

bool CreateDirectory(const std::string& path, unsigned int mode) {
  if (path.empty()) return false;
  if (::mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0) return true;
  return errno == EEXIST && PathIsDirectory(path);
}

bool CreateDirectories(const std::string& path, std::string* error_text) {
  if (path.empty() || PathIsDirectory(path)) return true;
  // Each missing prefix in turn, mode 0777 under the umask, with the
  // system's own error number for the message.
  std::size_t pos = 0;
  while (pos <= path.size()) {
    std::size_t slash = path.find('/', pos);
    if (slash == std::string::npos) slash = path.size();
    if (slash > 0 && path[slash - 1] != '/') {
      const std::string prefix = path.substr(0, slash);
      if (::mkdir(prefix.c_str(), 0777) != 0 && !(errno == EEXIST && PathIsDirectory(prefix))) {
        const int error = errno == EEXIST ? ENOTDIR : errno;
        if (error_text != nullptr) *error_text = ErrorText(error);
        return false;
      }
    }
    pos = slash + 1;
  }
  return true;
}

std::string UnusedRandomPath(const std::string& prefix) {
  for (;;) {
    const std::string candidate = prefix + posix::RandomName(6);
    struct stat st;
    if (::lstat(candidate.c_str(), &st) != 0) return candidate;
  }
}

bool MakeUniqueDirectory(std::string& path_template) {
  if (path_template.size() < 6) return false;
  std::string work = path_template;
  if (::mkdtemp(work.data()) != nullptr) {
    path_template = work;
    return true;
  }
  if (errno != ENOENT) return false;
  // The missing parents first, outermost first, mode 0755 (the umask
  // applies); one made meanwhile by someone else is fine.
  std::vector<std::string> missing;
  for (std::string p = ParentOf(path_template); !p.empty() && p != "." && p != "/";) {
    struct stat st;
    if (::lstat(p.c_str(), &st) == 0) break;
    missing.push_back(p);
    const std::string up = ParentOf(p);
    if (up == p || missing.size() > 4096) break;
    p = up;
  }
  for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
    if (::mkdir(it->c_str(), 0755) != 0 && errno != EEXIST) return false;
  }
  work = path_template;
  if (::mkdtemp(work.data()) == nullptr) return false;
  path_template = work;
  return true;
}

bool WriteTraceFile(const std::string& path, bool truncate, const std::string& bytes) {
  if (path.empty()) return false;
  // O_NOFOLLOW: a link planted at the path is never followed. O_NONBLOCK: a
  // FIFO cannot stall the caller. Truncation waits until the file is known
  // to be a regular file of this user; then a file left readable by others
  // (an older one, or one made by hand) is narrowed to 0600 as well.
  const int fd =
      OpenRetry(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) return false;
  struct stat st;
  bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == ::geteuid();
  if (ok && truncate) ok = ::ftruncate(fd, 0) == 0;
  if (ok && truncate && (st.st_mode & 07777) != 0600) ok = ::fchmod(fd, 0600) == 0;
  if (ok) ok = WriteAll(fd, bytes.data(), bytes.size());
  ::close(fd);
  return ok;
}

bool AppendToFile(const std::string& path, const std::string& bytes) {
  if (path.empty()) return false;
  const int fd =
      OpenRetry(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) return false;
  // One write for the whole message: with O_APPEND the kernel places it at
  // the end of the file in one piece, so writers never interleave inside a
  // message. WriteAll only loops on a short write.
  bool ok = WriteAll(fd, bytes.data(), bytes.size());
  if (::close(fd) != 0) ok = false;
  return ok;
}

std::string ErrorText(int error_number) {
  char buffer[256] = {};
  return ErrorMessage(::strerror_r(error_number, buffer, sizeof buffer), buffer);
}

}  // namespace tavrin::platform
