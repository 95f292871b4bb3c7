#include "vantrel/player/detail/FileAccess.h"

#include <sys/stat.h>

#include "vantrel/base/Log.h"
#include "vantrel/base/io/Files.h"
#include "vantrel/host/Host.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/Format.h"

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

std::unique_ptr<FilePlayer> openFile(const std::optional<std::string>& path) {
  const auto& players = Host::current().filePlayers;
  return players && path ? players->openFile(*path) : nullptr;
}

std::uint64_t readableSize(const std::optional<std::string>& path) {
  const Result<Descriptor> file = files::openToRead(path.value_or(""));
  struct stat status {};
  if (!file || ::fstat(file->get(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

std::unique_ptr<FilePlayer> openEntry(const MusicOfPhoneMode& entry, std::uint64_t sourceType,
                                      SizeLine line) {
  if (sourceType == Library) return openUrl(entry.mItem() ? entry.mItem()->assetUrl : std::nullopt);
  if (line == SizeLine::Log) {
    const std::string name = entry.mPath() ? lastPathComponent(*entry.mPath()) : "(null)";
    log(LogLevel::Debug, "KWAudioPlayer " + name + " size:" + std::to_string(readableSize(entry.mPath())));
  }
  return openFile(entry.mPath());
}

std::uint32_t wholeDuration(const std::unique_ptr<FilePlayer>& player) {
  return player ? truncated(player->duration()) : 0;
}

}  // namespace vantrel::player::detail
