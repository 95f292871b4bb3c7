#include "apps/vantrel/Remembered.h"

#include <charconv>

#include "vantrel/codec/KWTools.h"
#include "vantrel/player/KWAudioPlayer.h"

namespace app {
namespace {

using vantrel::KWAudioPlayer;
using vantrel::KWTools;

constexpr std::uint64_t kModes = 4;
constexpr const char* kListEnded = "PLAY_LIST_ENDED";

}  // namespace

Remembered remembered() {
  Remembered last;
  const auto stored = KWTools::getUserByKey("KW_AUDIO_PLAYMODE").value_or(nullptr);
  const auto text = stored.asString().value_or("");
  std::uint64_t mode = stored.asUnsigned().value_or(kModes);
  std::from_chars(text.data(), text.data() + text.size(), mode);
  if (mode < kModes) last.mode = mode;
  if (KWTools::getUserByKey(kListEnded)) return last;
  last.index = KWAudioPlayer::getPlayIndex();
  last.progress = KWAudioPlayer::getPlayProgress();
  return last;
}

void rememberListEnd(bool ended) {
  if (ended)
    KWTools::setUser_forKey(vantrel::ValueTree(true), kListEnded);
  else
    KWTools::removeUserByKey(kListEnded);
}

}  // namespace app
