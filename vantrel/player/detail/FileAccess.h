#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "vantrel/base/Result.h"
#include "vantrel/host/seams/FilePlayer.h"
#include "vantrel/player/MusicOfPhoneMode.h"

/// Opening what an entry names, by the host's file players. Main thread.
namespace vantrel::player::detail {

/// The last component of a path: "/a/b.mp3" and "/a/b.mp3/" give "b.mp3", "/" gives "/".
std::string lastPathComponent(std::string_view path);

/// Never null; or why there is none.
using Opened = Result<std::unique_ptr<FilePlayer>>;

/// A file player on an asset's address, on a file. Fails when it cannot be opened, on an absent address or
/// path, and when the host plays no files. The file is read while it plays, not here.
Opened openUrl(const std::optional<std::string>& url);
Opened openFile(const std::optional<std::string>& path);

/// Bytes in a regular file; 0 for an absent path and for what cannot be opened for reading.
std::uint64_t readableSize(const std::optional<std::string>& path);

/// Why that is 0.
Error whyUnreadable(const std::optional<std::string>& path);

/// Whether opening a file entry logs its size.
enum class SizeLine : std::uint8_t { Log, Skip };

/// A file player on the entry's track: the song's asset for source type 0, else the file, which is logged as
/// "KWAudioPlayer NAME size:BYTES".
Opened openEntry(const MusicOfPhoneMode& entry, std::uint64_t sourceType, SizeLine line);

/// Length in whole seconds; 0 when there is no player.
std::uint32_t wholeDuration(const Opened& player);

}  // namespace vantrel::player::detail
