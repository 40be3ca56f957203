// Tests of the StringTrimming category on NSString.
#import "common/utils/mac/NSString-additions.h"

#include <gtest/gtest.h>

#include <string>

#include "common/utils/auto_release_pool.h"

namespace {

std::u16string Units(NSString* s) {
  std::u16string out([s length], u'\0');
  if (!out.empty()) {
    [s getCharacters:reinterpret_cast<unichar*>(out.data()) range:NSMakeRange(0, [s length])];
  }
  return out;
}

NSString* FromUnits(const std::u16string& units) {
  return [NSString stringWithCharacters:reinterpret_cast<const unichar*>(units.data())
                                 length:units.size()];
}

std::u16string Trim(const std::u16string& text) {
  return Units([FromUnits(text) stringByTrimmingWhitspace]);
}

TEST(NSStringAdditionsTest, TrimsTheFourCharactersAtBothEnds) {
  const AutoReleasePool pool;
  EXPECT_EQ(Trim(u" \t a \r\n"), u"a");
  EXPECT_EQ(Trim(u"\r\n\t  word"), u"word");
  EXPECT_EQ(Trim(u"word \t"), u"word");
  EXPECT_EQ(Trim(u"none"), u"none");
}

TEST(NSStringAdditionsTest, KeepsInnerWhitespace) {
  const AutoReleasePool pool;
  EXPECT_EQ(Trim(u"  two  words\there  "), u"two  words\there");
}

TEST(NSStringAdditionsTest, KeepsOtherWhitespaceCharacters) {
  const AutoReleasePool pool;
  // Only space, tab, line feed and carriage return are trimmed.
  EXPECT_EQ(Trim(u"\u00a0a\u00a0"), u"\u00a0a\u00a0");
  EXPECT_EQ(Trim(u" \u00a0a\u00a0 "), u"\u00a0a\u00a0");
  EXPECT_EQ(Trim(u"\va\f"), u"\va\f");
  EXPECT_EQ(Trim(u"\u2003a\u3000"), u"\u2003a\u3000");
  EXPECT_EQ(Trim(u"\u2028x\u0085"), u"\u2028x\u0085");
}

TEST(NSStringAdditionsTest, WhitespaceOnlyAndEmptyGiveEmpty) {
  const AutoReleasePool pool;
  EXPECT_EQ(Trim(u" \t\r\n \n"), u"");
  EXPECT_EQ(Trim(u""), u"");
}

}  // namespace
