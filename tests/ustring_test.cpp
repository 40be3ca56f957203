// ustring_test.cpp - the tavrin_ustring core: construction, assignment,
// conversions in and out, size and element access, comparison, hashing and
// where its storage comes from.
//
// Allocations are counted by replacing the global operator new and delete in
// this program: the string's allocation hooks are fixed functions that call
// ::operator new, so every buffer a string obtains shows up here.
#include "common/utils/ustring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "common/utils/allocator.h"
#include "common/utils/convertutf.h"
#include "tests/test_support.h"

namespace {

// Counting state of the replaced operator new. Only calls made while
// `g_counting` is set are counted; `g_fail_next` makes the next counted
// call throw std::bad_alloc as an exhausted heap would.
bool g_counting = false;
bool g_fail_next = false;
long g_allocations = 0;
std::size_t g_last_size = 0;

void* CountedNew(std::size_t n) {
  if (g_counting) {
    if (g_fail_next) {
      g_fail_next = false;
      throw std::bad_alloc();
    }
    ++g_allocations;
    g_last_size = n;
  }
  if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t n) {
  return CountedNew(n);
}
void* operator new[](std::size_t n) {
  return CountedNew(n);
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  try {
    return CountedNew(n);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return operator new(n, std::nothrow);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  std::free(p);
}

namespace {

using tavrin::utils::tavrin_ustring;
using tavrin::utils::UTF8ToUTF16;
using Units = std::u16string;

// Number of operator new calls `f` makes.
template <class F>
long CountAllocations(F f) {
  g_allocations = 0;
  g_counting = true;
  f();
  g_counting = false;
  return g_allocations;
}

// The units of `s` as a u16string of its full size (zero units included).
Units UnitsOf(const tavrin_ustring& s) {
  return Units(s.utf16_data(), s.size());
}

const unsigned short* P(const char16_t* s) {
  return reinterpret_cast<const unsigned short*>(s);
}

// --------------------------------------------------------------------------
// Construction
// --------------------------------------------------------------------------

TEST(UstringTest, DefaultIsEmptyAndTerminated) {
  tavrin_ustring s;
  EXPECT_TRUE(s.empty());
  EXPECT_EQ(s.size(), 0u);
  EXPECT_EQ(s.length(), 0u);
  ASSERT_NE(s.c_str(), nullptr);
  EXPECT_EQ(s.c_str()[0], 0);
  EXPECT_EQ(s.begin(), s.end());
  EXPECT_EQ(tavrin_ustring::npos, static_cast<tavrin_ustring::size_type>(-1));
}

TEST(UstringTest, FromUtf16Units) {
  tavrin_ustring s(P(u"h\u00E9llo"));
  EXPECT_EQ(UnitsOf(s), u"h\u00E9llo");
  EXPECT_EQ(UnitsOf(tavrin_ustring(u"abc")), u"abc");
  EXPECT_TRUE(tavrin_ustring(static_cast<const unsigned short*>(nullptr)).empty());
  EXPECT_TRUE(tavrin_ustring(static_cast<const char16_t*>(nullptr)).empty());
  // Sized: exactly n units; null gives empty whatever n is.
  EXPECT_EQ(UnitsOf(tavrin_ustring(P(u"abcdef"), 3)), u"abc");
  EXPECT_EQ(UnitsOf(tavrin_ustring(u"abcdef", 0)), u"");
  EXPECT_TRUE(tavrin_ustring(static_cast<const unsigned short*>(nullptr), 5).empty());
  EXPECT_TRUE(tavrin_ustring(static_cast<const char16_t*>(nullptr), 5).empty());
  // A lone surrogate is stored as it is.
  const unsigned short lone[] = {'a', 0xD800, 'b', 0};
  EXPECT_EQ(UnitsOf(tavrin_ustring(lone)), (Units{u'a', char16_t(0xD800), u'b'}));
}

TEST(UstringTest, SizedUnitsStopCopyingAtAZeroUnit) {
  // The traits copy with C-string semantics: units after a zero read as
  // zeros, but the length is kept.
  const unsigned short units[] = {'a', 0, 'b', 'c'};
  tavrin_ustring s(units, 4);
  EXPECT_EQ(s.size(), 4u);
  EXPECT_EQ(UnitsOf(s), (Units{u'a', 0, 0, 0}));
}

TEST(UstringTest, FromCountAndUnit) {
  EXPECT_EQ(UnitsOf(tavrin_ustring(3, 'x')), u"xxx");
  EXPECT_EQ(UnitsOf(tavrin_ustring(2, 0xD83D)), (Units{char16_t(0xD83D), char16_t(0xD83D)}));
  EXPECT_TRUE(tavrin_ustring(0UL, 'x').empty());
}

TEST(UstringTest, FromUnderlyingString) {
  tavrin_ustring::string_type units(P(u"xyz"));
  tavrin_ustring copy(units);
  EXPECT_EQ(UnitsOf(copy), u"xyz");
  EXPECT_EQ(units.size(), 3u);
  tavrin_ustring moved(std::move(units));
  EXPECT_EQ(UnitsOf(moved), u"xyz");
  EXPECT_EQ(copy.str(), moved.str());
}

TEST(UstringTest, FromUtf8) {
  tavrin_ustring s("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(UnitsOf(s), u"a\u00E9\u20AC\U0001F600");
  EXPECT_TRUE(tavrin_ustring(static_cast<const char*>(nullptr)).empty());
  EXPECT_TRUE(tavrin_ustring("").empty());
  // Sized.
  EXPECT_EQ(UnitsOf(tavrin_ustring("abcdef", 2)), u"ab");
  EXPECT_TRUE(tavrin_ustring("abc", 0).empty());
  EXPECT_TRUE(tavrin_ustring(static_cast<const char*>(nullptr), 4).empty());
  // A length that ends inside a sequence makes the whole string empty.
  EXPECT_TRUE(tavrin_ustring("a\xC3\xA9", 2).empty());
  // The three-byte encoding of a surrogate is carried as one unit.
  EXPECT_EQ(UnitsOf(tavrin_ustring("\xED\xA0\x80")), (Units{char16_t(0xD800)}));
}

TEST(UstringTest, FourByteCharacterIsTwoUnits) {
  tavrin_ustring s("\xF0\x9F\x98\x80");
  EXPECT_EQ(s.size(), 2u);
  EXPECT_EQ(s[0], 0xD83D);
  EXPECT_EQ(s[1], 0xDE00);
  EXPECT_EQ(s.size_utf8(), 4u);
}

TEST(UstringTest, InvalidUtf8GivesAnEmptyString) {
  EXPECT_TRUE(tavrin_ustring("caf\xE9").empty());           // Latin-1, not UTF-8
  EXPECT_TRUE(tavrin_ustring("caf\xC3").empty());           // ends inside a sequence
  EXPECT_TRUE(tavrin_ustring("\xC0\x80").empty());          // overlong
  EXPECT_TRUE(tavrin_ustring("ok\x80ok").empty());          // stray continuation byte
  EXPECT_TRUE(tavrin_ustring("\xF4\x90\x80\x80").empty());  // above U+10FFFF
  EXPECT_TRUE(tavrin_ustring(std::string("abc\xFF")).empty());
  // Assigning invalid UTF-8 empties a string that had text.
  tavrin_ustring s("keep");
  s = "caf\xE9";
  EXPECT_TRUE(s.empty());
  s = "text";
  s.assign_utf8("x\xE2\x82", 3);
  EXPECT_TRUE(s.empty());
}

TEST(UstringTest, StdStringConstructorKeepsZeroBytesAssignmentStops) {
  const std::string with_zero("a\0b", 3);
  tavrin_ustring constructed(with_zero);
  EXPECT_EQ(constructed.size(), 3u);
  EXPECT_EQ(constructed[0], 'a');
  EXPECT_EQ(constructed[1], 0);
  EXPECT_EQ(constructed[2], 'b');
  tavrin_ustring assigned;
  assigned = with_zero;
  EXPECT_EQ(UnitsOf(assigned), u"a");
  EXPECT_EQ(UnitsOf(tavrin_ustring(std::string("h\xC3\xA9"))), u"h\u00E9");
  EXPECT_TRUE(tavrin_ustring(std::string()).empty());
}

TEST(UstringTest, NullUtf8ConstructorIsEmptyAssignmentLeavesUnchanged) {
  EXPECT_TRUE(tavrin_ustring(static_cast<const char*>(nullptr)).empty());
  tavrin_ustring s("kept");
  s = static_cast<const char*>(nullptr);
  EXPECT_EQ(UnitsOf(s), u"kept");
  s.assign_utf8(nullptr);
  EXPECT_EQ(UnitsOf(s), u"kept");
  // The sized form with length 0 clears.
  s.assign_utf8("xyz", 0);
  EXPECT_TRUE(s.empty());
}

TEST(UstringTest, FromWide) {
  EXPECT_EQ(UnitsOf(tavrin_ustring(L"a\u00E9\U0001F600")), u"a\u00E9\U0001F600");
  EXPECT_EQ(UnitsOf(tavrin_ustring(std::wstring(L"xy"))), u"xy");
  EXPECT_TRUE(tavrin_ustring(static_cast<const wchar_t*>(nullptr)).empty());
  EXPECT_TRUE(tavrin_ustring(std::wstring()).empty());
  // Lenient: surrogate values kept, values past U+10FFFF replaced.
  std::wstring odd{L'a', static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0x110000),
                   static_cast<wchar_t>(0x7FFFFFFF)};
  EXPECT_EQ(UnitsOf(tavrin_ustring(odd)),
            (Units{u'a', char16_t(0xDC00), char16_t(0xFFFD), char16_t(0xFFFD)}));
}

TEST(UstringTest, WideAssignment) {
  tavrin_ustring s("before");
  s = std::wstring(L"\u00E9t\u00E9");
  EXPECT_EQ(UnitsOf(s), u"\u00E9t\u00E9");
  s = std::wstring();
  EXPECT_TRUE(s.empty());
  s = L"again";
  EXPECT_EQ(UnitsOf(s), u"again");
  s = static_cast<const wchar_t*>(nullptr);
  EXPECT_EQ(UnitsOf(s), u"again");
  s = L"";
  EXPECT_TRUE(s.empty());
}

TEST(UstringTest, CopyMoveAndSelfAssignment) {
  tavrin_ustring a("a long enough string to live on the heap");
  tavrin_ustring b(a);
  EXPECT_EQ(a, b);
  tavrin_ustring c(std::move(b));
  EXPECT_EQ(c, a);
  tavrin_ustring d("x");
  d = c;
  EXPECT_EQ(d, a);
  tavrin_ustring e;
  e = std::move(c);
  EXPECT_EQ(e, a);
  tavrin_ustring& self = e;
  e = self;
  EXPECT_EQ(e, a);
}

// --------------------------------------------------------------------------
// Conversions out
// --------------------------------------------------------------------------

TEST(UstringTest, Utf8Out) {
  EXPECT_EQ(tavrin_ustring().utf8(), "");
  EXPECT_EQ(tavrin_ustring().size_utf8(), 0u);
  tavrin_ustring s(u"a\u00E9\u20AC\U0001F600");
  EXPECT_EQ(s.utf8(), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(s.size_utf8(), 10u);
  // Lone surrogates are encoded by themselves, never dropped.
  const unsigned short lone[] = {0xDC00, 'x', 0xD83D, 0};
  tavrin_ustring l(lone);
  EXPECT_EQ(l.utf8(), "\xED\xB0\x80x\xED\xA0\xBD");
  EXPECT_EQ(l.size_utf8(), 7u);
  // Round trip through UTF-8.
  EXPECT_EQ(tavrin_ustring(l.utf8()), l);
}

TEST(UstringTest, Utf16Out) {
  tavrin_ustring s(u"h\u00E9\U0001F600");
  EXPECT_EQ(s.utf16(), u"h\u00E9\U0001F600");
  EXPECT_EQ(s.utf16_data(), reinterpret_cast<const char16_t*>(s.c_str()));
  EXPECT_EQ(static_cast<const void*>(s.data()), static_cast<const void*>(s.c_str()));
  EXPECT_EQ(s.c_str()[s.size()], 0);
  EXPECT_EQ(tavrin_ustring().utf16(), u"");
  // utf16() stops at the first zero unit.
  tavrin_ustring z(std::string("a\0b", 3));
  EXPECT_EQ(z.utf16(), u"a");
}

TEST(UstringTest, WideOut) {
  EXPECT_EQ(tavrin_ustring().w_str(), L"");
  EXPECT_EQ(tavrin_ustring(u"a\u00E9\U0001F600").w_str(), L"a\u00E9\U0001F600");
  const unsigned short lone[] = {0xD800, 'x', 0xDFFF, 0};
  std::wstring expected{static_cast<wchar_t>(0xD800), L'x', static_cast<wchar_t>(0xDFFF)};
  EXPECT_EQ(tavrin_ustring(lone).w_str(), expected);
  // A trailing high surrogate is carried.
  const unsigned short tail[] = {'y', 0xD83D, 0};
  EXPECT_EQ(tavrin_ustring(tail).w_str(), (std::wstring{L'y', static_cast<wchar_t>(0xD83D)}));
  // The result ends at the first zero unit.
  tavrin_ustring z(std::string("a\0b", 3));
  EXPECT_EQ(z.w_str(), L"a");
  // Wide round trip.
  tavrin_ustring s(u"\u4E2D\u6587 \U0001F30D");
  EXPECT_EQ(tavrin_ustring(s.w_str()), s);
}

// Pins LC_ALL to C.UTF-8 for the multibyte conversions.
class UstringLocaleTest : public testing::Test {
 protected:
  void SetUp() override {
    const char* current = std::setlocale(LC_ALL, nullptr);
    saved_ = current ? current : "C";
    if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) {
      GTEST_SKIP() << "the C.UTF-8 locale is not installed";
    }
  }
  void TearDown() override { std::setlocale(LC_ALL, saved_.c_str()); }

 private:
  std::string saved_;
};

TEST_F(UstringLocaleTest, MultibyteOut) {
  tavrin_ustring s(u"h\u00E9llo \u4E16\u754C \U0001F600");
  EXPECT_EQ(s.multibyte_str(), s.utf8());
  EXPECT_EQ(tavrin_ustring().multibyte_str(), "");
  // A lone surrogate cannot be represented: empty result.
  const unsigned short lone[] = {'a', 0xD800, 0};
  EXPECT_EQ(tavrin_ustring(lone).multibyte_str(), "");
}

TEST_F(UstringLocaleTest, MultibyteIn) {
  tavrin_ustring s;
  s.assign_multibyte("h\xC3\xA9llo \xF0\x9F\x98\x80");
  EXPECT_EQ(UnitsOf(s), u"h\u00E9llo \U0001F600");
  s.assign_multibyte("");
  EXPECT_TRUE(s.empty());
  // Invalid in the locale: empty string.
  s = "text";
  s.assign_multibyte("caf\xE9");
  EXPECT_TRUE(s.empty());
  // A null pointer is empty text.
  s = "text";
  s.assign_multibyte(nullptr);
  EXPECT_TRUE(s.empty());
}

TEST_F(UstringLocaleTest, WideAndMultibyteAgreeWithTheLibraryOnValidText) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const char32_t kPool[] = {U'a',          U'Z',          U' ',         U'\u00E9',
                            U'\u00DF',     U'\u0416',     U'\u4E2D',    U'\uFFFD',
                            U'\U0001F600', U'\U00010000', U'\U0010FFFD'};
  for (int n = 0; n < 500; ++n) {
    std::wstring w;
    for (int i = static_cast<int>(rng() % 20); i > 0; --i)
      w.push_back(static_cast<wchar_t>(kPool[rng() % std::size(kPool)]));
    tavrin_ustring s(w);
    ASSERT_EQ(s.w_str(), w);
    ASSERT_EQ(s.multibyte_str(), s.utf8());
    tavrin_ustring m;
    m.assign_multibyte(s.utf8().c_str());
    ASSERT_EQ(m, s);
  }
}

TEST(UstringTest, Utf8ToUtf16Helper) {
  unsigned short buf[6];
  std::fill(std::begin(buf), std::end(buf), 0xAAAA);
  EXPECT_EQ(UTF8ToUTF16("abc", buf, 3), buf);
  EXPECT_EQ(buf[0], 0);
  EXPECT_EQ(buf[1], 0);
  EXPECT_EQ(buf[2], 0);
  EXPECT_EQ(buf[3], 0xAAAA);  // only destLen units are touched
  EXPECT_EQ(UTF8ToUTF16("abc", buf, 4), buf);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(buf), 4), (Units{u'a', u'b', u'c', 0}));
  // A pair needs two units plus the terminator.
  std::fill(std::begin(buf), std::end(buf), 0xAAAA);
  UTF8ToUTF16("\xF0\x9F\x98\x80", buf, 2);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(buf), 3), (Units{0, 0, 0xAAAA}));
  UTF8ToUTF16("\xF0\x9F\x98\x80", buf, 3);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(buf), 4), (Units{0xD83D, 0xDE00, 0, 0xAAAA}));
  // Invalid UTF-8 leaves zeros.
  std::fill(std::begin(buf), std::end(buf), 0xAAAA);
  UTF8ToUTF16("ab\xFF", buf, 6);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(buf), 6), Units(6, 0));
  // Null source: zero-filled; null destination: nothing written, null back.
  std::fill(std::begin(buf), std::end(buf), 0xAAAA);
  EXPECT_EQ(UTF8ToUTF16(nullptr, buf, 6), buf);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(buf), 6), Units(6, 0));
  EXPECT_EQ(UTF8ToUTF16("abc", nullptr, 6), nullptr);
  EXPECT_EQ(UTF8ToUTF16("", buf, 1), buf);
  EXPECT_EQ(buf[0], 0);
}

