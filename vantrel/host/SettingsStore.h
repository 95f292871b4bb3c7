#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/base/io/PathArgument.h"

namespace vantrel {

namespace host::detail {
class LiveSettings;
}

/// Persistent settings of the user: property-list values (string, number, boolean, date, bytes, list,
/// dictionary) by key.
///
/// They live in one property-list file, which is read in the binary and the XML form and written in the
/// binary one. A change is seen at once by this process and written by a background thread of the store's
/// own: a tenth of a second later after a quiet time, but at least five seconds after the writing before, so
/// that steady changes are gathered and a process that is killed loses the last five seconds at most. It is
/// written at the latest when the store is destroyed or the process exits normally. These times follow the
/// clock in force. Under a clock that is moved by hand the thread looks at it every 10 ms of real time while
/// a change waits, and does not wait for the lock of another process.
///
/// Writing is atomic and synced: whatever happens, the file is the old or the new one. Processes that share a
/// file lose no key of each other: each writes only the keys that it changed into what stands in the file by
/// then, under a lock. What another process has written is seen by every reading a hundredth of a second
/// later, and by the first one after `synchronize`.
///
/// A file that cannot be read as settings is kept beside under another name (its own with ".damaged-" and the
/// time), and the log says so. When it cannot be read for another reason (no descriptor is free, no right),
/// the store goes on with what it knew, says so once in the log, and tries again with the next use. When it
/// cannot be written, the store goes on in memory, says so once in the log, and tries again with the next
/// change, every thirty seconds, and at the end, where it says what is lost. While another process holds the
/// lock (on the file's folder), one try waits for it, five seconds at most; those after it only look.
///
/// A symbolic link in place of the file is followed, and the file that it leads to is replaced. Nothing is
/// touched, and no thread runs, before the first reading or change.
///
/// Threads: every operation from any thread. A forked child may destroy a store that was made before the
/// fork, and exit; neither writes anything. To use settings it makes a store of its own.
class VANTREL_EXPORT SettingsStore {
 public:
  /// A store over this file; folders are created with the first write. A relative path is taken from the
  /// current working directory, once.
  explicit SettingsStore(PathArgument file);
  ~SettingsStore();
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  /// The store of the host application: `$XDG_CONFIG_HOME` (or ~/.config) / `applicationName` /
  /// "settings.plist". What is no part of a file name becomes "_"; an empty name counts as "vantrel".
  static std::filesystem::path fileOfApplication(TextArgument applicationName);

  /// Stores the value; null removes the entry. The entry stays as it was, with the reason, when
  /// - the key is absent or not valid UTF-8 (EINVAL),
  /// - no property list can hold the value: null inside, invalid UTF-8, too many levels (EINVAL),
  /// - the value does not fit beside the other entries in a file of 64 MiB (EFBIG). Where other processes
  ///   fill the file meanwhile, the writing leaves large values out and says so in the log.
  Result<void> store(const ValueTree& value, TextArgument key);

  /// The same for who need not know why; false for the failures above.
  bool setObject_forKey(const ValueTree& value, TextArgument key) { return store(value, key).has_value(); }

  /// The value, absent when there is none and for an absent key.
  std::optional<ValueTree> objectForKey(TextArgument key) const;

  /// Deletes the entry; nothing happens without one, and for an absent key.
  void removeObjectForKey(TextArgument key);

  /// All entries as one dictionary.
  ValueTree all() const;

  /// Writes pending changes now, and has the next reading see what others have written. Fails with the reason
  /// when the file does not hold all of them then: the system's (EACCES, ENOSPC, ...), EWOULDBLOCK when
  /// another process holds the lock, EFBIG for a value that other processes have left no room for. But for
  /// that last one the changes stay pending.
  Result<void> synchronize();

 private:
  std::shared_ptr<host::detail::LiveSettings> state_;
};

}  // namespace vantrel
