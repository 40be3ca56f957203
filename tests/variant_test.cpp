// variant_test.cpp - tests of Variant and VariantCastError.
#include "common/utils/variant.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "tests/test_support.h"

namespace tavrin::utils {
namespace {

using List = Variant::List;
using Map = Variant::Map;
using Pairs = Variant::Pairs;

const tavrin_ustring& Text(const Variant& v) {
  return v;
}
const List& AsList(const Variant& v) {
  return v;
}
const Map& AsMap(const Variant& v) {
  return v;
}
const Pairs& AsPairs(const Variant& v) {
  return v;
}

// The message of the VariantCastError that `read` throws, or "<none>".
template <class F>
std::string CastMessage(F read) {
  try {
    read();
  } catch (const VariantCastError& e) {
    return e.what();
  }
  return "<none>";
}

// Holds one reference of a RefCountedString for the life of a test.
class SharedText {
 public:
  explicit SharedText(const char* text) : s_(RefCountedString::Create(tavrin_ustring(text))) {}
  ~SharedText() { s_->Release(); }
  SharedText(const SharedText&) = delete;
  SharedText& operator=(const SharedText&) = delete;
  RefCountedString* get() const { return s_; }
  unsigned long long count() const { return s_->GetRefCount(); }

 private:
  RefCountedString* s_;
};

// --- Tags -------------------------------------------------------------------

TEST(VariantTest, ConstructorsGiveTheirTags) {
  EXPECT_EQ(Variant().GetType(), 0u);
  EXPECT_EQ(Variant(true).GetType(), 1u);
  EXPECT_EQ(Variant(static_cast<signed char>(-1)).GetType(), 2u);
  EXPECT_EQ(Variant(static_cast<unsigned char>(1)).GetType(), 2u);
  EXPECT_EQ(Variant(static_cast<short>(1)).GetType(), 3u);
  EXPECT_EQ(Variant(static_cast<unsigned short>(1)).GetType(), 3u);
  EXPECT_EQ(Variant(1).GetType(), 4u);
  EXPECT_EQ(Variant(1u).GetType(), 4u);
  EXPECT_EQ(Variant(1L).GetType(), 5u);
  EXPECT_EQ(Variant(1UL).GetType(), 5u);
  EXPECT_EQ(Variant(1LL).GetType(), 5u);
  EXPECT_EQ(Variant(1ULL).GetType(), 5u);
  EXPECT_EQ(Variant(1.0f).GetType(), 6u);
  EXPECT_EQ(Variant(1.0).GetType(), 7u);
  EXPECT_EQ(Variant("abc").GetType(), 8u);
  EXPECT_EQ(Variant(tavrin_ustring("abc")).GetType(), 8u);
  EXPECT_EQ(Variant(CColor(1, 2, 3, 4)).GetType(), 4u);
  EXPECT_EQ(Variant(Time(5)).GetType(), 9u);
  EXPECT_EQ(Variant(List{}).GetType(), 10u);
  EXPECT_EQ(Variant(Map{}).GetType(), 11u);
  EXPECT_EQ(Variant(Pairs{}).GetType(), 12u);
  EXPECT_EQ(Variant(Variant(2.5)).GetType(), 7u);
  EXPECT_EQ(Variant(Variant()).GetType(), 0u);
}

TEST(VariantTest, SetAndAssignmentChangeTheTag) {
  Variant v;
  v.Set(3);
  EXPECT_EQ(v.GetType(), 4u);
  v.Set(tavrin_ustring("x"));
  EXPECT_EQ(v.GetType(), 8u);
  v.Set(List{Variant(1)});
  EXPECT_EQ(v.GetType(), 10u);
  v.Set(2.0f);
  EXPECT_EQ(v.GetType(), 6u);
  v = Map{{tavrin_ustring("k"), Variant(1)}};
  EXPECT_EQ(v.GetType(), 11u);
  v = static_cast<short>(7);
  EXPECT_EQ(v.GetType(), 3u);
  v = "text";
  EXPECT_EQ(v.GetType(), 8u);
  EXPECT_EQ(Text(v), tavrin_ustring("text"));
  v = Pairs{};
  EXPECT_EQ(v.GetType(), 12u);
  v = Time(9);
  EXPECT_EQ(v.GetType(), 9u);
  v = false;
  EXPECT_EQ(v.GetType(), 1u);
  v = Variant();
  EXPECT_EQ(v.GetType(), 0u);
  v = CColor(0, 0, 0, 0);
  EXPECT_EQ(v.GetType(), 4u);
  v.Set(9UL);
  EXPECT_EQ(v.GetType(), 5u);
  Variant& self = (v = 1.5);
  EXPECT_EQ(&self, &v);
}

TEST(VariantTest, UnsignedValuesKeepOnlyTheirWidth) {
  // Signedness is not stored: the same bits compare equal.
  EXPECT_TRUE(Variant(static_cast<unsigned char>(200)) == Variant(static_cast<signed char>(-56)));
  EXPECT_TRUE(Variant(static_cast<unsigned short>(65535)) == Variant(static_cast<short>(-1)));
  EXPECT_TRUE(Variant(4000000000u) == Variant(-294967296));
  EXPECT_TRUE(Variant(1ULL << 63) == Variant(LLONG_MIN));
  EXPECT_TRUE(Variant(5L) == Variant(5LL));
}

// --- Saturating integer reads ---------------------------------------------

struct IntegerReads {
  signed char sc;
  unsigned char uc;
  short s;
  unsigned short us;
  int i;
  unsigned int u;
  long l;
  unsigned long ul;
  long long ll;
  unsigned long long ull;
};

void ExpectReads(const Variant& v, const IntegerReads& e) {
  EXPECT_EQ(static_cast<signed char>(v), e.sc);
  EXPECT_EQ(static_cast<unsigned char>(v), e.uc);
  EXPECT_EQ(static_cast<short>(v), e.s);
  EXPECT_EQ(static_cast<unsigned short>(v), e.us);
  EXPECT_EQ(static_cast<int>(v), e.i);
  EXPECT_EQ(static_cast<unsigned int>(v), e.u);
  EXPECT_EQ(static_cast<long>(v), e.l);
  EXPECT_EQ(static_cast<unsigned long>(v), e.ul);
  EXPECT_EQ(static_cast<long long>(v), e.ll);
  EXPECT_EQ(static_cast<unsigned long long>(v), e.ull);
}

constexpr long long kLLMax = LLONG_MAX;
constexpr long long kLLMin = LLONG_MIN;
constexpr unsigned long long kULLMax = ULLONG_MAX;

TEST(VariantTest, IntegerSourcesSaturateToEveryType) {
  struct Row {
    const char* name;
    Variant v;
    IntegerReads e;
  };
  const Row rows[] = {
      {"zero", Variant(0), {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"schar -128",
       Variant(static_cast<signed char>(-128)),
       {-128, 0, -128, 0, -128, 0, -128, 0, -128, 0}},
      {"schar 127",
       Variant(static_cast<signed char>(127)),
       {127, 127, 127, 127, 127, 127, 127, 127, 127, 127}},
      {"uchar 200 is -56",
       Variant(static_cast<unsigned char>(200)),
       {-56, 0, -56, 0, -56, 0, -56, 0, -56, 0}},
      {"short -5", Variant(static_cast<short>(-5)), {-5, 0, -5, 0, -5, 0, -5, 0, -5, 0}},
      {"short 32767",
       Variant(static_cast<short>(32767)),
       {127, 255, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767}},
      {"ushort 65535 is -1",
       Variant(static_cast<unsigned short>(65535)),
       {-1, 0, -1, 0, -1, 0, -1, 0, -1, 0}},
      {"ushort 40000 is -25536",
       Variant(static_cast<unsigned short>(40000)),
       {-128, 0, -25536, 0, -25536, 0, -25536, 0, -25536, 0}},
      {"int 300", Variant(300), {127, 255, 300, 300, 300, 300, 300, 300, 300, 300}},
      {"int -300", Variant(-300), {-128, 0, -300, 0, -300, 0, -300, 0, -300, 0}},
      {"int 70000",
       Variant(70000),
       {127, 255, 32767, 65535, 70000, 70000, 70000, 70000, 70000, 70000}},
      {"int max",
       Variant(INT_MAX),
       {127, 255, 32767, 65535, INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX}},
      {"int min", Variant(INT_MIN), {-128, 0, -32768, 0, INT_MIN, 0, INT_MIN, 0, INT_MIN, 0}},
      {"uint 4e9 is negative",
       Variant(4000000000u),
       {-128, 0, -32768, 0, -294967296, 0, -294967296, 0, -294967296, 0}},
      {"uint 255", Variant(255u), {127, 255, 255, 255, 255, 255, 255, 255, 255, 255}},
      {"long long 5e9",
       Variant(5000000000LL),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, 5000000000L, 5000000000UL, 5000000000LL,
        5000000000ULL}},
      {"long long -5e9",
       Variant(-5000000000LL),
       {-128, 0, -32768, 0, INT_MIN, 0, -5000000000L, 0, -5000000000LL, 0}},
      {"long long max",
       Variant(kLLMax),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, LONG_MAX, static_cast<unsigned long>(LONG_MAX),
        kLLMax, static_cast<unsigned long long>(kLLMax)}},
      {"long long min", Variant(kLLMin), {-128, 0, -32768, 0, INT_MIN, 0, LONG_MIN, 0, kLLMin, 0}},
      {"ulonglong 2^63 is min",
       Variant(1ULL << 63),
       {-128, 0, -32768, 0, INT_MIN, 0, LONG_MIN, 0, kLLMin, 0}},
      {"ulonglong max is -1", Variant(kULLMax), {-1, 0, -1, 0, -1, 0, -1, 0, -1, 0}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectReads(row.v, row.e);
  }
}

TEST(VariantTest, FloatingSourcesTruncateAndSaturate) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  struct Row {
    const char* name;
    Variant v;
    IntegerReads e;
  };
  const Row rows[] = {
      {"1e10",
       Variant(1e10),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, 10000000000L, 10000000000UL, 10000000000LL,
        10000000000ULL}},
      {"-3.7", Variant(-3.7), {-3, 0, -3, 0, -3, 0, -3, 0, -3, 0}},
      {"3.7", Variant(3.7), {3, 3, 3, 3, 3, 3, 3, 3, 3, 3}},
      {"-0.5", Variant(-0.5), {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"-0.0", Variant(-0.0), {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"1e300",
       Variant(1e300),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, LONG_MAX, ULONG_MAX, kLLMax, kULLMax}},
      {"-1e300", Variant(-1e300), {-128, 0, -32768, 0, INT_MIN, 0, LONG_MIN, 0, kLLMin, 0}},
      {"inf",
       Variant(inf),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, LONG_MAX, ULONG_MAX, kLLMax, kULLMax}},
      {"-inf", Variant(-inf), {-128, 0, -32768, 0, INT_MIN, 0, LONG_MIN, 0, kLLMin, 0}},
      {"nan", Variant(nan), {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"float nan",
       Variant(std::numeric_limits<float>::quiet_NaN()),
       {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"float -1", Variant(-1.0f), {-1, 0, -1, 0, -1, 0, -1, 0, -1, 0}},
      {"float 3e9",
       Variant(3e9f),
       {127, 255, 32767, 65535, INT_MAX, 3000000000u, 3000000000L, 3000000000UL, 3000000000LL,
        3000000000ULL}},
      {"float 1e30",
       Variant(1e30f),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, LONG_MAX, ULONG_MAX, kLLMax, kULLMax}},
      // Edges of the 8-bit range.
      {"127.9", Variant(127.9), {127, 127, 127, 127, 127, 127, 127, 127, 127, 127}},
      {"128.0", Variant(128.0), {127, 128, 128, 128, 128, 128, 128, 128, 128, 128}},
      {"255.9", Variant(255.9), {127, 255, 255, 255, 255, 255, 255, 255, 255, 255}},
      {"256.0", Variant(256.0), {127, 255, 256, 256, 256, 256, 256, 256, 256, 256}},
      {"-128.0", Variant(-128.0), {-128, 0, -128, 0, -128, 0, -128, 0, -128, 0}},
      {"-128.9", Variant(-128.9), {-128, 0, -128, 0, -128, 0, -128, 0, -128, 0}},
      {"-129.0", Variant(-129.0), {-128, 0, -129, 0, -129, 0, -129, 0, -129, 0}},
      // Edges of the 32-bit range.
      {"2147483647.5",
       Variant(2147483647.5),
       {127, 255, 32767, 65535, INT_MAX, 2147483647u, 2147483647L, 2147483647UL, 2147483647LL,
        2147483647ULL}},
      {"2^31",
       Variant(2147483648.0),
       {127, 255, 32767, 65535, INT_MAX, 2147483648u, 2147483648L, 2147483648UL, 2147483648LL,
        2147483648ULL}},
      {"-2147483648.5",
       Variant(-2147483648.5),
       {-128, 0, -32768, 0, INT_MIN, 0, -2147483648L, 0, -2147483648LL, 0}},
      {"4294967295.9",
       Variant(4294967295.9),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, 4294967295L, 4294967295UL, 4294967295LL,
        4294967295ULL}},
      {"2^32",
       Variant(4294967296.0),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, 4294967296L, 4294967296UL, 4294967296LL,
        4294967296ULL}},
      // Edges of the 64-bit range.
      {"2^63",
       Variant(9223372036854775808.0),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, LONG_MAX, 9223372036854775808UL, kLLMax,
        9223372036854775808ULL}},
      {"largest double below 2^64",
       Variant(18446744073709549568.0),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, LONG_MAX, 18446744073709549568UL, kLLMax,
        18446744073709549568ULL}},
      {"2^64",
       Variant(18446744073709551616.0),
       {127, 255, 32767, 65535, INT_MAX, UINT_MAX, LONG_MAX, ULONG_MAX, kLLMax, kULLMax}},
      {"-2^63",
       Variant(-9223372036854775808.0),
       {-128, 0, -32768, 0, INT_MIN, 0, LONG_MIN, 0, kLLMin, 0}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectReads(row.v, row.e);
  }
}

