// notificationcenter.h - CNotificationCenter, the synchronous
// publish/subscribe hub, its observers, identifiers and the disabling scope.
//
// Observers register for a notification identified by a name (an 8-bit
// string) or by a NotificationId. SendNotification calls every registered
// observer at once, on the sender's thread, before it returns. The centre
// never owns or deletes an observer; it holds plain pointers.
//
// Observers may add and remove observers (themselves included) from inside a
// handler. Removals asked for during a dispatch are queued and carried out
// when the outermost dispatch of any kind ends; an observer queued for
// removal receives nothing more in the meantime, so an observer may remove
// itself and then be destroyed inside its handler. Each removal form looks
// only at its own kind of dispatch (a name removal is queued only while a
// name dispatch runs, an identifier removal only while an identifier
// dispatch runs); RemoveObserver(observer) looks at both.
//
// Name dispatches reach observers appended during the dispatch; identifier
// dispatches do not. A handler must therefore never add itself for the name
// it is handling (the dispatch would not end); debug builds report a name
// dispatch that reaches more than 1,000,000 entries through AssertFailed.
//
// Within an identifier dispatch, once any removal for that identifier is
// queued, every later observer of it is skipped for the rest of the
// dispatch (a deliberately coarse rule, kept).
//
// Threads: there is no lock. Use a centre from the main thread. A
// notification posted on another thread reaches only observers whose
// ReceivesNotificationsOffMainThread() returns true. The main thread is the
// first caller of tavrin::osutils::IsMainThread().
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "common/utils/export.h"

namespace tavrin::utils {
class Dictionary;
}

namespace tavrin {

// NotificationId
//
// A notification identity of two 64-bit words. `id` is the identity: it is
// the hash value, and equality and ordering compare only it. `label`
// travels with the value for people (a debugger shows it) and is never
// compared.
//
// Minting: MakeNotificationId("qualified.label") is a constant expression
// whose `id` is the 64-bit FNV-1a hash of the label and whose `label` holds
// the label's first eight bytes. Identifiers defined in different
// translation units with the same label are the same notification; with
// different labels they differ (the hashes of distinct labels are distinct
// for any label set a program uses in practice; the tests check the
// library's own). Because it is constant-initialised, an identifier can be
// used from any static initialiser. Use qualified labels
// ("tavrin::units::Changed") so that two libraries never pick one label.
struct TAVRIN_EXPORT NotificationId {
  std::uint64_t label;
  std::uint64_t id;

  bool operator==(const NotificationId& o) const { return id == o.id; }
  bool operator!=(const NotificationId& o) const { return id != o.id; }
  bool operator<(const NotificationId& o) const { return id < o.id; }
};

// MakeNotificationId() - the identifier of `label` (see NotificationId).
constexpr NotificationId MakeNotificationId(std::string_view label) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;  // FNV-1a offset basis
  for (char c : label) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001b3ULL;  // FNV prime
  }
  std::uint64_t packed = 0;
  for (std::size_t i = 0; i < 8 && i < label.size(); ++i)
    packed |= static_cast<std::uint64_t>(static_cast<unsigned char>(label[i])) << (8 * i);
  return NotificationId{packed, hash};
}

// IObserver
//
// Implemented by the users of the centre. Every operation has a default
// that does nothing (ReceivesNotificationsOffMainThread: false); an observer
// that overrides one OnNotification adds `using IObserver::OnNotification;`.
class TAVRIN_EXPORT IObserver {
 public:
  virtual ~IObserver();
  // A named notification with an untyped payload (usually the sender).
  virtual void OnNotification(const char* name, void* data);
  // A named notification with a Dictionary payload.
  virtual void OnNotification(const char* name, const utils::Dictionary& data);
  // An identified notification with a payload of any type.
  virtual void OnNotification(const NotificationId& id, const std::any& data);
  // Asked only for notifications posted off the main thread; false skips
  // this observer for that notification.
  virtual bool ReceivesNotificationsOffMainThread() const;
};

}  // namespace tavrin

template <>
struct std::hash<tavrin::NotificationId> {
  std::size_t operator()(const tavrin::NotificationId& n) const noexcept { return n.id; }
};

class TAVRIN_EXPORT CNotificationCenter {
 public:
  // Empty and enabled. Destruction frees the tables and tells no observer.
  CNotificationCenter();
  ~CNotificationCenter();
  CNotificationCenter(const CNotificationCenter&) = delete;
  CNotificationCenter& operator=(const CNotificationCenter&) = delete;

  // Default() - the process-wide centre, created once (thread-safely) on
  // first call and never deleted, so senders in static destructors are safe.
  static CNotificationCenter& Default();

