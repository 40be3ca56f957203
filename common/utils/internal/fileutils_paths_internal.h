// fileutils_paths_internal.h - helpers of the path functions that the tests
// reach directly. Internal header (not installed); the functions are exported
// for the tests only.
#pragma once

#include <functional>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::detail {

// UniqueFilePathCandidate()
//
// The name CreateUniqueFilePath tries at step `n`: for n below 2,
// AppendExtension(AppendToPath(directory, baseName), extension); from 2 on
// the same with "(n)" right after the base name ("report(2).txt"). Never
// fails; an empty directory gives a bare name.
TAVRIN_EXPORT tavrin_ustring UniqueFilePathCandidate(const tavrin_ustring& directory,
                                                     const tavrin_ustring& baseName,
                                                     const tavrin_ustring& extension,
                                                     unsigned long n);

// FirstFreeFilePath()
//
// The first candidate (step 1, 2, 3, ...) for which `taken` answers false.
// There is no upper limit: `taken` must eventually answer false.
TAVRIN_EXPORT tavrin_ustring FirstFreeFilePath(
    const tavrin_ustring& directory, const tavrin_ustring& baseName,
    const tavrin_ustring& extension, const std::function<bool(const tavrin_ustring&)>& taken);

}  // namespace tavrin::utils::detail
