// Tests of UnitsInfo, LengthInfo and AngleInfo: defaults, forced units,
// scales, maximum precisions, steps, half-up rounding, closest precision
// (ties, infinite and NaN values), effective-value copies and the change
// notices on the default centre.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "common/utils/angleinfo.h"
#include "common/utils/lengthinfo.h"
#include "common/utils/notificationcenter.h"
#include "common/utils/unitsinfo.h"

using tavrin::utils::AngleInfo;
using tavrin::utils::LengthInfo;
using tavrin::utils::UnitsInfo;

namespace {

// Records the unit notices posted on the default centre.
class NoticeRecorder : public tavrin::IObserver {
 public:
  NoticeRecorder() {
    for (const char* n : {UnitsInfo::kFormatChanged, UnitsInfo::kUnitsChanged,
                          UnitsInfo::kPrecisionChanged, UnitsInfo::kOptionsChanged})
      CNotificationCenter::Default().AddObserver(n, this);
  }
  ~NoticeRecorder() override { CNotificationCenter::Default().RemoveObserver(this); }
  using IObserver::OnNotification;
  void OnNotification(const char* name, void* data) override {
    names.push_back(name);
    senders.push_back(data);
  }
  std::vector<std::string> names;
  std::vector<void*> senders;
};

TEST(UnitsInfoTest, NotificationNames) {
  EXPECT_STREQ(UnitsInfo::kFormatChanged, "tavrin::utils::UnitsInfo::kFormatChanged");
  EXPECT_STREQ(UnitsInfo::kUnitsChanged, "tavrin::utils::UnitsInfo::kUnitsChanged");
  EXPECT_STREQ(UnitsInfo::kPrecisionChanged, "tavrin::utils::UnitsInfo::kPrecisionChanged");
  EXPECT_STREQ(UnitsInfo::kOptionsChanged, "tavrin::utils::UnitsInfo::kOptionsChanged");
}

TEST(UnitsInfoTest, EnumerationValuesKeepTheirPlaces) {
  EXPECT_EQ(UnitsInfo::kPoints, 5);
  EXPECT_EQ(UnitsInfo::kRadians, 8);
  EXPECT_EQ(UnitsInfo::kGrads, 10);
  EXPECT_EQ(UnitsInfo::kYards, 11);
  EXPECT_EQ(UnitsInfo::kFractional, 3);
}

TEST(UnitsInfoTest, NotifyingSettersPostWithTheObjectAsSender) {
  NoticeRecorder rec;
  LengthInfo length;
  EXPECT_TRUE(rec.names.empty());  // constructors are silent
  length.SetPrecision(2);          // same value: still posted
  length.SetPrecision(3, false);
  length.SetFormat(UnitsInfo::kEngineering);  // reaches SetFormat(f, true)
  length.SetUnits(UnitsInfo::kFeet);          // reaches LengthInfo::SetUnits(u, true)
  length.SetUnits(UnitsInfo::kMeters, false);
  length.SetFormat(UnitsInfo::kDecimal, false);
  length.SetShowFraction(true);  // option setters are silent
  length.SetSuppressDashesDisplay(true);
  EXPECT_EQ(rec.names,
            (std::vector<std::string>{UnitsInfo::kPrecisionChanged, UnitsInfo::kFormatChanged,
                                      UnitsInfo::kUnitsChanged}));
  for (void* s : rec.senders) EXPECT_EQ(s, static_cast<void*>(&length));
  EXPECT_EQ(length.GetUnits(), UnitsInfo::kMeters);
  EXPECT_EQ(length.GetPrecision(), 3);
}

TEST(UnitsInfoTest, DisabledDefaultCentreDropsNotices) {
  NoticeRecorder rec;
  AngleInfo angle;
  {
    CNotificationDisabler mute;
    angle.SetUnits(UnitsInfo::kDegrees);
  }
  angle.SetFormat(UnitsInfo::kDecimal);
  EXPECT_EQ(rec.names, (std::vector<std::string>{UnitsInfo::kFormatChanged}));
}

TEST(UnitsInfoTest, GetPrecisionClampsToMaximum) {
  LengthInfo length;
  length.SetPrecision(9, false);
  EXPECT_EQ(length.GetPrecision(), 6);
  length.SetPrecision(-1, false);
  EXPECT_EQ(length.GetPrecision(), -1);
  // GetPrecision(value) ignores the stored precision and clamps the closest.
  length.SetUnits(UnitsInfo::kPoints, false);
  EXPECT_EQ(length.GetPrecision(1e-9), 1);
}

TEST(UnitsInfoTest, EqualityComparesTypeAndStoredFields) {
  LengthInfo a, b;
  EXPECT_TRUE(a == b);
  b.SetSuppressApproximateDisplay(true);
  EXPECT_FALSE(a == b);
  AngleInfo angle;
  LengthInfo lengthLikeAngle;
  lengthLikeAngle.SetUnits(UnitsInfo::kRadians, false);
  lengthLikeAngle.SetPrecision(4, false);
  EXPECT_FALSE(angle == lengthLikeAngle);  // different types
}

TEST(LengthInfoTest, DefaultsAndRounding) {
  LengthInfo length;
  EXPECT_EQ(length.GetType(), 0);
  EXPECT_EQ(length.GetFormat(), UnitsInfo::kDecimal);
  EXPECT_EQ(length.GetUnits(), UnitsInfo::kInches);
  EXPECT_EQ(length.GetPrecision(), 2);
  EXPECT_DOUBLE_EQ(length.PrecisionAsUnit(), 0.01);
  EXPECT_DOUBLE_EQ(length.Round(1.006), 1.01);
}

TEST(LengthInfoTest, HalvesRoundUpward) {
  LengthInfo length;
  length.SetPrecision(0, false);
  EXPECT_EQ(length.Round(2.5), 3.0);
  EXPECT_EQ(length.Round(-2.5), -2.0);
  EXPECT_EQ(length.Round(-2.6), -3.0);
}

TEST(LengthInfoTest, FormatsForceTheirUnits) {
  LengthInfo length;
  length.SetUnits(UnitsInfo::kMillimeters, false);
  length.SetFormat(UnitsInfo::kEngineering, false);
  EXPECT_EQ(length.GetUnits(), UnitsInfo::kFeet);
  EXPECT_EQ(length.GetUnitsScale(), 12.0);
  length.SetPrecision(1, false);
  EXPECT_DOUBLE_EQ(length.PrecisionAsUnit(), 1.2);
  length.SetFormat(UnitsInfo::kArchitectural, false);
  EXPECT_EQ(length.GetUnits(), UnitsInfo::kInches);
  length.SetFormat(UnitsInfo::kDecimal, false);
  EXPECT_EQ(length.GetUnits(), UnitsInfo::kMillimeters);
  EXPECT_EQ(LengthInfo::ValidUnitsForFormat(UnitsInfo::kFractional, UnitsInfo::kMeters),
            UnitsInfo::kInches);
  EXPECT_EQ(LengthInfo::ValidUnitsForFormat(static_cast<UnitsInfo::Format>(7), UnitsInfo::kMeters),
            UnitsInfo::kMeters);
}

TEST(LengthInfoTest, FractionalSteps) {
  LengthInfo length;
  length.SetUnits(UnitsInfo::kMeters, false);
  length.SetFormat(UnitsInfo::kFractional, false);
  length.SetPrecision(4, false);
  EXPECT_EQ(length.PrecisionAsUnit(), 1.0 / 16);
  EXPECT_EQ(length.GetMaxPrecision(), 6);
  EXPECT_EQ(length.PrecisionAsUnit(UnitsInfo::kArchitectural, 0, UnitsInfo::kFeet), 1.0);
  EXPECT_EQ(length.PrecisionAsUnit(UnitsInfo::kArchitectural, 30, UnitsInfo::kFeet),
            1.0 / (1u << 30));
  EXPECT_GT(length.PrecisionAsUnit(UnitsInfo::kArchitectural, 31, UnitsInfo::kFeet), 0.0);
  EXPECT_EQ(length.PrecisionAsUnit(UnitsInfo::kArchitectural, -1, UnitsInfo::kFeet), 2.0);
  EXPECT_EQ(length.Round(1.03), 1.0);
  EXPECT_EQ(length.Round(1.04), 1.0625);
}

TEST(LengthInfoTest, DecimalStepsUseTheUnitScale) {
  LengthInfo length;
  length.SetUnits(UnitsInfo::kMeters, false);
  length.SetPrecision(3, false);
  EXPECT_DOUBLE_EQ(length.PrecisionAsUnit(), 39.37007874015748 / 1000);
  EXPECT_DOUBLE_EQ(length.PrecisionAsUnit(UnitsInfo::kDecimal, -1, UnitsInfo::kInches), 10.0);
}

TEST(LengthInfoTest, ScalesAndMaximumPrecisions) {
  LengthInfo length;
  const double scales[] = {1.0,
                           12.0,
                           0.03937007874015748,
                           0.39370078740157477,
                           39.37007874015748,
                           0.013888888888888888,
                           0,
                           0,
                           0,
                           0,
                           0,
                           36.0};
  for (int u = 0; u <= 11; ++u)
    EXPECT_DOUBLE_EQ(length.GetUnitsScale(static_cast<UnitsInfo::Units>(u)), scales[u]) << u;
  EXPECT_EQ(length.GetUnitsScale(static_cast<UnitsInfo::Units>(12)), 0.0);
  EXPECT_EQ(length.GetUnitsScale(static_cast<UnitsInfo::Units>(-1)), 0.0);
  const std::pair<UnitsInfo::Units, int> maxima[] = {
      {UnitsInfo::kInches, 6}, {UnitsInfo::kFeet, 6},   {UnitsInfo::kMillimeters, 6},
      {UnitsInfo::kMeters, 6}, {UnitsInfo::kPoints, 1}, {static_cast<UnitsInfo::Units>(6), 4},
      {UnitsInfo::kYards, 4},  {UnitsInfo::kDegrees, 4}};
  for (auto [unit, max] : maxima) {
    length.SetUnits(unit, false);
    EXPECT_EQ(length.GetMaxPrecision(), max) << unit;
  }
  EXPECT_EQ(&LengthInfo::kPrecisions(), &LengthInfo::kPrecisions());  // built once
}

TEST(LengthInfoTest, ClosestPrecision) {
  LengthInfo length;
  length.SetFormat(UnitsInfo::kFractional, false);
  EXPECT_EQ(length.ClosestPrecision(0.5), 1);
  EXPECT_EQ(length.ClosestPrecision(1.0 / 64), 6);
  length.SetFormat(UnitsInfo::kDecimal, false);
  EXPECT_EQ(length.ClosestPrecision(0.3), 1);
  EXPECT_EQ(length.ClosestPrecision(1.0), 0);
  EXPECT_EQ(length.ClosestPrecision(1e-12), 7);  // finer than every step
  EXPECT_EQ(length.GetPrecision(1e-12), 6);      // clamped by GetPrecision(value)
  // A tie moves on to the finer step: in binary steps 0.75 is exactly as far
  // from 1.0 as from 0.5.
  length.SetFormat(UnitsInfo::kArchitectural, false);
  EXPECT_EQ(length.ClosestPrecision(0.75), 1);
  length.SetFormat(UnitsInfo::kDecimal, false);
  // A unit without a scale: infinite x gives 7, a zero value (NaN x) gives 0.
  length.SetUnits(static_cast<UnitsInfo::Units>(7), false);
  EXPECT_EQ(length.ClosestPrecision(2.0), 7);
  EXPECT_EQ(length.ClosestPrecision(0.0), 0);
}

TEST(LengthInfoTest, CopiesTakeEffectiveValues) {
  LengthInfo length;
  length.SetUnits(UnitsInfo::kMillimeters, false);
  length.SetFormat(UnitsInfo::kEngineering, false);
  length.SetPrecision(9, false);
  length.SetSuppressDashesDisplay(true);
  length.SetForceUnitsDisplay(true);
  NoticeRecorder rec;
  LengthInfo copy(length);
  EXPECT_EQ(copy.GetFormat(), UnitsInfo::kEngineering);
  copy.SetFormat(UnitsInfo::kDecimal, false);
  EXPECT_EQ(copy.GetUnits(), UnitsInfo::kFeet);  // the forced unit became the stored unit
  EXPECT_EQ(copy.GetPrecision(), 6);             // clamped
  EXPECT_TRUE(copy.GetSuppressDashesDisplay());
  EXPECT_TRUE(copy.GetForceUnitsDisplay());
  LengthInfo assigned;
  assigned = length;
  EXPECT_EQ(assigned.GetPrecision(), 6);
  std::unique_ptr<UnitsInfo> clone(length.Clone());
  EXPECT_EQ(clone->GetType(), 0);
  EXPECT_EQ(clone->GetUnits(), UnitsInfo::kFeet);
  EXPECT_TRUE(rec.names.empty());
}

TEST(AngleInfoTest, DefaultsAndDegrees) {
  AngleInfo angle;
  EXPECT_EQ(angle.GetType(), 1);
  EXPECT_EQ(angle.GetUnits(), UnitsInfo::kRadians);
  EXPECT_EQ(angle.GetPrecision(), 4);
  EXPECT_DOUBLE_EQ(angle.PrecisionAsUnit(), 0.0001);
  angle.SetUnits(UnitsInfo::kDegrees, false);
  EXPECT_EQ(angle.GetPrecision(), 2);
  EXPECT_DOUBLE_EQ(angle.PrecisionAsUnit(), std::numbers::pi / 180 / 100);
  EXPECT_EQ(angle.ClosestPrecision(0.0174532925199433), 0);
  EXPECT_DOUBLE_EQ(angle.Round(std::numbers::pi / 180 * 12.345), std::numbers::pi / 180 * 12.35);
}

TEST(AngleInfoTest, FormatPlaysNoPart) {
  AngleInfo angle;
  angle.SetFormat(UnitsInfo::kFractional, false);
  EXPECT_EQ(angle.GetUnits(), UnitsInfo::kRadians);
  EXPECT_DOUBLE_EQ(angle.PrecisionAsUnit(), 0.0001);
  EXPECT_EQ(angle.ClosestPrecision(0.01), 2);
}

TEST(AngleInfoTest, LengthUnitsAreAcceptedWithoutScale) {
  AngleInfo angle;
  angle.SetUnits(UnitsInfo::kFeet, false);
  EXPECT_EQ(angle.GetUnits(), UnitsInfo::kFeet);
  EXPECT_EQ(angle.GetUnitsScale(), 0.0);
  EXPECT_EQ(angle.GetMaxPrecision(), 4);
  EXPECT_DOUBLE_EQ(angle.GetUnitsScale(UnitsInfo::kGrads), std::numbers::pi / 200);
}

TEST(AngleInfoTest, CopiesLeaveSuppressDashesBehind) {
  AngleInfo angle;
  angle.SetSuppressDashesDisplay(true);
  angle.SetShowFraction(true);
  angle.SetUnits(UnitsInfo::kGrads, false);
  angle.SetPrecision(5, false);
  AngleInfo copy(angle);
  EXPECT_FALSE(copy.GetSuppressDashesDisplay());
  EXPECT_TRUE(copy.GetShowFraction());
  EXPECT_EQ(copy.GetUnits(), UnitsInfo::kGrads);
  copy.SetUnits(UnitsInfo::kRadians, false);
  EXPECT_EQ(copy.GetPrecision(), 2);  // clamped to the grads maximum when copied
  AngleInfo assigned;
  assigned.SetSuppressDashesDisplay(true);
  assigned = AngleInfo();
  EXPECT_TRUE(assigned.GetSuppressDashesDisplay());  // keeps its own value
  std::unique_ptr<UnitsInfo> clone(angle.Clone());
  EXPECT_EQ(clone->GetType(), 1);
  EXPECT_FALSE(clone->GetSuppressDashesDisplay());
}

}  // namespace

