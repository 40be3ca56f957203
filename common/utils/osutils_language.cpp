// osutils_language.cpp - the language-code helpers of osutils.h.
#include "common/utils/osutils.h"

namespace tavrin::osutils {

using tavrin::utils::tavrin_ustring;

tavrin_ustring GetMacLProjDir(tavrin_ustring lang) {
  // Folder names of the codes whose folder is not simply the code.
  static const struct {
    const char* code;
    const char* folder;
  } kFolders[] = {
      {"en-US", "en.lproj"},
      {"zh-CN", "zh_CN.lproj"},
      {"zh-TW", "zh_TW.lproj"},
      {"pt-BR", "pt.lproj"},
  };
  for (const auto& entry : kFolders)
    if (lang == entry.code) return tavrin_ustring(entry.folder);
  lang += tavrin_ustring(".lproj");
  return lang;
}

tavrin_ustring ComputeWebCode(const tavrin_ustring& lang) {
  if (lang == "en-US" || lang == "en-GB") return tavrin_ustring("en");
  return lang;
}

}  // namespace tavrin::osutils
