// Tests of CColor: packing, the channel rule, conversions, blending and the
// axis colours.
#include "common/utils/color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/utils/random.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::CColor;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Prints a colour as (r, g, b, a) in failure messages.
std::string Show(const CColor& c) {
  return "(" + std::to_string(c.m_red) + ", " + std::to_string(c.m_green) + ", " +
         std::to_string(c.m_blue) + ", " + std::to_string(c.m_alpha) + ")";
}

#define EXPECT_COLOR(r, g, b, a, c)                                               \
  EXPECT_EQ(CColor(static_cast<unsigned char>(r), static_cast<unsigned char>(g),  \
                   static_cast<unsigned char>(b), static_cast<unsigned char>(a)), \
            (c))                                                                  \
      << Show(c)

// --- Layout, packing and construction. ---------------------------------------

TEST(ColorTest, GlobalAndNamespacedNamesAreOneType) {
  static_assert(std::is_same_v<::CColor, tavrin::utils::CColor>);
  static_assert(sizeof(CColor) == 4);
  EXPECT_EQ(0u, CColor().GetRGBA());
  EXPECT_EQ(CColor::NoColor, CColor());
}

TEST(ColorTest, PackedFormHasRedInTheLowestByte) {
  EXPECT_EQ(0xFF0000FFu, CColor(255, 0, 0, 255).GetRGBA());
  EXPECT_EQ(0xFFFF0000u, CColor::Blue.GetRGBA());
  EXPECT_EQ(0xFFFFFFFFu, CColor::White.GetRGBA());
  EXPECT_EQ(0u, CColor::NoColor.GetRGBA());
  EXPECT_EQ(0x04030201u, CColor(1, 2, 3, 4).GetRGBA());
  EXPECT_EQ(0x000000FFu, CColor(255, 0, 0, 255).GetRGB());
  EXPECT_EQ(0x00030201u, CColor(1, 2, 3, 4).GetRGB());
  EXPECT_COLOR(1, 2, 3, 255, CColor(1, 2, 3, 0).GetOpaqueColor());
}

TEST(ColorTest, AssigningAPackedValueSplitsItsBytes) {
  CColor c(9, 9, 9, 9);
  c = 0x80402010u;
  EXPECT_COLOR(0x10, 0x20, 0x40, 0x80, c);
  c = 0u;
  EXPECT_EQ(CColor::NoColor, c);
  for (unsigned int packed : {0x12345678u, 0xFFFFFFFFu, 0x00FF00FFu, 0xDEADBEEFu}) {
    CColor d;
    d = packed;
    EXPECT_EQ(packed, d.GetRGBA());
  }
}

TEST(ColorTest, MemoryLayoutIsRedGreenBlueAlpha) {
  const CColor c(0x11, 0x22, 0x33, 0x44);
  unsigned char bytes[4];
  std::memcpy(bytes, &c, 4);
  EXPECT_EQ(0x11, bytes[0]);
  EXPECT_EQ(0x22, bytes[1]);
  EXPECT_EQ(0x33, bytes[2]);
  EXPECT_EQ(0x44, bytes[3]);
  EXPECT_EQ(0x11, c.GetRed());
  EXPECT_EQ(0x22, c.GetGreen());
  EXPECT_EQ(0x33, c.GetBlue());
  EXPECT_EQ(0x44, c.GetAlpha());
  if constexpr (std::endian::native == std::endian::little) {
    std::uint32_t word;
    std::memcpy(&word, &c, 4);
    EXPECT_EQ(c.GetRGBA(), word);
  }
}

TEST(ColorTest, IntegerArgumentsAreCastToBytes) {
  EXPECT_EQ(CColor::Red, CColor(255, 0, 0, 255));
  EXPECT_COLOR(0, 255, 1, 44, CColor(256, -1, 257, 300));
  EXPECT_COLOR(1, 2, 3, 4, CColor(1L, 2L, 3L, 4L));
  CColor c;
  c.Set(10u, 20u, 30u, 40u);
  EXPECT_COLOR(10, 20, 30, 40, c);
  c.Set(-1, 0, 0, 0);
  EXPECT_COLOR(255, 0, 0, 0, c);
  c.SetAlpha(300);
  EXPECT_COLOR(255, 0, 0, 44, c);
  c.SetAlpha(static_cast<unsigned char>(7));
  EXPECT_COLOR(255, 0, 0, 7, c);
}

