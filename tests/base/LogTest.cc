#include "vantrel/base/Log.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vantrel {
namespace {

TEST(LogDeathTest, TheEnvironmentSaysWhatStandardErrorGetsWithoutASink) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // each in a process that has not looked yet
  const auto logAll = [](const char* wanted) {
    wanted ? setenv("VANTREL_LOG", wanted, 1) : unsetenv("VANTREL_LOG");
    log(LogLevel::Debug, "step");
    log("news");
    logFormat(LogLevel::Warning, "%s", "less");
    log(LogLevel::Error, std::string_view("no\0t done", 9));
    std::_Exit(0);
  };
  for (const auto& [wanted, lines] : {std::pair{"debug", "step\nnews\nless\n"},
                                      {"info", "news\nless\n"},
                                      {nullptr, "less\n"},
                                      {"nonsense", "less\n"},
                                      {"error", ""}}) {
    const std::string all = lines + std::string("no\0t done\n", 10);
    EXPECT_EXIT(logAll(wanted), testing::ExitedWithCode(0), testing::StrEq(all));
  }
}

TEST(LogTest, ASinkGetsEveryLineWithItsLevelAndAnEmptyOneIsStandardError) {
  std::vector<std::pair<LogLevel, std::string>> lines;
  const ScopedLogSink generic([&](auto level, auto line) { lines.emplace_back(level, line); });
  log(LogLevel::Debug, "step");
  logFormat("%d %s", 3, "news");
  logFormat(LogLevel::Error, "%d", 4);
  const ScopedLogSink none(nullptr);
  const ScopedLogSink empty(std::function<void(std::string_view)>{});
  log("line");
  EXPECT_EQ(lines,
            (decltype(lines){{LogLevel::Debug, "step"}, {LogLevel::Info, "3 news"}, {LogLevel::Error, "4"}}));
}

TEST(LogTest, NoOtherThreadIsInASinkWhoseScopeHasEnded) {
  const ScopedLogSink quiet([](std::string_view) {});
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> called = false, ended = false, late = false;
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