TEST(VariantTest, NonNumbersReadAsZero) {
  const IntegerReads zero{0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Variant values[] = {Variant(),
                            Variant(true),
                            Variant("123"),
                            Variant(Time(77)),
                            Variant(List{Variant(5)}),
                            Variant(Map{{tavrin_ustring("a"), Variant(5)}}),
                            Variant(Pairs{{tavrin_ustring("a"), Variant(5)}})};
  for (const Variant& v : values) {
    SCOPED_TRACE(v.GetType());
    ExpectReads(v, zero);
    EXPECT_EQ(static_cast<float>(v), 0.0f);
    EXPECT_EQ(static_cast<double>(v), 0.0);
  }
}

// Reference for the differential check: clamp in a 128-bit integer or in
// long double after truncation, both of which hold every value involved.
__extension__ typedef __int128 Int128;

template <class T>
T ReferenceFromInteger(Int128 stored) {
  if (stored < static_cast<Int128>(std::numeric_limits<T>::min())) {
    return std::numeric_limits<T>::min();
  }
  if (stored > static_cast<Int128>(std::numeric_limits<T>::max())) {
    return std::numeric_limits<T>::max();
  }
  return static_cast<T>(stored);
}

template <class T>
T ReferenceFromReal(long double x) {
  if (std::isnan(x)) return 0;
  const long double t = std::trunc(x);
  if (t <= static_cast<long double>(std::numeric_limits<T>::min())) {
    return std::numeric_limits<T>::min();
  }
  if (t >= static_cast<long double>(std::numeric_limits<T>::max())) {
    return std::numeric_limits<T>::max();
  }
  return static_cast<T>(t);
}

template <class T>
void ExpectIntegerAgainstReference(const Variant& v, Int128 stored) {
  EXPECT_EQ(v.AsInteger<T>(), ReferenceFromInteger<T>(stored)) << typeid(T).name();
}

template <class T>
void ExpectRealAgainstReference(const Variant& v, long double x) {
  EXPECT_EQ(v.AsInteger<T>(), ReferenceFromReal<T>(x)) << typeid(T).name();
}

template <class F>
void ForEachIntegerType(F f) {
  f(static_cast<signed char>(0));
  f(static_cast<unsigned char>(0));
  f(static_cast<short>(0));
  f(static_cast<unsigned short>(0));
  f(0);
  f(0u);
  f(0L);
  f(0UL);
  f(0LL);
  f(0ULL);
}

TEST(VariantTest, RandomIntegerReadsMatchReference) {
  const std::uint32_t seed = test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937_64 rng(seed);
  for (int n = 0; n < 4000; ++n) {
    const std::uint64_t bits = rng() >> (rng() % 64);
    const int width = 8 << (n % 4);  // 8, 16, 32, 64
    Variant v;
    Int128 stored = 0;
    switch (width) {
      case 8:
        v = static_cast<unsigned char>(bits);
        stored = static_cast<Int128>(bits & 0xFF) - ((bits & 0x80) ? 0x100 : 0);
        break;
      case 16:
        v = static_cast<unsigned short>(bits);
        stored = static_cast<Int128>(bits & 0xFFFF) - ((bits & 0x8000) ? 0x10000 : 0);
        break;
      case 32:
        v = static_cast<unsigned int>(bits);
        stored = static_cast<Int128>(bits & 0xFFFFFFFFULL) -
                 ((bits & 0x80000000ULL) ? static_cast<Int128>(0x100000000ULL) : 0);
        break;
      default:
        v = static_cast<unsigned long long>(bits);
        stored = static_cast<Int128>(bits) -
                 ((bits >> 63) ? (static_cast<Int128>(1) << 64) : static_cast<Int128>(0));
        break;
    }
    SCOPED_TRACE(::testing::Message() << "width " << width << " bits " << bits);
    ForEachIntegerType([&](auto t) { ExpectIntegerAgainstReference<decltype(t)>(v, stored); });
    EXPECT_EQ(static_cast<double>(v), static_cast<double>(static_cast<long long>(stored)));
    if (HasFailure()) break;
  }
}

TEST(VariantTest, RandomRealReadsMatchReference) {
  const std::uint32_t seed = test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> mantissa(-2.0, 2.0);
  for (int n = 0; n < 4000; ++n) {
    const double x = std::ldexp(mantissa(rng), static_cast<int>(rng() % 70));
    SCOPED_TRACE(::testing::Message() << "x " << x);
    const Variant d(x);
    ForEachIntegerType([&](auto t) { ExpectRealAgainstReference<decltype(t)>(d, x); });
    const float f = static_cast<float>(x);
    const Variant fv(f);
    ForEachIntegerType([&](auto t) { ExpectRealAgainstReference<decltype(t)>(fv, f); });
    if (HasFailure()) break;
  }
}

// --- Boolean and floating reads ---------------------------------------------

TEST(VariantTest, BoolReadsNonZeroNumbersOnly) {
  EXPECT_TRUE(static_cast<bool>(Variant(true)));
  EXPECT_FALSE(static_cast<bool>(Variant(false)));
  EXPECT_TRUE(static_cast<bool>(Variant(static_cast<unsigned char>(200))));
  EXPECT_FALSE(static_cast<bool>(Variant(static_cast<signed char>(0))));
  EXPECT_TRUE(static_cast<bool>(Variant(static_cast<short>(-1))));
  EXPECT_TRUE(static_cast<bool>(Variant(0x10000)));  // bits above the low 16 count
  EXPECT_FALSE(static_cast<bool>(Variant(0)));
  EXPECT_TRUE(static_cast<bool>(Variant(1LL << 40)));
  EXPECT_FALSE(static_cast<bool>(Variant(0ULL)));
  EXPECT_TRUE(static_cast<bool>(Variant(0.25f)));
  EXPECT_FALSE(static_cast<bool>(Variant(-0.0f)));
  EXPECT_FALSE(static_cast<bool>(Variant(0.0)));
  EXPECT_FALSE(static_cast<bool>(Variant(-0.0)));
  EXPECT_TRUE(static_cast<bool>(Variant(1e-300)));
  EXPECT_TRUE(static_cast<bool>(Variant(std::numeric_limits<double>::quiet_NaN())));
  // Non-numbers are false, whatever they hold.
  EXPECT_FALSE(static_cast<bool>(Variant()));
  EXPECT_FALSE(static_cast<bool>(Variant("true")));
  EXPECT_FALSE(static_cast<bool>(Variant(Time(1))));
  EXPECT_FALSE(static_cast<bool>(Variant(List{Variant(true)})));
  EXPECT_FALSE(static_cast<bool>(Variant(Map{{tavrin_ustring("a"), Variant(1)}})));
  EXPECT_FALSE(static_cast<bool>(Variant(Pairs{{tavrin_ustring("a"), Variant(1)}})));
  if (Variant(2)) {
    SUCCEED();
  } else {
    ADD_FAILURE() << "a non-zero integer tests false";
  }
}

TEST(VariantTest, BoolIsNotANumber) {
  const Variant v(true);
  EXPECT_EQ(static_cast<int>(v), 0);
  EXPECT_EQ(static_cast<double>(v), 0.0);
  EXPECT_EQ(static_cast<float>(v), 0.0f);
  EXPECT_TRUE(static_cast<bool>(v));
}

TEST(VariantTest, FloatingReadsUseTheSignedStoredValue) {
  EXPECT_EQ(static_cast<double>(Variant(static_cast<unsigned char>(200))), -56.0);
  EXPECT_EQ(static_cast<double>(Variant(static_cast<short>(-5))), -5.0);
  EXPECT_EQ(static_cast<double>(Variant(4000000000u)), -294967296.0);
  EXPECT_EQ(static_cast<double>(Variant(1ULL << 63)), -9223372036854775808.0);
  EXPECT_EQ(static_cast<float>(Variant(-7LL)), -7.0f);
  EXPECT_EQ(static_cast<double>(Variant(0.1f)), static_cast<double>(0.1f));
  EXPECT_EQ(static_cast<float>(Variant(0.1)), 0.1f);
  EXPECT_EQ(static_cast<double>(Variant(0.1)), 0.1);
  EXPECT_TRUE(std::isinf(static_cast<float>(Variant(1e300))));
  EXPECT_TRUE(std::isnan(static_cast<double>(Variant(std::nanf("")))));
  EXPECT_EQ(static_cast<float>(Variant("2.5")), 0.0f);
  EXPECT_EQ(static_cast<double>(Variant(Time(100))), 0.0);
}

// --- Strings ----------------------------------------------------------------

TEST(VariantTest, StringsFromUtf8) {
  EXPECT_EQ(Text(Variant("abc")), tavrin_ustring("abc"));
  EXPECT_EQ(Text(Variant("\xC3\xA9t\xC3\xA9")).size(), 3u);
  const Variant invalid(
      "a\xFF"
      "b");
  EXPECT_EQ(invalid.GetType(), 8u);
  EXPECT_TRUE(Text(invalid).empty());
  const Variant null(static_cast<const char*>(nullptr));
  EXPECT_EQ(null.GetType(), 8u);
  EXPECT_TRUE(Text(null).empty());
  Variant v(5);
  v.Set(static_cast<const char*>(nullptr));
  EXPECT_EQ(v.GetType(), 8u);
  EXPECT_TRUE(Text(v).empty());
}

TEST(VariantTest, GetStringOnlyForStrings) {
  tavrin_ustring out("untouched");
  EXPECT_FALSE(Variant(42).GetString(out));
  EXPECT_EQ(out, tavrin_ustring("untouched"));
  EXPECT_FALSE(Variant().GetString(out));
  EXPECT_FALSE(Variant(List{Variant("x")}).GetString(out));
  EXPECT_EQ(out, tavrin_ustring("untouched"));
  EXPECT_TRUE(Variant("hello").GetString(out));
  EXPECT_EQ(out, tavrin_ustring("hello"));
  EXPECT_TRUE(Variant("").GetString(out));
  EXPECT_TRUE(out.empty());
}

TEST(VariantTest, NonStringsReadAsOneStaticEmptyString) {
  const Variant a(42);
  const Variant b(List{Variant("x")});
  const Variant c;
  EXPECT_TRUE(Text(a).empty());
  EXPECT_TRUE(Text(b).empty());
  EXPECT_EQ(&Text(a), &Text(b));
  EXPECT_EQ(&Text(a), &Text(c));
  // A string read as a number is 0 and a number read as a string is "".
  EXPECT_EQ(static_cast<int>(Variant("42")), 0);
  EXPECT_FALSE(static_cast<bool>(Variant("1")));
  tavrin_ustring copy = Variant(3.5);
  EXPECT_TRUE(copy.empty());
}

TEST(VariantTest, StringReadIsTheSharedText) {
  const Variant a(tavrin_ustring("shared"));
  const Variant b(a);
  Variant c;
  c = a;
  EXPECT_EQ(&Text(a), &Text(b));
  EXPECT_EQ(&Text(a), &Text(c));
  // Setting from text makes a new shared string.
  const Variant d(Text(a));
  EXPECT_NE(&Text(a), &Text(d));
  EXPECT_EQ(Text(a), Text(d));
}

TEST(VariantTest, WritesThroughTheSharedStringAreSeenByEveryOwner) {
  SharedText s("before");
  Variant a;
  a.Set(s.get());
  const Variant b(a);
  const Variant list(List{a, b});
  s.get()->String() = tavrin_ustring("after");
  EXPECT_EQ(Text(a), tavrin_ustring("after"));
  EXPECT_EQ(Text(b), tavrin_ustring("after"));
  EXPECT_EQ(Text(list.GetValue(1)), tavrin_ustring("after"));
}

// --- Shared-string counts ---------------------------------------------------

TEST(VariantTest, CopiesShareOneStringAndCountIt) {
  SharedText s("text");
  ASSERT_EQ(s.count(), 1u);
  {
    Variant a;
    a.Set(s.get());
    EXPECT_EQ(s.count(), 2u);
    a.Set(s.get());  // the same pointer: nothing happens
    EXPECT_EQ(s.count(), 2u);
    Variant b(a);
    EXPECT_EQ(s.count(), 3u);
    Variant c;
    c = b;
    EXPECT_EQ(s.count(), 4u);
    c.Set(b);
    EXPECT_EQ(s.count(), 4u);
    c = 5;  // another kind releases
    EXPECT_EQ(s.count(), 3u);
    Variant moved(std::move(b));
    EXPECT_EQ(s.count(), 3u);
    EXPECT_EQ(b.GetType(), 0u);  // NOLINT(bugprone-use-after-move): moved-from is empty
    EXPECT_EQ(Text(moved), tavrin_ustring("text"));
  }
  EXPECT_EQ(s.count(), 1u);
}

TEST(VariantTest, CollectionCopiesAddOneReferencePerCopy) {
  SharedText s("inside");
  Variant str;
  str.Set(s.get());
  const Variant nested(List{str, Variant(Map{{tavrin_ustring("k"), str}}),
                            Variant(Pairs{{tavrin_ustring("p"), str}})});
  EXPECT_EQ(s.count(), 5u);  // ours, str, and three inside nested
  {
    const Variant copy(nested);
    EXPECT_EQ(s.count(), 8u);
    Variant other;
    other = copy;
    EXPECT_EQ(s.count(), 11u);
  }
  EXPECT_EQ(s.count(), 5u);
}

TEST(VariantTest, CopiesReleasedOnOtherThreads) {
  SharedText s("threads");
  Variant root;
  root.Set(s.get());
  const Variant list(List{root, root, Variant(Map{{tavrin_ustring("k"), root}})});
  const unsigned long long baseline = s.count();
  ASSERT_EQ(baseline, 5u);
  constexpr int kThreads = 8;
  constexpr int kRounds = 2000;
  std::vector<std::thread> threads;
  std::vector<std::vector<Variant>> handed(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < 10; ++i) handed[t].push_back(i % 2 ? root : list);
  }
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::vector<Variant> mine = std::move(handed[t]);
      for (int r = 0; r < kRounds; ++r) {
        Variant copy(mine[r % mine.size()]);
        Variant again;
        again = copy;
        if (r % 3 == 0) mine[r % mine.size()] = again;
      }
    });
  }
  for (auto& th : threads) th.join();
  handed.clear();
  EXPECT_EQ(s.count(), baseline);
  EXPECT_EQ(Text(root), tavrin_ustring("threads"));
}

