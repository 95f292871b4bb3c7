#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "vantrel/backends/gstreamer/detail/FileFeed.h"
#include "vantrel/backends/gstreamer/detail/Gst.h"
#include "vantrel/backends/gstreamer/detail/Levels.h"
#include "vantrel/backends/gstreamer/detail/Source.h"
#include "vantrel/base/Error.h"
#include "vantrel/base/Result.h"

namespace vantrel::backends::gstreamer::detail {

/// One track in GStreamer's `playbin`: loading, running, seeking, and what it reports. It holds no policy of
/// a player's.
/// Threads: the main thread only.
class Pipeline {
 public:
  using Time = std::chrono::nanoseconds;

  /// What ended a track.
  struct End {
    /// None at the end of the stream.
    std::optional<Error> error;

    /// The sound device failed, not the track.
    bool inSink = false;
  };

  /// `onEnd` is called from the main run loop, at most once a load; it may destroy the pipeline.
  Pipeline(std::shared_ptr<const Source> source, std::function<void(const End&)> onEnd);
  ~Pipeline();
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  /// Fails when a needed plug-in is missing; then nothing below may be called.
  const Result<void>& built() const { return built_; }

  /// Takes another sink; not while loaded.
  void useSink(Owned<GstElement> sink);

  /// Decodes up to the sound at `position` and pauses there. None when that worked, else an end with an
  /// error.
  std::optional<End> load(Time position);

  /// Gives back threads, files and the sound device. Reports not yet delivered are dropped.
  void unload();

  /// Lets the loaded track sound. None when that worked.
  std::optional<End> run();

  void pause();

  /// False when the track cannot be seeked.
  bool seek(Time position);

  /// None while a seek is under way.
  std::optional<Time> position() const;

  std::optional<Time> duration() const;
  std::size_t channels() const;

  void setVolume(double volume);

  /// Why a load that worked has found nothing to hear.
  Error whyNoSound() const;

  /// How far into the track sound was decoded; negative when there was none since the load.
  Time decodedUpTo() const { return Time(decodedUpTo_.load()); }

  const Levels& levels() const { return levels_; }

 private:
  // GStreamer calls these from C, on any thread: they throw nothing.
  static GstBusSyncReply onMessage(GstBus*, GstMessage* message, gpointer self) noexcept;
  static GstPadProbeReturn onSound(GstPad* pad, GstPadProbeInfo* info, gpointer self) noexcept;
  static void onSourceSetup(GstElement*, GstElement* source, gpointer self) noexcept;

  Result<void> build();
  std::optional<End> preroll(Time position);
  void watchBus();
  /// What a change of state came to; none when it worked, else an end with an error.
  std::optional<End> waitForAnswer(Time limit);
  void takeLevels(GstMessage* message) noexcept;
  void noteMissing(GstMessage* message);
  void drainBus();
  void dropStaleEnds(std::uint32_t seekNumber);
  End endOf(GstMessage* message) const;

  std::shared_ptr<const Source> source_;
  std::unique_ptr<FileFeed> feed_;  // made for the next load, which takes it
  std::function<void(const End&)> onEnd_;
  Levels levels_;
  std::atomic<bool> prerolling_ = false;
  std::atomic<std::int64_t> decodedUpTo_ = -1;

  Owned<GstElement> playbin_;
  Owned<GstElement> sink_;
  Owned<GstElement> filter_;
  Owned<GstElement> level_;
  Owned<GstElement> volume_;
  Owned<GstBus> bus_;
  Result<void> built_;
  std::optional<std::string> missing_;  // of the last load: the decoder that it wanted
  int watched_ = -1;
};

}  // namespace vantrel::backends::gstreamer::detail
