// Loading a track, and why that fails.

#include <algorithm>
#include <new>
#include <string_view>

#include "vantrel/backends/gstreamer/detail/Pipeline.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

using namespace std::chrono_literals;

constexpr Pipeline::Time kLongestPreroll = 3s;

Error tookTooLong() { return ownError(GStreamerFilePlayers::TookTooLong, "gives no sound within 3 seconds"); }

Error refused() { return ownError(GStreamerFilePlayers::Refused, "is refused without a reason"); }

/// What GStreamer tells of one and the same file depends on which of its threads is first; all of that comes
/// to this.
Error openingError(Error told) {
  const bool ofStream = told.domain == g_quark_to_string(GST_STREAM_ERROR);
  const bool telling = told.code == GST_STREAM_ERROR_CODEC_NOT_FOUND ||
                       told.code == GST_STREAM_ERROR_DECRYPT || told.code == GST_STREAM_ERROR_DECRYPT_NOKEY;
  return ofStream && !telling ? ownError(GStreamerFilePlayers::NoAudio, "no audio in it") : told;
}

/// Whether what is missing is for a film's pictures. Containers that hold sound too go by the same names, and
/// need a demuxer.
bool wantsPictures(const GstStructure* told, const char* name) {
  if (name && std::string_view(name).ends_with("demuxer")) return false;
  const GValue* detail = gst_structure_get_value(told, "detail");
  if (!detail || !GST_VALUE_HOLDS_CAPS(detail)) return false;
  const GstCaps* caps = gst_value_get_caps(detail);
  if (!caps || gst_caps_get_size(caps) == 0) return false;
  const std::string_view kind = gst_structure_get_name(gst_caps_get_structure(caps, 0));
  return kind.starts_with("video/") || kind.starts_with("image/");
}

}  // namespace

std::optional<Pipeline::End> Pipeline::load(Time position) {
  try {
    auto failure = preroll(position);
    if (failure) {
      unload();
    } else {
      watchBus();
    }
    return failure;
  } catch (const std::bad_alloc&) {
    unload();
    throw;
  }
}

std::optional<Pipeline::End> Pipeline::preroll(Time position) {
  levels_.clear();
  missing_.reset();
  prerolling_ = true;
  decodedUpTo_ = -1;
  feed_ = std::make_unique<FileFeed>(source_);
  // Set for each load: one that failed has used up what stood there.
  g_object_set(playbin_.get(), "uri", "appsrc://", nullptr);
  const auto change = changeState(playbin_.get(), GST_STATE_PAUSED);
  // A change that failed at once has already said why, if it ever will.
  auto failure = waitForAnswer(change == GST_STATE_CHANGE_FAILURE ? Time::zero() : kLongestPreroll);
  if (!failure && position > Time::zero() && seek(position)) failure = waitForAnswer(kLongestPreroll);
  prerolling_ = false;
  if (!failure) missing_.reset();  // it plays without
  if (failure) failure->error = openingError(*failure->error);
  return failure;
}

void Pipeline::watchBus() {
  GPollFD descriptor{};
  gst_bus_get_pollfd(bus_.get(), &descriptor);
  if (RunLoop::main().watch(descriptor.fd, RunLoop::Interest::Read, [this] { drainBus(); }))
    watched_ = descriptor.fd;
}

std::optional<Pipeline::End> Pipeline::waitForAnswer(Time limit) {
  constexpr auto kTypes =
      static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_ASYNC_DONE | GST_MESSAGE_ELEMENT);
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const Time left = std::max<Time>(deadline - std::chrono::steady_clock::now(), Time::zero());
    const Owned<GstMessage> message(
        gst_bus_timed_pop_filtered(bus_.get(), static_cast<GstClockTime>(left.count()), kTypes));
    if (!message) return End{limit == Time::zero() ? refused() : tookTooLong()};
    const auto type = GST_MESSAGE_TYPE(message.get());
    if (type == GST_MESSAGE_ERROR) return endOf(message.get());
    if (type == GST_MESSAGE_ASYNC_DONE) return std::nullopt;
    noteMissing(message.get());
  }
}

void Pipeline::noteMissing(GstMessage* message) {
  const GstStructure* told = gst_message_get_structure(message);
  const char* name = gst_structure_get_string(told, "name");
  if (wantsPictures(told, name)) return;
  missing_ = name ? name : "decoder";
}

Error Pipeline::whyNoSound() const {
  if (missing_) return ownError(GStreamerFilePlayers::PluginMissing, "the " + *missing_ + " is missing");
  return ownError(GStreamerFilePlayers::NoAudio, "no audio track");
}

}  // namespace vantrel::backends::gstreamer::detail
