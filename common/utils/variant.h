// variant.h - Variant, the library's dynamically typed value, and
// VariantCastError, the exception of its typed reads.
//
// A Variant holds nothing, a bool, an integer of 8, 16, 32 or 64 bits, a
// float, a double, a shared string, a timestamp (Time), a list of Variants, a
// string-keyed dictionary of Variants or an ordered list of key-value pairs.
// GetType() reports which, as a fixed tag:
//
//   0 empty        4 32-bit integer (also a CColor)   8  string (shared)
//   1 bool         5 64-bit integer                   9  timestamp
//   2 8-bit int    6 float                            10 list
//   3 16-bit int   7 double                           11 dictionary
//                                                     12 key-value pairs
//
// Unit-wide rules:
// - Signedness is not stored. A value set from an unsigned type is kept in the
//   tag of its width and reads back as signed of that width before any
//   clamping: Variant(static_cast<unsigned char>(200)) reads as int -56.
// - Integer reads saturate (AsInteger): a stored value outside the range of
//   the requested type gives that type's minimum or maximum; a negative value
//   read as an unsigned type gives 0; float and double are truncated toward
//   zero and NaN reads as 0. A bool does not convert to a number (0), a
//   string does not convert to a number (0) and a number does not convert to
//   a string (""). Numeric, boolean and string reads never throw.
// - Typed reads of the wrong kind throw VariantCastError: the colour,
//   timestamp, list, dictionary and pair-list conversions, subscripts,
//   GetArrayLength and GetAllKeys. An index out of range or a missing key
//   throws std::out_of_range instead. A failed read never changes the object.
// - Copies are deep for lists, dictionaries and pair lists (element by
//   element, recursively) and shallow for strings: a copy takes one more
//   reference on the same RefCountedString, never a new string. Only
//   RefCountedString::String() can change shared text, so through Variant the
//   text behaves as a value. The reference count is atomic, so copies of one
//   Variant may be made and destroyed on different threads; a single Variant
//   is not synchronised (concurrent reads are safe, a write needs exclusive
//   access).
// - Every Set builds the new payload first and releases the old one after,
//   so v = v and setting a Variant from its own contents keep the value.
// - Kept as is, callers rely on these:
//   * Copying a timestamp over a Variant (operator=(const Variant&),
//     Set(const Variant&) with a tag-9 source) does not release the old
//     payload as every other Set does. What nobody else can see is still
//     freed (a held list, dictionary or pair list; a string held only by this
//     Variant), but a string shared with other owners keeps the reference this
//     Variant had, so its count stays one too high and it is never freed.
//     Set(const Time&) and operator=(const Time&) release normally.
//   * Set(RefCountedString* s) with a null s releases the payload, keeps the
//     old tag and leaves a null payload. Under tags 8, 10, 11 and 12 such a
//     Variant reads as empty text or an empty collection; under a number tag
//     it reads as 0.
//   * Two empty Variants are unequal (an empty Variant is not even equal to
//     itself), and a float or double NaN is unequal to itself.
//   * The key-listing error reads "Could list keys: not a dictionary".
//   * The type name in cast messages is typeid(T).name() as the compiler
//     reports it: the mangled name, "N6tavrin5utils6CColorE" for CColor.
// - Comparing with a literal (v == 5) is ambiguous with this many implicit
//   conversions: compare with Variant(5). A UTF-16 pointer (u"text") converts
//   to bool, not to a string: wrap it in tavrin_ustring first.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "common/utils/color.h"
#include "common/utils/export.h"
#include "common/utils/refcountedstring.h"
#include "common/utils/tavrintime.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

// VariantCastError
//
// Thrown by the typed reads of a Variant of another kind. Carries only its
// message (what()).
class TAVRIN_EXPORT VariantCastError : public std::runtime_error {
 public:
  explicit VariantCastError(const std::string& message);
  ~VariantCastError() override;

  // ToType() - the error of a failed cast to T: "Could not cast Variant to ",
  // typeid(T).name(), ": " and `reason` (zero-terminated; null counts as "").
  template <class T>
  static VariantCastError ToType(const char* reason) {
    std::string message("Could not cast Variant to ");
    message += typeid(T).name();
    message += ": ";
    if (reason != nullptr) message += reason;
    return VariantCastError(message);
  }
};

// Variant
//
// One tagged value (tags in the table above). Every Set and operator=
// releases the old payload, except the copy of a timestamp (operator= or
// Set from a Variant holding tag 9): it writes the tag and the count without
// releasing the old payload, so a string shared with other owners keeps this
// Variant's reference (only a collection, or a string nobody else holds, is
// freed). Kept as is: callers rely on it.
class TAVRIN_EXPORT Variant {
 public:
  // Tags reported by GetType().
  enum Type : unsigned int {
    kEmpty = 0,
    kBool = 1,
    kInt8 = 2,
    kInt16 = 3,
    kInt32 = 4,
    kInt64 = 5,
    kFloat = 6,
    kDouble = 7,
    kString = 8,
    kTimestamp = 9,
    kList = 10,
    kDictionary = 11,
    kPairs = 12,
  };

