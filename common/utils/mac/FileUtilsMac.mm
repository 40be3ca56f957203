// FileUtilsMac.mm - the Foundation side of the file and folder functions.
//
// Paths arrive in the file system's byte form (UTF-8). Where the library's
// rules name a POSIX call on this platform (getcwd, open, flock, stat,
// mkdtemp) it is made directly; otherwise the shared NSFileManager and the
// Foundation folder functions answer, with paths bridged through the
// NSString categories.
#import <Foundation/Foundation.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "common/utils/auto_release_pool.h"
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

namespace tavrin::platform {

namespace {

// --- Bridging and small helpers ---------------------------------------------

// The NSString of a byte-form path; nil when the bytes are not UTF-8 (no
// Foundation call is made for such a path: it cannot name anything the
// library created).
NSString* PathString(const std::string& path) {
  if (path.empty()) return nil;
  return [[NSFileManager defaultManager] stringWithFileSystemRepresentation:path.data()
                                                                     length:path.size()];
}

// The byte form of a Foundation path; "" for nil.
std::string PathBytes(NSString* path) {
  if (path == nil || [path length] == 0) return std::string();
  if (![path canBeConvertedToEncoding:NSUTF8StringEncoding]) return std::string();
  const char* bytes = [path fileSystemRepresentation];
  return bytes != nullptr ? std::string(bytes) : std::string();
}

NSFileManager* Files() {
  return [NSFileManager defaultManager];
}

template <class F>
auto RetryOnEintr(F call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

int OpenRetry(const char* path, int flags, mode_t mode = 0) {
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

// The folder holding `path`: "." for a bare name, "/" for an item of the
// root.
std::string ParentOf(const std::string& path) {
  const std::string p = StripTrailingSlashes(path);
  std::size_t slash = p.rfind('/');
  if (slash == std::string::npos) return ".";
  while (slash > 0 && p[slash - 1] == '/') --slash;
  return slash == 0 ? std::string("/") : p.substr(0, slash);
}

// The attributes of the item itself (a final symbolic link is not
// followed); nil when there is no such item.
NSDictionary* AttributesOf(NSString* path) {
  if (path == nil) return nil;
  return [Files() attributesOfItemAtPath:path error:nullptr];
}

EntryKind KindOfType(NSString* type) {
  if (type == nil) return EntryKind::kMissing;
  if ([type isEqualToString:NSFileTypeRegular]) return EntryKind::kFile;
  if ([type isEqualToString:NSFileTypeDirectory]) return EntryKind::kDirectory;
  if ([type isEqualToString:NSFileTypeSymbolicLink]) return EntryKind::kSymlink;
  return EntryKind::kOther;
}

std::int64_t Seconds(NSDate* date) {
  return date != nil ? static_cast<std::int64_t>(std::floor([date timeIntervalSince1970])) : 0;
}

// A name of `count` characters from [A-Za-z0-9], uniformly drawn from the
// system's random source.
std::string RandomName(std::size_t count) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  std::string out;
  while (out.size() < count) {
    unsigned char bytes[32];
    if (!FillRandomBytes(bytes, sizeof bytes)) {
      for (unsigned char& b : bytes) b = static_cast<unsigned char>(std::rand());
    }
    for (unsigned char b : bytes) {
      if (b >= 248) continue;  // 248 = 4 * 62 keeps the draw uniform
      out.push_back(kAlphabet[b % 62]);
      if (out.size() == count) break;
    }
  }
  return out;
}

// Replaces the password database's home at the start of `path` by the
// home the library uses ($HOME when it is absolute), so Foundation's user
// folders follow the same home as everything else.
std::string InUserHome(const std::string& path) {
  const std::string home = HomeDirectory();
  const std::string system_home = StripTrailingSlashes(PathBytes(NSHomeDirectory()));
  if (home.empty() || system_home.empty() || home == system_home) return path;
  if (path == system_home) return home;
  if (path.compare(0, system_home.size(), system_home) == 0 && path.size() > system_home.size() &&
      path[system_home.size()] == '/') {
    return Join(home, path.substr(system_home.size() + 1));
  }
  return path;
}

std::string FirstSearchPath(NSSearchPathDirectory directory, NSSearchPathDomainMask domain) {
  NSArray* found = NSSearchPathForDirectoriesInDomains(directory, domain, YES);
  return [found count] != 0 ? PathBytes([found objectAtIndex:0]) : std::string();
}

// Resolves `path` to an absolute form without requiring it to exist: the
// deepest existing ancestor goes through realpath, the rest is appended
// with "." and ".." applied as text; the last component is not resolved.
std::string ResolveLoosely(const std::string& path) {
  std::string p = StripTrailingSlashes(path);
  if (p.empty()) return {};
  if (p == "/") return "/";
  std::vector<std::string> tail;
  std::string folder = p;
  std::string base;
  // The last component names itself (a link is not followed).
  const std::size_t slash = p.rfind('/');
  std::string last = slash == std::string::npos ? p : p.substr(slash + 1);
  folder = slash == std::string::npos ? std::string(".") : ParentOf(p);
  if (last == "." || last == "..") {
    folder = p;
    last.clear();
  }
  for (;;) {
    if (char* real = ::realpath(folder.c_str(), nullptr)) {
      base = real;
      std::free(real);
      break;
    }
    const std::string up = ParentOf(folder);
    if (up == folder) return {};
    const std::size_t cut = StripTrailingSlashes(folder).rfind('/');
    tail.push_back(cut == std::string::npos ? folder
                                            : StripTrailingSlashes(folder).substr(cut + 1));
    folder = up;
  }
  std::reverse(tail.begin(), tail.end());
  if (!last.empty()) tail.push_back(last);
  std::vector<std::string> parts;
  for (std::size_t start = 1; start <= base.size();) {
    std::size_t end = base.find('/', start);
    if (end == std::string::npos) end = base.size();
    if (end > start) parts.push_back(base.substr(start, end - start));
    start = end + 1;
  }
  for (const std::string& component : tail) {
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      if (!parts.empty()) parts.pop_back();
    } else {
      parts.push_back(component);
    }
  }
  std::string out;
  for (const std::string& part : parts) out += "/" + part;
  return out.empty() ? std::string("/") : out;
}

// strerror_r comes in two forms: XSI (Apple) returns 0 and fills the
// buffer, GNU (glibc) returns the message.
[[maybe_unused]] std::string ErrorMessage(int result, const char* buffer) {
  return result == 0 ? std::string(buffer) : std::string();
}
[[maybe_unused]] std::string ErrorMessage(const char* result, const char*) {
  return result != nullptr ? std::string(result) : std::string();
}

// The text of a symbolic link (readlink), byte for byte; "" on failure.
std::string LinkText(const std::string& path) {
  std::vector<char> buffer(256);
  for (;;) {
    const ssize_t n = ::readlink(path.c_str(), buffer.data(), buffer.size());
    if (n < 0) return {};
    if (static_cast<std::size_t>(n) < buffer.size()) {
      return std::string(buffer.data(), static_cast<std::size_t>(n));
    }
    if (buffer.size() >= (1u << 20)) return {};
    buffer.resize(buffer.size() * 2);
  }
}

bool IsInside(const std::string& outer, const std::string& inner) {
  if (outer.empty() || inner.size() <= outer.size()) return false;
  if (inner.compare(0, outer.size(), outer) != 0) return false;
  return outer == "/" || inner[outer.size()] == '/';
}

}  // namespace

// --- Kinds and access ---------------------------------------------------------

bool PathExists(const std::string& path) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  return p != nil && [Files() fileExistsAtPath:p];
}

