// color.h - CColor, the library's RGBA colour value.
//
// A CColor is four unsigned 8-bit channels, red, green, blue and alpha (0 is
// fully transparent, 255 opaque), and nothing else; it is copied by value
// everywhere. It converts to and from HSV and HLS, grey and luminance, blends
// and composites, and keeps the process-wide axis colours the modelling views
// draw their axes and alignment guides with. Names and text forms of colours
// (the 140-entry name table, hexadecimal text) are declared here and
// implemented with the colorize unit (colorize.h).
//
// Unit-wide rules:
// - Packed form: red + green * 2^8 + blue * 2^16 + alpha * 2^24 (red in the
//   lowest byte), as returned by GetRGBA() and taken by operator=(unsigned).
//   Opaque red is 0xFF0000FF, NoColor is 0. The ordering (operator<) compares
//   packed values, so alpha is the most significant key.
// - A channel read as a float is byte / 255.0f.
// - Channel rule, used by every conversion of a real number x to a byte:
//   NaN and x <= 0 give 0, x >= 1 gives 255, otherwise x * 255.0 computed in
//   double and truncated toward zero, never rounded (0.5 gives 127). The
//   truncation is deliberate; callers rely on it.
// - Angles (hue) are degrees; saturation, value and lightness are in [0, 1].
//   A grey has no hue: the conversions report hue -1 and saturation 0 for it.
// - Tolerant comparisons use the absolute tolerance 0.001.
// - The named constants (Red, ..., NoColor) are opaque except NoColor and are
//   not the like-named entries of the name table (Green here is (0, 255, 0),
//   the table's "Green" is (0, 128, 0)); both sets are kept as they are.
// - The axis colours and the axes brightness value are unguarded
//   process-wide variables, meant for the application's main thread.
// - Nothing here throws.
#pragma once

#include <type_traits>

#include "common/utils/export.h"

namespace tavrin::utils {

class TAVRIN_EXPORT CColor {
 public:
  // Selects the weights of GetLuminance(): kRec601 (0) the Rec. 601 weights
  // 0.299, 0.587, 0.114; any other value the Rec. 709 weights 0.2126, 0.7152,
  // 0.0722. The underlying type is int, so every int value is a valid
  // LuminanceConversion (without it only 0 and 1 would be).
  enum LuminanceConversion : int { kRec601 = 0, kRec709 = 1 };

  // --- Construction and assignment. ----------------------------------------

  // CColor() - NoColor, (0, 0, 0, 0).
  constexpr CColor() : m_red(0), m_green(0), m_blue(0), m_alpha(0) {}
  // Stores the four bytes as given.
  constexpr CColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a)
      : m_red(r), m_green(g), m_blue(b), m_alpha(a) {}
  // Four integers of one integral type: each is cast to unsigned char (so
  // CColor(255, 0, 0, 255) is opaque red and 256 wraps to 0). Mixed calls
  // such as CColor(1, 0, 0.5, 1.0) take the double form.
  template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
  constexpr CColor(I r, I g, I b, I a)
      : CColor(static_cast<unsigned char>(r), static_cast<unsigned char>(g),
               static_cast<unsigned char>(b), static_cast<unsigned char>(a)) {}
  // Four channels in [0, 1], each converted by the channel rule.
  CColor(double r, double g, double b, double a);
  // Reads four floats red, green, blue, alpha from `rgba` and converts them
  // by the channel rule. A null pointer gives NoColor.
  explicit CColor(const float* rgba);

  // operator=(unsigned int) - stores the packed form as it stands.
  CColor& operator=(unsigned int packed);

  // Set() - stores the bytes as given.
  void Set(unsigned char r, unsigned char g, unsigned char b, unsigned char a);
  // Set() - four integers of one integral type, each cast to unsigned char.
  template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
  void Set(I r, I g, I b, I a) {
    Set(static_cast<unsigned char>(r), static_cast<unsigned char>(g), static_cast<unsigned char>(b),
        static_cast<unsigned char>(a));
  }
  // Set() - each channel by the channel rule: Set(0.5, 0.5, 0.5, 0.5) gives
  // (127, 127, 127, 127); Set(-3, 2, 1.0, 0.999) gives (0, 255, 255, 254).
  void Set(double r, double g, double b, double a);

