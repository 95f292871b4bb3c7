#include "vantrel/platform/NotificationBus.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "vantrel/platform/Hazard.h"
#include "vantrel/platform/detail/NameHash.h"

// Who listens stands in an immutable table that every change replaces. A post announces the table, so that it
// stays, and walks it without a lock; what changes meanwhile shows in the observers' `removed` alone.

namespace vantrel {

using platform::detail::hashOf;
using platform::detail::sameName;

namespace {

bool sameOwner(const std::weak_ptr<const void>& a, const std::weak_ptr<const void>& b) {
  return !a.owner_before(b) && !b.owner_before(a);
}

}  // namespace

struct NotificationBus::Observer {
  std::atomic<bool> removed{false};
  bool owned = false;
  bool forAll = false;
  Action action;
  std::weak_ptr<const void> owner;
  std::string name;
  std::weak_ptr<Core> core;

  /// Calls the action unless the registration has ended; false when its owner is gone.
  bool receive(const Notification& notification) const {
    if (removed.load(std::memory_order_acquire)) return true;
    if (!owned) return action(notification), true;
    const auto alive = owner.lock();
    if (alive) action(notification);
    return alive != nullptr;
  }
};

struct NotificationBus::Table {
  using Observers = std::vector<std::shared_ptr<Observer>>;
  struct Channel {
    std::string name;
    Observers observers;
  };
  struct Slot {
    std::uint64_t hash = 0;
    std::shared_ptr<const Channel> channel;
  };

  std::vector<Slot> slots = std::vector<Slot>(8);  ///< a power of two, at least half of them free
  std::size_t channels = 0;
  std::shared_ptr<const Channel> forAll = std::make_shared<Channel>();

  const Channel* find(std::string_view name) const {
    const std::uint64_t hash = hashOf(name);
    const std::size_t mask = slots.size() - 1;
    for (std::size_t i = hash & mask; slots[i].channel; i = (i + 1) & mask) {
      if (slots[i].hash == hash && sameName(slots[i].channel->name, name)) return slots[i].channel.get();
    }
    return nullptr;
  }

  /// This table with `channel` in place of the one of its name, or without it when it is empty.
  std::shared_ptr<const Table> with(const std::shared_ptr<const Channel>& channel) const {
    auto changed = std::make_shared<Table>();
    changed->forAll = forAll;
    changed->slots.resize(std::bit_ceil(std::max<std::size_t>(8, 2 * (channels + 1))));
    for (const Slot& slot : slots) {
      if (slot.channel && slot.channel->name != channel->name) changed->insert(slot);
    }
    if (!channel->observers.empty()) changed->insert({hashOf(channel->name), channel});
    return changed;
  }

  std::shared_ptr<const Table> withForAll(std::shared_ptr<const Channel> channel) const {
    auto changed = std::make_shared<Table>(*this);
    changed->forAll = std::move(channel);
    return changed;
  }

 private:
  void insert(const Slot& slot) {
    const std::size_t mask = slots.size() - 1;
    std::size_t i = slot.hash & mask;
    while (slots[i].channel) i = (i + 1) & mask;
    slots[i] = slot;
    ++channels;
  }
};

class NotificationBus::Core : public std::enable_shared_from_this<Core> {
 public:
  std::atomic<const Table*> current{nullptr};

  Core() : table_(std::make_shared<Table>()) { current.store(table_.get()); }

  std::shared_ptr<Observer> add(std::shared_ptr<Observer> observer) {
    observer->core = weak_from_this();
    const Observer& added = *observer;
    change(added.name, added.forAll, [&](Table::Observers& all) { all.push_back(observer); });
    return observer;
  }

  /// Ends the registrations for which `ends` is true.
  template <typename Predicate>
  void remove(std::string_view name, bool forAll, Predicate ends) {
    change(name, forAll, [&](Table::Observers& all) {
      std::erase_if(all, [&](const auto& observer) {
        const bool ended = ends(*observer);
        if (ended) observer->removed.store(true);
        return ended;
      });
    });
  }

