#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Journal.h"
#include "vantrel/host/seams/StreamPlayer.h"
#include "vantrel/loop/NotificationBus.h"

namespace vantrel::testing {

/// A stream player without network and sound: the test decides what its item tells.
class FakeStreamPlayer : public StreamPlayer {
 public:
  using Roll = std::vector<FakeStreamPlayer*>;

  FakeStreamPlayer(std::shared_ptr<Roll> roll, Tell tell) : roll_(std::move(roll)), tell_(std::move(tell)) {
    roll_->push_back(this);
  }
  ~FakeStreamPlayer() override {
    EXPECT_FALSE(reporting_) << "destroyed from inside its own report";
    roll_->erase(std::find(roll_->begin(), roll_->end(), this));
  }

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
    report(std::function<void()>([] { NotificationBus::shared().post(kItemDidPlayToEndNotification); }));
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
  float volume() const override { return volume_; }
  void setVolume(float volume) override { volume_ = volume; }
  void setAutomaticallyWaitsToMinimizeStalling(bool waits) override { automaticallyWaits_ = waits; }
  ItemStatus itemStatus() const override { return status_; }
  std::optional<Error> itemError() const override {
    return status_ == ItemStatus::Failed ? std::optional(Error::saying("fake", 3, "no such host"))
                                         : std::nullopt;
  }
  MediaTime itemDuration() const override { return duration_; }
  std::vector<LoadedTimeRange> loadedTimeRanges() const override { return ranges_; }
  double currentTime() const override { return currentTime_; }
  void setItemObserver(StreamItemObserver observer) override { observer_ = std::move(observer); }
  void setPeriodicTimeObserver(double interval, std::function<void(double seconds)> tick) override {
    tickInterval_ = interval;
    tick_ = std::move(tick);
  }

 private:
  void tell(const std::string& what) const {
    if (tell_) tell_("stream: " + what);
  }

  // A copy is called: the report may replace the observer.
  template <class... Details>
  void report(std::function<void(Details...)> operation, Details... details) {
    if (!operation) return;
    reporting_ = true;
    operation(details...);
    reporting_ = false;
  }

  std::shared_ptr<Roll> roll_;
  Tell tell_;
  StreamItemObserver observer_;
  std::function<void(double)> tick_;
  double tickInterval_ = 0;
  std::string url_;
  ItemStatus status_ = ItemStatus::Unknown;
  MediaTime duration_;
  std::vector<LoadedTimeRange> ranges_;
  double currentTime_ = 0;
  float volume_ = 1;
  bool playing_ = false;
  bool automaticallyWaits_ = true;
  bool reporting_ = false;
};

class FakeStreamPlayers : public StreamPlayerFactory {
 public:
  explicit FakeStreamPlayers(Tell tell = {}) : tell_(std::move(tell)) {}

  /// Players alive, oldest first.
  const FakeStreamPlayer::Roll& alive() const { return *roll_; }
  FakeStreamPlayer& last() const { return *roll_->back(); }
  int made() const { return made_; }

  std::unique_ptr<StreamPlayer> make() override {
    ++made_;
    return std::make_unique<FakeStreamPlayer>(roll_, tell_);
  }

 private:
  Tell tell_;
  std::shared_ptr<FakeStreamPlayer::Roll> roll_ = std::make_shared<FakeStreamPlayer::Roll>();
  int made_ = 0;
};

}  // namespace vantrel::testing