  using List = std::vector<Variant>;
  using Map = std::map<tavrin_ustring, Variant>;
  using Pairs = std::vector<std::pair<tavrin_ustring, Variant>>;

  // --- Construction. Each constructor starts empty, then calls the matching
  // Set. ---------------------------------------------------------------------
  Variant();  // tag 0
  Variant(bool value);
  Variant(signed char value);
  Variant(unsigned char value);
  Variant(short value);
  Variant(unsigned short value);
  Variant(int value);
  Variant(unsigned int value);
  Variant(long value);
  Variant(unsigned long value);
  Variant(long long value);
  Variant(unsigned long long value);
  Variant(float value);
  Variant(double value);
  // Zero-terminated UTF-8; null or invalid UTF-8 gives "" (still tag 8).
  Variant(const char* utf8);
  Variant(const tavrin_ustring& text);
  Variant(const CColor& color);  // tag 4, the packed RGBA value
  Variant(const Time& time);
  Variant(const List& list);
  Variant(const Map& dictionary);
  Variant(const Pairs& pairs);
  Variant(const Variant& other);
  // Takes the payload of `other` (strings keep their count), which is left
  // empty. Never allocates.
  Variant(Variant&& other) noexcept;
  virtual ~Variant();

  // --- Setting. Each Set releases the old payload (after building the new
  // one) and stores the new tag and payload. --------------------------------
  void Set(bool value);
  void Set(signed char value);
  void Set(unsigned char value);
  void Set(short value);
  void Set(unsigned short value);
  void Set(int value);
  void Set(unsigned int value);
  void Set(long value);
  void Set(unsigned long value);
  void Set(long long value);
  void Set(unsigned long long value);
  void Set(float value);
  void Set(double value);
  // Zero-terminated UTF-8; null or invalid UTF-8 gives "".
  void Set(const char* utf8);
  // A new RefCountedString holding a copy of `text`.
  void Set(const tavrin_ustring& text);
  void Set(const CColor& color);
  void Set(const Time& time);
  // Deep copies.
  void Set(const List& list);
  void Set(const Map& dictionary);
  void Set(const Pairs& pairs);
  // Takes the source's tag: a string is shared, collections are deep-copied.
  // A timestamp source does not release the old payload (see above); a
  // source with a tag above 12 leaves this object unchanged.
  void Set(const Variant& other);
  // Shares `s` (one reference added). Nothing happens when this Variant
  // already holds exactly `s`. A null `s` releases the payload and keeps the
  // old tag with a null payload.
  void Set(RefCountedString* s);

  Variant& operator=(bool value);
  Variant& operator=(signed char value);
  Variant& operator=(unsigned char value);
  Variant& operator=(short value);
  Variant& operator=(unsigned short value);
  Variant& operator=(int value);
  Variant& operator=(unsigned int value);
  Variant& operator=(long value);
  Variant& operator=(unsigned long value);
  Variant& operator=(long long value);
  Variant& operator=(unsigned long long value);
  Variant& operator=(float value);
  Variant& operator=(double value);
  Variant& operator=(const char* utf8);
  Variant& operator=(const tavrin_ustring& text);
  Variant& operator=(const CColor& color);
  Variant& operator=(const Time& time);
  Variant& operator=(const List& list);
  Variant& operator=(const Map& dictionary);
  Variant& operator=(const Pairs& pairs);
  // Set(other): a timestamp source does not release the old payload.
  Variant& operator=(const Variant& other);

  // --- Queries. ------------------------------------------------------------
  // GetType() - the tag (0 to 12).
  [[nodiscard]] unsigned int GetType() const;
  // GetArrayLength() - the element count of a list (0 for a null payload).
  // Throws VariantCastError "Variant does not have a length: not a vector"
  // for any other kind, dictionaries and pair lists included.
  [[nodiscard]] unsigned long long GetArrayLength() const;
  // GetString() - under tag 8 assigns the text to `out` and returns true;
  // otherwise returns false and leaves `out` untouched.
  [[nodiscard]] bool GetString(tavrin_ustring& out) const;
  // GetValue(int) - element `index` of a list. A negative index or one not
  // below the length throws std::out_of_range; not a list throws
  // VariantCastError "Could not subscript Variant: not a vector".
  const Variant& GetValue(int index) const;
  // GetValue(key) - the dictionary's entry for `key`. A missing key throws
  // std::out_of_range; not a dictionary throws VariantCastError "Could not
  // subscript Variant: not a dictionary".
  const Variant& GetValue(const tavrin_ustring& key) const;
  // HasValue() - whether the dictionary holds `key`; not a dictionary throws
  // VariantCastError "Could not subscript Variant: not a dictionary".
  [[nodiscard]] bool HasValue(const tavrin_ustring& key) const;
  // GetAllKeys() - the dictionary's keys in ascending order; not a
  // dictionary throws VariantCastError "Could list keys: not a dictionary".
  [[nodiscard]] std::vector<tavrin_ustring> GetAllKeys() const;

