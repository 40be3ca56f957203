// Tests of the colour names and text forms and of the Colorize routines.
#include "common/utils/colorize.h"

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "common/utils/color.h"
#include "common/utils/internal/colorize_internal.h"
#include "common/utils/ustring.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::CColor;
using tavrin::utils::tavrin_ustring;
namespace detail = tavrin::utils::detail;

std::string Show(const CColor& c) {
  return "(" + std::to_string(c.m_red) + ", " + std::to_string(c.m_green) + ", " +
         std::to_string(c.m_blue) + ", " + std::to_string(c.m_alpha) + ")";
}

#define EXPECT_COLOR(r, g, b, a, c)                                               \
  EXPECT_EQ(CColor(static_cast<unsigned char>(r), static_cast<unsigned char>(g),  \
                   static_cast<unsigned char>(b), static_cast<unsigned char>(a)), \
            (c))                                                                  \
      << Show(c)

// UTF-16 text of a UTF-8 literal, kept alive for the call.
tavrin_ustring U(const char* utf8) {
  return tavrin_ustring(utf8);
}

// The name table as the CSS colour keywords write it, in table order, with
// hexadecimal values: a second, independent transcription of the table.
struct Keyword {
  std::string name;
  int r, g, b;
};

// The keywords as "Name RRGGBB" pairs, in table order.
const char kKeywordText[] = R"(
AliceBlue F0F8FF AntiqueWhite FAEBD7 Aqua 00FFFF Aquamarine 7FFFD4 Azure F0FFFF Beige F5F5DC
Bisque FFE4C4 Black 000000 BlanchedAlmond FFEBCD Blue 0000FF BlueViolet 8A2BE2 Brown A52A2A
BurlyWood DEB887 CadetBlue 5F9EA0 Chartreuse 7FFF00 Chocolate D2691E Coral FF7F50
CornflowerBlue 6495ED Cornsilk FFF8DC Crimson DC143C Cyan 00FFFF DarkBlue 00008B
DarkCyan 008B8B DarkGoldenrod B8860B DarkGray A9A9A9 DarkGreen 006400 DarkKhaki BDB76B
DarkMagenta 8B008B DarkOliveGreen 556B2F DarkOrange FF8C00 DarkOrchid 9932CC DarkRed 8B0000
DarkSalmon E9967A DarkSeaGreen 8FBC8F DarkSlateBlue 483D8B DarkSlateGray 2F4F4F
DarkTurquoise 00CED1 DarkViolet 9400D3 DeepPink FF1493 DeepSkyBlue 00BFFF DimGray 696969
DodgerBlue 1E90FF FireBrick B22222 FloralWhite FFFAF0 ForestGreen 228B22 Fuchsia FF00FF
Gainsboro DCDCDC GhostWhite F8F8FF Gold FFD700 Goldenrod DAA520 Gray 808080 Green 008000
GreenYellow ADFF2F Honeydew F0FFF0 HotPink FF69B4 IndianRed CD5C5C Indigo 4B0082
Ivory FFFFF0 Khaki F0E68C Lavender E6E6FA LavenderBlush FFF0F5 LawnGreen 7CFC00
LemonChiffon FFFACD LightBlue ADD8E6 LightCoral F08080 LightCyan E0FFFF
LightGoldenrodYellow FAFAD2 LightGreen 90EE90 LightGrey D3D3D3 LightPink FFB6C1
LightSalmon FFA07A LightSeaGreen 20B2AA LightSkyBlue 87CEFA LightSlateGray 778899
LightSteelBlue B0C4DE LightYellow FFFFE0 Lime 00FF00 LimeGreen 32CD32 Linen FAF0E6
Magenta FF00FF Maroon 800000 MediumAquamarine 66CDAA MediumBlue 0000CD MediumOrchid BA55D3
MediumPurple 9370DB MediumSeaGreen 3CB371 MediumSlateBlue 7B68EE MediumSpringGreen 00FA9A
MediumTurquoise 48D1CC MediumVioletRed C71585 MidnightBlue 191970 MintCream F5FFFA
MistyRose FFE4E1 Moccasin FFE4B5 NavajoWhite FFDEAD Navy 000080 OldLace FDF5E6 Olive 808000
OliveDrab 6B8E23 Orange FFA500 OrangeRed FF4500 Orchid DA70D6 PaleGoldenrod EEE8AA
PaleGreen 98FB98 PaleTurquoise AFEEEE PaleVioletRed DB7093 PapayaWhip FFEFD5
PeachPuff FFDAB9 Peru CD853F Pink FFC0CB Plum DDA0DD PowderBlue B0E0E6 Purple 800080
Red FF0000 RosyBrown BC8F8F RoyalBlue 4169E1 SaddleBrown 8B4513 Salmon FA8072
SandyBrown F4A460 SeaGreen 2E8B57 Seashell FFF5EE Sienna A0522D Silver C0C0C0 SkyBlue 87CEEB
SlateBlue 6A5ACD SlateGray 708090 Snow FFFAFA SpringGreen 00FF7F SteelBlue 4682B4 Tan D2B48C
Teal 008080 Thistle D8BFD8 Tomato FF6347 Turquoise 40E0D0 Violet EE82EE Wheat F5DEB3
White FFFFFF WhiteSmoke F5F5F5 Yellow FFFF00 YellowGreen 9ACD32)";

