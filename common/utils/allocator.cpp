// allocator.cpp - the two allocation hooks of string storage.
#include "common/utils/allocator.h"

#include <new>

extern "C" {

void* tavrin_utils_allocate(unsigned long size) {
  return ::operator new(size);
}

void tavrin_utils_deallocate(void* ptr) {
  ::operator delete(ptr);
}

}  // extern "C"
