// convertutf_test.cpp - the UTF converters and measuring functions.
//
// Worked examples and edge cases first (cursors after every failure, target
// room, cut-off and illegal sequences, the older reference behaviours that
// callers rely on), then the ASCII fast paths at every alignment, then a
// random differential test against a byte-by-byte reference written here.
#include "common/utils/convertutf.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "common/utils/internal/convertutf_internal.h"
#include "tests/test_support.h"

namespace {

using Bytes = std::vector<UTF8>;
using Units16 = std::vector<UTF16>;
using Units32 = std::vector<UTF32>;

constexpr UTF16 kGuard16 = 0xBEEF;
constexpr UTF32 kGuard32 = 0xDEADBEEF;
constexpr UTF8 kGuard8 = 0xA5;

// What one converter call did: its result, how much of the source it
// consumed and what it wrote.
template <class Out>
struct Outcome {
  ConversionResult result;
  std::size_t consumed;
  std::vector<Out> out;

  bool operator==(const Outcome& o) const {
    return result == o.result && consumed == o.consumed && out == o.out;
  }
};

template <class Out>
std::ostream& operator<<(std::ostream& os, const Outcome<Out>& o) {
  os << "{result " << o.result << ", consumed " << o.consumed << ", out";
  for (auto u : o.out) os << ' ' << std::hex << static_cast<std::uint32_t>(u) << std::dec;
  return os << '}';
}

// Runs a converter over `in` with exactly `room` target units, checking that
// nothing is written past the cursor it returns, let alone past the end.
template <class In, class Out, class Fn>
Outcome<Out> Run(Fn fn, const std::vector<In>& in, std::size_t room, Out guard) {
  std::vector<Out> buf(room + 4, guard);
  const In* src = in.data();
  const In* src_end = in.data() + in.size();
  Out* dst = buf.data();
  ConversionResult r = fn(&src, src_end, &dst, buf.data() + room);
  for (std::size_t i = room; i < buf.size(); ++i) {
    EXPECT_EQ(buf[i], guard) << "written past the target end at " << i;
  }
  std::size_t written = static_cast<std::size_t>(dst - buf.data());
  EXPECT_LE(written, room);
  for (std::size_t i = written; i < room; ++i) {
    EXPECT_EQ(buf[i], guard) << "written past the target cursor at " << i;
  }
  buf.resize(written);
  return {r, static_cast<std::size_t>(src - in.data()), buf};
}

Outcome<UTF16> To16(const Bytes& in, ConversionFlags f, std::size_t room) {
  return Run([f](const UTF8** s, const UTF8* se, UTF16** d,
                 UTF16* de) { return ConvertUTF8toUTF16(s, se, d, de, f); },
             in, room, kGuard16);
}
Outcome<UTF16> To16(const Bytes& in, ConversionFlags f) {
  return To16(in, f, in.size() + 1);
}

Outcome<UTF32> To32(const Bytes& in, std::size_t room) {
  return Run(ConvertUTF8toUTF32, in, room, kGuard32);
}
Outcome<UTF32> To32(const Bytes& in) {
  return To32(in, in.size() + 1);
}

Outcome<UTF8> From16To8(const Units16& in, ConversionFlags f, std::size_t room) {
  return Run([f](const UTF16** s, const UTF16* se, UTF8** d,
                 UTF8* de) { return ConvertUTF16toUTF8(s, se, d, de, f); },
             in, room, kGuard8);
}
Outcome<UTF8> From16To8(const Units16& in, ConversionFlags f) {
  return From16To8(in, f, in.size() * 3 + 1);
}

Outcome<UTF32> From16To32(const Units16& in, ConversionFlags f, std::size_t room) {
  return Run([f](const UTF16** s, const UTF16* se, UTF32** d,
                 UTF32* de) { return ConvertUTF16toUTF32(s, se, d, de, f); },
             in, room, kGuard32);
}
Outcome<UTF32> From16To32(const Units16& in, ConversionFlags f) {
  return From16To32(in, f, in.size() + 1);
}

Outcome<UTF16> From32To16(const Units32& in, ConversionFlags f, std::size_t room) {
  return Run([f](const UTF32** s, const UTF32* se, UTF16** d,
                 UTF16* de) { return ConvertUTF32toUTF16(s, se, d, de, f); },
             in, room, kGuard16);
}
Outcome<UTF16> From32To16(const Units32& in, ConversionFlags f) {
  return From32To16(in, f, in.size() * 2 + 1);
}

Outcome<UTF8> From32To8(const Units32& in, ConversionFlags f, std::size_t room) {
  return Run([f](const UTF32** s, const UTF32* se, UTF8** d,
                 UTF8* de) { return ConvertUTF32toUTF8(s, se, d, de, f); },
             in, room, kGuard8);
}
Outcome<UTF8> From32To8(const Units32& in, ConversionFlags f) {
  return From32To8(in, f, in.size() * 4 + 1);
}

int Size16(const Bytes& in, ConversionFlags f) {
  return SizeNeededForUTF16(in.data(), in.data() + in.size(), f);
}
int Size8(const Units16& in, ConversionFlags f) {
  return SizeNeededForUTF8(in.data(), in.data() + in.size(), f);
}
int Size32To16(const Units32& in, ConversionFlags f) {
  return SizeNeededForUTF32To16(in.data(), in.data() + in.size(), f);
}

Bytes B(std::initializer_list<int> v) {
  Bytes b;
  for (int x : v) b.push_back(static_cast<UTF8>(x));
  return b;
}
Bytes B(const std::string& s) {
  return Bytes(s.begin(), s.end());
}

constexpr ConversionFlags kStrict = strictConversion;
constexpr ConversionFlags kLenient = lenientConversion;
constexpr ConversionFlags kModes[] = {strictConversion, lenientConversion};

// --------------------------------------------------------------------------
// Reference: a plain, byte-by-byte reading of the conversion rules, with no
// tables shared with the library and no fast paths.
// --------------------------------------------------------------------------

// Length of the sequence a lead byte announces (1..6).
int AnnouncedLength(UTF8 b) {
  if (b < 0xC0) return 1;
  if (b < 0xE0) return 2;
  if (b < 0xF0) return 3;
  if (b < 0xF8) return 4;
  if (b < 0xFC) return 5;
  return 6;
}

// The legality rule, read forwards: 1-4 bytes; lead below 0x80 or in
// C2..F4; bytes after the second in 80..BF; the second at most BF and at
// least A0 after E0, at least 90 after F0, at most 8F after F4 (and nothing
// more: the older table has no lower bound there), at least 80 otherwise.
bool RefLegal(const UTF8* s, int len) {
  if (len < 1 || len > 4) return false;
  UTF8 lead = s[0];
  if (lead >= 0x80 && lead < 0xC2) return false;
  if (lead > 0xF4) return false;
  if (len >= 2) {
    UTF8 second = s[1];
    if (second > 0xBF) return false;
    if (lead == 0xE0 && second < 0xA0) return false;
    if (lead == 0xF0 && second < 0x90) return false;
    if (lead == 0xF4 && second > 0x8F) return false;
    if (lead != 0xE0 && lead != 0xF0 && lead != 0xF4 && second < 0x80) return false;
  }
  for (int k = 2; k < len; ++k)
    if (s[k] < 0x80 || s[k] > 0xBF) return false;
  return true;
}

// value = value * 64 + byte over the sequence, minus the marks.
UTF32 RefAccumulate(const UTF8* s, int len) {
  static const UTF32 kMarks[4] = {0, 0x3080, 0xE2080, 0x3C82080};
  UTF32 v = 0;
  for (int k = 0; k < len; ++k) v = v * 64 + s[k];
  return v - kMarks[len - 1];
}

bool RefSurrogate(UTF32 v) {
  return v >= 0xD800 && v <= 0xDFFF;
}
bool RefHigh(UTF32 v) {
  return v >= 0xD800 && v <= 0xDBFF;
}
bool RefLow(UTF32 v) {
  return v >= 0xDC00 && v <= 0xDFFF;
}

// UTF-8 -> UTF-16 (to_32 false) or UTF-32 (to_32 true; flags ignored).
template <class Out>
Outcome<Out> RefFrom8(const Bytes& in, ConversionFlags flags, std::size_t room, bool to_32) {
  Outcome<Out> o{conversionOK, 0, {}};
  std::size_t i = 0;
  const bool strict = flags == strictConversion;
  while (i < in.size()) {
    int len = AnnouncedLength(in[i]);
    if (i + len > in.size()) {
      o.result = sourceExhausted;
      break;
    }
    if (!RefLegal(&in[i], len)) {
      o.result = sourceIllegal;
      break;
    }
    UTF32 v = RefAccumulate(&in[i], len);
    if (o.out.size() >= room) {
      o.result = targetExhausted;
      break;
    }
    if (to_32) {
      o.out.push_back(static_cast<Out>(v));
    } else if (v <= 0xFFFF) {
      if (strict && RefSurrogate(v)) {
        o.result = sourceIllegal;
        break;
      }
      o.out.push_back(static_cast<Out>(v));
    } else if (v > 0x10FFFF) {
      if (strict) {
        o.result = sourceIllegal;
        break;
      }
      o.out.push_back(0xFFFD);
    } else {
      if (o.out.size() + 2 > room) {
        o.result = targetExhausted;
        break;
      }
      o.out.push_back(static_cast<Out>(0xD800 + ((v - 0x10000) >> 10)));
      o.out.push_back(static_cast<Out>(0xDC00 + ((v - 0x10000) & 0x3FF)));
    }
    i += static_cast<std::size_t>(len);
  }
  o.consumed = i;
  return o;
}

// Standard UTF-8 bytes of a value below 0x200000.
Bytes Encode(UTF32 v) {
  if (v < 0x80) return {static_cast<UTF8>(v)};
  if (v < 0x800) return {static_cast<UTF8>(0xC0 | (v >> 6)), static_cast<UTF8>(0x80 | (v & 0x3F))};
  if (v < 0x10000)
    return {static_cast<UTF8>(0xE0 | (v >> 12)), static_cast<UTF8>(0x80 | ((v >> 6) & 0x3F)),
            static_cast<UTF8>(0x80 | (v & 0x3F))};
  return {static_cast<UTF8>(0xF0 | (v >> 18)), static_cast<UTF8>(0x80 | ((v >> 12) & 0x3F)),
          static_cast<UTF8>(0x80 | ((v >> 6) & 0x3F)), static_cast<UTF8>(0x80 | (v & 0x3F))};
}

// UTF-16 -> UTF-8 (to_32 false) or UTF-32 (to_32 true).
template <class Out>
Outcome<Out> RefFrom16(const Units16& in, ConversionFlags flags, std::size_t room, bool to_32) {
  Outcome<Out> o{conversionOK, 0, {}};
  const bool strict = flags == strictConversion;
  std::size_t i = 0;
  while (i < in.size()) {
    UTF32 v = in[i];
    std::size_t used = 1;
    if (RefHigh(v) && i + 1 < in.size()) {
      if (RefLow(in[i + 1])) {
        v = 0x10000 + ((v - 0xD800) << 10) + (in[i + 1] - 0xDC00);
        used = 2;
      } else if (strict) {
        o.result = sourceIllegal;
        break;
      }
    } else if (RefLow(v) && strict) {
      o.result = sourceIllegal;
      break;
    }
    std::vector<Out> piece;
    if (to_32) {
      piece.push_back(static_cast<Out>(v));
    } else {
      for (UTF8 b : Encode(v)) piece.push_back(static_cast<Out>(b));
    }
    if (o.out.size() + piece.size() > room) {
      o.result = targetExhausted;
      break;
    }
    o.out.insert(o.out.end(), piece.begin(), piece.end());
    i += used;
  }
  o.consumed = i;
  return o;
}

Outcome<UTF16> Ref32To16(const Units32& in, ConversionFlags flags, std::size_t room) {
  Outcome<UTF16> o{conversionOK, 0, {}};
  const bool strict = flags == strictConversion;
  std::size_t i = 0;
  for (; i < in.size(); ++i) {
    if (o.out.size() >= room) {
      o.result = targetExhausted;
      break;
    }
    UTF32 v = in[i];
    if (v <= 0xFFFF) {
      if (strict && RefSurrogate(v)) {
        o.result = sourceIllegal;
        break;
      }
      o.out.push_back(static_cast<UTF16>(v));
    } else if (v > 0x10FFFF) {
      if (strict)
        o.result = sourceIllegal;  // skipped, and the conversion goes on
      else
        o.out.push_back(0xFFFD);
    } else {
      if (o.out.size() + 2 > room) {
        o.result = targetExhausted;
        break;
      }
      o.out.push_back(static_cast<UTF16>(0xD800 + ((v - 0x10000) >> 10)));
      o.out.push_back(static_cast<UTF16>(0xDC00 + ((v - 0x10000) & 0x3FF)));
    }
  }
  o.consumed = i;
  return o;
}

Outcome<UTF8> Ref32To8(const Units32& in, ConversionFlags flags, std::size_t room) {
  Outcome<UTF8> o{conversionOK, 0, {}};
  std::size_t i = 0;
  for (; i < in.size(); ++i) {
    UTF32 v = in[i];
    if (flags == strictConversion && RefSurrogate(v)) {
      o.result = sourceIllegal;
      break;
    }
    Bytes piece = v < 0x200000 ? Encode(v) : Bytes{0xFF, 0xBD};
    if (o.out.size() + piece.size() > room) {
      o.result = targetExhausted;
      break;
    }
    o.out.insert(o.out.end(), piece.begin(), piece.end());
  }
  o.consumed = i;
  return o;
}

// What a measuring function reports for a reference conversion with
// unlimited room.
template <class Out>
int RefMeasure(const Outcome<Out>& o) {
  if (o.result == sourceExhausted) return -1;
  if (o.result == sourceIllegal) return -3;
  return static_cast<int>(o.out.size());
}

// --------------------------------------------------------------------------
// Worked examples and edge cases.
// --------------------------------------------------------------------------

TEST(ConvertUtfTest, ResultAndFlagValues) {
  EXPECT_EQ(conversionOK, 0);
  EXPECT_EQ(sourceExhausted, 1);
  EXPECT_EQ(targetExhausted, 2);
  EXPECT_EQ(sourceIllegal, 3);
  EXPECT_EQ(strictConversion, 0);
  EXPECT_EQ(lenientConversion, 1);
}

TEST(ConvertUtfTest, Utf8ToUtf16WellFormed) {
  // "aé€😀": 1-, 2-, 3- and 4-byte sequences.
  Bytes in = B("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  for (auto f : kModes) {
    auto o = To16(in, f);
    EXPECT_EQ(o.result, conversionOK);
    EXPECT_EQ(o.consumed, in.size());
    EXPECT_EQ(o.out, (Units16{0x61, 0xE9, 0x20AC, 0xD83D, 0xDE00}));
    EXPECT_EQ(Size16(in, f), 5);
  }
}

TEST(ConvertUtfTest, EmptyInput) {
  for (auto f : kModes) {
    EXPECT_EQ(To16({}, f).result, conversionOK);
    EXPECT_EQ(From16To8({}, f).result, conversionOK);
    EXPECT_EQ(From16To32({}, f).result, conversionOK);
    EXPECT_EQ(From32To16({}, f).result, conversionOK);
    EXPECT_EQ(From32To8({}, f).result, conversionOK);
    EXPECT_EQ(Size16({}, f), 0);
    EXPECT_EQ(Size8({}, f), 0);
    EXPECT_EQ(Size32To16({}, f), 0);
    EXPECT_EQ(SizeNeededForUTF16(nullptr, nullptr, f), 0);
    EXPECT_EQ(SizeNeededForUTF8(nullptr, nullptr, f), 0);
    EXPECT_EQ(SizeNeededForUTF32To16(nullptr, nullptr, f), 0);
  }
  EXPECT_EQ(To32({}).result, conversionOK);
  // Empty input with no target room at all is still a success.
  EXPECT_EQ(To16({}, kStrict, 0), (Outcome<UTF16>{conversionOK, 0, {}}));
}

TEST(ConvertUtfTest, SurrogateEncodingIsLegalButStrictRejectsIt) {
  Bytes in = B({'x', 0xED, 0xA0, 0x80});
  EXPECT_TRUE(isLegalUTF8Sequence(in.data() + 1, in.data() + in.size()));
  auto lenient = To16(in, kLenient);
  EXPECT_EQ(lenient, (Outcome<UTF16>{conversionOK, 4, {'x', 0xD800}}));
  auto strict = To16(in, kStrict);
  EXPECT_EQ(strict, (Outcome<UTF16>{sourceIllegal, 1, {'x'}}));  // cursor at 0xED
  EXPECT_EQ(Size16(in, kLenient), 2);
  EXPECT_EQ(Size16(in, kStrict), -3);
  // UTF-32 keeps the surrogate value as it is.
  EXPECT_EQ(To32(in), (Outcome<UTF32>{conversionOK, 4, {'x', 0xD800}}));
  // The last surrogate encoding, ED BF BF, is U+DFFF.
  EXPECT_EQ(To16(B({0xED, 0xBF, 0xBF}), kLenient).out, Units16{0xDFFF});
}

TEST(ConvertUtfTest, OverlongAndStrayContinuationAreIllegalInBothModes) {
  const Bytes cases[] = {
      B({0xC0, 0x80}),                          // overlong zero
      B({0xC1, 0xBF}),                          // overlong 0x7F
      B({0x80}),                                // lone continuation byte
      B({0xBF}),                                //
      B({0xE0, 0x9F, 0xBF}),                    // overlong three-byte form
      B({0xF0, 0x8F, 0xBF, 0xBF}),              // overlong four-byte form
      B({0xC3, 0x41}),                          // continuation missing
      B({0xE2, 0x82, 0x41}),                    // third byte is not a continuation
      B({0xE2, 0xC2, 0x82}),                    // second byte above BF
      B({0xF5, 0x80, 0x80, 0x80}),              // lead above F4
      B({0xF8, 0x88, 0x80, 0x80, 0x80}),        // five-byte form
      B({0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}),  // six-byte form
  };
  for (const Bytes& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c));
    Bytes in = B("ab");
    in.insert(in.end(), c.begin(), c.end());
    in.push_back('z');
    for (auto f : kModes) {
      EXPECT_EQ(To16(in, f), (Outcome<UTF16>{sourceIllegal, 2, {'a', 'b'}}));
      EXPECT_EQ(Size16(in, f), -3);
    }
    EXPECT_EQ(To32(in), (Outcome<UTF32>{sourceIllegal, 2, {'a', 'b'}}));
    EXPECT_FALSE(isLegalUTF8Sequence(in.data() + 2, in.data() + in.size()));
  }
}

