#include "vantrel/loop/RunLoop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Scene.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/ManualClock.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using tests::Word;

bool readable(int descriptor) {
  pollfd poll{descriptor, POLLIN, 0};
  return ::poll(&poll, 1, 0) == 1;
}

struct Pipe {
  Pipe() { EXPECT_EQ(pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC), 0); }
  ~Pipe() {
    close(ends[0]);
    close(ends[1]);
  }
  void fill() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
  void drain() const {
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
  }
  std::array<int, 2> ends{};
};

class RunLoopTest : public testing::Test {
 protected:
  RunLoop::Task note(std::string text) {
    return [this, text] { journal.push_back(text); };
  }

  ManualClock clock;
  RunLoop loop{&clock};
  std::vector<std::string> journal;
};

/// A loop with timers and pipes by name; a small letter is the reading end of a pipe, a capital the writing
/// one.
struct LoopScene : tests::Scene {
  LoopScene() {
    verbs["post"] = [this](const Word& word) { loop.post(callback(word)); };
    verbs["at"] = [this](const Word& word) {
      timers[word.name] = loop.at(Instant{durationOfSeconds(word.number())}, callback(word));
    };
    verbs["cancel"] = [this](const Word& word) { loop.cancel(timers[word.name]); };
    verbs["watch"] = [this](const Word& word) {
      const auto interest = std::islower(word.detail[0]) ? RunLoop::Interest::Read : RunLoop::Interest::Write;
      EXPECT_TRUE(loop.watch(end(word.detail), interest, callback(word)));
    };
    verbs["unwatch"] = [this](const Word& word) { loop.unwatch(end(word.name)); };
    verbs["fill"] = [this](const Word& word) { pipes[word.name].fill(); };
    verbs["drain"] = [this](const Word& word) { pipes[word.name].drain(); };
    verbs["close"] = [this](const Word& word) { close(std::exchange(end(word.name), -1)); };
    verbs["jump"] = [this](const Word& word) { clock.jump(durationOfSeconds(word.number())); };
    verbs["turn"] = [this](const Word&) { orThrown([this] { note(loop.turn() ? "|" : "-"); }); };
    verbs["run"] = [this](const Word&) { orThrown([this] { loop.run(), note("ended"); }); };
    verbs["stop"] = [this](const Word&) { loop.stop(); };
    verbs["poll"] = [this](const Word&) { note(readable(loop.pollDescriptor()) ? "awake" : "asleep"); };
    verbs["wait"] = [this](const Word&) { note(std::to_string(loop.pollTimeout())); };
    verbs["due"] = [this](const Word&) {
      note(loop.nextDue() ? std::to_string(loop.nextDue()->sinceStart / 1s) : "never");
    };
  }

  int& end(std::string pipe) {
    const bool reads = std::islower(pipe[0]);
    pipe[0] = static_cast<char>(std::tolower(pipe[0]));
    return pipes[pipe].ends[reads ? 0 : 1];
  }

  void orThrown(const std::function<void()>& action) {
    try {
      action();
    } catch (int) {
      note("thrown");
    }
  }

  struct : ManualClock {
    bool standsStill() const override { return false; }
  } clock;
  RunLoop loop{&clock};
  std::map<std::string, RunLoop::TimerId> timers;
  std::map<std::string, Pipe> pipes;
};

