#include "vantrel/loop/Clock.h"

#include <gmock/gmock.h>

#include <cmath>

#include "tests/support/LogLines.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;

TEST(ClockTest, SecondsBecomeTruncatedAndClampedNanoseconds) {
  const std::pair<double, Duration> cases[] = {{0, 0ns},
                                               {1.5, 1500ms},
                                               {-2, -2s},
                                               {1.9e-9, 1ns},
                                               {-1.9e-9, -1ns},
                                               {std::nan(""), 0ns},
                                               {1e300, Duration::max()},
                                               {-1e300, Duration::min()},
                                               {9.3e9, Duration::max()},
                                               {INFINITY, Duration::max()},
                                               {-INFINITY, Duration::min()}};
  for (const auto& [number, expected] : cases) EXPECT_EQ(durationOfSeconds(number), expected) << number;
}

TEST(ClockTest, EveryDurationOfTheStandardLibraryIsTakenTruncatedAndClamped) {
  const std::pair<AnyDuration, Duration> cases[] = {
      {0.5s, 500ms},
      {-1.5ms, -1500us},
      {2h, 120min},
      {std::chrono::duration<float>(1e30f), Duration::max()},
      {std::chrono::hours::max(), Duration::max()},
      {std::chrono::hours::min(), Duration::min()},
      {std::chrono::duration<std::uint64_t>(~0ULL), Duration::max()},
      {std::chrono::duration<std::int64_t, std::pico>(1'999), 1ns},
      {std::chrono::duration<int, std::ratio<1, 60>>(90), 1500ms}};
  for (const auto& [taken, expected] : cases) EXPECT_EQ(Duration{taken}, expected);
}

TEST(ClockTest, WhatWouldOverflowIsTheLastInstantOrTheLongestDuration) {
  EXPECT_EQ(Instant{1s} + Duration::max(), Instant{Duration::max()});
  EXPECT_EQ(Instant{-1s} + Duration::min(), Instant{Duration::min()});
  EXPECT_EQ(Instant{1s} + 2s, Instant{3s});
  EXPECT_EQ(Instant{1s} - Instant{Duration::min()}, Duration::max());
  EXPECT_EQ(Instant{Duration::min()} - Instant{1s}, Duration::min());
}

TEST(ClockTest, TheClockInForceIsTheInnermostScope) {
  EXPECT_EQ(&Clock::current(), &Clock::system());
  ManualClock outer, inner;
  {
    const ScopedClock first(outer);
    {
      const ScopedClock second(inner);
      EXPECT_EQ(&Clock::current(), &inner);
    }
    EXPECT_EQ(&Clock::current(), &outer);
  }
  EXPECT_EQ(&Clock::current(), &Clock::system());
}

TEST(ManualClockTest, JumpMovesBothTimesAndRunsNothing) {
  ManualClock clock(Date{1000});
  RunLoop loop(&clock);
  bool fired = false;
  loop.at(Instant{1s}, [&] { fired = true; });
  clock.jump(2500ms);
  EXPECT_EQ(clock.now(), Instant{2500ms});
  EXPECT_EQ(clock.date().secondsSince1970, 1002.5);
  EXPECT_FALSE(fired);
  clock.jump(-1s);
  EXPECT_EQ(clock.now(), Instant{2500ms});
}

TEST(ManualClockTest, AdvanceGivesUpALoopThatStaysBusyWithoutTimePassing) {
  ManualClock clock;
  RunLoop loop(&clock);
  std::uint64_t runs = 0;
  const std::function<void()> again = [&] { ++runs, loop.post(again); };
  loop.post(again);
  tests::LogLines lines;
  clock.advance(loop, 1s);
  EXPECT_EQ(runs, 100'000U);
  EXPECT_THAT(lines.take(), testing::ElementsAre(testing::HasSubstr("busy")));
  EXPECT_EQ(clock.now(), Instant{1s});
}

}  // namespace
}  // namespace vantrel