TEST(ColorTest, ChannelRuleTruncatesTowardZero) {
  CColor c;
  c.Set(0.5, 0.5, 0.5, 0.5);
  EXPECT_COLOR(127, 127, 127, 127, c);
  // Mixed integer and double arguments take the double form.
  c.Set(-3, 2, 1.0, 0.999);
  EXPECT_COLOR(0, 255, 255, 254, c);
  c.Set(0.999999, 1e-9, 1.0, 0.0);
  EXPECT_COLOR(254, 0, 255, 0, c);
  c.Set(kNaN, kInf, -kInf, 0.25);
  EXPECT_COLOR(0, 255, 0, 63, c);
  EXPECT_COLOR(127, 127, 127, 127, CColor(0.5, 0.5, 0.5, 0.5));
  c.SetAlpha(0.75);
  EXPECT_COLOR(0, 255, 0, 191, c);
  c.SetAlpha(kNaN);
  EXPECT_COLOR(0, 255, 0, 0, c);
}

TEST(ColorTest, FloatArrayConstructorUsesTheChannelRule) {
  const float rgba[4] = {1.0f, 0.5f, 0.0f, 0.25f};
  EXPECT_COLOR(255, 127, 0, 63, CColor(rgba));
  const float out_of_range[4] = {2.0f, -1.0f, std::numeric_limits<float>::quiet_NaN(), 1.0f};
  EXPECT_COLOR(255, 0, 0, 255, CColor(out_of_range));
  EXPECT_EQ(CColor::NoColor, CColor(static_cast<const float*>(nullptr)));
}

// --- Reading. ----------------------------------------------------------------

TEST(ColorTest, FloatChannelsAreByteOver255f) {
  const CColor c(51, 102, 204, 255);
  EXPECT_EQ(51 / 255.0f, c.GetRedf());
  EXPECT_EQ(102 / 255.0f, c.GetGreenf());
  EXPECT_EQ(204 / 255.0f, c.GetBluef());
  EXPECT_EQ(1.0f, c.GetAlphaf());
  float out[4] = {};
  EXPECT_EQ(out, c.GetFv(out));
  EXPECT_EQ(51 / 255.0f, out[0]);
  EXPECT_EQ(102 / 255.0f, out[1]);
  EXPECT_EQ(204 / 255.0f, out[2]);
  EXPECT_EQ(1.0f, out[3]);
}

TEST(ColorTest, GetFvWithoutBufferSharesOneStaticArray) {
  float* first = CColor::Red.GetFv();
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(1.0f, first[0]);
  EXPECT_EQ(0.0f, first[2]);
  float* second = CColor::Blue.GetFv(nullptr);
  EXPECT_EQ(first, second);
  // The second call overwrote what the first returned.
  EXPECT_EQ(0.0f, first[0]);
  EXPECT_EQ(1.0f, first[2]);
}

TEST(ColorTest, OrderingComparesPackedValuesSoAlphaDominates) {
  EXPECT_FALSE(CColor(0, 0, 0, 255) < CColor(255, 255, 255, 0));
  EXPECT_TRUE(CColor(255, 255, 255, 0) < CColor(0, 0, 0, 255));
  EXPECT_TRUE(CColor(255, 255, 0, 9) < CColor(0, 0, 1, 9));  // blue before green
  EXPECT_TRUE(CColor(255, 0, 1, 9) < CColor(0, 1, 1, 9));    // green before red
  EXPECT_FALSE(CColor(1, 2, 3, 4) < CColor(1, 2, 3, 4));
  std::mt19937 rng(tavrin::test::TestSeed());
  SCOPED_TRACE(testing::Message() << "seed " << tavrin::test::TestSeed());
  std::vector<CColor> colors;
  for (int i = 0; i < 200; ++i) {
    CColor c;
    c = static_cast<unsigned int>(rng());
    colors.push_back(c);
  }
  std::sort(colors.begin(), colors.end());
  for (size_t i = 1; i < colors.size(); ++i)
    EXPECT_LE(colors[i - 1].GetRGBA(), colors[i].GetRGBA());
}

TEST(ColorTest, EqualityUsesAllFourChannels) {
  EXPECT_TRUE(CColor(1, 2, 3, 4) == CColor(1, 2, 3, 4));
  EXPECT_FALSE(CColor(1, 2, 3, 4) != CColor(1, 2, 3, 4));
  EXPECT_NE(CColor(1, 2, 3, 4), CColor(1, 2, 3, 5));
  EXPECT_NE(CColor(1, 2, 3, 4), CColor(0, 2, 3, 4));
  EXPECT_NE(CColor(1, 2, 3, 4), CColor(1, 0, 3, 4));
  EXPECT_NE(CColor(1, 2, 3, 4), CColor(1, 2, 0, 4));
}

TEST(ColorTest, MonochromeIgnoresAlpha) {
  EXPECT_TRUE(CColor(7, 7, 7, 0).IsMonochrome());
  EXPECT_TRUE(CColor::NoColor.IsMonochrome());
  EXPECT_TRUE(CColor::White.IsMonochrome());
  EXPECT_FALSE(CColor(7, 7, 8, 7).IsMonochrome());
  EXPECT_FALSE(CColor(7, 8, 7, 7).IsMonochrome());
  EXPECT_FALSE(CColor(8, 7, 7, 7).IsMonochrome());
}

