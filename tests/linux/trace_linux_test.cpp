// trace_linux_test.cpp - the trace file on Linux: truncated once per process,
// created 0600 (an existing file of this user narrowed to 0600), never
// written through a link or into someone else's file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "common/utils/internal/trace_directory.h"
#include "common/utils/trace.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::FreshDir;
using tavrin::test::ReadFile;
using tavrin::test::WriteFile;
using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

// Runs `body` in a forked child with standard error silenced; returns its
// exit status.
template <class F>
int RunInChild(F body) {
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, 2);
    int code = body();
    ::_exit(code);
  }
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// One process's worth of TraceToFile calls into `dir`.
int TraceProcess(const std::string& dir, const char* first, const char* second) {
  return RunInChild([&] {
    tu::internal::SetTraceDirectoryForTesting(tavrin_ustring(dir));
    tu::TraceToFile(tavrin_ustring("%S\n"), first);
    if (second) tu::TraceToFile(tavrin_ustring("%S\n"), second);
    return 0;
  });
}

TEST(TraceLinuxTest, EachProcessStartsTheFileAfresh) {
  std::string dir = FreshDir("traceproc");
  ASSERT_EQ(TraceProcess(dir, "one", "two"), 0);
  EXPECT_EQ(ReadFile(dir + "/debug.log"), "one\ntwo\n");
  ASSERT_EQ(TraceProcess(dir, "three", nullptr), 0);
  EXPECT_EQ(ReadFile(dir + "/debug.log"), "three\n");
  struct stat st;
  ASSERT_EQ(::stat((dir + "/debug.log").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST(TraceLinuxTest, FileOthersCouldReadIsNarrowedTo0600) {
  std::string dir = FreshDir("tracemode");
  ASSERT_TRUE(WriteFile(dir + "/debug.log", "old\n"));
  ASSERT_EQ(::chmod((dir + "/debug.log").c_str(), 0646), 0);
  ASSERT_EQ(TraceProcess(dir, "new", nullptr), 0);
  EXPECT_EQ(ReadFile(dir + "/debug.log"), "new\n");
  struct stat st;
  ASSERT_EQ(::stat((dir + "/debug.log").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
}

TEST(TraceLinuxTest, DefaultFileIsDebugLogInTmp) {
  // Only the path is asked for: nothing is written to the real /tmp.
  tu::internal::SetTraceDirectoryForTesting(tavrin_ustring());
  EXPECT_EQ(tu::internal::TraceFilePathForTesting().utf8(), "/tmp/debug.log");
  tu::internal::SetTraceDirectoryForTesting(tavrin_ustring("/elsewhere/"));
  EXPECT_EQ(tu::internal::TraceFilePathForTesting().utf8(), "/elsewhere/debug.log");
  tu::internal::SetTraceDirectoryForTesting(tavrin_ustring());
}

TEST(TraceLinuxTest, NeverWritesThroughALink) {
  std::string dir = FreshDir("tracelink");
  std::string victim = FreshDir("tracevictim") + "/victim";
  ASSERT_TRUE(WriteFile(victim, "keep me\n"));
  ASSERT_EQ(::symlink(victim.c_str(), (dir + "/debug.log").c_str()), 0);
  ASSERT_EQ(TraceProcess(dir, "first", "second"), 0);
  EXPECT_EQ(ReadFile(victim), "keep me\n");
  struct stat st;
  ASSERT_EQ(::lstat((dir + "/debug.log").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
}

TEST(TraceLinuxTest, NeverWritesIntoAnotherUsersFile) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a file away";
  std::string dir = FreshDir("traceowner");
  ASSERT_TRUE(WriteFile(dir + "/debug.log", "theirs\n"));
  ASSERT_EQ(::chown((dir + "/debug.log").c_str(), 65534, 65534), 0);
  ASSERT_EQ(TraceProcess(dir, "mine", nullptr), 0);
  EXPECT_EQ(ReadFile(dir + "/debug.log"), "theirs\n");  // not truncated either
}

TEST(TraceLinuxTest, FifoDoesNotBlock) {
  std::string dir = FreshDir("tracefifo");
  ASSERT_EQ(::mkfifo((dir + "/debug.log").c_str(), 0600), 0);
  EXPECT_EQ(TraceProcess(dir, "into a pipe", nullptr), 0);
}

TEST(TraceLinuxTest, MessageStillReachesStandardErrorWhenTheFileIsRefused) {
  std::string dir = FreshDir("tracestderr");
  ASSERT_EQ(::mkdir((dir + "/debug.log").c_str(), 0700), 0);  // a folder in the way
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(fds[1], 2);
    ::close(fds[0]);
    tu::internal::SetTraceDirectoryForTesting(tavrin_ustring(dir));
    tu::TraceToFile(tavrin_ustring("still %d\n"), 7);
    ::_exit(0);
  }
  ::close(fds[1]);
  std::string out;
  char buf[256];
  ssize_t n;
  while ((n = ::read(fds[0], buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
  ::close(fds[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  EXPECT_EQ(out, "still 7\n");
}

}  // namespace
