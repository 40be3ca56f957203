// fileutils_linux_test.cpp - POSIX-side behaviour of the file-system
// operations: symbolic links, locks between descriptors, FIFOs, birth times,
// the owner-write bit, atomic writes under a file-size limit, and removals
// that must never follow a link or reach the root.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
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

constexpr int kChildSkip = 77;

tavrin_ustring U(const std::string& s) {
  return tavrin_ustring(s);
}

std::vector<std::string> Utf8(const std::vector<tavrin_ustring>& list) {
  std::vector<std::string> out;
  for (const tavrin_ustring& s : list) out.push_back(s.utf8());
  return out;
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// Runs `body` in a forked child and returns its exit status (-1 when it did
// not exit normally). The child never returns into the test framework.
template <class F>
int RunInChild(F body) {
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    int code = body();
    std::fflush(nullptr);
    ::_exit(code);
  }
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

struct timespec CtimeOf(const std::string& path) {
  struct stat st {};
  ::stat(path.c_str(), &st);
  return st.st_ctim;
}

bool SameTime(const struct timespec& a, const struct timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Waits until the file system's clock has moved past `reference`, by
// touching a scratch file until its status-change time differs.
void WaitForTimestampTick(const std::string& scratch, const struct timespec& reference) {
  for (int i = 0; i < 100000; ++i) {
    ::chmod(scratch.c_str(), (i % 2) ? 0600 : 0644);
    struct timespec now = CtimeOf(scratch);
    if (!SameTime(now, reference) &&
        (now.tv_sec > reference.tv_sec ||
         (now.tv_sec == reference.tv_sec && now.tv_nsec > reference.tv_nsec)))
      return;
  }
}

TEST(FileUtilsLinuxTest, SymbolicLinksInListings) {
  std::string dir = FreshDir("links");
  std::string outside = FreshDir("outside");
  ASSERT_TRUE(WriteFile(outside + "/target.txt", "T"));
  ASSERT_EQ(::mkdir((outside + "/tdir").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(outside + "/tdir/hidden.txt", "H"));
  ASSERT_TRUE(WriteFile(dir + "/local.txt", "L"));
  ASSERT_EQ(::mkdir((dir + "/sub").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/sub/sibling.txt", "S"));
  ASSERT_EQ(::symlink((outside + "/target.txt").c_str(), (dir + "/abs-file").c_str()), 0);
  ASSERT_EQ(::symlink((outside + "/tdir").c_str(), (dir + "/abs-dir").c_str()), 0);
  ASSERT_EQ(::symlink((outside + "/nothing").c_str(), (dir + "/broken").c_str()), 0);
  ASSERT_EQ(::symlink("local.txt", (dir + "/rel-top").c_str()), 0);
  ASSERT_EQ(::symlink("abs-dir", (dir + "/rel-dir").c_str()), 0);
  // A relative link inside a sub-folder is tried against the working
  // directory and the listed folder, never its own folder: not listed.
  ASSERT_EQ(::symlink("sibling.txt", (dir + "/sub/rel-sub").c_str()), 0);

  std::vector<tavrin_ustring> out;
  tu::GetDirectoryContents(U(dir), out, true);
  EXPECT_EQ(Utf8(out), (std::vector<std::string>{dir + "/abs-file", dir + "/local.txt",
                                                 dir + "/rel-top", dir + "/sub/sibling.txt"}));
  out.clear();
  tu::GetDirectoryContents(U(dir), out, false);
  EXPECT_EQ(Utf8(out), (std::vector<std::string>{dir + "/abs-file", dir + "/local.txt",
                                                 dir + "/rel-top", dir + "/sub"}));
  // FindFile never walks into a linked folder either.
  tavrin_ustring found;
  EXPECT_FALSE(tu::FindFile(U(dir), U("hidden.txt"), found));
}

TEST(FileUtilsLinuxTest, NamesThatAreNotUtf8AreSkipped) {
  std::string dir = FreshDir("badnames");
  ASSERT_TRUE(WriteFile(dir + "/good.txt", ""));
  ASSERT_TRUE(WriteFile(dir + "/bad\xFF.txt", ""));
  std::vector<tavrin_ustring> out;
  tu::GetDirectoryContents(U(dir), out, true);
  EXPECT_EQ(Utf8(out), (std::vector<std::string>{dir + "/good.txt"}));
}

TEST(FileUtilsLinuxTest, LockContentionBetweenDescriptors) {
  std::string path = FreshDir("flock") + "/lock";
  ASSERT_TRUE(WriteFile(path, ""));
  int handle = tu::LockFile(U(path));
  ASSERT_GE(handle, 0);
  // Another descriptor of the same process is excluded...
  int other = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(other, 0);
  EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), -1);
  EXPECT_EQ(errno, EWOULDBLOCK);
  // ...and so is another process.
  EXPECT_EQ(
      RunInChild([&] { return tu::IsLockedFile(U(path)) && tu::LockFile(U(path)) == -1 ? 0 : 1; }),
      0);
  EXPECT_TRUE(tu::UnlockFile(&handle));
  EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
  // Now the raw lock excludes LockFile.
  EXPECT_EQ(tu::LockFile(U(path)), -1);
  EXPECT_TRUE(tu::IsLockedFile(U(path)));
  ::close(other);
  EXPECT_FALSE(tu::IsLockedFile(U(path)));
}

TEST(FileUtilsLinuxTest, DescriptorsAreCloseOnExec) {
  std::string path = FreshDir("cloexec") + "/f";
  ASSERT_TRUE(WriteFile(path, "x"));
  std::FILE* f = tu::OpenFile(U(path), U("r"));
  ASSERT_NE(f, nullptr);
  EXPECT_TRUE(::fcntl(::fileno(f), F_GETFD) & FD_CLOEXEC);
  std::fclose(f);
  int handle = tu::LockFile(U(path));
  ASSERT_GE(handle, 0);
  EXPECT_TRUE(::fcntl(handle, F_GETFD) & FD_CLOEXEC);
  tu::UnlockFile(&handle);
}

TEST(FileUtilsLinuxTest, FifoNeverBlocks) {
  std::string dir = FreshDir("fifo");
  std::string fifo = dir + "/pipe";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_TRUE(tu::FileExists(U(fifo)));
  EXPECT_FALSE(tu::IsLockedFile(U(fifo)));  // no reader: cannot be opened for writing
  EXPECT_EQ(tu::LockFile(U(fifo)), -1);
  EXPECT_GT(tu::GetModificationTime(U(fifo)), 0);
  std::size_t size = 5;
  EXPECT_EQ(tu::ReadFileToBuffer(U(fifo), &size), nullptr);
  EXPECT_EQ(size, 0u);
  std::string out = "stale";
  EXPECT_TRUE(tu::ReadFileToBuffer(U(fifo), out));
  EXPECT_EQ(out, "");
  // "pipe." fails too, and so does its retry without the dot.
  EXPECT_EQ(tu::ReadFileToBuffer(U(fifo + "."), &size), nullptr);
  EXPECT_FALSE(tu::BinaryCompareFiles(U(fifo), U(fifo)));
}

TEST(FileUtilsLinuxTest, TrailingDotRetryThroughLink) {
  std::string dir = FreshDir("dotlink");
  ASSERT_TRUE(WriteFile(dir + "/real", "through the link"));
  ASSERT_EQ(::symlink((dir + "/real").c_str(), (dir + "/alias").c_str()), 0);
  std::size_t size = 0;
  unsigned char* data = tu::ReadFileToBuffer(U(dir + "/alias."), &size);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), size), "through the link");
  delete[] data;
  // A folder named "d" is not read as a file even when "d." is asked for.
  ASSERT_EQ(::mkdir((dir + "/d").c_str(), 0755), 0);
  EXPECT_EQ(tu::ReadFileToBuffer(U(dir + "/d."), &size), nullptr);
}

