// colorize.cpp - the colour name table, colour text, the HLS hue step and
// the Colorize pixel routines.
#include "common/utils/colorize.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "common/utils/color.h"
#include "common/utils/internal/colorize_internal.h"
#include "common/utils/unichar.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

namespace {

struct NamedColor {
  unsigned char red;
  unsigned char green;
  unsigned char blue;
  const char* name;
};

constexpr int kNameCount = 140;

// The CSS extended colour keywords in byte-wise alphabetical order of name.
// Positions matter: they are the order of GetColorName(), of the name search
// and the tie-break of the nearest-colour search (Aqua before Cyan, Fuchsia
// before Magenta).
constexpr std::array<NamedColor, kNameCount> X11Names = {{
    {240, 248, 255, "AliceBlue"},
    {250, 235, 215, "AntiqueWhite"},
    {0, 255, 255, "Aqua"},
    {127, 255, 212, "Aquamarine"},
    {240, 255, 255, "Azure"},
    {245, 245, 220, "Beige"},
    {255, 228, 196, "Bisque"},
    {0, 0, 0, "Black"},
    {255, 235, 205, "BlanchedAlmond"},
    {0, 0, 255, "Blue"},
    {138, 43, 226, "BlueViolet"},
    {165, 42, 42, "Brown"},
    {222, 184, 135, "BurlyWood"},
    {95, 158, 160, "CadetBlue"},
    {127, 255, 0, "Chartreuse"},
    {210, 105, 30, "Chocolate"},
    {255, 127, 80, "Coral"},
    {100, 149, 237, "CornflowerBlue"},
    {255, 248, 220, "Cornsilk"},
    {220, 20, 60, "Crimson"},
    {0, 255, 255, "Cyan"},
    {0, 0, 139, "DarkBlue"},
    {0, 139, 139, "DarkCyan"},
    {184, 134, 11, "DarkGoldenrod"},
    {169, 169, 169, "DarkGray"},
    {0, 100, 0, "DarkGreen"},
    {189, 183, 107, "DarkKhaki"},
    {139, 0, 139, "DarkMagenta"},
    {85, 107, 47, "DarkOliveGreen"},
    {255, 140, 0, "DarkOrange"},
    {153, 50, 204, "DarkOrchid"},
    {139, 0, 0, "DarkRed"},
    {233, 150, 122, "DarkSalmon"},
    {143, 188, 143, "DarkSeaGreen"},
    {72, 61, 139, "DarkSlateBlue"},
    {47, 79, 79, "DarkSlateGray"},
    {0, 206, 209, "DarkTurquoise"},
    {148, 0, 211, "DarkViolet"},
    {255, 20, 147, "DeepPink"},
    {0, 191, 255, "DeepSkyBlue"},
    {105, 105, 105, "DimGray"},
    {30, 144, 255, "DodgerBlue"},
    {178, 34, 34, "FireBrick"},
    {255, 250, 240, "FloralWhite"},
    {34, 139, 34, "ForestGreen"},
    {255, 0, 255, "Fuchsia"},
    {220, 220, 220, "Gainsboro"},
    {248, 248, 255, "GhostWhite"},
    {255, 215, 0, "Gold"},
    {218, 165, 32, "Goldenrod"},
    {128, 128, 128, "Gray"},
    {0, 128, 0, "Green"},
    {173, 255, 47, "GreenYellow"},
    {240, 255, 240, "Honeydew"},
    {255, 105, 180, "HotPink"},
    {205, 92, 92, "IndianRed"},
    {75, 0, 130, "Indigo"},
    {255, 255, 240, "Ivory"},
    {240, 230, 140, "Khaki"},
    {230, 230, 250, "Lavender"},
    {255, 240, 245, "LavenderBlush"},
    {124, 252, 0, "LawnGreen"},
    {255, 250, 205, "LemonChiffon"},
    {173, 216, 230, "LightBlue"},
    {240, 128, 128, "LightCoral"},
    {224, 255, 255, "LightCyan"},
    {250, 250, 210, "LightGoldenrodYellow"},
    {144, 238, 144, "LightGreen"},
    {211, 211, 211, "LightGrey"},
    {255, 182, 193, "LightPink"},
    {255, 160, 122, "LightSalmon"},
    {32, 178, 170, "LightSeaGreen"},
    {135, 206, 250, "LightSkyBlue"},
    {119, 136, 153, "LightSlateGray"},
    {176, 196, 222, "LightSteelBlue"},
    {255, 255, 224, "LightYellow"},
    {0, 255, 0, "Lime"},
    {50, 205, 50, "LimeGreen"},
    {250, 240, 230, "Linen"},
    {255, 0, 255, "Magenta"},
    {128, 0, 0, "Maroon"},
    {102, 205, 170, "MediumAquamarine"},
    {0, 0, 205, "MediumBlue"},
    {186, 85, 211, "MediumOrchid"},
    {147, 112, 219, "MediumPurple"},
    {60, 179, 113, "MediumSeaGreen"},
    {123, 104, 238, "MediumSlateBlue"},
    {0, 250, 154, "MediumSpringGreen"},
    {72, 209, 204, "MediumTurquoise"},
    {199, 21, 133, "MediumVioletRed"},
    {25, 25, 112, "MidnightBlue"},
    {245, 255, 250, "MintCream"},
    {255, 228, 225, "MistyRose"},
    {255, 228, 181, "Moccasin"},
    {255, 222, 173, "NavajoWhite"},
    {0, 0, 128, "Navy"},
    {253, 245, 230, "OldLace"},
    {128, 128, 0, "Olive"},
    {107, 142, 35, "OliveDrab"},
    {255, 165, 0, "Orange"},
    {255, 69, 0, "OrangeRed"},
    {218, 112, 214, "Orchid"},
    {238, 232, 170, "PaleGoldenrod"},
    {152, 251, 152, "PaleGreen"},
    {175, 238, 238, "PaleTurquoise"},
    {219, 112, 147, "PaleVioletRed"},
    {255, 239, 213, "PapayaWhip"},
    {255, 218, 185, "PeachPuff"},
    {205, 133, 63, "Peru"},
    {255, 192, 203, "Pink"},
    {221, 160, 221, "Plum"},
    {176, 224, 230, "PowderBlue"},
    {128, 0, 128, "Purple"},
    {255, 0, 0, "Red"},
    {188, 143, 143, "RosyBrown"},
    {65, 105, 225, "RoyalBlue"},
    {139, 69, 19, "SaddleBrown"},
    {250, 128, 114, "Salmon"},
    {244, 164, 96, "SandyBrown"},
    {46, 139, 87, "SeaGreen"},
    {255, 245, 238, "Seashell"},
    {160, 82, 45, "Sienna"},
    {192, 192, 192, "Silver"},
    {135, 206, 235, "SkyBlue"},
    {106, 90, 205, "SlateBlue"},
    {112, 128, 144, "SlateGray"},
    {255, 250, 250, "Snow"},
    {0, 255, 127, "SpringGreen"},
    {70, 130, 180, "SteelBlue"},
    {210, 180, 140, "Tan"},
    {0, 128, 128, "Teal"},
    {216, 191, 216, "Thistle"},
    {255, 99, 71, "Tomato"},
    {64, 224, 208, "Turquoise"},
    {238, 130, 238, "Violet"},
    {245, 222, 179, "Wheat"},
    {255, 255, 255, "White"},
    {245, 245, 245, "WhiteSmoke"},
    {255, 255, 0, "Yellow"},
    {154, 205, 50, "YellowGreen"},
}};

// The table's names as tavrin_ustring, made once for the name search.
const std::array<tavrin_ustring, kNameCount>& UnicodeNames() {
  static const std::array<tavrin_ustring, kNameCount> names = [] {
    std::array<tavrin_ustring, kNameCount> out;
    for (int i = 0; i < kNameCount; ++i) out[i] = tavrin_ustring(X11Names[i].name);
    return out;
  }();
  return names;
}

// C-locale hexadecimal digit value of a UTF-16 unit, -1 for anything else.
int HexDigit(unsigned short unit) {
  if (unit >= '0' && unit <= '9') return unit - '0';
  if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
  if (unit >= 'A' && unit <= 'F') return unit - 'A' + 10;
  return -1;
}

// Hexadecimal colour text of `size` UTF-16 units (see ParseHexColorString).
bool ParseHexUnits(const unsigned short* units, std::size_t size, CColor& out) {
  // Any number of leading "#": skipped in a loop, so a long run costs
  // neither stack nor quadratic time.
  std::size_t start = 0;
  while (start < size && units[start] == '#') ++start;
  units += start;
  size -= start;
  // The digits must be six or three bytes of ASCII. Every unit outside ASCII
  // turns into bytes of 128 or more in UTF-8, which are never digits, so
  // checking the units directly gives the same answers as checking the UTF-8
  // bytes, without converting.
  if (size != 6 && size != 3) return false;
  int digits[6];
  for (std::size_t i = 0; i < 6; ++i) {
    // A three-digit text doubles each digit in place: abc reads as aabbcc.
    const unsigned short unit = size == 3 ? units[i / 2] : units[i];
    digits[i] = HexDigit(unit);
    if (digits[i] < 0) return false;
  }
  out = CColor(static_cast<unsigned char>(digits[0] * 16 + digits[1]),
               static_cast<unsigned char>(digits[2] * 16 + digits[3]),
               static_cast<unsigned char>(digits[4] * 16 + digits[5]),
               static_cast<unsigned char>(255));
  return true;
}

}  // namespace

