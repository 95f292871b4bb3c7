#include "vantrel/loop/RunLoop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/ManualClock.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

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
  int in() const { return ends[0]; }
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

TEST_F(RunLoopTest, ATurnRunsTasksThenDueTimersThenDescriptors) {
  const Pipe pipe;
  pipe.fill();
  ASSERT_TRUE(loop.watch(pipe.in(), RunLoop::Interest::Read, note("descriptor")));
  loop.at(Instant{0s}, note("timer"));
  loop.post(note("task"));
  EXPECT_TRUE(loop.turn());
  EXPECT_THAT(journal, ElementsAre("task", "timer", "descriptor"));
}

TEST_F(RunLoopTest, TimersFireInTheOrderDueAndThenInTheOrderStarted) {
  loop.at(Instant{2s}, note("2a"));
  loop.at(Instant{1s}, note("1a"));
  loop.at(Instant{2s}, note("2b"));
  loop.at(Instant{1s}, note("1b"));
  loop.at(Instant{3s}, note("3"));
  clock.jump(2s);
  EXPECT_TRUE(loop.turn());
  EXPECT_THAT(journal, ElementsAre("1a", "1b", "2a", "2b"));
  EXPECT_FALSE(loop.turn());
}

TEST_F(RunLoopTest, WhatACallbackPostsOrStartsWaitsForTheNextTurn) {
  loop.post([&] {
    loop.post(note("posted by a task"));
    loop.at(Instant{0s}, note("started by a task"));
  });
  loop.at(Instant{0s}, [&] {
    loop.at(Instant{-1s}, note("started by a timer"));
    journal.push_back("timer");
  });
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("timer"));
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("timer", "posted by a task", "started by a timer", "started by a task"));
}

TEST_F(RunLoopTest, OneNowATurn) {
  loop.at(Instant{1s}, [&] { clock.jump(10s); });
  loop.at(Instant{2s}, note("due through the jump"));
  clock.jump(1s);
  loop.turn();
  EXPECT_THAT(journal, ElementsAre());
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("due through the jump"));
}

TEST_F(RunLoopTest, ATimerMayCancelTheNextItselfAndOneThatFired) {
  RunLoop::TimerId own;
  RunLoop::TimerId next;
  own = loop.at(Instant{1s}, [&] {
    loop.cancel(own);
    loop.cancel(next);
    journal.push_back("first");
  });
  next = loop.at(Instant{1s}, note("cancelled"));
  loop.at(Instant{1s}, note("third"));
  clock.jump(1s);
  loop.turn();
  loop.cancel(own);
  EXPECT_THAT(journal, ElementsAre("first", "third"));
}

TEST_F(RunLoopTest, WhatATaskCapturedDiesRightAfterItRan) {
  auto first = std::make_shared<int>();
  const std::weak_ptr<int> watched = first;
  loop.post([kept = std::move(first)] {});
  loop.post([&] { journal.push_back(watched.expired() ? "gone" : "alive"); });
  auto second = std::make_shared<int>();
  const std::weak_ptr<int> timed = second;
  loop.at(Instant{0s}, [kept = std::move(second)] {});
  loop.at(Instant{0s}, [&] { journal.push_back(timed.expired() ? "gone" : "alive"); });
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("gone", "gone"));
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

TEST_F(RunLoopTest, ANestedTurnRunsWhatIsLeftOfTheOuterOneFirst) {
  loop.post([&] {
    loop.post(note("later"));
    loop.turn();
    journal.push_back("outer");
  });
  loop.post(note("second"));
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("second", "later", "outer"));
}

TEST_F(RunLoopTest, TheNextDueMomentIsNowWhileTasksWait) {
  EXPECT_EQ(loop.nextDue(), std::nullopt);
  loop.at(Instant{Duration::max()}, note("never"));
  EXPECT_EQ(loop.nextDue(), std::nullopt);
  loop.at(Instant{5s}, note("timer"));
  EXPECT_EQ(loop.nextDue(), Instant{5s});
  clock.jump(1s);
  loop.post(note("task"));
  EXPECT_EQ(loop.nextDue(), Instant{1s});
  loop.turn();
  EXPECT_EQ(loop.nextDue(), Instant{5s});
}

