// test_main.cpp - main of every test executable.
//
// Before any test runs it makes a fresh temporary tree below
// $TAVRIN_TEST_ROOT (the build tree's test-tmp folder under CTest) and points
// HOME, TMPDIR and the XDG_* variables into it, pins TZ=UTC and LC_ALL unset
// with LANG=C.UTF-8, so no test reads or writes the real home, documents or
// temporary folders. The tree is removed at exit unless TAVRIN_KEEP_TEST_TMP
// is set.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "tests/test_support.h"

namespace tavrin::test {
std::string& MutableTempRoot();
}

namespace {

void SetUpEnvironment() {
  std::string base;
  if (const char* env = std::getenv("TAVRIN_TEST_ROOT"); env && *env) {
    base = env;
  } else {
    base = TAVRIN_DEFAULT_TEST_ROOT;
  }
  std::filesystem::create_directories(base);
  std::string tmpl = base + "/run.XXXXXX";
  if (!::mkdtemp(tmpl.data())) {
    std::perror("mkdtemp");
    std::exit(2);
  }
  std::string root = std::filesystem::canonical(tmpl).string();
  tavrin::test::MutableTempRoot() = root;
  const char* dirs[] = {"home",        "home/Documents", "tmp",
                        "xdg-config",  "xdg-data",       "xdg-cache",
                        "xdg-runtime", "xdg-data-dirs",  "xdg-config-dirs"};
  for (const char* d : dirs) ::mkdir((root + "/" + d).c_str(), 0700);
  ::setenv("HOME", (root + "/home").c_str(), 1);
  ::setenv("TMPDIR", (root + "/tmp").c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", (root + "/xdg-config").c_str(), 1);
  ::setenv("XDG_DATA_HOME", (root + "/xdg-data").c_str(), 1);
  ::setenv("XDG_CACHE_HOME", (root + "/xdg-cache").c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", (root + "/xdg-runtime").c_str(), 1);
  ::setenv("XDG_DATA_DIRS", (root + "/xdg-data-dirs").c_str(), 1);
  ::setenv("XDG_CONFIG_DIRS", (root + "/xdg-config-dirs").c_str(), 1);
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  ::unsetenv("LC_ALL");
  ::unsetenv("LANGUAGE");
  ::setenv("LANG", "C.UTF-8", 1);
}

void TearDownEnvironment() {
  const std::string& root = tavrin::test::TempRoot();
  if (root.empty() || std::getenv("TAVRIN_KEEP_TEST_TMP")) return;
  std::error_code ec;
  std::filesystem::remove_all(root, ec);
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  SetUpEnvironment();
  std::atexit(TearDownEnvironment);
  return RUN_ALL_TESTS();
}