TEST(ConvertUtfTest, CutOffSequenceIsSourceExhausted) {
  Bytes in = B({'A', 0xE2, 0x82});  // euro sign without its last byte
  for (auto f : kModes) {
    EXPECT_EQ(To16(in, f), (Outcome<UTF16>{sourceExhausted, 1, {'A'}}));
    EXPECT_EQ(Size16(in, f), -1);
  }
  EXPECT_EQ(To32(in), (Outcome<UTF32>{sourceExhausted, 1, {'A'}}));
  EXPECT_FALSE(isLegalUTF8Sequence(in.data() + 1, in.data() + in.size()));
  // Every proper prefix of a four-byte sequence.
  Bytes full = B({0xF0, 0x9F, 0x98, 0x80});
  for (std::size_t k = 1; k < full.size(); ++k) {
    Bytes cut(full.begin(), full.begin() + k);
    EXPECT_EQ(To16(cut, kStrict), (Outcome<UTF16>{sourceExhausted, 0, {}}));
    EXPECT_EQ(Size16(cut, kLenient), -1);
  }
}

TEST(ConvertUtfTest, BadLeadNearTheEndReportsExhaustedBeforeIllegal) {
  // The length test comes before validation: a lead byte announcing more
  // bytes than remain is sourceExhausted even when it could never be legal.
  const Bytes cases[] = {B({'x', 0xFF}), B({'x', 0xF8, 0x80, 0x80}), B({'x', 0xC0}),
                         B({'x', 0xF5, 0x80})};
  for (const Bytes& in : cases) {
    SCOPED_TRACE(testing::PrintToString(in));
    for (auto f : kModes) {
      EXPECT_EQ(To16(in, f), (Outcome<UTF16>{sourceExhausted, 1, {'x'}}));
      EXPECT_EQ(Size16(in, f), -1);
    }
    EXPECT_EQ(To32(in).result, sourceExhausted);
  }
  // With enough bytes following, the same leads are illegal.
  EXPECT_EQ(To16(B({'x', 0xF8, 0x80, 0x80, 0x80, 0x80}), kLenient).result, sourceIllegal);
  EXPECT_EQ(To16(B({'x', 0xC0, 0x80}), kLenient).result, sourceIllegal);
}

