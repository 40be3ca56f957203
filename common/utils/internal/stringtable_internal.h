// stringtable_internal.h - the string table parser over any source of lines,
// so that every line form can be tested without files.
//
// Internal header (not installed); exported for the tests.
#pragma once

#include <cstddef>
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

  // The keys of `translator` in tavrin_ustring::compare's order.
  static std::vector<tavrin_ustring> Keys(const StringTranslator& translator);

  // The entry of `translator` whose key equals the `length` units at `key`
  // (compare's equality), `hash` being that key's hash; null when none, with
  // the slot where such a key would go in `*free_slot` when that is not null
  // and the index has slots.
  static const StringTranslator::Entry* Find(const StringTranslator& translator,
                                             const unsigned short* key, std::size_t length,
                                             std::size_t hash, std::size_t* free_slot = nullptr);

  // Grows the index of `translator` so that it can hold `entries` entries.
  static void Reserve(StringTranslator& translator, std::size_t entries);

  // The `length` units at `offset` of the text block of `translator`.
  static tavrin_ustring Text(const StringTranslator& translator, std::size_t offset,
                             std::size_t length);
};

}  // namespace tavrin::utils::detail
