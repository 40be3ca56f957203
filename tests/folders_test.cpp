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

using tavrin::test::FreshDir;
using tavrin::test::ScopedEnv;
using tavrin::test::TempRoot;
using tavrin::test::WriteFile;
using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

tavrin_ustring U(const std::string& s) {
  return tavrin_ustring(s);
}

bool IsDir(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
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

TEST(FoldersTest, DocumentsFromUserDirs) {
  std::string home = FreshDir("xdghome");
  std::string config = FreshDir("xdgconfig");
  ScopedEnv env("HOME", home.c_str());
  ScopedEnv cfg("XDG_CONFIG_HOME", config.c_str());
  ASSERT_TRUE(WriteFile(config + "/user-dirs.dirs",
                        "# comment\nXDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                        "XDG_DOCUMENTS_DIR=\"$HOME/My Papers/\"\n"));
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), home + "/My Papers");
  ASSERT_TRUE(WriteFile(config + "/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"/srv/docs\"\n"));
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), "/srv/docs");
  // A relative value or an unterminated quote is not an answer.
  ASSERT_TRUE(WriteFile(config + "/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"docs\"\n"));
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), home + "/Documents");
  ASSERT_TRUE(WriteFile(config + "/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/x\n"));
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), home + "/Documents");
}

TEST(FoldersTest, ApplicationDataFolders) {
  std::string home = FreshDir("datahome");
  ScopedEnv env("HOME", home.c_str());
  {
    ScopedEnv data("XDG_DATA_HOME", "/abs/data/");
    EXPECT_EQ(tu::UserApplicationDataDirectory().utf8(), "/abs/data");
  }
  {
    ScopedEnv data("XDG_DATA_HOME", "relative/data");
    EXPECT_EQ(tu::UserApplicationDataDirectory().utf8(), home + "/.local/share");
  }
  {
    ScopedEnv dirs("XDG_DATA_DIRS", "relative:/abs/one/:/abs/two");
    EXPECT_EQ(tu::MachineApplicationDataDirectory().utf8(), "/abs/one");
  }
  {
    ScopedEnv dirs("XDG_DATA_DIRS", nullptr);
    EXPECT_EQ(tu::MachineApplicationDataDirectory().utf8(), "/usr/local/share");
  }
  EXPECT_TRUE(tu::FontDirectory().empty());
}

TEST(FoldersTest, UserSupportFolderPerRelease) {
  std::string data = FreshDir("support");
  ScopedEnv env("XDG_DATA_HOME", data.c_str());
  EXPECT_FALSE(tu::UserSupportFileDirectoryExists(U("Plugins"), 25, false));
  EXPECT_FALSE(Exists(data + "/Wirelume 2025"));  // the check created nothing
  EXPECT_EQ(tu::UserSupportFileDirectory(U("Plugins")).utf8(), data + "/Wirelume 2025/Plugins");
  EXPECT_TRUE(IsDir(data + "/Wirelume 2025/Plugins"));
  EXPECT_TRUE(tu::UserSupportFileDirectoryExists(U("Plugins"), 25, true));
  EXPECT_EQ(tu::UserSupportFileDirectory(U("Plugins"), 24, false).utf8(),
            data + "/Wirelume 2024/Plugins");
  // A plain "%d" after "20": release 5 is "205", not "2005".
  EXPECT_EQ(tu::UserSupportFileDirectory(U("x"), 5, false).utf8(), data + "/Wirelume 205/x");
  EXPECT_EQ(tu::UserSupportFileDirectory(U(""), 25, false).utf8(), data + "/Wirelume 2025");
}

TEST(FoldersTest, MachineSupportFolder) {
  std::string machine = FreshDir("machine");
  ScopedEnv env("XDG_DATA_DIRS", machine.c_str());
  EXPECT_EQ(tu::MachineSupportFileDirectory(U("Shared")).utf8(), machine + "/Wirelume 2025/Shared");
  EXPECT_TRUE(IsDir(machine + "/Wirelume 2025/Shared"));
}

TEST(FoldersTest, TempAppSupportPath) {
  std::string data = FreshDir("appsupport");
  ScopedEnv env("XDG_DATA_HOME", data.c_str());
  tavrin_ustring out;
  tu::GetTempAppSupportPath(U("Cache"), out);
  EXPECT_EQ(out.utf8(), data + "/Wirelume 2025/Cache/working");
  EXPECT_TRUE(IsDir(out.utf8()));
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

TEST(FoldersTest, ToolPrintsTheFolders) {
  std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string home = FreshDir("toolhome");
  std::string data = FreshDir("tooldata");
  std::string out;
  int status = tavrin::test::RunShell("HOME='" + home + "' XDG_DATA_HOME='" + data +
                                          "' XDG_DATA_DIRS=/opt/a:/opt/b '" + tool + "' folders",
                                      &out);
  EXPECT_EQ(status, 0);
  EXPECT_NE(out.find("home: " + home + "\n"), std::string::npos) << out;
  EXPECT_NE(out.find("user application data: " + data + "\n"), std::string::npos) << out;
  EXPECT_NE(out.find("machine application data: /opt/a\n"), std::string::npos) << out;
  EXPECT_NE(out.find("product folder: " + data + "/Wirelume 2025 (missing)\n"), std::string::npos)
      << out;
  EXPECT_FALSE(Exists(data + "/Wirelume 2025"));  // only looked up
  EXPECT_NE(out.find("temporary: " + TempRoot() + "/tmp/"), std::string::npos) << out;
  EXPECT_NE(tavrin::test::RunShell("'" + tool + "' folders extra 2>/dev/null"), 0);
}

}  // namespace
