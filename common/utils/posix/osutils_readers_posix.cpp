// osutils_readers_posix.cpp - the system-file readers behind the operating
// system's name (os-release) and the machine's manufacturer and model
// (/sys/class/dmi/id), for every layer that runs on Linux: the Linux layer
// and the Foundation layer under GNUstep (Apple answers both through sysctl
// and never calls them).
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>

#include "common/utils/internal/osutils_internal.h"

namespace {

#if defined(__GLIBC__)
constexpr char kReadMode[] = "re";  // close-on-exec
#else
constexpr char kReadMode[] = "r";
#endif

}  // namespace

namespace tavrin::osutils::internal {

namespace {

// The value of one shell-style assignment: double quotes with backslash
// escapes, single quotes taken literally, or the bare text.
std::string UnquoteValue(const std::string& raw) {
  std::string out;
  std::size_t i = 0;
  while (i < raw.size()) {
    const char c = raw[i];
    if (c == '"') {
      for (++i; i < raw.size() && raw[i] != '"'; ++i) {
        if (raw[i] == '\\' && i + 1 < raw.size() &&
            (raw[i + 1] == '"' || raw[i + 1] == '\\' || raw[i + 1] == '$' || raw[i + 1] == '`')) {
          ++i;
        }
        out.push_back(raw[i]);
      }
      ++i;  // closing quote (or the end)
    } else if (c == '\'') {
      for (++i; i < raw.size() && raw[i] != '\''; ++i) out.push_back(raw[i]);
      ++i;
    } else if (c == ' ' || c == '\t' || c == '\r') {
      break;  // unquoted blank ends the value
    } else {
      if (c == '\\' && i + 1 < raw.size()) ++i;
      out.push_back(raw[i]);
      ++i;
    }
  }
  return out;
}

}  // namespace

std::optional<std::string> ReadOsReleasePrettyName(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), kReadMode);
  if (file == nullptr) return std::nullopt;
  std::string content;
  char buffer[4096];
  std::size_t n;
  // os-release files are small; a runaway file is cut at 1 MiB.
  while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0 && content.size() < (1u << 20)) {
    content.append(buffer, n);
  }
  std::fclose(file);

  std::string pretty;
  std::size_t start = 0;
  while (start < content.size()) {
    std::size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    std::string line = content.substr(start, end - start);
    start = end + 1;
    std::size_t i = line.find_first_not_of(" \t");
    if (i == std::string::npos || line[i] == '#') continue;
    static constexpr char kKey[] = "PRETTY_NAME=";
    if (line.compare(i, sizeof kKey - 1, kKey) != 0) continue;
    pretty = UnquoteValue(line.substr(i + sizeof kKey - 1));
  }
  return pretty;
}

std::string ReadDmiField(const std::string& directory, const char* field) {
  if (field == nullptr) return {};
  const std::string path = directory + "/" + field;
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  std::string out;
  char buffer[4096];
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer - out.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    out.append(buffer, static_cast<std::size_t>(got));
    if (out.size() >= sizeof buffer) break;
  }
  ::close(fd);
  return out;
}

}  // namespace tavrin::osutils::internal
