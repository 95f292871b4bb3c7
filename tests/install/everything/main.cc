#include <cstdio>

#include "vantrel/codec/KWTools.h"
#include "vantrel/net/KWHttp.h"
#include "vantrel/player/KWAudioPlayer.h"
#include "vantrel/system/KWTime.h"

int main() {
  const auto player = vantrel::KWAudioPlayer::sharedMe_1();
  const auto json = vantrel::KWTools::jsonWithData(vantrel::Bytes::copyOf("[1, 2]"));
  const auto time = vantrel::KWTime::stringFromSec(65);
  const auto address = vantrel::KWHttp::encodeURL("a b");
  std::printf("%s %s %d %zu\n", time.c_str(), address.c_str(), int(player->mState()), json->size());
}
