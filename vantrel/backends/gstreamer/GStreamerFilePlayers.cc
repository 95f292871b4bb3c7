#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"

#include "vantrel/backends/gstreamer/detail/Gst.h"
#include "vantrel/backends/gstreamer/detail/Player.h"
#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends {

using gstreamer::detail::Player;
using gstreamer::detail::Source;

Result<std::unique_ptr<FilePlayer>> GStreamerFilePlayers::openUrl(const std::string& url) {
  const Result<std::string> path = gstreamer::detail::pathOfUrl(url);
  if (!path) return path.error();
  return openFile(*path);
}

Result<std::unique_ptr<FilePlayer>> GStreamerFilePlayers::openFile(const std::string& path) {
  const Result<std::shared_ptr<const Source>> source = Source::open(path);
  if (!source) return source.error();
  const Result<void>& started = gstreamer::detail::startGStreamer();
  if (!started) return started.error();
  return Player::open(*source);
}

}  // namespace vantrel::backends
