// Tests of the bundle branch of Localization on Foundation: lookups in a
// bundle found by its identifier, its default table and a named table, keys
// without a translation, and an identifier no bundle has.
//
// The test bundle is written into the test's temporary tree and registered
// with bundleWithPath:, in the layout of the Foundation in use (GNUstep:
// Resources/Info-gnustep.plist; Apple: Contents/Info.plist).
#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include <string>

#include "common/utils/auto_release_pool.h"
#include "common/utils/stringtranslator.h"
#include "common/utils/ustring.h"
#include "tests/test_support.h"

namespace Localization = tavrin::utils::Localization;
using tavrin::utils::tavrin_ustring;

namespace {

constexpr char kBundleId[] = "com.example.tavrin.localization-test";

bool MakeDirs(const std::string& path) {
  return tavrin::test::RunShell("mkdir -p '" + path + "'") == 0;
}

// Writes the test bundle and returns its path ("" on failure).
std::string WriteBundle() {
  const std::string bundle = tavrin::test::FreshDir("bundle") + "/Strings.bundle";
#if defined(GNUSTEP)
  const std::string resources = bundle + "/Resources";
  if (!MakeDirs(resources + "/en.lproj")) return "";
  if (!tavrin::test::WriteFile(resources + "/Info-gnustep.plist",
                               std::string("{ CFBundleIdentifier = \"") + kBundleId + "\"; }\n")) {
    return "";
  }
#else
  const std::string resources = bundle + "/Contents/Resources";
  if (!MakeDirs(resources + "/en.lproj")) return "";
  if (!tavrin::test::WriteFile(
          bundle + "/Contents/Info.plist",
          std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                      "<key>CFBundleIdentifier</key><string>") +
              kBundleId + "</string></dict></plist>\n")) {
    return "";
  }
#endif
  const bool written =
      tavrin::test::WriteFile(resources + "/en.lproj/Localizable.strings",
                              "\"Open\" = \"Ouvrir\";\n\"Size %1\" = \"Taille %1\";\n"
                              "\"Caf\xC3\xA9\" = \"Kaffee \xE2\x98\x95\";\n") &&
      tavrin::test::WriteFile(resources + "/en.lproj/Menu.strings", "\"Open\" = \"Ouvrir...\";\n");
  return written ? bundle : "";
}

// The order matters: Initialize keeps an identifier or table once given,
// so the named table and the unknown identifier come last.
TEST(LocalizationMacTest, BundleLookupsByIdentifier) {
  const AutoReleasePool pool;
  const std::string path = WriteBundle();
  ASSERT_FALSE(path.empty());
  NSBundle* bundle = [NSBundle bundleWithPath:[NSString stringWithUTF8String:path.c_str()]];
  ASSERT_NE(bundle, nil);
  ASSERT_TRUE(
      [[bundle bundleIdentifier] isEqualToString:[NSString stringWithUTF8String:kBundleId]]);

  ASSERT_TRUE(Localization::Initialize(tavrin_ustring(kBundleId), tavrin_ustring()));
  EXPECT_EQ(Localization::LookupStringReturnUstring("Open").utf8(), "Ouvrir");
  EXPECT_EQ(Localization::LookupStringReturnUstring("Size %1").utf8(), "Taille %1");
  EXPECT_EQ(Localization::LookupStringReturnUstring("Caf\xC3\xA9").utf8(), "Kaffee \xE2\x98\x95");
  // No translation: the key itself, or the fallback when one is given.
  EXPECT_EQ(Localization::LookupStringReturnUstring("Close").utf8(), "Close");
  EXPECT_EQ(Localization::LookupStringReturnUstring("Close", "Fermer").utf8(), "Fermer");
  EXPECT_EQ(Localization::LookupStringReturnUstring("Open", "Fermer").utf8(), "Ouvrir");
  EXPECT_TRUE(Localization::LookupStringReturnUstring("").empty());

  // A named table of the same bundle.
  ASSERT_TRUE(Localization::Initialize(tavrin_ustring(), tavrin_ustring("Menu")));
  EXPECT_EQ(Localization::LookupStringReturnUstring("Open").utf8(), "Ouvrir...");
  EXPECT_EQ(Localization::LookupStringReturnUstring("Size %1").utf8(), "Size %1");

  // An identifier no bundle has: no answer at all.
  ASSERT_TRUE(Localization::Initialize(tavrin_ustring("com.example.nobody"), tavrin_ustring()));
  EXPECT_TRUE(Localization::LookupStringReturnUstring("Open").empty());
}

TEST(LocalizationMacTest, IdentifierWithTablePathLoadsNoFile) {
  // With a bundle identifier the table is a platform table name, not a file:
  // nothing is loaded and the result is true. No bundle has the identifier,
  // so Foundation gives no answer at all. Runs in a child process of its own:
  // Initialize keeps what it was given.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string dir = tavrin::test::FreshDir("bundle-table-path");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/none", "\"Open\" = \"Ouvrir\";\n"));
  EXPECT_EXIT(
      {
        const AutoReleasePool pool;
        const bool initialized =
            Localization::Initialize(tavrin_ustring("tv.bundle"), tavrin_ustring(dir + "/none"));
        const tavrin_ustring open = Localization::LookupStringReturnUstring("Open");
        std::exit(initialized && open.empty() ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
