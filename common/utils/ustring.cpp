// ustring.cpp - the core of tavrin_ustring: construction, assignment,
// conversions in and out, comparison and hashing.
//
// Every conversion measures first (SizeNeeded...) and converts once into
// storage of exactly the measured size; the only temporary buffers are the
// one the multibyte conversions need for the C library's wide-character
// calls, and a small piece buffer on the stack through which long texts are
// converted so that their storage is written once (see ResizeAndFill).
#include "common/utils/ustring.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <cwchar>
#include <stdexcept>

#include "common/utils/convertutf.h"
#include "common/utils/tavrinassert.h"

namespace tavrin::utils {

namespace {

static_assert(sizeof(wchar_t) == sizeof(UTF32), "wide strings hold UTF-32 on this platform");

// Compares `alen` units at `a` with `blen` units at `b`: the common prefix with
// ustrncmp, then the shorter is less. Always -1, 0 or +1.
int CompareUnits(const unsigned short* a, std::size_t alen, const unsigned short* b,
                 std::size_t blen) {
  std::size_t n = std::min(alen, blen);
  if (n != 0) {
    int r = ustrncmp(a, b, n);
    if (r != 0) return r;
  }
  if (alen == blen) return 0;
  return alen < blen ? -1 : 1;
}

// Resizes `s` to `n` units without caring what they hold (they are about to
// be overwritten by a converter), then lets `fill` write them. `fill`
// returns how many it wrote; the string keeps that many.
template <class String, class Fill>
void ResizeAndFill(String& s, std::size_t n, Fill fill) {
#if defined(__cpp_lib_string_resize_and_overwrite)
  s.resize_and_overwrite(n, [&](auto* p, std::size_t) { return fill(p); });
#else
  s.resize(n);
  s.resize(fill(s.data()));
#endif
}

// Long conversions out to the standard string types go through a small
// buffer instead: the result is reserved at its final size once and each
// piece converted into the buffer (which stays in the cache) is appended, so
// the result is written once, not first cleared by resize() and then
// overwritten. Pieces never split a surrogate pair. (Into a tavrin_ustring
// the plain resize stays: its converter is faster on one long run than on
// pieces.)
constexpr std::size_t kPiece = 2048;  // source elements per piece (8 KiB of stack at most)

// End of the piece of UTF-16 starting at `from`: at most kPiece units, one
// fewer when that would leave a high surrogate last (it may pair with the
// next unit).
std::size_t Utf16PieceEnd(const UTF16* s, std::size_t from, std::size_t len) {
  if (len - from <= kPiece) return len;
  std::size_t end = from + kPiece;
  if (s[end - 1] >= 0xD800 && s[end - 1] <= 0xDBFF) --end;
  return end;
}

// End of the piece of UTF-8 starting at `from` in a text that measured as
// convertible: at most kPiece bytes, ending before a byte that is not a
// continuation byte, so well-formed sequences are not split.
std::size_t Utf8PieceEnd(const UTF8* s, std::size_t from, std::size_t len) {
  if (len - from <= kPiece) return len;
  std::size_t end = from + kPiece;
  while (end > from + kPiece - 4 && (s[end] & 0xC0) == 0x80) --end;
  return end;
}

}  // namespace

tavrin_ustring::tavrin_ustring(const string_type& units) : str_(units) {}

tavrin_ustring::tavrin_ustring(string_type&& units) noexcept : str_(std::move(units)) {}

tavrin_ustring::tavrin_ustring(const unsigned short* s) {
  if (s) str_.assign(s, ustrlen(s));
}

tavrin_ustring::tavrin_ustring(const unsigned short* s, unsigned long n) {
  if (s) str_.assign(s, n);
}

tavrin_ustring::tavrin_ustring(const char16_t* s)
    : tavrin_ustring(reinterpret_cast<const unsigned short*>(s)) {}

tavrin_ustring::tavrin_ustring(const char16_t* s, unsigned long n)
    : tavrin_ustring(reinterpret_cast<const unsigned short*>(s), n) {}

tavrin_ustring::tavrin_ustring(unsigned long count, unsigned short ch) : str_(count, ch) {}

tavrin_ustring::tavrin_ustring(const char* s) {
  if (s) assign_utf8(s);
}

tavrin_ustring::tavrin_ustring(const char* s, unsigned long len) {
  if (s) assign_utf8(s, len);
}

tavrin_ustring::tavrin_ustring(const std::string& s) {
  assign_utf8(s.data(), s.size());
}

tavrin_ustring::tavrin_ustring(const wchar_t* s) {
  if (s) AssignUtf32(s, std::wcslen(s));
}

tavrin_ustring::tavrin_ustring(const std::wstring& s) {
  AssignUtf32(s.data(), s.size());
}

tavrin_ustring& tavrin_ustring::operator=(const char* s) {
  assign_utf8(s);
  return *this;
}

tavrin_ustring& tavrin_ustring::operator=(const std::string& s) {
  assign_utf8(s.c_str());
  return *this;
}

tavrin_ustring& tavrin_ustring::operator=(const wchar_t* s) {
  if (s) AssignUtf32(s, std::wcslen(s));
  return *this;
}

tavrin_ustring& tavrin_ustring::operator=(const std::wstring& s) {
  AssignUtf32(s.data(), s.size());
  return *this;
}

void tavrin_ustring::AssignUtf32(const wchar_t* s, std::size_t len) {
  if (len == 0) {
    str_.clear();
    return;
  }
  const UTF32* begin = reinterpret_cast<const UTF32*>(s);
  const UTF32* end = begin + len;
  int n = SizeNeededForUTF32To16(begin, end, lenientConversion);
  str_.clear();
  if (n <= 0) return;
  ResizeAndFill(str_, static_cast<std::size_t>(n), [&](unsigned short* out) {
    const UTF32* src = begin;
    UTF16* dst = out;
    ConvertUTF32toUTF16(&src, end, &dst, out + n, lenientConversion);
    return static_cast<std::size_t>(dst - out);
  });
}

void tavrin_ustring::assign_utf8(const char* s) {
  if (s == nullptr) return;
  assign_utf8(s, std::strlen(s));
}

void tavrin_ustring::assign_utf8(const char* s, unsigned long len) {
  str_.clear();
  if (len == 0 || s == nullptr) return;
  const UTF8* begin = reinterpret_cast<const UTF8*>(s);
  const UTF8* end = begin + len;
  int n = SizeNeededForUTF16(begin, end, lenientConversion);
  if (n <= 0) return;  // invalid or truncated UTF-8: the whole string is empty
  if (len > kPiece) {
    // Reserved once at the final size and filled piece by piece from a
    // buffer that stays in the cache, so the storage is written once.
    str_.reserve(static_cast<std::size_t>(n));
    UTF16 piece[kPiece];  // a byte gives at most one unit
    std::size_t from = 0;
    while (from < len) {
      const std::size_t to = Utf8PieceEnd(begin, from, len);
      const UTF8* src = begin + from;
      UTF16* dst = piece;
      ConvertUTF8toUTF16(&src, begin + to, &dst, piece + kPiece, lenientConversion);
      // Grown and filled with memcpy, not append(): the traits' copy stops at
      // a zero unit, and a zero byte of the text is a zero unit here.
      const std::size_t at = str_.size();
      const auto count = static_cast<std::size_t>(dst - piece);
      str_.resize(at + count);
      std::memcpy(str_.data() + at, piece, count * sizeof(UTF16));
      // The next piece starts where the converter stopped, not at `to`: the
      // trail bytes of a sequence need not be continuation bytes (after F4
      // only their upper bound is checked), so the piece end may still cut
      // one, and the converter then leaves all of it to the next piece.
      const std::size_t next = static_cast<std::size_t>(src - begin);
      if (next == from) break;  // no progress: the whole conversion below decides
      from = next;
    }
    if (from == len) return;
    str_.clear();
  }
  ResizeAndFill(str_, static_cast<std::size_t>(n), [&](unsigned short* out) {
    const UTF8* src = begin;
    UTF16* dst = out;
    ConvertUTF8toUTF16(&src, end, &dst, out + n, lenientConversion);
    return static_cast<std::size_t>(dst - out);
  });
}

void tavrin_ustring::assign_multibyte(const char* s) {
  if (s == nullptr) {  // null is empty text, like input the locale cannot read
    str_.clear();
    return;
  }
  std::size_t n = std::mbstowcs(nullptr, s, 0);
  if (n == static_cast<std::size_t>(-1)) {
    str_.clear();
    return;
  }
  std::wstring wide(n + 1, L'\0');
  std::mbstowcs(wide.data(), s, n + 1);
  AssignUtf32(wide.data(), std::wcslen(wide.c_str()));
}

std::string tavrin_ustring::utf8() const {
  std::string out;
  if (str_.empty()) return out;
  const UTF16* begin = str_.data();
  const UTF16* end = begin + str_.size();
  int n = SizeNeededForUTF8(begin, end, lenientConversion);
  if (n <= 0) return out;
  const std::size_t len = str_.size();
  if (len <= kPiece) {
    ResizeAndFill(out, static_cast<std::size_t>(n), [&](char* p) {
      const UTF16* src = begin;
      UTF8* dst = reinterpret_cast<UTF8*>(p);
      ConvertUTF16toUTF8(&src, end, &dst, dst + n, lenientConversion);
      return static_cast<std::size_t>(reinterpret_cast<char*>(dst) - p);
    });
    return out;
  }
  out.reserve(static_cast<std::size_t>(n));
  UTF8 piece[3 * kPiece];  // a unit gives at most three bytes
  for (std::size_t from = 0; from < len;) {
    const std::size_t to = Utf16PieceEnd(begin, from, len);
    const UTF16* src = begin + from;
    UTF8* dst = piece;
    ConvertUTF16toUTF8(&src, begin + to, &dst, piece + 3 * kPiece, lenientConversion);
    out.append(reinterpret_cast<const char*>(piece), static_cast<std::size_t>(dst - piece));
    from = to;
  }
  return out;
}

unsigned long tavrin_ustring::size_utf8() const {
  if (str_.empty()) return 0;
  int n = SizeNeededForUTF8(str_.data(), str_.data() + str_.size(), lenientConversion);
  return n < 0 ? 0 : static_cast<unsigned long>(n);
}

std::u16string tavrin_ustring::utf16() const {
  return std::u16string(utf16_data());
}

const char16_t* tavrin_ustring::utf16_data() const {
  return reinterpret_cast<const char16_t*>(str_.c_str());
}

std::wstring tavrin_ustring::w_str() const {
  std::wstring out;
  if (str_.empty()) return out;
  if (str_.size() > kPiece) {
    // The result ends at the first zero unit, as a zero-terminated buffer
    // would: the units before it are converted piece by piece.
    const UTF16* begin = str_.data();
    const UTF16* zero = umemchr(begin, 0, str_.size());
    const std::size_t len = zero ? static_cast<std::size_t>(zero - begin) : str_.size();
    out.reserve(len);
    UTF32 piece[kPiece];  // a unit gives at most one value
    for (std::size_t from = 0; from < len;) {
      const std::size_t to = Utf16PieceEnd(begin, from, len);
      const UTF16* src = begin + from;
      UTF32* dst = piece;
      ConvertUTF16toUTF32(&src, begin + to, &dst, piece + kPiece, lenientConversion);
      out.append(reinterpret_cast<const wchar_t*>(piece), static_cast<std::size_t>(dst - piece));
      from = to;
    }
    return out;
  }
  // At most one UTF-32 unit per UTF-16 unit; the result ends at the first
  // zero unit, as a zero-terminated buffer would.
  ResizeAndFill(out, str_.size(), [&](wchar_t* p) {
    const UTF16* src = str_.data();
    UTF32* begin = reinterpret_cast<UTF32*>(p);
    UTF32* dst = begin;
    ConvertUTF16toUTF32(&src, src + str_.size(), &dst, begin + str_.size(), lenientConversion);
    std::size_t produced = static_cast<std::size_t>(dst - begin);
    const UTF32* zero = std::find(begin, dst, 0u);
    return std::min(produced, static_cast<std::size_t>(zero - begin));
  });
  return out;
}

std::string tavrin_ustring::multibyte_str() const {
  std::wstring wide = w_str();
  std::size_t n = std::wcstombs(nullptr, wide.c_str(), 0);
  if (n == static_cast<std::size_t>(-1)) return std::string();
  std::string out(n + 1, '\0');
  std::wcstombs(out.data(), wide.c_str(), n + 1);
  out.resize(std::strlen(out.c_str()));
  return out;
}

void tavrin_ustring::shrink_to_fit() {
  str_.shrink_to_fit();
}

tavrin_ustring& tavrin_ustring::operator+=(const tavrin_ustring& s) {
  str_.append(s.str_);
  return *this;
}

tavrin_ustring& tavrin_ustring::operator+=(unsigned short ch) {
  str_.push_back(ch);
  return *this;
}

tavrin_ustring& tavrin_ustring::operator+=(const unsigned short* s) {
  return append(s);
}

tavrin_ustring& tavrin_ustring::append(const unsigned short* s) {
  if (s) str_.append(s, ustrlen(s));
  return *this;
}

tavrin_ustring& tavrin_ustring::append(const tavrin_ustring& s) {
  str_.append(s.str_);
  return *this;
}

tavrin_ustring& tavrin_ustring::insert(size_type pos, size_type count, unsigned short ch) {
  str_.insert(pos, count, ch);
  return *this;
}

tavrin_ustring& tavrin_ustring::insert(size_type pos, const tavrin_ustring& s) {
  str_.insert(pos, s.str_);
  return *this;
}

tavrin_ustring& tavrin_ustring::erase(size_type pos, size_type count) {
  str_.erase(pos, count);
  return *this;
}

tavrin_ustring& tavrin_ustring::replace(size_type pos, size_type count, const tavrin_ustring& s) {
  str_.replace(pos, count, s.str_);
  return *this;
}

tavrin_ustring tavrin_ustring::substr(size_type pos, size_type count) const {
  return tavrin_ustring(str_.substr(pos, count));
}

unsigned long tavrin_ustring::safe_copy(unsigned short* dest, unsigned long destSize,
                                        unsigned long count) const {
  // destSize is not consulted: the caller guarantees room for `count` units.
  // Debug builds report a caller that promises less room (hook only).
#ifndef NDEBUG
  if (count > destSize) AssertFailed(__FILE__, __LINE__, "safe_copy: count <= destSize");
#else
  (void)destSize;
#endif
  unsigned long n = std::min<unsigned long>(count, str_.size());
  if (n != 0) ustrncpy(dest, str_.c_str(), n);
  return n;
}

int tavrin_ustring::compare(const tavrin_ustring& other) const {
  return CompareUnits(str_.data(), str_.size(), other.str_.data(), other.str_.size());
}

int tavrin_ustring::compare(size_type pos, size_type n, const tavrin_ustring& other) const {
  if (pos > str_.size()) throw std::out_of_range("tavrin_ustring::compare: position out of range");
  return CompareUnits(str_.data() + pos, std::min(n, str_.size() - pos), other.str_.data(),
                      other.str_.size());
}

int tavrin_ustring::compare(size_type pos, size_type n, const unsigned short* s,
                            size_type n2) const {
  if (pos > str_.size()) throw std::out_of_range("tavrin_ustring::compare: position out of range");
  if (s == nullptr) n2 = 0;
  return CompareUnits(str_.data() + pos, std::min(n, str_.size() - pos), s, n2);
}

bool tavrin_ustring::operator==(const char* s) const {
  if (s == nullptr) return str_.empty();
  std::size_t len = std::strlen(s);
  if (size_utf8() != len) return false;
  return utf8().compare(0, len, s, len) == 0;
}

std::size_t tavrin_ustring::hash() const {
  return std::hash<std::u16string_view>{}(std::u16string_view(utf16_data(), str_.size()));
}

tavrin_ustring operator+(const tavrin_ustring& a, const tavrin_ustring& b) {
  tavrin_ustring result;
  result.reserve(a.size() + b.size());
  result += a;
  result += b;
  return result;
}

unsigned short* UTF8ToUTF16(const char* src, unsigned short* dest, unsigned long destLen) {
  if (dest == nullptr) return nullptr;
  umemset(dest, 0, destLen);
  if (src == nullptr) return dest;
  const UTF8* begin = reinterpret_cast<const UTF8*>(src);
  const UTF8* end = begin + std::strlen(src);
  int n = SizeNeededForUTF16(begin, end, lenientConversion);
  if (n < 0 || static_cast<unsigned long>(n) >= destLen) return dest;
  UTF16* dst = dest;
  ConvertUTF8toUTF16(&begin, end, &dst, dest + n, lenientConversion);
  return dest;
}

}  // namespace tavrin::utils