TEST(ConvertUtfTest, AboveMaxAndSupplementaryPlane) {
  Bytes above = B({0xF4, 0x90, 0x80, 0x80});  // would be 0x110000
  EXPECT_FALSE(isLegalUTF8Sequence(above.data(), above.data() + above.size()));
  for (auto f : kModes) {
    EXPECT_EQ(To16(above, f).result, sourceIllegal);
    EXPECT_EQ(Size16(above, f), -3);
  }
  Bytes first = B({0xF0, 0x90, 0x80, 0x80});  // U+10000
  for (auto f : kModes) {
    EXPECT_EQ(To16(first, f), (Outcome<UTF16>{conversionOK, 4, {0xD800, 0xDC00}}));
    EXPECT_EQ(Size16(first, f), 2);
  }
  Bytes last = B({0xF4, 0x8F, 0xBF, 0xBF});  // U+10FFFF
  EXPECT_EQ(To16(last, kStrict).out, (Units16{0xDBFF, 0xDFFF}));
  EXPECT_EQ(To32(last).out, Units32{0x10FFFF});
}

TEST(ConvertUtfTest, OlderTableAcceptsAnyLowSecondByteAfterF4) {
  // The older legality table only bounds the second byte after F4 from
  // above, so F4 41 80 80 passes in both modes and accumulates (value * 64 +
  // byte, minus the marks) to 0xC1000, a supplementary value.
  Bytes in = B({0xF4, 0x41, 0x80, 0x80});
  EXPECT_TRUE(isLegalUTF8Sequence(in.data(), in.data() + in.size()));
  for (auto f : kModes) {
    EXPECT_EQ(To16(in, f), (Outcome<UTF16>{conversionOK, 4, {0xDAC4, 0xDC00}}));
    EXPECT_EQ(Size16(in, f), 2);
  }
  EXPECT_EQ(To32(in).out, Units32{0xC1000});
  Bytes low = B({0xF4, 0x00, 0x80, 0x80});
  EXPECT_EQ(To32(low).out, Units32{0x80000});
  EXPECT_EQ(Size16(low, kStrict), 2);
  // The bound from above still holds, and other leads keep their lower bound.
  EXPECT_EQ(To16(B({0xF4, 0x90, 0x80, 0x80}), kLenient).result, sourceIllegal);
  EXPECT_EQ(To16(B({0xF3, 0x41, 0x80, 0x80}), kLenient).result, sourceIllegal);
}

TEST(ConvertUtfTest, PairNeedsTwoFreeUnits) {
  Bytes in = B({'a', 0xF0, 0x9F, 0x98, 0x80, 'b'});
  for (auto f : kModes) {
    // One unit of room left after "a".
    EXPECT_EQ(To16(in, f, 2), (Outcome<UTF16>{targetExhausted, 1, {'a'}}));
    EXPECT_EQ(To16(in, f, 3), (Outcome<UTF16>{targetExhausted, 5, {'a', 0xD83D, 0xDE00}}));
    EXPECT_EQ(To16(in, f, 4), (Outcome<UTF16>{conversionOK, 6, {'a', 0xD83D, 0xDE00, 'b'}}));
    // No room at all.
    EXPECT_EQ(To16(in, f, 0), (Outcome<UTF16>{targetExhausted, 0, {}}));
  }
}

