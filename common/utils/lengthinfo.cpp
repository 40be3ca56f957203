// lengthinfo.cpp - length unit scales, precision steps and rounding.
#include "common/utils/lengthinfo.h"

#include <algorithm>
#include <cmath>
#include <typeinfo>

namespace tavrin::utils {

namespace {
bool IsBinaryFormat(UnitsInfo::Format f) {
  return f == UnitsInfo::kArchitectural || f == UnitsInfo::kFractional;
}

// The finest precision of each decimal unit; units not listed allow 4. Read
// on every rounding, so it is a plain array (kPrecisions() is built from it).
struct UnitPrecision {
  UnitsInfo::Units units;
  int precision;
};
constexpr UnitPrecision kMaxPrecisions[] = {{UnitsInfo::kInches, 6},
                                            {UnitsInfo::kFeet, 6},
                                            {UnitsInfo::kMillimeters, 6},
                                            {UnitsInfo::kCentimeters, 6},
                                            {UnitsInfo::kMeters, 6},
                                            {UnitsInfo::kPoints, 1},
                                            {static_cast<UnitsInfo::Units>(6), 4}};

// Inches per unit; 0 for a unit that is not a length.
double ScaleOf(UnitsInfo::Units u) {
  switch (u) {
    case UnitsInfo::kInches:
      return 1.0;
    case UnitsInfo::kFeet:
      return 12.0;
    case UnitsInfo::kMillimeters:
      return 1.0 / 25.4;
    case UnitsInfo::kCentimeters:
      return 1.0 / 2.54;
    case UnitsInfo::kMeters:
      return 100.0 / 2.54;
    case UnitsInfo::kPoints:
      return 1.0 / 72.0;
    case UnitsInfo::kYards:
      return 36.0;
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

LengthInfo::LengthInfo() {
  m_format = kDecimal;
  SetUnits(kInches, false);
  m_precision = 2;
}

LengthInfo::LengthInfo(const LengthInfo& other) : UnitsInfo() {
  *this = other;
}

LengthInfo& LengthInfo::operator=(const LengthInfo& other) {
  if (this == &other) return *this;
  m_format = other.GetFormat();
  m_units = other.GetUnits();
  m_precision = other.GetPrecision();
  m_suppressUnitsDisplay = other.m_suppressUnitsDisplay;
  m_suppressDashesDisplay = other.m_suppressDashesDisplay;
  m_forceUnitsDisplay = other.m_forceUnitsDisplay;
  m_showFraction = other.m_showFraction;
  m_suppressApproximateDisplay = other.m_suppressApproximateDisplay;
  return *this;
}

LengthInfo::~LengthInfo() = default;

UnitsInfo* LengthInfo::Clone() const {
  return new LengthInfo(*this);
}

int LengthInfo::GetType() const {
  return 0;
}

UnitsInfo::Units LengthInfo::GetUnits() const {
  return ValidUnitsForFormat(m_format, m_units);
}

void LengthInfo::SetUnits(Units u, bool notify) {
  if (!SupportsFractionsFormat() && m_format == kFractional) {
    SetFormat(kDecimal, notify);
    u = kInches;
  }
  UnitsInfo::SetUnits(u, notify);
}

double LengthInfo::GetUnitsScale() const {
  return GetUnitsScale(GetUnits());
}

double LengthInfo::GetUnitsScale(Units u) const {
  return ScaleOf(u);
}

int LengthInfo::ClosestPrecision(double value) const {
  return ClosestStepPrecision(value / GetUnitsScale(), IsBinaryFormat(m_format) ? 2.0 : 10.0);
}

int LengthInfo::GetMaxPrecision() const {
  if (IsBinaryFormat(m_format)) return 6;
  return MaxPrecisionOf(GetUnits());
}

double LengthInfo::Round(double value) const {
  return RoundHalfUp(value, PrecisionAsUnit());
}

double LengthInfo::PrecisionAsUnit() const {
  if (typeid(*this) == typeid(LengthInfo)) {
    // Exactly a LengthInfo: every getter involved is this class's own, so
    // the fields give the same answer without six virtual calls (rounding
    // runs this for every value).
    const Units u = ValidUnitsForFormat(m_format, m_units);
    const int p = std::min(m_precision, IsBinaryFormat(m_format) ? 6 : MaxPrecisionOf(u));
    if (IsBinaryFormat(m_format)) return std::ldexp(1.0, -p);
    return InversePowerOfTen(p) * ScaleOf(u);
  }
  return PrecisionAsUnit(GetFormat(), GetPrecision(), GetUnits());
}

double LengthInfo::PrecisionAsUnit(Format f, int p, Units u) const {
  // ldexp gives the binary step for every p: exactly 1/(1 << p) where a
  // shift is defined, and a sensible step for negative or large p.
  if (IsBinaryFormat(f)) return std::ldexp(1.0, -p);
  const double factor = InversePowerOfTen(p);
  return factor * GetUnitsScale(u);
}

UnitsInfo::Units LengthInfo::ValidUnitsForFormat(Format f, Units u) {
  switch (f) {
    case kArchitectural:
    case kFractional:
      return kInches;
    case kEngineering:
      return kFeet;
    default:
      return u;
  }
}

const std::map<UnitsInfo::Units, int>& LengthInfo::kPrecisions() {
  static const std::map<Units, int> table = [] {
    std::map<Units, int> t;
    for (const UnitPrecision& e : kMaxPrecisions) t.emplace(e.units, e.precision);
    return t;
  }();
  return table;
}

}  // namespace tavrin::utils