// --- Deep copies --------------------------------------------------------------

TEST(VariantTest, CollectionsAreCopiedDeeply) {
  List source{Variant(1), Variant("two"), Variant(List{Variant(3.0)})};
  Variant v(source);
  source[0] = 100;
  source.push_back(Variant(4));
  EXPECT_EQ(v.GetArrayLength(), 3u);
  EXPECT_EQ(static_cast<int>(v.GetValue(0)), 1);

  const Variant copy(v);
  EXPECT_NE(&AsList(copy), &AsList(v));
  EXPECT_NE(&AsList(copy.GetValue(2)), &AsList(v.GetValue(2)));
  EXPECT_NE(&copy.GetValue(2).GetValue(0), &v.GetValue(2).GetValue(0));
  EXPECT_TRUE(copy == v);

  // The copy outlives its original.
  auto* original = new Variant(Map{{tavrin_ustring("k"), Variant(List{Variant("deep")})}});
  Variant survivor(*original);
  delete original;
  EXPECT_EQ(Text(survivor.GetValue(tavrin_ustring("k")).GetValue(0)), tavrin_ustring("deep"));
}

TEST(VariantTest, MapAndPairSourcesAreCopied) {
  Map m{{tavrin_ustring("a"), Variant(1)}};
  const Variant vm(m);
  m[tavrin_ustring("b")] = 2;
  EXPECT_EQ(vm.GetAllKeys().size(), 1u);
  Pairs p{{tavrin_ustring("a"), Variant(1)}, {tavrin_ustring("a"), Variant(2)}};
  const Variant vp(p);
  p.clear();
  EXPECT_EQ(AsPairs(vp).size(), 2u);
  EXPECT_EQ(static_cast<int>(AsPairs(vp)[1].second), 2);
  EXPECT_NE(&AsPairs(vp), &AsPairs(Variant(vp)));
}

