// variant_fuzz.cpp - scripted operation sequences on Variant, checked
// against a model.
//
// Four Variant registers are driven by the input: scalars of every held type,
// colours, timestamps, strings made from UTF-8 bytes, shared strings from a
// small pool of RefCountedString handles (null included), lists, dictionaries
// and pair lists built from the registers (a register inside its own new
// value included), copies (onto itself included), moves, elements read back
// into a register (from inside that register's own payload included) and
// setting a list from its own contents.
//
// A plain model follows every step. After each step the target checks, for
// every register: the tag; every integer read against the saturating rule;
// bool, float and double reads; text reads; colour and timestamp reads or
// their VariantCastError; lengths, keys and elements of collections
// (recursively) with std::out_of_range past the end; equality between
// registers against the documented rule (empty and NaN are unequal); and the
// reference count of every pooled string, which also proves the one defined
// leak: a timestamp copied over a shared string keeps that string's extra
// reference. At the end the pool is released by that many extra counts, so
// the leak checker sees nothing else left over.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "common/utils/color.h"
#include "common/utils/refcountedstring.h"
#include "common/utils/tavrintime.h"
#include "common/utils/ustring.h"
#include "common/utils/variant.h"

using tavrin::utils::CColor;
using tavrin::utils::RefCountedString;
using tavrin::utils::tavrin_ustring;
using tavrin::utils::Time;
using tavrin::utils::Variant;
using tavrin::utils::VariantCastError;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "variant_fuzz: %s\n", what);
    std::abort();
  }
}

class Reader {
 public:
  Reader(const std::uint8_t* p, std::size_t n) : p_(p), n_(n) {}
  std::uint8_t Byte() { return n_ != 0 ? (--n_, *p_++) : 0; }
  std::uint64_t Bytes(int count) {
    std::uint64_t v = 0;
    for (int i = 0; i < count; ++i) v = v << 8 | Byte();
    return v;
  }
  bool Empty() const { return n_ == 0; }

 private:
  const std::uint8_t* p_;
  std::size_t n_;
};

constexpr int kRegisters = 4;
constexpr int kPool = 3;
constexpr int kMaxNodes = 400;

// --- The model. ---------------------------------------------------------------

struct Model {
  unsigned type = Variant::kEmpty;
  std::int64_t i = 0;  // integers (sign-extended from their width), bool, timestamp
  float f = 0;
  double d = 0;
  std::u16string text;
  int pool = -1;    // index of the pooled string held, -1 for none
  long string = 0;  // identity of an internally made string (0: none)
  std::vector<Model> list;
  // Dictionary entries in key order, and pair-list entries in their order
  // (parallel vectors: a map or pair of an incomplete type is not allowed).
  std::vector<std::u16string> map_keys, pair_keys;
  std::vector<Model> map_values, pair_values;
};

// The value of `key` in a model dictionary, or null.
const Model* MapFind(const Model& m, const std::u16string& key) {
  for (std::size_t k = 0; k < m.map_keys.size(); ++k)
    if (m.map_keys[k] == key) return &m.map_values[k];
  return nullptr;
}

// Sets `key` in a model dictionary: the last value for a key wins.
void MapSet(Model& m, const std::u16string& key, const Model& value) {
  std::size_t k = 0;
  while (k < m.map_keys.size() && m.map_keys[k] < key) ++k;
  if (k < m.map_keys.size() && m.map_keys[k] == key) {
    m.map_values[k] = value;
    return;
  }
  m.map_keys.insert(m.map_keys.begin() + static_cast<std::ptrdiff_t>(k), key);
  m.map_values.insert(m.map_values.begin() + static_cast<std::ptrdiff_t>(k), value);
}

std::u16string Text(const tavrin_ustring& s) {
  return std::u16string(reinterpret_cast<const char16_t*>(s.data()), s.size());
}

