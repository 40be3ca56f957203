// Tests of Random: scaling of rand() into ranges, seeding, coin flips.
#include "common/utils/random.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "tests/test_support.h"

namespace {

// The next `n` values of rand() after srand(seed).
std::vector<int> RandSequence(unsigned int seed, int n) {
  std::srand(seed);
  std::vector<int> out;
  for (int i = 0; i < n; ++i) out.push_back(std::rand());
  return out;
}

TEST(RandomTest, SameSeedGivesSameSequence) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  Random::SetSeed(seed);
  std::vector<double> first;
  for (int i = 0; i < 100; ++i) first.push_back(Random::GetValue(0.0, 1000.0));
  Random::SetSeed(seed);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(first[i], Random::GetValue(0.0, 1000.0)) << i;
  // The generator is the process-wide rand(): seeding it seeds rand() too.
  Random::SetSeed(seed);
  const int from_random = std::rand();
  EXPECT_EQ(from_random, RandSequence(seed, 1)[0]);
}

TEST(RandomTest, SeedWithTimeSeedsWithTheCurrentSecond) {
  const unsigned int before = static_cast<unsigned int>(std::time(nullptr));
  Random::SeedWithTime();
  const int drawn = std::rand();
  const unsigned int after = static_cast<unsigned int>(std::time(nullptr));
  // The clock may tick between the calls: the seed is one of the seconds.
  const bool matches = drawn == RandSequence(before, 1)[0] || drawn == RandSequence(after, 1)[0];
  EXPECT_TRUE(matches);
}

TEST(RandomTest, DoubleValueFollowsTheFixedDivisor) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  const std::vector<int> raw = RandSequence(seed, 500);
  Random::SetSeed(seed);
  for (int r : raw) {
    const double got = Random::GetValue(-2.5, 7.5);
    EXPECT_DOUBLE_EQ(-2.5 + (r / 2147483647.0) * 10.0, got);
    EXPECT_GE(got, -2.5);
    EXPECT_LE(got, 7.5);
  }
}

TEST(RandomTest, DoubleValueWithLowAboveHighCountsDown) {
  const unsigned int seed = tavrin::test::TestSeed() + 1;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  const std::vector<int> raw = RandSequence(seed, 500);
  Random::SetSeed(seed);
  for (int r : raw) {
    const double got = Random::GetValue(3.0, 1.0);
    EXPECT_GE(got, 1.0);
    EXPECT_LE(got, 3.0);
    EXPECT_DOUBLE_EQ(3.0 - 2.0 * (r / 2147483647.0), got);
  }
}

TEST(RandomTest, DoubleValuesSpreadOverTheRange) {
  const unsigned int seed = tavrin::test::TestSeed() + 2;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  Random::SetSeed(seed);
  const int kDraws = 100000;
  int buckets[10] = {};
  double sum = 0;
  for (int i = 0; i < kDraws; ++i) {
    const double v = Random::GetValue(0.0, 10.0);
    sum += v;
    const int b = v >= 10.0 ? 9 : static_cast<int>(v);
    ++buckets[b];
  }
  // Loose bounds: a broken scale (wrong divisor, integer division, a fixed
  // value) lands far outside them; a uniform generator almost never does.
  EXPECT_NEAR(sum / kDraws, 5.0, 0.1);
  for (int b : buckets) {
    EXPECT_GT(b, kDraws / 10 - 1000);
    EXPECT_LT(b, kDraws / 10 + 1000);
  }
}

TEST(RandomTest, EqualIntegerEndsAlwaysGiveThatValue) {
  Random::SetSeed(tavrin::test::TestSeed());
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(5, Random::GetValue(5, 5));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(-7, Random::GetValue(-7, -7));
}

TEST(RandomTest, ZeroToOneIsZeroUnlessRandReturnsItsMaximum) {
  const unsigned int seed = tavrin::test::TestSeed() + 3;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  const std::vector<int> raw = RandSequence(seed, 2000);
  Random::SetSeed(seed);
  for (int r : raw) EXPECT_EQ(r == RAND_MAX ? 1 : 0, Random::GetValue(0, 1)) << r;
}

// Reference for GetValue(int, int) in 64-bit arithmetic, for ranges whose
// difference fits in an int.
int ReferenceInt(int r, int low, int high) {
  const std::int64_t span = static_cast<std::int64_t>(high) - low;
  const double product = (r / 2147483647.0) * static_cast<double>(span);
  return static_cast<int>(low + static_cast<std::int64_t>(product));
}

TEST(RandomTest, IntegerValueTruncatesTheScaledProduct) {
  const unsigned int seed = tavrin::test::TestSeed() + 4;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  const int ranges[][2] = {{0, 10},         {-10, 10},
                           {100, 1000},     {-1000, -100},
                           {10, 0},         {5, -5},
                           {0, 1000000000}, {-1000000000, 1000000000},
                           {-1, 0},         {INT_MIN / 2, INT_MAX / 2}};
  for (const auto& range : ranges) {
    const int low = range[0], high = range[1];
    const std::vector<int> raw = RandSequence(seed, 300);
    Random::SetSeed(seed);
    for (int r : raw) {
      const int got = Random::GetValue(low, high);
      EXPECT_EQ(ReferenceInt(r, low, high), got) << low << ".." << high << " r=" << r;
      EXPECT_GE(got, std::min(low, high));
      EXPECT_LE(got, std::max(low, high));
    }
  }
}

TEST(RandomTest, IntegerValueOverTheWholeIntRangeIsDefined) {
  // The difference INT_MAX - INT_MIN wraps to -1 in 32 bits: the product is
  // in (-1, 0] and truncates to 0 for every rand() below its maximum.
  const unsigned int seed = tavrin::test::TestSeed() + 5;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  const std::vector<int> raw = RandSequence(seed, 1000);
  Random::SetSeed(seed);
  for (int r : raw) {
    const int got = Random::GetValue(INT_MIN, INT_MAX);
    EXPECT_EQ(r == RAND_MAX ? INT_MAX : INT_MIN, got);
  }
  // And the mirror image: the difference wraps to +1.
  Random::SetSeed(seed);
  for (int r : raw)
    EXPECT_EQ(r == RAND_MAX ? INT_MIN : INT_MAX, Random::GetValue(INT_MAX, INT_MIN));
}

TEST(RandomTest, FlipCoinIsTheParityOfRand) {
  const unsigned int seed = tavrin::test::TestSeed() + 6;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  const std::vector<int> raw = RandSequence(seed, 1000);
  Random::SetSeed(seed);
  int heads = 0;
  for (int r : raw) {
    const bool flip = Random::FlipCoin();
    EXPECT_EQ(r % 2 == 0, flip);
    heads += flip;
  }
  EXPECT_GT(heads, 400);
  EXPECT_LT(heads, 600);
}

}  // namespace
