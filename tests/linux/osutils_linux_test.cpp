// Tests of the Linux answers of the operating-system queries, against the
// real system: opening through GIO with desktop entries registered in the
// test's own XDG tree (their commands write what they were given to files),
// revealing without a session and over a private D-Bus session bus, the
// locale of the environment (C.UTF-8, and a comma-decimal locale compiled
// with localedef into a private LOCPATH), the language code from the
// environment, and the user, program, kernel and sleeping answers.
#include <gtest/gtest.h>
#include <langinfo.h>
#include <locale.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define TAVRIN_TEST_LSAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TAVRIN_TEST_LSAN 1
#endif
#endif
#if defined(TAVRIN_TEST_LSAN)
#include <sanitizer/lsan_interface.h>
#endif

#include "common/utils/filelogger.h"
#include "common/utils/internal/osutils_internal.h"
#include "common/utils/osutils.h"
#include "tests/test_support.h"

using tavrin::test::FreshDir;
using tavrin::test::ReadFile;
using tavrin::test::RunShell;
using tavrin::test::ScopedEnv;
using tavrin::test::TempRoot;
using tavrin::test::WriteFile;
using tavrin::utils::tavrin_ustring;
namespace osutils = tavrin::osutils;
namespace fs = std::filesystem;

namespace {

// Single quotes for /bin/sh.
std::string Quote(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// --- Desktop entries of the test tree -------------------------------------------
//
// Every entry runs handler.sh with a tag; the handler writes its arguments,
// one per line, to out/<tag>.<pid> (through a temporary name, so a file that
// exists is complete).

std::string HandlerDir() {
  return TempRoot() + "/handlers";
}

std::string OutDir() {
  return HandlerDir() + "/out";
}

void WriteDesktopEntry(const std::string& id, const std::string& exec_args,
                       const std::string& mime_types) {
  const std::string dir = std::string(std::getenv("XDG_DATA_HOME")) + "/applications";
  fs::create_directories(dir);
  WriteFile(dir + "/" + id, "[Desktop Entry]\nType=Application\nName=tavrin test " + id +
                                "\nExec=\"" + HandlerDir() + "/handler.sh\" " + exec_args +
                                "\nMimeType=" + mime_types + "\nNoDisplay=true\n");
}

class OsUtilsLinuxTest : public testing::Test {
 protected:
  // The entries are written before this process asks GIO anything, so GIO's
  // first look at the XDG folders already sees them.
  static void SetUpTestSuite() {
    fs::create_directories(OutDir());
    const std::string handler = HandlerDir() + "/handler.sh";
    WriteFile(handler,
              "#!/bin/sh\n"
              "tag=$1; shift\n"
              "out=" +
                  Quote(OutDir()) +
                  "/$tag.$$\n"
                  "printf '%s\\n' \"$@\" > \"$out.tmp\" && mv \"$out.tmp\" \"$out\"\n");
    ::chmod(handler.c_str(), 0755);
    WriteDesktopEntry("tavrin-test-url.desktop", "url %u", "x-scheme-handler/tavrintest;");
    WriteDesktopEntry("tavrin-test-files.desktop", "files %F",
                      "text/plain;application/octet-stream;");
    WriteDesktopEntry("tavrin-test-folder.desktop", "folder %u", "inode/directory;");
    WriteDesktopEntry("tavrin-test-viewer.desktop", "viewer %f", "image/x-tavrin-test;");
    WriteFile(std::string(std::getenv("XDG_CONFIG_HOME")) + "/mimeapps.list",
              "[Default Applications]\n"
              "x-scheme-handler/tavrintest=tavrin-test-url.desktop\n"
              "text/plain=tavrin-test-files.desktop\n"
              "application/octet-stream=tavrin-test-files.desktop\n"
              "inode/directory=tavrin-test-folder.desktop\n");
    // A program (not an entry) for OpenFileWithApplication by path.
    const std::string program = HandlerDir() + "/tavrin-test-program";
    WriteFile(program, "#!/bin/sh\nexec " + Quote(handler) + " program \"$@\"\n");
    ::chmod(program.c_str(), 0755);
  }

  void SetUp() override {
    osutils::ResetSystemQueries();
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(OutDir(), ec)) fs::remove(entry.path(), ec);
  }
  void TearDown() override { osutils::ResetSystemQueries(); }

  // The arguments the handler got for `tag`, once its file appears (within
  // a generous guard); "" when it never does.
  static std::string WaitForHandler(const std::string& tag) {
    for (int i = 0; i < 1000; ++i) {
      std::error_code ec;
      for (const auto& entry : fs::directory_iterator(OutDir(), ec)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(tag + ".", 0) == 0 && name.find(".tmp") == std::string::npos)
          return ReadFile(entry.path().string());
      }
      osutils::SleepMilliseconds(10);
    }
    return "";
  }

