// osutils.h - questions about the operating system, the user, the screen and
// the process, and handing URLs and files to the desktop.
//
// Every raw answer comes from the platform layer through a replaceable hook
// declared here, so tests and other platforms can feed raw answers while the
// library's rules stay under test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

// ---------------------------------------------------------------------------
// Operating-system queries: version, locale, user, device, screen, opening.
//
// The queries below apply the library's rules to raw answers. Each raw
// answer comes from one member of SystemQueries; an empty member means the
// platform's own answer (on Linux: uname, os-release, the locale of the
// environment, the password database, /proc/self/exe, /sys/class/dmi/id,
// GIO and D-Bus). Tests and applications install answers with
// SetSystemQueries. The queries may be called from any thread; install
// answers before other threads use them. Opening and revealing talk to the
// desktop and belong on the main thread.
// ---------------------------------------------------------------------------

namespace tavrin::utils {

// DeviceInfo - what GetDeviceInfo reports: an identifier that is always
// "*UNKNOWN*", the manufacturer and the model.
struct DeviceInfo {
  tavrin_ustring identifier;
  tavrin_ustring manufacturer;
  tavrin_ustring model;
};

// GetDeviceInfo()
//
// The machine's manufacturer and model (on Linux /sys/class/dmi/id
// sys_vendor and product_name), with the trailing newline and surrounding
// blanks removed; a missing or empty value, or one that is not UTF-8, is
// "*UNKNOWN*". The identifier is always "*UNKNOWN*".
TAVRIN_EXPORT DeviceInfo GetDeviceInfo();

// HighDpiUtils - one process-wide scale factor between logical and physical
// pixels, 1.0 until configured. It is a plain global: configure it once at
// start-up, before other threads read it.
namespace HighDpiUtils {

// ConfigureDpiScaleFactor()
//
// A finite `factor` above 0 becomes the factor. Anything else (0, negative,
// NaN, infinite) derives it from the screen: GetPixelsPerInch() / 72 when
// that is above 0, else 1.0. A derived factor is never 0 or negative; with
// no screen (0 pixels per inch) the factor becomes 1.0 whatever it was.
TAVRIN_EXPORT void ConfigureDpiScaleFactor(float factor);

// DpiScaleFactor() - the factor (1.0 until configured).
TAVRIN_EXPORT float DpiScaleFactor();

// ScaleForDpi() - logical to physical: `value` unchanged when the factor is
// exactly 1.0, else floor(value x factor + 0.5), clamped to the int range.
TAVRIN_EXPORT int ScaleForDpi(int value);

// PhysicalToLogicalPixels() - physical to logical: `value` unchanged when
// the factor is exactly 1.0, else (1 / factor) x value truncated toward
// zero, clamped to the int range.
TAVRIN_EXPORT int PhysicalToLogicalPixels(int value);

}  // namespace HighDpiUtils

}  // namespace tavrin::utils

namespace tavrin::osutils {

// OsVersion - the operating system's version as major, minor, patch.
struct TAVRIN_EXPORT OsVersion {
  int major = 0;
  int minor = 0;
  int patch = 0;

