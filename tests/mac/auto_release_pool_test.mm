// Tests of AutoReleasePool on Foundation: objects autoreleased inside the
// scope are released when it ends, nested scopes drain innermost first.
#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include <vector>

#include "common/utils/auto_release_pool.h"

// Records the order in which probes are deallocated.
static std::vector<int>* g_released = nullptr;

@interface TavrinPoolProbe : NSObject {
  int _tag;
}
- (id)initWithTag:(int)tag;
@end

@implementation TavrinPoolProbe
- (id)initWithTag:(int)tag {
  if ((self = [super init])) _tag = tag;
  return self;
}
- (void)dealloc {
  if (g_released != nullptr) g_released->push_back(_tag);
  [super dealloc];
}
@end

namespace {

class AutoReleasePoolTest : public testing::Test {
 protected:
  void SetUp() override { g_released = &released_; }
  void TearDown() override { g_released = nullptr; }
  std::vector<int> released_;
};

TEST_F(AutoReleasePoolTest, ReleasesAutoreleasedObjectsAtScopeEnd) {
  {
    const AutoReleasePool pool;
    [[[TavrinPoolProbe alloc] initWithTag:1] autorelease];
    [[[TavrinPoolProbe alloc] initWithTag:2] autorelease];
    EXPECT_TRUE(released_.empty());
  }
  EXPECT_EQ(released_.size(), 2u);
}

TEST_F(AutoReleasePoolTest, NestedScopesDrainInnermostFirst) {
  {
    const AutoReleasePool outer;
    [[[TavrinPoolProbe alloc] initWithTag:1] autorelease];
    {
      const AutoReleasePool inner;
      [[[TavrinPoolProbe alloc] initWithTag:2] autorelease];
    }
    EXPECT_EQ(released_, std::vector<int>{2});
  }
  EXPECT_EQ(released_, (std::vector<int>{2, 1}));
}

TEST_F(AutoReleasePoolTest, RetainedObjectOutlivesThePool) {
  TavrinPoolProbe* kept = nil;
  {
    const AutoReleasePool pool;
    kept = [[[[TavrinPoolProbe alloc] initWithTag:7] autorelease] retain];
  }
  EXPECT_TRUE(released_.empty());
  [kept release];
  EXPECT_EQ(released_, std::vector<int>{7});
}

TEST_F(AutoReleasePoolTest, ObjectsOutsideAnyScopeAreUntouched) {
  TavrinPoolProbe* plain = [[TavrinPoolProbe alloc] initWithTag:3];
  { const AutoReleasePool pool; }
  EXPECT_TRUE(released_.empty());
  [plain release];
  EXPECT_EQ(released_, std::vector<int>{3});
}

}  // namespace
