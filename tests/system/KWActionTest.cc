#include "vantrel/system/KWAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <latch>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/AllocationCounter.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class KWActionTest : public testing::Test {
 protected:
  KWActionTest() { KWAction::resetForTests(); }
  ~KWActionTest() override { KWAction::resetForTests(); }

  KWAction::Task note(std::string text) {
    return [this, text] { journal.push_back(text); };
  }
  Timer::Action noteTime() {
    return [this](Timer&) { fired.push_back(clock.now().sinceStart); };
  }
  void pass(double seconds) { clock.advance(loop, durationOfSeconds(seconds)); }

  ManualClock clock{Date{1'700'000'000}};
  ScopedClock scope{clock};
  RunLoop& loop = RunLoop::main();
  std::vector<std::string> journal;
  std::vector<Duration> fired;
};

TEST_F(KWActionTest, MainTaskReturnsBeforeTheTaskRuns) {
  KWAction::mainTask(note("task"));
  EXPECT_THAT(journal, IsEmpty());
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("task"));
}

TEST_F(KWActionTest, SubTasksRunOnOtherThreadsAndMayOverlap) {
  std::latch both(2);
  std::latch done(2);
  const auto caller = std::this_thread::get_id();
  std::atomic<int> elsewhere = 0;
  for (int i = 0; i < 2; ++i) {
    KWAction::subTask([&] {
      both.arrive_and_wait();  // passes only when both run at once
      if (std::this_thread::get_id() != caller) ++elsewhere;
      done.count_down();
    });
  }
  done.wait();
  EXPECT_EQ(elsewhere, 2);
}

TEST_F(KWActionTest, TheFinalTaskRunsOnceOnTheMainThreadAfterAllMembers) {
  std::atomic<int> finished = 0;
  int finals = 0;
  KWAction::subTasks_Final({[&] { ++finished; }, [&] { ++finished; }, nullptr, [&] { ++finished; }}, [&] {
    ++finals;
    EXPECT_EQ(finished, 3);
    EXPECT_TRUE(loop.isCurrent());
    loop.stop();
  });
  loop.run();
  loop.turn();
  EXPECT_EQ(finals, 1);
}

TEST_F(KWActionTest, TheFinalTaskOfAnEmptyListIsQueuedAtOnce) {
  KWAction::subTasks_Final({}, note("final"));
  EXPECT_THAT(journal, IsEmpty());
  loop.turn();
  EXPECT_THAT(journal, ElementsAre("final"));
  KWAction::subTasks_Final({}, nullptr);
  EXPECT_FALSE(loop.turn());
}

