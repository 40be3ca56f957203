// convertutf_fuzz.cpp - the UTF converters and measuring functions on
// arbitrary input.
//
// The input is read three ways: as UTF-8 bytes, as little-endian UTF-16
// units and as little-endian UTF-32 values. For each, in both modes, the
// target checks:
//   - a measured size equals what the converter writes, and a negative
//     measure is the negated result the converter reports;
//   - the measure agrees with a small reference validator written here from
//     the published rules (lead-byte table, second-byte ranges, surrogates);
//   - strict success implies the lenient conversion gives the same output;
//   - converting in small target chunks, resuming after targetExhausted,
//     gives the same output as one call;
//   - well-formed text round-trips (UTF-8 -> UTF-16 -> UTF-8, UTF-16 -> UTF-8
//     -> UTF-16, UTF-8 -> UTF-32 equals UTF-8 -> UTF-16 -> UTF-32);
//   - well-formed text converts as the C library's iconv converts it.
// Buffers are allocated at exactly the measured size, so a write past the end
// shows up under AddressSanitizer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#if __has_include(<iconv.h>)
#include <iconv.h>
#define TAVRIN_FUZZ_HAVE_ICONV 1
#endif

#include "common/utils/convertutf.h"

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "convertutf_fuzz: %s\n", what);
    std::abort();
  }
}

constexpr ConversionFlags kModes[2] = {strictConversion, lenientConversion};

// --- Reference UTF-8 rules. ------------------------------------------------

int TrailingBytes(UTF8 lead) {
  if (lead < 0xC0) return 0;
  if (lead < 0xE0) return 1;
  if (lead < 0xF0) return 2;
  if (lead < 0xF8) return 3;
  if (lead < 0xFC) return 4;
  return 5;
}

// The legality test of one sequence of `length` bytes, as the rules state it.
bool LegalSequence(const UTF8* s, int length) {
  if (length < 1 || length > 4) return false;
  for (int i = 2; i < length; ++i)
    if (s[i] < 0x80 || s[i] > 0xBF) return false;
  if (length >= 2) {
    const UTF8 b = s[1];
    if (b > 0xBF) return false;
    switch (s[0]) {
      case 0xE0:
        if (b < 0xA0) return false;
        break;
      case 0xF0:
        if (b < 0x90) return false;
        break;
      case 0xF4:
        // Only the upper bound: the older reference rule, kept by the
        // library, lets a byte below 0x80 through here (F4 7A 90 80 decodes
        // to U+FA400).
        if (b > 0x8F) return false;
        break;
      default:
        if (b < 0x80) return false;
    }
  }
  return s[0] < 0x80 || (s[0] >= 0xC2 && s[0] <= 0xF4);
}

// Decodes `in` by the reference rules. Returns the UTF-16 unit count, -1 for
// a sequence cut off by the end, -3 for an illegal one; `out` receives the
// values decoded before the stop, and `older_rule` is set when a sequence
// passed only through the F4 rule above (iconv rejects those).
int ReferenceDecodeUtf8(const std::vector<UTF8>& in, ConversionFlags mode, std::vector<UTF32>* out,
                        bool* older_rule = nullptr) {
  int units = 0;
  std::size_t i = 0;
  while (i < in.size()) {
    const int extra = TrailingBytes(in[i]);
    if (i + extra >= in.size()) return -1;
    if (!LegalSequence(&in[i], extra + 1)) return -3;
    static const UTF32 kOffsets[4] = {0x00000000, 0x00003080, 0x000E2080, 0x03C82080};
    UTF32 v = 0;
    for (int k = 0; k <= extra; ++k) v = v * 64 + in[i + k];
    v -= kOffsets[extra];
    if (extra == 3 && in[i] == 0xF4 && in[i + 1] < 0x80 && older_rule != nullptr)
      *older_rule = true;
    if (v >= 0xD800 && v <= 0xDFFF && mode == strictConversion) return -3;
    units += v > 0xFFFF ? 2 : 1;
    out->push_back(v);
    i += extra + 1;
  }
  return units;
}

// Reference UTF-16 of a list of values (all at most 0x10FFFF here).
std::vector<UTF16> ReferenceUtf16(const std::vector<UTF32>& values) {
  std::vector<UTF16> out;
  for (UTF32 v : values) {
    if (v > 0xFFFF) {
      out.push_back(static_cast<UTF16>(((v - 0x10000) >> 10) + 0xD800));
      out.push_back(static_cast<UTF16>(((v - 0x10000) & 0x3FF) + 0xDC00));
    } else {
      out.push_back(static_cast<UTF16>(v));
    }
  }
  return out;
}