// --------------------------------------------------------------------------
// Size, capacity and element access
// --------------------------------------------------------------------------

TEST(UstringTest, ResizeClearReserve) {
  tavrin_ustring s("abc");
  s.resize(5);
  EXPECT_EQ(s.size(), 5u);
  EXPECT_EQ(s[3], 0);
  EXPECT_EQ(s[4], 0);
  s.resize(2);
  EXPECT_EQ(UnitsOf(s), u"ab");
  s.reserve(100);
  EXPECT_GE(s.capacity(), 100u);
  auto cap = s.capacity();
  s.clear();
  EXPECT_TRUE(s.empty());
  EXPECT_EQ(s.capacity(), cap);  // clear keeps the capacity
  EXPECT_EQ(s.c_str()[0], 0);
}

TEST(UstringTest, ShrinkToFit) {
  tavrin_ustring s("twenty units of text");
  s.reserve(200);
  ASSERT_GE(s.capacity(), 200u);
  s.shrink_to_fit();
  EXPECT_LT(s.capacity(), 200u);
  EXPECT_GE(s.capacity(), s.size());
  EXPECT_EQ(s.utf8(), "twenty units of text");
  // Nothing happens when the capacity already fits.
  auto cap = s.capacity();
  EXPECT_EQ(CountAllocations([&] { s.shrink_to_fit(); }), 0);
  EXPECT_EQ(s.capacity(), cap);
  // A short string goes back inside the object.
  tavrin_ustring t("abc");
  t.reserve(64);
  t.shrink_to_fit();
  EXPECT_LT(t.capacity(), 64u);
  EXPECT_EQ(t.utf8(), "abc");
}

