// filelogger_linux_test.cpp - the logger across processes and threads: the
// file is deleted when the initialising process ends but not when a forked
// child does, and concurrent writers never tear or lose a message.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/utils/filelogger.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::ReadFile;
using tavrin::utils::tavrin_ustring;

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// Runs `body` in a forked child that ends with exit() (so exit-time
// destruction runs); its text comes back through a pipe.
template <class F>
std::string InChild(F body, int* exit_status = nullptr) {
  int fds[2];
  if (::pipe(fds) != 0) return {};
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    std::string text = body();
    ssize_t ignored = ::write(fds[1], text.data(), text.size());
    (void)ignored;
    ::close(fds[1]);
    // The test main removes the temporary tree at exit; the child must leave
    // it to the parent.
    ::setenv("TAVRIN_KEEP_TEST_TMP", "1", 1);
    std::exit(0);  // runs the atexit handlers, as a normal end of process does
  }
  ::close(fds[1]);
  std::string out;
  char buf[512];
  ssize_t n;
  while ((n = ::read(fds[0], buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
  ::close(fds[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  if (exit_status) *exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return out;
}

class FileLoggerLinuxTest : public ::testing::Test {
 protected:
  void SetUp() override { CFileLogger::Terminate(); }
  void TearDown() override { CFileLogger::Terminate(); }
};

TEST_F(FileLoggerLinuxTest, FileIsDeletedWhenTheProcessEnds) {
  int status = -1;
  std::string path = InChild(
      [] {
        if (!CFileLogger::Initialize(tavrin_ustring("Ending"))) return std::string();
        CFileLogger::Write(tavrin_ustring("bye\n"));
        std::string p = CFileLogger::GetLogFile().utf8();
        return Exists(p) ? p : std::string();
      },
      &status);
  EXPECT_EQ(status, 0);
  ASSERT_FALSE(path.empty());
  EXPECT_FALSE(Exists(path));
}

TEST_F(FileLoggerLinuxTest, ForkedChildNeverDeletesTheParentsFile) {
  ASSERT_TRUE(CFileLogger::Initialize(tavrin_ustring("Parent")));
  CFileLogger::Write(tavrin_ustring("parent\n"));
  std::string path = CFileLogger::GetLogFile().utf8();
  std::string child = InChild([] {
    CFileLogger::Write(tavrin_ustring("child\n"));
    CFileLogger::Terminate();  // forgets the path, keeps the file
    return std::string(CFileLogger::Get()->IsInitialized() ? "initialised" : "cleared");
  });
  EXPECT_EQ(child, "cleared");
  ASSERT_TRUE(Exists(path));
  EXPECT_EQ(ReadFile(path), "parent\nchild\n");
  InChild([] { return std::string(); });  // exit-time destruction in a child
  EXPECT_TRUE(Exists(path));
  CFileLogger::Terminate();
  EXPECT_FALSE(Exists(path));
}

TEST_F(FileLoggerLinuxTest, ConcurrentWritersNeverTearOrLoseMessages) {
  ASSERT_TRUE(CFileLogger::Initialize(tavrin_ustring("Concurrent")));
  std::string path = CFileLogger::GetLogFile().utf8();
  constexpr int kThreads = 8;
  constexpr int kMessages = 300;
  // A second process appends to the same file at the same time (forked
  // before any thread starts, so the child inherits no held lock).
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    for (int i = 0; i < kMessages; ++i) {
      std::string body(static_cast<std::size_t>(i * 53 % 7000), 'z');
      CFileLogger::Write(tavrin_ustring("<%d:%d:%S>\n"), kThreads, i, body.c_str());
    }
    ::_exit(0);
  }
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kMessages; ++i) {
        // Lengths from a few bytes to well past a page.
        std::string body(static_cast<std::size_t>((i * 97 + t * 31) % 9000),
                         static_cast<char>('a' + t));
        CFileLogger::Write(tavrin_ustring("<%d:%d:%S>\n"), t, i, body.c_str());
      }
    });
  }
  for (std::thread& th : threads) th.join();
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);

  std::istringstream in(ReadFile(path));
  std::string line;
  std::map<int, std::vector<bool>> seen;
  int lines = 0;
  while (std::getline(in, line)) {
    ++lines;
    int t = -1, i = -1, consumed = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "<%d:%d:%n", &t, &i, &consumed), 2)
        << "torn: " << line.substr(0, 80);
    ASSERT_TRUE(t >= 0 && t <= kThreads && i >= 0 && i < kMessages) << line.substr(0, 80);
    std::string body = line.substr(static_cast<std::size_t>(consumed));
    ASSERT_FALSE(body.empty());
    ASSERT_EQ(body.back(), '>') << "torn message " << t << ":" << i;
    body.pop_back();
    char expected = t == kThreads ? 'z' : static_cast<char>('a' + t);
    std::size_t length = t == kThreads ? static_cast<std::size_t>(i * 53 % 7000)
                                       : static_cast<std::size_t>((i * 97 + t * 31) % 9000);
    ASSERT_EQ(body, std::string(length, expected)) << "mixed message " << t << ":" << i;
    auto& flags = seen[t];
    flags.resize(kMessages);
    ASSERT_FALSE(flags[static_cast<std::size_t>(i)]) << "duplicate " << t << ":" << i;
    flags[static_cast<std::size_t>(i)] = true;
  }
  EXPECT_EQ(lines, (kThreads + 1) * kMessages);
}

}  // namespace
