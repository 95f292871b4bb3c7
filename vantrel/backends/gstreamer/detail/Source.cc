#include "vantrel/backends/gstreamer/detail/Source.h"

#include <sys/stat.h>

#include "vantrel/backends/gstreamer/detail/Gst.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

std::optional<std::string> pathOf(const std::string& url) {
  if (url.find('\0') != std::string::npos) return std::nullopt;
  if (url.starts_with('/')) return url;
  gchar* hostName = nullptr;
  const Owned<gchar> path(g_filename_from_uri(url.c_str(), &hostName, nullptr));
  const Owned<gchar> host(hostName);
  if (!path || (host && *host && std::string(host.get()) != "localhost")) return std::nullopt;
  return std::string(path.get());
}

bool isRegularAndFilled(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
}

}  // namespace

std::optional<Source> sourceOfFile(const std::string& url) {
  const auto path = pathOf(url);
  if (!path || !isRegularAndFilled(*path)) return std::nullopt;
  const Owned<gchar> uri(gst_filename_to_uri(path->c_str(), nullptr));
  if (!uri) return std::nullopt;
  return Source{uri.get(), std::nullopt};
}

Source sourceOfBytes(const Bytes& contents) { return {"appsrc://", contents}; }

}  // namespace vantrel::backends::gstreamer::detail
