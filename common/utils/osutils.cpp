// osutils.cpp - portable rules of the operating-system queries.
//
// Every raw answer is asked of the installed SystemQueries member, or of the
// platform layer when that member is empty; the rules below (release table,
// number grammar, language mapping, escaping, DPI arithmetic) are the same
// on every platform.
#include "common/utils/osutils.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "common/utils/filelogger.h"
#include "common/utils/internal/osutils_internal.h"
#include "common/utils/platform.h"

namespace tavrin::osutils {

bool IsMainThread() {
  static std::once_flag once;
  static pthread_t main_thread;
  std::call_once(once, [] { main_thread = pthread_self(); });
  return pthread_equal(main_thread, pthread_self()) != 0;
}

}  // namespace tavrin::osutils

// ---------------------------------------------------------------------------
// Operating-system queries.
// ---------------------------------------------------------------------------

namespace tavrin::osutils {

using tavrin::utils::tavrin_ustring;

namespace {

// The installed answers. A query takes a counted reference, so installing
// new answers never pulls a function out from under a running query.
struct QueryState {
  std::mutex mutex;
  std::shared_ptr<const SystemQueries> queries = std::make_shared<const SystemQueries>();
  std::optional<unsigned short> decimal_separator;  // cached first answer
};

QueryState& State() {
  static QueryState* state = new QueryState;  // never destroyed: usable at exit
  return *state;
}

std::shared_ptr<const SystemQueries> Installed() {
  QueryState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.queries;
}

// The installed member, else the platform's.
template <class Member, class Fallback, class... Args>
auto Ask(Member SystemQueries::*member, Fallback&& fallback, Args&&... args) {
  std::shared_ptr<const SystemQueries> queries = Installed();
  const Member& hook = (*queries).*member;
  if (hook) return hook(std::forward<Args>(args)...);
  return fallback(std::forward<Args>(args)...);
}

// UTF-8 text into a string; text that is not UTF-8 gives "".
tavrin_ustring FromUtf8(const std::string& text) {
  return tavrin_ustring(text);
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::string TrimBlanks(const std::string& text) {
  std::size_t begin = 0, end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

bool IsUnitSpace(unsigned short u) {
  switch (u) {
    case 0x09:
    case 0x0A:
    case 0x0B:
    case 0x0C:
    case 0x0D:
    case 0x20:
    case 0x85:
    case 0xA0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
      return true;
    default:
      return u >= 0x2000 && u <= 0x200A;
  }
}

bool IsDigitUnit(unsigned short u) {
  return u >= '0' && u <= '9';
}

// Whether the NUL-terminated `text` starts with all units of `prefix`
// (never reads past the terminator).
bool StartsWithUnits(const unsigned short* text, const tavrin_ustring& prefix) {
  for (std::size_t k = 0; k < prefix.size(); ++k) {
    if (text[k] == 0 || text[k] != prefix[k]) return false;
  }
  return !prefix.empty();
}

// The "C" form of a number being read: on the stack while short, on the
// heap beyond that (a number may have any count of digits).
class NumberText {
 public:
  void Add(char c) {
    if (size_ + 1 < sizeof small_) {
      small_[size_++] = c;
      small_[size_] = '\0';
      return;
    }
    if (large_.empty()) large_.assign(small_, size_);
    large_.push_back(c);
    ++size_;
  }
  const char* CString() const { return large_.empty() ? small_ : large_.c_str(); }

 private:
  char small_[80] = {};
  std::size_t size_ = 0;
  std::string large_;
};

// The file logger's file in UTF-8, "" when the logger has none.
std::string LogFilePathOfTheLogger() {
  return CFileLogger::GetLogFile().utf8();
}

std::string AsciiLower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

constexpr const char* kSupportedLanguages[] = {
    "ar", "bg", "ca", "zh", "hr", "cs", "da", "nl", "en", "fi", "fr", "de", "el",
    "iw", "hi", "hu", "id", "it", "ja", "ko", "lv", "lt", "no", "pl", "pt", "ro",
    "ru", "sr", "sk", "sl", "es", "sv", "th", "tr", "uk", "vi", "tl"};

constexpr const char* kReleaseNames[] = {"Mountain Lion", "Mavericks",   "Yosemite", "El Capitan",
                                         "Sierra",        "High Sierra", "Mojave",   "Catalina"};
constexpr const char* kMajorReleaseNames[] = {"Big Sur", "Monterey", "Ventura", "Sonoma",
                                              "Sequoia"};

}  // namespace

// --- Hooks ---------------------------------------------------------------------

void SetSystemQueries(const SystemQueries& queries) {
  auto copy = std::make_shared<const SystemQueries>(queries);
  QueryState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.queries = std::move(copy);
  state.decimal_separator.reset();
}

void ResetSystemQueries() {
  SetSystemQueries(SystemQueries{});
}

SystemQueries GetSystemQueries() {
  return *Installed();
}

SystemQueries PlatformSystemQueries() {
  SystemQueries q;
  q.osVersion = [] { return internal::ParseVersionText(platform::OsVersionText()); };
  q.osName = [] { return platform::OsName(); };
  q.decimalSeparator = [] { return platform::UserDecimalSeparator(); };
  q.preferredLanguage = [] { return platform::PreferredLanguage(); };
  q.fullUserName = [] { return platform::UserFullName(); };
  q.executablePath = [] { return platform::ExecutablePath(); };
  q.deviceManufacturer = [] { return platform::DeviceManufacturer(); };
  q.deviceModel = [] { return platform::DeviceModel(); };
  q.processTranslation = [](int& value) { return platform::ProcessTranslation(value); };
  q.pixelsPerInch = [] { return platform::ScreenPixelsPerInch(); };
  q.pixelsPerInchForWindow = [](void* window) { return platform::WindowPixelsPerInch(window); };
  q.openUrl = [](const std::string& target, bool isFile) {
    return platform::OpenTarget(target, isFile);
  };
  q.openFiles = [](const std::vector<std::string>& paths) {
    return platform::OpenFilePaths(paths);
  };
  q.openFileWithApplication = [](const std::string& path, const std::string& application) {
    return platform::OpenFileWithApplication(path, application);
  };
  q.showInFileViewer = [](const std::string& path) { return platform::ShowInFileViewer(path); };
  q.logFile = [] { return LogFilePathOfTheLogger(); };
  q.sleep = [](std::int64_t ms) { platform::SleepMilliseconds(ms); };
  q.profiler = [](ProfilerEvent event, std::uint32_t code, std::uint32_t a, std::uint32_t b,
                  std::uint32_t c, std::uint32_t d) {
    platform::ProfilerEvent(static_cast<int>(event), code, a, b, c, d);
  };
  return q;
}

// --- Version and system name ----------------------------------------------------

bool OsVersion::IsValid() const {
  return major >= 0 && minor >= 0 && patch >= 0;
}

bool OsVersion::operator<(const OsVersion& other) const {
  if (major != other.major) return major < other.major;
  if (minor != other.minor) return minor < other.minor;
  return patch < other.patch;
}

namespace internal {

OsVersion ParseVersionText(const std::string& text) {
  OsVersion version;
  int* parts[] = {&version.major, &version.minor, &version.patch};
  std::size_t i = 0;
  for (int part = 0; part < 3; ++part) {
    if (part > 0) {
      if (i + 1 >= text.size() || text[i] != '.' || text[i + 1] < '0' || text[i + 1] > '9') break;
      ++i;
    }
    if (i >= text.size() || text[i] < '0' || text[i] > '9') return OsVersion{};
    long long n = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
      n = n * 10 + (text[i] - '0');
      if (n > INT_MAX) return OsVersion{};
      ++i;
    }
    *parts[part] = static_cast<int>(n);
  }
  return version;
}

}  // namespace internal

OsVersion GetOsVersion() {
  return Ask(&SystemQueries::osVersion,
             [] { return internal::ParseVersionText(platform::OsVersionText()); });
}

tavrin_ustring GetOsVersionString() {
  const OsVersion version = GetOsVersion();
  return tavrin_ustring::GetFormatted(tavrin_ustring("%d.%d"), version.major, version.minor);
}

int MacOsCodeForVersion(const OsVersion& version, tavrin_ustring& name) {
  if (version.major >= 11 && version.major <= 15) {
    name = kMajorReleaseNames[version.major - 11];
    return version.major + 5;
  }
  if (version.major > 15) return 21;
  if (version.minor >= 8 && version.minor <= 15) {
    name = kReleaseNames[version.minor - 8];
  } else {
    name = "unknown";
  }
  return version.minor;
}

int GetOS(tavrin_ustring& name) {
  if (platform::OsCodesFollowMacReleases()) return MacOsCodeForVersion(GetOsVersion(), name);
  tavrin_ustring system = FromUtf8(TrimBlanks(Ask(&SystemQueries::osName, platform::OsName)));
  name = system.empty() ? tavrin_ustring("unknown") : system;
  return 0;
}

int GetOS() {
  tavrin_ustring name;
  return GetOS(name);
}

bool Is64bit() {
  return true;
}

// --- User and locale ---------------------------------------------------------------

tavrin_ustring GetFullUserName() {
  std::string record = Ask(&SystemQueries::fullUserName, platform::UserFullName);
  record = record.substr(0, record.find(','));
  return FromUtf8(TrimBlanks(record));
}

unsigned short GetDecimalSeparator() {
  QueryState& state = State();
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    if (state.decimal_separator) return *state.decimal_separator;
  }
  // Asked outside the lock: the hook may take its time (or ask other
  // queries). Two first callers may both ask; the first to store wins.
  const tavrin_ustring text =
      FromUtf8(Ask(&SystemQueries::decimalSeparator, platform::UserDecimalSeparator));
  const unsigned short separator = text.empty() ? u'.' : text[0];
  std::lock_guard<std::mutex> lock(state.mutex);
  if (!state.decimal_separator) state.decimal_separator = separator;
  return *state.decimal_separator;
}

bool TextToDouble(const unsigned short* text, double& value) {
  value = 0;
  if (text == nullptr) return false;
  tavrin_ustring separator =
      FromUtf8(Ask(&SystemQueries::decimalSeparator, platform::UserDecimalSeparator));
  if (separator.empty()) separator = tavrin_ustring(".");

  // Assemble the number in the "C" form ("-12.5e3") while scanning.
  NumberText number;
  const unsigned short* p = text;
  while (IsUnitSpace(*p)) ++p;
  if (*p == '+' || *p == '-') number.Add(static_cast<char>(*p++));
  bool digits = false, seen_separator = false;
  for (;;) {
    if (IsDigitUnit(*p)) {
      number.Add(static_cast<char>(*p++));
      digits = true;
    } else if (!seen_separator && StartsWithUnits(p, separator)) {
      number.Add('.');
      p += separator.size();
      seen_separator = true;
    } else {
      break;
    }
  }
  if (!digits) return false;
  if (*p == 'e' || *p == 'E') {
    const unsigned short* q = p + 1;
    if (*q == '+' || *q == '-') ++q;
    if (IsDigitUnit(*q)) {  // the exponent counts only with its digits
      for (const unsigned short* e = p; e != q; ++e) number.Add(static_cast<char>(*e));
      while (IsDigitUnit(*q)) number.Add(static_cast<char>(*q++));
    }
  }
  value = platform::ReadCNumber(number.CString());
  return true;
}

namespace internal {

std::string LanguageCodeForLocaleName(const std::string& name) {
  // Drop ".codeset" and "@modifier".
  std::string locale = name.substr(0, name.find_first_of(".@"));
  if (locale.empty() || locale == "C" || locale == "POSIX") return "";
  // Subtags separated by "_" or "-": the language, then a script (four
  // letters) and/or a region.
  std::vector<std::string> tags;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = locale.find_first_of("_-", start);
    tags.push_back(locale.substr(start, end == std::string::npos ? end : end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  const std::string language = AsciiLower(tags[0]);
  bool traditional = false;
  for (std::size_t i = 1; i < tags.size(); ++i) {
    const std::string tag = AsciiLower(tags[i]);
    if (tag == "hant" || tag == "tw" || tag == "hk" || tag == "mo") traditional = true;
  }
  if (language == "en") return "en-US";
  if (language == "zh" || language == "yue") return traditional ? "zh-TW" : "zh-CN";
  if (language == "pt") return "pt-BR";
  for (const char* supported : kSupportedLanguages)
    if (language == supported) return language;
  return "";
}

}  // namespace internal

tavrin_ustring ConstructOSLanguageCode() {
  return FromUtf8(internal::LanguageCodeForLocaleName(
      Ask(&SystemQueries::preferredLanguage, platform::PreferredLanguage)));
}

// --- The platform layer -------------------------------------------------------------

namespace internal {

const char* PlatformLayerName() {
  return platform::DescribeLayer().name;
}

const char* PlatformFolderRules() {
  return platform::DescribeLayer().folders;
}

const char* PlatformRunLoop() {
  return platform::DescribeLayer().run_loop;
}

}  // namespace internal

// --- Opening and revealing ----------------------------------------------------------

namespace internal {

std::string EscapeUrlText(const std::string& utf8) {
  static constexpr char kAllowed[] = "-._~:/?#[]@!$&'()*+,;=%";
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(utf8.size());
  for (unsigned char c : utf8) {
    const bool alnum = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    if (alnum || (c != 0 && std::strchr(kAllowed, c) != nullptr)) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 15]);
    }
  }
  return out;
}

}  // namespace internal

