// Tests of the operating-system queries' rules, fed raw answers through the
// SystemQueries hooks: version text and the macOS release table, the number
// grammar of TextToDouble, the decimal-separator cache, the language-code
// mapping, URL escaping, the opening and revealing calls, the DPI
// arithmetic, the small process queries, and the os-release and DMI
// readers on files of the temporary tree.
#include "common/utils/osutils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "common/utils/internal/osutils_internal.h"
#include "tests/test_support.h"

using tavrin::osutils::OsVersion;
using tavrin::osutils::ProfilerEvent;
using tavrin::osutils::SystemQueries;
using tavrin::utils::tavrin_ustring;
namespace osutils = tavrin::osutils;
namespace dpi = tavrin::utils::HighDpiUtils;

namespace {

class OsUtilsTest : public testing::Test {
 protected:
  void TearDown() override {
    osutils::ResetSystemQueries();
    dpi::ConfigureDpiScaleFactor(1.0f);
  }

  // Installs `q` (members left empty keep the platform's answers).
  static void Install(const SystemQueries& q) { osutils::SetSystemQueries(q); }

  static void UseSeparator(const std::string& separator) {
    SystemQueries q;
    q.decimalSeparator = [separator] { return separator; };
    Install(q);
  }
};

std::string U8(const tavrin_ustring& s) {
  return s.utf8();
}

// TextToDouble on UTF-8 text; returns {ok, value}.
std::pair<bool, double> Parse(const char* text) {
  const tavrin_ustring units(text);
  double value = -99;
  const bool ok = osutils::TextToDouble(units.c_str(), value);
  return {ok, value};
}

// --- Versions -------------------------------------------------------------------

TEST_F(OsUtilsTest, OsVersionValidityAndOrder) {
  EXPECT_TRUE((OsVersion{0, 0, 0}).IsValid());
  EXPECT_TRUE((OsVersion{10, 15, 7}).IsValid());
  EXPECT_FALSE((OsVersion{-1, 0, 0}).IsValid());
  EXPECT_FALSE((OsVersion{1, -1, 0}).IsValid());
  EXPECT_FALSE((OsVersion{1, 0, -1}).IsValid());
  EXPECT_TRUE((OsVersion{10, 15, 7}) < (OsVersion{11, 0, 0}));
  EXPECT_FALSE((OsVersion{11, 0, 0}) < (OsVersion{10, 15, 7}));
  EXPECT_TRUE((OsVersion{11, 0, 0}) < (OsVersion{11, 0, 1}));
  EXPECT_TRUE((OsVersion{11, 1, 0}) < (OsVersion{11, 2, 0}));
  EXPECT_FALSE((OsVersion{11, 2, 3}) < (OsVersion{11, 2, 3}));
  EXPECT_TRUE((OsVersion{-1, 9, 9}) < (OsVersion{0, 0, 0}));  // signed
}

TEST_F(OsUtilsTest, ParseVersionTextReadsLeadingNumbers) {
  using osutils::internal::ParseVersionText;
  auto parts = [](const OsVersion& v) { return std::make_tuple(v.major, v.minor, v.patch); };
  EXPECT_EQ(parts(ParseVersionText("6.8.0-45-generic")), std::make_tuple(6, 8, 0));
  EXPECT_EQ(parts(ParseVersionText("5.15")), std::make_tuple(5, 15, 0));
  EXPECT_EQ(parts(ParseVersionText("24")), std::make_tuple(24, 0, 0));
  EXPECT_EQ(parts(ParseVersionText("4.19.112+")), std::make_tuple(4, 19, 112));
  EXPECT_EQ(parts(ParseVersionText("3.10.0.1160")), std::make_tuple(3, 10, 0));
  EXPECT_EQ(parts(ParseVersionText("6.x")), std::make_tuple(6, 0, 0));
  EXPECT_EQ(parts(ParseVersionText("6.")), std::make_tuple(6, 0, 0));
  EXPECT_EQ(parts(ParseVersionText("")), std::make_tuple(0, 0, 0));
  EXPECT_EQ(parts(ParseVersionText("v6.1")), std::make_tuple(0, 0, 0));
  EXPECT_EQ(parts(ParseVersionText(".1.2")), std::make_tuple(0, 0, 0));
  EXPECT_EQ(parts(ParseVersionText("99999999999.1")), std::make_tuple(0, 0, 0));
  EXPECT_EQ(parts(ParseVersionText("2147483647.1")), std::make_tuple(INT_MAX, 1, 0));
}

TEST_F(OsUtilsTest, VersionAndVersionStringComeFromTheHook) {
  SystemQueries q;
  q.osVersion = [] { return OsVersion{10, 15, 7}; };
  Install(q);
  EXPECT_EQ(osutils::GetOsVersion().patch, 7);
  EXPECT_EQ(U8(osutils::GetOsVersionString()), "10.15");
  q.osVersion = [] { return OsVersion{}; };
  Install(q);
  EXPECT_EQ(U8(osutils::GetOsVersionString()), "0.0");
  q.osVersion = [] { return OsVersion{-1, 2, 3}; };
  Install(q);
  EXPECT_EQ(U8(osutils::GetOsVersionString()), "-1.2");
}

TEST_F(OsUtilsTest, MacReleaseTable) {
  struct Case {
    OsVersion version;
    int code;
    const char* name;
  };
  const Case cases[] = {
      {{10, 8, 0}, 8, "Mountain Lion"}, {{10, 9, 5}, 9, "Mavericks"},
      {{10, 10, 0}, 10, "Yosemite"},    {{10, 11, 0}, 11, "El Capitan"},
      {{10, 12, 6}, 12, "Sierra"},      {{10, 13, 0}, 13, "High Sierra"},
      {{10, 14, 0}, 14, "Mojave"},      {{10, 15, 7}, 15, "Catalina"},
      {{11, 0, 1}, 16, "Big Sur"},      {{12, 7, 0}, 17, "Monterey"},
      {{13, 0, 0}, 18, "Ventura"},      {{14, 5, 0}, 19, "Sonoma"},
      {{15, 1, 0}, 20, "Sequoia"},      {{10, 7, 0}, 7, "unknown"},
      {{10, 16, 0}, 16, "unknown"},     {{10, 0, 0}, 0, "unknown"},
      {{9, 8, 0}, 8, "Mountain Lion"},  {{0, 0, 0}, 0, "unknown"},
  };
  for (const Case& c : cases) {
    tavrin_ustring name("before");
    EXPECT_EQ(osutils::MacOsCodeForVersion(c.version, name), c.code) << c.name;
    EXPECT_EQ(U8(name), c.name) << c.version.major << "." << c.version.minor;
  }
  for (int major : {16, 26, 100}) {
    tavrin_ustring name("kept");
    EXPECT_EQ(osutils::MacOsCodeForVersion(OsVersion{major, 0, 0}, name), 21);
    EXPECT_EQ(U8(name), "kept");
  }
}

TEST_F(OsUtilsTest, GetOsWithoutNameAgreesWithGetOs) {
  SystemQueries q;
  q.osVersion = [] { return OsVersion{10, 14, 0}; };
  q.osName = [] { return std::string("Test OS 1"); };
  Install(q);
  tavrin_ustring name;
  const int code = osutils::GetOS(name);
  EXPECT_EQ(osutils::GetOS(), code);
  EXPECT_FALSE(name.empty());
}

TEST_F(OsUtilsTest, Is64bit) {
  EXPECT_TRUE(osutils::Is64bit());
}

// --- User -------------------------------------------------------------------------

TEST_F(OsUtilsTest, FullUserNameIsTheFirstFieldOfTheRecord) {
  std::string record;
  SystemQueries q;
  q.fullUserName = [&record] { return record; };
  Install(q);
  record = "Ada Lovelace,Room 12,555,,";
  EXPECT_EQ(U8(osutils::GetFullUserName()), "Ada Lovelace");
  record =
      "Zo\xC3\xAB Garc\xC3\xAD"
      "a";
  EXPECT_EQ(U8(osutils::GetFullUserName()),
            "Zo\xC3\xAB Garc\xC3\xAD"
            "a");
  record = ",,,";
  EXPECT_EQ(U8(osutils::GetFullUserName()), "");
  record = "";
  EXPECT_EQ(U8(osutils::GetFullUserName()), "");
  record = "bad \xFF name";
  EXPECT_EQ(U8(osutils::GetFullUserName()), "");
}

// --- Decimal separator ----------------------------------------------------------

TEST_F(OsUtilsTest, DecimalSeparatorIsReadOnceAndKept) {
  int asked = 0;
  std::string answer = ",";
  SystemQueries q;
  q.decimalSeparator = [&] {
    ++asked;
    return answer;
  };
  Install(q);
  EXPECT_EQ(osutils::GetDecimalSeparator(), u',');
  answer = ".";  // a later locale change is not seen
  EXPECT_EQ(osutils::GetDecimalSeparator(), u',');
  EXPECT_EQ(osutils::GetDecimalSeparator(), u',');
  EXPECT_EQ(asked, 1);
  Install(q);  // installing answers forgets the cached one
  EXPECT_EQ(osutils::GetDecimalSeparator(), u'.');
  EXPECT_EQ(asked, 2);
}

TEST_F(OsUtilsTest, DecimalSeparatorFallsBackToDot) {
  UseSeparator("");
  EXPECT_EQ(osutils::GetDecimalSeparator(), u'.');
  UseSeparator("\xFF");  // not UTF-8
  EXPECT_EQ(osutils::GetDecimalSeparator(), u'.');
  UseSeparator("\xD9\xAB");  // U+066B ARABIC DECIMAL SEPARATOR
  EXPECT_EQ(osutils::GetDecimalSeparator(), 0x066B);
  UseSeparator("\xF0\x9F\x98\x80");  // outside the BMP: the first unit
  EXPECT_EQ(osutils::GetDecimalSeparator(), 0xD83D);
}

TEST_F(OsUtilsTest, DecimalSeparatorFirstCallsFromSeveralThreadsAgree) {
  std::atomic<int> asked{0};
  SystemQueries q;
  q.decimalSeparator = [&asked] {
    ++asked;
    return std::string(",");
  };
  Install(q);
  std::vector<unsigned short> seen(8, 0);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&seen, i] { seen[i] = osutils::GetDecimalSeparator(); });
  for (std::thread& t : threads) t.join();
  for (unsigned short s : seen) EXPECT_EQ(s, u',');
  EXPECT_GE(asked, 1);
}