tavrin_ustring Ustring(const std::u16string& s) {
  return tavrin_ustring(reinterpret_cast<const unsigned short*>(s.data()), s.size());
}

int Nodes(const Model& m) {
  int n = 1;
  for (const Model& e : m.list) n += Nodes(e);
  for (const Model& e : m.map_values) n += Nodes(e);
  for (const Model& e : m.pair_values) n += Nodes(e);
  return n;
}

// Occurrences of a string (pooled index or internal identity) in a model.
int Holds(const Model& m, int pool, long string) {
  int n = m.type == Variant::kString &&
                  ((pool >= 0 && m.pool == pool) || (string != 0 && m.string == string))
              ? 1
              : 0;
  for (const Model& e : m.list) n += Holds(e, pool, string);
  for (const Model& e : m.map_values) n += Holds(e, pool, string);
  for (const Model& e : m.pair_values) n += Holds(e, pool, string);
  return n;
}

bool ModelEqual(const Model& a, const Model& b) {
  if (a.type != b.type) return false;
  switch (a.type) {
    case Variant::kBool:
    case Variant::kInt8:
    case Variant::kInt16:
    case Variant::kInt32:
    case Variant::kInt64:
    case Variant::kTimestamp:
      return a.i == b.i;
    case Variant::kFloat:
      return a.f == b.f;
    case Variant::kDouble:
      return a.d == b.d;
    case Variant::kString:
      return a.text == b.text;
    case Variant::kList:
      if (a.list.size() != b.list.size()) return false;
      for (std::size_t k = 0; k < a.list.size(); ++k)
        if (!ModelEqual(a.list[k], b.list[k])) return false;
      return true;
    case Variant::kDictionary:
      if (a.map_keys != b.map_keys) return false;
      for (std::size_t k = 0; k < a.map_values.size(); ++k)
        if (!ModelEqual(a.map_values[k], b.map_values[k])) return false;
      return true;
    case Variant::kPairs:
      if (a.pair_keys != b.pair_keys) return false;
      for (std::size_t k = 0; k < a.pair_values.size(); ++k)
        if (!ModelEqual(a.pair_values[k], b.pair_values[k])) return false;
      return true;
    default:
      return false;  // two empty values are unequal
  }
}

// A string tag with a null payload (from Set(RefCountedString*) with null).
bool IsNullString(const Model& m) {
  return m.type == Variant::kString && m.pool < 0 && m.string == 0;
}

// What a copy-constructed Variant holds: copies go through the ordinary Set
// overloads, so a null string payload becomes an empty Variant (an empty
// Variant keeps its empty tag), at any depth.
Model CopyOf(const Model& src) {
  if (IsNullString(src)) return Model();
  Model m = src;
  for (Model& e : m.list) e = CopyOf(e);
  for (Model& e : m.map_values) e = CopyOf(e);
  for (Model& e : m.pair_values) e = CopyOf(e);
  return m;
}

// --- Checking a Variant against its model. -------------------------------------

template <class T>
T Saturate(const Model& m) {
  using L = std::numeric_limits<T>;
  switch (m.type) {
    case Variant::kInt8:
    case Variant::kInt16:
    case Variant::kInt32:
    case Variant::kInt64:
      if (std::cmp_less(m.i, L::min())) return L::min();
      if (std::cmp_greater(m.i, L::max())) return L::max();
      return static_cast<T>(m.i);
    case Variant::kFloat:
    case Variant::kDouble: {
      const double v = m.type == Variant::kFloat ? static_cast<double>(m.f) : m.d;
      if (std::isnan(v)) return 0;
      if (v < static_cast<double>(L::min())) return L::min();
      if (v >= std::ldexp(1.0, L::digits)) return L::max();
      return static_cast<T>(v);
    }
    default:
      return 0;
  }
}

template <class T>
void CheckInteger(const Variant& v, const Model& m) {
  Check(v.AsInteger<T>() == Saturate<T>(m), "integer read differs from the saturating rule");
  Check(static_cast<T>(v) == Saturate<T>(m), "integer conversion differs from AsInteger");
}