  // Outputs of every handler run so far, sorted, waiting until there are
  // `count` of them.
  static std::vector<std::string> WaitForOutputs(std::size_t count) {
    std::vector<std::string> outputs;
    for (int i = 0; i < 1000; ++i) {
      outputs.clear();
      std::error_code ec;
      for (const auto& entry : fs::directory_iterator(OutDir(), ec)) {
        const std::string name = entry.path().filename().string();
        if (name.find(".tmp") == std::string::npos)
          outputs.push_back(name.substr(0, name.find('.')) + ": " +
                            ReadFile(entry.path().string()));
      }
      if (outputs.size() >= count) break;
      osutils::SleepMilliseconds(10);
    }
    std::sort(outputs.begin(), outputs.end());
    return outputs;
  }

  static std::string MakeFile(const std::string& name, const std::string& content) {
    const std::string path = FreshDir("docs") + "/" + name;
    WriteFile(path, content);
    return path;
  }
};

// Whether a folder handler's output names the folder holding `path` (GIO
// hands a local folder to a "%u" command as a path or as a file URI).
testing::AssertionResult IsFolderOf(const std::string& output, const std::string& path) {
  const std::string folder = fs::path(path).parent_path().string();
  if (output == folder + "\n" || output == "file://" + folder + "\n")
    return testing::AssertionSuccess();
  return testing::AssertionFailure() << "handler got \"" << output << "\", not " << folder;
}

// --- Opening through GIO ---------------------------------------------------------------

TEST_F(OsUtilsLinuxTest, OpenUrlLaunchesTheSchemeHandlerWithTheEscapedUrl) {
  ASSERT_TRUE(osutils::OpenURL(tavrin_ustring("tavrintest:hello world/\xC3\xBC?x=1#top"), false));
  EXPECT_EQ(WaitForHandler("url"), "tavrintest:hello%20world/%C3%BC?x=1#top\n");
}

TEST_F(OsUtilsLinuxTest, OpenUrlEncodedHandsTheTextAsItStands) {
  ASSERT_TRUE(osutils::OpenURL(tavrin_ustring("tavrintest:a%2Fb%20c"), false, true));
  EXPECT_EQ(WaitForHandler("url"), "tavrintest:a%2Fb%20c\n");
}

TEST_F(OsUtilsLinuxTest, OpenUrlWithoutAHandlerFails) {
  EXPECT_FALSE(osutils::OpenURL(tavrin_ustring("tavrin-nobody:x"), false));
}

TEST_F(OsUtilsLinuxTest, OpenUrlOfAFileUsesItsDefaultApplication) {
  const std::string path = MakeFile("notes with space.txt", "plain text\n");
  ASSERT_TRUE(osutils::OpenURL(tavrin_ustring(path), true));
  EXPECT_EQ(WaitForHandler("files"), path + "\n");
}

