// format_reference.h - plain re-statements of the three format rewriting
// state machines, used by the fuzz targets as an independent reference.
//
// Written straight from the documented state tables, one unit at a time, with
// no shortcuts, so that a fuzz target can compare the library's rewriters with
// them on any text. Input and output are UTF-16 units.
#pragma once

#include <string>

namespace tavrin::fuzz {

using Units16 = std::u16string;

inline bool IsInsertDigit(char16_t u) {
  return u >= u'1' && u <= u'9';
}

// Message-resource inserts ("%1", "%2!d!") to positional printf.
inline Units16 ReferenceFixWindowsPositionalFormats(const Units16& in) {
  enum { kPlain, kAfterPercent, kAfterNumber, kInsideBang } state = kPlain;
  Units16 out;
  for (std::size_t i = 0; i < in.size(); ++i) {
    const char16_t u = in[i];
    switch (state) {
      case kPlain:
        out += u;
        if (u == u'%') state = kAfterPercent;
        break;
      case kAfterPercent:
        out += u;
        state = IsInsertDigit(u) ? kAfterNumber : kPlain;
        break;
      case kAfterNumber:
        if (u == u' ') {
          out += u"$s ";
        } else if (u == u'.') {
          if (i + 1 < in.size() && in[i + 1] >= u'0' && in[i + 1] <= u'9')
            out += u'.';
          else
            out += u"$s.";
        } else if (u == u'!') {
          out += u'$';
          state = kInsideBang;
          break;
        } else {
          out += u;
        }
        state = kPlain;
        break;
      case kInsideBang:
        if (u == u'!')
          state = kPlain;
        else
          out += u;
        break;
    }
  }
  if (state == kAfterNumber) out += u"$s";
  return out;
}

inline char16_t SwapStringLetter(char16_t u) {
  if (u == u's') return u'S';
  if (u == u'S') return u's';
  return u;
}

// Exchanges "s" and "S" directly after "%" or after a positional "%n...$".
inline Units16 ReferenceReverseStringFormats(const Units16& in) {
  enum { kPlain, kAfterPercent, kAfterNumber, kAfterDollar } state = kPlain;
  Units16 out;
  for (const char16_t u : in) {
    switch (state) {
      case kPlain:
        out += u;
        if (u == u'%') state = kAfterPercent;
        break;
      case kAfterPercent:
        if (IsInsertDigit(u)) {
          out += u;
          state = kAfterNumber;
        } else {
          out += SwapStringLetter(u);
          state = kPlain;
        }
        break;
      case kAfterNumber:
        out += u;
        if (u == u'$') state = kAfterDollar;
        break;
      case kAfterDollar:
        out += SwapStringLetter(u);
        state = kPlain;
        break;
    }
  }
  return out;
}

// Drops "n$" from positional conversions; a trailing "%n" loses its digit.
inline Units16 ReferenceRemovePositionalFormats(const Units16& in) {
  enum { kPlain, kAfterPercent, kAfterNumber } state = kPlain;
  char16_t digit = 0;
  Units16 out;
  for (const char16_t u : in) {
    switch (state) {
      case kPlain:
        out += u;
        if (u == u'%') state = kAfterPercent;
        break;
      case kAfterPercent:
        if (IsInsertDigit(u)) {
          digit = u;
          state = kAfterNumber;
        } else {
          out += u;
          state = kPlain;
        }
        break;
      case kAfterNumber:
        if (u != u'$') {
          out += digit;
          out += u;
        }
        state = kPlain;
        break;
    }
  }
  return out;
}

}  // namespace tavrin::fuzz
