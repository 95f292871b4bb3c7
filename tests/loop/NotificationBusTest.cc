#include "vantrel/loop/NotificationBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/AllocationCounter.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/loop/detail/NameHash.h"

namespace vantrel {
namespace {

using testing::ElementsAre;

class NotificationBusTest : public testing::Test {
 protected:
  NotificationBus::Action note(std::string text) {
    return [this, text](const Notification&) { journal.push_back(text); };
  }

  NotificationBus bus;
  std::vector<std::string> journal;
};

TEST_F(NotificationBusTest, ObserversOfTheNameAreCalledInOrderThenThoseOfAll) {
  const auto all = bus.addForAll(note("all"));
  const auto a = bus.add("x", note("a"));
  const auto other = bus.add("y", note("other"));
  const auto b = bus.add("x", note("b"));
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("a", "b", "all"));
  bus.post("nobody");
  EXPECT_THAT(journal, ElementsAre("a", "b", "all", "all"));
}

TEST_F(NotificationBusTest, AnEventCarriesItsNameObjectAndUserInformation) {
  std::optional<Notification> last;
  const auto keep = bus.add("event", [&](const Notification& notification) {
    last = notification;
    EXPECT_EQ(notification.name, "event");
  });
  bus.post("event");
  EXPECT_EQ(last->object, nullptr);
  EXPECT_EQ(last->userInfo, nullptr);
  const ValueTree object(7);
  bus.post("event", object);
  EXPECT_EQ(last->object, &object);
  EXPECT_EQ(last->userInfo, nullptr);
  const ValueTree info = ValueTree::dictionary({{"k", 1}});
  bus.post("event", nullptr, &info);
  EXPECT_EQ(last->object, nullptr);
  EXPECT_EQ(last->userInfo, &info);
}

TEST_F(NotificationBusTest, NamesOfEveryLengthAreToldApart) {
  std::vector<std::string> names = {"", "a", "b", std::string("a\0b", 3), std::string("a\0c", 3)};
  for (int i = 0; i < 200; ++i) names.push_back("Prefix-" + std::to_string(i) + "-suffix");
  for (std::size_t length = 1; length < 40; ++length) names.push_back(std::string(length, 'q'));
  std::vector<NotificationBus::Subscription> kept;
  for (const std::string& name : names) kept.push_back(bus.add(name, note(name)));
  for (const std::string& name : names) bus.post(name);
  EXPECT_EQ(journal, names);
  kept.clear();
  for (const std::string& name : names) bus.post(name);
  EXPECT_EQ(journal, names);
}

TEST_F(NotificationBusTest, NamesOfOneHashAreToldApart) {
  const std::string a = "aaaaaaa";
  const std::string b = "Z\xe5;\xe0\xb8\xf8^\xc3";
  ASSERT_EQ(loop::detail::hashOf(a), loop::detail::hashOf(b));
  auto first = bus.add(a, note("a"));
  const auto second = bus.add(b, note("b"));
  bus.post(b);
  bus.post(a);
  first.reset();
  bus.post(a);
  bus.post(b);
  EXPECT_THAT(journal, ElementsAre("b", "a", "b"));
}

TEST_F(NotificationBusTest, ManyKeepTheirOrderWhicheverIsRemovedAndEachCostsAboutTheSame) {
  std::mt19937 random(20240305);
  std::vector<int> called, expected;
  std::vector<std::pair<int, NotificationBus::Subscription>> kept;
  std::uint64_t dearest = 0;
  for (int i = 0; i < 4000; ++i) {
    const std::uint64_t before = tests::allocatedBytesOfThisThread();
    auto added = bus.add("x", [&called, i](const Notification&) { called.push_back(i); });
    if (random() % 3 == 0 && !kept.empty()) kept.erase(kept.begin() + random() % kept.size());
    dearest = std::max(dearest, tests::allocatedBytesOfThisThread() - before);
    kept.emplace_back(i, std::move(added));
  }
  EXPECT_LT(dearest, 8000U) << "bytes for an observer, of " << kept.size();
  for (const auto& each : kept) expected.push_back(each.first);
  bus.post("x");
  EXPECT_EQ(called, expected);
}

TEST_F(NotificationBusTest, WhatAnObserverThrowsReachesThePosterAndChangesNothing) {
  const auto captured = std::make_shared<bool>(true);
  auto first = bus.add("x", [captured](const Notification&) {
    if (*captured) throw std::runtime_error("thrown");
  });
  const auto second = bus.add("x", note("second"));
  EXPECT_THROW(bus.post("x"), std::runtime_error);
  EXPECT_THAT(journal, ElementsAre());
  *captured = false;
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("second"));
  first.reset();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(NotificationBusTest, WithoutMemoryAnAddDoesNothingAndARemovalIsFinishedLater) {
  const auto captured = std::make_shared<int>();
  auto ended = bus.add("x", [this, captured](const Notification&) { journal.push_back("ended"); });
  const auto stays = bus.add("x", note("stays"));
  NotificationBus::Action action = note("not added");
  {
    const tests::NoMemory scope;
    ended.reset();
    EXPECT_THROW(static_cast<void>(bus.add("x", std::move(action))), std::bad_alloc);
  }
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("stays"));
  EXPECT_EQ(captured.use_count(), 2);
  const auto change = bus.add("y", note("other"));
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(NotificationBusTest, ASubscriptionEndsWhenResetReplacedOrDestroyed) {
  auto first = bus.add("x", note("first"));
  {
    const auto second = bus.add("x", note("second"));
    bus.post("x");
  }
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("first", "second", "first"));
  auto moved = std::move(first);
  bus.post("x");
  moved = bus.add("x", note("third"));
  bus.post("x");
  moved.reset();
  moved.reset();
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("first", "second", "first", "first", "third"));
}