namespace detail {

bool ParseHexColorString(tavrin_ustring text, CColor& out) {
  return ParseHexUnits(text.c_str(), text.size(), out);
}

double CalcValue(double n1, double n2, double hue) {
  if (hue - 360.0 >= 0.001) hue -= 360.0;
  if (hue <= -0.001) hue += 360.0;
  if (hue - 60.0 <= -0.001) return n1 + (n2 - n1) * hue / 60.0;
  if (hue - 180.0 <= -0.001) return n2;
  if (hue - 240.0 <= -0.001) return n1 + (n2 - n1) * (240.0 - hue) / 60.0;
  return n1;
}

}  // namespace detail

// --- CColor names and text. --------------------------------------------------

int CColor::NumberOfColorNames() {
  return kNameCount;
}

const char* CColor::GetColorName(int index) {
  if (index < 0 || index >= kNameCount) return nullptr;
  return X11Names[index].name;
}

const char* CColor::GetName() const {
  double best = 1e30;
  const char* name = nullptr;
  for (const NamedColor& entry : X11Names) {
    const double dr = static_cast<double>(m_red) - entry.red;
    const double dg = static_cast<double>(m_green) - entry.green;
    const double db = static_cast<double>(m_blue) - entry.blue;
    const double distance = dr * dr + dg * dg + db * db;
    if (distance < best) {  // strictly smaller: ties keep the earlier entry
      best = distance;
      name = entry.name;
    }
  }
  return name ? name : "Color";
}

