#include "vantrel/backends/gstreamer/detail/AudioSink.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "vantrel/base/Log.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

constexpr char kSilent[] = "fakesink";

/// The name of a sink on a sound device; none when there is no device.
using Device = std::optional<std::string>;

Device deviceOf(GstElement* sink) {
  GstElementFactory* factory = gst_element_get_factory(sink);
  const std::string name = factory ? GST_OBJECT_NAME(factory) : kSilent;
  return name == kSilent ? std::nullopt : Device(name);
}

/// The one that GStreamer's own choice opens here and now.
Device openableDevice() {
  const auto automatic = makeElement("autoaudiosink");
  if (!automatic) return std::nullopt;
  Device found;
  if (changeState(automatic.get(), GST_STATE_READY) != GST_STATE_CHANGE_FAILURE) {
    const Owned<GObject> child(gst_child_proxy_get_child_by_index(GST_CHILD_PROXY(automatic.get()), 0));
    if (child) found = deviceOf(GST_ELEMENT(child.get()));
  }
  changeState(automatic.get(), GST_STATE_NULL);
  return found;
}

/// The one that was found last.
Device& knownDevice() {
  static Device device;
  return device;
}

void logSilenceOnce() {
  static bool logged = false;
  if (!std::exchange(logged, true)) log(LogLevel::Warning, "No sound device: audio plays without sound.");
}

}  // namespace

Owned<GstElement> makeDeviceSink() {
  const char* wanted = std::getenv("VANTREL_AUDIO_SINK");
  const bool chosen = wanted && *wanted;
  // Asking every sound system in turn takes time: not for each track while there is a device.
  if (!chosen && !knownDevice()) knownDevice() = openableDevice();
  const std::string factory = chosen ? wanted : knownDevice().value_or(kSilent);
  if (factory != kSilent)
    if (auto sink = makeElement(factory.c_str())) return sink;
  logSilenceOnce();
  return makeSilentSink();
}

void forgetDevice() { knownDevice().reset(); }

Owned<GstElement> makeSilentSink() {
  auto sink = makeElement(kSilent);
  if (sink) g_object_set(sink.get(), "sync", TRUE, "enable-last-sample", FALSE, nullptr);
  return sink;
}

}  // namespace vantrel::backends::gstreamer::detail