// --- Colours and timestamps --------------------------------------------------

TEST(VariantTest, ColoursAreTheirPackedValue) {
  const Variant red(CColor(255, 0, 0, 255));
  EXPECT_EQ(red.GetType(), 4u);
  EXPECT_EQ(static_cast<unsigned int>(red), 0u);  // 0xFF0000FF is negative as 32 bits
  EXPECT_EQ(static_cast<long long>(red), static_cast<int>(0xFF0000FFu));
  EXPECT_TRUE(red == Variant(0xFF0000FFu));
  EXPECT_TRUE(red == Variant(static_cast<int>(0xFF0000FFu)));
  EXPECT_TRUE(Variant(CColor(0x10, 0x20, 0x30, 0x40)) == Variant(0x40302010));
  EXPECT_TRUE(red.AsCColor() == CColor(255, 0, 0, 255));
  const CColor from_int = Variant(0x80402010);
  EXPECT_TRUE(from_int == CColor(0x10, 0x20, 0x40, 0x80));
  EXPECT_TRUE(Variant(0).AsCColor() == CColor(0, 0, 0, 0));
}

TEST(VariantTest, TimestampsKeepTheirCount) {
  const Variant t(Time(1710037800));
  const Time back = t;
  EXPECT_EQ(back.GetDATE(), 1710037800);
  const Time negative = Variant(Time(-2208988800));
  EXPECT_EQ(negative.GetDATE(), -2208988800);
  EXPECT_TRUE(Variant(Time()) == Variant(Time(time_t{0})));
  EXPECT_FALSE(Variant(Time(1)) == Variant(Time(2)));
  EXPECT_FALSE(Variant(Time(1)) == Variant(1LL));
}