bool PathIsDirectory(const std::string& path) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  BOOL directory = NO;
  return p != nil && [Files() fileExistsAtPath:p isDirectory:&directory] && directory;
}

EntryKind PathKind(const std::string& path) {
  const AutoReleasePool pool;
  NSDictionary* attributes = AttributesOf(PathString(path));
  return attributes != nil ? KindOfType([attributes fileType]) : EntryKind::kMissing;
}

bool PathIsWritable(const std::string& path) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  return p != nil && [Files() isWritableFileAtPath:p];
}

bool PathIsReadable(const std::string& path) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  return p != nil && [Files() isReadableFileAtPath:p];
}

bool PathIsDeletable(const std::string& path) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  // The item must exist: Foundation answers for the folder alone.
  if (p == nil || AttributesOf(p) == nil || ![Files() isDeletableFileAtPath:p]) return false;
  // The sticky-bit rule of the containing folder, which not every
  // Foundation applies.
  struct stat item;
  struct stat folder;
  if (::lstat(path.c_str(), &item) != 0 || ::stat(ParentOf(path).c_str(), &folder) != 0) {
    return false;
  }
  if (folder.st_mode & S_ISVTX) {
    const uid_t me = ::geteuid();
    if (me != 0 && me != item.st_uid && me != folder.st_uid) return false;
  }
  return true;
}

