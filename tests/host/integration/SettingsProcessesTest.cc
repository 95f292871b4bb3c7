#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include "tests/support/Child.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/ScratchFolder.h"
#include "vantrel/base/Log.h"
#include "vantrel/host/Host.h"
#include "vantrel/host/SettingsStore.h"

namespace vantrel {
namespace {

namespace fs = std::filesystem;
using tests::resultOf;
using tests::startChild;

class SettingsProcessesTest : public testing::Test {
 protected:
  // In memory where there is such a folder: a write takes less time than the moments of the kills spread
  // over.
  const tests::ScratchFolder folder_{fs::exists("/dev/shm") ? fs::path("/dev/shm")
                                                            : fs::temp_directory_path()};
  const fs::path file_ = folder_.at("settings.plist");
};

TEST_F(SettingsProcessesTest, ProcessesThatWriteAtOnceLoseNoKeyOfEachOther) {
  const auto writer = [this](const std::string& name) {
    return startChild([this, name] {
      SettingsStore store(file_);
      for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(store.setObject_forKey(i, name + std::to_string(i)));
        if (!store.synchronize()) return false;
      }
      return true;
    });
  };
  const pid_t children[] = {writer("a"), writer("b"), writer("c")};
  for (const pid_t child : children) EXPECT_EQ(resultOf(child), 0);
  const ValueTree all = SettingsStore(file_).all();
  EXPECT_EQ(all.size(), 300u);
  for (const char* name : {"a", "b", "c"}) {
    for (int i = 0; i < 100; ++i) EXPECT_EQ(all[name + std::to_string(i)], ValueTree(i));
  }
}

// Every change is to a list of `kCopies` equal numbers, so that a mixture of two files would show.
constexpr int kCopies = 200;

ValueTree copiesOf(int number) {
  ValueTree list = ValueTree::list();
  for (int i = 0; i < kCopies; ++i) list.append(number);
  return list;
}

TEST_F(SettingsProcessesTest, AWriterKilledAtAnyMomentLeavesTheOldOrTheNewFile) {
  EXPECT_TRUE(SettingsStore(file_).setObject_forKey("always there", "kept"));
  std::mt19937 random(1);
  std::int64_t last = 0;
  // A sanitizer on a busy machine needs long for a fork; it may do with fewer rounds.
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(40);
  for (int round = 0; round < 500 && (round < 50 || std::chrono::steady_clock::now() < patience); ++round) {
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const pid_t child = startChild([&] {
      SettingsStore store(file_);
      for (std::int64_t number = last + 1;; ++number) {
        EXPECT_TRUE(store.setObject_forKey(copiesOf(static_cast<int>(number)), "numbers"));
        if (!store.synchronize()) return false;
        if (write(report[1], &number, sizeof number) != sizeof number) return false;
      }
    });
    close(report[1]);
    std::int64_t acknowledged = 0;
    ASSERT_EQ(read(report[0], &acknowledged, sizeof acknowledged), ssize_t{sizeof acknowledged});
    // The kill comes somewhere in the writing of the next one or two.
    const auto kill_at = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 800);
    while (std::chrono::steady_clock::now() < kill_at) {
    }
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    std::int64_t next = 0;
    while (read(report[0], &next, sizeof next) == ssize_t{sizeof next}) acknowledged = next;
    close(report[0]);

    const SettingsStore store(file_);
    ASSERT_EQ(store.objectForKey("kept"), ValueTree("always there")) << "round " << round;
    const ValueTree numbers = store.objectForKey("numbers").value_or(nullptr);
    last = numbers[0].asInteger().value_or(-1);
    ASSERT_THAT(last, testing::AnyOf(acknowledged, acknowledged + 1)) << "round " << round;
    ASSERT_EQ(numbers, copiesOf(static_cast<int>(last))) << "round " << round;
  }
  EXPECT_LE(folder_.names().size(), 2u) << "the settings and at most one left-over";
}

TEST_F(SettingsProcessesTest, AFullDiskKeepsTheOldFileAndTheChangesInMemory) {
  EXPECT_TRUE(SettingsStore(file_).setObject_forKey("old", "key"));
  const pid_t child = startChild([this] {
    const ScopedLogSink quiet([](std::string_view) {});
    std::optional<tests::ScopedLimit> full(std::in_place, RLIMIT_FSIZE, 4096);
    SettingsStore store(file_);
    EXPECT_TRUE(store.setObject_forKey(std::string(10'000, 'x'), "large"));
    const bool refused = !store.synchronize() && store.objectForKey("large").has_value() &&
                         SettingsStore(file_).all() == ValueTree::dictionary({{"key", "old"}});
    full.reset();
    return refused && store.synchronize();
  });
  EXPECT_EQ(resultOf(child), 0);
  EXPECT_EQ(SettingsStore(file_).all().size(), 2u);
}

TEST_F(SettingsProcessesTest, ANormalExitWritesWhatIsPendingWherever) {
  setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
  const pid_t child = fork();
  if (child == 0) {
    Host::install({});
    EXPECT_TRUE(Host::current().settings->setObject_forKey("of the host", "key"));
    static SettingsStore& neverDestroyed = *new SettingsStore(file_);
    EXPECT_TRUE(neverDestroyed.setObject_forKey("never destroyed", "key"));
    std::atexit([] { EXPECT_TRUE(Host::current().settings->setObject_forKey("at exit", "late")); });
    std::exit(0);
  }
  EXPECT_EQ(resultOf(child), 0);
  EXPECT_EQ(SettingsStore(file_).objectForKey("key"), ValueTree("never destroyed"));
  const SettingsStore ofHost(folder_.at("vantrel/settings.plist"));
  EXPECT_EQ(ofHost.objectForKey("key"), ValueTree("of the host"));
  EXPECT_EQ(ofHost.objectForKey("late"), ValueTree("at exit"));
  unsetenv("XDG_CONFIG_HOME");
}

TEST_F(SettingsProcessesTest, AForkMayDestroyTheStoreAndExit) {
  if (tests::kSanitized) GTEST_SKIP() << "a forked child may find the sanitizer's allocator locked";
  auto store = std::make_unique<SettingsStore>(file_);
  EXPECT_TRUE(store->setObject_forKey("of the parent", "key"));
  const pid_t child = fork();
  if (child == 0) {
    store.reset();
    std::exit(0);
  }
  EXPECT_EQ(resultOf(child), 0);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(SettingsStore(file_).objectForKey("key"), ValueTree("of the parent"));
}

}  // namespace
}  // namespace vantrel
