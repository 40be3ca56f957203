// dictionary.h - Dictionary, an ordered map from tavrin_ustring keys to
// Variant values.
//
// The data bag that travels with notifications, usable wherever a
// string-keyed set of loosely typed values is wanted. Keys are unique and
// kept in ascending order of tavrin_ustring's operator< (code-unit order);
// iteration and comparison follow that order. The map type is the one a
// Variant holds under its dictionary tag, but there is no conversion between
// a Dictionary and a Variant.
//
// Unit-wide rules:
// - Nothing here throws except std::bad_alloc. A missing key reads as an
//   empty Variant (tag 0) and is never inserted by a read.
// - Values are Variants: storing copies them (strings shared, collections
//   deep-copied, see variant.h).
// - Subclasses may override the virtual accessors (SetItem, GetValue,
//   RemoveItem, ContainsItem, Count); Clear and IsEmpty always work on the
//   map directly.
// - Kept as is: two empty Variants are unequal, so a Dictionary holding an
//   empty value is unequal to any Dictionary, itself included.
// - Not synchronised: concurrent reads are safe, a write needs exclusive
//   access.
#pragma once

#include <map>

#include "common/utils/export.h"
#include "common/utils/ustring.h"
#include "common/utils/variant.h"

namespace tavrin::utils {

class TAVRIN_EXPORT Dictionary {
 public:
  Dictionary();
  // Copies every entry (values copied as Variant copies).
  Dictionary(const Dictionary& other);
  // Nothing happens when assigned to itself; otherwise the contents become a
  // copy of the other's entries.
  Dictionary& operator=(const Dictionary& other);
  virtual ~Dictionary();

  // SetItem() - inserts or overwrites: the entry for `key` (created empty
  // when missing) is assigned `value` with Variant's assignment.
  virtual void SetItem(const tavrin_ustring& key, const Variant& value);
  // GetValue() - a copy of the value stored under `key`; an empty Variant
  // (tag 0) when the key is missing. Never inserts.
  [[nodiscard]] virtual Variant GetValue(const tavrin_ustring& key) const;
  // RemoveItem() - erases the entry; false when the key was absent.
  virtual bool RemoveItem(const tavrin_ustring& key);
  // ContainsItem() - whether `key` is present.
  [[nodiscard]] virtual bool ContainsItem(const tavrin_ustring& key) const;
  // Count() - the number of entries, narrowed to 32 bits.
  [[nodiscard]] virtual int Count() const;

  // Clear() - removes every entry.
  void Clear();
  // IsEmpty() - true when there is no entry.
  [[nodiscard]] bool IsEmpty() const;

  // operator==() - equal entry counts and, walking both in key order, equal
  // keys and values (Variant::operator==). Two empty Dictionaries are equal.
  bool operator==(const Dictionary& other) const;

 private:
  std::map<tavrin_ustring, Variant> map_;
};

}  // namespace tavrin::utils
