// unitsinfo.h - UnitsInfo, the abstract base of the length and angle unit
// settings (LengthInfo, AngleInfo).
//
// A settings object holds a display format, a unit, a precision and five
// display option flags, and announces changes of format, unit and precision
// on CNotificationCenter::Default() with itself as the sender (the untyped
// payload). A notice is posted on every notifying call, whether or not the
// value changed; the option setters are silent and kOptionsChanged is
// defined for clients but never posted here. Subclasses answer the unit
// scale, precision and rounding questions. No text is formatted or parsed.
//
// The enumeration values are stored and compared as numbers: their order is
// fixed, including the unnamed units 6 and 7 (no scale) and the late place
// of kYards.
#pragma once

#include <cmath>

#include "common/utils/export.h"

namespace tavrin::utils {

class TAVRIN_EXPORT UnitsInfo {
 public:
  enum Format : int { kDecimal, kArchitectural, kEngineering, kFractional };
  enum Units : int {
    kInches,
    kFeet,
    kMillimeters,
    kCentimeters,
    kMeters,
    kPoints,
    kRadians = 8,
    kDegrees,
    kGrads,
    kYards
  };

  // Notification names: "tavrin::utils::UnitsInfo::kFormatChanged" and the
  // same pattern for the other three.
  static const char* const kFormatChanged;
  static const char* const kUnitsChanged;
  static const char* const kPrecisionChanged;
  static const char* const kOptionsChanged;

  // Defaults: format kDecimal, unit 6 (no scale), precision -1, flags false.
  UnitsInfo();
  // Copies the eight fields as stored, without notices.
  UnitsInfo(const UnitsInfo& other) = default;
  UnitsInfo& operator=(const UnitsInfo& other) = default;

  // Virtual operations, in their fixed order.
  virtual ~UnitsInfo();
  // Clone() - a new heap copy of the same concrete class, owned by the caller.
  virtual UnitsInfo* Clone() const = 0;
  // GetType() - 0 for a length, 1 for an angle.
  virtual int GetType() const = 0;
  virtual Format GetFormat() const;
  // SetFormat(f) - SetFormat(f, true).
  virtual void SetFormat(Format f);
  // SetFormat(f, notify) - stores f; posts kFormatChanged when notify.
  virtual void SetFormat(Format f, bool notify);
  virtual Units GetUnits() const;
  // SetUnits(u) - SetUnits(u, true).
  virtual void SetUnits(Units u);
  // SetUnits(u, notify) - stores u; posts kUnitsChanged when notify.
  virtual void SetUnits(Units u, bool notify);
  // Base units (inches or radians) in one current unit; 0.0 when the unit
  // has no scale.
  virtual double GetUnitsScale() const = 0;
  virtual double GetUnitsScale(Units u) const = 0;
  // The precision whose step is nearest to `value` (base units); not clamped.
  virtual int ClosestPrecision(double value) const = 0;
  virtual int GetMaxPrecision() const = 0;
  // Round() - `value` rounded half-up to the precision step; 0.0 in the base.
  virtual double Round(double value) const;
  // PrecisionAsUnit() - the size of one precision step in base units.
  virtual double PrecisionAsUnit() const = 0;
  virtual double PrecisionAsUnit(Format f, int precision, Units u) const = 0;

  // SetPrecision(p) - stores p and always posts kPrecisionChanged.
  void SetPrecision(int p);
  // SetPrecision(p, notify) - stores p; posts only when notify.
  void SetPrecision(int p, bool notify);
  // GetPrecision() - the smaller of the stored precision and GetMaxPrecision().
  int GetPrecision() const;
  // GetPrecision(value) - the smaller of ClosestPrecision(value) and
  // GetMaxPrecision(); the stored precision plays no part.
  int GetPrecision(double value) const;

  // Option flags: stored and copied for the application's display; the
  // setters post nothing.
  bool GetSuppressUnitsDisplay() const { return m_suppressUnitsDisplay; }
  void SetSuppressUnitsDisplay(bool v) { m_suppressUnitsDisplay = v; }
  bool GetSuppressDashesDisplay() const { return m_suppressDashesDisplay; }
  void SetSuppressDashesDisplay(bool v) { m_suppressDashesDisplay = v; }
  bool GetForceUnitsDisplay() const { return m_forceUnitsDisplay; }
  void SetForceUnitsDisplay(bool v) { m_forceUnitsDisplay = v; }
  bool GetShowFraction() const { return m_showFraction; }
  void SetShowFraction(bool v) { m_showFraction = v; }
  bool GetSuppressApproximateDisplay() const { return m_suppressApproximateDisplay; }
  void SetSuppressApproximateDisplay(bool v) { m_suppressApproximateDisplay = v; }

  // operator== - same GetType() and the same eight stored fields.
  bool operator==(const UnitsInfo& other) const;
  bool operator!=(const UnitsInfo& other) const { return !(*this == other); }

  // SupportsFractionsFormat() - true in this build.
  static bool SupportsFractionsFormat();

 protected:
  // Posts `name` on the default centre with this object as the sender.
  void Post(const char* name);

  // The precision p (0..7) whose step 1/base^(p+1) is nearest to x, taking
  // the steps from coarse to fine and stopping at the first that moves away
  // (ties move on to the finer step). An infinite x gives 7, a NaN x 0.
  static int ClosestStepPrecision(double x, double base);

  // 10^p as std::pow(10.0, p) gives it (exact table for 0..22).
  static double PowerOfTen(int p);

  // 1.0 / PowerOfTen(p), bit for bit (a table of the correctly rounded
  // 10^-p for 0..22, so the rounding path needs no extra division).
  static double InversePowerOfTen(int p) {
    // Each literal is the double nearest to 10^-p, which is also what the
    // correctly rounded division 1.0 / 10^p gives.
    static constexpr double kInverse[] = {1e-0,  1e-1,  1e-2,  1e-3,  1e-4,  1e-5,  1e-6,  1e-7,
                                          1e-8,  1e-9,  1e-10, 1e-11, 1e-12, 1e-13, 1e-14, 1e-15,
                                          1e-16, 1e-17, 1e-18, 1e-19, 1e-20, 1e-21, 1e-22};
    if (p >= 0 && p <= 22) return kInverse[p];
    return 1.0 / PowerOfTen(p);
  }

  // step * floor(value / step + 0.5): halves round toward +infinity.
  static double RoundHalfUp(double value, double step) {
    return step * std::floor(value / step + 0.5);
  }

  Format m_format;
  Units m_units;
  int m_precision;
  bool m_suppressUnitsDisplay;
  bool m_suppressDashesDisplay;
  bool m_forceUnitsDisplay;
  bool m_showFraction;
  bool m_suppressApproximateDisplay;
};

}  // namespace tavrin::utils