TEST(ColorTest, BrightnessIsTheLargestChannel) {
  EXPECT_EQ(200 / 255.0f, CColor(10, 200, 30, 0).GetBrightness());
  EXPECT_EQ(0.0f, CColor::Black.GetBrightness());
  EXPECT_EQ(1.0f, CColor(0, 0, 255, 1).GetBrightness());
}

TEST(ColorTest, LuminanceWeights) {
  EXPECT_NEAR(0.299, CColor::Red.GetLuminance(), 1e-6);
  EXPECT_NEAR(0.587, CColor::Green.GetLuminance(CColor::kRec601), 1e-6);
  EXPECT_NEAR(0.114, CColor::Blue.GetLuminance(), 1e-6);
  EXPECT_NEAR(0.2126, CColor::Red.GetLuminance(CColor::kRec709), 1e-6);
  EXPECT_NEAR(0.7152, CColor::Green.GetLuminance(CColor::kRec709), 1e-6);
  EXPECT_NEAR(0.0722, CColor::Blue.GetLuminance(CColor::kRec709), 1e-6);
  // Any non-zero value selects Rec. 709.
  EXPECT_NEAR(0.2126, CColor::Red.GetLuminance(static_cast<CColor::LuminanceConversion>(7)), 1e-6);
  EXPECT_NEAR(1.0, CColor::White.GetLuminance(), 1e-9);
  EXPECT_EQ(0.0, CColor::Black.GetLuminance(CColor::kRec709));
  // Alpha takes no part.
  EXPECT_EQ(CColor(10, 20, 30, 0).GetLuminance(), CColor(10, 20, 30, 255).GetLuminance());
}

// --- HSV. --------------------------------------------------------------------

TEST(ColorTest, HsvOfNoColorFailsAndLeavesTheOutputs) {
  double h = 11, s = 22, v = 33;
  EXPECT_FALSE(CColor::NoColor.GetHSV(h, s, v));
  EXPECT_EQ(11, h);
  EXPECT_EQ(22, s);
  EXPECT_EQ(33, v);
  EXPECT_FALSE(CColor::NoColor.GetHLS(h, s, v));
  EXPECT_EQ(11, h);
  EXPECT_EQ(22, s);
  EXPECT_EQ(33, v);
}

TEST(ColorTest, HsvOfBlackAndGreysHasNoHue) {
  double h = 0, s = 1, v = 1;
  EXPECT_TRUE(CColor::Black.GetHSV(h, s, v));
  EXPECT_EQ(-1, h);
  EXPECT_EQ(0, s);
  EXPECT_EQ(0, v);
  // Transparent black is not NoColor once any byte differs.
  EXPECT_TRUE(CColor(0, 0, 0, 1).GetHSV(h, s, v));
  EXPECT_TRUE(CColor(77, 77, 77, 0).GetHSV(h, s, v));
  EXPECT_EQ(-1, h);
  EXPECT_EQ(0, s);
  EXPECT_DOUBLE_EQ(77 / 255.0f, v);
}

TEST(ColorTest, HsvOfPrimaryAndSecondaryColours) {
  struct Case {
    CColor color;
    double h;
  } cases[] = {{CColor::Red, 0},    {CColor::Yellow, 60}, {CColor::Green, 120},
               {CColor::Cyan, 180}, {CColor::Blue, 240},  {CColor::Magenta, 300}};
  for (const Case& c : cases) {
    double h, s, v;
    ASSERT_TRUE(c.color.GetHSV(h, s, v));
    EXPECT_NEAR(c.h, h, 1e-4) << Show(c.color);
    EXPECT_EQ(1, s);
    EXPECT_EQ(1, v);
  }
  double h, s, v;
  ASSERT_TRUE(CColor(255, 128, 0, 255).GetHSV(h, s, v));
  EXPECT_NEAR(30.1176, h, 1e-3);
  ASSERT_TRUE(CColor(100, 50, 200, 255).GetHSV(h, s, v));
  EXPECT_NEAR(260, h, 1e-3);
  EXPECT_NEAR(0.75, s, 1e-6);
  EXPECT_NEAR(200 / 255.0, v, 1e-6);
}

TEST(ColorTest, HsvToRgbWithZeroSaturationIgnoresTheHue) {
  for (float h : {-1.0f, 0.0f, 1234.0f, -5000.0f, std::numeric_limits<float>::quiet_NaN()}) {
    float r = 9, g = 9, b = 9;
    CColor::HSVToRGB(h, 0.0f, 0.25f, r, g, b);
    EXPECT_EQ(0.25f, r);
    EXPECT_EQ(0.25f, g);
    EXPECT_EQ(0.25f, b);
  }
}

