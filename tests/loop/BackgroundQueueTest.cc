#include "vantrel/loop/BackgroundQueue.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <latch>
#include <memory>
#include <thread>

#include "vantrel/base/Log.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

TEST(BackgroundQueueTest, ADyingQueueRunsWhatAnyThreadQueuedInOrderWhereOneWorks) {
  for (const unsigned limit : {0, 1, 4}) {
    std::atomic<int> runs = 0, inOrder = 0;
    int next[2] = {};
    {
      BackgroundQueue queue(limit);
      queue.post(nullptr);
      const auto post = [&](int thread) {
        for (int i = 0; i < 1000; ++i) {
          queue.post([&, thread, i] { ++runs, inOrder += limit > 1 || next[thread]++ == i; });
        }
      };
      std::thread other([&] { post(1); });
      post(0);
      other.join();
    }
    EXPECT_EQ(runs, 2000) << limit;
    EXPECT_EQ(inOrder, 2000) << limit;
  }
}

TEST(BackgroundQueueTest, ATaskMayDropTheLastOwnerOfItsQueue) {
  int runs = 0;
  std::latch given(1), dropped(1);
  auto owner = std::make_shared<BackgroundQueue>(1);
  owner->post([&] {
    given.wait();
    owner.reset();
    EXPECT_EQ(runs, 1);
    dropped.count_down();
  });
  owner->post([&] { ++runs; });
  given.count_down();
  dropped.wait();
}

TEST(BackgroundQueueTest, BlockedWorkersAreHelpedUpToTheLimitAndNoFurther) {
  constexpr int kLimit = 8;
  BackgroundQueue queue(kLimit);
  std::latch allRun(kLimit), release(1);
  std::atomic<int> running = 0, most = 0;
  for (int i = 0; i < kLimit; ++i) queue.post([&] { allRun.count_down(), release.wait(); });
  for (int i = 0; i < 50; ++i) {
    queue.post([&] {
      const int now = ++running;
      for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
      }
      --running;
    });
  }
  // Only when as many threads as tasks exist do all of them get here.
  allRun.wait();
  EXPECT_EQ(queue.workers(), static_cast<std::size_t>(kLimit));
  release.count_down();
  while (queue.workers() > std::max(1U, std::thread::hardware_concurrency())) std::this_thread::yield();
  EXPECT_LE(most, kLimit);
}

TEST(BackgroundQueueTest, WhatATaskCapturedDiesOnceItRan) {
  auto captured = std::make_shared<int>();
  const std::weak_ptr<int> watched = captured;
  std::atomic<bool> gone = false;
  {
    BackgroundQueue queue(1);
    queue.post([kept = std::move(captured)] {});
    queue.post([&] { gone = watched.expired(); });
  }
  EXPECT_TRUE(gone);
}

TEST(BackgroundQueueTest, WithoutThreadsTasksWaitForTheMainLoopOrTheEndAndTheLogSaysSoOnce) {
  ManualClock clock;
  const ScopedClock scope(clock);
  BackgroundQueue queue;
  int lines = 0;
  const ScopedLogSink sink([&](auto) { lines += queue.workers() == 0; });  // may use the queue
  pthread_attr_t usual;
  pthread_getattr_default_np(&usual);
  pthread_attr_t huge = usual;  // a stack larger than any memory
  pthread_attr_setstacksize(&huge, ~std::size_t{0xFFFF});
  ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
  bool ranAtTheEnd = false;
  BackgroundQueue().post([&] { ranAtTheEnd = true; });
  EXPECT_TRUE(ranAtTheEnd);
  std::latch ran(1);
  queue.post([&] { ran.count_down(); });
  clock.advance(RunLoop::main(), std::chrono::seconds(1));
  EXPECT_EQ(lines, 2) << "one for each queue";
  pthread_setattr_default_np(&usual);
  clock.advance(RunLoop::main(), std::chrono::seconds(1));
  ran.wait();
}

/// Posts from a static destructor, which runs after the shared queue has closed when it was made before it.
struct PostsWhileExiting {
  ~PostsWhileExiting() {
    BackgroundQueue::shared().post([] { std::abort(); });
  }
};

TEST(BackgroundQueueDeathTest, TheSharedQueueFinishesItsWorkAtExitAndDropsWhatComesLater) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        static PostsWhileExiting late;
        for (int i = 0; i < 100; ++i) {
          BackgroundQueue::shared().post([i] {
            if (i == 99) std::fputs("all done\n", stderr);
          });
        }
        std::exit(7);
      },
      testing::ExitedWithCode(7), "all done");
}

/// Queues itself for ever, unless it is dropped.
void postAgain() { BackgroundQueue::shared().post(postAgain); }

TEST(BackgroundQueueDeathTest, TasksMayExitAndTheOthersStillRun) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        BackgroundQueue& queue = BackgroundQueue::shared();
        queue.post([&] {
          postAgain();
          queue.post([] {
            std::fputs("all done\n", stderr);
            std::exit(7);
          });
          std::exit(7);
        });
        std::latch(1).wait();
      },
      testing::ExitedWithCode(7), "all done");
}

}  // namespace
}  // namespace vantrel
