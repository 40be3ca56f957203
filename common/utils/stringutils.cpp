// stringutils.cpp - localization markers.
#include "common/utils/stringutils.h"

namespace tavrin::utils::StringLocalization {

namespace {

// The two wrapper units: the first opens a marked string, the second closes
// it.
constexpr unsigned short kWrappers[] = {'[', ']', 0};

bool IsWrapped(const tavrin_ustring& trimmed) {
  return trimmed.size() >= 2 && trimmed[0] == kWrappers[0] &&
         trimmed[trimmed.size() - 1] == kWrappers[1];
}

}  // namespace

bool IsMarkedForLocalization(const tavrin_ustring& s) {
  return IsWrapped(s.trim());
}

tavrin_ustring MarkForLocalization(const tavrin_ustring& s) {
  tavrin_ustring trimmed = s.trim();
  if (IsWrapped(trimmed)) return s;
  tavrin_ustring marked(tavrin_ustring::size_type{1}, kWrappers[0]);
  marked.reserve(trimmed.size() + 2);
  marked += trimmed;
  marked += kWrappers[1];
  return marked;
}

tavrin_ustring UnmarkFromLocalization(const tavrin_ustring& s) {
  tavrin_ustring trimmed = s.trim();
  if (!IsWrapped(trimmed)) return s;
  return trimmed.substr(1, trimmed.size() - 2);
}

}  // namespace tavrin::utils::StringLocalization