// --- Cast errors ----------------------------------------------------------------

TEST(VariantTest, CastErrorsNameTheType) {
  EXPECT_EQ(CastMessage([] { (void)Variant(1.0).AsCColor(); }),
            "Could not cast Variant to N6tavrin5utils6CColorE: not a 4-byte integer");
  EXPECT_EQ(CastMessage([] {
              CColor c = Variant(static_cast<short>(1));
              (void)c;
            }),
            "Could not cast Variant to N6tavrin5utils6CColorE: not a 4-byte integer");
  EXPECT_EQ(CastMessage([] {
              Time t = Variant(5);
              (void)t;
            }),
            "Could not cast Variant to N6tavrin5utils4TimeE: not a timestamp");
  // The standard containers' names depend on the standard library.
  EXPECT_EQ(CastMessage([] { (void)AsList(Variant(Map{})); }),
            std::string("Could not cast Variant to ") + typeid(std::vector<Variant>).name() +
                ": not a vector");
  EXPECT_EQ(CastMessage([] { (void)AsMap(Variant(List{})); }),
            std::string("Could not cast Variant to ") +
                typeid(std::map<tavrin_ustring, Variant>).name() + ": not a dictionary");
  EXPECT_EQ(CastMessage([] { (void)AsPairs(Variant(Map{})); }),
            std::string("Could not cast Variant to ") +
                typeid(std::vector<std::pair<tavrin_ustring, Variant>>).name() +
                ": not key-value pairs");
  const std::string list_message = CastMessage([] { (void)AsList(Variant()); });
  EXPECT_NE(list_message.find("vector"), std::string::npos) << list_message;
  EXPECT_NE(list_message.find("Variant"), std::string::npos) << list_message;
}