  void close() {
    std::shared_ptr<const Table> old;
    {
      const std::lock_guard lock(mutex_);
      const auto end = [](const Table::Channel& channel) {
        for (const auto& observer : channel.observers) observer->removed.store(true);
      };
      for (const Table::Slot& slot : table_->slots) {
        if (slot.channel) end(*slot.channel);
      }
      end(*table_->forAll);
      old = publish(std::make_shared<Table>());
    }
    platform::detail::retire(std::move(old));
  }

 private:
  template <typename Edit>
  void change(std::string_view name, bool forAll, Edit edit) {
    std::shared_ptr<const Table> old;
    {
      const std::lock_guard lock(mutex_);
      const Table::Channel* before = forAll ? table_->forAll.get() : table_->find(name);
      auto channel = std::make_shared<Table::Channel>();
      channel->name = name;
      if (before) channel->observers = before->observers;
      edit(channel->observers);
      if (channel->observers.size() == (before ? before->observers.size() : 0)) return;
      old = publish(forAll ? table_->withForAll(channel) : table_->with(channel));
    }
    // Outside the lock: what the actions captured may come back here when it is destroyed.
    platform::detail::retire(std::move(old));
  }

  std::shared_ptr<const Table> publish(std::shared_ptr<const Table> table) {
    current.store(table.get(), std::memory_order_seq_cst);
    return std::exchange(table_, std::move(table));
  }

  std::mutex mutex_;
  std::shared_ptr<const Table> table_;  ///< under the mutex
};

NotificationBus::NotificationBus() : core_(std::make_shared<Core>()) {}

NotificationBus::~NotificationBus() { core_->close(); }

NotificationBus& NotificationBus::shared() {
  // Never destroyed: other threads may post while the process exits.
  static NotificationBus& bus = *new NotificationBus;
  return bus;
}

NotificationBus::Subscription NotificationBus::add(std::string_view name, Action action) {
  if (!action) return {};
  auto observer = std::make_shared<Observer>();
  observer->name = name;
  observer->action = std::move(action);
  return Subscription(core_->add(std::move(observer)));
}

void NotificationBus::add(std::string_view name, Action action, const std::weak_ptr<const void>& owner) {
  if (!action || owner.expired()) return;
  auto observer = std::make_shared<Observer>();
  observer->name = name;
  observer->action = std::move(action);
  observer->owned = true;
  observer->owner = owner;
  core_->add(std::move(observer));
}

NotificationBus::Subscription NotificationBus::addForAll(Action action) {
  if (!action) return {};
  auto observer = std::make_shared<Observer>();
  observer->forAll = true;
  observer->action = std::move(action);
  return Subscription(core_->add(std::move(observer)));
}

void NotificationBus::remove(std::string_view name, const std::weak_ptr<const void>& owner) {
  core_->remove(name, false,
                [&](const Observer& observer) { return observer.owned && sameOwner(observer.owner, owner); });
}

void NotificationBus::post(std::string_view name) { post(name, nullptr, nullptr); }

void NotificationBus::post(std::string_view name, const ValueTree& object) { post(name, &object, nullptr); }

void NotificationBus::post(std::string_view name, const ValueTree* object, const ValueTree* userInfo) {
  const Notification notification{name, object, userInfo};
  const platform::detail::HazardGuard<Table> table(core_->current);
  const Observer* orphan = nullptr;
  if (const Table::Channel* channel = table->find(name)) {
    for (const auto& observer : channel->observers) {
      if (!observer->receive(notification)) orphan = observer.get();
    }
  }
  for (const auto& observer : table->forAll->observers) observer->receive(notification);
  if (!orphan) return;
  // Through the observer: the bus itself may be gone by now.
  if (const auto core = orphan->core.lock()) {
    core->remove(name, false, [](const Observer& each) { return each.owned && each.owner.expired(); });
  }
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
  if (const auto core = observer->core.lock()) {
    core->remove(observer->name, observer->forAll,
                 [&](const Observer& each) { return &each == observer.get(); });
  }
}

}  // namespace vantrel