template <class Fn>
bool Throws(Fn fn, bool cast_error) {
  try {
    fn();
  } catch (const VariantCastError&) {
    return cast_error;
  } catch (const std::out_of_range&) {
    return !cast_error;
  }
  return false;
}

void Verify(const Variant& v, const Model& m) {
  Check(v.GetType() == m.type, "tag differs from the model");
  CheckInteger<signed char>(v, m);
  CheckInteger<unsigned char>(v, m);
  CheckInteger<short>(v, m);
  CheckInteger<unsigned short>(v, m);
  CheckInteger<int>(v, m);
  CheckInteger<unsigned int>(v, m);
  CheckInteger<long long>(v, m);
  CheckInteger<unsigned long long>(v, m);

  bool truth = false;
  switch (m.type) {
    case Variant::kBool:
      truth = m.i != 0;
      Check(static_cast<double>(v) == 0.0, "a bool read as a number is not 0");
      break;
    case Variant::kInt8:
    case Variant::kInt16:
    case Variant::kInt32:
    case Variant::kInt64:
      truth = m.i != 0;
      Check(static_cast<double>(v) == static_cast<double>(m.i), "double read of an integer");
      break;
    case Variant::kFloat:
      truth = m.f != 0.0f;
      Check(std::isnan(m.f) ? std::isnan(static_cast<float>(v)) : static_cast<float>(v) == m.f,
            "float read differs");
      break;
    case Variant::kDouble:
      truth = m.d != 0.0;
      Check(std::isnan(m.d) ? std::isnan(static_cast<double>(v)) : static_cast<double>(v) == m.d,
            "double read differs");
      break;
    default:
      break;
  }
  Check(static_cast<bool>(v) == truth, "bool read differs");

  tavrin_ustring out(u"unchanged");
  const bool is_string = v.GetString(out);
  Check(is_string == (m.type == Variant::kString), "GetString differs");
  Check(Text(is_string ? out : tavrin_ustring()) == (is_string ? m.text : std::u16string()),
        "GetString text differs");
  if (!is_string) Check(Text(out) == u"unchanged", "a failed GetString changed its output");
  Check(Text(static_cast<const tavrin_ustring&>(v)) == (is_string ? m.text : std::u16string()),
        "string read differs");

  if (m.type == Variant::kInt32) {
    const CColor c = v.AsCColor();
    const auto packed = static_cast<std::uint32_t>(m.i);
    Check(c == CColor(static_cast<unsigned char>(packed), static_cast<unsigned char>(packed >> 8),
                      static_cast<unsigned char>(packed >> 16),
                      static_cast<unsigned char>(packed >> 24)),
          "colour read differs");
  } else {
    Check(Throws([&] { (void)v.AsCColor(); }, true), "colour read of a non-colour did not throw");
  }
  if (m.type == Variant::kTimestamp) {
    Check(static_cast<Time>(v).GetDATE() == static_cast<time_t>(m.i), "timestamp read differs");
  } else {
    Check(Throws([&] { (void)static_cast<Time>(v); }, true), "timestamp read did not throw");
  }

  if (m.type == Variant::kList) {
    Check(v.GetArrayLength() == m.list.size(), "list length differs");
    for (std::size_t k = 0; k < m.list.size(); ++k)
      Verify(v.GetValue(static_cast<int>(k)), m.list[k]);
    Check(Throws([&] { (void)v.GetValue(static_cast<int>(m.list.size())); }, false),
          "subscript past the end did not throw out_of_range");
    Check(Throws([&] { (void)v.GetValue(-1); }, false), "negative subscript did not throw");
  } else {
    Check(Throws([&] { (void)v.GetArrayLength(); }, true), "length of a non-list did not throw");
    Check(Throws([&] { (void)v.GetValue(0); }, true), "subscript of a non-list did not throw");
  }
  if (m.type == Variant::kDictionary) {
    const std::vector<tavrin_ustring> keys = v.GetAllKeys();
    Check(keys.size() == m.map_keys.size(), "key count differs");
    for (std::size_t k = 0; k < keys.size(); ++k) {
      Check(Text(keys[k]) == m.map_keys[k], "keys differ");
      Check(v.HasValue(keys[k]), "HasValue misses a key");
      Verify(v.GetValue(keys[k]), m.map_values[k]);
    }
    Check(!v.HasValue(Ustring(u"\u00ff-missing")), "HasValue finds a missing key");
    Check(Throws([&] { (void)v.GetValue(Ustring(u"\u00ff-missing")); }, false),
          "missing key did not throw out_of_range");
  } else {
    Check(Throws([&] { (void)v.GetAllKeys(); }, true), "keys of a non-dictionary did not throw");
  }
  if (m.type == Variant::kPairs) {
    const Variant::Pairs& pairs = v;
    Check(pairs.size() == m.pair_keys.size(), "pair count differs");
    for (std::size_t k = 0; k < pairs.size(); ++k) {
      Check(Text(pairs[k].first) == m.pair_keys[k], "pair key differs");
      Verify(pairs[k].second, m.pair_values[k]);
    }
  } else {
    Check(Throws([&] { (void)static_cast<const Variant::Pairs&>(v); }, true),
          "pair-list read of another kind did not throw");
  }
  Check(v.GetType() == m.type, "a failed read changed the value");
}