TEST_F(OsUtilsLinuxTest, OpenFilesGivesOneApplicationAllItsFiles) {
  const std::string a = MakeFile("a.txt", "first\n");
  const std::string b = MakeFile("b.txt", "second\n");
  const tavrin_ustring paths[] = {tavrin_ustring(a), tavrin_ustring(b)};
  ASSERT_TRUE(osutils::OpenFiles(paths, 2));
  EXPECT_EQ(WaitForOutputs(1), (std::vector<std::string>{"files: " + a + "\n" + b + "\n"}));
}

TEST_F(OsUtilsLinuxTest, OpenFilesReportsAMissingFileAndOpensTheRest) {
  const std::string a = MakeFile("present.txt", "here\n");
  const tavrin_ustring paths[] = {tavrin_ustring(TempRoot() + "/missing.txt"), tavrin_ustring(a)};
  EXPECT_FALSE(osutils::OpenFiles(paths, 2));
  EXPECT_EQ(WaitForHandler("files"), a + "\n");
}

TEST_F(OsUtilsLinuxTest, OpenFileWithANamedApplication) {
  const std::string path = MakeFile("picture.txt", "not really a picture\n");
  ASSERT_TRUE(
      osutils::OpenFileWithApplication(tavrin_ustring(path), tavrin_ustring("tavrin-test-viewer")));
  EXPECT_EQ(WaitForHandler("viewer"), path + "\n");
  SetUp();  // clear the outputs
  ASSERT_TRUE(osutils::OpenFileWithApplication(tavrin_ustring(path),
                                               tavrin_ustring("tavrin-test-viewer.desktop")));
  EXPECT_EQ(WaitForHandler("viewer"), path + "\n");
}

TEST_F(OsUtilsLinuxTest, OpenFileWithAProgramPathOrName) {
  const std::string path = MakeFile("data.txt", "x\n");
  ASSERT_TRUE(osutils::OpenFileWithApplication(
      tavrin_ustring(path), tavrin_ustring(HandlerDir() + "/tavrin-test-program")));
  EXPECT_EQ(WaitForHandler("program"), path + "\n");
  SetUp();
  const std::string search = HandlerDir() + ":" + std::getenv("PATH");
  ScopedEnv with_path("PATH", search.c_str());
  ASSERT_TRUE(osutils::OpenFileWithApplication(tavrin_ustring(path),
                                               tavrin_ustring("tavrin-test-program")));
  EXPECT_EQ(WaitForHandler("program"), path + "\n");
}

TEST_F(OsUtilsLinuxTest, OpenFileWithAnUnknownApplicationFails) {
  const std::string path = MakeFile("data.txt", "x\n");
  EXPECT_FALSE(osutils::OpenFileWithApplication(tavrin_ustring(path),
                                                tavrin_ustring("tavrin-no-such-application")));
  EXPECT_FALSE(osutils::OpenFileWithApplication(tavrin_ustring(path),
                                                tavrin_ustring(TempRoot() + "/nothing-here")));
  EXPECT_FALSE(osutils::OpenFileWithApplication(tavrin_ustring(path), tavrin_ustring(TempRoot())));
}

TEST_F(OsUtilsLinuxTest, OpenFileWithNoApplicationUsesTheDefault) {
  const std::string path = MakeFile("plain.txt", "text\n");
  ASSERT_TRUE(osutils::OpenFileWithApplication(tavrin_ustring(path), tavrin_ustring()));
  EXPECT_EQ(WaitForHandler("files"), path + "\n");
}

// --- Revealing ------------------------------------------------------------------------

TEST_F(OsUtilsLinuxTest, ShowFileWithoutASessionOpensTheContainingFolder) {
  ScopedEnv no_bus("DBUS_SESSION_BUS_ADDRESS", nullptr);  // XDG_RUNTIME_DIR has no bus socket
  const std::string path = MakeFile("app.log", "log\n");
  ASSERT_TRUE(osutils::ShowFileInSystemViewer(tavrin_ustring(path)));
  EXPECT_TRUE(IsFolderOf(WaitForHandler("folder"), path));
}

