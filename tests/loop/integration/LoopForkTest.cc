#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "tests/support/Child.h"
#include "vantrel/base/Log.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

bool readable(int descriptor) {
  pollfd poll{descriptor, POLLIN, 0};
  return ::poll(&poll, 1, 0) == 1;
}

bool trueInChild(const std::function<bool()>& body) { return tests::resultOf(tests::startChild(body)) == 0; }

TEST(LoopForkTest, TheLoopOfTheForkingThreadGoesOnInBothAndNeitherWakesTheOther) {
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

TEST(LoopForkTest, AForkOfAnyThreadAtAnyMomentLeavesAMainLoopAndALogToTheChild) {
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

}  // namespace
}  // namespace vantrel