// Reference UTF-8 of one value by the converters' length rule (1 to 4 bytes
// below 0x200000; 0x200000 and above give the two bytes FF BD).
void ReferenceAppendUtf8(UTF32 v, std::vector<UTF8>* out) {
  if (v < 0x80) {
    out->push_back(static_cast<UTF8>(v));
  } else if (v < 0x800) {
    out->push_back(static_cast<UTF8>(0xC0 | (v >> 6)));
    out->push_back(static_cast<UTF8>(0x80 | (v & 0x3F)));
  } else if (v < 0x10000) {
    out->push_back(static_cast<UTF8>(0xE0 | (v >> 12)));
    out->push_back(static_cast<UTF8>(0x80 | ((v >> 6) & 0x3F)));
    out->push_back(static_cast<UTF8>(0x80 | (v & 0x3F)));
  } else if (v < 0x200000) {
    out->push_back(static_cast<UTF8>(0xF0 | (v >> 18)));
    out->push_back(static_cast<UTF8>(0x80 | ((v >> 12) & 0x3F)));
    out->push_back(static_cast<UTF8>(0x80 | ((v >> 6) & 0x3F)));
    out->push_back(static_cast<UTF8>(0x80 | (v & 0x3F)));
  } else {
    out->push_back(0xFF);
    out->push_back(0xBD);
  }
}

bool WellFormedUtf16(const std::vector<UTF16>& in) {
  for (std::size_t i = 0; i < in.size(); ++i) {
    if (in[i] >= 0xD800 && in[i] <= 0xDBFF) {
      if (i + 1 >= in.size() || in[i + 1] < 0xDC00 || in[i + 1] > 0xDFFF) return false;
      ++i;
    } else if (in[i] >= 0xDC00 && in[i] <= 0xDFFF) {
      return false;
    }
  }
  return true;
}

#if defined(TAVRIN_FUZZ_HAVE_ICONV)
// Converts with iconv; false when iconv rejects the input.
bool Iconv(const char* to, const char* from, const void* data, std::size_t size, std::string* out) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  out->assign(size * 4 + 16, '\0');
  char* in = const_cast<char*>(static_cast<const char*>(data));
  std::size_t in_left = size;
  char* o = out->data();
  std::size_t out_left = out->size();
  const std::size_t r = iconv(cd, size != 0 ? &in : nullptr, &in_left, &o, &out_left);
  iconv_close(cd);
  if (r == static_cast<std::size_t>(-1) || in_left != 0) return false;
  out->resize(out->size() - out_left);
  return true;
}
#endif

// --- Generic converter drivers. --------------------------------------------

template <class From, class To, class Fn>
ConversionResult ConvertAll(const std::vector<From>& in, std::size_t room, Fn fn,
                            std::vector<To>* out, std::size_t* consumed) {
  // Exact-size heap buffers: a read or write past either end is reported.
  From* src = static_cast<From*>(std::malloc(sizeof(From) * std::max<std::size_t>(in.size(), 1)));
  To* dst = static_cast<To*>(std::malloc(sizeof(To) * std::max<std::size_t>(room, 1)));
  Check(src != nullptr && dst != nullptr, "out of memory");
  if (!in.empty()) std::memcpy(src, in.data(), sizeof(From) * in.size());
  const From* s = src;
  To* d = dst;
  const ConversionResult r = fn(&s, src + in.size(), &d, dst + room);
  Check(s >= src && s <= src + in.size() && d >= dst && d <= dst + room, "cursor out of range");
  const std::size_t used = static_cast<std::size_t>(s - src);
  out->assign(dst, d);
  *consumed = used;
  std::free(src);
  std::free(dst);
  return r;
}

// Converts in pieces of at most `chunk` target units, resuming after each
// targetExhausted, and returns the final result.
template <class From, class To, class Fn>
ConversionResult ConvertChunked(const std::vector<From>& in, std::size_t chunk, Fn fn,
                                std::vector<To>* out) {
  const From* s = in.data();
  const From* end = in.data() + in.size();
  std::vector<To> piece(chunk);
  for (int guard = 0;; ++guard) {
    Check(guard <= static_cast<int>(in.size()) * 2 + 4, "chunked conversion does not advance");
    To* d = piece.data();
    const From* before = s;
    const ConversionResult r = fn(&s, end, &d, piece.data() + chunk);
    out->insert(out->end(), piece.data(), d);
    if (r != targetExhausted) return r;
    if (s == before && d == piece.data()) return r;  // a sequence needs more than `chunk`
  }
}

// --- UTF-8 input. -----------------------------------------------------------

