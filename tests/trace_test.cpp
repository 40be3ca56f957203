// trace_test.cpp - standard-stream output, trace functions, the assertion hook
// and TraceAndLog.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "common/utils/debugconsole.h"
#include "common/utils/filelogger.h"
#include "common/utils/internal/trace_directory.h"
#include "common/utils/tavrinassert.h"
#include "common/utils/trace.h"
#include "common/utils/trace_and_log.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::FreshDir;
using tavrin::test::ReadFile;
using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

// Redirects a descriptor into a file for the life of the object; Text()
// restores it and returns what was written.
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

class RecordingLogger : public tu::IAssertLogger {
 public:
  void LogAssertion(const char* utf8) override { messages.emplace_back(utf8); }
  std::vector<std::string> messages;
};

class NoMore : public tu::IAssertShowMore {};

// Points the trace file into a fresh folder for one test.
class ScopedTraceDirectory {
 public:
  ScopedTraceDirectory() : dir(FreshDir("trace")) {
    tu::internal::SetTraceDirectoryForTesting(tavrin_ustring(dir));
  }
  ~ScopedTraceDirectory() { tu::internal::SetTraceDirectoryForTesting(tavrin_ustring()); }
  std::string dir;
};

// --- tavrin::debug. -----------------------------------------------------------------

TEST(DebugConsoleTest, TraceOutputPrintsToStandardOutput) {
  CaptureFd out(1);
  int n = tavrin::debug::TraceOutput("%s=%d\n", "answer", 42);
  EXPECT_EQ(out.Text(), "answer=42\n");
  EXPECT_EQ(n, 10);
}

TEST(DebugConsoleTest, LogErrorPrintsToStandardError) {
  CaptureFd err(2);
  int n = tavrin::debug::LogError("bad %s\n", "thing");
  EXPECT_EQ(err.Text(), "bad thing\n");
  EXPECT_EQ(n, 10);
}

TEST(DebugConsoleTest, DebugOutputDoesNothing) {
  CaptureFd out(1);
  CaptureFd err(2);
  EXPECT_EQ(tavrin::debug::DebugOutput("%s", "hidden"), 0);
  EXPECT_EQ(err.Text(), "");
  EXPECT_EQ(out.Text(), "");
}

TEST(DebugConsoleTest, SuspendFlag) {
  EXPECT_FALSE(suspendDebugLogging);
  tavrin::debug::SuspendDebugOutput();
  EXPECT_TRUE(suspendDebugLogging);
  tavrin::debug::ResumeDebugOutput();
  EXPECT_FALSE(suspendDebugLogging);
}

// --- Tracing. -------------------------------------------------------------------------

TEST(TraceTest, TraceWritesToStandardError) {
  CaptureFd err(2);
  tu::Trace(tavrin_ustring("value %d, %S\n"), 42, "utf8 \xC3\xA9");
  EXPECT_EQ(err.Text(), "value 42, utf8 \xC3\xA9\n");
}

TEST(TraceTest, TraceToStreamAlwaysAddsOneLineEnd) {
  std::ostringstream a;
  tu::TraceToStream(a, tavrin_ustring("a\n"));
  EXPECT_EQ(a.str(), "a\n\n");
  std::ostringstream b;
  tu::TraceToStream(b, tavrin_ustring("value %d"), 42);
  EXPECT_EQ(b.str(), "value 42\n");
  std::ostringstream c;
  tu::TraceToStream(c, tavrin_ustring());
  EXPECT_EQ(c.str(), "\n");
}

TEST(TraceTest, TraceToFileTruncatesOnceThenAppends) {
  ScopedTraceDirectory trace;
  std::string file = trace.dir + "/debug.log";
  EXPECT_EQ(tu::internal::TraceFilePathForTesting().utf8(), file);
  ASSERT_TRUE(tavrin::test::WriteFile(file, "stale content\n"));
  {
    CaptureFd err(2);
    tu::TraceToFile(tavrin_ustring("first %d\n"), 1);
    tu::TraceToFile(tavrin_ustring("second %d\n"), 2);
    EXPECT_EQ(err.Text(), "first 1\nsecond 2\n");  // standard error gets both too
  }
  EXPECT_EQ(ReadFile(file), "first 1\nsecond 2\n");
}

