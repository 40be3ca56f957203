// Tests of the language-code helpers of osutils.h.
#include <gtest/gtest.h>

#include "common/utils/osutils.h"

namespace {

using tavrin::osutils::ComputeWebCode;
using tavrin::osutils::GetMacLProjDir;
using tavrin::utils::tavrin_ustring;

std::string Folder(const char* lang) {
  return GetMacLProjDir(tavrin_ustring(lang)).utf8();
}
std::string Web(const char* lang) {
  return ComputeWebCode(tavrin_ustring(lang)).utf8();
}

TEST(OsUtilsLanguageTest, LocalisationFolderNames) {
  EXPECT_EQ(Folder("en-US"), "en.lproj");
  EXPECT_EQ(Folder("zh-CN"), "zh_CN.lproj");
  EXPECT_EQ(Folder("zh-TW"), "zh_TW.lproj");
  EXPECT_EQ(Folder("pt-BR"), "pt.lproj");
  // Every other code is the folder name itself.
  EXPECT_EQ(Folder("en-GB"), "en-GB.lproj");
  EXPECT_EQ(Folder("de"), "de.lproj");
  EXPECT_EQ(Folder("pt-PT"), "pt-PT.lproj");
  EXPECT_EQ(Folder("zh-HK"), "zh-HK.lproj");
  EXPECT_EQ(Folder(""), ".lproj");
  // Exact, case-sensitive codes.
  EXPECT_EQ(Folder("en-us"), "en-us.lproj");
  EXPECT_EQ(Folder("zh_CN"), "zh_CN.lproj");
  EXPECT_EQ(Folder("en-US "), "en-US .lproj");
}

TEST(OsUtilsLanguageTest, WebCodes) {
  EXPECT_EQ(Web("en-US"), "en");
  EXPECT_EQ(Web("en-GB"), "en");  // unlike the folder name
  EXPECT_EQ(Web("en"), "en");
  EXPECT_EQ(Web("en-AU"), "en-AU");
  EXPECT_EQ(Web("zh-CN"), "zh-CN");
  EXPECT_EQ(Web("pt-BR"), "pt-BR");
  EXPECT_EQ(Web(""), "");
  EXPECT_EQ(Web("EN-US"), "EN-US");
}

}  // namespace