// --- Locks (POSIX advisory locks) -------------------------------------------

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

// --- Attributes and times ---------------------------------------------------

bool SetOwnerWritable(const std::string& path, bool writable) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  if (p == nil) return false;
  // The attributes of what the path names after its links.
  NSDictionary* attributes = AttributesOf([p stringByResolvingSymlinksInPath]);
  if (attributes == nil) return false;
  const unsigned long permissions = [attributes filePosixPermissions];
  const bool is_writable = (permissions & 0200) != 0;
  if (is_writable == writable) return true;
  NSNumber* changed = [NSNumber numberWithUnsignedLong:permissions ^ 0200];
  NSDictionary* update = [NSDictionary dictionaryWithObject:changed forKey:NSFilePosixPermissions];
  NSString* target = [p stringByResolvingSymlinksInPath];
#if defined(GNUSTEP)
  return [Files() changeFileAttributes:update atPath:target];  // GNUstep's only setter
#else
  return [Files() setAttributes:update ofItemAtPath:target error:nullptr];
#endif
}

bool GetResolvedAttributes(const std::string& path, ItemAttributes& out) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  if (p == nil) return false;
  NSDictionary* attributes = AttributesOf([p stringByResolvingSymlinksInPath]);
  if (attributes == nil) return false;
  out.is_directory = [[attributes fileType] isEqualToString:NSFileTypeDirectory];
  out.size = [attributes fileSize];
  out.modification_time = Seconds([attributes fileModificationDate]);
  NSDate* created = [attributes fileCreationDate];
  out.creation_time = created != nil ? Seconds(created) : out.modification_time;
  return true;
}

std::int64_t GetOpenedFileTime(const std::string& path, FileTimeField field) {
  if (path.empty()) return 0;
  const int fd = OpenRetry(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (fd < 0) return 0;
  struct stat st;
  std::int64_t result = 0;
  if (::fstat(fd, &st) == 0) {
    result = field == FileTimeField::kModification   ? st.st_mtime
             : field == FileTimeField::kStatusChange ? st.st_ctime
                                                     : st.st_atime;
  }
  ::close(fd);
  return result;
}

bool StatPath(const std::string& path, void* out) {
  return !path.empty() && out != nullptr &&
         ::stat(path.c_str(), static_cast<struct stat*>(out)) == 0;
}

std::FILE* OpenStream(const std::string& path, const std::string& mode) {
  if (path.empty() || mode.empty()) return nullptr;
  std::FILE* stream = std::fopen(path.c_str(), mode.c_str());
  if (stream != nullptr) ::fcntl(::fileno(stream), F_SETFD, FD_CLOEXEC);
  return stream;
}

bool GetStreamTimes(std::FILE* stream, std::int64_t* status_change, std::int64_t* modification) {
  if (stream == nullptr) return false;
  struct stat st;
  if (::fstat(::fileno(stream), &st) != 0) return false;
  if (status_change != nullptr) *status_change = st.st_ctime;
  if (modification != nullptr) *modification = st.st_mtime;
  return true;
}

// --- Copy, remove, move -------------------------------------------------------

bool CopyItem(const std::string& source, const std::string& target) {
  const AutoReleasePool pool;
  NSString* from = PathString(source);
  NSString* to = PathString(target);
  if (from == nil || to == nil || AttributesOf(to) != nil) return false;
  if ([Files() copyItemAtPath:from toPath:to error:nullptr]) return true;
  // A partial copy is not left behind.
  if (AttributesOf(to) != nil) [Files() removeItemAtPath:to error:nullptr];
  return false;
}

bool RemoveItem(const std::string& path) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  if (p == nil || AttributesOf(p) == nil) return false;
  // Never the root, under any name.
  if (char* real = ::realpath(path.c_str(), nullptr)) {
    const bool is_root = std::strcmp(real, "/") == 0;
    std::free(real);
    if (is_root) return false;
  }
  return [Files() removeItemAtPath:p error:nullptr];
}

