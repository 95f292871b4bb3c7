#include "vantrel/backends/gstreamer/detail/AudioSink.h"

#include <cstdlib>
#include <string>

#include "vantrel/platform/Log.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

constexpr char kSilent[] = "fakesink";

std::string factoryOf(GstElement* element) {
  GstElementFactory* factory = gst_element_get_factory(element);
  return factory ? GST_OBJECT_NAME(factory) : kSilent;
}

/// The sink that GStreamer's own choice opens here and now; the silent one when none opens.
std::string openableSink() {
  const auto automatic = makeElement("autoaudiosink");
  if (!automatic) return kSilent;
  std::string found = kSilent;
  if (gst_element_set_state(automatic.get(), GST_STATE_READY) != GST_STATE_CHANGE_FAILURE) {
    const Owned<GObject> child(gst_child_proxy_get_child_by_index(GST_CHILD_PROXY(automatic.get()), 0));
    if (child) found = factoryOf(GST_ELEMENT(child.get()));
  }
  gst_element_set_state(automatic.get(), GST_STATE_NULL);
  return found;
}

std::string chooseSink() {
  const char* wanted = std::getenv("VANTREL_AUDIO_SINK");
  std::string sink = wanted && *wanted ? wanted : openableSink();
  if (sink == kSilent) platform::log("No sound device: audio plays without sound.");
  return sink;
}

}  // namespace

Owned<GstElement> makeDeviceSink() {
  // Asking every sound system in turn is too slow to be done for each track.
  static const std::string factory = chooseSink();
  if (factory == kSilent) return makeSilentSink();
  auto sink = makeElement(factory.c_str());
  return sink ? std::move(sink) : makeSilentSink();
}

Owned<GstElement> makeSilentSink() {
  auto sink = makeElement(kSilent);
  if (sink) g_object_set(sink.get(), "sync", TRUE, "enable-last-sample", FALSE, nullptr);
  return sink;
}

}  // namespace vantrel::backends::gstreamer::detail
