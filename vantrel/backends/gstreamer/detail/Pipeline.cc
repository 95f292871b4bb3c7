#include "vantrel/backends/gstreamer/detail/Pipeline.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "vantrel/base/SignalBlock.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

using namespace std::chrono_literals;

constexpr int kPlayAudioOnly = 0x2;
constexpr guint64 kLevelInterval = 50 * GST_MSECOND;

/// Closer to the end than this, a fresh end of stream may follow a seek at once.
constexpr Pipeline::Time kAtTheEnd = 200ms;

Error missingElement(const std::string& name) {
  return ownError(GStreamerFilePlayers::PluginMissing, "GStreamer's element " + name + " is missing");
}

bool addAll(GstElement* bin, std::initializer_list<GstElement*> elements) {
  for (GstElement* element : elements) gst_bin_add(GST_BIN(bin), element);
  for (auto next = elements.begin() + 1; next != elements.end(); ++next)
    if (!gst_element_link(next[-1], *next)) return false;
  return true;
}

bool addGhost(GstElement* bin, const char* name, GstElement* target) {
  const Owned<GstPad> pad(gst_element_get_static_pad(target, name));
  return pad && gst_element_add_pad(bin, gst_ghost_pad_new(name, pad.get()));
}

bool tellsMissing(GstMessage* message) {
  const GstStructure* structure = gst_message_get_structure(message);
  return structure && gst_structure_has_name(structure, "missing-plugin");
}

std::vector<float> decibelsOf(const GstStructure* structure) {
  const GValue* value = gst_structure_get_value(structure, "rms");
  if (!value || !G_VALUE_HOLDS_BOXED(value)) return {};
  const auto* list = static_cast<const GValueArray*>(g_value_get_boxed(value));
  std::vector<float> decibels;
  for (guint i = 0; list && i < list->n_values; ++i)
    decibels.push_back(static_cast<float>(g_value_get_double(&list->values[i])));
  return decibels;
}

}  // namespace

Pipeline::Pipeline(std::shared_ptr<const Source> source, std::function<void(const End&)> onEnd)
    : source_(std::move(source)), onEnd_(std::move(onEnd)) {
  built_ = build();
  if (!built_) playbin_.reset();
}

Pipeline::~Pipeline() {
  if (!playbin_) return;
  unload();
  gst_bus_set_sync_handler(bus_.get(), nullptr, nullptr, nullptr);
}

Result<void> Pipeline::build() {
  playbin_ = makeElement("playbin");
  // Decoders deliver formats that the other two do not take, such as 24 bits.
  const auto convert = makeElement("audioconvert");
  level_ = makeElement("level");
  volume_ = makeElement("volume");
  const std::pair<const char*, GstElement*> needed[] = {{"playbin", playbin_.get()},
                                                        {"audioconvert", convert.get()},
                                                        {"level", level_.get()},
                                                        {"volume", volume_.get()}};
  for (const auto& [name, element] : needed)
    if (!element) return missingElement(name);

  filter_.reset(GST_ELEMENT(gst_object_ref_sink(gst_bin_new(nullptr))));
  if (!addAll(filter_.get(), {convert.get(), level_.get(), volume_.get()}) ||
      !addGhost(filter_.get(), "sink", convert.get()) || !addGhost(filter_.get(), "src", volume_.get()))
    return ownError(GStreamerFilePlayers::PluginMissing, "GStreamer's elements do not fit together");

  const Owned<GstPad> entry(gst_element_get_static_pad(convert.get(), "sink"));
  gst_pad_add_probe(entry.get(), GST_PAD_PROBE_TYPE_BUFFER, onSound, this, nullptr);

  // Levels are always measured: `playbin` decodes up to a second ahead, and who asks for levels in the middle
  // of a track would otherwise have to wait for that second.
  g_object_set(level_.get(), "interval", kLevelInterval, nullptr);
  g_object_set(playbin_.get(), "flags", kPlayAudioOnly, "audio-filter", filter_.get(), nullptr);
  g_signal_connect(playbin_.get(), "source-setup", G_CALLBACK(onSourceSetup), this);
  bus_.reset(gst_element_get_bus(playbin_.get()));
  gst_bus_set_sync_handler(bus_.get(), onMessage, this, nullptr);
  return {};
}