TEST_F(OsUtilsLinuxTest, ShowLogFileUsesTheLogFileHook) {
  ScopedEnv no_bus("DBUS_SESSION_BUS_ADDRESS", nullptr);
  const std::string path = MakeFile("Modeler.log", "log\n");
  osutils::SystemQueries q;
  q.logFile = [path] { return path; };
  osutils::SetSystemQueries(q);
  osutils::ShowLogFileWithSystemViewer();
  EXPECT_TRUE(IsFolderOf(WaitForHandler("folder"), path));
}

TEST_F(OsUtilsLinuxTest, ShowLogFileRevealsTheFileLoggersFile) {
  ScopedEnv no_bus("DBUS_SESSION_BUS_ADDRESS", nullptr);
  osutils::ShowLogFileWithSystemViewer();  // no log file yet: nothing happens
  ASSERT_TRUE(CFileLogger::Initialize(tavrin_ustring("tavrin-reveal")));
  CFileLogger::Write(tavrin_ustring("one line\n"));
  const std::string log = CFileLogger::GetLogFile().utf8();
  ASSERT_FALSE(log.empty());
  osutils::ShowLogFileWithSystemViewer();
  const std::string folder_call = WaitForHandler("folder");
  CFileLogger::Terminate();
  EXPECT_TRUE(IsFolderOf(folder_call, log));
  EXPECT_EQ(WaitForOutputs(1).size(), 1u);  // only the one call, after Initialize
}

// A private session bus: the file manager's ShowItems call goes over it (a
// bus monitor records it) and, with no file manager on that bus, the
// containing folder opens. Run through the tavrin tool, so the process that
// talked to the bus has ended before the bus is stopped.
TEST_F(OsUtilsLinuxTest, RevealCallsTheFileManagerOverTheSessionBus) {
  if (tavrin::test::ToolPath().empty()) GTEST_SKIP() << "the tavrin tool is not built";
  if (RunShell("command -v dbus-daemon >/dev/null && command -v dbus-monitor >/dev/null") != 0)
    GTEST_SKIP() << "dbus-daemon or dbus-monitor is not installed";
  const std::string dir = FreshDir("bus");
  const std::string address = "unix:path=" + dir + "/bus";
  std::string daemon_pid;
  if (RunShell("dbus-daemon --session --address=" + Quote(address) +
                   " --fork --print-pid=1 </dev/null 2>" + Quote(dir + "/daemon.err"),
               &daemon_pid) != 0 ||
      std::atoi(daemon_pid.c_str()) <= 0) {
    GTEST_SKIP() << "dbus-daemon could not start a session bus: " << ReadFile(dir + "/daemon.err");
  }
  std::string monitor_pid;
  RunShell("dbus-monitor --address " + Quote(address) + " \"member='ShowItems'\" >" +
               Quote(dir + "/monitor.txt") + " 2>&1 </dev/null & echo $!",
           &monitor_pid);
  // The monitor is in place once it has dropped its bus name.
  for (int i = 0; i < 1000 && ReadFile(dir + "/monitor.txt").find("NameLost") == std::string::npos;
       ++i) {
    osutils::SleepMilliseconds(10);
  }
  const std::string path = MakeFile("shown.log", "log\n");
  const int status = RunShell("DBUS_SESSION_BUS_ADDRESS=" + Quote(address) + " " +
                              Quote(tavrin::test::ToolPath()) + " open --reveal " + Quote(path));
  const std::string folder_call = WaitForHandler("folder");
  std::string monitored;
  for (int i = 0; i < 1000; ++i) {
    monitored = ReadFile(dir + "/monitor.txt");
    if (monitored.find("file://" + path) != std::string::npos) break;
    osutils::SleepMilliseconds(10);
  }
  RunShell("kill " + std::to_string(std::atoi(monitor_pid.c_str())) + " " +
           std::to_string(std::atoi(daemon_pid.c_str())));
  EXPECT_EQ(status, 0);
  EXPECT_NE(monitored.find("interface=org.freedesktop.FileManager1; member=ShowItems"),
            std::string::npos)
      << monitored;
  EXPECT_NE(monitored.find("string \"file://" + path + "\""), std::string::npos) << monitored;
  EXPECT_TRUE(IsFolderOf(folder_call, path));
}

