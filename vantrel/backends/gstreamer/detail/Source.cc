#include "vantrel/backends/gstreamer/detail/Source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "vantrel/backends/gstreamer/detail/Gst.h"

namespace vantrel::backends::gstreamer::detail {

std::shared_ptr<const Source> Source::open(const std::string& path) {
  if (path.find('\0') != std::string::npos) return nullptr;
  std::shared_ptr<Source> source(new Source);
  // Not blocking, or a pipe without a writer would hang the caller.
  source->file_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  struct stat status {};
  if (source->file_ < 0 || ::fstat(source->file_, &status) != 0) return nullptr;
  if (!S_ISREG(status.st_mode) || status.st_size <= 0) return nullptr;
  source->size_ = static_cast<std::uint64_t>(status.st_size);
  return source;
}

Source::~Source() {
  if (file_ >= 0) ::close(file_);
}

bool Source::shrunk() const {
  struct stat status {};
  return ::fstat(file_, &status) == 0 && static_cast<std::uint64_t>(status.st_size) < size_;
}

std::optional<std::size_t> Source::read(std::uint64_t offset, std::span<std::uint8_t> into) const {
  std::size_t length = 0;
  while (length < into.size()) {
    const auto rest = into.subspan(length);
    const ssize_t count = ::pread(file_, rest.data(), rest.size(), static_cast<off_t>(offset + length));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  return length;
}

std::optional<std::string> pathOfUrl(const std::string& url) {
  if (url.find('\0') != std::string::npos) return std::nullopt;
  if (url.starts_with('/')) return url;
  gchar* hostName = nullptr;
  const Owned<gchar> path(g_filename_from_uri(url.c_str(), &hostName, nullptr));
  const Owned<gchar> host(hostName);
  if (!path || (host && *host && std::string(host.get()) != "localhost")) return std::nullopt;
  return std::string(path.get());
}

}  // namespace vantrel::backends::gstreamer::detail
