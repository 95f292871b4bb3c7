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

// Fails each allocation of the operation in turn: what it works on is then as it was, or as it should become,
// and the memory is given back but where the operation keeps some from call to call.
void isSoundWithout(const char* what, const std::function<void()>& operation,
                    const std::function<bool()>& isSound, bool keepsSome = false) {
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
    ASSERT_TRUE(keepsSome || tests::bytesInUseByThisThread() == inUse) << "allocation " << successes;
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
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"fill", [&] { KWFile::writeData_fillFile(contents, file); }},
      {"append", [&] { KWFile::writeData_endFile(contents, file); }},
      {"read", [&] { KWFile::stringPath(file); }},
      {"list", [&] { KWFile::subPaths(folder_.path()); }}};
  for (const auto& [what, operation] : operations) isSoundWithout(what, operation, isWhole);
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
  isSoundWithout("settings", change, isKept, true);
}

}  // namespace
}  // namespace vantrel
