#pragma once

#include <gst/gst.h>

#include <memory>
#include <string_view>

#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"
#include "vantrel/base/Error.h"
#include "vantrel/base/Result.h"

/// Owners for GStreamer's reference-counted things, its start, and its errors.
namespace vantrel::backends::gstreamer::detail {

struct Unref {
  void operator()(gpointer object) const { gst_object_unref(object); }
  void operator()(GstMessage* message) const { gst_message_unref(message); }
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
  void operator()(GError* error) const { g_error_free(error); }
  void operator()(gchar* text) const { g_free(text); }
};

template <typename T>
using Owned = std::unique_ptr<T, Unref>;

/// An error of the back end's own.
Error ownError(GStreamerFilePlayers::ErrorCode code, std::string_view description);

/// GStreamer's error, with its domain and code and a text that fits behind the name of a file.
Error errorOf(const GError& error);

/// Starts GStreamer when that has not happened yet. When it cannot be started, the reason is in the log too.
/// Threads: any.
const Result<void>& startGStreamer();

/// Changes the state of `element`. The threads that this starts, here or in a sound library, keep their
/// signals blocked. Threads: any.
GstStateChangeReturn changeState(GstElement* element, GstState state);

/// A new element that the caller owns; null, and a line in the log, when its plug-in is missing.
Owned<GstElement> makeElement(const char* factory);

}  // namespace vantrel::backends::gstreamer::detail
