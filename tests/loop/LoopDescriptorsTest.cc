#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ScopedLimit.h"
#include "vantrel/base/Log.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

/// Runs a timer and a post of another thread; whether it watched what is ready.
bool runs(RunLoop& loop) {
  static const int ready = eventfd(1, EFD_CLOEXEC);
  bool called = false;
  loop.watch(ready, RunLoop::Interest::Read, [&] { called = true, loop.unwatch(ready); });
  std::thread poster([&] { loop.post([&] { loop.at(loop.clock().now() + 1ms, [&] { loop.stop(); }); }); });
  loop.run();
  poster.join();
  return called;
}

TEST(LoopDescriptorsTest, WithoutAnyLeftTasksAndTimersGoOnAndWatchesWorkOnceThereAreSome) {
  std::vector<std::string> lines;
  const ScopedLogSink sink([&](std::string_view line) { lines.emplace_back(line); });
  // With descriptors first: a sanitizer needs some when it meets a type for the first time.
  EXPECT_TRUE(runs(*std::make_unique<RunLoop>()));
  log("before");
  std::optional<tests::ScopedLimit> none(std::in_place, RLIMIT_NOFILE, 3);
  RunLoop loop;
  EXPECT_FALSE(runs(loop));
  EXPECT_EQ(loop.pollDescriptor(), -1);
  EXPECT_GT(loop.pollTimeout(), 0) << "no post could wake a poll that waits for ever";
  none.reset();
  EXPECT_THAT(lines, ElementsAre("before", HasSubstr("Too many open files")));
  EXPECT_TRUE(runs(loop));
}

TEST(LoopDescriptorsTest, WhatSomethingElseClosedIsReplacedAndTheNumbersNewOwnerIsLeftAlone) {
  std::vector<std::string> lines;
  const ScopedLogSink sink([&](std::string_view line) { lines.emplace_back(line); });
  auto loop = std::make_unique<RunLoop>();
  close(loop->pollDescriptor());
  RunLoop other;  // gets the number, which is no loss to speak of
  EXPECT_TRUE(runs(*loop));
  close(loop->pollDescriptor());
  loop->runFor(30ms);
  EXPECT_LE(loop->wakeUps(), 5U);
  loop.reset();
  EXPECT_TRUE(runs(other));
  EXPECT_THAT(lines, ElementsAre(HasSubstr("closed its descriptors")));
}

}  // namespace
}  // namespace vantrel
