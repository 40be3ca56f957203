// Tests of the Linux timer's interval rule: seconds to a GLib timeout in
// whole milliseconds, rounded up, clamped, and at least 1 ms when repeating.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "common/utils/internal/runloop_internal.h"

using tavrin::utils::internal::TimerIntervalMilliseconds;

namespace {

TEST(TimerLinuxTest, IntervalsRoundUpToWholeMilliseconds) {
  EXPECT_EQ(TimerIntervalMilliseconds(0.5, false), 500u);
  EXPECT_EQ(TimerIntervalMilliseconds(0.0001, false), 1u);
  EXPECT_EQ(TimerIntervalMilliseconds(0.0015, false), 2u);
  EXPECT_EQ(TimerIntervalMilliseconds(1.0, true), 1000u);
  EXPECT_EQ(TimerIntervalMilliseconds(3600.0, false), 3600000u);
}

TEST(TimerLinuxTest, NothingBelowZeroOrAboveTheGLibRange) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(TimerIntervalMilliseconds(0.0, false), 0u);
  EXPECT_EQ(TimerIntervalMilliseconds(-2.0, false), 0u);
  EXPECT_EQ(TimerIntervalMilliseconds(nan, false), 0u);
  EXPECT_EQ(TimerIntervalMilliseconds(-inf, false), 0u);
  EXPECT_EQ(TimerIntervalMilliseconds(inf, false), 4294967295u);
  EXPECT_EQ(TimerIntervalMilliseconds(1e300, false), 4294967295u);
  EXPECT_EQ(TimerIntervalMilliseconds(4294967.295, false), 4294967295u);
  EXPECT_EQ(TimerIntervalMilliseconds(4294967.294, false), 4294967294u);
}

TEST(TimerLinuxTest, RepeatingTimersWaitAtLeastOneMillisecond) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(TimerIntervalMilliseconds(0.0, true), 1u);
  EXPECT_EQ(TimerIntervalMilliseconds(-1.0, true), 1u);
  EXPECT_EQ(TimerIntervalMilliseconds(nan, true), 1u);
  EXPECT_EQ(TimerIntervalMilliseconds(0.0004, true), 1u);
  EXPECT_EQ(TimerIntervalMilliseconds(0.002, true), 2u);
}

}  // namespace
