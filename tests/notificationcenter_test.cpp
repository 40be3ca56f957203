// Tests of CNotificationCenter: delivery order, removal and re-adding during
// name and identifier dispatches, nested dispatches of both kinds, the
// coarse identifier rule, disabling, posting from another thread, and
// identifier minting.
#include "common/utils/notificationcenter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "common/utils/osutils.h"

using tavrin::IObserver;
using tavrin::MakeNotificationId;
using tavrin::NotificationId;

namespace {

constexpr NotificationId kIdA = MakeNotificationId("tavrin.test.A");
constexpr NotificationId kIdB = MakeNotificationId("tavrin.test.B");

// An observer that records each call in a shared log and runs an optional
// action from inside its handler.
class Recorder : public IObserver {
 public:
  Recorder(std::string tag, std::vector<std::string>& log) : tag_(std::move(tag)), log_(log) {}
  using IObserver::OnNotification;
  void OnNotification(const char* name, void* data) override {
    log_.push_back(tag_ + ":" + name);
    last_data_ = data;
    if (on_name) on_name();
  }
  void OnNotification(const NotificationId& id, const std::any& data) override {
    log_.push_back(tag_ + ":#" + std::to_string(id.id == kIdA.id ? 'A' : 'B'));
    last_any_ = data;
    if (on_id) on_id();
  }
  bool ReceivesNotificationsOffMainThread() const override { return off_main; }

  std::function<void()> on_name;
  std::function<void()> on_id;
  bool off_main = false;
  void* last_data_ = nullptr;
  std::any last_any_;

 private:
  std::string tag_;
  std::vector<std::string>& log_;
};

class NotificationCenterTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { tavrin::osutils::IsMainThread(); }  // this thread is main
  std::vector<std::string> log;
  CNotificationCenter centre;
};

std::string IdTag(char c) {
  return ":#" + std::to_string(c);
}

TEST_F(NotificationCenterTest, DeliversInRegistrationOrderWithPayload) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &b);
  int payload = 7;
  centre.SendNotification("n", &payload);
  EXPECT_EQ(log, (std::vector<std::string>{"a:n", "b:n"}));
  EXPECT_EQ(a.last_data_, &payload);
  centre.SendNotification("other", nullptr);
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(NotificationCenterTest, NamesCompareByText) {
  Recorder a("a", log);
  std::string name = "dynamic";
  centre.AddObserver(name.c_str(), &a);
  centre.SendNotification("dynamic", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:dynamic"}));
}

TEST_F(NotificationCenterTest, TwiceAddedObserverIsCalledTwiceAndRemovedOnce) {
  Recorder a("a", log);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &a);
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log.size(), 2u);
  centre.RemoveObserver("n", &a);
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(NotificationCenterTest, SelfRemovalDuringNameDispatch) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &b);
  a.on_name = [&] {
    centre.RemoveObserver("n", &a);
    EXPECT_TRUE(centre.IsQueuedForRemoval("n", &a));
    EXPECT_FALSE(centre.IsQueuedForRemoval("m", &a));
  };
  centre.SendNotification("n", nullptr);
  // The second entry of a is skipped: it is queued for removal.
  EXPECT_EQ(log, (std::vector<std::string>{"a:n", "b:n"}));
  EXPECT_FALSE(centre.IsQueuedForRemoval("n", &a));  // carried out at the end
  log.clear();
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"b:n"}));
}

TEST_F(NotificationCenterTest, RemovedObserverMayBeDestroyedInsideItsHandler) {
  auto* doomed = new Recorder("d", log);
  Recorder b("b", log);
  centre.AddObserver("n", doomed);
  centre.AddObserver("n", doomed);
  centre.AddObserver("n", &b);
  doomed->on_name = [&] {
    centre.RemoveObserver(doomed);
    delete doomed;  // the later entry of it must never be called
  };
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"d:n", "b:n"}));
}

TEST_F(NotificationCenterTest, RemoveThenAddAgainInsideOneDispatch) {
  Recorder a("a", log);
  int calls = 0;
  centre.AddObserver("n", &a);
  a.on_name = [&] {
    if (++calls > 1) return;
    centre.RemoveObserver("n", &a);
    centre.AddObserver("n", &a);  // cancels the queued removal and appends once more
  };
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log.size(), 2u);  // the appended entry is reached in the same dispatch
  log.clear();
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log.size(), 2u);  // still registered, twice
}