TEST(RunLoopPollTest, TheTimeoutIsRoundedUpToMillisecondsUntilTheNextDueMoment) {
  struct : ManualClock {
    bool standsStill() const override { return false; }
  } clock;
  RunLoop loop(&clock);
  EXPECT_EQ(loop.pollTimeout(), -1);
  loop.after(Duration::max(), [] {});
  EXPECT_EQ(loop.pollTimeout(), -1);
  loop.after(24h * 365, [] {});
  EXPECT_EQ(loop.pollTimeout(), std::numeric_limits<int>::max());
  loop.after(2.5s, [] {});
  EXPECT_EQ(loop.pollTimeout(), 2500);
  clock.jump(1.0001s);
  EXPECT_EQ(loop.pollTimeout(), 1500);
  clock.jump(10s);
  EXPECT_EQ(loop.pollTimeout(), 0);
  EXPECT_TRUE(loop.turn());
  const auto cancelled = loop.after(-1s, [] { FAIL(); });
  EXPECT_EQ(loop.pollTimeout(), 0);
  loop.cancel(cancelled);
  EXPECT_FALSE(loop.turn());
}

TEST_F(RunLoopTest, TheDescriptorIsReadableExactlyWhileSomethingOtherThanTheClockAsksForATurn) {
  EXPECT_FALSE(readable(loop.pollDescriptor()));
  loop.post([&] { loop.post(note("again")); });
  EXPECT_TRUE(readable(loop.pollDescriptor()));
  loop.turn();
  EXPECT_TRUE(readable(loop.pollDescriptor()));
  loop.turn();
  EXPECT_FALSE(readable(loop.pollDescriptor()));

  const Pipe pipe;
  ASSERT_TRUE(loop.watch(pipe.in(), RunLoop::Interest::Read, [&] { pipe.drain(); }));
  EXPECT_FALSE(readable(loop.pollDescriptor()));
  pipe.fill();
  EXPECT_TRUE(readable(loop.pollDescriptor()));
  loop.turn();
  EXPECT_FALSE(readable(loop.pollDescriptor()));
}

TEST_F(RunLoopTest, ThePollDescriptorShowsWhatIsPostedAfterARunAndAroundNestedTurns) {
  loop.runFor(0s);
  loop.post(note("after the run"));
  EXPECT_TRUE(readable(loop.pollDescriptor()));
  loop.turn();
  EXPECT_FALSE(readable(loop.pollDescriptor()));

  const Pipe pipe;
  pipe.fill();
  ASSERT_TRUE(loop.watch(pipe.in(), RunLoop::Interest::Read, [&] { pipe.drain(); }));
  loop.post([&] {
    loop.turn();
    pipe.fill();
    loop.post(note("between"));
  });
  loop.turn();
  EXPECT_TRUE(readable(loop.pollDescriptor()));
  loop.turn();
  EXPECT_FALSE(readable(loop.pollDescriptor()));
  EXPECT_THAT(journal, ElementsAre("after the run", "between"));
}

TEST_F(RunLoopTest, AfterAnExceptionTheRestIsStillThereAndPostsStillWakeAHost) {
  loop.post([] { throw 1; });
  loop.post(note("left"));
  EXPECT_THROW(loop.turn(), int);
  EXPECT_TRUE(readable(loop.pollDescriptor()));
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("left"));
  loop.post([] { throw 1; });
  EXPECT_THROW(loop.run(), int);
  loop.post(note("posted"));
  EXPECT_TRUE(readable(loop.pollDescriptor()));
}

TEST_F(RunLoopTest, AStopWithoutARunLeavesTheDescriptorQuietAndEndsTheNextRun) {
  loop.stop();
  loop.turn();
  EXPECT_FALSE(readable(loop.pollDescriptor()));
  loop.post(note("not yet"));
  loop.run();
  EXPECT_THAT(journal, ElementsAre());
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("not yet"));
}

