// Playing, pausing, stepping, and the shuffle order.

#include <algorithm>
#include <limits>

#include "vantrel/base/Log.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/player/KWAudioPlayer.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/FileAccess.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/player/detail/KeepAlive.h"
#include "vantrel/player/detail/PlayerRegistry.h"
#include "vantrel/system/KWNotice.h"
#include "vantrel/system/KWSort.h"

namespace vantrel {

using namespace player;
using namespace player::detail;

namespace {

void pauseIfThere(const std::shared_ptr<KWAudioPlayer>& player) {
  if (player) player->didPause();
}

void subPauseIfThere(const std::shared_ptr<KWAudioPlayer>& player) {
  if (player) player->disSubPause();
}

}  // namespace

// An event's observer may let the player go: operations that go on after posting keep it until they end.

void KWAudioPlayer::didPlay(std::int64_t index) {
  const auto count = static_cast<std::int64_t>(listCount());
  if (sonyCount_ == 0 || count == 0) return;
  const auto keep = shared_from_this();
  const auto started = ++started_;
  if (!trackError_) unplayable_.clear();
  play_index_ = index < 0 ? count - 1 : index >= count ? 0 : index;
  savePlayIndex();
  newRandomIndex(play_index_);
  const auto entry = entryAt(play_index_);
  mNowItem_ = entry;
  entry->setIsPlaying(true);
  const float volume = getPhoneVolume();
  log(LogLevel::Debug, "did play volume:" + twoDecimals(volume));
  PlayerRegistry::shared().PLAYER_TYPE = mType_;
  PlayerRegistry::shared().LAST_SATE = Playing;
  if (mType_ == Streams) {
    playStream(*entry, volume);
  } else {
    playFile(*entry, volume);
  }
  setLockScreenNowPlayingInfo();
  KWNotice::post_Object(kUpdate);
  if (mType_ != Streams && started == started_ && trackError_) endsWithFailure();
}

void KWAudioPlayer::playStream(const MusicOfPhoneMode& entry, float volume) {
  mState_ = Paused;
  if (!mNetPlayer_) return;
  mNetPlayer_->setVolume(volume);
  mNetPlayer_->didPlayUrl(entry.mUrl());
}

void KWAudioPlayer::playFile(const MusicOfPhoneMode& entry, float volume) {
  if (mPlayer_) mPlayer_->stop();
  takePlayer(openEntry(entry, mType_, SizeLine::Log), volume);
  if (mPlayer_) {
    mPlayer_->prepareToPlay();
    mPlayer_->play();
  }
  mState_ = Playing;
  KWNotice::post_Object(kNote, kNotePlay);
  progressStart();
}

void KWAudioPlayer::takePlayer(Result<std::unique_ptr<FilePlayer>> opened, float volume) {
  trackError_ = opened ? std::nullopt : std::optional(opened.error());
  mPlayer_ = opened ? *std::move(opened) : nullptr;
  if (!mPlayer_) return;
  if (mPlayer_->duration() == 0) trackError_ = Error::saying(kErrorDomain, NoLength, "has no known length");
  mPlayer_->setVolume(volume);
  mPlayer_->setMeteringEnabled(true);
  mPlayer_->setObserver(fileObserver());
}

void KWAudioPlayer::setCurrentPlaying(bool playing) {
  const auto entry = entryAt(play_index_);
  mNowItem_ = entry;
  if (entry) entry->setIsPlaying(playing);
}

void KWAudioPlayer::didContinue() {
  const auto keep = shared_from_this();
  log(LogLevel::Debug, "didContinue");
  PlayerRegistry::shared().PLAYER_TYPE = mType_;
  PlayerRegistry::shared().LAST_SATE = Playing;
  if (mType_ == Streams) {
    if (mNetPlayer_) mNetPlayer_->didContinue();
    log(LogLevel::Debug, "didContinue Do 1");
  } else {
    if (mPlayer_) mPlayer_->play();
    mState_ = Playing;
    KWNotice::post_Object(kNote, kNoteContinue);
    progressStart();
    log(LogLevel::Debug, "didContinue Do 0");
  }
  setCurrentPlaying(true);
}

void KWAudioPlayer::didPause() {
  log(LogLevel::Debug, "didPause");
  PlayerRegistry::shared().LAST_SATE = Paused;
  disSubPause();
}

void KWAudioPlayer::disSubPause() {
  const auto keep = shared_from_this();
  if (mType_ == Streams) {
    if (mNetPlayer_) mNetPlayer_->didPause();
    mState_ = Paused;
  } else {
    if (mPlayer_) mPlayer_->pause();
    mState_ = Paused;
    KWNotice::post_Object(kNote, kNotePause);
    progressEnd();
  }
  setCurrentPlaying(false);
}

void KWAudioPlayer::didStop() {
  const auto keep = shared_from_this();
  log(LogLevel::Debug, "didStop");
  PlayerRegistry::shared().LAST_SATE = Paused;
  if (mType_ == Streams) {
    if (mNetPlayer_) mNetPlayer_->didStop();
  } else {
    if (mPlayer_) mPlayer_->stop();
    mState_ = Stopped;
    progressEnd();
  }
  if (const auto entry = mNowItem()) entry->setIsPlaying(false);
}

// ---- steps

std::int64_t KWAudioPlayer::nowIndex() const {
  const auto entry = mNowItem();
  return entry ? entry->mIndex() : 0;
}

void KWAudioPlayer::playRandomAt(std::int64_t position) {
  if (position < 0 || static_cast<std::uint64_t>(position) >= mRandomList_.size()) return;
  didPlay(mRandomList_[static_cast<std::size_t>(position)]);
}

void KWAudioPlayer::didNext() {
  if (sonyCount_ == 0 || mMode_ > ListOnce) return;
  if (mMode_ == Shuffle) return playRandomAt(mRandomIndex_ + 1 < sonyCount_ ? mRandomIndex_ + 1 : 0);
  // The index is the host's to set, so it may be any number.
  const std::int64_t now = nowIndex();
  didPlay(now == std::numeric_limits<std::int64_t>::max() ? 0 : now + 1);
}

void KWAudioPlayer::didBefore() {
  if (sonyCount_ == 0 || mMode_ > ListOnce) return;
  if (mMode_ == Shuffle) return playRandomAt((mRandomIndex_ < 1 ? sonyCount_ : mRandomIndex_) - 1);
  const std::int64_t now = nowIndex();
  didPlay(now <= 0 ? -1 : now - 1);
}

void KWAudioPlayer::didRepeat() {
  if (sonyCount_ != 0) didPlay(nowIndex());
}

void KWAudioPlayer::newRandomList() {
  std::vector<std::int64_t> order(static_cast<std::size_t>(std::max<std::int64_t>(sonyCount_, 0)));
  for (std::size_t at = 0; at < order.size(); ++at) order[at] = static_cast<std::int64_t>(at);
  if (order.empty()) return log(LogLevel::Error, "Error : KWAudioPlayer random num is 0 .");
  mRandomList_ = KWSort::arrayRandom(order);
}

void KWAudioPlayer::newRandomIndex(std::int64_t index) {
  if (mRandomList_.empty()) return log(LogLevel::Error, "Error : KWAudioPlayer Random Index num is 0 .");
  const auto found = std::find(mRandomList_.begin(), mRandomList_.end(), index);
  if (found != mRandomList_.end()) mRandomIndex_ = found - mRandomList_.begin();
}

// ---- what file players report

FilePlayerObserver KWAudioPlayer::fileObserver() {
  // Reports of a player that has been replaced meanwhile are dropped.
  const auto to = [weak = weak_from_this()](auto operation) {
    return [weak, operation](FilePlayer& player, auto&&... details) {
      std::optional<KeepForReport<FilePlayer>> reporting;  // outlives what may own the player
      const auto self = weak.lock();
      if (!self || self->mPlayer_.get() != &player) return;
      reporting.emplace(self->mPlayer_);
      ((*self).*operation)(player, details...);
    };
  };
  using Self = KWAudioPlayer;
  return {.audioPlayerDidFinishPlaying_successfully = to(&Self::audioPlayerDidFinishPlaying_successfully),
          .audioPlayerDecodeErrorDidOccur_error = to(&Self::audioPlayerDecodeErrorDidOccur_error),
          .audioPlayerBeginInterruption = to(&Self::audioPlayerBeginInterruption),
          .audioPlayerEndInterruption = to(&Self::audioPlayerEndInterruption),
          .audioPlayerEndInterruption_withOptions = to(&Self::audioPlayerEndInterruption_withOptions)};
}

void KWAudioPlayer::audioPlayerDidFinishPlaying_successfully(FilePlayer& /*player*/, bool /*successfully*/) {
  mState_ = Stopped;
  progressEnd();
  finishTrack();
}

void KWAudioPlayer::audioPlayerDecodeErrorDidOccur_error(FilePlayer& /*player*/, const Error& error) {
  const auto keep = shared_from_this();
  const auto started = started_;
  trackError_ = error;
  KWNotice::post_Object(kNote, kNoteError);
  didStop();
  mPlayer_.reset();
  if (started == started_ && endsWithFailure()) return;
  didNext();
}

void KWAudioPlayer::finishTrack() {
  if (mMode_ == RepeatOne) return didRepeat();
  if (!atEndOfListOnce()) return didNext();
  const auto keep = shared_from_this();
  const auto started = started_;
  if (const auto entry = mNowItem()) entry->setIsPlaying(false);
  KWNotice::post_Object(kNote, kNoteFinish);
  tellListEnded(started);
}

// ---- the end of a list

bool KWAudioPlayer::atEndOfListOnce() const {
  return mMode_ == ListOnce && nowIndex() >= static_cast<std::int64_t>(listCount()) - 1;
}

/// The current entry cannot be played. True when that is the end of the list for whoever asked to be told;
/// then nothing plays any more.
bool KWAudioPlayer::endsWithFailure() {
  unplayable_.insert(play_index_);
  if (!onListEnded_ || (!atEndOfListOnce() && unplayable_.size() < listCount())) return false;
  didStop();
  tellListEnded(started_);
  return true;
}

/// From the main loop, where the host may do anything; not when an observer has started another entry since.
void KWAudioPlayer::tellListEnded(std::uint64_t started) const {
  if (!onListEnded_) return;
  MainQueue::post([weak = weak_from_this(), started] {
    const auto self = weak.lock();
    if (!self || self->started_ != started) return;
    // A copy: the function may replace itself.
    if (const auto ended = self->onListEnded_) ended();
  });
}

std::optional<Error> KWAudioPlayer::trackError() const {
  if (mType_ == Streams) return mNetPlayer_ ? mNetPlayer_->itemError() : std::nullopt;
  return trackError_;
}

// ---- all players

void KWAudioPlayer::didContinueLast() {
  const std::uint64_t last = PlayerRegistry::shared().LAST_SATE;
  if (last != 1 && last != 3) return;
  log(LogLevel::Debug, "didContinueLast");
  if (const auto player = currentPlayer()) player->didContinue();
}

void KWAudioPlayer::didAllPause() {
  log(LogLevel::Debug, "didAllPause");
  const auto& registry = PlayerRegistry::shared();
  pauseIfThere(registry.ME);
  pauseIfThere(registry.ME_1);
  pauseIfThere(registry.ME_2);
}

void KWAudioPlayer::didPauseLast() {
  log(LogLevel::Debug, "didPauseLast");
  auto& registry = PlayerRegistry::shared();
  const auto stateOf = [](const std::shared_ptr<KWAudioPlayer>& player) {
    return player ? player->mState() : std::uint64_t{Stopped};
  };
  if (registry.PLAYER_TYPE == Library) registry.LAST_SATE = stateOf(registry.ME);
  if (registry.PLAYER_TYPE == Files) registry.LAST_SATE = stateOf(registry.ME_1);
  if (registry.PLAYER_TYPE == Streams) registry.LAST_SATE = stateOf(registry.ME_2);
  log(LogLevel::Debug, "disSubPause");
  subPauseIfThere(registry.ME);
  subPauseIfThere(registry.ME_1);
  subPauseIfThere(registry.ME_2);
}

std::uint64_t KWAudioPlayer::didLastState() { return PlayerRegistry::shared().LAST_SATE; }

}  // namespace vantrel
