// refcountedstring.cpp - the shared, reference-counted string.
#include "common/utils/refcountedstring.h"

namespace tavrin::utils {

RefCountedString::RefCountedString() : count_(1) {}

RefCountedString::RefCountedString(const tavrin_ustring& text) : count_(1), text_(text) {}

RefCountedString::RefCountedString(const RefCountedString& other) : count_(1), text_(other.text_) {}

RefCountedString::~RefCountedString() = default;

RefCountedString* RefCountedString::Create() {
  return new RefCountedString();
}

RefCountedString* RefCountedString::Create(const tavrin_ustring& text) {
  return new RefCountedString(text);
}

unsigned long long RefCountedString::AddRef() {
  // Taking a reference needs no ordering: the caller already holds one.
  return count_.fetch_add(1, std::memory_order_relaxed) + 1;
}

unsigned long long RefCountedString::Release() {
  std::uint64_t count = count_.load(std::memory_order_acquire);
  for (;;) {
    if (count <= 1) {
      // The last reference (or a count already at 0, which frees as well):
      // nobody else may hold the object any more.
      delete this;
      return 0;
    }
    // Release publishes this owner's writes to whoever frees the object;
    // acquire on failure re-reads the current count.
    if (count_.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel,
                                     std::memory_order_acquire)) {
      return count - 1;
    }
  }
}

unsigned long long RefCountedString::GetRefCount() const {
  return count_.load(std::memory_order_acquire);
}

}  // namespace tavrin::utils
