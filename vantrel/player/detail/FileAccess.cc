#include "vantrel/player/detail/FileAccess.h"

#include <sys/stat.h>

#include "vantrel/base/Log.h"
#include "vantrel/base/io/Files.h"
#include "vantrel/host/Host.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/Format.h"

namespace vantrel::player::detail {
namespace {

Opened open(const std::optional<std::string>& source, Opened (FilePlayerFactory::*with)(const std::string&)) {
  if (!source) return Error::saying(kErrorDomain, NothingToOpen, "has no path or address");
  const auto& players = Host::current().filePlayers;
  if (!players) return Error::saying(kErrorDomain, HostCannotPlay, "this program plays no files");
  auto opened = ((*players).*with)(*source);
  // Some hosts may know no reason.
  if (opened && !*opened) return Error::saying(kErrorDomain, HostCannotPlay, "cannot be opened");
  return opened;
}

}  // namespace

std::string lastPathComponent(std::string_view path) {
  const auto last = path.find_last_not_of('/');
  if (last == std::string_view::npos) return path.empty() ? "" : "/";
  path = path.substr(0, last + 1);
  return std::string(path.substr(path.rfind('/') + 1));
}

Opened openUrl(const std::optional<std::string>& url) { return open(url, &FilePlayerFactory::openUrl); }

Opened openFile(const std::optional<std::string>& path) { return open(path, &FilePlayerFactory::openFile); }

std::uint64_t readableSize(const std::optional<std::string>& path) {
  const Result<Descriptor> file = files::openToRead(path.value_or(""));
  struct stat status {};
  if (!file || ::fstat(file->get(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

Error whyUnreadable(const std::optional<std::string>& path) {
  const Result<Descriptor> file = files::openToRead(path);
  return file ? Error::saying(kErrorDomain, NothingToOpen, "is empty or no file") : file.error();
}

Opened openEntry(const MusicOfPhoneMode& entry, std::uint64_t sourceType, SizeLine line) {
  if (sourceType == Library) return openUrl(entry.mItem() ? entry.mItem()->assetUrl : std::nullopt);
  if (line == SizeLine::Log) {
    const std::string name = entry.mPath() ? lastPathComponent(*entry.mPath()) : "(null)";
    log(LogLevel::Debug, "KWAudioPlayer " + name + " size:" + std::to_string(readableSize(entry.mPath())));
  }
  return openFile(entry.mPath());
}

std::uint32_t wholeDuration(const Opened& player) { return player ? truncated((*player)->duration()) : 0; }

}  // namespace vantrel::player::detail