// --- The machine. ---------------------------------------------------------------

struct Machine {
  Variant reg[kRegisters];
  Model model[kRegisters];
  RefCountedString* pool[kPool] = {};
  std::u16string pool_text[kPool];
  int leaked[kPool] = {};  // extra references kept by the timestamp copy rule
  long next_string = 1;

  // Copying `src` over register `a` (operator= / Set(const Variant&)). False
  // when the copy would leak a string this target cannot reach to release.
  bool CopyAllowed(int a, const Model& src) const {
    const Model& dst = model[a];
    if (src.type != Variant::kTimestamp || dst.type != Variant::kString) return true;
    if (dst.pool >= 0 || dst.string == 0) return true;
    int holders = 0;
    for (const Model& m : model) holders += Holds(m, -1, dst.string);
    return holders <= 1;
  }
  void ModelCopy(int a, const Model& src) {
    Model& dst = model[a];
    if (src.type == Variant::kTimestamp && dst.type == Variant::kString && dst.pool >= 0)
      ++leaked[dst.pool];  // a pooled string is always shared with its handle
    if (IsNullString(src)) {
      // Copied through Set(RefCountedString*) with a null payload: the
      // target keeps its tag and gets a null payload.
      Model m;
      m.type = dst.type;
      dst = m;
      return;
    }
    dst = CopyOf(src);
  }

  void CheckAll() {
    for (int k = 0; k < kRegisters; ++k) Verify(reg[k], model[k]);
    for (int a = 0; a < kRegisters; ++a)
      for (int b = 0; b < kRegisters; ++b)
        Check((reg[a] == reg[b]) == ModelEqual(model[a], model[b]), "equality differs");
    for (int p = 0; p < kPool; ++p) {
      unsigned long long expected = 1 + static_cast<unsigned long long>(leaked[p]);
      for (const Model& m : model) expected += static_cast<unsigned long long>(Holds(m, p, 0));
      Check(pool[p]->GetRefCount() == expected, "pooled string reference count differs");
      Check(Text(pool[p]->String()) == pool_text[p], "pooled string text changed");
    }
  }