// --- TextToDouble -----------------------------------------------------------------

TEST_F(OsUtilsTest, TextToDoubleWithDotSeparator) {
  UseSeparator(".");
  EXPECT_EQ(Parse("1.5"), std::make_pair(true, 1.5));
  EXPECT_EQ(Parse("  -2.25xyz"), std::make_pair(true, -2.25));
  EXPECT_EQ(Parse("+3"), std::make_pair(true, 3.0));
  EXPECT_EQ(Parse(".5"), std::make_pair(true, 0.5));
  EXPECT_EQ(Parse("5."), std::make_pair(true, 5.0));
  EXPECT_EQ(Parse("1.2.3"), std::make_pair(true, 1.2));
  EXPECT_EQ(Parse("1e3"), std::make_pair(true, 1000.0));
  EXPECT_EQ(Parse("1E-2"), std::make_pair(true, 0.01));
  EXPECT_EQ(Parse("2.5e+2"), std::make_pair(true, 250.0));
  EXPECT_EQ(Parse("1e"), std::make_pair(true, 1.0));   // no digits after "e"
  EXPECT_EQ(Parse("1e+"), std::make_pair(true, 1.0));  // nor after its sign
  EXPECT_EQ(Parse("7ex"), std::make_pair(true, 7.0));
  EXPECT_EQ(Parse("1,5"), std::make_pair(true, 1.0));    // "," is not this separator
  EXPECT_EQ(Parse("0x1p3"), std::make_pair(true, 0.0));  // hexadecimal is not read
  EXPECT_EQ(Parse("\xE3\x80\x80"
                  "42"),
            std::make_pair(true, 42.0));  // U+3000 space
  EXPECT_EQ(Parse("-0"), std::make_pair(true, -0.0));
  EXPECT_TRUE(std::signbit(Parse("-0").second));
}