TEST_F(OsUtilsLinuxTest, ToolOpensUrlsAndFiles) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  EXPECT_EQ(RunShell(Quote(tool) + " open 'tavrintest:from the tool'"), 0);
  EXPECT_EQ(WaitForHandler("url"), "tavrintest:from%20the%20tool\n");
  SetUp();
  const std::string a = MakeFile("one.txt", "1\n");
  const std::string b = MakeFile("two.txt", "2\n");
  EXPECT_EQ(RunShell(Quote(tool) + " open " + Quote(a) + " " + Quote(b)), 0);
  EXPECT_EQ(WaitForOutputs(1), (std::vector<std::string>{"files: " + a + "\n" + b + "\n"}));
  SetUp();
  EXPECT_EQ(RunShell(Quote(tool) + " open --with tavrin-test-viewer " + Quote(a)), 0);
  EXPECT_EQ(WaitForHandler("viewer"), a + "\n");
  EXPECT_EQ(RunShell(Quote(tool) + " open " + Quote(TempRoot() + "/absent.txt") + " 2>/dev/null"),
            1);
  EXPECT_EQ(RunShell(Quote(tool) + " open tavrin-nobody:x 2>/dev/null"), 1);
  EXPECT_EQ(RunShell(Quote(tool) + " open 2>/dev/null"), 2);
  EXPECT_EQ(RunShell(Quote(tool) + " open --reveal tavrintest:x 2>/dev/null"), 2);
}

TEST_F(OsUtilsLinuxTest, GetOsNamesTheSystem) {
  osutils::SystemQueries q;
  std::string name = "Test Linux 1.0 (unit)";
  q.osName = [&name] { return name; };
  osutils::SetSystemQueries(q);
  tavrin_ustring result("before");
  EXPECT_EQ(osutils::GetOS(result), 0);
  EXPECT_EQ(result.utf8(), "Test Linux 1.0 (unit)");
  name = "";
  EXPECT_EQ(osutils::GetOS(result), 0);
  EXPECT_EQ(result.utf8(), "unknown");
  name = "\xFF";
  EXPECT_EQ(osutils::GetOS(result), 0);
  EXPECT_EQ(result.utf8(), "unknown");
  EXPECT_EQ(osutils::GetOS(), 0);
}

TEST_F(OsUtilsLinuxTest, GetOsOfThisMachineMatchesTheShellsReading) {
  // os-release is shell syntax: the shell's own reading is the reference.
  std::string expected;
  RunShell(
      "for f in /etc/os-release /usr/lib/os-release; do if [ -r \"$f\" ]; then "
      ". \"$f\"; printf '%s' \"$PRETTY_NAME\"; break; fi; done",
      &expected);
  tavrin_ustring name;
  EXPECT_EQ(osutils::GetOS(name), 0);
  EXPECT_EQ(name.utf8(), expected.empty() ? "unknown" : expected);
}

TEST_F(OsUtilsLinuxTest, KernelVersionMatchesUname) {
  std::string release;
  ASSERT_EQ(RunShell("uname -r", &release), 0);
  int major = 0, minor = 0, patch = 0;
  std::sscanf(release.c_str(), "%d.%d.%d", &major, &minor, &patch);
  const osutils::OsVersion v = osutils::GetOsVersion();
  EXPECT_EQ(v.major, major) << release;
  EXPECT_EQ(v.minor, minor) << release;
  EXPECT_EQ(v.patch, patch) << release;
  EXPECT_GT(v.major, 0);
  EXPECT_EQ(osutils::GetOsVersionString().utf8(),
            std::to_string(major) + "." + std::to_string(minor));
}

