// random.cpp - Random over srand()/rand().
#include "common/utils/random.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <ctime>

// The scaling below divides by a fixed 2^31 - 1 so that results are the same
// on every supported C library. That only keeps values inside [low, high]
// when the generator's range is exactly [0, 2^31 - 1].
static_assert(RAND_MAX == 2147483647,
              "Random scales by the fixed divisor 2^31 - 1 and needs RAND_MAX to equal it");

namespace {

constexpr double kDivisor = 2147483647.0;

}  // namespace

void Random::SetSeed(unsigned int seed) {
  std::srand(seed);
}

void Random::SeedWithTime() {
  std::srand(static_cast<unsigned int>(std::time(nullptr)));
}

double Random::GetValue(double low, double high) {
  const double unit = std::rand() / kDivisor;
  return low + unit * (high - low);
}

int Random::GetValue(int low, int high) {
  // The difference is formed in 32-bit arithmetic: it wraps instead of
  // overflowing (GetValue(INT_MIN, INT_MAX) has the difference -1).
  const int span =
      static_cast<int>(static_cast<unsigned int>(high) - static_cast<unsigned int>(low));
  double product = (std::rand() / kDivisor) * span;
  // |product| <= |span| always holds for rand() within [0, RAND_MAX]; the
  // clamp keeps the conversion below defined whatever the generator does.
  if (product > static_cast<double>(INT_MAX)) product = INT_MAX;
  if (product < static_cast<double>(INT_MIN)) product = INT_MIN;
  const int offset = static_cast<int>(product);  // truncates toward zero
  return static_cast<int>(static_cast<unsigned int>(low) + static_cast<unsigned int>(offset));
}

bool Random::FlipCoin() {
  return (std::rand() % 2) == 0;
}
