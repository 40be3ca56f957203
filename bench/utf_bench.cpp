// Benchmarks of the UTF conversions of tavrin_ustring and the converters
// under them, beside ICU, glibc iconv and a memcpy floor, over four corpora
// generated from a fixed seed (16 MiB of UTF-8 each, small in the smoke run):
//
//   ascii   English-like words, punctuation and line ends
//   latin   the same with about one letter in six accented (2-byte forms)
//   cjk     ideographs and kana with some ASCII punctuation (mostly 3-byte)
//   emoji   ASCII words with an emoji every few words (4-byte forms, pairs)
//
// Cases are named <operation>/<implementation>/<corpus>; bytes processed are
// bytes of input.
//
//   utf8_to_utf16    tavrin: assign_utf8 (measure, then convert into exactly
//                    sized storage, reused between iterations); icu:
//                    u_strFromUTF8 preflight then convert into a reused
//                    std::u16string, cleared and resized to the preflight
//                    size as assign_utf8 does with its storage; iconv: UTF-8 -> UTF-16LE into a
//                    reused buffer of the largest possible size; memcpy: the bytes
//   utf16_to_utf8    tavrin: utf8(), a fresh std::string per call; icu:
//                    u_strToUTF8 preflight then convert into a fresh
//                    std::string; iconv: UTF-16LE -> UTF-8 into a fresh
//                    worst-case buffer, trimmed; memcpy: the units; alloc:
//                    only a fresh zero-filled string of the result's size
//   size_utf16       SizeNeededForUTF16 alone, ICU's preflight alone, and
//                    memchr scanning the same bytes for their rarest byte
//                    value (a full scan with few stops)
//   size_utf8        SizeNeededForUTF8 alone, ICU's preflight alone, memchr
//   w_str            tavrin: w_str(); iconv: UTF-16LE -> UTF-32LE into a
//                    fresh buffer; memcpy; alloc: only a fresh zero-filled
//                    std::wstring of the result's size (what touching new
//                    memory costs)
//   assign_wstring   tavrin: operator=(std::wstring); iconv: UTF-32LE ->
//                    UTF-16LE; memcpy
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/convertutf.h"
#include "common/utils/ustring.h"

#if defined(TAVRIN_HAVE_ICU)
#include <unicode/ustring.h>
#include <unicode/utypes.h>
#endif
#if defined(TAVRIN_HAVE_ICONV)
#include <iconv.h>
#endif

