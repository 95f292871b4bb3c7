#pragma once

#include <cstdint>
#include <memory>

#include "vantrel/base/Export.h"
#include "vantrel/player/KWAudioPlayer.h"
#include "vantrel/player/PlayerEvents.h"

namespace vantrel::player::detail {

/// What the players of the process share, under its established names; C++ reserves the underscore that two
/// of them began with. Threads: the main thread only.
struct VANTREL_EXPORT PlayerRegistry {
  std::shared_ptr<KWAudioPlayer> ME;     ///< the library player
  std::shared_ptr<KWAudioPlayer> ME_1;   ///< the file player
  std::shared_ptr<KWAudioPlayer> ME_2;   ///< the stream player
  std::uint64_t PLAYER_TYPE = NoSource;  ///< that last started or resumed
  std::uint64_t LAST_SATE = 0;           ///< remembered by the forced pause, for the resume after it

  static PlayerRegistry& shared();
};

}  // namespace vantrel::player::detail