TEST_F(KWActionTest, WithoutMemoryAGroupIsQueuedWholeOrNotAtAll) {
  int refused = 0;
  for (int successes = 0; successes < 30; ++successes) {
    std::atomic<int> members = 0;
    std::vector<KWAction::Task> tasks(3, [&] { ++members; });
    int finals = 0;
    KWAction::Task final = [&] { ++finals, loop.stop(); };
    bool queued = true;
    try {
      const tests::FailingAllocation failing(successes);
      KWAction::subTasks_Final(std::move(tasks), std::move(final));
    } catch (const std::bad_alloc&) {
      queued = false;
      ++refused;
    }
    if (queued) loop.run();
    // Behind whatever may have been queued.
    KWAction::subTasks_Final({[] {}}, [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(std::pair(members.load(), finals), std::pair(queued ? 3 : 0, queued ? 1 : 0)) << successes;
  }
  EXPECT_GT(refused, 3);
}

TEST_F(KWActionTest, ADelayedTaskRunsAtItsMoment) {
  const struct {
    double seconds;
    Duration expected;
  } cases[] = {
      {1.5, 1500ms}, {0, 0ns}, {-3, 0ns}, {1.9999e-9, 1ns}, {std::numeric_limits<double>::quiet_NaN(), 0ns}};
  for (const auto& each : cases) {
    const Instant start = clock.now();
    std::vector<Duration> ran;
    KWAction::delay_Task(each.seconds, [&] { ran.push_back(clock.now() - start); });
    EXPECT_THAT(ran, IsEmpty());
    pass(5);
    EXPECT_THAT(ran, ElementsAre(each.expected)) << each.seconds;
  }
}

TEST_F(KWActionTest, ADelayBeyondAllTimeIsNoShortOne) {
  KWAction::delay_Task(std::numeric_limits<double>::infinity(), note("never"));
  pass(86'400);
  EXPECT_THAT(journal, IsEmpty());
}

TEST_F(KWActionTest, ADelayedTaskIsDroppedWithItsOwner) {
  auto owner = std::make_shared<int>();
  const auto other = std::make_shared<int>();
  KWAction::delay_Task(1, note("gone"), owner);
  KWAction::delay_Task(1, note("alive"), other);
  owner.reset();
  pass(2);
  EXPECT_THAT(journal, ElementsAre("alive"));
}

TEST_F(KWActionTest, TaskOnceRunsTheFirstTaskOfTheProcessAlone) {
  KWAction::taskOnce(note("A"));
  EXPECT_THAT(journal, ElementsAre("A"));
  KWAction::taskOnce(note("B"));
  KWAction::taskOnce(note("A"));
  EXPECT_THAT(journal, ElementsAre("A"));
}

TEST_F(KWActionTest, TaskOnceCalledFromItsOwnTaskReturns) {
  KWAction::taskOnce([&] {
    KWAction::taskOnce(note("inner"));
    journal.push_back("outer");
  });
  EXPECT_THAT(journal, ElementsAre("outer"));
}

TEST_F(KWActionTest, TaskOnceWaitsForTheTaskThatRuns) {
  constexpr int kWaiters = 3;
  std::latch started(1);
  std::latch called(kWaiters);
  std::atomic<bool> finished = false;
  std::atomic<int> returnedEarly = 0;
  std::thread runner([&] {
    KWAction::taskOnce([&] {
      started.count_down();
      called.wait();
      finished = true;
    });
  });
  started.wait();
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.emplace_back([&] {
      called.count_down();
      KWAction::taskOnce([] { FAIL(); });
      if (!finished) ++returnedEarly;
    });
  }
  runner.join();
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(returnedEarly, 0);
}

TEST_F(KWActionTest, TaskTimesNeitherRunsNorKeepsTheTask) {
  const auto captured = std::make_shared<int>();
  for (const int count : {-1, 0, 1, 100}) {
    KWAction::task_Times([this, captured] { journal.push_back("ran"); }, count);
  }
  pass(10);
  EXPECT_THAT(journal, IsEmpty());
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(KWActionTest, TheLimiterGrantsOnceTheGapHasPassedSinceTheLastGrant) {
  const struct {
    double wait;
    double gap;
    bool granted;
  } steps[] = {
      {0, 1.0, false},          // the count starts here
      {1.5, 1.0, true},         //
      {0.5, 1.0, false},        // a refusal does not move the reference
      {0.75, 1.0, true},        // 1.25 s after the last grant
      {1.0, 1.0, true},         // exactly the gap
      {0.5, 0.0, true},         // no gap
      {0, -1.0, true},          //
      {0, std::nan(""), true},  // not comparable
      {0, 0.25, false},         //
      {-3600, 0.25, false},     // the user has set the calendar back
      {3600.25, 0.25, true},    //
      {1e9, HUGE_VAL, false},   //
  };
  int step = 0;
  for (const auto& each : steps) {
    clock.setDate({clock.date().secondsSince1970 + each.wait});
    EXPECT_EQ(KWAction::setMinExecutionGap(each.gap), each.granted) << "step " << step;
    ++step;
  }
}

TEST_F(KWActionTest, WithoutAGapTheLimiterGrantsTheFirstCall) {
  EXPECT_TRUE(KWAction::setMinExecutionGap(0));
  EXPECT_TRUE(KWAction::setMinExecutionGap(0));
}

TEST_F(KWActionTest, TheLimiterAndTaskOnceShareTheirFlag) {
  KWAction::taskOnce(note("first"));
  EXPECT_TRUE(KWAction::setMinExecutionGap(1));  // nothing to count from
  EXPECT_FALSE(KWAction::setMinExecutionGap(1));

  KWAction::resetForTests();
  KWAction::setMinExecutionGap(1);
  KWAction::taskOnce(note("second"));
  EXPECT_THAT(journal, ElementsAre("first"));
}

TEST_F(KWActionTest, ATaskThatThrowsHasRunAndNobodyWaitsForIt) {
  EXPECT_THROW(KWAction::taskOnce([] { throw 1; }), int);
  std::thread([this] { KWAction::taskOnce(note("again")); }).join();
  EXPECT_THAT(journal, IsEmpty());
}

TEST_F(KWActionTest, ATimerIsPausedAndContinued) {
  const auto timer = KWAction::timingStart_target_Time(noteTime(), nullptr, 2);
  pass(5);
  EXPECT_THAT(fired, ElementsAre(2s, 4s));
  KWAction::timingPause(timer);
  pass(2);
  EXPECT_THAT(fired, ElementsAre(2s, 4s));
  KWAction::timingContinue(timer);
  EXPECT_EQ(fired.size(), 2U);  // not before the next turn
  pass(3);
  EXPECT_THAT(fired, ElementsAre(2s, 4s, 7s, 9s));
  KWAction::timingStop(timer);
  KWAction::timingContinue(timer);
  KWAction::timingPause(timer);
  pass(10);
  EXPECT_EQ(fired.size(), 4U);
}

TEST_F(KWActionTest, ContinuingARunningTimerFiresItNowAndMovesItsRhythm) {
  const auto timer = KWAction::timingStart_target_Time(noteTime(), nullptr, 2);
  pass(3);
  KWAction::timingContinue(timer);
  pass(3);
  EXPECT_THAT(fired, ElementsAre(2s, 3s, 5s));
  KWAction::timingStop(timer);
}

TEST_F(KWActionTest, ATimerKeepsItsTargetUntilItIsStopped) {
  auto target = std::make_shared<std::string>("target");
  const std::weak_ptr<std::string> watched = target;
  const auto timer = KWAction::timingStart_target_Time(noteTime(), std::move(target), 1);
  KWAction::timingPause(timer);
  pass(100);
  EXPECT_FALSE(watched.expired());
  KWAction::timingStop(timer);
  EXPECT_TRUE(watched.expired());
}

TEST_F(KWActionTest, ATimerWithAWeakTargetDiesWithIt) {
  auto target = std::make_shared<std::string>("target");
  const auto timer = KWAction::timingStart_target_Time(noteTime(), std::weak_ptr(target), 1);
  pass(1);
  target.reset();
  EXPECT_FALSE(timer->valid());
  pass(10);
  EXPECT_THAT(fired, ElementsAre(1s));
}

TEST_F(KWActionTest, TheActionReceivesItsTimer) {
  std::shared_ptr<Timer> timer;
  timer = KWAction::timingStart_target_Time(
      [&](Timer& own) {
        EXPECT_EQ(&own, timer.get());
        fired.push_back(clock.now().sinceStart);
        KWAction::timingStop(timer);
      },
      nullptr, 1);
  pass(5);
  EXPECT_THAT(fired, ElementsAre(1s));
}

TEST_F(KWActionTest, ATimerFiresOnTheLoopOfTheThreadThatMadeIt) {
  std::thread([&] {
    RunLoop& own = RunLoop::current();
    const auto timer = KWAction::timingStart_target_Time(noteTime(), nullptr, 1);
    clock.advance(own, 3s);
    KWAction::timingStop(timer);
  }).join();
  EXPECT_THAT(fired, ElementsAre(1s, 2s, 3s));
}

TEST_F(KWActionTest, AbsentTimersAreIgnored) {
  KWAction::timingPause(nullptr);
  KWAction::timingContinue(nullptr);
  KWAction::timingStop(nullptr);
  EXPECT_EQ(loop.nextDue(), std::nullopt);
}

}  // namespace
}  // namespace vantrel
