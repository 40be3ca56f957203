// Tests of tavrin::utils::Mutex: lazy creation and the error-checking kind.
#include "common/utils/mutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using tavrin::utils::Mutex;

namespace {

TEST(MutexTest, UnlockOfNeverLockedMutexFails) {
  Mutex m;
  EXPECT_FALSE(m.Unlock());
}

TEST(MutexTest, LockCreatesLazilyThenUnlocks) {
  Mutex m;
  EXPECT_TRUE(m.Lock());
  EXPECT_TRUE(m.Unlock());
  EXPECT_FALSE(m.Unlock());  // no longer held
}

TEST(MutexTest, RelockByOwnerFailsInsteadOfDeadlocking) {
  Mutex m;
  ASSERT_TRUE(m.InitMutex());
  EXPECT_TRUE(m.InitMutex());  // already created
  EXPECT_TRUE(m.Lock());
  EXPECT_FALSE(m.Lock());
  EXPECT_TRUE(m.Unlock());
}

TEST(MutexTest, UnlockFromForeignThreadFails) {
  Mutex m;
  ASSERT_TRUE(m.Lock());
  bool foreign = true;
  std::thread([&] { foreign = m.Unlock(); }).join();
  EXPECT_FALSE(foreign);
  EXPECT_TRUE(m.Unlock());
}

TEST(MutexTest, DestructorOfLockedMutexIsHarmless) {
  auto* m = new Mutex;
  ASSERT_TRUE(m->Lock());
  delete m;  // unlocks, then destroys
  SUCCEED();
}

TEST(MutexTest, SerializesThreads) {
  Mutex m;
  ASSERT_TRUE(m.InitMutex());
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        ASSERT_TRUE(m.Lock());
        ++counter;
        ASSERT_TRUE(m.Unlock());
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(counter, 80000);
}

}  // namespace
