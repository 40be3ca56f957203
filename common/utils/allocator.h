// allocator.h - the allocation hooks that back all string storage.
//
// Every buffer a tavrin_ustring owns is obtained from tavrin_utils_allocate
// and released with tavrin_utils_deallocate, never from the general heap
// directly. tavrin::utils::allocator<T> is the minimal standard allocator that
// routes through the pair.
#pragma once

#include <cstddef>
#include <type_traits>

#include "common/utils/export.h"

extern "C" {
// tavrin_utils_allocate()
//
// Returns `::operator new(size)`; exhaustion throws std::bad_alloc (never
// returns null).
TAVRIN_EXPORT void* tavrin_utils_allocate(unsigned long size);

// tavrin_utils_deallocate()
//
// Releases a block from tavrin_utils_allocate with `::operator delete(ptr)`.
// A null pointer is a no-op.
TAVRIN_EXPORT void tavrin_utils_deallocate(void* ptr);
}

namespace tavrin::utils {

// allocator<T>
//
// Requests `n * sizeof(T)` bytes from tavrin_utils_allocate and returns them
// with tavrin_utils_deallocate. Stateless: all instances compare equal.
template <class T>
struct allocator {
  using value_type = T;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using propagate_on_container_move_assignment = std::true_type;
  using is_always_equal = std::true_type;

  allocator() noexcept = default;
  template <class U>
  allocator(const allocator<U>&) noexcept {}

  T* allocate(size_type n) {
    return static_cast<T*>(tavrin_utils_allocate(static_cast<unsigned long>(n * sizeof(T))));
  }
  void deallocate(T* p, size_type) noexcept { tavrin_utils_deallocate(p); }

  template <class U>
  bool operator==(const allocator<U>&) const noexcept {
    return true;
  }
};

}  // namespace tavrin::utils
