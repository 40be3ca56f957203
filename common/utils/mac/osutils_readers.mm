// osutils_readers.mm - the system-file readers GNUstep on Linux needs for the
// operating system's name and the machine's manufacturer and model (Apple
// answers these through sysctl and needs neither).
//
// The same two readers exist in the Linux layer; this copy goes once they
// live in a portable unit that both layers compile.
#if !defined(__APPLE__)

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>

#include "common/utils/internal/osutils_internal.h"

namespace tavrin::osutils::internal {

namespace {

// The value of a shell-style assignment: "double quoted" (backslash escapes
// ", \, $ and `), 'single quoted' (literal) or bare (backslash escapes the
// next character), pieces joined; an unquoted blank ends it.
std::string ShellValue(const std::string& raw) {
  std::string out;
  for (std::size_t i = 0; i < raw.size();) {
    const char c = raw[i];
    if (c == '"') {
      for (++i; i < raw.size() && raw[i] != '"'; ++i) {
        const bool escaped = raw[i] == '\\' && i + 1 < raw.size() &&
                             std::string("\"\\$`").find(raw[i + 1]) != std::string::npos;
        if (escaped) ++i;
        out += raw[i];
      }
      ++i;
    } else if (c == '\'') {
      const std::size_t end = raw.find('\'', i + 1);
      out += raw.substr(i + 1, end == std::string::npos ? std::string::npos : end - i - 1);
      i = end == std::string::npos ? raw.size() : end + 1;
    } else if (c == ' ' || c == '\t' || c == '\r') {
      break;
    } else {
      if (c == '\\' && i + 1 < raw.size()) ++i;
      out += raw[i++];
    }
  }
  return out;
}

}  // namespace

std::optional<std::string> ReadOsReleasePrettyName(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) return std::nullopt;
  std::string pretty;
  char line[4096];
  std::size_t read_total = 0;
  // Lines longer than the buffer continue in the next read and cannot start
  // with the key, so they are skipped; a runaway file stops at 1 MiB.
  bool at_line_start = true;
  while (read_total < (1u << 20) && std::fgets(line, sizeof line, file) != nullptr) {
    std::string text = line;
    read_total += text.size();
    const bool starts_line = at_line_start;
    at_line_start = !text.empty() && text.back() == '\n';
    if (!starts_line) continue;
    if (at_line_start) text.pop_back();
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos || text[first] == '#') continue;
    static const std::string kKey = "PRETTY_NAME=";
    if (text.compare(first, kKey.size(), kKey) == 0) {
      pretty = ShellValue(text.substr(first + kKey.size()));  // the last one wins
    }
  }
  std::fclose(file);
  return pretty;
}

std::string ReadDmiField(const std::string& directory, const char* field) {
  if (field == nullptr) return {};
  const int fd = ::open((directory + "/" + field).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  std::string out;
  char buffer[4096];
  while (out.size() < sizeof buffer) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer - out.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    out.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(fd);
  return out;
}

}  // namespace tavrin::osutils::internal

#endif  // !__APPLE__
