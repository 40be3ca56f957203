// fileutils_fs.cpp - file-system operations and well-known folders: the
// library's own rules (tilde expansion, listing order and filters, the
// copy/move/delete guards, the trailing-dot retry, canonical folder forms),
// built on the platform seam for the system calls.
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "common/utils/fileutils.h"
#include "common/utils/platform.h"
#include "common/utils/tavrinassert.h"

namespace tavrin::utils {
namespace {

namespace pf = tavrin::platform;

std::string Bytes(const tavrin_ustring& path) {
  return path.utf8();
}

// Text of a file-system name. A name that is not valid UTF-8 has no
// tavrin_ustring form; it comes back empty.
tavrin_ustring Text(const std::string& bytes) {
  return tavrin_ustring(bytes);
}

bool StartsWithUnit(const tavrin_ustring& s, unsigned short unit) {
  return !s.empty() && s[0] == unit;
}

bool EndsWithUnit(const tavrin_ustring& s, unsigned short unit) {
  return !s.empty() && s[s.size() - 1] == unit;
}

// The last component by the raw "/" rule: trailing "/" are ignored, "/" stays
// "/", "" stays "".
tavrin_ustring LastComponent(const tavrin_ustring& path) {
  tavrin_ustring p = path;
  while (p.size() > 1 && EndsWithUnit(p, '/')) p.erase(p.size() - 1);
  if (p.size() == 1) return p;
  tavrin_ustring::size_type slash = p.rfind(static_cast<unsigned short>('/'));
  if (slash == tavrin_ustring::npos) return p;
  return p.substr(slash + 1);
}

// Folder forms without a trailing "/", except the root itself.
tavrin_ustring Canonical(tavrin_ustring path) {
  if (path.size() > 1 && EndsWithUnit(path, '/')) path.erase(path.size() - 1);
  return path;
}

// "~" and "~/" are the home folder; any other leading "~" keeps only the
// last component, joined to the home folder (kept as is: callers rely on it).
tavrin_ustring ExpandListingTilde(const tavrin_ustring& directory) {
  if (!StartsWithUnit(directory, '~')) return directory;
  tavrin_ustring home = HomeDirectory();
  if (directory == "~" || directory == "~/") return home;
  return AppendToPath(home, LastComponent(directory));
}

// "~" and "~/rest" use the home folder, "~name" and "~name/rest" that user's
// home; an unknown user leaves the path as it is.
tavrin_ustring ExpandTilde(const tavrin_ustring& path) {
  if (!StartsWithUnit(path, '~')) return path;
  tavrin_ustring::size_type slash = path.find(static_cast<unsigned short>('/'));
  tavrin_ustring user =
      path.substr(1, slash == tavrin_ustring::npos ? tavrin_ustring::npos : slash - 1);
  tavrin_ustring rest = slash == tavrin_ustring::npos ? tavrin_ustring() : path.substr(slash);
  tavrin_ustring home = user.empty() ? HomeDirectory() : Text(pf::HomeDirectoryOf(Bytes(user)));
  if (home.empty()) return path;
  if (rest.empty()) return home;
  if (EndsWithUnit(home, '/')) rest.erase(0, 1);
  return home + rest;
}

// Walks `root` depth-first, each directory's entries in byte order of name,
// calling visit(relative path, entry) for every entry; the relative path is
// "/" separated. Directories are entered when `enter` is true; symbolic links
// never are. The visitor returns false to stop the whole walk. Entries whose
// names are not valid UTF-8 have no text form and are skipped.
template <class Visit>
bool Walk(const std::string& root, const tavrin_ustring& relative_prefix, bool enter,
          Visit& visit) {
  std::vector<pf::DirectoryEntry> entries;
  if (!pf::ReadDirectory(root, entries)) return true;
  for (const pf::DirectoryEntry& entry : entries) {
    tavrin_ustring name = Text(entry.name);
    if (name.empty()) continue;
    tavrin_ustring relative = relative_prefix.empty() ? name : relative_prefix + "/" + name;
    if (!visit(relative, entry)) return false;
    if (enter && entry.kind == pf::EntryKind::kDirectory) {
      if (!Walk(root + "/" + entry.name, relative, enter, visit)) return false;
    }
  }
  return true;
}

// Whether a listing shows `entry`: regular files; folders only when not
// recursing; links whose target exists and is not a folder, the target tried
// as given (relative to the working directory) and then joined to the listed
// folder (never to the link's own sub-folder).
bool IsListed(const pf::DirectoryEntry& entry, const tavrin_ustring& listed_directory,
              bool recursive) {
  switch (entry.kind) {
    case pf::EntryKind::kFile:
      return true;
    case pf::EntryKind::kDirectory:
      return !recursive;
    case pf::EntryKind::kSymlink: {
      std::string target = entry.link_target;
      if (!target.empty() && !pf::PathExists(target))
        target = Bytes(AppendToPath(listed_directory, Text(target)));
      return pf::PathExists(target) && !pf::PathIsDirectory(target);
    }
    default:
      return false;
  }
}

// True when `name` holds a ".." component ("/" and "\" both separate).
bool HasParentComponent(const tavrin_ustring& name) {
  tavrin_ustring::size_type start = 0;
  while (start <= name.size()) {
    tavrin_ustring::size_type end = name.find_first_of(tavrin_ustring("/\\"), start);
    if (end == tavrin_ustring::npos) end = name.size();
    if (end - start == 2 && name[start] == '.' && name[start + 1] == '.') return true;
    start = end + 1;
  }
  return false;
}

// True when the last component of `path`, trailing "/" ignored, is "." or
// "..": such a path reaches a folder through another name, and the system
// never creates, renames or removes an entry by it (rmdir of "d/." fails
// only after a tree removal has emptied the folder).
bool EndsInDotComponent(const tavrin_ustring& path) {
  tavrin_ustring::size_type end = path.size();
  while (end > 0 && path[end - 1] == '/') --end;
  tavrin_ustring::size_type start = end;
  while (start > 0 && path[start - 1] != '/') --start;
  const tavrin_ustring::size_type length = end - start;
  return (length == 1 || length == 2) && path[start] == '.' && path[end - 1] == '.';
}

// True when `path` ends in "/": it can name a folder, never a file (a name
// made from invalid UTF-8 is "", so joining it to a folder gives this).
bool EndsInSeparator(const tavrin_ustring& path) {
  return !path.empty() && path[path.size() - 1] == '/';
}

// Whether `target` can receive `source` by a copy or a move: not through a
// "." or ".." component, and not a path ending in "/" unless `source` is a
// folder. Checked before an existing target is removed, so a move or copy
// that could only fail never removes anything.
bool CanReceive(const tavrin_ustring& source, const tavrin_ustring& target) {
  if (EndsInDotComponent(target)) return false;
  return !EndsInSeparator(target) || !pf::PathExists(Bytes(source)) ||
         pf::PathIsDirectory(Bytes(source));
}

// Removal of a whole tree is refused for the root in every spelling, and
// through a "." or ".." component.
bool RemovalAllowed(const tavrin_ustring& path) {
  return !FixPathString(path).empty() && !EndsInDotComponent(path);
}

bool RemoveTree(const tavrin_ustring& path) {
  return RemovalAllowed(path) && pf::RemoveItem(Bytes(path));
}

bool SameOrNested(const tavrin_ustring& a, const tavrin_ustring& b) {
  return pf::PathsOverlap(Bytes(a), Bytes(b));
}

tavrin_ustring ProductFolder(int release) {
  // "Wirelume 20%d" with a plain %d: release 5 gives "Wirelume 205".
  return tavrin_ustring(("Wirelume 20" + std::to_string(release)).c_str());
}

}  // namespace

// --- Queries. ---------------------------------------------------------------

bool FileExists(const tavrin_ustring& path) {
  return pf::PathExists(Bytes(path));
}

bool IsFile(const tavrin_ustring& path) {
  std::string p = Bytes(path);
  return pf::PathExists(p) && !pf::PathIsDirectory(p);
}

bool IsDirectory(const tavrin_ustring& path) {
  return pf::PathIsDirectory(Bytes(path));
}

bool IsWritableFile(const tavrin_ustring& path) {
  return pf::PathIsWritable(Bytes(path));
}

bool IsReadableFile(const tavrin_ustring& path) {
  return pf::PathIsReadable(Bytes(path));
}

int LockFile(const tavrin_ustring& path) {
  return pf::LockPath(Bytes(path));
}

bool UnlockFile(int* handle) {
  return pf::UnlockPath(handle);
}

bool IsLockedFile(const tavrin_ustring& path) {
  if (!FileExists(path)) return false;
  return pf::PathIsLocked(Bytes(path));
}

bool ChangeFilePermission(const tavrin_ustring& path, bool writable) {
  return pf::SetOwnerWritable(Bytes(path), writable);
}

bool MakeWritableFile(const tavrin_ustring& path) {
  return ChangeFilePermission(path, true);
}

bool MakeReadonlyFile(const tavrin_ustring& path) {
  return ChangeFilePermission(path, false);
}

Time FileCreationTime(const tavrin_ustring& path) {
  if (path.empty()) return Time(std::time(nullptr));
  pf::ItemAttributes attributes;
  if (!pf::GetResolvedAttributes(Bytes(path), attributes)) return Time();
  return Time(static_cast<time_t>(attributes.creation_time));
}

Time FileModificationTime(const tavrin_ustring& path) {
  if (path.empty()) return Time(std::time(nullptr));
  pf::ItemAttributes attributes;
  if (!pf::GetResolvedAttributes(Bytes(path), attributes)) return Time();
  return Time(static_cast<time_t>(attributes.modification_time));
}

unsigned long long FileSize(const tavrin_ustring& path) {
  pf::ItemAttributes attributes;
  if (!pf::GetResolvedAttributes(Bytes(path), attributes)) return 0;
  return attributes.size;
}

FileInfo GetFileInfo(const tavrin_ustring& path) {
  pf::ItemAttributes attributes;
  if (!pf::GetResolvedAttributes(Bytes(path), attributes)) return FileInfo{0, Time()};
  return FileInfo{attributes.size, Time(static_cast<time_t>(attributes.modification_time))};
}

bool FileStatus(const tavrin_ustring& path, struct stat* out) {
  return out && pf::StatPath(Bytes(path), out);
}

time_t GetModificationTime(const tavrin_ustring& path) {
  return static_cast<time_t>(pf::GetOpenedFileTime(Bytes(path), pf::FileTimeField::kModification));
}

time_t GetStatusChangeTime(const tavrin_ustring& path) {
  return static_cast<time_t>(pf::GetOpenedFileTime(Bytes(path), pf::FileTimeField::kStatusChange));
}

time_t GetAccessTime(const tavrin_ustring& path) {
  return static_cast<time_t>(pf::GetOpenedFileTime(Bytes(path), pf::FileTimeField::kAccess));
}

std::string FileSystemRepresentation(const tavrin_ustring& path) {
  return Bytes(path);
}

int FileSystemRepresentation(const tavrin_ustring& path, char* buffer, std::size_t size) {
  std::string bytes = Bytes(path);
  int n =
      bytes.size() > static_cast<std::size_t>(INT_MAX) ? INT_MAX : static_cast<int>(bytes.size());
  if (!buffer) return -n;
  if (bytes.size() >= size) {
    // `size` bytes and a zero at index `size`: the buffer holds size + 1.
    bytes.copy(buffer, size);
    buffer[size] = '\0';
    return -n;
  }
  bytes.copy(buffer, bytes.size());
  buffer[bytes.size()] = '\0';
  return n;
}

std::FILE* OpenFile(const tavrin_ustring& path, const tavrin_ustring& mode) {
  if (path.empty() || mode.empty()) return nullptr;
  return pf::OpenStream(Bytes(path), Bytes(mode));
}

// --- Copy, move, delete. ------------------------------------------------------

bool CopyFile(const tavrin_ustring& source, const tavrin_ustring& target, bool failIfExists) {
  if (source.empty() || target.empty()) return false;
  if (SameOrNested(source, target) || !CanReceive(source, target)) return false;
  std::string target_bytes = Bytes(target);
  if (pf::PathKind(target_bytes) != pf::EntryKind::kMissing) {
    if (failIfExists) return false;
    RemoveTree(target);  // result ignored: the copy below fails if it stayed
  }
  tavrin_ustring folder = GetFileLocation(target);
  if (!folder.empty() && !IsDirectory(folder)) MakeDirectory(folder);
  return pf::CopyItem(Bytes(source), target_bytes);
}

bool CopyDirectory(const tavrin_ustring& source, const tavrin_ustring& target, bool failIfExists,
                   bool recursive) {
  std::vector<tavrin_ustring> entries;
  GetDirectoryContents(source, entries, recursive);
  tavrin_ustring::size_type fixed_length = FixPathString(source).size();
  bool ok = true;
  for (const tavrin_ustring& entry : entries) {
    if (!IsFile(entry)) continue;
    tavrin_ustring::size_type cut = source.size();
    if (entry.size() < cut || entry.compare(0, cut, source) != 0) cut = fixed_length;
    if (cut > entry.size()) cut = entry.size();
    if (!CopyFile(entry, target + entry.substr(cut), failIfExists)) ok = false;
  }
  return ok;
}

bool DeleteDirectory(const tavrin_ustring& path, bool /*unused*/) {
  if (!RemovalAllowed(path)) return false;
  std::string bytes = Bytes(path);
  if (!pf::PathExists(bytes) || !pf::PathIsDeletable(bytes)) return false;
  return pf::RemoveItem(bytes);
}

bool RenameDirectory(const tavrin_ustring& from, const tavrin_ustring& to) {
  if (from.empty() || to.empty()) return false;
  if (SameOrNested(from, to)) return false;
  DeleteDirectory(to);
  if (!pf::MoveItem(Bytes(from), Bytes(to))) return false;
  return IsDirectory(to);
}

bool RemoveFileIfExists(const tavrin_ustring& path) {
  if (!RemovalAllowed(path)) return false;
  std::string bytes = Bytes(path);
  if (!pf::PathExists(bytes) || !pf::PathIsDeletable(bytes)) return false;
  return pf::RemoveItem(bytes);
}

bool RecycleFileIfExists(const tavrin_ustring& path) {
  return RemoveFileIfExists(path);
}

bool RenameFileIfExists(const tavrin_ustring& from, const tavrin_ustring& to) {
  if (from.empty() || to.empty()) return false;
  if (SameOrNested(from, to) || !CanReceive(from, to)) return false;
  bool removed = true;
  if (FileExists(to)) removed = RemoveTree(to);
  bool moved = true;
  if (FileExists(from)) moved = pf::MoveItem(Bytes(from), Bytes(to));
  return removed && moved;
}

bool MakeDirectory(const tavrin_ustring& path) {
  if (path.empty()) return false;
  if (IsDirectory(path)) return true;
  tavrin_ustring expanded = ExpandTilde(path);
  tavrin_ustring parent = GetFileLocation(expanded);
  // An empty parent is the working directory. A parent equal to the path
  // itself (only the root gives that) cannot be made from above.
  if (!parent.empty() && !IsDirectory(parent)) {
    if (parent == expanded || !MakeDirectory(parent)) return false;
  }
  return pf::CreateDirectory(Bytes(expanded), 0777);
}

// --- Listings. -----------------------------------------------------------------

void GetDirectoryContents(const tavrin_ustring& directory, std::vector<tavrin_ustring>& out,
                          bool recursive) {
  tavrin_ustring expanded = ExpandListingTilde(directory);
  std::string root = Bytes(expanded);
  if (!pf::PathIsDirectory(root)) return;
  auto visit = [&](const tavrin_ustring& relative, const pf::DirectoryEntry& entry) {
    if (IsListed(entry, expanded, recursive)) out.push_back(AppendToPath(directory, relative));
    return true;
  };
  Walk(root, tavrin_ustring(), recursive, visit);
}

void GetFilesInDirectory(const tavrin_ustring& directory, const tavrin_ustring& extension,
                         std::vector<tavrin_ustring>& out, bool recursive) {
  std::vector<tavrin_ustring> entries;
  GetDirectoryContents(directory, entries, recursive);
  for (tavrin_ustring& entry : entries) {
    if (GetFileExtension(entry).compare_nocase(extension) == 0) out.push_back(std::move(entry));
  }
}

std::vector<tavrin_ustring> FindFilesWithExtensions(const tavrin_ustring& directory,
                                                    const std::vector<tavrin_ustring>& extensions,
                                                    bool recursive, bool caseSensitive) {
  std::vector<tavrin_ustring> result;
  if (extensions.empty()) return result;
  std::vector<tavrin_ustring> entries;
  GetDirectoryContents(directory, entries, recursive);
  for (tavrin_ustring& entry : entries) {
    tavrin_ustring ext = GetFileExtension(entry);
    for (const tavrin_ustring& wanted : extensions) {
      bool equal = caseSensitive ? ext.compare(wanted) == 0 : ext.compare_nocase(wanted) == 0;
      if (equal) {
        result.push_back(std::move(entry));
        break;
      }
    }
  }
  return result;
}

void FindFilesWithExtension(const tavrin_ustring& directory, const tavrin_ustring& extension,
                            std::vector<tavrin_ustring>& out, bool recursive, bool caseSensitive) {
  out = FindFilesWithExtensions(directory, std::vector<tavrin_ustring>{extension}, recursive,
                                caseSensitive);
}

bool FindFile(const tavrin_ustring& directory, const tavrin_ustring& name, tavrin_ustring& found) {
  if (name.empty() || StartsWithUnit(name, '/') || HasParentComponent(name)) return false;
  tavrin_ustring expanded = ExpandListingTilde(directory);
  if (!IsDirectory(expanded)) return false;
  tavrin_ustring direct = expanded + "/" + name;
  if (IsFile(direct)) {
    found = direct;
    return true;
  }
  tavrin_ustring match;
  auto visit = [&](const tavrin_ustring& relative, const pf::DirectoryEntry& entry) {
    if (Text(entry.name) != name) return true;
    match = relative;
    return false;  // the first match ends the walk
  };
  if (Walk(Bytes(expanded), tavrin_ustring(), true, visit)) return false;
  found = directory + "/" + match;
  return true;
}

tavrin_ustring GetCurrentWorkingDirectory() {
  std::string cwd;
  if (!pf::GetWorkingDirectory(cwd)) return tavrin_ustring();
  return Text(cwd);
}

bool SetCurrentWorkingDirectory(const tavrin_ustring& path) {
  if (path.empty()) return true;
  return pf::ChangeDirectory(Bytes(path));
}

// --- Whole-file read and write. ---------------------------------------------------

unsigned char* ReadFileToBuffer(const tavrin_ustring& path, std::size_t* outSize) {
  if (outSize) *outSize = 0;
  if (path.empty()) return nullptr;
  std::string data;
  bool ok = pf::ReadRegularFile(Bytes(path), data);
  if (!ok && path.size() >= 2 && EndsWithUnit(path, '.')) {
    // "name." was meant as "name": one more try without the final dot.
    ok = pf::ReadRegularFile(Bytes(path.substr(0, path.size() - 1)), data);
  }
  if (!ok) return nullptr;
  auto* buffer = new unsigned char[data.size() + 1];
  if (!data.empty()) std::memcpy(buffer, data.data(), data.size());
  buffer[data.size()] = 0;
  if (outSize) *outSize = data.size();
  return buffer;
}

bool ReadFileToBuffer(const tavrin_ustring& path, std::string& out) {
  out.clear();
  if (!FileExists(path)) return false;
  if (!pf::ReadRegularFile(Bytes(path), out)) out.clear();
  return true;
}

bool WriteBufferToFile(const void* bytes, std::size_t length, const tavrin_ustring& path) {
  if (path.empty() || (!bytes && length > 0)) return false;
  // Such a path never names a file: the rename would fail after the folder
  // standing there had been removed.
  if (EndsInSeparator(path) || EndsInDotComponent(path)) return false;
  tavrin_ustring folder = GetFileLocation(path);
  if (!folder.empty() && !IsDirectory(folder)) {
    std::string error;
    if (!pf::CreateDirectories(Bytes(folder), &error)) {
      std::string shown = Bytes(Canonical(folder));
      std::fprintf(stderr, "error creating directory: %s (%s)\n", error.c_str(), shown.c_str());
      return false;
    }
  }
  return pf::WriteFileAtomically(Bytes(path), bytes, length);
}

bool WriteStringToFile(const tavrin_ustring& text, const tavrin_ustring& path) {
  std::string bytes = text.utf8();
  return WriteBufferToFile(bytes.data(), bytes.size(), path);
}

tavrin_ustring ReadStringFromFile(const tavrin_ustring& path) {
  std::string bytes;
  ReadFileToBuffer(path, bytes);
  return tavrin_ustring(bytes);
}

bool BinaryCompareFiles(const tavrin_ustring& a, const tavrin_ustring& b) {
  std::string first, second;
  if (a.empty() || b.empty()) return false;
  if (!pf::ReadRegularFile(Bytes(a), first) || !pf::ReadRegularFile(Bytes(b), second)) return false;
  return first == second;
}

FileInDirectoryFinder::FileInDirectoryFinder(const tavrin_ustring& dir)
    : directory_(FixPathString(dir)) {}

FileInDirectoryFinder::~FileInDirectoryFinder() = default;

bool FileInDirectoryFinder::operator()(const tavrin_ustring& path) const {
  return IsFile(path) && FixPathString(GetFileLocation(path)) == directory_;
}

// --- Well-known folders. -------------------------------------------------------------

tavrin_ustring HomeDirectory() {
  return Canonical(Text(pf::HomeDirectory()));
}

tavrin_ustring UserDocumentsDirectory() {
  tavrin_ustring documents = Text(pf::DocumentsDirectory());
  if (documents.empty()) {
    tavrin_ustring home = HomeDirectory();
    if (home.empty()) return tavrin_ustring();
    documents = EndsWithUnit(home, '/') ? home + "Documents" : home + "/Documents";
  }
  return Canonical(documents);
}

tavrin_ustring ApplicationSupportFileDirectory() {
  return Text(pf::ApplicationResourceDirectory());
}

tavrin_ustring UserApplicationDataDirectory() {
  return Canonical(Text(pf::UserApplicationDataDirectory()));
}

tavrin_ustring MachineApplicationDataDirectory() {
  return Canonical(Text(pf::MachineApplicationDataDirectory()));
}

tavrin_ustring UserSupportFileDirectory(const tavrin_ustring& subfolder, int release,
                                        bool /*unused*/) {
  tavrin_ustring base = UserApplicationDataDirectory();
  // Without a data folder there is no answer; nothing is made relative to
  // the working directory.
  if (base.empty()) return tavrin_ustring();
  tavrin_ustring path = AppendToPath(AppendToPath(base, ProductFolder(release)), subfolder);
  if (!FileExists(path)) MakeDirectory(path);
  return Canonical(path);
}

tavrin_ustring UserSupportFileDirectory(const tavrin_ustring& subfolder) {
  return UserSupportFileDirectory(subfolder, 25, false);
}

bool UserSupportFileDirectoryExists(const tavrin_ustring& subfolder, int release, bool /*unused*/) {
  tavrin_ustring base = UserApplicationDataDirectory();
  if (base.empty()) return false;
  return FileExists(AppendToPath(AppendToPath(base, ProductFolder(release)), subfolder));
}

tavrin_ustring MachineSupportFileDirectory(const tavrin_ustring& subfolder) {
  tavrin_ustring base = MachineApplicationDataDirectory();
  if (base.empty()) return tavrin_ustring();
  tavrin_ustring path = AppendToPath(AppendToPath(base, ProductFolder(25)), subfolder);
  if (!FileExists(path)) MakeDirectory(path);
  return Canonical(path);
}

tavrin_ustring FontDirectory() {
  return tavrin_ustring();
}

void GetTempPath(tavrin_ustring& out) {
  out = Canonical(Text(pf::PrivateTemporaryDirectory()));
}

void GetTempAppSupportPath(const tavrin_ustring& subfolder, tavrin_ustring& out) {
  tavrin_ustring support = UserSupportFileDirectory(subfolder, 25, false);
  if (support.empty()) {
    out = tavrin_ustring();
    return;
  }
  out = AppendToPath(support, tavrin_ustring("working"));
  if (!IsDirectory(out)) MakeDirectory(out);
}

void GetTempFileName(const tavrin_ustring& directory, tavrin_ustring& name) {
  name = Text(pf::UnusedRandomPath(Bytes(AppendToPath(directory, name))));
}

bool MakeTempDir(const tavrin_ustring& directory, tavrin_ustring& name) {
  std::string path = Bytes(AppendToPath(directory, name)) + ".XXXXXX";
  if (!pf::MakeUniqueDirectory(path)) {
    std::string message = "MakeTempDir temporary directory " + path + " could not be created";
    AssertFailed(__FILE__, __LINE__, message.c_str());
    name = Text(path);
    return false;
  }
  name = Text(path);
  return IsDirectory(name);
}

}  // namespace tavrin::utils
