// paths_linux.cpp - the Linux side of the path functions: reading the working
// directory.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "common/utils/platform.h"

namespace tavrin::platform {

bool GetWorkingDirectory(std::string& out) {
  // getcwd with a buffer that grows until the directory fits, so long
  // directories work; any error other than ERANGE is final.
  std::string buffer(256, '\0');
  for (;;) {
    if (::getcwd(buffer.data(), buffer.size()) != nullptr) {
      buffer.resize(std::strlen(buffer.c_str()));
      out = std::move(buffer);
      return true;
    }
    if (errno != ERANGE || buffer.size() > (std::size_t{1} << 24)) break;
    buffer.resize(buffer.size() * 2);
  }
  out.clear();
  return false;
}

}  // namespace tavrin::platform
