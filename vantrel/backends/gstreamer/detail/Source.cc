#include "vantrel/backends/gstreamer/detail/Source.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "vantrel/backends/gstreamer/detail/Gst.h"
#include "vantrel/base/io/Files.h"

namespace vantrel::backends::gstreamer::detail {

Result<std::shared_ptr<const Source>> Source::open(const std::string& path) {
  Result<Descriptor> file = files::openToRead(path);
  if (!file) return file.error();
  struct stat status {};
  if (::fstat(file->get(), &status) != 0) return Error::ofSystem(errno);
  if (S_ISDIR(status.st_mode)) return Error::ofSystem(EISDIR);
  if (!S_ISREG(status.st_mode)) return ownError(GStreamerFilePlayers::NotAFile, "is no regular file");
  if (status.st_size <= 0) return ownError(GStreamerFilePlayers::NoAudio, "is empty");
  const auto size = static_cast<std::uint64_t>(status.st_size);
  return std::shared_ptr<const Source>(new Source(*std::move(file), size));
}

bool Source::shrunk() const {
  struct stat status {};
  return ::fstat(file_.get(), &status) == 0 && static_cast<std::uint64_t>(status.st_size) < size_;
}

std::optional<std::size_t> Source::read(std::uint64_t offset, std::span<std::uint8_t> into) const {
  std::size_t length = 0;
  while (length < into.size()) {
    const auto rest = into.subspan(length);
    const ssize_t count = ::pread(file_.get(), rest.data(), rest.size(), static_cast<off_t>(offset + length));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  return length;
}

Result<std::string> pathOfUrl(const std::string& url) {
  const auto refused = [] {
    return ownError(GStreamerFilePlayers::NotAFile, "is neither the address of a local file nor a full path");
  };
  // A path with a NUL byte names nothing; an address cannot hold one.
  if (url.starts_with('/')) return url;
  if (url.find('\0') != std::string::npos) return refused();
  gchar* hostName = nullptr;
  const Owned<gchar> path(g_filename_from_uri(url.c_str(), &hostName, nullptr));
  const Owned<gchar> host(hostName);
  if (!path || (host && *host && std::string(host.get()) != "localhost")) return refused();
  return std::string(path.get());
}

}  // namespace vantrel::backends::gstreamer::detail
