// process_translation_environment.mm - whether the process runs under
// instruction translation: sysctlbyname("sysctl.proc_translated") where it
// exists; elsewhere there is no such query (ENOENT, "Native").
#include <errno.h>
#include <sys/types.h>
#if defined(__APPLE__)
#include <sys/sysctl.h>
#endif

#include "common/utils/platform.h"

namespace tavrin::platform {

int ProcessTranslation(int& value) {
#if defined(__APPLE__)
  int translated = 0;
  std::size_t size = sizeof translated;
  if (::sysctlbyname("sysctl.proc_translated", &translated, &size, nullptr, 0) != 0) return errno;
  value = translated;
  return 0;
#else
  (void)value;
  return ENOENT;
#endif
}

}  // namespace tavrin::platform