TEST_F(OsUtilsTest, TextToDoubleRejectsTextWithoutDigits) {
  UseSeparator(".");
  for (const char* text : {"", " ", ".", "-", "+.", "e5", "inf", "-inf", "nan", "NAN", "infinity",
                           "abc", "- 1", "++1"}) {
    EXPECT_EQ(Parse(text), std::make_pair(false, 0.0)) << text;
  }
  double value = 5;
  EXPECT_FALSE(osutils::TextToDouble(nullptr, value));
  EXPECT_EQ(value, 0.0);
}

TEST_F(OsUtilsTest, TextToDoubleWithCommaSeparator) {
  UseSeparator(",");
  EXPECT_EQ(Parse("-1,5e2x"), std::make_pair(true, -150.0));
  EXPECT_EQ(Parse("1,5"), std::make_pair(true, 1.5));
  EXPECT_EQ(Parse("1.5"), std::make_pair(true, 1.0));  // "." ends the number
  EXPECT_EQ(Parse(",25"), std::make_pair(true, 0.25));
  EXPECT_EQ(Parse("3,1,4"), std::make_pair(true, 3.1));
  EXPECT_EQ(Parse(","), std::make_pair(false, 0.0));
}

TEST_F(OsUtilsTest, TextToDoubleWithLongAndExtremeNumbers) {
  UseSeparator(".");
  EXPECT_EQ(Parse("1e999").second, std::numeric_limits<double>::infinity());
  EXPECT_TRUE(Parse("1e999").first);
  EXPECT_EQ(Parse("-1e999").second, -std::numeric_limits<double>::infinity());
  EXPECT_EQ(Parse("1e-999"), std::make_pair(true, 0.0));
  const std::string many_digits = "0." + std::string(5000, '0') + "1";
  EXPECT_EQ(Parse(many_digits.c_str()), std::make_pair(true, 0.0));
  const std::string long_integer = std::string(400, '9');
  EXPECT_TRUE(std::isinf(Parse(long_integer.c_str()).second));
  EXPECT_EQ(Parse("123456789012345678901234567890").second, 1.2345678901234568e29);
}