bool OpenURL(const tavrin_ustring& url, bool isFile, bool isEncoded) {
  if (url.empty()) return false;
  std::string target = url.utf8();
  if (!isFile && !isEncoded) target = internal::EscapeUrlText(target);
  return Ask(&SystemQueries::openUrl, platform::OpenTarget, target, isFile);
}

bool OpenFiles(const tavrin_ustring* paths, std::size_t count) {
  if (paths == nullptr || count == 0) return false;
  std::vector<std::string> list;
  list.reserve(count);
  for (std::size_t i = 0; i < count; ++i) list.push_back(paths[i].utf8());
  return Ask(&SystemQueries::openFiles, platform::OpenFilePaths, list);
}

bool OpenFileWithApplication(const tavrin_ustring& path, const tavrin_ustring& application) {
  if (path.empty()) return false;
  if (application.empty()) {
    return Ask(&SystemQueries::openUrl, platform::OpenTarget, path.utf8(), true);
  }
  return Ask(&SystemQueries::openFileWithApplication, platform::OpenFileWithApplication,
             path.utf8(), application.utf8());
}

bool ShowFileInSystemViewer(const tavrin_ustring& path) {
  if (path.empty()) return false;
  return Ask(&SystemQueries::showInFileViewer, platform::ShowInFileViewer, path.utf8());
}