  // AddObserver() - appends `observer` to the name's (identifier's) list,
  // without checking for an earlier registration (a twice-added observer is
  // called twice), then cancels any queued removal of it (UnQueueFromRemoval).
  // A null name does nothing; a null observer is stored for a name (skipped
  // at dispatch) and ignored for an identifier.
  void AddObserver(const char* name, tavrin::IObserver* observer);
  void AddObserver(const tavrin::NotificationId& id, tavrin::IObserver* observer);

  // RemoveObserver() - removes every registration of `observer` for the name
  // (identifier), or for everything; queued while a dispatch of the
  // matching kind runs (see the header comment). A null name does nothing.
  void RemoveObserver(const char* name, tavrin::IObserver* observer);
  void RemoveObserver(const tavrin::NotificationId& id, tavrin::IObserver* observer);
  void RemoveObserver(tavrin::IObserver* observer);

  // SendNotification() - calls every observer registered for the name
  // (identifier) now, then carries out the queued removals when no dispatch
  // is left running. Does nothing while the centre is disabled (the
  // notification is dropped, not replayed). A null name delivers nothing. An
  // exception thrown by an observer leaves the centre consistent and reaches
  // the sender.
  void SendNotification(const char* name, void* data);
  void SendNotification(const char* name, const tavrin::utils::Dictionary& data);
  void SendNotification(const tavrin::NotificationId& id, const std::any& data);

  // IsQueuedForRemoval() - whether `observer` is queued for removal from
  // everything, or (name form) for this name text; (identifier form) whether
  // any removal is queued for this identifier, whichever observer it names.
  bool IsQueuedForRemoval(const char* name, tavrin::IObserver* observer) const;
  bool IsQueuedForRemoval(const tavrin::NotificationId& id, tavrin::IObserver* observer) const;

  // UnQueueFromRemoval() - cancels the queued removals of `observer` for
  // this name (identifier) and, deliberately, its queued removal from
  // everything.
  void UnQueueFromRemoval(const char* name, tavrin::IObserver* observer);
  void UnQueueFromRemoval(const tavrin::NotificationId& id, tavrin::IObserver* observer);

  // ProcessObserverRemovals() - carries out the queued removals (everything,
  // then names, then identifiers in identifier order); does nothing while a
  // dispatch of either kind runs.
  void ProcessObserverRemovals();

  bool IsEnabled() const { return m_enabled; }
  void Enable() { m_enabled = true; }
  void Disable() { m_enabled = false; }

 private:
  bool HasQueuedRemovals() const {
    return !m_removeFromAll.empty() || !m_nameRemovals.empty() || !m_idRemovals.empty();
  }
  template <class Payload>
  void SendNamed(const char* name, Payload payload);

  // Each name's observers in registration order. A vector walked by index,
  // re-reading its size at every step, reaches observers appended during the
  // dispatch exactly as a linked list would, and removals never happen while
  // a name dispatch runs.
  using NameTable = std::map<std::string, std::vector<tavrin::IObserver*>, std::less<>>;
  using NameEntry = NameTable::value_type;
  NameTable m_observersByName;
  using IdTable = std::unordered_map<tavrin::NotificationId, std::vector<tavrin::IObserver*>>;
  using IdEntry = IdTable::value_type;
  IdTable m_observersById;
  int m_idDispatchDepth = 0;
  int m_nameDispatchDepth = 0;
  std::vector<tavrin::IObserver*> m_removeFromAll;
  bool m_enabled = true;
  std::vector<std::pair<std::string, tavrin::IObserver*>> m_nameRemovals;
  std::multimap<tavrin::NotificationId, tavrin::IObserver*> m_idRemovals;
  // Bumped by every change to the tables or the removal queues; a dispatch
  // walks its list through a saved pointer while this stays put.
  std::uint64_t m_changes = 0;
  // The entries of the name and the identifier sent last (checked before
  // use), or null; cleared whenever an entry of that table is erased.
  NameEntry* m_lastName = nullptr;
  IdEntry* m_lastId = nullptr;
};

// CNotificationDisabler
//
// Mutes CNotificationCenter::Default() for its lifetime. Only a disabler
// that found the centre enabled re-enables it, so nested disablers work and
// a disabler made while the centre was already disabled leaves it disabled.
// Notifications posted while muted are lost. Private centres are not
// affected.
class TAVRIN_EXPORT CNotificationDisabler {
 public:
  CNotificationDisabler();
  ~CNotificationDisabler();
  CNotificationDisabler(const CNotificationDisabler&) = delete;
  CNotificationDisabler& operator=(const CNotificationDisabler&) = delete;

 private:
  bool m_wasEnabled;
};