TEST(UstringTest, ElementAccess) {
  tavrin_ustring s("abc");
  EXPECT_EQ(s[0], 'a');
  EXPECT_EQ(s.at(2), 'c');
  EXPECT_EQ(s[s.size()], 0);  // the terminating zero unit
  EXPECT_THROW((void)s.at(s.size()), std::out_of_range);
  EXPECT_THROW((void)s.at(100), std::out_of_range);
  const tavrin_ustring& c = s;
  EXPECT_EQ(c[1], 'b');
  EXPECT_EQ(c.at(1), 'b');
  EXPECT_EQ(c[c.size()], 0);
  EXPECT_THROW((void)c.at(3), std::out_of_range);
  EXPECT_THROW((void)tavrin_ustring().at(0), std::out_of_range);
  s[0] = 'x';
  s.at(1) = 'y';
  EXPECT_EQ(UnitsOf(s), u"xyc");
  EXPECT_EQ(s.end() - s.begin(), 3);
  for (unsigned short& u : s) u = static_cast<unsigned short>(u + 1);
  EXPECT_EQ(UnitsOf(s), u"yzd");
}

// --------------------------------------------------------------------------
// Modification
// --------------------------------------------------------------------------

TEST(UstringTest, AppendAndPushBack) {
  tavrin_ustring s("ab");
  s += tavrin_ustring("cd");
  s += static_cast<unsigned short>('e');
  s += P(u"fg");
  s.append(P(u"h"));
  s.append(tavrin_ustring("i"));
  s.push_back('j');
  EXPECT_EQ(UnitsOf(s), u"abcdefghij");
  s += static_cast<const unsigned short*>(nullptr);
  s.append(static_cast<const unsigned short*>(nullptr));
  EXPECT_EQ(UnitsOf(s), u"abcdefghij");
  EXPECT_EQ(UnitsOf(tavrin_ustring("ab") + tavrin_ustring("\xC3\xA9")), u"ab\u00E9");
}

