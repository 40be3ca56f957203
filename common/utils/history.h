// history.h - a back/forward list of text entries (visited pages, locations).
//
// Adding an entry after stepping back discards the entries ahead; an entry
// equal to the current one is not stored again. Misuse of the step
// operations is reported by a message on standard error
// ("Invalid call to History::StepBack()\n" and the StepForward twin), never
// by an exception, and leaves the history unchanged.
//
// The current position may be one past the last entry (the end position,
// the value after every Add and Clear); it means the same as having the last
// entry current. Stepping forward onto the last entry leaves the position at
// that entry: both mean the same to every operation.
#pragma once

#include <cstddef>
#include <vector>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin {

class TAVRIN_EXPORT History {
 public:
  History() = default;

  // Add() - appends `entry` and moves to the end position, after dropping the
  // entries ahead of the current one; does nothing when `entry` equals the
  // current entry (exact, case-sensitive).
  void Add(const utils::tavrin_ustring& entry);

  // Current() - the current entry; a static empty string for an empty history.
  const utils::tavrin_ustring& Current() const;

  bool IsEmpty() const { return m_entries.empty(); }

  // Clear() - removes every entry; the position becomes the end position.
  void Clear();

  // CanStepBack() - at least two entries and the current one is not the first.
  bool CanStepBack() const;

  // CanStepForward() - at least two entries and the current one lies before
  // the last entry.
  bool CanStepForward() const;

  // StepBack(), StepForward() - move one entry and return the current entry;
  // when the step is not possible, print the "Invalid call" message on
  // standard error, change nothing and return the current entry.
  const utils::tavrin_ustring& StepBack();
  const utils::tavrin_ustring& StepForward();

 private:
  // Index of the current entry; equal to m_entries.size() at the end position.
  std::size_t CurrentIndex() const;

  std::vector<utils::tavrin_ustring> m_entries;
  std::size_t m_current = 0;
};

}  // namespace tavrin