TEST_F(OsUtilsLinuxTest, DeviceInfoOfThisMachineIsTrimmedOrUnknown) {
  const tavrin::utils::DeviceInfo info = tavrin::utils::GetDeviceInfo();
  EXPECT_EQ(info.identifier.utf8(), "*UNKNOWN*");
  for (const tavrin_ustring* field : {&info.manufacturer, &info.model}) {
    const std::string text = field->utf8();
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_NE(text.front(), ' ');
    EXPECT_NE(text.back(), ' ');
  }
  std::string vendor;
  if (RunShell("cat /sys/class/dmi/id/sys_vendor 2>/dev/null", &vendor) == 0 && !vendor.empty()) {
    while (!vendor.empty() && (vendor.back() == '\n' || vendor.back() == ' ')) vendor.pop_back();
    EXPECT_EQ(info.manufacturer.utf8(), vendor.empty() ? "*UNKNOWN*" : vendor);
  }
}

// --- Locale of the environment -------------------------------------------------------

// glibc's newlocale keeps its copy of LOCPATH (a few bytes per call while
// LOCPATH is set; the library loads a locale once per environment). Under
// the leak checker those bytes are not reported while this scope lives.
class LocpathScope {
 public:
  explicit LocpathScope(const std::string& dir) : env_("LOCPATH", dir.c_str()) {
#if defined(TAVRIN_TEST_LSAN)
    __lsan_disable();
#endif
  }
  ~LocpathScope() {
#if defined(TAVRIN_TEST_LSAN)
    __lsan_enable();
#endif
  }
  LocpathScope(const LocpathScope&) = delete;
  LocpathScope& operator=(const LocpathScope&) = delete;

 private:
  ScopedEnv env_;
};

// A locale whose decimal separator is a comma, compiled into `dir` (used as
// LOCPATH): de_DE.UTF-8 from the installed locale sources, else a small
// locale defining only the numeric category. Returns its name, or "".
std::string BuildCommaLocale(const std::string& dir) {
  auto usable = [&dir](const char* name) {
    const LocpathScope locpath(dir);
    locale_t l = ::newlocale(LC_NUMERIC_MASK, name, static_cast<locale_t>(0));
    if (l == static_cast<locale_t>(0)) return false;
    const bool comma = std::string(::nl_langinfo_l(RADIXCHAR, l)) == ",";
    ::freelocale(l);
    return comma;
  };
  RunShell("localedef -i de_DE -f UTF-8 " + Quote(dir + "/de_DE.UTF-8") + " >/dev/null 2>&1");
  if (usable("de_DE.UTF-8")) return "de_DE.UTF-8";
  WriteFile(dir + "/comma.src",
            "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\ngrouping 3;3\n"
            "END LC_NUMERIC\n");
  // localedef warns (and exits with 1) about the categories left out.
  RunShell("localedef -c -i " + Quote(dir + "/comma.src") + " -f UTF-8 " +
           Quote(dir + "/xx_XX.UTF-8") + " >/dev/null 2>&1");
  if (usable("xx_XX.UTF-8")) return "xx_XX.UTF-8";
  return "";
}

const std::string& CommaLocaleDir() {
  static const std::string dir = FreshDir("locales");
  return dir;
}

const std::string& CommaLocale() {
  static const std::string name = BuildCommaLocale(CommaLocaleDir());
  return name;
}

double ParseUtf8(const char* text, bool* ok = nullptr) {
  const tavrin_ustring units(text);
  double value = -1;
  const bool parsed = osutils::TextToDouble(units.c_str(), value);
  if (ok != nullptr) *ok = parsed;
  return value;
}