TEST_F(OsUtilsTest, TextToDoubleWithMultiUnitSeparator) {
  UseSeparator("\xC2\xB7\xC2\xB7");  // two U+00B7 units
  EXPECT_EQ(Parse("1\xC2\xB7\xC2\xB7"
                  "5"),
            std::make_pair(true, 1.5));
  EXPECT_EQ(Parse("1\xC2\xB7"
                  "5"),
            std::make_pair(true, 1.0));                      // half a separator
  EXPECT_EQ(Parse("1\xC2\xB7"), std::make_pair(true, 1.0));  // cut at the end
}

TEST_F(OsUtilsTest, TextToDoubleReadsTheSeparatorAtEachCall) {
  std::string separator = ".";
  SystemQueries q;
  q.decimalSeparator = [&separator] { return separator; };
  Install(q);
  EXPECT_EQ(Parse("2,5").second, 2.0);
  separator = ",";
  EXPECT_EQ(Parse("2,5").second, 2.5);
}

TEST_F(OsUtilsTest, TextToDoubleMatchesFromCharsOnRandomNumbers) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  UseSeparator(",");
  std::uniform_int_distribution<std::uint64_t> bits;
  for (int i = 0; i < 2000; ++i) {
    double reference;
    do {
      const std::uint64_t b = bits(rng);
      std::memcpy(&reference, &b, sizeof reference);
    } while (!std::isfinite(reference));
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.17g", reference);
    std::string text = buffer;
    double expected = 0;
    std::from_chars(text.data(), text.data() + text.size(), expected);
    for (char& c : text)
      if (c == '.') c = ',';
    const auto [ok, value] = Parse((text + " tail").c_str());
    ASSERT_TRUE(ok) << text;
    ASSERT_EQ(value, expected) << text;
  }
}

// --- Language code ------------------------------------------------------------------

TEST_F(OsUtilsTest, LanguageCodeMapping) {
  using osutils::internal::LanguageCodeForLocaleName;
  const std::pair<const char*, const char*> cases[] = {
      {"zh-Hant-TW", "zh-TW"},
      {"zh_TW.UTF-8", "zh-TW"},
      {"zh_HK", "zh-TW"},
      {"zh_MO.UTF-8", "zh-TW"},
      {"zh-Hant", "zh-TW"},
      {"zh_CN.UTF-8", "zh-CN"},
      {"zh", "zh-CN"},
      {"zh-Hans-CN", "zh-CN"},
      {"zh_SG", "zh-CN"},
      {"yue", "zh-CN"},
      {"yue_HK", "zh-TW"},
      {"yue-Hant", "zh-TW"},
      {"pt_PT.UTF-8", "pt-BR"},
      {"pt", "pt-BR"},
      {"en_GB.UTF-8", "en-US"},
      {"en", "en-US"},
      {"EN_us", "en-US"},
      {"de_DE.UTF-8@euro", "de"},
      {"fr", "fr"},
      {"sr_RS@latin", "sr"},
      {"tl_PH", "tl"},
      {"no_NO", "no"},
      {"iw_IL", "iw"},
      {"he_IL.UTF-8", ""},
      {"nb_NO.UTF-8", ""},
      {"C", ""},
      {"POSIX", ""},
      {"C.UTF-8", ""},
      {"", ""},
      {"xx_YY", ""},
      {"_DE", ""},
      {"-", ""},
      {".UTF-8", ""},
  };
  for (const auto& [name, code] : cases) EXPECT_EQ(LanguageCodeForLocaleName(name), code) << name;
  for (const char* language :
       {"ar", "bg", "ca", "hr", "cs", "da", "nl", "fi", "fr", "de", "el", "iw",
        "hi", "hu", "id", "it", "ja", "ko", "lv", "lt", "no", "pl", "ro", "ru",
        "sr", "sk", "sl", "es", "sv", "th", "tr", "uk", "vi", "tl"}) {
    EXPECT_EQ(LanguageCodeForLocaleName(std::string(language) + "_XX.UTF-8"), language);
  }
}

TEST_F(OsUtilsTest, LanguageCodeComesFromThePreferredLanguage) {
  std::string preferred;
  SystemQueries q;
  q.preferredLanguage = [&preferred] { return preferred; };
  Install(q);
  preferred = "zh-Hant-TW";
  EXPECT_EQ(U8(osutils::ConstructOSLanguageCode()), "zh-TW");
  preferred = "pt-PT";
  EXPECT_EQ(U8(osutils::ConstructOSLanguageCode()), "pt-BR");
  preferred = "en-GB";
  EXPECT_EQ(U8(osutils::ConstructOSLanguageCode()), "en-US");
  preferred = "eo";
  EXPECT_EQ(U8(osutils::ConstructOSLanguageCode()), "");
  preferred = "";
  EXPECT_EQ(U8(osutils::ConstructOSLanguageCode()), "");
}

