// variant.cpp - Variant and VariantCastError.
#include "common/utils/variant.h"

#include <cstring>
#include <ctime>

namespace tavrin::utils {

namespace {

// Shared read-only stand-ins for a null payload under tags 8, 10, 11, 12.
// Made once, thread-safely, on first use; destroyed at exit.
const tavrin_ustring& EmptyText() {
  static const tavrin_ustring empty;
  return empty;
}
const Variant::List& EmptyList() {
  static const Variant::List empty;
  return empty;
}
const Variant::Map& EmptyMap() {
  static const Variant::Map empty;
  return empty;
}
const Variant::Pairs& EmptyPairs() {
  static const Variant::Pairs empty;
  return empty;
}

std::uint64_t FloatBits(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::uint64_t DoubleBits(double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

}  // namespace

// --- VariantCastError ---------------------------------------------------------

VariantCastError::VariantCastError(const std::string& message) : std::runtime_error(message) {}

VariantCastError::~VariantCastError() = default;

// --- Construction -------------------------------------------------------------

Variant::Variant() : type_(kEmpty) {
  data_.bits = 0;
}

#define TAVRIN_VARIANT_CONSTRUCTOR(ArgType)         \
  Variant::Variant(ArgType value) : type_(kEmpty) { \
    data_.bits = 0;                                 \
    Set(value);                                     \
  }

TAVRIN_VARIANT_CONSTRUCTOR(bool)
TAVRIN_VARIANT_CONSTRUCTOR(signed char)
TAVRIN_VARIANT_CONSTRUCTOR(unsigned char)
TAVRIN_VARIANT_CONSTRUCTOR(short)
TAVRIN_VARIANT_CONSTRUCTOR(unsigned short)
TAVRIN_VARIANT_CONSTRUCTOR(int)
TAVRIN_VARIANT_CONSTRUCTOR(unsigned int)
TAVRIN_VARIANT_CONSTRUCTOR(long)
TAVRIN_VARIANT_CONSTRUCTOR(unsigned long)
TAVRIN_VARIANT_CONSTRUCTOR(long long)
TAVRIN_VARIANT_CONSTRUCTOR(unsigned long long)
TAVRIN_VARIANT_CONSTRUCTOR(float)
TAVRIN_VARIANT_CONSTRUCTOR(double)
TAVRIN_VARIANT_CONSTRUCTOR(const char*)
TAVRIN_VARIANT_CONSTRUCTOR(const tavrin_ustring&)
TAVRIN_VARIANT_CONSTRUCTOR(const CColor&)
TAVRIN_VARIANT_CONSTRUCTOR(const Time&)
TAVRIN_VARIANT_CONSTRUCTOR(const List&)
TAVRIN_VARIANT_CONSTRUCTOR(const Map&)
TAVRIN_VARIANT_CONSTRUCTOR(const Pairs&)
TAVRIN_VARIANT_CONSTRUCTOR(const Variant&)

#undef TAVRIN_VARIANT_CONSTRUCTOR

Variant::Variant(Variant&& other) noexcept : type_(other.type_), data_(other.data_) {
  other.type_ = kEmpty;
  other.data_.bits = 0;
}

Variant::~Variant() {
  ReleaseData();
}

// --- Setting ------------------------------------------------------------------

void Variant::ReleaseData() {
  switch (type_) {
    case kString:
      if (data_.string != nullptr) data_.string->Release();
      break;
    case kList:
      delete data_.list;
      break;
    case kDictionary:
      delete data_.map;
      break;
    case kPairs:
      delete data_.pairs;
      break;
    default:
      break;
  }
  data_.bits = 0;
}

void Variant::SetInline(unsigned int type, std::uint64_t bits) {
  ReleaseData();
  type_ = type;
  data_.bits = bits;
}

void Variant::Set(bool value) {
  SetInline(kBool, value ? 1U : 0U);
}
void Variant::Set(signed char value) {
  SetInline(kInt8, static_cast<std::uint8_t>(value));
}
void Variant::Set(unsigned char value) {
  SetInline(kInt8, value);
}
void Variant::Set(short value) {
  SetInline(kInt16, static_cast<std::uint16_t>(value));
}
void Variant::Set(unsigned short value) {
  SetInline(kInt16, value);
}
void Variant::Set(int value) {
  SetInline(kInt32, static_cast<std::uint32_t>(value));
}
void Variant::Set(unsigned int value) {
  SetInline(kInt32, value);
}
void Variant::Set(long value) {
  SetInline(kInt64, static_cast<std::uint64_t>(value));
}
void Variant::Set(unsigned long value) {
  SetInline(kInt64, value);
}
void Variant::Set(long long value) {
  SetInline(kInt64, static_cast<std::uint64_t>(value));
}
void Variant::Set(unsigned long long value) {
  SetInline(kInt64, value);
}
void Variant::Set(float value) {
  SetInline(kFloat, FloatBits(value));
}
void Variant::Set(double value) {
  SetInline(kDouble, DoubleBits(value));
}
void Variant::Set(const CColor& color) {
  SetInline(kInt32, color.GetRGBA());
}
void Variant::Set(const Time& time) {
  SetInline(kTimestamp, static_cast<std::uint64_t>(static_cast<std::int64_t>(time.GetDATE())));
}

void Variant::Set(const char* utf8) {
  Set(tavrin_ustring(utf8));
}

void Variant::Set(const tavrin_ustring& text) {
  // `text` may be this Variant's own shared text: copy it before releasing.
  RefCountedString* fresh = RefCountedString::Create(text);
  ReleaseData();
  type_ = kString;
  data_.string = fresh;
}

void Variant::Set(const List& list) {
  // `list` may be (or be inside) this Variant's own payload.
  List* fresh = new List(list);
  ReleaseData();
  type_ = kList;
  data_.list = fresh;
}

void Variant::Set(const Map& dictionary) {
  Map* fresh = new Map(dictionary);
  ReleaseData();
  type_ = kDictionary;
  data_.map = fresh;
}

void Variant::Set(const Pairs& pairs) {
  Pairs* fresh = new Pairs(pairs);
  ReleaseData();
  type_ = kPairs;
  data_.pairs = fresh;
}

void Variant::Set(RefCountedString* s) {
  if (type_ == kString && data_.string == s) return;
  // Take the new reference first: `s` may be kept alive only by the payload
  // about to be released (a string inside this Variant's own list).
  if (s != nullptr) s->AddRef();
  ReleaseData();
  if (s == nullptr) return;  // old tag kept, payload cleared
  type_ = kString;
  data_.string = s;
}

void Variant::Set(const Variant& other) {
  switch (other.type_) {
    case kEmpty:
      SetInline(kEmpty, 0);
      break;
    case kBool:
    case kInt8:
    case kInt16:
    case kInt32:
    case kInt64:
    case kFloat:
    case kDouble:
      // The source may live inside this Variant's payload: SetInline reads
      // its arguments before releasing.
      SetInline(other.type_, other.data_.bits);
      break;
    case kString:
      Set(other.data_.string);
      break;
    case kTimestamp: {
      // Kept as is: no ordinary release here. Only what nobody else can see
      // is freed; a shared string keeps this Variant's reference.
      const std::uint64_t bits = other.data_.bits;
      switch (type_) {
        case kString:
          if (data_.string != nullptr && data_.string->GetRefCount() == 1) {
            data_.string->Release();
          }
          break;
        case kList:
          delete data_.list;
          break;
        case kDictionary:
          delete data_.map;
          break;
        case kPairs:
          delete data_.pairs;
          break;
        default:
          break;
      }
      type_ = kTimestamp;
      data_.bits = bits;
      break;
    }
    case kList:
      Set(other.data_.list != nullptr ? *other.data_.list : EmptyList());
      break;
    case kDictionary:
      Set(other.data_.map != nullptr ? *other.data_.map : EmptyMap());
      break;
    case kPairs:
      Set(other.data_.pairs != nullptr ? *other.data_.pairs : EmptyPairs());
      break;
    default:
      break;  // unknown tag: unchanged
  }
}

#define TAVRIN_VARIANT_ASSIGNMENT(ArgType)     \
  Variant& Variant::operator=(ArgType value) { \
    Set(value);                                \
    return *this;                              \
  }

TAVRIN_VARIANT_ASSIGNMENT(bool)
TAVRIN_VARIANT_ASSIGNMENT(signed char)
TAVRIN_VARIANT_ASSIGNMENT(unsigned char)
TAVRIN_VARIANT_ASSIGNMENT(short)
TAVRIN_VARIANT_ASSIGNMENT(unsigned short)
TAVRIN_VARIANT_ASSIGNMENT(int)
TAVRIN_VARIANT_ASSIGNMENT(unsigned int)
TAVRIN_VARIANT_ASSIGNMENT(long)
TAVRIN_VARIANT_ASSIGNMENT(unsigned long)
TAVRIN_VARIANT_ASSIGNMENT(long long)
TAVRIN_VARIANT_ASSIGNMENT(unsigned long long)
TAVRIN_VARIANT_ASSIGNMENT(float)
TAVRIN_VARIANT_ASSIGNMENT(double)
TAVRIN_VARIANT_ASSIGNMENT(const char*)
TAVRIN_VARIANT_ASSIGNMENT(const tavrin_ustring&)
TAVRIN_VARIANT_ASSIGNMENT(const CColor&)
TAVRIN_VARIANT_ASSIGNMENT(const Time&)
TAVRIN_VARIANT_ASSIGNMENT(const List&)
TAVRIN_VARIANT_ASSIGNMENT(const Map&)
TAVRIN_VARIANT_ASSIGNMENT(const Pairs&)
TAVRIN_VARIANT_ASSIGNMENT(const Variant&)

#undef TAVRIN_VARIANT_ASSIGNMENT

// --- Queries ------------------------------------------------------------------

unsigned int Variant::GetType() const {
  return type_;
}

unsigned long long Variant::GetArrayLength() const {
  if (type_ != kList) throw VariantCastError("Variant does not have a length: not a vector");
  return data_.list != nullptr ? data_.list->size() : 0;
}

bool Variant::GetString(tavrin_ustring& out) const {
  if (type_ != kString) return false;
  out = data_.string != nullptr ? data_.string->String() : EmptyText();
  return true;
}

const Variant& Variant::GetValue(int index) const {
  if (type_ != kList) throw VariantCastError("Could not subscript Variant: not a vector");
  const List& list = data_.list != nullptr ? *data_.list : EmptyList();
  // Widened to 64 bits, then compared as unsigned: a negative index is out of
  // range.
  const auto position = static_cast<std::uint64_t>(static_cast<std::int64_t>(index));
  if (position >= list.size()) {
    throw std::out_of_range("Variant::GetValue: index out of range");
  }
  return list[position];
}

const Variant& Variant::GetValue(const tavrin_ustring& key) const {
  if (type_ != kDictionary) throw VariantCastError("Could not subscript Variant: not a dictionary");
  const Map& map = data_.map != nullptr ? *data_.map : EmptyMap();
  return map.at(key);
}

bool Variant::HasValue(const tavrin_ustring& key) const {
  if (type_ != kDictionary) throw VariantCastError("Could not subscript Variant: not a dictionary");
  return data_.map != nullptr && data_.map->find(key) != data_.map->end();
}

std::vector<tavrin_ustring> Variant::GetAllKeys() const {
  if (type_ != kDictionary) throw VariantCastError("Could list keys: not a dictionary");
  std::vector<tavrin_ustring> keys;
  if (data_.map == nullptr) return keys;
  keys.reserve(data_.map->size());
  for (const auto& entry : *data_.map) keys.push_back(entry.first);
  return keys;
}

bool Variant::operator==(const Variant& other) const {
  if (type_ != other.type_) return false;
  switch (type_) {
    case kBool:
    case kInt8:
      return static_cast<std::uint8_t>(data_.bits) == static_cast<std::uint8_t>(other.data_.bits);
    case kInt16:
      return static_cast<std::uint16_t>(data_.bits) == static_cast<std::uint16_t>(other.data_.bits);
    case kInt32:
      return static_cast<std::uint32_t>(data_.bits) == static_cast<std::uint32_t>(other.data_.bits);
    case kInt64:
    case kTimestamp:
      return data_.bits == other.data_.bits;
    case kFloat:
      return StoredFloat() == other.StoredFloat();
    case kDouble:
      return StoredDouble() == other.StoredDouble();
    case kString: {
      const tavrin_ustring& a = data_.string != nullptr ? data_.string->String() : EmptyText();
      const tavrin_ustring& b =
          other.data_.string != nullptr ? other.data_.string->String() : EmptyText();
      return a.compare(b) == 0;
    }
    case kList: {
      const List& a = data_.list != nullptr ? *data_.list : EmptyList();
      const List& b = other.data_.list != nullptr ? *other.data_.list : EmptyList();
      if (a.size() != b.size()) return false;
      for (std::size_t i = 0; i < a.size(); ++i) {
        if (!(a[i] == b[i])) return false;
      }
      return true;
    }
    case kDictionary: {
      const Map& a = data_.map != nullptr ? *data_.map : EmptyMap();
      const Map& b = other.data_.map != nullptr ? *other.data_.map : EmptyMap();
      if (a.size() != b.size()) return false;
      for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
        if (i->first.compare(j->first) != 0) return false;
        if (!(i->second == j->second)) return false;
      }
      return true;
    }
    case kPairs: {
      const Pairs& a = data_.pairs != nullptr ? *data_.pairs : EmptyPairs();
      const Pairs& b = other.data_.pairs != nullptr ? *other.data_.pairs : EmptyPairs();
      if (a.size() != b.size()) return false;
      for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].first.compare(b[i].first) != 0) return false;
        if (!(a[i].second == b[i].second)) return false;
      }
      return true;
    }
    default:
      return false;  // empty (kept as is) or an unknown tag
  }
}

