#include "vantrel/base/Log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vantrel {
namespace {

TEST(LogTest, ALineGoesOutWholeWithItsZeroBytes) {
  testing::internal::CaptureStderr();
  log(LogLevel::Error, std::string_view("a\0b", 3));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("a\0b\n", 4));
}

TEST(LogDeathTest, TheEnvironmentSaysWhatStandardErrorGetsWithoutASink) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // each in a process that has not looked yet
  const auto logAll = [](const char* wanted) {
    wanted ? setenv("VANTREL_LOG", wanted, 1) : unsetenv("VANTREL_LOG");
    log(LogLevel::Debug, "step");
    log("news");
    logFormat(LogLevel::Warning, "%s", "less");
    log(LogLevel::Error, "not done");
    std::_Exit(0);
  };
  const auto fine = testing::ExitedWithCode(0);
  EXPECT_EXIT(logAll("debug"), fine, "^step\nnews\nless\nnot done\n$");
  EXPECT_EXIT(logAll("info"), fine, "^news\nless\nnot done\n$");
  EXPECT_EXIT(logAll(nullptr), fine, "^less\nnot done\n$");
  EXPECT_EXIT(logAll("nonsense"), fine, "^less\nnot done\n$");
  EXPECT_EXIT(logAll("error"), fine, "^not done\n$");
}

TEST(LogTest, ASinkGetsEveryLineWithItsLevel) {
  std::vector<std::pair<LogLevel, std::string>> lines;
  const ScopedLogSink sink([&](LogLevel level, std::string_view line) { lines.emplace_back(level, line); });
  log(LogLevel::Debug, "step");
  logFormat("%d %s", 3, "news");
  logFormat(LogLevel::Error, "%d", 4);
  EXPECT_EQ(lines,
            (decltype(lines){{LogLevel::Debug, "step"}, {LogLevel::Info, "3 news"}, {LogLevel::Error, "4"}}));
}

TEST(LogTest, AnEmptySinkIsStandardErrorAndAGenericOneGetsTheLevel) {
  int arguments = 0;
  const ScopedLogSink generic([&](auto... values) { arguments = sizeof...(values); });
  log("line");
  EXPECT_EQ(arguments, 2);
  const ScopedLogSink empty(nullptr);
  const ScopedLogSink lines(std::function<void(std::string_view)>{});
  log("line");
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
