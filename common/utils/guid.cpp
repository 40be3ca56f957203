// guid.cpp - Guid: generation and the canonical, base-64 and base-85 forms.
//
// Writers and the compact parsers are table-driven and work on the fields
// directly. The canonical parser has a fast path for the one shape every
// writer produces (36 characters, optionally after "{"), which gives exactly
// what the formatted scan gives for that shape; any other text goes to
// sscanf itself, so its rules (blanks, short fields, signs, "0x") hold as
// the C library defines them.
#include "common/utils/guid.h"

#include <cstdio>
#include <cstring>

#include "common/utils/platform.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";
constexpr char kBase64Digits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
constexpr char kBase85Digits[] =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!#$%&^|*+,-./:;<=>?~`@_";
static_assert(sizeof(kBase64Digits) == 65 && sizeof(kBase85Digits) == 86);

constexpr std::uint8_t kInvalid = 0xFF;

// Digit value of every byte for an alphabet; kInvalid for bytes outside it.
struct DigitTable {
  std::uint8_t value[256];
};

constexpr DigitTable MakeTable(const char* alphabet, bool fold_case) {
  DigitTable t{};
  for (int i = 0; i < 256; ++i) t.value[i] = kInvalid;
  for (int i = 0; alphabet[i] != '\0'; ++i) {
    auto c = static_cast<unsigned char>(alphabet[i]);
    t.value[c] = static_cast<std::uint8_t>(i);
    if (fold_case && c >= 'a' && c <= 'f') t.value[c - 'a' + 'A'] = static_cast<std::uint8_t>(i);
  }
  return t;
}

constexpr DigitTable kHexValue = MakeTable(kHexDigits, true);
constexpr DigitTable kBase64Value = MakeTable(kBase64Digits, false);
constexpr DigitTable kBase85Value = MakeTable(kBase85Digits, false);

// Offsets of the 16 hexadecimal digit pairs in the canonical text.
constexpr int kPairOffset[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

// The 16 bytes of the value V: Data1, Data2, Data3 most significant byte
// first, then Data4 bytes 0..7.
void ToBigEndianBytes(const Guid& g, std::uint8_t b[16]) {
  b[0] = static_cast<std::uint8_t>(g.Data1 >> 24);
  b[1] = static_cast<std::uint8_t>(g.Data1 >> 16);
  b[2] = static_cast<std::uint8_t>(g.Data1 >> 8);
  b[3] = static_cast<std::uint8_t>(g.Data1);
  b[4] = static_cast<std::uint8_t>(g.Data2 >> 8);
  b[5] = static_cast<std::uint8_t>(g.Data2);
  b[6] = static_cast<std::uint8_t>(g.Data3 >> 8);
  b[7] = static_cast<std::uint8_t>(g.Data3);
  std::memcpy(b + 8, g.Data4, 8);
}

void FromBigEndianBytes(const std::uint8_t b[16], Guid& g) {
  g.Data1 = static_cast<std::uint32_t>(b[0]) << 24 | static_cast<std::uint32_t>(b[1]) << 16 |
            static_cast<std::uint32_t>(b[2]) << 8 | b[3];
  g.Data2 = static_cast<std::uint16_t>(b[4] << 8 | b[5]);
  g.Data3 = static_cast<std::uint16_t>(b[6] << 8 | b[7]);
  std::memcpy(g.Data4, b + 8, 8);
}

void WriteCanonical(const Guid& g, char* out) {
  std::uint8_t b[16];
  ToBigEndianBytes(g, b);
  out[8] = out[13] = out[18] = out[23] = '-';
  for (int i = 0; i < 16; ++i) {
    out[kPairOffset[i]] = kHexDigits[b[i] >> 4];
    out[kPairOffset[i] + 1] = kHexDigits[b[i] & 0x0F];
  }
}

// The exact 36-character canonical shape at `s`, which the caller has
// checked to hold at least 36 bytes. Any mix of digit cases is accepted, as
// the formatted scan accepts it. Branch-free over the digits: one table
// lookup per byte, invalid bytes collected in the high bit of `bad`.
bool ParseCanonicalShape(const char* s, Guid& out) {
  if (s[8] != '-' || s[13] != '-' || s[18] != '-' || s[23] != '-') return false;
  std::uint8_t b[16];
  std::uint8_t bad = 0;
  for (int i = 0; i < 16; ++i) {
    std::uint8_t hi = kHexValue.value[static_cast<unsigned char>(s[kPairOffset[i]])];
    std::uint8_t lo = kHexValue.value[static_cast<unsigned char>(s[kPairOffset[i] + 1])];
    bad |= hi | lo;
    b[i] = static_cast<std::uint8_t>(hi << 4 | lo);
  }
  if (bad & 0x80) return false;
  FromBigEndianBytes(b, out);
  return true;
}

// Canonical scan of a zero-terminated text: the fast path for the exact
// shape (bare or after "{"), otherwise the C library's formatted scan.
bool ScanCanonical(const char* text, Guid& out) {
  if (text == nullptr) return false;
  Guid g;
  const std::size_t n = ::strnlen(text, 37);
  if ((n >= 36 && ParseCanonicalShape(text, g)) ||
      (n >= 37 && text[0] == '{' && ParseCanonicalShape(text + 1, g))) {
    out = g;
    return true;
  }
  // Both formats hold four literal "-" that must all match before the last
  // fields are read, so text with fewer hyphens (every base-64 text, nearly
  // every base-85 text) cannot give 11 fields: skip the scan.
  int hyphens = 0;
  for (const char* p = text; *p != '\0' && hyphens < 4; ++p) hyphens += *p == '-';
  if (hyphens < 4) return false;
  unsigned int f[11];
  static const char kFormat[] = "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x";
  static const char kBraced[] = "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}";
  if (std::sscanf(text, kFormat, &f[0], &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7], &f[8],
                  &f[9], &f[10]) != 11 &&
      std::sscanf(text, kBraced, &f[0], &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7], &f[8],
                  &f[9], &f[10]) != 11)
    return false;
  g.Data1 = f[0];
  g.Data2 = static_cast<std::uint16_t>(f[1]);
  g.Data3 = static_cast<std::uint16_t>(f[2]);
  for (int i = 0; i < 8; ++i) g.Data4[i] = static_cast<std::uint8_t>(f[3 + i]);
  out = g;
  return true;
}

