// Tests of the Wirelume category on NSColor: CColor to NSColor and back.
#import "common/utils/mac/NSColor_Wirelume.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "common/utils/auto_release_pool.h"
#include "common/utils/color.h"
#include "tests/test_support.h"

namespace {

struct Components {
  CGFloat red = -1, green = -1, blue = -1, alpha = -1;
};

Components Of(NSColor* color) {
  Components c;
  [color getRed:&c.red green:&c.green blue:&c.blue alpha:&c.alpha];
  return c;
}

TEST(NSColorWirelumeTest, ColorFromCColorHasFloatChannels) {
  const AutoReleasePool pool;
  NSColor* color = [NSColor colorWithWirelumeColor:CColor(255, 128, 0, 64)];
  ASSERT_NE(color, nil);
  const Components c = Of(color);
  EXPECT_NEAR(c.red, 1.0, 1e-6);
  EXPECT_NEAR(c.green, 128 / 255.0, 1e-6);
  EXPECT_NEAR(c.blue, 0.0, 1e-6);
  EXPECT_NEAR(c.alpha, 64 / 255.0, 1e-6);
}

TEST(NSColorWirelumeTest, NamedConstantsConvertToTheirComponents) {
  const AutoReleasePool pool;
  EXPECT_EQ([[NSColor colorWithCalibratedRed:1 green:0 blue:0 alpha:1] wirelumeColor], CColor::Red);
  EXPECT_EQ([[NSColor colorWithCalibratedRed:0 green:0 blue:0 alpha:1] wirelumeColor],
            CColor::Black);
  EXPECT_EQ([[NSColor colorWithCalibratedRed:0 green:0 blue:0 alpha:0] wirelumeColor],
            CColor::NoColor);
}

TEST(NSColorWirelumeTest, RandomColorsRoundTrip) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 500; ++round) {
    const AutoReleasePool pool;
    const CColor color(static_cast<unsigned char>(rng()), static_cast<unsigned char>(rng()),
                       static_cast<unsigned char>(rng()), static_cast<unsigned char>(rng()));
    EXPECT_EQ([[NSColor colorWithWirelumeColor:color] wirelumeColor], color)
        << int(color.GetRed()) << "," << int(color.GetGreen()) << "," << int(color.GetBlue()) << ","
        << int(color.GetAlpha());
  }
}

TEST(NSColorWirelumeTest, OtherColorSpacesAreConvertedToRgb) {
  const AutoReleasePool pool;
  EXPECT_EQ([[NSColor colorWithCalibratedWhite:1.0 alpha:1.0] wirelumeColor], CColor::White);
  // Components go through CColor's double constructor and its channel rule.
  EXPECT_EQ([[NSColor colorWithCalibratedWhite:0.0 alpha:0.5] wirelumeColor],
            CColor(0.0, 0.0, 0.0, 0.5));
  const CColor gray = [[NSColor colorWithCalibratedWhite:0.5 alpha:1.0] wirelumeColor];
  EXPECT_TRUE(gray.IsMonochrome());
  EXPECT_NEAR(gray.GetRed(), 128, 1);
}

TEST(NSColorWirelumeTest, CatalogueColorIsWhite) {
  const AutoReleasePool pool;
  // A named system colour stands for a role, not for components: white
  // without conversion, whatever the theme would draw.
  NSColor* named = [NSColor colorWithCatalogName:@"System" colorName:@"controlTextColor"];
  if (named == nil || [named type] != NSColorTypeCatalog) {
    GTEST_SKIP() << "no catalogue colour controlTextColor in this AppKit";
  }
  EXPECT_EQ([named wirelumeColor], CColor::White);
}

TEST(NSColorWirelumeTest, PatternColorIsWhite) {
  const AutoReleasePool pool;
  NSImage* image = [[[NSImage alloc] initWithSize:NSMakeSize(2, 2)] autorelease];
  NSColor* pattern = image != nil ? [NSColor colorWithPatternImage:image] : nil;
  if (pattern == nil) GTEST_SKIP() << "no pattern colour can be made without a display";
  // It has no RGB components: the conversion gives nothing, a message goes
  // to the system log and the result is opaque white.
  EXPECT_EQ([pattern wirelumeColor], CColor::White);
}

}  // namespace