  // operator==() - equal tags and equal values: integers and bools by their
  // bits of the stored width, timestamps by their count, float and double as
  // floating point (NaN != NaN, 0.0 == -0.0), strings by text, lists element
  // by element in order, dictionaries entry by entry in key order, pair lists
  // pair by pair in order. Two empty Variants are unequal.
  bool operator==(const Variant& other) const;

  // --- Reads. None of the numeric, boolean or string reads throws. --------
  // Tags 1 to 7: true when the value is non-zero (NaN is non-zero); false
  // for every other kind.
  operator bool() const;
  // Tags 2 to 7 through AsInteger<T>(); 0 for every other kind, bool
  // included.
  operator signed char() const;
  operator unsigned char() const;
  operator short() const;
  operator unsigned short() const;
  operator int() const;
  operator unsigned int() const;
  operator long() const;
  operator unsigned long() const;
  operator long long() const;
  operator unsigned long long() const;
  // Tags 2 to 5 from the signed stored integer, 6 and 7 converted (a double
  // beyond the float range narrows to an infinity); 0 for every other kind.
  operator float() const;
  operator double() const;
  // The shared text under tag 8; a static empty string for every other kind
  // (and for a null payload). The reference stays valid while this Variant
  // holds the same string.
  operator const tavrin_ustring&() const;
  // The colour of a tag-4 value read as packed RGBA (red in the low byte);
  // throws VariantCastError::ToType<CColor>("not a 4-byte integer")
  // otherwise. AsCColor() is the same read.
  operator CColor() const;
  [[nodiscard]] CColor AsCColor() const;
  // Tag 9; throws VariantCastError::ToType<Time>("not a timestamp").
  operator Time() const;
  // Tag 10; throws VariantCastError::ToType<List>("not a vector").
  operator const List&() const;
  // Tag 11; throws VariantCastError::ToType<Map>("not a dictionary").
  operator const Map&() const;
  // Tag 12; throws VariantCastError::ToType<Pairs>("not key-value pairs").
  operator const Pairs&() const;

  // AsInteger() - the saturating integer read behind the integer
  // conversions, for any of the ten integer types above. Tags outside 2 to 7
  // give 0. Integers are clamped to T's range (negative gives 0 for an
  // unsigned T). Floats and doubles: below T's minimum gives the minimum, at
  // or above 2^(bits-1) (signed T) or 2^bits (unsigned T) gives the maximum,
  // NaN gives 0, anything else is truncated toward zero.
  template <class T>
  [[nodiscard]] T AsInteger() const;

 protected:
  // ReleaseData() - releases one reference of a held string, destroys a held
  // collection and clears the payload word. The tag is left for the caller.
  void ReleaseData();

 private:
  // The payload word of tags 0 to 7 and 9; a heap object for 8, 10 to 12.
  union Payload {
    std::uint64_t bits;
    RefCountedString* string;
    List* list;
    Map* map;
    Pairs* pairs;
  };

  // Stores an inline value after releasing the old payload.
  void SetInline(unsigned int type, std::uint64_t bits);
  // The stored integer of tags 2 to 5, sign-extended from its width.
  [[nodiscard]] std::int64_t StoredInteger() const;
  [[nodiscard]] float StoredFloat() const;
  [[nodiscard]] double StoredDouble() const;

  unsigned int type_;
  Payload data_;
};

template <class T>
T Variant::AsInteger() const {
  static_assert(std::is_integral_v<T> && !std::is_same_v<T, bool>,
                "AsInteger reads integer types only");
  using Limits = std::numeric_limits<T>;
  switch (type_) {
    case kInt8:
    case kInt16:
    case kInt32:
    case kInt64: {
      const std::int64_t v = StoredInteger();
      if (std::cmp_less(v, Limits::min())) return Limits::min();
      if (std::cmp_greater(v, Limits::max())) return Limits::max();
      return static_cast<T>(v);
    }
    case kFloat:
    case kDouble: {
      const double v = type_ == kFloat ? static_cast<double>(StoredFloat()) : StoredDouble();
      if (std::isnan(v)) return 0;
      if (v < static_cast<double>(Limits::min())) return Limits::min();
      // 2^(bits-1) for a signed T, 2^bits for an unsigned one; exact in double.
      constexpr double kLimit = static_cast<double>(Limits::max() / 2 + 1) * 2.0;
      if (v >= kLimit) return Limits::max();
      return static_cast<T>(v);
    }
    default:
      return 0;
  }
}

}  // namespace tavrin::utils
