// osutils_linux.cpp - the raw answers of the operating-system queries on
// Linux: uname, os-release, the environment's locale (newlocale, never the
// global locale), the password database, /proc/self/exe, /sys/class/dmi/id,
// GIO for opening, and the file manager's D-Bus interface for revealing.
#include <errno.h>
#include <fcntl.h>
#include <gio/gio.h>
#include <langinfo.h>
#include <locale.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#if defined(__has_include)
#if __has_include(<sys/sdt.h>)
#include <sys/sdt.h>
#define TAVRIN_HAVE_SDT 1
#endif
#endif

#include "common/utils/internal/osutils_internal.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

namespace {

constexpr char kDmiDirectory[] = "/sys/class/dmi/id";

// Frees a GError on the way out.
struct ErrorHolder {
  GError* error = nullptr;
  ~ErrorHolder() {
    if (error != nullptr) g_error_free(error);
  }
};

// The file URI of a local path, made absolute against the working
// directory; "" when it cannot be made.
std::string FileUri(const std::string& path) {
  GFile* file = g_file_new_for_path(path.c_str());
  gchar* uri = g_file_get_uri(file);
  std::string result = uri != nullptr ? uri : "";
  g_free(uri);
  g_object_unref(file);
  return result;
}

bool LaunchDefaultForUri(const std::string& uri) {
  if (uri.empty()) return false;
  ErrorHolder e;
  return g_app_info_launch_default_for_uri(uri.c_str(), nullptr, &e.error) != FALSE;
}

bool LaunchWithFiles(GAppInfo* app, GList* files) {
  ErrorHolder e;
  return g_app_info_launch(app, files, nullptr, &e.error) != FALSE;
}

// The installed application whose desktop file id is `id` or `id` +
// ".desktop"; null when none. The caller unrefs the result.
GAppInfo* FindApplicationById(const std::string& id) {
  GList* all = g_app_info_get_all();
  GAppInfo* found = nullptr;
  const std::string with_suffix = id + ".desktop";
  for (GList* l = all; l != nullptr && found == nullptr; l = l->next) {
    GAppInfo* app = G_APP_INFO(l->data);
    const char* app_id = g_app_info_get_id(app);
    if (app_id != nullptr && (id == app_id || with_suffix == app_id)) {
      found = G_APP_INFO(g_object_ref(app));
    }
  }
  g_list_free_full(all, g_object_unref);
  return found;
}

// An application made from a program name (searched in PATH) or a path to
// an executable file; null when there is no such program.
GAppInfo* ApplicationFromProgram(const std::string& program) {
  std::string resolved;
  if (program.find('/') != std::string::npos) {
    if (::access(program.c_str(), X_OK) != 0) return nullptr;
    resolved = program;
  } else {
    gchar* found = g_find_program_in_path(program.c_str());
    if (found == nullptr) return nullptr;
    resolved = found;
    g_free(found);
  }
  struct stat st;
  if (::stat(resolved.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return nullptr;
  gchar* quoted = g_shell_quote(resolved.c_str());
  ErrorHolder e;
  GAppInfo* app =
      g_app_info_create_from_commandline(quoted, nullptr, G_APP_INFO_CREATE_NONE, &e.error);
  g_free(quoted);
  return app;
}

// Whether a session bus can be reached without starting one: its address
// is in the environment, or the per-user socket exists. Without it there is
// no file manager to ask, and an autolaunched bus would only outlive us.
bool SessionBusAvailable() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') return true;
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || *runtime == '\0') return false;
  struct stat st;
  const std::string socket = std::string(runtime) + "/bus";
  return ::stat(socket.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
}

// The file manager's ShowItems call on a connection of our own: the shared
// session connection of GIO ends the process when the bus goes away, which a
// library must not bring about.
bool ShowItemsOverDBus(const std::string& uri) {
  if (uri.empty() || !SessionBusAvailable()) return false;
  ErrorHolder e;
  gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &e.error);
  if (address == nullptr) return false;
  GDBusConnection* bus = g_dbus_connection_new_for_address_sync(
      address,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &e.error);
  g_free(address);
  if (bus == nullptr) return false;
  const gchar* uris[] = {uri.c_str(), nullptr};
  GVariant* reply = g_dbus_connection_call_sync(
      bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
      "org.freedesktop.FileManager1", "ShowItems", g_variant_new("(^ass)", uris, ""), nullptr,
      G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, &e.error);
  g_dbus_connection_close_sync(bus, nullptr, nullptr);
  g_object_unref(bus);
  if (reply == nullptr) return false;
  g_variant_unref(reply);
  return true;
}

}  // namespace

