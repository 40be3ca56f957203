// Tests of the Linux localized lookup without a string table: gettext with
// the table name, the bundle identifier or the application identifier as the
// text domain. Catalogs are written by the test (the .mo format) into the
// temporary tree and bound with bindtextdomain.
//
// Localization keeps process-wide state that Initialize sets once, so every
// scenario runs in a child process of its own (EXPECT_EXIT).
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libintl.h>
#include <sys/stat.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "common/utils/stringtranslator.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::tavrin_ustring;
namespace Localization = tavrin::utils::Localization;

// A little-endian GNU message catalog holding `entries` (sorted by id, as the
// format requires; std::map keeps them so).
std::string MoFile(const std::map<std::string, std::string>& entries) {
  const std::uint32_t n = static_cast<std::uint32_t>(entries.size());
  const std::uint32_t ids_at = 28, strs_at = ids_at + 8 * n, data_at = strs_at + 8 * n;
  std::string header, data;
  auto word = [](std::string& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out += static_cast<char>((v >> (8 * i)) & 0xFF);
  };
  for (std::uint32_t v : {0x950412DEu, 0u, n, ids_at, strs_at, 0u, 0u}) word(header, v);
  std::string ids, strs;
  for (const auto& [id, str] : entries) {
    word(ids, static_cast<std::uint32_t>(id.size()));
    word(ids, data_at + static_cast<std::uint32_t>(data.size()));
    data += id + '\0';
  }
  for (const auto& [id, str] : entries) {
    word(strs, static_cast<std::uint32_t>(str.size()));
    word(strs, data_at + static_cast<std::uint32_t>(data.size()));
    data += str + '\0';
  }
  return header + ids + strs + data;
}

// Writes French catalogs for the given domains below a fresh folder and binds
// them; every domain translates "Open" to "<domain>: Ouvrir".
std::string InstallCatalogs(std::initializer_list<const char*> domains) {
  const std::string root = tavrin::test::FreshDir("locale");
  const std::string dir = root + "/fr/LC_MESSAGES";
  ::mkdir((root + "/fr").c_str(), 0700);
  ::mkdir(dir.c_str(), 0700);
  for (const char* domain : domains) {
    const std::map<std::string, std::string> entries = {
        {"", "Content-Type: text/plain; charset=UTF-8\n"},
        {"Open", std::string(domain) + ": Ouvrir"},
        {"Close", "Fermer"},
    };
    if (!tavrin::test::WriteFile(dir + "/" + domain + ".mo", MoFile(entries))) return "";
    ::bindtextdomain(domain, root.c_str());
  }
  return root;
}

// Makes gettext translate to French in this process: a messages locale
// other than "C" (C.UTF-8 is built into the C library) and LANGUAGE=fr.
bool UseFrench() {
  if (std::setlocale(LC_MESSAGES, "C.UTF-8") == nullptr) return false;
  ::setenv("LANGUAGE", "fr", 1);
  return true;
}

bool HaveUtf8Locale() {
  const char* old = std::setlocale(LC_MESSAGES, nullptr);
  const std::string saved = old ? old : "C";
  const bool ok = std::setlocale(LC_MESSAGES, "C.UTF-8") != nullptr;
  std::setlocale(LC_MESSAGES, saved.c_str());
  return ok;
}

// Reports a failed check from a child process and ends it with status 1.
#define CHILD_EXPECT_EQ(actual, expected)                                                         \
  do {                                                                                            \
    const std::string a_ = (actual), e_ = (expected);                                             \
    if (a_ != e_) {                                                                               \
      std::fprintf(stderr, "%s: got \"%s\", expected \"%s\"\n", #actual, a_.c_str(), e_.c_str()); \
      std::exit(1);                                                                               \
    }                                                                                             \
  } while (0)

// GLib's program-name functions, looked up in the process (the library
// links GLib; the tests do not include it).
using GetPrgname = const char* (*)();
using SetPrgname = void (*)(const char*);
GetPrgname FindGetPrgname() {
  return reinterpret_cast<GetPrgname>(::dlsym(RTLD_DEFAULT, "g_get_prgname"));
}
SetPrgname FindSetPrgname() {
  return reinterpret_cast<SetPrgname>(::dlsym(RTLD_DEFAULT, "g_set_prgname"));
}

std::string Lookup(const char* key) {
  return Localization::LookupStringReturnUstring(key).utf8();
}
std::string Lookup(const char* key, const char* fallback) {
  return Localization::LookupStringReturnUstring(key, fallback).utf8();
}

class LocalizationLinuxTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HaveUtf8Locale()) GTEST_SKIP() << "the C library has no C.UTF-8 locale";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
  }
};

// Each scenario ends the child process: status 0 when every check held.

void TableNameScenario() {
  if (InstallCatalogs({"tv-table", "tv-bundle"}).empty() || !UseFrench()) std::exit(3);
  if (!Localization::Initialize(tavrin_ustring("tv-bundle"), tavrin_ustring("tv-table")))
    std::exit(2);
  CHILD_EXPECT_EQ(Lookup("Open"), "tv-table: Ouvrir");
  CHILD_EXPECT_EQ(Lookup("Close"), "Fermer");
  std::exit(0);
}