bool MoveItem(const std::string& from, const std::string& to) {
  const AutoReleasePool pool;
  NSString* source = PathString(from);
  NSString* target = PathString(to);
  if (source == nil || target == nil) return false;
  if (AttributesOf(target) != nil) return false;  // never replaces
  return [Files() moveItemAtPath:source toPath:target error:nullptr];
}

bool PathsOverlap(const std::string& a, const std::string& b) {
  if (a.empty() || b.empty()) return false;
  struct stat sa;
  struct stat sb;
  if (::lstat(a.c_str(), &sa) == 0 && ::lstat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
      sa.st_ino == sb.st_ino) {
    return true;
  }
  const std::string ra = ResolveLoosely(a);
  const std::string rb = ResolveLoosely(b);
  if (ra.empty() || rb.empty()) return false;
  return ra == rb || IsInside(ra, rb) || IsInside(rb, ra);
}

// --- Directories ----------------------------------------------------------------

bool CreateDirectory(const std::string& path, unsigned int mode) {
  if (path.empty()) return false;
  if (::mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0) return true;
  return errno == EEXIST && PathIsDirectory(path);
}

bool CreateDirectories(const std::string& path, std::string* error_text) {
  if (path.empty() || PathIsDirectory(path)) return true;
  // Each missing prefix in turn, mode 0777 under the umask: what
  // createDirectoryAtPath:withIntermediateDirectories: does, but with the
  // system's own error number for the message (GNUstep's NSError carries
  // only a sentence of its own).
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string prefix = path.substr(0, end);
    if (!prefix.empty() && prefix.back() != '/' && ::mkdir(prefix.c_str(), 0777) != 0 &&
        !(errno == EEXIST && PathIsDirectory(prefix))) {
      const int error = errno == EEXIST ? ENOTDIR : errno;
      if (error_text != nullptr) *error_text = ErrorText(error);
      return false;
    }
    if (end == std::string::npos) return true;
  }
}

bool ReadDirectory(const std::string& path, std::vector<DirectoryEntry>& out) {
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  if (p == nil) return false;
  NSArray* names = [Files() contentsOfDirectoryAtPath:p error:nullptr];
  if (names == nil) return false;
  std::vector<std::string> sorted;
  sorted.reserve([names count]);
  for (NSUInteger i = 0; i < [names count]; ++i) {
    std::string bytes = PathBytes([names objectAtIndex:i]);
    if (!bytes.empty() && bytes != "." && bytes != "..") sorted.push_back(std::move(bytes));
  }
  std::sort(sorted.begin(), sorted.end());
  for (std::string& name : sorted) {
    NSString* item = PathString(Join(path, name));
    NSDictionary* attributes = AttributesOf(item);
    if (attributes == nil) continue;  // gone meanwhile
    DirectoryEntry entry{std::move(name), KindOfType([attributes fileType]), {}};
    if (entry.kind == EntryKind::kSymlink) {
      entry.link_target = LinkText(Join(path, entry.name));
    }
    out.push_back(std::move(entry));
  }
  return true;
}

