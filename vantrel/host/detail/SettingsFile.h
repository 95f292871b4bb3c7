#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/Error.h"
#include "vantrel/base/ValueTree.h"

namespace vantrel::host::detail {

/// Which version of a file stands at a path; equal as long as nobody has replaced or changed it.
struct FileVersion {
  dev_t device = 0;
  ino_t inode = 0;  ///< 0: there is no file
  std::int64_t size = 0;
  std::int64_t modified = 0;
  std::int64_t changed = 0;

  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

/// A value to set under a key; absent: to remove.
using SettingsChange = std::pair<std::string, std::optional<ValueTree>>;
using SettingsChanges = std::vector<SettingsChange>;

void applyChanges(std::span<const SettingsChange> changes, ValueTree& values);

/// One settings file that several processes may share: a property list with a dictionary at its top. A
/// symbolic link is followed, and what it leads to is replaced. Stateless; any thread.
class SettingsFile {
 public:
  enum class State : std::uint8_t { Missing, Sound, Damaged, Unreadable };

  struct Contents {
    State state = State::Missing;
    ValueTree values = ValueTree::dictionary();
    FileVersion version;
    std::optional<Error> problem;  ///< why it is unreadable
  };

  struct Update {
    std::optional<Error> problem;      ///< why it is not done
    bool lockMissed = false;           ///< that is because another process holds the lock
    Contents contents;                 ///< what the file holds now, when done
    std::string setAside;              ///< the name under which a damaged file was kept
    std::vector<std::string> refused;  ///< keys whose new values the file has no room for
  };

  explicit SettingsFile(std::filesystem::path path) : path_(std::move(path)) {}

  const std::filesystem::path& path() const { return path_; }

  /// Absent when it cannot be told, which is not the same as no file.
  std::optional<FileVersion> version() const;
  Contents read() const;

  /// Reads again, applies the changes and replaces the file, all under a lock between processes. Without
  /// changes it only sets a damaged file aside. Waits for the lock for `patience` of real time at most. Where
  /// the file would become larger than what can be read again, large values are left out before small ones.
  Update update(const SettingsChanges& changes, std::chrono::milliseconds patience) const;

 private:
  std::filesystem::path path_;
};

}  // namespace vantrel::host::detail
