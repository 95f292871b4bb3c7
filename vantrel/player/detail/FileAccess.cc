#include "vantrel/player/detail/FileAccess.h"

#include "vantrel/platform/Host.h"
#include "vantrel/platform/Log.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/player/detail/PlayerEvents.h"
#include "vantrel/system/FileContents.h"

namespace vantrel::player::detail {

std::string lastPathComponent(std::string_view path) {
  const auto last = path.find_last_not_of('/');
  if (last == std::string_view::npos) return path.empty() ? "" : "/";
  path = path.substr(0, last + 1);
  return std::string(path.substr(path.rfind('/') + 1));
}

std::unique_ptr<FilePlayer> openUrl(const std::optional<std::string>& url) {
  const auto& players = Host::current().filePlayers;
  return players && url ? players->openUrl(*url) : nullptr;
}

std::unique_ptr<FilePlayer> openBytes(const std::optional<Bytes>& contents) {
  const auto& players = Host::current().filePlayers;
  return players && contents && !contents->empty() ? players->openBytes(*contents) : nullptr;
}

std::unique_ptr<FilePlayer> openEntry(const MusicOfPhoneMode& entry, std::uint64_t sourceType,
                                      SizeLine line) {
  if (sourceType == kLibrary) return openUrl(entry.mItem() ? entry.mItem()->assetUrl : std::nullopt);
  const auto contents = entry.mPath() ? system::detail::readFile(*entry.mPath()) : std::nullopt;
  if (line == SizeLine::Log) {
    const std::string name = entry.mPath() ? lastPathComponent(*entry.mPath()) : "(null)";
    platform::log("KWAudioPlayer " + name + " size:" + std::to_string(contents ? contents->size() : 0));
  }
  return openBytes(contents);
}

std::uint32_t wholeDuration(const std::unique_ptr<FilePlayer>& player) {
  return player ? truncated(player->duration()) : 0;
}

}  // namespace vantrel::player::detail