TEST(ColorTest, HsvToRgbReadsHue360AsZero) {
  float r0, g0, b0, r1, g1, b1;
  CColor::HSVToRGB(0.0f, 0.7f, 0.9f, r0, g0, b0);
  CColor::HSVToRGB(360.0f, 0.7f, 0.9f, r1, g1, b1);
  EXPECT_EQ(r0, r1);
  EXPECT_EQ(g0, g1);
  EXPECT_EQ(b0, b1);
}

TEST(ColorTest, HsvToRgbOutsideTheSectorsWritesNothing) {
  for (float h : {400.0f, 360.5f, -60.0f, -100.0f, 1e30f, std::numeric_limits<float>::infinity(),
                  std::numeric_limits<float>::quiet_NaN()}) {
    float r = 7, g = 8, b = 9;
    CColor::HSVToRGB(h, 1.0f, 1.0f, r, g, b);
    EXPECT_EQ(7, r) << h;
    EXPECT_EQ(8, g) << h;
    EXPECT_EQ(9, b) << h;
  }
  // Just inside: (-60, 0) runs as sector 0.
  float r = 7, g = 8, b = 9;
  CColor::HSVToRGB(-30.0f, 1.0f, 1.0f, r, g, b);
  EXPECT_EQ(1.0f, r);
  EXPECT_EQ(0.0f, b);
  EXPECT_NE(8.0f, g);
  // The byte form starts from zeros: a hue outside the sectors gives black.
  unsigned char rb = 5, gb = 5, bb = 5;
  CColor::HSVToRGB(400.0, 1.0, 1.0, rb, gb, bb);
  EXPECT_EQ(0, rb);
  EXPECT_EQ(0, gb);
  EXPECT_EQ(0, bb);
  CColor::HSVToRGB(1e300, 1.0, 1.0, rb, gb, bb);  // beyond float range: no UB, black
  EXPECT_EQ(0, rb + gb + bb);
}

TEST(ColorTest, HsvSectors) {
  // One hue in each sector, full saturation and value.
  struct Case {
    double h;
    int r, g, b;
  } cases[] = {{0, 255, 0, 0},   {60, 255, 255, 0},  {120, 0, 255, 0},  {180, 0, 255, 255},
               {240, 0, 0, 255}, {300, 255, 0, 255}, {30, 255, 127, 0}, {359.9, 255, 0, 0}};
  for (const Case& c : cases) {
    unsigned char r, g, b;
    CColor::HSVToRGB(c.h, 1.0, 1.0, r, g, b);
    EXPECT_EQ(c.r, r) << c.h;
    EXPECT_EQ(c.g, g) << c.h;
    EXPECT_EQ(c.b, b) << c.h;
  }
}

TEST(ColorTest, SetHsvAndSetHlsMakeTheColourOpaque) {
  CColor c(1, 2, 3, 4);
  EXPECT_TRUE(c.SetHSV(240, 1, 1));
  EXPECT_EQ(CColor::Blue, c);
  c.SetAlpha(0.5);
  EXPECT_TRUE(c.SetHLS(120, 0.5, 1));
  EXPECT_EQ(CColor::Green, c);
  c.SetAlpha(0.0);
  EXPECT_TRUE(c.SetHSV(400, 1, 1));  // no sector: black, still opaque
  EXPECT_EQ(CColor::Black, c);
}

// --- HLS. --------------------------------------------------------------------

TEST(ColorTest, HlsOfKnownColours) {
  double h, l, s;
  ASSERT_TRUE(CColor::Red.GetHLS(h, l, s));
  EXPECT_NEAR(0, h, 1e-9);
  EXPECT_NEAR(0.5, l, 1e-9);
  EXPECT_NEAR(1, s, 1e-9);
  ASSERT_TRUE(CColor::Blue.GetHLS(h, l, s));
  EXPECT_NEAR(240, h, 1e-9);
  ASSERT_TRUE(CColor::Magenta.GetHLS(h, l, s));
  EXPECT_NEAR(300, h, 1e-9);
  ASSERT_TRUE(CColor::White.GetHLS(h, l, s));
  EXPECT_EQ(-1, h);
  EXPECT_EQ(0, s);
  EXPECT_EQ(1, l);
  // A light colour uses the d / (2 - M - m) branch.
  ASSERT_TRUE(CColor(255, 204, 204, 255).GetHLS(h, l, s));
  EXPECT_NEAR(0, h, 1e-6);
  EXPECT_NEAR(0.9, l, 1e-6);
  EXPECT_NEAR(1.0, s, 1e-6);
  // A dark one the d / (M + m) branch.
  ASSERT_TRUE(CColor(0, 51, 102, 255).GetHLS(h, l, s));
  EXPECT_NEAR(210, h, 1e-6);
  EXPECT_NEAR(0.2, l, 1e-6);
  EXPECT_NEAR(1.0, s, 1e-6);
}