GstPadProbeReturn Pipeline::onSound(GstPad* pad, GstPadProbeInfo* info, gpointer self) noexcept {
  GstBuffer* buffer = gst_pad_probe_info_get_buffer(info);
  GstEvent* event = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0);
  if (!event) return GST_PAD_PROBE_OK;
  const GstSegment* segment = nullptr;
  gst_event_parse_segment(event, &segment);
  if (buffer && GST_BUFFER_PTS_IS_VALID(buffer) && segment->format == GST_FORMAT_TIME) {
    const guint64 length = GST_BUFFER_DURATION_IS_VALID(buffer) ? GST_BUFFER_DURATION(buffer) : 0;
    const guint64 end = gst_segment_to_stream_time(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer) + length);
    const guint64 start = gst_segment_to_stream_time(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
    const guint64 known = GST_CLOCK_TIME_IS_VALID(end) ? end : start;
    if (GST_CLOCK_TIME_IS_VALID(known))
      static_cast<Pipeline*>(self)->decodedUpTo_ = static_cast<std::int64_t>(known);
  }
  gst_event_unref(event);
  return GST_PAD_PROBE_OK;
}

void Pipeline::onSourceSetup(GstElement*, GstElement* source, gpointer self) noexcept {
  auto& feed = static_cast<Pipeline*>(self)->feed_;
  if (feed) FileFeed::attach(std::move(feed), source);
}

/// Runs on whichever thread posts. Lets through only what the main thread acts on, so that nothing else wakes
/// it up.
GstBusSyncReply Pipeline::onMessage(GstBus*, GstMessage* message, gpointer self) noexcept {
  auto* pipeline = static_cast<Pipeline*>(self);
  bool wanted = false;
  switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR:
    case GST_MESSAGE_EOS:
    case GST_MESSAGE_CLOCK_LOST:
      wanted = true;
      break;
    case GST_MESSAGE_ASYNC_DONE:
      wanted = pipeline->prerolling_;
      break;
    case GST_MESSAGE_ELEMENT:
      pipeline->takeLevels(message);
      wanted = pipeline->prerolling_ && tellsMissing(message);
      break;
    default:
      break;
  }
  if (wanted) return GST_BUS_PASS;
  gst_message_unref(message);
  return GST_BUS_DROP;
}

/// Without memory for them the levels of this stretch are left out.
void Pipeline::takeLevels(GstMessage* message) noexcept {
  const GstStructure* structure = gst_message_get_structure(message);
  if (!structure || !gst_structure_has_name(structure, "level")) return;
  guint64 start = 0;
  guint64 length = 0;
  if (!gst_structure_get_uint64(structure, "stream-time", &start) ||
      !gst_structure_get_uint64(structure, "duration", &length) || !GST_CLOCK_TIME_IS_VALID(start))
    return;
  try {
    levels_.add(Time(start), Time(length), decibelsOf(structure));
  } catch (const std::bad_alloc&) {
  }
}

void Pipeline::useSink(Owned<GstElement> sink) {
  sink_ = std::move(sink);
  g_object_set(playbin_.get(), "audio-sink", sink_.get(), nullptr);
}

void Pipeline::unload() {
  if (watched_ >= 0) RunLoop::main().unwatch(std::exchange(watched_, -1));
  // Going down flushes the bus.
  changeState(playbin_.get(), GST_STATE_NULL);
}