TEST(VariantTest, EveryOtherKindFailsEachTypedCast) {
  const Variant kinds[] = {Variant(),
                           Variant(true),
                           Variant(static_cast<signed char>(1)),
                           Variant(static_cast<short>(1)),
                           Variant(1),
                           Variant(1LL),
                           Variant(1.0f),
                           Variant(1.0),
                           Variant("s"),
                           Variant(Time(1)),
                           Variant(List{}),
                           Variant(Map{}),
                           Variant(Pairs{})};
  for (const Variant& v : kinds) {
    const unsigned int tag = v.GetType();
    SCOPED_TRACE(tag);
    if (tag != 4) {
      EXPECT_THROW((void)v.AsCColor(), VariantCastError);
    }
    if (tag != 9) {
      EXPECT_THROW((void)v.operator Time(), VariantCastError);
    }
    if (tag != 10) {
      EXPECT_THROW((void)AsList(v), VariantCastError);
    }
    if (tag != 11) {
      EXPECT_THROW((void)AsMap(v), VariantCastError);
    }
    if (tag != 12) {
      EXPECT_THROW((void)AsPairs(v), VariantCastError);
    }
    if (tag == 4) {
      EXPECT_NO_THROW((void)v.AsCColor());
    }
    if (tag == 9) {
      EXPECT_NO_THROW((void)v.operator Time());
    }
    if (tag == 10) {
      EXPECT_NO_THROW((void)AsList(v));
    }
    if (tag == 11) {
      EXPECT_NO_THROW((void)AsMap(v));
    }
    if (tag == 12) {
      EXPECT_NO_THROW((void)AsPairs(v));
    }
    // Numeric, boolean and string reads never throw.
    EXPECT_NO_THROW((void)static_cast<int>(v));
    EXPECT_NO_THROW((void)static_cast<bool>(v));
    EXPECT_NO_THROW((void)Text(v));
  }
}

TEST(VariantTest, FixedMessages) {
  EXPECT_EQ(CastMessage([] { (void)Variant(Map{}).GetValue(0); }),
            "Could not subscript Variant: not a vector");
  EXPECT_EQ(CastMessage([] { (void)Variant("abc").GetValue(0); }),
            "Could not subscript Variant: not a vector");
  EXPECT_EQ(CastMessage([] { (void)Variant(List{}).GetValue(tavrin_ustring("k")); }),
            "Could not subscript Variant: not a dictionary");
  EXPECT_EQ(CastMessage([] { (void)Variant(Pairs{}).GetValue(tavrin_ustring("k")); }),
            "Could not subscript Variant: not a dictionary");
  EXPECT_EQ(CastMessage([] { (void)Variant(1).HasValue(tavrin_ustring("k")); }),
            "Could not subscript Variant: not a dictionary");
  EXPECT_EQ(CastMessage([] { (void)Variant(Map{}).GetArrayLength(); }),
            "Variant does not have a length: not a vector");
  EXPECT_EQ(CastMessage([] { (void)Variant(Pairs{}).GetArrayLength(); }),
            "Variant does not have a length: not a vector");
  EXPECT_EQ(CastMessage([] { (void)Variant().GetArrayLength(); }),
            "Variant does not have a length: not a vector");
  EXPECT_EQ(CastMessage([] { (void)Variant(List{}).GetAllKeys(); }),
            "Could list keys: not a dictionary");
}

TEST(VariantTest, CastErrorIsARuntimeError) {
  try {
    (void)Variant(1).GetAllKeys();
    ADD_FAILURE() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "Could list keys: not a dictionary");
  }
  const VariantCastError direct("plain");
  EXPECT_STREQ(direct.what(), "plain");
  EXPECT_STREQ(VariantCastError::ToType<int>("why").what(), "Could not cast Variant to i: why");
  EXPECT_STREQ(VariantCastError::ToType<CColor>(nullptr).what(),
               "Could not cast Variant to N6tavrin5utils6CColorE: ");
}

TEST(VariantTest, FailedReadsLeaveTheValue) {
  const Variant v(List{Variant(7), Variant("x")});
  EXPECT_THROW((void)v.AsCColor(), VariantCastError);
  EXPECT_THROW((void)v.GetValue(5), std::out_of_range);
  EXPECT_THROW((void)v.GetAllKeys(), VariantCastError);
  EXPECT_EQ(v.GetType(), 10u);
  EXPECT_EQ(v.GetArrayLength(), 2u);
  EXPECT_EQ(static_cast<int>(v.GetValue(0)), 7);
}

// --- Subscripts --------------------------------------------------------------

TEST(VariantTest, ListSubscripts) {
  const Variant v(List{Variant(10), Variant(20), Variant(30)});
  EXPECT_EQ(v.GetArrayLength(), 3u);
  EXPECT_EQ(static_cast<int>(v.GetValue(0)), 10);
  EXPECT_EQ(static_cast<int>(v.GetValue(2)), 30);
  EXPECT_EQ(&v.GetValue(1), &AsList(v)[1]);
  EXPECT_THROW((void)v.GetValue(3), std::out_of_range);
  EXPECT_THROW((void)v.GetValue(-1), std::out_of_range);
  EXPECT_THROW((void)v.GetValue(INT_MIN), std::out_of_range);
  EXPECT_THROW((void)v.GetValue(INT_MAX), std::out_of_range);
  EXPECT_THROW((void)Variant(List{}).GetValue(0), std::out_of_range);
  EXPECT_EQ(Variant(List{}).GetArrayLength(), 0u);
}