TEST(UstringTest, InsertEraseReplaceSubstr) {
  tavrin_ustring s("hello");
  s.insert(5, 2, '!');
  EXPECT_EQ(UnitsOf(s), u"hello!!");
  s.insert(0, tavrin_ustring(">"));
  EXPECT_EQ(UnitsOf(s), u">hello!!");
  s.erase(0, 1);
  s.erase(5);
  EXPECT_EQ(UnitsOf(s), u"hello");
  s.replace(1, 3, tavrin_ustring("ipp"));
  EXPECT_EQ(UnitsOf(s), u"hippo");
  s.replace(0, tavrin_ustring::npos, tavrin_ustring("x"));
  EXPECT_EQ(UnitsOf(s), u"x");
  tavrin_ustring t("abcdef");
  EXPECT_EQ(UnitsOf(t.substr(2, 3)), u"cde");
  EXPECT_EQ(UnitsOf(t.substr(4)), u"ef");
  EXPECT_EQ(UnitsOf(t.substr(6)), u"");
  EXPECT_EQ(UnitsOf(t.substr()), u"abcdef");
  // Positions past size() throw.
  EXPECT_THROW(t.substr(7), std::out_of_range);
  EXPECT_THROW(t.insert(7, 1, 'x'), std::out_of_range);
  EXPECT_THROW(t.erase(7, 1), std::out_of_range);
  EXPECT_THROW(t.replace(7, 1, tavrin_ustring("x")), std::out_of_range);
  EXPECT_EQ(UnitsOf(t), u"abcdef");
}

