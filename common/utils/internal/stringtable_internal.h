// stringtable_internal.h - the string table parser over any source of lines,
// so that every line form can be tested without files.
//
// Internal header (not installed); exported for the tests.
#pragma once

#include <functional>
#include <vector>

#include "common/utils/export.h"
#include "common/utils/stringtranslator.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::detail {

// A source of lines: fills `*line` with the next line and returns true, or
// returns false at the end. CTextFile::GetLine has this shape.
using StringTableLineSource = std::function<bool(tavrin_ustring* line)>;

// What one line of a string table is.
enum class StringTableLine {
  kIgnored,   // does not start with a double quote
  kEntry,     // a key and a translation
  kRejected,  // starts with a double quote but lacks a quote of the two strings
};

// ParseStringTableLine()
//
// Classifies one line (with or without its line break) and, for kEntry,
// stores the unescaped key and translation in `*key` and `*translation`
// (both left unchanged otherwise; either may be null).
TAVRIN_EXPORT StringTableLine ParseStringTableLine(const tavrin_ustring& line, tavrin_ustring* key,
                                                   tavrin_ustring* translation);

// StringTableAccess
//
// The loader behind StringTranslator::LoadStringTable, over any line source.
class TAVRIN_EXPORT StringTableAccess {
 public:
  // ReadLines()
  //
  // Reads `next_line` to its end, numbering lines from 1, and adds each entry
  // to `translator` unless its key is present; appends one record per
  // rejected line to `errors` when it is not null.
  static void ReadLines(StringTranslator& translator, const StringTableLineSource& next_line,
                        std::vector<StringTableParseError>* errors);

  // The number of entries of `translator`.
  static std::size_t Size(const StringTranslator& translator);

  // The keys of `translator` in the order of its map.
  static std::vector<tavrin_ustring> Keys(const StringTranslator& translator);
};

}  // namespace tavrin::utils::detail
