#include "vantrel/backends/gstreamer/detail/Gst.h"

#include <string>

#include "vantrel/base/Log.h"
#include "vantrel/base/NeverDestroyed.h"
#include "vantrel/base/SignalBlock.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

Result<void> start() {
  // A library must leave the program's signal handlers alone.
  gst_segtrap_set_enabled(FALSE);
  const SignalBlock block;
  GError* error = nullptr;
  if (gst_init_check(nullptr, nullptr, &error)) return {};
  const Owned<GError> owned(error);
  const std::string reason = error ? error->message : "unknown reason";
  log(LogLevel::Error, "GStreamer cannot start: " + reason);
  return ownError(GStreamerFilePlayers::PluginMissing, "GStreamer cannot start: " + reason);
}

}  // namespace

Error ownError(GStreamerFilePlayers::ErrorCode code, std::string_view description) {
  return Error::saying(GStreamerFilePlayers::kErrorDomain, code, description);
}

Error errorOf(const GError& error) {
  std::string text = error.message ? error.message : "";
  if (text.ends_with('.')) text.pop_back();
  // A sentence becomes part of one; a name stays a name.
  if (text.size() > 1 && !g_ascii_isupper(text[1])) text[0] = g_ascii_tolower(text[0]);
  return Error::saying(g_quark_to_string(error.domain), error.code, text);
}

const Result<void>& startGStreamer() {
  // Never destroyed: a track may still be opened while the process exits.
  static NeverDestroyed<Result<void>> started(start());
  return *started;
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
