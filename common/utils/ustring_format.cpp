// ustring_format.cpp - format strings of tavrin_ustring: the three rewriting
// state machines, Format/FormatV/GetFormatted and the hand-over to the
// platform formatter; also the internal no-argument mode.
//
// The rewriting functions read one unit at a time and append to a new
// string. Their odd corners (single-digit inserts only, ReverseStringFormats
// copying everything after "%n" until a "$", RemovePositionalFormats losing a
// trailing "%n" digit) are relied on by existing format strings and stay.
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <memory>
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

// Scratch units for a rewritten format: on the stack for ordinary formats,
// on the heap for long ones.
class Scratch {
 public:
  explicit Scratch(std::size_t n) {
    if (n > kInline) {
      heap_.reset(new unsigned short[n]);
      data_ = heap_.get();
    }
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  unsigned short* data() { return data_; }

 private:
  static constexpr std::size_t kInline = 256;
  unsigned short inline_[kInline];
  std::unique_ptr<unsigned short[]> heap_;
  unsigned short* data_ = inline_;
};

// The most units FixInserts can write for `n` input units: a space after an
// insert digit becomes "$s " and the end may add "$s".
std::size_t FixInsertsBound(std::size_t n) {
  return 3 * n + 2;
}

// Message-resource inserts to positional printf. States: Plain,
// AfterPercent, AfterNumber (a "%" and one digit "1".."9" copied),
// InsideBang. Writes to `out` (room for FixInsertsBound(n) units) and
// returns the number of units written.
std::size_t FixInserts(const unsigned short* in, std::size_t n, unsigned short* out) {
  enum class State { kPlain, kAfterPercent, kAfterNumber, kInsideBang };
  unsigned short* o = out;
  State state = State::kPlain;
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned short c = in[i];
    switch (state) {
      case State::kPlain: {
        // Plain text up to the next "%" is copied as one run.
        const std::size_t end = detail::FindPercentUnit(in, i, n);
        std::memcpy(o, in + i, (end - i) * sizeof(unsigned short));
        o += end - i;
        if (end == n) return static_cast<std::size_t>(o - out);
        *o++ = kPercent;
        i = end;
        state = State::kAfterPercent;
        break;
      }
      case State::kAfterPercent:
        *o++ = c;
        state = IsInsertDigit(c) ? State::kAfterNumber : State::kPlain;
        break;
      case State::kAfterNumber:
        if (c == u' ') {
          *o++ = u'$';
          *o++ = u's';
          *o++ = u' ';
        } else if (c == u'.') {
          // "%1.5" is a width and precision, "%1." ends a sentence.
          if (i + 1 < n && IsDecimalDigit(in[i + 1])) {
            *o++ = u'.';
          } else {
            *o++ = u'$';
            *o++ = u's';
            *o++ = u'.';
          }
        } else if (c == u'!') {
          *o++ = u'$';
          state = State::kInsideBang;
          break;
        } else {
          // A second digit, a letter, another "%": copied, and no insert.
          *o++ = c;
        }
        state = State::kPlain;
        break;
      case State::kInsideBang:
        // The closing "!" is dropped; an unterminated one stays as copied.
        if (c == u'!') {
          state = State::kPlain;
        } else {
          *o++ = c;
        }
        break;
    }
  }
  if (state == State::kAfterNumber) {
    *o++ = u'$';
    *o++ = u's';
  }
  return static_cast<std::size_t>(o - out);
}

// Exchanges "s" and "S" directly after "%" or after the "$" of "%n...$", in
// place (the length never changes). States: Plain, AfterPercent,
// AfterNumber, AfterDollar.
void ExchangeStringConversions(unsigned short* p, std::size_t n) {
  enum class State { kPlain, kAfterPercent, kAfterNumber, kAfterDollar };
  State state = State::kPlain;
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned short c = p[i];
    switch (state) {
      case State::kPlain:
        i = detail::FindPercentUnit(p, i, n);
        if (i < n) state = State::kAfterPercent;
        break;
      case State::kAfterPercent:
        if (IsInsertDigit(c)) {
          state = State::kAfterNumber;
        } else {
          p[i] = SwapStringConversion(c);
          state = State::kPlain;
        }
        break;
      case State::kAfterNumber:
        // Everything up to the "$" stays unchanged, however far it is.
        if (c == u'$') state = State::kAfterDollar;
        break;
      case State::kAfterDollar:
        p[i] = SwapStringConversion(c);
        state = State::kPlain;
        break;
    }
  }
}

