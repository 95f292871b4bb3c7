#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"

#include "vantrel/backends/gstreamer/detail/Gst.h"
#include "vantrel/backends/gstreamer/detail/Player.h"
#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends {

std::unique_ptr<FilePlayer> GStreamerFilePlayers::openUrl(const std::string& url) {
  const auto source = gstreamer::detail::sourceOfFile(url);
  if (!source || !gstreamer::detail::startGStreamer()) return nullptr;
  return gstreamer::detail::Player::open(*source);
}

std::unique_ptr<FilePlayer> GStreamerFilePlayers::openBytes(const Bytes& contents) {
  if (contents.empty() || !gstreamer::detail::startGStreamer()) return nullptr;
  return gstreamer::detail::Player::open(gstreamer::detail::sourceOfBytes(contents));
}

}  // namespace vantrel::backends
