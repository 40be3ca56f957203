// fileutils_linux.cpp - the Linux side of the file-system and folder seams
// declared in platform.h: items, copies and removals through descriptors,
// the XDG folders, the password database and the private temporary folder.
// What every POSIX layer does alike lives in posix/fileutils_posix.cpp.
//
// Paths arrive as UTF-8 bytes. Every descriptor is opened close-on-exec, every
// system call is retried on EINTR, and nothing here follows a symbolic link
// where a swapped-in link could redirect a removal, a copy or a trace write.
#include <dirent.h>
#include <fcntl.h>
#include <glib.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "common/utils/platform.h"
#include "common/utils/posix/posix_internal.h"

namespace tavrin::platform {
namespace {

using posix::Environment;
using posix::IsAbsolute;
using posix::IsInside;
using posix::Join;
using posix::OpenRetry;
using posix::ParentOf;
using posix::RandomName;
using posix::RetryOnEintr;
using posix::StripTrailingSlashes;
using posix::WriteAll;

std::string LastComponentOf(const std::string& path) {
  std::string p = StripTrailingSlashes(path);
  std::size_t slash = p.rfind('/');
  if (slash == std::string::npos || p == "/") return p;
  return p.substr(slash + 1);
}

std::string RealPath(const std::string& path) {
  char* resolved = ::realpath(path.c_str(), nullptr);
  if (!resolved) return {};
  std::string result(resolved);
  std::free(resolved);
  return result;
}

bool PasswdOfUid(uid_t uid, std::string* dir, std::string* name) {
  long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buf(size > 0 ? static_cast<std::size_t>(size) : 16384);
  for (;;) {
    struct passwd pw;
    struct passwd* result = nullptr;
    int rc = ::getpwuid_r(uid, &pw, buf.data(), buf.size(), &result);
    if (rc == ERANGE && buf.size() < (1u << 20)) {
      buf.resize(buf.size() * 2);
      continue;
    }
    if (rc != 0 || !result) return false;
    if (dir) *dir = pw.pw_dir ? pw.pw_dir : "";
    if (name) *name = pw.pw_name ? pw.pw_name : "";
    return true;
  }
}

EntryKind KindOfMode(mode_t mode) {
  if (S_ISREG(mode)) return EntryKind::kFile;
  if (S_ISDIR(mode)) return EntryKind::kDirectory;
  if (S_ISLNK(mode)) return EntryKind::kSymlink;
  return EntryKind::kOther;
}

std::string ReadLinkAt(int dirfd, const char* name) {
  std::vector<char> buf(256);
  for (;;) {
    ssize_t n = ::readlinkat(dirfd, name, buf.data(), buf.size());
    if (n < 0) return {};
    if (static_cast<std::size_t>(n) < buf.size()) return std::string(buf.data(), n);
    if (buf.size() >= (1u << 20)) return {};
    buf.resize(buf.size() * 2);
  }
}

// Names in a directory opened as `fd` (the descriptor stays open and owned by
// the caller). False when it cannot be read.
bool NamesIn(int fd, std::vector<std::string>& names) {
  int dup_fd = RetryOnEintr([&] { return ::fcntl(fd, F_DUPFD_CLOEXEC, 0); });
  if (dup_fd < 0) return false;
  DIR* dir = ::fdopendir(dup_fd);
  if (!dir) {
    ::close(dup_fd);
    return false;
  }
  ::rewinddir(dir);
  bool ok = true;
  for (;;) {
    errno = 0;
    struct dirent* e = ::readdir(dir);
    if (!e) {
      if (errno != 0) ok = false;
      break;
    }
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    names.emplace_back(e->d_name);
  }
  ::closedir(dir);
  return ok;
}

// Removes everything inside the directory open as `fd`, never following a
// symbolic link: each sub-directory is opened with O_NOFOLLOW|O_DIRECTORY
// relative to its parent's descriptor, so a link swapped in during the walk
// is unlinked instead of entered.
bool RemoveContentsAt(int fd) {
  std::vector<std::string> names;
  bool ok = NamesIn(fd, names);
  for (const std::string& name : names) {
    struct stat st;
    if (::fstatat(fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno != ENOENT) ok = false;
      continue;
    }
    if (S_ISDIR(st.st_mode)) {
      int child = RetryOnEintr([&] {
        return ::openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      });
      if (child < 0) {
        if ((errno == ELOOP || errno == ENOTDIR) && ::unlinkat(fd, name.c_str(), 0) == 0) continue;
        ok = false;
        continue;
      }
      bool inner = RemoveContentsAt(child);
      ::close(child);
      if (!inner || ::unlinkat(fd, name.c_str(), AT_REMOVEDIR) != 0) ok = false;
    } else if (::unlinkat(fd, name.c_str(), 0) != 0 && errno != ENOENT) {
      ok = false;
    }
  }
  return ok;
}

// Resolves `path` to an absolute form without requiring it to exist: the
// deepest existing ancestor of its folder goes through realpath, the rest is
// appended with "." and ".." applied as text. The last component itself is
// not resolved, so a link names itself, not its target.
std::string ResolveLoosely(const std::string& path) {
  std::string p = StripTrailingSlashes(path);
  if (p.empty()) return {};
  std::string last = LastComponentOf(p);
  std::string folder = (last == p && p != "/") ? std::string(".") : ParentOf(p);
  if (p == "/") return "/";
  if (last == "." || last == "..") {
    folder = p;
    last.clear();
  }
  std::vector<std::string> tail;
  std::string base;
  for (;;) {
    base = RealPath(folder);
    if (!base.empty()) break;
    std::string component = LastComponentOf(folder);
    std::string up = ParentOf(folder);
    if (up == folder) return {};
    tail.push_back(component);
    folder = up;
  }
  std::reverse(tail.begin(), tail.end());
  if (!last.empty()) tail.push_back(last);
  std::vector<std::string> parts;
  std::size_t start = 1;
  while (start <= base.size()) {
    std::size_t slash = base.find('/', start);
    if (slash == std::string::npos) slash = base.size();
    if (slash > start) parts.push_back(base.substr(start, slash - start));
    start = slash + 1;
  }
  for (const std::string& component : tail) {
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      if (!parts.empty()) parts.pop_back();
      continue;
    }
    parts.push_back(component);
  }
  std::string out;
  for (const std::string& part : parts) out += "/" + part;
  return out.empty() ? "/" : out;
}

bool CopyRegular(const std::string& source, const std::string& target, const struct stat& st) {
  int in = OpenRetry(source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (in < 0) return false;
  struct stat opened;
  if (::fstat(in, &opened) != 0 || !S_ISREG(opened.st_mode)) {
    ::close(in);
    return false;
  }
  int out = OpenRetry(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (out < 0) {
    ::close(in);
    return false;
  }
  bool ok = true;
  std::vector<char> buf(1 << 16);
  for (;;) {
    ssize_t n = ::read(in, buf.data(), buf.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      ok = false;
      break;
    }
    if (n == 0) break;
    if (!WriteAll(out, buf.data(), static_cast<std::size_t>(n))) {
      ok = false;
      break;
    }
  }
  ::close(in);
  if (ok && ::fchmod(out, st.st_mode & 07777) != 0) ok = false;
  if (ok) {
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    if (::futimens(out, times) != 0) ok = false;
  }
  if (::close(out) != 0) ok = false;
  if (!ok) ::unlink(target.c_str());
  return ok;
}

bool CopyTree(const std::string& source, const std::string& target) {
  struct stat st;
  if (::lstat(source.c_str(), &st) != 0) return false;
  if (S_ISLNK(st.st_mode)) {
    std::string link = ReadLinkAt(AT_FDCWD, source.c_str());
    if (link.empty()) return false;
    return ::symlink(link.c_str(), target.c_str()) == 0;
  }
  if (S_ISREG(st.st_mode)) return CopyRegular(source, target, st);
  if (!S_ISDIR(st.st_mode)) return false;
  if (::mkdir(target.c_str(), 0700) != 0) return false;
  std::vector<DirectoryEntry> entries;
  bool ok = ReadDirectory(source, entries);
  for (const DirectoryEntry& e : entries) {
    if (!ok) break;
    ok = CopyTree(Join(source, e.name), Join(target, e.name));
  }
  if (ok && ::chmod(target.c_str(), st.st_mode & 07777) != 0) ok = false;
  if (!ok) RemoveItem(target);
  return ok;
}

}  // namespace

bool PathExists(const std::string& path) {
  struct stat st;
  return !path.empty() && ::stat(path.c_str(), &st) == 0;
}

bool PathIsDirectory(const std::string& path) {
  struct stat st;
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

EntryKind PathKind(const std::string& path) {
  struct stat st;
  if (path.empty() || ::lstat(path.c_str(), &st) != 0) return EntryKind::kMissing;
  return KindOfMode(st.st_mode);
}

bool PathIsWritable(const std::string& path) {
  return !path.empty() && ::access(path.c_str(), W_OK) == 0;
}

bool PathIsReadable(const std::string& path) {
  return !path.empty() && ::access(path.c_str(), R_OK) == 0;
}

bool PathIsDeletable(const std::string& path) {
  struct stat item;
  if (path.empty() || ::lstat(path.c_str(), &item) != 0) return false;
  std::string parent = ParentOf(path);
  if (::access(parent.c_str(), W_OK | X_OK) != 0) return false;
  struct stat folder;
  if (::stat(parent.c_str(), &folder) != 0) return false;
  if (folder.st_mode & S_ISVTX) {
    uid_t me = ::geteuid();
    if (me != 0 && me != item.st_uid && me != folder.st_uid) return false;
  }
  return true;
}

bool SetOwnerWritable(const std::string& path, bool writable) {
  struct stat st;
  if (path.empty() || ::stat(path.c_str(), &st) != 0) return false;
  bool is_writable = (st.st_mode & S_IWUSR) != 0;
  if (is_writable == writable) return true;
  mode_t mode = (st.st_mode & 07777) ^ S_IWUSR;
  return ::chmod(path.c_str(), mode) == 0;
}

bool GetResolvedAttributes(const std::string& path, ItemAttributes& out) {
  if (path.empty()) return false;
  std::string resolved = RealPath(path);
  if (resolved.empty()) resolved = path;
  struct statx sx;
  if (::statx(AT_FDCWD, resolved.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &sx) == 0) {
    out.is_directory = S_ISDIR(sx.stx_mode);
    out.size = sx.stx_size;
    out.modification_time = sx.stx_mtime.tv_sec;
    out.creation_time = (sx.stx_mask & STATX_BTIME) ? sx.stx_btime.tv_sec : sx.stx_mtime.tv_sec;
    return true;
  }
  if (errno != ENOSYS) return false;
  struct stat st;
  if (::stat(resolved.c_str(), &st) != 0) return false;
  out.is_directory = S_ISDIR(st.st_mode);
  out.size = static_cast<std::uint64_t>(st.st_size);
  out.modification_time = st.st_mtime;
  out.creation_time = st.st_mtime;
  return true;
}

std::int64_t GetOpenedFileTime(const std::string& path, FileTimeField field) {
  if (path.empty()) return 0;
  int fd = OpenRetry(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (fd < 0) return 0;
  struct stat st;
  std::int64_t result = 0;
  if (::fstat(fd, &st) == 0) {
    switch (field) {
      case FileTimeField::kModification:
        result = st.st_mtime;
        break;
      case FileTimeField::kStatusChange:
        result = st.st_ctime;
        break;
      case FileTimeField::kAccess:
        result = st.st_atime;
        break;
    }
  }
  ::close(fd);
  return result;
}

bool CopyItem(const std::string& source, const std::string& target) {
  if (source.empty() || target.empty()) return false;
  return CopyTree(source, target);
}

bool RemoveItem(const std::string& path) {
  if (path.empty() || RealPath(path) == "/") return false;
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return false;
  if (!S_ISDIR(st.st_mode)) return ::unlink(path.c_str()) == 0;
  int fd = OpenRetry(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (fd < 0) {
    // Swapped for a link or a file since the lstat: remove just that.
    return (errno == ELOOP || errno == ENOTDIR) && ::unlink(path.c_str()) == 0;
  }
  bool ok = RemoveContentsAt(fd);
  ::close(fd);
  return ::rmdir(path.c_str()) == 0 && ok;
}

bool MoveItem(const std::string& from, const std::string& to) {
  if (from.empty() || to.empty()) return false;
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  int err = errno;
  if (err == EINVAL || err == ENOSYS || err == ENOTSUP) {
    // A file system without the no-replace flag: a hard link refuses an
    // existing target atomically; folders (and file systems without hard
    // links) get an lstat check before a plain rename.
    struct stat st;
    if (::lstat(from.c_str(), &st) != 0) return false;
    if (!S_ISDIR(st.st_mode)) {
      if (::link(from.c_str(), to.c_str()) == 0) return ::unlink(from.c_str()) == 0;
      if (errno == EEXIST) return false;
    }
    struct stat existing;
    if (::lstat(to.c_str(), &existing) == 0) return false;
    if (::rename(from.c_str(), to.c_str()) == 0) return true;
    err = errno;
  }
  if (err != EXDEV) return false;
  // Another file system: copy, then remove the source.
  if (!CopyTree(from, to)) return false;
  return RemoveItem(from);
}

bool PathsOverlap(const std::string& a, const std::string& b) {
  if (a.empty() || b.empty()) return false;
  struct stat sa, sb;
  if (::lstat(a.c_str(), &sa) == 0 && ::lstat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
      sa.st_ino == sb.st_ino)
    return true;
  std::string ra = ResolveLoosely(a);
  std::string rb = ResolveLoosely(b);
  if (ra.empty() || rb.empty()) return false;
  return ra == rb || IsInside(ra, rb) || IsInside(rb, ra);
}

bool ReadDirectory(const std::string& path, std::vector<DirectoryEntry>& out) {
  if (path.empty()) return false;
  int fd = OpenRetry(path.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return false;
  std::vector<std::string> names;
  bool ok = NamesIn(fd, names);
  std::sort(names.begin(), names.end());
  for (std::string& name : names) {
    struct stat st;
    if (::fstatat(fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) continue;  // gone meanwhile
    DirectoryEntry entry{std::move(name), KindOfMode(st.st_mode), {}};
    if (entry.kind == EntryKind::kSymlink) entry.link_target = ReadLinkAt(fd, entry.name.c_str());
    out.push_back(std::move(entry));
  }
  ::close(fd);
  return ok;
}

bool ReadRegularFile(const std::string& path, std::string& out) {
  out.clear();
  if (path.empty()) return false;
  // Non-blocking so that a FIFO cannot stall the open; it is refused below.
  int fd = OpenRetry(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (fd < 0) return false;
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return false;
  }
  // Read straight into the string: st_size is only a hint (/proc files say
  // 0), so the buffer grows until read() reports the end of the file.
  std::size_t capacity = st.st_size > 0 ? static_cast<std::size_t>(st.st_size) + 1 : 4096;
  std::size_t used = 0;
  out.resize(capacity);
  for (;;) {
    if (used == out.size()) out.resize(out.size() * 2);
    ssize_t n = ::read(fd, out.data() + used, out.size() - used);
    if (n < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      out.clear();
      return false;
    }
    if (n == 0) break;
    used += static_cast<std::size_t>(n);
  }
  ::close(fd);
  out.resize(used);
  return true;
}

bool WriteFileAtomically(const std::string& path, const void* bytes, std::size_t length) {
  if (path.empty() || (!bytes && length > 0)) return false;
  std::string folder = ParentOf(path);
  std::string temp;
  int fd = -1;
  for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
    temp = Join(folder, ".tavrin-" + RandomName(10) + ".tmp");
    fd = OpenRetry(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666);
    if (fd < 0 && errno != EEXIST) return false;
  }
  if (fd < 0) return false;
  bool ok = WriteAll(fd, bytes, length) && ::fsync(fd) == 0;
  if (::close(fd) != 0) ok = false;
  if (ok) {
    struct stat st;
    if (::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) ok = RemoveItem(path);
  }
  if (ok) ok = ::rename(temp.c_str(), path.c_str()) == 0;
  if (!ok) {
    int err = errno;
    ::unlink(temp.c_str());
    errno = err;
    return false;
  }
  // Make the rename itself durable; a failure here no longer loses data.
  int dir_fd = OpenRetry(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (dir_fd >= 0) {
    ::fsync(dir_fd);
    ::close(dir_fd);
  }
  return true;
}

std::string HomeDirectory() {
  // A relative $HOME is no answer: the password database is asked instead.
  std::string home = Environment("HOME");
  if (IsAbsolute(home)) return home;
  std::string dir;
  if (PasswdOfUid(::geteuid(), &dir, nullptr) && IsAbsolute(dir)) return dir;
  return {};
}

std::string HomeDirectoryOf(const std::string& login) {
  if (login.empty()) return {};
  long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buf(size > 0 ? static_cast<std::size_t>(size) : 16384);
  for (;;) {
    struct passwd pw;
    struct passwd* result = nullptr;
    int rc = ::getpwnam_r(login.c_str(), &pw, buf.data(), buf.size(), &result);
    if (rc == ERANGE && buf.size() < (1u << 20)) {
      buf.resize(buf.size() * 2);
      continue;
    }
    if (rc != 0 || !result || !pw.pw_dir) return {};
    return pw.pw_dir;
  }
}

std::string DocumentsDirectory() {
  std::string home = HomeDirectory();
  std::string config = Environment("XDG_CONFIG_HOME");
  if (!IsAbsolute(config)) {
    if (home.empty()) return {};
    config = Join(home, ".config");
  }
  std::string text;
  if (!ReadRegularFile(Join(config, "user-dirs.dirs"), text)) return {};
  // Lines look like XDG_DOCUMENTS_DIR="$HOME/Documents"; the value is either
  // "$HOME" followed by a path or an absolute path; a backslash escapes the
  // next character.
  static const char kKey[] = "XDG_DOCUMENTS_DIR";
  std::size_t pos = 0;
  std::string found;
  while (pos < text.size()) {
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(pos, end - pos);
    pos = end + 1;
    std::size_t i = line.find_first_not_of(" \t");
    if (i == std::string::npos || line.compare(i, sizeof kKey - 1, kKey) != 0) continue;
    i += sizeof kKey - 1;
    i = line.find_first_not_of(" \t", i);
    if (i == std::string::npos || line[i] != '=') continue;
    i = line.find_first_not_of(" \t", i + 1);
    if (i == std::string::npos || line[i] != '"') continue;
    std::string value;
    bool closed = false;
    for (++i; i < line.size(); ++i) {
      if (line[i] == '\\' && i + 1 < line.size()) {
        value += line[++i];
      } else if (line[i] == '"') {
        closed = true;
        break;
      } else {
        value += line[i];
      }
    }
    if (!closed) continue;
    if (value.compare(0, 5, "$HOME") == 0 && (value.size() == 5 || value[5] == '/')) {
      if (home.empty()) continue;
      std::string rest = value.substr(5);
      found = rest.empty() || rest == "/" ? home : Join(home, rest.substr(1));
    } else if (IsAbsolute(value)) {
      found = value;
    }
  }
  return found;
}

std::string UserApplicationDataDirectory() {
  std::string data = Environment("XDG_DATA_HOME");
  if (IsAbsolute(data)) return data;
  std::string home = HomeDirectory();
  if (home.empty()) return {};
  return Join(home, ".local/share");
}

std::string MachineApplicationDataDirectory() {
  std::string dirs = Environment("XDG_DATA_DIRS");
  std::size_t pos = 0;
  while (pos <= dirs.size() && !dirs.empty()) {
    std::size_t colon = dirs.find(':', pos);
    if (colon == std::string::npos) colon = dirs.size();
    std::string entry = dirs.substr(pos, colon - pos);
    if (IsAbsolute(entry)) return entry;
    pos = colon + 1;
  }
  return "/usr/local/share";
}

std::string ApplicationIdentifier() {
  const char* name = g_get_prgname();
  if (!name || !*name) return "Wirelume";
  // Used as one folder name: a "/" in it must not make a path.
  std::string id(name);
  std::replace(id.begin(), id.end(), '/', '_');
  return id;
}

std::string ApplicationResourceDirectory() {
  std::string exe = ReadLinkAt(AT_FDCWD, "/proc/self/exe");
  if (!IsAbsolute(exe)) return {};
  std::string bin = ParentOf(exe);
  if (LastComponentOf(bin) != "bin") return {};
  std::string prefix = ParentOf(bin);
  std::string candidate = Join(Join(prefix, "share"), ApplicationIdentifier());
  return PathIsDirectory(candidate) ? candidate : std::string();
}

std::string LoginName() {
  std::string name;
  if (PasswdOfUid(::geteuid(), nullptr, &name) && !name.empty()) return name;
  name = Environment("USER");
  if (!name.empty()) return name;
  name = Environment("LOGNAME");
  if (!name.empty()) return name;
  return std::to_string(static_cast<unsigned long>(::geteuid()));
}

std::string PrivateTemporaryDirectory() {
  static std::mutex mutex;
  static std::string kept;
  std::lock_guard<std::mutex> lock(mutex);
  if (kept.empty()) {
    std::string base = Environment("TMPDIR");
    if (!IsAbsolute(base)) base = "/tmp";
    base = StripTrailingSlashes(base);
    if (::access(base.c_str(), W_OK | X_OK) != 0) {
      base = Environment("XDG_CACHE_HOME");
      if (!IsAbsolute(base)) {
        std::string home = HomeDirectory();
        base = home.empty() ? std::string("/tmp") : Join(home, ".cache");
      }
      base = StripTrailingSlashes(base);
    }
    kept = Join(base, ApplicationIdentifier() + "." + LoginName());
  }
  for (int attempt = 0; attempt < 3; ++attempt) {
    struct stat st;
    if (::lstat(kept.c_str(), &st) == 0) {
      if (S_ISDIR(st.st_mode) && st.st_uid == ::geteuid() && (st.st_mode & 022) == 0) return kept;
      // A link, a file, a folder of someone else or one others may write:
      // never used. A fresh private folder replaces it for good.
      std::string tmpl = kept + ".XXXXXX";
      if (!::mkdtemp(tmpl.data())) return {};
      kept = tmpl;
      continue;
    }
    if (errno != ENOENT) return {};
    std::string parent = ParentOf(kept);
    if (!PathIsDirectory(parent) && !CreateDirectories(parent, nullptr)) return {};
    if (::mkdir(kept.c_str(), 0700) != 0 && errno != EEXIST) return {};
    // Checked again by lstat: a racing creator may have put something else
    // there.
  }
  return {};
}

long CurrentProcessId() {
  return static_cast<long>(::getpid());
}

}  // namespace tavrin::platform
