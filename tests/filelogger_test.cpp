// filelogger_test.cpp - CFileLogger: initialisation, messages, copies and the
// file's lifetime; Singleton.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <ctime>
#include <regex>
#include <string>
#include <thread>

#include "common/utils/filelogger.h"
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

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// Every test starts and ends with an uninitialised logger.
class FileLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override { CFileLogger::Terminate(); }
  void TearDown() override { CFileLogger::Terminate(); }
};

void WriteThroughVaList(const char* format, ...) {
  va_list args;
  va_start(args, format);
  CFileLogger::Write(tavrin_ustring(format), args);
  va_end(args);
}

void WriteLogThroughVaList(CFileLogger* logger, const char* format, ...) {
  va_list args;
  va_start(args, format);
  logger->WriteLog(tavrin_ustring(format), args);
  va_end(args);
}

TEST_F(FileLoggerTest, WriteBeforeInitializeIsDropped) {
  EXPECT_FALSE(CFileLogger::Get()->IsInitialized());
  EXPECT_TRUE(CFileLogger::GetLogFile().empty());
  CFileLogger::Write(U("dropped %d\n"), 1);
  EXPECT_FALSE(CFileLogger::CopyLogTo(U(FreshDir("nolog"))));
}

TEST_F(FileLoggerTest, InitializeNamesTheFileInTheTempFolder) {
  ASSERT_TRUE(CFileLogger::Initialize(U("Modeler")));
  CFileLogger* logger = CFileLogger::Get();
  EXPECT_TRUE(logger->IsInitialized());
  std::string path = logger->GetFile().utf8();
  EXPECT_EQ(CFileLogger::GetLogFile().utf8(), path);
  tavrin_ustring temp;
  tu::GetTempPath(temp);
  ASSERT_EQ(path.rfind(temp.utf8() + "/", 0), 0u) << path;
  std::string name = path.substr(temp.utf8().size() + 1);
  // The joining rule turns the time's colons into "_".
  EXPECT_TRUE(std::regex_match(name, std::regex(R"(Modeler-\d{4}-\d\d-\d\d-\d\d_\d\d_\d\d\.log)")))
      << name;
  EXPECT_FALSE(Exists(path));  // made by the first message, not by Initialize
  EXPECT_FALSE(CFileLogger::Initialize(U("Other")));
  EXPECT_EQ(CFileLogger::GetLogFile().utf8(), path);
}

TEST_F(FileLoggerTest, MessagesAreAppendedAsFormatted) {
  ASSERT_TRUE(CFileLogger::Initialize(U("Messages")));
  std::string path = CFileLogger::GetLogFile().utf8();
  CFileLogger::Write(U("n=%d\n"), 0);  // a literal 0 is an int, not a va_list
  CFileLogger::Write(U("p=%p "), nullptr);
  CFileLogger::Write(U("no line end"));
  CFileLogger::Get()->WriteLog(U(" %S|%s\n"), "utf8", u"utf16");
  WriteThroughVaList("[%d-%d]", 1, 2);
  WriteLogThroughVaList(CFileLogger::Get(), "[%S]\n", "va");
  EXPECT_EQ(ReadFile(path), "n=0\np=(nil) no line end utf8|utf16\n[1-2][va]\n");
}

TEST_F(FileLoggerTest, TerminateDeletesTheFile) {
  ASSERT_TRUE(CFileLogger::Initialize(U("Gone")));
  std::string path = CFileLogger::GetLogFile().utf8();
  CFileLogger::Write(U("x\n"));
  ASSERT_TRUE(Exists(path));
  CFileLogger::Terminate();
  EXPECT_FALSE(Exists(path));
  EXPECT_FALSE(CFileLogger::Get()->IsInitialized());
  CFileLogger::Write(U("after\n"));
  EXPECT_FALSE(Exists(path));
}

TEST_F(FileLoggerTest, ReinitialisingAfterASecondGivesANewName) {
  ASSERT_TRUE(CFileLogger::Initialize(U("Again")));
  std::string first = CFileLogger::GetLogFile().utf8();
  CFileLogger::Terminate();
  // Names have one-second resolution: compare across a second boundary.
  std::time_t start = std::time(nullptr);
  while (std::time(nullptr) == start) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ASSERT_TRUE(CFileLogger::Initialize(U("Again")));
  EXPECT_NE(CFileLogger::GetLogFile().utf8(), first);
}

TEST_F(FileLoggerTest, CopyLogToNeverOverwrites) {
  ASSERT_TRUE(CFileLogger::Initialize(U("Copy")));
  std::string log = CFileLogger::GetLogFile().utf8();
  std::string name = log.substr(log.rfind('/') + 1);
  std::string dir = FreshDir("copies");
  EXPECT_FALSE(CFileLogger::CopyLogTo(U(dir)));  // nothing written yet
  CFileLogger::Write(U("one\n"));
  EXPECT_TRUE(CFileLogger::CopyLogTo(U(dir + "/new/folder")));  // folder created
  EXPECT_EQ(ReadFile(dir + "/new/folder/" + name), "one\n");
  CFileLogger::Write(U("two\n"));
  EXPECT_FALSE(CFileLogger::CopyLogTo(U(dir + "/new/folder")));
  EXPECT_EQ(ReadFile(dir + "/new/folder/" + name), "one\n");
  ASSERT_TRUE(WriteFile(dir + "/" + name, "someone else's"));
  EXPECT_FALSE(CFileLogger::CopyLogTo(U(dir)));
  EXPECT_EQ(ReadFile(dir + "/" + name), "someone else's");
  EXPECT_EQ(ReadFile(log), "one\ntwo\n");
}

TEST_F(FileLoggerTest, DestroyDeletesFileAndInstance) {
  ASSERT_TRUE(CFileLogger::Initialize(U("Destroyed")));
  std::string path = CFileLogger::GetLogFile().utf8();
  CFileLogger::Write(U("x"));
  ASSERT_TRUE(Exists(path));
  tu::Singleton<CFileLogger>::Destroy();
  EXPECT_FALSE(Exists(path));
  tu::Singleton<CFileLogger>::Destroy();  // no instance: nothing happens
  CFileLogger* fresh = CFileLogger::Get();
  ASSERT_NE(fresh, nullptr);
  EXPECT_FALSE(fresh->IsInitialized());
  EXPECT_EQ(CFileLogger::Get(), fresh);
}

}  // namespace
