#pragma once

#include <cstdint>

#include "vantrel/player/PlayerEvents.h"

namespace app {

/// What the settings remember of the session before.
struct Remembered {
  std::int64_t index = 0;
  /// List once where nothing else is remembered.
  std::uint64_t mode = vantrel::player::ListOnce;
  double progress = 0;  ///< fraction of the track that was heard
};

/// Where a session goes on. After a list that ended by itself that is its beginning.
Remembered remembered();

/// The player stores where it is; that nothing was left to play is for the program to remember. A list that
/// begins has not ended.
void rememberListEnd(bool ended);

}  // namespace app
