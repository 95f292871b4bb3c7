#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/base/io/PathArgument.h"

namespace vantrel {

/// Files and folders: paths below the user's standard directories, creating, reading, writing, removing, and
/// texts for sizes.
///
/// Paths are texts or `std::filesystem::path`; names that are not UTF-8 are passed through as they are. A
/// path that is absent, empty or holds a NUL byte names nothing, and every operation fails on it in its own
/// way.
///
/// Standard directories (`base`) go by the platform's numbers:
///
/// - 5 Library: `$XDG_CONFIG_HOME`, else ~/.config
/// - 13 Caches: `$XDG_CACHE_HOME`, else ~/.cache
/// - 14 Application Support: `$XDG_DATA_HOME`, else ~/.local/share
/// - 9 Documents, 12 Desktop, 15 Downloads, 17 Movies, 18 Music, 19 Pictures, 21 Public: the folder that the
///   user named in `$XDG_CONFIG_HOME`/user-dirs.dirs, else the home folder's "Documents", "Desktop",
///   "Downloads", "Videos", "Music", "Pictures", "Public"
/// - any other number: the home folder
///
/// The home folder is `$HOME`, else the user's entry in the password database, else "/". Variables that hold
/// no absolute path are not used.
///
/// Files are read into memory up to 2 GiB; larger ones, pipes and devices cannot be read. For the bytes of a
/// file there is `files::read` (vantrel/base/io/Files.h), which also says why a file cannot be read:
///
///   if (const Result<Bytes> contents = files::read(path)) use(contents->span());
///
/// Threads: any; nothing is shared but the file system itself. Nothing is logged.
class VANTREL_EXPORT KWFile {
 public:
  KWFile() = delete;

  /// Leaves an empty file at the path, with every missing folder above it. True when that succeeded; true in
  /// any case when something was there before (a file is emptied, a folder stays as it is).
  static bool createPath(PathArgument path);

  /// The folder base/middle, or the file base/middle/file when a file name is given; created with every
  /// missing folder if nothing is there, left alone otherwise. The path comes back also when creating failed.
  static std::string createOn_MiddlePath_File(std::uint64_t base, PathArgument middle, PathArgument file);

  /// The path base/middle or base/middle/file; an empty part adds nothing. Creates nothing.
  static std::string listPath_MiddlePath_File(std::uint64_t base, PathArgument middle, PathArgument file);

  /// The same path if something is there (a link that leads nowhere does not count), else absent.
  static std::optional<std::string> findPath_MiddlePath_File(std::uint64_t base, PathArgument middle,
                                                             PathArgument file);

  /// A size for people, two decimals and a unit in steps of 1024: "0.49Kb", "1.50Mb", "1.00Gb", "3.00Tb";
  /// from 2^50 bytes on "-1". Negative counts are in Kb. The quotient is rounded to single precision first.
  static std::string fileByte(std::int64_t bytes);

  /// As POSIX rename: true when it succeeded; a file at the new path is replaced.
  static bool renameOldName_NewName(PathArgument oldPath, PathArgument newPath);

  /// Removes a file, a link (never what it points to) or a folder with everything in it. False when nothing
  /// was there or the path itself is still there afterwards; what could be removed below it is gone then.
  /// "/" and paths that end in "." or ".." are refused.
  static bool removePath(PathArgument path);

  /// Makes the file hold exactly these bytes, at once: a reader sees the old contents or the new ones, and on
  /// failure (no folder, no room, no right) the old ones stay and the result is false. The bytes are on the
  /// disk when it returns. An existing file keeps its permissions; a link keeps leading to its file, whose
  /// contents are replaced. Anything else than a file (a folder, a pipe, a device) is left alone, with the
  /// result false. `AtomicFile` (vantrel/base/io/AtomicFile.h) does the same piece by piece and says why it
  /// failed.
  static bool writeData_fillFile(const Bytes& data, PathArgument path);

  /// Appends to an existing file; nothing happens when there is none or it cannot be written. When there is
  /// no room for all of the bytes, the file is cut back to its old contents. One writer at a time.
  static void writeData_endFile(const Bytes& data, PathArgument path);

  /// The path of a resource in a sub-bundle of the application's resources, or the empty string.
  static std::string find_File(PathArgument subBundle, PathArgument name);

  /// The path of a resource of the application, its extension included, or absent.
  static std::optional<std::string> find(PathArgument name);

  /// The file read as JSON (see vantrel/data/Json.h). Absent when the path is, when the file cannot
  /// be read, and when it is not JSON.
  static std::optional<ValueTree> JsonPath(PathArgument path);

  /// The bytes read as JSON; absent when they are absent or not JSON.
  static std::optional<ValueTree> JsonData(const std::optional<Bytes>& data);

  /// The file's text. Absent when the path is, when the file cannot be read, and when it is not valid UTF-8.
  static std::optional<std::string> stringPath(PathArgument path);

  /// Every file, folder and link below a folder at any depth, relative to it, each folder before what it
  /// holds, in no other order. Links to folders are listed, not followed. Absent when the path is absent or
  /// no readable folder; an unreadable folder below it is listed without contents.
  static std::optional<std::vector<std::string>> subPaths(PathArgument path);

  /// The size of what is at the path (of a link: of what it leads to), 0 when nothing is.
  static std::int64_t sizeOfFile(PathArgument path);
};

}  // namespace vantrel
