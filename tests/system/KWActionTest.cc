#include "vantrel/system/KWAction.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <latch>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/AllocationCounter.h"
#include "tests/support/Watchdog.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::tests {
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

  const Watchdog watchdog;
  ManualClock clock{Date{1'700'000'000}};
  ScopedClock scope{clock};
  RunLoop& loop = RunLoop::main();
  std::vector<std::string> journal;
  std::vector<Duration> fired;
};

TEST_F(KWActionTest, TasksForTheMainThreadRunAfterTheCall) {
  KWAction::mainTask(note("task"));
  KWAction::subTasks_Final({}, note("final of nothing"));
  KWAction::subTasks_Final({}, nullptr);
  EXPECT_THAT(journal, IsEmpty());
  while (loop.turn()) {
  }
  EXPECT_THAT(journal, ElementsAre("task", "final of nothing"));
}

TEST_F(KWActionTest, SubTasksOverlapOnOtherThreadsAndTheFinalOneRunsOnceOnTheMainThreadAfterThem) {
  std::latch all(3);
  std::atomic<int> elsewhere = 0;
  const auto member = [&] {
    elsewhere += !loop.isCurrent();
    all.arrive_and_wait();  // passes only when all run at once
  };
  int finals = 0;
  KWAction::subTask(member);
  KWAction::subTasks_Final({member, nullptr, member}, [&] {
    ++finals;
    EXPECT_EQ(elsewhere, 3);
    EXPECT_TRUE(loop.isCurrent());
    loop.stop();
  });
  loop.run();
  loop.turn();
  EXPECT_EQ(finals, 1);
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
      const FailingAllocation failing(successes);
      KWAction::subTasks_Final(std::move(tasks), std::move(final));
    } catch (const std::bad_alloc&) {
      queued = false, ++refused;
    }
    if (queued) loop.run();
    // Behind whatever may have been queued.
    KWAction::subTasks_Final({[] {}}, [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(std::pair(members.load(), finals), std::pair(queued ? 3 : 0, queued ? 1 : 0)) << successes;
  }
  EXPECT_GT(refused, 3);
}

TEST_F(KWActionTest, ADelayedTaskRunsAtItsMomentUnlessItsOwnerIsGone) {
  for (const auto& [seconds, expected] : {std::pair<double, Duration>{1.5, 1500ms},
                                          {0, 0ns},
                                          {-3, 0ns},
                                          {1.9999e-9, 1ns},
                                          {std::nan(""), 0ns}}) {
    const Instant start = clock.now();
    std::vector<Duration> ran;
    KWAction::delay_Task(seconds, [&] { ran.push_back(clock.now() - start); });
    EXPECT_THAT(ran, IsEmpty());
    pass(5);
    EXPECT_THAT(ran, ElementsAre(expected)) << seconds;
  }
  KWAction::delay_Task(HUGE_VAL, note("never"));
  KWAction::delay_Task(1, note("gone"), std::make_shared<int>());
  pass(86'400);
  EXPECT_THAT(journal, IsEmpty());
}

TEST_F(KWActionTest, TaskOnceRunsTheFirstTaskOfTheProcessAlone) {
  KWAction::taskOnce([&] {
    KWAction::taskOnce(note("within"));  // returns
    journal.push_back("A");
  });
  KWAction::taskOnce(note("B"));
  EXPECT_THAT(journal, ElementsAre("A"));
  KWAction::resetForTests();
  EXPECT_THROW(KWAction::taskOnce([] { throw 1; }), int);
  std::thread([this] { KWAction::taskOnce(note("after one that threw")); }).join();
  EXPECT_THAT(journal, ElementsAre("A"));
}

TEST_F(KWActionTest, TaskOnceWaitsForTheTaskThatRuns) {
  std::latch started(1), called(3);
  std::atomic<bool> finished = false;
  std::vector<std::jthread> threads;
  threads.emplace_back([&] {
    KWAction::taskOnce([&] {
      started.count_down();
      called.wait();
      finished = true;
    });
  });
  started.wait();
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      called.count_down();
      KWAction::taskOnce([] { FAIL(); });
      EXPECT_TRUE(finished);
    });
  }
}

TEST_F(KWActionTest, TaskTimesNeitherRunsNorKeepsTheTask) {
  const auto captured = std::make_shared<int>();
  for (const int count : {-1, 0, 1, 100}) KWAction::task_Times([captured] { FAIL(); }, count);
  pass(10);
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
  for (const auto& [wait, gap, granted] : steps) {
    clock.setDate({clock.date().secondsSince1970 + wait});
    EXPECT_EQ(KWAction::setMinExecutionGap(gap), granted) << "after " << wait << " with " << gap;
  }
  KWAction::resetForTests();
  EXPECT_TRUE(KWAction::setMinExecutionGap(0)) << "without a gap the first call, too";
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

TEST_F(KWActionTest, ATimerIsPausedContinuedAndStopped) {
  const auto timer = KWAction::timingStart_target_Time(noteTime(), nullptr, 2);
  pass(5);
  KWAction::timingPause(timer);
  pass(2);
  EXPECT_THAT(fired, ElementsAre(2s, 4s));
  KWAction::timingContinue(timer);
  EXPECT_EQ(fired.size(), 2U);  // not before the next turn
  pass(3);
  KWAction::timingContinue(timer);  // fires a running one now and moves its rhythm
  pass(3);
  EXPECT_THAT(fired, ElementsAre(2s, 4s, 7s, 9s, 10s, 12s));
  KWAction::timingStop(timer);
  for (const auto& ended : {timer, std::shared_ptr<Timer>()}) {
    KWAction::timingContinue(ended);
    KWAction::timingPause(ended);
    KWAction::timingStop(ended);
  }
  pass(10);
  EXPECT_EQ(fired.size(), 6U);
}

TEST_F(KWActionTest, ATimerKeepsItsTargetUntilItIsStoppedAndDiesWithAWeakOne) {
  auto target = std::make_shared<std::string>("target");
  const std::weak_ptr<std::string> watched = target;
  const auto dying = KWAction::timingStart_target_Time(noteTime(), watched, 1);
  const auto timer = KWAction::timingStart_target_Time(noteTime(), std::move(target), 1);
  KWAction::timingPause(timer);
  pass(1);
  EXPECT_FALSE(watched.expired());
  KWAction::timingStop(timer);
  EXPECT_TRUE(watched.expired());
  EXPECT_FALSE(dying->valid());
  pass(10);
  EXPECT_THAT(fired, ElementsAre(1s));
}

}  // namespace
}  // namespace vantrel::tests
