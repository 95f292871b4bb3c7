#include <gtest/gtest.h>

#include <functional>
#include <new>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ScratchFolder.h"
#include "vantrel/base/Log.h"
#include "vantrel/host/SettingsStore.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/system/KWFile.h"

namespace vantrel {
namespace {

using tests::ScratchFolder;

/// Whether an operation may keep memory of its own from call to call.
enum class Keeps { Nothing, Something };

// Fails each allocation of the operation in turn: what it works on is then as it was, or as it should become.
void isSoundWithout(const char* what, const std::function<void()>& operation,
                    const std::function<bool()>& isSound, Keeps keeps = Keeps::Nothing) {
  SCOPED_TRACE(what);
  operation();  // what is made once and kept
  ASSERT_TRUE(isSound());
  for (std::int64_t successes = 0;; ++successes) {
    const std::int64_t inUse = tests::bytesInUseByThisThread();
    const std::uint64_t before = tests::allocationsOfThisThread();
    try {
      const tests::FailingAllocation failing(successes);
      operation();
    } catch (const std::bad_alloc&) {
    }
    const std::uint64_t made = tests::allocationsOfThisThread() - before;
    ASSERT_TRUE(isSound()) << "allocation " << successes;
    const bool isBack = tests::bytesInUseByThisThread() == inUse;
    ASSERT_TRUE(isBack || keeps == Keeps::Something) << "allocation " << successes;
    if (made <= static_cast<std::uint64_t>(successes)) return;
  }
}

class OutOfMemoryTest : public testing::Test {
 protected:
  ManualClock clock_;
  ScopedClock scope_{clock_};  // nothing is written by itself
  ScopedLogSink quiet_{[](std::string_view) {}};
  ScratchFolder folder_;
};

TEST_F(OutOfMemoryTest, FilesAreTheOldOrTheNewOnes) {
  const std::string file = folder_.put("file", "old");
  const Bytes contents = Bytes::copyOf("new");
  const auto isWhole = [&] {
    const std::string found = folder_.contentsOf("file");
    folder_.put("file", "old");
    return (found == "old" || found == "new" || found == "oldnew") && folder_.names().size() == 1;
  };
  isSoundWithout(
      "fill", [&] { KWFile::writeData_fillFile(contents, file); }, isWhole);
  isSoundWithout(
      "append", [&] { KWFile::writeData_endFile(contents, file); }, isWhole);
  isSoundWithout(
      "read", [&] { KWFile::stringPath(file); }, isWhole);
  isSoundWithout(
      "list", [&] { KWFile::subPaths(folder_.path()); }, isWhole);
}

TEST_F(OutOfMemoryTest, SettingsLoseNothing) {
  const ValueTree values[] = {"an old value of some length", "a new value of some length"};
  const auto isEither = [&](const std::optional<ValueTree>& value) {
    return value == values[0] || value == values[1];
  };
  SettingsStore store(folder_.at("settings.plist"));
  int round = 0;
  const auto change = [&] {
    store.setObject_forKey(values[++round % 2], "key");
    static_cast<void>(store.synchronize());
  };
  const auto isKept = [&] {
    const std::optional<ValueTree> known = store.objectForKey("key");
    return isEither(known) && isEither(SettingsStore(folder_.at("settings.plist")).objectForKey("key")) &&
           store.synchronize() && SettingsStore(folder_.at("settings.plist")).objectForKey("key") == known &&
           folder_.names().size() == 1;
  };
  isSoundWithout("settings", change, isKept, Keeps::Something);
}

}  // namespace
}  // namespace vantrel
