#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"

#include "vantrel/backends/gstreamer/detail/Gst.h"
#include "vantrel/backends/gstreamer/detail/Player.h"
#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends {

std::unique_ptr<FilePlayer> GStreamerFilePlayers::openUrl(const std::string& url) {
  const auto path = gstreamer::detail::pathOfUrl(url);
  return path ? openFile(*path) : nullptr;
}

std::unique_ptr<FilePlayer> GStreamerFilePlayers::openFile(const std::string& path) {
  auto source = gstreamer::detail::Source::open(path);
  if (!source || !gstreamer::detail::startGStreamer()) return nullptr;
  return gstreamer::detail::Player::open(std::move(source));
}

}  // namespace vantrel::backends
