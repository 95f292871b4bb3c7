#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "vantrel/platform/Bytes.h"
#include "vantrel/platform/seams/FilePlayer.h"
#include "vantrel/player/MusicOfPhoneMode.h"

/// Opening what an entry names, by the host's file players. Main thread.
namespace vantrel::player::detail {

/// The last component of a path: "/a/b.mp3" and "/a/b.mp3/" give "b.mp3", "/" gives "/".
std::string lastPathComponent(std::string_view path);

/// A file player on an asset's address, on a file's contents; null when it cannot be opened, on an absent
/// address, on empty or absent contents, and when the host plays no files.
std::unique_ptr<FilePlayer> openUrl(const std::optional<std::string>& url);
std::unique_ptr<FilePlayer> openBytes(const std::optional<Bytes>& contents);

/// Whether opening a file entry logs its size.
enum class SizeLine : std::uint8_t { Log, Skip };

/// A file player on the entry's track: the song's asset for source type 0, else the file's contents, read
/// into memory and logged as "KWAudioPlayer NAME size:BYTES".
std::unique_ptr<FilePlayer> openEntry(const MusicOfPhoneMode& entry, std::uint64_t sourceType, SizeLine line);

/// Length in whole seconds; 0 for null.
std::uint32_t wholeDuration(const std::unique_ptr<FilePlayer>& player);

}  // namespace vantrel::player::detail
