#pragma once

#include <gst/gst.h>

#include <memory>

/// Owners for GStreamer's reference-counted things, and its start.
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

/// Starts GStreamer when that has not happened yet. False, and a line in the log, when it cannot be started.
/// Threads: any.
bool startGStreamer();

/// Changes the state of `element`. The threads that this starts, here or in a sound library, keep their
/// signals blocked. Threads: any.
GstStateChangeReturn changeState(GstElement* element, GstState state);

/// A new element that the caller owns; null, and a line in the log, when its plug-in is missing.
Owned<GstElement> makeElement(const char* factory);

}  // namespace vantrel::backends::gstreamer::detail