const std::vector<Keyword>& Keywords() {
  static const std::vector<Keyword> keywords = [] {
    std::vector<Keyword> out;
    std::istringstream in(kKeywordText);
    std::string name, hex;
    while (in >> name >> hex) {
      const unsigned long v = std::strtoul(hex.c_str(), nullptr, 16);
      out.push_back({name, static_cast<int>(v >> 16), static_cast<int>((v >> 8) & 0xFF),
                     static_cast<int>(v & 0xFF)});
    }
    return out;
  }();
  return keywords;
}

// --- The name table. ---------------------------------------------------------

TEST(ColorizeTest, TableHas140NamesInOrder) {
  const auto& keywords = Keywords();
  ASSERT_EQ(140u, keywords.size());
  EXPECT_EQ(140, CColor::NumberOfColorNames());
  for (int i = 0; i < 140; ++i) {
    ASSERT_NE(nullptr, CColor::GetColorName(i)) << i;
    EXPECT_EQ(keywords[i].name, CColor::GetColorName(i)) << i;
  }
  EXPECT_STREQ("AliceBlue", CColor::GetColorName(0));
  EXPECT_STREQ("YellowGreen", CColor::GetColorName(139));
  EXPECT_EQ(nullptr, CColor::GetColorName(140));
  EXPECT_EQ(nullptr, CColor::GetColorName(-1));
  EXPECT_EQ(nullptr, CColor::GetColorName(INT_MIN));
  EXPECT_EQ(nullptr, CColor::GetColorName(INT_MAX));
}

TEST(ColorizeTest, TableIsInStrictByteOrder) {
  for (int i = 1; i < CColor::NumberOfColorNames(); ++i)
    EXPECT_LT(std::strcmp(CColor::GetColorName(i - 1), CColor::GetColorName(i)), 0)
        << CColor::GetColorName(i);
}

TEST(ColorizeTest, TableSpellsGrayExceptLightGrey) {
  int grey = 0;
  for (int i = 0; i < CColor::NumberOfColorNames(); ++i) {
    const std::string name = CColor::GetColorName(i);
    if (name.find("Grey") != std::string::npos) {
      EXPECT_EQ("LightGrey", name);
      ++grey;
    }
    EXPECT_NE("LightGray", name);
  }
  EXPECT_EQ(1, grey);
}

TEST(ColorizeTest, TableValuesAreTheCssKeywords) {
  for (const Keyword& k : Keywords()) {
    CColor by_name;
    ASSERT_TRUE(by_name.SetFromName(U(k.name.c_str()).c_str())) << k.name;
    EXPECT_COLOR(k.r, k.g, k.b, 255, by_name) << k.name;
  }
  CColor c;
  ASSERT_TRUE(c.SetFromName(U("Aqua").c_str()));
  CColor d;
  ASSERT_TRUE(d.SetFromName(U("Cyan").c_str()));
  EXPECT_EQ(c, d);
  ASSERT_TRUE(c.SetFromName(U("Fuchsia").c_str()));
  ASSERT_TRUE(d.SetFromName(U("Magenta").c_str()));
  EXPECT_EQ(c, d);
}

TEST(ColorizeTest, TableDiffersFromTheNamedConstants) {
  CColor c;
  ASSERT_TRUE(c.SetFromName(U("Green").c_str()));
  EXPECT_COLOR(0, 128, 0, 255, c);
  EXPECT_NE(CColor::Green, c);
  ASSERT_TRUE(c.SetFromName(U("DarkGray").c_str()));
  EXPECT_COLOR(169, 169, 169, 255, c);
  EXPECT_NE(CColor::DarkGray, c);
}

// --- Names. ------------------------------------------------------------------

TEST(ColorizeTest, SetFromNameIgnoresCase) {
  CColor c(1, 2, 3, 0);
  EXPECT_TRUE(c.SetFromName(U("cornflowerblue").c_str()));
  EXPECT_COLOR(100, 149, 237, 255, c);
  c = CColor::NoColor;
  EXPECT_TRUE(c.SetFromName(U("CORNFLOWERBLUE").c_str()));
  EXPECT_COLOR(100, 149, 237, 255, c);
  EXPECT_TRUE(c.SetFromName(U("lIgHtGoLdEnRoDyElLoW").c_str()));
  EXPECT_COLOR(250, 250, 210, 255, c);
  EXPECT_TRUE(c.SetFromName(U("lightgrey").c_str()));
  EXPECT_COLOR(211, 211, 211, 255, c);
}

TEST(ColorizeTest, SetFromNameFailureLeavesTheColour) {
  const CColor before(9, 8, 7, 6);
  for (const char* text : {"Grey", "LightGray", "darkgrey", " Red", "Red ", "Re d", "", "Redd",
                           "Colour", "#", "Blue\tViolet", "zzz"}) {
    CColor c = before;
    EXPECT_FALSE(c.SetFromName(U(text).c_str())) << text;
    EXPECT_EQ(before, c) << text;
  }
  CColor c = before;
  EXPECT_FALSE(c.SetFromName(nullptr));
  EXPECT_EQ(before, c);
}