TEST_F(RunLoopTest, StopEndsTheInnermostRunAfterTheCurrentTurn) {
  loop.post([&] {
    loop.post([&] { loop.stop(); });
    loop.post(note("same turn"));
    loop.run();
    journal.push_back("inner ended");
    loop.stop();
  });
  loop.run();
  EXPECT_THAT(journal, ElementsAre("same turn", "inner ended"));
}

TEST_F(RunLoopTest, AWatchMayEndItselfAndTheNextReadyOne) {
  const Pipe a;
  const Pipe b;
  a.fill();
  b.fill();
  const auto endBoth = [&] {
    loop.unwatch(a.in());
    loop.unwatch(b.in());
    journal.push_back("called");
  };
  ASSERT_TRUE(loop.watch(a.in(), RunLoop::Interest::Read, endBoth));
  ASSERT_TRUE(loop.watch(b.in(), RunLoop::Interest::Read, endBoth));
  loop.turn();
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("called"));
}

TEST_F(RunLoopTest, AWatchReplacedInACallbackIsNotCalledWithTheOldReadiness) {
  const Pipe a;
  const Pipe b;
  a.fill();
  b.fill();
  // Whichever comes first replaces the other one.
  const auto replace = [&](const Pipe& own, const Pipe& other) {
    return [&] {
      loop.unwatch(own.in());
      loop.watch(other.in(), RunLoop::Interest::Read, note("replaced"));
    };
  };
  ASSERT_TRUE(loop.watch(a.in(), RunLoop::Interest::Read, replace(a, b)));
  ASSERT_TRUE(loop.watch(b.in(), RunLoop::Interest::Read, replace(b, a)));
  loop.turn();
  EXPECT_THAT(journal, ElementsAre());
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("replaced"));
}

TEST_F(RunLoopTest, InterestDecidesWhichReadinessCounts) {
  const Pipe pipe;
  ASSERT_TRUE(loop.watch(pipe.ends[1], RunLoop::Interest::Write, note("writable")));
  ASSERT_TRUE(loop.watch(pipe.in(), RunLoop::Interest::Read, note("readable")));
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("writable"));
  loop.unwatch(pipe.ends[1]);
  pipe.fill();
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("writable", "readable"));
}

TEST_F(RunLoopTest, AHangUpCallsTheWatch) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  ASSERT_TRUE(loop.watch(ends[0], RunLoop::Interest::Read, note("closed")));
  close(ends[1]);
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("closed"));
  loop.unwatch(ends[0]);
  close(ends[0]);
}

TEST_F(RunLoopTest, RefusedDescriptorsAreNotWatched) {
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  EXPECT_FALSE(loop.watch(file, RunLoop::Interest::Read, note("file")));
  close(file);
  EXPECT_FALSE(loop.watch(file, RunLoop::Interest::Read, note("closed")));
  EXPECT_FALSE(loop.watch(-1, RunLoop::Interest::Read, note("negative")));
  loop.unwatch(-1);
  EXPECT_FALSE(loop.turn());
}

TEST_F(RunLoopTest, MoreReadyDescriptorsThanFitOneLookAreAllServed) {
  std::vector<std::unique_ptr<Pipe>> pipes;
  int calls = 0;
  for (int i = 0; i < 150; ++i) {
    pipes.push_back(std::make_unique<Pipe>());
    const Pipe& pipe = *pipes.back();
    pipe.fill();
    ASSERT_TRUE(loop.watch(pipe.in(), RunLoop::Interest::Read, [&] {
      pipe.drain();
      ++calls;
    }));
  }
  loop.turn();
  EXPECT_EQ(calls, 150);
}

TEST_F(RunLoopTest, ADyingLoopDropsEverythingUnrunAndRefusesMore) {
  auto dying = std::make_unique<RunLoop>(&clock);
  const auto handle = dying->handle();
  const auto token = std::shared_ptr<int>(new int, [&, raw = dying.get()](int* value) {
    delete value;
    raw->post(note("too late"));
    raw->at(Instant{0s}, note("too late"));
    raw->cancel({});
    journal.push_back("dropped");
  });
  std::weak_ptr<int> watched = token;
  dying->post([token, this] { journal.push_back("task"); });
  dying->at(Instant{0s}, [token, this] { journal.push_back("timer"); });
  const_cast<std::shared_ptr<int>&>(token).reset();
  EXPECT_FALSE(watched.expired());
  dying.reset();
  EXPECT_TRUE(watched.expired());
  EXPECT_TRUE(handle.expired());
  EXPECT_THAT(journal, ElementsAre("dropped"));
}