LayerDescription DescribeLayer() {
  return {"Linux (POSIX, GLib/GIO)", "the XDG base directories and user-dirs.dirs",
          "the thread-default GLib main context"};
}

std::string OsVersionText() {
  struct utsname name;
  if (::uname(&name) != 0) return {};
  return name.release;
}

bool OsCodesFollowMacReleases() {
  return false;
}

std::string OsName() {
  using tavrin::osutils::internal::ReadOsReleasePrettyName;
  if (auto name = ReadOsReleasePrettyName("/etc/os-release")) return *name;
  return ReadOsReleasePrettyName("/usr/lib/os-release").value_or("");
}

namespace {

// The variables that decide the numeric category of newlocale(..., "", 0):
// the radix depends on nothing else (a whole-locale load that fails falls
// back to the numeric category alone, below).
constexpr const char* kNumericVariables[] = {"LC_ALL", "LC_NUMERIC", "LANG", "LOCPATH"};
constexpr std::size_t kNumericVariableCount =
    sizeof kNumericVariables / sizeof kNumericVariables[0];

// What those variables held when the radix was last read.
struct NumericEnvironment {
  std::string values[kNumericVariableCount];
  bool set[kNumericVariableCount] = {};

  bool Matches() const {
    for (std::size_t i = 0; i < kNumericVariableCount; ++i) {
      const char* value = std::getenv(kNumericVariables[i]);
      if ((value != nullptr) != set[i] || (value != nullptr && values[i] != value)) return false;
    }
    return true;
  }
  void Capture() {
    for (std::size_t i = 0; i < kNumericVariableCount; ++i) {
      const char* value = std::getenv(kNumericVariables[i]);
      set[i] = value != nullptr;
      values[i] = value != nullptr ? value : "";
    }
  }
};

std::string ReadRadixOfTheEnvironment() {
  // The whole locale first; when one of its categories is not installed,
  // the numeric category alone still answers.
  locale_t locale = ::newlocale(LC_ALL_MASK, "", static_cast<locale_t>(0));
  if (locale == static_cast<locale_t>(0)) {
    locale = ::newlocale(LC_NUMERIC_MASK, "", static_cast<locale_t>(0));
  }
  if (locale == static_cast<locale_t>(0)) return {};
  const char* radix = ::nl_langinfo_l(RADIXCHAR, locale);
  std::string result = radix != nullptr ? radix : "";
  ::freelocale(locale);
  return result;
}

}  // namespace

std::string UserDecimalSeparator() {
  // Loading a locale is costly (and with LOCPATH set, glibc keeps a little
  // memory each time), so the answer is kept while the variables that
  // choose the numeric category stay the same.
  static std::mutex mutex;
  static NumericEnvironment environment;
  static std::string radix;
  static bool cached = false;
  std::lock_guard<std::mutex> lock(mutex);
  if (!cached || !environment.Matches()) {
    environment.Capture();
    radix = ReadRadixOfTheEnvironment();
    cached = true;
  }
  return radix;
}