TEST(ColorTest, HlsToRgbWithoutSaturationIsGrey) {
  unsigned char r, g, b;
  CColor::HLSToRGB(123, 0.5, 0.0005, r, g, b);
  EXPECT_EQ(127, r);
  EXPECT_EQ(127, g);
  EXPECT_EQ(127, b);
  CColor::HLSToRGB(kNaN, kNaN, 0.0, r, g, b);
  EXPECT_EQ(0, r + g + b);
}

// Reference HSV in double precision, written independently of the library.
void ReferenceHsv(int r8, int g8, int b8, double& h, double& s, double& v) {
  const double r = r8 / 255.0, g = g8 / 255.0, b = b8 / 255.0;
  const double mx = std::max({r, g, b}), mn = std::min({r, g, b});
  v = mx;
  s = mx == 0 ? 0 : (mx - mn) / mx;
  if (mx == mn) {
    h = -1;
    return;
  }
  const double c = mx - mn;
  if (mx == r)
    h = 60 * std::fmod((g - b) / c + 6, 6.0);
  else if (mx == g)
    h = 60 * ((b - r) / c + 2);
  else
    h = 60 * ((r - g) / c + 4);
}

TEST(ColorTest, HsvMatchesAReferenceAndRoundTrips) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int i = 0; i < 5000; ++i) {
    const CColor c(static_cast<unsigned char>(byte(rng)), static_cast<unsigned char>(byte(rng)),
                   static_cast<unsigned char>(byte(rng)), 255);
    double h, s, v, rh, rs, rv;
    ASSERT_TRUE(c.GetHSV(h, s, v));
    ReferenceHsv(c.m_red, c.m_green, c.m_blue, rh, rs, rv);
    if (rh < 0) {
      EXPECT_EQ(-1, h) << Show(c);
    } else {
      // 360 and 0 are one hue.
      const double dh = std::fabs(rh - h);
      EXPECT_LT(std::min(dh, 360 - dh), 1e-3) << Show(c);
      EXPECT_GE(h, 0.0);
      EXPECT_LT(h, 360.0);
    }
    EXPECT_NEAR(rs, s, 1e-5) << Show(c);
    EXPECT_NEAR(rv, v, 1e-6) << Show(c);
    // Back to bytes: truncation may lose at most one step per channel.
    CColor back(1, 1, 1, 1);
    EXPECT_TRUE(back.SetHSV(h, s, v));
    EXPECT_NEAR(c.m_red, back.m_red, 1) << Show(c) << " -> " << Show(back);
    EXPECT_NEAR(c.m_green, back.m_green, 1) << Show(c) << " -> " << Show(back);
    EXPECT_NEAR(c.m_blue, back.m_blue, 1) << Show(c) << " -> " << Show(back);
    EXPECT_EQ(255, back.m_alpha);
  }
}

TEST(ColorTest, HlsRoundTripsOverASpreadOfColours) {
  const unsigned int seed = tavrin::test::TestSeed() + 1;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int i = 0; i < 5000; ++i) {
    const CColor c(static_cast<unsigned char>(byte(rng)), static_cast<unsigned char>(byte(rng)),
                   static_cast<unsigned char>(byte(rng)), 255);
    double h, l, s;
    ASSERT_TRUE(c.GetHLS(h, l, s));
    EXPECT_NEAR(
        (std::max({c.m_red, c.m_green, c.m_blue}) + std::min({c.m_red, c.m_green, c.m_blue})) /
            510.0,
        l, 1e-6)
        << Show(c);
    CColor back;
    EXPECT_TRUE(back.SetHLS(h, l, s));
    EXPECT_NEAR(c.m_red, back.m_red, 1) << Show(c) << " -> " << Show(back);
    EXPECT_NEAR(c.m_green, back.m_green, 1) << Show(c) << " -> " << Show(back);
    EXPECT_NEAR(c.m_blue, back.m_blue, 1) << Show(c) << " -> " << Show(back);
  }
}

TEST(ColorTest, HsvAndHlsAgreeOnHue) {
  const unsigned int seed = tavrin::test::TestSeed() + 2;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int i = 0; i < 2000; ++i) {
    CColor c;
    c = static_cast<unsigned int>(rng()) | 0xFF000000u;
    double h1, s1, v1, h2, l2, s2;
    ASSERT_TRUE(c.GetHSV(h1, s1, v1));
    ASSERT_TRUE(c.GetHLS(h2, l2, s2));
    if (c.IsMonochrome()) {
      EXPECT_EQ(-1, h1);
      EXPECT_EQ(-1, h2);
    } else {
      const double dh = std::fabs(h1 - h2);
      EXPECT_LT(std::min(dh, 360 - dh), 1e-3) << Show(c);
    }
  }
}

// --- Changing. ---------------------------------------------------------------

