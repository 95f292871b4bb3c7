#include "vantrel/player/detail/FileAccess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>
#include <vector>

#include "vantrel/platform/Host.h"
#include "vantrel/platform/Log.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/player/detail/PlayerEvents.h"

namespace vantrel::player::detail {
namespace {

constexpr off_t kMostBytes = off_t{2} << 30;

class Descriptor {
 public:
  explicit Descriptor(const std::string& path)
      // Without O_NONBLOCK, opening a pipe would wait for a writer.
      : number_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  /// Size of a regular file; absent for everything else.
  std::optional<off_t> fileSize() const {
    struct stat facts {};
    if (number_ < 0 || ::fstat(number_, &facts) != 0 || !S_ISREG(facts.st_mode)) return std::nullopt;
    return facts.st_size;
  }

  /// Fills as much of `room` as the file has; absent when reading fails.
  std::optional<std::size_t> read(std::vector<std::uint8_t>& room) const {
    std::size_t filled = 0;
    while (filled < room.size()) {
      const ssize_t count = ::read(number_, room.data() + filled, room.size() - filled);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return std::nullopt;
      if (count == 0) break;
      filled += static_cast<std::size_t>(count);
    }
    return filled;
  }

 private:
  int number_;
};

}  // namespace

std::string lastPathComponent(std::string_view path) {
  const auto last = path.find_last_not_of('/');
  if (last == std::string_view::npos) return path.empty() ? "" : "/";
  path = path.substr(0, last + 1);
  return std::string(path.substr(path.rfind('/') + 1));
}

std::optional<Bytes> readWholeFile(const std::string& path) {
  // A zero byte would cut the path short for the system.
  if (path.find('\0') != std::string::npos) return std::nullopt;
  const Descriptor file(path);
  const auto size = file.fileSize();
  if (!size || *size > kMostBytes) return std::nullopt;
  try {
    std::vector<std::uint8_t> contents(static_cast<std::size_t>(*size));
    const auto filled = file.read(contents);
    if (!filled) return std::nullopt;
    contents.resize(*filled);
    return Bytes(std::move(contents));
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
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
  const auto contents = entry.mPath() ? readWholeFile(*entry.mPath()) : std::nullopt;
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
