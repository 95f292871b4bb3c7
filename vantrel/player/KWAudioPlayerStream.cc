// What the stream player reports.

#include <cmath>

#include "vantrel/base/Log.h"
#include "vantrel/player/KWAudioPlayer.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/system/KWNotice.h"

namespace vantrel {

using namespace player;
using namespace player::detail;

void KWAudioPlayer::observeStream() {
  const auto to = [weak = weak_from_this()](auto operation) {
    return [weak, operation](KWNetPlayer& player, auto... details) {
      if (const auto self = weak.lock()) ((*self).*operation)(player, details...);
    };
  };
  using Self = KWAudioPlayer;
  netDelegate_ = {.onKWNetPlayer_ChangeStatus = to(&Self::onKWNetPlayer_ChangeStatus),
                  .onKWNetPlayer_CachedProgress = to(&Self::onKWNetPlayer_CachedProgress),
                  .onKWNetPlayer_Speed_TimeGap = to(&Self::onKWNetPlayer_Speed_TimeGap),
                  .onKWNetPlayer_PlayTime = to(&Self::onKWNetPlayer_PlayTime),
                  .onKWNetPlayer_PlayFinished = to(&Self::onKWNetPlayer_PlayFinished)};
  mNetPlayer_->setDelegate(&netDelegate_);
}

void KWAudioPlayer::onKWNetPlayer_ChangeStatus(KWNetPlayer& /*player*/, std::uint64_t status) {
  log(LogLevel::Debug, "NetPlayer state :" + std::to_string(status));
  switch (status) {
    case KWNetPlayer::Waiting:
    case KWNetPlayer::Paused:
      mState_ = Paused;
      return KWNotice::post_Object(kNote, kNotePause);
    case KWNetPlayer::Playing:
      mState_ = Playing;
      return KWNotice::post_Object(kNote, kNotePlay);
    case KWNetPlayer::Stopped:
      mState_ = Stopped;
      return;
    default:
      return;
  }
}

void KWAudioPlayer::onKWNetPlayer_CachedProgress(KWNetPlayer& /*player*/, float /*fraction*/) {}

void KWAudioPlayer::onKWNetPlayer_Speed_TimeGap(KWNetPlayer& /*player*/, float speed, double gap) {
  KWNotice::post_Object(kNetSpeed, static_cast<double>(speed));
  KWNotice::post_Object(kNetTimeGap, gap);
}

void KWAudioPlayer::onKWNetPlayer_PlayTime(KWNetPlayer& player, float /*seconds*/) {
  const std::uint32_t now = truncated(player.time_play());
  const std::uint32_t end = truncated(player.time_total());
  // Infinite or not a number while the length is unknown, and told so.
  publishProgress(now, end, static_cast<float>(now) / static_cast<float>(end));
}

void KWAudioPlayer::onKWNetPlayer_PlayFinished(KWNetPlayer& /*player*/, float /*zero*/) {
  mState_ = Stopped;
  finishTrack();
}

}  // namespace vantrel