  void Scalar(Reader& in, int a) {
    const std::uint8_t kind = in.Byte();
    const std::uint64_t raw = in.Bytes(8);
    Model m;
    Variant v;
    switch (kind % 14) {
      case 0:
        v = Variant((raw & 1) != 0);
        m.type = Variant::kBool;
        m.i = raw & 1;
        break;
      case 1:
        v = Variant(static_cast<signed char>(raw));
        m.type = Variant::kInt8;
        m.i = static_cast<std::int8_t>(raw);
        break;
      case 2:
        v = Variant(static_cast<unsigned char>(raw));
        m.type = Variant::kInt8;
        m.i = static_cast<std::int8_t>(raw);
        break;
      case 3:
        v = Variant(static_cast<short>(raw));
        m.type = Variant::kInt16;
        m.i = static_cast<std::int16_t>(raw);
        break;
      case 4:
        v = Variant(static_cast<unsigned short>(raw));
        m.type = Variant::kInt16;
        m.i = static_cast<std::int16_t>(raw);
        break;
      case 5:
        v = Variant(static_cast<int>(raw));
        m.type = Variant::kInt32;
        m.i = static_cast<std::int32_t>(raw);
        break;
      case 6:
        v = Variant(static_cast<unsigned int>(raw));
        m.type = Variant::kInt32;
        m.i = static_cast<std::int32_t>(raw);
        break;
      case 7:
        v = Variant(static_cast<long>(raw));
        m.type = Variant::kInt64;
        m.i = static_cast<std::int64_t>(raw);
        break;
      case 8:
        v = Variant(static_cast<unsigned long long>(raw));
        m.type = Variant::kInt64;
        m.i = static_cast<std::int64_t>(raw);
        break;
      case 9: {
        float f;
        const auto bits = static_cast<std::uint32_t>(raw);
        std::memcpy(&f, &bits, sizeof f);
        v = Variant(f);
        m.type = Variant::kFloat;
        m.f = f;
        break;
      }
      case 10: {
        double d;
        std::memcpy(&d, &raw, sizeof d);
        v = Variant(d);
        m.type = Variant::kDouble;
        m.d = d;
        break;
      }
      case 11: {
        const CColor c(static_cast<unsigned char>(raw), static_cast<unsigned char>(raw >> 8),
                       static_cast<unsigned char>(raw >> 16),
                       static_cast<unsigned char>(raw >> 24));
        v = Variant(c);
        m.type = Variant::kInt32;
        m.i = static_cast<std::int32_t>(static_cast<std::uint32_t>(raw));
        break;
      }
      case 12: {
        const auto t = static_cast<time_t>(static_cast<std::int32_t>(raw));
        v = Variant(Time(t));
        m.type = Variant::kTimestamp;
        m.i = t;
        break;
      }
      default:
        m.type = Variant::kEmpty;
        break;
    }
    if (!CopyAllowed(a, m)) return;
    // Through Set or assignment, as the input says.
    if (kind & 0x80) {
      reg[a].Set(v);
    } else {
      reg[a] = v;
    }
    ModelCopy(a, m);
  }

  void String(Reader& in, int a) {
    std::string bytes;
    const std::size_t n = in.Byte() % 8;
    for (std::size_t k = 0; k < n; ++k) {
      const std::uint8_t b = in.Byte();
      bytes += static_cast<char>(b != 0 ? b : 'a');
    }
    const tavrin_ustring text(bytes);
    if (in.Byte() & 1)
      reg[a] = Variant(bytes.c_str());
    else
      reg[a].Set(text);
    Model m;
    m.type = Variant::kString;
    m.text = Text(text);
    m.string = next_string++;
    model[a] = m;
  }

  void Pooled(Reader& in, int a) {
    const int p = in.Byte() % (kPool + 1);
    if (p == kPool) {
      // A null string: the old payload is released and the tag stays.
      reg[a].Set(static_cast<RefCountedString*>(nullptr));
      Model m;
      m.type = model[a].type;
      model[a] = m;
      return;
    }
    reg[a].Set(pool[p]);
    Model m;
    m.type = Variant::kString;
    m.text = pool_text[p];
    m.pool = p;
    model[a] = m;
  }

