// fileutils_fs_test.cpp - file-system operations: queries, locks, times,
// copy/move/delete, listings and whole-file read and write.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "common/utils/fileutils.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::FreshDir;
using tavrin::test::ReadFile;
using tavrin::test::WriteFile;
using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

tavrin_ustring U(const std::string& s) {
  return tavrin_ustring(s);
}

std::vector<std::string> Utf8(const std::vector<tavrin_ustring>& list) {
  std::vector<std::string> out;
  for (const tavrin_ustring& s : list) out.push_back(s.utf8());
  return out;
}

mode_t ModeOf(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return 0;
  return st.st_mode & 07777;
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

void SetTimes(const std::string& path, time_t atime, time_t mtime) {
  struct timespec times[2] = {{atime, 0}, {mtime, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

// Redirects a descriptor (standard error) into a file for the life of the
// object; Text() restores it and returns what was written.
class CaptureFd {
 public:
  explicit CaptureFd(int fd) : fd_(fd) {
    std::fflush(nullptr);
    path_ = FreshDir("capture") + "/out";
    saved_ = ::dup(fd_);
    int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(file, fd_);
    ::close(file);
  }
  ~CaptureFd() { Restore(); }
  std::string Text() {
    Restore();
    return ReadFile(path_);
  }

 private:
  void Restore() {
    if (saved_ < 0) return;
    std::fflush(nullptr);
    ::dup2(saved_, fd_);
    ::close(saved_);
    saved_ = -1;
  }
  int fd_;
  int saved_ = -1;
  std::string path_;
};

// Restores the working directory when the test ends.
class ScopedCwd {
 public:
  ScopedCwd() {
    char buf[4096];
    if (::getcwd(buf, sizeof buf)) old_ = buf;
  }
  ~ScopedCwd() {
    if (!old_.empty() && ::chdir(old_.c_str()) != 0) std::perror("chdir");
  }

 private:
  std::string old_;
};

// --- Queries. -------------------------------------------------------------------

TEST(FileUtilsTest, ExistenceAndKind) {
  std::string dir = FreshDir("kind");
  ASSERT_TRUE(WriteFile(dir + "/f.txt", "x"));
  EXPECT_FALSE(tu::FileExists(U("")));
  EXPECT_FALSE(tu::IsFile(U("")));
  EXPECT_FALSE(tu::IsDirectory(U("")));
  EXPECT_TRUE(tu::FileExists(U(dir)));
  EXPECT_TRUE(tu::IsDirectory(U(dir)));
  EXPECT_FALSE(tu::IsFile(U(dir)));
  EXPECT_TRUE(tu::FileExists(U(dir + "/f.txt")));
  EXPECT_TRUE(tu::IsFile(U(dir + "/f.txt")));
  EXPECT_FALSE(tu::IsDirectory(U(dir + "/f.txt")));
  EXPECT_FALSE(tu::FileExists(U(dir + "/missing")));
  EXPECT_FALSE(tu::IsFile(U(dir + "/missing")));
}

TEST(FileUtilsTest, ReadableAndWritable) {
  std::string dir = FreshDir("access");
  ASSERT_TRUE(WriteFile(dir + "/f", "x"));
  EXPECT_TRUE(tu::IsReadableFile(U(dir + "/f")));
  EXPECT_TRUE(tu::IsWritableFile(U(dir + "/f")));
  EXPECT_FALSE(tu::IsReadableFile(U(dir + "/missing")));
  EXPECT_FALSE(tu::IsWritableFile(U("")));
  ASSERT_EQ(::chmod((dir + "/f").c_str(), 0444), 0);
  if (::geteuid() == 0) {
    // The superuser passes access(2) anyway; the bits tell the story.
    EXPECT_EQ(ModeOf(dir + "/f"), 0444u);
  } else {
    EXPECT_FALSE(tu::IsWritableFile(U(dir + "/f")));
    EXPECT_TRUE(tu::IsReadableFile(U(dir + "/f")));
  }
}

TEST(FileUtilsTest, LockExcludesOtherLockers) {
  std::string path = FreshDir("lock") + "/lock";
  ASSERT_TRUE(WriteFile(path, ""));
  EXPECT_FALSE(tu::IsLockedFile(U(path)));
  int handle = tu::LockFile(U(path));
  ASSERT_GE(handle, 0);
  EXPECT_EQ(tu::LockFile(U(path)), -1);
  EXPECT_TRUE(tu::IsLockedFile(U(path)));
  EXPECT_TRUE(tu::UnlockFile(&handle));
  EXPECT_EQ(handle, -1);
  EXPECT_FALSE(tu::UnlockFile(&handle));
  EXPECT_FALSE(tu::IsLockedFile(U(path)));
  int again = tu::LockFile(U(path));
  EXPECT_GE(again, 0);
  EXPECT_TRUE(tu::UnlockFile(&again));
}

TEST(FileUtilsTest, LockFailures) {
  std::string dir = FreshDir("lockfail");
  EXPECT_EQ(tu::LockFile(U(dir + "/missing")), -1);
  EXPECT_EQ(tu::LockFile(U("")), -1);
  EXPECT_FALSE(tu::IsLockedFile(U(dir + "/missing")));
  EXPECT_FALSE(tu::UnlockFile(nullptr));
  int minus_one = -1;
  EXPECT_FALSE(tu::UnlockFile(&minus_one));
  // A directory cannot be opened for writing: never "locked".
  EXPECT_FALSE(tu::IsLockedFile(U(dir)));
}

TEST(FileUtilsTest, OwnerWriteBitOnly) {
  std::string path = FreshDir("perm") + "/f";
  ASSERT_TRUE(WriteFile(path, "x"));
  ASSERT_EQ(::chmod(path.c_str(), 0664), 0);
  EXPECT_TRUE(tu::MakeReadonlyFile(U(path)));
  EXPECT_EQ(ModeOf(path), 0464u);  // group and other write stay
  EXPECT_TRUE(tu::MakeReadonlyFile(U(path)));
  EXPECT_EQ(ModeOf(path), 0464u);
  EXPECT_TRUE(tu::MakeWritableFile(U(path)));
  EXPECT_EQ(ModeOf(path), 0664u);
  ASSERT_EQ(::chmod(path.c_str(), 04555), 0);
  EXPECT_TRUE(tu::ChangeFilePermission(U(path), true));
  EXPECT_EQ(ModeOf(path), 04755u);  // special bits survive
  EXPECT_FALSE(tu::MakeWritableFile(U(path + ".missing")));
  EXPECT_FALSE(tu::MakeReadonlyFile(U("")));
}

TEST(FileUtilsTest, TimesAndSizes) {
  std::string path = FreshDir("times") + "/f";
  ASSERT_TRUE(WriteFile(path, "12345"));
  SetTimes(path, 500000000, 1000000000);
  EXPECT_EQ(tu::FileSize(U(path)), 5u);
  EXPECT_EQ(tu::FileModificationTime(U(path)).GetDATE(), 1000000000);
  tu::FileInfo info = tu::GetFileInfo(U(path));
  EXPECT_EQ(info.size, 5u);
  EXPECT_EQ(info.modificationTime.GetDATE(), 1000000000);
  EXPECT_EQ(tu::GetModificationTime(U(path)), 1000000000);
  EXPECT_EQ(tu::GetAccessTime(U(path)), 500000000);
  struct stat st;
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(tu::GetStatusChangeTime(U(path)), st.st_ctime);
}

TEST(FileUtilsTest, CreationTimeIsBirthOrModification) {
  std::string path = FreshDir("birth") + "/f";
  time_t before = std::time(nullptr);
  ASSERT_TRUE(WriteFile(path, "x"));
  SetTimes(path, 1000000000, 1000000000);
  time_t created = tu::FileCreationTime(U(path)).GetDATE();
  time_t after = std::time(nullptr);
  // A file system with birth times gives the creation instant, one without
  // gives the modification time - never the status-change time.
  bool birth = created >= before - 1 && created <= after;
  EXPECT_TRUE(birth || created == 1000000000) << created;
}

TEST(FileUtilsTest, MissingAndEmptyPathTimes) {
  std::string missing = FreshDir("notimes") + "/missing";
  EXPECT_EQ(tu::FileSize(U(missing)), 0u);
  EXPECT_EQ(tu::FileModificationTime(U(missing)).GetDATE(), 0);
  EXPECT_EQ(tu::FileCreationTime(U(missing)).GetDATE(), 0);
  tu::FileInfo info = tu::GetFileInfo(U(missing));
  EXPECT_EQ(info.size, 0u);
  EXPECT_EQ(info.modificationTime.GetDATE(), 0);
  EXPECT_EQ(tu::GetModificationTime(U(missing)), 0);
  EXPECT_EQ(tu::GetAccessTime(U(missing)), 0);
  EXPECT_EQ(tu::GetStatusChangeTime(U("")), 0);
  time_t before = std::time(nullptr);
  time_t now_created = tu::FileCreationTime(U("")).GetDATE();
  time_t now_modified = tu::FileModificationTime(U("")).GetDATE();
  time_t after = std::time(nullptr);
  EXPECT_GE(now_created, before);
  EXPECT_LE(now_created, after);
  EXPECT_GE(now_modified, before);
  EXPECT_LE(now_modified, after);
}

TEST(FileUtilsTest, FileStatus) {
  std::string path = FreshDir("status") + "/f";
  ASSERT_TRUE(WriteFile(path, "abc"));
  struct stat st;
  EXPECT_TRUE(tu::FileStatus(U(path), &st));
  EXPECT_EQ(st.st_size, 3);
  EXPECT_FALSE(tu::FileStatus(U(path), nullptr));
  EXPECT_FALSE(tu::FileStatus(U(path + "x"), &st));
  EXPECT_FALSE(tu::FileStatus(U(""), &st));
}

TEST(FileUtilsTest, FileSystemRepresentationIntoBuffer) {
  tavrin_ustring path = U("/abc/defgh");  // 10 bytes
  char buf[16];
  std::fill(std::begin(buf), std::end(buf), 'Z');
  EXPECT_EQ(tu::FileSystemRepresentation(path, buf, 4), -10);
  EXPECT_EQ(std::string(buf, 4), "/abc");
  EXPECT_EQ(buf[4], '\0');
  EXPECT_EQ(buf[5], 'Z');
  std::fill(std::begin(buf), std::end(buf), 'Z');
  EXPECT_EQ(tu::FileSystemRepresentation(path, buf, 10), -10);
  EXPECT_EQ(buf[10], '\0');
  EXPECT_EQ(tu::FileSystemRepresentation(path, buf, 11), 10);
  EXPECT_STREQ(buf, "/abc/defgh");
  EXPECT_EQ(tu::FileSystemRepresentation(path, nullptr, 100), -10);
  // Non-ASCII names are their UTF-8 bytes, unchanged (no decomposition).
  tavrin_ustring cafe = U("caf\xC3\xA9");
  EXPECT_EQ(tu::FileSystemRepresentation(cafe), "caf\xC3\xA9");
  EXPECT_EQ(tu::FileSystemRepresentation(cafe, buf, 16), 5);
  EXPECT_EQ(tu::FileSystemRepresentation(U("")), "");
}

TEST(FileUtilsTest, OpenFile) {
  std::string path = FreshDir("open") + "/f";
  ASSERT_TRUE(WriteFile(path, "hello"));
  EXPECT_EQ(tu::OpenFile(U(path), U("")), nullptr);
  EXPECT_EQ(tu::OpenFile(U(""), U("r")), nullptr);
  EXPECT_EQ(tu::OpenFile(U(path + ".missing"), U("r")), nullptr);
  std::FILE* f = tu::OpenFile(U(path), U("r"));
  ASSERT_NE(f, nullptr);
  char buf[8] = {};
  EXPECT_EQ(std::fread(buf, 1, sizeof buf, f), 5u);
  EXPECT_STREQ(buf, "hello");
  std::fclose(f);
}

// --- Copy, move, delete. -------------------------------------------------------------

TEST(FileUtilsTest, CopyFileKeepsOrReplacesTarget) {
  std::string dir = FreshDir("copy");
  ASSERT_TRUE(WriteFile(dir + "/src", "new"));
  ASSERT_TRUE(WriteFile(dir + "/dst", "old"));
  EXPECT_FALSE(tu::CopyFile(U(dir + "/src"), U(dir + "/dst"), true));
  EXPECT_EQ(ReadFile(dir + "/dst"), "old");
  EXPECT_TRUE(tu::CopyFile(U(dir + "/src"), U(dir + "/dst"), false));
  EXPECT_EQ(ReadFile(dir + "/dst"), "new");
  EXPECT_EQ(ReadFile(dir + "/src"), "new");
  EXPECT_FALSE(tu::CopyFile(U(dir + "/missing"), U(dir + "/other"), false));
  EXPECT_FALSE(Exists(dir + "/other"));
}

TEST(FileUtilsTest, CopyFileKeepsModeAndModificationTime) {
  std::string dir = FreshDir("copymeta");
  ASSERT_TRUE(WriteFile(dir + "/src", "data"));
  ASSERT_EQ(::chmod((dir + "/src").c_str(), 0640), 0);
  SetTimes(dir + "/src", 1000000000, 1200000000);
  ASSERT_TRUE(tu::CopyFile(U(dir + "/src"), U(dir + "/a/b/dst"), true));  // parents made
  EXPECT_EQ(ReadFile(dir + "/a/b/dst"), "data");
  EXPECT_EQ(ModeOf(dir + "/a/b/dst"), 0640u);
  EXPECT_EQ(tu::GetModificationTime(U(dir + "/a/b/dst")), 1200000000);
}

TEST(FileUtilsTest, CopyFileCopiesTrees) {
  std::string dir = FreshDir("copytree");
  ASSERT_EQ(::mkdir((dir + "/src").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir + "/src/sub").c_str(), 0750), 0);
  ASSERT_TRUE(WriteFile(dir + "/src/a.txt", "A"));
  ASSERT_TRUE(WriteFile(dir + "/src/sub/b.txt", "B"));
  EXPECT_TRUE(tu::CopyFile(U(dir + "/src"), U(dir + "/dst"), true));
  EXPECT_EQ(ReadFile(dir + "/dst/a.txt"), "A");
  EXPECT_EQ(ReadFile(dir + "/dst/sub/b.txt"), "B");
  EXPECT_EQ(ModeOf(dir + "/dst/sub"), 0750u);
}

TEST(FileUtilsTest, CopyOntoItselfFailsAndKeepsData) {
  std::string dir = FreshDir("copyself");
  ASSERT_TRUE(WriteFile(dir + "/f", "keep"));
  ASSERT_EQ(::mkdir((dir + "/d").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/d/x", "x"));
  EXPECT_FALSE(tu::CopyFile(U(dir + "/f"), U(dir + "/f"), false));
  EXPECT_FALSE(tu::CopyFile(U(dir + "/f"), U(dir + "/./f"), false));
  ASSERT_EQ(::link((dir + "/f").c_str(), (dir + "/hard").c_str()), 0);
  EXPECT_FALSE(tu::CopyFile(U(dir + "/f"), U(dir + "/hard"), false));
  EXPECT_EQ(ReadFile(dir + "/f"), "keep");
  // A folder into itself, and a folder onto something inside it.
  EXPECT_FALSE(tu::CopyFile(U(dir + "/d"), U(dir + "/d/copy"), false));
  EXPECT_FALSE(tu::CopyFile(U(dir + "/d/x"), U(dir + "/d"), false));
  EXPECT_EQ(ReadFile(dir + "/d/x"), "x");
  EXPECT_FALSE(Exists(dir + "/d/copy"));
}

TEST(FileUtilsTest, CopyDirectoryConcatenatesTarget) {
  std::string dir = FreshDir("copydir");
  std::string src = dir + "/src";
  ASSERT_EQ(::mkdir(src.c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((src + "/sub").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(src + "/a.txt", "A"));
  ASSERT_TRUE(WriteFile(src + "/sub/b.txt", "B"));
  EXPECT_TRUE(tu::CopyDirectory(U(src), U(dir + "/dst"), true, true));
  EXPECT_EQ(ReadFile(dir + "/dst/a.txt"), "A");
  EXPECT_EQ(ReadFile(dir + "/dst/sub/b.txt"), "B");
  // Non-recursive: only the top files.
  EXPECT_TRUE(tu::CopyDirectory(U(src), U(dir + "/flat"), true, false));
  EXPECT_TRUE(Exists(dir + "/flat/a.txt"));
  EXPECT_FALSE(Exists(dir + "/flat/sub"));
  // Plain concatenation: "src/" and "dst" disagree about the slash.
  EXPECT_TRUE(tu::CopyDirectory(U(src + "/"), U(dir + "/dst2"), true, false));
  EXPECT_EQ(ReadFile(dir + "/dst2a.txt"), "A");
  // failIfExists: the existing copies make it fail.
  EXPECT_FALSE(tu::CopyDirectory(U(src), U(dir + "/dst"), true, true));
  // An empty listing succeeds.
  ASSERT_EQ(::mkdir((dir + "/empty").c_str(), 0755), 0);
  EXPECT_TRUE(tu::CopyDirectory(U(dir + "/empty"), U(dir + "/none"), true, true));
  EXPECT_TRUE(tu::CopyDirectory(U(dir + "/missing"), U(dir + "/none"), true, true));
}

TEST(FileUtilsTest, CopyDirectorySlicesUnnormalisedSource) {
  std::string dir = FreshDir("copyslice");
  std::string src = dir + "/src";
  ASSERT_EQ(::mkdir(src.c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(src + "/a.txt", "A"));
  // The listing is normalised ("src//" does not start it), so the entry is
  // cut at the length of the normalised source.
  EXPECT_TRUE(tu::CopyDirectory(U(dir + "//src"), U(dir + "/dst"), true, false));
  EXPECT_EQ(ReadFile(dir + "/dst/a.txt"), "A");
}

TEST(FileUtilsTest, DeleteDirectory) {
  std::string dir = FreshDir("delete");
  ASSERT_EQ(::mkdir((dir + "/t").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir + "/t/sub").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/t/sub/f", "x"));
  ASSERT_TRUE(WriteFile(dir + "/t/g", "y"));
  EXPECT_TRUE(tu::DeleteDirectory(U(dir + "/t"), false));
  EXPECT_FALSE(Exists(dir + "/t"));
  ASSERT_TRUE(WriteFile(dir + "/plain", "x"));
  EXPECT_TRUE(tu::DeleteDirectory(U(dir + "/plain"), true));  // a plain file too
  EXPECT_FALSE(Exists(dir + "/plain"));
  EXPECT_FALSE(tu::DeleteDirectory(U(dir + "/missing")));
  EXPECT_FALSE(tu::DeleteDirectory(U("")));
}

TEST(FileUtilsTest, RenameDirectory) {
  std::string dir = FreshDir("renamedir");
  ASSERT_EQ(::mkdir((dir + "/a").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/a/f", "A"));
  ASSERT_EQ(::mkdir((dir + "/b").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/b/old", "B"));
  EXPECT_TRUE(tu::RenameDirectory(U(dir + "/a"), U(dir + "/b")));  // b replaced
  EXPECT_FALSE(Exists(dir + "/a"));
  EXPECT_EQ(ReadFile(dir + "/b/f"), "A");
  EXPECT_FALSE(Exists(dir + "/b/old"));
  EXPECT_FALSE(tu::RenameDirectory(U(dir + "/missing"), U(dir + "/c")));
  // A file moves, but the result says whether a directory arrived.
  ASSERT_TRUE(WriteFile(dir + "/file", "F"));
  EXPECT_FALSE(tu::RenameDirectory(U(dir + "/file"), U(dir + "/moved")));
  EXPECT_EQ(ReadFile(dir + "/moved"), "F");
}

TEST(FileUtilsTest, RenameDirectoryOntoItselfRemovesNothing) {
  std::string dir = FreshDir("renameself");
  ASSERT_EQ(::mkdir((dir + "/a").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir + "/a/b").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/a/b/f", "F"));
  EXPECT_FALSE(tu::RenameDirectory(U(dir + "/a"), U(dir + "/a")));
  EXPECT_FALSE(tu::RenameDirectory(U(dir + "/a"), U(dir + "/a/")));
  EXPECT_FALSE(tu::RenameDirectory(U(dir + "/a/b"), U(dir + "/a")));
  EXPECT_FALSE(tu::RenameDirectory(U(dir + "/a"), U(dir + "/a/b")));
  EXPECT_EQ(ReadFile(dir + "/a/b/f"), "F");
}

TEST(FileUtilsTest, RemoveFileIfExists) {
  std::string dir = FreshDir("remove");
  ASSERT_TRUE(WriteFile(dir + "/f", "x"));
  EXPECT_TRUE(tu::RemoveFileIfExists(U(dir + "/f")));
  EXPECT_FALSE(Exists(dir + "/f"));
  EXPECT_FALSE(tu::RemoveFileIfExists(U(dir + "/f")));
  EXPECT_FALSE(tu::RemoveFileIfExists(U("")));
  ASSERT_EQ(::mkdir((dir + "/tree").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/tree/x", "x"));
  EXPECT_TRUE(tu::RecycleFileIfExists(U(dir + "/tree")));  // deleted, no trash
  EXPECT_FALSE(Exists(dir + "/tree"));
}

TEST(FileUtilsTest, RenameFileIfExists) {
  std::string dir = FreshDir("renamefile");
  ASSERT_TRUE(WriteFile(dir + "/from", "F"));
  ASSERT_TRUE(WriteFile(dir + "/to", "T"));
  EXPECT_TRUE(tu::RenameFileIfExists(U(dir + "/from"), U(dir + "/to")));
  EXPECT_EQ(ReadFile(dir + "/to"), "F");
  EXPECT_FALSE(Exists(dir + "/from"));
  // A missing source counts as success; an existing target is still removed.
  EXPECT_TRUE(tu::RenameFileIfExists(U(dir + "/from"), U(dir + "/to")));
  EXPECT_FALSE(Exists(dir + "/to"));
  EXPECT_TRUE(tu::RenameFileIfExists(U(dir + "/nothing"), U(dir + "/neither")));
  // The same file under another name is refused and kept.
  ASSERT_TRUE(WriteFile(dir + "/same", "S"));
  ASSERT_EQ(::link((dir + "/same").c_str(), (dir + "/alias").c_str()), 0);
  EXPECT_FALSE(tu::RenameFileIfExists(U(dir + "/same"), U(dir + "/alias")));
  EXPECT_FALSE(tu::RenameFileIfExists(U(dir + "/same"),
                                      U(dir + "/../" + dir.substr(dir.rfind('/') + 1) + "/same")));
  EXPECT_EQ(ReadFile(dir + "/same"), "S");
  EXPECT_EQ(ReadFile(dir + "/alias"), "S");
}

TEST(FileUtilsTest, MakeDirectory) {
  std::string dir = FreshDir("mkdir");
  EXPECT_FALSE(tu::MakeDirectory(U("")));
  EXPECT_TRUE(tu::MakeDirectory(U(dir + "/a/b/c")));
  EXPECT_TRUE(tu::IsDirectory(U(dir + "/a/b/c")));
  EXPECT_TRUE(tu::MakeDirectory(U(dir + "/a/b/c")));  // existing
  EXPECT_TRUE(tu::MakeDirectory(U(dir + "/x/")));
  EXPECT_TRUE(tu::IsDirectory(U(dir + "/x")));
  ASSERT_TRUE(WriteFile(dir + "/file", "x"));
  EXPECT_FALSE(tu::MakeDirectory(U(dir + "/file")));
  EXPECT_FALSE(tu::MakeDirectory(U(dir + "/file/sub")));
}

TEST(FileUtilsTest, MakeDirectoryExpandsTilde) {
  std::string home = FreshDir("tildehome");
  tavrin::test::ScopedEnv env("HOME", home.c_str());
  EXPECT_TRUE(tu::MakeDirectory(U("~/made/here")));
  EXPECT_TRUE(tu::IsDirectory(U(home + "/made/here")));
  // An unknown user leaves the text as it is (a relative name here).
  ScopedCwd cwd;
  std::string work = FreshDir("tildework");
  ASSERT_EQ(::chdir(work.c_str()), 0);
  EXPECT_TRUE(tu::MakeDirectory(U("~no-such-user-tavrin/x")));
  EXPECT_TRUE(tu::IsDirectory(U(work + "/~no-such-user-tavrin/x")));
}

TEST(FileUtilsTest, MakeDirectoryBareNameInWorkingDirectory) {
  ScopedCwd cwd;
  std::string work = FreshDir("bare");
  ASSERT_EQ(::chdir(work.c_str()), 0);
  EXPECT_TRUE(tu::MakeDirectory(U("new")));
  EXPECT_TRUE(tu::IsDirectory(U(work + "/new")));
  EXPECT_TRUE(tu::WriteStringToFile(U("x"), U("x.bin")));
  EXPECT_EQ(ReadFile(work + "/x.bin"), "x");
}

// --- Listings. ----------------------------------------------------------------------

// A small tree: B.txt, a/c/d.txt, a/z.md, b.txt, c.TXT
std::string MakeListingTree() {
  std::string dir = FreshDir("listing");
  ::mkdir((dir + "/a").c_str(), 0755);
  ::mkdir((dir + "/a/c").c_str(), 0755);
  WriteFile(dir + "/B.txt", "");
  WriteFile(dir + "/a/c/d.txt", "");
  WriteFile(dir + "/a/z.md", "");
  WriteFile(dir + "/b.txt", "");
  WriteFile(dir + "/c.TXT", "");
  return dir;
}

TEST(FileUtilsTest, ListingIsDepthFirstInByteOrder) {
  std::string dir = MakeListingTree();
  std::vector<tavrin_ustring> out;
  tu::GetDirectoryContents(U(dir), out, true);
  EXPECT_EQ(Utf8(out), (std::vector<std::string>{dir + "/B.txt", dir + "/a/c/d.txt",
                                                 dir + "/a/z.md", dir + "/b.txt", dir + "/c.TXT"}));
  out.clear();
  tu::GetDirectoryContents(U(dir), out, false);
  EXPECT_EQ(Utf8(out),
            (std::vector<std::string>{dir + "/B.txt", dir + "/a", dir + "/b.txt", dir + "/c.TXT"}));
}

TEST(FileUtilsTest, ListingAppendsAndKeepsDirectoryAsGiven) {
  std::string dir = MakeListingTree();
  std::vector<tavrin_ustring> out{U("kept")};
  tu::GetDirectoryContents(U(dir + "/a/"), out, true);
  EXPECT_EQ(Utf8(out), (std::vector<std::string>{"kept", dir + "/a/c/d.txt", dir + "/a/z.md"}));
  tu::GetDirectoryContents(U(dir + "/missing"), out, true);
  tu::GetDirectoryContents(U(dir + "/b.txt"), out, true);
  tu::GetDirectoryContents(U(""), out, true);
  EXPECT_EQ(out.size(), 3u);
}

TEST(FileUtilsTest, ListingTildeUsesLastComponentOnly) {
  std::string home = MakeListingTree();
  tavrin::test::ScopedEnv env("HOME", home.c_str());
  std::vector<tavrin_ustring> out;
  tu::GetDirectoryContents(U("~"), out, false);
  EXPECT_EQ(out.size(), 4u);
  out.clear();
  tu::GetDirectoryContents(U("~/"), out, false);
  EXPECT_EQ(out.size(), 4u);
  // "~/x/a" lists home/a; entries keep the text as given.
  out.clear();
  tu::GetDirectoryContents(U("~/x/a"), out, true);
  EXPECT_EQ(Utf8(out), (std::vector<std::string>{"~/x/a/c/d.txt", "~/x/a/z.md"}));
}

TEST(FileUtilsTest, FilesByExtension) {
  std::string dir = MakeListingTree();
  std::vector<tavrin_ustring> out{U("kept")};
  tu::GetFilesInDirectory(U(dir), U("txt"), out, true);
  EXPECT_EQ(Utf8(out), (std::vector<std::string>{"kept", dir + "/B.txt", dir + "/a/c/d.txt",
                                                 dir + "/b.txt", dir + "/c.TXT"}));

  auto exact = tu::FindFilesWithExtensions(U(dir), {U("txt"), U("md")}, true, true);
  EXPECT_EQ(Utf8(exact), (std::vector<std::string>{dir + "/B.txt", dir + "/a/c/d.txt",
                                                   dir + "/a/z.md", dir + "/b.txt"}));
  // Each entry at most once, even when two extensions match it.
  auto loose = tu::FindFilesWithExtensions(U(dir), {U("TXT"), U("txt")}, false, false);
  EXPECT_EQ(Utf8(loose),
            (std::vector<std::string>{dir + "/B.txt", dir + "/b.txt", dir + "/c.TXT"}));
  EXPECT_TRUE(tu::FindFilesWithExtensions(U(dir), {}, true, false).empty());

  std::vector<tavrin_ustring> replaced{U("gone")};
  tu::FindFilesWithExtension(U(dir), U("md"), replaced, true, true);
  EXPECT_EQ(Utf8(replaced), (std::vector<std::string>{dir + "/a/z.md"}));
  tu::FindFilesWithExtension(U(dir), U("none"), replaced, true, true);
  EXPECT_TRUE(replaced.empty());
}

TEST(FileUtilsTest, FindFile) {
  std::string dir = MakeListingTree();
  tavrin_ustring found = U("unchanged");
  EXPECT_TRUE(tu::FindFile(U(dir), U("b.txt"), found));
  EXPECT_EQ(found.utf8(), dir + "/b.txt");
  EXPECT_TRUE(tu::FindFile(U(dir), U("d.txt"), found));
  EXPECT_EQ(found.utf8(), dir + "/a/c/d.txt");
  EXPECT_TRUE(tu::FindFile(U(dir), U("a/z.md"), found));  // direct check as written
  EXPECT_EQ(found.utf8(), dir + "/a/z.md");
  EXPECT_TRUE(tu::FindFile(U(dir), U("c"), found));  // the walk matches folders too
  EXPECT_EQ(found.utf8(), dir + "/a/c");
  found = U("unchanged");
  EXPECT_FALSE(tu::FindFile(U(dir), U("nothing.txt"), found));
  EXPECT_FALSE(tu::FindFile(U(dir + "/missing"), U("b.txt"), found));
  EXPECT_FALSE(tu::FindFile(U(dir), U(""), found));
  EXPECT_EQ(found.utf8(), "unchanged");
}

TEST(FileUtilsTest, FindFileNeverLeavesTheDirectory) {
  std::string dir = MakeListingTree();
  std::string inner = dir + "/a";
  tavrin_ustring found = U("unchanged");
  EXPECT_FALSE(tu::FindFile(U(inner), U("../b.txt"), found));
  EXPECT_FALSE(tu::FindFile(U(inner), U("c/../../b.txt"), found));
  EXPECT_FALSE(tu::FindFile(U(inner), U("..\\b.txt"), found));
  EXPECT_FALSE(tu::FindFile(U(inner), U(dir + "/b.txt"), found));
  EXPECT_EQ(found.utf8(), "unchanged");
}

TEST(FileUtilsTest, FileInDirectoryFinder) {
  std::string dir = MakeListingTree();
  tu::FileInDirectoryFinder finder(U(dir + "/a/"));
  EXPECT_TRUE(finder(U(dir + "/a/z.md")));
  EXPECT_FALSE(finder(U(dir + "/a/c/d.txt")));  // a sub-folder is not the folder
  EXPECT_FALSE(finder(U(dir + "/a/c")));        // not a file
  EXPECT_FALSE(finder(U(dir + "/A/z.md")));     // exact comparison
  EXPECT_FALSE(finder(U(dir + "/b.txt")));
}

TEST(FileUtilsTest, WorkingDirectory) {
  ScopedCwd cwd;
  std::string dir = FreshDir("cwd");
  EXPECT_TRUE(tu::SetCurrentWorkingDirectory(U(dir)));
  EXPECT_EQ(tu::GetCurrentWorkingDirectory().utf8(), dir);
  EXPECT_TRUE(tu::SetCurrentWorkingDirectory(U("")));
  EXPECT_EQ(tu::GetCurrentWorkingDirectory().utf8(), dir);
  EXPECT_FALSE(tu::SetCurrentWorkingDirectory(U(dir + "/missing")));
}

// --- Whole-file read and write. -------------------------------------------------------

TEST(FileUtilsTest, ReadFileToBuffer) {
  std::string dir = FreshDir("read");
  ASSERT_TRUE(WriteFile(dir + "/f", std::string("a\0b", 3)));
  std::size_t size = 99;
  unsigned char* data = tu::ReadFileToBuffer(U(dir + "/f"), &size);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), 3), std::string("a\0b", 3));
  EXPECT_EQ(data[3], 0);
  delete[] data;
  data = tu::ReadFileToBuffer(U(dir + "/f"), nullptr);
  EXPECT_NE(data, nullptr);
  delete[] data;
  size = 99;
  EXPECT_EQ(tu::ReadFileToBuffer(U(dir + "/missing"), &size), nullptr);
  EXPECT_EQ(size, 0u);
  size = 99;
  EXPECT_EQ(tu::ReadFileToBuffer(U(dir), &size), nullptr);  // a folder fails
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(tu::ReadFileToBuffer(U(""), &size), nullptr);
}

TEST(FileUtilsTest, ReadFileToBufferDropsTrailingDot) {
  std::string dir = FreshDir("dot");
  ASSERT_TRUE(WriteFile(dir + "/name", "content"));
  std::size_t size = 0;
  unsigned char* data = tu::ReadFileToBuffer(U(dir + "/name."), &size);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), size), "content");
  delete[] data;
  // Only one dot is dropped, and only after a failure.
  EXPECT_EQ(tu::ReadFileToBuffer(U(dir + "/name.."), &size), nullptr);
  ASSERT_TRUE(WriteFile(dir + "/name.", "dotted"));
  data = tu::ReadFileToBuffer(U(dir + "/name."), &size);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), size), "dotted");
  delete[] data;
  EXPECT_EQ(tu::ReadFileToBuffer(U("."), &size), nullptr);
}

TEST(FileUtilsTest, ReadFileToString) {
  std::string dir = FreshDir("readstr");
  ASSERT_TRUE(WriteFile(dir + "/f", "bytes"));
  std::string out = "stale";
  EXPECT_TRUE(tu::ReadFileToBuffer(U(dir + "/f"), out));
  EXPECT_EQ(out, "bytes");
  out = "stale";
  EXPECT_FALSE(tu::ReadFileToBuffer(U(dir + "/missing"), out));
  EXPECT_EQ(out, "");
  out = "stale";
  EXPECT_TRUE(tu::ReadFileToBuffer(U(dir), out));  // exists, but cannot be read
  EXPECT_EQ(out, "");
}

TEST(FileUtilsTest, WriteBufferToFileReplacesAndCreatesParents) {
  std::string dir = FreshDir("write");
  std::string path = dir + "/deep/er/f.bin";
  EXPECT_TRUE(tu::WriteBufferToFile("abc", 3, U(path)));
  EXPECT_EQ(ReadFile(path), "abc");
  EXPECT_TRUE(tu::WriteBufferToFile("xy", 2, U(path)));
  EXPECT_EQ(ReadFile(path), "xy");
  EXPECT_TRUE(tu::WriteBufferToFile(nullptr, 0, U(path)));
  EXPECT_EQ(ReadFile(path), "");
  EXPECT_FALSE(tu::WriteBufferToFile(nullptr, 1, U(path)));
  EXPECT_FALSE(tu::WriteBufferToFile("a", 1, U("")));
  // No temporary is left behind.
  std::vector<tavrin_ustring> left;
  tu::GetDirectoryContents(U(dir + "/deep/er"), left, false);
  EXPECT_EQ(left.size(), 1u);
}

TEST(FileUtilsTest, WriteBufferToFileReplacesADirectory) {
  std::string dir = FreshDir("writedir");
  ASSERT_EQ(::mkdir((dir + "/target").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/target/inner", "x"));
  EXPECT_TRUE(tu::WriteBufferToFile("file", 4, U(dir + "/target")));
  EXPECT_EQ(ReadFile(dir + "/target"), "file");
}

TEST(FileUtilsTest, WriteBufferToFileReportsParentFailure) {
  std::string dir = FreshDir("writefail");
  ASSERT_TRUE(WriteFile(dir + "/blocker", "x"));
  CaptureFd capture(2);
  EXPECT_FALSE(tu::WriteBufferToFile("a", 1, U(dir + "/blocker/sub/f")));
  std::string err = capture.Text();
  EXPECT_EQ(err, "error creating directory: Not a directory (" + dir + "/blocker/sub)\n");
  EXPECT_EQ(ReadFile(dir + "/blocker"), "x");
}

TEST(FileUtilsTest, StringsRoundTrip) {
  std::string path = FreshDir("strings") + "/s.txt";
  tavrin_ustring text = U("gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80 %d\n");
  EXPECT_TRUE(tu::WriteStringToFile(text, U(path)));
  EXPECT_EQ(ReadFile(path), "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80 %d\n");  // no mark
  EXPECT_EQ(tu::ReadStringFromFile(U(path)), text);
  ASSERT_TRUE(WriteFile(path, "caf\xE9"));  // Latin-1: not UTF-8
  EXPECT_TRUE(tu::ReadStringFromFile(U(path)).empty());
  EXPECT_TRUE(tu::ReadStringFromFile(U(path + ".missing")).empty());
}

TEST(FileUtilsTest, BinaryCompareFiles) {
  std::string dir = FreshDir("compare");
  EXPECT_FALSE(tu::BinaryCompareFiles(U(dir + "/a"), U(dir + "/b")));
  ASSERT_TRUE(WriteFile(dir + "/a", ""));
  ASSERT_TRUE(WriteFile(dir + "/b", ""));
  EXPECT_TRUE(tu::BinaryCompareFiles(U(dir + "/a"), U(dir + "/b")));
  ASSERT_TRUE(WriteFile(dir + "/a", std::string("same\0bytes", 10)));
  ASSERT_TRUE(WriteFile(dir + "/b", std::string("same\0bytes", 10)));
  EXPECT_TRUE(tu::BinaryCompareFiles(U(dir + "/a"), U(dir + "/b")));
  ASSERT_TRUE(WriteFile(dir + "/b", std::string("same\0bytez", 10)));
  EXPECT_FALSE(tu::BinaryCompareFiles(U(dir + "/a"), U(dir + "/b")));
  ASSERT_TRUE(WriteFile(dir + "/b", "same"));
  EXPECT_FALSE(tu::BinaryCompareFiles(U(dir + "/a"), U(dir + "/b")));
  EXPECT_FALSE(tu::BinaryCompareFiles(U(dir + "/a"), U(dir + "/missing")));
  EXPECT_FALSE(tu::BinaryCompareFiles(U(dir), U(dir)));
}

}  // namespace

namespace {

using tavrin::utils::CreateTempFilePath;
using tavrin::utils::CreateUniqueFilePath;
using tavrin::utils::WriteBufferToTempFile;

TEST(UniqueFilePathTest, NumbersFollowTheBaseName) {
  std::string dir = tavrin::test::FreshDir("unique");
  tavrin::utils::tavrin_ustring folder(dir);
  EXPECT_EQ(CreateUniqueFilePath(folder, "report", "txt").utf8(), dir + "/report.txt");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/report.txt", "x"));
  EXPECT_EQ(CreateUniqueFilePath(folder, "report", "txt").utf8(), dir + "/report(2).txt");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/report(2).txt", "x"));
  ::mkdir((dir + "/report(3).txt").c_str(), 0700);  // a directory takes the name too
  EXPECT_EQ(CreateUniqueFilePath(folder, "report", "txt").utf8(), dir + "/report(4).txt");
}

TEST(UniqueFilePathTest, TempFilesAreCreatedExclusivelyInThePrivateFolder) {
  tavrin::utils::tavrin_ustring folder;
  tavrin::utils::GetTempPath(folder);
  ASSERT_FALSE(folder.empty());
  tavrin::utils::tavrin_ustring planned = CreateTempFilePath("scratch", "bin");
  EXPECT_EQ(planned.utf8(), folder.utf8() + "/scratch.bin");
  EXPECT_FALSE(tavrin::utils::FileExists(planned));  // only named
  const char bytes[] = {'a', '\0', 'b'};
  tavrin::utils::tavrin_ustring first =
      WriteBufferToTempFile(bytes, sizeof bytes, "scratch", "bin");
  tavrin::utils::tavrin_ustring second = WriteBufferToTempFile(bytes, 1, "scratch", "bin");
  EXPECT_EQ(first.utf8(), folder.utf8() + "/scratch.bin");
  EXPECT_EQ(second.utf8(), folder.utf8() + "/scratch(2).bin");
  EXPECT_EQ(tavrin::test::ReadFile(first.utf8()), std::string(bytes, 3));
  EXPECT_EQ(tavrin::test::ReadFile(second.utf8()), "a");
}

TEST(UniqueFilePathTest, TempFileNeverFollowsAPlantedLink) {
  tavrin::utils::tavrin_ustring folder;
  tavrin::utils::GetTempPath(folder);
  ASSERT_FALSE(folder.empty());
  std::string victim = tavrin::test::FreshDir("victim") + "/target";
  ASSERT_TRUE(tavrin::test::WriteFile(victim, "keep"));
  ASSERT_EQ(::symlink(victim.c_str(), (folder.utf8() + "/planted.txt").c_str()), 0);
  tavrin::utils::tavrin_ustring path = WriteBufferToTempFile("new", 3, "planted", "txt");
  EXPECT_EQ(path.utf8(), folder.utf8() + "/planted(2).txt");  // the link counts as taken
  EXPECT_EQ(tavrin::test::ReadFile(victim), "keep");
}

}  // namespace