void FuzzUtf8(const std::vector<UTF8>& in, std::size_t chunk) {
  std::vector<UTF16> out16[2];
  bool ok[2] = {false, false};
  bool older_rule = false;
  for (int m = 0; m < 2; ++m) {
    const ConversionFlags mode = kModes[m];
    const int measured = SizeNeededForUTF16(in.data(), in.data() + in.size(), mode);
    std::vector<UTF32> values;
    const int expected = ReferenceDecodeUtf8(in, mode, &values, &older_rule);
    Check(measured == expected, "SizeNeededForUTF16 differs from the reference rules");

    std::size_t consumed = 0;
    const std::size_t room = measured >= 0 ? static_cast<std::size_t>(measured) : in.size() * 2;
    const ConversionResult r = ConvertAll<UTF8, UTF16>(
        in, room,
        [mode](const UTF8** s, const UTF8* e, UTF16** d, UTF16* de) {
          return ConvertUTF8toUTF16(s, e, d, de, mode);
        },
        &out16[m], &consumed);
    // Whatever was converted before a stop matches the reference values.
    const std::vector<UTF16> reference = ReferenceUtf16(values);
    if (measured >= 0) {
      Check(r == conversionOK, "measured input did not convert");
      Check(consumed == in.size(), "conversion did not consume the input");
      Check(out16[m] == reference, "UTF-8 -> UTF-16 differs from the reference");
      ok[m] = true;
      if (measured > 0) {
        // One unit less than measured is too small.
        std::vector<UTF16> partial;
        std::size_t used = 0;
        const ConversionResult short_r = ConvertAll<UTF8, UTF16>(
            in, static_cast<std::size_t>(measured) - 1,
            [mode](const UTF8** s, const UTF8* e, UTF16** d, UTF16* de) {
              return ConvertUTF8toUTF16(s, e, d, de, mode);
            },
            &partial, &used);
        Check(short_r == targetExhausted, "a short target did not give targetExhausted");
        Check(partial.size() <= reference.size() &&
                  std::equal(partial.begin(), partial.end(), reference.begin()),
              "a short target wrote something else");
      }
    } else {
      Check(static_cast<int>(r) == -measured, "measure and converter disagree on the failure");
      Check(out16[m] == reference, "units before the failure differ from the reference");
    }

    // UTF-8 -> UTF-32 takes no flags and stores what it decodes.
    if (m == 1) {
      std::vector<UTF32> out32;
      const ConversionResult r32 = ConvertAll<UTF8, UTF32>(
          in, in.size(),
          [](const UTF8** s, const UTF8* e, UTF32** d, UTF32* de) {
            return ConvertUTF8toUTF32(s, e, d, de);
          },
          &out32, &consumed);
      Check(static_cast<int>(r32) == (measured >= 0 ? 0 : -measured),
            "UTF-8 -> UTF-32 disagrees with the measure");
      Check(out32 == values, "UTF-8 -> UTF-32 differs from the reference values");
    }

    // Chunked conversion (at least two units a piece, so a pair always
    // fits) gives the same units and result.
    std::vector<UTF16> chunked;
    const ConversionResult rc = ConvertChunked<UTF8, UTF16>(
        in, chunk + 1,
        [mode](const UTF8** s, const UTF8* e, UTF16** d, UTF16* de) {
          return ConvertUTF8toUTF16(s, e, d, de, mode);
        },
        &chunked);
    Check(rc == r && chunked == out16[m], "chunked UTF-8 -> UTF-16 differs");
  }
  if (ok[0]) Check(ok[1] && out16[0] == out16[1], "strict success but lenient differs");

  if (ok[0] && !older_rule) {
    // Well-formed UTF-8 round-trips through UTF-16.
    const int back =
        SizeNeededForUTF8(out16[0].data(), out16[0].data() + out16[0].size(), strictConversion);
    Check(back == static_cast<int>(in.size()), "UTF-8 size of the round trip differs");
    std::vector<UTF8> again;
    std::size_t consumed = 0;
    const ConversionResult r = ConvertAll<UTF16, UTF8>(
        out16[0], in.size(),
        [](const UTF16** s, const UTF16* e, UTF8** d, UTF8* de) {
          return ConvertUTF16toUTF8(s, e, d, de, strictConversion);
        },
        &again, &consumed);
    Check(r == conversionOK && again == in, "UTF-8 round trip changed the text");
#if defined(TAVRIN_FUZZ_HAVE_ICONV)
    std::string theirs;
    Check(Iconv("UTF-16LE", "UTF-8", in.data(), in.size(), &theirs), "iconv rejected valid UTF-8");
    std::string ours(reinterpret_cast<const char*>(out16[0].data()), out16[0].size() * 2);
    Check(theirs == ours, "UTF-8 -> UTF-16 differs from iconv");
#endif
  } else if (!ok[0]) {
#if defined(TAVRIN_FUZZ_HAVE_ICONV)
    std::string theirs;
    Check(!Iconv("UTF-16LE", "UTF-8", in.data(), in.size(), &theirs),
          "iconv accepts UTF-8 that strict conversion rejects");
#endif
  }
}

