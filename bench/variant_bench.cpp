// variant_bench.cpp - copying a nested Variant list.
//
// The input is a list of N elements (1,000 in a measuring run) cycling
// through a string, a three-entry dictionary (string, integer, double), an
// integer and a double, built from a fixed seed. Cases:
//   variant_copy/tavrin       Variant copy of the list (strings shared,
//                             dictionaries copied deeply)
//   variant_copy/std_variant  the same data as a recursive std::variant value
//                             with std::string text, a peer a user might write
//   variant_copy/std_vector_string  floor: copy of a std::vector<std::string>
//                             holding one string per element
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/variant.h"

namespace {

using tavrin::utils::tavrin_ustring;
using tavrin::utils::Variant;

struct Element {
  int kind;  // 0 string, 1 dictionary, 2 integer, 3 double
  std::string text;
  long long number;
  double real;
};

std::vector<Element> MakeElements() {
  const std::size_t n = tavrin::bench::Size(1000, 100);
  std::mt19937_64 rng(20240601);
  std::vector<Element> out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    Element e;
    e.kind = static_cast<int>(i % 4);
    e.text = "element number " + std::to_string(i) + " of the list";
    e.number = static_cast<long long>(rng() % 1000000);
    e.real = static_cast<double>(rng() % 1000000) / 7.0;
    out.push_back(e);
  }
  return out;
}

Variant MakeVariant(const std::vector<Element>& elements) {
  Variant::List list;
  list.reserve(elements.size());
  for (const Element& e : elements) {
    switch (e.kind) {
      case 0:
        list.emplace_back(e.text.c_str());
        break;
      case 1: {
        Variant::Map map;
        map[tavrin_ustring("name")] = e.text.c_str();
        map[tavrin_ustring("value")] = e.number;
        map[tavrin_ustring("scale")] = e.real;
        list.emplace_back(map);
        break;
      }
      case 2:
        list.emplace_back(e.number);
        break;
      default:
        list.emplace_back(e.real);
        break;
    }
  }
  return Variant(list);
}

// A recursive value built from the standard library only.
struct StdValue {
  std::variant<std::monostate, long long, double, std::string, std::vector<StdValue>,
               std::map<std::string, StdValue>>
      v;
};

StdValue MakeStdValue(const std::vector<Element>& elements) {
  std::vector<StdValue> list;
  list.reserve(elements.size());
  for (const Element& e : elements) {
    StdValue value;
    switch (e.kind) {
      case 0:
        value.v = e.text;
        break;
      case 1: {
        std::map<std::string, StdValue> map;
        map["name"].v = e.text;
        map["value"].v = e.number;
        map["scale"].v = e.real;
        value.v = std::move(map);
        break;
      }
      case 2:
        value.v = e.number;
        break;
      default:
        value.v = e.real;
        break;
    }
    list.push_back(std::move(value));
  }
  StdValue root;
  root.v = std::move(list);
  return root;
}

void BM_VariantCopyTavrin(benchmark::State& state) {
  const std::vector<Element> elements = MakeElements();
  const Variant source = MakeVariant(elements);
  for (auto _ : state) {
    Variant copy(source);
    benchmark::DoNotOptimize(copy);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(elements.size()));
}
BENCHMARK(BM_VariantCopyTavrin)->Name("variant_copy/tavrin");

void BM_VariantCopyStdVariant(benchmark::State& state) {
  const std::vector<Element> elements = MakeElements();
  const StdValue source = MakeStdValue(elements);
  for (auto _ : state) {
    StdValue copy(source);
    benchmark::DoNotOptimize(copy);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(elements.size()));
}
BENCHMARK(BM_VariantCopyStdVariant)->Name("variant_copy/std_variant");

void BM_VariantCopyFloor(benchmark::State& state) {
  const std::vector<Element> elements = MakeElements();
  std::vector<std::string> source;
  source.reserve(elements.size());
  for (const Element& e : elements) source.push_back(e.text);
  for (auto _ : state) {
    std::vector<std::string> copy(source);
    benchmark::DoNotOptimize(copy);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(elements.size()));
}
BENCHMARK(BM_VariantCopyFloor)->Name("variant_copy/std_vector_string");

}  // namespace