TEST(ColorizeTest, SetFromNameFallsBackToHexadecimalText) {
  CColor c;
  EXPECT_TRUE(c.SetFromName(U("abc").c_str()));
  EXPECT_COLOR(170, 187, 204, 255, c);
  EXPECT_TRUE(c.SetFromName(U("#102030").c_str()));
  EXPECT_COLOR(16, 32, 48, 255, c);
  // "Bed" is not a name but is hexadecimal text.
  EXPECT_TRUE(c.SetFromName(U("Bed").c_str()));
  EXPECT_COLOR(0xBB, 0xEE, 0xDD, 255, c);
}

TEST(ColorizeTest, NearestNameExamples) {
  EXPECT_STREQ("Black", CColor(0, 0, 0, 0).GetName());
  EXPECT_STREQ("Aqua", CColor(1, 254, 254, 9).GetName());
  EXPECT_STREQ("Aqua", CColor(0, 255, 255, 255).GetName());
  EXPECT_STREQ("Fuchsia", CColor(255, 0, 255, 255).GetName());
  EXPECT_STREQ("Gray", CColor(130, 130, 130, 255).GetName());
  EXPECT_STREQ("Gray", CColor(128, 128, 128, 255).GetName());
  EXPECT_STREQ("Lime", CColor::Green.GetName());
  EXPECT_STREQ("White", CColor::White.GetName());
}

TEST(ColorizeTest, EveryTableColourNamesItselfUnlessAnEarlierTwinExists) {
  for (const Keyword& k : Keywords()) {
    const CColor c(k.r, k.g, k.b, 255);
    const std::string expected = k.name == "Cyan"      ? "Aqua"
                                 : k.name == "Magenta" ? "Fuchsia"
                                                       : k.name;
    EXPECT_EQ(expected, c.GetName()) << k.name;
  }
}

TEST(ColorizeTest, NearestNameIsTheClosestAndEarliest) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int n = 0; n < 3000; ++n) {
    CColor c;
    c = static_cast<unsigned int>(rng());
    // Reference over the independent keyword list.
    long best = LONG_MAX;
    std::string best_name;
    for (const Keyword& k : Keywords()) {
      const long d = (c.m_red - k.r) * (c.m_red - k.r) + (c.m_green - k.g) * (c.m_green - k.g) +
                     (c.m_blue - k.b) * (c.m_blue - k.b);
      if (d < best) {
        best = d;
        best_name = k.name;
      }
    }
    EXPECT_EQ(best_name, c.GetName()) << Show(c);
  }
}

// --- Hexadecimal text. -------------------------------------------------------

TEST(ColorizeTest, HtmlHexExamples) {
  CColor c;
  EXPECT_TRUE(c.SetFromHtmlHex(U("#1A2b3C").c_str()));
  EXPECT_COLOR(26, 43, 60, 255, c);
  c = CColor::NoColor;
  EXPECT_TRUE(c.SetFromHtmlHex(U("##fff").c_str()));
  EXPECT_EQ(CColor::White, c);
  EXPECT_TRUE(c.SetFromHtmlHex(U("000").c_str()));
  EXPECT_EQ(CColor::Black, c);
  EXPECT_TRUE(c.SetFromHtmlHex(U("9aCD32").c_str()));
  EXPECT_COLOR(154, 205, 50, 255, c);
}

TEST(ColorizeTest, HtmlHexRejectsMalformedText) {
  const CColor before(1, 2, 3, 4);
  for (const char* text :
       {"12345",  "12345g", "",       "1234567", "#",          "###",    "#12",
        "#1234",  "red",    "Red",    " 123456", "123456 ",    "12 456", "0x1234",
        "+12345", "-12345", "１２３", "12345é",  "ab\xC3\xA9", "#gggggg"}) {
    CColor c = before;
    EXPECT_FALSE(c.SetFromHtmlHex(U(text).c_str())) << text;
    EXPECT_EQ(before, c) << text;
  }
  CColor c = before;
  EXPECT_FALSE(c.SetFromHtmlHex(nullptr));
  EXPECT_EQ(before, c);
}

TEST(ColorizeTest, ParseHexStripsAnyNumberOfNumberSigns) {
  CColor c;
  std::string long_run(200000, '#');
  EXPECT_TRUE(detail::ParseHexColorString(tavrin_ustring(long_run + "0a0b0c"), c));
  EXPECT_COLOR(10, 11, 12, 255, c);
  c = CColor::NoColor;
  EXPECT_FALSE(detail::ParseHexColorString(tavrin_ustring(long_run), c));
  EXPECT_EQ(CColor::NoColor, c);
  // Only leading ones.
  EXPECT_FALSE(detail::ParseHexColorString(tavrin_ustring("ab#"), c));
  EXPECT_FALSE(detail::ParseHexColorString(tavrin_ustring("#ab#def"), c));
  EXPECT_EQ(CColor::NoColor, c);
}

