// Tests of the localization markers in stringutils.
#include "common/utils/stringutils.h"

#include <gtest/gtest.h>
#include <locale.h>

using tavrin::utils::tavrin_ustring;
namespace loc = tavrin::utils::StringLocalization;

namespace {

tavrin_ustring U(const char* utf8) {
  return tavrin_ustring(utf8);
}

TEST(StringutilsTest, IsMarkedForLocalization) {
  EXPECT_TRUE(loc::IsMarkedForLocalization(U("[Open]")));
  EXPECT_TRUE(loc::IsMarkedForLocalization(U("[]")));
  EXPECT_TRUE(loc::IsMarkedForLocalization(U(" \t[Open file]\n")));
  EXPECT_TRUE(loc::IsMarkedForLocalization(U("[a]b]")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("[")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("]")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("   ")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("Open")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("x[Open]")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("[Open]x")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("]Open[")));
  EXPECT_FALSE(loc::IsMarkedForLocalization(U("(Open)")));
}

TEST(StringutilsTest, MarkForLocalization) {
  EXPECT_EQ(loc::MarkForLocalization(U("  Open ")).utf8(), "[Open]");
  EXPECT_EQ(loc::MarkForLocalization(U("Save as\xE2\x80\xA6")).utf8(), "[Save as\xE2\x80\xA6]");
  EXPECT_EQ(loc::MarkForLocalization(U("")).utf8(), "[]");
  EXPECT_EQ(loc::MarkForLocalization(U(" \n ")).utf8(), "[]");
  EXPECT_EQ(loc::MarkForLocalization(U("a]")).utf8(), "[a]]");
  EXPECT_EQ(loc::MarkForLocalization(U("[a")).utf8(), "[[a]");
}

TEST(StringutilsTest, MarkKeepsAlreadyMarkedTextUntrimmed) {
  EXPECT_EQ(loc::MarkForLocalization(U("[Open]")).utf8(), "[Open]");
  EXPECT_EQ(loc::MarkForLocalization(U("  [Open] ")).utf8(), "  [Open] ");
  EXPECT_EQ(loc::MarkForLocalization(U("[]")).utf8(), "[]");
}

TEST(StringutilsTest, UnmarkFromLocalization) {
  EXPECT_EQ(loc::UnmarkFromLocalization(U(" [ Open ] ")).utf8(), " Open ");
  EXPECT_EQ(loc::UnmarkFromLocalization(U("[Open]")).utf8(), "Open");
  EXPECT_EQ(loc::UnmarkFromLocalization(U("[]")).utf8(), "");
  EXPECT_EQ(loc::UnmarkFromLocalization(U("[[x]]")).utf8(), "[x]");
}

TEST(StringutilsTest, UnmarkKeepsUnmarkedTextUntrimmed) {
  EXPECT_EQ(loc::UnmarkFromLocalization(U("  Open ")).utf8(), "  Open ");
  EXPECT_EQ(loc::UnmarkFromLocalization(U("[")).utf8(), "[");
  EXPECT_EQ(loc::UnmarkFromLocalization(U("")).utf8(), "");
}

TEST(StringutilsTest, MarkThenUnmarkGivesTrimmedText) {
  for (const char* text : {"Open", "  Close\t", "Caf\xC3\xA9 ", "a[b]c", ""}) {
    const tavrin_ustring s = U(text);
    const tavrin_ustring marked = loc::MarkForLocalization(s);
    EXPECT_TRUE(loc::IsMarkedForLocalization(marked)) << text;
    EXPECT_EQ(loc::UnmarkFromLocalization(marked).utf8(), s.trim().utf8()) << text;
  }
}

TEST(StringutilsTest, UnicodeWhiteSpaceIsTrimmed) {
  locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  if (utf8 == static_cast<locale_t>(0)) GTEST_SKIP() << "no C.UTF-8 locale on this system";
  freelocale(utf8);
  // IDEOGRAPHIC SPACE around the marked text.
  const tavrin_ustring s = U("\xE3\x80\x80[Open]\xE3\x80\x80");
  EXPECT_TRUE(loc::IsMarkedForLocalization(s));
  EXPECT_EQ(loc::UnmarkFromLocalization(s).utf8(), "Open");
}

}  // namespace
