// test_main.cpp - main of every test executable.
//
// Before any test runs it makes a fresh temporary tree below
// $TAVRIN_TEST_ROOT (the build tree's test-tmp folder under CTest) and points
// HOME, TMPDIR and the XDG_* variables into it, pins TZ=UTC and LC_ALL unset
// with LANG=C.UTF-8, so no test reads or writes the real home, documents or
// temporary folders. The tree is removed at exit unless TAVRIN_KEEP_TEST_TMP
// is set.
//
// GNUstep (the Foundation layer on Linux) takes its machine-wide folders from
// a configuration file and its temporary folder from $TEMP, not $TMPDIR: the
// process gets a private <root>/GNUstep.conf (the system's file with the
// local and network library folders moved into the tree) through
// GNUSTEP_CONFIG_FILE, and TEMP=<root>/tmp, so a test run as root never
// creates folders below /usr/local/lib/GNUstep or in the real /tmp. GNUstep
// takes its copy of the environment when the process starts, before main, so
// the GNUstep build (TAVRIN_TEST_GNUSTEP) runs the test program again, with
// the same arguments, in the same process (exec) once the environment is set:
// TAVRIN_TEST_RUN=<pid>:<root> tells that image to adopt the tree. Another
// process (a death test's child, started afresh) sees a different process id
// and makes a tree of its own, as everywhere else. Other builds ignore the
// variables.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/test_support.h"

namespace tavrin::test {
std::string& MutableTempRoot();
}

namespace {

// Writes <root>/GNUstep.conf: the lines of the system's configuration file
// (when there is one) except the two library folders, which point into the
// tree instead. Exits when the file cannot be written.
void WriteGnustepConfig(const std::string& root) {
  std::string text;
  std::ifstream system_file("/etc/GNUstep/GNUstep.conf");
  for (std::string line; std::getline(system_file, line);) {
    if (line.rfind("GNUSTEP_LOCAL_LIBRARY=", 0) == 0 ||
        line.rfind("GNUSTEP_NETWORK_LIBRARY=", 0) == 0) {
      continue;
    }
    text += line + "\n";
  }
  text += "GNUSTEP_LOCAL_LIBRARY=" + root + "/gnustep-local\n";
  text += "GNUSTEP_NETWORK_LIBRARY=" + root + "/gnustep-network\n";
  const std::string path = root + "/GNUstep.conf";
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) {
    std::perror(path.c_str());
    std::exit(2);
  }
  ::setenv("GNUSTEP_CONFIG_FILE", path.c_str(), 1);
}

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
  ::setenv("TEMP", (root + "/tmp").c_str(), 1);
  WriteGnustepConfig(root);
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

constexpr char kRunVariable[] = "TAVRIN_TEST_RUN";

// The tree this process image was started with by its own earlier image
// (see the file comment): "" unless TAVRIN_TEST_RUN names this process.
std::string AdoptedRoot() {
  const char* run = std::getenv(kRunVariable);
  if (run == nullptr) return {};
  const std::string text = run;
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || text.substr(0, colon) != std::to_string(::getpid())) return {};
  return text.substr(colon + 1);
}

// Runs this program again in this process with `args` (the arguments main
// was given); returns only when that fails.
[[maybe_unused]] void RunAgain(const std::vector<char*>& args) {
  ::setenv(kRunVariable, (std::to_string(::getpid()) + ":" + tavrin::test::TempRoot()).c_str(), 1);
  std::fflush(nullptr);
  ::execv("/proc/self/exe", args.data());
  std::perror("exec /proc/self/exe");
}

}  // namespace

int main(int argc, char** argv) {
  // The arguments as given: InitGoogleTest removes the ones it reads.
  std::vector<char*> args(argv, argv + argc);
  args.push_back(nullptr);
  ::testing::InitGoogleTest(&argc, argv);
  if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  if (std::string root = AdoptedRoot(); !root.empty()) {
    tavrin::test::MutableTempRoot() = root;
  } else {
    SetUpEnvironment();
#if defined(TAVRIN_TEST_GNUSTEP)
    RunAgain(args);
    TearDownEnvironment();
    return 2;
#endif
  }
  std::atexit(TearDownEnvironment);
  return RUN_ALL_TESTS();
}
