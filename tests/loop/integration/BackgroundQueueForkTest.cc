#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <latch>
#include <memory>
#include <thread>

#include "tests/support/Child.h"
#include "tests/support/Sanitizers.h"
#include "vantrel/loop/BackgroundQueue.h"

namespace vantrel {
namespace {

void runOne(BackgroundQueue& queue) {
  std::latch ran(1);
  queue.post([&] { ran.count_down(); });
  ran.wait();
}

TEST(BackgroundQueueForkTest, AChildMayUseAndDestroyWhatWasMadeBeforeTheFork) {
  // ThreadSanitizer allows a forked child no threads; AddressSanitizer may leave it its allocator locked.
  if (tests::kSanitized) GTEST_SKIP();
  auto own = std::make_unique<BackgroundQueue>();
  // So that its lock is held at the moment of some forks.
  const std::jthread busy([&queue = *own](const std::stop_token& stop) {
    while (!stop.stop_requested()) runOne(queue);
  });
  for (int i = 0; i < 20; ++i) {
    runOne(BackgroundQueue::shared());
    const pid_t child = fork();
    if (child == 0) {
      alarm(30);
      if (i % 2 == 0) runOne(*own);
      own.reset();
      BackgroundQueue::shared().post([] { _exit(7); });
      std::exit(1);
    }
    EXPECT_EQ(tests::resultOf(child), 7);
  }
}

TEST(BackgroundQueueForkTest, AChildOfATaskEndsWithItAndRunsNoTaskOfTheParent) {
  pid_t child = -1;
  std::latch forked(1);
  BackgroundQueue queue(1);
  queue.post([&] {
    queue.post([&] { child == 0 ? _exit(1) : void(); });
    child = fork();
    if (child == 0) {
      alarm(30);
      std::atexit([] { _exit(7); });  // ahead of a leak checker, which would miss the main thread
    }
    forked.count_down();
  });
  forked.wait();
  EXPECT_EQ(tests::resultOf(child), 7);
}

}  // namespace
}  // namespace vantrel