TEST_F(OsUtilsLinuxTest, CUtf8LocaleUsesADot) {
  ScopedEnv lang("LANG", "C.UTF-8");
  ScopedEnv numeric("LC_NUMERIC", nullptr);
  osutils::ResetSystemQueries();  // forget a cached separator
  EXPECT_EQ(osutils::GetDecimalSeparator(), u'.');
  EXPECT_EQ(ParseUtf8("2.5"), 2.5);
  EXPECT_EQ(ParseUtf8("2,5"), 2.0);
}

TEST_F(OsUtilsLinuxTest, CommaLocaleFromTheEnvironment) {
  if (CommaLocale().empty()) GTEST_SKIP() << "localedef could not build a comma-decimal locale";
  const std::string global_before = std::setlocale(LC_ALL, nullptr);
  {
    LocpathScope locpath(CommaLocaleDir());
    ScopedEnv all("LC_ALL", CommaLocale().c_str());
    osutils::ResetSystemQueries();
    EXPECT_EQ(osutils::GetDecimalSeparator(), u',') << CommaLocale();
    EXPECT_EQ(ParseUtf8("1,5"), 1.5);
    EXPECT_EQ(ParseUtf8("-1,5e2x"), -150.0);
    EXPECT_EQ(ParseUtf8("1.5"), 1.0);
  }
  // The process's own locale was never touched.
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), global_before);
  EXPECT_STREQ(std::localeconv()->decimal_point, ".");
  char formatted[16];
  std::snprintf(formatted, sizeof formatted, "%.1f", 1.5);
  EXPECT_STREQ(formatted, "1.5");
  // The separator stays cached after the environment changed back;
  // TextToDouble reads the locale again at each call.
  EXPECT_EQ(osutils::GetDecimalSeparator(), u',');
  EXPECT_EQ(ParseUtf8("1,5"), 1.0);
}

TEST_F(OsUtilsLinuxTest, NumericCategoryDecides) {
  if (CommaLocale().empty()) GTEST_SKIP() << "localedef could not build a comma-decimal locale";
  LocpathScope locpath(CommaLocaleDir());
  {
    ScopedEnv lang("LANG", CommaLocale().c_str());
    ScopedEnv numeric("LC_NUMERIC", "C.UTF-8");
    EXPECT_EQ(ParseUtf8("1,5"), 1.0);  // LC_NUMERIC wins over LANG
  }
  {
    ScopedEnv lang("LANG", "C.UTF-8");
    ScopedEnv numeric("LC_NUMERIC", CommaLocale().c_str());
    EXPECT_EQ(ParseUtf8("1,5"), 1.5);
  }
}

TEST_F(OsUtilsLinuxTest, MissingLocaleFallsBackToDot) {
  ScopedEnv all("LC_ALL", "zz_ZZ.UTF-8");
  osutils::ResetSystemQueries();
  EXPECT_EQ(osutils::GetDecimalSeparator(), u'.');
  EXPECT_EQ(ParseUtf8("3.25"), 3.25);
}

// --- Language code from the environment ---------------------------------------------

TEST_F(OsUtilsLinuxTest, LanguageCodeFromTheEnvironmentVariables) {
  ScopedEnv language("LANGUAGE", nullptr);
  ScopedEnv all("LC_ALL", nullptr);
  ScopedEnv messages("LC_MESSAGES", nullptr);
  ScopedEnv lang("LANG", "en_GB.UTF-8");
  EXPECT_EQ(osutils::ConstructOSLanguageCode().utf8(), "en-US");
  {
    ScopedEnv m("LC_MESSAGES", "pt_PT.UTF-8");
    EXPECT_EQ(osutils::ConstructOSLanguageCode().utf8(), "pt-BR");
    ScopedEnv a("LC_ALL", "zh_TW.UTF-8");
    EXPECT_EQ(osutils::ConstructOSLanguageCode().utf8(), "zh-TW");
    ScopedEnv l("LANGUAGE", "::fr_FR:de");
    EXPECT_EQ(osutils::ConstructOSLanguageCode().utf8(), "fr");
    ScopedEnv empty("LANGUAGE", ":");  // no entry: the next variable
    EXPECT_EQ(osutils::ConstructOSLanguageCode().utf8(), "zh-TW");
  }
  ScopedEnv c("LANG", "C.UTF-8");
  EXPECT_EQ(osutils::ConstructOSLanguageCode().utf8(), "");
  ScopedEnv none("LANG", nullptr);
  EXPECT_EQ(osutils::ConstructOSLanguageCode().utf8(), "");
}