TEST(ConvertUtfTest, TargetExhaustedLeavesCursorAtTheSequence) {
  Bytes in = B("ab\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(To16(in, kStrict, 1), (Outcome<UTF16>{targetExhausted, 1, {'a'}}));
  EXPECT_EQ(To16(in, kStrict, 2), (Outcome<UTF16>{targetExhausted, 2, {'a', 'b'}}));
  EXPECT_EQ(To16(in, kStrict, 3), (Outcome<UTF16>{targetExhausted, 4, {'a', 'b', 0xE9}}));
  EXPECT_EQ(To32(in, 3), (Outcome<UTF32>{targetExhausted, 4, {'a', 'b', 0xE9}}));
  // Resuming from the cursor finishes the job.
  const UTF8* src = in.data();
  UTF16 buf[8];
  UTF16* dst = buf;
  EXPECT_EQ(ConvertUTF8toUTF16(&src, in.data() + in.size(), &dst, buf + 3, kStrict),
            targetExhausted);
  EXPECT_EQ(ConvertUTF8toUTF16(&src, in.data() + in.size(), &dst, buf + 8, kStrict), conversionOK);
  EXPECT_EQ(Units16(buf, dst), (Units16{'a', 'b', 0xE9, 0x20AC}));
}

TEST(ConvertUtfTest, ErrorBeforeTargetCheck) {
  // An illegal sequence is reported even when the target is already full.
  EXPECT_EQ(To16(B({'a', 0x80}), kLenient, 1), (Outcome<UTF16>{sourceIllegal, 1, {'a'}}));
  EXPECT_EQ(To16(B({'a', 0xC3}), kLenient, 1), (Outcome<UTF16>{sourceExhausted, 1, {'a'}}));
}

TEST(ConvertUtfTest, IsLegalUtf8SequenceBoundaries) {
  auto legal = [](Bytes b) { return isLegalUTF8Sequence(b.data(), b.data() + b.size()); };
  EXPECT_TRUE(legal(B({0x00})));
  EXPECT_TRUE(legal(B({0x7F})));
  EXPECT_TRUE(legal(B({0xC2, 0x80})));
  EXPECT_TRUE(legal(B({0xDF, 0xBF})));
  EXPECT_TRUE(legal(B({0xE0, 0xA0, 0x80})));
  EXPECT_TRUE(legal(B({0xEF, 0xBF, 0xBF})));
  EXPECT_TRUE(legal(B({0xF0, 0x90, 0x80, 0x80})));
  EXPECT_TRUE(legal(B({0xF4, 0x8F, 0xBF, 0xBF})));
  EXPECT_TRUE(legal(B({0xE1, 0x80, 0x80})));
  EXPECT_FALSE(legal(B({0xC2, 0xC0})));
  EXPECT_FALSE(legal(B({0xE0, 0x9F, 0x80})));
  EXPECT_FALSE(legal(B({0xF0, 0x8F, 0x80, 0x80})));
  EXPECT_FALSE(legal(B({0xF4, 0x90, 0x80, 0x80})));
  EXPECT_FALSE(legal(B({0xF1, 0x80, 0x80, 0x7F})));
  EXPECT_FALSE(legal(B({0xC2})));  // runs past the end
  EXPECT_FALSE(legal({}));
  // Only the first sequence is looked at.
  EXPECT_TRUE(legal(B({0x41, 0x80})));
}

TEST(ConvertUtfTest, Utf16ToUtf8TrailingHighSurrogate) {
  Units16 in{'a', 0xD83D};
  for (auto f : kModes) {
    EXPECT_EQ(From16To8(in, f), (Outcome<UTF8>{conversionOK, 2, {'a', 0xED, 0xA0, 0xBD}}));
    EXPECT_EQ(Size8(in, f), 4);
    EXPECT_EQ(Size8({0xD83D}, f), 3);
    EXPECT_EQ(From16To32(in, f), (Outcome<UTF32>{conversionOK, 2, {'a', 0xD83D}}));
  }
}

TEST(ConvertUtfTest, Utf16ToUtf8UnpairedSurrogates) {
  // High surrogate followed by a non-low unit.
  Units16 high{'a', 0xD800, 'b'};
  EXPECT_EQ(From16To8(high, kStrict), (Outcome<UTF8>{sourceIllegal, 1, {'a'}}));
  EXPECT_EQ(From16To8(high, kLenient),
            (Outcome<UTF8>{conversionOK, 3, {'a', 0xED, 0xA0, 0x80, 'b'}}));
  EXPECT_EQ(Size8(high, kStrict), -3);
  EXPECT_EQ(Size8(high, kLenient), 5);
  // Two high surrogates in a row: the first is unpaired, the second is last.
  Units16 two{0xDBFF, 0xDBFF};
  EXPECT_EQ(From16To8(two, kStrict).result, sourceIllegal);
  EXPECT_EQ(From16To8(two, kLenient).out, B({0xED, 0xAF, 0xBF, 0xED, 0xAF, 0xBF}));
  // Lone low surrogate.
  Units16 low{'a', 0xDC00, 'b'};
  EXPECT_EQ(From16To8(low, kStrict), (Outcome<UTF8>{sourceIllegal, 1, {'a'}}));
  EXPECT_EQ(From16To8(low, kLenient),
            (Outcome<UTF8>{conversionOK, 3, {'a', 0xED, 0xB0, 0x80, 'b'}}));
  EXPECT_EQ(Size8(low, kStrict), -3);
  EXPECT_EQ(Size8(low, kLenient), 5);
  // Low then high is not a pair.
  Units16 reversed{0xDC00, 0xD800};
  EXPECT_EQ(From16To8(reversed, kLenient).out, B({0xED, 0xB0, 0x80, 0xED, 0xA0, 0x80}));
  // UTF-32 follows the same rules.
  EXPECT_EQ(From16To32(high, kStrict), (Outcome<UTF32>{sourceIllegal, 1, {'a'}}));
  EXPECT_EQ(From16To32(high, kLenient), (Outcome<UTF32>{conversionOK, 3, {'a', 0xD800, 'b'}}));
  EXPECT_EQ(From16To32(low, kStrict), (Outcome<UTF32>{sourceIllegal, 1, {'a'}}));
  EXPECT_EQ(From16To32(low, kLenient), (Outcome<UTF32>{conversionOK, 3, {'a', 0xDC00, 'b'}}));
}

TEST(ConvertUtfTest, Utf16ToUtf8Lengths) {
  Units16 in{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xD800, 0xDC00, 0xDBFF, 0xDFFF};
  auto o = From16To8(in, kStrict);
  EXPECT_EQ(o.result, conversionOK);
  EXPECT_EQ(o.out, B({0x7F, 0xC2, 0x80, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xEF, 0xBF, 0xBF, 0xF0, 0x90,
                      0x80, 0x80, 0xF4, 0x8F, 0xBF, 0xBF}));
  EXPECT_EQ(Size8(in, kStrict), 19);
}

TEST(ConvertUtfTest, Utf16ToUtf8TargetExhaustedNeedsTheWholeSequence) {
  Units16 in{'a', 0xE9, 0x20AC, 0xD83D, 0xDE00};  // 1 + 2 + 3 + 4 bytes
  for (auto f : kModes) {
    EXPECT_EQ(From16To8(in, f, 0), (Outcome<UTF8>{targetExhausted, 0, {}}));
    EXPECT_EQ(From16To8(in, f, 2), (Outcome<UTF8>{targetExhausted, 1, {'a'}}));
    EXPECT_EQ(From16To8(in, f, 5), (Outcome<UTF8>{targetExhausted, 2, {'a', 0xC3, 0xA9}}));
    EXPECT_EQ(From16To8(in, f, 9).result, targetExhausted);
    EXPECT_EQ(From16To8(in, f, 9).consumed, 3u);  // cursor at the high surrogate
    EXPECT_EQ(From16To8(in, f, 10).result, conversionOK);
    EXPECT_EQ(From16To32(in, f, 3), (Outcome<UTF32>{targetExhausted, 3, {'a', 0xE9, 0x20AC}}));
    EXPECT_EQ(From16To32(in, f, 4).result, conversionOK);
  }
}

TEST(ConvertUtfTest, Utf32ToUtf16) {
  Units32 in{0x41, 0xFFFF, 0x10000, 0x10FFFF};
  for (auto f : kModes) {
    EXPECT_EQ(From32To16(in, f),
              (Outcome<UTF16>{conversionOK, 4, {0x41, 0xFFFF, 0xD800, 0xDC00, 0xDBFF, 0xDFFF}}));
    EXPECT_EQ(Size32To16(in, f), 6);
  }
  // Surrogate values.
  Units32 sur{'a', 0xDC00, 'b'};
  EXPECT_EQ(From32To16(sur, kStrict), (Outcome<UTF16>{sourceIllegal, 1, {'a'}}));
  EXPECT_EQ(From32To16(sur, kLenient), (Outcome<UTF16>{conversionOK, 3, {'a', 0xDC00, 'b'}}));
  EXPECT_EQ(Size32To16(sur, kStrict), -3);
  EXPECT_EQ(Size32To16(sur, kLenient), 3);
}

TEST(ConvertUtfTest, Utf32ToUtf16StrictSkipsValuesAboveMax) {
  Units32 in{0x41, 0x110000, 0x42};
  EXPECT_EQ(From32To16(in, kStrict), (Outcome<UTF16>{sourceIllegal, 3, {0x41, 0x42}}));
  EXPECT_EQ(From32To16(in, kLenient), (Outcome<UTF16>{conversionOK, 3, {0x41, 0xFFFD, 0x42}}));
  EXPECT_EQ(Size32To16(in, kStrict), -3);
  EXPECT_EQ(Size32To16(in, kLenient), 3);
  Units32 huge{0xFFFFFFFF};
  EXPECT_EQ(From32To16(huge, kLenient).out, Units16{0xFFFD});
  EXPECT_EQ(From32To16(huge, kStrict), (Outcome<UTF16>{sourceIllegal, 1, {}}));
  // A later failure replaces the remembered one.
  Units32 then_full{0x110000, 0x41, 0x42};
  EXPECT_EQ(From32To16(then_full, kStrict, 1), (Outcome<UTF16>{targetExhausted, 2, {0x41}}));
}

TEST(ConvertUtfTest, Utf32ToUtf16TargetRoom) {
  Units32 in{'a', 0x1F600};
  for (auto f : kModes) {
    EXPECT_EQ(From32To16(in, f, 2), (Outcome<UTF16>{targetExhausted, 1, {'a'}}));
    EXPECT_EQ(From32To16(in, f, 3).result, conversionOK);
    EXPECT_EQ(From32To16(in, f, 0), (Outcome<UTF16>{targetExhausted, 0, {}}));
  }
}

TEST(ConvertUtfTest, Utf32ToUtf8AboveTheUnicodeRange) {
  for (auto f : kModes) {
    EXPECT_EQ(From32To8({0x110000}, f), (Outcome<UTF8>{conversionOK, 1, {0xF4, 0x90, 0x80, 0x80}}));
    EXPECT_EQ(From32To8({0x1FFFFF}, f), (Outcome<UTF8>{conversionOK, 1, {0xF7, 0xBF, 0xBF, 0xBF}}));
    EXPECT_EQ(From32To8({0x200000}, f), (Outcome<UTF8>{conversionOK, 1, {0xFF, 0xBD}}));
    EXPECT_EQ(From32To8({0xFFFFFFFF, 'x'}, f), (Outcome<UTF8>{conversionOK, 2, {0xFF, 0xBD, 'x'}}));
    // The replacement takes two bytes of room.
    EXPECT_EQ(From32To8({'a', 0x200000}, f, 2), (Outcome<UTF8>{targetExhausted, 1, {'a'}}));
  }
}

TEST(ConvertUtfTest, Utf32ToUtf8Surrogates) {
  Units32 in{'a', 0xD800, 'b'};
  EXPECT_EQ(From32To8(in, kStrict), (Outcome<UTF8>{sourceIllegal, 1, {'a'}}));
  EXPECT_EQ(From32To8(in, kLenient),
            (Outcome<UTF8>{conversionOK, 3, {'a', 0xED, 0xA0, 0x80, 'b'}}));
  EXPECT_EQ(From32To8({0xDFFF}, kStrict).result, sourceIllegal);
  EXPECT_EQ(From32To8({0xD7FF, 0xE000}, kStrict).out, B({0xED, 0x9F, 0xBF, 0xEE, 0x80, 0x80}));
}

TEST(ConvertUtfTest, Utf32ToUtf8TargetRoom) {
  Units32 in{'a', 0x20AC, 0x1F600};
  for (auto f : kModes) {
    EXPECT_EQ(From32To8(in, f, 3), (Outcome<UTF8>{targetExhausted, 1, {'a'}}));
    EXPECT_EQ(From32To8(in, f, 7), (Outcome<UTF8>{targetExhausted, 2, {'a', 0xE2, 0x82, 0xAC}}));
    EXPECT_EQ(From32To8(in, f, 8).result, conversionOK);
  }
}

TEST(ConvertUtfTest, Utf8ToUtf32StoresEveryDecodedValue) {
  Bytes in = B("\x7F\xC2\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xED\xB0\x80");
  EXPECT_EQ(To32(in),
            (Outcome<UTF32>{conversionOK, in.size(), {0x7F, 0x80, 0xFFFF, 0x10000, 0xDC00}}));
  EXPECT_EQ(To32(in, 0), (Outcome<UTF32>{targetExhausted, 0, {}}));
}

TEST(ConvertUtfTest, ZeroBytesAreOrdinary) {
  Bytes in = B({'a', 0, 'b'});
  EXPECT_EQ(To16(in, kStrict), (Outcome<UTF16>{conversionOK, 3, {'a', 0, 'b'}}));
  EXPECT_EQ(From16To8({'a', 0, 'b'}, kStrict).out, in);
  EXPECT_EQ(Size16(in, kStrict), 3);
  EXPECT_EQ(Size8({0, 0}, kStrict), 2);
}

// --------------------------------------------------------------------------
// ASCII fast paths: every alignment, every length up to 64, a non-ASCII byte
// or unit at every position.
// --------------------------------------------------------------------------

TEST(ConvertUtfTest, AsciiFastPathUtf8EveryAlignmentAndPosition) {
  alignas(64) UTF8 storage[64 + 16 + 8];
  // What goes at the marked position: a stray continuation byte, the lead
  // of a two-byte sequence (followed by its continuation when there is room)
  // and a three-byte lead followed by ASCII.
  const int kVariants = 3;
  for (std::size_t align = 0; align < 16; ++align) {
    for (std::size_t len = 0; len <= 64; ++len) {
      for (long pos = -1; pos < static_cast<long>(len); ++pos) {
        for (int variant = 0; variant < (pos < 0 ? 1 : kVariants); ++variant) {
          UTF8* p = storage + align;
          for (std::size_t i = 0; i < len; ++i) p[i] = static_cast<UTF8>(0x20 + (i * 7) % 95);
          if (pos >= 0) {
            if (variant == 0) {
              p[pos] = 0x80;
            } else if (variant == 1) {
              p[pos] = 0xC3;
              if (pos + 1 < static_cast<long>(len)) p[pos + 1] = 0xA9;
            } else {
              p[pos] = 0xE2;
            }
          }
          Bytes in(p, p + len);
          SCOPED_TRACE(testing::Message() << "align " << align << " len " << len << " pos " << pos
                                          << " variant " << variant);
          // Convert from the aligned storage itself, not from a copy.
          for (auto f : kModes) {
            UTF16 out[72];
            const UTF8* src = p;
            UTF16* dst = out;
            ConversionResult r = ConvertUTF8toUTF16(&src, p + len, &dst, out + 72, f);
            auto ref = RefFrom8<UTF16>(in, f, 72, false);
            ASSERT_EQ(r, ref.result);
            ASSERT_EQ(static_cast<std::size_t>(src - p), ref.consumed);
            ASSERT_EQ(Units16(out, dst), ref.out);
            ASSERT_EQ(SizeNeededForUTF16(p, p + len, f), RefMeasure(ref));
          }
          ASSERT_EQ(To32(in), (RefFrom8<UTF32>(in, kStrict, in.size() + 1, true)));
        }
      }
    }
  }
}

TEST(ConvertUtfTest, AsciiFastPathUtf8TargetRoom) {
  alignas(64) UTF8 storage[64 + 16];
  for (std::size_t align = 0; align < 16; ++align) {
    for (std::size_t len = 1; len <= 64; ++len) {
      UTF8* p = storage + align;
      for (std::size_t i = 0; i < len; ++i) p[i] = static_cast<UTF8>('a' + i % 26);
      for (std::size_t room = 0; room < len; ++room) {
        UTF16 out[80];
        for (UTF16& u : out) u = kGuard16;
        const UTF8* src = p;
        UTF16* dst = out;
        ASSERT_EQ(ConvertUTF8toUTF16(&src, p + len, &dst, out + room, kLenient), targetExhausted);
        ASSERT_EQ(static_cast<std::size_t>(src - p), room);
        ASSERT_EQ(static_cast<std::size_t>(dst - out), room);
        ASSERT_EQ(out[room], kGuard16) << "align " << align << " len " << len << " room " << room;
        for (std::size_t i = 0; i < room; ++i) ASSERT_EQ(out[i], p[i]);
      }
    }
  }
}

TEST(ConvertUtfTest, AsciiFastPathUtf16EveryAlignmentAndPosition) {
  alignas(64) UTF16 storage[64 + 8 + 8];
  const UTF16 kMarks[] = {0x80, 0xFF, 0x100, 0x7FF, 0x800, 0xD83D, 0xDE00, 0xFFFF};
  for (std::size_t align = 0; align < 8; ++align) {
    for (std::size_t len = 0; len <= 64; ++len) {
      for (long pos = -1; pos < static_cast<long>(len); ++pos) {
        for (std::size_t m = 0; m < (pos < 0 ? 1 : std::size(kMarks)); ++m) {
          UTF16* p = storage + align;
          for (std::size_t i = 0; i < len; ++i) p[i] = static_cast<UTF16>((i * 13) % 128);
          if (pos >= 0) p[pos] = kMarks[m];
          Units16 in(p, p + len);
          SCOPED_TRACE(testing::Message()
                       << "align " << align << " len " << len << " pos " << pos << " mark " << m);
          for (auto f : kModes) {
            UTF8 out[64 * 3 + 8];
            const UTF16* src = p;
            UTF8* dst = out;
            ConversionResult r = ConvertUTF16toUTF8(&src, p + len, &dst, out + sizeof out, f);
            auto ref = RefFrom16<UTF8>(in, f, sizeof out, false);
            ASSERT_EQ(r, ref.result);
            ASSERT_EQ(static_cast<std::size_t>(src - p), ref.consumed);
            ASSERT_EQ(Bytes(out, dst), ref.out);
            ASSERT_EQ(SizeNeededForUTF8(p, p + len, f), RefMeasure(ref));
          }
        }
      }
    }
  }
}

TEST(ConvertUtfTest, AsciiFastPathUtf16TargetRoom) {
  alignas(64) UTF16 storage[64 + 8];
  for (std::size_t align = 0; align < 8; ++align) {
    for (std::size_t len = 1; len <= 64; ++len) {
      UTF16* p = storage + align;
      for (std::size_t i = 0; i < len; ++i) p[i] = static_cast<UTF16>('A' + i % 26);
      for (std::size_t room = 0; room < len; ++room) {
        UTF8 out[80];
        for (UTF8& b : out) b = kGuard8;
        const UTF16* src = p;
        UTF8* dst = out;
        ASSERT_EQ(ConvertUTF16toUTF8(&src, p + len, &dst, out + room, kStrict), targetExhausted);
        ASSERT_EQ(static_cast<std::size_t>(src - p), room);
        ASSERT_EQ(static_cast<std::size_t>(dst - out), room);
        ASSERT_EQ(out[room], kGuard8) << "align " << align << " len " << len << " room " << room;
      }
    }
  }
}

TEST(ConvertUtfTest, BlockPathsUtf8EveryPosition) {
  // The UTF-8 measure checks 16 bytes at a time. Each of these pieces sits at
  // every offset of a text whose own sequences also cross block boundaries
  // at every offset.
  const Bytes kPieces[] = {B({0xE0, 0xA0, 0x80}),
                           B({0xE0, 0x9F, 0xBF}),
                           B({0xF0, 0x90, 0x80, 0x80}),
                           B({0xF0, 0x8F, 0xBF, 0xBF}),
                           B({0xF3, 0xBF, 0xBF, 0xBF}),
                           B({0xED, 0x9F, 0xBF}),
                           B({0xED, 0xA0, 0x80}),
                           B({0xED, 0xBF, 0xBF}),
                           B({0xF4, 0x8F, 0xBF, 0xBF}),
                           B({0xF4, 0x41, 0x80, 0x80}),
                           B({0xF4, 0x90, 0x80, 0x80}),
                           B({0xC0, 0x80}),
                           B({0xC1, 0xBF}),
                           B({0xC2, 0x80}),
                           B({0xDF, 0xBF}),
                           B({0x80}),
                           B({0xBF}),
                           B({0xF5, 0x80, 0x80, 0x80}),
                           B({0xF8, 0x88, 0x80, 0x80, 0x80}),
                           B({0xE4, 0xB8}),
                           B({0xF0, 0x9F, 0x98}),
                           B({0xE4, 0x41, 0x80}),
                           B({0xC3}),
                           B({0xFF})};
  const Bytes kFill[] = {B("a"), B("\xC3\xA9"), B("\xE4\xB8\xAD"), B("\xF0\x9F\x98\x80")};
  for (std::size_t phase = 0; phase < 4; ++phase) {
    for (std::size_t total = 16; total <= 52; total += 3) {
      for (std::size_t at = 0; at <= total; ++at) {
        for (std::size_t k = 0; k < std::size(kPieces); ++k) {
          Bytes in;
          for (std::size_t i = phase; in.size() < at; ++i) {
            const Bytes& f = kFill[i % 4];
            in.insert(in.end(), f.begin(), f.end());
          }
          in.insert(in.end(), kPieces[k].begin(), kPieces[k].end());
          for (std::size_t i = phase + 1; in.size() < total + kPieces[k].size(); ++i) {
            const Bytes& f = kFill[(i * 3) % 4];
            in.insert(in.end(), f.begin(), f.end());
          }
          SCOPED_TRACE(testing::PrintToString(in));
          for (auto f : kModes) {
            auto ref = RefFrom8<UTF16>(in, f, in.size(), false);
            ASSERT_EQ(Size16(in, f), RefMeasure(ref));
            ASSERT_EQ(To16(in, f, in.size()), ref);
          }
        }
      }
    }
  }
}

TEST(ConvertUtfTest, RunsOfThreeByteSequencesEveryPosition) {
  // Runs of three-byte sequences are decoded two at a time; a piece that
  // needs the general step sits at every position of such a run, and the
  // target room ends at every unit.
  const Bytes kPieces[] = {B({0xE0, 0xA0, 0x80}),
                           B({0xE0, 0x9F, 0xBF}),
                           B({0xED, 0x9F, 0xBF}),
                           B({0xED, 0xA0, 0x80}),
                           B({0xEF, 0xBF, 0xBF}),
                           B({0xE4, 0xB8}),
                           B({0xE4, 0x41, 0x80}),
                           B({0xE4, 0xB8, 0xC0}),
                           B({0xC3, 0xA9}),
                           B({'x'}),
                           B({0xF0, 0x9F, 0x98, 0x80}),
                           B({0x80})};
  const Bytes kRun[] = {B("\xE4\xB8\xAD"), B("\xE6\x96\x87"), B("\xE3\x82\xA2"), B("\xEA\xB0\x80")};
  for (std::size_t before = 0; before <= 9; ++before) {
    for (std::size_t after = 0; after <= 4; ++after) {
      for (const Bytes& piece : kPieces) {
        Bytes in;
        for (std::size_t i = 0; i < before; ++i)
          in.insert(in.end(), kRun[i % 4].begin(), kRun[i % 4].end());
        in.insert(in.end(), piece.begin(), piece.end());
        for (std::size_t i = 0; i < after; ++i)
          in.insert(in.end(), kRun[(i + 1) % 4].begin(), kRun[(i + 1) % 4].end());
        SCOPED_TRACE(testing::PrintToString(in));
        for (auto f : kModes) {
          for (std::size_t room = 0; room <= in.size(); ++room) {
            ASSERT_EQ(To16(in, f, room), (RefFrom8<UTF16>(in, f, room, false))) << "room " << room;
          }
          ASSERT_EQ(Size16(in, f), RefMeasure(RefFrom8<UTF16>(in, f, in.size(), false)));
        }
      }
    }
  }
}

TEST(ConvertUtfTest, BlockPathsUtf16AndUtf32EveryPosition) {
  // The UTF-16 <-> UTF-32 converters and measures take blocks of units at a
  // time; a unit that needs the general step sits at every position.
  const UTF16 kMarks16[] = {0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xD800,
                            0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  const UTF32 kMarks32[] = {0xD7FF,  0xD800,   0xDFFF,   0xE000,    0xFFFF,
                            0x10000, 0x10FFFF, 0x110000, 0xFFFFFFFF};
  for (std::size_t len = 0; len <= 40; ++len) {
    for (long pos = -1; pos < static_cast<long>(len); ++pos) {
      for (std::size_t m = 0; m < std::size(kMarks16); ++m) {
        Units16 in(len);
        for (std::size_t i = 0; i < len; ++i) in[i] = static_cast<UTF16>(0x20 + i * 97 % 0x7000);
        if (pos >= 0) in[static_cast<std::size_t>(pos)] = kMarks16[m];
        SCOPED_TRACE(testing::Message() << "len " << len << " pos " << pos << " mark " << m);
        for (auto f : kModes) {
          for (std::size_t room : {len + 1, len / 2, len > 0 ? len - 1 : 0}) {
            ASSERT_EQ(From16To32(in, f, room), (RefFrom16<UTF32>(in, f, room, true))) << room;
          }
          ASSERT_EQ(Size8(in, f), RefMeasure(RefFrom16<UTF8>(in, f, in.size() * 3, false)));
        }
      }
      for (std::size_t m = 0; m < std::size(kMarks32); ++m) {
        Units32 in(len);
        for (std::size_t i = 0; i < len; ++i) in[i] = static_cast<UTF32>(0x41 + i * 331 % 0xC000);
        if (pos >= 0) in[static_cast<std::size_t>(pos)] = kMarks32[m];
        SCOPED_TRACE(testing::Message() << "len " << len << " pos " << pos << " mark " << m);
        for (auto f : kModes) {
          for (std::size_t room : {2 * len + 1, len, len / 2, len > 0 ? len - 1 : 0}) {
            ASSERT_EQ(From32To16(in, f, room), Ref32To16(in, f, room)) << room;
          }
          auto ref = Ref32To16(in, f, 2 * len + 1);
          ASSERT_EQ(Size32To16(in, f),
                    ref.result == sourceIllegal ? -3 : static_cast<int>(ref.out.size()));
        }
      }
    }
  }
}

TEST(ConvertUtfTest, LongInputsMatchReference) {
  // Long enough for the block counters of the measuring functions to be
  // summed several times along the way.
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int variant = 0; variant < 4; ++variant) {
    Units16 u;
    while (u.size() < 300000) {
      std::uint32_t r = rng() % 1000;
      if (variant == 0 || r < 600) {
        u.push_back(static_cast<UTF16>(0x20 + rng() % 0x5F));
      } else if (r < 800) {
        u.push_back(static_cast<UTF16>(0x80 + rng() % 0x780));
      } else if (r < 990 || variant == 1) {
        u.push_back(static_cast<UTF16>(0x4E00 + rng() % 0x5000));
      } else if (variant == 2) {
        u.push_back(static_cast<UTF16>(0xD800 + rng() % 0x400));
        u.push_back(static_cast<UTF16>(0xDC00 + rng() % 0x400));
      } else {
        u.push_back(static_cast<UTF16>(0xD800 + rng() % 0x800));  // often unpaired
      }
    }
    SCOPED_TRACE(testing::Message() << "variant " << variant);
    for (auto f : kModes) {
      auto ref8 = RefFrom16<UTF8>(u, f, u.size() * 3, false);
      ASSERT_EQ(Size8(u, f), RefMeasure(ref8));
      ASSERT_EQ(From16To8(u, f, u.size() * 3), ref8);
      ASSERT_EQ(From16To32(u, f, u.size()), (RefFrom16<UTF32>(u, f, u.size(), true)));
      if (ref8.result != conversionOK) continue;
      Bytes b = ref8.out;
      auto ref16 = RefFrom8<UTF16>(b, f, b.size(), false);
      ASSERT_EQ(Size16(b, f), RefMeasure(ref16));
      ASSERT_EQ(To16(b, f, b.size()), ref16);
      Units32 w = RefFrom16<UTF32>(u, f, u.size(), true).out;
      ASSERT_EQ(Size32To16(w, f), static_cast<int>(u.size()));
      ASSERT_EQ(From32To16(w, f, u.size()), Ref32To16(w, f, u.size()));
    }
  }
}

// --------------------------------------------------------------------------
// Random differential tests against the reference above.
// --------------------------------------------------------------------------

class Generator {
 public:
  explicit Generator(std::uint32_t seed) : rng_(seed) {}

  std::size_t Below(std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(rng_);
  }
  UTF32 Between(UTF32 lo, UTF32 hi) { return std::uniform_int_distribution<UTF32>(lo, hi)(rng_); }

  // A scalar value, weighted towards every encoded length.
  UTF32 Scalar() {
    switch (Below(4)) {
      case 0:
        return Between(0x01, 0x7F);
      case 1:
        return Between(0x80, 0x7FF);
      case 2: {
        UTF32 v = Between(0x800, 0xFFFF - 0x800);
        return v >= 0xD800 ? v + 0x800 : v;  // skip the surrogate range
      }
      default:
        return Between(0x10000, 0x10FFFF);
    }
  }

  // UTF-8 built from pieces; `valid_only` leaves out every illegal piece.
  Bytes Utf8(bool valid_only) {
    Bytes b;
    std::size_t pieces = Below(24);
    for (std::size_t i = 0; i < pieces; ++i) {
      std::size_t kind = valid_only ? Below(3) : Below(12);
      switch (kind) {
        case 0: {  // ASCII run, sometimes long enough for the wide paths
          std::size_t n = Below(3) == 0 ? Below(70) : Below(6);
          for (std::size_t k = 0; k < n; ++k) b.push_back(static_cast<UTF8>(Between(1, 0x7F)));
          break;
        }
        case 1:
        case 2: {
          Bytes e = Encode(Scalar());
          b.insert(b.end(), e.begin(), e.end());
          break;
        }
        case 3:  // surrogate encoding: legal, strict rejects it
          b.insert(b.end(), {0xED, static_cast<UTF8>(Between(0xA0, 0xBF)),
                             static_cast<UTF8>(Between(0x80, 0xBF))});
          break;
        case 4:  // overlong forms
          switch (Below(3)) {
            case 0:
              b.insert(b.end(), {static_cast<UTF8>(Between(0xC0, 0xC1)),
                                 static_cast<UTF8>(Between(0x80, 0xBF))});
              break;
            case 1:
              b.insert(b.end(), {0xE0, static_cast<UTF8>(Between(0x80, 0x9F)),
                                 static_cast<UTF8>(Between(0x80, 0xBF))});
              break;
            default:
              b.insert(b.end(), {0xF0, static_cast<UTF8>(Between(0x80, 0x8F)),
                                 static_cast<UTF8>(Between(0x80, 0xBF)),
                                 static_cast<UTF8>(Between(0x80, 0xBF))});
          }
          break;
        case 5:  // stray continuation byte
          b.push_back(static_cast<UTF8>(Between(0x80, 0xBF)));
          break;
        case 6: {  // bytes that never start a legal sequence, with trailing bytes
          b.push_back(static_cast<UTF8>(Between(0xF5, 0xFF)));
          std::size_t n = Below(6);
          for (std::size_t k = 0; k < n; ++k) b.push_back(static_cast<UTF8>(Between(0x80, 0xBF)));
          break;
        }
        case 7: {  // a sequence cut short
          Bytes e = Encode(Between(0x80, 0x10FFFF));
          b.insert(b.end(), e.begin(), e.begin() + static_cast<long>(Below(e.size())));
          break;
        }
        case 8:  // F4 with a second byte below 0x80 or above 0x8F
          b.insert(
              b.end(),
              {0xF4, static_cast<UTF8>(Below(2) ? Between(0, 0x7F) : Between(0x90, 0xBF)),
               static_cast<UTF8>(Between(0x80, 0xBF)), static_cast<UTF8>(Between(0x80, 0xBF))});
          break;
        case 9:  // a zero byte
          b.push_back(0);
          break;
        default:  // any byte
          b.push_back(static_cast<UTF8>(Between(0, 0xFF)));
      }
    }
    return b;
  }

  // UTF-16 units with paired and unpaired surrogates unless `valid_only`.
  Units16 Utf16(bool valid_only) {
    Units16 u;
    std::size_t n = Below(48);
    for (std::size_t i = 0; i < n; ++i) {
      std::size_t kind = valid_only ? Below(3) : Below(6);
      if (kind == 0) {
        std::size_t run = Below(20);
        for (std::size_t k = 0; k < run; ++k) u.push_back(static_cast<UTF16>(Between(1, 0x7F)));
      } else if (kind <= 2) {
        UTF32 v = Scalar();
        if (v >= 0x10000) {
          u.push_back(static_cast<UTF16>(0xD800 + ((v - 0x10000) >> 10)));
          u.push_back(static_cast<UTF16>(0xDC00 + ((v - 0x10000) & 0x3FF)));
        } else {
          u.push_back(static_cast<UTF16>(v));
        }
      } else if (kind == 3) {
        u.push_back(static_cast<UTF16>(Between(0xD800, 0xDBFF)));
      } else if (kind == 4) {
        u.push_back(static_cast<UTF16>(Between(0xDC00, 0xDFFF)));
      } else {
        u.push_back(static_cast<UTF16>(Between(0, 0xFFFF)));
      }
    }
    return u;
  }

  // UTF-32 values: scalars, surrogates, and values past both limits.
  Units32 Utf32(bool valid_only) {
    Units32 u;
    std::size_t n = Below(40);
    for (std::size_t i = 0; i < n; ++i) {
      std::size_t kind = valid_only ? 0 : Below(6);
      if (kind <= 1)
        u.push_back(Scalar());
      else if (kind == 2)
        u.push_back(Between(0xD800, 0xDFFF));
      else if (kind == 3)
        u.push_back(Between(0x110000, 0x1FFFFF));
      else if (kind == 4)
        u.push_back(Between(0x200000, 0xFFFFFFFF));
      else
        u.push_back(Between(0, 0xFFFFFFFF));
    }
    return u;
  }

 private:
  std::mt19937 rng_;
};

constexpr int kRandomInputs = 3000;

TEST(ConvertUtfTest, RandomUtf8MatchesReference) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::printf("ConvertUtfTest.RandomUtf8MatchesReference seed %u\n", seed);
  Generator gen(seed);
  int valid = 0, invalid = 0;
  for (int n = 0; n < kRandomInputs; ++n) {
    Bytes in = gen.Utf8(n % 2 == 0);
    SCOPED_TRACE(testing::Message() << "input " << n << ": " << testing::PrintToString(in));
    std::size_t room = in.size() + 1;
    for (auto f : kModes) {
      auto ref = RefFrom8<UTF16>(in, f, room, false);
      ASSERT_EQ(To16(in, f, room), ref);
      ASSERT_EQ(Size16(in, f), RefMeasure(ref));
      // With less room the cursor still matches the reference.
      std::size_t small = gen.Below(room + 1);
      ASSERT_EQ(To16(in, f, small), (RefFrom8<UTF16>(in, f, small, false))) << "room " << small;
    }
    auto ref32 = RefFrom8<UTF32>(in, kStrict, room, true);
    ASSERT_EQ(To32(in), ref32);
    std::size_t small = gen.Below(room + 1);
    ASSERT_EQ(To32(in, small), (RefFrom8<UTF32>(in, kStrict, small, true)));
    bool ok = isLegalUTF8Sequence(in.data(), in.data() + in.size());
    if (!in.empty()) {
      int len = AnnouncedLength(in[0]);
      ASSERT_EQ(ok, len <= static_cast<int>(in.size()) && RefLegal(in.data(), len));
    }
    (Size16(in, kStrict) >= 0 ? valid : invalid)++;
  }
  // The generator must exercise both sides.
  EXPECT_GT(valid, kRandomInputs / 3);
  EXPECT_GT(invalid, kRandomInputs / 10);
}

