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
//
// Use from the diagnostics path (TraceAndLog): format once with the caller's
// arguments (tavrin_ustring::FormatV), then give the file logger and Trace
// the text FormatWithoutArguments(message) as their final text, not as a
// format: they must not format it again, or "%s" in an argument would read
// an argument that does not exist. An argument "50%%" for "%s" thus ends as
// "50%", and "100%s.txt" stays literal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
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

// RewriteLibraryFormat()
//
// ReverseStringFormats(FixWindowsPositionalFormats(fmt)), computed in one
// pass: the printf-style format FormatV hands to the platform formatter.
// Never fails; empty gives empty.
TAVRIN_EXPORT tavrin_ustring RewriteLibraryFormat(const tavrin_ustring& fmt);

// FindPercentUnit()
//
// Index of the first "%" unit in p[i, n) (i <= n), or `n` when there is
// none. Shared by the rewriting functions and the formatter, which spend most
// of their time skipping plain text. The first 32 units are tested one at a
// time: formats are short and often written just before (a wide load of
// units stored one by one must wait for the stores); after that four units
// are tested at a time.
inline std::size_t FindPercentUnit(const unsigned short* p, std::size_t i, std::size_t n) {
  const std::size_t near_end = n - i < 32 ? n : i + 32;
  for (; i < near_end; ++i)
    if (p[i] == u'%') return i;
  constexpr std::uint64_t kOnes = 0x0001000100010001ULL;
  constexpr std::uint64_t kHighs = 0x8000800080008000ULL;
  constexpr std::uint64_t kPercents = 0x0025002500250025ULL;
  while (n - i >= 4) {
    std::uint64_t word;
    std::memcpy(&word, p + i, sizeof(word));
    const std::uint64_t x = word ^ kPercents;  // a "%" unit becomes zero
    if (((x - kOnes) & ~x & kHighs) != 0) break;
    i += 4;
  }
  while (i < n && p[i] != u'%') ++i;
  return i;
}

}  // namespace tavrin::utils::detail
