// The phone around the player: remote commands, playing screen, volume, progress timer, levels,
// interruptions.

#include <array>
#include <cmath>
#include <new>

#include "vantrel/base/Log.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/host/Host.h"
#include "vantrel/player/KWAudioPlayer.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/player/detail/PlayerRegistry.h"
#include "vantrel/system/KWAction.h"
#include "vantrel/system/KWNotice.h"
#include "vantrel/system/KWTime.h"

namespace vantrel {

using namespace player;
using namespace player::detail;

namespace {

constexpr double kProgressInterval = 1.0;

float fileVolume(const std::shared_ptr<KWAudioPlayer>& player) {
  return player && player->mPlayer() ? player->mPlayer()->volume() : 0.0f;
}

float streamVolume(const std::shared_ptr<KWAudioPlayer>& player) {
  return player && player->mNetPlayer() ? player->mNetPlayer()->getVolume() : 0.0f;
}

struct Position {
  double now = 0;
  double end = 0;
};

Position positionOf(const std::shared_ptr<FilePlayer>& player) {
  return player ? Position{player->currentTime(), player->duration()} : Position{};
}

Position positionOf(const std::shared_ptr<KWNetPlayer>& player) {
  if (!player || !player->mPlayer()) return {};
  const StreamPlayer& stream = *player->mPlayer();
  const double end = player->mSongItem() ? stream.itemDuration().seconds() : 0;
  return {static_cast<float>(stream.currentTime()), static_cast<float>(end)};
}

/// A channel's level: 32767 at full scale, 0 for a channel that is not there.
std::uint32_t levelOf(const FilePlayer& player, std::size_t channel) {
  if (channel >= player.numberOfChannels()) return 0;
  const auto exponent = static_cast<float>(player.averagePowerForChannel(channel) * 0.05);
  return truncated(std::pow(10.0f, exponent) * 32767.0f);
}

}  // namespace

// ---- remote commands

void KWAudioPlayer::receiveRemoteEvent(const RemoteEvent& event) {
  if (event.type != RemoteEvent::kRemoteControl) return;
  const auto player = currentPlayer();
  switch (event.subtype) {
    case RemoteEvent::kPlay: {
      const bool endedStream =
          player && player->mMode() == ListOnce && currentType() == Streams && player->mState() == Stopped;
      if (player) endedStream ? player->didRepeat() : player->didContinue();
      return log("Remote Event: Play.");
    }
    case RemoteEvent::kPause:
      if (player) player->didPause();
      return log("Remote Event: Pause.");
    case RemoteEvent::kNextTrack:
      if (player) player->didNext();
      return log("Remote Event: Next.");
    case RemoteEvent::kPreviousTrack:
      if (player) player->didBefore();
      return log("Remote Event: Previous.");
    default:
      return;
  }
}

// ---- playing screen

void KWAudioPlayer::setLockScreenNowPlayingInfo() {
  const auto center = Host::current().nowPlayingCenter;
  if (!center) return;
  const auto entry = mNowItem();
  const MediaItem* song = entry ? entry->mItem().get() : nullptr;
  const auto textOr = [](const std::optional<std::string>& text, const char* otherwise) {
    return text ? ValueTree(*text) : ValueTree(otherwise);
  };
  const Position position = mType_ > Files ? positionOf(mNetPlayer_) : positionOf(mPlayer_);
  const ValueTree info = ValueTree::dictionary(
      {{kNowPlayingTitle, textOr(entry ? entry->mTitle() : std::nullopt, "Unknow Music")},
       {kNowPlayingArtist, textOr(entry ? entry->mArtist() : std::nullopt, "Unknow Artist")},
       {kNowPlayingAlbumTitle, textOr(song ? song->albumTitle : std::nullopt, "Unknow Album")},
       {kNowPlayingRate, 1.0},
       {kNowPlayingElapsed, position.now},
       {kNowPlayingDuration, position.end}});
  center->setNowPlayingInfo(info, song ? song->artwork : nullptr);
}

// ---- volume

float KWAudioPlayer::getPhoneVolume() { return Host::current().audioSession->outputVolume(); }

float KWAudioPlayer::getPlayerVolume() {
  const auto& registry = PlayerRegistry::shared();
  switch (registry.PLAYER_TYPE) {
    case Library:
      return fileVolume(registry.ME);
    case Files:
      return fileVolume(registry.ME_1);
    case Streams:
      return streamVolume(registry.ME_2);
    default:
      return 0.0f;
  }
}

void KWAudioPlayer::setPhoneVolume(float volume) {
  if (mPlayer_) mPlayer_->setVolume(volume);
  if (mNetPlayer_) mNetPlayer_->setVolume(volume);
  Host::current().audioSession->setOutputVolume(volume);
}

void KWAudioPlayer::addSystemVolumeNote() {
  const auto self = shared_from_this();
  KWNotice::add_Action_Own(
      kSystemVolumeDidChangeNotification,
      [weak = weak_from_this()](const Notification& event) {
        if (const auto player = weak.lock()) player->noteVolumeChanged(event);
      },
      self);
}

void KWAudioPlayer::noteVolumeChanged(const Notification& event) {
  const ValueTree* volume =
      event.userInfo ? event.userInfo->find(kAudioVolumeNotificationParameter) : nullptr;
  const double value = volume ? volume->asDouble().value_or(0) : 0;
  KWNotice::post_Object(kVolumeChange, static_cast<double>(static_cast<float>(value)));
}

// ---- progress

void KWAudioPlayer::progressStart() {
  // A tick that goes on to the next track keeps its rhythm: were the timer to fire at once again, a list in
  // which nothing can be played would be raced through without end.
  if (ticking_) return;
  if (pTimer_) return KWAction::timingContinue(pTimer_);
  pTimer_ = KWAction::timingStart_target_Time(
      [weak = weak_from_this()](Timer&) {
        if (const auto self = weak.lock()) self->tick();
      },
      weak_from_this(), kProgressInterval);
}

void KWAudioPlayer::progressEnd() {
  ticking_ = false;
  KWAction::timingPause(pTimer_);
}

void KWAudioPlayer::tick() {
  ticking_ = true;
  try {
    progressShow();
  } catch (const std::bad_alloc&) {
    // The next tick tells it.
  } catch (...) {
    ticking_ = false;
    throw;
  }
  ticking_ = false;
}

void KWAudioPlayer::progressShow() {
  const auto [now, end] = positionOf(mPlayer_);
  if (end == 0) {
    const auto entry = mNowItem();
    const std::optional<std::string> title = entry ? entry->mTitle() : std::nullopt;
    log(LogLevel::Warning, std::string(orNull(title)) + " music duration is 0.");
    if (trackError_ && endsWithFailure()) return;
    return didNext();
  }
  publishProgress(truncated(now), truncated(end), static_cast<float>(static_cast<float>(now) / end));
}

void KWAudioPlayer::publishProgress(std::uint32_t now, std::uint32_t end, float progress) {
  KWNotice::post_Object(kProgress,
                        ValueTree::dictionary({{kProgressNow, KWTime::stringFromSec(now)},
                                               {kProgressEnd, KWTime::stringFromSec(end)},
                                               {kProgressFraction, static_cast<double>(progress)}}));
  KWTools::setUser_forKey(twoDecimals(progress), kPlayProgressKey);
}

// ---- levels

std::optional<Bytes> KWAudioPlayer::didRhythmData() {
  if (!mPlayer_) return std::nullopt;
  mPlayer_->updateMeters();
  const std::uint32_t word = levelOf(*mPlayer_, 0) << 16 | levelOf(*mPlayer_, 1);
  std::int32_t sum = 0;
  for (const std::uint8_t byte : KWTools::uInt32_data_Endian(word, true))
    sum += static_cast<std::int8_t>(byte);
  return KWTools::uInt32_data_Endian(static_cast<std::uint32_t>(sum * 20), false);
}

// ---- interruptions: told only, pausing is the host's choice

void KWAudioPlayer::audioPlayerBeginInterruption(FilePlayer& /*player*/) {
  log("---> AudioPlayer Begin Interruption.");
  KWNotice::post_Object(kInterruption);
}

void KWAudioPlayer::audioPlayerEndInterruption(FilePlayer& /*player*/) {
  log("---> AudioPlayer End Interruption.");
  KWNotice::post_Object(kInterruptionEnd);
}

void KWAudioPlayer::audioPlayerEndInterruption_withOptions(FilePlayer& /*player*/, std::uint64_t options) {
  log("---> AudioPlayer End Interruption Flag: " + std::to_string(options));
  KWNotice::post_Object(kInterruptionEndFlag, options);
}

}  // namespace vantrel