TEST(ConvertUtfTest, RandomUtf16MatchesReference) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::printf("ConvertUtfTest.RandomUtf16MatchesReference seed %u\n", seed);
  Generator gen(seed + 1);
  for (int n = 0; n < kRandomInputs; ++n) {
    Units16 in = gen.Utf16(n % 2 == 0);
    SCOPED_TRACE(testing::Message() << "input " << n << ": " << testing::PrintToString(in));
    for (auto f : kModes) {
      std::size_t room8 = in.size() * 3 + 1;
      auto ref8 = RefFrom16<UTF8>(in, f, room8, false);
      ASSERT_EQ(From16To8(in, f, room8), ref8);
      ASSERT_EQ(Size8(in, f), RefMeasure(ref8));
      std::size_t small = gen.Below(room8 + 1);
      ASSERT_EQ(From16To8(in, f, small), (RefFrom16<UTF8>(in, f, small, false))) << small;
      std::size_t room32 = in.size() + 1;
      ASSERT_EQ(From16To32(in, f, room32), (RefFrom16<UTF32>(in, f, room32, true)));
      small = gen.Below(room32 + 1);
      ASSERT_EQ(From16To32(in, f, small), (RefFrom16<UTF32>(in, f, small, true))) << small;
    }
  }
}

TEST(ConvertUtfTest, RandomUtf32MatchesReference) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::printf("ConvertUtfTest.RandomUtf32MatchesReference seed %u\n", seed);
  Generator gen(seed + 2);
  for (int n = 0; n < kRandomInputs; ++n) {
    Units32 in = gen.Utf32(n % 2 == 0);
    SCOPED_TRACE(testing::Message() << "input " << n << ": " << testing::PrintToString(in));
    for (auto f : kModes) {
      std::size_t room16 = in.size() * 2 + 1;
      auto ref16 = Ref32To16(in, f, room16);
      ASSERT_EQ(From32To16(in, f, room16), ref16);
      ASSERT_EQ(Size32To16(in, f),
                ref16.result == sourceIllegal ? -3 : static_cast<int>(ref16.out.size()));
      std::size_t small = gen.Below(room16 + 1);
      ASSERT_EQ(From32To16(in, f, small), Ref32To16(in, f, small)) << small;
      std::size_t room8 = in.size() * 4 + 1;
      ASSERT_EQ(From32To8(in, f, room8), Ref32To8(in, f, room8));
      small = gen.Below(room8 + 1);
      ASSERT_EQ(From32To8(in, f, small), Ref32To8(in, f, small)) << small;
    }
  }
}