// --- UTF-16 input. ----------------------------------------------------------

void FuzzUtf16(const std::vector<UTF16>& in, std::size_t chunk) {
  const bool well_formed = WellFormedUtf16(in);
  const bool trailing_high = !in.empty() && in.back() >= 0xD800 && in.back() <= 0xDBFF;
  std::vector<UTF8> out8[2];
  bool ok[2] = {false, false};
  for (int m = 0; m < 2; ++m) {
    const ConversionFlags mode = kModes[m];
    const int measured = SizeNeededForUTF8(in.data(), in.data() + in.size(), mode);
    if (mode == lenientConversion) Check(measured >= 0, "lenient UTF-16 measure failed");
    std::size_t consumed = 0;
    const std::size_t room = measured >= 0 ? static_cast<std::size_t>(measured) : in.size() * 3;
    const ConversionResult r = ConvertAll<UTF16, UTF8>(
        in, room,
        [mode](const UTF16** s, const UTF16* e, UTF8** d, UTF8* de) {
          return ConvertUTF16toUTF8(s, e, d, de, mode);
        },
        &out8[m], &consumed);
    if (measured >= 0) {
      Check(r == conversionOK && consumed == in.size(), "measured UTF-16 did not convert");
      Check(out8[m].size() == static_cast<std::size_t>(measured), "UTF-8 size differs");
      ok[m] = true;
    } else {
      Check(measured == -3 && r == sourceIllegal, "strict UTF-16 failure differs");
    }
    // Strict measuring accepts exactly well-formed text plus a final lone
    // high surrogate.
    if (mode == strictConversion) {
      std::vector<UTF16> head(in);
      if (trailing_high) head.pop_back();
      Check((measured >= 0) == WellFormedUtf16(head), "strict UTF-16 validity differs");
    }

    std::vector<UTF8> chunked;
    const std::size_t bytes = chunk + 3;  // every sequence fits in one piece
    const ConversionResult rc = ConvertChunked<UTF16, UTF8>(
        in, bytes,
        [mode](const UTF16** s, const UTF16* e, UTF8** d, UTF8* de) {
          return ConvertUTF16toUTF8(s, e, d, de, mode);
        },
        &chunked);
    Check(rc == r && chunked == out8[m], "chunked UTF-16 -> UTF-8 differs");

    // UTF-16 -> UTF-32: one value per scalar, same surrogate rules.
    std::vector<UTF32> out32;
    const ConversionResult r32 = ConvertAll<UTF16, UTF32>(
        in, in.size(),
        [mode](const UTF16** s, const UTF16* e, UTF32** d, UTF32* de) {
          return ConvertUTF16toUTF32(s, e, d, de, mode);
        },
        &out32, &consumed);
    Check((r32 == conversionOK) == (measured >= 0), "UTF-16 -> UTF-32 validity differs");
    if (r32 == conversionOK) {
      std::vector<UTF8> via32;
      for (UTF32 v : out32) ReferenceAppendUtf8(v, &via32);
      Check(via32 == out8[m], "UTF-16 -> UTF-32 values differ from UTF-16 -> UTF-8");
    }
  }
  if (ok[0]) Check(ok[1] && out8[0] == out8[1], "strict success but lenient differs");

  if (well_formed) {
    std::vector<UTF16> again;
    std::size_t consumed = 0;
    const int units =
        SizeNeededForUTF16(out8[0].data(), out8[0].data() + out8[0].size(), strictConversion);
    Check(units == static_cast<int>(in.size()), "UTF-16 size of the round trip differs");
    const ConversionResult r = ConvertAll<UTF8, UTF16>(
        out8[0], in.size(),
        [](const UTF8** s, const UTF8* e, UTF16** d, UTF16* de) {
          return ConvertUTF8toUTF16(s, e, d, de, strictConversion);
        },
        &again, &consumed);
    Check(r == conversionOK && again == in, "UTF-16 round trip changed the text");
#if defined(TAVRIN_FUZZ_HAVE_ICONV)
    std::string theirs;
    Check(Iconv("UTF-8", "UTF-16LE", in.data(), in.size() * 2, &theirs),
          "iconv rejected well-formed UTF-16");
    Check(theirs == std::string(out8[0].begin(), out8[0].end()),
          "UTF-16 -> UTF-8 differs from iconv");
#endif
  }
}