void ShowLogFileWithSystemViewer() {
  const std::string log = Ask(&SystemQueries::logFile, LogFilePathOfTheLogger);
  if (log.empty()) return;
  (void)Ask(&SystemQueries::showInFileViewer, platform::ShowInFileViewer, log);
}

// --- Screen -------------------------------------------------------------------------------

int GetPixelsPerInch() {
  const int ppi = Ask(&SystemQueries::pixelsPerInch, platform::ScreenPixelsPerInch);
  return ppi > 0 ? ppi : 0;
}

int GetPixelsPerInchForScreenContainingWindow(void* window) {
  if (window == nullptr) return 0;
  const int ppi =
      Ask(&SystemQueries::pixelsPerInchForWindow, platform::WindowPixelsPerInch, window);
  return ppi > 0 ? ppi : 0;
}

// --- Process ------------------------------------------------------------------------------

void SleepMilliseconds(int ms) {
  if (ms <= 0) return;
  Ask(&SystemQueries::sleep, platform::SleepMilliseconds, static_cast<std::int64_t>(ms));
}

namespace {

void Profile(ProfilerEvent event, std::uint32_t code, std::uint32_t a, std::uint32_t b,
             std::uint32_t c, std::uint32_t d) {
  Ask(
      &SystemQueries::profiler,
      [](ProfilerEvent e, std::uint32_t code2, std::uint32_t a2, std::uint32_t b2, std::uint32_t c2,
         std::uint32_t d2) { platform::ProfilerEvent(static_cast<int>(e), code2, a2, b2, c2, d2); },
      event, code, a, b, c, d);
}

}  // namespace

