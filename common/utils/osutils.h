// osutils.h - questions about the operating system, the user, the screen and
// the process, and handing URLs and files to the desktop.
//
// Every raw answer comes from the platform layer through a replaceable hook
// declared here, so tests and other platforms can feed raw answers while the
// library's rules stay under test.
#pragma once

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::osutils {

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
