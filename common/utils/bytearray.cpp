// bytearray.cpp - the eight-byte value with its non-zero mask.
#include "common/utils/bytearray.h"

#include <cstring>

namespace tavrin::utils {

namespace {

unsigned char NonZeroMask(const unsigned char (&data)[8]) {
  unsigned char mask = 0;
  for (unsigned i = 0; i < 8; ++i)
    if (data[i] != 0) mask = static_cast<unsigned char>(mask | (1u << i));
  return mask;
}

}  // namespace

void ByteArray::InitNumber(unsigned long long value) {
  static_assert(sizeof(value) == sizeof(data), "eight bytes of value");
  std::memcpy(data, &value, sizeof(data));
  mask = NonZeroMask(data);
}

void ByteArray::InitByteArray(unsigned char /*count*/, unsigned char* bytes) {
  // Eight bytes are read whatever `count` says; callers rely on it.
  if (bytes == nullptr) return;
  std::memcpy(data, bytes, sizeof(data));
  mask = NonZeroMask(data);
}

}  // namespace tavrin::utils
