#include "vantrel/loop/ManualClock.h"

#include <algorithm>

#include "vantrel/base/Log.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

constexpr int kMostTurnsAtOneMoment = 100'000;

double seconds(Duration duration) { return std::chrono::duration<double>(duration).count(); }

}  // namespace

ManualClock::ManualClock(Date start) : dateAtStart_(start.secondsSince1970) {}

Instant ManualClock::now() const { return {elapsed_.load()}; }

Date ManualClock::date() const { return {dateAtStart_.load() + seconds(elapsed_.load())}; }

void ManualClock::advance(RunLoop& loop, AnyDuration by) {
  const Instant end = now() + std::max<Duration>(by, Duration{0});
  int turnsHere = 0;
  for (auto due = loop.nextDue(); due && *due <= end; due = loop.nextDue()) {
    if (*due > now()) {
      elapsed_.store(due->sinceStart);
      turnsHere = 0;
    }
    if (++turnsHere > kMostTurnsAtOneMoment) {
      logFormat(LogLevel::Error, "ManualClock: the loop stays busy at %f s, given up after %d turns.",
                seconds(elapsed_.load()), kMostTurnsAtOneMoment);
      break;
    }
    loop.turn();
  }
  elapsed_.store(std::max(end, now()).sinceStart);
}

void ManualClock::jump(AnyDuration by) {
  elapsed_.store((now() + std::max<Duration>(by, Duration{0})).sinceStart);
}

void ManualClock::setDate(Date date) { dateAtStart_.store(date.secondsSince1970 - seconds(elapsed_.load())); }

}  // namespace vantrel
