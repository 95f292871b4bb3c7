#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/FakePlayer.h"
#include "vantrel/host/seams/StreamPlayer.h"
#include "vantrel/loop/NotificationBus.h"

namespace vantrel::testing {

/// A stream player without network and sound: the test decides what its item tells.
class FakeStreamPlayer : public FakePlayer<FakeStreamPlayer, StreamPlayer> {
 public:
  FakeStreamPlayer(std::shared_ptr<Roll> roll, Tell tell)
      : FakePlayer("stream", std::move(roll), std::move(tell)) {}

  // ---- for the test

  bool playing() const { return playing_; }
  bool automaticallyWaits() const { return automaticallyWaits_; }
  bool itemObserved() const { return static_cast<bool>(observer_.statusChanged); }
  bool timeObserved() const { return static_cast<bool>(tick_); }
  double tickInterval() const { return tickInterval_; }
  const std::string& url() const { return url_; }

  void becomeReady(MediaTime duration) {
    duration_ = duration;
    setItemStatus(ItemStatus::ReadyToPlay);
  }
  void setItemStatus(ItemStatus status) {
    status_ = status;
    report(observer_.statusChanged);
  }
  void load(std::vector<LoadedTimeRange> ranges) {
    ranges_ = std::move(ranges);
    report(observer_.loadedTimeRangesChanged);
  }
  void runEmpty() { report(observer_.playbackBufferEmptyChanged); }
  void keepUp() { report(observer_.playbackLikelyToKeepUpChanged); }
  void tick(double seconds) {
    currentTime_ = seconds;
    report(tick_, seconds);
  }
  void end() {
    playing_ = false;
    report(std::function([] { NotificationBus::shared().post(kItemDidPlayToEndNotification); }));
  }

  // ---- for the player under test

  void replaceCurrentItem(const std::string& url) override {
    url_ = url;
    status_ = ItemStatus::Unknown;
    duration_ = {};
    ranges_.clear();
    currentTime_ = 0;
    tell("open " + url);
  }
  void play() override {
    playing_ = true;
    tell("play");
  }
  void pause() override {
    playing_ = false;
    tell("pause");
  }
  void setVolume(float volume) override { volume_ = volume; }
  void setAutomaticallyWaitsToMinimizeStalling(bool waits) override { automaticallyWaits_ = waits; }
  ItemStatus itemStatus() const override { return status_; }
  std::optional<Error> itemError() const override {
    return status_ == ItemStatus::Failed ? std::optional(Error::saying("fake", 3, "no such host"))
                                         : std::nullopt;
  }
  MediaTime itemDuration() const override { return duration_; }
  std::vector<LoadedTimeRange> loadedTimeRanges() const override { return ranges_; }
  void setItemObserver(StreamItemObserver observer) override { observer_ = std::move(observer); }
  void setPeriodicTimeObserver(double interval, std::function<void(double seconds)> tick) override {
    tickInterval_ = interval;
    tick_ = std::move(tick);
  }

 private:
  StreamItemObserver observer_;
  std::function<void(double)> tick_;
  double tickInterval_ = 0;
  std::string url_;
  ItemStatus status_ = ItemStatus::Unknown;
  MediaTime duration_;
  std::vector<LoadedTimeRange> ranges_;
  bool automaticallyWaits_ = true;
};

class FakeStreamPlayers : public FakePlayers<FakeStreamPlayer, StreamPlayerFactory> {
 public:
  using FakePlayers::FakePlayers;

  std::unique_ptr<StreamPlayer> make() override {
    ++asked_;
    return add();
  }
};

}  // namespace vantrel::testing
