#include "vantrel/loop/NotificationBus.h"

#include <atomic>
#include <memory>
#include <new>
#include <set>
#include <utility>

#include "vantrel/base/Mutex.h"
#include "vantrel/base/NeverDestroyed.h"
#include "vantrel/loop/detail/Hazard.h"
#include "vantrel/loop/detail/ObserverTable.h"

// Who listens stands in an immutable table that every change replaces. A post announces the table, so that it
// stays, and walks it without a lock; what changes meanwhile shows in the observers' states alone.

namespace vantrel {

/// The order in which the registrations of an owner for a name are found.
struct NotificationBus::ByOwner {
  using is_transparent = void;
  struct Key {
    const std::weak_ptr<const void>& owner;
    std::string_view name;
  };

  static bool less(const Key& a, const Key& b) {
    if (a.owner.owner_before(b.owner)) return true;
    return !b.owner.owner_before(a.owner) && a.name < b.name;
  }
  static Key keyOf(const Observer* observer) { return {observer->owner, observer->name}; }

  bool operator()(const Observer* a, const Key& b) const { return less(keyOf(a), b); }
  bool operator()(const Key& a, const Observer* b) const { return less(a, keyOf(b)); }
  bool operator()(const Observer* a, const Observer* b) const {
    return less(keyOf(a), keyOf(b)) || (!less(keyOf(b), keyOf(a)) && std::less<>()(a, b));
  }
};

/// The table and its writers. A registration ends in two steps: first it is marked, which a post can do as
/// well, and put on a list that links the observers themselves; then a writer takes all that is on the list
/// out of the table. So to end one needs no memory, and a post that meets an owner that is gone frees
/// nothing.
class NotificationBus::Core : public std::enable_shared_from_this<Core> {
 public:
  std::atomic<const Table*> current{nullptr};

  Core() : table_(std::make_unique<Table>()) { current.store(table_.get()); }

  ~Core() {
    loop::detail::retire(std::move(table_));
    letGo(ended_.load());
  }

  void add(const std::shared_ptr<Observer>& observer) {
    sweep();
    observer->core = weak_from_this();
    observer->weakSelf = observer;
    std::unique_ptr<Table> old;
    {
      const MutexLock lock(mutex_);
      auto changed = std::make_unique<Table>(*table_);
      changed->add(observer);
      if (observer->isOwned()) owned_.insert(observer.get());
      old = publish(std::move(changed));
    }
    loop::detail::retire(std::move(old));
  }

  void remove(std::string_view name, const std::weak_ptr<const void>& owner) {
    {
      const MutexLock lock(mutex_);
      const auto [first, last] = owned_.equal_range(ByOwner::Key{owner, name});
      for (auto each = first; each != last; ++each) mark(**each);
    }
    sweep();
  }

  void remove(const Observer& observer) {
    mark(observer);
    sweep();
  }

  /// Ends every registration. They stay in the table, which nobody can find any more.
  void close() {
    const MutexLock lock(mutex_);
    const auto end = [](const Observer& observer) { observer.setRemoved(); };
    table_->channels.forEach([&](const Table::Channel& channel) { channel.observers.forEach(end); });
    if (table_->forAll) table_->forAll->observers.forEach(end);
  }

  /// Ends a registration as far as a post can.
  void mark(const Observer& observer) noexcept {
    if (!observer.setRemoved()) return;
    observer.self = observer.weakSelf.lock();
    link(observer);
  }

 private:
  void link(const Observer& observer) noexcept {
    observer.nextEnded = ended_.load(std::memory_order_relaxed);
    while (!ended_.compare_exchange_weak(observer.nextEnded, &observer, std::memory_order_release)) {
    }
  }