  // SetAlpha() - changes only alpha: a byte as given, an integer cast to
  // unsigned char, a double by the channel rule.
  void SetAlpha(unsigned char a);
  template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
  void SetAlpha(I a) {
    SetAlpha(static_cast<unsigned char>(a));
  }
  void SetAlpha(double a);

  // --- Reading. ------------------------------------------------------------

  // The channel bytes.
  unsigned char GetRed() const { return m_red; }
  unsigned char GetGreen() const { return m_green; }
  unsigned char GetBlue() const { return m_blue; }
  unsigned char GetAlpha() const { return m_alpha; }

  // The channel as a float, byte / 255.0f.
  float GetRedf() const;
  float GetGreenf() const;
  float GetBluef() const;
  float GetAlphaf() const;

  // GetFv() - writes the four float channels red, green, blue, alpha into
  // `out` (room for four floats) and returns `out`. With a null `out` it
  // writes into one static array shared by every caller and every thread and
  // returns that; the next such call overwrites it.
  float* GetFv(float* out = nullptr) const;

  // GetRGBA() - the packed form (red in the lowest byte).
  unsigned int GetRGBA() const;
  // GetRGB() - the packed form with the alpha byte cleared.
  unsigned int GetRGB() const;
  // GetOpaqueColor() - this colour with alpha 255.
  CColor GetOpaqueColor() const;

  // operator<() - compares the packed forms as unsigned integers: alpha is
  // the most significant key, then blue, green, red. This is the order used
  // wherever colours are sorted or kept in ordered containers.
  bool operator<(const CColor& other) const;
  // Equality over all four channels.
  bool operator==(const CColor& other) const;
  bool operator!=(const CColor& other) const;

  // IsMonochrome() - red == green == blue; alpha is ignored.
  bool IsMonochrome() const;

  // GetBrightness() - max(red, green, blue) / 255.0f: the HSV value.
  float GetBrightness() const;

  // GetLuminance() - weighted sum of the float channels in [0, 1]; kRec601
  // (the default) or, for any other value, the Rec. 709 weights.
  double GetLuminance(LuminanceConversion conversion = kRec601) const;

  // GetHSV() - hue (degrees, -1 for a grey), saturation and value of the
  // red, green and blue bytes. False, with the outputs untouched, only for
  // NoColor (all four bytes 0); opaque black gives true, -1, 0, 0.
  [[nodiscard]] bool GetHSV(double& h, double& s, double& v) const;

  // GetHLS() - hue (degrees, -1 for a grey), lightness and saturation of the
  // red, green and blue bytes. False, with the outputs untouched, only for
  // NoColor.
  [[nodiscard]] bool GetHLS(double& h, double& l, double& s) const;

  // --- Changing. -----------------------------------------------------------

  // ScaleRGB() - multiplies red, green and blue (as floats) by `factor`,
  // channel rule; alpha unchanged. Returns this colour.
  CColor& ScaleRGB(double factor);

  // Blend() - this = t * this + (1 - t) * other on all four channels (floats,
  // combined in double, channel rule). Returns this colour.
  CColor& Blend(const CColor& other, double t);
  // Blend() - a new colour t * a + (1 - t) * b, same arithmetic.
  static CColor Blend(const CColor& a, const CColor& b, double t);

  // BlendInto() - composites this colour over `under`, in place. Alpha 255:
  // no change; alpha 0: this becomes a copy of `under`, alpha included;
  // otherwise with a = alpha / 255.0f and k = 1 - a, each colour channel
  // becomes this + (under - this) * k and alpha becomes a + (under's BLUE
  // channel - a) * k. The use of the blue channel in the alpha formula is the
  // defined behaviour, kept as is: (255, 0, 0, 128) over (0, 0, 255, 0) gives
  // (128, 0, 126, 191). A null `under` changes nothing. Returns this colour.
  CColor& BlendInto(const CColor* under);