TEST_F(NotificationCenterTest, AddingForAnotherNameCancelsRemovalFromEverything) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.AddObserver("m", &a);
  centre.AddObserver("n", &b);
  b.on_name = [&] {
    centre.RemoveObserver(&a);
    EXPECT_TRUE(centre.IsQueuedForRemoval("m", &a));
    centre.AddObserver("other", &a);  // deliberately cancels the removal from everything
    EXPECT_FALSE(centre.IsQueuedForRemoval("m", &a));
  };
  centre.SendNotification("n", nullptr);
  log.clear();
  centre.SendNotification("m", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:m"}));
}

TEST_F(NotificationCenterTest, ObserverRemovingAnotherLaterObserver) {
  Recorder a("a", log), b("b", log), c("c", log);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &b);
  centre.AddObserver("n", &c);
  a.on_name = [&] { centre.RemoveObserver("n", &b); };
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:n", "c:n"}));
}

TEST_F(NotificationCenterTest, ObserverAddedDuringNameDispatchIsReached) {
  Recorder a("a", log), late("late", log);
  centre.AddObserver("n", &a);
  bool done = false;
  a.on_name = [&] {
    if (done) return;
    done = true;
    centre.AddObserver("n", &late);
  };
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:n", "late:n"}));
}

TEST_F(NotificationCenterTest, ObserverAddedDuringIdDispatchIsNotReached) {
  Recorder a("a", log), late("late", log);
  centre.AddObserver(kIdA, &a);
  bool done = false;
  a.on_id = [&] {
    if (done) return;
    done = true;
    for (int i = 0; i < 100; ++i)
      centre.AddObserver(MakeNotificationId("grow" + std::to_string(i)), &late);
    centre.AddObserver(kIdA, &late);  // may reallocate the vector being walked
  };
  centre.SendNotification(kIdA, std::any(3));
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A')}));
  EXPECT_EQ(std::any_cast<int>(a.last_any_), 3);
  log.clear();
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A'), "late" + IdTag('A')}));
}

TEST_F(NotificationCenterTest, IdRemovalSkipsEveryLaterObserverOfThatId) {
  Recorder a("a", log), b("b", log), c("c", log), other("o", log);
  centre.AddObserver(kIdA, &a);
  centre.AddObserver(kIdA, &b);
  centre.AddObserver(kIdA, &c);
  centre.AddObserver(kIdB, &other);
  a.on_id = [&] {
    centre.RemoveObserver(kIdA, &a);
    EXPECT_TRUE(centre.IsQueuedForRemoval(kIdA, &c));  // coarse: any observer of the id
    EXPECT_FALSE(centre.IsQueuedForRemoval(kIdB, &other));
    centre.SendNotification(kIdB, std::any());  // nested identifier dispatch
  };
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A'), "o" + IdTag('B')}));
  log.clear();
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"b" + IdTag('A'), "c" + IdTag('A')}));
}

TEST_F(NotificationCenterTest, ReAddingDuringIdDispatchCancelsRemoval) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver(kIdA, &a);
  centre.AddObserver(kIdA, &b);
  bool done = false;
  a.on_id = [&] {
    if (done) return;
    done = true;
    centre.RemoveObserver(kIdA, &a);
    centre.AddObserver(kIdA, &a);
  };
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A'), "b" + IdTag('A')}));
  log.clear();
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log.size(), 3u);  // a, b, a again
}

TEST_F(NotificationCenterTest, NameRemovalDuringIdDispatchIsImmediate) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver(kIdA, &a);
  centre.AddObserver("n", &b);
  a.on_id = [&] {
    centre.RemoveObserver("n", &b);
    EXPECT_FALSE(centre.IsQueuedForRemoval("n", &b));
    centre.SendNotification("n", nullptr);  // b is already gone
  };
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A')}));
}

TEST_F(NotificationCenterTest, IdRemovalDuringNameDispatchIsImmediate) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.AddObserver(kIdA, &b);
  a.on_name = [&] {
    centre.RemoveObserver(kIdA, &b);
    centre.SendNotification(kIdA, std::any());
  };
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:n"}));
}