  /// Takes what has been marked out of the table; the next writer does when there is no memory now.
  void sweep() noexcept {
    if (!ended_.load(std::memory_order_relaxed)) return;
    const Observer* ended = nullptr;
    std::unique_ptr<Table> old;
    {
      const MutexLock lock(mutex_);
      ended = ended_.exchange(nullptr, std::memory_order_acquire);
      if (!ended) return;
      try {
        auto changed = std::make_unique<Table>(*table_);
        for (auto each = ended; each; each = each->nextEnded) changed->remove(*each);
        old = publish(std::move(changed));
      } catch (const std::bad_alloc&) {
        while (ended) link(*std::exchange(ended, ended->nextEnded));
        return;
      }
      for (auto each = ended; each; each = each->nextEnded) owned_.erase(each);
    }
    // Outside the lock: what the actions captured may come back here when it is destroyed.
    loop::detail::retire(std::move(old));
    letGo(ended);
  }

  static void letGo(const Observer* ended) {
    while (ended) {
      const auto self = std::move(ended->self);
      ended = ended->nextEnded;
    }
  }

  std::unique_ptr<Table> publish(std::unique_ptr<Table> table) noexcept VANTREL_REQUIRES(mutex_) {
    current.store(table.get(), std::memory_order_seq_cst);
    return std::exchange(table_, std::move(table));
  }

  std::atomic<const Observer*> ended_{nullptr};

  Mutex mutex_;
  std::unique_ptr<Table> table_ VANTREL_GUARDED_BY(mutex_);
  std::set<const Observer*, ByOwner> owned_
      VANTREL_GUARDED_BY(mutex_);  ///< those of the table that have an owner
};

NotificationBus::NotificationBus() : core_(std::make_shared<Core>()) {}

NotificationBus::~NotificationBus() { core_->close(); }

NotificationBus& NotificationBus::shared() {
  // Never destroyed: other threads may post while the process exits.
  static NeverDestroyed<NotificationBus> bus;
  return *bus;
}

NotificationBus::Subscription NotificationBus::add(TextArgument name, Action action) {
  if (!action) return {};
  auto observer = std::make_shared<Observer>();
  observer->name = *name;
  observer->action = std::move(action);
  core_->add(observer);
  return Subscription(observer);
}

void NotificationBus::add(TextArgument name, Action action, const std::weak_ptr<const void>& owner) {
  if (!action || owner.expired()) return;
  auto observer = std::make_shared<Observer>();
  observer->name = *name;
  observer->action = std::move(action);
  observer->state = Observer::kOwned;
  observer->owner = owner;
  core_->add(observer);
}

NotificationBus::Subscription NotificationBus::addForAll(Action action) {
  if (!action) return {};
  auto observer = std::make_shared<Observer>();
  observer->forAll = true;
  observer->action = std::move(action);
  core_->add(observer);
  return Subscription(observer);
}

void NotificationBus::remove(TextArgument name, const std::weak_ptr<const void>& owner) {
  core_->remove(*name, owner);
}

void NotificationBus::post(TextArgument name) { post(name, nullptr, nullptr); }

void NotificationBus::post(TextArgument name, const ValueTree& object) { post(name, &object, nullptr); }

void NotificationBus::post(TextArgument name, const ValueTree* object, const ValueTree* userInfo) {
  const Notification notification{*name, object, userInfo};
  const loop::detail::HazardGuard<Table> table(core_->current);
  const auto deliver = [&](const Observer& observer) {
    if (!observer.receive(notification)) markOrphan(observer);
  };
  table->forEach(*name, deliver);
  if (table->forAll) table->forAll->observers.forEach(deliver);
}

void NotificationBus::markOrphan(const Observer& observer) {
  // Through the observer: the bus itself may be gone by now.
  if (const auto core = observer.core.lock()) core->mark(observer);
}

NotificationBus::Subscription::Subscription() noexcept = default;

NotificationBus::Subscription::Subscription(std::weak_ptr<Observer> observer)
    : observer_(std::move(observer)) {}

NotificationBus::Subscription::Subscription(Subscription&& other) noexcept = default;

NotificationBus::Subscription::~Subscription() { reset(); }

NotificationBus::Subscription& NotificationBus::Subscription::operator=(Subscription&& other) noexcept {
  if (this == &other) return *this;
  reset();
  observer_ = std::move(other.observer_);
  return *this;
}

void NotificationBus::Subscription::reset() {
  const auto observer = std::exchange(observer_, {}).lock();
  if (!observer) return;
  if (const auto core = observer->core.lock()) core->remove(*observer);
}

}  // namespace vantrel
