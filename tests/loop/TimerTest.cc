#include "vantrel/loop/Timer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "vantrel/loop/ManualClock.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class TimerTest : public testing::Test {
 protected:
  Timer::Action note() {
    return [this](Timer&) { fired.push_back(clock.now().sinceStart); };
  }

  ManualClock clock;
  ScopedClock scope{clock};
  RunLoop& loop = RunLoop::current();
  std::vector<Duration> fired;
};

TEST_F(TimerTest, FiresEveryIntervalUntilInvalidatedThoughNobodyKeepsIt) {
  const std::weak_ptr<Timer> timer = Timer::repeating(2s, note());
  clock.advance(loop, 7s);
  EXPECT_THAT(fired, ElementsAre(2s, 4s, 6s));
  ASSERT_FALSE(timer.expired());
  timer.lock()->invalidate();
  EXPECT_TRUE(timer.expired());
  clock.advance(loop, 7s);
  EXPECT_EQ(fired.size(), 3U);
  EXPECT_EQ(loop.nextDue(), std::nullopt);
}

TEST_F(TimerTest, ALateFiringComesOnceAndTheRhythmKeepsItsPhase) {
  const struct {
    Duration stall;
    std::vector<Duration> expected;
  } cases[] = {
      {1500ms, {1500ms, 2s, 3s}},
      {3500ms, {3500ms, 4s, 5s}},
      {3s, {3s, 4s, 5s}},  // late by whole intervals: the one at this very moment is this one
      {2999999999ns, {2999999999ns, 3s, 4s}},
  };
  for (const auto& each : cases) {
    fired.clear();
    const Duration start = clock.now().sinceStart;
    const auto timer = Timer::repeating(1s, note());
    clock.jump(each.stall);
    loop.turn();
    clock.advance(loop, 2s);
    timer->invalidate();
    for (Duration& moment : fired) moment -= start;
    EXPECT_EQ(fired, each.expected) << each.stall.count();
    clock.advance(loop, 1s);
  }
}

TEST_F(TimerTest, AnActionThatTakesLongerThanTheIntervalSkipsFirings) {
  const auto timer = Timer::repeating(1s, [this](Timer&) {
    fired.push_back(clock.now().sinceStart);
    clock.jump(2500ms);
  });
  clock.advance(loop, 5s);
  timer->invalidate();
  // That of 2 s comes at 3.5, that of 3 s is skipped; that of 4 s comes at 6, that of 5 s is skipped.
  EXPECT_THAT(fired, ElementsAre(1s, 3500ms, 6s));
}

TEST_F(TimerTest, TheNextFiringCanBeMovedAndTheIntervalCountsFromThere) {
  const auto timer = Timer::repeating(2s, note());
  clock.advance(loop, 3s);
  timer->setNextFire(Instant{3500ms});
  clock.advance(loop, 3s);
  EXPECT_THAT(fired, ElementsAre(2s, 3500ms, 5500ms));
  timer->fireNow();
  clock.advance(loop, 2s);
  timer->invalidate();
  EXPECT_THAT(fired, ElementsAre(2s, 3500ms, 5500ms, 6s, 8s));
}

TEST_F(TimerTest, AFiringMovedIntoTheFarPastComesOnceAndKeepsItsPhase) {
  clock.jump(100s);
  const auto timer = Timer::repeating(1s, note());
  timer->setNextFire(Instant{Duration::min()});
  clock.advance(loop, 2s);
  timer->invalidate();
  // 2^63 ns are 9223372036.854775808 s, so the seconds counted from there end in .145224192.
  EXPECT_THAT(fired, ElementsAre(100s, 100145224192ns, 101145224192ns));
}

TEST_F(TimerTest, ASuspendedTimerStaysAliveAndSilent) {
  const std::weak_ptr<Timer> timer = Timer::repeating(1s, note());
  timer.lock()->suspend();
  EXPECT_EQ(loop.nextDue(), std::nullopt);
  clock.advance(loop, 24h);
  EXPECT_THAT(fired, IsEmpty());
  ASSERT_FALSE(timer.expired());
  EXPECT_TRUE(timer.lock()->valid());
  timer.lock()->invalidate();
}

