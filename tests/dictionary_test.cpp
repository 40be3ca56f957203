// dictionary_test.cpp - tests of Dictionary.
#include "common/utils/dictionary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/test_support.h"

namespace tavrin::utils {
namespace {

const tavrin_ustring& Text(const Variant& v) {
  return v;
}

TEST(DictionaryTest, StartsEmpty) {
  const Dictionary d;
  EXPECT_TRUE(d.IsEmpty());
  EXPECT_EQ(d.Count(), 0);
  EXPECT_FALSE(d.ContainsItem(tavrin_ustring("a")));
  EXPECT_FALSE(d.ContainsItem(tavrin_ustring()));
}

TEST(DictionaryTest, SetItemInsertsAndOverwrites) {
  Dictionary d;
  d.SetItem(tavrin_ustring("a"), Variant(1));
  d.SetItem(tavrin_ustring("b"), Variant("two"));
  EXPECT_EQ(d.Count(), 2);
  EXPECT_FALSE(d.IsEmpty());
  d.SetItem(tavrin_ustring("a"), Variant(3.5));
  EXPECT_EQ(d.Count(), 2);
  EXPECT_EQ(d.GetValue(tavrin_ustring("a")).GetType(), 7u);
  EXPECT_EQ(static_cast<double>(d.GetValue(tavrin_ustring("a"))), 3.5);
  EXPECT_EQ(Text(d.GetValue(tavrin_ustring("b"))), tavrin_ustring("two"));
  // Keys differ by code unit: case matters, the empty key is a key.
  d.SetItem(tavrin_ustring("A"), Variant(true));
  d.SetItem(tavrin_ustring(), Variant(0));
  EXPECT_EQ(d.Count(), 4);
  EXPECT_TRUE(d.ContainsItem(tavrin_ustring()));
}

TEST(DictionaryTest, GetValueOfAMissingKeyIsEmptyAndInsertsNothing) {
  Dictionary d;
  d.SetItem(tavrin_ustring("present"), Variant(1));
  const Variant missing = d.GetValue(tavrin_ustring("absent"));
  EXPECT_EQ(missing.GetType(), 0u);
  EXPECT_EQ(d.Count(), 1);
  EXPECT_FALSE(d.ContainsItem(tavrin_ustring("absent")));
}

TEST(DictionaryTest, GetValueReturnsACopy) {
  Dictionary d;
  d.SetItem(tavrin_ustring("list"), Variant(Variant::List{Variant(1), Variant(2)}));
  Variant copy = d.GetValue(tavrin_ustring("list"));
  copy = 5;
  EXPECT_EQ(d.GetValue(tavrin_ustring("list")).GetArrayLength(), 2u);
  // The stored value was copied in: changing the source later does nothing.
  Variant source("before");
  d.SetItem(tavrin_ustring("s"), source);
  source = "after";
  EXPECT_EQ(Text(d.GetValue(tavrin_ustring("s"))), tavrin_ustring("before"));
}

TEST(DictionaryTest, RemoveItem) {
  Dictionary d;
  d.SetItem(tavrin_ustring("a"), Variant(1));
  d.SetItem(tavrin_ustring("b"), Variant(2));
  EXPECT_FALSE(d.RemoveItem(tavrin_ustring("c")));
  EXPECT_EQ(d.Count(), 2);
  EXPECT_TRUE(d.RemoveItem(tavrin_ustring("a")));
  EXPECT_EQ(d.Count(), 1);
  EXPECT_FALSE(d.ContainsItem(tavrin_ustring("a")));
  EXPECT_FALSE(d.RemoveItem(tavrin_ustring("a")));
  EXPECT_TRUE(d.RemoveItem(tavrin_ustring("b")));
  EXPECT_TRUE(d.IsEmpty());
}

TEST(DictionaryTest, Clear) {
  Dictionary d;
  d.SetItem(tavrin_ustring("a"), Variant(1));
  d.SetItem(tavrin_ustring("b"), Variant(Variant::Map{{tavrin_ustring("x"), Variant("y")}}));
  d.Clear();
  EXPECT_TRUE(d.IsEmpty());
  EXPECT_EQ(d.Count(), 0);
  EXPECT_FALSE(d.ContainsItem(tavrin_ustring("a")));
  d.Clear();
  EXPECT_TRUE(d.IsEmpty());
}

TEST(DictionaryTest, CopiesAreIndependent) {
  Dictionary a;
  a.SetItem(tavrin_ustring("k"), Variant(1));
  a.SetItem(tavrin_ustring("s"), Variant("text"));
  Dictionary b(a);
  EXPECT_TRUE(a == b);
  b.SetItem(tavrin_ustring("k"), Variant(2));
  b.SetItem(tavrin_ustring("new"), Variant(3));
  EXPECT_EQ(static_cast<int>(a.GetValue(tavrin_ustring("k"))), 1);
  EXPECT_FALSE(a.ContainsItem(tavrin_ustring("new")));

  Dictionary c;
  c.SetItem(tavrin_ustring("old"), Variant(9));
  c = a;
  EXPECT_TRUE(c == a);
  EXPECT_FALSE(c.ContainsItem(tavrin_ustring("old")));
  a.Clear();
  EXPECT_EQ(c.Count(), 2);
  EXPECT_EQ(Text(c.GetValue(tavrin_ustring("s"))), tavrin_ustring("text"));
}

TEST(DictionaryTest, SelfAssignmentKeepsTheContents) {
  Dictionary d;
  d.SetItem(tavrin_ustring("a"), Variant(1));
  d.SetItem(tavrin_ustring("b"), Variant(Variant::List{Variant("x")}));
  Dictionary& alias = d;
  Dictionary& result = (d = alias);
  EXPECT_EQ(&result, &d);
  EXPECT_EQ(d.Count(), 2);
  EXPECT_EQ(Text(d.GetValue(tavrin_ustring("b")).GetValue(0)), tavrin_ustring("x"));
}

TEST(DictionaryTest, EqualityIgnoresInsertionOrder) {
  const std::uint32_t seed = test::TestSeed();
  SCOPED_TRACE(::testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::vector<std::pair<tavrin_ustring, Variant>> entries;
  for (int i = 0; i < 50; ++i) {
    entries.emplace_back(tavrin_ustring(("key" + std::to_string(i)).c_str()),
                         i % 3 == 0 ? Variant(i) : Variant(("v" + std::to_string(i)).c_str()));
  }
  Dictionary forward;
  for (const auto& e : entries) forward.SetItem(e.first, e.second);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(entries.begin(), entries.end(), rng);
    Dictionary shuffled;
    for (const auto& e : entries) shuffled.SetItem(e.first, e.second);
    EXPECT_TRUE(forward == shuffled);
    EXPECT_TRUE(shuffled == forward);
  }
}

TEST(DictionaryTest, EqualityRules) {
  EXPECT_TRUE(Dictionary() == Dictionary());
  Dictionary a;
  a.SetItem(tavrin_ustring("k"), Variant(1));
  Dictionary b;
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(b == a);
  b.SetItem(tavrin_ustring("k"), Variant(1LL));  // same number, other tag
  EXPECT_FALSE(a == b);
  b.SetItem(tavrin_ustring("k"), Variant(1));
  EXPECT_TRUE(a == b);
  b.SetItem(tavrin_ustring("j"), Variant(1));
  b.RemoveItem(tavrin_ustring("k"));
  EXPECT_FALSE(a == b);  // same count and value, other key
  Dictionary c;
  c.SetItem(tavrin_ustring("k"), Variant(Variant::List{Variant(1), Variant("x")}));
  Dictionary d;
  d.SetItem(tavrin_ustring("k"), Variant(Variant::List{Variant("x"), Variant(1)}));
  EXPECT_FALSE(c == d);
}

TEST(DictionaryTest, AnEmptyValueMakesItUnequalToItself) {
  Dictionary d;
  d.SetItem(tavrin_ustring("nothing"), Variant());
  EXPECT_FALSE(d == d);
  const Dictionary copy(d);
  EXPECT_FALSE(d == copy);
  // A missing-key read is an empty value too.
  Dictionary e;
  e.SetItem(tavrin_ustring("k"), Dictionary().GetValue(tavrin_ustring("k")));
  EXPECT_EQ(e.Count(), 1);
  EXPECT_FALSE(e == e);
}

// A subclass may override the virtual accessors; Clear and IsEmpty keep
// working on the map itself.
class CountingDictionary : public Dictionary {
 public:
  void SetItem(const tavrin_ustring& key, const Variant& value) override {
    ++sets;
    Dictionary::SetItem(key, value);
  }
  int Count() const override { return Dictionary::Count() + 100; }
  int sets = 0;
};

TEST(DictionaryTest, VirtualAccessorsCanBeOverridden) {
  CountingDictionary counting;
  Dictionary& base = counting;
  base.SetItem(tavrin_ustring("a"), Variant(1));
  EXPECT_EQ(counting.sets, 1);
  EXPECT_EQ(base.Count(), 101);
  EXPECT_FALSE(base.IsEmpty());
  base.Clear();
  EXPECT_TRUE(base.IsEmpty());
  EXPECT_EQ(base.Count(), 100);
}

TEST(DictionaryTest, SharedStringsStayShared) {
  RefCountedString* s = RefCountedString::Create(tavrin_ustring("shared"));
  {
    Variant v;
    v.Set(s);
    Dictionary d;
    d.SetItem(tavrin_ustring("a"), v);
    d.SetItem(tavrin_ustring("b"), v);
    EXPECT_EQ(s->GetRefCount(), 4u);
    Dictionary copy(d);
    EXPECT_EQ(s->GetRefCount(), 6u);
    d.RemoveItem(tavrin_ustring("a"));
    EXPECT_EQ(s->GetRefCount(), 5u);
  }
  EXPECT_EQ(s->GetRefCount(), 1u);
  s->Release();
}

}  // namespace
}  // namespace tavrin::utils
