// FileUtilsMac.mm - the Foundation side of the file and folder functions.
//
// Paths arrive in the file system's byte form (UTF-8). The functions every
// POSIX layer makes alike (getcwd, flock, stat, mkdir, mkdtemp, trace
// appends) live in posix/fileutils_posix.cpp; here the shared NSFileManager
// and the Foundation folder functions answer, with paths bridged through the
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
#include "common/utils/posix/posix_internal.h"

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

// Replaces the password database's home at the start of `path` by the
// home the library uses ($HOME when it is absolute), so Foundation's user
// folders follow the same home as everything else.
std::string InUserHome(const std::string& path) {
  const std::string home = HomeDirectory();
  const std::string system_home = posix::StripTrailingSlashes(PathBytes(NSHomeDirectory()));
  if (home.empty() || system_home.empty() || home == system_home) return path;
  if (path == system_home) return home;
  if (path.compare(0, system_home.size(), system_home) == 0 && path.size() > system_home.size() &&
      path[system_home.size()] == '/') {
    return posix::Join(home, path.substr(system_home.size() + 1));
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
  std::string p = posix::StripTrailingSlashes(path);
  if (p.empty()) return {};
  if (p == "/") return "/";
  std::vector<std::string> tail;
  std::string folder = p;
  std::string base;
  // The last component names itself (a link is not followed).
  const std::size_t slash = p.rfind('/');
  std::string last = slash == std::string::npos ? p : p.substr(slash + 1);
  folder = slash == std::string::npos ? std::string(".") : posix::ParentOf(p);
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
    const std::string up = posix::ParentOf(folder);
    if (up == folder) return {};
    const std::size_t cut = posix::StripTrailingSlashes(folder).rfind('/');
    tail.push_back(cut == std::string::npos ? folder
                                            : posix::StripTrailingSlashes(folder).substr(cut + 1));
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
  if (::lstat(path.c_str(), &item) != 0 || ::stat(posix::ParentOf(path).c_str(), &folder) != 0) {
    return false;
  }
  if (folder.st_mode & S_ISVTX) {
    const uid_t me = ::geteuid();
    if (me != 0 && me != item.st_uid && me != folder.st_uid) return false;
  }
  return true;
}

// --- Locks (POSIX advisory locks) -------------------------------------------

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
  const int fd = posix::OpenRetry(path.c_str(), O_RDONLY | O_NONBLOCK);
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
  return ra == rb || posix::IsInside(ra, rb) || posix::IsInside(rb, ra);
}

// --- Directories ----------------------------------------------------------------

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
    NSString* item = PathString(posix::Join(path, name));
    NSDictionary* attributes = AttributesOf(item);
    if (attributes == nil) continue;  // gone meanwhile
    DirectoryEntry entry{std::move(name), KindOfType([attributes fileType]), {}};
    if (entry.kind == EntryKind::kSymlink) {
      entry.link_target = LinkText(posix::Join(path, entry.name));
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
    const std::string temp =
        posix::Join(posix::ParentOf(path), ".tavrin-" + posix::RandomName(10) + ".tmp");
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

// --- Folders -------------------------------------------------------------------

std::string HomeDirectory() {
  // $HOME first, as the Linux layer does: GNUstep's NSHomeDirectory reads
  // only the password database.
  const std::string home = posix::Environment("HOME");
  if (posix::IsAbsolute(home)) return home;
  const AutoReleasePool pool;
  const std::string system_home = PathBytes(NSHomeDirectory());
  return posix::IsAbsolute(system_home) ? system_home : std::string();
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
  return home.empty() ? std::string() : posix::Join(home, "Library/Application Support");
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
  name = posix::Environment("USER");
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
    std::string base = posix::Environment("TMPDIR");
    if (!posix::IsAbsolute(base)) base = PathBytes(NSTemporaryDirectory());
    base = posix::StripTrailingSlashes(base);
    if (!posix::IsAbsolute(base) || ::access(base.c_str(), W_OK | X_OK) != 0) {
      const std::string home = HomeDirectory();
      base = home.empty() ? std::string("/tmp") : posix::Join(home, "Library/Caches");
    }
    kept = posix::Join(base, ApplicationIdentifier() + "." + LoginName());
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
    const std::string parent = posix::ParentOf(kept);
    if (!PathIsDirectory(parent) && !CreateDirectories(parent, nullptr)) return {};
    if (::mkdir(kept.c_str(), 0700) != 0 && errno != EEXIST) return {};
  }
  return {};
}

// --- Diagnostics files ------------------------------------------------------------

long CurrentProcessId() {
  const AutoReleasePool pool;
  return static_cast<long>([[NSProcessInfo processInfo] processIdentifier]);
}

}  // namespace tavrin::platform
