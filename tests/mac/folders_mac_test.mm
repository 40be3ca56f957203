// Tests of the well-known folders on Foundation: the home folder follows
// $HOME (GNUstep's NSHomeDirectory reads only the password database), the
// user folders Foundation names are moved into that home, the machine folder
// and the private temporary folder come from Foundation's answers, and no
// folder a test creates lies in the real home.
#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

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

}  // namespace