  // IsValid() - true when major, minor and patch are all at least 0.
  bool IsValid() const;
  // operator<() - lexicographic on (major, minor, patch), signed.
  bool operator<(const OsVersion& other) const;
};

// ProfilerEvent - which profiler call a SystemQueries::profiler hook gets.
enum class ProfilerEvent { kPointOfInterest, kBeginRegion, kEndRegion };

// SystemQueries
//
// The raw answers behind the queries, one member each. An empty member
// means the platform's answer, given in brackets for Linux. Text crosses as
// UTF-8 (text that is not UTF-8 counts as empty).
struct SystemQueries {
  // GetOsVersion: the version [the kernel release of uname read as
  // major.minor.patch; all zero when unreadable].
  std::function<OsVersion()> osVersion;
  // GetOS: the name of the operating system as the platform names it
  // [PRETTY_NAME of /etc/os-release, else /usr/lib/os-release], "" when
  // unknown. Used where the platform has no macOS release table.
  std::function<std::string()> osName;
  // GetDecimalSeparator, TextToDouble: the user's decimal separator [the
  // radix character of the environment's locale, newlocale with "", never
  // the process's global locale], "" when unavailable.
  std::function<std::string()> decimalSeparator;
  // ConstructOSLanguageCode: the user's first preferred language as a locale
  // name, POSIX ("zh_TW.UTF-8") or BCP 47 ("zh-Hant-TW") form [the first
  // non-empty of LANGUAGE (its first non-empty entry), LC_ALL, LC_MESSAGES,
  // LANG], "" when none.
  std::function<std::string()> preferredLanguage;
  // GetFullUserName: the user's full name as the system records it [the
  // GECOS field of the password database entry of the real user], "" when
  // none. Only the text before the first "," is used.
  std::function<std::string()> fullUserName;
  // GetExeDirectory: the path of the running program [the canonical
  // readlink of /proc/self/exe], "" when unknown.
  std::function<std::string()> executablePath;
  // GetDeviceInfo: manufacturer and model as read [/sys/class/dmi/id
  // sys_vendor and product_name], "" when absent.
  std::function<std::string()> deviceManufacturer;
  std::function<std::string()> deviceModel;
  // GetProcessTranslationEnvironmentStr: the translated-process query. Returns
  // 0 and sets `value` (0 native, 1 translated) on success, else an errno
  // value, ENOENT meaning the query does not exist [always ENOENT].
  std::function<int(int& value)> processTranslation;
  // GetPixelsPerInch: the main screen's pixels per inch [0: the library
  // links no display toolkit; an application reports its screen here].
  std::function<int()> pixelsPerInch;
  // GetPixelsPerInchForScreenContainingWindow: pixels per inch of the screen
  // holding the application's native window `window` [0, and the pointer is
  // never dereferenced].
  std::function<int(void* window)> pixelsPerInchForWindow;
  // OpenURL: hands one target to its default handler, `target` being a local
  // path when `isFile`, else the URL text as OpenURL prepared it [GIO].
  std::function<bool(const std::string& target, bool isFile)> openUrl;
  // OpenFiles: opens the local paths (at least one) with their default
  // applications [GIO, files of one application launched together].
  std::function<bool(const std::vector<std::string>& paths)> openFiles;
  // OpenFileWithApplication: opens a local path with the named application,
  // `application` being non-empty [GIO: a desktop file id, with or without
  // ".desktop", a desktop file path, or a program name or path].
  std::function<bool(const std::string& path, const std::string& application)>
      openFileWithApplication;
  // ShowLogFileWithSystemViewer: shows the item at a local path selected in
  // the desktop's file viewer [the org.freedesktop.FileManager1 ShowItems
  // D-Bus call on the session bus, else opening the containing folder].
  std::function<bool(const std::string& path)> showInFileViewer;
  // ShowLogFileWithSystemViewer: the file logger's file, "" when there is
  // none [CFileLogger::GetLogFile()].
  std::function<std::string()> logFile;
  // SleepMilliseconds: sleeps `milliseconds` (always above 0) [nanosleep,
  // resumed after signals].
  std::function<void(std::int64_t milliseconds)> sleep;
  // The profiler calls: the event and its five values [no-ops].
  std::function<void(ProfilerEvent event, std::uint32_t code, std::uint32_t a, std::uint32_t b,
                     std::uint32_t c, std::uint32_t d)>
      profiler;
};

// SetSystemQueries() - installs `queries` (empty members: the platform's
// answers) and forgets every cached answer (the decimal separator), so the
// next query asks again. Not thread-safe against queries running at the
// same time.
TAVRIN_EXPORT void SetSystemQueries(const SystemQueries& queries);

// ResetSystemQueries() - back to the platform's answers for everything;
// forgets cached answers.
TAVRIN_EXPORT void ResetSystemQueries();

// GetSystemQueries() - the installed answers (empty members: the platform's).
TAVRIN_EXPORT SystemQueries GetSystemQueries();

// PlatformSystemQueries() - the platform's own answers, every member set, so
// a hook can ask the platform and adjust its answer.
TAVRIN_EXPORT SystemQueries PlatformSystemQueries();

// GetOsVersion() - the operating system's version; all zero when
// unavailable. On Linux the kernel's version (6.8.0 for "6.8.0-45-generic").
TAVRIN_EXPORT OsVersion GetOsVersion();

// GetOsVersionString() - "major.minor" of GetOsVersion(); "0.0" when
// unavailable.
TAVRIN_EXPORT tavrin::utils::tavrin_ustring GetOsVersionString();

// MacOsCodeForVersion()
//
// The macOS release table, a pure function: majors 11 to 15 give 16 to 20
// and the names "Big Sur", "Monterey", "Ventura", "Sonoma", "Sequoia"; a
// major above 15 gives 21 and leaves `name` untouched; any other major
// gives the minor number, with the name of 10.8 to 10.15 ("Mountain Lion"
// ... "Catalina") for minors 8 to 15 and "unknown" otherwise. Meant for
// macOS versions (10.14 -> 14 "Mojave", 26.0 -> 21).
TAVRIN_EXPORT int MacOsCodeForVersion(const OsVersion& version,
                                      tavrin::utils::tavrin_ustring& name);

// GetOS()
//
// The operating-system code and name. On macOS the code and name come from
// MacOsCodeForVersion(GetOsVersion()). Elsewhere (Linux) the code is 0 and
// the name is the system's own name (the distribution's PRETTY_NAME), or
// "unknown" when it cannot be read. GetOS() without a name gives the code.
TAVRIN_EXPORT int GetOS(tavrin::utils::tavrin_ustring& name);
TAVRIN_EXPORT int GetOS();

// Is64bit() - always true.
TAVRIN_EXPORT bool Is64bit();

// GetFullUserName() - the user's full name; empty when the system records
// none.
TAVRIN_EXPORT tavrin::utils::tavrin_ustring GetFullUserName();

// GetDecimalSeparator()
//
// The first UTF-16 unit of the user's decimal separator, read once on the
// first call (thread-safely) and kept: later locale changes are not seen.
// "." when the locale gives none.
TAVRIN_EXPORT unsigned short GetDecimalSeparator();

// TextToDouble()
//
// Reads one number from the start of the NUL-terminated UTF-16 `text` with
// the user's decimal separator (read at each call): white space, an optional
// sign, ASCII digits with at most one separator, and an exponent ("e" or
// "E", optional sign) only when digits follow it; anything after the number
// is ignored. Returns true when at least one digit was read, with `value`
// the number (converted exactly as the "C" locale reads it; overflow gives
// an infinity). Returns false with `value` 0 for a null text or text
// without a number; "inf", "nan" and hexadecimal forms are not numbers
// ("0x1p3" reads as 0).
[[nodiscard]] TAVRIN_EXPORT bool TextToDouble(const unsigned short* text, double& value);

// ConstructOSLanguageCode()
//
// The application language code for the user's first preferred language:
// "en" gives "en-US"; "zh" and "yue" give "zh-TW" for the Traditional script
// (script "Hant", or region TW, HK or MO) and "zh-CN" otherwise; "pt" gives
// "pt-BR"; a language of the supported list gives itself ("ar", "bg", "ca",
// "zh", "hr", "cs", "da", "nl", "en", "fi", "fr", "de", "el", "iw", "hi",
// "hu", "id", "it", "ja", "ko", "lv", "lt", "no", "pl", "pt", "ro", "ru",
// "sr", "sk", "sl", "es", "sv", "th", "tr", "uk", "vi", "tl"); anything else,
// "C", "POSIX" and no language give "". The codeset (".UTF-8") and modifier
// ("@euro") are ignored. "he" and "nb" are not mapped to the listed "iw" and
// "no": they give "".
TAVRIN_EXPORT tavrin::utils::tavrin_ustring ConstructOSLanguageCode();

// OpenURL()
//
// Hands a URL to its default handler and returns whether that worked
// (false when it did not). With `isFile` the text is a local path, opened as
// a file URL. Otherwise, unless `isEncoded`, every UTF-8 byte that is
// neither an RFC 3986 unreserved or reserved character nor "%" is first
// escaped as upper-case "%XX" (reserved characters and "%" stay, so escaped
// text is not escaped twice); with `isEncoded` the text is used as it
// stands. Any scheme goes to its registered handler: callers must not pass
// text from files, the network or other untrusted places.
[[nodiscard]] TAVRIN_EXPORT bool OpenURL(const tavrin::utils::tavrin_ustring& url, bool isFile,
                                         bool isEncoded = false);

// OpenFiles()
//
// Opens `count` local paths with their default applications, together.
// False at once for null `paths` or a count of 0; otherwise whether every
// file was handed to an application. The same caution as OpenURL applies.
[[nodiscard]] TAVRIN_EXPORT bool OpenFiles(const tavrin::utils::tavrin_ustring* paths,
                                           std::size_t count);

// OpenFileWithApplication()
//
// Opens the local `path` with `application` (on Linux a desktop file id, a
// desktop file path, or a program name or path), or with its default
// application when `application` is empty. False when nothing could be
// launched.
[[nodiscard]] TAVRIN_EXPORT bool OpenFileWithApplication(
    const tavrin::utils::tavrin_ustring& path, const tavrin::utils::tavrin_ustring& application);

// ShowLogFileWithSystemViewer()
//
// When the file logger has a file, shows it selected in the desktop's file
// viewer (on Linux the file manager's ShowItems D-Bus call, else its
// containing folder is opened). Does nothing when there is no log file.
TAVRIN_EXPORT void ShowLogFileWithSystemViewer();

// ShowFileInSystemViewer()
//
// Shows the item at local `path` selected in the desktop's file viewer, as
// ShowLogFileWithSystemViewer does for the log file. False for an empty path
// or when neither the viewer nor the containing folder could be reached.
TAVRIN_EXPORT bool ShowFileInSystemViewer(const tavrin::utils::tavrin_ustring& path);

// GetPixelsPerInch() - the main screen's pixels per inch; 0 when no screen
// can be asked (the default on Linux, see SystemQueries::pixelsPerInch).
TAVRIN_EXPORT int GetPixelsPerInch();

// GetPixelsPerInchForScreenContainingWindow() - the pixels per inch of the
// screen holding `window`; 0 when it cannot be told (always, on Linux,
// unless the application installs SystemQueries::pixelsPerInchForWindow).
// The pointer is never dereferenced by the library.
TAVRIN_EXPORT int GetPixelsPerInchForScreenContainingWindow(void* window);

// SleepMilliseconds() - sleeps `ms` milliseconds; returns at once for 0 or
// a negative value.
TAVRIN_EXPORT void SleepMilliseconds(int ms);

// Profiler markers: five values passed to the system profiler (no-ops on
// Linux unless a hook is installed).
TAVRIN_EXPORT void MarkProfilerPointOfInterest(std::uint32_t code, std::uint32_t a, std::uint32_t b,
                                               std::uint32_t c, std::uint32_t d);
TAVRIN_EXPORT void BeginProfilerRegionOfInterest(std::uint32_t code, std::uint32_t a,
                                                 std::uint32_t b, std::uint32_t c, std::uint32_t d);
TAVRIN_EXPORT void EndProfilerRegionOfInterest(std::uint32_t code, std::uint32_t a, std::uint32_t b,
                                               std::uint32_t c, std::uint32_t d);

// GetExeDirectory()
//
// The folder of the running program (on Linux the directory of the
// canonical /proc/self/exe), without a trailing "/" ("/" for a program at
// the root); "" when it cannot be told. The macOS rule for application
// bundles (the folder holding a ".app" bundle) never applies on Linux.
TAVRIN_EXPORT tavrin::utils::tavrin_ustring GetExeDirectory();

// GetProcessTranslationEnvironmentStr()
//
// "Native", "Translated" (the process runs under instruction translation) or
// "Unknown". On Linux always "Native": the query does not exist there.
TAVRIN_EXPORT tavrin::utils::tavrin_ustring GetProcessTranslationEnvironmentStr();

// IsMainThread()
//
// Whether the calling thread is the main thread. The main thread is,
// deliberately, whichever thread first calls this function: the first call
// records that thread (once, thread-safely) and every later call compares
// with it. An application calls it once from its main thread early at
// start-up.
TAVRIN_EXPORT bool IsMainThread();

// ---------------------------------------------------------------------------
// Language codes: localisation folder names and web codes.
// ---------------------------------------------------------------------------

// GetMacLProjDir()
//
// The name of the localisation folder (".lproj") of the language code
// `lang`: "en-US" gives "en.lproj", "zh-CN" "zh_CN.lproj", "zh-TW"
// "zh_TW.lproj", "pt-BR" "pt.lproj", and any other code (the empty one
// included) itself followed by ".lproj" ("en-GB" gives "en-GB.lproj"). Codes
// are compared exactly (case-sensitive). Never fails.
[[nodiscard]] TAVRIN_EXPORT tavrin::utils::tavrin_ustring GetMacLProjDir(
    tavrin::utils::tavrin_ustring lang);

// ComputeWebCode()
//
// The short language code for web addresses: "en" for "en-US" and for
// "en-GB" (deliberately unlike GetMacLProjDir), every other code unchanged.
// Never fails.
[[nodiscard]] TAVRIN_EXPORT tavrin::utils::tavrin_ustring ComputeWebCode(
    const tavrin::utils::tavrin_ustring& lang);

}  // namespace tavrin::osutils