TEST_F(TimerTest, AnInvalidatedTimerNeverFiresAgainWhateverIsAsked) {
  auto captured = std::make_shared<int>();
  const auto timer = Timer::repeating(1s, [captured](Timer&) { FAIL(); });
  timer->invalidate();
  EXPECT_FALSE(timer->valid());
  EXPECT_EQ(captured.use_count(), 1);
  timer->setNextFire(clock.now());
  timer->fireNow();
  timer->suspend();
  timer->invalidate();
  clock.advance(loop, 5s);
  EXPECT_EQ(loop.nextDue(), std::nullopt);
}

TEST_F(TimerTest, AnActionMayEndSuspendOrMoveItsOwnTimer) {
  const auto ending = Timer::repeating(1s, [this](Timer& timer) {
    fired.push_back(clock.now().sinceStart);
    timer.invalidate();
  });
  clock.advance(loop, 3s);
  EXPECT_THAT(fired, ElementsAre(1s));
  EXPECT_FALSE(ending->valid());

  fired.clear();
  const auto moving = Timer::repeating(1s, [this](Timer& timer) {
    fired.push_back(clock.now().sinceStart);
    if (fired.size() == 1) {
      timer.setNextFire(clock.now() + 5s);
    } else {
      timer.suspend();
    }
  });
  clock.advance(loop, 20s);
  EXPECT_THAT(fired, ElementsAre(4s, 9s));
  moving->invalidate();
}

TEST_F(TimerTest, ATimerDiesWithItsOwner) {
  auto owner = std::make_shared<int>();
  auto captured = std::make_shared<int>();
  const auto timer = Timer::repeating(
      1s, [this, captured](Timer&) { fired.push_back(clock.now().sinceStart); }, owner);
  clock.advance(loop, 1s);
  EXPECT_TRUE(timer->valid());
  owner.reset();
  EXPECT_FALSE(timer->valid());
  clock.advance(loop, 5s);
  EXPECT_THAT(fired, ElementsAre(1s));
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_EQ(loop.nextDue(), std::nullopt);
}

TEST_F(TimerTest, TheOwnerLivesUntilTheActionReturns) {
  auto owner = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = owner;
  const auto timer = Timer::repeating(
      1s,
      [&](Timer&) {
        owner.reset();
        EXPECT_FALSE(watched.expired());
      },
      owner);
  clock.advance(loop, 1s);
  EXPECT_TRUE(watched.expired());
}

TEST_F(TimerTest, AnIntervalOfNothingCountsAsATenthOfAMillisecond) {
  for (const Duration interval : {Duration(0), Duration(-5s), Duration(1), Duration(100us)}) {
    fired.clear();
    const auto timer = Timer::repeating(interval, note());
    clock.advance(loop, 1ms);
    timer->invalidate();
    EXPECT_EQ(fired.size(), 10U) << interval.count();
  }
}

TEST_F(TimerTest, AnIntervalBeyondAllTimeNeverFires) {
  const auto timer = Timer::repeating(Duration::max(), note());
  clock.advance(loop, 24h);
  EXPECT_THAT(fired, IsEmpty());
  timer->invalidate();
}

TEST_F(TimerTest, ATimerThatOutlivesItsLoopIsHarmless) {
  std::shared_ptr<Timer> timer;
  std::thread([&] { timer = Timer::repeating(1s, [](Timer&) { FAIL(); }); }).join();
  timer->setNextFire(clock.now());
  timer->invalidate();
  EXPECT_FALSE(timer->valid());
}

TEST_F(TimerTest, TenMinutesOfTimersRunThroughWithoutWaiting) {
  const auto fast = Timer::repeating(10ms, note());
  const auto slow = Timer::repeating(1min, note());
  clock.advance(loop, 10min);
  fast->invalidate();
  slow->invalidate();
  EXPECT_EQ(fired.size(), 60'000U + 10U);
}

}  // namespace
}  // namespace vantrel
