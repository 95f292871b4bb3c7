// What the loop does of itself goes on without memory: nothing comes out of a turn, nothing is lost.

#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "tests/support/AllocationCounter.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/Timer.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class LoopMemoryTest : public testing::Test {
 protected:
  LoopMemoryTest() { ran.reserve(100); }

  bool turnWithoutMemory() {
    const tests::NoMemory none;
    return loop.turn();
  }

  ManualClock clock;
  ScopedClock scope{clock};
  RunLoop& loop = RunLoop::main();
  std::vector<int> ran;
};

TEST_F(LoopMemoryTest, ARepeatingTimerGoesOnAndMayBeMoved) {
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

TEST_F(LoopMemoryTest, ADelayFromAnotherThreadIsTakenIn) {
  std::thread([this] { MainQueue::postAfter(1s, [this] { ran.push_back(1); }); }).join();
  EXPECT_TRUE(turnWithoutMemory());
  clock.jump(1s);
  EXPECT_TRUE(turnWithoutMemory());
  EXPECT_EQ(ran.size(), 1U);
}

TEST_F(LoopMemoryTest, ANestedTurnLeavesWhatItCannotTakeToTheNextOne) {
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

TEST_F(LoopMemoryTest, APreparedTaskIsQueuedOnceBehindTheOthersWhereThereIsMemory) {
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

TEST_F(LoopMemoryTest, ReadyDescriptorsAreServedInOneTurnOrAllInTheEnd) {
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

TEST_F(LoopMemoryTest, AWatchThatFindsNoMemoryLeavesTheOneBefore) {
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

}  // namespace
}  // namespace vantrel