TEST(ColorTest, ScaleRgbKeepsAlpha) {
  CColor c(200, 100, 0, 77);
  EXPECT_EQ(&c, &c.ScaleRGB(0.0));
  EXPECT_COLOR(0, 0, 0, 77, c);
  c = CColor(200, 100, 0, 77);
  c.ScaleRGB(10.0);
  EXPECT_COLOR(255, 255, 0, 77, c);
  c = CColor(200, 100, 0, 77);
  c.ScaleRGB(1.0);
  EXPECT_COLOR(200, 100, 0, 77, c);
  c.ScaleRGB(-1.0);
  EXPECT_COLOR(0, 0, 0, 77, c);
  c = CColor(255, 255, 255, 1);
  c.ScaleRGB(0.5);
  EXPECT_COLOR(127, 127, 127, 1, c);
}

TEST(ColorTest, BlendMixesAllFourChannels) {
  CColor c = CColor::White;
  EXPECT_EQ(&c, &c.Blend(CColor::NoColor, 0.5));
  EXPECT_COLOR(127, 127, 127, 127, c);
  EXPECT_EQ(CColor::White, CColor::Blend(CColor::White, CColor::Black, 1.0));
  EXPECT_EQ(CColor::Black, CColor::Blend(CColor::White, CColor::Black, 0.0));
  EXPECT_COLOR(127, 127, 127, 255, CColor::Blend(CColor::White, CColor::Black, 0.5));
  EXPECT_COLOR(63, 0, 191, 255, CColor::Blend(CColor::Red, CColor::Blue, 0.25));
  // Member and static forms agree.
  CColor a(10, 200, 30, 40);
  const CColor b(250, 0, 90, 255);
  const CColor expected = CColor::Blend(a, b, 0.3);
  a.Blend(b, 0.3);
  EXPECT_EQ(expected, a);
  // Out-of-range weights go through the channel rule.
  EXPECT_COLOR(255, 0, 0, 255, CColor::Blend(CColor::Red, CColor::Blue, 2.0));
}

TEST(ColorTest, BlendIntoUsesTheUnderBlueChannelForAlpha) {
  CColor c(255, 0, 0, 128);
  const CColor under(0, 0, 255, 0);
  EXPECT_EQ(&c, &c.BlendInto(&under));
  EXPECT_COLOR(128, 0, 126, 191, c);
  // Under an opaque black the alpha formula sees blue 0, so a half-covered
  // colour becomes more transparent, not opaque: a^2 = 0.2519 -> 64.
  CColor d(255, 0, 0, 128);
  const CColor black = CColor::Black;
  d.BlendInto(&black);
  EXPECT_EQ(64, d.m_alpha);
  EXPECT_EQ(128, d.m_red);
}

TEST(ColorTest, BlendIntoOpaqueTransparentAndNull) {
  CColor opaque(1, 2, 3, 255);
  const CColor under(9, 8, 7, 6);
  opaque.BlendInto(&under);
  EXPECT_COLOR(1, 2, 3, 255, opaque);
  CColor clear(1, 2, 3, 0);
  clear.BlendInto(&under);
  EXPECT_COLOR(9, 8, 7, 6, clear);
  CColor half(1, 2, 3, 100);
  half.BlendInto(nullptr);
  EXPECT_COLOR(1, 2, 3, 100, half);
}

TEST(ColorTest, SetBrightnessKeepsHueAndMakesOpaque) {
  CColor c(255, 0, 0, 128);
  c.SetBrightness(0.5);
  EXPECT_COLOR(127, 0, 0, 255, c);
  CColor none = CColor::NoColor;
  none.SetBrightness(0.5);  // hue and saturation taken as 0
  EXPECT_COLOR(127, 127, 127, 255, none);
  CColor grey(50, 50, 50, 0);
  grey.SetBrightness(1.0);
  EXPECT_COLOR(255, 255, 255, 255, grey);
  CColor blue = CColor::Blue;
  blue.SetBrightness(0.0);
  EXPECT_EQ(CColor::Black, blue);
}

TEST(ColorTest, MakeGrayUsesRec601AndMakesOpaque) {
  CColor c(255, 0, 0, 10);
  c.MakeGray();
  EXPECT_COLOR(76, 76, 76, 255, c);  // 0.299 * 255 = 76.2
  CColor g(0, 255, 0, 0);
  g.MakeGray();
  EXPECT_COLOR(149, 149, 149, 255, g);  // 0.587 * 255 = 149.7
  // The three weights add up to just below 1 in double, and the channel
  // rule truncates: white turns into 254.
  CColor w = CColor::White;
  w.MakeGray();
  EXPECT_COLOR(254, 254, 254, 255, w);
}

