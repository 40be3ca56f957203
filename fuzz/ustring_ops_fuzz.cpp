// ustring_ops_fuzz.cpp - the tavrin_ustring operations on arbitrary UTF-16
// units. The input is read as little-endian units up to the first zero unit
// (zero units are not supported inside strings) and split in two. Aborts
// when an ordering is not antisymmetric, when tokenising loses or invents
// units, or when trimming is not idempotent; crashes and hangs are found by
// the fuzzer itself.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "common/utils/ustring.h"

using tavrin::utils::tavrin_ustring;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
#if defined(TAVRIN_FUZZING)
  if (size > 4096) return 0;
#endif
  std::vector<unsigned short> units;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    const auto u = static_cast<unsigned short>(data[i] | (data[i + 1] << 8));
    if (u == 0) break;
    units.push_back(u);
  }
  const std::size_t half = units.size() / 2;
  const tavrin_ustring a(units.data(), half);
  const tavrin_ustring b(units.data() + half, units.size() - half);

  if (a.compare_intuitive_nocase(b) != -b.compare_intuitive_nocase(a)) std::abort();
  if (a.compare_nocase(b) != -b.compare_nocase(a)) std::abort();
  if (a.GetUppercase().size() != a.size() || a.GetLowercase().size() != a.size()) std::abort();

  // Tokens with the first two units of `b` as delimiters.
  const tavrin_ustring delims = b.Left(2);
  std::size_t token_units = 0;
  for (const auto& t : a.TokenizeToVector(delims)) {
    if (t.empty() || a.find(t) == tavrin_ustring::npos) std::abort();
    token_units += t.size();
  }
  if (token_units > a.size()) std::abort();
  int start = 0;
  for (int steps = 0; start < static_cast<int>(a.size()); ++steps) {
    if (steps > static_cast<int>(a.size()) + 1) std::abort();  // Tokenize must advance
    (void)a.Tokenize(delims, start);
    if (delims.empty()) break;
  }

  tavrin_ustring trimmed = a.trim();
  if (tavrin_ustring(trimmed).trim() != trimmed) std::abort();
  tavrin_ustring replaced = a;
  const int count = replaced.replace_all(b.Left(1), b.Right(2));
  if (count < 0) std::abort();

  const int n = units.empty() ? 0 : static_cast<int>(static_cast<std::int16_t>(units[0]));
  (void)a.Left(n), (void)a.Right(n), (void)a.Mid(n), (void)a.Mid(n, n / 2);
  (void)a.SpanExcluding(b), (void)a.SpanIncluding(b);
  tavrin_ustring shortened = a;
  shortened.LeaveOnEachSide(static_cast<unsigned>(n) & 0xFF);
  (void)a.is_long(), (void)a.is_unsigned(), (void)a.is_double();
  (void)a.to_int(), (void)a.to_float();
  return 0;
}
