// file_faults_test.cpp - the file functions when the file system says no,
// and the data they must not lose meanwhile.
//
// Complements the file suites: a full file system (not only a size limit)
// under an atomic write, a failed write where no old file existed, a
// read-only folder or file system, missing parent folders, paths running
// through a file, names at and past the length limit, paths longer than
// PATH_MAX, paths that can only name a folder (a trailing "/" left by a name
// made from invalid UTF-8, a "." or ".." component), names with a lone
// surrogate, names on disk that are not UTF-8, and many processes with many
// threads appending to one log file.
// Faults that need privileges (a private mount namespace for a small or
// read-only file system) run in a forked child and are skipped with a reason
// where the machine does not allow them.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/utils/filelogger.h"
#include "common/utils/fileutils.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::FreshDir;
using tavrin::test::ReadFile;
using tavrin::test::WriteFile;
using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

constexpr int kChildSkip = 77;

tavrin_ustring U(const std::string& s) {
  return tavrin_ustring(s);
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// The names in `dir` as stored (bytes), sorted; "." and ".." left out.
std::vector<std::string> RawNames(const std::string& dir) {
  std::vector<std::string> names;
  DIR* d = ::opendir(dir.c_str());
  if (d == nullptr) return names;
  while (struct dirent* e = ::readdir(d)) {
    const std::string n = e->d_name;
    if (n != "." && n != "..") names.push_back(n);
  }
  ::closedir(d);
  std::sort(names.begin(), names.end());
  return names;
}

// Runs `body` in a forked child and returns its exit status (-1 when it did
// not exit normally). The child never returns into the test framework.
template <class F>
int RunInChild(F body) {
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int code = body();
    std::fflush(nullptr);
    ::_exit(code);
  }
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// Unused source and type arguments of mount(2) are given as "none" rather
// than null, so memory checkers do not read them as bad pointers.
//
// In a child: a private mount namespace in which `dir` is a fresh tmpfs of
// `bytes` bytes (read-only when asked). False when the machine refuses.
bool MountPrivateTmpfs(const std::string& dir, std::size_t bytes, bool read_only) {
  if (::unshare(CLONE_NEWNS) != 0) return false;
  if (::mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  const std::string options = "size=" + std::to_string(bytes);
  if (::mount("tmpfs", dir.c_str(), "tmpfs", 0, options.c_str()) != 0) return false;
  if (read_only && ::mount("tmpfs", dir.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) != 0)
    return false;
  return true;
}

// In a child: makes `dir` refuse every change below it. An ordinary user
// gets a folder without write permission; root (who ignores permissions)
// gets the folder bind-mounted read-only in a private mount namespace.
bool MakeUnwritable(const std::string& dir) {
  if (::geteuid() != 0) return ::chmod(dir.c_str(), 0555) == 0;
  if (::unshare(CLONE_NEWNS) != 0) return false;
  if (::mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  if (::mount(dir.c_str(), dir.c_str(), "none", MS_BIND, nullptr) != 0) return false;
  return ::mount("none", dir.c_str(), "none", MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

// --- Atomic writes that fail. ---------------------------------------------

TEST(FileFaultsTest, FullFileSystemKeepsTheOldContent) {
  const std::string dir = FreshDir("enospc");
  const int code = RunInChild([&] {
    if (!MountPrivateTmpfs(dir, 64 * 1024, false)) return kChildSkip;
    const std::string path = dir + "/data.bin";
    if (!WriteFile(path, "old content")) return 2;
    const std::string big(512 * 1024, 'n');  // far more than the file system holds
    if (tu::WriteBufferToFile(big.data(), big.size(), U(path))) return 3;
    if (ReadFile(path) != "old content") return 4;
    if (RawNames(dir) != std::vector<std::string>{"data.bin"}) return 5;  // no temporary left
    // Once there is room again, the same call succeeds.
    const std::string fits(1000, 'y');
    if (!tu::WriteBufferToFile(fits.data(), fits.size(), U(path))) return 6;
    return ReadFile(path) == fits ? 0 : 7;
  });
  if (code == kChildSkip) GTEST_SKIP() << "cannot mount a small file system here";
  EXPECT_EQ(code, 0);
}

TEST(FileFaultsTest, FailedWriteOfANewFileLeavesNothingBehind) {
  const std::string dir = FreshDir("fsize-new");
  const std::string path = dir + "/new.bin";
  const int code = RunInChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {4096, 4096};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return kChildSkip;
    const std::string big(100000, 'n');
    return tu::WriteBufferToFile(big.data(), big.size(), U(path)) ? 1 : 0;
  });
  ASSERT_NE(code, kChildSkip) << "setrlimit failed";
  EXPECT_EQ(code, 0) << "the write should have failed";
  EXPECT_TRUE(RawNames(dir).empty()) << "a file or temporary was left behind";
}

TEST(FileFaultsTest, FailedWriteOverADirectoryKeepsItsFiles) {
  // The directory at the path is removed only once the new bytes are safely
  // written; a write that fails first leaves it whole.
  const std::string dir = FreshDir("fsize-dir");
  const std::string path = dir + "/target";
  ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(path + "/inside.txt", "inside"));
  const int code = RunInChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {4096, 4096};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return kChildSkip;
    const std::string big(100000, 'n');
    return tu::WriteBufferToFile(big.data(), big.size(), U(path)) ? 1 : 0;
  });
  ASSERT_NE(code, kChildSkip) << "setrlimit failed";
  EXPECT_EQ(code, 0);
  EXPECT_EQ(ReadFile(path + "/inside.txt"), "inside");
  EXPECT_EQ(RawNames(dir), std::vector<std::string>{"target"});
}

