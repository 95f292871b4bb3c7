#pragma once

#include <vector>

#include "vantrel/backends/gstreamer/detail/Pipeline.h"
#include "vantrel/host/seams/FilePlayer.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::backends::gstreamer::detail {

/// A file player over one `Pipeline`. The pipeline is loaded from opening on, and again from whenever playing
/// needs it after a stop or an end.
class Player final : public FilePlayer {
 public:
  /// Fails when `source` holds no audio that can be decoded.
  static Result<std::unique_ptr<FilePlayer>> open(std::shared_ptr<const Source> source);
  ~Player() override;

  bool prepareToPlay() override;
  bool play() override;
  void pause() override;
  void stop() override;
  bool playing() const override { return playing_; }
  double currentTime() const override;
  void setCurrentTime(double seconds) override;
  double duration() const override;
  float volume() const override { return volume_; }
  void setVolume(float volume) override;
  void setMeteringEnabled(bool enabled) override;
  void updateMeters() override;
  std::size_t numberOfChannels() const override { return channels_; }
  float averagePowerForChannel(std::size_t channel) const override;
  void setObserver(FilePlayerObserver observer) override { observer_ = std::move(observer); }

 private:
  using Time = Pipeline::Time;

  explicit Player(std::shared_ptr<const Source> source);

  std::optional<Pipeline::End> load();
  void unload(Time rest);
  Time heard() const;
  Time length() const;
  bool endedEarly() const;
  void countLength();
  void guardAgainstStall();
  void checkForStall();
  void onEnd(const Pipeline::End& end);
  bool goOnSilently();
  void finish();
  void fail(Error error);

  std::shared_ptr<const Source> source_;
  Pipeline pipeline_;
  bool loaded_ = false;
  bool playing_ = false;
  bool silent_ = false;
  bool metering_ = false;

  /// Where the track stands while the pipeline cannot tell.
  Time rest_{0};
  mutable Time length_{0};

  /// The length was counted or estimated by this object, and is not asked of the pipeline.
  bool counted_ = false;
  bool estimated_ = false;
  std::size_t channels_ = 0;
  float volume_ = 1;
  std::vector<float> levels_;
  FilePlayerObserver observer_;

  std::optional<RunLoop::TimerId> stallTimer_;
  Time lastHeard_{-1};
  int standingStill_ = 0;
};

}  // namespace vantrel::backends::gstreamer::detail