TEST(ColorTest, RandomDrawsRedGreenBlueAlphaInOrder) {
  const unsigned int seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  Random::SetSeed(seed);
  std::vector<CColor> expected;
  for (int i = 0; i < 50; ++i) {
    const double r = Random::GetValue(0.0, 1.0);
    const double g = Random::GetValue(0.0, 1.0);
    const double b = Random::GetValue(0.0, 1.0);
    const double a = Random::GetValue(0.0, 1.0);
    expected.emplace_back(r, g, b, a);
  }
  Random::SetSeed(seed);
  bool alpha_varies = false;
  for (const CColor& e : expected) {
    const CColor got = CColor::Random();
    EXPECT_EQ(e, got) << Show(e) << " vs " << Show(got);
    alpha_varies |= got.m_alpha != expected.front().m_alpha;
  }
  EXPECT_TRUE(alpha_varies);
}

// --- Tolerant comparisons. ---------------------------------------------------

TEST(ColorTest, TolerantComparisons) {
  EXPECT_TRUE(CColor::LessThan(0.0, 0.0011));
  EXPECT_FALSE(CColor::LessThan(0.0, 0.0009));
  EXPECT_FALSE(CColor::LessThan(1.0, 0.0));
  EXPECT_TRUE(CColor::GreaterThan(0.0011, 0.0));
  EXPECT_FALSE(CColor::GreaterThan(0.0009, 0.0));
  EXPECT_TRUE(CColor::Equals(0.0009, 0.0));
  EXPECT_TRUE(CColor::Equals(-0.0009, 0.0));
  EXPECT_FALSE(CColor::Equals(0.0011, 0.0));
  EXPECT_TRUE(CColor::LessThanOrEqual(0.0005, 0.0));
  EXPECT_TRUE(CColor::LessThanOrEqual(-5.0, 0.0));
  EXPECT_FALSE(CColor::LessThanOrEqual(0.0011, 0.0));
  EXPECT_FALSE(CColor::Equals(kNaN, kNaN));
  EXPECT_EQ(0.0, CColor::Clamp(-1.0, 0.0, 1.0));
  EXPECT_EQ(1.0, CColor::Clamp(2.0, 0.0, 1.0));
  EXPECT_EQ(0.25, CColor::Clamp(0.25, 0.0, 1.0));
  EXPECT_EQ(1.00001, CColor::Clamp(1.00001, 0.0, 1.00001));
  EXPECT_TRUE(std::isnan(CColor::Clamp(kNaN, 0.0, 1.0)));
}

// --- Constants and axis colours. ---------------------------------------------

TEST(ColorTest, NamedConstants) {
  EXPECT_COLOR(255, 0, 0, 255, CColor::Red);
  EXPECT_COLOR(128, 0, 0, 255, CColor::DarkRed);
  EXPECT_COLOR(0, 255, 0, 255, CColor::Green);
  EXPECT_COLOR(0, 128, 0, 255, CColor::DarkGreen);
  EXPECT_COLOR(0, 0, 255, 255, CColor::Blue);
  EXPECT_COLOR(0, 0, 128, 255, CColor::DarkBlue);
  EXPECT_COLOR(255, 255, 0, 255, CColor::Yellow);
  EXPECT_COLOR(128, 128, 0, 255, CColor::DarkYellow);
  EXPECT_COLOR(0, 255, 255, 255, CColor::Cyan);
  EXPECT_COLOR(0, 128, 128, 255, CColor::DarkCyan);
  EXPECT_COLOR(255, 0, 255, 255, CColor::Magenta);
  EXPECT_COLOR(128, 0, 128, 255, CColor::DarkMagenta);
  EXPECT_COLOR(255, 128, 0, 255, CColor::Orange);
  EXPECT_COLOR(255, 255, 255, 255, CColor::White);
  EXPECT_COLOR(0, 0, 0, 255, CColor::Black);
  EXPECT_COLOR(128, 128, 128, 255, CColor::Gray);
  EXPECT_COLOR(192, 192, 192, 255, CColor::LightGray);
  EXPECT_COLOR(64, 64, 64, 255, CColor::DarkGray);
  EXPECT_COLOR(0, 0, 0, 0, CColor::NoColor);
  EXPECT_EQ(CColor::Red, CColor::kXaxisDefaultColor);
  EXPECT_EQ(CColor::Green, CColor::kYaxisDefaultColor);
  EXPECT_EQ(CColor::Blue, CColor::kZaxisDefaultColor);
  EXPECT_EQ(CColor::Magenta, CColor::kParallelPerpendicularDefaultColor);
  EXPECT_EQ(CColor::Cyan, CColor::kTangentDefaultColor);
  EXPECT_COLOR(255, 127, 127, 255, CColor::kXaxisCrosshairDefaultColor);
  EXPECT_COLOR(127, 255, 127, 255, CColor::kYaxisCrosshairDefaultColor);
  EXPECT_COLOR(127, 127, 255, 255, CColor::kZaxisCrosshairDefaultColor);
  EXPECT_EQ(0.7, CColor::kAxisBrightnessDefault);
}