TEST_F(RunLoopTest, AMillionTimersStartedAndCancelledLeaveNothing) {
  auto token = std::make_shared<int>();
  for (int i = 0; i < 1'000'000; ++i) {
    loop.cancel(loop.at(Instant{1h}, [token] {}));
  }
  EXPECT_EQ(token.use_count(), 1);
  EXPECT_EQ(loop.nextDue(), std::nullopt);
}

TEST_F(RunLoopTest, ARunUnderAManualClockEndsOnceSomebodyMovesTheClock) {
  loop.at(Instant{10min}, [&] { loop.stop(); });
  std::thread mover([&] { clock.jump(10min); });
  loop.run();
  mover.join();
  EXPECT_EQ(loop.nextDue(), std::nullopt);
}

TEST(RunLoopThreadsTest, ManyThreadsPostAndEveryTaskRunsInTheOrderOfItsThread) {
  constexpr int kThreads = 4;
  constexpr int kTasks = 5000;
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

TEST(RunLoopThreadsTest, StopFromAnotherThreadWakesASleepingLoop) {
  RunLoop loop;
  std::thread stopper([&] { loop.stop(); });
  loop.run();
  stopper.join();
  EXPECT_LE(loop.wakeUps(), 1U);
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

TEST(RunLoopThreadsTest, AnIdleLoopSleepsOnce) {
  RunLoop loop;
  loop.at(loop.clock().now() + 1h, [] {});
  loop.runFor(30ms);
  EXPECT_EQ(loop.wakeUps(), 1U);
}

TEST(RunLoopThreadsTest, ATimerUnderTheSystemClockNeverFiresEarlyAndTakesOneWakeUp) {
  RunLoop loop;
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

TEST(MainQueueTest, TasksRunInOrderAndNeverInsideThePost) {
  std::vector<std::string> journal;
  MainQueue::post([&] { journal.push_back("first"); });
  MainQueue::postAfter(0s, [&] { journal.push_back("second"); });
  MainQueue::postAfter(-1s, [&] { journal.push_back("third"); });
  EXPECT_THAT(journal, ElementsAre());
  RunLoop::main().turn();
  EXPECT_THAT(journal, ElementsAre("first", "second", "third"));
}

TEST(MainQueueTest, ADelayCountsFromTheCallEvenFromAnotherThread) {
  ManualClock clock;
  const ScopedClock scope(clock);
  RunLoop& main = RunLoop::main();
  std::vector<Instant> fired;
  std::thread([&] { MainQueue::postAfter(3s, [&] { fired.push_back(clock.now()); }); }).join();
  MainQueue::postAfter(4s, [&] { fired.push_back(clock.now()); });
  clock.jump(2s);
  clock.advance(main, 10s);
  EXPECT_THAT(fired, ElementsAre(Instant{3s}, Instant{4s}));
}

TEST(MainQueueTest, ATaskWhoseOwnerIsGoneIsDroppedUnrun) {
  ManualClock clock;
  const ScopedClock scope(clock);
  auto alive = std::make_shared<int>();
  auto gone = std::make_shared<int>();
  auto captured = std::make_shared<int>();
  std::vector<std::string> journal;
  MainQueue::postAfter(
      1s, [&] { journal.push_back("alive"); }, alive);
  MainQueue::postAfter(
      1s, [&, captured] { journal.push_back("gone"); }, gone);
  gone.reset();
  clock.advance(RunLoop::main(), 2s);
  EXPECT_THAT(journal, ElementsAre("alive"));
  EXPECT_EQ(captured.use_count(), 1);
}

}  // namespace
}  // namespace vantrel
