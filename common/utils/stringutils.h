// stringutils.h - small text helpers around tavrin_ustring: the markers that
// flag a user-interface string for localization.
//
// A string is "marked for localization" when, after trimming white space
// (tavrin_ustring::trim), it is at least two units long, starts with "[" and
// ends with "]". None of these functions fails; they return a new string and
// never change their argument.
#pragma once

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::StringLocalization {

// IsMarkedForLocalization()
//
// Whether the trimmed `s` is at least two units long and wrapped in "[" and
// "]". "[]" is marked; "[", "" and white space only are not.
[[nodiscard]] TAVRIN_EXPORT bool IsMarkedForLocalization(const tavrin_ustring& s);

// MarkForLocalization()
//
// A marked `s` comes back unchanged (not even trimmed); anything else comes
// back trimmed and wrapped: "  Open " gives "[Open]", "" gives "[]".
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring MarkForLocalization(const tavrin_ustring& s);

// UnmarkFromLocalization()
//
// A string that is not marked comes back unchanged; a marked one comes back
// trimmed and without its outer "[" and "]". The inside is not trimmed:
// " [ Open ] " gives " Open ".
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring UnmarkFromLocalization(const tavrin_ustring& s);

}  // namespace tavrin::utils::StringLocalization
