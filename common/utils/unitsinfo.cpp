// unitsinfo.cpp - the stored settings and their change notices.
#include "common/utils/unitsinfo.h"

#include <algorithm>
#include <cmath>

#include "common/utils/notificationcenter.h"

namespace tavrin::utils {

const char* const UnitsInfo::kFormatChanged = "tavrin::utils::UnitsInfo::kFormatChanged";
const char* const UnitsInfo::kUnitsChanged = "tavrin::utils::UnitsInfo::kUnitsChanged";
const char* const UnitsInfo::kPrecisionChanged = "tavrin::utils::UnitsInfo::kPrecisionChanged";
const char* const UnitsInfo::kOptionsChanged = "tavrin::utils::UnitsInfo::kOptionsChanged";

UnitsInfo::UnitsInfo()
    : m_format(kDecimal),
      m_units(static_cast<Units>(6)),
      m_precision(-1),
      m_suppressUnitsDisplay(false),
      m_suppressDashesDisplay(false),
      m_forceUnitsDisplay(false),
      m_showFraction(false),
      m_suppressApproximateDisplay(false) {}

UnitsInfo::~UnitsInfo() = default;

UnitsInfo::Format UnitsInfo::GetFormat() const {
  return m_format;
}

void UnitsInfo::SetFormat(Format f) {
  SetFormat(f, true);
}

void UnitsInfo::SetFormat(Format f, bool notify) {
  m_format = f;
  if (notify) Post(kFormatChanged);
}

UnitsInfo::Units UnitsInfo::GetUnits() const {
  return m_units;
}

void UnitsInfo::SetUnits(Units u) {
  SetUnits(u, true);
}

void UnitsInfo::SetUnits(Units u, bool notify) {
  m_units = u;
  if (notify) Post(kUnitsChanged);
}

double UnitsInfo::Round(double) const {
  return 0.0;
}

void UnitsInfo::SetPrecision(int p) {
  SetPrecision(p, true);
}

void UnitsInfo::SetPrecision(int p, bool notify) {
  m_precision = p;
  if (notify) Post(kPrecisionChanged);
}

int UnitsInfo::GetPrecision() const {
  return std::min(m_precision, GetMaxPrecision());
}

int UnitsInfo::GetPrecision(double value) const {
  return std::min(ClosestPrecision(value), GetMaxPrecision());
}

bool UnitsInfo::operator==(const UnitsInfo& other) const {
  return GetType() == other.GetType() && m_format == other.m_format && m_units == other.m_units &&
         m_precision == other.m_precision &&
         m_suppressUnitsDisplay == other.m_suppressUnitsDisplay &&
         m_suppressDashesDisplay == other.m_suppressDashesDisplay &&
         m_forceUnitsDisplay == other.m_forceUnitsDisplay &&
         m_showFraction == other.m_showFraction &&
         m_suppressApproximateDisplay == other.m_suppressApproximateDisplay;
}

int UnitsInfo::ClosestStepPrecision(double x, double base) {
  double step = 1.0;
  double d = std::fabs(x - 1.0);
  for (int p = 0; p <= 6; ++p) {
    step = step / base;
    // Written as "not <=" so that a NaN x stops at once with 0.
    if (!(std::fabs(x - step) <= d)) return p;
    d = std::fabs(x - step);
  }
  return 7;
}

double UnitsInfo::PowerOfTen(int p) {
  // Every power of ten up to 1e22 is exact in a double, and std::pow returns
  // it exactly; the table just avoids the call on the rounding path.
  static constexpr double kExact[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                      1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                      1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  if (p >= 0 && p <= 22) return kExact[p];
  return std::pow(10.0, p);
}

bool UnitsInfo::SupportsFractionsFormat() {
  return true;
}

void UnitsInfo::Post(const char* name) {
  CNotificationCenter::Default().SendNotification(name, static_cast<void*>(this));
}

}  // namespace tavrin::utils
