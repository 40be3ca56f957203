// folders_test.cpp - well-known folders, the private temporary folder and
// temporary names.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <set>
#include <string>

#include "common/utils/fileutils.h"
#include "common/utils/tavrinassert.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::Exists;
using tavrin::test::FreshDir;
using tavrin::test::IsDir;
using tavrin::test::ScopedEnv;
using tavrin::test::TempRoot;
using tavrin::test::WriteFile;
using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

tavrin_ustring U(const std::string& s) {
  return tavrin_ustring(s);
}

class RecordingLogger : public tu::IAssertLogger {
 public:
  void LogAssertion(const char* utf8) override { messages.emplace_back(utf8); }
  std::vector<std::string> messages;
};

// Installs a recording assertion hook for the life of the object.
class ScopedHook {
 public:
  ScopedHook() { tu::SetLoggerHook(&logger); }
  ~ScopedHook() { tu::SetLoggerHook(nullptr); }
  RecordingLogger logger;
};

TEST(FoldersTest, HomeIsCanonical) {
  std::string home = FreshDir("home");
  {
    ScopedEnv env("HOME", (home + "/").c_str());
    EXPECT_EQ(tu::HomeDirectory().utf8(), home);
  }
  {
    ScopedEnv env("HOME", "/");
    EXPECT_EQ(tu::HomeDirectory().utf8(), "/");
  }
  std::string fallback;
  {
    // Without $HOME the password database answers: an absolute folder.
    ScopedEnv env("HOME", nullptr);
    fallback = tu::HomeDirectory().utf8();
    ASSERT_FALSE(fallback.empty());
    EXPECT_EQ(fallback[0], '/');
  }
  {
    // A relative $HOME is no answer either.
    ScopedEnv env("HOME", "relative/home");
    EXPECT_EQ(tu::HomeDirectory().utf8(), fallback);
  }
}

TEST(FoldersTest, DocumentsFallBackToHome) {
  std::string home = FreshDir("dochome");
  ScopedEnv env("HOME", home.c_str());
  ScopedEnv config("XDG_CONFIG_HOME", (home + "/.config").c_str());
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), home + "/Documents");
  ScopedEnv root("HOME", "/");
  ScopedEnv no_config("XDG_CONFIG_HOME", "/nonexistent-tavrin-config");
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), "/Documents");
}

TEST(FoldersTest, TempPathIsPrivateAndStable) {
  tavrin_ustring first;
  tu::GetTempPath(first);
  std::string path = first.utf8();
  ASSERT_FALSE(path.empty());
  EXPECT_NE(path.back(), '/');
  // Below $TMPDIR of the test tree, named "<application id>.<login>".
  EXPECT_EQ(path.rfind(TempRoot() + "/tmp/", 0), 0u) << path;
  struct stat st;
  ASSERT_EQ(::lstat(path.c_str(), &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_EQ(st.st_uid, ::geteuid());
  // The text is kept even when the environment changes.
  std::string other = FreshDir("othertmp");
  ScopedEnv env("TMPDIR", other.c_str());
  tavrin_ustring second;
  tu::GetTempPath(second);
  EXPECT_EQ(second, first);
  // A deleted folder is made again.
  ASSERT_EQ(::rmdir(path.c_str()), 0);
  tu::GetTempPath(second);
  EXPECT_EQ(second, first);
  EXPECT_TRUE(IsDir(path));
}

TEST(FoldersTest, TempFileNameOnlyNames) {
  std::string dir = FreshDir("tmpname");
  std::set<std::string> seen;
  for (int i = 0; i < 20; ++i) {
    tavrin_ustring name = U("report-");
    tu::GetTempFileName(U(dir), name);
    std::string path = name.utf8();
    std::string prefix = dir + "/report-";
    ASSERT_EQ(path.size(), prefix.size() + 6) << path;
    EXPECT_EQ(path.compare(0, prefix.size(), prefix), 0);
    for (char c : path.substr(prefix.size()))
      EXPECT_TRUE(std::isalnum(static_cast<unsigned char>(c)));
    EXPECT_FALSE(Exists(path));  // nothing is created
    seen.insert(path);
  }
  EXPECT_GT(seen.size(), 1u);
}

TEST(FoldersTest, MakeTempDirCreatesPrivateFolders) {
  std::string dir = FreshDir("mktemp");
  tavrin_ustring name = U("work");
  ASSERT_TRUE(tu::MakeTempDir(U(dir), name));
  std::string path = name.utf8();
  std::string prefix = dir + "/work.";
  ASSERT_EQ(path.size(), prefix.size() + 6);
  EXPECT_EQ(path.compare(0, prefix.size(), prefix), 0);
  struct stat st;
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  tavrin_ustring again = U("work");
  ASSERT_TRUE(tu::MakeTempDir(U(dir), again));
  EXPECT_NE(again, name);
}

TEST(FoldersTest, MakeTempDirCreatesMissingParents) {
  std::string dir = FreshDir("mktempdeep");
  tavrin_ustring name = U("x");
  ASSERT_TRUE(tu::MakeTempDir(U(dir + "/a/b"), name));
  EXPECT_TRUE(IsDir(name.utf8()));
  struct stat st;
  ASSERT_EQ(::stat((dir + "/a").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0700, 0700u);
  EXPECT_EQ(st.st_mode & 022, 0u);  // 0755 under the usual umask, never wider
}

TEST(FoldersTest, MakeTempDirReportsThroughAssertHook) {
  std::string dir = FreshDir("mktempfail");
  ASSERT_TRUE(WriteFile(dir + "/file", "x"));
  ScopedHook hook;
  tavrin_ustring name = U("t");
  EXPECT_FALSE(tu::MakeTempDir(U(dir + "/file"), name));
  std::string tmpl = dir + "/file/t.XXXXXX";
  EXPECT_EQ(name.utf8(), tmpl);
  ASSERT_EQ(hook.logger.messages.size(), 1u);
  const std::string& message = hook.logger.messages[0];
  std::string expected =
      "failed assertion 'MakeTempDir temporary directory " + tmpl + " could not be created'";
  EXPECT_NE(message.find(expected), std::string::npos) << message;
  // Without a hook the failure is silent and still returns.
  tu::SetLoggerHook(nullptr);
  tavrin_ustring quiet = U("q");
  EXPECT_FALSE(tu::MakeTempDir(U(dir + "/file"), quiet));
}

}  // namespace