void MarkProfilerPointOfInterest(std::uint32_t code, std::uint32_t a, std::uint32_t b,
                                 std::uint32_t c, std::uint32_t d) {
  Profile(ProfilerEvent::kPointOfInterest, code, a, b, c, d);
}

void BeginProfilerRegionOfInterest(std::uint32_t code, std::uint32_t a, std::uint32_t b,
                                   std::uint32_t c, std::uint32_t d) {
  Profile(ProfilerEvent::kBeginRegion, code, a, b, c, d);
}

void EndProfilerRegionOfInterest(std::uint32_t code, std::uint32_t a, std::uint32_t b,
                                 std::uint32_t c, std::uint32_t d) {
  Profile(ProfilerEvent::kEndRegion, code, a, b, c, d);
}

tavrin_ustring GetExeDirectory() {
  std::string path = Ask(&SystemQueries::executablePath, platform::ExecutablePath);
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return tavrin_ustring();
  std::string directory = path.substr(0, slash == 0 ? 1 : slash);
  while (directory.size() > 1 && directory.back() == '/') directory.pop_back();
  return FromUtf8(directory);
}

tavrin_ustring GetProcessTranslationEnvironmentStr() {
  int value = 0;
  const int error = Ask(&SystemQueries::processTranslation, platform::ProcessTranslation, value);
  if (error == ENOENT) return tavrin_ustring("Native");
  if (error != 0) return tavrin_ustring("Unknown");
  if (value == 0) return tavrin_ustring("Native");
  if (value == 1) return tavrin_ustring("Translated");
  return tavrin_ustring("Unknown");
}

}  // namespace tavrin::osutils

