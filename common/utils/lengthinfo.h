// lengthinfo.h - LengthInfo, the settings for displaying lengths.
//
// Every length given or returned is in inches. The architectural and
// fractional formats force the unit to inches and use binary-fraction steps
// (1/2, 1/4, ...); the engineering format forces feet; the decimal format
// uses the stored unit and steps that are powers of ten. Units without a
// length scale (6 to 10) and unknown values have scale 0.0.
#pragma once

#include <map>

#include "common/utils/export.h"
#include "common/utils/unitsinfo.h"

namespace tavrin::utils {

class TAVRIN_EXPORT LengthInfo : public UnitsInfo {
 public:
  using UnitsInfo::SetFormat;
  using UnitsInfo::SetUnits;

  // Format kDecimal, unit kInches, precision 2, no notices.
  LengthInfo();
  // Copy the effective values, not the stored ones, without notices: the
  // format-forced unit becomes the stored unit and the precision is clamped
  // to the other's maximum; all five flags are copied.
  LengthInfo(const LengthInfo& other);
  LengthInfo& operator=(const LengthInfo& other);

  ~LengthInfo() override;
  UnitsInfo* Clone() const override;
  // 0.
  int GetType() const override;
  // The unit the format forces, else the stored unit.
  Units GetUnits() const override;
  // Stores `u` (posting kUnitsChanged when notify). When fractions are not
  // supported and the format is kFractional it first switches to kDecimal and
  // inches; that never happens in this build.
  void SetUnits(Units u, bool notify) override;
  // Scale of GetUnits(), so a format-forced unit counts.
  double GetUnitsScale() const override;
  // Inches per unit; 0.0 for units 6 to 10 and out-of-range values.
  double GetUnitsScale(Units u) const override;
  int ClosestPrecision(double value) const override;
  // 6 for the architectural and fractional formats, else kPrecisions()[unit]
  // or 4 for a unit not in the table.
  int GetMaxPrecision() const override;
  double Round(double value) const override;
  double PrecisionAsUnit() const override;
  // Binary formats: 2^-p inches whatever the unit; otherwise 10^-p times the
  // scale of `u` (a negative p gives a step larger than one unit).
  double PrecisionAsUnit(Format f, int p, Units u) const override;

  // The unit format `f` forces, or `u` for kDecimal and unknown formats.
  static Units ValidUnitsForFormat(Format f, Units u);

  // Maximum precision by unit, built once on first use (thread-safe) and kept
  // until exit.
  static const std::map<Units, int>& kPrecisions();
};

}  // namespace tavrin::utils
