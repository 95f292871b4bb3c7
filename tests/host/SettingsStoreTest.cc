#include "vantrel/host/SettingsStore.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/LogLines.h"
#include "tests/support/ScopedLimit.h"
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

class SettingsStoreTest : public testing::Test {
 protected:
  /// The file with these contents, in its folder.
  void put(const std::string& contents) {
    fs::create_directory(scratch_.at("app"));
    scratch_.put("app/settings.plist", contents);
  }

  std::set<std::string> namesBeside() const {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(file_.parent_path()))
      found.insert(entry.path().filename());
    return found;
  }

  const tests::ScratchFolder scratch_;
  const fs::path file_ = fs::path(scratch_.path()) / "app" / "settings.plist";
  tests::LogLines log_;
};

TEST_F(SettingsStoreTest, KeepsValuesOverReopeningToTheUserAloneAndTouchesNothingBefore) {
  ValueTree values = ValueTree::dictionary({{"text", "Ω"},
                                            {"flag", true},
                                            {"date", Date{978307200.5}},
                                            {"", ValueTree::dictionary({{"a", 1}})},
                                            {"a", 1},
                                            {"b", 2}});
  {
    SettingsStore store(file_);
    EXPECT_EQ(store.all(), ValueTree::dictionary());
    EXPECT_TRUE(store.synchronize());
    EXPECT_THAT(scratch_.names(), IsEmpty());
    for (const auto& member : values.members())
      EXPECT_TRUE(store.setObject_forKey(member.value(), member.key()));
    EXPECT_EQ(store.objectForKey("b"), ValueTree(2)) << "seen at once";
    EXPECT_EQ(store.all(), values);
  }
  SettingsStore again(file_);
  EXPECT_EQ(again.all(), values);
  EXPECT_EQ(again.objectForKey("flag"), ValueTree(true));
  EXPECT_EQ(again.objectForKey("other"), std::nullopt);
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(file_.parent_path()).permissions(), fs::perms(0700));
  EXPECT_THAT(namesBeside(), ElementsAre("settings.plist"));

  again.removeObjectForKey("a");
  EXPECT_TRUE(again.setObject_forKey(nullptr, "b"));
  EXPECT_TRUE(values.remove("a") && values.remove("b"));
  EXPECT_EQ(again.all(), values);
  ASSERT_TRUE(again.synchronize());
  EXPECT_EQ(SettingsStore(file_).all(), values);
  EXPECT_THAT(log_.take(), IsEmpty());
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
  for (const ValueTree value : {3, 4, 5}) {
    EXPECT_TRUE(two.setObject_forKey(value, "common"));
    ASSERT_TRUE(two.synchronize());
    EXPECT_TRUE(one.synchronize());
    EXPECT_EQ(one.objectForKey("common"), value) << "however lately it was read before";
    EXPECT_EQ(one.objectForKey("common"), value);
  }
}

TEST_F(SettingsStoreTest, SetsEachDamagedFileAsideUnderItsOwnNameAndSaysSo) {
  const std::set<std::string> damaged = {"bplist00 and no more", "", "other",
                                         std::string(plist::write(ValueTree::list({1}))->text())};
  for (const std::string& contents : damaged) {
    put(contents);
    EXPECT_TRUE(SettingsStore(file_).setObject_forKey(1, "key"));
    EXPECT_EQ(SettingsStore(file_).all(), ValueTree::dictionary({{"key", 1}}));
    EXPECT_THAT(log_.take(), ElementsAre(HasSubstr(file_.string() + " is damaged, kept as ")));
  }
  std::set<std::string> aside;
  for (const std::string& name : namesBeside()) {
    if (name.starts_with("settings.plist.damaged-")) aside.insert(scratch_.contentsOf("app/" + name));
  }
  EXPECT_EQ(aside, damaged);
}

