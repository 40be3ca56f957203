// notificationcenter_fuzz.cpp - scripted sequences on a CNotificationCenter
// whose observers add and remove themselves and others, send nested
// notifications, throw, and delete themselves or others during dispatch.
//
// Six observer slots, three names and three identifiers. Each observer owns
// a script cut from the input; every time it is called it runs its next few
// actions: add or remove an observer (itself included) for a name or an
// identifier, remove an observer from everything, un-queue a removal, send a
// nested notification of any kind (depth at most three), throw, or remove
// and then delete itself or another observer that is not running. A handler
// never adds an observer for a name being dispatched (the documented rule:
// such a dispatch would not end).
//
// Built with AddressSanitizer this finds any call to a deleted observer and
// any use of a freed table entry. The target also checks the removal
// contract: an observer removed from everything receives nothing more
// until it is added again or un-queued; once no dispatch runs, nothing is
// queued for removal (exceptions included); a disabled centre delivers
// nothing; and every observer is called only with a payload of the kind it
// was sent.
#include <any>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/utils/dictionary.h"
#include "common/utils/notificationcenter.h"

using tavrin::IObserver;
using tavrin::NotificationId;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "notificationcenter_fuzz: %s\n", what);
    std::abort();
  }
}

constexpr int kSlots = 6;
constexpr int kNames = 3;
constexpr int kMaxDepth = 3;
const char* const kNameText[kNames] = {"alpha", "beta", "gamma"};
constexpr NotificationId kIds[kNames] = {tavrin::MakeNotificationId("fuzz::one"),
                                         tavrin::MakeNotificationId("fuzz::two"),
                                         tavrin::MakeNotificationId("fuzz::three")};

struct Thrown {};

struct Harness;

class ScriptedObserver : public IObserver {
 public:
  ScriptedObserver(Harness* h, int slot) : harness_(h), slot_(slot) {}
  using IObserver::OnNotification;
  void OnNotification(const char* name, void* data) override;
  void OnNotification(const char* name, const tavrin::utils::Dictionary& data) override;
  void OnNotification(const NotificationId& id, const std::any& data) override;

  bool cut = false;  // removed from everything, not added or un-queued since
  int running = 0;   // handlers of this observer on the stack
  long calls = 0;

 private:
  void Run();
  Harness* harness_;
  int slot_;
};

struct Harness {
  CNotificationCenter center;
  ScriptedObserver* slot[kSlots] = {};
  std::vector<std::uint8_t> script;
  std::size_t cursor = 0;
  int depth = 0;
  int active_names[kNames] = {};  // name dispatches running, per name
  int dispatches = 0;             // dispatches of any kind running
  long budget = 4000;             // handler calls left for this input

  std::uint8_t Next() { return cursor < script.size() ? script[cursor++] : 0; }

  ScriptedObserver* Observer(int s) {
    if (slot[s] == nullptr) slot[s] = new ScriptedObserver(this, s);
    return slot[s];
  }

  void Add(int s, std::uint8_t where) {
    ScriptedObserver* o = Observer(s);
    const int k = where % kNames;
    if (where & 0x10) {
      center.AddObserver(kIds[k], o);
    } else {
      // Never for a name being dispatched: that dispatch would not end.
      if (active_names[k] != 0) return;
      center.AddObserver(kNameText[k], o);
    }
    o->cut = false;
  }

  void Remove(int s, std::uint8_t where) {
    if (slot[s] == nullptr) return;
    const int k = where % kNames;
    switch ((where >> 4) % 3) {
      case 0:
        center.RemoveObserver(kNameText[k], slot[s]);
        break;
      case 1:
        center.RemoveObserver(kIds[k], slot[s]);
        break;
      default:
        center.RemoveObserver(slot[s]);
        slot[s]->cut = true;
        break;
    }
  }

  void UnQueue(int s, std::uint8_t where) {
    if (slot[s] == nullptr) return;
    const int k = where % kNames;
    if (where & 0x10)
      center.UnQueueFromRemoval(kIds[k], slot[s]);
    else
      center.UnQueueFromRemoval(kNameText[k], slot[s]);
    slot[s]->cut = false;  // also cancels a queued removal from everything
  }

  // Removes an observer from everything and deletes it, unless its handler
  // is running (deleting a running observer is the caller's error).
  bool Delete(int s) {
    ScriptedObserver* o = slot[s];
    if (o == nullptr || o->running != 0) return false;
    center.RemoveObserver(o);
    slot[s] = nullptr;
    delete o;
    return true;
  }

