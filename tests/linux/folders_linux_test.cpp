// folders_linux_test.cpp - the private temporary folder's first-use choice
// and its per-call checks, which need a fresh process each (the choice is
// made once per process), the resource folder beside a <prefix>/bin
// executable, and the XDG rules for documents, application data and the
// product's support folders (user-dirs.dirs, $XDG_DATA_HOME, $XDG_DATA_DIRS).
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "common/utils/fileutils.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::Exists;
using tavrin::test::FreshDir;
using tavrin::test::IsDir;
using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

// Runs `body` in a forked child (a process whose temporary folder has not
// been chosen yet) and returns the text it produced; empty when it failed.
template <class F>
std::string InFreshProcess(F body) {
  int fds[2];
  if (::pipe(fds) != 0) return {};
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    std::string text = body();
    ssize_t ignored = ::write(fds[1], text.data(), text.size());
    (void)ignored;
    ::_exit(0);
  }
  ::close(fds[1]);
  std::string out;
  char buf[512];
  ssize_t n;
  while ((n = ::read(fds[0], buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
  ::close(fds[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  return out;
}

std::string Login() {
  struct passwd* pw = ::getpwuid(::geteuid());
  return pw ? pw->pw_name : std::to_string(::geteuid());
}

// GetTempPath as a fresh process computes it, with `tmpdir` as $TMPDIR; the
// second line says whether a second call gave the same text.
std::string TempPathWith(const std::string& tmpdir, const std::string& cache = "") {
  return InFreshProcess([&] {
    ::setenv("TMPDIR", tmpdir.c_str(), 1);
    if (!cache.empty()) ::setenv("XDG_CACHE_HOME", cache.c_str(), 1);
    tavrin_ustring first, second;
    tu::GetTempPath(first);
    tu::GetTempPath(second);
    return first.utf8() + "\n" + (first == second ? "same" : "changed");
  });
}

struct stat LstatOf(const std::string& path) {
  struct stat st {};
  ::lstat(path.c_str(), &st);
  return st;
}

TEST(FoldersLinuxTest, FirstUseTakesTmpdir) {
  std::string tmp = FreshDir("tmpdir");
  std::string expected = tmp + "/Wirelume." + Login();
  EXPECT_EQ(TempPathWith(tmp), expected + "\nsame");
  struct stat st = LstatOf(expected);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  // A trailing "/" on $TMPDIR changes nothing.
  EXPECT_EQ(TempPathWith(tmp + "/"), expected + "\nsame");
}

TEST(FoldersLinuxTest, UnusableTmpdirFallsBackToTheCache) {
  std::string cache = FreshDir("cache");
  std::string missing = FreshDir("gone") + "/missing";
  EXPECT_EQ(TempPathWith(missing, cache), cache + "/Wirelume." + Login() + "\nsame");
}

TEST(FoldersLinuxTest, PlantedLinkIsNeverUsed) {
  std::string tmp = FreshDir("planted");
  std::string elsewhere = FreshDir("attacker");
  std::string kept = tmp + "/Wirelume." + Login();
  ASSERT_EQ(::symlink(elsewhere.c_str(), kept.c_str()), 0);
  std::string result = TempPathWith(tmp);
  std::string path = result.substr(0, result.find('\n'));
  ASSERT_EQ(path.size(), kept.size() + 7) << path;
  EXPECT_EQ(path.compare(0, kept.size() + 1, kept + "."), 0);
  EXPECT_EQ(result.substr(result.find('\n') + 1), "same");  // the replacement is kept
  struct stat st = LstatOf(path);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_TRUE(S_ISLNK(LstatOf(kept).st_mode));  // the link is left alone
}

TEST(FoldersLinuxTest, FolderOthersCanWriteIsReplaced) {
  std::string tmp = FreshDir("groupw");
  std::string kept = tmp + "/Wirelume." + Login();
  ASSERT_EQ(::mkdir(kept.c_str(), 0700), 0);
  ASSERT_EQ(::chmod(kept.c_str(), 0770), 0);
  std::string result = TempPathWith(tmp);
  std::string path = result.substr(0, result.find('\n'));
  EXPECT_NE(path, kept);
  EXPECT_EQ(path.compare(0, kept.size() + 1, kept + "."), 0) << path;
}

TEST(FoldersLinuxTest, FolderOfAnotherUserIsReplaced) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a folder away";
  std::string tmp = FreshDir("owner");
  std::string kept = tmp + "/Wirelume." + Login();
  ASSERT_EQ(::mkdir(kept.c_str(), 0700), 0);
  ASSERT_EQ(::chown(kept.c_str(), 65534, 65534), 0);
  std::string result = TempPathWith(tmp);
  std::string path = result.substr(0, result.find('\n'));
  EXPECT_NE(path, kept);
  EXPECT_EQ(LstatOf(path).st_uid, 0u);
}

TEST(FoldersLinuxTest, ReplacementIsRecheckedOnEveryCall) {
  std::string tmp = FreshDir("recheck");
  std::string result = InFreshProcess([&] {
    ::setenv("TMPDIR", tmp.c_str(), 1);
    tavrin_ustring first, second;
    tu::GetTempPath(first);
    // Swap the folder for a link between two calls.
    std::string path = first.utf8();
    ::rmdir(path.c_str());
    if (::symlink("/", path.c_str()) != 0) return std::string("symlink failed");
    tu::GetTempPath(second);
    return first.utf8() + "\n" + second.utf8();
  });
  std::string first = result.substr(0, result.find('\n'));
  std::string second = result.substr(result.find('\n') + 1);
  EXPECT_EQ(first, tmp + "/Wirelume." + Login());
  EXPECT_EQ(second.compare(0, first.size() + 1, first + "."), 0) << second;
  EXPECT_TRUE(S_ISDIR(LstatOf(second).st_mode));
}

TEST(FoldersLinuxTest, ResourceFolderBesideBin) {
  std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string prefix = FreshDir("prefix");
  ASSERT_EQ(::mkdir((prefix + "/bin").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((prefix + "/share").c_str(), 0755), 0);
  if (::link(tool.c_str(), (prefix + "/bin/tavrin").c_str()) != 0)
    GTEST_SKIP() << "cannot hard-link the tool into a prefix";
  std::string out;
  ASSERT_EQ(tavrin::test::RunShell("'" + prefix + "/bin/tavrin' folders", &out), 0);
  EXPECT_NE(out.find("application resources: \n"), std::string::npos) << out;
  ASSERT_EQ(::mkdir((prefix + "/share/Wirelume").c_str(), 0755), 0);
  ASSERT_EQ(tavrin::test::RunShell("'" + prefix + "/bin/tavrin' folders", &out), 0);
  EXPECT_NE(out.find("application resources: " + prefix + "/share/Wirelume\n"), std::string::npos)
      << out;
}

// --- The XDG folder rules ---------------------------------------------------

using tavrin::test::ScopedEnv;
using tavrin::test::TempRoot;
using tavrin::test::WriteFile;

tavrin_ustring U(const std::string& s) {
  return tavrin_ustring(s);
}

TEST(FoldersLinuxTest, DocumentsFromUserDirs) {
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

TEST(FoldersLinuxTest, ApplicationDataFolders) {
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

TEST(FoldersLinuxTest, UserSupportFolderPerRelease) {
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

TEST(FoldersLinuxTest, MachineSupportFolder) {
  std::string machine = FreshDir("machine");
  ScopedEnv env("XDG_DATA_DIRS", machine.c_str());
  EXPECT_EQ(tu::MachineSupportFileDirectory(U("Shared")).utf8(), machine + "/Wirelume 2025/Shared");
  EXPECT_TRUE(IsDir(machine + "/Wirelume 2025/Shared"));
}

TEST(FoldersLinuxTest, TempAppSupportPath) {
  std::string data = FreshDir("appsupport");
  ScopedEnv env("XDG_DATA_HOME", data.c_str());
  tavrin_ustring out;
  tu::GetTempAppSupportPath(U("Cache"), out);
  EXPECT_EQ(out.utf8(), data + "/Wirelume 2025/Cache/working");
  EXPECT_TRUE(IsDir(out.utf8()));
}

TEST(FoldersLinuxTest, ToolPrintsTheFolders) {
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
