#include "apps/vantrel/Remembered.h"

#include "vantrel/codec/KWTools.h"
#include "vantrel/player/KWAudioPlayer.h"

namespace app {
namespace {

using vantrel::KWAudioPlayer;
using vantrel::KWTools;

constexpr const char* kListEnded = "PLAY_LIST_ENDED";

}  // namespace

Remembered remembered() {
  Remembered last;
  const auto mode = KWAudioPlayer::getPlayMode();
  if (mode && *mode <= vantrel::player::ListOnce) last.mode = *mode;
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