TEST_F(NotificationBusTest, AnObserverMayRemoveItself) {
  NotificationBus::Subscription own;
  const auto captured = std::make_shared<int>();
  own = bus.add("x", [&, captured](const Notification&) {
    own.reset();
    EXPECT_GT(captured.use_count(), 1);  // the action stays whole while it runs
    journal.push_back("self");
  });
  const auto next = bus.add("x", note("next"));
  bus.post("x");
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("self", "next", "next"));
  RunLoop::main().turn();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(NotificationBusTest, AnObserverRemovedDuringADeliveryIsNotCalledInIt) {
  NotificationBus::Subscription next;
  NotificationBus::Subscription all;
  const auto first = bus.add("x", [&](const Notification&) {
    next.reset();
    all.reset();
  });
  next = bus.add("x", note("removed"));
  all = bus.addForAll(note("removed"));
  const auto last = bus.add("x", note("last"));
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("last"));
}

TEST_F(NotificationBusTest, AnObserverAddedDuringADeliveryWaitsForTheNextEvent) {
  std::vector<NotificationBus::Subscription> added;
  const auto adder = bus.add("x", [&](const Notification&) {
    if (!added.empty()) return;
    added.push_back(bus.add("x", note("added")));
    added.push_back(bus.addForAll(note("added for all")));
  });
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre());
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("added", "added for all"));
}

TEST_F(NotificationBusTest, PostsNestToAnyDepthWithChangesOnTheWay) {
  constexpr int kDepth = 20;
  int depth = 0;
  std::vector<NotificationBus::Subscription> added;
  const auto observer = bus.add("x", [&](const Notification&) {
    if (depth == kDepth) return;
    ++depth;
    // Each level walks a table of its own.
    added.push_back(bus.add("x", note("added")));
    bus.post("x");
    added.pop_back();
    journal.push_back("after");
  });
  bus.post("x");
  // The innermost delivery calls the observers that all levels have added.
  EXPECT_EQ(std::count(journal.begin(), journal.begin() + kDepth, "added"), kDepth);
  EXPECT_EQ(std::count(journal.begin(), journal.end(), "after"), kDepth);
  journal.clear();
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre());
}

TEST_F(NotificationBusTest, OwnedRegistrationsEndByRemovalOfTheirNameAlone) {
  const auto owner = std::make_shared<int>();
  const auto other = std::make_shared<int>();
  bus.add("x", note("x1"), owner);
  bus.add("x", note("x2"), owner);
  bus.add("y", note("y"), owner);
  bus.add("x", note("other"), other);
  bus.remove("x", owner);
  bus.remove("unknown", owner);
  bus.post("x");
  bus.post("y");
  EXPECT_THAT(journal, ElementsAre("other", "y"));
}

TEST_F(NotificationBusTest, ADeadOwnerIsNeverCalledAndItsRegistrationIsCleared) {
  auto owner = std::make_shared<int>();
  const auto captured = std::make_shared<int>();
  bus.add(
      "x", [this, captured](const Notification&) { journal.push_back("owned"); }, owner);
  bus.post("x");
  owner.reset();
  EXPECT_EQ(captured.use_count(), 2);
  bus.post("x");
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("owned"));
  const auto change = bus.add("y", note("other"));
  EXPECT_EQ(captured.use_count(), 1);
  bus.add("x", note("never owned"), std::weak_ptr<int>());
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre("owned"));
}

TEST_F(NotificationBusTest, AnOwnerThatDiesDuringTheDeliveryIsNotCalledAndOneThatRunsLivesToTheEnd) {
  auto later = std::make_shared<int>();
  auto running = std::make_shared<int>();
  const std::weak_ptr<int> watched = running;
  bus.add(
      "x",
      [&](const Notification&) {
        later.reset();
        running.reset();
        EXPECT_FALSE(watched.expired());
        journal.push_back("running");
      },
      running);
  bus.add("x", note("later"), later);
  bus.post("x");
  EXPECT_TRUE(watched.expired());
  EXPECT_THAT(journal, ElementsAre("running"));
}

class RemovesItself : public std::enable_shared_from_this<RemovesItself> {
 public:
  explicit RemovesItself(NotificationBus& bus) : bus_(bus) {}
  ~RemovesItself() { bus_.remove("x", weak_from_this()); }

