#pragma once

#include <gst/app/gstappsrc.h>

#include <atomic>
#include <memory>
#include <utility>

#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends::gstreamer::detail {

/// What an `appsrc` reads: a source at any offset, in the pieces that it asks for and on the thread that
/// wants them. A file that has been cut ends where it now ends; one that cannot be read is an error of
/// `appsrc`.
class FileFeed {
 public:
  explicit FileFeed(std::shared_ptr<const Source> source) : source_(std::move(source)) {}

  /// GLib's hand-over between threads is not known to the thread checker; that of the offset is.
  ~FileFeed() { offset_.load(std::memory_order_acquire); }
  FileFeed(const FileFeed&) = delete;
  FileFeed& operator=(const FileFeed&) = delete;

  /// Gives the feed to `appsrc`, which owns it from now on.
  static void attach(std::unique_ptr<FileFeed> feed, GstElement* appsrc) noexcept;

 private:
  static void release(gpointer feed) { delete static_cast<FileFeed*>(feed); }
  static gboolean onSeek(GstAppSrc* appsrc, guint64 offset, gpointer feed) noexcept;
  static void onNeed(GstAppSrc* appsrc, guint wanted, gpointer feed) noexcept;

  /// False when there is nothing more to give.
  bool give(GstAppSrc* appsrc, guint wanted);
  GstBuffer* read(GstAppSrc* appsrc, guint64 offset, guint64 length) const;

  const std::shared_ptr<const Source> source_;
  std::atomic<guint64> offset_{0};
};

}  // namespace vantrel::backends::gstreamer::detail
