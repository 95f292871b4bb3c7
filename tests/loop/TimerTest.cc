#include "vantrel/loop/Timer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <thread>

#include "tests/support/Scene.h"
#include "vantrel/loop/ManualClock.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using tests::Word;

Duration seconds(const Word& word) { return durationOfSeconds(word.number()); }

/// Repeating timers, which tell at which second they fire; nobody keeps them but "keep".
struct TimerScene : tests::Scene {
  TimerScene() {
    verbs["every"] = [this](const Word& word) {
      timers[word.name] = Timer::repeating(seconds(word), action(word));
    };
    verbs["own"] = [this](const Word& word) {
      timers[word.name] = Timer::repeating(seconds(word), action(word), owner);
    };
    verbs["die"] = [this](const Word&) { owner.reset(); };
    verbs["owner"] = [this](const Word&) { note(known.expired() ? "dead" : "living"); };
    verbs["keep"] = [this](const Word& word) { kept = timers[word.name].lock(); };
    verbs["jump"] = [this](const Word& word) { clock.jump(seconds(word)); };
    verbs["turn"] = [this](const Word&) { loop.turn(); };
    verbs["advance"] = [this](const Word& word) { clock.advance(loop, seconds(word)); };
    verbs["move"] = [this](const Word& word) { timer(word)->setNextFire(Instant{seconds(word)}); };
    verbs["delay"] = [this](const Word& word) { timer(word)->setNextFire(clock.now() + seconds(word)); };
    verbs["fire"] = [this](const Word& word) { timer(word)->fireNow(); };
    verbs["suspend"] = [this](const Word& word) { timer(word)->suspend(); };
    verbs["end"] = [this](const Word& word) { timer(word)->invalidate(); };
    verbs["valid"] = [this](const Word& word) {
      note(!timer(word) ? "freed" : timer(word)->valid() ? "valid" : "ended");
    };
    verbs["due"] = [this](const Word&) { note(loop.nextDue() ? "due" : "never"); };
  }
  ~TimerScene() {
    for (const auto& [name, timer] : timers) {
      if (const auto living = timer.lock()) living->invalidate();
    }
  }

  Timer::Action action(const Word& word) {
    return [call = callback(word, [this] { return "@" + now(); })](Timer&) { call(); };
  }

  std::string now() const {
    char text[40];
    std::snprintf(text, sizeof text, "%.12g", std::chrono::duration<double>(clock.now().sinceStart).count());
    return text;
  }

  std::shared_ptr<Timer> timer(const Word& word) { return timers[word.name].lock(); }

  ManualClock clock;
  ScopedClock scope{clock};
  RunLoop& loop = RunLoop::current();
  std::map<std::string, std::weak_ptr<Timer>> timers;
  std::shared_ptr<Timer> kept;
  std::shared_ptr<int> owner = std::make_shared<int>();
  const std::weak_ptr<int> known = owner;
};

TEST(TimerScenes, GoAsToldHere) {
  const tests::SceneCase scenes[] = {
      {"a timer fires every interval until it is ended, though nobody keeps it",
       "every:t:2 advance:7 valid:t end:t valid:t alive:t advance:7 due",
       "t@2 t@4 t@6 valid freed gone never"},
      {"a late firing comes once, and the rhythm keeps its phase", "every:t:1 jump:1.5 turn advance:2",
       "t@1.5 t@2 t@3"},
      {"however late", "every:t:1 jump:3.5 turn advance:2", "t@3.5 t@4 t@5"},
      {"late by whole intervals, the firing of this very moment is this one",
       "every:t:1 jump:3 turn advance:2", "t@3 t@4 t@5"},
      {"which is not that of a moment later", "every:t:1 jump:2.999999999 turn advance:2",
       "t@2.999999999 t@3 t@4"},
      // That of 2 s comes at 3.5, that of 3 s is skipped; that of 4 s comes at 6, that of 5 s is skipped.
      {"an action that takes longer than the interval skips firings", "every:t:1{jump:2.5} advance:5",
       "t@1 t@3.5 t@6"},
      {"the next firing can be moved, and the interval counts from there",
       "every:t:2 advance:3 move:t:3.5 advance:3 fire:t advance:2", "t@2 t@3.5 t@5.5 t@6 t@8"},
      // 2^63 ns are 9223372036.854775808 s, so the seconds counted from there end in .145224192.
      {"one moved into the far past comes once and keeps its phase",
       "jump:100 every:t:1 move:t:-1e30 advance:2", "t@100 t@100.145224192 t@101.145224192"},
      {"a suspended one stays alive and silent", "every:t:1 suspend:t due advance:86400 valid:t",
       "never valid"},
      {"one that is ended never fires again, whatever is asked",
       "every:t:1 keep:t end:t valid:t alive:t move:t:0 fire:t suspend:t end:t advance:5 due",
       "ended gone never"},
      {"an action may end its own timer", "every:t:1{end:t alive:t} advance:3 valid:t", "t@1 alive freed"},
      {"or move it", "every:t:1{delay:t:5} advance:8", "t@1 t@6"},
      {"or suspend it", "every:t:1{suspend:t} advance:3 valid:t", "t@1 valid"},
      {"a timer dies with its owner", "own:t:1 keep:t advance:1 valid:t die valid:t advance:5 alive:t due",
       "t@1 valid ended gone never"},
      {"which lives until the action returns", "own:t:1{die owner} advance:1 owner", "t@1 living dead"},
      {"an interval of next to nothing or less counts as a tenth of a millisecond",
       "every:a:0 every:b:-5 every:c:1e-9 every:d:1e-4 advance:0.00025",
       "a@0.0001 b@0.0001 c@0.0001 d@0.0001 a@0.0002 b@0.0002 c@0.0002 d@0.0002"},
      {"an interval beyond all time never fires", "every:t:1e30 advance:86400 due", "never"},
  };
  for (const auto& [title, script, told] : scenes) EXPECT_EQ(TimerScene().play(script), told) << title;
}

TEST(TimerTest, ATimerThatOutlivesItsLoopIsHarmless) {
  std::shared_ptr<Timer> timer;
  std::thread([&] { timer = Timer::repeating(1s, [](Timer&) { FAIL(); }); }).join();
  timer->setNextFire({});
  timer->invalidate();
  EXPECT_FALSE(timer->valid());
}

}  // namespace
}  // namespace vantrel
