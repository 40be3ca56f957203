// format_rewrite_fuzz.cpp - the three format rewriting functions
// (FixWindowsPositionalFormats, ReverseStringFormats,
// RemovePositionalFormats) on arbitrary UTF-16 text.
//
// Each result must equal the reference state machine in format_reference.h,
// unit for unit; ReverseStringFormats must undo itself; and the combination
// Format uses (the insert fix-up, then the exchange) must equal the two
// references applied in turn. When the first input byte is odd the rest is
// read through a small alphabet of format characters, so the interesting
// sequences ("%1!", "%2$", "%1.") come up often; otherwise the input is raw
// little-endian units. Zero units are replaced (strings do not hold them).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/utils/ustring.h"
#include "fuzz/format_reference.h"

using tavrin::fuzz::Units16;
using tavrin::utils::tavrin_ustring;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "format_rewrite_fuzz: %s\n", what);
    std::abort();
  }
}

Units16 UnitsOf(const tavrin_ustring& s) {
  return Units16(reinterpret_cast<const char16_t*>(s.data()), s.size());
}

tavrin_ustring FromUnits(const Units16& u) {
  return tavrin_ustring(reinterpret_cast<const unsigned short*>(u.data()), u.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096 || size == 0) return 0;
  Units16 text;
  if (data[0] & 1) {
    static const char16_t kAlphabet[] = u"%%%$!!. 0123456789sSdlxXfgpnc@*-+#aA\u00e9\u20ac";
    constexpr std::size_t kCount = sizeof(kAlphabet) / sizeof(kAlphabet[0]) - 1;
    for (std::size_t i = 1; i < size; ++i) text += kAlphabet[data[i] % kCount];
  } else {
    for (std::size_t i = 1; i + 1 < size; i += 2) {
      char16_t u = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
      text += u != 0 ? u : u'z';
    }
  }
  const tavrin_ustring fmt = FromUnits(text);

  const Units16 fixed = UnitsOf(tavrin_ustring::FixWindowsPositionalFormats(fmt));
  Check(fixed == tavrin::fuzz::ReferenceFixWindowsPositionalFormats(text),
        "FixWindowsPositionalFormats differs from the reference");
  const Units16 reversed = UnitsOf(tavrin_ustring::ReverseStringFormats(fmt));
  Check(reversed == tavrin::fuzz::ReferenceReverseStringFormats(text),
        "ReverseStringFormats differs from the reference");
  Check(UnitsOf(tavrin_ustring::ReverseStringFormats(FromUnits(reversed))) == text,
        "ReverseStringFormats does not undo itself");
  const Units16 removed = UnitsOf(tavrin_ustring::RemovePositionalFormats(fmt));
  Check(removed == tavrin::fuzz::ReferenceRemovePositionalFormats(text),
        "RemovePositionalFormats differs from the reference");
  Check(removed.size() <= text.size(), "RemovePositionalFormats made the text longer");

  const Units16 both = UnitsOf(
      tavrin_ustring::ReverseStringFormats(tavrin_ustring::FixWindowsPositionalFormats(fmt)));
  Check(both == tavrin::fuzz::ReferenceReverseStringFormats(
                    tavrin::fuzz::ReferenceFixWindowsPositionalFormats(text)),
        "the combined rewrite differs from the references");
  return 0;
}
