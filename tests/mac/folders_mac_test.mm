// Tests of the well-known folders on Foundation: the home folder follows
// $HOME (GNUstep's NSHomeDirectory reads only the password database), the
// user folders Foundation names are moved into that home (Documents, and
// GNUstep/Library/ApplicationSupport under GNUstep), the machine folder
// comes from the local domain (GNUstep: the local library of the GNUstep
// configuration file, which the test main points into the test tree), the
// private temporary folder from $TMPDIR, else from NSTemporaryDirectory, and
// no folder a test creates lies in the real home.
#import <Foundation/Foundation.h>

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/utils/auto_release_pool.h"
#include "common/utils/fileutils.h"
#include "tests/test_support.h"

namespace tu = tavrin::utils;
using tavrin::utils::tavrin_ustring;

namespace {

std::string Utf8(NSString* s) {
  return s != nil ? std::string([s UTF8String]) : std::string();
}

std::string Canonical(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

std::string LastComponent(const std::string& path) {
  const std::string p = Canonical(path);
  const std::size_t slash = p.rfind('/');
  return slash == std::string::npos ? p : p.substr(slash + 1);
}

std::string FirstSearchPath(NSSearchPathDirectory directory, NSSearchPathDomainMask domain) {
  NSArray* found = NSSearchPathForDirectoriesInDomains(directory, domain, YES);
  return [found count] != 0 ? Canonical(Utf8([found objectAtIndex:0])) : std::string();
}

TEST(FoldersMacTest, HomeFollowsTheHomeVariable) {
  const std::string dir = tavrin::test::FreshDir("machome");
  {
    const tavrin::test::ScopedEnv home("HOME", dir.c_str());
    EXPECT_EQ(tu::HomeDirectory().utf8(), dir);
  }
  // A relative $HOME is no answer: Foundation's home is used.
  const AutoReleasePool pool;
  const tavrin::test::ScopedEnv relative("HOME", "relative/home");
  EXPECT_EQ(tu::HomeDirectory().utf8(), Canonical(Utf8(NSHomeDirectory())));
}

TEST(FoldersMacTest, UserFoldersLieInTheHome) {
  const AutoReleasePool pool;
  const std::string home = tu::HomeDirectory().utf8();
  ASSERT_TRUE(StartsWith(home, tavrin::test::TempRoot())) << home;
  const std::string documents = tu::UserDocumentsDirectory().utf8();
  const std::string data = tu::UserApplicationDataDirectory().utf8();
  EXPECT_TRUE(StartsWith(documents, home + "/")) << documents;
  EXPECT_TRUE(StartsWith(data, home + "/")) << data;
  // The folders Foundation names, whatever home it took them from.
  EXPECT_EQ(LastComponent(documents),
            LastComponent(FirstSearchPath(NSDocumentDirectory, NSUserDomainMask)));
  EXPECT_EQ(LastComponent(data),
            LastComponent(FirstSearchPath(NSApplicationSupportDirectory, NSUserDomainMask)));
}

TEST(FoldersMacTest, SupportFoldersAreCreatedInTheTestHome) {
  const std::string folder = tu::UserSupportFileDirectory(tavrin_ustring("MacPlugins")).utf8();
  EXPECT_TRUE(StartsWith(folder, tu::UserApplicationDataDirectory().utf8() + "/Wirelume 2025/"))
      << folder;
  EXPECT_TRUE(tu::IsDirectory(tavrin_ustring(folder)));
}

TEST(FoldersMacTest, MachineFolderIsTheLocalDomain) {
  const AutoReleasePool pool;
  EXPECT_EQ(tu::MachineApplicationDataDirectory().utf8(),
            FirstSearchPath(NSApplicationSupportDirectory, NSLocalDomainMask));
}

TEST(FoldersMacTest, TemporaryFolderIsPrivateAndNamedAfterTheUser) {
  const AutoReleasePool pool;
  const char* tmpdir = std::getenv("TMPDIR");
  ASSERT_NE(tmpdir, nullptr);
  NSString* identifier = [[NSBundle mainBundle] bundleIdentifier];
  const std::string id = identifier != nil ? Utf8(identifier) : std::string("Wirelume");
  tavrin_ustring temp;
  tu::GetTempPath(temp);
  EXPECT_EQ(temp.utf8(), Canonical(tmpdir) + "/" + id + "." + Utf8(NSUserName()));
  EXPECT_TRUE(tu::IsDirectory(temp));
}

// The user's application data folder below the home, as the Foundation in
// use names it.
std::string UserDataBelowHome() {
#if defined(GNUSTEP)
  return "GNUstep/Library/ApplicationSupport";
#else
  return "Library/Application Support";
#endif
}

TEST(FoldersMacTest, DocumentsAndDataFollowTheHome) {
  const std::string home = tavrin::test::FreshDir("foundationhome");
  const tavrin::test::ScopedEnv env("HOME", home.c_str());
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), home + "/Documents");
  EXPECT_EQ(tu::UserApplicationDataDirectory().utf8(), home + "/" + UserDataBelowHome());
  // The XDG variables play no part here.
  const tavrin::test::ScopedEnv data("XDG_DATA_HOME", "/abs/data");
  const tavrin::test::ScopedEnv config("XDG_CONFIG_HOME", home.c_str());
  ASSERT_TRUE(
      tavrin::test::WriteFile(home + "/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"/srv/docs\"\n"));
  EXPECT_EQ(tu::UserDocumentsDirectory().utf8(), home + "/Documents");
  EXPECT_EQ(tu::UserApplicationDataDirectory().utf8(), home + "/" + UserDataBelowHome());
  EXPECT_TRUE(tu::FontDirectory().empty());
}