TEST(FileUtilsLinuxTest, CreationTimeIsTheBirthTime) {
  std::string path = FreshDir("statx") + "/f";
  ASSERT_TRUE(WriteFile(path, "x"));
  struct timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  struct statx sx;
  ASSERT_EQ(::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &sx), 0);
  time_t expected = (sx.stx_mask & STATX_BTIME) ? sx.stx_btime.tv_sec : 1000000000;
  EXPECT_EQ(tu::FileCreationTime(U(path)).GetDATE(), expected);
  // Through a link: the target's time.
  ASSERT_EQ(::symlink(path.c_str(), (path + ".lnk").c_str()), 0);
  EXPECT_EQ(tu::FileCreationTime(U(path + ".lnk")).GetDATE(), expected);
  EXPECT_EQ(tu::FileModificationTime(U(path + ".lnk")).GetDATE(), 1000000000);
}

TEST(FileUtilsLinuxTest, OwnerWriteBitUnchangedMeansNoWrite) {
  std::string dir = FreshDir("nowrite");
  std::string path = dir + "/f";
  std::string scratch = dir + "/scratch";
  ASSERT_TRUE(WriteFile(path, "x"));
  ASSERT_TRUE(WriteFile(scratch, "x"));
  ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
  struct timespec before = CtimeOf(path);
  WaitForTimestampTick(scratch, before);
  EXPECT_TRUE(tu::MakeWritableFile(U(path)));  // already writable: nothing written
  EXPECT_TRUE(SameTime(CtimeOf(path), before));
  WaitForTimestampTick(scratch, before);
  EXPECT_TRUE(tu::MakeReadonlyFile(U(path)));  // a real change moves the time
  EXPECT_FALSE(SameTime(CtimeOf(path), before));
  // Through a link, the target changes.
  ASSERT_EQ(::symlink(path.c_str(), (dir + "/lnk").c_str()), 0);
  EXPECT_TRUE(tu::MakeWritableFile(U(dir + "/lnk")));
  struct stat st;
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0644u);
}