bool CColor::SetFromName(const unsigned short* name) {
  if (!name) return false;
  const tavrin_ustring text(name);
  const auto& names = UnicodeNames();
  for (int i = 0; i < kNameCount; ++i) {
    // Case mapping is one unit to one unit, so a name of another length can
    // never compare equal: skip the comparison.
    if (names[i].size() != text.size()) continue;
    if (text.compare_nocase(names[i]) == 0) {
      Set(X11Names[i].red, X11Names[i].green, X11Names[i].blue, static_cast<unsigned char>(255));
      return true;
    }
  }
  return ParseHexUnits(text.c_str(), text.size(), *this);
}

bool CColor::SetFromHtmlHex(const unsigned short* text) {
  if (!text) return false;
  return ParseHexUnits(text, ustrlen(text), *this);
}

}  // namespace tavrin::utils

// --- Colorize. ---------------------------------------------------------------

namespace {

using tavrin::utils::CColor;

// Hues beyond this magnitude are reduced with fmod before the add/subtract
// loops, which then take at most a million steps.
constexpr double kHueLoopLimit = 360.0e6;

// The common walk of the bitmap functions: checks, then `visit` on the first
// byte of every pixel that lies wholly inside its row.
template <class Visit>
bool WalkPixels(unsigned char* bits, int width, int height, int bitsPerPixel, int rowBytes,
                Visit visit) {
  if (bitsPerPixel != 24 && bitsPerPixel != 32) return false;
  if (height < 1 || width < 1) return true;
  if (!bits || rowBytes < 0) return false;
  const std::ptrdiff_t pixel_step = bitsPerPixel / 8;
  const std::ptrdiff_t row_step =
      rowBytes != 0 ? rowBytes : static_cast<std::ptrdiff_t>(bitsPerPixel) * width / 8;
  // Pixel x uses the bytes [x * pixel_step, x * pixel_step + 3) of its row.
  // With a stride shorter than the pixels of a row, the pixels that would
  // run past it are left alone instead of spilling into the next row (or
  // past the end of the buffer on the last one).
  const std::ptrdiff_t fitting = row_step >= 3 ? (row_step - 3) / pixel_step + 1 : 0;
  const std::ptrdiff_t count = std::min<std::ptrdiff_t>(width, fitting);
  for (std::ptrdiff_t y = 0; y < height; ++y) {
    unsigned char* row = bits + y * row_step;
    for (std::ptrdiff_t x = 0; x < count; ++x) visit(row + x * pixel_step);
  }
  return true;
}

}  // namespace

