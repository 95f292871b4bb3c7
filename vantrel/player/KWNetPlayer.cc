#include "vantrel/player/KWNetPlayer.h"

#include "vantrel/base/Log.h"
#include "vantrel/host/Host.h"
#include "vantrel/loop/Clock.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/net/KWHttp.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/player/detail/KeepAlive.h"
#include "vantrel/system/KWAction.h"
#include "vantrel/system/KWNotice.h"
#include "vantrel/system/KWTime.h"

namespace vantrel {
namespace {

using player::detail::KeepForReport;

constexpr std::string_view kStatusKey = "status";
constexpr std::string_view kLoadedTimeRangesKey = "loadedTimeRanges";
constexpr std::string_view kBufferEmptyKey = "playbackBufferEmpty";
constexpr std::string_view kLikelyToKeepUpKey = "playbackLikelyToKeepUp";

constexpr double kPlayTimeInterval = 1.0;
constexpr double kRetryDelay = 3.0;
constexpr float kEnoughAhead = 0.01f;

float wholeSecondsOf(MediaTime time) {
  const std::int64_t seconds = time.timescale > 0 ? time.value / time.timescale : 0;
  return static_cast<float>(seconds);
}

}  // namespace

std::shared_ptr<KWNetPlayer> KWNetPlayer::init() {
  std::shared_ptr<KWNetPlayer> player(new KWNetPlayer);
  const std::weak_ptr<KWNetPlayer> weak = player;
  KWNotice::add_Action_Own(
      kItemDidPlayToEndNotification,
      [weak](const Notification& event) {
        const auto self = weak.lock();
        if (!self) return;
        // The stream player that posts this may be ours, and the report may be the end of us both.
        MainQueue::post([reporting = self->mPlayer_] {});
        self->playbackFinished(event);
      },
      player);
  return player;
}

KWNetPlayer::~KWNetPlayer() {
  clearObservers();
  KWNotice::remove_Own(kItemDidPlayToEndNotification, weak_from_this());
}

// ---- opening

void KWNetPlayer::didPlayUrl(TextArgument url) {
  const std::optional<std::string> address = url.copy();
  log(LogLevel::Debug, "url ===> " + std::string(player::detail::orNull(address)));
  pause();
  clearObservers();
  dw_pgs_ = 0;
  dw_l_time_ = Clock::current().date();
  time_cached_ = time_total_ = time_play_ = 0;
  status_ = Stopped;
  openItem(address);
  isPlay_ = 1;
  installObservers();
}

void KWNetPlayer::openItem(const std::optional<std::string>& address) {
  ++opened_;
  openError_ = prepareItem(address);
  if (openError_) {
    mAvsset_.reset();
    // Without an item to put in, the earlier one must not play on at the next resume.
    const KeepForReport<StreamPlayer> reporting(mPlayer_);
    mPlayer_.reset();
  }
  mSongItem_ = mAvsset_;
  if (!mPlayer_) return failItemLater();
  mPlayer_->replaceCurrentItem(*mSongItem_);
  mPlayer_->setAutomaticallyWaitsToMinimizeStalling(false);
}

/// Sets the encoded address and the stream player; why there is none of the two otherwise.
std::optional<Error> KWNetPlayer::prepareItem(const std::optional<std::string>& address) {
  using namespace player;
  if (!address || address->empty()) return Error::saying(kErrorDomain, NothingToOpen, "has no address");
  mAvsset_ = KWHttp::encodeURL(*address);
  const auto& factory = Host::current().streamPlayers;
  if (!mPlayer_ && factory) mPlayer_ = factory->make();
  if (!mPlayer_) return Error::saying(kErrorDomain, HostCannotPlay, "this program plays no streams");
  return std::nullopt;
}

std::optional<Error> KWNetPlayer::itemError() const { return mPlayer_ ? mPlayer_->itemError() : openError_; }

void KWNetPlayer::failItemLater() {
  MainQueue::post([weak = weak_from_this(), opened = opened_] {
    const auto self = weak.lock();
    if (self && self->isOber_ && self->opened_ == opened) self->delegateOutStatus(Paused);
  });
}

void KWNetPlayer::installObservers() {
  isOber_ = true;
  if (!mPlayer_) return;
  // A player may report late, when another one has taken its place.
  const auto report = [weak = weak_from_this(), reporter = mPlayer_.get()](const auto& tell) {
    std::optional<KeepForReport<StreamPlayer>> reporting;  // outlives what may own the player
    const auto self = weak.lock();
    if (!self || self->mPlayer_.get() != reporter) return;
    reporting.emplace(self->mPlayer_);
    tell(*self);
  };
  const auto changed = [report](std::string_view key) {
    return [report, key] {
      report([key](KWNetPlayer& self) {
        self.observeValueForKeyPath_ofObject_change_context(key, self.mPlayer_.get(), nullptr, nullptr);
      });
    };
  };
  mTimeObserve_ = true;
  mPlayer_->setPeriodicTimeObserver(kPlayTimeInterval, [report](double seconds) {
    report([time = static_cast<float>(seconds)](KWNetPlayer& self) {
      if (time != 0) self.delegateOutPlayTime(time);
    });
  });
  mPlayer_->setItemObserver({.statusChanged = changed(kStatusKey),
                             .loadedTimeRangesChanged = changed(kLoadedTimeRangesKey),
                             .playbackBufferEmptyChanged = changed(kBufferEmptyKey),
                             .playbackLikelyToKeepUpChanged = changed(kLikelyToKeepUpKey)});
}

void KWNetPlayer::clearObservers() {
  const bool timed = std::exchange(mTimeObserve_, false);
  const bool observed = std::exchange(isOber_, false);
  if (mPlayer_ && timed) mPlayer_->setPeriodicTimeObserver(kPlayTimeInterval, {});
  if (mPlayer_ && observed) mPlayer_->setItemObserver({});
}

// ---- control

void KWNetPlayer::didContinue() {
  isPlay_ = 1;
  play();
  delegateOutStatus(Playing);
}

void KWNetPlayer::didPause() {
  isPlay_ = 0;
  pause();
  delegateOutStatus(Paused);
}

void KWNetPlayer::didStop() {
  const auto keep = shared_from_this();  // reports may let this player go
  isPlay_ = 0;
  pause();
  delegateOutStatus(Stopped);
  clearObservers();
}

void KWNetPlayer::setVolume(float volume) {
  if (mPlayer_) mPlayer_->setVolume(volume);
}

float KWNetPlayer::getVolume() const { return mPlayer_ ? mPlayer_->volume() : 0.0f; }

void KWNetPlayer::play() {
  if (mPlayer_) mPlayer_->play();
}

void KWNetPlayer::pause() {
  if (mPlayer_) mPlayer_->pause();
}

// ---- what the item tells

void KWNetPlayer::observeValueForKeyPath_ofObject_change_context(TextArgument changed,
                                                                 const StreamPlayer* /*object*/,
                                                                 const ValueTree* /*change*/,
                                                                 const void* /*context*/) {
  const std::string_view keyPath = *changed;
  if (keyPath == kStatusKey) return itemStatusChanged();
  if (keyPath == kLoadedTimeRangesKey) return loadedTimeRangesChanged();
  if (keyPath == kLikelyToKeepUpKey) return likelyToKeepUpChanged();
  if (keyPath != kBufferEmptyKey) return;
  log(LogLevel::Warning, "KWNetPlayer can't play ，no enough buffer!");
  delegateOutStatus(Waiting);
}

void KWNetPlayer::itemStatusChanged() {
  if (!mPlayer_) return;
  switch (mPlayer_->itemStatus()) {
    case StreamPlayer::ItemStatus::ReadyToPlay:
      time_total_ = wholeSecondsOf(mPlayer_->itemDuration());
      log("KWNetPlayer ready to play，total time ：" + player::detail::twoDecimals(time_total_));
      return;
    case StreamPlayer::ItemStatus::Unknown:
    case StreamPlayer::ItemStatus::Failed:
      pause();
      delegateOutStatus(Paused);
  }
}

void KWNetPlayer::loadedTimeRangesChanged() {
  if (!mPlayer_) return;
  const auto ranges = mPlayer_->loadedTimeRanges();
  const LoadedTimeRange first = ranges.empty() ? LoadedTimeRange{} : ranges.front();
  const float loaded = static_cast<float>(first.start) + static_cast<float>(first.length);
  delegateOutCachedProgress(static_cast<float>(loaded / mPlayer_->itemDuration().seconds()));
}

bool KWNetPlayer::enoughBuffered() const {
  // Not a number while the length is unknown: then the comparison fails, as it should.
  const float ahead = time_cached_ - time_play_ / time_total_;
  return ahead >= kEnoughAhead;
}

void KWNetPlayer::likelyToKeepUpChanged() {
  if (time_cached_ == 1.0f) {
    log("KWNetPlayer did play ，have all buffer.");
    return playIfWanted();
  }
  if (enoughBuffered()) {
    log("KWNetPlayer did play ，enough buffer.");
    return playIfWanted();
  }
  const auto keep = shared_from_this();
  pause();
  delegateOutStatus(Paused);
  log(LogLevel::Warning, "KWNetPlayer can't play ，waitting for more buffer!");
  retryLater();
}

void KWNetPlayer::retryLater() {
  KWAction::delay_Task(kRetryDelay, [self = shared_from_this()] {
    if (self->isPlay_ != 1) return;
    log("KWNetPlayer try to play ，however not enough buffer.");
    self->playIfWanted();
  });
}

void KWNetPlayer::playIfWanted() {
  if (isPlay_ != 1) return;
  play();
  delegateOutStatus(Playing);
}

void KWNetPlayer::playbackFinished(const Notification& /*event*/) {
  const auto keep = shared_from_this();
  log("KWNetplayer finished.");
  isPlay_ = 0;
  delegateOutStatus(Stopped);
  delegateOutPlayFinished();
}

// ---- reports
// An operation is copied before it is called: it may take the delegate that holds it away.

void KWNetPlayer::delegateOutStatus(std::uint64_t status) {
  if (!delegate_ || !delegate_->onKWNetPlayer_ChangeStatus || status == status_) return;
  status_ = status;
  const auto report = delegate_->onKWNetPlayer_ChangeStatus;
  report(*this, status);
}

void KWNetPlayer::delegateOutCachedProgress(float fraction) {
  const auto keep = shared_from_this();
  const Date now = Clock::current().date();
  const double gap = KWTime::gapOfDateA_DateB(now, dw_l_time_);
  if (delegate_ && delegate_->onKWNetPlayer_Speed_TimeGap) {
    const float gained = fraction - dw_pgs_;
    const auto report = delegate_->onKWNetPlayer_Speed_TimeGap;
    report(*this, static_cast<float>(gained / gap), gap);
  }
  dw_l_time_ = now;
  dw_pgs_ = fraction;
  if (!delegate_ || !delegate_->onKWNetPlayer_CachedProgress) return;
  time_cached_ = fraction;
  const auto report = delegate_->onKWNetPlayer_CachedProgress;
  report(*this, fraction);
}

void KWNetPlayer::delegateOutPlayTime(float seconds) {
  if (!delegate_ || !delegate_->onKWNetPlayer_PlayTime) return;
  time_play_ = seconds;
  const auto report = delegate_->onKWNetPlayer_PlayTime;
  report(*this, seconds);
}

void KWNetPlayer::delegateOutPlayFinished() {
  if (!delegate_ || !delegate_->onKWNetPlayer_PlayFinished) return;
  const auto report = delegate_->onKWNetPlayer_PlayFinished;
  report(*this, 0.0f);
}

}  // namespace vantrel