// --- Reads --------------------------------------------------------------------

std::int64_t Variant::StoredInteger() const {
  switch (type_) {
    case kInt8:
      return static_cast<std::int8_t>(static_cast<std::uint8_t>(data_.bits));
    case kInt16:
      return static_cast<std::int16_t>(static_cast<std::uint16_t>(data_.bits));
    case kInt32:
      return static_cast<std::int32_t>(static_cast<std::uint32_t>(data_.bits));
    case kInt64:
      return static_cast<std::int64_t>(data_.bits);
    default:
      return 0;
  }
}

float Variant::StoredFloat() const {
  const auto bits = static_cast<std::uint32_t>(data_.bits);
  float value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

double Variant::StoredDouble() const {
  double value = 0;
  std::memcpy(&value, &data_.bits, sizeof value);
  return value;
}

Variant::operator bool() const {
  switch (type_) {
    case kBool:
    case kInt8:
      return static_cast<std::uint8_t>(data_.bits) != 0;
    case kInt16:
      return static_cast<std::uint16_t>(data_.bits) != 0;
    case kInt32:
      return static_cast<std::uint32_t>(data_.bits) != 0;
    case kInt64:
      return data_.bits != 0;
    case kFloat:
      return StoredFloat() != 0.0f;
    case kDouble:
      return StoredDouble() != 0.0;
    default:
      return false;
  }
}

Variant::operator signed char() const {
  return AsInteger<signed char>();
}
Variant::operator unsigned char() const {
  return AsInteger<unsigned char>();
}
Variant::operator short() const {
  return AsInteger<short>();
}
Variant::operator unsigned short() const {
  return AsInteger<unsigned short>();
}
Variant::operator int() const {
  return AsInteger<int>();
}
Variant::operator unsigned int() const {
  return AsInteger<unsigned int>();
}
Variant::operator long() const {
  return AsInteger<long>();
}
Variant::operator unsigned long() const {
  return AsInteger<unsigned long>();
}
Variant::operator long long() const {
  return AsInteger<long long>();
}
Variant::operator unsigned long long() const {
  return AsInteger<unsigned long long>();
}

Variant::operator float() const {
  switch (type_) {
    case kInt8:
    case kInt16:
    case kInt32:
    case kInt64:
      return static_cast<float>(StoredInteger());
    case kFloat:
      return StoredFloat();
    case kDouble:
      return static_cast<float>(StoredDouble());
    default:
      return 0.0f;
  }
}

Variant::operator double() const {
  switch (type_) {
    case kInt8:
    case kInt16:
    case kInt32:
    case kInt64:
      return static_cast<double>(StoredInteger());
    case kFloat:
      return static_cast<double>(StoredFloat());
    case kDouble:
      return StoredDouble();
    default:
      return 0.0;
  }
}

Variant::operator const tavrin_ustring&() const {
  if (type_ == kString && data_.string != nullptr) return data_.string->String();
  return EmptyText();
}

Variant::operator CColor() const {
  return AsCColor();
}

CColor Variant::AsCColor() const {
  if (type_ != kInt32) throw VariantCastError::ToType<CColor>("not a 4-byte integer");
  const auto packed = static_cast<std::uint32_t>(data_.bits);
  // Packed RGBA: red in the lowest byte, alpha in the highest.
  return CColor(static_cast<unsigned char>(packed & 0xFFU),
                static_cast<unsigned char>((packed >> 8) & 0xFFU),
                static_cast<unsigned char>((packed >> 16) & 0xFFU),
                static_cast<unsigned char>((packed >> 24) & 0xFFU));
}

Variant::operator Time() const {
  if (type_ != kTimestamp) throw VariantCastError::ToType<Time>("not a timestamp");
  return Time(static_cast<time_t>(static_cast<std::int64_t>(data_.bits)));
}

Variant::operator const List&() const {
  if (type_ != kList) throw VariantCastError::ToType<List>("not a vector");
  return data_.list != nullptr ? *data_.list : EmptyList();
}

Variant::operator const Map&() const {
  if (type_ != kDictionary) throw VariantCastError::ToType<Map>("not a dictionary");
  return data_.map != nullptr ? *data_.map : EmptyMap();
}

Variant::operator const Pairs&() const {
  if (type_ != kPairs) throw VariantCastError::ToType<Pairs>("not key-value pairs");
  return data_.pairs != nullptr ? *data_.pairs : EmptyPairs();
}

}  // namespace tavrin::utils
