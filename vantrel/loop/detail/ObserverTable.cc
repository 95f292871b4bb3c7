#include "vantrel/loop/detail/ObserverTable.h"

#include <utility>

namespace vantrel {

using loop::detail::hashOf;

void NotificationBus::Table::add(const std::shared_ptr<Observer>& observer) {
  std::shared_ptr<Channel> channel;
  if (const Channel* const before = find(*observer)) {
    channel = std::make_shared<Channel>(*before);
    channel->mixed = channel->mixed || channel->name != observer->name;
  } else {
    channel = std::make_shared<Channel>();
    channel->number = hashOf(observer->name);
    channel->name = observer->name;
  }
  observer->number = channel->nextNumber++;
  channel->observers.put(observer);
  set(observer->forAll, std::move(channel));
}

void NotificationBus::Table::remove(const Observer& observer) {
  auto channel = std::make_shared<Channel>(*find(observer));
  channel->observers.erase(observer.number);
  set(observer.forAll, std::move(channel));
}

const NotificationBus::Table::Channel* NotificationBus::Table::find(const Observer& observer) const {
  return observer.forAll ? forAll.get() : channels.find(hashOf(observer.name));
}

void NotificationBus::Table::set(bool ofAll, std::shared_ptr<const Channel> channel) {
  if (ofAll) {
    forAll = std::move(channel);
  } else if (channel->observers.empty()) {
    channels.erase(channel->number);
  } else {
    channels.put(std::move(channel));
  }
}

}  // namespace vantrel