TEST_F(NotificationCenterTest, NestedNameDispatchDefersRemovalToOutermost) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("outer", &a);
  centre.AddObserver("inner", &b);
  a.on_name = [&] {
    centre.SendNotification("inner", nullptr);
    centre.RemoveObserver("inner", &b);
    centre.SendNotification("inner", nullptr);  // b is queued: skipped
    EXPECT_TRUE(centre.IsQueuedForRemoval("inner", &b));
  };
  centre.SendNotification("outer", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:outer", "b:inner"}));
  EXPECT_FALSE(centre.IsQueuedForRemoval("inner", &b));
  log.clear();
  centre.SendNotification("inner", nullptr);
  EXPECT_TRUE(log.empty());
}

TEST_F(NotificationCenterTest, RemoveFromEverythingDuringIdDispatch) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver(kIdA, &a);
  centre.AddObserver(kIdA, &b);
  centre.AddObserver("n", &b);
  a.on_id = [&] {
    centre.RemoveObserver(&b);
    centre.SendNotification("n", nullptr);  // queued for everything: skipped here too
  };
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A')}));
  log.clear();
  centre.SendNotification("n", nullptr);
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A')}));
}

TEST_F(NotificationCenterTest, UnobservedNameStillRunsRemovalPass) {
  Recorder a("a", log);
  centre.AddObserver("n", &a);
  centre.ProcessObserverRemovals();  // nothing queued: nothing happens
  centre.SendNotification("nobody", nullptr);
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log.size(), 1u);
}

TEST_F(NotificationCenterTest, ThrowingObserverLeavesCentreConsistent) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &b);
  a.on_name = [&] {
    centre.RemoveObserver("n", &b);
    throw std::runtime_error("boom");
  };
  EXPECT_THROW(centre.SendNotification("n", nullptr), std::runtime_error);
  // The depth went back to 0 and the queued removal was carried out.
  a.on_name = nullptr;
  log.clear();
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:n"}));
  centre.RemoveObserver("n", &a);  // immediate again
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log.size(), 1u);
}

TEST_F(NotificationCenterTest, NullNamesAndObservers) {
  Recorder a("a", log);
  centre.AddObserver(nullptr, &a);
  centre.SendNotification(static_cast<const char*>(nullptr), nullptr);
  centre.RemoveObserver(static_cast<const char*>(nullptr), &a);
  EXPECT_FALSE(centre.IsQueuedForRemoval(static_cast<const char*>(nullptr), &a));
  centre.AddObserver("n", nullptr);   // stored, skipped
  centre.AddObserver(kIdA, nullptr);  // ignored
  centre.AddObserver("n", &a);
  centre.SendNotification("n", nullptr);
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a:n"}));
}

TEST_F(NotificationCenterTest, DisabledCentreDropsNotifications) {
  Recorder a("a", log);
  centre.AddObserver("n", &a);
  centre.Disable();
  EXPECT_FALSE(centre.IsEnabled());
  centre.SendNotification("n", nullptr);
  centre.Enable();
  EXPECT_TRUE(log.empty());  // not replayed
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log.size(), 1u);
}

TEST_F(NotificationCenterTest, OffMainThreadDeliveryAsksObservers) {
  Recorder a("a", log), b("b", log);
  b.off_main = true;
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &b);
  centre.AddObserver(kIdA, &a);
  centre.AddObserver(kIdA, &b);
  std::thread([&] {
    EXPECT_FALSE(tavrin::osutils::IsMainThread());
    centre.SendNotification("n", nullptr);
    centre.SendNotification(kIdA, std::any());
  }).join();
  EXPECT_EQ(log, (std::vector<std::string>{"b:n", "b" + IdTag('A')}));
}

// --- Walking the list while handlers change it ----------------------------------

// Forty recorders tagged l0..l39 and the log entries they make for `name`.
std::vector<std::unique_ptr<Recorder>> LateRecorders(std::vector<std::string>& log) {
  std::vector<std::unique_ptr<Recorder>> late;
  for (int i = 0; i < 40; ++i)
    late.push_back(std::make_unique<Recorder>("l" + std::to_string(i), log));
  return late;
}

void ExpectLateEntries(const std::vector<std::string>& log, std::size_t first, const char* name) {
  ASSERT_EQ(log.size(), first + 40);
  for (std::size_t i = 0; i < 40; ++i)
    EXPECT_EQ(log[first + i], "l" + std::to_string(i) + ":" + name) << "entry " << i;
}

TEST_F(NotificationCenterTest, ManyObserversAddedDuringNameDispatchAreEachReachedOnce) {
  // The appends move the list being walked to new storage several times.
  Recorder a("a", log);
  auto late = LateRecorders(log);
  centre.AddObserver("n", &a);
  bool done = false;
  a.on_name = [&] {
    if (done) return;
    done = true;
    for (auto& r : late) centre.AddObserver("n", r.get());
  };
  centre.SendNotification("n", nullptr);
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log[0], "a:n");
  ExpectLateEntries(log, 1, "n");
}