void BundleIdentifierScenario() {
  if (InstallCatalogs({"tv-bundle"}).empty() || !UseFrench()) std::exit(3);
  if (!Localization::Initialize(tavrin_ustring("tv-bundle"), tavrin_ustring())) std::exit(2);
  CHILD_EXPECT_EQ(Lookup("Open"), "tv-bundle: Ouvrir");
  std::exit(0);
}

void FixedApplicationIdentifierScenario() {
  if (InstallCatalogs({"Wirelume"}).empty() || !UseFrench()) std::exit(3);
  CHILD_EXPECT_EQ(Lookup("Open"), "Wirelume: Ouvrir");
  std::exit(0);
}

void ApplicationIdentifierScenario() {
  if (InstallCatalogs({"tv-app"}).empty() || !UseFrench()) std::exit(3);
  FindSetPrgname()("tv-app");
  CHILD_EXPECT_EQ(Lookup("Open"), "tv-app: Ouvrir");
  // A table name without a folder is a platform table, not a file.
  if (!Localization::Initialize(tavrin_ustring(), tavrin_ustring("missing.strings"))) std::exit(2);
  CHILD_EXPECT_EQ(Lookup("Open"), "Open");  // no catalog for that domain
  std::exit(0);
}

void FallbackScenario() {
  if (InstallCatalogs({"tv-table"}).empty() || !UseFrench()) std::exit(3);
  if (!Localization::Initialize(tavrin_ustring(), tavrin_ustring("tv-table"))) std::exit(2);
  CHILD_EXPECT_EQ(Lookup("Redo"), "Redo");
  CHILD_EXPECT_EQ(Lookup("Redo", "Refaire"), "Refaire");
  CHILD_EXPECT_EQ(Lookup("Redo", nullptr), "Redo");
  CHILD_EXPECT_EQ(Lookup("Close", "unused"), "Fermer");
  // The empty key never reaches gettext (which would answer with the catalog
  // header).
  CHILD_EXPECT_EQ(Lookup(""), "");
  CHILD_EXPECT_EQ(Lookup(nullptr), "");
  CHILD_EXPECT_EQ(Lookup(nullptr, "fallback"), "fallback");
  std::exit(0);
}

void CLocaleScenario() {
  if (InstallCatalogs({"tv-table"}).empty()) std::exit(3);
  // gettext does not translate in the "C" locale, LANGUAGE or not.
  std::setlocale(LC_MESSAGES, "C");
  ::setenv("LANGUAGE", "fr", 1);
  if (!Localization::Initialize(tavrin_ustring(), tavrin_ustring("tv-table"))) std::exit(2);
  CHILD_EXPECT_EQ(Lookup("Open"), "Open");
  std::exit(0);
}

void BundleWithTablePathScenario() {
  // With a bundle identifier the table is a platform table name, not a file:
  // nothing is loaded, the result is true, and gettext has no catalog for
  // that domain, so the key comes back.
  const std::string dir = tavrin::test::FreshDir("bundle-table-path");
  if (!tavrin::test::WriteFile(dir + "/none", "\"Open\" = \"Ouvrir\"\n")) std::exit(3);
  if (!Localization::Initialize(tavrin_ustring("tv.bundle"), tavrin_ustring(dir + "/none")))
    std::exit(2);
  CHILD_EXPECT_EQ(Lookup("Open"), "Open");
  std::exit(0);
}

TEST_F(LocalizationLinuxTest, TableNameIsTheTextDomain) {
  EXPECT_EXIT(TableNameScenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(LocalizationLinuxTest, BundleIdentifierIsTheDomainWithoutTable) {
  EXPECT_EXIT(BundleIdentifierScenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(LocalizationLinuxTest, FixedApplicationIdentifierWithoutProgramName) {
  const GetPrgname get = FindGetPrgname();
  if (get == nullptr) GTEST_SKIP() << "GLib's g_get_prgname is not in the process";
  if (get() != nullptr) GTEST_SKIP() << "the program name is already set to " << get();
  EXPECT_EXIT(FixedApplicationIdentifierScenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(LocalizationLinuxTest, ProgramNameIsTheApplicationIdentifier) {
  if (FindSetPrgname() == nullptr) GTEST_SKIP() << "GLib's g_set_prgname is not in the process";
  EXPECT_EXIT(ApplicationIdentifierScenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(LocalizationLinuxTest, UntranslatedKeysAndFallbacks) {
  EXPECT_EXIT(FallbackScenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(LocalizationLinuxTest, BundleIdentifierMakesTheTablePathADomain) {
  EXPECT_EXIT(BundleWithTablePathScenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(LocalizationLinuxTest, CLocaleLeavesKeysUnchanged) {
  EXPECT_EXIT(CLocaleScenario(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