  void Copy(Reader& in, int a) {
    const int b = in.Byte() % kRegisters;
    if (!CopyAllowed(a, model[b])) return;
    const Model src = model[b];
    if (in.Byte() & 1)
      reg[a] = reg[b];
    else
      reg[a].Set(reg[b]);
    ModelCopy(a, src);
  }

  void Move(Reader& in, int a) {
    const int b = in.Byte() % kRegisters;
    Model src = model[b];
    Variant moved(std::move(reg[b]));
    model[b] = Model();
    if (!CopyAllowed(a, src)) {
      reg[b] = moved;  // put it back
      model[b] = src;
      return;
    }
    reg[a] = moved;
    ModelCopy(a, src);
  }

  void Collection(Reader& in, int a) {
    const std::uint8_t kind = in.Byte();
    const int count = in.Byte() % 4;
    int from[3];
    std::u16string keys[3];
    for (int k = 0; k < 3; ++k) {
      from[k] = in.Byte() % kRegisters;
      keys[k] = std::u16string(1, static_cast<char16_t>(u'a' + in.Byte() % 3));
    }
    int nodes = 1;
    for (int k = 0; k < count; ++k) nodes += Nodes(model[from[k]]);
    if (nodes > kMaxNodes) return;
    Model m;
    if (kind % 3 == 0) {
      Variant::List list;
      for (int k = 0; k < count; ++k) {
        list.push_back(reg[from[k]]);
        m.list.push_back(CopyOf(model[from[k]]));
      }
      m.type = Variant::kList;
      if (kind & 0x80)
        reg[a].Set(list);
      else
        reg[a] = Variant(list);
    } else if (kind % 3 == 1) {
      Variant::Map map;
      for (int k = 0; k < count; ++k) {
        // A repeated key: the last value wins, assigned with operator= over
        // the earlier one, so a timestamp over a string keeps that string's
        // reference there too, and a null string keeps the earlier tag. Counted for pooled strings;
        // skipped for strings made here (nothing could release them afterwards).
        const Model* old = MapFind(m, keys[k]);
        const Model& src = model[from[k]];
        if (old != nullptr && old->type == Variant::kString && src.type == Variant::kTimestamp) {
          if (old->pool < 0) continue;
          ++leaked[old->pool];
        }
        map[Ustring(keys[k])] = reg[from[k]];
        if (old != nullptr && IsNullString(src)) {
          // A null string payload assigned over the earlier value: that value
          // keeps its tag and gets a null payload, as in ModelCopy; the map is
          // then copied into the register, and a copy of a string tag with a
          // null payload is empty (CopyOf).
          Model kept;
          kept.type = old->type;
          MapSet(m, keys[k], CopyOf(kept));
        } else {
          MapSet(m, keys[k], CopyOf(src));
        }
      }
      m.type = Variant::kDictionary;
      if (kind & 0x80)
        reg[a].Set(map);
      else
        reg[a] = Variant(map);
    } else {
      Variant::Pairs pairs;
      for (int k = 0; k < count; ++k) {
        pairs.emplace_back(Ustring(keys[k]), reg[from[k]]);
        m.pair_keys.push_back(keys[k]);
        m.pair_values.push_back(CopyOf(model[from[k]]));
      }
      m.type = Variant::kPairs;
      if (kind & 0x80)
        reg[a].Set(pairs);
      else
        reg[a] = Variant(pairs);
    }
    model[a] = m;
  }

  // Sets a collection register from its own contents.
  void SelfContents(int a) {
    const Model m = model[a];
    switch (m.type) {
      case Variant::kList:
        reg[a].Set(static_cast<const Variant::List&>(reg[a]));
        break;
      case Variant::kDictionary:
        reg[a].Set(static_cast<const Variant::Map&>(reg[a]));
        break;
      case Variant::kPairs:
        reg[a].Set(static_cast<const Variant::Pairs&>(reg[a]));
        break;
      default:
        return;
    }
    model[a] = m;
  }