// Puts the process-wide axis state back after each test.
class ColorAxisTest : public testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    CColor::SetXAxisColor(CColor::kXaxisDefaultColor);
    CColor::SetYAxisColor(CColor::kYaxisDefaultColor);
    CColor::SetZAxisColor(CColor::kZaxisDefaultColor);
    CColor::SetParallelPerpendicularColor(CColor::kParallelPerpendicularDefaultColor);
    CColor::SetTangentColor(CColor::kTangentDefaultColor);
    CColor::SetAxesBrightnessValue(CColor::kAxisBrightnessDefault);
  }
};

TEST_F(ColorAxisTest, CurrentColoursStartAtTheDefaults) {
  EXPECT_EQ(CColor::Red, CColor::s_xaxis_color);
  EXPECT_EQ(CColor::Green, CColor::s_yaxis_color);
  EXPECT_EQ(CColor::Blue, CColor::s_zaxis_color);
  EXPECT_EQ(CColor::Magenta, CColor::s_parallel_perpendicular_color);
  EXPECT_EQ(CColor::Cyan, CColor::s_tangent_color);
  EXPECT_EQ(0.7, CColor::s_axes_brightness_value);
}

TEST_F(ColorAxisTest, FullBrightnessReturnsTheStoredColour) {
  const CColor half(10, 200, 30, 128);
  CColor::SetXAxisColor(half);
  EXPECT_EQ(half, CColor::s_xaxis_color);
  EXPECT_EQ(half, CColor::GetXAxisColor(1.0));
  EXPECT_EQ(half, CColor::GetXAxisColor(3.0));
  const CColor dimmed = CColor::GetXAxisColor(0.5);
  EXPECT_EQ(255, dimmed.m_alpha);
  EXPECT_NEAR(0.5, dimmed.GetBrightness(), 1.0 / 255);
}

TEST_F(ColorAxisTest, EachAxisHasItsOwnColour) {
  EXPECT_COLOR(127, 0, 0, 255, CColor::GetXAxisColor(0.5));
  EXPECT_COLOR(0, 127, 0, 255, CColor::GetYAxisColor(0.5));
  EXPECT_COLOR(0, 0, 127, 255, CColor::GetZAxisColor(0.5));
  EXPECT_COLOR(127, 0, 127, 255, CColor::GetParallelPerpendicularColor(0.5));
  EXPECT_COLOR(0, 127, 127, 255, CColor::GetTangentColor(0.5));
  CColor::SetYAxisColor(CColor(1, 2, 3, 4));
  CColor::SetZAxisColor(CColor(5, 6, 7, 8));
  CColor::SetParallelPerpendicularColor(CColor(9, 10, 11, 12));
  CColor::SetTangentColor(CColor(13, 14, 15, 16));
  EXPECT_COLOR(1, 2, 3, 4, CColor::GetYAxisColor(1.0));
  EXPECT_COLOR(5, 6, 7, 8, CColor::GetZAxisColor(1.0));
  EXPECT_COLOR(9, 10, 11, 12, CColor::GetParallelPerpendicularColor(1.0));
  EXPECT_COLOR(13, 14, 15, 16, CColor::GetTangentColor(1.0));
  EXPECT_EQ(CColor::Red, CColor::GetXAxisColor(1.0));
}

TEST_F(ColorAxisTest, BrightnessValueDependsOnEveryChannelOfEveryAxis) {
  CColor::SetAxesBrightnessValue(0.25);
  EXPECT_EQ(0.25, CColor::s_axes_brightness_value);
  CColor::GetAxesBrightnessValue();
  EXPECT_EQ(0.7, CColor::s_axes_brightness_value);
  using Setter = void (*)(CColor);
  const Setter setters[] = {CColor::SetXAxisColor, CColor::SetYAxisColor, CColor::SetZAxisColor,
                            CColor::SetParallelPerpendicularColor, CColor::SetTangentColor};
  const CColor defaults[] = {CColor::kXaxisDefaultColor, CColor::kYaxisDefaultColor,
                             CColor::kZaxisDefaultColor, CColor::kParallelPerpendicularDefaultColor,
                             CColor::kTangentDefaultColor};
  for (int axis = 0; axis < 5; ++axis) {
    for (int channel = 0; channel < 4; ++channel) {
      CColor changed = defaults[axis];
      unsigned char* bytes[] = {&changed.m_red, &changed.m_green, &changed.m_blue,
                                &changed.m_alpha};
      *bytes[channel] = static_cast<unsigned char>(*bytes[channel] ^ 1);
      setters[axis](changed);
      CColor::GetAxesBrightnessValue();
      EXPECT_EQ(1.0, CColor::s_axes_brightness_value) << "axis " << axis << " channel " << channel;
      setters[axis](defaults[axis]);
      CColor::GetAxesBrightnessValue();
      EXPECT_EQ(0.7, CColor::s_axes_brightness_value);
    }
  }
}

}  // namespace