bool ReadRegularFile(const std::string& path, std::string& out) {
  out.clear();
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  if (p == nil) return false;
  // Only a regular file (after links) is read: a FIFO or a device would
  // block or never end.
  NSDictionary* attributes = AttributesOf([p stringByResolvingSymlinksInPath]);
  if (attributes == nil || ![[attributes fileType] isEqualToString:NSFileTypeRegular]) return false;
  NSData* data = [NSData dataWithContentsOfFile:p];
  if (data == nil) return false;
  out.assign(static_cast<const char*>([data bytes]), [data length]);
  return true;
}

bool WriteFileAtomically(const std::string& path, const void* bytes, std::size_t length) {
  if (path.empty() || (bytes == nullptr && length > 0)) return false;
  const AutoReleasePool pool;
  NSString* p = PathString(path);
  if (p == nil) return false;
  NSData* data = [NSData dataWithBytes:bytes length:length];
  NSDictionary* existing = AttributesOf(p);
  // A folder standing at the path gives way, but only once the new content
  // is safely written beside it.
  if (existing != nil && [[existing fileType] isEqualToString:NSFileTypeDirectory]) {
    const std::string temp = Join(ParentOf(path), ".tavrin-" + RandomName(10) + ".tmp");
    NSString* t = PathString(temp);
    if (t == nil || ![data writeToFile:t atomically:NO]) return false;
    if (![Files() removeItemAtPath:p error:nullptr] || ::rename(temp.c_str(), path.c_str()) != 0) {
      ::unlink(temp.c_str());
      return false;
    }
    return true;
  }
  return [data writeToFile:p atomically:YES];
}

bool ChangeDirectory(const std::string& path) {
  return ::chdir(path.c_str()) == 0;
}

// --- Folders -------------------------------------------------------------------

std::string HomeDirectory() {
  // $HOME first, as the Linux layer does: GNUstep's NSHomeDirectory reads
  // only the password database.
  const std::string home = Environment("HOME");
  if (IsAbsolute(home)) return home;
  const AutoReleasePool pool;
  const std::string system_home = PathBytes(NSHomeDirectory());
  return IsAbsolute(system_home) ? system_home : std::string();
}

std::string HomeDirectoryOf(const std::string& login) {
  if (login.empty()) return {};
  const AutoReleasePool pool;
  NSString* name = [NSString stringWithUTF8String:login.c_str()];
  if (name == nil) return {};
  return PathBytes(NSHomeDirectoryForUser(name));
}

std::string DocumentsDirectory() {
  const AutoReleasePool pool;
  return InUserHome(FirstSearchPath(NSDocumentDirectory, NSUserDomainMask));
}

std::string UserApplicationDataDirectory() {
  const AutoReleasePool pool;
  const std::string found = FirstSearchPath(NSApplicationSupportDirectory, NSUserDomainMask);
  if (!found.empty()) return InUserHome(found);
  const std::string home = HomeDirectory();
  return home.empty() ? std::string() : Join(home, "Library/Application Support");
}

std::string MachineApplicationDataDirectory() {
  const AutoReleasePool pool;
  return FirstSearchPath(NSApplicationSupportDirectory, NSLocalDomainMask);
}

std::string ApplicationResourceDirectory() {
  const AutoReleasePool pool;
  NSString* resources = [[NSBundle mainBundle] resourcePath];
  BOOL directory = NO;
  if (resources == nil || ![Files() fileExistsAtPath:resources isDirectory:&directory] ||
      !directory) {
    return {};
  }
  return PathBytes(resources);
}

std::string ApplicationIdentifier() {
  const AutoReleasePool pool;
  NSString* identifier = [[NSBundle mainBundle] bundleIdentifier];
  std::string name = identifier != nil ? PathBytes(identifier) : std::string();
  if (name.empty()) return "Wirelume";
  // Used as one folder name: a "/" in it must not make a path.
  std::replace(name.begin(), name.end(), '/', '_');
  return name;
}

