#include "vantrel/loop/NotificationBus.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <map>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/AllocationCounter.h"
#include "tests/support/Scene.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/loop/detail/NameHash.h"

namespace vantrel {
namespace {

using testing::ElementsAre;
using tests::Word;

class NotificationBusTest : public testing::Test {
 protected:
  NotificationBus::Action note(std::string text) {
    return [this, text](const Notification&) { journal.push_back(text); };
  }

  NotificationBus bus;
  std::vector<std::string> journal;
};

/// A bus with observers of "x" (but for those of all, or of an event that is named); with owners by name.
struct BusScene : tests::Scene {
  BusScene() {
    verbs["add"] = [this](const Word& word) { kept[word.name] = bus->add(event(word.detail), action(word)); };
    verbs["all"] = [this](const Word& word) { kept[word.name] = bus->addForAll(action(word)); };
    verbs["end"] = [this](const Word& word) { kept[word.name].reset(); };
    verbs["move"] = [this](const Word& word) { kept[word.detail] = std::move(kept[word.name]); };
    verbs["own"] = [this](const Word& word) { bus->add("x", action(word), ownerOf(word)); };
    verbs["own-y"] = [this](const Word& word) { bus->add("y", action(word), ownerOf(word)); };
    verbs["remove"] = [this](const Word& word) { bus->remove(event(word.detail), known[word.name]); };
    verbs["die"] = [this](const Word& word) { owners[word.name].reset(); };
    verbs["owner"] = [this](const Word& word) { note(known[word.name].expired() ? "dead" : "living"); };
    verbs["post"] = [this](const Word& word) {
      try {
        bus->post(event(word.name));
        note("|");
      } catch (int) {
        note("thrown");
      }
    };
    verbs["change"] = [this](const Word&) { static_cast<void>(bus->add("z", [](const Notification&) {})); };
    verbs["turn"] = [](const Word&) { RunLoop::main().turn(); };
    verbs["destroy"] = [this](const Word&) { bus.reset(); };
  }

  static std::string event(const std::string& name) { return name.empty() ? "x" : name; }

  NotificationBus::Action action(const Word& word) {
    return [call = callback(word)](const Notification&) { call(); };
  }

  std::weak_ptr<int> ownerOf(const Word& word) {
    if (!owners.contains(word.detail)) owners[word.detail] = std::make_shared<int>();
    return known[word.detail] = owners[word.detail];
  }

  std::unique_ptr<NotificationBus> bus = std::make_unique<NotificationBus>();
  std::map<std::string, NotificationBus::Subscription> kept;
  std::map<std::string, std::shared_ptr<int>> owners;
  std::map<std::string, std::weak_ptr<int>> known;
};

TEST(NotificationBusScenes, GoAsToldHere) {
  const tests::SceneCase scenes[] = {
      {"observers of the name are called in order, then those of all",
       "all:all add:a add:other:y add:b post post:nobody", "a b all | all |"},
      {"a subscription ends when it is reset, replaced or destroyed",
       "add:a add:b post add:b end:a end:a post alive:a", "a b | b | gone"},
      {"and lives on where it is moved", "add:a move:a:c post end:a post end:c post", "a | a | |"},
      {"an observer may remove itself, and its action stays whole while it runs",
       "add:a{end:a alive:a} add:b post post turn alive:a", "a alive b | b | gone"},
      {"one removed during a delivery is not called in it", "add:a{end:b end:all} add:b all:all add:c post",
       "a c |"},
      {"one added during a delivery waits for the next event", "add:a{end:a add:b all:c} post post",
       "a | b c |"},
      {"owned registrations end by removal of their name alone",
       "own:x1:me own:x2:me own-y:y:me own:other:you remove:me remove:me:unknown post post:y", "other | y |"},
      {"a dead owner is never called, and its registration is cleared at the next change",
       "own:a:me post die:me alive:a post post alive:a change alive:a own:b:me post",
       "a | alive | | alive gone |"},
      {"such as a removal", "own:a:me die:me remove:me alive:a", "gone"},
      {"an owner that dies during the delivery is not called",
       "own:a:me{die:you die:me alive:b} own:b:you post post", "a alive | |"},
      {"an owner lives until its action returns", "own:a:me{die:me owner:me} post owner:me",
       "a living | dead"},
      {"what an observer throws reaches the poster and changes nothing",
       "add:a{throw} add:b post alive:a end:a alive:a post", "a thrown alive gone b |"},
      {"a bus may die inside its own delivery, before its subscriptions",
       "add:a{destroy alive:a} add:b own:c:me die:me post", "a alive |"},
  };
  for (const auto& [title, script, told] : scenes) EXPECT_EQ(BusScene().play(script), told) << title;
}

TEST_F(NotificationBusTest, AnEventCarriesItsNameObjectAndUserInformation) {
  const ValueTree object(7);
  const ValueTree info = ValueTree::dictionary({{"k", 1}});
  std::vector<std::pair<const ValueTree*, const ValueTree*>> seen;
  const auto keep = bus.add("event", [&](const Notification& event) {
    EXPECT_EQ(event.name, "event");
    seen.emplace_back(event.object, event.userInfo);
  });
  bus.post("event");
  bus.post("event", object);
  bus.post("event", nullptr, &info);
  EXPECT_EQ(seen, (decltype(seen){{nullptr, nullptr}, {&object, nullptr}, {nullptr, &info}}));
}

TEST_F(NotificationBusTest, NamesAreToldApart) {
  std::vector<std::string> names = {"", "a", "b", std::string("a\0b", 3), std::string("a\0c", 3)};
  for (int i = 0; i < 200; ++i) names.push_back("Prefix-" + std::to_string(i) + "-suffix");
  for (std::size_t length = 1; length < 40; ++length) names.push_back(std::string(length, 'q'));
  names.insert(names.end(), {"aaaaaaa", "Z\xe5;\xe0\xb8\xf8^\xc3"});
  ASSERT_EQ(loop::detail::hashOf(names.back()), loop::detail::hashOf(*(names.end() - 2)));
  std::vector<NotificationBus::Subscription> kept;
  for (const std::string& name : names) kept.push_back(bus.add(name, note(name)));
  std::swap(kept.front(), kept.back());
  for (const std::string& name : names) bus.post(name);
  EXPECT_EQ(journal, names);
  journal.clear();
  kept.resize(1);
  for (const std::string& name : names) bus.post(name);
  EXPECT_THAT(journal, ElementsAre(names.back())) << "the one that is left, of two with one hash";
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

TEST_F(NotificationBusTest, WhatAnActionCapturedMayUseTheBusWhenItDies) {
  auto inner = std::make_shared<NotificationBus::Subscription>(bus.add("x", note("inner")));
  auto outer = bus.add("x", [inner](const Notification&) {});
  inner.reset();
  outer.reset();
  bus.post("x");
  EXPECT_THAT(journal, ElementsAre());
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