TEST(FileUtilsLinuxTest, AtomicWriteKeepsOldContentWhenTheWriteFails) {
  std::string dir = FreshDir("atomic");
  std::string path = dir + "/data.bin";
  ASSERT_TRUE(WriteFile(path, "old content"));
  int code = RunInChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {1024, 1024};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return kChildSkip;
    std::string big(8192, 'n');
    return tu::WriteBufferToFile(big.data(), big.size(), U(path)) ? 1 : 0;
  });
  ASSERT_NE(code, kChildSkip) << "setrlimit failed";
  EXPECT_EQ(code, 0) << "the write should have failed";
  EXPECT_EQ(ReadFile(path), "old content");
  std::vector<tavrin_ustring> left;
  tu::GetDirectoryContents(U(dir), left, false);
  EXPECT_EQ(Utf8(left), (std::vector<std::string>{path}));  // no temporary left behind
}

TEST(FileUtilsLinuxTest, RemovalNeverFollowsLinks) {
  std::string dir = FreshDir("nofollow");
  std::string victim = FreshDir("victim");
  ASSERT_TRUE(WriteFile(victim + "/precious", "P"));
  ASSERT_EQ(::mkdir((dir + "/tree").c_str(), 0755), 0);
  ASSERT_EQ(::symlink(victim.c_str(), (dir + "/tree/link").c_str()), 0);
  ASSERT_TRUE(WriteFile(dir + "/tree/own", "O"));
  EXPECT_TRUE(tu::DeleteDirectory(U(dir + "/tree")));
  EXPECT_FALSE(Exists(dir + "/tree"));
  EXPECT_EQ(ReadFile(victim + "/precious"), "P");
  // A link given as the path: only the link goes.
  ASSERT_EQ(::symlink(victim.c_str(), (dir + "/top").c_str()), 0);
  EXPECT_TRUE(tu::RemoveFileIfExists(U(dir + "/top")));
  EXPECT_FALSE(Exists(dir + "/top"));
  ASSERT_EQ(::symlink(victim.c_str(), (dir + "/top2").c_str()), 0);
  EXPECT_TRUE(tu::DeleteDirectory(U(dir + "/top2")));
  EXPECT_EQ(ReadFile(victim + "/precious"), "P");
  // Copying over a link replaces the link, not the folder it names.
  ASSERT_TRUE(WriteFile(dir + "/src", "S"));
  ASSERT_EQ(::symlink(victim.c_str(), (dir + "/dst").c_str()), 0);
  EXPECT_TRUE(tu::CopyFile(U(dir + "/src"), U(dir + "/dst"), false));
  EXPECT_EQ(ReadFile(dir + "/dst"), "S");
  EXPECT_EQ(ReadFile(victim + "/precious"), "P");
}

TEST(FileUtilsLinuxTest, CopyFileCopiesLinksAsLinks) {
  std::string dir = FreshDir("copylink");
  ASSERT_TRUE(WriteFile(dir + "/target", "T"));
  ASSERT_EQ(::symlink("target", (dir + "/link").c_str()), 0);
  EXPECT_TRUE(tu::CopyFile(U(dir + "/link"), U(dir + "/copy"), true));
  char buf[64] = {};
  ASSERT_EQ(::readlink((dir + "/copy").c_str(), buf, sizeof buf - 1), 6);
  EXPECT_STREQ(buf, "target");
}

