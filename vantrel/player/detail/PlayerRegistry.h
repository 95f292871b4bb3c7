#pragma once

#include <cstdint>
#include <memory>

#include "vantrel/platform/Export.h"
#include "vantrel/player/KWAudioPlayer.h"

namespace vantrel::player::detail {

/// What the players of the process share. Threads: the main thread only.
struct VANTREL_EXPORT PlayerRegistry {
  std::shared_ptr<KWAudioPlayer> me;   ///< the library player
  std::shared_ptr<KWAudioPlayer> me1;  ///< the file player
  std::shared_ptr<KWAudioPlayer> me2;  ///< the stream player
  std::uint64_t playerType = 3;        ///< source type that last started or resumed; 3: none
  std::uint64_t lastState = 0;         ///< remembered by the forced pause, for the resume after it

  static PlayerRegistry& shared();

  /// Lets the shared instances go and forgets the rest, as at process start. For tests.
  static void reset();
};

}  // namespace vantrel::player::detail
