// ustring.h - tavrin_ustring, the library's one text type.
//
// A tavrin_ustring is a value-semantics string of UTF-16 code units. Every
// position and length counts code units (a character outside the BMP takes
// two); "not found" is tavrin_ustring::npos. UTF-8 is the encoding at every
// boundary to 8-bit text, UTF-32 (wchar_t) at the boundary to wide text.
//
// Unit-wide rules:
// - Storage comes only from the allocation hooks of allocator.h; strings of
//   up to 7 units (libstdc++) or 10 units (libc++) live inside the object and
//   never allocate.
// - Conversions measure first and convert once into exactly sized storage.
//   Invalid or truncated UTF-8 yields an empty string, silently: there is no
//   partial conversion and no replacement of bad bytes. UTF-32 input and every
//   conversion out are lenient and never fail (lone surrogates are carried).
// - The character traits are C-string functions (unichar.h): a zero unit
//   inside a string is not supported. A string built in place may hold one
//   (tavrin_ustring(std::string) converts "a\0b" to three units), but after a
//   copy, move, growth or return by value the units after it may read as
//   zeros.
// - Out-of-range positions throw std::out_of_range (at, positional compare,
//   substr, insert, erase, replace); nothing else throws except
//   std::bad_alloc from the allocation hook.
// - Case mapping and white space use Unicode simple mappings from one cached
//   C.UTF-8 locale object, whatever setlocale says; surrogate units are never
//   mapped. Numbers parse with the "C" locale ("1.5", never "1,5").
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "common/utils/allocator.h"
#include "common/utils/export.h"
#include "common/utils/unichar.h"

namespace tavrin::utils {

// ustring_traits
//
// Character traits of the unit type, built on the UTF-16 C-string functions:
// length is ustrlen, compare ustrncmp, copy ustrncpy (stops at a zero unit and
// zero-fills), assign umemset, find umemchr, move memmove.
struct ustring_traits {
  using char_type = unsigned short;
  using int_type = unsigned int;
  using off_type = std::streamoff;
  using pos_type = std::streampos;
  using state_type = std::mbstate_t;

  static void assign(char_type& r, const char_type& a) noexcept { r = a; }
  static char_type* assign(char_type* p, std::size_t n, char_type a) noexcept {
    umemset(p, a, n);
    return p;
  }
  static bool eq(char_type a, char_type b) noexcept { return a == b; }
  static bool lt(char_type a, char_type b) noexcept { return a < b; }
  static int compare(const char_type* a, const char_type* b, std::size_t n) noexcept {
    return ustrncmp(a, b, n);
  }
  static std::size_t length(const char_type* s) noexcept { return ustrlen(s); }
  static const char_type* find(const char_type* p, std::size_t n, const char_type& a) noexcept {
    return umemchr(p, a, n);
  }
  static char_type* move(char_type* d, const char_type* s, std::size_t n) noexcept {
    if (n != 0) std::memmove(d, s, n * sizeof(char_type));
    return d;
  }
  static char_type* copy(char_type* d, const char_type* s, std::size_t n) noexcept {
    if (n != 0) ustrncpy(d, s, n);
    return d;
  }
  static char_type to_char_type(int_type c) noexcept { return static_cast<char_type>(c); }
  static int_type to_int_type(char_type c) noexcept { return c; }
  static bool eq_int_type(int_type a, int_type b) noexcept { return a == b; }
  static int_type eof() noexcept { return static_cast<int_type>(-1); }
  static int_type not_eof(int_type c) noexcept { return c == eof() ? 0 : c; }
};

class TAVRIN_EXPORT tavrin_ustring {
 public:
  using string_type = std::basic_string<unsigned short, ustring_traits, allocator<unsigned short>>;
  using size_type = string_type::size_type;  // unsigned long
  using value_type = unsigned short;
  using iterator = unsigned short*;
  using const_iterator = const unsigned short*;

  static constexpr size_type npos = string_type::npos;