namespace {

using tavrin::utils::tavrin_ustring;

struct Corpus {
  std::string utf8;
  std::u16string utf16;
  std::wstring utf32;
};

enum Kind { kAscii, kLatin, kCjk, kEmoji };
const char* const kKindNames[] = {"ascii", "latin", "cjk", "emoji"};

void Append(std::string& out, char32_t v) {
  if (v < 0x80) {
    out += static_cast<char>(v);
  } else if (v < 0x800) {
    out += static_cast<char>(0xC0 | (v >> 6));
    out += static_cast<char>(0x80 | (v & 0x3F));
  } else if (v < 0x10000) {
    out += static_cast<char>(0xE0 | (v >> 12));
    out += static_cast<char>(0x80 | ((v >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (v & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (v >> 18));
    out += static_cast<char>(0x80 | ((v >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((v >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (v & 0x3F));
  }
}

// Builds `bytes` bytes (rounded up to a whole character) of one corpus.
std::string Generate(Kind kind, std::size_t bytes) {
  std::mt19937 rng(0x7A5121u + static_cast<unsigned>(kind));
  auto below = [&](unsigned n) { return static_cast<unsigned>(rng() % n); };
  const char32_t kAccented[] = {U'\u00E9', U'\u00E8', U'\u00E0', U'\u00E7', U'\u00FC',
                                U'\u00F6', U'\u00E4', U'\u00DF', U'\u00F1', U'\u00F8',
                                U'\u00E5', U'\u00EA', U'\u00EE', U'\u00F4', U'\u0153'};
  const char kPunct[] = {',', '.', ';', ' ', ' ', ' ', '\n'};
  std::string out;
  out.reserve(bytes + 8);
  while (out.size() < bytes) {
    if (kind == kCjk) {
      // A clause of ideographs and kana, then a punctuation mark.
      for (unsigned n = 4 + below(16); n > 0; --n) {
        char32_t v = below(5) == 0 ? U'\u3041' + below(0x56) : U'\u4E00' + below(0x5200);
        Append(out, v);
      }
      Append(out, below(3) == 0 ? U'\u3002' : (below(2) ? U'\u3001' : U' '));
      if (below(8) == 0) out += below(2) ? "2024" : "\n";
      continue;
    }
    // A word of 1-10 letters.
    for (unsigned n = 1 + below(10); n > 0; --n) {
      if (kind == kLatin && below(6) == 0) {
        Append(out, kAccented[below(std::size(kAccented))]);
      } else {
        out += static_cast<char>('a' + below(26));
      }
    }
    if (kind == kEmoji && below(5) == 0) {
      out += ' ';
      Append(out, below(2) ? U'\U0001F600' + below(0x50) : U'\U0001F300' + below(0x100));
    }
    out += kPunct[below(std::size(kPunct))];
  }
  return out;
}

const Corpus& GetCorpus(Kind kind) {
  static std::map<Kind, Corpus> cache;
  auto it = cache.find(kind);
  if (it != cache.end()) return it->second;
  Corpus c;
  c.utf8 = Generate(kind, tavrin::bench::Size(16u << 20));
  tavrin_ustring s(c.utf8);
  c.utf16 = s.utf16();
  c.utf32 = s.w_str();
  return cache.emplace(kind, std::move(c)).first->second;
}

std::int64_t Bytes16(const Corpus& c) {
  return static_cast<std::int64_t>(c.utf16.size() * sizeof(char16_t));
}
std::int64_t Bytes32(const Corpus& c) {
  return static_cast<std::int64_t>(c.utf32.size() * sizeof(wchar_t));
}

// --- utf8_to_utf16 -------------------------------------------------------

void Utf8To16Tavrin(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  tavrin_ustring s;
  for (auto _ : state) {
    s.assign_utf8(c.utf8.data(), c.utf8.size());
    benchmark::DoNotOptimize(s.data());
  }
  if (s.utf16() != c.utf16) state.SkipWithError("wrong conversion");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.utf8.size()));
}

void Utf8To16Memcpy(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  std::string out(c.utf8.size(), '\0');
  for (auto _ : state) {
    std::memcpy(out.data(), c.utf8.data(), c.utf8.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.utf8.size()));
}

// --- utf16_to_utf8 -------------------------------------------------------

void Utf16To8Tavrin(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  tavrin_ustring s(c.utf8);
  std::size_t produced = 0;
  for (auto _ : state) {
    std::string out = s.utf8();
    produced = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  if (produced != c.utf8.size() || s.utf8() != c.utf8) state.SkipWithError("wrong conversion");
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

void Utf16To8Memcpy(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  std::u16string out(c.utf16.size(), u'\0');
  for (auto _ : state) {
    std::memcpy(out.data(), c.utf16.data(), c.utf16.size() * sizeof(char16_t));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

// A function that returns a new string of the result's size pays for the
// memory the first time it is touched; this floor only makes that string
// (zero-filled, as every peer's fresh buffer is).
void Utf16To8Alloc(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  for (auto _ : state) {
    std::string out(c.utf8.size(), '\0');
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

// --- measuring alone -----------------------------------------------------

void SizeUtf16Tavrin(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  const UTF8* b = reinterpret_cast<const UTF8*>(c.utf8.data());
  int n = 0;
  for (auto _ : state) {
    n = SizeNeededForUTF16(b, b + c.utf8.size(), lenientConversion);
    benchmark::DoNotOptimize(n);
  }
  if (n != static_cast<int>(c.utf16.size())) state.SkipWithError("wrong size");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.utf8.size()));
}

// The byte value that occurs least often in [p, p + n).
int RarestByte(const void* p, std::size_t n) {
  std::size_t counts[256] = {};
  const unsigned char* b = static_cast<const unsigned char*>(p);
  for (std::size_t i = 0; i < n; ++i) ++counts[b[i]];
  int rarest = 0;
  for (int v = 1; v < 256; ++v)
    if (counts[v] < counts[rarest]) rarest = v;
  return rarest;
}

// memchr over all of [p, p + n) for `value`, resuming after every hit.
std::size_t ScanAll(const void* p, std::size_t n, int value) {
  const char* at = static_cast<const char*>(p);
  const char* end = at + n;
  std::size_t hits = 0;
  while (at < end) {
    const void* hit = std::memchr(at, value, static_cast<std::size_t>(end - at));
    if (hit == nullptr) break;
    ++hits;
    at = static_cast<const char*>(hit) + 1;
  }
  return hits;
}

void SizeUtf16Memchr(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  int value = RarestByte(c.utf8.data(), c.utf8.size());
  for (auto _ : state) benchmark::DoNotOptimize(ScanAll(c.utf8.data(), c.utf8.size(), value));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.utf8.size()));
}

void SizeUtf8Tavrin(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  const UTF16* b = reinterpret_cast<const UTF16*>(c.utf16.data());
  int n = 0;
  for (auto _ : state) {
    n = SizeNeededForUTF8(b, b + c.utf16.size(), lenientConversion);
    benchmark::DoNotOptimize(n);
  }
  if (n != static_cast<int>(c.utf8.size())) state.SkipWithError("wrong size");
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

void SizeUtf8Memchr(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  const std::size_t n = c.utf16.size() * sizeof(char16_t);
  int value = RarestByte(c.utf16.data(), n);
  for (auto _ : state) benchmark::DoNotOptimize(ScanAll(c.utf16.data(), n, value));
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

// --- wide ----------------------------------------------------------------

void WStrTavrin(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  tavrin_ustring s(c.utf8);
  for (auto _ : state) {
    std::wstring w = s.w_str();
    benchmark::DoNotOptimize(w.data());
  }
  if (s.w_str() != c.utf32) state.SkipWithError("wrong conversion");
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

void WStrMemcpy(benchmark::State& state, Kind kind) {
  Utf16To8Memcpy(state, kind);
}

// The fresh result alone (see Utf16To8Alloc).
void WStrAlloc(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  for (auto _ : state) {
    std::wstring out(c.utf32.size(), L'\0');
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

void AssignWstringTavrin(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  tavrin_ustring s;
  for (auto _ : state) {
    s = c.utf32;
    benchmark::DoNotOptimize(s.data());
  }
  if (s.utf16() != c.utf16) state.SkipWithError("wrong conversion");
  state.SetBytesProcessed(state.iterations() * Bytes32(c));
}

void AssignWstringMemcpy(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  std::wstring out(c.utf32.size(), L'\0');
  for (auto _ : state) {
    std::memcpy(out.data(), c.utf32.data(), c.utf32.size() * sizeof(wchar_t));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * Bytes32(c));
}

// --- ICU -----------------------------------------------------------------

#if defined(TAVRIN_HAVE_ICU)
void Utf8To16Icu(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  std::u16string out;
  const int32_t len = static_cast<int32_t>(c.utf8.size());
  for (auto _ : state) {
    UErrorCode err = U_ZERO_ERROR;
    int32_t n = 0;
    u_strFromUTF8(nullptr, 0, &n, c.utf8.data(), len, &err);  // preflight
    err = U_ZERO_ERROR;
    out.clear();
    out.resize(static_cast<std::size_t>(n));
    u_strFromUTF8(out.data(), n, &n, c.utf8.data(), len, &err);
    benchmark::DoNotOptimize(out.data());
    if (U_FAILURE(err)) state.SkipWithError("ICU conversion failed");
  }
  if (out != c.utf16) state.SkipWithError("ICU disagrees");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.utf8.size()));
}

void Utf16To8Icu(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  const int32_t len = static_cast<int32_t>(c.utf16.size());
  std::size_t produced = 0;
  for (auto _ : state) {
    UErrorCode err = U_ZERO_ERROR;
    int32_t n = 0;
    u_strToUTF8(nullptr, 0, &n, c.utf16.data(), len, &err);  // preflight
    err = U_ZERO_ERROR;
    std::string out(static_cast<std::size_t>(n), '\0');
    u_strToUTF8(out.data(), n, &n, c.utf16.data(), len, &err);
    produced = out.size();
    benchmark::DoNotOptimize(out.data());
    if (U_FAILURE(err)) state.SkipWithError("ICU conversion failed");
  }
  if (produced != c.utf8.size()) state.SkipWithError("ICU disagrees");
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}

void SizeUtf16Icu(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  int32_t n = 0;
  for (auto _ : state) {
    UErrorCode err = U_ZERO_ERROR;
    u_strFromUTF8(nullptr, 0, &n, c.utf8.data(), static_cast<int32_t>(c.utf8.size()), &err);
    benchmark::DoNotOptimize(n);
  }
  if (n != static_cast<int32_t>(c.utf16.size())) state.SkipWithError("ICU disagrees");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.utf8.size()));
}

void SizeUtf8Icu(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  int32_t n = 0;
  for (auto _ : state) {
    UErrorCode err = U_ZERO_ERROR;
    u_strToUTF8(nullptr, 0, &n, c.utf16.data(), static_cast<int32_t>(c.utf16.size()), &err);
    benchmark::DoNotOptimize(n);
  }
  if (n != static_cast<int32_t>(c.utf8.size())) state.SkipWithError("ICU disagrees");
  state.SetBytesProcessed(state.iterations() * Bytes16(c));
}
#endif  // TAVRIN_HAVE_ICU

// --- iconv ---------------------------------------------------------------

#if defined(TAVRIN_HAVE_ICONV)
// One iconv conversion of `in` into `out`, which must be large enough;
// returns the bytes written or -1.
long IconvInto(iconv_t cd, const void* in, std::size_t in_bytes, void* out, std::size_t room) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);  // reset the shift state
  char* src = static_cast<char*>(const_cast<void*>(in));
  char* dst = static_cast<char*>(out);
  std::size_t left = room;
  if (iconv(cd, &src, &in_bytes, &dst, &left) == static_cast<std::size_t>(-1)) return -1;
  return static_cast<long>(room - left);
}

// Runs an iconv case: `fresh` allocates the output per call (as a function
// returning a string would), otherwise one buffer is reused.
void IconvCase(benchmark::State& state, const char* to, const char* from, const void* in,
               std::size_t in_bytes, std::size_t room, const void* expected,
               std::size_t expected_bytes, bool fresh) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) {
    state.SkipWithError("iconv_open failed");
    return;
  }
  std::string reused(fresh ? 0 : room, '\0');
  std::string last;
  for (auto _ : state) {
    if (fresh) {
      std::string out(room, '\0');
      long n = IconvInto(cd, in, in_bytes, out.data(), room);
      out.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
      benchmark::DoNotOptimize(out.data());
      if (n < 0) state.SkipWithError("iconv failed");
      last.swap(out);
    } else {
      long n = IconvInto(cd, in, in_bytes, reused.data(), room);
      benchmark::DoNotOptimize(reused.data());
      if (n < 0) state.SkipWithError("iconv failed");
      if (static_cast<std::size_t>(n) != expected_bytes) state.SkipWithError("iconv disagrees");
    }
  }
  if (fresh &&
      (last.size() != expected_bytes || std::memcmp(last.data(), expected, expected_bytes)))
    state.SkipWithError("iconv disagrees");
  if (!fresh && std::memcmp(reused.data(), expected, expected_bytes))
    state.SkipWithError("iconv disagrees");
  iconv_close(cd);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(in_bytes));
}

void Utf8To16Iconv(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  IconvCase(state, "UTF-16LE", "UTF-8", c.utf8.data(), c.utf8.size(), c.utf8.size() * 2,
            c.utf16.data(), c.utf16.size() * 2, false);
}

void Utf16To8Iconv(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  IconvCase(state, "UTF-8", "UTF-16LE", c.utf16.data(), c.utf16.size() * 2, c.utf16.size() * 3,
            c.utf8.data(), c.utf8.size(), true);
}

void WStrIconv(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  IconvCase(state, "UTF-32LE", "UTF-16LE", c.utf16.data(), c.utf16.size() * 2, c.utf16.size() * 4,
            c.utf32.data(), c.utf32.size() * 4, true);
}

void AssignWstringIconv(benchmark::State& state, Kind kind) {
  const Corpus& c = GetCorpus(kind);
  IconvCase(state, "UTF-16LE", "UTF-32LE", c.utf32.data(), c.utf32.size() * 4, c.utf32.size() * 4,
            c.utf16.data(), c.utf16.size() * 2, false);
}
#endif  // TAVRIN_HAVE_ICONV

using Fn = void (*)(benchmark::State&, Kind);

struct Case {
  const char* operation;
  const char* implementation;
  Fn fn;
};

const Case kCases[] = {
    {"utf8_to_utf16", "tavrin", Utf8To16Tavrin},
#if defined(TAVRIN_HAVE_ICU)
    {"utf8_to_utf16", "icu", Utf8To16Icu},
#endif
#if defined(TAVRIN_HAVE_ICONV)
    {"utf8_to_utf16", "iconv", Utf8To16Iconv},
#endif
    {"utf8_to_utf16", "memcpy", Utf8To16Memcpy},
    {"utf16_to_utf8", "tavrin", Utf16To8Tavrin},
#if defined(TAVRIN_HAVE_ICU)
    {"utf16_to_utf8", "icu", Utf16To8Icu},
#endif
#if defined(TAVRIN_HAVE_ICONV)
    {"utf16_to_utf8", "iconv", Utf16To8Iconv},
#endif
    {"utf16_to_utf8", "memcpy", Utf16To8Memcpy},
    {"utf16_to_utf8", "alloc", Utf16To8Alloc},
    {"size_utf16", "tavrin", SizeUtf16Tavrin},
#if defined(TAVRIN_HAVE_ICU)
    {"size_utf16", "icu", SizeUtf16Icu},
#endif
    {"size_utf16", "memchr", SizeUtf16Memchr},
    {"size_utf8", "tavrin", SizeUtf8Tavrin},
#if defined(TAVRIN_HAVE_ICU)
    {"size_utf8", "icu", SizeUtf8Icu},
#endif
    {"size_utf8", "memchr", SizeUtf8Memchr},
    {"w_str", "tavrin", WStrTavrin},
#if defined(TAVRIN_HAVE_ICONV)
    {"w_str", "iconv", WStrIconv},
#endif
    {"w_str", "memcpy", WStrMemcpy},
    {"w_str", "alloc", WStrAlloc},
    {"assign_wstring", "tavrin", AssignWstringTavrin},
#if defined(TAVRIN_HAVE_ICONV)
    {"assign_wstring", "iconv", AssignWstringIconv},
#endif
    {"assign_wstring", "memcpy", AssignWstringMemcpy},
};

bool RegisterAll() {
  for (const Case& c : kCases) {
    for (Kind kind : {kAscii, kLatin, kCjk, kEmoji}) {
      std::string name = std::string(c.operation) + "/" + c.implementation + "/" + kKindNames[kind];
      benchmark::RegisterBenchmark(name.c_str(), c.fn, kind)->Unit(benchmark::kMillisecond);
    }
  }
  return true;
}

const bool kRegistered [[maybe_unused]] = RegisterAll();

}  // namespace
