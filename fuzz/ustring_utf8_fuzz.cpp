// ustring_utf8_fuzz.cpp - the tavrin_ustring conversions: assign_utf8 (and
// the constructors and assignments built on it), utf8(), size_utf8(),
// w_str() and UTF8ToUTF16, on arbitrary bytes and units.
//
// Checks, on the input read as UTF-8 bytes:
//   - assign_utf8 gives exactly the units ConvertUTF8toUTF16 (lenient) writes
//     when SizeNeededForUTF16 accepts the bytes, and an empty string when it
//     does not (no partial conversion);
//   - the constructor from std::string converts the whole length, the
//     assignment from std::string and from const char* stop at the first zero
//     byte, a null pointer leaves the target unchanged;
//   - utf8() has size_utf8() bytes and converts back to the same units;
//     strictly valid UTF-8 comes back byte for byte;
//   - operator==(const char*) agrees with utf8();
//   - UTF8ToUTF16 leaves the buffer all zeros without room for the
//     terminator and converts otherwise;
//   - w_str() stops at the first zero unit (zero bytes become zero units in
//     an object constructed from a std::string);
// and on the input read as UTF-16 units (zero units replaced):
//   - utf8() and w_str() agree with the lenient converters, and the UTF-8
//     and the wide string convert back to the same units.
// Only objects constructed in place are inspected past a zero unit (copies
// may drop what follows a zero).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/utils/convertutf.h"
#include "common/utils/ustring.h"

using tavrin::utils::tavrin_ustring;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "ustring_utf8_fuzz: %s\n", what);
    std::abort();
  }
}

std::vector<unsigned short> Units(const tavrin_ustring& s) {
  return std::vector<unsigned short>(s.data(), s.data() + s.size());
}

// What the lenient converter writes for `bytes`, or nothing with `ok` false.
std::vector<unsigned short> Lenient16(const std::string& bytes, bool* ok) {
  const auto* b = reinterpret_cast<const UTF8*>(bytes.data());
  const int n = SizeNeededForUTF16(b, b + bytes.size(), lenientConversion);
  *ok = n >= 0;
  if (n <= 0) return {};
  std::vector<unsigned short> out(static_cast<std::size_t>(n));
  UTF16* d = out.data();
  const ConversionResult r = ConvertUTF8toUTF16(&b, b + bytes.size(), &d, d + n, lenientConversion);
  Check(r == conversionOK && d == out.data() + n, "converter disagrees with its measure");
  return out;
}

bool StrictlyValid(const std::string& bytes) {
  const auto* b = reinterpret_cast<const UTF8*>(bytes.data());
  return SizeNeededForUTF16(b, b + bytes.size(), strictConversion) >= 0;
}

void CheckWide(const tavrin_ustring& s, const std::vector<unsigned short>& units);