// ExchangeStringConversions' state machine run on units as they are
// produced, so FormatV rewrites a format in one pass over it instead of
// writing it and reading it back.
class Exchanger {
 public:
  // The unit to store for `c`, the next unit of the text being produced.
  unsigned short Step(unsigned short c) {
    switch (state_) {
      case State::kPlain:
        if (c == kPercent) state_ = State::kAfterPercent;
        return c;
      case State::kAfterPercent:
        if (IsInsertDigit(c)) {
          state_ = State::kAfterNumber;
          return c;
        }
        state_ = State::kPlain;
        return SwapStringConversion(c);
      case State::kAfterNumber:
        if (c == u'$') state_ = State::kAfterDollar;
        return c;
      case State::kAfterDollar:
        state_ = State::kPlain;
        return SwapStringConversion(c);
    }
    return c;
  }

  // Whether units pass unchanged until the next "%".
  bool IsPlain() const { return state_ == State::kPlain; }

  // The state Step leaves after "%", an insert digit and "$".
  void SetAfterDollar() { state_ = State::kAfterDollar; }

  // Copies `n` units that hold no "%" to `out`, exchanging as Step would:
  // only the first unit, or the unit after the first "$" while an insert
  // number is open, can change.
  void Run(const unsigned short* in, std::size_t n, unsigned short* out) {
    std::memcpy(out, in, n * sizeof(unsigned short));
    std::size_t i = 0;
    while (i < n && state_ != State::kPlain) {
      if (state_ == State::kAfterNumber) {
        while (i < n && in[i] != u'$') ++i;
        if (i == n) return;
        state_ = State::kAfterDollar;
        ++i;
        continue;
      }
      out[i] = Step(in[i]);
      ++i;
    }
  }

 private:
  enum class State { kPlain, kAfterPercent, kAfterNumber, kAfterDollar };
  State state_ = State::kPlain;
};

// FixInserts followed by ExchangeStringConversions, in one pass: the same
// states as FixInserts, every unit it writes passed through an Exchanger.
std::size_t RewriteInserts(const unsigned short* in, std::size_t n, unsigned short* out) {
  constexpr std::size_t kShortRun = 32;
  enum class State { kPlain, kAfterPercent, kAfterNumber, kInsideBang };
  Exchanger ex;
  unsigned short* o = out;
  State state = State::kPlain;
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned short c = in[i];
    switch (state) {
      case State::kPlain: {
        std::size_t end = i;
        if (ex.IsPlain() && n - i < kShortRun) {
          // Short plain text (most of a message format): copied unit by
          // unit, cheaper than a search and a memcpy call.
          while (end < n && in[end] != kPercent) *o++ = in[end++];
        } else {
          end = detail::FindPercentUnit(in, i, n);
          ex.Run(in + i, end - i, o);
          o += end - i;
        }
        if (end == n) return static_cast<std::size_t>(o - out);
        if (ex.IsPlain() && end + 2 < n && IsInsertDigit(in[end + 1]) &&
            (in[end + 2] == u' ' || in[end + 2] == u'!')) {
          // "%n " and "%n!": the usual inserts, written as the states above
          // would write them ("%n$s " and "%n$" through an Exchanger that
          // was plain before the "%": "%n$S " leaves it plain, "%n$" leaves
          // it after a "$").
          o[0] = kPercent;
          o[1] = in[end + 1];
          o[2] = u'$';
          if (in[end + 2] == u' ') {
            o[3] = u'S';
            o[4] = u' ';
            o += 5;
            i = end + 2;
            break;
          }
          o += 3;
          ex.SetAfterDollar();
          i = end + 2;
          state = State::kInsideBang;
          break;
        }
        *o++ = ex.Step(kPercent);
        i = end;
        state = State::kAfterPercent;
        break;
      }
      case State::kAfterPercent:
        *o++ = ex.Step(c);
        state = IsInsertDigit(c) ? State::kAfterNumber : State::kPlain;
        break;
      case State::kAfterNumber:
        if (c == u' ') {
          *o++ = ex.Step(u'$');
          *o++ = ex.Step(u's');
          *o++ = ex.Step(u' ');
        } else if (c == u'.') {
          if (i + 1 < n && IsDecimalDigit(in[i + 1])) {
            *o++ = ex.Step(u'.');
          } else {
            *o++ = ex.Step(u'$');
            *o++ = ex.Step(u's');
            *o++ = ex.Step(u'.');
          }
        } else if (c == u'!') {
          *o++ = ex.Step(u'$');
          state = State::kInsideBang;
          break;
        } else {
          *o++ = ex.Step(c);
        }
        state = State::kPlain;
        break;
      case State::kInsideBang:
        if (c == u'!') {
          state = State::kPlain;
        } else {
          *o++ = ex.Step(c);
        }
        break;
    }
  }
  if (state == State::kAfterNumber) {
    *o++ = ex.Step(u'$');
    *o++ = ex.Step(u's');
  }
  return static_cast<std::size_t>(o - out);
}

}  // namespace

