// ustring_format.cpp - format strings of tavrin_ustring: the three rewriting
// state machines, Format/FormatV/GetFormatted and the hand-over to the
// platform formatter; also the internal no-argument mode.
//
// The rewriting functions read one unit at a time and append to a new
// string. Their odd corners (single-digit inserts only, ReverseStringFormats
// copying everything after "%n" until a "$", RemovePositionalFormats losing a
// trailing "%n" digit) are relied on by existing format strings and stay.
#include <cstdarg>
#include <string>
#include <string_view>

#include "common/utils/internal/format_internal.h"
#include "common/utils/platform.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

namespace {

constexpr unsigned short kPercent = u'%';

bool IsInsertDigit(unsigned short c) {
  return c >= u'1' && c <= u'9';
}
bool IsDecimalDigit(unsigned short c) {
  return c >= u'0' && c <= u'9';
}

unsigned short SwapStringConversion(unsigned short c) {
  if (c == u's') return u'S';
  if (c == u'S') return u's';
  return c;
}

}  // namespace

tavrin_ustring tavrin_ustring::FixWindowsPositionalFormats(const tavrin_ustring& fmt) {
  enum class State { kPlain, kAfterPercent, kAfterNumber, kInsideBang };
  tavrin_ustring result;
  const size_type n = fmt.size();
  if (n == 0) return result;
  string_type& out = result.str_;
  // Each insert grows by at most two units ("%1" -> "%1$s").
  out.reserve(n + 8);
  const unsigned short* in = fmt.data();
  State state = State::kPlain;
  for (size_type i = 0; i < n; ++i) {
    const unsigned short c = in[i];
    switch (state) {
      case State::kPlain:
        out.push_back(c);
        if (c == kPercent) state = State::kAfterPercent;
        break;
      case State::kAfterPercent:
        out.push_back(c);
        state = IsInsertDigit(c) ? State::kAfterNumber : State::kPlain;
        break;
      case State::kAfterNumber:
        if (c == u' ') {
          out.push_back(u'$');
          out.push_back(u's');
          out.push_back(u' ');
        } else if (c == u'.') {
          // "%1.5" is a width and precision, "%1." ends a sentence.
          if (i + 1 < n && IsDecimalDigit(in[i + 1])) {
            out.push_back(u'.');
          } else {
            out.push_back(u'$');
            out.push_back(u's');
            out.push_back(u'.');
          }
        } else if (c == u'!') {
          out.push_back(u'$');
          state = State::kInsideBang;
          break;
        } else {
          out.push_back(c);
        }
        state = State::kPlain;
        break;
      case State::kInsideBang:
        if (c == u'!') {
          state = State::kPlain;
        } else {
          out.push_back(c);
        }
        break;
    }
  }
  if (state == State::kAfterNumber) {
    out.push_back(u'$');
    out.push_back(u's');
  }
  return result;
}

tavrin_ustring tavrin_ustring::ReverseStringFormats(const tavrin_ustring& fmt) {
  enum class State { kPlain, kAfterPercent, kAfterNumber, kAfterDollar };
  tavrin_ustring result;
  const size_type n = fmt.size();
  if (n == 0) return result;
  string_type& out = result.str_;
  out.reserve(n);
  const unsigned short* in = fmt.data();
  State state = State::kPlain;
  for (size_type i = 0; i < n; ++i) {
    const unsigned short c = in[i];
    switch (state) {
      case State::kPlain:
        out.push_back(c);
        if (c == kPercent) state = State::kAfterPercent;
        break;
      case State::kAfterPercent:
        if (IsInsertDigit(c)) {
          out.push_back(c);
          state = State::kAfterNumber;
        } else {
          out.push_back(SwapStringConversion(c));
          state = State::kPlain;
        }
        break;
      case State::kAfterNumber:
        // Everything up to the "$" is copied unchanged, however far it is.
        out.push_back(c);
        if (c == u'$') state = State::kAfterDollar;
        break;
      case State::kAfterDollar:
        out.push_back(SwapStringConversion(c));
        state = State::kPlain;
        break;
    }
  }
  return result;
}

tavrin_ustring tavrin_ustring::RemovePositionalFormats(const tavrin_ustring& fmt) {
  enum class State { kPlain, kAfterPercent, kAfterNumber };
  tavrin_ustring result;
  const size_type n = fmt.size();
  if (n == 0) return result;
  string_type& out = result.str_;
  out.reserve(n);
  const unsigned short* in = fmt.data();
  State state = State::kPlain;
  unsigned short digit = 0;
  for (size_type i = 0; i < n; ++i) {
    const unsigned short c = in[i];
    switch (state) {
      case State::kPlain:
        out.push_back(c);
        if (c == kPercent) state = State::kAfterPercent;
        break;
      case State::kAfterPercent:
        if (IsInsertDigit(c)) {
          digit = c;
          state = State::kAfterNumber;
        } else {
          out.push_back(c);
          state = State::kPlain;
        }
        break;
      case State::kAfterNumber:
        if (c != u'$') {
          out.push_back(digit);
          out.push_back(c);
        }
        state = State::kPlain;
        break;
    }
  }
  // A digit still remembered here is dropped: "abc %1" gives "abc %".
  return result;
}

void tavrin_ustring::Format(tavrin_ustring fmt, ...) {
  va_list args;
  va_start(args, fmt);
  FormatV(fmt, args);
  va_end(args);
}

void tavrin_ustring::FormatV(const tavrin_ustring& fmt, va_list args) {
  if (fmt.empty()) return;
  const tavrin_ustring platform_format = ReverseStringFormats(FixWindowsPositionalFormats(fmt));
  FormatVPlatform(platform_format, args);
}

tavrin_ustring tavrin_ustring::GetFormatted(tavrin_ustring fmt, ...) {
  tavrin_ustring result;
  va_list args;
  va_start(args, fmt);
  result.FormatV(fmt, args);
  va_end(args);
  return result;
}

void tavrin_ustring::FormatVPlatform(const tavrin_ustring& fmt, va_list args) {
  if (fmt.empty()) return;
  // Formatted into a fresh string first: `fmt` may be this very string.
  tavrin_ustring result;
  if (!platform::FormatUtf16V(fmt.data(), fmt.size(), args, result)) {
    str_.clear();
    return;
  }
  str_.swap(result.str_);
}

namespace detail {

namespace {

// Shared by both widths of text: each "%%" pair becomes one "%".
template <class Out, class Unit>
void CollapsePercentPairs(const Unit* in, std::size_t n, Out& out) {
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    out.push_back(in[i]);
    if (in[i] == static_cast<Unit>('%') && i + 1 < n && in[i + 1] == static_cast<Unit>('%')) ++i;
  }
}

}  // namespace

tavrin_ustring FormatWithoutArguments(const tavrin_ustring& text) {
  tavrin_ustring result;
  CollapsePercentPairs(text.data(), text.size(), result.str());
  return result;
}

std::string FormatWithoutArgumentsUtf8(std::string_view text) {
  std::string result;
  CollapsePercentPairs(text.data(), text.size(), result);
  return result;
}

}  // namespace detail

}  // namespace tavrin::utils
