// localization_linux.cpp - localized lookup without a string table: gettext.
#include <libintl.h>

#include "common/utils/platform.h"

namespace tavrin::platform {

std::string LocalizedString(const std::string& bundle_id, const std::string& table,
                            const char* key) {
  // The empty message id would return the catalog's header entry.
  if (key == nullptr || *key == '\0') return std::string();
  // The bundle's default table is the application's own text domain.
  const std::string domain = !table.empty()       ? table
                             : !bundle_id.empty() ? bundle_id
                                                  : ApplicationIdentifier();
  const char* text = ::dgettext(domain.c_str(), key);
  return text != nullptr ? std::string(text) : std::string();
}

}  // namespace tavrin::platform