std::optional<Pipeline::End> Pipeline::run() {
  if (changeState(playbin_.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE) return std::nullopt;
  return waitForAnswer(Time::zero());
}

void Pipeline::pause() { changeState(playbin_.get(), GST_STATE_PAUSED); }

bool Pipeline::seek(Time position) {
  GstEvent* event = gst_event_new_seek(
      1.0, GST_FORMAT_TIME, static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
      GST_SEEK_TYPE_SET, position.count(), GST_SEEK_TYPE_NONE, -1);
  const std::uint32_t number = gst_event_get_seqnum(event);
  const SignalBlock block;
  if (!gst_element_send_event(playbin_.get(), event)) return false;
  const auto length = duration();
  if (!length || position + kAtTheEnd < *length) dropStaleEnds(number);
  return true;
}

/// An end of stream that was posted but not yet delivered when the seek came is no end any more.
void Pipeline::dropStaleEnds(std::uint32_t seekNumber) {
  std::vector<Owned<GstMessage>> kept;
  while (GstMessage* next = gst_bus_pop(bus_.get())) {
    Owned<GstMessage> message(next);
    if (GST_MESSAGE_TYPE(next) != GST_MESSAGE_EOS || gst_message_get_seqnum(next) == seekNumber)
      kept.push_back(std::move(message));
  }
  for (auto& message : kept) gst_bus_post(bus_.get(), message.release());
}

std::optional<Pipeline::Time> Pipeline::position() const {
  if (gst_element_get_state(playbin_.get(), nullptr, nullptr, 0) == GST_STATE_CHANGE_ASYNC)
    return std::nullopt;
  gint64 position = 0;
  if (!gst_element_query_position(playbin_.get(), GST_FORMAT_TIME, &position) || position < 0)
    return std::nullopt;
  return Time(position);
}

std::optional<Pipeline::Time> Pipeline::duration() const {
  gint64 duration = 0;
  if (!gst_element_query_duration(playbin_.get(), GST_FORMAT_TIME, &duration) || duration <= 0)
    return std::nullopt;
  return Time(duration);
}

std::size_t Pipeline::channels() const {
  const Owned<GstPad> pad(gst_element_get_static_pad(filter_.get(), "sink"));
  const Owned<GstCaps> caps(gst_pad_get_current_caps(pad.get()));
  gint channels = 0;
  if (!caps || gst_caps_is_empty(caps.get())) return 0;
  gst_structure_get_int(gst_caps_get_structure(caps.get(), 0), "channels", &channels);
  return static_cast<std::size_t>(std::max(channels, 0));
}

void Pipeline::setVolume(double volume) { g_object_set(volume_.get(), "volume", volume, nullptr); }

void Pipeline::drainBus() {
  while (GstMessage* next = gst_bus_peek(bus_.get())) {
    const Owned<GstMessage> message(next);
    const auto type = GST_MESSAGE_TYPE(next);
    std::optional<End> end;
    try {
      if (type == GST_MESSAGE_EOS || type == GST_MESSAGE_ERROR) end = endOf(next);
    } catch (const std::bad_alloc&) {
      return;  // it is still there in the next turn
    }
    const Owned<GstMessage> taken(gst_bus_pop(bus_.get()));
    if (type == GST_MESSAGE_CLOCK_LOST && GST_STATE_TARGET(playbin_.get()) == GST_STATE_PLAYING) {
      // The pipeline picks another clock on its way back up.
      pause();
      end = run();
    }
    if (end) {
      // It may destroy this object.
      const auto onEnd = onEnd_;
      return onEnd(*end);
    }
  }
}

Pipeline::End Pipeline::endOf(GstMessage* message) const {
  if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_ERROR) return {};
  GstObject* origin = GST_MESSAGE_SRC(message);
  const bool inSink = sink_ && origin && gst_object_has_as_ancestor(origin, GST_OBJECT(sink_.get()));
  GError* error = nullptr;
  gst_message_parse_error(message, &error, nullptr);
  const Owned<GError> owned(error);
  return {missing_ && !inSink ? whyNoSound() : errorOf(*error), inSink || origin == GST_OBJECT(sink_.get())};
}

}  // namespace vantrel::backends::gstreamer::detail
