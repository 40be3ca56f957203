// color.cpp - CColor: packing, conversions, blending and the axis colours.
//
// The names, the text parsers and the HLS hue step (CalcValue) live in
// colorize.cpp.
#include "common/utils/color.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "common/utils/internal/colorize_internal.h"
#include "common/utils/random.h"

namespace tavrin::utils {

static_assert(sizeof(CColor) == 4, "CColor is exactly its four channel bytes");
static_assert(std::is_standard_layout_v<CColor> && std::is_trivially_copyable_v<CColor>,
              "CColor is plain data");

namespace {

constexpr double kTolerance = 0.001;

// The channel rule: NaN and x <= 0 give 0, x >= 1 gives 255, otherwise
// x * 255 truncated toward zero.
unsigned char ToByte(double x) {
  if (std::isnan(x) || x <= 0.0) return 0;
  if (x >= 1.0) return 255;
  return static_cast<unsigned char>(x * 255.0);
}

float ToFloat(unsigned char byte) {
  return byte / 255.0f;
}

// Narrows to float the way IEEE hardware does, without the undefined
// behaviour of converting a double outside the float range.
float Narrow(double x) {
  constexpr double kMax = std::numeric_limits<float>::max();
  if (x > kMax) return std::numeric_limits<float>::infinity();
  if (x < -kMax) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(x);
}

}  // namespace

// --- Named constants and the axis colours. ----------------------------------
// Every one is constant-initialised from a constexpr value, so it holds its
// value before any dynamic initialisation in this or another library runs.

namespace {

constexpr CColor kRedValue(255, 0, 0, 255);
constexpr CColor kGreenValue(0, 255, 0, 255);
constexpr CColor kBlueValue(0, 0, 255, 255);
constexpr CColor kCyanValue(0, 255, 255, 255);
constexpr CColor kMagentaValue(255, 0, 255, 255);

}  // namespace

const CColor CColor::Red = kRedValue;
const CColor CColor::DarkRed(128, 0, 0, 255);
const CColor CColor::Green = kGreenValue;
const CColor CColor::DarkGreen(0, 128, 0, 255);
const CColor CColor::Blue = kBlueValue;
const CColor CColor::DarkBlue(0, 0, 128, 255);
const CColor CColor::Yellow(255, 255, 0, 255);
const CColor CColor::DarkYellow(128, 128, 0, 255);
const CColor CColor::Cyan = kCyanValue;
const CColor CColor::DarkCyan(0, 128, 128, 255);
const CColor CColor::Magenta = kMagentaValue;
const CColor CColor::DarkMagenta(128, 0, 128, 255);
const CColor CColor::Orange(255, 128, 0, 255);
const CColor CColor::White(255, 255, 255, 255);
const CColor CColor::Black(0, 0, 0, 255);
const CColor CColor::Gray(128, 128, 128, 255);
const CColor CColor::LightGray(192, 192, 192, 255);
const CColor CColor::DarkGray(64, 64, 64, 255);
const CColor CColor::NoColor(0, 0, 0, 0);

const CColor CColor::kXaxisDefaultColor = kRedValue;
const CColor CColor::kYaxisDefaultColor = kGreenValue;
const CColor CColor::kZaxisDefaultColor = kBlueValue;
const CColor CColor::kParallelPerpendicularDefaultColor = kMagentaValue;
const CColor CColor::kTangentDefaultColor = kCyanValue;
const CColor CColor::kXaxisCrosshairDefaultColor(255, 127, 127, 255);
const CColor CColor::kYaxisCrosshairDefaultColor(127, 255, 127, 255);
const CColor CColor::kZaxisCrosshairDefaultColor(127, 127, 255, 255);

CColor CColor::s_xaxis_color = kRedValue;
CColor CColor::s_yaxis_color = kGreenValue;
CColor CColor::s_zaxis_color = kBlueValue;
CColor CColor::s_parallel_perpendicular_color = kMagentaValue;
CColor CColor::s_tangent_color = kCyanValue;
double CColor::s_axes_brightness_value = CColor::kAxisBrightnessDefault;

// --- Construction and assignment. --------------------------------------------

CColor::CColor(double r, double g, double b, double a) : CColor() {
  Set(r, g, b, a);
}

CColor::CColor(const float* rgba) : CColor() {
  if (rgba) Set(rgba[0], rgba[1], rgba[2], rgba[3]);
}

CColor& CColor::operator=(unsigned int packed) {
  m_red = static_cast<unsigned char>(packed & 0xFFu);
  m_green = static_cast<unsigned char>((packed >> 8) & 0xFFu);
  m_blue = static_cast<unsigned char>((packed >> 16) & 0xFFu);
  m_alpha = static_cast<unsigned char>((packed >> 24) & 0xFFu);
  return *this;
}

void CColor::Set(unsigned char r, unsigned char g, unsigned char b, unsigned char a) {
  m_red = r;
  m_green = g;
  m_blue = b;
  m_alpha = a;
}

void CColor::Set(double r, double g, double b, double a) {
  m_red = ToByte(r);
  m_green = ToByte(g);
  m_blue = ToByte(b);
  m_alpha = ToByte(a);
}

void CColor::SetAlpha(unsigned char a) {
  m_alpha = a;
}

void CColor::SetAlpha(double a) {
  m_alpha = ToByte(a);
}

// --- Reading. ----------------------------------------------------------------

float CColor::GetRedf() const {
  return ToFloat(m_red);
}
float CColor::GetGreenf() const {
  return ToFloat(m_green);
}
float CColor::GetBluef() const {
  return ToFloat(m_blue);
}
float CColor::GetAlphaf() const {
  return ToFloat(m_alpha);
}

float* CColor::GetFv(float* out) const {
  // Shared by every caller without a buffer of its own; kept that way for
  // callers that hold on to the returned pointer until the next call.
  static float RGBA[4];
  float* dest = out ? out : RGBA;
  dest[0] = GetRedf();
  dest[1] = GetGreenf();
  dest[2] = GetBluef();
  dest[3] = GetAlphaf();
  return dest;
}

unsigned int CColor::GetRGBA() const {
  return static_cast<unsigned int>(m_red) | (static_cast<unsigned int>(m_green) << 8) |
         (static_cast<unsigned int>(m_blue) << 16) | (static_cast<unsigned int>(m_alpha) << 24);
}

unsigned int CColor::GetRGB() const {
  return GetRGBA() & 0x00FFFFFFu;
}

CColor CColor::GetOpaqueColor() const {
  return CColor(m_red, m_green, m_blue, 255);
}

bool CColor::operator<(const CColor& other) const {
  return GetRGBA() < other.GetRGBA();
}

bool CColor::operator==(const CColor& other) const {
  return m_red == other.m_red && m_green == other.m_green && m_blue == other.m_blue &&
         m_alpha == other.m_alpha;
}

bool CColor::operator!=(const CColor& other) const {
  return !(*this == other);
}

bool CColor::IsMonochrome() const {
  return m_red == m_green && m_red == m_blue;
}

float CColor::GetBrightness() const {
  return std::max({m_red, m_green, m_blue}) / 255.0f;
}

double CColor::GetLuminance(LuminanceConversion conversion) const {
  const double r = GetRedf(), g = GetGreenf(), b = GetBluef();
  if (conversion == kRec601) return 0.299 * r + 0.587 * g + 0.114 * b;
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}

bool CColor::GetHSV(double& h, double& s, double& v) const {
  if (*this == NoColor) return false;
  RGBToHSV(m_red, m_green, m_blue, h, s, v);
  return true;
}

bool CColor::GetHLS(double& h, double& l, double& s) const {
  if (*this == NoColor) return false;
  RGBToHLS(m_red, m_green, m_blue, h, l, s);
  return true;
}

// --- Changing. ---------------------------------------------------------------

CColor& CColor::ScaleRGB(double factor) {
  m_red = ToByte(GetRedf() * factor);
  m_green = ToByte(GetGreenf() * factor);
  m_blue = ToByte(GetBluef() * factor);
  return *this;
}

CColor& CColor::Blend(const CColor& other, double t) {
  *this = Blend(*this, other, t);
  return *this;
}

CColor CColor::Blend(const CColor& a, const CColor& b, double t) {
  const double u = 1.0 - t;
  return CColor(t * a.GetRedf() + u * b.GetRedf(), t * a.GetGreenf() + u * b.GetGreenf(),
                t * a.GetBluef() + u * b.GetBluef(), t * a.GetAlphaf() + u * b.GetAlphaf());
}

CColor& CColor::BlendInto(const CColor* under) {
  if (!under || m_alpha == 255) return *this;
  if (m_alpha == 0) {
    *this = *under;
    return *this;
  }
  const float alpha = GetAlphaf();
  const float k = 1.0f - alpha;  // single precision, as the results depend on it
  const double r = GetRedf(), g = GetGreenf(), b = GetBluef();
  const double red = r + (static_cast<double>(under->GetRedf()) - r) * k;
  const double green = g + (static_cast<double>(under->GetGreenf()) - g) * k;
  const double blue = b + (static_cast<double>(under->GetBluef()) - b) * k;
  // The under colour's blue channel, not its alpha: kept as is, callers'
  // composited output depends on it.
  const double new_alpha =
      static_cast<double>(alpha) + (static_cast<double>(under->GetBluef()) - alpha) * k;
  Set(red, green, blue, new_alpha);
  return *this;
}

void CColor::SetBrightness(double v) {
  double h = 0.0, s = 0.0, old_v = 0.0;  // NoColor leaves hue and saturation 0
  (void)GetHSV(h, s, old_v);
  HSVToRGB(h, s, v, m_red, m_green, m_blue);
  m_alpha = 255;
}

bool CColor::SetHSV(double h, double s, double v) {
  HSVToRGB(h, s, v, m_red, m_green, m_blue);
  m_alpha = 255;
  return true;
}

bool CColor::SetHLS(double h, double l, double s) {
  HLSToRGB(h, l, s, m_red, m_green, m_blue);
  m_alpha = 255;
  return true;
}

void CColor::MakeGray() {
  const double y = GetLuminance(kRec601);
  Set(y, y, y, 1.0);
}

CColor CColor::Random() {
  // One draw per statement: the channels are drawn red, green, blue, alpha.
  CColor c;
  c.m_red = ToByte(::Random::GetValue(0.0, 1.0));
  c.m_green = ToByte(::Random::GetValue(0.0, 1.0));
  c.m_blue = ToByte(::Random::GetValue(0.0, 1.0));
  c.m_alpha = ToByte(::Random::GetValue(0.0, 1.0));
  return c;
}

// --- Conversions. ------------------------------------------------------------

void CColor::RGBToHSV(float r, float g, float b, float& h, float& s, float& v) {
  const float max = std::max({r, g, b});
  const float min = std::min({r, g, b});
  v = max;
  if (max == min) {
    s = 0.0f;
    h = -1.0f;  // a grey has no hue
    return;
  }
  const float d = max - min;
  s = d / max;
  const float rc = (max - r) / d;
  const float gc = (max - g) / d;
  const float bc = (max - b) / d;
  float hue;
  if (r == max) {
    hue = bc - gc;
  } else if (g == max) {
    hue = 2.0f + rc - bc;
  } else {
    hue = 4.0f + gc - rc;
  }
  hue *= 60.0f;
  if (hue < 0.0f) hue += 360.0f;
  h = hue;
}

void CColor::HSVToRGB(float h, float s, float v, float& r, float& g, float& b) {
  if (s == 0.0f) {
    r = g = b = v;
    return;
  }
  const float hh = (h == 360.0f) ? 0.0f : h / 60.0f;
  // The sector index, taken as unsigned, must be 0..5: that is -1 < hh < 6.
  // Anything else (NaN included) leaves the outputs unwritten.
  if (!(hh > -1.0f && hh < 6.0f)) return;
  const int i = static_cast<int>(hh);  // toward zero: (-1, 0) is sector 0
  const float f = hh - static_cast<float>(i);
  const float p = (1.0f - s) * v;
  const float q = (1.0f - s * f) * v;
  const float t = (1.0f - s * (1.0f - f)) * v;
  switch (i) {
    case 0:
      r = v, g = t, b = p;
      break;
    case 1:
      r = q, g = v, b = p;
      break;
    case 2:
      r = p, g = v, b = t;
      break;
    case 3:
      r = p, g = q, b = v;
      break;
    case 4:
      r = t, g = p, b = v;
      break;
    default:
      r = v, g = p, b = q;
      break;
  }
}

void CColor::RGBToHSV(unsigned char r, unsigned char g, unsigned char b, double& h, double& s,
                      double& v) {
  float hf = 0.0f, sf = 0.0f, vf = 0.0f;
  RGBToHSV(ToFloat(r), ToFloat(g), ToFloat(b), hf, sf, vf);
  h = hf;
  s = sf;
  v = vf;
}

void CColor::HSVToRGB(double h, double s, double v, unsigned char& r, unsigned char& g,
                      unsigned char& b) {
  float rf = 0.0f, gf = 0.0f, bf = 0.0f;  // stay 0 when no sector matches
  HSVToRGB(Narrow(h), Narrow(s), Narrow(v), rf, gf, bf);
  r = ToByte(rf);
  g = ToByte(gf);
  b = ToByte(bf);
}

void CColor::RGBToHLS(unsigned char red, unsigned char green, unsigned char blue, double& h,
                      double& l, double& s) {
  const double r = ToFloat(red), g = ToFloat(green), b = ToFloat(blue);
  double max = r;
  if (g - max >= kTolerance) max = g;
  if (b - max >= kTolerance) max = b;
  double min = r;
  if (g - min <= -kTolerance) min = g;
  if (b - min <= -kTolerance) min = b;
  l = (max + min) / 2.0;
  if (std::fabs(min - max) < kTolerance) {
    s = 0.0;
    h = -1.0;  // a grey has no hue
    return;
  }
  const double d = max - min;
  s = LessThanOrEqual(l, 0.5) ? d / (max + min) : d / (2.0 - max - min);
  const double rc = (max - r) / d;
  const double gc = (max - g) / d;
  const double bc = (max - b) / d;
  double hue = 0.0;
  if (std::fabs(r - max) < kTolerance) {
    hue = bc - gc;
  } else if (std::fabs(g - max) < kTolerance) {
    hue = 2.0 + rc - bc;
  } else if (std::fabs(b - max) < kTolerance) {
    hue = 4.0 + gc - rc;
  }
  hue *= 60.0;
  if (hue <= -kTolerance) hue += 360.0;
  h = hue;
}

void CColor::HLSToRGB(double h, double l, double s, unsigned char& r, unsigned char& g,
                      unsigned char& b) {
  const double m2 = (l - 0.5 > -kTolerance) ? l + s - l * s : l * (1.0 + s);
  if (std::fabs(s) < kTolerance) {
    r = g = b = ToByte(l);
    return;
  }
  const double m1 = 2.0 * l - m2;
  r = ToByte(detail::CalcValue(m1, m2, h + 120.0));
  g = ToByte(detail::CalcValue(m1, m2, h));
  b = ToByte(detail::CalcValue(m1, m2, h - 120.0));
}

// --- Tolerant comparisons. ---------------------------------------------------

bool CColor::LessThan(double a, double b) {
  return a - b <= -kTolerance;
}

bool CColor::GreaterThan(double a, double b) {
  return a - b >= kTolerance;
}

bool CColor::Equals(double a, double b) {
  return std::fabs(a - b) < kTolerance;
}

bool CColor::LessThanOrEqual(double a, double b) {
  return LessThan(a, b) || Equals(a, b);
}

double CColor::Clamp(double v, double lo, double hi) {
  if (v < lo) return lo;
  if (v > hi) return hi;
  return v;
}

// --- Axis colours. -----------------------------------------------------------

namespace {

CColor AxisColor(const CColor& current, double brightness) {
  if (brightness < 1.0) {
    CColor c = current;
    c.SetBrightness(brightness);
    return c;
  }
  return current;
}

}  // namespace

CColor CColor::GetXAxisColor(double brightness) {
  return AxisColor(s_xaxis_color, brightness);
}
CColor CColor::GetYAxisColor(double brightness) {
  return AxisColor(s_yaxis_color, brightness);
}
CColor CColor::GetZAxisColor(double brightness) {
  return AxisColor(s_zaxis_color, brightness);
}
CColor CColor::GetParallelPerpendicularColor(double brightness) {
  return AxisColor(s_parallel_perpendicular_color, brightness);
}
CColor CColor::GetTangentColor(double brightness) {
  return AxisColor(s_tangent_color, brightness);
}

void CColor::SetXAxisColor(CColor color) {
  if (color != s_xaxis_color) s_xaxis_color = color;
}
void CColor::SetYAxisColor(CColor color) {
  if (color != s_yaxis_color) s_yaxis_color = color;
}
void CColor::SetZAxisColor(CColor color) {
  if (color != s_zaxis_color) s_zaxis_color = color;
}
void CColor::SetParallelPerpendicularColor(CColor color) {
  if (color != s_parallel_perpendicular_color) s_parallel_perpendicular_color = color;
}
void CColor::SetTangentColor(CColor color) {
  if (color != s_tangent_color) s_tangent_color = color;
}

void CColor::GetAxesBrightnessValue() {
  const bool all_default = s_xaxis_color == kXaxisDefaultColor &&
                           s_yaxis_color == kYaxisDefaultColor &&
                           s_zaxis_color == kZaxisDefaultColor &&
                           s_parallel_perpendicular_color == kParallelPerpendicularDefaultColor &&
                           s_tangent_color == kTangentDefaultColor;
  s_axes_brightness_value = all_default ? kAxisBrightnessDefault : 1.0;
}

void CColor::SetAxesBrightnessValue(double value) {
  s_axes_brightness_value = value;
}

}  // namespace tavrin::utils
