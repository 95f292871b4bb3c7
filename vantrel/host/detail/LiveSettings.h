#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "vantrel/base/ValueTree.h"
#include "vantrel/data/PropertyListExtent.h"
#include "vantrel/host/detail/ExitList.h"
#include "vantrel/host/detail/Gathering.h"
#include "vantrel/host/detail/PendingChanges.h"
#include "vantrel/host/detail/SettingsFile.h"

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

  /// Writes what is pending; whether the file holds all of it then.
  bool flush();

  /// Ends the writer and writes what is pending; says so when that is the end of it.
  void finish();

  void exiting() override { finish(); }

  /// Whether this is the copy in a fork, where the writer is missing and may seem to wait for ever.
  bool isForked() const { return process_ != getpid(); }

 private:
  using Lines = std::vector<std::string>;

  void startWriter();
  void runWriter();
  bool flush(Lines& lines);
  SettingsFile::Update write();
  std::chrono::milliseconds patience() const;
  ValueTree merged() const;
  void refresh(Lines& lines);
  void know(SettingsFile::Contents contents);
  void note(const SettingsFile::Update& update, Lines& lines);

  const SettingsFile file_;
  const pid_t process_ = getpid();

  std::mutex writing_;  // held over a whole write; never asked for while mutex_ is held
  std::mutex mutex_;
  std::condition_variable wake_;
  ValueTree stored_ = ValueTree::dictionary();  // what the file held when last seen
  std::optional<Extent> storedExtent_;          // once somebody has asked
  std::optional<FileVersion> seen_;
  PendingChanges pending_;
  Gathering gathering_;
  PendingChanges::Serial lost_ = 0;  // the changes up to this one have been said to be lost
  bool known_ = false;               // to the exit list
  bool readFailureSaid_ = false;
  bool writeFailureSaid_ = false;
  bool lockMissed_ = false;  // once waited for in vain, and not got since
  bool stopping_ = false;
  std::thread writer_;
};

}  // namespace vantrel::host::detail
