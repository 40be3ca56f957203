// notificationcenter.cpp - the synchronous notification hub.
//
// Safety during dispatch: while a dispatch of a kind runs, nothing removes
// entries from the tables that kind walks (removals are queued), so the
// vector a dispatch is walking stays alive; it is reached through a
// reference into a node-based map, which survives insertions and rehashing.
// Every change to the tables or to the removal queues bumps a counter. A
// dispatch walks its vector through a saved pointer while nothing is queued
// and the counter stays put (the common case: one load and one compare per
// observer); after any change it re-reads the vector (an append may have
// reallocated it) and checks each observer against the queues.
//
// GCC would guess that observers keep the empty base handlers and test every
// vtable entry against them before each call; observers override them, so
// the guess only adds a compare and a jump per observer. It is turned off
// for this file (set before any include, so every function here shares the
// same options and inlines as usual).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("no-devirtualize-speculatively")
#endif
#include "common/utils/notificationcenter.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "common/utils/osutils.h"
#include "common/utils/tavrinassert.h"

namespace tavrin {

IObserver::~IObserver() = default;
void IObserver::OnNotification(const char*, void*) {}
void IObserver::OnNotification(const char*, const utils::Dictionary&) {}
void IObserver::OnNotification(const NotificationId&, const std::any&) {}
bool IObserver::ReceivesNotificationsOffMainThread() const {
  return false;
}

}  // namespace tavrin

using tavrin::IObserver;
using tavrin::NotificationId;

namespace {

// Runs `exit` when the scope ends, also when an observer throws. Each
// dispatch uses it to lower its depth and run the removal pass, so depths
// never stay raised and queued removals are never lost.
template <class Exit>
class ScopeExit {
 public:
  explicit ScopeExit(Exit exit) : exit_(exit) {}
  ~ScopeExit() { exit_(); }
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;

 private:
  Exit exit_;
};

// A thread known to be the main one (the first caller of IsMainThread);
// empty until the main thread dispatches. The answer for a thread never
// changes, so the main thread is recognised by one identity read and one
// compare instead of asking IsMainThread on every dispatch.
std::atomic<std::thread::id> g_mainThread{};

bool OnMainThread() {
  const std::thread::id self = std::this_thread::get_id();
  if (self == g_mainThread.load(std::memory_order_relaxed)) return true;
  if (!tavrin::osutils::IsMainThread()) return false;
  g_mainThread.store(self, std::memory_order_relaxed);
  return true;
}

#ifndef NDEBUG
constexpr std::size_t kRunawayDispatch = 1000000;

// A handler that adds itself for the name it handles makes a name dispatch
// endless; say so once the walk is clearly out of bounds (the entry at
// index 1,000,000 is about to be reached).
void ReportRunawayDispatch() {
  tavrin::utils::AssertFailed(__FILE__, __LINE__,
                              "name dispatch reached more than 1000000 observers");
}
#endif

template <class Vector>
void EraseAll(Vector& v, IObserver* observer) {
  v.erase(std::remove(v.begin(), v.end(), observer), v.end());
}

}  // namespace

CNotificationCenter::CNotificationCenter() = default;

CNotificationCenter::~CNotificationCenter() = default;

CNotificationCenter& CNotificationCenter::Default() {
  // Never deleted: senders running in static destructors stay safe.
  static CNotificationCenter* centre = new CNotificationCenter;
  return *centre;
}

void CNotificationCenter::AddObserver(const char* name, IObserver* observer) {
  if (name == nullptr) return;
  auto it = m_observersByName.find(std::string_view(name));
  if (it == m_observersByName.end())
    it = m_observersByName.emplace(name, std::vector<IObserver*>()).first;
  it->second.push_back(observer);
  ++m_changes;
  UnQueueFromRemoval(name, observer);
}

void CNotificationCenter::AddObserver(const NotificationId& id, IObserver* observer) {
  if (observer == nullptr) return;
  if (m_observersById.empty()) m_observersById.max_load_factor(1.0f);
  m_observersById[id].push_back(observer);
  ++m_changes;
  UnQueueFromRemoval(id, observer);
}