TEST_F(NotificationCenterTest, NestedDispatchDoesNotHideAnAppendFromTheOuterOne) {
  // The outer walk must notice the appends although a whole nested dispatch
  // ran after them.
  Recorder a("a", log), b("b", log), c("c", log);
  auto late = LateRecorders(log);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &b);
  centre.AddObserver("m", &c);
  bool done = false;
  a.on_name = [&] {
    if (done) return;
    done = true;
    for (auto& r : late) centre.AddObserver("n", r.get());
    centre.SendNotification("m", nullptr);
  };
  centre.SendNotification("n", nullptr);
  ASSERT_GE(log.size(), 3u);
  EXPECT_EQ(log[0], "a:n");
  EXPECT_EQ(log[1], "c:m");
  EXPECT_EQ(log[2], "b:n");
  ExpectLateEntries(log, 3, "n");
}

TEST_F(NotificationCenterTest, RemovalQueuedMidWalkSkipsTheRestOfThatObserver) {
  // b is registered twice after the remover and once before it.
  Recorder a("a", log), b("b", log), c("c", log);
  centre.AddObserver("n", &b);
  centre.AddObserver("n", &a);
  centre.AddObserver("n", &b);
  centre.AddObserver("n", &c);
  centre.AddObserver("n", &b);
  a.on_name = [&] { centre.RemoveObserver(&b); };
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"b:n", "a:n", "c:n"}));
}

TEST_F(NotificationCenterTest, IdObserversAfterAnAppendAreStillReached) {
  // An append during an identifier dispatch may move the list; the observers
  // registered before the dispatch are all called, the new one is not.
  Recorder a("a", log), b("b", log), c("c", log), late("late", log);
  centre.AddObserver(kIdA, &a);
  centre.AddObserver(kIdA, &b);
  centre.AddObserver(kIdA, &c);
  bool done = false;
  a.on_id = [&] {
    if (done) return;
    done = true;
    for (int i = 0; i < 40; ++i) centre.AddObserver(kIdA, &late);
  };
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A'), "b" + IdTag('A'), "c" + IdTag('A')}));
}

// --- Looking names and identifiers up again ----------------------------------------

TEST_F(NotificationCenterTest, OneBufferWithChangingTextIsLookedUpByText) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("first", &a);
  centre.AddObserver("other", &b);
  char buffer[16] = "first";
  centre.SendNotification(buffer, nullptr);
  std::strcpy(buffer, "other");
  centre.SendNotification(buffer, nullptr);
  std::strcpy(buffer, "firs");
  centre.SendNotification(buffer, nullptr);
  std::strcpy(buffer, "first");
  centre.SendNotification(buffer, nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:first", "b:other", "a:first"}));
}

TEST_F(NotificationCenterTest, NameEmptiedAndRegisteredAgainIsReached) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.SendNotification("n", nullptr);
  centre.RemoveObserver("n", &a);  // the name's entry goes away
  centre.SendNotification("n", nullptr);
  centre.AddObserver("n", &b);
  centre.SendNotification("n", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a:n", "b:n"}));
}

TEST_F(NotificationCenterTest, EntriesEmptiedByQueuedRemovalsAreNotReused) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.AddObserver(kIdA, &a);
  centre.SendNotification(kIdA, std::any());
  bool done = false;
  a.on_name = [&] {
    if (done) return;
    done = true;
    centre.RemoveObserver(&a);  // queued, carried out when the dispatch ends
  };
  centre.SendNotification("n", nullptr);
  centre.SendNotification("n", nullptr);
  centre.SendNotification(kIdA, std::any());
  centre.AddObserver("n", &b);
  centre.AddObserver(kIdA, &b);
  centre.SendNotification("n", nullptr);
  centre.SendNotification(kIdA, std::any());
  EXPECT_EQ(log, (std::vector<std::string>{"a" + IdTag('A'), "a:n", "b:n", "b" + IdTag('A')}));
}