// --- Opening and revealing ---------------------------------------------------------

TEST_F(OsUtilsTest, EscapeUrlTextKeepsUnreservedReservedAndPercent) {
  using osutils::internal::EscapeUrlText;
  const std::string keep =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?#[]@!$&'()*+,;=%";
  for (int c = 0; c < 256; ++c) {
    const std::string in(1, static_cast<char>(c));
    const bool kept = c != 0 && keep.find(static_cast<char>(c)) != std::string::npos;
    char hex[4];
    std::snprintf(hex, sizeof hex, "%%%02X", c);
    EXPECT_EQ(EscapeUrlText(in), kept ? in : std::string(hex)) << c;
  }
  EXPECT_EQ(EscapeUrlText("https://ex.com/a b?q=\xC3\xBC&x=%20"),
            "https://ex.com/a%20b?q=%C3%BC&x=%20");
  EXPECT_EQ(EscapeUrlText(""), "");
}

struct OpenLog {
  std::vector<std::pair<std::string, bool>> urls;
  std::vector<std::vector<std::string>> file_sets;
  std::vector<std::pair<std::string, std::string>> with_app;
  std::vector<std::string> shown;
  bool result = true;
};

SystemQueries Recording(OpenLog& log) {
  SystemQueries q;
  q.openUrl = [&log](const std::string& target, bool isFile) {
    log.urls.emplace_back(target, isFile);
    return log.result;
  };
  q.openFiles = [&log](const std::vector<std::string>& paths) {
    log.file_sets.push_back(paths);
    return log.result;
  };
  q.openFileWithApplication = [&log](const std::string& path, const std::string& app) {
    log.with_app.emplace_back(path, app);
    return log.result;
  };
  q.showInFileViewer = [&log](const std::string& path) {
    log.shown.push_back(path);
    return log.result;
  };
  return q;
}

TEST_F(OsUtilsTest, OpenUrlEscapesUnlessEncodedOrAFile) {
  OpenLog log;
  Install(Recording(log));
  EXPECT_TRUE(osutils::OpenURL(tavrin_ustring("https://ex.com/a b?q=\xC3\xBC"), false));
  EXPECT_TRUE(osutils::OpenURL(tavrin_ustring("https://ex.com/a b"), false, true));
  EXPECT_TRUE(osutils::OpenURL(tavrin_ustring("/tmp/a b/\xC3\xBC.txt"), true));
  EXPECT_TRUE(osutils::OpenURL(tavrin_ustring("mailto:x@y.z?subject=50%25 off"), false));
  const std::vector<std::pair<std::string, bool>> expected = {
      {"https://ex.com/a%20b?q=%C3%BC", false},
      {"https://ex.com/a b", false},
      {"/tmp/a b/\xC3\xBC.txt", true},
      {"mailto:x@y.z?subject=50%25%20off", false}};
  EXPECT_EQ(log.urls, expected);
  log.result = false;
  EXPECT_FALSE(osutils::OpenURL(tavrin_ustring("x:y"), false));
  EXPECT_FALSE(osutils::OpenURL(tavrin_ustring(), false));  // never handed on
  EXPECT_EQ(log.urls.size(), 5u);
}

TEST_F(OsUtilsTest, OpenFilesHandsAllPathsTogether) {
  OpenLog log;
  Install(Recording(log));
  const tavrin_ustring paths[] = {tavrin_ustring("/a/one.txt"),
                                  tavrin_ustring("/b/tw\xC3\xB6.png")};
  EXPECT_FALSE(osutils::OpenFiles(nullptr, 2));
  EXPECT_FALSE(osutils::OpenFiles(paths, 0));
  EXPECT_TRUE(log.file_sets.empty());
  EXPECT_TRUE(osutils::OpenFiles(paths, 2));
  ASSERT_EQ(log.file_sets.size(), 1u);
  EXPECT_EQ(log.file_sets[0], (std::vector<std::string>{"/a/one.txt", "/b/tw\xC3\xB6.png"}));
  log.result = false;
  EXPECT_FALSE(osutils::OpenFiles(paths, 1));
}

TEST_F(OsUtilsTest, OpenFileWithApplicationOrTheDefault) {
  OpenLog log;
  Install(Recording(log));
  EXPECT_TRUE(osutils::OpenFileWithApplication(tavrin_ustring("/x/a.txt"), tavrin_ustring()));
  EXPECT_TRUE(osutils::OpenFileWithApplication(tavrin_ustring("/x/a.txt"),
                                               tavrin_ustring("org.example.Viewer")));
  EXPECT_FALSE(osutils::OpenFileWithApplication(tavrin_ustring(), tavrin_ustring("viewer")));
  EXPECT_EQ(log.urls, (std::vector<std::pair<std::string, bool>>{{"/x/a.txt", true}}));
  EXPECT_EQ(log.with_app,
            (std::vector<std::pair<std::string, std::string>>{{"/x/a.txt", "org.example.Viewer"}}));
}