TEST(FileUtilsLinuxTest, StickyFolderProtectsOtherUsersFiles) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as two users";
  std::string dir = FreshDir("sticky");
  ASSERT_EQ(::chmod(tavrin::test::TempRoot().c_str(), 0711), 0);
  ASSERT_EQ(::chmod(dir.c_str(), 01777), 0);
  ASSERT_TRUE(WriteFile(dir + "/roots", "R"));
  int code = RunInChild([&] {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) return kChildSkip;
    if (::access(dir.c_str(), W_OK | X_OK) != 0) return kChildSkip;  // path not reachable
    if (!tu::WriteStringToFile(U("mine"), U(dir + "/mine"))) return 2;
    if (tu::RemoveFileIfExists(U(dir + "/roots"))) return 3;  // someone else's: refused
    if (!tu::RemoveFileIfExists(U(dir + "/mine"))) return 4;
    return 0;
  });
  ::chmod(tavrin::test::TempRoot().c_str(), 0700);
  if (code == kChildSkip) GTEST_SKIP() << "the test folder is not reachable for another user";
  EXPECT_EQ(code, 0);
  EXPECT_EQ(ReadFile(dir + "/roots"), "R");
}

TEST(FileUtilsLinuxTest, RootIsNeverRemoved) {
  // Inside a chroot jail the "root" is a scratch folder, so a failure of the
  // guard would only empty that folder.
  std::string jail = FreshDir("jail");
  ASSERT_TRUE(WriteFile(jail + "/keep", "K"));
  ASSERT_EQ(::mkdir((jail + "/sub").c_str(), 0755), 0);
  int code = RunInChild([&] {
    if (::chroot(jail.c_str()) != 0 || ::chdir("/") != 0) return kChildSkip;
    int failures = 0;
    const char* spellings[] = {"/", "//", "/.", "/..", "/sub/..", ".", "/./"};
    for (const char* p : spellings) {
      if (tu::DeleteDirectory(U(p))) ++failures;
      if (tu::RemoveFileIfExists(U(p))) ++failures;
      if (tu::RenameDirectory(U(p), U("/sub/moved"))) ++failures;
      if (tu::CopyFile(U("/keep"), U(p), false)) ++failures;
    }
    struct stat st;
    if (::stat("/keep", &st) != 0 || ::stat("/sub", &st) != 0) return 2;
    return failures == 0 ? 0 : 3;
  });
  if (code == kChildSkip) GTEST_SKIP() << "chroot needs root";
  EXPECT_EQ(code, 0);
  EXPECT_EQ(ReadFile(jail + "/keep"), "K");
}

TEST(FileUtilsLinuxTest, MovesAcrossFileSystemsCopyThenRemove) {
  std::string dir = FreshDir("exdev");
  std::string mnt = dir + "/mnt";
  ASSERT_EQ(::mkdir(mnt.c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/file", "F"));
  ASSERT_EQ(::mkdir((dir + "/tree").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/tree/inner", "I"));
  int code = RunInChild([&] {
    if (::unshare(CLONE_NEWNS) != 0) return kChildSkip;
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return kChildSkip;
    if (::mount("tmpfs", mnt.c_str(), "tmpfs", 0, "size=1m") != 0) return kChildSkip;
    if (!tu::RenameFileIfExists(U(dir + "/file"), U(mnt + "/file"))) return 2;
    if (!tu::RenameDirectory(U(dir + "/tree"), U(mnt + "/tree"))) return 3;
    if (ReadFile(mnt + "/file") != "F" || ReadFile(mnt + "/tree/inner") != "I") return 4;
    if (Exists(dir + "/file") || Exists(dir + "/tree")) return 5;
    return 0;
  });
  if (code == kChildSkip) GTEST_SKIP() << "cannot mount a second file system here";
  EXPECT_EQ(code, 0);
}

TEST(FileUtilsLinuxTest, MoveNeverReplacesAnExistingTarget) {
  std::string dir = FreshDir("noreplace");
  ASSERT_EQ(::mkdir((dir + "/a").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/a/f", "A"));
  // A file at the target that cannot be deleted (its folder is read-only for
  // the removal check) makes RenameDirectory fail instead of replacing it.
  ASSERT_TRUE(WriteFile(dir + "/b", "B"));
  ASSERT_EQ(::mkdir((dir + "/ro").c_str(), 0755), 0);
  ASSERT_TRUE(WriteFile(dir + "/ro/b", "B"));
  ASSERT_EQ(::chmod((dir + "/ro").c_str(), 0555), 0);
  if (::geteuid() != 0) {
    EXPECT_FALSE(tu::RenameDirectory(U(dir + "/a"), U(dir + "/ro/b")));
    EXPECT_EQ(ReadFile(dir + "/ro/b"), "B");
    EXPECT_EQ(ReadFile(dir + "/a/f"), "A");
  }
  ::chmod((dir + "/ro").c_str(), 0755);
  EXPECT_TRUE(tu::RenameDirectory(U(dir + "/a"), U(dir + "/b")));  // deletable: replaced
  EXPECT_EQ(ReadFile(dir + "/b/f"), "A");
}

}  // namespace
