#include <gst/app/gstappsrc.h>

#include <algorithm>
#include <atomic>

#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

/// What an `appsrc` reads from. Counted by itself, not by GLib: buffers that show the memory die on whichever
/// thread drops them last, possibly after the pipeline.
class MemoryFeed {
 public:
  explicit MemoryFeed(Bytes contents) : contents_(std::move(contents)) {
    references_.store(1, std::memory_order_release);
  }

  static void release(gpointer feed) {
    auto* self = static_cast<MemoryFeed*>(feed);
    if (self->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete self;
  }

  static gboolean seek(GstAppSrc*, guint64 offset, gpointer feed) {
    auto* self = static_cast<MemoryFeed*>(feed);
    self->offset_.store(offset, std::memory_order_release);
    return TRUE;
  }

  static void give(GstAppSrc* source, guint wanted, gpointer feed) {
    static_cast<MemoryFeed*>(feed)->give(source, wanted);
  }

 private:
  static constexpr guint64 kLargestBlock = guint64{64} << 10;

  void give(GstAppSrc* source, guint wanted) {
    references_.fetch_add(1, std::memory_order_acq_rel);
    const guint64 size = contents_.size();
    const guint64 offset = std::min<guint64>(offset_.load(std::memory_order_acquire), size);
    // The source asks for a length of its choice, or for anything by all ones.
    const guint64 asked = wanted == 0 || wanted == G_MAXUINT ? kLargestBlock : wanted;
    const guint64 length = std::min(asked, size - offset);
    if (length == 0) {
      release(this);
      gst_app_src_end_of_stream(source);
      return;
    }
    offset_.store(offset + length, std::memory_order_release);
    // GStreamer's interface lacks const; the flag keeps everyone from writing.
    auto* start = const_cast<std::uint8_t*>(contents_.data() + offset);
    GstBuffer* buffer =
        gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, start, length, 0, length, this, release);
    GST_BUFFER_OFFSET(buffer) = offset;
    GST_BUFFER_OFFSET_END(buffer) = offset + length;
    gst_app_src_push_buffer(source, buffer);
  }

  const Bytes contents_;
  std::atomic<guint64> offset_{0};
  std::atomic<int> references_{0};
};

}  // namespace

void feedFromMemory(GstElement* appsrc, const Bytes& contents) {
  auto* source = GST_APP_SRC(appsrc);
  gst_app_src_set_stream_type(source, GST_APP_STREAM_TYPE_RANDOM_ACCESS);
  gst_app_src_set_size(source, static_cast<gint64>(contents.size()));
  GstAppSrcCallbacks callbacks{};
  callbacks.need_data = MemoryFeed::give;
  callbacks.seek_data = MemoryFeed::seek;
  gst_app_src_set_callbacks(source, &callbacks, new MemoryFeed(contents), MemoryFeed::release);
}

}  // namespace vantrel::backends::gstreamer::detail