  // SetBrightness() - keeps hue and saturation (0 and 0 for NoColor), sets
  // the HSV value to `v` and makes the colour opaque.
  void SetBrightness(double v);
  // SetHSV() - red, green and blue from hue (degrees), saturation and value;
  // alpha becomes 255. A hue outside (-60, 360] with saturation above 0
  // gives black. Always true.
  bool SetHSV(double h, double s, double v);
  // SetHLS() - red, green and blue from hue (degrees), lightness and
  // saturation; alpha becomes 255. Always true.
  bool SetHLS(double h, double l, double s);
  // MakeGray() - the Rec. 601 luminance y of this colour becomes red, green
  // and blue (channel rule), and alpha becomes 255.
  void MakeGray();

  // Random() - a colour whose red, green, blue and alpha (drawn in that
  // order) are each Random::GetValue(0.0, 1.0) by the channel rule. Alpha is
  // random too, deliberately.
  static CColor Random();

  // --- Conversions. --------------------------------------------------------

  // RGBToHSV() - channels in [0, 1] to hue (degrees in [0, 360), -1 for a
  // grey), saturation and value, in single precision.
  static void RGBToHSV(float r, float g, float b, float& h, float& s, float& v);
  // HSVToRGB() - single precision. With s == 0 all three outputs become v
  // whatever h is. Otherwise the outputs are written only when
  // -1 < h / 60 < 6 (h == 360 reads as 0); any other hue, NaN included,
  // leaves them unwritten.
  static void HSVToRGB(float h, float s, float v, float& r, float& g, float& b);
  // RGBToHSV() - the float conversion of byte / 255.0f, results widened.
  static void RGBToHSV(unsigned char r, unsigned char g, unsigned char b, double& h, double& s,
                       double& v);
  // HSVToRGB() - the float conversion, results by the channel rule. When the
  // float conversion writes nothing the bytes are 0.
  static void HSVToRGB(double h, double s, double v, unsigned char& r, unsigned char& g,
                       unsigned char& b);
  // RGBToHLS() - bytes to hue (degrees, -1 for a grey), lightness and
  // saturation, in double precision with the 0.001 tolerance.
  static void RGBToHLS(unsigned char r, unsigned char g, unsigned char b, double& h, double& l,
                       double& s);
  // HLSToRGB() - hue (degrees), lightness, saturation to bytes by the
  // channel rule. With |s| < 0.001 all three bytes are the lightness.
  static void HLSToRGB(double h, double l, double s, unsigned char& r, unsigned char& g,
                       unsigned char& b);

  // --- Tolerant comparisons (tolerance 0.001). -------------------------------

  // a - b <= -0.001.
  static bool LessThan(double a, double b);
  // a - b >= 0.001.
  static bool GreaterThan(double a, double b);
  // |a - b| < 0.001.
  static bool Equals(double a, double b);
  // LessThan(a, b) or Equals(a, b).
  static bool LessThanOrEqual(double a, double b);
  // Clamp() - lo when v < lo, else hi when v > hi, else v (plain comparisons;
  // a NaN v comes back unchanged).
  static double Clamp(double v, double lo, double hi);

  // --- Names and text (implemented in colorize.cpp). -----------------------

  // NumberOfColorNames() - the size of the name table, 140.
  static int NumberOfColorNames();
  // GetColorName() - the name at `index` of the table (alphabetical, e.g.
  // 0 is "AliceBlue"); null when `index` is negative or above 139.
  static const char* GetColorName(int index);
  // GetName() - the name of the table colour nearest to this one by squared
  // distance of red, green and blue (alpha takes no part); a tie goes to the
  // earlier table entry, so (0, 255, 255) is "Aqua", never "Cyan". Never
  // null.
  const char* GetName() const;
  // SetFromName() - `name` is zero-terminated UTF-16. A table name in any
  // mixture of case sets red, green and blue from the table and alpha to 255;
  // otherwise the text is tried as hexadecimal colour text (SetFromHtmlHex).
  // False, with the colour unchanged, when neither matches or `name` is null.
  // Leading or trailing spaces do not match.
  [[nodiscard]] bool SetFromName(const unsigned short* name);
  // SetFromHtmlHex() - `text` is zero-terminated UTF-16: any number of
  // leading "#", then six or three hexadecimal digits ("abc" means
  // "aabbcc"); sets (red, green, blue, 255). False, with the colour
  // unchanged, for anything else or a null `text`.
  [[nodiscard]] bool SetFromHtmlHex(const unsigned short* text);

