#pragma once

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

#include "tests/support/FakePlayer.h"
#include "vantrel/host/seams/FilePlayer.h"

namespace vantrel::testing {

/// What a fake file player finds at its source.
struct FakeTrack {
  double duration = 200;
  std::vector<float> decibels = {0, 0};  ///< average power of each channel
};

/// A file player without sound.
class FakeFilePlayer : public FakePlayer<FakeFilePlayer, FilePlayer> {
 public:
  FakeFilePlayer(const std::string& source, FakeTrack track, std::shared_ptr<Roll> roll, Tell tell)
      : FakePlayer(source, std::move(roll), std::move(tell)), track_(std::move(track)) {}

  // ---- for the test

  const std::string& source() const { return name_; }
  bool metering() const { return metering_; }
  int stops() const { return stops_; }
  void moveTo(double seconds) { currentTime_ = seconds; }
  void setDuration(double seconds) { track_.duration = seconds; }

  void finish(bool successfully = true) {
    playing_ = false;
    report(observer_.audioPlayerDidFinishPlaying_successfully, *this, successfully);
  }
  void failDecoding(const Error& error = {"fake", 1}) {
    playing_ = false;
    report(observer_.audioPlayerDecodeErrorDidOccur_error, *this, error);
  }
  void beginInterruption() { report(observer_.audioPlayerBeginInterruption, *this); }
  void endInterruption() { report(observer_.audioPlayerEndInterruption, *this); }
  void endInterruption(std::uint64_t options) {
    report(observer_.audioPlayerEndInterruption_withOptions, *this, options);
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
  void setCurrentTime(double seconds) override {
    currentTime_ = std::clamp(seconds, 0.0, track_.duration);
    tell("seek " + shown(seconds));
  }
  double duration() const override { return track_.duration; }
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
  FakeTrack track_;
  FilePlayerObserver observer_;
  bool metering_ = false;
  bool metersTaken_ = false;
  int stops_ = 0;
};

/// Opens what the test has put there: by address, or by the contents of the file.
class FakeFilePlayers : public FakePlayers<FakeFilePlayer, FilePlayerFactory> {
 public:
  using FakePlayers::FakePlayers;

  void put(const std::string& source, FakeTrack track = {}) { tracks_[source] = std::move(track); }
  void failNextOpen() { failNext_ = true; }

  Result<std::unique_ptr<FilePlayer>> openUrl(const std::string& url) override { return open(url); }
  Result<std::unique_ptr<FilePlayer>> openFile(const std::string& path) override {
    if (std::error_code error; !std::filesystem::is_regular_file(path, error)) return Error::ofSystem(ENOENT);
    std::ifstream file(path, std::ios::binary);
    return open(std::string(std::istreambuf_iterator<char>(file), {}));
  }

 private:
  Result<std::unique_ptr<FilePlayer>> open(const std::string& source) {
    ++asked_;
    const auto track = tracks_.find(source);
    if (std::exchange(failNext_, false) || track == tracks_.end())
      return Error::saying("fake", 2, "no audio");
    return std::unique_ptr<FilePlayer>(add(source, track->second));
  }

  std::map<std::string, FakeTrack> tracks_;
  bool failNext_ = false;
};

}  // namespace vantrel::testing
