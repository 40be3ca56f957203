// thread_safety_test.cpp - what the library promises to be safe across
// threads, exercised from many threads at once: the one-time initialisations
// (cached locales of case mapping, number parsing and the formatter, the
// colour-name table, the default notification centre, the main-thread
// record) and identifier generation.
//
// Each test runs in a fresh process under CTest, so the first use of every
// lazily made object really happens here, from all threads at the same
// moment (they wait at a latch first). The results are checked for the value
// each thread must see; run under ThreadSanitizer (scripts/tsan.sh) the same
// tests also prove there is no data race on the way.
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <set>
#include <thread>
#include <vector>

#include "common/utils/color.h"
#include "common/utils/guid.h"
#include "common/utils/notificationcenter.h"
#include "common/utils/osutils.h"
#include "common/utils/ustring.h"

namespace {

using tavrin::utils::tavrin_ustring;

constexpr int kThreads = 8;

// Runs `body(i)` on kThreads threads released together.
template <class Body>
void RunTogether(Body body) {
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      body(i);
    });
  }
  for (auto& t : threads) t.join();
}

TEST(ThreadSafetyTest, CaseMappingFirstUsedFromManyThreads) {
  std::atomic<int> right{0};
  RunTogether([&](int) {
    const tavrin_ustring upper = tavrin_ustring(
                                     "\xC3\xA4"
                                     "bc")
                                     .GetUppercase();
    if (upper == tavrin_ustring("\xC3\x84"
                                "BC") &&
        tavrin_ustring("  x ").trim() == tavrin_ustring("x") &&
        tavrin_ustring("ABC").compare_nocase(tavrin_ustring("abc")) == 0)
      ++right;
  });
  EXPECT_EQ(right.load(), kThreads);
}

TEST(ThreadSafetyTest, NumberParsingFirstUsedFromManyThreads) {
  std::atomic<int> right{0};
  RunTogether([&](int i) {
    const tavrin_ustring text(std::to_string(i) + ".5");
    if (text.is_double() && text.to_double() == i + 0.5) ++right;
  });
  EXPECT_EQ(right.load(), kThreads);
}

TEST(ThreadSafetyTest, FloatFormattingFirstUsedFromManyThreads) {
  std::atomic<int> right{0};
  RunTogether([&](int i) {
    const tavrin_ustring s = tavrin_ustring::GetFormatted(tavrin_ustring("%d:%.2f"), i, 1.25);
    if (s == tavrin_ustring(std::to_string(i) + ":1.25")) ++right;
  });
  EXPECT_EQ(right.load(), kThreads);
}

TEST(ThreadSafetyTest, ColourNameTableFirstUsedFromManyThreads) {
  std::atomic<int> right{0};
  RunTogether([&](int) {
    CColor c;
    const tavrin_ustring name("YellowGreen");
    if (c.SetFromName(name.c_str()) && c == CColor(154, 205, 50, 255)) ++right;
  });
  EXPECT_EQ(right.load(), kThreads);
}

TEST(ThreadSafetyTest, DefaultNotificationCentreMadeOnce) {
  std::atomic<CNotificationCenter*> seen[kThreads];
  RunTogether([&](int i) { seen[i] = &CNotificationCenter::Default(); });
  for (int i = 1; i < kThreads; ++i) EXPECT_EQ(seen[i].load(), seen[0].load());
  EXPECT_EQ(seen[0].load(), &CNotificationCenter::Default());
}

TEST(ThreadSafetyTest, MainThreadIsExactlyOneOfSimultaneousFirstCallers) {
  std::atomic<int> mains{0};
  std::atomic<int> consistent{0};
  std::atomic<std::thread::id> main_id{};
  RunTogether([&](int) {
    const bool first = tavrin::osutils::IsMainThread();
    if (first) {
      ++mains;
      main_id = std::this_thread::get_id();
    }
    if (tavrin::osutils::IsMainThread() == first) ++consistent;
  });
  EXPECT_EQ(mains.load(), 1);
  EXPECT_EQ(consistent.load(), kThreads);
  // The test's own thread came later: it is not the main thread.
  EXPECT_FALSE(tavrin::osutils::IsMainThread());
}

TEST(ThreadSafetyTest, IdentifiersGeneratedOnManyThreadsDiffer) {
  constexpr int kEach = 200;
  std::vector<std::string> made[kThreads];
  RunTogether([&](int i) {
    for (int k = 0; k < kEach; ++k) {
      tavrin::utils::Guid g;
      g.Generate();
      made[i].push_back(g.ToStdString());
    }
  });
  std::set<std::string> all;
  for (auto& list : made) all.insert(list.begin(), list.end());
  EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads * kEach));
}

}  // namespace
