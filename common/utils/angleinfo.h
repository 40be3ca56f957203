// angleinfo.h - AngleInfo, the settings for displaying angles.
//
// Every angle given or returned is in radians. The display format plays no
// part in the answers (no binary fractions for angles). Only kRadians,
// kDegrees and kGrads have a scale; any other unit, a length unit included,
// is accepted and has scale 0.0.
#pragma once

#include <map>

#include "common/utils/export.h"
#include "common/utils/unitsinfo.h"

namespace tavrin::utils {

class TAVRIN_EXPORT AngleInfo : public UnitsInfo {
 public:
  using UnitsInfo::SetFormat;
  using UnitsInfo::SetUnits;

  // Format kDecimal, unit kRadians, precision 4, no notices.
  AngleInfo();
  // Copy the effective format, unit and (clamped) precision and four flags,
  // without notices. suppressDashesDisplay is deliberately not copied: a copy
  // keeps false, an assignment its own value.
  AngleInfo(const AngleInfo& other);
  AngleInfo& operator=(const AngleInfo& other);

  ~AngleInfo() override;
  UnitsInfo* Clone() const override;
  // 1.
  int GetType() const override;
  void SetFormat(Format f, bool notify) override;
  void SetUnits(Units u, bool notify) override;
  double GetUnitsScale() const override;
  // Radians per unit; 0.0 outside kRadians..kGrads.
  double GetUnitsScale(Units u) const override;
  int ClosestPrecision(double value) const override;
  // kPrecisions()[unit], or 4 for a unit not in the table.
  int GetMaxPrecision() const override;
  double Round(double value) const override;
  double PrecisionAsUnit() const override;
  // 10^-p times the scale of `u`; `f` is ignored.
  double PrecisionAsUnit(Format f, int p, Units u) const override;

  // Maximum precision by unit, built once on first use (thread-safe) and kept
  // until exit.
  static const std::map<Units, int>& kPrecisions();
};

}  // namespace tavrin::utils
