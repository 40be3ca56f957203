// angleinfo.cpp - angle unit scales, precision steps and rounding.
#include "common/utils/angleinfo.h"

#include <cmath>
#include <numbers>

namespace tavrin::utils {

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
  switch (u) {
    case kRadians:
      return 1.0;
    case kDegrees:
      return std::numbers::pi / 180.0;
    case kGrads:
      return std::numbers::pi / 200.0;
    default:
      return 0.0;
  }
}

int AngleInfo::ClosestPrecision(double value) const {
  return ClosestStepPrecision(value / GetUnitsScale(), 10.0);
}

int AngleInfo::GetMaxPrecision() const {
  const auto& table = kPrecisions();
  auto it = table.find(GetUnits());
  return it == table.end() ? 4 : it->second;
}

double AngleInfo::Round(double value) const {
  return RoundHalfUp(value, PrecisionAsUnit());
}

double AngleInfo::PrecisionAsUnit() const {
  return PrecisionAsUnit(GetFormat(), GetPrecision(), GetUnits());
}

double AngleInfo::PrecisionAsUnit(Format, int p, Units u) const {
  double factor = p == 0 ? 1.0 : 1.0 / PowerOfTen(p);
  return factor * GetUnitsScale(u);
}

const std::map<UnitsInfo::Units, int>& AngleInfo::kPrecisions() {
  static const std::map<Units, int> table = {{kRadians, 4}, {kDegrees, 2}, {kGrads, 2}};
  return table;
}

}  // namespace tavrin::utils
