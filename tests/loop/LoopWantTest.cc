// What the loop does of itself goes on without memory and without descriptors: nothing comes out of a turn,
// nothing is lost.

#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "tests/support/AllocationCounter.h"
#include "tests/support/LogLines.h"
#include "tests/support/ScopedLimit.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/Timer.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

class LoopWantTest : public testing::Test {
 protected:
  LoopWantTest() { ran.reserve(100); }

  bool turnWithoutMemory() {
    const tests::NoMemory none;
    return loop.turn();
  }

  ManualClock clock;
  ScopedClock scope{clock};
  RunLoop& loop = RunLoop::main();
  std::vector<int> ran;
};

TEST_F(LoopWantTest, ARepeatingTimerGoesOnAndMayBeMoved) {
  const auto timer = Timer::repeating(1s, [this](Timer&) { ran.push_back(1); });
  for (int i = 0; i < 3; ++i) {
    clock.jump(1s);
    EXPECT_TRUE(turnWithoutMemory());
  }
  {
    const tests::NoMemory none;
    timer->suspend();
    timer->fireNow();
  }
  EXPECT_TRUE(turnWithoutMemory());
  EXPECT_EQ(ran.size(), 4U);
  EXPECT_EQ(loop.nextDue(), clock.now() + 1s);
  timer->invalidate();
}

TEST_F(LoopWantTest, ADelayFromAnotherThreadIsTakenIn) {
  std::thread([this] { MainQueue::postAfter(1s, [this] { ran.push_back(1); }); }).join();
  EXPECT_TRUE(turnWithoutMemory());
  clock.jump(1s);
  EXPECT_TRUE(turnWithoutMemory());
  EXPECT_EQ(ran.size(), 1U);
}

TEST_F(LoopWantTest, ANestedTurnLeavesWhatItCannotTakeToTheNextOne) {
  for (int i = 1; i <= 20; ++i) loop.post([this, i] { ran.push_back(i); });
  loop.post([this] {
    for (int i = 22; i <= 90; ++i) loop.post([this, i] { ran.push_back(i); });
    EXPECT_TRUE(turnWithoutMemory());
    EXPECT_EQ(ran.back(), 21);
  });
  loop.post([this] { ran.push_back(21); });
  loop.turn();
  EXPECT_TRUE(turnWithoutMemory());
  EXPECT_EQ(ran.size(), 90U);
  EXPECT_EQ(ran.back(), 90);
}

TEST_F(LoopWantTest, APreparedTaskIsQueuedOnceBehindTheOthersWhereThereIsMemory) {
  std::vector<MainQueue::Prepared> prepared;
  for (int i = 1; i <= 50; ++i) prepared.emplace_back([this, i] { ran.push_back(i); });
  {
    const tests::NoMemory none;
    for (auto& each : prepared) each.post(), each.post();
  }
  MainQueue::Prepared dropped([this] { ran.push_back(-1); });
  dropped.reset();
  dropped.post();
  MainQueue::Prepared last([this] { ran.push_back(51); });
  last.post();
  while (loop.nextDue()) EXPECT_TRUE(turnWithoutMemory());
  EXPECT_EQ(ran.size(), 51U);
}

TEST_F(LoopWantTest, ReadyDescriptorsAreServedInOneTurnOrAllInTheEnd) {
  for (const bool isThereMemory : {true, false}) {
    ran.clear();
    std::vector<int> descriptors;
    for (int i = 0; i < 90; ++i) {
      const int each = descriptors.emplace_back(eventfd(1, EFD_CLOEXEC));
      ASSERT_TRUE(loop.watch(each, RunLoop::Interest::Read, [this, each] {
        ran.push_back(each);
        loop.unwatch(each);
      }));
    }
    EXPECT_TRUE(isThereMemory ? loop.turn() : turnWithoutMemory());
    while (!isThereMemory && turnWithoutMemory()) {
    }
    EXPECT_THAT(ran, testing::UnorderedElementsAreArray(descriptors));
    for (const int each : descriptors) close(each);
  }
}

TEST_F(LoopWantTest, AWatchThatFindsNoMemoryLeavesTheOneBefore) {
  const int ready = eventfd(1, EFD_CLOEXEC);
  ASSERT_TRUE(loop.watch(ready, RunLoop::Interest::Read, [this] { ran.push_back(1); }));
  std::function<void()> other = [this] { ran.push_back(2); };
  {
    const tests::NoMemory none;
    EXPECT_THROW(loop.watch(ready, RunLoop::Interest::Read, std::move(other)), std::bad_alloc);
  }
  loop.turn();
  EXPECT_THAT(ran, ElementsAre(1));
  loop.unwatch(ready);
  close(ready);
}

/// Runs a timer and a post of another thread; whether it watched what is ready.
bool runs(RunLoop& loop) {
  static const int ready = eventfd(1, EFD_CLOEXEC);
  bool called = false;
  loop.watch(ready, RunLoop::Interest::Read, [&] { called = true, loop.unwatch(ready); });
  std::thread poster([&] { loop.post([&] { loop.at(loop.clock().now() + 1ms, [&] { loop.stop(); }); }); });
  loop.run();
  poster.join();
  return called;
}

TEST(LoopDescriptorsTest, WithoutAnyLeftTasksAndTimersGoOnAndWatchesWorkOnceThereAreSome) {
  tests::LogLines lines;
  // With descriptors first: a sanitizer needs some when it meets a type for the first time.
  EXPECT_TRUE(runs(*std::make_unique<RunLoop>()));
  log("before");
  std::optional<tests::ScopedLimit> none(std::in_place, RLIMIT_NOFILE, 3);
  RunLoop loop;
  EXPECT_FALSE(runs(loop));
  EXPECT_EQ(loop.pollDescriptor(), -1);
  EXPECT_GT(loop.pollTimeout(), 0) << "no post could wake a poll that waits for ever";
  none.reset();
  EXPECT_THAT(lines.take(), ElementsAre("before", HasSubstr("Too many open files")));
  EXPECT_TRUE(runs(loop));
}

TEST(LoopDescriptorsTest, WhatSomethingElseClosedIsReplacedAndTheNumbersNewOwnerIsLeftAlone) {
  tests::LogLines lines;
  auto loop = std::make_unique<RunLoop>();
  close(loop->pollDescriptor());
  RunLoop other;  // gets the number, which is no loss to speak of
  EXPECT_TRUE(runs(*loop));
  close(loop->pollDescriptor());
  loop->runFor(30ms);
  EXPECT_LE(loop->wakeUps(), 5U);
  loop.reset();
  EXPECT_TRUE(runs(other));
  EXPECT_THAT(lines.take(), ElementsAre(HasSubstr("closed its descriptors")));
}

}  // namespace
}  // namespace vantrel