// --------------------------------------------------------------------------
// Invariants over random input.
// --------------------------------------------------------------------------

TEST(ConvertUtfTest, MeasuredSizeEqualsConvertedSize) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  Generator gen(seed + 3);
  for (int n = 0; n < kRandomInputs; ++n) {
    Bytes b = gen.Utf8(n % 3 != 0);
    Units16 u = gen.Utf16(n % 3 != 0);
    Units32 w = gen.Utf32(n % 3 != 0);
    for (auto f : kModes) {
      // Exactly the measured room suffices (no unit more is needed).
      int n16 = Size16(b, f);
      if (n16 >= 0) {
        auto o = To16(b, f, static_cast<std::size_t>(n16));
        ASSERT_EQ(o.result, conversionOK) << testing::PrintToString(b);
        ASSERT_EQ(o.out.size(), static_cast<std::size_t>(n16));
      }
      int n8 = Size8(u, f);
      if (n8 >= 0) {
        auto o = From16To8(u, f, static_cast<std::size_t>(n8));
        ASSERT_EQ(o.result, conversionOK) << testing::PrintToString(u);
        ASSERT_EQ(o.out.size(), static_cast<std::size_t>(n8));
      }
      int n32 = Size32To16(w, f);
      if (n32 >= 0) {
        auto o = From32To16(w, f, static_cast<std::size_t>(n32));
        ASSERT_EQ(o.result, conversionOK) << testing::PrintToString(w);
        ASSERT_EQ(o.out.size(), static_cast<std::size_t>(n32));
      }
    }
    // Lenient measures never fail except for UTF-8 problems.
    ASSERT_GE(Size8(u, kLenient), 0);
    ASSERT_GE(Size32To16(w, kLenient), 0);
  }
}

