// notificationcenter.cpp - the synchronous notification hub.
//
// Safety during dispatch: while a dispatch of a kind runs, nothing removes
// entries from the tables that kind walks (removals are queued), so the
// vector a dispatch is walking stays alive. Vectors are re-read by index at
// every step (an append may reallocate them) and reached through a
// reference into a node-based map, which survives insertions and rehashing.
#include "common/utils/notificationcenter.h"

#include <algorithm>
#include <cstring>

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

// Raises a dispatch depth for the life of a dispatch. On the way out (also
// when an observer throws) it lowers the depth and runs the removal pass, so
// depths never stay raised and queued removals are never lost.
class DispatchScope {
 public:
  DispatchScope(CNotificationCenter& centre, int& depth) : centre_(centre), depth_(depth) {
    ++depth_;
  }
  ~DispatchScope() {
    --depth_;
    centre_.ProcessObserverRemovals();
  }
  DispatchScope(const DispatchScope&) = delete;
  DispatchScope& operator=(const DispatchScope&) = delete;

 private:
  CNotificationCenter& centre_;
  int& depth_;
};

#ifndef NDEBUG
constexpr std::size_t kRunawayDispatch = 1000000;
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
  UnQueueFromRemoval(name, observer);
}

void CNotificationCenter::AddObserver(const NotificationId& id, IObserver* observer) {
  if (observer == nullptr) return;
  if (m_observersById.empty()) m_observersById.max_load_factor(1.0f);
  m_observersById[id].push_back(observer);
  UnQueueFromRemoval(id, observer);
}

void CNotificationCenter::RemoveObserver(const char* name, IObserver* observer) {
  if (name == nullptr) return;
  if (m_nameDispatchDepth >= 1) {
    m_nameRemovals.emplace_back(name, observer);
    return;
  }
  auto it = m_observersByName.find(std::string_view(name));
  if (it == m_observersByName.end()) return;
  EraseAll(it->second, observer);
  if (it->second.empty()) m_observersByName.erase(it);
}

void CNotificationCenter::RemoveObserver(const NotificationId& id, IObserver* observer) {
  if (m_idDispatchDepth >= 1) {
    m_idRemovals.emplace(id, observer);
    return;
  }
  auto it = m_observersById.find(id);
  if (it == m_observersById.end()) return;
  EraseAll(it->second, observer);
  if (it->second.empty()) m_observersById.erase(it);
}

void CNotificationCenter::RemoveObserver(IObserver* observer) {
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
    it = it->second.empty() ? m_observersById.erase(it) : std::next(it);
  }
  for (const std::string& name : emptied) m_observersByName.erase(name);
}

template <class Payload>
void CNotificationCenter::SendNamed(const char* name, Payload&& payload) {
  if (!m_enabled) return;
  const bool onMainThread = tavrin::osutils::IsMainThread();
  DispatchScope scope(*this, m_nameDispatchDepth);
  if (name == nullptr) return;
  auto found = m_observersByName.find(std::string_view(name));
  if (found == m_observersByName.end()) return;
  std::vector<IObserver*>& observers = found->second;
  // The size is read again at every step, so observers appended by a handler
  // are reached in this same dispatch.
  for (std::size_t i = 0; i < observers.size(); ++i) {
#ifndef NDEBUG
    // A handler that adds itself for the name it handles makes this walk
    // endless; say so once the walk is clearly out of bounds.
    if (i == kRunawayDispatch)
      tavrin::utils::AssertFailed(__FILE__, __LINE__,
                                  "name dispatch reached more than 1000000 observers");
#endif
    IObserver* observer = observers[i];
    if (observer == nullptr || (HasQueuedRemovals() && IsQueuedForRemoval(name, observer)))
      continue;
    if (!onMainThread && !observer->ReceivesNotificationsOffMainThread()) continue;
    observer->OnNotification(name, payload);
  }
}

void CNotificationCenter::SendNotification(const char* name, void* data) {
  SendNamed(name, data);
}

void CNotificationCenter::SendNotification(const char* name,
                                           const tavrin::utils::Dictionary& data) {
  SendNamed(name, data);
}

void CNotificationCenter::SendNotification(const NotificationId& id, const std::any& data) {
  if (!m_enabled) return;
  const bool onMainThread = tavrin::osutils::IsMainThread();
  DispatchScope scope(*this, m_idDispatchDepth);
  auto found = m_observersById.find(id);
  if (found == m_observersById.end()) return;
  // Observers appended during the dispatch are not reached: the count is
  // taken now. The vector only grows while this dispatch runs.
  std::vector<IObserver*>& observers = found->second;
  const std::size_t count = observers.size();
  for (std::size_t i = 0; i < count; ++i) {
    IObserver* observer = observers[i];
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
  EraseAll(m_removeFromAll, observer);
  m_nameRemovals.erase(std::remove_if(m_nameRemovals.begin(), m_nameRemovals.end(),
                                      [&](const auto& removal) {
                                        return removal.second == observer && removal.first == name;
                                      }),
                       m_nameRemovals.end());
}

void CNotificationCenter::UnQueueFromRemoval(const NotificationId& id, IObserver* observer) {
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
