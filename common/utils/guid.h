// guid.h - Guid, the library's 128-bit identifier and its three text forms.
//
// A Guid is exactly four public fields and 16 bytes: Data1 (32 bits),
// Data2 and Data3 (16 bits each) and Data4 (8 bytes, byte 0 first). New
// identifiers come from the operating system's random source as version-4
// UUIDs. Three text forms exist and every parser accepts each of them:
//
// - canonical: "0123abcd-0001-0002-0a0b-0c0d0e0f1011", 36 characters, lower
//   case, the fields printed as "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x";
// - base 64: 22 characters, the 128-bit big-endian value Data1|Data2|Data3|Data4
//   written in base 64 with the alphabet
//   "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$",
//   in groups of 2, 4, 4, 4, 4, 4 digits (8, 24, 24, 24, 24, 24 bits);
// - base 85: 20 characters, four 5-digit base-85 numbers with the alphabet
//   "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!#$%&^|*+,-./:;<=>?~`@_":
//   Data1, Data2 * 65536 + Data3, then Data4 bytes 0..3 and 4..7 each read as
//   a little-endian 32-bit number. The byte order of the last two groups
//   differs from the first two; stored identifiers depend on it.
//
// Unit-wide rules:
// - Parsers return false on failure and write their target only after the
//   whole text has been accepted: a failed parse never changes the target.
// - Every parser exists for std::string (bytes), tavrin_ustring (converted to
//   UTF-8 first) and a zero-terminated const char* (UTF-8; null is false).
// - Writers never fail and never allocate beyond the returned string.
#pragma once

#include <cstdint>
#include <string>

#include "common/utils/export.h"

namespace tavrin::utils {

class tavrin_ustring;

struct TAVRIN_EXPORT Guid {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  // Guid() - the null identifier (all 16 bytes zero).
  Guid();

  // Generate() - a new random identifier: 16 bytes from the operating
  // system's random source, made a version-4 UUID (byte 6 carries version 4,
  // byte 8 the variant bits 10) and copied in order into the fields, each
  // integer field reading its bytes little-endian. So the canonical text has
  // "4" at index 16 and one of "89ab" at index 19. When no random source is
  // available the identifier is left unchanged.
  void Generate();

  // IsEqual() - true when all four fields are equal.
  bool IsEqual(const Guid& other) const;
  bool operator==(const Guid& other) const { return IsEqual(other); }

  // IsNull() - true when all 16 bytes are zero.
  bool IsNull() const;

  // ToStdString() - the canonical text, 36 bytes, lower case, no braces.
  std::string ToStdString() const;
  // ToString() - the canonical text as a tavrin_ustring.
  tavrin_ustring ToString() const;
  // ToBase64String() - the 22-character base-64 form; its first character is
  // always one of "0123".
  std::string ToBase64String() const;
  // ToBase85String() - the 20-character base-85 form.
  std::string ToBase85String() const;

  // FromCanonicalString() - scans the text with the C library's formatted
  // input rules for "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", and
  // when that does not read all 11 fields, for the same format in braces
  // "{...}". Each field takes at most its width of hexadecimal digits (upper
  // or lower case; fewer are accepted), blanks before a field are skipped, a
  // sign or "0x" inside a field's width is accepted, text after the last field
  // (such as a closing brace) is ignored. Fields keep their low 16 or 8 bits.
  // False, with `out` unchanged, when neither scan reads 11 fields.
  [[nodiscard]] static bool FromCanonicalString(const std::string& text, Guid& out);
  [[nodiscard]] static bool FromCanonicalString(const tavrin_ustring& text, Guid& out);
  [[nodiscard]] static bool FromCanonicalString(const char* text, Guid& out);

  // FromBase64String() - exactly 22 bytes of the base-64 alphabet; false
  // otherwise, with `out` unchanged. A first digit above "3" loses its high
  // bits silently (the value is taken modulo 2^128).
  [[nodiscard]] static bool FromBase64String(const std::string& text, Guid& out);
  [[nodiscard]] static bool FromBase64String(const tavrin_ustring& text, Guid& out);
  [[nodiscard]] static bool FromBase64String(const char* text, Guid& out);

  // FromBase85String() - exactly 20 bytes of the base-85 alphabet; false
  // otherwise, with `out` unchanged. A group above 2^32 - 1 wraps silently
  // (modulo 2^32).
  [[nodiscard]] static bool FromBase85String(const std::string& text, Guid& out);
  [[nodiscard]] static bool FromBase85String(const tavrin_ustring& text, Guid& out);
  [[nodiscard]] static bool FromBase85String(const char* text, Guid& out);

  // FromString() - the canonical, then the base-64, then the base-85 parser;
  // the first that accepts the text wins. False, with `out` unchanged, when
  // none does.
  [[nodiscard]] static bool FromString(const std::string& text, Guid& out);
  [[nodiscard]] static bool FromString(const tavrin_ustring& text, Guid& out);
  [[nodiscard]] static bool FromString(const char* text, Guid& out);

  // SetFrom...() - the parser of the same name into this identifier; false,
  // with this identifier unchanged, when the text is not accepted.
  [[nodiscard]] bool SetFromString(const std::string& text);
  [[nodiscard]] bool SetFromString(const tavrin_ustring& text);
  [[nodiscard]] bool SetFromString(const char* text);
  [[nodiscard]] bool SetFromCanonicalString(const std::string& text);
  [[nodiscard]] bool SetFromCanonicalString(const tavrin_ustring& text);
  [[nodiscard]] bool SetFromCanonicalString(const char* text);
  [[nodiscard]] bool SetFromBase64String(const std::string& text);
  [[nodiscard]] bool SetFromBase64String(const tavrin_ustring& text);
  [[nodiscard]] bool SetFromBase64String(const char* text);
  [[nodiscard]] bool SetFromBase85String(const std::string& text);
  [[nodiscard]] bool SetFromBase85String(const tavrin_ustring& text);
  [[nodiscard]] bool SetFromBase85String(const char* text);

  // StringIsGUID() - true when FromString() accepts the text; false for an
  // empty text and for null.
  [[nodiscard]] static bool StringIsGUID(const std::string& text);
  [[nodiscard]] static bool StringIsGUID(const tavrin_ustring& text);
  [[nodiscard]] static bool StringIsGUID(const char* text);
};

static_assert(sizeof(Guid) == 16, "Guid is exactly its 16 bytes");

}  // namespace tavrin::utils
