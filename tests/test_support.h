// test_support.h - helpers shared by the test suites.
//
// The test main (test_main.cpp) gives every test process a fresh temporary
// tree and points HOME, TMPDIR, TEMP, XDG_* and a private GNUstep
// configuration (GNUSTEP_CONFIG_FILE) at it; TZ is pinned to UTC. Tests that
// need another zone use ScopedTimeZone.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace tavrin::test {

// Root of this process's temporary tree (no trailing "/").
const std::string& TempRoot();

// A fresh, empty directory below TempRoot() named after `hint`.
std::string FreshDir(const std::string& hint);

// Writes `bytes` to `path` (created or truncated); false on failure.
bool WriteFile(const std::string& path, const std::string& bytes);

// Whether `path` is a folder (a link to one counts).
inline bool IsDir(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Whether anything, a dangling link included, stands at `path`.
inline bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// The whole content of `path`, or "" when it cannot be read.
std::string ReadFile(const std::string& path);

// Path of the bundled examples/ folder.
std::string ExamplesDir();

// Path of the built tavrin tool, or "" when tools are not built.
std::string ToolPath();

// Runs `command` with /bin/sh, returns its exit status (or -1) and collects
// its standard output into `out` when given.
int RunShell(const std::string& command, std::string* out = nullptr);

// Seed for randomized tests: TAVRIN_TEST_SEED when set, else a fixed value.
// Tests print it with SCOPED_TRACE so a failure can be replayed.
std::uint32_t TestSeed();

// Sets an environment variable for the life of the object.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value);  // null value: unset
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::string old_;
  bool had_old_;
};

// Sets TZ and calls tzset() for the life of the object.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* tz);
  ~ScopedTimeZone();

 private:
  std::optional<ScopedEnv> env_;
};

}  // namespace tavrin::test