void FuzzBytes(const std::string& bytes) {
  bool ok = false;
  const std::vector<unsigned short> expected = Lenient16(bytes, &ok);

  // Whole length, zero bytes included.
  const tavrin_ustring whole(bytes);
  Check(Units(whole) == expected, "tavrin_ustring(std::string) differs from the converter");
  tavrin_ustring sized(u"old");
  sized.assign_utf8(bytes.data(), bytes.size());
  Check(Units(sized) == expected, "assign_utf8(p, len) differs from the converter");
  if (!ok) Check(whole.empty(), "invalid UTF-8 did not give an empty string");
  // Zero bytes become zero units in this object; w_str() stops at the first.
  CheckWide(whole, expected);

  // Up to the first zero byte.
  const std::string head(bytes.c_str());
  bool head_ok = false;
  const std::vector<unsigned short> head_units = Lenient16(head, &head_ok);
  tavrin_ustring assigned(u"old");
  assigned = bytes;
  Check(Units(assigned) == head_units, "operator=(std::string) does not stop at the zero byte");
  tavrin_ustring from_pointer(u"old");
  from_pointer = bytes.c_str();
  Check(Units(from_pointer) == head_units, "operator=(const char*) differs");
  const tavrin_ustring constructed(bytes.c_str());
  Check(Units(constructed) == head_units, "tavrin_ustring(const char*) differs");
  tavrin_ustring kept(u"kept");
  kept = static_cast<const char*>(nullptr);
  kept.assign_utf8(static_cast<const char*>(nullptr));
  Check(kept == tavrin_ustring(u"kept"), "a null pointer changed the string");

  // Out again.
  if (ok) {
    const std::string back = whole.utf8();
    Check(back.size() == whole.size_utf8(), "size_utf8 differs from utf8().size()");
    const tavrin_ustring again(back);
    Check(Units(again) == expected, "utf8() does not convert back to the same units");
    if (StrictlyValid(bytes) && back != bytes) {
      // Only the older F4 rule (a byte below 0x80 after F4) can change
      // strictly accepted bytes.
      bool f4 = false;
      for (std::size_t i = 0; i + 1 < bytes.size(); ++i)
        if (static_cast<unsigned char>(bytes[i]) == 0xF4 &&
            static_cast<unsigned char>(bytes[i + 1]) < 0x80)
          f4 = true;
      Check(f4, "valid UTF-8 did not round-trip");
    }
  }
  if (head_ok) {
    Check((constructed == head.c_str()) == (constructed.utf8() == head),
          "operator==(const char*) disagrees with utf8()");
    Check(!(constructed != head.c_str()) == (constructed.utf8() == head),
          "operator!=(const char*) disagrees with utf8()");
  }

  // UTF8ToUTF16 needs room for the terminator.
  if (head_ok) {
    const std::size_t n = head_units.size();
    std::vector<unsigned short> tight(n + 1, 0xAAAA);
    tavrin::utils::UTF8ToUTF16(head.c_str(), tight.data(), n);
    for (std::size_t i = 0; i < n; ++i) Check(tight[i] == 0, "UTF8ToUTF16 without room wrote text");
    Check(tight[n] == 0xAAAA, "UTF8ToUTF16 wrote past destLen");
    std::vector<unsigned short> room(n + 1, 0xAAAA);
    tavrin::utils::UTF8ToUTF16(head.c_str(), room.data(), n + 1);
    Check(std::vector<unsigned short>(room.begin(), room.begin() + n) == head_units && room[n] == 0,
          "UTF8ToUTF16 with room differs");
  } else {
    std::vector<unsigned short> buffer(8, 0xAAAA);
    tavrin::utils::UTF8ToUTF16(head.c_str(), buffer.data(), buffer.size());
    for (unsigned short u : buffer) Check(u == 0, "UTF8ToUTF16 of invalid UTF-8 wrote text");
  }
}

void FuzzUnits(const std::vector<unsigned short>& units) {
  const tavrin_ustring s(units.data(), units.size());
  Check(Units(s) == units, "construction from units changed them");

  // utf8(): lenient, never fails, exactly SizeNeededForUTF8 bytes.
  const int n = SizeNeededForUTF8(units.data(), units.data() + units.size(), lenientConversion);
  Check(n >= 0, "lenient UTF-16 measure failed");
  const std::string bytes = s.utf8();
  Check(bytes.size() == static_cast<std::size_t>(n) && s.size_utf8() == bytes.size(),
        "utf8() size differs from the measure");
  std::string expected(static_cast<std::size_t>(n), '\0');
  const UTF16* src = units.data();
  UTF8* dst = reinterpret_cast<UTF8*>(expected.data());
  ConvertUTF16toUTF8(&src, units.data() + units.size(), &dst, dst + n, lenientConversion);
  Check(bytes == expected, "utf8() differs from the converter");
  // The UTF-8 of any units converts back to the same units (lone
  // surrogates travel as three-byte sequences).
  const tavrin_ustring back(bytes);
  Check(Units(back) == units, "utf8() does not convert back");

  CheckWide(s, units);
}

// w_str(): the lenient UTF-32 of the units up to the first zero unit, and a
// wide string converts back to those units.
void CheckWide(const tavrin_ustring& s, const std::vector<unsigned short>& units) {
  std::size_t zero = 0;
  while (zero < units.size() && units[zero] != 0) ++zero;
  const UTF16* src = units.data();
  std::vector<UTF32> values(zero);
  UTF32* v = values.data();
  ConvertUTF16toUTF32(&src, units.data() + zero, &v, v + zero, lenientConversion);
  values.resize(static_cast<std::size_t>(v - values.data()));
  const std::wstring wide = s.w_str();
  Check(wide.size() == values.size(), "w_str() length differs");
  for (std::size_t i = 0; i < values.size(); ++i)
    Check(static_cast<UTF32>(wide[i]) == values[i], "w_str() differs from the converter");
  const tavrin_ustring from_wide(wide);
  Check(Units(from_wide) == std::vector<unsigned short>(units.begin(), units.begin() + zero),
        "wide string does not convert back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  FuzzBytes(std::string(reinterpret_cast<const char*>(data), size));
  std::vector<unsigned short> units(size / 2);
  // Zero units are not supported inside strings built from units (copies
  // stop at them), so they are replaced.
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<unsigned short>(data[2 * i] | (data[2 * i + 1] << 8));
    if (units[i] == 0) units[i] = 0x7A;
  }
  FuzzUnits(units);
  return 0;
}
