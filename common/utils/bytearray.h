// bytearray.h - ByteArray, an eight-byte value with a mask of its non-zero
// bytes.
//
// data[0] is byte 0; bit i of `mask` is set exactly when data[i] is not zero.
// Both initialisers recompute the mask from the data they store. A
// default-constructed ByteArray is all zeros.
#pragma once

#include "common/utils/export.h"

namespace tavrin::utils {

struct TAVRIN_EXPORT ByteArray {
  unsigned char data[8] = {};
  unsigned char mask = 0;

  // InitNumber()
  //
  // Stores the eight bytes of `value` in the machine's memory order
  // (little-endian on the supported processors, so data[0] is the least
  // significant byte) and computes the mask: 0x0102 gives 02 01 00 00 00 00
  // 00 00 and mask 0x03. Cannot fail.
  void InitNumber(unsigned long long value);

  // InitByteArray()
  //
  // Copies exactly eight bytes from `bytes` and computes the mask. `count` is
  // not consulted: `bytes` must point at eight readable bytes whatever it
  // says. A null `bytes` leaves the object unchanged.
  void InitByteArray(unsigned char count, unsigned char* bytes);
};

}  // namespace tavrin::utils