// Reference parser written independently: strip "#", length 3 or 6, every
// character an ASCII hexadecimal digit.
bool ReferenceParse(const std::u16string& text, int& r, int& g, int& b) {
  size_t start = text.find_first_not_of(u'#');
  std::u16string digits = start == std::u16string::npos ? u"" : text.substr(start);
  if (digits.size() == 3)
    digits = {digits[0], digits[0], digits[1], digits[1], digits[2], digits[2]};
  if (digits.size() != 6) return false;
  std::string ascii;
  for (char16_t ch : digits) {
    if (ch > 127 || !std::isxdigit(static_cast<unsigned char>(ch))) return false;
    ascii.push_back(static_cast<char>(ch));
  }
  const unsigned long v = std::stoul(ascii, nullptr, 16);
  r = static_cast<int>(v >> 16);
  g = static_cast<int>((v >> 8) & 0xFF);
  b = static_cast<int>(v & 0xFF);
  return true;
}

TEST(ColorizeTest, ParseHexAgreesWithAReferenceOnRandomText) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  // Mostly digits and "#", with letters just outside the hexadecimal range,
  // white space, and characters outside ASCII (including lone surrogates and
  // full-width digits).
  const char16_t alphabet[] = u"##0123456789abcdefABCDEF09afAFgG #x\u00e9\uff10\uff41\u0660";
  const std::u16string extra = {char16_t(0xD800), char16_t(0xDC00), char16_t(0x7F)};
  std::u16string pool(alphabet);
  pool += extra;
  std::uniform_int_distribution<size_t> pick(0, pool.size() - 1);
  std::uniform_int_distribution<int> length(0, 9);
  int accepted = 0;
  for (int n = 0; n < 20000; ++n) {
    std::u16string text;
    const int len = length(rng);
    for (int i = 0; i < len; ++i) text.push_back(pool[pick(rng)]);
    int r = 0, g = 0, b = 0;
    const bool expected = ReferenceParse(text, r, g, b);
    CColor c(5, 6, 7, 8);
    const bool got = detail::ParseHexColorString(tavrin_ustring(text.c_str(), text.size()), c);
    ASSERT_EQ(expected, got) << "case " << n;
    if (expected) {
      EXPECT_COLOR(r, g, b, 255, c);
      ++accepted;
    } else {
      EXPECT_COLOR(5, 6, 7, 8, c);
    }
  }
  EXPECT_GT(accepted, 50);  // the generator does reach the accepting paths
}

// --- CalcValue. --------------------------------------------------------------

TEST(ColorizeTest, CalcValueSteps) {
  EXPECT_DOUBLE_EQ(0.8, detail::CalcValue(0.2, 0.8, 420));  // read as 60
  EXPECT_DOUBLE_EQ(0.2, detail::CalcValue(0.2, 0.8, -30));  // read as 330
  EXPECT_DOUBLE_EQ(0.2, detail::CalcValue(0.2, 0.8, 0));
  EXPECT_DOUBLE_EQ(0.5, detail::CalcValue(0.2, 0.8, 30));
  EXPECT_DOUBLE_EQ(0.8, detail::CalcValue(0.2, 0.8, 60));
  EXPECT_DOUBLE_EQ(0.8, detail::CalcValue(0.2, 0.8, 179));
  EXPECT_DOUBLE_EQ(0.5, detail::CalcValue(0.2, 0.8, 210));
  EXPECT_DOUBLE_EQ(0.2, detail::CalcValue(0.2, 0.8, 240));
  EXPECT_DOUBLE_EQ(0.2, detail::CalcValue(0.2, 0.8, 300));
  // One wrap only in each direction.
  EXPECT_DOUBLE_EQ(0.2, detail::CalcValue(0.2, 0.8, 720));  // 360: beyond 240
  // -690 gains 360 once: -330, below 60, so the rising formula runs with a
  // negative hue.
  EXPECT_DOUBLE_EQ(0.2 + 0.6 * -330 / 60, detail::CalcValue(0.2, 0.8, -690));
  // The tolerance: 59.9995 counts as 60, 360.0005 is not wrapped.
  EXPECT_DOUBLE_EQ(0.8, detail::CalcValue(0.2, 0.8, 59.9995));
  EXPECT_DOUBLE_EQ(0.2, detail::CalcValue(0.2, 0.8, 360.0005));
  EXPECT_DOUBLE_EQ(0.2, detail::CalcValue(0.2, 0.8, std::numeric_limits<double>::quiet_NaN()));
}

// --- GetParameters. ----------------------------------------------------------

TEST(ColorizeTest, ParametersBetweenMonochromes) {
  double h = 5, l = 5, s = 5;
  EXPECT_TRUE(Colorize::GetParameters(h, l, s, CColor::Black, CColor::White, true));
  EXPECT_EQ(0, h);
  EXPECT_EQ(0, s);
  EXPECT_DOUBLE_EQ(1.0, l);
}

TEST(ColorizeTest, ParametersFromMonochromeKeepTheTargetsHueAndSaturation) {
  double h, l, s;
  EXPECT_TRUE(Colorize::GetParameters(h, l, s, CColor::Black, CColor::Blue, true));
  EXPECT_DOUBLE_EQ(240, h);
  EXPECT_DOUBLE_EQ(1, s);
  EXPECT_DOUBLE_EQ(0.5, l);
}