bool Colorize::GetParameters(double& hue, double& lightness, double& saturation, const CColor& from,
                             const CColor& to, bool relativeHue) {
  // NoColor leaves its HLS values untouched: they count as 0.
  double hs = 0.0, ls = 0.0, ss = 0.0;
  (void)from.GetHLS(hs, ls, ss);
  hue = 0.0;
  lightness = 0.0;
  saturation = 0.0;
  (void)to.GetHLS(hue, lightness, saturation);
  const double ht = hue, lt = lightness, st = saturation;

  const bool from_mono = from.IsMonochrome();
  const bool to_mono = to.IsMonochrome();
  if (from_mono && to_mono) {
    hue = 0.0;
    saturation = 0.0;
    lightness = lt - ls;
    return true;
  }
  if (!to_mono) {
    lightness = lt - ls;
    if (from_mono) return true;  // hue and saturation stay the target's own
    saturation = st - ss;
    if (relativeHue) hue = ht - hs;
    return false;
  }
  hue = 0.0;
  saturation = -1.0;
  lightness = lt - ls;
  return true;
}

void Colorize::ColorizePixel(unsigned char* rgb, double* params, bool relativeHue) {
  if (!rgb || !params) return;
  double h = 0.0, l = 0.0, s = 0.0;
  CColor::RGBToHLS(rgb[0], rgb[1], rgb[2], h, l, s);
  h = relativeHue ? params[0] + h : params[0];
  if (!std::isfinite(h)) {
    h = 0.0;
  } else if (std::fabs(h) > kHueLoopLimit) {
    h = std::fmod(h, 360.0);
  }
  while (CColor::LessThan(h, 0.0)) h += 360.0;
  while (CColor::GreaterThan(h, 360.0)) h -= 360.0;
  s = CColor::Clamp(params[2] + s, 0.0, 1.0);
  // Never below 0.01: a colourised pixel is never pure black.
  l = CColor::Clamp(params[1] + l, 0.01, 1.0);
  if (CColor::Equals(s, 0.0)) {
    const CColor grey(l, l, l, 1.0);
    rgb[0] = rgb[1] = rgb[2] = grey.m_red;
  } else {
    CColor::HLSToRGB(h, l, s, rgb[0], rgb[1], rgb[2]);
  }
}

bool Colorize::ColorizeBitmap(unsigned char* bits, int width, int height, int bitsPerPixel,
                              int rowBytes, double hue, double lightness, double saturation,
                              bool relativeHue) {
  double params[3] = {hue, lightness, saturation};
  return WalkPixels(bits, width, height, bitsPerPixel, rowBytes, [&](unsigned char* pixel) {
    unsigned char rgb[3] = {pixel[0], pixel[1], pixel[2]};
    ColorizePixel(rgb, params, relativeHue);
    pixel[0] = rgb[0];
    pixel[1] = rgb[1];
    pixel[2] = rgb[2];
  });
}

bool Colorize::ReassignColors(unsigned char* bits, int width, int height, int bitsPerPixel,
                              int rowBytes, CColor& match, CColor& matchColor, CColor& otherColor) {
  // Copies first, so a `match` that aliases one of the replacements still
  // compares against its value at the start.
  const CColor key = match, on = matchColor, off = otherColor;
  return WalkPixels(bits, width, height, bitsPerPixel, rowBytes, [&](unsigned char* pixel) {
    const bool hit = pixel[0] == key.m_red && pixel[1] == key.m_green && pixel[2] == key.m_blue;
    const CColor& with = hit ? on : off;
    pixel[0] = with.m_red;
    pixel[1] = with.m_green;
    pixel[2] = with.m_blue;
  });
}