  // --- Construction. Every constructor starts empty, then fills. ---------
  tavrin_ustring() = default;
  tavrin_ustring(const tavrin_ustring&) = default;
  tavrin_ustring(tavrin_ustring&&) noexcept = default;
  tavrin_ustring(const string_type& units);
  tavrin_ustring(string_type&& units) noexcept;
  // Zero-terminated UTF-16; null gives an empty string.
  tavrin_ustring(const unsigned short* s);
  // Exactly `n` units; null gives an empty string whatever `n` is.
  tavrin_ustring(const unsigned short* s, unsigned long n);
  tavrin_ustring(const char16_t* s);
  tavrin_ustring(const char16_t* s, unsigned long n);
  tavrin_ustring(unsigned long count, unsigned short ch);
  // Zero-terminated UTF-8 (assign_utf8); null or invalid UTF-8 gives empty.
  tavrin_ustring(const char* s);
  // `len` bytes of UTF-8; invalid UTF-8 gives empty.
  tavrin_ustring(const char* s, unsigned long len);
  // The whole length of `s` as UTF-8, zero bytes included.
  tavrin_ustring(const std::string& s);
  // Zero-terminated UTF-32, lenient; null gives an empty string.
  tavrin_ustring(const wchar_t* s);
  // UTF-32, lenient.
  tavrin_ustring(const std::wstring& s);

  // --- Assignment. -------------------------------------------------------
  tavrin_ustring& operator=(const tavrin_ustring&) = default;
  tavrin_ustring& operator=(tavrin_ustring&&) noexcept = default;
  // assign_utf8(s): a null pointer leaves the string unchanged (unlike the
  // constructor); invalid UTF-8 empties it.
  tavrin_ustring& operator=(const char* s);
  // assign_utf8(s.c_str()): stops at the first zero byte (unlike the
  // constructor from std::string, which converts the whole length).
  tavrin_ustring& operator=(const std::string& s);
  // Zero-terminated UTF-32; a null pointer leaves the string unchanged.
  tavrin_ustring& operator=(const wchar_t* s);
  // UTF-32, lenient; empty input clears.
  tavrin_ustring& operator=(const std::wstring& s);

  // assign_utf8(const char*) - null leaves the string unchanged; otherwise
  // assign_utf8(s, strlen(s)).
  void assign_utf8(const char* s);
  // assign_utf8(const char*, len) - measures with SizeNeededForUTF16; a
  // negative measure (invalid or truncated UTF-8) empties the string;
  // otherwise converts once into exactly sized storage.
  void assign_utf8(const char* s, unsigned long len);
  // assign_multibyte() - `s` in the current locale's multibyte encoding
  // (mbstowcs); input invalid in that locale, and a null pointer, give an
  // empty string.
  void assign_multibyte(const char* s);

  // --- Conversions out (never fail; lenient). ----------------------------
  std::string utf8() const;
  // Bytes utf8() produces.
  unsigned long size_utf8() const;
  // Units up to the first zero unit.
  std::u16string utf16() const;
  const char16_t* utf16_data() const;
  std::wstring w_str() const;
  // In the current locale's multibyte encoding; empty when the text cannot be
  // represented there.
  std::string multibyte_str() const;
  const unsigned short* c_str() const { return str_.c_str(); }
  const unsigned short* data() const { return str_.data(); }
  // The underlying unit string.
  const string_type& str() const { return str_; }
  string_type& str() { return str_; }

  // --- Size and capacity. ------------------------------------------------
  size_type size() const { return str_.size(); }
  size_type length() const { return str_.size(); }
  bool empty() const { return str_.empty(); }
  size_type capacity() const { return str_.capacity(); }
  void reserve(size_type n) { str_.reserve(n); }
  // New units are zero.
  void resize(size_type n) { str_.resize(n); }
  // Keeps the capacity.
  void clear() { str_.clear(); }
  void shrink_to_fit();

  // --- Element access. ---------------------------------------------------
  // Unchecked; operator[](size()) is the terminating zero unit.
  unsigned short& operator[](size_type i) { return str_[i]; }
  const unsigned short& operator[](size_type i) const { return str_[i]; }
  // Throws std::out_of_range for i >= size().
  unsigned short& at(size_type i) { return str_.at(i); }
  const unsigned short& at(size_type i) const { return str_.at(i); }
  iterator begin() { return str_.data(); }
  iterator end() { return str_.data() + str_.size(); }
  const_iterator begin() const { return str_.data(); }
  const_iterator end() const { return str_.data() + str_.size(); }