// Base 64: 22 digits are the 128-bit value V. The groups of 2 + 5 * 4 digits
// hold 8 + 5 * 24 bits; a first digit above "3" carries bits beyond 128 that
// the group arithmetic drops.
bool ParseBase64(const char* s, std::size_t n, Guid& out) {
  if (n != 22) return false;
  std::uint32_t group[6];
  std::uint8_t bad = 0;
  const char* p = s;
  for (int gi = 0; gi < 6; ++gi) {
    std::uint32_t v = 0;
    for (int k = (gi == 0 ? 2 : 4); k > 0; --k) {
      std::uint8_t d = kBase64Value.value[static_cast<unsigned char>(*p++)];
      bad |= d;
      v = v << 6 | (d & 0x3F);
    }
    group[gi] = v;
  }
  if (bad & 0x80) return false;
  Guid g;
  g.Data1 = group[0] << 24 | group[1];  // modulo 2^32
  g.Data2 = static_cast<std::uint16_t>(group[2] >> 8);
  g.Data3 = static_cast<std::uint16_t>((group[2] & 0xFF) << 8 | group[3] >> 16);
  g.Data4[0] = static_cast<std::uint8_t>(group[3] >> 8);
  g.Data4[1] = static_cast<std::uint8_t>(group[3]);
  for (int i = 0; i < 3; ++i) {
    g.Data4[2 + i] = static_cast<std::uint8_t>(group[4] >> (16 - 8 * i));
    g.Data4[5 + i] = static_cast<std::uint8_t>(group[5] >> (16 - 8 * i));
  }
  out = g;
  return true;
}

// Base 85: four groups of five digits, each a 32-bit number (wrapping).
bool ParseBase85(const char* s, std::size_t n, Guid& out) {
  if (n != 20) return false;
  std::uint32_t group[4];
  std::uint8_t bad = 0;
  for (int gi = 0; gi < 4; ++gi) {
    std::uint32_t v = 0;
    for (int k = 0; k < 5; ++k) {
      std::uint8_t d = kBase85Value.value[static_cast<unsigned char>(s[gi * 5 + k])];
      bad |= d;
      v = v * 85u + (d & 0x7F);
    }
    group[gi] = v;
  }
  if (bad & 0x80) return false;
  Guid g;
  g.Data1 = group[0];
  g.Data2 = static_cast<std::uint16_t>(group[1] >> 16);
  g.Data3 = static_cast<std::uint16_t>(group[1]);
  for (int i = 0; i < 4; ++i) {
    g.Data4[i] = static_cast<std::uint8_t>(group[2] >> (8 * i));
    g.Data4[4 + i] = static_cast<std::uint8_t>(group[3] >> (8 * i));
  }
  out = g;
  return true;
}

