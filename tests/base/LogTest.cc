#include "vantrel/base/Log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>

namespace vantrel {
namespace {

TEST(LogTest, ALineGoesOutWholeWithItsZeroBytes) {
  testing::internal::CaptureStderr();
  log(std::string_view("a\0b", 3));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("a\0b\n", 4));
}

TEST(LogTest, NoOtherThreadIsInASinkWhoseScopeHasEnded) {
  const ScopedLogSink quiet([](std::string_view) {});
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> called = false;
    std::atomic<bool> ended = false;
    std::atomic<bool> late = false;
    std::optional<ScopedLogSink> scope([&](std::string_view) {
      called = true;
      std::this_thread::yield();
      if (ended) late = true;
    });
    std::thread logger([&] {
      while (!ended) log("line");
    });
    while (!called) std::this_thread::yield();
    scope.reset();
    ended = true;
    logger.join();
    ASSERT_FALSE(late);
  }
}

TEST(LogTest, ASinkMayLogAndEndItsOwnScope) {
  std::string lines;
  const ScopedLogSink outer([&](std::string_view line) { lines += line; });
  std::optional<ScopedLogSink> scope;
  scope.emplace([&, kept = std::string("from the sink")](std::string_view line) {
    if (line == "again") return scope.reset();
    log("again");
    log(kept);
  });
  log("first");
  EXPECT_EQ(lines, "from the sink");
}

}  // namespace
}  // namespace vantrel