TEST(UstringTest, Swap) {
  tavrin_ustring a("short"), b("a string long enough to need the heap");
  tavrin_ustring a0 = a, b0 = b;
  a.swap(b);
  EXPECT_EQ(a, b0);
  EXPECT_EQ(b, a0);
  tavrin_ustring c("x"), d("y");
  c.swap(d);
  EXPECT_EQ(UnitsOf(c), u"y");
  EXPECT_EQ(UnitsOf(d), u"x");
  tavrin_ustring e;
  e.swap(a);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(e, b0);
  static_assert(noexcept(a.swap(b)));
}

TEST(UstringTest, SafeCopyIgnoresDestSize) {
  tavrin_ustring s("0123456789");
  unsigned short buf[12];
  std::fill(std::begin(buf), std::end(buf), 0xAAAA);
  EXPECT_EQ(s.safe_copy(buf, 2, 5), 5u);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(buf), 6),
            (Units{u'0', u'1', u'2', u'3', u'4', char16_t(0xAAAA)}));  // no terminator
  // At most size() units.
  std::fill(std::begin(buf), std::end(buf), 0xAAAA);
  tavrin_ustring t("abc");
  EXPECT_EQ(t.safe_copy(buf, 12, 12), 3u);
  EXPECT_EQ(buf[2], 'c');
  EXPECT_EQ(buf[3], 0xAAAA);
  EXPECT_EQ(t.safe_copy(buf, 12, 0), 0u);
  EXPECT_EQ(tavrin_ustring().safe_copy(buf, 12, 4), 0u);
  EXPECT_EQ(buf[0], 'a');
  // Copying stops at a zero unit and zero-fills the rest of the count.
  tavrin_ustring z(std::string("a\0b", 3));
  std::fill(std::begin(buf), std::end(buf), 0xAAAA);
  EXPECT_EQ(z.safe_copy(buf, 12, 3), 3u);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(buf), 4), (Units{u'a', 0, 0, char16_t(0xAAAA)}));
}

// --------------------------------------------------------------------------
// Comparison and hashing
// --------------------------------------------------------------------------

TEST(UstringTest, CompareRules) {
  tavrin_ustring abc("abc"), abd("abd"), ab("ab"), empty;
  EXPECT_EQ(abc.compare(abd), -1);
  EXPECT_EQ(abd.compare(abc), 1);
  EXPECT_EQ(ab.compare(abc), -1);
  EXPECT_EQ(abc.compare(ab), 1);
  EXPECT_EQ(abc.compare(tavrin_ustring("abc")), 0);
  EXPECT_EQ(empty.compare(empty), 0);
  EXPECT_EQ(empty.compare(ab), -1);
  EXPECT_EQ(ab.compare(empty), 1);
  // Code-unit order, not code-point order.
  tavrin_ustring e000("\xEE\x80\x80"), sup("\xF0\x90\x80\x80");
  EXPECT_EQ(e000.compare(sup), 1);
  EXPECT_EQ(sup.compare(e000), -1);
  EXPECT_TRUE(sup < e000);
  // Always -1, 0 or +1, even for far-apart units.
  EXPECT_EQ(tavrin_ustring(u"\uFFFF").compare(tavrin_ustring("\x01")), 1);
  EXPECT_EQ(tavrin_ustring("\x01").compare(tavrin_ustring(u"\uFFFF")), -1);
  EXPECT_TRUE(abc == tavrin_ustring("abc"));
  EXPECT_TRUE(abc != abd);
  EXPECT_TRUE(ab < abc);
  EXPECT_FALSE(abc < abc);
}

