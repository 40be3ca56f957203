// test_support.cpp - helpers shared by the test suites.
#include "tests/test_support.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>

namespace tavrin::test {

std::string& MutableTempRoot() {
  static std::string root;
  return root;
}

const std::string& TempRoot() {
  return MutableTempRoot();
}

std::string FreshDir(const std::string& hint) {
  static int counter = 0;
  std::string path = TempRoot() + "/" + hint + "." + std::to_string(++counter);
  ::mkdir(path.c_str(), 0700);
  return path;
}

bool WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return {};
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string ExamplesDir() {
  const char* env = std::getenv("TAVRIN_EXAMPLES");
  return env && *env ? env : TAVRIN_DEFAULT_EXAMPLES;
}

std::string ToolPath() {
  const char* env = std::getenv("TAVRIN_EXE");
  return env && *env ? env : TAVRIN_DEFAULT_EXE;
}

int RunShell(const std::string& command, std::string* out) {
  std::FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) return -1;
  std::string collected;
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) collected.append(buf, n);
  int status = ::pclose(pipe);
  if (out) *out = collected;
  if (status == -1 || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

std::uint32_t TestSeed() {
  if (const char* env = std::getenv("TAVRIN_TEST_SEED"); env && *env)
    return static_cast<std::uint32_t>(std::strtoul(env, nullptr, 10));
  return 20261121u;
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
  const char* old = std::getenv(name);
  had_old_ = old != nullptr;
  if (had_old_) old_ = old;
  if (value)
    ::setenv(name, value, 1);
  else
    ::unsetenv(name);
}

ScopedEnv::~ScopedEnv() {
  if (had_old_)
    ::setenv(name_.c_str(), old_.c_str(), 1);
  else
    ::unsetenv(name_.c_str());
}

ScopedTimeZone::ScopedTimeZone(const char* tz) {
  env_.emplace("TZ", tz);
  ::tzset();
}

ScopedTimeZone::~ScopedTimeZone() {
  env_.reset();  // restore TZ first, then reload the zone
  ::tzset();
}

}  // namespace tavrin::test