TEST_F(NotificationCenterTest, AlternatingNamesAndIdsReachTheirOwnObservers) {
  Recorder a("a", log), b("b", log);
  centre.AddObserver("n", &a);
  centre.AddObserver("m", &b);
  centre.AddObserver(kIdA, &a);
  centre.AddObserver(kIdB, &b);
  for (int i = 0; i < 2; ++i) {
    centre.SendNotification("n", nullptr);
    centre.SendNotification("m", nullptr);
    centre.SendNotification(kIdB, std::any());
    centre.SendNotification(kIdA, std::any());
  }
  const std::vector<std::string> round = {"a:n", "b:m", "b" + IdTag('B'), "a" + IdTag('A')};
  std::vector<std::string> expected = round;
  expected.insert(expected.end(), round.begin(), round.end());
  EXPECT_EQ(log, expected);
}

TEST_F(NotificationCenterTest, MainThreadStillRecognisedAfterAnotherThreadSent) {
  Recorder a("a", log);
  centre.AddObserver("n", &a);
  std::thread([&] { centre.SendNotification("n", nullptr); }).join();
  EXPECT_TRUE(log.empty());
  centre.SendNotification("n", nullptr);
  std::thread([&] { centre.SendNotification("n", nullptr); }).join();
  EXPECT_EQ(log, (std::vector<std::string>{"a:n"}));
}

TEST(NotificationDisablerTest, NestedScopesMuteTheDefaultCentre) {
  CNotificationCenter& centre = CNotificationCenter::Default();
  EXPECT_EQ(&centre, &CNotificationCenter::Default());
  ASSERT_TRUE(centre.IsEnabled());
  {
    CNotificationDisabler outer;
    EXPECT_FALSE(centre.IsEnabled());
    { CNotificationDisabler inner; }
    EXPECT_FALSE(centre.IsEnabled());
  }
  EXPECT_TRUE(centre.IsEnabled());
  centre.Disable();
  { CNotificationDisabler scope; }
  EXPECT_FALSE(centre.IsEnabled());  // it did not find the centre enabled
  centre.Enable();
}

TEST(NotificationDisablerTest, PrivateCentresAreNotAffected) {
  CNotificationCenter mine;
  CNotificationDisabler scope;
  EXPECT_TRUE(mine.IsEnabled());
}

TEST(NotificationIdTest, OnlyTheIdentityWordCompares) {
  NotificationId x{1, 42}, y{2, 42}, z{1, 43};
  EXPECT_EQ(x, y);
  EXPECT_NE(x, z);
  EXPECT_TRUE(x < z);
  EXPECT_FALSE(x < y);
  EXPECT_EQ(std::hash<NotificationId>{}(x), 42u);
}

TEST(NotificationIdTest, MintedFromLabels) {
  static_assert(MakeNotificationId("a.b").id == MakeNotificationId("a.b").id);
  EXPECT_NE(kIdA, kIdB);
  EXPECT_EQ(MakeNotificationId("tavrin.test.A"), kIdA);
  // The label word holds the first eight bytes for people.
  EXPECT_EQ(MakeNotificationId("AB").label, 0x4241u);
  // Many distinct labels give distinct identities.
  std::vector<std::uint64_t> ids;
  for (int i = 0; i < 10000; ++i)
    ids.push_back(MakeNotificationId("label." + std::to_string(i)).id);
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST(IsMainThreadTest, FirstCallerIsMain) {
  EXPECT_TRUE(tavrin::osutils::IsMainThread());
  bool other = true;
  std::thread([&] { other = tavrin::osutils::IsMainThread(); }).join();
  EXPECT_FALSE(other);
}

}  // namespace

#include "common/utils/dictionary.h"

namespace {

class DictionaryObserver : public IObserver {
 public:
  using IObserver::OnNotification;
  void OnNotification(const char* name, const tavrin::utils::Dictionary& data) override {
    seen = &data;
    names.push_back(name);
  }
  const tavrin::utils::Dictionary* seen = nullptr;
  std::vector<std::string> names;
};

TEST(NotificationCenterPayloadTest, DictionaryPayloadReachesItsOwnSlot) {
  tavrin::osutils::IsMainThread();
  CNotificationCenter centre;
  DictionaryObserver observer;
  centre.AddObserver("changed", &observer);
  tavrin::utils::Dictionary payload;
  centre.SendNotification("changed", payload);
  centre.SendNotification("changed",
                          static_cast<void*>(nullptr));  // the untyped slot: ignored here
  EXPECT_EQ(observer.seen, &payload);
  EXPECT_EQ(observer.names, std::vector<std::string>{"changed"});
}

}  // namespace