  // --- Modification (std::basic_string semantics). -----------------------
  tavrin_ustring& operator+=(const tavrin_ustring& s);
  tavrin_ustring& operator+=(unsigned short ch);
  // Length by ustrlen: a null pointer appends nothing.
  tavrin_ustring& operator+=(const unsigned short* s);
  tavrin_ustring& append(const unsigned short* s);
  tavrin_ustring& append(const tavrin_ustring& s);
  void push_back(unsigned short ch) { str_.push_back(ch); }
  tavrin_ustring& insert(size_type pos, size_type count, unsigned short ch);
  tavrin_ustring& insert(size_type pos, const tavrin_ustring& s);
  tavrin_ustring& erase(size_type pos = 0, size_type count = npos);
  tavrin_ustring& replace(size_type pos, size_type count, const tavrin_ustring& s);
  tavrin_ustring substr(size_type pos = 0, size_type count = npos) const;
  void swap(tavrin_ustring& other) noexcept { str_.swap(other.str_); }

  // safe_copy() - copies min(count, size()) units from position 0 into `dest`
  // with ustrncpy semantics, adds no terminator and returns that number.
  // `destSize` is not consulted (the caller guarantees room for `count`
  // units); debug builds report count > destSize through AssertFailed.
  unsigned long safe_copy(unsigned short* dest, unsigned long destSize, unsigned long count) const;

  // --- Comparison. -------------------------------------------------------
  // compare() - code-unit order; always -1, 0 or +1; a shorter string that is
  // a prefix of the other is less.
  int compare(const tavrin_ustring& other) const;
  // Throws std::out_of_range when pos > size().
  int compare(size_type pos, size_type n, const tavrin_ustring& other) const;
  int compare(size_type pos, size_type n, const unsigned short* s, size_type n2) const;
  bool operator==(const tavrin_ustring& o) const { return compare(o) == 0; }
  bool operator!=(const tavrin_ustring& o) const { return compare(o) != 0; }
  bool operator<(const tavrin_ustring& o) const { return compare(o) < 0; }
  // Bytewise against the UTF-8 form; null is empty text.
  bool operator==(const char* s) const;
  bool operator!=(const char* s) const { return !(*this == s); }
  // std::hash of the units as a u16string_view.
  std::size_t hash() const;

  // --- Searching (std::basic_string semantics; npos when not found). -----
  size_type find(const tavrin_ustring& s, size_type pos = 0) const;
  size_type find(unsigned short ch, size_type pos = 0) const;
  size_type rfind(const tavrin_ustring& s, size_type pos = npos) const;
  size_type rfind(unsigned short ch, size_type pos = npos) const;
  size_type find_first_of(const tavrin_ustring& set, size_type pos = 0) const;
  size_type find_first_of(unsigned short ch, size_type pos = 0) const;
  size_type find_last_of(const tavrin_ustring& set, size_type pos = npos) const;
  size_type find_last_of(unsigned short ch, size_type pos = npos) const;
  size_type find_first_not_of(const tavrin_ustring& set, size_type pos = 0) const;
  size_type find_first_not_of(unsigned short ch, size_type pos = 0) const;
  size_type find_last_not_of(const tavrin_ustring& set, size_type pos = npos) const;
  size_type find_last_not_of(unsigned short ch, size_type pos = npos) const;

  // --- Trimming. ---------------------------------------------------------
  // White space: ASCII space, \t \n \v \f \r below 128, the Unicode space
  // class above. The non-const forms trim in place and return *this; the
  // const forms return a trimmed copy.
  tavrin_ustring& trim();
  tavrin_ustring trim() const;
  tavrin_ustring& trim_left();
  tavrin_ustring trim_left() const;
  tavrin_ustring& trim_right();
  tavrin_ustring trim_right() const;
  // Removes leading units that are in `set` (all of them: empty result).
  tavrin_ustring& TrimLeft(const tavrin_ustring& set);
  // Removes trailing units that are in `set`.
  tavrin_ustring& TrimRight(const tavrin_ustring& set);

  // --- Case (one unit to one unit; surrogates unchanged). ----------------
  tavrin_ustring& toupper();
  tavrin_ustring& tolower();
  tavrin_ustring GetUppercase() const;
  tavrin_ustring GetLowercase() const;
  // -1, 0 or +1; 0 only for case-equal strings.
  int compare_nocase(const tavrin_ustring& other) const;
  // Natural, case-insensitive order: numbers compare by value, digits sort
  // before other characters; equal differing digit runs end the comparison
  // with 0 ("01b" vs "1a" is 0, kept).
  int compare_intuitive_nocase(const tavrin_ustring& other) const;