void CNotificationCenter::RemoveObserver(const char* name, IObserver* observer) {
  if (name == nullptr) return;
  ++m_changes;
  if (m_nameDispatchDepth >= 1) {
    m_nameRemovals.emplace_back(name, observer);
    return;
  }
  auto it = m_observersByName.find(std::string_view(name));
  if (it == m_observersByName.end()) return;
  EraseAll(it->second, observer);
  if (it->second.empty()) {
    m_lastName = nullptr;
    m_observersByName.erase(it);
  }
}

void CNotificationCenter::RemoveObserver(const NotificationId& id, IObserver* observer) {
  ++m_changes;
  if (m_idDispatchDepth >= 1) {
    m_idRemovals.emplace(id, observer);
    return;
  }
  auto it = m_observersById.find(id);
  if (it == m_observersById.end()) return;
  EraseAll(it->second, observer);
  if (it->second.empty()) {
    m_lastId = nullptr;
    m_observersById.erase(it);
  }
}

void CNotificationCenter::RemoveObserver(IObserver* observer) {
  ++m_changes;
  if (m_nameDispatchDepth > 0 || m_idDispatchDepth > 0) {
    m_removeFromAll.push_back(observer);
    return;
  }
  std::vector<std::string> emptied;
  for (auto& [name, list] : m_observersByName) {
    EraseAll(list, observer);
    if (list.empty()) emptied.push_back(name);
  }
  for (auto it = m_observersById.begin(); it != m_observersById.end();) {
    EraseAll(it->second, observer);
    if (it->second.empty()) m_lastId = nullptr;
    it = it->second.empty() ? m_observersById.erase(it) : std::next(it);
  }
  if (!emptied.empty()) m_lastName = nullptr;
  for (const std::string& name : emptied) m_observersByName.erase(name);
}

template <class Payload>
void CNotificationCenter::SendNamed(const char* name, Payload payload) {
  if (!m_enabled) return;
  const bool onMainThread = OnMainThread();
  ++m_nameDispatchDepth;
  const ScopeExit done([this] {
    --m_nameDispatchDepth;
    if (HasQueuedRemovals()) ProcessObserverRemovals();
  });
  if (name == nullptr) return;
  // The name sent last is checked first: senders tend to repeat one name.
  NameEntry* entry = m_lastName;
  if (entry == nullptr || std::strcmp(entry->first.c_str(), name) != 0) {
    auto found = m_observersByName.find(std::string_view(name));
    if (found == m_observersByName.end()) return;
    entry = &*found;
    m_lastName = entry;
  }
  std::vector<IObserver*>& observers = entry->second;
  // The size is read again after every change, so observers appended by a
  // handler are reached in this same dispatch.
  std::size_t i = 0;
  while (i < observers.size()) {
    if (onMainThread && !HasQueuedRemovals()) {
      // Nothing to skip: call observers straight from the list until a
      // handler changes the tables or the removal queues (the list may then
      // have moved, grown, or have entries to skip).
      const std::uint64_t changes = m_changes;
      IObserver* const* const items = observers.data();
      IObserver* const* p = items + i;
      IObserver* const* const end = items + observers.size();
      while (p != end) {
#ifndef NDEBUG
        if (static_cast<std::size_t>(p - items) == kRunawayDispatch) ReportRunawayDispatch();
#endif
        IObserver* observer = *p++;
        if (observer == nullptr) continue;
        observer->OnNotification(name, payload);
        if (m_changes != changes) break;
      }
      i = static_cast<std::size_t>(p - items);
      continue;
    }
#ifndef NDEBUG
    if (i == kRunawayDispatch) ReportRunawayDispatch();
#endif
    IObserver* observer = observers[i++];
    if (observer == nullptr || (HasQueuedRemovals() && IsQueuedForRemoval(name, observer)))
      continue;
    if (!onMainThread && !observer->ReceivesNotificationsOffMainThread()) continue;
    observer->OnNotification(name, payload);
  }
}

void CNotificationCenter::SendNotification(const char* name, void* data) {
  SendNamed<void*>(name, data);
}

void CNotificationCenter::SendNotification(const char* name,
                                           const tavrin::utils::Dictionary& data) {
  SendNamed<const tavrin::utils::Dictionary&>(name, data);
}