TEST(UstringTest, PositionalCompare) {
  tavrin_ustring s("hello world"), world("world"), empty;
  EXPECT_EQ(s.compare(6, 5, world), 0);
  EXPECT_EQ(s.compare(6, 100, world), 0);  // n is clipped to the end
  EXPECT_EQ(s.compare(6, 3, world), -1);   // "wor" is a prefix: less
  EXPECT_EQ(s.compare(0, 5, world), -1);
  EXPECT_EQ(s.compare(s.size(), 5, empty), 0);
  EXPECT_EQ(s.compare(s.size(), 0, world), -1);
  EXPECT_THROW((void)s.compare(s.size() + 1, 1, world), std::out_of_range);
  EXPECT_THROW((void)s.compare(s.size() + 1, 1, P(u"w"), 1), std::out_of_range);
  EXPECT_EQ(s.compare(6, 5, P(u"worlds"), 5), 0);
  EXPECT_EQ(s.compare(6, 5, P(u"worlds"), 6), -1);
  EXPECT_EQ(s.compare(0, 1, P(u"g"), 1), 1);
  EXPECT_EQ(s.compare(0, 0, nullptr, 0), 0);
}

TEST(UstringTest, EqualsUtf8Bytes) {
  tavrin_ustring s("h\xC3\xA9llo");
  EXPECT_TRUE(s == "h\xC3\xA9llo");
  EXPECT_FALSE(s != "h\xC3\xA9llo");
  EXPECT_FALSE(s == "h\xC3\xA9ll");
  EXPECT_FALSE(s == "h\xC3\xA9lloo");
  EXPECT_FALSE(s == "hello");
  EXPECT_TRUE(s != "hello");
  EXPECT_TRUE(tavrin_ustring() == "");
  // A null pointer is empty text.
  EXPECT_TRUE(tavrin_ustring() == static_cast<const char*>(nullptr));
  EXPECT_FALSE(s == static_cast<const char*>(nullptr));
  EXPECT_TRUE(s != static_cast<const char*>(nullptr));
  // Compared in UTF-8, lone surrogates included.
  const unsigned short lone[] = {0xD800, 0};
  EXPECT_TRUE(tavrin_ustring(lone) == "\xED\xA0\x80");
}

TEST(UstringTest, HashIsTheU16StringViewHash) {
  tavrin_ustring s(u"h\u00E9llo \U0001F600");
  EXPECT_EQ(s.hash(), std::hash<std::u16string_view>{}(u"h\u00E9llo \U0001F600"));
  EXPECT_EQ(std::hash<tavrin_ustring>{}(s), s.hash());
  EXPECT_EQ(tavrin_ustring().hash(), std::hash<std::u16string_view>{}(std::u16string_view()));
  EXPECT_EQ(tavrin_ustring("abc").hash(), tavrin_ustring(u"abc").hash());
  // The whole size counts, zero units included.
  tavrin_ustring z(std::string("a\0b", 3));
  EXPECT_EQ(z.hash(), std::hash<std::u16string_view>{}(std::u16string_view(u"a\0b", 3)));
  std::unordered_set<tavrin_ustring> set{tavrin_ustring("a"), tavrin_ustring("b"),
                                         tavrin_ustring("a")};
  EXPECT_EQ(set.size(), 2u);
  EXPECT_EQ(set.count(tavrin_ustring(u"b")), 1u);
}

TEST(UstringTest, TraitsAreCStringFunctions) {
  using Traits = tavrin::utils::ustring_traits;
  EXPECT_EQ(Traits::length(nullptr), 0u);
  EXPECT_EQ(Traits::length(P(u"abc")), 3u);
  unsigned short d[4] = {9, 9, 9, 9};
  const unsigned short s[4] = {'a', 0, 'b', 'c'};
  Traits::copy(d, s, 4);
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(d), 4), (Units{u'a', 0, 0, 0}));
  EXPECT_EQ(Traits::compare(P(u"ab\0x"), P(u"ab\0y"), 4), 0);
  EXPECT_EQ(Traits::find(s, 4, 'c'), s + 3);
  EXPECT_EQ(Traits::find(s, 4, 'z'), nullptr);
  Traits::assign(d, 3, 'q');
  EXPECT_EQ(Units(reinterpret_cast<char16_t*>(d), 4), (Units{u'q', u'q', u'q', 0}));
}

// --------------------------------------------------------------------------
// Storage: the allocation hooks, one allocation per conversion, none for
// short strings.
// --------------------------------------------------------------------------