TEST(ColorizeTest, ParametersBetweenColours) {
  double h, l, s;
  EXPECT_FALSE(Colorize::GetParameters(h, l, s, CColor::Green, CColor::Blue, true));
  EXPECT_DOUBLE_EQ(120, h);  // a shift
  EXPECT_DOUBLE_EQ(0, s);
  EXPECT_DOUBLE_EQ(0, l);
  EXPECT_FALSE(Colorize::GetParameters(h, l, s, CColor::Green, CColor::Blue, false));
  EXPECT_DOUBLE_EQ(240, h);  // absolute
  EXPECT_FALSE(Colorize::GetParameters(h, l, s, CColor::Red, CColor(255, 204, 204, 255), true));
  EXPECT_NEAR(0.4, l, 1e-6);
  EXPECT_NEAR(0.0, s, 1e-6);
  EXPECT_FALSE(Colorize::GetParameters(h, l, s, CColor(0, 51, 102, 255), CColor::Red, true));
  EXPECT_NEAR(-210, h, 1e-6);
}

TEST(ColorizeTest, ParametersToMonochromeRemoveTheSaturation) {
  double h = 5, l = 5, s = 5;
  EXPECT_TRUE(Colorize::GetParameters(h, l, s, CColor::Red, CColor::White, true));
  EXPECT_EQ(0, h);
  EXPECT_EQ(-1, s);
  EXPECT_DOUBLE_EQ(0.5, l);
}

TEST(ColorizeTest, ParametersWithNoColorCountAsZeros) {
  double h = 5, l = 5, s = 5;
  EXPECT_TRUE(Colorize::GetParameters(h, l, s, CColor::Red, CColor::NoColor, false));
  EXPECT_EQ(0, h);
  EXPECT_EQ(-1, s);
  EXPECT_DOUBLE_EQ(-0.5, l);
  EXPECT_TRUE(Colorize::GetParameters(h, l, s, CColor::NoColor, CColor::Blue, true));
  EXPECT_DOUBLE_EQ(240, h);
  EXPECT_DOUBLE_EQ(1, s);
  EXPECT_DOUBLE_EQ(0.5, l);
  EXPECT_TRUE(Colorize::GetParameters(h, l, s, CColor::NoColor, CColor::NoColor, true));
  EXPECT_EQ(0, h);
  EXPECT_EQ(0, s);
  EXPECT_EQ(0, l);
}

TEST(ColorizeTest, ParametersTurnTheSourceIntoTheTarget) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int n = 0; n < 500; ++n) {
    const CColor from(byte(rng), byte(rng), byte(rng), 255);
    const CColor to(byte(rng), byte(rng), byte(rng), 255);
    if (from.IsMonochrome() || to.IsMonochrome()) continue;
    double params[3];
    Colorize::GetParameters(params[0], params[1], params[2], from, to, true);
    unsigned char pixel[3] = {from.m_red, from.m_green, from.m_blue};
    Colorize::ColorizePixel(pixel, params, true);
    // Lightness is floored at 0.01 and the byte conversions truncate.
    if (to.GetLuminance() < 0.05) continue;
    EXPECT_NEAR(to.m_red, pixel[0], 2) << Show(from) << " -> " << Show(to);
    EXPECT_NEAR(to.m_green, pixel[1], 2) << Show(from) << " -> " << Show(to);
    EXPECT_NEAR(to.m_blue, pixel[2], 2) << Show(from) << " -> " << Show(to);
  }
}

// --- ColorizePixel. ----------------------------------------------------------

TEST(ColorizeTest, ColorizedBlackIsNeverPureBlack) {
  unsigned char pixel[3] = {0, 0, 0};
  double params[3] = {0, 0, 0};
  Colorize::ColorizePixel(pixel, params, false);
  EXPECT_EQ(2, pixel[0]);  // 0.01 * 255 = 2.55, truncated
  EXPECT_EQ(2, pixel[1]);
  EXPECT_EQ(2, pixel[2]);
  double darker[3] = {0, -5, 0};
  unsigned char white[3] = {255, 255, 255};
  Colorize::ColorizePixel(white, darker, true);
  EXPECT_EQ(2, white[0]);
}

TEST(ColorizeTest, ColorizePixelAbsoluteAndRelativeHue) {
  unsigned char pixel[3] = {255, 0, 0};
  double to_green[3] = {120, 0, 0};
  Colorize::ColorizePixel(pixel, to_green, false);
  EXPECT_EQ(0, pixel[0]);
  EXPECT_EQ(255, pixel[1]);
  EXPECT_EQ(0, pixel[2]);
  unsigned char blue_pixel[3] = {0, 0, 255};
  double shift[3] = {120, 0, 0};  // 240 + 120 wraps to 0: red
  Colorize::ColorizePixel(blue_pixel, shift, true);
  EXPECT_EQ(255, blue_pixel[0]);
  EXPECT_EQ(0, blue_pixel[1]);
  EXPECT_EQ(0, blue_pixel[2]);
}