// --- Read-only places. ------------------------------------------------------

TEST(FileFaultsTest, ReadOnlyFolderRefusesEveryChangeAndKeepsData) {
  const std::string outside = FreshDir("ro-outside");
  const std::string dir = FreshDir("ro");
  ASSERT_TRUE(WriteFile(outside + "/source.txt", "source"));
  ASSERT_TRUE(WriteFile(dir + "/keep.txt", "old"));
  ASSERT_EQ(::mkdir((dir + "/sub").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/sub/inner.txt", "inner"));
  const int code = RunInChild([&] {
    if (!MakeUnwritable(dir)) return kChildSkip;
    int failures = 0;
    const std::string bytes = "new bytes";
    if (tu::WriteBufferToFile(bytes.data(), bytes.size(), U(dir + "/keep.txt"))) failures |= 1;
    if (tu::WriteBufferToFile(bytes.data(), bytes.size(), U(dir + "/fresh.txt"))) failures |= 2;
    if (tu::WriteStringToFile(U("text"), U(dir + "/fresh2.txt"))) failures |= 4;
    if (tu::MakeDirectory(U(dir + "/newdir"))) failures |= 8;
    if (tu::RemoveFileIfExists(U(dir + "/keep.txt"))) failures |= 16;
    if (tu::CopyFile(U(outside + "/source.txt"), U(dir + "/copy.txt"), false)) failures |= 32;
    if (tu::RenameFileIfExists(U(dir + "/keep.txt"), U(outside + "/moved.txt"))) failures |= 64;
    if (tu::DeleteDirectory(U(dir + "/sub"))) failures |= 128;
    return failures;
  });
  if (code == kChildSkip) GTEST_SKIP() << "cannot make a folder read-only here";
  ::chmod(dir.c_str(), 0755);
  EXPECT_EQ(code, 0) << "bit mask of the calls that claimed success";
  EXPECT_EQ(ReadFile(dir + "/keep.txt"), "old");
  EXPECT_EQ(ReadFile(dir + "/sub/inner.txt"), "inner");
  EXPECT_EQ(RawNames(dir), (std::vector<std::string>{"keep.txt", "sub"}));
  // A move out of a read-only place fails. Across file systems (the
  // read-only bind mount) it copies first and then cannot remove the source:
  // the complete copy is kept rather than removed, since a removal that fails
  // half-way through a tree may already have taken part of the source.
  if (Exists(outside + "/moved.txt")) {
    EXPECT_EQ(ReadFile(outside + "/moved.txt"), "old");
  }
}

TEST(FileFaultsTest, ReadOnlyFileSystemKeepsTheOldContent) {
  const std::string dir = FreshDir("rofs");
  const int code = RunInChild([&] {
    if (!MountPrivateTmpfs(dir, 64 * 1024, false)) return kChildSkip;
    if (!WriteFile(dir + "/data.bin", "old content")) return 2;
    if (::mount("tmpfs", dir.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) != 0)
      return kChildSkip;
    const std::string bytes = "new";
    if (tu::WriteBufferToFile(bytes.data(), bytes.size(), U(dir + "/data.bin"))) return 3;
    if (ReadFile(dir + "/data.bin") != "old content") return 4;
    if (tu::RemoveFileIfExists(U(dir + "/data.bin"))) return 5;
    return RawNames(dir) == std::vector<std::string>{"data.bin"} ? 0 : 6;
  });
  if (code == kChildSkip) GTEST_SKIP() << "cannot mount a read-only file system here";
  EXPECT_EQ(code, 0);
}

// --- Paths the file system cannot hold. ---------------------------------------

TEST(FileFaultsTest, PathsThroughAFileFailAndLeaveTheFileAlone) {
  const std::string dir = FreshDir("through");
  const std::string file = dir + "/plain";
  ASSERT_TRUE(WriteFile(file, "F"));
  const std::string through = file + "/below";
  const std::string bytes = "x";
  EXPECT_FALSE(tu::WriteBufferToFile(bytes.data(), bytes.size(), U(through + "/deeper.bin")));
  EXPECT_FALSE(tu::WriteBufferToFile(bytes.data(), bytes.size(), U(through)));
  EXPECT_FALSE(tu::MakeDirectory(U(through)));
  EXPECT_FALSE(tu::FileExists(U(through)));
  EXPECT_FALSE(tu::IsFile(U(through)));
  EXPECT_FALSE(tu::IsDirectory(U(through)));
  std::string out = "stale";
  EXPECT_FALSE(tu::ReadFileToBuffer(U(through), out));
  EXPECT_TRUE(out.empty());
  std::size_t size = 99;
  EXPECT_EQ(tu::ReadFileToBuffer(U(through), &size), nullptr);
  EXPECT_EQ(size, 0u);
  EXPECT_FALSE(tu::CopyFile(U(file), U(through), false));
  EXPECT_FALSE(tu::DeleteDirectory(U(through)));
  EXPECT_FALSE(tu::RemoveFileIfExists(U(through)));
  std::vector<tavrin_ustring> listed{U("kept")};
  tu::GetDirectoryContents(U(file), listed, true);
  EXPECT_EQ(listed.size(), 1u);
  EXPECT_EQ(ReadFile(file), "F");
  EXPECT_EQ(RawNames(dir), std::vector<std::string>{"plain"});
}

TEST(FileFaultsTest, NamesAtTheLengthLimitWorkAndLongerOnesFail) {
  const std::string dir = FreshDir("namemax");
  // NAME_MAX bytes: in ASCII, and in three-byte UTF-8 characters.
  std::string euro;
  for (int i = 0; i < NAME_MAX / 3; ++i) euro += "\xE2\x82\xAC";
  ASSERT_EQ(euro.size(), static_cast<std::size_t>(NAME_MAX));
  for (const std::string& name : {std::string(NAME_MAX, 'a'), euro}) {
    SCOPED_TRACE(name.size());
    const std::string path = dir + "/" + name;
    const std::string bytes = "at the limit";
    ASSERT_TRUE(tu::WriteBufferToFile(bytes.data(), bytes.size(), U(path)));
    EXPECT_EQ(ReadFile(path), bytes);
    std::string back;
    EXPECT_TRUE(tu::ReadFileToBuffer(U(path), back));
    EXPECT_EQ(back, bytes);
    // The atomic write replaces it too (its temporary name is short).
    const std::string again = "replaced";
    EXPECT_TRUE(tu::WriteBufferToFile(again.data(), again.size(), U(path)));
    EXPECT_EQ(ReadFile(path), again);
    EXPECT_TRUE(tu::RemoveFileIfExists(U(path)));
    EXPECT_TRUE(tu::MakeDirectory(U(path)));
    EXPECT_TRUE(tu::IsDirectory(U(path)));
    EXPECT_TRUE(tu::DeleteDirectory(U(path)));
  }
  // One byte more: refused, nothing created.
  for (const std::string& name : {std::string(NAME_MAX + 1, 'b'), euro + "x"}) {
    SCOPED_TRACE(name.size());
    const std::string path = dir + "/" + name;
    const std::string bytes = "too long";
    EXPECT_FALSE(tu::WriteBufferToFile(bytes.data(), bytes.size(), U(path)));
    EXPECT_FALSE(tu::MakeDirectory(U(path)));
    EXPECT_FALSE(tu::FileExists(U(path)));
    std::string out = "stale";
    EXPECT_FALSE(tu::ReadFileToBuffer(U(path), out));
    EXPECT_TRUE(out.empty());
  }
  EXPECT_TRUE(RawNames(dir).empty());
}

TEST(FileFaultsTest, PathLongerThanPathMaxFails) {
  const std::string dir = FreshDir("pathmax");
  std::string path = dir;
  while (path.size() <= PATH_MAX) path += "/" + std::string(200, 'd');
  path += "/file.bin";
  const std::string bytes = "deep";
  EXPECT_FALSE(tu::WriteBufferToFile(bytes.data(), bytes.size(), U(path)));
  EXPECT_FALSE(tu::FileExists(U(path)));
  std::string out = "stale";
  EXPECT_FALSE(tu::ReadFileToBuffer(U(path), out));
  EXPECT_TRUE(out.empty());
  // Whatever parents could be made are ordinary folders that can be removed.
  EXPECT_TRUE(RawNames(dir).empty() || tu::DeleteDirectory(U(dir + "/" + std::string(200, 'd'))));
}

// --- Missing parents. -----------------------------------------------------------

TEST(FileFaultsTest, MissingParentsAreMadeForWritesAndCopiesButNeverByQueries) {
  const std::string dir = FreshDir("parents");
  const std::string src = dir + "/src";
  ASSERT_TRUE(WriteFile(src, "S"));
  const std::string lost = dir + "/no/such/f.bin";
  // Reads, queries, locks and removals under a missing folder fail and make
  // nothing.
  std::string out = "stale";
  EXPECT_FALSE(tu::ReadFileToBuffer(U(lost), out));
  EXPECT_TRUE(out.empty());
  std::size_t size = 99;
  EXPECT_EQ(tu::ReadFileToBuffer(U(lost), &size), nullptr);
  EXPECT_EQ(size, 0u);
  EXPECT_TRUE(tu::ReadStringFromFile(U(lost)).empty());
  EXPECT_FALSE(tu::FileExists(U(lost)));
  EXPECT_EQ(tu::FileSize(U(lost)), 0u);
  EXPECT_EQ(tu::FileModificationTime(U(lost)).GetUTCTime(), 0);
  EXPECT_EQ(tu::LockFile(U(lost)), -1);
  EXPECT_FALSE(tu::IsLockedFile(U(lost)));
  EXPECT_EQ(tu::OpenFile(U(lost), U("r")), nullptr);
  EXPECT_EQ(tu::OpenFile(U(lost), U("w")), nullptr);
  EXPECT_FALSE(tu::RemoveFileIfExists(U(lost)));
  EXPECT_FALSE(tu::DeleteDirectory(U(dir + "/no/such")));
  std::vector<tavrin_ustring> listed{U("kept")};
  tu::GetDirectoryContents(U(dir + "/no/such"), listed, true);
  EXPECT_EQ(listed, std::vector<tavrin_ustring>{U("kept")});
  EXPECT_EQ(RawNames(dir), std::vector<std::string>{"src"});
  // Writes, copies and folder creation make the missing parents.
  EXPECT_TRUE(tu::WriteStringToFile(U("W"), U(dir + "/w1/w2/f.txt")));
  EXPECT_EQ(ReadFile(dir + "/w1/w2/f.txt"), "W");
  EXPECT_TRUE(tu::CopyFile(U(src), U(dir + "/c1/c2/copy"), true));
  EXPECT_EQ(ReadFile(dir + "/c1/c2/copy"), "S");
  EXPECT_TRUE(tu::MakeDirectory(U(dir + "/m1/m2")));
  EXPECT_TRUE(tu::IsDirectory(U(dir + "/m1/m2")));
  // A move into a missing folder either happens whole or leaves the source.
  const std::string moved = dir + "/r1/r2/moved";
  const bool ok = tu::RenameFileIfExists(U(src), U(moved));
  EXPECT_EQ(Exists(moved), ok);
  EXPECT_EQ(Exists(src), !ok);
  EXPECT_EQ(ReadFile(ok ? moved : src), "S");
}

// --- Names that can only reach a folder. ----------------------------------------

// A file name made from invalid UTF-8 is "" (no partial conversion), so a path
// joined from a folder and such a name ends in "/" and names the folder.
TEST(FileFaultsTest, NameFromInvalidUtf8NeverReplacesTheFolder) {
  const std::string dir = FreshDir("badname");
  const std::string folder = dir + "/folder";
  ASSERT_EQ(::mkdir(folder.c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(folder + "/keep", "K"));
  ASSERT_TRUE(WriteFile(dir + "/src", "S"));
  const tavrin_ustring name("bad\xC3(name.txt");
  ASSERT_TRUE(name.empty());
  const tavrin_ustring path = U(folder + "/") + name;
  const std::string bytes = "new";
  EXPECT_FALSE(tu::WriteBufferToFile(bytes.data(), bytes.size(), path));
  EXPECT_FALSE(tu::WriteStringToFile(U("new"), path));
  EXPECT_FALSE(tu::CopyFile(U(dir + "/src"), path, false));
  EXPECT_FALSE(tu::RenameFileIfExists(U(dir + "/src"), path));
  EXPECT_EQ(ReadFile(folder + "/keep"), "K");
  EXPECT_EQ(RawNames(folder), std::vector<std::string>{"keep"});
  EXPECT_EQ(ReadFile(dir + "/src"), "S");
  // A folder can still take the place of a folder path ending in "/", and the
  // folder itself can be removed by that path.
  ASSERT_EQ(::mkdir((dir + "/tree").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/tree/t", "T"));
  EXPECT_TRUE(tu::CopyFile(U(dir + "/tree"), path, false));
  EXPECT_EQ(RawNames(folder), std::vector<std::string>{"t"});
  EXPECT_TRUE(tu::RemoveFileIfExists(path));
  EXPECT_FALSE(Exists(folder));
}

// "d/." and "d/.." reach a folder by another name; the system never creates,
// renames or removes an entry by such a name, so nothing may be removed first.
TEST(FileFaultsTest, PathsEndingInADotComponentChangeNothing) {
  for (const std::string suffix : {"/.", "/..", "/./", "/../"}) {
    SCOPED_TRACE(suffix);
    const std::string dir = FreshDir("dots");
    const std::string folder = dir + "/folder";
    ASSERT_EQ(::mkdir(folder.c_str(), 0755), 0);
    ASSERT_EQ(::mkdir((dir + "/other").c_str(), 0755), 0);
    ASSERT_TRUE(WriteFile(folder + "/keep", "K"));
    ASSERT_TRUE(WriteFile(dir + "/other/src", "S"));
    const tavrin_ustring path = U(folder + suffix);
    const std::string bytes = "new";
    EXPECT_FALSE(tu::WriteBufferToFile(bytes.data(), bytes.size(), path));
    EXPECT_FALSE(tu::RemoveFileIfExists(path));
    EXPECT_FALSE(tu::RecycleFileIfExists(path));
    EXPECT_FALSE(tu::DeleteDirectory(path));
    EXPECT_FALSE(tu::CopyFile(U(dir + "/other/src"), path, false));
    EXPECT_FALSE(tu::RenameFileIfExists(U(dir + "/other/src"), path));
    EXPECT_FALSE(tu::RenameDirectory(U(dir + "/other"), path));
    EXPECT_EQ(ReadFile(folder + "/keep"), "K");
    EXPECT_EQ(ReadFile(dir + "/other/src"), "S");
    EXPECT_EQ(RawNames(dir), (std::vector<std::string>{"folder", "other"}));
    EXPECT_EQ(RawNames(folder), std::vector<std::string>{"keep"});
  }
}

// A lone surrogate has no UTF-8 form; whatever bytes the name becomes on disk,
// the same name finds, reads, replaces and removes that one file.
TEST(FileFaultsTest, NameWithALoneSurrogateIsFoundAgainByTheSameName) {
  const std::string dir = FreshDir("surrogate");
  const unsigned short units[] = {'a', 0xD800, 'b', 0};
  const tavrin_ustring path = U(dir + "/") + tavrin_ustring(units);
  const std::string bytes = "lone";
  ASSERT_TRUE(tu::WriteBufferToFile(bytes.data(), bytes.size(), path));
  EXPECT_EQ(RawNames(dir).size(), 1u);
  std::string back;
  EXPECT_TRUE(tu::ReadFileToBuffer(path, back));
  EXPECT_EQ(back, bytes);
  EXPECT_TRUE(tu::IsFile(path));
  EXPECT_EQ(tu::FileSize(path), bytes.size());
  EXPECT_TRUE(tu::WriteStringToFile(U("again"), path));
  EXPECT_EQ(tu::ReadStringFromFile(path), U("again"));
  EXPECT_EQ(RawNames(dir).size(), 1u);
  EXPECT_TRUE(tu::RemoveFileIfExists(path));
  EXPECT_TRUE(RawNames(dir).empty());
}

// --- Names on disk that are not UTF-8. ------------------------------------------

TEST(FileFaultsTest, TreesWithNamesThatAreNotUtf8AreCopiedMovedAndRemovedWhole) {
  const std::string dir = FreshDir("notutf8");
  const std::string tree = dir + "/tree";
  ASSERT_EQ(::mkdir(tree.c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(tree + "/good.txt", "good"));
  ASSERT_TRUE(WriteFile(tree + "/bad\xFF.txt", "bad file"));
  ASSERT_EQ(::mkdir((tree + "/dir\xC3(").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(tree + "/dir\xC3(/inner.txt", "inner"));

  // Listings skip what they cannot name, and every path they give exists.
  std::vector<tavrin_ustring> listed;
  tu::GetDirectoryContents(U(tree), listed, true);
  EXPECT_EQ(listed.size(), 1u);
  for (const tavrin_ustring& p : listed) EXPECT_TRUE(tu::IsFile(p)) << p.utf8();
  tavrin_ustring found;
  EXPECT_FALSE(tu::FindFile(U(tree), U("inner.txt"), found));

  // A copy holds every entry, byte for byte.
  ASSERT_TRUE(tu::CopyFile(U(tree), U(dir + "/copy"), false));
  EXPECT_EQ(RawNames(dir + "/copy"), RawNames(tree));
  EXPECT_EQ(ReadFile(dir + "/copy/bad\xFF.txt"), "bad file");
  EXPECT_EQ(ReadFile(dir + "/copy/dir\xC3(/inner.txt"), "inner");
  // A move keeps them.
  ASSERT_TRUE(tu::RenameDirectory(U(dir + "/copy"), U(dir + "/moved")));
  EXPECT_EQ(ReadFile(dir + "/moved/bad\xFF.txt"), "bad file");
  // Removal takes them with the tree.
  EXPECT_TRUE(tu::DeleteDirectory(U(tree)));
  EXPECT_TRUE(tu::RemoveFileIfExists(U(dir + "/moved")));
  EXPECT_TRUE(RawNames(dir).empty());
}

TEST(FileFaultsTest, MoveAcrossFileSystemsKeepsNamesThatAreNotUtf8) {
  // Across file systems a move copies and then removes the source: the copy
  // must hold every entry before anything is removed.
  const std::string dir = FreshDir("exdev-notutf8");
  const std::string mnt = dir + "/mnt";
  ASSERT_EQ(::mkdir(mnt.c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir + "/tree").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/tree/bad\xFF", "B"));
  ASSERT_TRUE(WriteFile(dir + "/tree/good", "G"));
  const int code = RunInChild([&] {
    if (!MountPrivateTmpfs(mnt, 1 << 20, false)) return kChildSkip;
    if (!tu::RenameDirectory(U(dir + "/tree"), U(mnt + "/tree"))) return 2;
    if (ReadFile(mnt + "/tree/bad\xFF") != "B" || ReadFile(mnt + "/tree/good") != "G") return 3;
    return Exists(dir + "/tree") ? 4 : 0;
  });
  if (code == kChildSkip) GTEST_SKIP() << "cannot mount a second file system here";
  EXPECT_EQ(code, 0);
}

TEST(FileFaultsTest, MoveAcrossAFullFileSystemKeepsTheSource) {
  const std::string dir = FreshDir("exdev-full");
  const std::string mnt = dir + "/mnt";
  ASSERT_EQ(::mkdir(mnt.c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir + "/tree").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/tree/small", "S"));
  ASSERT_TRUE(WriteFile(dir + "/tree/large", std::string(256 * 1024, 'L')));
  const int code = RunInChild([&] {
    if (!MountPrivateTmpfs(mnt, 64 * 1024, false)) return kChildSkip;
    if (tu::RenameDirectory(U(dir + "/tree"), U(mnt + "/tree"))) return 2;
    if (Exists(mnt + "/tree")) return 3;  // the partial copy is removed
    return 0;
  });
  if (code == kChildSkip) GTEST_SKIP() << "cannot mount a small file system here";
  EXPECT_EQ(code, 0);
  EXPECT_EQ(ReadFile(dir + "/tree/small"), "S");
  EXPECT_EQ(ReadFile(dir + "/tree/large").size(), 256u * 1024u);
}

// --- Many writers on one log file. --------------------------------------------

class FileFaultsLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override { CFileLogger::Terminate(); }
  void TearDown() override { CFileLogger::Terminate(); }
};

TEST_F(FileFaultsLoggerTest, SeveralProcessesWithThreadsNeverTearOrLoseMessages) {
  ASSERT_TRUE(CFileLogger::Initialize(tavrin_ustring("Faults")));
  const std::string path = CFileLogger::GetLogFile().utf8();
  constexpr int kProcesses = 4;
  constexpr int kThreads = 4;
  constexpr int kMessages = 150;
  // Writer w = process * kThreads + thread; message lengths from a few bytes
  // to past 64 KiB (more than one pipe or page buffer).
  auto length = [](int w, int i) {
    return static_cast<std::size_t>((i * 7919 + w * 104729) % (i % 10 == 0 ? 70000 : 3000));
  };
  auto write_all = [&](int process) {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        const int w = process * kThreads + t;
        for (int i = 0; i < kMessages; ++i) {
          const std::string body(length(w, i), static_cast<char>('A' + w));
          CFileLogger::Write(tavrin_ustring("<%d:%d:%S>\n"), w, i, body.c_str());
        }
      });
    }
    for (auto& th : threads) th.join();
  };
  std::fflush(nullptr);
  std::vector<pid_t> children;
  for (int p = 1; p < kProcesses; ++p) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      write_all(p);
      ::_exit(0);
    }
    ASSERT_GT(pid, 0);
    children.push_back(pid);
  }
  write_all(0);
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }

  std::istringstream in(ReadFile(path));
  std::string line;
  std::map<int, std::set<int>> seen;
  int lines = 0;
  while (std::getline(in, line)) {
    ++lines;
    int w = -1, i = -1, consumed = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "<%d:%d:%n", &w, &i, &consumed), 2)
        << "torn: " << line.substr(0, 60);
    ASSERT_TRUE(w >= 0 && w < kProcesses * kThreads && i >= 0 && i < kMessages)
        << line.substr(0, 60);
    std::string body = line.substr(static_cast<std::size_t>(consumed));
    ASSERT_FALSE(body.empty());
    ASSERT_EQ(body.back(), '>') << "torn message " << w << ":" << i;
    body.pop_back();
    ASSERT_EQ(body, std::string(length(w, i), static_cast<char>('A' + w)))
        << "mixed message " << w << ":" << i;
    ASSERT_TRUE(seen[w].insert(i).second) << "duplicate " << w << ":" << i;
  }
  EXPECT_EQ(lines, kProcesses * kThreads * kMessages);
}

}  // namespace
