// osutils_internal.h - the text rules behind the operating-system queries,
// and the readers of the Linux layer, exposed for tests.
//
// Internal header (not installed); the functions are exported so the test
// suites can feed them text and files directly.
#pragma once

#include <optional>
#include <string>

#include "common/utils/export.h"
#include "common/utils/osutils.h"

namespace tavrin::osutils::internal {

// ParseVersionText()
//
// Up to three dot-separated decimal numbers at the start of `text`
// ("6.8.0-45-generic" -> 6.8.0, "5.15" -> 5.15.0, "24" -> 24.0.0); missing
// parts are 0. Text that does not start with a digit, or a number beyond the
// int range, gives all zero.
TAVRIN_EXPORT OsVersion ParseVersionText(const std::string& text);

// EscapeUrlText()
//
// OpenURL's escaping: every byte that is neither an RFC 3986 unreserved
// ("A-Z a-z 0-9 - . _ ~") or reserved (": / ? # [ ] @ ! $ & ' ( ) * + , ; =")
// character nor "%" becomes "%XX" with upper-case hexadecimal digits.
TAVRIN_EXPORT std::string EscapeUrlText(const std::string& utf8);

// LanguageCodeForLocaleName()
//
// ConstructOSLanguageCode's rule applied to one locale name in POSIX
// ("zh_TW.UTF-8@mod") or BCP 47 ("zh-Hant-TW") form; "" for anything
// outside the supported list, for "C" and "POSIX".
TAVRIN_EXPORT std::string LanguageCodeForLocaleName(const std::string& name);

// PlatformLayerName(), PlatformFolderRules(), PlatformRunLoop()
//
// Short fixed texts (UTF-8, never empty) saying which platform layer the
// library was built with, where its well-known folders come from and which
// run loop its timers fire on, for the tavrin tool. Never parsed.
TAVRIN_EXPORT const char* PlatformLayerName();
TAVRIN_EXPORT const char* PlatformFolderRules();
TAVRIN_EXPORT const char* PlatformRunLoop();

// --- Layers that run on Linux (the Linux layer, GNUstep). ---------------------

// ReadOsReleasePrettyName()
//
// PRETTY_NAME of the os-release file at `path` (shell-style assignments; the
// last one wins; double quotes with backslash escapes or single quotes are
// removed). Empty when the file holds none; nullopt when it cannot be
// opened.
TAVRIN_EXPORT std::optional<std::string> ReadOsReleasePrettyName(const std::string& path);

// ReadDmiField()
//
// The content of `directory`/`field` (at most 4 KiB), as read; "" when
// missing or unreadable. GetDeviceInfo reads /sys/class/dmi/id.
TAVRIN_EXPORT std::string ReadDmiField(const std::string& directory, const char* field);

}  // namespace tavrin::osutils::internal
