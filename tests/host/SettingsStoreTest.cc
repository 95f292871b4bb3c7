#include "vantrel/host/SettingsStore.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ScratchFolder.h"
#include "vantrel/base/Log.h"
#include "vantrel/data/PropertyList.h"
#include "vantrel/loop/ManualClock.h"

namespace vantrel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using tests::contentsOf;

void put(const fs::path& file, std::string_view contents) {
  std::ofstream(file, std::ios::binary) << contents;
}

class SettingsStoreTest : public testing::Test {
 protected:
  std::vector<std::string> log() {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

  std::vector<std::string> names(const fs::path& folder) {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) found.push_back(entry.path().filename());
    return found;
  }

  const tests::ScratchFolder scratch_;
  const fs::path folder_ = scratch_.path();
  const fs::path file_ = folder_ / "app" / "settings.plist";

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
  ScopedLogSink sink_{[this](std::string_view line) {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }};
};

TEST_F(SettingsStoreTest, KeepsEveryKindOfValueOverReopening) {
  const ValueTree values = ValueTree::dictionary({{"text", "Ω"},
                                                  {"number", 7},
                                                  {"real", 0.5},
                                                  {"flag", true},
                                                  {"date", Date{978307200.5}},
                                                  {"data", Bytes::copyOf("\x01")},
                                                  {"list", ValueTree::list({"de", "en"})},
                                                  {"", ValueTree::dictionary({{"a", 1}})}});
  {
    SettingsStore store(file_);
    for (const auto& member : values.members())
      EXPECT_TRUE(store.setObject_forKey(member.value(), member.key()));
    EXPECT_EQ(store.objectForKey("number"), ValueTree(7)) << "seen at once";
    EXPECT_EQ(store.all(), values);
  }
  const SettingsStore again(file_);
  EXPECT_EQ(again.all(), values);
  EXPECT_EQ(again.objectForKey("flag"), ValueTree(true));
  EXPECT_EQ(again.objectForKey("other"), std::nullopt);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SettingsStoreTest, RemovesEntriesAlsoByStoringNull) {
  SettingsStore store(file_);
  for (const char* key : {"a", "b", "c"}) EXPECT_TRUE(store.setObject_forKey(1, key));
  ASSERT_TRUE(store.synchronize());
  store.removeObjectForKey("a");
  EXPECT_TRUE(store.setObject_forKey(nullptr, "b"));
  EXPECT_EQ(store.all(), ValueTree::dictionary({{"c", 1}}));
  ASSERT_TRUE(store.synchronize());
  EXPECT_EQ(SettingsStore(file_).all(), ValueTree::dictionary({{"c", 1}}));
}

TEST_F(SettingsStoreTest, RefusesWhatNoPropertyListHolds) {
  SettingsStore store(file_);
  EXPECT_TRUE(store.setObject_forKey("kept", "key"));
  EXPECT_FALSE(store.setObject_forKey(ValueTree::list({nullptr}), "key"));
  EXPECT_FALSE(store.setObject_forKey("\xff", "key"));
  EXPECT_FALSE(store.setObject_forKey(1, "\xff"));
  const char* const unset = nullptr;
  EXPECT_FALSE(store.setObject_forKey(1, unset));
  store.removeObjectForKey(unset);
  EXPECT_EQ(store.objectForKey(unset), std::nullopt);
  ValueTree deep = ValueTree::list();
  for (int level = 1; level < 512; ++level) deep = ValueTree::list({deep});
  EXPECT_TRUE(store.setObject_forKey(deep[0], "deep"));
  EXPECT_FALSE(store.setObject_forKey(deep, "deep")) << "513 levels with the dictionary of all settings";
  store.removeObjectForKey("deep");
  EXPECT_EQ(store.all(), ValueTree::dictionary({{"key", "kept"}}));
}

TEST_F(SettingsStoreTest, TouchesNothingBeforeAChange) {
  {
    SettingsStore store(file_);
    EXPECT_EQ(store.all(), ValueTree::dictionary());
    EXPECT_TRUE(store.synchronize());
  }
  EXPECT_THAT(names(folder_), IsEmpty());
}