std::string PreferredLanguage() {
  if (const char* list = std::getenv("LANGUAGE"); list != nullptr) {
    const std::string languages = list;
    std::size_t start = 0;
    while (start <= languages.size()) {
      std::size_t end = languages.find(':', start);
      if (end == std::string::npos) end = languages.size();
      if (end > start) return languages.substr(start, end - start);
      start = end + 1;
    }
  }
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

double ReadCNumber(const char* text) {
  static const locale_t c_locale = ::newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  return ::strtod_l(text, nullptr, c_locale);
}

std::string UserFullName() {
  long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
  struct passwd entry;
  struct passwd* result = nullptr;
  for (;;) {
    const int error = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &result);
    if (error == ERANGE && buffer.size() < (1u << 20)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (error != 0 || result == nullptr || entry.pw_gecos == nullptr) return {};
    return entry.pw_gecos;
  }
}

std::string ExecutablePath() {
  std::vector<char> buffer(256);
  for (;;) {
    const ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (n < 0) return {};
    if (static_cast<std::size_t>(n) < buffer.size()) {
      return std::string(buffer.data(), static_cast<std::size_t>(n));
    }
    if (buffer.size() >= (1u << 16)) return {};
    buffer.resize(buffer.size() * 2);
  }
}

std::string DeviceManufacturer() {
  return tavrin::osutils::internal::ReadDmiField(kDmiDirectory, "sys_vendor");
}

std::string DeviceModel() {
  return tavrin::osutils::internal::ReadDmiField(kDmiDirectory, "product_name");
}

int ProcessTranslation(int&) {
  return ENOENT;  // Linux has no translated-process query
}

int ScreenPixelsPerInch() {
  return 0;  // no display toolkit is linked; applications report through the hook
}

int WindowPixelsPerInch(void*) {
  return 0;
}

bool OpenTarget(const std::string& target, bool isFile) {
  return LaunchDefaultForUri(isFile ? FileUri(target) : target);
}

bool OpenFilePaths(const std::vector<std::string>& paths) {
  // Files are grouped by their default application, and each application
  // gets its files in one launch (GIO starts one instance per file for
  // applications that take a single file).
  struct Group {
    GAppInfo* app;
    GList* files;
  };
  std::vector<Group> groups;
  bool ok = !paths.empty();
  for (const std::string& path : paths) {
    if (path.empty()) {
      ok = false;
      continue;
    }
    GFile* file = g_file_new_for_path(path.c_str());
    ErrorHolder e;
    GAppInfo* app = g_file_query_default_handler(file, nullptr, &e.error);
    if (app == nullptr) {
      ok = false;
      g_object_unref(file);
      continue;
    }
    Group* group = nullptr;
    for (Group& g : groups)
      if (g_app_info_equal(g.app, app)) group = &g;
    if (group != nullptr) {
      g_object_unref(app);
      group->files = g_list_append(group->files, file);
    } else {
      groups.push_back({app, g_list_append(nullptr, file)});
    }
  }
  for (Group& group : groups) {
    if (!LaunchWithFiles(group.app, group.files)) ok = false;
    g_list_free_full(group.files, g_object_unref);
    g_object_unref(group.app);
  }
  return ok;
}

bool OpenFileWithApplication(const std::string& path, const std::string& application) {
  GAppInfo* app = FindApplicationById(application);
  if (app == nullptr) app = ApplicationFromProgram(application);
  if (app == nullptr) return false;
  GFile* file = g_file_new_for_path(path.c_str());
  GList* files = g_list_append(nullptr, file);
  const bool ok = LaunchWithFiles(app, files);
  g_list_free_full(files, g_object_unref);
  g_object_unref(app);
  return ok;
}

bool ShowInFileViewer(const std::string& path) {
  if (path.empty()) return false;
  if (ShowItemsOverDBus(FileUri(path))) return true;
  GFile* file = g_file_new_for_path(path.c_str());
  GFile* parent = g_file_get_parent(file);
  bool ok = false;
  if (parent != nullptr) {
    gchar* uri = g_file_get_uri(parent);
    ok = uri != nullptr && LaunchDefaultForUri(uri);
    g_free(uri);
    g_object_unref(parent);
  }
  g_object_unref(file);
  return ok;
}

void SleepMilliseconds(std::int64_t milliseconds) {
  if (milliseconds <= 0) return;
  struct timespec request;
  request.tv_sec = static_cast<time_t>(milliseconds / 1000);
  request.tv_nsec = static_cast<long>((milliseconds % 1000) * 1000000);
  struct timespec remaining;
  while (::nanosleep(&request, &remaining) != 0 && errno == EINTR) request = remaining;
}

void ProfilerEvent(int event, std::uint32_t code, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                   std::uint32_t d) {
#if defined(TAVRIN_HAVE_SDT)
  switch (event) {
    case 0:
      DTRACE_PROBE5(tavrin, point_of_interest, code, a, b, c, d);
      break;
    case 1:
      DTRACE_PROBE5(tavrin, region_begin, code, a, b, c, d);
      break;
    default:
      DTRACE_PROBE5(tavrin, region_end, code, a, b, c, d);
      break;
  }
#else
  (void)event, (void)code, (void)a, (void)b, (void)c, (void)d;
#endif
}

}  // namespace tavrin::platform