TEST(RunLoopScenes, GoAsToldHere) {
  const tests::SceneCase scenes[] = {
      {"a turn runs tasks, then due timers, then descriptors",
       "fill:p watch:descriptor:p at:timer:0 post:task turn", "task timer descriptor |"},
      {"timers fire in the order due, and then in the order started",
       "at:2a:2 at:1a:1 at:2b:2 at:1b:1 at:3:3 jump:2 turn turn", "1a 1b 2a 2b | -"},
      {"what a callback posts or starts waits for the next turn",
       "post:a{post:b at:c:0} at:d:0{at:e:-1} turn turn", "a d | b e c |"},
      {"there is one now a turn", "at:a:1{jump:10} at:b:2 jump:1 turn turn", "a | b |"},
      {"a timer may cancel itself, the next, and one that fired",
       "at:a:1{cancel:a cancel:b} at:b:1 at:c:1 jump:1 turn cancel:a", "a c |"},
      {"a nested turn runs what is left of the outer one first",
       "post:a{post:b turn post:c} post:d turn turn", "a d b | | c |"},
      {"what is captured dies right after its call, or when its timer is cancelled",
       "post:a post:b{alive:a} at:c:0 at:d:0{alive:c} turn at:e:9 alive:e cancel:e alive:e",
       "a b gone c d gone | alive gone"},
      {"the next due moment is now while tasks wait",
       "due at:x:1e30 due at:t:5 due jump:1 post:a due turn due", "never never 5 1 a | 5"},
      {"the descriptor is readable while something other than the clock asks for a turn",
       "poll post:a{post:b} poll turn poll turn poll watch:w:p{drain:p} poll fill:p poll turn poll",
       "asleep awake a | awake b | asleep asleep awake w | asleep"},
      {"it shows what is posted after a run and around nested turns",
       "stop run post:a poll turn poll fill:p watch:w:p{drain:p} post:b{turn fill:p post:c} turn poll turn "
       "poll",
       "ended awake a | asleep b w | w | awake c | asleep"},
      {"a poll may wait until the next due moment, in milliseconds rounded up",
       "wait at:x:1e30 wait at:y:31536000 wait at:z:2.5 wait jump:1.0001 wait jump:10 wait turn at:c:-1 wait "
       "cancel:c turn",
       "-1 -1 2147483647 2500 1500 0 z | 0 -"},
      {"after an exception the rest is still there, and posts still wake a host",
       "post:a{throw} post:b turn poll turn post:c{throw} run post:d poll",
       "a thrown awake b | c thrown awake"},
      {"a stop without a run leaves the descriptor quiet and ends the next run",
       "stop turn poll post:a run turn", "- asleep ended a |"},
      {"a stop ends the innermost run after the current turn", "post:a{post:b{stop} post:c run stop} run",
       "a b c ended ended"},
      {"a watch may end itself and the next ready one",
       "fill:p fill:q watch:w:p{unwatch:p unwatch:q} watch:w:q{unwatch:p unwatch:q} turn turn", "w | -"},
      {"one that is replaced in a callback is not called with the old readiness",
       "fill:p fill:q watch:w:p{unwatch:p watch:new:q} watch:w:q{unwatch:q watch:new:p} turn turn",
       "w | new |"},
      {"the interest decides which readiness counts",
       "watch:writable:P watch:readable:p turn unwatch:P fill:p turn", "writable | readable |"},
      {"a hang-up calls the watch", "watch:closed:p close:P turn", "closed |"},
  };
  for (const auto& [title, script, told] : scenes) EXPECT_EQ(LoopScene().play(script), told) << title;
}

TEST_F(RunLoopTest, WhatACancelledTimerCapturedDiesAtOnceAndMayUseTheLoop) {
  const auto other = loop.at(Instant{1s}, note("other"));
  auto token = std::shared_ptr<int>(new int, [&](int* value) {
    delete value;
    loop.cancel(other);
    loop.post(note("from the destructor"));
  });
  const auto id = loop.at(Instant{1s}, [kept = std::move(token)] {});
  loop.cancel(id);
  clock.advance(loop, 2s);
  EXPECT_THAT(journal, ElementsAre("from the destructor"));
}

TEST_F(RunLoopTest, RefusedDescriptorsAreNotWatched) {
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  for (const int refused : {file, -1, file}) {
    EXPECT_FALSE(loop.watch(refused, RunLoop::Interest::Read, note("watched")));
    loop.unwatch(refused);
    if (refused == -1) close(file);
  }
  EXPECT_FALSE(loop.turn());
}

