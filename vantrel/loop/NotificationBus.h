#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"
#include "vantrel/base/ValueTree.h"

namespace vantrel {

/// One posted event. Views and references are valid during the delivery only.
struct Notification {
  std::string_view name;
  const ValueTree* object = nullptr;    ///< absent when null
  const ValueTree* userInfo = nullptr;  ///< a dictionary; absent when null
};

/// The process-wide broadcast of named events.
///
/// Delivery is synchronous, on the posting thread, in the order of registration, over the observers
/// registered when the post began: one added during a delivery waits for the next event; one removed is not
/// called again, also in the middle of a delivery (a call that another thread has already begun may still be
/// finishing). No lock is held while observers run: they may add, remove and post. What an observer throws
/// goes on to who posted, and the observers after it do not get this event; all stay registered.
///
/// What an action captured is destroyed once the registration has ended and no delivery that began before
/// that is under way: by the call that ends it, or else in a turn of the main loop or by the next change of
/// any bus (the next change alone where no main loop runs), but not by a post. A registration whose owner is
/// gone is never called; what it captured stays until the next change of its bus. Adding and removing take
/// time in proportion to the logarithm of how many there are.
///
/// Threads: every operation from any thread. A post may come from a real-time thread, as far as the observers
/// may run there: it waits for nobody, locks nothing, does not call the system and neither allocates nor
/// frees. Two things are beyond it: an owner whose last other reference goes while its action runs is
/// destroyed at the end of that call, and a post has to allocate where more than 64 threads that have posted
/// are alive (a thread counts again for every 8 posts that it nests).
class VANTREL_EXPORT NotificationBus {
 public:
  using Action = std::function<void(const Notification&)>;

  /// A registration; ends when destroyed or reset. May outlive the bus.
  class Subscription;

  NotificationBus();

  /// Ends every registration.
  ~NotificationBus();
  NotificationBus(const NotificationBus&) = delete;
  NotificationBus& operator=(const NotificationBus&) = delete;

  /// The one that the library's services use.
  static NotificationBus& shared();

  /// Registers `action` for events of `name` from any sender until the subscription ends. An empty action
  /// registers nothing.
  [[nodiscard]] Subscription add(TextArgument name, Action action);

  /// Registers `action` under `owner`, which is held weakly: kept alive during a call, never called once it
  /// is gone.
  void add(TextArgument name, Action action, const std::weak_ptr<const void>& owner);

  /// Removes every registration of `owner` for `name`. Also works from the owner's destructor, with `owner`
  /// expired.
  void remove(TextArgument name, const std::weak_ptr<const void>& owner);

  /// An event of a name alone, with an object, or with an object (may be absent) and a dictionary.
  void post(TextArgument name);
  void post(TextArgument name, const ValueTree& object);
  void post(TextArgument name, const ValueTree* object, const ValueTree* userInfo);

  /// An observer of every event whatever its name, called after those of the name; for logs and tools.
  [[nodiscard]] Subscription addForAll(Action action);

 private:
  class Core;
  struct ByOwner;
  struct Observer;
  struct Table;
  static void markOrphan(const Observer& observer);
  std::shared_ptr<Core> core_;
};

/// Threads: one at a time.
class VANTREL_EXPORT NotificationBus::Subscription {
 public:
  /// One that stands for no registration.
  Subscription() noexcept;
  ~Subscription();
  Subscription(Subscription&& other) noexcept;

  /// Ends its own registration first.
  Subscription& operator=(Subscription&& other) noexcept;

  /// Ends the registration; nothing happens when it has ended.
  void reset();

 private:
  friend class NotificationBus;
  explicit Subscription(std::weak_ptr<Observer> observer);
  std::weak_ptr<Observer> observer_;
};

}  // namespace vantrel