void CNotificationCenter::SendNotification(const NotificationId& id, const std::any& data) {
  if (!m_enabled) return;
  const bool onMainThread = OnMainThread();
  ++m_idDispatchDepth;
  const ScopeExit done([this] {
    --m_idDispatchDepth;
    if (HasQueuedRemovals()) ProcessObserverRemovals();
  });
  // The identifier sent last is checked first, as for names.
  IdEntry* entry = m_lastId;
  if (entry == nullptr || !(entry->first == id)) {
    auto found = m_observersById.find(id);
    if (found == m_observersById.end()) return;
    entry = &*found;
    m_lastId = entry;
  }
  // Observers appended during the dispatch are not reached: the count is
  // taken now. The vector only grows while this dispatch runs.
  std::vector<IObserver*>& observers = entry->second;
  const std::size_t count = observers.size();
  std::size_t i = 0;
  while (i < count) {
    if (onMainThread && !HasQueuedRemovals()) {
      // As for names: straight from the list until something changes.
      const std::uint64_t changes = m_changes;
      IObserver* const* const items = observers.data();
      IObserver* const* p = items + i;
      IObserver* const* const end = items + count;
      while (p != end) {
        (*p++)->OnNotification(id, data);
        if (m_changes != changes) break;
      }
      i = static_cast<std::size_t>(p - items);
      continue;
    }
    IObserver* observer = observers[i++];
    if (HasQueuedRemovals() && IsQueuedForRemoval(id, observer)) continue;
    if (!onMainThread && !observer->ReceivesNotificationsOffMainThread()) continue;
    observer->OnNotification(id, data);
  }
}

bool CNotificationCenter::IsQueuedForRemoval(const char* name, IObserver* observer) const {
  if (std::find(m_removeFromAll.begin(), m_removeFromAll.end(), observer) != m_removeFromAll.end())
    return true;
  if (name == nullptr) return false;
  return std::any_of(m_nameRemovals.begin(), m_nameRemovals.end(), [&](const auto& removal) {
    return removal.second == observer && removal.first == name;
  });
}

bool CNotificationCenter::IsQueuedForRemoval(const NotificationId& id, IObserver* observer) const {
  if (std::find(m_removeFromAll.begin(), m_removeFromAll.end(), observer) != m_removeFromAll.end())
    return true;
  return m_idRemovals.find(id) != m_idRemovals.end();
}

void CNotificationCenter::UnQueueFromRemoval(const char* name, IObserver* observer) {
  if (name == nullptr) return;
  ++m_changes;
  EraseAll(m_removeFromAll, observer);
  m_nameRemovals.erase(std::remove_if(m_nameRemovals.begin(), m_nameRemovals.end(),
                                      [&](const auto& removal) {
                                        return removal.second == observer && removal.first == name;
                                      }),
                       m_nameRemovals.end());
}

void CNotificationCenter::UnQueueFromRemoval(const NotificationId& id, IObserver* observer) {
  ++m_changes;
  EraseAll(m_removeFromAll, observer);
  auto [first, last] = m_idRemovals.equal_range(id);
  for (auto it = first; it != last;)
    it = it->second == observer ? m_idRemovals.erase(it) : std::next(it);
}

void CNotificationCenter::ProcessObserverRemovals() {
  if (m_nameDispatchDepth >= 1 || m_idDispatchDepth >= 1) return;
  std::vector<IObserver*> everything;
  everything.swap(m_removeFromAll);
  for (IObserver* observer : everything) RemoveObserver(observer);
  std::vector<std::pair<std::string, IObserver*>> names;
  names.swap(m_nameRemovals);
  for (const auto& [name, observer] : names) RemoveObserver(name.c_str(), observer);
  if (!m_idRemovals.empty()) {
    std::multimap<NotificationId, IObserver*> ids;
    ids.swap(m_idRemovals);
    for (const auto& [id, observer] : ids) RemoveObserver(id, observer);
  }
}

CNotificationDisabler::CNotificationDisabler()
    : m_wasEnabled(CNotificationCenter::Default().IsEnabled()) {
  if (m_wasEnabled) CNotificationCenter::Default().Disable();
}

CNotificationDisabler::~CNotificationDisabler() {
  if (m_wasEnabled) CNotificationCenter::Default().Enable();
}