TEST_F(SettingsStoreTest, GoesOnInMemoryWhereItCannotWriteAndSaysSoOnce) {
  scratch_.put("app", "a file where the folder should be");
  SettingsStore store(file_);
  EXPECT_TRUE(store.setObject_forKey(1, "key"));
  EXPECT_FALSE(store.synchronize());
  EXPECT_FALSE(store.synchronize());
  EXPECT_EQ(store.objectForKey("key"), ValueTree(1));
  EXPECT_THAT(log_.take(), ElementsAre(HasSubstr("settings: " + file_.string() + " cannot be written: ")));
  fs::remove(file_.parent_path());
  fs::create_directories(file_);
  EXPECT_FALSE(store.synchronize()) << "a folder";
  EXPECT_TRUE(fs::remove(file_));
  EXPECT_TRUE(store.synchronize());
  EXPECT_EQ(SettingsStore(file_).objectForKey("key"), ValueTree(1));
}

TEST_F(SettingsStoreTest, FollowsASymbolicLink) {
  fs::create_directory(file_.parent_path());
  fs::create_symlink("../elsewhere/real.plist", file_);
  for (const char* const key : {"a", "b"}) EXPECT_TRUE(SettingsStore(file_).setObject_forKey(1, key));
  EXPECT_TRUE(fs::is_symlink(file_));
  const SettingsStore target(scratch_.at("elsewhere/real.plist"));
  EXPECT_EQ(target.all(), ValueTree::dictionary({{"a", 1}, {"b", 1}}));
}

TEST_F(SettingsStoreTest, MayBeUsedFromTheLogThatItWritesTo) {
  put("damaged");
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
  std::optional<tests::ScopedLimit> none(std::in_place, RLIMIT_NOFILE, 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(known.objectForKey("key"), ValueTree(1));
    EXPECT_EQ(fresh.objectForKey("key"), std::nullopt);
  }
  none.reset();
  EXPECT_EQ(known.objectForKey("key"), ValueTree(2));
  EXPECT_EQ(fresh.objectForKey("key"), ValueTree(2));
  EXPECT_THAT(log_.take(), ElementsAre(HasSubstr("cannot be read: "), HasSubstr("cannot be read: ")))
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
  EXPECT_THAT(log_.take(), ElementsAre(HasSubstr(locked)));
  flock(folder, LOCK_UN);
  EXPECT_TRUE(store->synchronize());
  ASSERT_EQ(flock(folder, LOCK_EX), 0);
  EXPECT_TRUE(store->setObject_forKey(2, "key"));
  store.reset();
  EXPECT_THAT(log_.take(), ElementsAre(HasSubstr(locked), HasSubstr("changes lost: 1")));
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
  EXPECT_THAT(log_.take(), ElementsAre(HasSubstr("no room for \"two\"")));
}

TEST_F(SettingsStoreTest, ARelativePathKeepsItsFolder) {
  const fs::path earlier = fs::current_path();
  fs::current_path(scratch_.path());
  SettingsStore store("relative.plist");
  fs::current_path(earlier);
  EXPECT_TRUE(store.setObject_forKey(1, "key"));
  EXPECT_TRUE(store.synchronize());
  EXPECT_THAT(scratch_.names(), ElementsAre("relative.plist"));
}

TEST_F(SettingsStoreTest, ReadsXmlAndWritesTheBinaryForm) {
  put("<?xml version='1.0'?><plist><dict><key>a</key><integer>1</integer></dict></plist>");
  SettingsStore store(file_);
  EXPECT_TRUE(store.setObject_forKey(2, "b"));
  ASSERT_TRUE(store.synchronize());
  EXPECT_TRUE(tests::contentsOf(file_).starts_with("bplist00"));
  EXPECT_EQ(store.all(), ValueTree::dictionary({{"a", 1}, {"b", 2}}));
  EXPECT_THAT(log_.take(), IsEmpty());
}

// The environment stays changed; no other test of this program looks at it.
TEST_F(SettingsStoreTest, NamesTheFileAfterTheApplication) {
  setenv("XDG_CONFIG_HOME", "/config", 1);
  EXPECT_EQ(SettingsStore::fileOfApplication("player"), "/config/player/settings.plist");
  EXPECT_EQ(SettingsStore::fileOfApplication("a/../../b"), "/config/a_.._.._b/settings.plist");
  EXPECT_EQ(SettingsStore::fileOfApplication(".."), "/config/vantrel/settings.plist");
}

}  // namespace
}  // namespace vantrel