TEST_F(RunLoopTest, ADyingLoopDropsEverythingUnrunAndRefusesMore) {
  auto dying = std::make_unique<RunLoop>(&clock);
  const auto handle = dying->handle();
  auto token = std::shared_ptr<int>(new int, [&, raw = dying.get()](int* value) {
    delete value;
    raw->post(note("too late"));
    raw->at(Instant{0s}, note("too late"));
    raw->cancel({});
    journal.push_back("dropped");
  });
  dying->at(Instant{0s}, [token, this] { journal.push_back("timer"); });
  dying->post([kept = std::move(token), this] { journal.push_back("task"); });
  dying.reset();
  EXPECT_TRUE(handle.expired());
  EXPECT_THAT(journal, ElementsAre("dropped"));
}

TEST(RunLoopThreadsTest, ManyThreadsPostAndEveryTaskRunsInTheOrderOfItsThread) {
  constexpr int kThreads = 4, kTasks = 5000;
  RunLoop loop;
  std::array<int, kThreads> next{};
  int done = 0;
  bool inOrder = true;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kTasks; ++i) {
        loop.post([&, thread, i] {
          inOrder = inOrder && next[thread]++ == i;
          if (++done == kThreads * kTasks) loop.stop();
        });
      }
    });
  }
  loop.run();
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(done, kThreads * kTasks);
}

TEST(RunLoopThreadsTest, ARunStoppedInItsSleepLeavesAPollThatWakes) {
  RunLoop loop;
  while (loop.wakeUps() == 0) {
    std::thread stopper([&] { loop.stop(); });
    loop.run();
    stopper.join();
  }
  EXPECT_FALSE(readable(loop.pollDescriptor()));
  loop.post([] {});
  EXPECT_TRUE(readable(loop.pollDescriptor()));
}

TEST(RunLoopThreadsTest, ATimerUnderTheSystemClockNeverFiresEarlyAndTakesOneWakeUp) {
  RunLoop loop;
  loop.at(loop.clock().now() + 1h, [] {});
  const Instant due = loop.clock().now() + 5300us;
  Instant fired;
  loop.at(due, [&] {
    fired = loop.clock().now();
    loop.stop();
  });
  loop.run();
  EXPECT_GE(fired, due);
  EXPECT_EQ(loop.wakeUps(), 1U);
}

TEST(RunLoopThreadsTest, EveryThreadHasALoopAndTheMainLoopBelongsToTheFirstWhoAsks) {
  MainQueue::post([] {});
  RunLoop& main = RunLoop::main();
  EXPECT_TRUE(main.isCurrent());
  EXPECT_EQ(&RunLoop::current(), &main);
  std::thread([&] {
    EXPECT_FALSE(main.isCurrent());
    RunLoop& own = RunLoop::current();
    EXPECT_NE(&own, &main);
    EXPECT_EQ(&own, &RunLoop::current());
    EXPECT_TRUE(own.isCurrent());
  }).join();
  main.turn();
}

TEST(RunLoopThreadsTest, AThreadLocalObjectMayUseTheLoopUntilTheThreadsVeryEnd) {
  RunLoop::main();
  static bool ran;
  struct Late {
    ~Late() {
      RunLoop::current().post([] { ran = true; });
      RunLoop::current().turn();
    }
  };
  std::thread([] {
    static thread_local Late late;
    static_cast<void>(&late);
    RunLoop::current().turn();
  }).join();
  EXPECT_TRUE(ran);
}

TEST(MainQueueTest, ADelayCountsFromTheCallEvenFromAnotherThreadAndEndsWithItsOwner) {
  ManualClock clock;
  const ScopedClock scope(clock);
  RunLoop& main = RunLoop::main();
  std::vector<Instant> fired;
  std::thread([&] { MainQueue::postAfter(3s, [&] { fired.push_back(clock.now()); }); }).join();
  MainQueue::postAfter(4s, [&] { fired.push_back(clock.now()); });
  auto owner = std::make_shared<int>();
  MainQueue::postAfter(
      3s, [] { FAIL(); }, owner);
  owner.reset();
  clock.jump(2s);
  clock.advance(main, 10s);
  EXPECT_THAT(fired, ElementsAre(Instant{3s}, Instant{4s}));
}

}  // namespace
}  // namespace vantrel