TEST_F(SettingsStoreTest, KeepsFileAndFolderToTheUser) {
  EXPECT_TRUE(SettingsStore(file_).setObject_forKey(1, "key"));
  struct stat status {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(file_.parent_path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  EXPECT_THAT(names(file_.parent_path()), ElementsAre("settings.plist"));
}

TEST_F(SettingsStoreTest, StoresOverOneFileLoseNoKeyOfEachOther) {
  SettingsStore one(file_);
  SettingsStore two(file_);
  EXPECT_TRUE(one.setObject_forKey(1, "common"));
  EXPECT_TRUE(one.setObject_forKey(1, "of one"));
  ASSERT_TRUE(one.synchronize());
  EXPECT_EQ(two.objectForKey("common"), ValueTree(1));
  EXPECT_TRUE(two.setObject_forKey(2, "common"));
  EXPECT_TRUE(two.setObject_forKey(2, "of two"));
  one.removeObjectForKey("of one");
  ASSERT_TRUE(two.synchronize());
  EXPECT_EQ(one.objectForKey("common"), ValueTree(2)) << "noticed without a write of its own";
  ASSERT_TRUE(one.synchronize());
  EXPECT_EQ(two.all(), ValueTree::dictionary({{"common", 2}, {"of two", 2}}));
}

TEST_F(SettingsStoreTest, SetsADamagedFileAsideAndSaysSo) {
  const Bytes list = *plist::write(ValueTree::list({1}));
  for (const std::string& damaged :
       {std::string("bplist00 and no more"), std::string(), std::string(list.text())}) {
    fs::remove_all(file_.parent_path());
    fs::create_directories(file_.parent_path());
    put(file_, damaged);
    const std::size_t saidBefore = log().size();
    {
      SettingsStore store(file_);
      EXPECT_EQ(store.objectForKey("key"), std::nullopt);
      EXPECT_TRUE(store.setObject_forKey(1, "key"));
    }
    EXPECT_EQ(SettingsStore(file_).objectForKey("key"), ValueTree(1));
    ASSERT_EQ(log().size(), saidBefore + 1);
    EXPECT_THAT(log().back(), HasSubstr(file_.string() + " is damaged, kept as "));
    fs::path aside;
    for (const std::string& name : names(file_.parent_path())) {
      if (name.starts_with("settings.plist.damaged-")) aside = file_.parent_path() / name;
    }
    EXPECT_EQ(contentsOf(aside), damaged);
  }
}

TEST_F(SettingsStoreTest, SetsEachDamagedFileAsideUnderItsOwnName) {
  fs::create_directories(file_.parent_path());
  for (const char* damaged : {"first", "second", "third"}) {
    put(file_, damaged);
    EXPECT_EQ(SettingsStore(file_).all(), ValueTree::dictionary());
  }
  EXPECT_EQ(names(file_.parent_path()).size(), 3u);
}

TEST_F(SettingsStoreTest, GoesOnInMemoryWhereItCannotWriteAndSaysSoOnce) {
  put(folder_ / "app", "a file where the folder should be");
  SettingsStore store(file_);
  EXPECT_TRUE(store.setObject_forKey(1, "key"));
  EXPECT_FALSE(store.synchronize());
  EXPECT_FALSE(store.synchronize());
  EXPECT_EQ(store.objectForKey("key"), ValueTree(1));
  EXPECT_THAT(log(), ElementsAre(HasSubstr("settings: " + file_.string() + " cannot be written: ")));
  fs::remove(folder_ / "app");
  EXPECT_TRUE(store.synchronize());
  EXPECT_EQ(SettingsStore(file_).objectForKey("key"), ValueTree(1));
}

TEST_F(SettingsStoreTest, LeavesAloneWhatIsNoFile) {
  fs::create_directories(file_);
  SettingsStore store(file_);
  EXPECT_EQ(store.objectForKey("key"), std::nullopt);
  EXPECT_TRUE(store.setObject_forKey(1, "key"));
  EXPECT_FALSE(store.synchronize());
  EXPECT_TRUE(fs::is_directory(file_));
}

TEST_F(SettingsStoreTest, FollowsASymbolicLink) {
  const fs::path target = folder_ / "elsewhere" / "real.plist";
  fs::create_directories(file_.parent_path());
  fs::create_symlink("../elsewhere/real.plist", file_);
  EXPECT_TRUE(SettingsStore(file_).setObject_forKey(1, "first"));  // the target is not there yet
  EXPECT_TRUE(SettingsStore(file_).setObject_forKey(2, "second"));
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_EQ(SettingsStore(target).all(), ValueTree::dictionary({{"first", 1}, {"second", 2}}));
}

TEST_F(SettingsStoreTest, MayBeUsedFromTheLogThatItWritesTo) {
  fs::create_directories(file_.parent_path());
  put(file_, "damaged");
  SettingsStore store(file_);
  std::string said;
  const ScopedLogSink sink([&](std::string_view line) {
    said = line;
    EXPECT_TRUE(store.setObject_forKey(std::string(line), "last line"));
    EXPECT_TRUE(store.synchronize());
  });
  EXPECT_EQ(store.objectForKey("key"), std::nullopt);
  EXPECT_NE(said, "");
  EXPECT_EQ(SettingsStore(file_).objectForKey("last line"), ValueTree(said));
}

TEST_F(SettingsStoreTest, GathersChangesAsTheClockGoes) {
  using std::chrono::milliseconds;
  ManualClock clock;
  const ScopedClock scope(clock);
  SettingsStore store(file_);
  const SettingsStore reader(file_);
  const auto moves = [&](milliseconds by, int value) {
    clock.jump(by);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (reader.objectForKey("key") != ValueTree(value) && std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
    }
    EXPECT_EQ(reader.objectForKey("key"), ValueTree(value)) << value;
  };
  EXPECT_TRUE(store.setObject_forKey(1, "key"));
  EXPECT_EQ(reader.objectForKey("key"), std::nullopt) << "the clock stands still";
  moves(milliseconds(100), 1);
  EXPECT_TRUE(store.setObject_forKey(2, "key"));
  clock.jump(milliseconds(4999));
  std::this_thread::yield();
  EXPECT_EQ(reader.objectForKey("key"), ValueTree(1)) << "not twice within the gathering time";
  EXPECT_TRUE(store.setObject_forKey(3, "key"));
  moves(milliseconds(1), 3);
  clock.jump(milliseconds(60'000));
  EXPECT_TRUE(store.setObject_forKey(4, "key"));
  moves(milliseconds(100), 4);
}

TEST_F(SettingsStoreTest, KeepsWhatItKnowsWithoutDescriptorsAndReadsAgain) {
  SettingsStore other(file_);
  EXPECT_TRUE(other.setObject_forKey(1, "key"));
  ASSERT_TRUE(other.synchronize());
  const SettingsStore known(file_);
  const SettingsStore fresh(file_);
  EXPECT_EQ(known.objectForKey("key"), ValueTree(1));
  EXPECT_TRUE(other.setObject_forKey(2, "key"));
  ASSERT_TRUE(other.synchronize());
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(known.objectForKey("key"), ValueTree(1));
    EXPECT_EQ(fresh.objectForKey("key"), std::nullopt);
  }
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(known.objectForKey("key"), ValueTree(2));
  EXPECT_EQ(fresh.objectForKey("key"), ValueTree(2));
  EXPECT_THAT(log(), ElementsAre(HasSubstr("cannot be read: "), HasSubstr("cannot be read: ")))
      << "once each";
}

TEST_F(SettingsStoreTest, KeepsChangesWhileAnotherHoldsTheLockAndSaysWhatIsLost) {
  ManualClock clock;
  const ScopedClock scope(clock);  // under which a lock is not waited for
  const std::string locked = "another process holds the lock on " + file_.parent_path().string();
  fs::create_directories(file_.parent_path());
  const int folder = open(file_.parent_path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(folder, LOCK_EX), 0);
  std::optional<SettingsStore> store(file_);
  EXPECT_TRUE(store->setObject_forKey(1, "key"));
  EXPECT_FALSE(store->synchronize());
  EXPECT_FALSE(store->synchronize());
  EXPECT_THAT(log(), ElementsAre(HasSubstr(locked)));
  flock(folder, LOCK_UN);
  EXPECT_TRUE(store->synchronize());
  ASSERT_EQ(flock(folder, LOCK_EX), 0);
  EXPECT_TRUE(store->setObject_forKey(2, "key"));
  store.reset();
  EXPECT_THAT(log(), ElementsAre(HasSubstr(locked), HasSubstr(locked), HasSubstr("changes lost: 1")));
  close(folder);
  EXPECT_EQ(SettingsStore(file_).objectForKey("key"), ValueTree(1));
}

TEST_F(SettingsStoreTest, RefusesWhatDoesNotFitAndWritesTheRest) {
  ManualClock clock;
  const ScopedClock scope(clock);  // nothing is written by itself
  const Bytes large(std::vector<std::uint8_t>(std::size_t{40} << 20));
  SettingsStore one(file_);
  SettingsStore two(file_);
  EXPECT_TRUE(one.setObject_forKey(large, "one"));
  EXPECT_FALSE(one.setObject_forKey(large, "more"));
  EXPECT_TRUE(one.setObject_forKey(large, "one")) << "in place of itself";
  EXPECT_TRUE(two.setObject_forKey(large, "two")) << "it does not know of the other";
  EXPECT_TRUE(two.setObject_forKey(2, "small"));
  EXPECT_TRUE(two.setObject_forKey(3, "also small"));
  ASSERT_TRUE(one.synchronize());
  const Result<void> written = two.synchronize();
  ASSERT_FALSE(written);
  EXPECT_EQ(written.error().description(), "no room for \"two\"");
  EXPECT_TRUE(two.synchronize()) << "what there is room for is written";
  EXPECT_EQ(two.all(), ValueTree::dictionary({{"one", large}, {"small", 2}, {"also small", 3}}));
  EXPECT_EQ(SettingsStore(file_).all(), two.all());
  EXPECT_THAT(log(), ElementsAre(HasSubstr("no room for \"two\"")));
}

TEST_F(SettingsStoreTest, ARelativePathKeepsItsFolder) {
  const fs::path earlier = fs::current_path();
  fs::current_path(folder_);
  SettingsStore store("relative.plist");
  fs::current_path(earlier);
  EXPECT_TRUE(store.setObject_forKey(1, "key"));
  EXPECT_TRUE(store.synchronize());
  EXPECT_TRUE(fs::exists(folder_ / "relative.plist"));
}

TEST_F(SettingsStoreTest, ReadsXmlAndWritesTheBinaryForm) {
  fs::create_directories(file_.parent_path());
  put(file_, "<?xml version='1.0'?><plist><dict><key>a</key><integer>1</integer></dict></plist>");
  SettingsStore store(file_);
  EXPECT_EQ(store.objectForKey("a"), ValueTree(1));
  EXPECT_TRUE(store.setObject_forKey(2, "b"));
  ASSERT_TRUE(store.synchronize());
  EXPECT_TRUE(contentsOf(file_).starts_with("bplist00"));
  EXPECT_EQ(store.all(), ValueTree::dictionary({{"a", 1}, {"b", 2}}));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SettingsStoreTest, NamesTheFileAfterTheApplication) {
  const char* earlier = std::getenv("XDG_CONFIG_HOME");
  const std::string kept = earlier ? earlier : "";
  setenv("XDG_CONFIG_HOME", "/config", 1);
  EXPECT_EQ(SettingsStore::fileOfApplication("player"), "/config/player/settings.plist");
  EXPECT_EQ(SettingsStore::fileOfApplication("a/../../b"), "/config/a_.._.._b/settings.plist");
  EXPECT_EQ(SettingsStore::fileOfApplication(".."), "/config/vantrel/settings.plist");
  const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
  setenv("HOME", "/home/user", 1);
  setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_EQ(SettingsStore::fileOfApplication("player"), "/home/user/.config/player/settings.plist");
  setenv("HOME", home.c_str(), 1);
  earlier ? setenv("XDG_CONFIG_HOME", kept.c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace vantrel
