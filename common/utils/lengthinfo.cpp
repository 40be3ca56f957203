// lengthinfo.cpp - length unit scales, precision steps and rounding.
#include "common/utils/lengthinfo.h"

#include <cmath>

namespace tavrin::utils {

namespace {
bool IsBinaryFormat(UnitsInfo::Format f) {
  return f == UnitsInfo::kArchitectural || f == UnitsInfo::kFractional;
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
  switch (u) {
    case kInches:
      return 1.0;
    case kFeet:
      return 12.0;
    case kMillimeters:
      return 1.0 / 25.4;
    case kCentimeters:
      return 1.0 / 2.54;
    case kMeters:
      return 100.0 / 2.54;
    case kPoints:
      return 1.0 / 72.0;
    case kYards:
      return 36.0;
    default:
      return 0.0;
  }
}

int LengthInfo::ClosestPrecision(double value) const {
  return ClosestStepPrecision(value / GetUnitsScale(), IsBinaryFormat(m_format) ? 2.0 : 10.0);
}

int LengthInfo::GetMaxPrecision() const {
  if (IsBinaryFormat(m_format)) return 6;
  const auto& table = kPrecisions();
  auto it = table.find(GetUnits());
  return it == table.end() ? 4 : it->second;
}

double LengthInfo::Round(double value) const {
  return RoundHalfUp(value, PrecisionAsUnit());
}

double LengthInfo::PrecisionAsUnit() const {
  return PrecisionAsUnit(GetFormat(), GetPrecision(), GetUnits());
}

double LengthInfo::PrecisionAsUnit(Format f, int p, Units u) const {
  // ldexp gives the binary step for every p: exactly 1/(1 << p) where a
  // shift is defined, and a sensible step for negative or large p.
  if (IsBinaryFormat(f)) return std::ldexp(1.0, -p);
  double factor = p == 0 ? 1.0 : 1.0 / PowerOfTen(p);
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
  static const std::map<Units, int> table = {
      {kInches, 6}, {kFeet, 6},   {kMillimeters, 6},         {kCentimeters, 6},
      {kMeters, 6}, {kPoints, 1}, {static_cast<Units>(6), 4}};
  return table;
}

}  // namespace tavrin::utils