namespace {
// The step table must give exactly what the power function gives.
TEST(LengthInfoTest, DecimalStepsMatchThePowerFunction) {
  LengthInfo length;
  for (int p = -30; p <= 30; ++p) {
    double expected = p == 0 ? 1.0 : 1.0 / std::pow(10.0, p);
    EXPECT_EQ(length.PrecisionAsUnit(UnitsInfo::kDecimal, p, UnitsInfo::kInches), expected) << p;
  }
}

TEST(AngleInfoTest, DecimalStepsMatchThePowerFunction) {
  AngleInfo angle;
  for (int p = -30; p <= 30; ++p) {
    double expected = p == 0 ? 1.0 : 1.0 / std::pow(10.0, p);
    EXPECT_EQ(angle.PrecisionAsUnit(UnitsInfo::kDecimal, p, UnitsInfo::kRadians), expected) << p;
  }
}

// The maximum used when rounding and the published table agree on every
// unit value, listed or not.
template <class Info>
void ExpectMaximaFollowTheTable() {
  Info info;
  info.SetFormat(UnitsInfo::kDecimal, false);
  const auto& table = Info::kPrecisions();
  for (int u = -1; u <= 12; ++u) {
    info.SetUnits(static_cast<UnitsInfo::Units>(u), false);
    auto it = table.find(info.GetUnits());
    EXPECT_EQ(info.GetMaxPrecision(), it == table.end() ? 4 : it->second) << u;
  }
}

TEST(LengthInfoTest, MaximaFollowThePublishedTable) {
  ExpectMaximaFollowTheTable<LengthInfo>();
  EXPECT_EQ(LengthInfo::kPrecisions().size(), 7u);
}

TEST(AngleInfoTest, MaximaFollowThePublishedTable) {
  ExpectMaximaFollowTheTable<AngleInfo>();
  EXPECT_EQ(AngleInfo::kPrecisions().size(), 3u);
}

// A subclass that changes nothing: its calls go through every virtual
// getter, while the class itself may read its fields directly. Both must
// give the same steps and the same rounding for every stored state.
template <class Info>
class Unchanged : public Info {};

template <class Info>
void ExpectSameStepsAsThroughGetters() {
  Info direct;
  Unchanged<Info> virtual_path;
  const double values[] = {0.0, 1.0049, -2.5, 1234.5678, 1e-7, -0.015};
  for (int f = 0; f <= 3; ++f) {
    for (int u = -1; u <= 12; ++u) {
      for (int p = -3; p <= 10; ++p) {
        for (UnitsInfo* info :
             {static_cast<UnitsInfo*>(&direct), static_cast<UnitsInfo*>(&virtual_path)}) {
          info->SetFormat(static_cast<UnitsInfo::Format>(f), false);
          info->SetUnits(static_cast<UnitsInfo::Units>(u), false);
          info->SetPrecision(p, false);
        }
        const double step = direct.PrecisionAsUnit();
        const double expected = virtual_path.PrecisionAsUnit();
        if (std::isnan(expected)) {
          EXPECT_TRUE(std::isnan(step)) << f << " " << u << " " << p;
          continue;
        }
        EXPECT_EQ(step, expected) << f << " " << u << " " << p;
        for (double v : values) {
          const double a = direct.Round(v);
          const double b = virtual_path.Round(v);
          EXPECT_TRUE(a == b || (std::isnan(a) && std::isnan(b)))
              << f << " " << u << " " << p << " " << v << ": " << a << " vs " << b;
        }
      }
    }
  }
}

TEST(LengthInfoTest, StepsReadFromFieldsMatchTheGetters) {
  ExpectSameStepsAsThroughGetters<LengthInfo>();
}

TEST(AngleInfoTest, StepsReadFromFieldsMatchTheGetters) {
  ExpectSameStepsAsThroughGetters<AngleInfo>();
}

// A subclass's own getter is honoured by rounding.
class CoarseLength : public LengthInfo {
 public:
  int GetMaxPrecision() const override { return 0; }
};

TEST(LengthInfoTest, RoundingUsesAnOverriddenMaximum) {
  CoarseLength coarse;
  coarse.SetUnits(UnitsInfo::kInches, false);
  coarse.SetPrecision(3, false);
  EXPECT_EQ(coarse.PrecisionAsUnit(), 1.0);
  EXPECT_EQ(coarse.Round(2.6), 3.0);
}
}  // namespace