TEST(UstringTest, AllocationHooksUseTheGlobalOperatorNew) {
  void* p = nullptr;
  EXPECT_EQ(CountAllocations([&] { p = tavrin_utils_allocate(24); }), 1);
  EXPECT_EQ(g_last_size, 24u);
  ASSERT_NE(p, nullptr);
  tavrin_utils_deallocate(p);
  tavrin_utils_deallocate(nullptr);
  tavrin::utils::allocator<unsigned short> alloc;
  unsigned short* q = nullptr;
  EXPECT_EQ(CountAllocations([&] { q = alloc.allocate(5); }), 1);
  EXPECT_EQ(g_last_size, 10u);
  alloc.deallocate(q, 5);
  EXPECT_TRUE(alloc == tavrin::utils::allocator<char>());
}

TEST(UstringTest, ExhaustionThrowsBadAlloc) {
  const std::string text(100, 'x');
  g_fail_next = true;
  EXPECT_THROW(CountAllocations([] { (void)tavrin_utils_allocate(16); }), std::bad_alloc);
  g_counting = false;
  g_fail_next = true;
  EXPECT_THROW(CountAllocations([&] { tavrin_ustring s(text); }), std::bad_alloc);
  g_counting = false;
  g_fail_next = false;
  // Afterwards the same conversion works.
  EXPECT_EQ(tavrin_ustring(text).size(), 100u);
}

TEST(UstringTest, LongUtf8ConversionAllocatesOnce) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "h\xC3\xA9llo w\xC3\xB6rld \xE2\x82\xAC \xF0\x9F\x98\x80 ";
  std::optional<tavrin_ustring> s;
  EXPECT_EQ(CountAllocations([&] { s.emplace(text.c_str()); }), 1);
  EXPECT_EQ(s->utf8(), text);
  // The storage is sized exactly from the measure (plus the terminator).
  EXPECT_EQ(g_last_size, (s->size() + 1) * sizeof(unsigned short));
  EXPECT_EQ(CountAllocations([&] { s.emplace(text); }), 1);
  tavrin_ustring t("short");
  EXPECT_EQ(CountAllocations([&] { t = text.c_str(); }), 1);
  EXPECT_EQ(t, *s);
  EXPECT_EQ(CountAllocations([&] { t.assign_utf8(text.data(), text.size()); }), 0)
      << "the existing capacity is reused";
  // Invalid input allocates nothing.
  std::string bad = text + "\xFF";
  tavrin_ustring u;
  EXPECT_EQ(CountAllocations([&] { u = bad.c_str(); }), 0);
  EXPECT_TRUE(u.empty());
}

TEST(UstringTest, ConversionsOutAllocateOnce) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "abc \xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80 ";
  tavrin_ustring s(text);
  std::string out8;
  EXPECT_EQ(CountAllocations([&] { out8 = s.utf8(); }), 1);
  EXPECT_EQ(out8, text);
  std::wstring wide;
  EXPECT_EQ(CountAllocations([&] { wide = s.w_str(); }), 1);
  tavrin_ustring back;
  EXPECT_EQ(CountAllocations([&] { back = wide; }), 1);
  EXPECT_EQ(back, s);
  EXPECT_EQ(CountAllocations([&] { (void)s.size_utf8(); }), 0);
  EXPECT_EQ(CountAllocations([&] { (void)s.compare(back); }), 0);
  EXPECT_EQ(CountAllocations([&] { (void)s.hash(); }), 0);
}

// Long texts are converted out through a small buffer, piece by piece: the
// pieces must join exactly, whatever unit lies at a piece edge.
TEST(UstringTest, LongConversionsOutJoinTheirPiecesExactly) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const unsigned short fill[] = {u'a', 0xE9, 0x4E2D, 0x7FF, u' ', 0xFFFF};
  for (std::size_t length : {2047u, 2048u, 2049u, 2050u, 4095u, 4096u, 4097u, 10000u}) {
    for (int variant = 0; variant < 6; ++variant) {
      std::vector<unsigned short> units(length);
      for (auto& u : units) u = fill[rng() % std::size(fill)];
      // Pairs, lone surrogates and a zero unit around the piece edges.
      for (std::size_t edge = 2046; edge + 1 < length; edge += 2048) {
        switch (variant) {
          case 0:  // a pair across the edge
            units[edge + 1] = 0xD83D;
            if (edge + 2 < length) units[edge + 2] = 0xDE00;
            break;
          case 1:  // a pair just before it
            units[edge] = 0xD83D;
            units[edge + 1] = 0xDE00;
            break;
          case 2:  // a lone high surrogate last in a piece
            units[edge + 1] = 0xDBFF;
            break;
          case 3:  // a lone low surrogate first in a piece
            if (edge + 2 < length) units[edge + 2] = 0xDC00;
            break;
          case 4:  // random surrogates anywhere
            for (int k = 0; k < 20; ++k)
              units[rng() % length] = static_cast<unsigned short>(0xD800 + rng() % 0x800);
            break;
          default:  // a zero unit: the wide result ends there
            units[edge + 1] = 0;
        }
      }
      SCOPED_TRACE(testing::Message() << "length " << length << ", variant " << variant);
      const tavrin_ustring s(tavrin_ustring::string_type(units.begin(), units.end()));
      ASSERT_EQ(s.size(), length);
      // References: one converter call over the whole text.
      std::string expected8(3 * length, '\0');
      const UTF16* src = units.data();
      UTF8* dst8 = reinterpret_cast<UTF8*>(expected8.data());
      ConvertUTF16toUTF8(&src, units.data() + length, &dst8, dst8 + expected8.size(),
                         lenientConversion);
      expected8.resize(static_cast<std::size_t>(reinterpret_cast<char*>(dst8) - expected8.data()));
      std::wstring expected32(length, L'\0');
      src = units.data();
      UTF32* dst32 = reinterpret_cast<UTF32*>(expected32.data());
      ConvertUTF16toUTF32(&src, units.data() + length, &dst32, dst32 + length, lenientConversion);
      expected32.resize(
          static_cast<std::size_t>(dst32 - reinterpret_cast<UTF32*>(expected32.data())));
      expected32.resize(std::wcslen(expected32.c_str()));
      std::string out8;
      EXPECT_EQ(CountAllocations([&] { out8 = s.utf8(); }), 1);
      EXPECT_EQ(out8, expected8);
      std::wstring out32;
      EXPECT_LE(CountAllocations([&] { out32 = s.w_str(); }), 1);
      EXPECT_EQ(out32, expected32);
    }
  }
}

