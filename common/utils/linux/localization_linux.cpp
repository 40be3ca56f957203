// localization_linux.cpp - localized lookup without a string table: gettext.
#include <glib.h>
#include <libintl.h>

#include "common/utils/platform.h"

namespace tavrin::platform {
namespace {

// The application identifier: the program name the application set with
// g_set_prgname (GLib sets it from argv[0] in g_option_context_parse and
// gtk_init), else the fixed name "Wirelume".
std::string ApplicationDomain() {
  const char* name = g_get_prgname();
  return name != nullptr && *name != '\0' ? name : "Wirelume";
}

}  // namespace

std::string LocalizedString(const std::string& bundle_id, const std::string& table,
                            const char* key) {
  // The empty message id would return the catalog's header entry.
  if (key == nullptr || *key == '\0') return std::string();
  const std::string domain = !table.empty()       ? table
                             : !bundle_id.empty() ? bundle_id
                                                  : ApplicationDomain();
  const char* text = ::dgettext(domain.c_str(), key);
  return text != nullptr ? std::string(text) : std::string();
}

}  // namespace tavrin::platform
