#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Journal.h"
#include "vantrel/host/seams/FilePlayer.h"

namespace vantrel::testing {

/// What a fake file player finds at its source.
struct FakeTrack {
  double duration = 200;
  std::vector<float> decibels = {0, 0};  ///< average power of each channel
};

/// A file player without sound. The test moves its position and lets it report; it never does so by itself.
class FakeFilePlayer : public FilePlayer {
 public:
  using Roll = std::vector<FakeFilePlayer*>;

  FakeFilePlayer(std::string source, FakeTrack track, std::shared_ptr<Roll> roll, Tell tell)
      : source_(std::move(source)), track_(std::move(track)), roll_(std::move(roll)), tell_(std::move(tell)) {
    roll_->push_back(this);
  }
  ~FakeFilePlayer() override {
    EXPECT_FALSE(reporting_) << "destroyed from inside its own report";
    roll_->erase(std::find(roll_->begin(), roll_->end(), this));
  }

  // ---- for the test

  const std::string& source() const { return source_; }
  bool metering() const { return metering_; }
  int stops() const { return stops_; }
  void moveTo(double seconds) { currentTime_ = seconds; }
  void setDuration(double seconds) { track_.duration = seconds; }

  void finish(bool successfully = true) {
    playing_ = false;
    report(observer_.audioPlayerDidFinishPlaying_successfully, successfully);
  }
  void failDecoding(const Error& error = {"fake", 1}) {
    playing_ = false;
    report(observer_.audioPlayerDecodeErrorDidOccur_error, error);
  }
  void beginInterruption() { report(observer_.audioPlayerBeginInterruption); }
  void endInterruption() { report(observer_.audioPlayerEndInterruption); }
  void endInterruption(std::uint64_t options) {
    report(observer_.audioPlayerEndInterruption_withOptions, options);
  }

  // ---- for the player under test

  bool prepareToPlay() override { return tell("prepare"); }
  bool play() override {
    playing_ = true;
    return tell("play");
  }
  void pause() override {
    playing_ = false;
    tell("pause");
  }
  void stop() override {
    playing_ = false;
    ++stops_;
    tell("stop");
  }
  bool playing() const override { return playing_; }
  double currentTime() const override { return currentTime_; }
  void setCurrentTime(double seconds) override {
    currentTime_ = std::clamp(seconds, 0.0, track_.duration);
    tell("seek " + shown(seconds));
  }
  double duration() const override { return track_.duration; }
  float volume() const override { return volume_; }
  void setVolume(float volume) override {
    volume_ = volume;
    tell("volume " + shown(static_cast<double>(volume)));
  }
  void setMeteringEnabled(bool enabled) override {
    metering_ = enabled;
    tell(enabled ? "metering" : "no metering");
  }
  void updateMeters() override { metersTaken_ = metering_; }
  std::size_t numberOfChannels() const override { return track_.decibels.size(); }
  float averagePowerForChannel(std::size_t channel) const override {
    return metersTaken_ && channel < track_.decibels.size() ? track_.decibels[channel] : -160;
  }
  void setObserver(FilePlayerObserver observer) override { observer_ = std::move(observer); }

 private:
  bool tell(const std::string& what) const {
    if (tell_) tell_(source_ + ": " + what);
    return true;
  }

  // A copy is called: the report may replace the observer.
  template <class Operation, class... Details>
  void report(Operation operation, const Details&... details) {
    if (!operation) return;
    reporting_ = true;
    operation(*this, details...);
    reporting_ = false;
  }

  std::string source_;
  FakeTrack track_;
  std::shared_ptr<Roll> roll_;
  Tell tell_;
  FilePlayerObserver observer_;
  bool playing_ = false;
  bool metering_ = false;
  bool metersTaken_ = false;
  bool reporting_ = false;
  int stops_ = 0;
  double currentTime_ = 0;
  float volume_ = 1;
};

/// Opens what the test has put there: by address, or by the contents of the file.
class FakeFilePlayers : public FilePlayerFactory {
 public:
  explicit FakeFilePlayers(Tell tell = {}) : tell_(std::move(tell)) {}

  void put(const std::string& source, FakeTrack track = {}) { tracks_[source] = std::move(track); }
  void failNextOpen() { failNext_ = true; }

  /// Players alive, oldest first.
  const FakeFilePlayer::Roll& alive() const { return *roll_; }
  FakeFilePlayer& last() const { return *roll_->back(); }
  int opened() const { return opened_; }

  Result<std::unique_ptr<FilePlayer>> openUrl(const std::string& url) override { return open(url); }
  Result<std::unique_ptr<FilePlayer>> openFile(const std::string& path) override {
    if (std::error_code error; !std::filesystem::is_regular_file(path, error)) return Error::ofSystem(ENOENT);
    std::ifstream file(path, std::ios::binary);
    return open(std::string(std::istreambuf_iterator<char>(file), {}));
  }

 private:
  Result<std::unique_ptr<FilePlayer>> open(const std::string& source) {
    ++opened_;
    const auto track = tracks_.find(source);
    if (std::exchange(failNext_, false) || track == tracks_.end())
      return Error::saying("fake", 2, "no audio");
    return std::unique_ptr<FilePlayer>(std::make_unique<FakeFilePlayer>(source, track->second, roll_, tell_));
  }

  Tell tell_;
  std::map<std::string, FakeTrack> tracks_;
  std::shared_ptr<FakeFilePlayer::Roll> roll_ = std::make_shared<FakeFilePlayer::Roll>();
  bool failNext_ = false;
  int opened_ = 0;
};

}  // namespace vantrel::testing
