// stringtranslator.h - string tables and the localized lookup of
// user-visible text by its English source text.
//
// StringTranslator holds the translations of plain-text string table files.
// Localization chooses once, at start-up, between a string table file and
// the platform's own localisation (gettext on Linux, the bundle's tables on
// Foundation) and then answers lookups.
//
// String table format, one entry per line:
//     "key" = "translation";      // anything after the second string is ignored
//     "key" "translation"         // so is anything between the two strings
// - A line whose first character is not a double quote is ignored: blank
//   lines, comments and any other text.
// - A string ends at the first double quote that is not directly preceded by
//   a backslash. The translation starts at the next double quote after the
//   key.
// - Exactly four escapes are replaced, in this order: backslash-r (carriage
//   return), backslash-n (line feed), backslash-t (tab), backslash-quote
//   (double quote). Every other backslash stays as written, so a doubled
//   backslash stays two backslashes.
// - A quoted line without the key's closing quote, the translation's opening
//   quote or its closing quote is rejected: nothing is added and, when an
//   error list is given, one StringTableParseError records it.
// - The first definition of a key wins; later ones are dropped silently.
// Files are read through CTextFile: UTF-8 (with or without a byte-order mark)
// and UTF-16 with a mark, either byte order.
//
// No locking: load tables and call Localization::Initialize before lookups
// start on other threads.
#pragma once

#include <cstddef>
#include <vector>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::detail {
class StringTableAccess;
}

// StringTableParseError
//
// One rejected line of a string table: its text as the line reader returned
// it (with its "\n" or "\r\n" when it had one) and its number, counted from 1
// over every line of the file (blank and ignored lines included).
struct TAVRIN_EXPORT StringTableParseError {
  tavrin::utils::tavrin_ustring text;
  int lineNumber;
};

// StringTranslator
//
// The translations loaded from string table files: a map from key to
// translation with keys compared as tavrin_ustring::compare does. Copyable
// and movable.
class TAVRIN_EXPORT StringTranslator {
 public:
  ~StringTranslator();

  // LoadStringTable()
  //
  // Reads the string table file at `path` (see the format above) and adds its
  // entries to those already loaded; keys already present keep their
  // translation. Returns false only when the file cannot be opened (the
  // entries are then unchanged); true once the whole file was read, whatever
  // lines were rejected. When `errors` is not null, one record per rejected
  // line is appended to it, in file order.
  [[nodiscard]] bool LoadStringTable(const tavrin::utils::tavrin_ustring& path,
                                     std::vector<StringTableParseError>* errors);

  // LookupString()
  //
  // True with the translation of `key` in `*out` when `key` is not empty and
  // has an entry; otherwise false with `key` itself in `*out` (an entry for
  // the empty key is never returned). A null `out` gives false.
  bool LookupString(const tavrin::utils::tavrin_ustring& key,
                    tavrin::utils::tavrin_ustring* out) const;

 private:
  friend class tavrin::utils::detail::StringTableAccess;
  // One entry: where its key and translation lie in m_text, and the key's
  // hash.
  struct Entry {
    std::size_t key_offset, key_length;
    std::size_t value_offset, value_length;
    std::size_t hash;
  };
  // Keys are equal as tavrin_ustring::compare finds them equal (the same
  // length and the same units up to the first zero unit). The map is kept as
  // one block of text and an open-addressing index rather than a node per
  // entry: loading a large table is then a few allocations in all, and the
  // order of keys (compare's) is produced only when asked for.
  std::vector<unsigned short> m_text;  // every key and translation, back to back
  std::vector<Entry> m_entries;        // in the order they were added
  // The index: a power-of-two number of slots, at most half of them used.
  // A slot holds an entry's hash (so that most probes never touch the entry)
  // and its index in m_entries plus 1 (0: empty).
  struct Slot {
    std::size_t hash, entry;
  };
  std::vector<Slot> m_slots;
};

namespace tavrin::utils::Localization {

// Initialize()
//
// Chooses the source of translations, once, at start-up. When `table` is a
// path with a folder part ("dir/fr.strings", "/x/fr.strings") and `bundleId`
// is empty, the string table file `table` is loaded and used for every
// lookup; the result is the loader's (false when the file cannot be opened;
// lookups then return keys unchanged). Otherwise the platform's localisation
// is used, with `bundleId` and `table` kept when not empty, and the result is
// true. On Linux that is gettext: dgettext with the table name as the text
// domain, else the bundle identifier, else the application identifier.
[[nodiscard]] TAVRIN_EXPORT bool Initialize(const tavrin_ustring& bundleId,
                                            const tavrin_ustring& table);

// LookupStringReturnUstring()
//
// The translation of the zero-terminated UTF-8 `key`, or the key itself
// when there is none. A null or empty key gives "". Before Initialize the
// platform's localisation is asked with its defaults.
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring LookupStringReturnUstring(const char* key);

// LookupStringReturnUstring()
//
// As above, but when the result equals the key (nothing was translated) it is
// replaced by `fallback` read as UTF-8. A null `fallback` leaves the key; a
// fallback that is not valid UTF-8 gives "" (the string's 8-bit assignment).
[[nodiscard]] TAVRIN_EXPORT tavrin_ustring LookupStringReturnUstring(const char* key,
                                                                     const char* fallback);

}  // namespace tavrin::utils::Localization