TEST(ColorizeTest, ColorizePixelWrapsHues) {
  const double hues[][2] = {{-400, 320}, {400, 40}, {-30, 330}, {1080 + 45, 45}, {-720, 0}};
  for (const auto& pair : hues) {
    unsigned char a[3] = {200, 40, 90}, b[3] = {200, 40, 90};
    double wrapped[3] = {pair[0], 0.05, -0.1};
    double plain[3] = {pair[1], 0.05, -0.1};
    Colorize::ColorizePixel(a, wrapped, false);
    Colorize::ColorizePixel(b, plain, false);
    EXPECT_EQ(0, std::memcmp(a, b, 3)) << pair[0];
  }
  // Huge and non-finite hues end quickly: reduced with fmod, or read as 0.
  unsigned char a[3] = {200, 40, 90}, b[3] = {200, 40, 90};
  double huge[3] = {1e300, 0, 0};
  double reduced[3] = {std::fmod(1e300, 360.0), 0, 0};
  Colorize::ColorizePixel(a, huge, false);
  Colorize::ColorizePixel(b, reduced, false);
  EXPECT_EQ(0, std::memcmp(a, b, 3));
  for (double bad :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity()}) {
    unsigned char c[3] = {200, 40, 90}, d[3] = {200, 40, 90};
    double nonfinite[3] = {bad, 0, 0};
    double zero[3] = {0, 0, 0};
    Colorize::ColorizePixel(c, nonfinite, false);
    Colorize::ColorizePixel(d, zero, false);
    EXPECT_EQ(0, std::memcmp(c, d, 3)) << bad;
  }
}

TEST(ColorizeTest, ColorizePixelClampsSaturationAndLightness) {
  unsigned char pixel[3] = {200, 40, 90};
  double grey[3] = {0, 0, -5};  // saturation 0: a grey of the lightness
  Colorize::ColorizePixel(pixel, grey, true);
  EXPECT_EQ(pixel[0], pixel[1]);
  EXPECT_EQ(pixel[1], pixel[2]);
  EXPECT_EQ(120, pixel[0]);  // lightness (200 + 40) / 510 = 0.4706 -> 120
  unsigned char bright[3] = {10, 20, 30};
  double up[3] = {0, 5, 5};
  Colorize::ColorizePixel(bright, up, true);
  EXPECT_EQ(255, bright[0]);
  EXPECT_EQ(255, bright[1]);
  EXPECT_EQ(255, bright[2]);
  // Null pointers do nothing.
  Colorize::ColorizePixel(nullptr, up, true);
  Colorize::ColorizePixel(bright, nullptr, true);
  EXPECT_EQ(255, bright[0]);
}

// --- Bitmaps. ----------------------------------------------------------------

TEST(ColorizeTest, BitmapRefusesOtherDepths) {
  unsigned char buffer[64];
  std::memset(buffer, 0x55, sizeof buffer);
  for (int depth : {0, 8, 16, 23, 25, 31, 33, 48, 64, -24}) {
    EXPECT_FALSE(Colorize::ColorizeBitmap(buffer, 2, 2, depth, 0, 90, 0.1, 0.1, false)) << depth;
    CColor m = CColor::Black, on = CColor::White, off = CColor::Red;
    EXPECT_FALSE(Colorize::ReassignColors(buffer, 2, 2, depth, 0, m, on, off)) << depth;
  }
  for (unsigned char byte : buffer) EXPECT_EQ(0x55, byte);
}

TEST(ColorizeTest, BitmapWithNoPixelsSucceedsWithoutTouching) {
  unsigned char buffer[16];
  std::memset(buffer, 0x55, sizeof buffer);
  CColor m = CColor::Black, on = CColor::White, off = CColor::Red;
  EXPECT_TRUE(Colorize::ColorizeBitmap(buffer, 2, 0, 24, 0, 90, 0.1, 0.1, false));
  EXPECT_TRUE(Colorize::ColorizeBitmap(buffer, 2, -3, 32, 0, 90, 0.1, 0.1, false));
  EXPECT_TRUE(Colorize::ColorizeBitmap(buffer, 0, 2, 24, 0, 90, 0.1, 0.1, false));
  EXPECT_TRUE(Colorize::ColorizeBitmap(buffer, INT_MIN, 2, 32, -8, 90, 0.1, 0.1, false));
  EXPECT_TRUE(Colorize::ReassignColors(buffer, -1, 2, 24, 0, m, on, off));
  EXPECT_TRUE(Colorize::ReassignColors(buffer, 2, INT_MIN, 24, 0, m, on, off));
  // Height 0 comes before the null check.
  EXPECT_TRUE(Colorize::ColorizeBitmap(nullptr, 2, 0, 24, 0, 90, 0.1, 0.1, false));
  for (unsigned char byte : buffer) EXPECT_EQ(0x55, byte);
}