TEST(ConvertUtfTest, StrictSuccessMeansLenientGivesTheSameOutput) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  Generator gen(seed + 4);
  int strict_ok = 0;
  for (int n = 0; n < kRandomInputs; ++n) {
    Bytes b = gen.Utf8(n % 2 == 0);
    if (auto s = To16(b, kStrict); s.result == conversionOK) {
      ++strict_ok;
      ASSERT_EQ(To16(b, kLenient), s);
    }
    Units16 u = gen.Utf16(n % 2 == 0);
    if (auto s = From16To8(u, kStrict); s.result == conversionOK) {
      ASSERT_EQ(From16To8(u, kLenient), s);
    }
    if (auto s = From16To32(u, kStrict); s.result == conversionOK) {
      ASSERT_EQ(From16To32(u, kLenient), s);
    }
    Units32 w = gen.Utf32(n % 2 == 0);
    if (auto s = From32To16(w, kStrict); s.result == conversionOK) {
      ASSERT_EQ(From32To16(w, kLenient), s);
    }
    if (auto s = From32To8(w, kStrict); s.result == conversionOK) {
      ASSERT_EQ(From32To8(w, kLenient), s);
    }
  }
  EXPECT_GT(strict_ok, kRandomInputs / 3);
}

TEST(ConvertUtfTest, ValidTextRoundTrips) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  Generator gen(seed + 5);
  for (int n = 0; n < kRandomInputs; ++n) {
    Bytes b = gen.Utf8(true);
    SCOPED_TRACE(testing::PrintToString(b));
    auto u16 = To16(b, kStrict);
    ASSERT_EQ(u16.result, conversionOK);
    auto back = From16To8(u16.out, kStrict);
    ASSERT_EQ(back.result, conversionOK);
    ASSERT_EQ(back.out, b);
    auto u32 = To32(b);
    ASSERT_EQ(u32.result, conversionOK);
    ASSERT_EQ(From32To8(u32.out, kStrict).out, b);
    ASSERT_EQ(From32To16(u32.out, kStrict).out, u16.out);
    ASSERT_EQ(From16To32(u16.out, kStrict).out, u32.out);
  }
  // Lenient UTF-16 with lone surrogates also survives UTF-8 and back.
  for (int n = 0; n < kRandomInputs; ++n) {
    Units16 u = gen.Utf16(false);
    auto b = From16To8(u, kLenient);
    ASSERT_EQ(b.result, conversionOK);
    ASSERT_EQ(To16(b.out, kLenient).out, u) << testing::PrintToString(u);
  }
}

// --------------------------------------------------------------------------
// Wide block kernels: long inputs (the kernels take 32 to 64 elements at a
// time) through every kernel the processor has and through none, each
// compared with the reference, with defects at every position of a block.
// --------------------------------------------------------------------------

