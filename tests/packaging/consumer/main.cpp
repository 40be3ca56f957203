// A program that uses the library the way an application does: through the
// umbrella header and the tavrin::utils target.
#include <cstdio>

#include "common/utils/tavrin_utils.h"

int main() {
  tavrin::utils::tavrin_ustring s("caf\xC3\xA9");
  if (s.size() != 4 || s.utf8() != "caf\xC3\xA9") return 1;
  std::printf("consumer ok: %zu units\n", static_cast<size_t>(s.size()));
  return 0;
}
