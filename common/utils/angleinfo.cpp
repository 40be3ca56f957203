// angleinfo.cpp - angle unit scales, precision steps and rounding.
#include "common/utils/angleinfo.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <typeinfo>

namespace tavrin::utils {

namespace {
// The finest precision of each angle unit; units not listed allow 4. Read
// on every rounding, so it is a plain array (kPrecisions() is built from it).
struct UnitPrecision {
  UnitsInfo::Units units;
  int precision;
};
constexpr UnitPrecision kMaxPrecisions[] = {
    {UnitsInfo::kRadians, 4}, {UnitsInfo::kDegrees, 2}, {UnitsInfo::kGrads, 2}};

// Radians per unit; 0 for a unit that is not an angle.
double ScaleOf(UnitsInfo::Units u) {
  switch (u) {
    case UnitsInfo::kRadians:
      return 1.0;
    case UnitsInfo::kDegrees:
      return std::numbers::pi / 180.0;
    case UnitsInfo::kGrads:
      return std::numbers::pi / 200.0;
    default:
      return 0.0;
  }
}

int MaxPrecisionOf(UnitsInfo::Units u) {
  for (const UnitPrecision& e : kMaxPrecisions)
    if (e.units == u) return e.precision;
  return 4;
}
}  // namespace

AngleInfo::AngleInfo() {
  m_format = kDecimal;
  SetUnits(kRadians, false);
  m_precision = 4;
}

AngleInfo::AngleInfo(const AngleInfo& other) : UnitsInfo() {
  *this = other;
}

AngleInfo& AngleInfo::operator=(const AngleInfo& other) {
  if (this == &other) return *this;
  m_format = other.GetFormat();
  m_units = other.GetUnits();
  m_precision = other.GetPrecision();
  m_suppressUnitsDisplay = other.m_suppressUnitsDisplay;
  m_forceUnitsDisplay = other.m_forceUnitsDisplay;
  m_showFraction = other.m_showFraction;
  m_suppressApproximateDisplay = other.m_suppressApproximateDisplay;
  return *this;
}

AngleInfo::~AngleInfo() = default;

UnitsInfo* AngleInfo::Clone() const {
  return new AngleInfo(*this);
}

int AngleInfo::GetType() const {
  return 1;
}

void AngleInfo::SetFormat(Format f, bool notify) {
  UnitsInfo::SetFormat(f, notify);
}

void AngleInfo::SetUnits(Units u, bool notify) {
  UnitsInfo::SetUnits(u, notify);
}

double AngleInfo::GetUnitsScale() const {
  return GetUnitsScale(GetUnits());
}

double AngleInfo::GetUnitsScale(Units u) const {
  return ScaleOf(u);
}

int AngleInfo::ClosestPrecision(double value) const {
  return ClosestStepPrecision(value / GetUnitsScale(), 10.0);
}

int AngleInfo::GetMaxPrecision() const {
  return MaxPrecisionOf(GetUnits());
}

double AngleInfo::Round(double value) const {
  return RoundHalfUp(value, PrecisionAsUnit());
}

double AngleInfo::PrecisionAsUnit() const {
  if (typeid(*this) == typeid(AngleInfo)) {
    // Exactly an AngleInfo: every getter involved is this class's own, so
    // the fields give the same answer without the virtual calls (rounding
    // runs this for every value). The format plays no part.
    const int p = std::min(m_precision, MaxPrecisionOf(m_units));
    return InversePowerOfTen(p) * ScaleOf(m_units);
  }
  return PrecisionAsUnit(GetFormat(), GetPrecision(), GetUnits());
}

double AngleInfo::PrecisionAsUnit(Format, int p, Units u) const {
  const double factor = InversePowerOfTen(p);
  return factor * GetUnitsScale(u);
}

const std::map<UnitsInfo::Units, int>& AngleInfo::kPrecisions() {
  static const std::map<Units, int> table = [] {
    std::map<Units, int> t;
    for (const UnitPrecision& e : kMaxPrecisions) t.emplace(e.units, e.precision);
    return t;
  }();
  return table;
}

}  // namespace tavrin::utils