TEST(VariantTest, DictionarySubscripts) {
  const Variant v(Map{{tavrin_ustring("b"), Variant(2)},
                      {tavrin_ustring("a"), Variant(1)},
                      {tavrin_ustring("B"), Variant(3)},
                      {tavrin_ustring("ab"), Variant(4)}});
  EXPECT_EQ(static_cast<int>(v.GetValue(tavrin_ustring("a"))), 1);
  EXPECT_EQ(static_cast<int>(v.GetValue("B")), 3);
  EXPECT_TRUE(v.HasValue(tavrin_ustring("ab")));
  EXPECT_FALSE(v.HasValue(tavrin_ustring("A")));
  EXPECT_FALSE(v.HasValue(tavrin_ustring()));
  EXPECT_THROW((void)v.GetValue(tavrin_ustring("A")), std::out_of_range);
  EXPECT_THROW((void)v.GetValue(tavrin_ustring()), std::out_of_range);
  // Ascending code-unit order: upper case first, a prefix before longer keys.
  const std::vector<tavrin_ustring> keys = v.GetAllKeys();
  ASSERT_EQ(keys.size(), 4u);
  EXPECT_EQ(keys[0], tavrin_ustring("B"));
  EXPECT_EQ(keys[1], tavrin_ustring("a"));
  EXPECT_EQ(keys[2], tavrin_ustring("ab"));
  EXPECT_EQ(keys[3], tavrin_ustring("b"));
  EXPECT_TRUE(Variant(Map{}).GetAllKeys().empty());
}

TEST(VariantTest, NestedListsAndMaps) {
  const Variant inner(Map{{tavrin_ustring("list"), Variant(List{Variant("x"), Variant(2.5)})},
                          {tavrin_ustring("n"), Variant(7)}});
  const Variant outer(List{Variant(1), inner, Variant(Pairs{{tavrin_ustring("k"), inner}})});
  EXPECT_EQ(Text(outer.GetValue(1).GetValue("list").GetValue(0)), tavrin_ustring("x"));
  EXPECT_EQ(static_cast<double>(outer.GetValue(1).GetValue("list").GetValue(1)), 2.5);
  const Variant& from_pairs = AsPairs(outer.GetValue(2))[0].second;
  EXPECT_TRUE(from_pairs == inner);
  EXPECT_EQ(outer.GetValue(1).GetValue("list").GetArrayLength(), 2u);
  EXPECT_THROW((void)outer.GetValue(1).GetValue("n").GetValue(0), VariantCastError);
  EXPECT_THROW((void)outer.GetValue(1).GetValue("missing"), std::out_of_range);
}

// --- Equality -------------------------------------------------------------------

TEST(VariantTest, EqualityNeedsTheSameTag) {
  EXPECT_FALSE(Variant(1) == Variant(1LL));
  EXPECT_FALSE(Variant(1) == Variant(static_cast<short>(1)));
  EXPECT_FALSE(Variant(true) == Variant(static_cast<signed char>(1)));
  EXPECT_FALSE(Variant(1.0f) == Variant(1.0));
  EXPECT_FALSE(Variant("1") == Variant(1));
  EXPECT_FALSE(Variant(List{}) == Variant(Pairs{}));
  EXPECT_FALSE(Variant(Map{}) == Variant(Pairs{}));
  EXPECT_TRUE(Variant(1) == Variant(1u));
  EXPECT_TRUE(Variant(true) == Variant(true));
  EXPECT_FALSE(Variant(true) == Variant(false));
}

TEST(VariantTest, EmptyValuesAreNeverEqual) {
  const Variant a;
  const Variant b;
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(a == a);
  EXPECT_FALSE(Variant(List{Variant()}) == Variant(List{Variant()}));
  const Variant holds_empty(Map{{tavrin_ustring("k"), Variant()}});
  EXPECT_FALSE(holds_empty == holds_empty);
}

TEST(VariantTest, FloatingEqualityIsNumeric) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Variant n(nan);
  EXPECT_FALSE(n == n);
  EXPECT_FALSE(Variant(std::nanf("")) == Variant(std::nanf("")));
  EXPECT_TRUE(Variant(0.0) == Variant(-0.0));
  EXPECT_TRUE(Variant(0.0f) == Variant(-0.0f));
  EXPECT_TRUE(Variant(0.5) == Variant(0.5));
  EXPECT_FALSE(Variant(0.1) == Variant(static_cast<double>(0.1f)));
}

TEST(VariantTest, StringsCompareByText) {
  EXPECT_TRUE(Variant("same") == Variant(tavrin_ustring("same")));
  EXPECT_FALSE(Variant("same") == Variant("Same"));
  EXPECT_FALSE(Variant("a") == Variant("ab"));
  EXPECT_TRUE(Variant("") == Variant(static_cast<const char*>(nullptr)));
}

TEST(VariantTest, CollectionEquality) {
  const Variant a(List{Variant(1), Variant("x")});
  EXPECT_TRUE(a == Variant(List{Variant(1), Variant("x")}));
  EXPECT_FALSE(a == Variant(List{Variant("x"), Variant(1)}));
  EXPECT_FALSE(a == Variant(List{Variant(1)}));
  EXPECT_FALSE(a == Variant(List{Variant(1), Variant("x"), Variant(1)}));

  Map m1;
  m1[tavrin_ustring("one")] = 1;
  m1[tavrin_ustring("two")] = "2";
  Map m2;
  m2[tavrin_ustring("two")] = "2";
  m2[tavrin_ustring("one")] = 1;
  EXPECT_TRUE(Variant(m1) == Variant(m2));
  m2[tavrin_ustring("two")] = 2;
  EXPECT_FALSE(Variant(m1) == Variant(m2));
  Map m3;
  m3[tavrin_ustring("one")] = 1;
  m3[tavrin_ustring("tw0")] = "2";
  EXPECT_FALSE(Variant(m1) == Variant(m3));

  const Pairs p1{{tavrin_ustring("a"), Variant(1)}, {tavrin_ustring("b"), Variant(2)}};
  const Pairs p2{{tavrin_ustring("b"), Variant(2)}, {tavrin_ustring("a"), Variant(1)}};
  const Pairs dup{{tavrin_ustring("a"), Variant(1)}, {tavrin_ustring("a"), Variant(1)}};
  EXPECT_TRUE(Variant(p1) == Variant(Pairs(p1)));
  EXPECT_FALSE(Variant(p1) == Variant(p2));
  EXPECT_TRUE(Variant(dup) == Variant(Pairs(dup)));
  EXPECT_FALSE(Variant(p1) == Variant(dup));

  const Variant nested(List{Variant(Map{{tavrin_ustring("k"), Variant(List{Variant(1.5)})}})});
  EXPECT_TRUE(nested == Variant(nested));
  EXPECT_FALSE(nested ==
               Variant(List{Variant(Map{{tavrin_ustring("k"), Variant(List{Variant(1.5f)})}})}));
}

// --- Deliberate asymmetries ----------------------------------------------------

TEST(VariantTest, TimestampCopyKeepsASharedStringReference) {
  SharedText s("kept");
  Variant v;
  v.Set(s.get());
  ASSERT_EQ(s.count(), 2u);
  v = Variant(Time(42));  // copy of a timestamp: no ordinary release
  EXPECT_EQ(v.GetType(), 9u);
  EXPECT_EQ(static_cast<Time>(v.operator Time()).GetDATE(), 42);
  EXPECT_EQ(s.count(), 2u);
  s.get()->Release();  // the reference the Variant never gave back
  EXPECT_EQ(s.count(), 1u);

  // Setting the timestamp itself releases as usual.
  Variant w;
  w.Set(s.get());
  ASSERT_EQ(s.count(), 2u);
  w.Set(Time(42));
  EXPECT_EQ(s.count(), 1u);
  Variant x;
  x.Set(s.get());
  x = Time(1);
  EXPECT_EQ(s.count(), 1u);
}