// Byte length of a zero-terminated text, counted no further than `limit`.
std::size_t LengthUpTo(const char* s, std::size_t limit) {
  return s == nullptr ? 0 : ::strnlen(s, limit);
}

// A tavrin_ustring as UTF-8 for the byte parsers. Short ASCII text (every
// identifier form) is copied into `buffer` without allocating; anything else
// is converted with utf8() into `storage`.
class Utf8View {
 public:
  explicit Utf8View(const tavrin_ustring& text) {
    const std::size_t n = text.size();
    if (n < sizeof buffer_) {
      bool ascii = true;
      for (std::size_t i = 0; i < n; ++i) {
        unsigned short u = text[i];
        ascii &= u < 0x80;
        buffer_[i] = static_cast<char>(u);
      }
      if (ascii) {
        buffer_[n] = '\0';
        data_ = buffer_;
        size_ = n;
        return;
      }
    }
    storage_ = text.utf8();
    data_ = storage_.c_str();
    size_ = storage_.size();
  }
  const char* c_str() const { return data_; }
  std::size_t size() const { return size_; }

 private:
  char buffer_[64];
  std::string storage_;
  const char* data_ = nullptr;
  std::size_t size_ = 0;
};

bool ParseAny(const char* s, std::size_t n, Guid& out) {
  return ScanCanonical(s, out) || ParseBase64(s, n, out) || ParseBase85(s, n, out);
}

}  // namespace

Guid::Guid() : Data1(0), Data2(0), Data3(0), Data4{0, 0, 0, 0, 0, 0, 0, 0} {}

void Guid::Generate() {
  std::uint8_t b[16];
  if (!platform::FillRandomBytes(b, sizeof b)) return;
  b[6] = static_cast<std::uint8_t>((b[6] & 0x0F) | 0x40);  // version 4
  b[8] = static_cast<std::uint8_t>((b[8] & 0x3F) | 0x80);  // variant 10
  // The bytes go into the fields in the order delivered; each integer field
  // reads its bytes as a little-endian number.
  Data1 = static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
          static_cast<std::uint32_t>(b[2]) << 16 | static_cast<std::uint32_t>(b[3]) << 24;
  Data2 = static_cast<std::uint16_t>(b[4] | b[5] << 8);
  Data3 = static_cast<std::uint16_t>(b[6] | b[7] << 8);
  std::memcpy(Data4, b + 8, 8);
}

bool Guid::IsEqual(const Guid& other) const {
  return Data1 == other.Data1 && Data2 == other.Data2 && Data3 == other.Data3 &&
         std::memcmp(Data4, other.Data4, sizeof Data4) == 0;
}

bool Guid::IsNull() const {
  static const std::uint8_t kZero[8] = {};
  return Data1 == 0 && Data2 == 0 && Data3 == 0 && std::memcmp(Data4, kZero, sizeof Data4) == 0;
}

std::string Guid::ToStdString() const {
  std::string s(36, '\0');
  WriteCanonical(*this, s.data());
  return s;
}

tavrin_ustring Guid::ToString() const {
  char text[36];
  WriteCanonical(*this, text);
  tavrin_ustring::string_type units(36, 0);
  for (int i = 0; i < 36; ++i) units[i] = static_cast<unsigned char>(text[i]);
  return tavrin_ustring(std::move(units));
}

std::string Guid::ToBase64String() const {
  std::uint8_t b[16];
  ToBigEndianBytes(*this, b);
  std::string s(22, '\0');
  char* p = s.data();
  // Group 1: the top byte in two digits.
  *p++ = kBase64Digits[b[0] >> 6];
  *p++ = kBase64Digits[b[0] & 0x3F];
  // Groups 2 to 6: 24 bits each in four digits.
  for (int i = 1; i < 16; i += 3) {
    std::uint32_t v = static_cast<std::uint32_t>(b[i]) << 16 |
                      static_cast<std::uint32_t>(b[i + 1]) << 8 | b[i + 2];
    *p++ = kBase64Digits[v >> 18];
    *p++ = kBase64Digits[(v >> 12) & 0x3F];
    *p++ = kBase64Digits[(v >> 6) & 0x3F];
    *p++ = kBase64Digits[v & 0x3F];
  }
  return s;
}

