// dictionary.cpp - Dictionary.
#include "common/utils/dictionary.h"

namespace tavrin::utils {

Dictionary::Dictionary() = default;

Dictionary::Dictionary(const Dictionary& other) = default;

Dictionary& Dictionary::operator=(const Dictionary& other) {
  // std::map's copy assignment reuses the existing nodes where it can.
  if (this != &other) map_ = other.map_;
  return *this;
}

Dictionary::~Dictionary() = default;

void Dictionary::SetItem(const tavrin_ustring& key, const Variant& value) {
  map_[key] = value;
}

Variant Dictionary::GetValue(const tavrin_ustring& key) const {
  const auto it = map_.find(key);
  if (it == map_.end()) return Variant();
  return it->second;
}

bool Dictionary::RemoveItem(const tavrin_ustring& key) {
  return map_.erase(key) != 0;
}

bool Dictionary::ContainsItem(const tavrin_ustring& key) const {
  return map_.find(key) != map_.end();
}

int Dictionary::Count() const {
  return static_cast<int>(map_.size());
}

void Dictionary::Clear() {
  map_.clear();
}

bool Dictionary::IsEmpty() const {
  return map_.empty();
}

bool Dictionary::operator==(const Dictionary& other) const {
  if (map_.size() != other.map_.size()) return false;
  for (auto i = map_.begin(), j = other.map_.begin(); i != map_.end(); ++i, ++j) {
    if (i->first.compare(j->first) != 0) return false;
    if (!(i->second == j->second)) return false;
  }
  return true;
}

}  // namespace tavrin::utils
