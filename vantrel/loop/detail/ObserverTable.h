#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "vantrel/loop/NotificationBus.h"
#include "vantrel/loop/detail/Hazard.h"
#include "vantrel/loop/detail/NameHash.h"
#include "vantrel/loop/detail/NumberTrie.h"

namespace vantrel {

/// A registration. Its number in the trie is its place in the order of those of its name.
struct NotificationBus::Observer : loop::detail::TrieNode {
  // In one byte, since every call looks at it.
  static constexpr std::uint8_t kRemoved = 1;  ///< not to be called again
  static constexpr std::uint8_t kOwned = 2;    ///< only while the owner is there
  mutable std::atomic<std::uint8_t> state{0};
  bool forAll = false;
  Action action;
  std::weak_ptr<const void> owner;
  std::string name;
  std::weak_ptr<Core> core;

  // Of the list of those that have ended and still stand in the table; see `Core`.
  std::weak_ptr<const Observer> weakSelf;
  mutable std::shared_ptr<const Observer> self;
  mutable const Observer* nextEnded = nullptr;

  bool isOwned() const { return (state.load(std::memory_order_relaxed) & kOwned) != 0; }

  /// False when it has been removed before.
  bool setRemoved() const { return (state.fetch_or(kRemoved) & kRemoved) == 0; }

  /// Calls the action unless the registration has ended; false when its owner is gone.
  bool receive(const Notification& notification) const {
    const std::uint8_t now = state.load(std::memory_order_acquire);
    if (now == 0) return action(notification), true;
    if ((now & kRemoved) != 0) return true;
    const auto alive = owner.lock();
    if (alive) action(notification);
    return alive != nullptr;
  }
};

/// Who listens, at one moment. A copy shares all that it does not change.
struct NotificationBus::Table final : loop::detail::Retirable {
  /// The observers of one name. The number in the trie is the name's hash.
  struct Channel : loop::detail::TrieNode {
    std::string name;
    bool mixed = false;  ///< other names of the same hash are among the observers' too
    std::uint64_t nextNumber = 0;
    loop::detail::NumberTrie<Observer> observers;
  };

  loop::detail::NumberTrie<Channel> channels;
  std::shared_ptr<const Channel> forAll;  ///< null before the first

  /// Gives the observer its number.
  void add(const std::shared_ptr<Observer>& observer);

  /// One that stands in the table.
  void remove(const Observer& observer);

  /// Calls `visit` with each observer of the name.
  template <typename Visitor>
  void forEach(std::string_view name, const Visitor& visit) const {
    const Channel* const channel = channels.find(loop::detail::hashOf(name));
    if (!channel) return;
    if (channel->mixed) {
      return channel->observers.forEach([&](const Observer& each) {
        if (each.name == name) visit(each);
      });
    }
    if (loop::detail::sameName(channel->name, name)) channel->observers.forEach(visit);
  }

 private:
  const Channel* find(const Observer& observer) const;
  void set(bool ofAll, std::shared_ptr<const Channel> channel);
};

}  // namespace vantrel