TEST(VariantTest, TimestampCopyFreesWhatNobodyElseSees) {
  // A string held only here and owned collections are freed (the leak
  // checker of the sanitizer build sees it); the result is the timestamp.
  Variant text("only mine");
  text.Set(Variant(Time(1)));
  EXPECT_EQ(text.GetType(), 9u);
  Variant list(List{Variant("a"), Variant(List{Variant(1)})});
  list = Variant(Time(2));
  EXPECT_EQ(static_cast<Time>(list.operator Time()).GetDATE(), 2);
  Variant map(Map{{tavrin_ustring("k"), Variant("v")}});
  map = Variant(Time(3));
  EXPECT_EQ(map.GetType(), 9u);
  Variant pairs(Pairs{{tavrin_ustring("k"), Variant("v")}});
  pairs = Variant(Time(4));
  EXPECT_TRUE(pairs == Variant(Time(4)));
}

TEST(VariantTest, NullStringKeepsTheOldTag) {
  Variant number(5);
  number.Set(static_cast<RefCountedString*>(nullptr));
  EXPECT_EQ(number.GetType(), 4u);
  EXPECT_EQ(static_cast<int>(number), 0);

  SharedText s("gone");
  Variant text;
  text.Set(s.get());
  text.Set(static_cast<RefCountedString*>(nullptr));
  EXPECT_EQ(s.count(), 1u);
  EXPECT_EQ(text.GetType(), 8u);
  EXPECT_TRUE(Text(text).empty());
  tavrin_ustring out("x");
  EXPECT_TRUE(text.GetString(out));
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(text == Variant(""));
  text.Set(static_cast<RefCountedString*>(nullptr));  // already null: unchanged
  EXPECT_EQ(text.GetType(), 8u);

  // A copy of the null string goes through Set(nullptr): the target keeps its
  // own tag with a cleared payload.
  Variant target(1234);
  target = text;
  EXPECT_EQ(target.GetType(), 4u);
  EXPECT_EQ(static_cast<int>(target), 0);
  Variant copy(text);  // starts empty, so stays tag 0
  EXPECT_EQ(copy.GetType(), 0u);
}

TEST(VariantTest, NullCollectionsReadAsEmpty) {
  Variant list(List{Variant(1)});
  list.Set(static_cast<RefCountedString*>(nullptr));
  EXPECT_EQ(list.GetType(), 10u);
  EXPECT_EQ(list.GetArrayLength(), 0u);
  EXPECT_TRUE(AsList(list).empty());
  EXPECT_THROW((void)list.GetValue(0), std::out_of_range);
  EXPECT_TRUE(list == Variant(List{}));
  const Variant list_copy(list);
  EXPECT_EQ(list_copy.GetType(), 10u);
  EXPECT_EQ(list_copy.GetArrayLength(), 0u);

  Variant map(Map{{tavrin_ustring("k"), Variant(1)}});
  map.Set(static_cast<RefCountedString*>(nullptr));
  EXPECT_EQ(map.GetType(), 11u);
  EXPECT_FALSE(map.HasValue(tavrin_ustring("k")));
  EXPECT_THROW((void)map.GetValue(tavrin_ustring("k")), std::out_of_range);
  EXPECT_TRUE(map.GetAllKeys().empty());
  EXPECT_TRUE(AsMap(map).empty());
  EXPECT_TRUE(Variant(map) == Variant(Map{}));

  Variant pairs(Pairs{{tavrin_ustring("k"), Variant(1)}});
  pairs.Set(static_cast<RefCountedString*>(nullptr));
  EXPECT_EQ(pairs.GetType(), 12u);
  EXPECT_TRUE(AsPairs(pairs).empty());
  EXPECT_TRUE(pairs == Variant(Pairs{}));
  Variant pairs_copy;
  pairs_copy = pairs;
  EXPECT_EQ(pairs_copy.GetType(), 12u);
}

TEST(VariantTest, SettingFromItselfKeepsTheValue) {
  // Assigned through a second name, so compilers that warn about a plain
  // `x = x` still build the test.
  Variant text("self");
  const Variant& same_text = text;
  text = same_text;
  EXPECT_EQ(Text(text), tavrin_ustring("self"));
  text.Set(Text(text));
  EXPECT_EQ(Text(text), tavrin_ustring("self"));

  Variant list(List{Variant(1), Variant("two")});
  const Variant& same_list = list;
  list = same_list;
  list.Set(AsList(list));
  EXPECT_EQ(list.GetArrayLength(), 2u);
  EXPECT_EQ(Text(list.GetValue(1)), tavrin_ustring("two"));

  Variant map(Map{{tavrin_ustring("k"), Variant(3)}});
  map.Set(AsMap(map));
  EXPECT_EQ(static_cast<int>(map.GetValue("k")), 3);
  Variant pairs(Pairs{{tavrin_ustring("k"), Variant(4)}});
  pairs.Set(AsPairs(pairs));
  EXPECT_EQ(static_cast<int>(AsPairs(pairs)[0].second), 4);

  Variant t(Time(5));
  const Variant& same_t = t;
  t = same_t;
  EXPECT_EQ(static_cast<Time>(t.operator Time()).GetDATE(), 5);
}

TEST(VariantTest, SettingFromOwnElement) {
  // The element lives inside the payload that the assignment releases.
  Variant a(List{Variant(List{Variant(1), Variant(2)})});
  a = a.GetValue(0);
  EXPECT_EQ(a.GetArrayLength(), 2u);
  Variant b(List{Variant("inner")});
  b = b.GetValue(0);
  EXPECT_EQ(Text(b), tavrin_ustring("inner"));
  Variant c(List{Variant(Time(8))});
  c = c.GetValue(0);
  EXPECT_EQ(static_cast<Time>(c.operator Time()).GetDATE(), 8);
  Variant d(Map{{tavrin_ustring("k"), Variant(2.5)}});
  d = d.GetValue("k");
  EXPECT_EQ(static_cast<double>(d), 2.5);
  Variant e(Map{{tavrin_ustring("k"), Variant(Map{{tavrin_ustring("j"), Variant(1)}})}});
  e = e.GetValue("k");
  EXPECT_EQ(static_cast<int>(e.GetValue("j")), 1);
}

}  // namespace
}  // namespace tavrin::utils