TEST(FoldersMacTest, UserSupportFolderPerRelease) {
  const std::string home = tavrin::test::FreshDir("supporthome");
  const tavrin::test::ScopedEnv env("HOME", home.c_str());
  const std::string data = home + "/" + UserDataBelowHome();
  EXPECT_FALSE(tu::UserSupportFileDirectoryExists(tavrin_ustring("Plugins"), 25, false));
  EXPECT_FALSE(tavrin::test::Exists(data + "/Wirelume 2025"));  // the check created nothing
  EXPECT_EQ(tu::UserSupportFileDirectory(tavrin_ustring("Plugins")).utf8(),
            data + "/Wirelume 2025/Plugins");
  EXPECT_TRUE(tu::IsDirectory(tavrin_ustring(data + "/Wirelume 2025/Plugins")));
  EXPECT_TRUE(tu::UserSupportFileDirectoryExists(tavrin_ustring("Plugins"), 25, true));
  EXPECT_EQ(tu::UserSupportFileDirectory(tavrin_ustring("Plugins"), 24, false).utf8(),
            data + "/Wirelume 2024/Plugins");
  EXPECT_EQ(tu::UserSupportFileDirectory(tavrin_ustring("x"), 5, false).utf8(),
            data + "/Wirelume 205/x");
  tavrin_ustring working;
  tu::GetTempAppSupportPath(tavrin_ustring("Cache"), working);
  EXPECT_EQ(working.utf8(), data + "/Wirelume 2025/Cache/working");
  EXPECT_TRUE(tu::IsDirectory(working));
}

#if defined(GNUSTEP)
TEST(FoldersMacTest, MachineFolderComesFromTheGnustepConfiguration) {
  // The test main hands GNUstep a configuration file whose local library is
  // <root>/gnustep-local; the machine folders follow it.
  const char* config = std::getenv("GNUSTEP_CONFIG_FILE");
  ASSERT_NE(config, nullptr);
  ASSERT_EQ(std::string(config), tavrin::test::TempRoot() + "/GNUstep.conf");
  const std::string local = tavrin::test::TempRoot() + "/gnustep-local";
  EXPECT_EQ(tu::MachineApplicationDataDirectory().utf8(), local + "/ApplicationSupport");
  EXPECT_EQ(tu::MachineSupportFileDirectory(tavrin_ustring("Shared")).utf8(),
            local + "/ApplicationSupport/Wirelume 2025/Shared");
  EXPECT_TRUE(tu::IsDirectory(tavrin_ustring(local + "/ApplicationSupport/Wirelume 2025/Shared")));
}

TEST(FoldersMacTest, TemporaryFolderWithoutTmpdirIsFoundationsAnswer) {
  // The folder is chosen once per process and GNUstep reads the environment
  // when a process starts, so the tool, a fresh process, reports the choice
  // with $TMPDIR unset and $TEMP (what NSTemporaryDirectory reads) set.
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const struct passwd* user = ::getpwuid(::geteuid());
  ASSERT_NE(user, nullptr);
  const std::string name = std::string("Wirelume.") + user->pw_name;
  const auto temporary_with = [&](const std::string& temp) {
    std::string out;
    EXPECT_EQ(
        tavrin::test::RunShell("env -u TMPDIR TEMP='" + temp + "' '" + tool + "' folders", &out),
        0);
    const std::size_t at = out.find("temporary: ");
    return at == std::string::npos ? out : out.substr(at, out.find('\n', at) - at);
  };
  // A folder only its owner may enter is used as it is.
  const std::string own = tavrin::test::FreshDir("temp-private");
  ASSERT_EQ(::chmod(own.c_str(), 0700), 0);
  EXPECT_EQ(temporary_with(own), "temporary: " + own + "/" + name);
  EXPECT_TRUE(tu::IsDirectory(tavrin_ustring(own + "/" + name)));
  // One others may enter gets GNUstep's private folder inside it.
  const std::string open = tavrin::test::FreshDir("temp-open");
  ASSERT_EQ(::chmod(open.c_str(), 0755), 0);
  const std::string secure = open + "/GNUstepSecure" + std::to_string(::geteuid());
  EXPECT_EQ(temporary_with(open), "temporary: " + secure + "/" + name);
  EXPECT_TRUE(tu::IsDirectory(tavrin_ustring(secure + "/" + name)));
}

TEST(FoldersMacTest, ToolPrintsTheGnustepFolders) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::string home = tavrin::test::FreshDir("toolhome");
  std::string out;
  const int status = tavrin::test::RunShell(
      "HOME='" + home + "' XDG_DATA_HOME=/opt/x XDG_DATA_DIRS=/opt/a:/opt/b '" + tool + "' folders",
      &out);
  EXPECT_EQ(status, 0);
  const std::string data = home + "/GNUstep/Library/ApplicationSupport";
  EXPECT_NE(out.find("home: " + home + "\n"), std::string::npos) << out;
  EXPECT_NE(out.find("documents: " + home + "/Documents\n"), std::string::npos) << out;
  EXPECT_NE(out.find("user application data: " + data + "\n"), std::string::npos) << out;
  EXPECT_NE(out.find("machine application data: " + tavrin::test::TempRoot() +
                     "/gnustep-local/ApplicationSupport\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("product folder: " + data + "/Wirelume 2025 (missing)\n"), std::string::npos)
      << out;
  EXPECT_FALSE(tavrin::test::Exists(data + "/Wirelume 2025"));  // only looked up
  EXPECT_NE(out.find("temporary: " + tavrin::test::TempRoot() + "/tmp/"), std::string::npos) << out;
}
#endif  // GNUSTEP

}  // namespace