tavrin::utils::DeviceInfo tavrin::utils::GetDeviceInfo() {
  using osutils::SystemQueries;
  auto field = [](const std::string& raw) {
    tavrin_ustring text = osutils::FromUtf8(osutils::TrimBlanks(raw));
    return text.empty() ? tavrin_ustring("*UNKNOWN*") : text;
  };
  DeviceInfo info;
  info.identifier = "*UNKNOWN*";
  info.manufacturer =
      field(osutils::Ask(&SystemQueries::deviceManufacturer, platform::DeviceManufacturer));
  info.model = field(osutils::Ask(&SystemQueries::deviceModel, platform::DeviceModel));
  return info;
}

// ---------------------------------------------------------------------------
// DPI scale factor.
// ---------------------------------------------------------------------------

namespace tavrin::utils::HighDpiUtils {

namespace {

std::atomic<float> g_factor{1.0f};

int ClampToInt(double v) {
  if (v >= static_cast<double>(INT_MAX)) return INT_MAX;
  if (v <= static_cast<double>(INT_MIN)) return INT_MIN;
  return static_cast<int>(v);
}

}  // namespace

void ConfigureDpiScaleFactor(float factor) {
  if (std::isfinite(factor) && factor > 0) {
    g_factor.store(factor, std::memory_order_relaxed);
    return;
  }
  const int ppi = osutils::GetPixelsPerInch();
  g_factor.store(ppi > 0 ? static_cast<float>(ppi) / 72.0f : 1.0f, std::memory_order_relaxed);
}

float DpiScaleFactor() {
  return g_factor.load(std::memory_order_relaxed);
}

int ScaleForDpi(int value) {
  const float factor = DpiScaleFactor();
  if (factor == 1.0f) return value;
  return ClampToInt(std::floor(static_cast<double>(value) * factor + 0.5));
}

int PhysicalToLogicalPixels(int value) {
  const float factor = DpiScaleFactor();
  if (factor == 1.0f) return value;
  return ClampToInt(std::trunc((1.0 / factor) * static_cast<double>(value)));
}

}  // namespace tavrin::utils::HighDpiUtils
