// refcountedstring.h - RefCountedString, one tavrin_ustring shared by several
// owners through a reference count (Variant keeps its text in one).
//
// The object lives on the heap (Create) and is freed by the Release that
// drops the last reference. The count is atomic, so owners on different
// threads may AddRef and Release the same object; the text itself is not
// synchronised: changing it through String() needs the owners' own lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

class TAVRIN_EXPORT RefCountedString {
 public:
  // Count 1 with empty text, a copy of `text`, or a copy of `other`'s text
  // (the other's count is never copied).
  RefCountedString();
  explicit RefCountedString(const tavrin_ustring& text);
  RefCountedString(const RefCountedString& other);
  RefCountedString& operator=(const RefCountedString&) = delete;
  // Destroys the text only; the count is not consulted.
  ~RefCountedString();

  // Create()
  //
  // A new heap object with count 1 (empty text, or a copy of `text`); the
  // caller owns that one reference and gives it back with Release().
  // Never null (allocation failure throws std::bad_alloc).
  [[nodiscard]] static RefCountedString* Create();
  [[nodiscard]] static RefCountedString* Create(const tavrin_ustring& text);

  // The held text; every owner sees changes made through it.
  tavrin_ustring& String() { return text_; }
  const tavrin_ustring& String() const { return text_; }

  // AddRef() - adds one reference and returns the new count.
  unsigned long long AddRef();

  // Release()
  //
  // Drops one reference and returns the new count. When the count was 1 (the
  // last reference) or already 0, the object is destroyed and freed and 0 is
  // returned; the object must then have come from Create(). A returned 0
  // therefore always means "freed".
  unsigned long long Release();

  // The current count (a snapshot when other threads share the object).
  unsigned long long GetRefCount() const;

 private:
  std::atomic<std::uint64_t> count_;
  tavrin_ustring text_;
};

}  // namespace tavrin::utils