TEST_F(OsUtilsTest, ShowLogFileOnlyWhenThereIsOne) {
  OpenLog log;
  std::string log_file;
  SystemQueries q = Recording(log);
  q.logFile = [&log_file] { return log_file; };
  Install(q);
  osutils::ShowLogFileWithSystemViewer();
  EXPECT_TRUE(log.shown.empty());
  log_file = "/tmp/app/Modeler-2024-06-21-13_30_05.log";
  osutils::ShowLogFileWithSystemViewer();
  EXPECT_EQ(log.shown, (std::vector<std::string>{log_file}));
  EXPECT_FALSE(osutils::ShowFileInSystemViewer(tavrin_ustring()));
  EXPECT_TRUE(osutils::ShowFileInSystemViewer(tavrin_ustring("/a/b")));
  EXPECT_EQ(log.shown.back(), "/a/b");
}

// --- Screen and DPI ---------------------------------------------------------------

TEST_F(OsUtilsTest, PixelsPerInchFromTheHooks) {
  int ppi = 144;
  void* seen_window = nullptr;
  SystemQueries q;
  q.pixelsPerInch = [&ppi] { return ppi; };
  q.pixelsPerInchForWindow = [&](void* window) {
    seen_window = window;
    return ppi / 2;
  };
  Install(q);
  EXPECT_EQ(osutils::GetPixelsPerInch(), 144);
  int window_object = 0;
  EXPECT_EQ(osutils::GetPixelsPerInchForScreenContainingWindow(&window_object), 72);
  EXPECT_EQ(seen_window, &window_object);
  EXPECT_EQ(osutils::GetPixelsPerInchForScreenContainingWindow(nullptr), 0);
  ppi = -10;
  EXPECT_EQ(osutils::GetPixelsPerInch(), 0);
  EXPECT_EQ(osutils::GetPixelsPerInchForScreenContainingWindow(&window_object), 0);
}

TEST_F(OsUtilsTest, DpiScalingRounding) {
  EXPECT_EQ(dpi::DpiScaleFactor(), 1.0f);
  dpi::ConfigureDpiScaleFactor(1.5f);
  EXPECT_EQ(dpi::DpiScaleFactor(), 1.5f);
  EXPECT_EQ(dpi::ScaleForDpi(3), 5);  // floor(4.5 + 0.5)
  EXPECT_EQ(dpi::ScaleForDpi(1), 2);  // floor(1.5 + 0.5)
  EXPECT_EQ(dpi::ScaleForDpi(0), 0);
  EXPECT_EQ(dpi::ScaleForDpi(-3), -4);  // floor(-4.5 + 0.5)
  EXPECT_EQ(dpi::PhysicalToLogicalPixels(5), 3);
  EXPECT_EQ(dpi::PhysicalToLogicalPixels(-5), -3);  // toward zero
  EXPECT_EQ(dpi::PhysicalToLogicalPixels(3), 2);
  dpi::ConfigureDpiScaleFactor(2.0f);
  EXPECT_EQ(dpi::ScaleForDpi(7), 14);
  EXPECT_EQ(dpi::PhysicalToLogicalPixels(7), 3);
}

TEST_F(OsUtilsTest, DpiScalingClampsToTheIntRange) {
  dpi::ConfigureDpiScaleFactor(1000.0f);
  EXPECT_EQ(dpi::ScaleForDpi(INT_MAX), INT_MAX);
  EXPECT_EQ(dpi::ScaleForDpi(INT_MIN), INT_MIN);
  dpi::ConfigureDpiScaleFactor(1e-30f);
  EXPECT_EQ(dpi::PhysicalToLogicalPixels(INT_MAX), INT_MAX);
  EXPECT_EQ(dpi::PhysicalToLogicalPixels(INT_MIN), INT_MIN);
  dpi::ConfigureDpiScaleFactor(1.0f);
  EXPECT_EQ(dpi::ScaleForDpi(INT_MAX), INT_MAX);
  EXPECT_EQ(dpi::PhysicalToLogicalPixels(INT_MIN), INT_MIN);
}

TEST_F(OsUtilsTest, DerivedDpiFactorIsNeverZero) {
  int ppi = 144;
  SystemQueries q;
  q.pixelsPerInch = [&ppi] { return ppi; };
  Install(q);
  dpi::ConfigureDpiScaleFactor(0);
  EXPECT_EQ(dpi::DpiScaleFactor(), 2.0f);
  ppi = 0;  // no screen: 1.0, whatever the factor was
  dpi::ConfigureDpiScaleFactor(-1);
  EXPECT_EQ(dpi::DpiScaleFactor(), 1.0f);
  ppi = 108;
  dpi::ConfigureDpiScaleFactor(std::nanf(""));
  EXPECT_EQ(dpi::DpiScaleFactor(), 1.5f);
  ppi = -72;
  dpi::ConfigureDpiScaleFactor(std::numeric_limits<float>::infinity());
  EXPECT_EQ(dpi::DpiScaleFactor(), 1.0f);
}