using tavrin::utils::detail::UtfKernel;

// Runs `body` once per kernel: with none (SSE2 and single steps) and with
// every wide kernel this processor supports.
template <class Body>
void ForEachKernel(Body body) {
  const UtfKernel before = tavrin::utils::detail::ActiveUtfKernel();
  for (UtfKernel k : {UtfKernel::kNone, UtfKernel::kAvx512}) {
    if (!tavrin::utils::detail::SetUtfKernel(k)) {
      std::printf("kernel %d not supported here: its run is left out\n", static_cast<int>(k));
      continue;
    }
    SCOPED_TRACE(testing::Message() << "kernel " << static_cast<int>(k));
    body();
    if (testing::Test::HasFatalFailure()) break;
  }
  (void)tavrin::utils::detail::SetUtfKernel(before);
}

// Long UTF-8: valid pieces of every length, mostly, with now and then a
// piece from the full generator (illegal, cut off, surrogate encodings).
Bytes LongUtf8(Generator& gen, std::size_t target, bool defects) {
  Bytes b;
  while (b.size() < target) {
    Bytes piece = gen.Utf8(!defects || gen.Below(12) != 0);
    b.insert(b.end(), piece.begin(), piece.end());
  }
  return b;
}

Units16 LongUtf16(Generator& gen, std::size_t target, bool defects) {
  Units16 u;
  while (u.size() < target) {
    Units16 piece = gen.Utf16(!defects || gen.Below(12) != 0);
    u.insert(u.end(), piece.begin(), piece.end());
  }
  return u;
}

Units32 LongUtf32(Generator& gen, std::size_t target, bool defects) {
  Units32 u;
  while (u.size() < target) {
    Units32 piece = gen.Utf32(!defects || gen.Below(12) != 0);
    u.insert(u.end(), piece.begin(), piece.end());
  }
  return u;
}

TEST(ConvertUtfTest, KernelsMatchReferenceOnLongUtf8) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  ForEachKernel([&] {
    Generator gen(seed + 11);
    for (int n = 0; n < 400; ++n) {
      const Bytes in = LongUtf8(gen, 64 + gen.Below(1500), n % 3 != 0);
      SCOPED_TRACE(testing::Message() << "input " << n << " of " << in.size() << " bytes");
      for (auto f : kModes) {
        const std::size_t room = in.size() + 1;
        const auto ref = RefFrom8<UTF16>(in, f, room, false);
        ASSERT_EQ(To16(in, f, room), ref);
        ASSERT_EQ(Size16(in, f), RefMeasure(ref));
        const std::size_t small = gen.Below(room + 1);
        ASSERT_EQ(To16(in, f, small), (RefFrom8<UTF16>(in, f, small, false))) << "room " << small;
      }
    }
  });
}

TEST(ConvertUtfTest, KernelsMatchReferenceOnLongUtf16And32) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  ForEachKernel([&] {
    Generator gen(seed + 12);
    for (int n = 0; n < 400; ++n) {
      const Units16 in = LongUtf16(gen, 32 + gen.Below(800), n % 3 != 0);
      SCOPED_TRACE(testing::Message() << "UTF-16 input " << n << " of " << in.size() << " units");
      for (auto f : kModes) {
        const std::size_t room8 = in.size() * 3 + 1;
        const auto ref8 = RefFrom16<UTF8>(in, f, room8, false);
        ASSERT_EQ(From16To8(in, f, room8), ref8);
        ASSERT_EQ(Size8(in, f), RefMeasure(ref8));
        std::size_t small = gen.Below(room8 + 1);
        ASSERT_EQ(From16To8(in, f, small), (RefFrom16<UTF8>(in, f, small, false))) << small;
        const std::size_t room32 = in.size() + 1;
        ASSERT_EQ(From16To32(in, f, room32), (RefFrom16<UTF32>(in, f, room32, true)));
        small = gen.Below(room32 + 1);
        ASSERT_EQ(From16To32(in, f, small), (RefFrom16<UTF32>(in, f, small, true))) << small;
      }
      const Units32 w = LongUtf32(gen, 32 + gen.Below(500), n % 3 != 0);
      SCOPED_TRACE(testing::Message() << "UTF-32 input " << n << " of " << w.size() << " values");
      for (auto f : kModes) {
        const std::size_t room16 = w.size() * 2 + 1;
        const auto ref16 = Ref32To16(w, f, room16);
        ASSERT_EQ(From32To16(w, f, room16), ref16);
        ASSERT_EQ(Size32To16(w, f),
                  ref16.result == sourceIllegal ? -3 : static_cast<int>(ref16.out.size()));
        const std::size_t small = gen.Below(room16 + 1);
        ASSERT_EQ(From32To16(w, f, small), Ref32To16(w, f, small)) << small;
      }
    }
  });
}

TEST(ConvertUtfTest, KernelsStopAtADefectAtEveryPosition) {
  // A valid text holding every sequence length, repeated past two 64-byte
  // blocks, with one defect put at each position in turn.
  Bytes base;
  const UTF32 values[] = {u'a', 0xE9, 0x4E2D, 0x1F600, u' ', 0x3042, 0x10FFFF, 0x7FF, 0x800};
  for (int round = 0; base.size() < 200; ++round)
    for (UTF32 v : values) {
      Bytes e = Encode(v);
      base.insert(base.end(), e.begin(), e.end());
    }
  const Bytes defects[] = {{0x80},
                           {0xC0, 0x80},
                           {0xF5},
                           {0xE0, 0x80, 0x80},
                           {0xED, 0xA0, 0x80},
                           {0xF4, 0x90, 0x80, 0x80},
                           {0xE4, 0xB8},
                           {0xF0, 0x8F, 0x80, 0x80},
                           {0}};
  ForEachKernel([&] {
    for (const Bytes& defect : defects) {
      for (std::size_t at = 0; at <= base.size(); ++at) {
        Bytes in(base.begin(), base.begin() + static_cast<long>(at));
        in.insert(in.end(), defect.begin(), defect.end());
        in.insert(in.end(), base.begin() + static_cast<long>(at), base.end());
        SCOPED_TRACE(testing::Message()
                     << "defect " << testing::PrintToString(defect) << " at " << at);
        for (auto f : kModes) {
          const auto ref = RefFrom8<UTF16>(in, f, in.size() + 1, false);
          ASSERT_EQ(To16(in, f, in.size() + 1), ref);
          ASSERT_EQ(Size16(in, f), RefMeasure(ref));
        }
      }
    }
  });
}

TEST(ConvertUtfTest, KernelsHandleSurrogatesAtEveryPosition) {
  // Pairs, lone highs and lone lows at each position of a long run of
  // units of every UTF-8 length.
  Units16 base;
  const UTF16 units[] = {u'a', 0xE9, 0x4E2D, 0x7FF, 0x800, 0xFFFF, u'z'};
  while (base.size() < 100)
    for (UTF16 u : units) base.push_back(u);
  const Units16 pieces[] = {
      {0xD83D, 0xDE00}, {0xD800}, {0xDC00}, {0xDBFF, 0xDFFF}, {0xDC00, 0xD800}};
  const Units32 values32[] = {{0x1F600}, {0xD800}, {0x110000}, {0xFFFF}, {0x10FFFF, 0x10000}};
  ForEachKernel([&] {
    for (const Units16& piece : pieces) {
      for (std::size_t at = 0; at <= base.size(); ++at) {
        Units16 in(base.begin(), base.begin() + static_cast<long>(at));
        in.insert(in.end(), piece.begin(), piece.end());
        in.insert(in.end(), base.begin() + static_cast<long>(at), base.end());
        SCOPED_TRACE(testing::Message()
                     << "piece " << testing::PrintToString(piece) << " at " << at);
        for (auto f : kModes) {
          const auto ref8 = RefFrom16<UTF8>(in, f, in.size() * 3 + 1, false);
          ASSERT_EQ(From16To8(in, f, in.size() * 3 + 1), ref8);
          ASSERT_EQ(Size8(in, f), RefMeasure(ref8));
          ASSERT_EQ(From16To32(in, f, in.size() + 1),
                    (RefFrom16<UTF32>(in, f, in.size() + 1, true)));
        }
      }
    }
    Units32 base32(base.begin(), base.end());
    for (const Units32& piece : values32) {
      for (std::size_t at = 0; at <= base32.size(); ++at) {
        Units32 in(base32.begin(), base32.begin() + static_cast<long>(at));
        in.insert(in.end(), piece.begin(), piece.end());
        in.insert(in.end(), base32.begin() + static_cast<long>(at), base32.end());
        SCOPED_TRACE(testing::Message()
                     << "value " << testing::PrintToString(piece) << " at " << at);
        for (auto f : kModes) {
          const auto ref16 = Ref32To16(in, f, in.size() * 2 + 1);
          ASSERT_EQ(From32To16(in, f, in.size() * 2 + 1), ref16);
          ASSERT_EQ(Size32To16(in, f),
                    ref16.result == sourceIllegal ? -3 : static_cast<int>(ref16.out.size()));
        }
      }
    }
  });
}

TEST(ConvertUtfTest, KernelChoiceFollowsTheProcessor) {
  using tavrin::utils::detail::BestUtfKernel;
  using tavrin::utils::detail::SetUtfKernel;
  const UtfKernel before = tavrin::utils::detail::ActiveUtfKernel();
  EXPECT_EQ(before, BestUtfKernel());
  EXPECT_TRUE(SetUtfKernel(UtfKernel::kNone));
  EXPECT_EQ(tavrin::utils::detail::ActiveUtfKernel(), UtfKernel::kNone);
  EXPECT_EQ(SetUtfKernel(UtfKernel::kAvx512), BestUtfKernel() == UtfKernel::kAvx512);
  EXPECT_TRUE(SetUtfKernel(before));
}

}  // namespace