 private:
  NotificationBus& bus_;
};

TEST_F(NotificationBusTest, AnOwnerRemovesItselfFromItsDestructor) {
  auto owner = std::make_shared<RemovesItself>(bus);
  const auto captured = std::make_shared<int>();
  bus.add(
      "x", [captured](const Notification&) {}, owner);
  owner.reset();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(NotificationBusTest, WhatAnActionCapturedMayUseTheBusWhenItDies) {
  auto inner = std::make_shared<NotificationBus::Subscription>(bus.add("x", note("inner")));
  auto outer = bus.add("x", [inner](const Notification&) {});
  inner.reset();
  outer.reset();
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre());
}

TEST_F(NotificationBusTest, ABusMayDieInsideItsOwnDeliveryAndBeforeItsSubscriptions) {
  auto dying = std::make_unique<NotificationBus>();
  auto owner = std::make_shared<int>();
  const auto first = dying->add("x", [&](const Notification&) { dying.reset(); });
  const auto second = dying->add("x", note("second"));
  dying->add("x", note("owned"), owner);
  owner.reset();
  dying->post("x");
  EXPECT_EQ(dying, nullptr);
  EXPECT_THAT(journal, ElementsAre());
}

TEST_F(NotificationBusTest, EmptyActionsRegisterNothing) {
  const auto owner = std::make_shared<int>();
  const auto a = bus.add("x", nullptr);
  const auto b = bus.addForAll(nullptr);
  bus.add("x", nullptr, owner);
  bus.post("x");
}

TEST(NotificationBusThreadsTest, TwoThreadsPostWhileAThirdAddsAndRemoves) {
  NotificationBus bus;
  std::atomic<bool> stop = false;
  std::atomic<std::uint64_t> calls = 0;
  const auto always = bus.add("x", [&](const Notification&) { ++calls; });
  std::vector<std::thread> posters;
  for (int i = 0; i < 2; ++i) {
    posters.emplace_back([&] {
      while (!stop) bus.post("x");
    });
  }
  const auto captured = std::make_shared<std::atomic<int>>(0);
  for (int i = 0; i < 1000; ++i) {
    const auto subscription = bus.add("x", [captured](const Notification&) { ++*captured; });
    const auto owner = std::make_shared<int>();
    bus.add(
        "x", [captured](const Notification&) { ++*captured; }, owner);
    if (i % 2 == 0) bus.remove("x", owner);
  }
  while (calls < 100) std::this_thread::yield();
  stop = true;
  for (std::thread& poster : posters) poster.join();
  // No delivery is under way: nothing keeps a removed action any more.
  bus.post("x");
  const auto sweep = bus.add("sweep", [](const Notification&) {});
  EXPECT_EQ(captured.use_count(), 1);
}

// On a thread that never posted, nested deeper than a thread's slots, while another thread ends registrations
// that the delivery still uses, and with an owner that is gone.
TEST_F(NotificationBusTest, APostNeitherAllocatesNorFreesAndTheMainLoopDestroysWhatItUsed) {
  ManualClock clock;
  const ScopedClock scope(clock);
  RunLoop& loop = RunLoop::main();
  const std::string name = "a name too long for a short string";
  const auto captured = std::make_shared<int>();
  auto owner = std::make_shared<int>();
  std::latch reached(1), ended(1);
  int depth = 0;
  auto observer = bus.add(name, [&, captured](const Notification&) {
    if (++depth < 20) return bus.post(name, ValueTree(0.5));
    reached.count_down();
    ended.wait();
  });
  bus.add(
      name, [captured](const Notification&) {}, owner);
  owner.reset();
  std::uint64_t allocated = 1, freed = 1;
  std::thread poster([&] {
    const std::uint64_t before = tests::allocationsOfThisThread(), freedBefore = tests::freesOfThisThread();
    bus.post(name);
    allocated = tests::allocationsOfThisThread() - before;
    freed = tests::freesOfThisThread() - freedBefore;
  });
  reached.wait();
  observer.reset();
  int looks = 0;
  for (; clock.now().sinceStart < std::chrono::seconds(10); ++looks) {
    loop.turn();
    ASSERT_TRUE(loop.nextDue()) << "the delivery is under way";
    clock.jump(*loop.nextDue() - clock.now());
  }
  EXPECT_LT(looks, 22) << "in growing pauses";
  ended.count_down();
  poster.join();
  EXPECT_EQ(allocated, 0U);
  EXPECT_EQ(freed, 0U);
  EXPECT_EQ(captured.use_count(), 3);
  loop.turn();
  EXPECT_EQ(captured.use_count(), 2) << "the owner's registration waits for a change of the bus";
  EXPECT_FALSE(loop.nextDue()) << "an idle program sleeps";
  bus.remove("other", owner);
  EXPECT_EQ(captured.use_count(), 1);
}

}  // namespace
}  // namespace vantrel