// --- UTF-32 input. ----------------------------------------------------------

void FuzzUtf32(const std::vector<UTF32>& in, std::size_t chunk) {
  for (ConversionFlags mode : kModes) {
    // Reference: the units each value gives and whether strict mode fails.
    std::vector<UTF16> reference;
    bool surrogate = false, above = false;
    for (UTF32 v : in) {
      if (v >= 0xD800 && v <= 0xDFFF && mode == strictConversion) {
        surrogate = true;
        break;
      }
      if (v > 0x10FFFF) {
        above = true;
        if (mode != strictConversion) reference.push_back(0xFFFD);
      } else {
        const std::vector<UTF16> u = ReferenceUtf16({v});
        reference.insert(reference.end(), u.begin(), u.end());
      }
    }
    const bool strict_fails = mode == strictConversion && (surrogate || above);
    const int measured = SizeNeededForUTF32To16(in.data(), in.data() + in.size(), mode);
    Check(strict_fails ? measured == -3 : measured == static_cast<int>(reference.size()),
          "SizeNeededForUTF32To16 differs from the reference");

    std::vector<UTF16> out;
    std::size_t consumed = 0;
    const ConversionResult r = ConvertAll<UTF32, UTF16>(
        in, in.size() * 2,
        [mode](const UTF32** s, const UTF32* e, UTF16** d, UTF16* de) {
          return ConvertUTF32toUTF16(s, e, d, de, mode);
        },
        &out, &consumed);
    Check((r == conversionOK) == !strict_fails, "UTF-32 -> UTF-16 result differs");
    Check(out == reference, "UTF-32 -> UTF-16 output differs from the reference");
    if (measured >= 0) {
      std::vector<UTF16> exact;
      const ConversionResult re = ConvertAll<UTF32, UTF16>(
          in, static_cast<std::size_t>(measured),
          [mode](const UTF32** s, const UTF32* e, UTF16** d, UTF16* de) {
            return ConvertUTF32toUTF16(s, e, d, de, mode);
          },
          &exact, &consumed);
      Check(re == conversionOK && exact == reference, "measured UTF-32 did not fit");
    }

    std::vector<UTF16> chunked;
    const ConversionResult rc = ConvertChunked<UTF32, UTF16>(
        in, chunk + 1,
        [mode](const UTF32** s, const UTF32* e, UTF16** d, UTF16* de) {
          return ConvertUTF32toUTF16(s, e, d, de, mode);
        },
        &chunked);
    // A skipped value's sourceIllegal is not carried over a resumed call, so
    // only the output is compared then.
    Check(chunked == out, "chunked UTF-32 -> UTF-16 output differs");
    Check(rc == r || (above && !surrogate && mode == strictConversion),
          "chunked UTF-32 -> UTF-16 result differs");

    // UTF-32 -> UTF-8 by the length rule, strict mode stopping at surrogates.
    std::vector<UTF8> ref8;
    bool stopped = false;
    for (UTF32 v : in) {
      if (mode == strictConversion && v >= 0xD800 && v <= 0xDFFF) {
        stopped = true;
        break;
      }
      ReferenceAppendUtf8(v, &ref8);
    }
    std::vector<UTF8> out8;
    const ConversionResult r8 = ConvertAll<UTF32, UTF8>(
        in, in.size() * 4,
        [mode](const UTF32** s, const UTF32* e, UTF8** d, UTF8* de) {
          return ConvertUTF32toUTF8(s, e, d, de, mode);
        },
        &out8, &consumed);
    Check((r8 == sourceIllegal) == stopped && (r8 == conversionOK) == !stopped,
          "UTF-32 -> UTF-8 result differs");
    Check(out8 == ref8, "UTF-32 -> UTF-8 output differs from the reference");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  const std::size_t chunk = size != 0 ? 1 + data[0] % 8 : 1;
  FuzzUtf8(std::vector<UTF8>(data, data + size), chunk);
  std::vector<UTF16> units(size / 2);
  for (std::size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<UTF16>(data[2 * i] | (data[2 * i + 1] << 8));
  FuzzUtf16(units, chunk);
  std::vector<UTF32> values(size / 4);
  for (std::size_t i = 0; i < values.size(); ++i) {
    UTF32 v = 0;
    std::memcpy(&v, data + 4 * i, 4);
    // Keep most values near the interesting ranges; the raw value otherwise.
    if ((v >> 30) != 3) v &= 0x3FFFFF;
    values[i] = v;
  }
  FuzzUtf32(values, chunk);
  return 0;
}
