#include "vantrel/loop/Clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "vantrel/base/Log.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;

TEST(ClockTest, SecondsBecomeTruncatedAndClampedNanoseconds) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const struct {
    double seconds;
    Duration expected;
  } cases[] = {
      {0, 0ns},
      {1.5, 1500ms},
      {-2, -2s},
      {1.9e-9, 1ns},
      {-1.9e-9, -1ns},
      {1e300, Duration::max()},
      {-1e300, Duration::min()},
      {9.3e9, Duration::max()},
      {kInfinity, Duration::max()},
      {-kInfinity, Duration::min()},
      {std::nan(""), 0ns},
  };
  for (const auto& each : cases) EXPECT_EQ(durationOfSeconds(each.seconds), each.expected) << each.seconds;
}

TEST(ClockTest, EveryDurationOfTheStandardLibraryIsTakenTruncatedAndClamped) {
  const struct {
    AnyDuration taken;
    Duration expected;
  } cases[] = {
      {0.5s, 500ms},
      {-1.5ms, -1500us},
      {std::chrono::duration<float>(1e30f), Duration::max()},
      {2h, 120min},
      {std::chrono::hours::max(), Duration::max()},
      {std::chrono::hours::min(), Duration::min()},
      {std::chrono::duration<std::uint64_t>(~0ULL), Duration::max()},
      {std::chrono::duration<std::int64_t, std::pico>(1'999), 1ns},
      {std::chrono::duration<int, std::ratio<1, 60>>(90), 1500ms},
  };
  for (const auto& each : cases) EXPECT_EQ(Duration{each.taken}, each.expected);
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
  ManualClock outer;
  ManualClock inner;
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

TEST(ClockTest, TheSystemClockIsMonotonicAndKnowsTheCentury) {
  const Instant before = Clock::system().now();
  EXPECT_LE(before, Clock::system().now());
  EXPECT_GT(Clock::system().date().secondsSince1970, 1'600'000'000);
  EXPECT_FALSE(Clock::system().standsStill());
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

TEST(ManualClockTest, TheCalendarCanBeSetAlone) {
  ManualClock clock(Date{1000});
  clock.jump(1s);
  clock.setDate(Date{50});
  EXPECT_EQ(clock.date().secondsSince1970, 50);
  EXPECT_EQ(clock.now(), Instant{1s});
  clock.jump(2s);
  EXPECT_EQ(clock.date().secondsSince1970, 52);
}

TEST(ManualClockTest, AdvanceStopsAtEveryDueMomentOnTheWay) {
  ManualClock clock;
  RunLoop loop(&clock);
  std::vector<Instant> seen;
  loop.at(Instant{3s}, [&] { seen.push_back(clock.now()); });
  loop.at(Instant{1s}, [&] {
    seen.push_back(clock.now());
    loop.at(Instant{2s}, [&] { seen.push_back(clock.now()); });
  });
  loop.at(Instant{6s}, [&] { seen.push_back(clock.now()); });
  clock.advance(loop, 5s);
  EXPECT_EQ(seen, (std::vector{Instant{1s}, Instant{2s}, Instant{3s}}));
  EXPECT_EQ(clock.now(), Instant{5s});
}

TEST(ManualClockTest, AdvanceGivesUpALoopThatStaysBusyWithoutTimePassing) {
  ManualClock clock;
  RunLoop loop(&clock);
  std::uint64_t runs = 0;
  std::function<void()> again = [&] {
    ++runs;
    loop.post(again);
  };
  loop.post(again);
  std::vector<std::string> lines;
  const ScopedLogSink sink([&](std::string_view line) { lines.emplace_back(line); });
  clock.advance(loop, 1s);
  EXPECT_EQ(runs, 100'000U);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("busy"), std::string::npos);
  EXPECT_EQ(clock.now(), Instant{1s});
}

}  // namespace
}  // namespace vantrel