tavrin_ustring tavrin_ustring::FixWindowsPositionalFormats(const tavrin_ustring& fmt) {
  tavrin_ustring result;
  const size_type n = fmt.size();
  if (n == 0) return result;
  Scratch scratch(FixInsertsBound(n));
  const std::size_t written = FixInserts(fmt.data(), n, scratch.data());
  result.str_.assign(scratch.data(), written);
  return result;
}

tavrin_ustring tavrin_ustring::ReverseStringFormats(const tavrin_ustring& fmt) {
  tavrin_ustring result(fmt);
  ExchangeStringConversions(result.str_.data(), result.str_.size());
  return result;
}

tavrin_ustring tavrin_ustring::RemovePositionalFormats(const tavrin_ustring& fmt) {
  // States: Plain, AfterPercent, AfterNumber; one remembered digit. The
  // output is never longer than the input.
  enum class State { kPlain, kAfterPercent, kAfterNumber };
  tavrin_ustring result;
  const size_type n = fmt.size();
  if (n == 0) return result;
  Scratch scratch(n);
  unsigned short* o = scratch.data();
  const unsigned short* in = fmt.data();
  State state = State::kPlain;
  unsigned short digit = 0;
  for (size_type i = 0; i < n; ++i) {
    const unsigned short c = in[i];
    switch (state) {
      case State::kPlain:
        *o++ = c;
        if (c == kPercent) state = State::kAfterPercent;
        break;
      case State::kAfterPercent:
        if (IsInsertDigit(c)) {
          digit = c;  // held back until the next unit says what it is
          state = State::kAfterNumber;
        } else {
          *o++ = c;
          state = State::kPlain;
        }
        break;
      case State::kAfterNumber:
        if (c != u'$') {
          *o++ = digit;
          *o++ = c;
        }
        state = State::kPlain;
        break;
    }
  }
  // A digit still held back here is dropped: "abc %1" gives "abc %".
  result.str_.assign(scratch.data(), static_cast<std::size_t>(o - scratch.data()));
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
  // ReverseStringFormats(FixWindowsPositionalFormats(fmt)), built in one
  // pass into scratch units instead of two temporary strings, then the
  // platform step.
  Scratch scratch(FixInsertsBound(fmt.size()));
  const std::size_t n = RewriteInserts(fmt.data(), fmt.size(), scratch.data());
  if (!platform::FormatUtf16V(scratch.data(), n, args, *this)) str_.clear();
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
  // The platform formatter writes this string only after reading `fmt` and
  // every argument, so `fmt` may be this very string.
  if (!platform::FormatUtf16V(fmt.data(), fmt.size(), args, *this)) str_.clear();
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

tavrin_ustring RewriteLibraryFormat(const tavrin_ustring& fmt) {
  tavrin_ustring result;
  if (fmt.empty()) return result;
  Scratch scratch(FixInsertsBound(fmt.size()));
  const std::size_t written = RewriteInserts(fmt.data(), fmt.size(), scratch.data());
  result.str().assign(scratch.data(), written);
  return result;
}

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
