// history.cpp - the back/forward list.
#include "common/utils/history.h"

#include <cstdio>

namespace tavrin {

namespace {
const utils::tavrin_ustring& EmptyEntry() {
  static const utils::tavrin_ustring empty;
  return empty;
}
}  // namespace

std::size_t History::CurrentIndex() const {
  return m_current >= m_entries.size() ? m_entries.size() - 1 : m_current;
}

void History::Add(const utils::tavrin_ustring& entry) {
  if (!m_entries.empty() && entry == Current()) return;
  if (m_current < m_entries.size()) m_entries.resize(m_current + 1);
  m_entries.push_back(entry);
  m_current = m_entries.size();
}

const utils::tavrin_ustring& History::Current() const {
  if (m_entries.empty()) return EmptyEntry();
  return m_entries[CurrentIndex()];
}

void History::Clear() {
  m_entries.clear();
  m_current = 0;
}

bool History::CanStepBack() const {
  return m_entries.size() >= 2 && CurrentIndex() != 0;
}

bool History::CanStepForward() const {
  return m_entries.size() >= 2 && m_current < m_entries.size() - 1;
}

const utils::tavrin_ustring& History::StepBack() {
  if (CanStepBack()) {
    m_current = CurrentIndex() - 1;
  } else {
    std::fputs("Invalid call to History::StepBack()\n", stderr);
  }
  return Current();
}

const utils::tavrin_ustring& History::StepForward() {
  if (CanStepForward()) {
    ++m_current;
  } else {
    std::fputs("Invalid call to History::StepForward()\n", stderr);
  }
  return Current();
}

}  // namespace tavrin