  // --- Axis colours (process-wide). ----------------------------------------

  // Get*Color() - with brightness below 1.0, a copy of the current colour
  // passed through SetBrightness(brightness) (so opaque); otherwise the
  // current colour unchanged.
  static CColor GetXAxisColor(double brightness);
  static CColor GetYAxisColor(double brightness);
  static CColor GetZAxisColor(double brightness);
  static CColor GetParallelPerpendicularColor(double brightness);
  static CColor GetTangentColor(double brightness);
  // Set*Color() - stores the new current colour.
  static void SetXAxisColor(CColor color);
  static void SetYAxisColor(CColor color);
  static void SetZAxisColor(CColor color);
  static void SetParallelPerpendicularColor(CColor color);
  static void SetTangentColor(CColor color);
  // GetAxesBrightnessValue() - recomputes s_axes_brightness_value: 0.7 while
  // each of the five current axis colours equals its default in all four
  // channels, 1.0 otherwise. Returns nothing; read s_axes_brightness_value.
  static void GetAxesBrightnessValue();
  // SetAxesBrightnessValue() - stores the value as given.
  static void SetAxesBrightnessValue(double value);

  // --- Named constants. ----------------------------------------------------
  static const CColor Red;          // (255, 0, 0, 255)
  static const CColor DarkRed;      // (128, 0, 0, 255)
  static const CColor Green;        // (0, 255, 0, 255)
  static const CColor DarkGreen;    // (0, 128, 0, 255)
  static const CColor Blue;         // (0, 0, 255, 255)
  static const CColor DarkBlue;     // (0, 0, 128, 255)
  static const CColor Yellow;       // (255, 255, 0, 255)
  static const CColor DarkYellow;   // (128, 128, 0, 255)
  static const CColor Cyan;         // (0, 255, 255, 255)
  static const CColor DarkCyan;     // (0, 128, 128, 255)
  static const CColor Magenta;      // (255, 0, 255, 255)
  static const CColor DarkMagenta;  // (128, 0, 128, 255)
  static const CColor Orange;       // (255, 128, 0, 255)
  static const CColor White;        // (255, 255, 255, 255)
  static const CColor Black;        // (0, 0, 0, 255)
  static const CColor Gray;         // (128, 128, 128, 255)
  static const CColor LightGray;    // (192, 192, 192, 255)
  static const CColor DarkGray;     // (64, 64, 64, 255)
  static const CColor NoColor;      // (0, 0, 0, 0)

  // Defaults of the axis colours and the crosshair colours.
  static const CColor kXaxisDefaultColor;                  // Red
  static const CColor kYaxisDefaultColor;                  // Green
  static const CColor kZaxisDefaultColor;                  // Blue
  static const CColor kParallelPerpendicularDefaultColor;  // Magenta
  static const CColor kTangentDefaultColor;                // Cyan
  static const CColor kXaxisCrosshairDefaultColor;         // (255, 127, 127, 255)
  static const CColor kYaxisCrosshairDefaultColor;         // (127, 255, 127, 255)
  static const CColor kZaxisCrosshairDefaultColor;         // (127, 127, 255, 255)
  static constexpr double kAxisBrightnessDefault = 0.7;

  // Current axis colours, initialised from the defaults when the library is
  // loaded, and the axes brightness value (starts at 0.7).
  static CColor s_xaxis_color;
  static CColor s_yaxis_color;
  static CColor s_zaxis_color;
  static CColor s_parallel_perpendicular_color;
  static CColor s_tangent_color;
  static double s_axes_brightness_value;

  // The four channels, in this order and nothing else: the object is the
  // packed form in memory on a little-endian machine.
  unsigned char m_red;
  unsigned char m_green;
  unsigned char m_blue;
  unsigned char m_alpha;
};

}  // namespace tavrin::utils

// The colour's traditional global spelling; both names are one type.
using tavrin::utils::CColor;