// --- Process ------------------------------------------------------------------------

TEST_F(OsUtilsTest, SleepPassesOnlyPositiveDurations) {
  std::vector<std::int64_t> sleeps;
  SystemQueries q;
  q.sleep = [&sleeps](std::int64_t ms) { sleeps.push_back(ms); };
  Install(q);
  osutils::SleepMilliseconds(0);
  osutils::SleepMilliseconds(-1);
  osutils::SleepMilliseconds(INT_MIN);
  osutils::SleepMilliseconds(5);
  osutils::SleepMilliseconds(INT_MAX);
  EXPECT_EQ(sleeps, (std::vector<std::int64_t>{5, INT_MAX}));
}

TEST_F(OsUtilsTest, ProfilerCallsReachTheHook) {
  std::vector<std::tuple<ProfilerEvent, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                         std::uint32_t>>
      events;
  SystemQueries q;
  q.profiler = [&events](ProfilerEvent e, std::uint32_t code, std::uint32_t a, std::uint32_t b,
                         std::uint32_t c,
                         std::uint32_t d) { events.emplace_back(e, code, a, b, c, d); };
  Install(q);
  osutils::MarkProfilerPointOfInterest(1, 2, 3, 4, 5);
  osutils::BeginProfilerRegionOfInterest(6, 7, 8, 9, 10);
  osutils::EndProfilerRegionOfInterest(0xFFFFFFFFu, 0, 0, 0, 1);
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0], std::make_tuple(ProfilerEvent::kPointOfInterest, 1u, 2u, 3u, 4u, 5u));
  EXPECT_EQ(events[1], std::make_tuple(ProfilerEvent::kBeginRegion, 6u, 7u, 8u, 9u, 10u));
  EXPECT_EQ(events[2], std::make_tuple(ProfilerEvent::kEndRegion, 0xFFFFFFFFu, 0u, 0u, 0u, 1u));
}

TEST_F(OsUtilsTest, ExeDirectoryIsTheProgramsFolder) {
  std::string path;
  SystemQueries q;
  q.executablePath = [&path] { return path; };
  Install(q);
  const std::pair<const char*, const char*> cases[] = {{"/opt/app/bin/tool", "/opt/app/bin"},
                                                       {"/tool", "/"},
                                                       {"/opt/app/bin/", "/opt/app"},
                                                       {"/a//b", "/a"},
                                                       {"tool", ""},
                                                       {"", ""},
                                                       {"/Applications/X.app", "/Applications"}};
  for (const auto& [in, out] : cases) {
    path = in;
    EXPECT_EQ(U8(osutils::GetExeDirectory()), out) << in;
  }
}

TEST_F(OsUtilsTest, TranslationEnvironmentNames) {
  int error = 0, value = 0;
  SystemQueries q;
  q.processTranslation = [&](int& v) {
    v = value;
    return error;
  };
  Install(q);
  const std::tuple<int, int, const char*> cases[] = {{ENOENT, 1, "Native"}, {EPERM, 0, "Unknown"},
                                                     {0, 0, "Native"},      {0, 1, "Translated"},
                                                     {0, 2, "Unknown"},     {0, -1, "Unknown"}};
  for (const auto& [e, v, name] : cases) {
    error = e;
    value = v;
    EXPECT_EQ(U8(osutils::GetProcessTranslationEnvironmentStr()), name) << e << " " << v;
  }
}

TEST_F(OsUtilsTest, DeviceInfoTrimsAndFallsBack) {
  std::string vendor, model;
  SystemQueries q;
  q.deviceManufacturer = [&vendor] { return vendor; };
  q.deviceModel = [&model] { return model; };
  Install(q);
  vendor = "  LENOVO \n";
  model = "ThinkPad X1\n";
  tavrin::utils::DeviceInfo info = tavrin::utils::GetDeviceInfo();
  EXPECT_EQ(U8(info.identifier), "*UNKNOWN*");
  EXPECT_EQ(U8(info.manufacturer), "LENOVO");
  EXPECT_EQ(U8(info.model), "ThinkPad X1");
  vendor = "\n";
  model = "bad \xFE";
  info = tavrin::utils::GetDeviceInfo();
  EXPECT_EQ(U8(info.manufacturer), "*UNKNOWN*");
  EXPECT_EQ(U8(info.model), "*UNKNOWN*");
}