  // Reads an element of register b into register a (b may be a).
  void Element(Reader& in, int a) {
    const int b = in.Byte() % kRegisters;
    const std::uint8_t pick = in.Byte();
    const Model* src = nullptr;
    const Variant* element = nullptr;
    const Model& mb = model[b];
    if (mb.type == Variant::kList && !mb.list.empty()) {
      const std::size_t k = pick % mb.list.size();
      src = &mb.list[k];
      element = &reg[b].GetValue(static_cast<int>(k));
    } else if (mb.type == Variant::kDictionary && !mb.map_keys.empty()) {
      const std::size_t k = pick % mb.map_keys.size();
      src = &mb.map_values[k];
      element = &reg[b].GetValue(Ustring(mb.map_keys[k]));
    } else if (mb.type == Variant::kPairs && !mb.pair_keys.empty()) {
      const std::size_t k = pick % mb.pair_keys.size();
      src = &mb.pair_values[k];
      element = &static_cast<const Variant::Pairs&>(reg[b])[k].second;
    } else {
      return;
    }
    if (!CopyAllowed(a, *src)) return;
    const Model copy = *src;
    if (pick & 0x80)
      reg[a] = *element;
    else
      reg[a].Set(*element);
    ModelCopy(a, copy);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 1024) return 0;
  Reader in(data, size);
  Machine m;
  for (int p = 0; p < kPool; ++p) {
    m.pool_text[p] = std::u16string(1 + p, static_cast<char16_t>(u'p' + p));
    m.pool[p] = RefCountedString::Create(Ustring(m.pool_text[p]));
  }
  // VARIANT_FUZZ_TRACE=1 prints each step (to read a crash file by hand).
  static const bool trace = std::getenv("VARIANT_FUZZ_TRACE") != nullptr;
  for (int step = 0; step < 64 && !in.Empty(); ++step) {
    const std::uint8_t op = in.Byte();
    const int a = (op >> 4) % kRegisters;
    if (trace) {
      static const char* const kOps[9] = {"scalar",     "string",        "pooled",  "copy", "move",
                                          "collection", "self-contents", "element", "clear"};
      std::fprintf(stderr, "step %d: %s into %d; counts", step, kOps[op % 9], a);
      for (int p = 0; p < kPool; ++p)
        std::fprintf(stderr, " %llu", static_cast<unsigned long long>(m.pool[p]->GetRefCount()));
      std::fprintf(stderr, "; types");
      for (int k = 0; k < kRegisters; ++k) std::fprintf(stderr, " %u", m.reg[k].GetType());
      std::fprintf(stderr, "\n");
    }
    switch (op % 9) {
      case 0:
        m.Scalar(in, a);
        break;
      case 1:
        m.String(in, a);
        break;
      case 2:
        m.Pooled(in, a);
        break;
      case 3:
        m.Copy(in, a);
        break;
      case 4:
        m.Move(in, a);
        break;
      case 5:
        m.Collection(in, a);
        break;
      case 6:
        m.SelfContents(a);
        break;
      case 7:
        m.Element(in, a);
        break;
      default:
        m.reg[a] = Variant();
        m.ModelCopy(a, Model());
        break;
    }
    m.CheckAll();
  }
  // Clear the registers; each pooled string is then held by its handle and
  // the references the timestamp rule kept.
  for (int k = 0; k < kRegisters; ++k) {
    m.reg[k] = Variant();
    m.model[k] = Model();
  }
  for (int p = 0; p < kPool; ++p) {
    Check(m.pool[p]->GetRefCount() == 1 + static_cast<unsigned long long>(m.leaked[p]),
          "pooled string count after clearing differs");
    for (int k = 0; k <= m.leaked[p]; ++k) m.pool[p]->Release();
  }
  return 0;
}
