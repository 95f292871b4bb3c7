#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <latch>
#include <memory>
#include <thread>

#include "tests/support/Child.h"
#include "tests/support/Sanitizers.h"
#include "vantrel/base/Log.h"
#include "vantrel/loop/BackgroundQueue.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

bool readable(int descriptor) {
  pollfd poll{descriptor, POLLIN, 0};
  return ::poll(&poll, 1, 0) == 1;
}

bool trueInChild(const std::function<bool()>& body) { return tests::resultOf(tests::startChild(body)) == 0; }

TEST(ForkTest, TheLoopOfTheForkingThreadGoesOnInBothAndNeitherWakesTheOther) {
  RunLoop loop;
  int ran = 0;
  const int event = eventfd(0, EFD_CLOEXEC);
  ASSERT_TRUE(loop.watch(event, RunLoop::Interest::Read, [&] { ++ran, loop.unwatch(event); }));
  const int descriptor = loop.pollDescriptor();
  loop.at(loop.clock().now(), [&] { ++ran; });
  EXPECT_TRUE(trueInChild([&] {
    loop.post([&] { ++ran; });
    if (!readable(descriptor) || !loop.turn() || ran != 2 || readable(descriptor)) return false;
    eventfd_t count = 0;
    return eventfd_write(event, 1) == 0 && loop.turn() && ran == 3 && eventfd_read(event, &count) == 0;
  }));
  EXPECT_FALSE(readable(descriptor));
  loop.turn();
  EXPECT_EQ(ran, 1);
}

TEST(ForkTest, AForkOfAnyThreadAtAnyMomentLeavesAMainLoopAndALogToTheChild) {
  const ScopedLogSink quiet([](std::string_view) {});
  RunLoop& main = RunLoop::main();
  std::atomic<bool> stop = false;
  std::thread busy([&] {
    for (; !stop; std::this_thread::yield()) MainQueue::post([] { log("of the loop"); });
  });
  std::thread forker([&] {
    for (int i = 0; i < 50; ++i) {
      EXPECT_TRUE(trueInChild([] {
        {
          const ScopedLogSink scope([](std::string_view) {});
        }
        MainQueue::post([] { RunLoop::main().stop(); });
        RunLoop::main().run();
        return RunLoop::main().isCurrent();
      }));
    }
    stop = true;
  });
  while (!stop) main.turn();
  busy.join();
  forker.join();
}

void runOne(BackgroundQueue& queue) {
  std::latch ran(1);
  queue.post([&] { ran.count_down(); });
  ran.wait();
}

TEST(ForkTest, AChildMayUseAndDestroyWhatWasMadeBeforeTheFork) {
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

TEST(ForkTest, AChildOfATaskEndsWithItAndRunsNoTaskOfTheParent) {
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
