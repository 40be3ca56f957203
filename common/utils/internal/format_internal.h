// format_internal.h - formatting helpers for the library's own units (not
// installed).
//
// The no-argument mode is for text that has already been formatted once and
// is handed to a formatting entry point a second time with no arguments (the
// diagnostics path does this when a traced message is also logged). In that
// mode "%%" becomes "%" and every other unit, including "%" followed by
// anything else, is copied as it stands; no argument is ever read, so the
// text cannot be rejected and the mode never fails.
//
// Example: a message formatted from "%d%%%% done" with 40 is "40%% done";
// the no-argument mode turns it into "40% done". A trailing single "%" stays.
#pragma once

#include <string>
#include <string_view>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::detail {

// FormatWithoutArguments()
//
// Returns `text` (UTF-16 units, its whole size()) with every "%%" pair,
// scanned left to right, replaced by one "%"; everything else unchanged.
// "%%%" gives "%%", "%s" stays "%s". Never fails; empty gives empty.
TAVRIN_EXPORT tavrin_ustring FormatWithoutArguments(const tavrin_ustring& text);

// FormatWithoutArgumentsUtf8()
//
// The same rule on 8-bit text (UTF-8 or any ASCII-compatible encoding: "%"
// is never part of a multi-byte sequence). Bytes are not validated; zero
// bytes inside `text` are ordinary.
TAVRIN_EXPORT std::string FormatWithoutArgumentsUtf8(std::string_view text);

}  // namespace tavrin::utils::detail
