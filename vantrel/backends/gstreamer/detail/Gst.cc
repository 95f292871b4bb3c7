#include "vantrel/backends/gstreamer/detail/Gst.h"

#include "vantrel/base/Log.h"
#include "vantrel/base/SignalBlock.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

bool start() {
  // A library must leave the program's signal handlers alone.
  gst_segtrap_set_enabled(FALSE);
  const SignalBlock block;
  GError* error = nullptr;
  if (gst_init_check(nullptr, nullptr, &error)) return true;
  const Owned<GError> owned(error);
  logFormat(LogLevel::Error, "GStreamer cannot start: %s", error ? error->message : "unknown reason");
  return false;
}

}  // namespace

bool startGStreamer() {
  static const bool started = start();
  return started;
}

GstStateChangeReturn changeState(GstElement* element, GstState state) {
  const SignalBlock block;
  return gst_element_set_state(element, state);
}

Owned<GstElement> makeElement(const char* factory) {
  GstElement* element = gst_element_factory_make(factory, nullptr);
  if (!element) logFormat(LogLevel::Error, "GStreamer lacks the element %s", factory);
  return Owned<GstElement>(element ? GST_ELEMENT(gst_object_ref_sink(element)) : nullptr);
}

}  // namespace vantrel::backends::gstreamer::detail
