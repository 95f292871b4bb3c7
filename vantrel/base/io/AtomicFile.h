#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/io/Descriptor.h"
#include "vantrel/base/io/PathArgument.h"

namespace vantrel {

/// A file that is written piece by piece and appears, or replaces what was there, all at once: a reader, or
/// whoever looks after a crash, finds the old contents or the new ones and nothing between.
///
/// - A link keeps leading to its file, also one that leads nowhere yet: the file is made where it leads.
/// - A file that is replaced keeps its permissions, and its owner where the process may give files away (root
///   may; for others the new file is theirs, loses the set-user and set-group bits, and a group that cannot
///   be kept loses its rights); access lists and other extended attributes it loses. A new file gets what the
///   process's file mode mask, or the folder's access list, leaves. What is being written is readable by
///   nobody else before.
/// - Of a file with several names (hard links), this one gets the new contents; the others keep the old.
/// - A file without the right to write to it is refused, although replacing would not need that right, and so
///   is anything but a file (a folder, a pipe, a device), and a folder in which nothing can be created.
/// - The contents are on the disk before the name leads to them, and the name is when `commit` returns.
/// - What is never committed leaves nothing behind. Also when the process is killed: until the end it is a
///   file without a name, where the file system has such. Killed at the end, or elsewhere, it leaves one
///   hidden file (".NAME.vantrel-tmp") that the next writer removes.
///
/// Threads: one at a time. Two writers of one file do not disturb each other; the last to commit wins.
class VANTREL_EXPORT AtomicFile {
 public:
  /// Begins to write what will be at `path`; its folder must be there. `mode` is what a new file gets less
  /// the process's mask.
  static Result<AtomicFile> create(PathArgument path, mode_t mode = 0666);

  AtomicFile(AtomicFile&& other) noexcept = default;
  AtomicFile& operator=(AtomicFile&& other) noexcept = delete;

  /// Drops what is not committed.
  ~AtomicFile();

  /// Appends. After a failure only dropping is left.
  Result<void> write(std::span<const std::uint8_t> contents);

  /// Puts the file in its place. Once.
  Result<void> commit();

  /// All in one.
  static Result<void> replace(PathArgument path, std::span<const std::uint8_t> contents, mode_t mode = 0666);

 private:
  AtomicFile() = default;
  Result<void> open(mode_t mode);
  Result<void> takeOverOwnerAndMode();
  Result<void> giveName();
  bool openWithoutName();
  Result<void> openWithName();
  bool lock();
  template <typename Make>
  bool takeName(const Make& make);

  std::string target_;     ///< where links lead to
  std::string temporary_;  ///< its name until it is in its place; empty: it has none yet
  Descriptor folder_;
  Descriptor file_;
  bool replaces_ = false;
  mode_t mode_ = 0;
  uid_t owner_ = 0;
  gid_t group_ = 0;
};

}  // namespace vantrel