  // replace_all() - replaces non-overlapping occurrences of `from`, left to
  // right, and returns the count; 0 and no change when `from` equals `to` or
  // `from` is empty.
  int replace_all(const tavrin_ustring& from, const tavrin_ustring& to);

  // --- Extraction (negative counts count as 0). --------------------------
  tavrin_ustring Left(int n) const;
  tavrin_ustring Right(int n) const;
  tavrin_ustring Mid(int first, int count) const;
  tavrin_ustring Mid(int first) const;
  // Units before the first unit in `set`; the whole string when none is.
  tavrin_ustring SpanExcluding(const tavrin_ustring& set) const;
  // The part after the leading run of `set` units (deliberately not the run):
  // the whole string when every unit is in `set`, empty when the first is not.
  tavrin_ustring SpanIncluding(const tavrin_ustring& set) const;
  // Shortens to the first `n` units, "..." and the last `n` units; no change
  // when n is 0 or size() < 2n + 3.
  void LeaveOnEachSide(unsigned int n);

  // Tokenize() - the next token at or after `start`, skipping runs of
  // delimiters; advances `start` past the delimiter that ended it (or to
  // size()). Empty result and `start` unchanged when `start` is negative or
  // not below size(). With an empty delimiter set the rest comes back and
  // `start` stops moving.
  tavrin_ustring Tokenize(const tavrin_ustring& delims, int& start) const;
  // Every non-empty token; an empty delimiter set gives the whole string as
  // the one element (none for an empty string).
  std::vector<tavrin_ustring> TokenizeToVector(const tavrin_ustring& delims) const;

  // --- Numbers (of the UTF-8 text, "C" locale). --------------------------
  // True when the base-10 long parser consumes the whole text (leading white
  // space and a sign accepted; trailing white space is false; "" is true).
  bool is_long() const;
  bool is_unsigned() const;
  bool is_double() const;
  // atol-style: 0 when nothing is read.
  long to_long() const;
  int to_int() const;
  double to_double() const;
  float to_float() const;

  // --- Format strings. ---------------------------------------------------
  // Format() - assigns the formatted text; an empty format leaves the string
  // unchanged; a format the formatter rejects gives an empty string. Inserts
  // are "%1".."%9" (UTF-16 argument) and "%1!d!" style; "%s" takes
  // zero-terminated UTF-16 units, "%S" zero-terminated UTF-8 bytes.
  void Format(tavrin_ustring fmt, ...);
  void FormatV(const tavrin_ustring& fmt, va_list args);
  // The platform step: printf-style with "%n$" positions, "%S" = UTF-16
  // units, "%s" = UTF-8 bytes. Empty result for a rejected format.
  void FormatVPlatform(const tavrin_ustring& fmt, va_list args);
  static tavrin_ustring GetFormatted(tavrin_ustring fmt, ...);
  // "%1" -> "%1$s", "%2!d!" -> "%2$d" (single-digit inserts only).
  static tavrin_ustring FixWindowsPositionalFormats(const tavrin_ustring& fmt);
  // Exchanges "s" and "S" directly after "%" or after a positional "$".
  static tavrin_ustring ReverseStringFormats(const tavrin_ustring& fmt);
  // "%1$s" -> "%s"; a trailing "%1" loses its digit (kept).
  static tavrin_ustring RemovePositionalFormats(const tavrin_ustring& fmt);

 private:
  // Converts `len` UTF-32 units (lenient) into this string.
  void AssignUtf32(const wchar_t* s, std::size_t len);

  string_type str_;
};

// Joins two strings.
TAVRIN_EXPORT tavrin_ustring operator+(const tavrin_ustring& a, const tavrin_ustring& b);
// `a` followed by `b` read as UTF-8.
TAVRIN_EXPORT tavrin_ustring operator+(const tavrin_ustring& a, const char* b);

// UTF8ToUTF16() - zero-fills `destLen` units of `dest`, then converts the
// zero-terminated UTF-8 `src` (lenient) when its UTF-16 length is strictly
// less than `destLen`; otherwise `dest` stays all zeros. Returns `dest`
// (null when `dest` is null); a null `src` leaves `dest` zero-filled.
TAVRIN_EXPORT unsigned short* UTF8ToUTF16(const char* src, unsigned short* dest,
                                          unsigned long destLen);

}  // namespace tavrin::utils

template <>
struct std::hash<tavrin::utils::tavrin_ustring> {
  std::size_t operator()(const tavrin::utils::tavrin_ustring& s) const noexcept { return s.hash(); }
};
