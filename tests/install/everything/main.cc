#include <iostream>

#include "vantrel/codec/KWTools.h"
#include "vantrel/net/KWHttp.h"
#include "vantrel/player/KWAudioPlayer.h"
#include "vantrel/system/KWTime.h"

int main() {
  const auto player = vantrel::KWAudioPlayer::sharedMe_1();
  const auto json = vantrel::KWTools::jsonWithData(vantrel::Bytes::copyOf("[1, 2]"));
  std::cout << vantrel::KWTime::stringFromSec(65) << ' ' << vantrel::KWHttp::encodeURL("a b") << ' '
            << player->mState() << ' ' << json->size() << '\n';
}