// --- User, program, process --------------------------------------------------------------

TEST_F(OsUtilsLinuxTest, FullUserNameMatchesThePasswordDatabase) {
  std::string gecos;
  if (RunShell("getent passwd \"$(id -u)\" | cut -d: -f5", &gecos) != 0)
    GTEST_SKIP() << "getent cannot read the password database";
  if (!gecos.empty() && gecos.back() == '\n') gecos.pop_back();
  std::string expected = gecos.substr(0, gecos.find(','));
  while (!expected.empty() && expected.back() == ' ') expected.pop_back();
  EXPECT_EQ(osutils::GetFullUserName().utf8(), expected);
}

TEST_F(OsUtilsLinuxTest, ExeDirectoryHoldsThisTestProgram) {
  const std::string dir = osutils::GetExeDirectory().utf8();
  ASSERT_FALSE(dir.empty());
  EXPECT_EQ(dir.front(), '/');
  EXPECT_NE(dir.back(), '/');
  struct stat st;
  EXPECT_EQ(::stat((dir + "/linux_osutils_linux_test").c_str(), &st), 0) << dir;
}

TEST_F(OsUtilsLinuxTest, PlatformAnswersWithoutHooks) {
  EXPECT_EQ(osutils::GetProcessTranslationEnvironmentStr().utf8(), "Native");
  EXPECT_EQ(osutils::GetPixelsPerInch(), 0);
  int window = 0;
  EXPECT_EQ(osutils::GetPixelsPerInchForScreenContainingWindow(&window), 0);
  tavrin::utils::HighDpiUtils::ConfigureDpiScaleFactor(3.0f);
  tavrin::utils::HighDpiUtils::ConfigureDpiScaleFactor(0);  // no screen: 1.0
  EXPECT_EQ(tavrin::utils::HighDpiUtils::DpiScaleFactor(), 1.0f);
  osutils::MarkProfilerPointOfInterest(1, 2, 3, 4, 5);  // no-ops on this build
  osutils::BeginProfilerRegionOfInterest(1, 0, 0, 0, 0);
  osutils::EndProfilerRegionOfInterest(1, 0, 0, 0, 0);
}

void IgnoreAlarm(int) {}

TEST_F(OsUtilsLinuxTest, SleepResumesAfterASignal) {
  struct sigaction action = {};
  action.sa_handler = IgnoreAlarm;  // no SA_RESTART: nanosleep returns EINTR
  struct sigaction previous;
  ASSERT_EQ(::sigaction(SIGALRM, &action, &previous), 0);
  struct itimerval every_ms = {{0, 1000}, {0, 1000}};
  ::setitimer(ITIMER_REAL, &every_ms, nullptr);
  const auto start = std::chrono::steady_clock::now();
  osutils::SleepMilliseconds(30);
  const auto slept = std::chrono::steady_clock::now() - start;
  struct itimerval off = {};
  ::setitimer(ITIMER_REAL, &off, nullptr);
  ::sigaction(SIGALRM, &previous, nullptr);
  // A sleep is never shorter than asked, however often it is interrupted.
  EXPECT_GE(slept, std::chrono::milliseconds(30));
}

}  // namespace