TEST(ColorizeTest, BitmapRefusesNullBuffersAndNegativeStrides) {
  unsigned char buffer[16];
  std::memset(buffer, 0x55, sizeof buffer);
  CColor m = CColor::Black, on = CColor::White, off = CColor::Red;
  EXPECT_FALSE(Colorize::ColorizeBitmap(nullptr, 2, 2, 24, 0, 90, 0.1, 0.1, false));
  EXPECT_FALSE(Colorize::ReassignColors(nullptr, 2, 2, 32, 8, m, on, off));
  EXPECT_FALSE(Colorize::ColorizeBitmap(buffer, 1, 1, 24, -1, 90, 0.1, 0.1, false));
  EXPECT_FALSE(Colorize::ReassignColors(buffer, 1, 1, 32, -4, m, on, off));
  for (unsigned char byte : buffer) EXPECT_EQ(0x55, byte);
}

TEST(ColorizeTest, ThirtyTwoBitBitmapLeavesEveryFourthByte) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::vector<unsigned char> buffer(4 * 5 * 3);
  for (auto& byte : buffer) byte = static_cast<unsigned char>(rng());
  const std::vector<unsigned char> before = buffer;
  ASSERT_TRUE(Colorize::ColorizeBitmap(buffer.data(), 5, 3, 32, 0, 200, 0.1, 0.2, false));
  int changed = 0;
  for (size_t i = 0; i < buffer.size(); ++i) {
    if (i % 4 == 3)
      EXPECT_EQ(before[i], buffer[i]) << i;
    else
      changed += before[i] != buffer[i];
  }
  EXPECT_GT(changed, 0);
}

TEST(ColorizeTest, BitmapMatchesPixelByPixel) {
  const unsigned int seed = tavrin::test::TestSeed() + 1;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> hue(-720, 720), shift(-0.5, 0.5);
  for (int depth : {24, 32}) {
    for (bool relative : {false, true}) {
      const int width = 7, height = 4, stride = width * depth / 8 + 5;
      std::vector<unsigned char> buffer(static_cast<size_t>(stride) * height);
      for (auto& byte : buffer) byte = static_cast<unsigned char>(rng());
      std::vector<unsigned char> expected = buffer;
      double params[3] = {hue(rng), shift(rng), shift(rng)};
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
          Colorize::ColorizePixel(&expected[y * stride + x * depth / 8], params, relative);
      ASSERT_TRUE(Colorize::ColorizeBitmap(buffer.data(), width, height, depth, stride, params[0],
                                           params[1], params[2], relative));
      EXPECT_EQ(expected, buffer) << depth << " " << relative;
    }
  }
}

TEST(ColorizeTest, ReassignColorsMakesATwoColourMask) {
  // 24 bits, two rows of two pixels, tightly packed.
  unsigned char pixels[12] = {10, 20, 30, 1, 2, 3, 10, 20, 31, 10, 20, 30};
  CColor match(10, 20, 30, 0), on(255, 255, 255, 0), off(0, 0, 0, 99);
  ASSERT_TRUE(Colorize::ReassignColors(pixels, 2, 2, 24, 0, match, on, off));
  const unsigned char expected[12] = {255, 255, 255, 0, 0, 0, 0, 0, 0, 255, 255, 255};
  EXPECT_EQ(0, std::memcmp(expected, pixels, 12));
  // 32 bits: the alpha bytes stay.
  unsigned char rgba[8] = {10, 20, 30, 77, 9, 9, 9, 88};
  ASSERT_TRUE(Colorize::ReassignColors(rgba, 2, 1, 32, 8, match, on, off));
  const unsigned char expected_rgba[8] = {255, 255, 255, 77, 0, 0, 0, 88};
  EXPECT_EQ(0, std::memcmp(expected_rgba, rgba, 8));
  // The match colour may be one of the replacements.
  unsigned char same[6] = {1, 2, 3, 4, 5, 6};
  CColor first(1, 2, 3, 255), second(7, 7, 7, 255);
  ASSERT_TRUE(Colorize::ReassignColors(same, 2, 1, 24, 0, first, second, first));
  const unsigned char expected_same[6] = {7, 7, 7, 1, 2, 3};
  EXPECT_EQ(0, std::memcmp(expected_same, same, 6));
}