std::string LoginName() {
  const AutoReleasePool pool;
  std::string name = PathBytes(NSUserName());
  if (!name.empty()) return name;
  name = Environment("USER");
  return !name.empty() ? name : std::to_string(static_cast<unsigned long>(::geteuid()));
}

std::string PrivateTemporaryDirectory() {
  static std::mutex mutex;
  static std::string kept;
  const std::lock_guard<std::mutex> lock(mutex);
  if (kept.empty()) {
    const AutoReleasePool pool;
    // $TMPDIR first (it is what NSTemporaryDirectory gives on Apple; GNUstep
    // reads only $TEMP), then Foundation's answer; a folder that cannot be
    // written gives way to the user's caches folder.
    std::string base = Environment("TMPDIR");
    if (!IsAbsolute(base)) base = PathBytes(NSTemporaryDirectory());
    base = StripTrailingSlashes(base);
    if (!IsAbsolute(base) || ::access(base.c_str(), W_OK | X_OK) != 0) {
      const std::string home = HomeDirectory();
      base = home.empty() ? std::string("/tmp") : Join(home, "Library/Caches");
    }
    kept = Join(base, ApplicationIdentifier() + "." + LoginName());
  }
  for (int attempt = 0; attempt < 3; ++attempt) {
    struct stat st;
    if (::lstat(kept.c_str(), &st) == 0) {
      if (S_ISDIR(st.st_mode) && st.st_uid == ::geteuid() && (st.st_mode & 022) == 0) return kept;
      // A link, a file, someone else's folder or one others may write: a
      // fresh private folder replaces it for good.
      std::string pattern = kept + ".XXXXXX";
      if (::mkdtemp(pattern.data()) == nullptr) return {};
      kept = pattern;
      continue;
    }
    if (errno != ENOENT) return {};
    const std::string parent = ParentOf(kept);
    if (!PathIsDirectory(parent) && !CreateDirectories(parent, nullptr)) return {};
    if (::mkdir(kept.c_str(), 0700) != 0 && errno != EEXIST) return {};
  }
  return {};
}

std::string UnusedRandomPath(const std::string& prefix) {
  for (;;) {
    const std::string candidate = prefix + RandomName(6);
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
  // The missing parents first, mode 0755 (the umask applies).
  const std::string parent = ParentOf(path_template);
  std::vector<std::string> missing;
  for (std::string p = parent; !p.empty() && p != "." && p != "/";) {
    struct stat st;
    if (::lstat(p.c_str(), &st) == 0) break;
    missing.push_back(p);
    const std::string up = ParentOf(p);
    if (up == p) break;
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

// --- Diagnostics files ------------------------------------------------------------

bool WriteTraceFile(const std::string& path, bool truncate, const std::string& bytes) {
  if (path.empty()) return false;
  // Never through a symbolic link, never blocked by a FIFO; truncated only
  // once known to be a regular file of this user.
  const int fd =
      OpenRetry(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) return false;
  struct stat st;
  bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == ::geteuid();
  if (ok && truncate) ok = ::ftruncate(fd, 0) == 0;
  if (ok) ok = WriteAll(fd, bytes.data(), bytes.size());
  ::close(fd);
  return ok;
}

bool AppendToFile(const std::string& path, const std::string& bytes) {
  if (path.empty()) return false;
  const int fd =
      OpenRetry(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) return false;
  bool ok = WriteAll(fd, bytes.data(), bytes.size());  // one write: never torn
  if (::close(fd) != 0) ok = false;
  return ok;
}

long CurrentProcessId() {
  const AutoReleasePool pool;
  return static_cast<long>([[NSProcessInfo processInfo] processIdentifier]);
}

std::string ErrorText(int error_number) {
  char buffer[256] = {};
  return ErrorMessage(::strerror_r(error_number, buffer, sizeof buffer), buffer);
}

}  // namespace tavrin::platform