TEST(TraceTest, HierarchyTracerQueueIsShared) {
  std::list<tavrin_ustring>& queue = tu::HierarchyTracer::GetMessageQueue();
  queue.push_back(tavrin_ustring("node"));
  EXPECT_EQ(&tu::HierarchyTracer::GetMessageQueue(), &queue);
  EXPECT_EQ(tu::HierarchyTracer::GetMessageQueue().back(), tavrin_ustring("node"));
  queue.clear();
}

// --- Assertions. ------------------------------------------------------------------------

TEST(TavrinAssertTest, HookReceivesTheMessage) {
  RecordingLogger logger;
  tu::SetLoggerHook(&logger);
  tu::AssertFailed("shape", 42, "count > 0");
  tu::AssertFailed("100%s.cpp", 7, "ratio < 50%d");  // percent signs are copied
  tu::AssertFailed(nullptr, 1, nullptr);
  tu::SetLoggerHook(nullptr);
  ASSERT_EQ(logger.messages.size(), 3u);
  EXPECT_EQ(logger.messages[0], "shape:42: failed assertion 'count > 0'");
  EXPECT_EQ(logger.messages[1], "100%s.cpp:7: failed assertion 'ratio < 50%d'");
  EXPECT_EQ(logger.messages[2], ":1: failed assertion ''");
}

TEST(TavrinAssertTest, NoHookNoEffect) {
  RecordingLogger logger;
  tu::SetLoggerHook(&logger);
  tu::SetLoggerHook(nullptr);
  CaptureFd err(2);
  tu::AssertFailed("file", 1, "x");  // neither prints nor stops
  EXPECT_EQ(err.Text(), "");
  EXPECT_TRUE(logger.messages.empty());
}

TEST(TavrinAssertTest, ShowMoreHookIsIgnored) {
  NoMore more;
  RecordingLogger logger;
  tu::SetLoggerHook(&logger);
  tu::SetShowMoreHook(&more);
  tu::AssertFailed("f", 2, "e");
  tu::SetShowMoreHook(nullptr);
  tu::SetLoggerHook(nullptr);
  ASSERT_EQ(logger.messages.size(), 1u);
  EXPECT_EQ(logger.messages[0], "f:2: failed assertion 'e'");
}

// --- TraceAndLog. -------------------------------------------------------------------------

class TraceAndLogTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(CFileLogger::Initialize(tavrin_ustring("TraceAndLog"))); }
  void TearDown() override { CFileLogger::Terminate(); }
  std::string LogText() { return ReadFile(CFileLogger::GetLogFile().utf8()); }
};

TEST_F(TraceAndLogTest, FourPercentSignsGiveOne) {
  CaptureFd err(2);
  tu::TraceAndLog("%d%%%% done\n", 40);
  EXPECT_EQ(err.Text(), "40% done\n");
  EXPECT_EQ(LogText(), "40% done\n");
}

TEST_F(TraceAndLogTest, ArgumentsAreNeverReadTwice) {
  CaptureFd err(2);
  const char16_t* fifty = u"50%%";
  const char16_t* literal = u"100%s.txt";
  tu::TraceAndLog("%s and %s\n", fifty, literal);
  EXPECT_EQ(err.Text(), "50% and 100%s.txt\n");
  EXPECT_EQ(LogText(), "50% and 100%s.txt\n");
}

TEST_F(TraceAndLogTest, NullFormatWritesNothing) {
  CaptureFd err(2);
  tu::TraceAndLog(nullptr);
  EXPECT_EQ(err.Text(), "");
  EXPECT_EQ(LogText(), "");
}

TEST(TraceAndLogNoLoggerTest, StandardErrorOnly) {
  CFileLogger::Terminate();
  CaptureFd err(2);
  tu::TraceAndLog("only %S\n", "stderr");
  EXPECT_EQ(err.Text(), "only stderr\n");
  EXPECT_FALSE(CFileLogger::Get()->IsInitialized());
}

}  // namespace
