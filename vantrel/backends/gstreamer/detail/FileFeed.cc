#include "vantrel/backends/gstreamer/detail/FileFeed.h"

#include <algorithm>
#include <cerrno>
#include <optional>

namespace vantrel::backends::gstreamer::detail {
namespace {

constexpr guint64 kUsualPiece = guint64{64} << 10;

}  // namespace

gboolean FileFeed::onSeek(GstAppSrc*, guint64 offset, gpointer feed) noexcept {
  static_cast<FileFeed*>(feed)->offset_.store(offset, std::memory_order_release);
  return TRUE;
}

void FileFeed::onNeed(GstAppSrc* appsrc, guint wanted, gpointer feed) noexcept {
  if (!static_cast<FileFeed*>(feed)->give(appsrc, wanted)) gst_app_src_end_of_stream(appsrc);
}

bool FileFeed::give(GstAppSrc* appsrc, guint wanted) {
  const guint64 offset = std::min<guint64>(offset_.load(std::memory_order_acquire), source_->size());
  // The pipeline asks for a length of its choice, or for anything by all ones.
  const guint64 asked = wanted == 0 || wanted == G_MAXUINT ? kUsualPiece : wanted;
  const guint64 length = std::min(asked, source_->size() - offset);
  GstBuffer* buffer = length ? read(appsrc, offset, length) : nullptr;
  if (!buffer) return false;
  GST_BUFFER_OFFSET(buffer) = offset;
  GST_BUFFER_OFFSET_END(buffer) = offset + gst_buffer_get_size(buffer);
  offset_.store(GST_BUFFER_OFFSET_END(buffer), std::memory_order_release);
  gst_app_src_push_buffer(appsrc, buffer);
  return true;
}

/// Null at the end of the file, and when reading fails, which is said on the bus.
GstBuffer* FileFeed::read(GstAppSrc* appsrc, guint64 offset, guint64 length) const {
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, length, nullptr);
  GstMapInfo map{};
  std::optional<std::size_t> count;
  int reason = ENOMEM;
  if (buffer && gst_buffer_map(buffer, &map, GST_MAP_WRITE)) {
    count = source_->read(offset, {map.data, map.size});
    reason = errno;
    gst_buffer_unmap(buffer, &map);
  }
  if (!count) GST_ELEMENT_ERROR(appsrc, RESOURCE, READ, (nullptr), ("%s", g_strerror(reason)));
  if (count.value_or(0) > 0) {
    gst_buffer_set_size(buffer, static_cast<gssize>(*count));
    return buffer;
  }
  if (buffer) gst_buffer_unref(buffer);
  return nullptr;
}

void FileFeed::attach(std::unique_ptr<FileFeed> feed, GstElement* appsrc) noexcept {
  auto* to = GST_APP_SRC(appsrc);
  gst_app_src_set_stream_type(to, GST_APP_STREAM_TYPE_RANDOM_ACCESS);
  gst_app_src_set_size(to, static_cast<gint64>(feed->source_->size()));
  GstAppSrcCallbacks callbacks{};
  callbacks.need_data = onNeed;
  callbacks.seek_data = onSeek;
  gst_app_src_set_callbacks(to, &callbacks, feed.release(), release);
}

}  // namespace vantrel::backends::gstreamer::detail
