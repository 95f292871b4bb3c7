// What outlives the process: index, progress and mode, each stored as a text.

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "vantrel/codec/KWTools.h"
#include "vantrel/player/KWAudioPlayer.h"
#include "vantrel/player/PlayerEvents.h"
#include "vantrel/player/detail/FileAccess.h"
#include "vantrel/player/detail/Format.h"
#include "vantrel/system/KWNotice.h"

namespace vantrel {

using namespace player;
using namespace player::detail;

namespace {

constexpr float kRestoredVolume = 0.3f;

/// The stored text, or what a number, which others may have stored, is as a text. Empty for an entry that is
/// missing or neither.
std::string storedText(std::string_view key) {
  const ValueTree value = KWTools::getUserByKey(key).value_or(nullptr);
  if (const auto text = value.asString()) return std::string(*text);
  if (const auto integer = value.asInteger()) return std::to_string(*integer);
  const auto number = value.asDouble();
  if (!number) return {};
  // Without an exponent, at which a leading integer would end.
  std::array<char, 400> text;
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), *number, std::chars_format::fixed);
  return error == std::errc{} ? std::string(text.data(), end) : std::string();
}

}  // namespace

void KWAudioPlayer::setMMode(std::uint64_t mode) {
  mMode_ = mode;
  KWTools::setUser_forKey(std::to_string(mode), kPlayModeKey);
}

void KWAudioPlayer::savePlayIndex() {
  const auto player = currentPlayer();
  KWTools::setUser_forKey(std::to_string(player ? player->play_index() : 0), kPlayIndexKey);
}

std::int64_t KWAudioPlayer::getPlayIndex() {
  using Limits = std::numeric_limits<std::int32_t>;
  return std::clamp<std::int64_t>(leadingInteger(storedText(kPlayIndexKey)).value_or(0), Limits::min(),
                                  Limits::max());
}

std::optional<std::uint64_t> KWAudioPlayer::getPlayMode() {
  const auto mode = leadingInteger(storedText(kPlayModeKey));
  return mode ? std::optional(static_cast<std::uint64_t>(*mode)) : std::nullopt;
}

float KWAudioPlayer::getPlayProgress() { return leadingFloat(storedText(kPlayProgressKey)); }

void KWAudioPlayer::recoveryMusicInfo() {
  const std::int64_t index = getPlayIndex();
  const std::uint64_t mode = getPlayMode().value_or(ListLoop);
  const auto player = currentPlayer();
  if (!player || player->listCount() == 0) return;
  // A list that has shrunk has lost the remembered track, and its progress means nothing for another one.
  if (!player->entryAt(index)) return player->restore(0, mode, 0);
  player->restore(index, mode, getPlayProgress());
}

void KWAudioPlayer::restore(std::int64_t index, std::uint64_t mode, float progress) {
  const auto keep = shared_from_this();
  const auto entry = entryAt(index);
  mNowItem_ = entry;
  entry->setIsPlaying(false);
  play_index_ = index;
  setMMode(mode);
  if (mType_ == Streams) return;
  if (mPlayer_) mPlayer_->stop();
  takePlayer(openEntry(*entry, mType_, SizeLine::Skip), kRestoredVolume);
  if (mPlayer_) mPlayer_->setCurrentTime(progress * static_cast<float>(entry->mTime()));
  progressShow();
  KWNotice::post_Object(kNote, kNotePause);
}

}  // namespace vantrel