  void Send(std::uint8_t what) {
    if (depth >= kMaxDepth) return;
    const int k = what % kNames;
    ++depth;
    ++dispatches;
    struct Guard {
      Harness* h;
      int k;
      bool named;
      ~Guard() {
        --h->depth;
        --h->dispatches;
        if (named) --h->active_names[k];
      }
    } guard{this, k, (what >> 4) % 3 != 2};
    switch ((what >> 4) % 3) {
      case 0:
        ++active_names[k];
        center.SendNotification(kNameText[k], static_cast<void*>(this));
        break;
      case 1: {
        ++active_names[k];
        tavrin::utils::Dictionary payload;
        payload.SetItem(tavrin::utils::tavrin_ustring("sender"), tavrin::utils::Variant(k));
        center.SendNotification(kNameText[k], payload);
        break;
      }
      default:
        center.SendNotification(kIds[k], std::any(k));
        break;
    }
  }

  void CheckQuiet() {
    Check(dispatches == 0, "dispatch count not back to zero");
    for (int s = 0; s < kSlots; ++s) {
      if (slot[s] == nullptr) continue;
      for (int k = 0; k < kNames; ++k) {
        Check(!center.IsQueuedForRemoval(kNameText[k], slot[s]),
              "a name removal is still queued with no dispatch running");
        Check(!center.IsQueuedForRemoval(kIds[k], slot[s]),
              "an identifier removal is still queued with no dispatch running");
      }
    }
  }

  ~Harness() {
    for (int s = 0; s < kSlots; ++s) {
      if (slot[s] != nullptr) center.RemoveObserver(slot[s]);
      delete slot[s];
    }
  }
};

void ScriptedObserver::OnNotification(const char* name, void* data) {
  Check(!cut, "an observer removed from everything was called");
  Check(data == harness_, "a named notification arrived with another payload");
  Check(name != nullptr, "a null name was delivered");
  Run();
}

void ScriptedObserver::OnNotification(const char* name, const tavrin::utils::Dictionary& data) {
  Check(!cut, "an observer removed from everything was called");
  Check(data.ContainsItem(tavrin::utils::tavrin_ustring("sender")),
        "a dictionary notification arrived without its payload");
  Check(name != nullptr, "a null name was delivered");
  Run();
}

void ScriptedObserver::OnNotification(const NotificationId& id, const std::any& data) {
  Check(!cut, "an observer removed from everything was called");
  Check(data.type() == typeid(int), "an identified notification arrived with another payload");
  const int k = std::any_cast<int>(data);
  Check(k >= 0 && k < kNames && kIds[k] == id, "identifier and payload do not match");
  Run();
}

void ScriptedObserver::Run() {
  Harness* h = harness_;
  ++calls;
  if (--h->budget < 0) return;
  ++running;
  try {
    const int actions = 1 + h->Next() % 3;
    for (int a = 0; a < actions; ++a) {
      const std::uint8_t op = h->Next();
      const std::uint8_t arg = h->Next();
      const int target = (op >> 3) % kSlots;
      switch (op % 8) {
        case 0:
          h->Add(target, arg);
          break;
        case 1:
          h->Remove(target, arg);
          break;
        case 2:
          h->UnQueue(target, arg);
          break;
        case 3:
          h->Send(arg);
          break;
        case 4:
          if ((arg & 0x3F) == 0x3F) throw Thrown();
          break;
        case 5:
          if ((arg & 1) && running == 1) {
            // Remove myself and delete myself; touch nothing afterwards.
            --running;
            h->center.RemoveObserver(this);
            h->slot[slot_] = nullptr;
            delete this;
            return;
          }
          h->Delete(target);
          break;
        default:
          break;  // nothing
      }
    }
  } catch (...) {
    --running;
    throw;
  }
  --running;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 2048) return 0;
  Harness h;
  h.script.assign(data, data + size);
  while (h.cursor < h.script.size()) {
    const std::uint8_t op = h.Next();
    const std::uint8_t arg = h.Next();
    const int target = (op >> 3) % kSlots;
    switch (op % 7) {
      case 0:
      case 1:
        h.Add(target, arg);
        break;
      case 2:
        h.Remove(target, arg);
        break;
      case 3:
      case 4:
        try {
          h.Send(arg);
        } catch (const Thrown&) {
          // The centre must be consistent after an observer threw.
        }
        break;
      case 5: {
        // A disabled centre delivers nothing.
        long before = 0, after = 0;
        for (ScriptedObserver* o : h.slot)
          if (o != nullptr) before += o->calls;
        h.center.Disable();
        h.Send(arg);
        h.center.Enable();
        for (ScriptedObserver* o : h.slot)
          if (o != nullptr) after += o->calls;
        Check(before == after, "a disabled centre delivered a notification");
        break;
      }
      default:
        h.Delete(target);
        break;
    }
    h.CheckQuiet();
  }
  return 0;
}
