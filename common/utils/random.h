// random.h - Random, non-cryptographic random numbers over the C library
// generator.
//
// Random is a class of static functions over srand()/rand(). It is
// deliberately the process-wide standard generator: seeding it seeds every
// other user of rand() in the process, and the sequence for a seed is the C
// library's (glibc's on Linux). Use it for choices such as a random colour,
// never for anything that must be unpredictable.
//
// Unit-wide rules:
// - Values are scaled by the fixed divisor 2147483647.0 (2^31 - 1), which is
//   RAND_MAX of the supported C libraries; the build refuses a C library with
//   another RAND_MAX. Because rand() can return RAND_MAX itself, both ends of
//   a range can occur.
// - Nothing here fails or throws. Not thread-safe beyond what rand() is.
// - The overloads take two doubles or two ints; a mixed call such as
//   GetValue(0, 1.0) is ambiguous and does not compile, by design.
#pragma once

#include "common/utils/export.h"

class TAVRIN_EXPORT Random {
 public:
  // SetSeed() - seeds the process-wide generator: srand(seed). The same seed
  // gives the same sequence on the same C library.
  static void SetSeed(unsigned int seed);

  // SeedWithTime() - srand() of the current time in whole seconds.
  static void SeedWithTime();

  // GetValue(double, double) - low + (rand() / 2147483647.0) * (high - low),
  // in double precision. Both ends can occur. With low above high the value
  // lies in [high, low], counted down from low. Never fails.
  static double GetValue(double low, double high);

  // GetValue(int, int) - low + the product (rand() / 2147483647.0) *
  // (high - low) truncated toward zero. `high` itself occurs only when rand()
  // returns its maximum, so GetValue(0, 1) is 0 for all but one value of
  // rand() in 2^31. The difference high - low wraps in 32 bits and the sum is
  // formed modulo 2^32, so every pair of ints (INT_MIN, INT_MAX included) has
  // a defined result. Never fails.
  static int GetValue(int low, int high);

  // FlipCoin() - true when rand() returns an even number.
  static bool FlipCoin();
};