// Runs ReassignColors over a buffer of exactly `height` rows of the stride
// (heap-allocated, so AddressSanitizer sees any byte beyond it) followed by
// a guard area, and checks every byte against the walk's rule: the first
// three bytes of each pixel that lies wholly inside its row become the
// "other" colour, nothing else changes.
void CheckStride(int depth, int width, int height, int rowBytes) {
  const std::ptrdiff_t step = rowBytes != 0 ? rowBytes : std::ptrdiff_t(depth) * width / 8;
  const std::ptrdiff_t pixel = depth / 8;
  const size_t size = static_cast<size_t>(step * height);
  SCOPED_TRACE(testing::Message() << "depth " << depth << " width " << width << " height " << height
                                  << " rowBytes " << rowBytes);
  std::vector<unsigned char> expected(size, 0xAA);
  for (std::ptrdiff_t y = 0; y < height; ++y)
    for (std::ptrdiff_t x = 0; x < width; ++x) {
      const std::ptrdiff_t at = x * pixel;
      if (at + 3 > step) break;
      for (int k = 0; k < 3; ++k) expected[y * step + at + k] = static_cast<unsigned char>(k + 1);
    }

  // Exact size for the sanitizer.
  std::unique_ptr<unsigned char[]> exact(new unsigned char[size]);
  std::memset(exact.get(), 0xAA, size);
  CColor match(0, 0, 0, 0), on(9, 9, 9, 9), off(1, 2, 3, 4);
  ASSERT_TRUE(
      Colorize::ReassignColors(exact.get(), width, height, depth, rowBytes, match, on, off));
  EXPECT_EQ(0, std::memcmp(expected.data(), exact.get(), size));
  std::memset(exact.get(), 0xAA, size);
  ASSERT_TRUE(
      Colorize::ColorizeBitmap(exact.get(), width, height, depth, rowBytes, 10, 0.1, 0.1, true));

  // Guarded copy for builds without the sanitizer.
  std::vector<unsigned char> guarded(size + 64, 0xAA);
  ASSERT_TRUE(
      Colorize::ReassignColors(guarded.data(), width, height, depth, rowBytes, match, on, off));
  for (size_t i = size; i < guarded.size(); ++i) ASSERT_EQ(0xAA, guarded[i]) << "guard byte " << i;
  EXPECT_EQ(0, std::memcmp(expected.data(), guarded.data(), size));
}

TEST(ColorizeTest, BitmapStaysInsideItsRowsForAnyStride) {
  for (int depth : {24, 32}) {
    for (int width : {1, 2, 3, 4, 5, 7, 13}) {
      const int tight = width * depth / 8;
      for (int height : {1, 2, 3, 5}) {
        for (int rowBytes : {0, 1, 2, 3, 4, 5, 6, 7, tight - 1, tight, tight + 1, tight + 2,
                             tight + 3, tight + 7, 2 * tight + 1}) {
          if (rowBytes < 0) continue;
          CheckStride(depth, width, height, rowBytes);
        }
      }
    }
  }
}

TEST(ColorizeTest, HugeWidthWithAShortStrideStaysInTheBuffer) {
  // A width whose byte size overflows int, with a stride of three pixels:
  // only the pixels inside each row are touched.
  std::vector<unsigned char> buffer(12 * 2, 0xAA);
  CColor match(0, 0, 0, 0), on(9, 9, 9, 9), off(1, 2, 3, 4);
  ASSERT_TRUE(Colorize::ReassignColors(buffer.data(), INT_MAX, 2, 32, 12, match, on, off));
  for (size_t i = 0; i < buffer.size(); ++i)
    EXPECT_EQ(i % 4 == 3 ? 0xAA : static_cast<int>(i % 4) + 1, buffer[i]) << i;
}

// --- The color subcommand. ---------------------------------------------------

TEST(ColorizeTest, ToolPrintsAColour) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  ASSERT_EQ(0, tavrin::test::RunShell("'" + tool + "' color cornflowerblue", &out));
  EXPECT_NE(std::string::npos, out.find("rgba       100 149 237 255\n")) << out;
  EXPECT_NE(std::string::npos, out.find("packed     0xFFED9564\n")) << out;
  EXPECT_NE(std::string::npos, out.find("nearest    CornflowerBlue\n")) << out;
  ASSERT_EQ(0, tavrin::test::RunShell("'" + tool + "' color '#1A2b3C'", &out));
  EXPECT_NE(std::string::npos, out.find("rgba       26 43 60 255\n")) << out;
  ASSERT_EQ(0, tavrin::test::RunShell("'" + tool + "' color 808080", &out));
  EXPECT_NE(std::string::npos, out.find("grey: no hue")) << out;
}

TEST(ColorizeTest, ToolRejectsTextThatIsNotAColour) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  EXPECT_EQ(1, tavrin::test::RunShell("'" + tool + "' color Grey 2>/dev/null", &out));
  EXPECT_EQ("", out);
  EXPECT_EQ(1, tavrin::test::RunShell("'" + tool + "' color '#12345' 2>/dev/null", &out));
  EXPECT_EQ(1, tavrin::test::RunShell("'" + tool + "' color '' 2>/dev/null", &out));
  EXPECT_EQ(
      1, tavrin::test::RunShell("'" + tool + "' color \"$(printf 'ab\\377')\" 2>/dev/null", &out));
  EXPECT_EQ(2, tavrin::test::RunShell("'" + tool + "' color 2>/dev/null", &out));
  EXPECT_EQ(2, tavrin::test::RunShell("'" + tool + "' color red blue 2>/dev/null", &out));
  EXPECT_EQ(2, tavrin::test::RunShell("'" + tool + "' color --list red 2>/dev/null", &out));
}

TEST(ColorizeTest, ToolListsTheTable) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  ASSERT_EQ(0, tavrin::test::RunShell("'" + tool + "' color --list", &out));
  int lines = 0;
  for (char ch : out) lines += ch == '\n';
  EXPECT_EQ(140, lines);
  EXPECT_EQ(0u, out.find("  0  AliceBlue")) << out.substr(0, 80);
  EXPECT_NE(std::string::npos, out.find("139  YellowGreen            154 205  50  #9ACD32\n"));
}

}  // namespace
