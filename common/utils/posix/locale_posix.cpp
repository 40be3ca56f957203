// locale_posix.cpp - the thread's switch to the "C" locale (uselocale), for
// every POSIX platform layer.
#include <locale.h>

#include "common/utils/platform.h"

namespace tavrin::platform {

void* UseCLocale() {
  // Made once and kept: newlocale is costly and the "C" locale never changes.
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  if (c_locale == static_cast<locale_t>(nullptr)) return nullptr;
  const locale_t previous = uselocale(c_locale);
  return previous == static_cast<locale_t>(nullptr) ? nullptr : static_cast<void*>(previous);
}

void RestoreLocale(void* previous) {
  if (previous != nullptr) uselocale(static_cast<locale_t>(previous));
}

}  // namespace tavrin::platform
