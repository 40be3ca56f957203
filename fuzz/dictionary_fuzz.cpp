// dictionary_fuzz.cpp - scripted operation sequences on two Dictionary
// objects, checked against a std::map model.
//
// Operations: SetItem (new and existing keys), RemoveItem, ContainsItem,
// GetValue (present and missing keys), Count, IsEmpty, Clear, copy
// construction, copy assignment (onto itself included) and comparison of
// the two dictionaries and of each with itself. Values are empty Variants,
// integers, strings, NaN and small lists. After each step the target checks
// every key of the model against the dictionary, the count, that GetValue of
// a missing key gives an empty Variant and inserts nothing, and that ==
// follows the documented rule: same keys with equal values, where an empty
// value and NaN are never equal, so a dictionary holding either is unequal
// even to itself.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "common/utils/dictionary.h"
#include "common/utils/ustring.h"
#include "common/utils/variant.h"

using tavrin::utils::Dictionary;
using tavrin::utils::tavrin_ustring;
using tavrin::utils::Variant;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "dictionary_fuzz: %s\n", what);
    std::abort();
  }
}

// A value: kind 0 empty, 1 integer, 2 string, 3 NaN, 4 list of integers.
struct Value {
  int kind = 0;
  int number = 0;
  std::vector<int> list;

  Variant Make() const {
    switch (kind) {
      case 1:
        return Variant(number);
      case 2:
        return Variant(tavrin_ustring(std::to_string(number)));
      case 3:
        return Variant(std::numeric_limits<double>::quiet_NaN());
      case 4: {
        Variant::List l;
        for (int x : list) l.push_back(Variant(x));
        return Variant(l);
      }
      default:
        return Variant();
    }
  }
  // Whether values of this kind can ever compare equal.
  bool Comparable() const { return kind != 0 && kind != 3; }
};

bool Equal(const Value& a, const Value& b) {
  return a.Comparable() && a.kind == b.kind && a.number == b.number && a.list == b.list;
}

using Model = std::map<std::u16string, Value>;

bool ModelEqual(const Model& a, const Model& b) {
  if (a.size() != b.size()) return false;
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j)
    if (i->first != j->first || !Equal(i->second, j->second)) return false;
  return true;
}

tavrin_ustring Key(const std::u16string& k) {
  return tavrin_ustring(reinterpret_cast<const unsigned short*>(k.data()), k.size());
}

void Verify(const Dictionary& d, const Model& m) {
  Check(d.Count() == static_cast<int>(m.size()), "Count differs");
  Check(d.IsEmpty() == m.empty(), "IsEmpty differs");
  for (const auto& [k, v] : m) {
    Check(d.ContainsItem(Key(k)), "a key is missing");
    const Variant got = d.GetValue(Key(k));
    if (v.Comparable())
      Check(got == v.Make(), "a value differs");
    else if (v.kind == 0)
      Check(got.GetType() == Variant::kEmpty, "an empty value is not empty");
    else
      Check(got.GetType() == Variant::kDouble && std::isnan(static_cast<double>(got)),
            "a NaN value is not NaN");
  }
  const tavrin_ustring missing(u"\u00ff missing");
  Check(!d.ContainsItem(missing) && d.GetValue(missing).GetType() == Variant::kEmpty,
        "a missing key gave a value");
  Check(!d.ContainsItem(missing) && d.Count() == static_cast<int>(m.size()),
        "GetValue of a missing key inserted it");
  Check((d == d) == ModelEqual(m, m), "self-comparison differs from the rule");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 2048) return 0;
  Dictionary dict[2];
  Model model[2];
  std::size_t i = 0;
  auto next = [&]() -> std::uint8_t { return i < size ? data[i++] : 0; };
  static const char16_t* const kKeys[] = {u"", u"a", u"b", u"A", u"\u00e9", u"key", u"ke"};
  while (i < size) {
    const std::uint8_t op = next();
    const int which = (op >> 7) & 1;
    Dictionary& d = dict[which];
    Model& m = model[which];
    const std::u16string key = kKeys[next() % 7];
    switch (op % 8) {
      case 0:
      case 1: {
        Value v;
        v.kind = next() % 5;
        v.number = static_cast<std::int8_t>(next());
        if (v.kind != 1 && v.kind != 2) v.number = 0;  // only numbers and strings hold one
        if (v.kind == 4)
          for (int k = next() % 3; k > 0; --k) v.list.push_back(static_cast<std::int8_t>(next()));
        d.SetItem(Key(key), v.Make());
        m[key] = v;
        break;
      }
      case 2: {
        const bool removed = d.RemoveItem(Key(key));
        Check(removed == (m.erase(key) == 1), "RemoveItem result differs");
        break;
      }
      case 3:
        d.Clear();
        m.clear();
        break;
      case 4: {
        // A copy is independent and equal by the rule.
        Dictionary copy(d);
        Verify(copy, m);
        copy.SetItem(Key(u"only in the copy"), Variant(1));
        Check(!d.ContainsItem(Key(u"only in the copy")), "a copy shares its entries");
        break;
      }
      case 5:
        dict[1 - which] = d;
        model[1 - which] = m;
        break;
      case 6: {
        Dictionary& self = d;
        d = self;  // onto itself
        break;
      }
      default:
        Check((dict[0] == dict[1]) == ModelEqual(model[0], model[1]), "== differs from the rule");
        Check((dict[1] == dict[0]) == (dict[0] == dict[1]), "== is not symmetric");
        break;
    }
    Verify(dict[0], model[0]);
    Verify(dict[1], model[1]);
  }
  return 0;
}
