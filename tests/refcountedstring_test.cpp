// Tests of RefCountedString: counting, sharing, freeing on the last Release
// and the atomic count under several threads.
#include "common/utils/refcountedstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <latch>
#include <new>
#include <thread>
#include <vector>

using tavrin::utils::RefCountedString;
using tavrin::utils::tavrin_ustring;

// Live heap blocks of this process, to see that Release frees the object and
// its text. The library's allocation hook uses the global operator new, which
// this replacement serves.
namespace {
std::atomic<long> g_live_blocks{0};
}

void* operator new(std::size_t size) {
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  g_live_blocks.fetch_add(1, std::memory_order_relaxed);
  return p;
}
void operator delete(void* p) noexcept {
  if (p == nullptr) return;
  g_live_blocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  operator delete(p);
}

namespace {

const char kLongText[] = "a text long enough to need its own buffer";

TEST(RefcountedstringTest, CreateStartsAtOne) {
  RefCountedString* s = RefCountedString::Create();
  EXPECT_EQ(s->GetRefCount(), 1u);
  EXPECT_TRUE(s->String().empty());
  EXPECT_EQ(s->Release(), 0u);
  RefCountedString* t = RefCountedString::Create(tavrin_ustring("abc"));
  EXPECT_EQ(t->GetRefCount(), 1u);
  EXPECT_EQ(t->String().utf8(), "abc");
  EXPECT_EQ(t->Release(), 0u);
}

TEST(RefcountedstringTest, AddRefThenReleaseKeepsObject) {
  RefCountedString* s = RefCountedString::Create(tavrin_ustring("x"));
  EXPECT_EQ(s->AddRef(), 2u);
  EXPECT_EQ(s->AddRef(), 3u);
  EXPECT_EQ(s->Release(), 2u);
  EXPECT_EQ(s->Release(), 1u);
  EXPECT_EQ(s->GetRefCount(), 1u);
  EXPECT_EQ(s->String().utf8(), "x");  // still alive
  EXPECT_EQ(s->Release(), 0u);
}

TEST(RefcountedstringTest, LastReleaseFreesObjectAndText) {
  const long before = g_live_blocks.load();
  RefCountedString* s = RefCountedString::Create(tavrin_ustring(kLongText));
  EXPECT_GE(g_live_blocks.load(), before + 2);  // the object and the text buffer
  s->AddRef();
  EXPECT_EQ(s->Release(), 1u);
  EXPECT_GE(g_live_blocks.load(), before + 2);
  EXPECT_EQ(s->Release(), 0u);
  EXPECT_EQ(g_live_blocks.load(), before);
}

TEST(RefcountedstringTest, OwnersShareOneText) {
  RefCountedString* s = RefCountedString::Create(tavrin_ustring("one"));
  RefCountedString* other_owner = s;
  other_owner->AddRef();
  s->String() += tavrin_ustring(" two");
  EXPECT_EQ(other_owner->String().utf8(), "one two");
  const RefCountedString* reader = s;
  EXPECT_EQ(reader->String().utf8(), "one two");
  EXPECT_EQ(s->Release(), 1u);
  EXPECT_EQ(other_owner->Release(), 0u);
}

TEST(RefcountedstringTest, CopyTakesTextButNotCount) {
  RefCountedString* s = RefCountedString::Create(tavrin_ustring(kLongText));
  s->AddRef();
  s->AddRef();
  RefCountedString copy(*s);
  EXPECT_EQ(copy.GetRefCount(), 1u);
  EXPECT_EQ(copy.String().utf8(), kLongText);
  copy.String() = tavrin_ustring("changed");
  EXPECT_EQ(s->String().utf8(), kLongText);  // a real copy, not shared
  EXPECT_EQ(s->GetRefCount(), 3u);
  s->Release();
  s->Release();
  EXPECT_EQ(s->Release(), 0u);
}

TEST(RefcountedstringTest, StackObjectsStartAtOne) {
  RefCountedString empty;
  EXPECT_EQ(empty.GetRefCount(), 1u);
  EXPECT_TRUE(empty.String().empty());
  RefCountedString text(tavrin_ustring("abc"));
  EXPECT_EQ(text.String().utf8(), "abc");
  EXPECT_EQ(text.AddRef(), 2u);
}

TEST(RefcountedstringTest, ConcurrentAddRefReleaseKeepsCount) {
  RefCountedString* s = RefCountedString::Create(tavrin_ustring(kLongText));
  constexpr int kThreads = 4;
  constexpr int kRounds = 100000;
  std::latch go(kThreads);
  std::atomic<int> bad_results{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      go.arrive_and_wait();
      for (int i = 0; i < kRounds; ++i) {
        // This thread's reference plus the creator's: never below 2 / 1.
        if (s->AddRef() < 2) bad_results.fetch_add(1);
        if (s->String().size() != sizeof(kLongText) - 1) bad_results.fetch_add(1);
        if (s->Release() < 1) bad_results.fetch_add(1);
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(bad_results.load(), 0);
  EXPECT_EQ(s->GetRefCount(), 1u);
  EXPECT_EQ(s->Release(), 0u);
}

TEST(RefcountedstringTest, ConcurrentReleasesFreeExactlyOnce) {
  constexpr unsigned kThreads = 4;
  for (int round = 0; round < 300; ++round) {
    RefCountedString* s = RefCountedString::Create(tavrin_ustring(kLongText));
    for (unsigned i = 1; i < kThreads; ++i) s->AddRef();
    std::latch go(kThreads);
    std::vector<unsigned long long> results(kThreads);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        go.arrive_and_wait();
        results[t] = s->Release();
      });
    }
    for (auto& th : threads) th.join();
    // Each release saw a different count: 3, 2, 1 and exactly one 0 (the one
    // that freed the object).
    std::sort(results.begin(), results.end());
    for (unsigned i = 0; i < kThreads; ++i) ASSERT_EQ(results[i], i) << "round " << round;
  }
}

}  // namespace