std::string Guid::ToBase85String() const {
  const std::uint32_t group[4] = {
      Data1,
      static_cast<std::uint32_t>(Data2) << 16 | Data3,
      static_cast<std::uint32_t>(Data4[0]) | static_cast<std::uint32_t>(Data4[1]) << 8 |
          static_cast<std::uint32_t>(Data4[2]) << 16 | static_cast<std::uint32_t>(Data4[3]) << 24,
      static_cast<std::uint32_t>(Data4[4]) | static_cast<std::uint32_t>(Data4[5]) << 8 |
          static_cast<std::uint32_t>(Data4[6]) << 16 | static_cast<std::uint32_t>(Data4[7]) << 24,
  };
  std::string s(20, '\0');
  char* p = s.data();
  for (int gi = 0; gi < 4; ++gi, p += 5) {
    // 85^5 > 2^32: five digits always hold a group. The group is first split
    // at 85^2, so that its two halves are cut into digits side by side
    // instead of in one chain of five divisions.
    const std::uint32_t v = group[gi];
    const std::uint32_t high = v / 7225;        // digits 0..2
    const std::uint32_t low = v - high * 7225;  // digits 3..4
    const std::uint32_t high1 = high / 85;
    p[0] = kBase85Digits[high1 / 85];
    p[1] = kBase85Digits[high1 % 85];
    p[2] = kBase85Digits[high % 85];
    p[3] = kBase85Digits[low / 85];
    p[4] = kBase85Digits[low % 85];
  }
  return s;
}

// --- Parsers ------------------------------------------------------------

bool Guid::FromCanonicalString(const std::string& text, Guid& out) {
  return ScanCanonical(text.c_str(), out);
}
bool Guid::FromCanonicalString(const tavrin_ustring& text, Guid& out) {
  return ScanCanonical(Utf8View(text).c_str(), out);
}
bool Guid::FromCanonicalString(const char* text, Guid& out) {
  return ScanCanonical(text, out);
}

bool Guid::FromBase64String(const std::string& text, Guid& out) {
  return ParseBase64(text.data(), text.size(), out);
}
bool Guid::FromBase64String(const tavrin_ustring& text, Guid& out) {
  Utf8View v(text);
  return ParseBase64(v.c_str(), v.size(), out);
}
bool Guid::FromBase64String(const char* text, Guid& out) {
  return ParseBase64(text, LengthUpTo(text, 23), out);
}

bool Guid::FromBase85String(const std::string& text, Guid& out) {
  return ParseBase85(text.data(), text.size(), out);
}
bool Guid::FromBase85String(const tavrin_ustring& text, Guid& out) {
  Utf8View v(text);
  return ParseBase85(v.c_str(), v.size(), out);
}
bool Guid::FromBase85String(const char* text, Guid& out) {
  return ParseBase85(text, LengthUpTo(text, 21), out);
}

bool Guid::FromString(const std::string& text, Guid& out) {
  return ParseAny(text.c_str(), text.size(), out);
}
bool Guid::FromString(const tavrin_ustring& text, Guid& out) {
  Utf8View v(text);
  return ParseAny(v.c_str(), v.size(), out);
}
bool Guid::FromString(const char* text, Guid& out) {
  return text != nullptr && ParseAny(text, LengthUpTo(text, 23), out);
}

bool Guid::SetFromString(const std::string& text) {
  return FromString(text, *this);
}
bool Guid::SetFromString(const tavrin_ustring& text) {
  return FromString(text, *this);
}
bool Guid::SetFromString(const char* text) {
  return FromString(text, *this);
}
bool Guid::SetFromCanonicalString(const std::string& text) {
  return FromCanonicalString(text, *this);
}
bool Guid::SetFromCanonicalString(const tavrin_ustring& text) {
  return FromCanonicalString(text, *this);
}
bool Guid::SetFromCanonicalString(const char* text) {
  return FromCanonicalString(text, *this);
}
bool Guid::SetFromBase64String(const std::string& text) {
  return FromBase64String(text, *this);
}
bool Guid::SetFromBase64String(const tavrin_ustring& text) {
  return FromBase64String(text, *this);
}
bool Guid::SetFromBase64String(const char* text) {
  return FromBase64String(text, *this);
}
bool Guid::SetFromBase85String(const std::string& text) {
  return FromBase85String(text, *this);
}
bool Guid::SetFromBase85String(const tavrin_ustring& text) {
  return FromBase85String(text, *this);
}
bool Guid::SetFromBase85String(const char* text) {
  return FromBase85String(text, *this);
}

bool Guid::StringIsGUID(const std::string& text) {
  Guid scratch;
  return FromString(text, scratch);
}
bool Guid::StringIsGUID(const tavrin_ustring& text) {
  Guid scratch;
  return FromString(text, scratch);
}
bool Guid::StringIsGUID(const char* text) {
  Guid scratch;
  return FromString(text, scratch);
}

}  // namespace tavrin::utils
