#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "vantrel/base/Mutex.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/data/PropertyListExtent.h"
#include "vantrel/host/detail/ExitList.h"
#include "vantrel/host/detail/Gathering.h"
#include "vantrel/host/detail/PendingChanges.h"
#include "vantrel/host/detail/SettingsFile.h"
#include "vantrel/loop/Clock.h"

namespace vantrel::host::detail {

/// The settings of one file as the process sees them: what the file held when last seen, and the changes that
/// wait for the writer. Threads: any.
class LiveSettings : public ExitList::Member, public std::enable_shared_from_this<LiveSettings> {
 public:
  using Extent = plist::Extent;

  explicit LiveSettings(std::filesystem::path file) : file_(std::move(file)) {}

  /// Notes a change, of which an absent value removes the entry, and has it written.
  void change(std::string_view key, std::optional<ValueTree> value, Extent extent);

  /// Whether the file can hold the value beside all others.
  bool hasRoom(std::string_view key, const ValueTree& value, const Extent& extent);

  std::optional<ValueTree> find(std::string_view key);
  ValueTree all();

  /// Writes what is pending; why the file does not hold all of it then. The next reading looks at the file.
  Result<void> flush();

  /// Ends the writer and writes what is pending; says so when that is the end of it. Throws nothing.
  void finish();

  void exiting() override { finish(); }

  /// Whether this is the copy in a fork, where the writer is missing and may seem to wait for ever.
  bool isForked() const { return process_ != getpid(); }

 private:
  using Lines = std::vector<std::string>;

  void startWriter() VANTREL_REQUIRES(mutex_);
  void runWriter();
  Result<void> flush(Lines& lines) VANTREL_EXCLUDES(writing_, mutex_);
  Result<void> take(SettingsFile::Update& update, PendingChanges::Serial latest) VANTREL_REQUIRES(mutex_);
  SettingsFile::Update write() VANTREL_REQUIRES(writing_) VANTREL_EXCLUDES(mutex_);
  bool flushOrWait() VANTREL_EXCLUDES(writing_, mutex_);
  void tryLater() VANTREL_REQUIRES(mutex_);
  void sayWhatIsLost() VANTREL_EXCLUDES(mutex_);
  std::chrono::milliseconds patience() const VANTREL_REQUIRES(mutex_);
  ValueTree merged() const VANTREL_REQUIRES(mutex_);
  void refresh(Lines& lines) VANTREL_REQUIRES(mutex_);
  bool isFresh() const VANTREL_REQUIRES(mutex_);
  void know(SettingsFile::Contents contents) VANTREL_REQUIRES(mutex_);
  void note(const SettingsFile::Update& update, Lines& lines) VANTREL_REQUIRES(mutex_);

  const SettingsFile file_;
  const pid_t process_ = getpid();

  Mutex writing_;  // held over a whole write; never asked for while mutex_ is held
  Mutex mutex_;
  Condition wake_;
  // What the file held when last seen.
  ValueTree stored_ VANTREL_GUARDED_BY(mutex_) = ValueTree::dictionary();
  std::optional<Extent> storedExtent_ VANTREL_GUARDED_BY(mutex_);  // once somebody has asked
  std::optional<FileVersion> seen_ VANTREL_GUARDED_BY(mutex_);
  // When the file was found to be the one known; absent when the next reading is to look again.
  std::optional<Duration> looked_ VANTREL_GUARDED_BY(mutex_);
  PendingChanges pending_ VANTREL_GUARDED_BY(mutex_);
  Gathering gathering_ VANTREL_GUARDED_BY(mutex_);
  // The changes up to this one have been said to be lost.
  PendingChanges::Serial lost_ VANTREL_GUARDED_BY(mutex_) = 0;
  bool known_ VANTREL_GUARDED_BY(mutex_) = false;  // to the exit list
  bool readFailureSaid_ VANTREL_GUARDED_BY(mutex_) = false;
  bool writeFailureSaid_ VANTREL_GUARDED_BY(mutex_) = false;
  bool lockMissed_ VANTREL_GUARDED_BY(mutex_) = false;  // once waited for in vain, and not got since
  bool stopping_ VANTREL_GUARDED_BY(mutex_) = false;
  std::thread writer_ VANTREL_GUARDED_BY(mutex_);
};

}  // namespace vantrel::host::detail