TEST_F(OsUtilsTest, ToolReportsTheQueries) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  ASSERT_EQ(tavrin::test::RunShell("'" + tool + "' sysinfo --ppi 144", &out), 0);
  const OsVersion v = osutils::GetOsVersion();
  const std::string version =
      std::to_string(v.major) + "." + std::to_string(v.minor) + "." + std::to_string(v.patch);
  EXPECT_NE(out.find("os version          " + version), std::string::npos) << out;
  EXPECT_NE(out.find("translation         " + U8(osutils::GetProcessTranslationEnvironmentStr())),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("pixels per inch     144 (dpi factor 2:"), std::string::npos) << out;
  EXPECT_NE(out.find("device              *UNKNOWN* / "), std::string::npos) << out;
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' sysinfo --ppi x 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' sysinfo extra 2>/dev/null"), 2);
}

// --- Hooks ------------------------------------------------------------------------------

TEST_F(OsUtilsTest, HooksCanBeReadBackChainedAndReset) {
  const SystemQueries platform = osutils::PlatformSystemQueries();
  EXPECT_TRUE(platform.osVersion && platform.osName && platform.decimalSeparator &&
              platform.preferredLanguage && platform.fullUserName && platform.executablePath &&
              platform.deviceManufacturer && platform.deviceModel && platform.processTranslation &&
              platform.pixelsPerInch && platform.pixelsPerInchForWindow && platform.openUrl &&
              platform.openFiles && platform.openFileWithApplication && platform.showInFileViewer &&
              platform.logFile && platform.sleep && platform.profiler);

  const OsVersion real = osutils::GetOsVersion();
  SystemQueries q;
  q.osVersion = [platform] {
    OsVersion v = platform.osVersion();  // ask the platform, then adjust
    v.patch += 1000;
    return v;
  };
  Install(q);
  EXPECT_TRUE(static_cast<bool>(osutils::GetSystemQueries().osVersion));
  EXPECT_FALSE(static_cast<bool>(osutils::GetSystemQueries().osName));
  EXPECT_EQ(osutils::GetOsVersion().patch, real.patch + 1000);
  osutils::ResetSystemQueries();
  EXPECT_FALSE(static_cast<bool>(osutils::GetSystemQueries().osVersion));
  EXPECT_EQ(osutils::GetOsVersion().patch, real.patch);
}

// --- os-release and DMI readers (the layers that run on Linux) -----------------------

TEST_F(OsUtilsTest, OsReleasePrettyNameForms) {
  using osutils::internal::ReadOsReleasePrettyName;
  const std::string dir = tavrin::test::FreshDir("os-release");
  const std::pair<const char*, const char*> cases[] = {
      {"NAME=\"Debian\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nID=debian\n",
       "Debian GNU/Linux 12 (bookworm)"},
      {"PRETTY_NAME='Single Quoted $HOME'\n", "Single Quoted $HOME"},
      {"PRETTY_NAME=Bare\n", "Bare"},
      {"PRETTY_NAME=\"Say \\\"hi\\\" \\\\ \\$x\"\n", "Say \"hi\" \\ $x"},
      {"# PRETTY_NAME=\"commented\"\n  PRETTY_NAME=\"indented\"\n", "indented"},
      {"PRETTY_NAME=\"first\"\nPRETTY_NAME=\"last wins\"\n", "last wins"},
      {"PRETTY_NAME=\"crlf\"\r\nID=x\r\n", "crlf"},
      {"PRETTY_NAME=\"unterminated\n", "unterminated"},
      {"NAME=NoPretty\nXPRETTY_NAME=\"no\"\n", ""},
      {"PRETTY_NAME=\"\"\n", ""},
      {"", ""},
  };
  int n = 0;
  for (const auto& [content, expected] : cases) {
    const std::string path = dir + "/os-release." + std::to_string(++n);
    ASSERT_TRUE(tavrin::test::WriteFile(path, content));
    const auto name = ReadOsReleasePrettyName(path);
    ASSERT_TRUE(name.has_value()) << content;
    EXPECT_EQ(*name, expected) << content;
  }
  EXPECT_FALSE(ReadOsReleasePrettyName(dir + "/absent").has_value());
}

TEST_F(OsUtilsTest, DmiFieldsFromADirectory) {
  using osutils::internal::ReadDmiField;
  const std::string dir = tavrin::test::FreshDir("dmi");
  tavrin::test::WriteFile(dir + "/sys_vendor", "Framework\n");
  tavrin::test::WriteFile(dir + "/product_name", std::string(10000, 'x'));
  EXPECT_EQ(ReadDmiField(dir, "sys_vendor"), "Framework\n");
  EXPECT_EQ(ReadDmiField(dir, "product_name").size(), 4096u);  // bounded
  EXPECT_EQ(ReadDmiField(dir, "board_name"), "");
  EXPECT_EQ(ReadDmiField(dir, nullptr), "");
}

}  // namespace