// Long UTF-8 is converted in through a small buffer too: sequences of every
// length must survive a piece edge at any of their bytes.
TEST(UstringTest, LongConversionsInJoinTheirPiecesExactly) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  // ASCII, two, three and four bytes, an encoded surrogate half (taken by
  // the lenient conversion) and U+FFFF.
  const char* pieces[] = {
      "a", "\xC3\xA9", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "\xED\xA0\x80", "\xEF\xBF\xBF", " "};
  for (std::size_t target : {2047u, 2048u, 2049u, 4096u, 9000u}) {
    for (int shift = 0; shift < 4; ++shift) {
      std::string text(static_cast<std::size_t>(shift), 'x');
      while (text.size() < target) text += pieces[rng() % std::size(pieces)];
      SCOPED_TRACE(testing::Message() << "bytes " << text.size() << ", shift " << shift);
      const UTF8* begin = reinterpret_cast<const UTF8*>(text.data());
      const int n = SizeNeededForUTF16(begin, begin + text.size(), lenientConversion);
      ASSERT_GT(n, 0);
      std::vector<UTF16> expected(static_cast<std::size_t>(n));
      const UTF8* src = begin;
      UTF16* dst = expected.data();
      ASSERT_EQ(ConvertUTF8toUTF16(&src, begin + text.size(), &dst, dst + n, lenientConversion),
                conversionOK);
      tavrin_ustring s;
      s.assign_utf8(text.data(), text.size());
      ASSERT_EQ(s.size(), expected.size());
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), s.data()));
    }
  }
}

TEST(UstringTest, ShortStringsDoNotAllocate) {
  const char* const kUpTo7[] = {"",
                                "a",
                                "abcdefg",
                                "\xC3\xA9\xC3\xA9\xC3\xA9",
                                "\xE4\xB8\xAD\xE6\x96\x87xyz",
                                "a\xF0\x9F\x98\x80\xF0\x9F\x98\x80xy"};
  for (const char* text : kUpTo7) {
    SCOPED_TRACE(text);
    std::optional<tavrin_ustring> s;
    EXPECT_EQ(CountAllocations([&] { s.emplace(text); }), 0);
    EXPECT_LE(s->size(), 7u);
    EXPECT_GE(s->capacity(), s->size());
    tavrin_ustring copy;
    EXPECT_EQ(CountAllocations([&] { copy = *s; }), 0);
    EXPECT_EQ(CountAllocations([&] { tavrin_ustring moved(std::move(copy)); }), 0);
  }
  tavrin_ustring w;
  const std::wstring wide(L"seven!!");
  EXPECT_EQ(CountAllocations([&] { w = wide; }), 0);
  EXPECT_EQ(w.size(), 7u);
  EXPECT_EQ(CountAllocations([&] { tavrin_ustring(u"1234567"); }), 0);
  EXPECT_EQ(CountAllocations([&] { tavrin_ustring(7, 'x'); }), 0);
}

}  // namespace

#include "common/utils/tavrinassert.h"

namespace {

class AssertCounter : public tavrin::utils::IAssertLogger {
 public:
  void LogAssertion(const char* utf8) override { messages.push_back(utf8); }
  std::vector<std::string> messages;
};

// safe_copy never consults destSize for what it writes; debug builds report a
// count beyond it through the assertion hook, release builds stay silent.
TEST(UstringSafeCopyTest, DebugBuildsReportCountBeyondDestSize) {
  AssertCounter hook;
  tavrin::utils::SetLoggerHook(&hook);
  tavrin::utils::tavrin_ustring s("abcdefghij");
  unsigned short buf[8] = {};
  EXPECT_EQ(s.safe_copy(buf, 2, 5), 5u);
  EXPECT_EQ(buf[4], 'e');
  EXPECT_EQ(s.safe_copy(buf, 8, 3), 3u);
  tavrin::utils::SetLoggerHook(nullptr);
#ifndef NDEBUG
  ASSERT_EQ(hook.messages.size(), 1u);
  EXPECT_NE(hook.messages[0].find("safe_copy"), std::string::npos);
#else
  EXPECT_TRUE(hook.messages.empty());
#endif
}

}  // namespace
